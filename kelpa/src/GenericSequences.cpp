#include <Kelpa/GenericSequences.h>

#include <Kelpa/Asserter.h>
#include <Kelpa/Containment.h>
#include <Kelpa/ElementBase.h>
#include <Kelpa/MultiIndexImpl.h>
#include <Tovi/SmallObjects.h>

#include <typeinfo>

namespace Kelpa {

namespace {
constexpr Where kViewSource{"kelpa/kernel/containers/sequence/GenericSequence"};
constexpr Where kCombinedSource{"kelpa/kernel/containers/sequence/GenericCombinedSequence"};

[[noreturn, gnu::cold]] void fail(Where where, int line, const char* message) {
  Asserter::Make<Exception>(false, "%s", message).handle(where.path, line, "");
  __builtin_unreachable();
}

// An iterator of an IndexedView: a position in it, holding a count on the view.
class PositionIterator final : public Generic::IteratorIntf {
 public:
  PositionIterator(const Generic::SequenceIntf* view, int position)
      : fView(const_cast<Generic::SequenceIntf*>(view)), fPosition(position) {
    fView->incRef();
  }
  ~PositionIterator() override { fView->decRef(); }
  Object generic_get(const Deviant& d) const override { return fView->generic_at(fPosition, d); }
  void generic_next() override { ++fPosition; }
  bool generic_equal(const IteratorIntf* other) const override {
    const auto* o = dynamic_cast<const PositionIterator*>(other);
    return o && o->fView == fView && o->fPosition == fPosition;
  }
  int position() const noexcept { return fPosition; }
  const Generic::SequenceIntf* view() const noexcept { return fView; }

 private:
  Generic::SequenceIntf* fView;
  int fPosition;
};

// The stored sequence as the kernel's sequence of references, if it is one.
MultiIndexImplInternal::MultiIndexImplForRefs* refSequenceOf(Generic::SequenceIntf* s) {
  return typeid(*s) == typeid(MultiIndexImplInternal::MultiIndexImplForRefs)
             ? static_cast<MultiIndexImplInternal::MultiIndexImplForRefs*>(s)
             : nullptr;
}

// What an association reads and then writes: the owner's stored sequence, resolved once
// for reading and reused for the write when the write state is the one read; or, over
// any other view, the view itself both times.
GenericDeviantSequence::Read readThrough(GenericDeviantSequence* stored,
                                         Generic::SequenceIntf* view) {
  return stored ? stored->readingWithState() : GenericDeviantSequence::Read{nullptr, view};
}
Generic::SequenceIntf* writeThrough(GenericDeviantSequence* stored,
                                    const GenericDeviantSequence::Read& read) {
  return stored ? stored->writingAfter(read) : read.sequence;
}

int positionIn(const Generic::SequenceIntf* view, Generic::IteratorIntf* it) {
  const auto* p = dynamic_cast<const PositionIterator*>(it);
  if (!p || p->view() != view) fail(kViewSource, __LINE__, "iterator of another sequence");
  return p->position();
}

// A view of a stored sequence of an object: what its handle would show, without a count.
Generic::SequenceIntf* storedSequence(const IntrospectiveMethods* record,
                                      NSInterface::ClassObjectIntf* state, Deviant d,
                                      unsigned int index) {
  Sequence<Object> s = record->getMultiValued(state, d, index);
  if (s.isNull()) detail::raiseNullSequence();
  return s.get();  // embedded in the state: the handle's count was none
}
}  // namespace

// ---------------------------------------------------------------- CountedSequence

namespace Generic {

void CountedSequence::decRef() {
  if (--fRefCount <= 0) delete this;
}

void* CountedSequence::operator new(std::size_t n) {
  return Tovi::detail::allocateSmall(n);
}
void CountedSequence::operator delete(void* p, std::size_t n) noexcept {
  Tovi::detail::deallocateSmall(p, n);
}

// ---------------------------------------------------------------- IndexedView

void IndexedView::failIndex(int index) const {
  fail(kViewSource, __LINE__,
       index < 0 ? "sequence index must be positive" : "sequence index out of bounds");
}

void IndexedView::checkIndex(int index, int limit) const {
  if (index < 0 || index >= limit) failIndex(index);
}

Object IndexedView::generic_front(const Deviant& d) const {
  if (generic_empty()) fail(kViewSource, __LINE__, "sequence is empty");
  return generic_at(0, d);
}

Object IndexedView::generic_back(const Deviant& d) const {
  const int n = generic_size();
  if (n == 0) fail(kViewSource, __LINE__, "sequence is empty");
  return generic_at(n - 1, d);
}

IteratorIntf* IndexedView::generic_end(const Deviant&) const {
  return new PositionIterator(this, generic_size());
}

IteratorIntf* IndexedView::generic_begin(const Deviant&) const {
  return new PositionIterator(this, 0);
}

IteratorIntf* IndexedView::generic_insert(const Deviant& d, IteratorIntf* before,
                                          const Object& value) {
  const int at = positionIn(this, before);
  generic_insert(d, at, value);
  const int found = generic_indexOf(value);
  return new PositionIterator(this, found < 0 ? at : found);
}

IteratorIntf* IndexedView::generic_erase(const Deviant& d, IteratorIntf* position) {
  const int at = positionIn(this, position);
  if (at < generic_size()) generic_eraseAt(d, at);
  return new PositionIterator(this, at);
}

IteratorIntf* IndexedView::generic_erase(const Deviant& d, IteratorIntf* first, IteratorIntf* last) {
  const int from = positionIn(this, first);
  int to = positionIn(this, last);
  to = std::min(to, generic_size());
  for (int i = to - 1; i >= from; --i) generic_eraseAt(d, i);
  return new PositionIterator(this, from);
}

void IndexedView::generic_pop_back(const Deviant& d) {
  const int n = generic_size();
  if (n == 0) fail(kViewSource, __LINE__, "sequence is empty");
  generic_eraseAt(d, n - 1);
}

void IndexedView::generic_pop_front(const Deviant& d) {
  if (generic_empty()) fail(kViewSource, __LINE__, "sequence is empty");
  generic_eraseAt(d, 0);
}

void IndexedView::generic_push_back(const Deviant& d, const Object& value) {
  generic_insert(d, generic_size(), value);
}

void IndexedView::generic_push_front(const Deviant& d, const Object& value) {
  generic_insert(d, 0, value);
}

void IndexedView::generic_replace(const Deviant& d, int index, const Object& value) {
  checkIndex(index, generic_size());
  if (generic_at(index, d).get() == value.get()) return;
  if (generic_contains(value)) return;  // already elsewhere in the sequence
  generic_eraseAt(d, index);
  generic_insert(d, index, value);
}

}  // namespace Generic

// ---------------------------------------------------------------- GenericDeviantSequence

GenericDeviantSequence::GenericDeviantSequence(NSInterface::ClassObjectIntf* owner, Deviant d,
                                               const IntrospectiveMethods* record,
                                               unsigned int index)
    : fOwner(owner), fDeviant(d), fRecord(record), fIndex(index) {
  if (!fOwner) raiseNullRef();
  fOwner->incRef();
}

GenericDeviantSequence::~GenericDeviantSequence() {
  fOwner->decRef();
}

Generic::SequenceIntf* GenericDeviantSequence::reading() const {
  Read read = readingWithState();
  return read.sequence;
}

GenericDeviantSequence::Read GenericDeviantSequence::readingWithState() const {
  NSInterface::ClassObjectIntf* state =
      fOwner->getReadDeviantI(fDeviant, static_cast<const NSInterface::ClassObjectIntf*>(fOwner));
  if (!Deviant::isRealState(state)) detail::raiseNoState(state);
  return {state, storedSequence(fRecord, state, fDeviant, fIndex)};
}

Generic::SequenceIntf* GenericDeviantSequence::writing() const {
  return writingAfter({nullptr, nullptr});
}

Generic::SequenceIntf* GenericDeviantSequence::writingAfter(const Read& read) const {
  NSInterface::ClassObjectIntf* state =
      fOwner->getWriteDeviantI(fDeviant, static_cast<const NSInterface::ClassObjectIntf*>(fOwner));
  if (!Deviant::isRealState(state)) detail::raiseNoState(state);
  // The state read is the one to write (the root's, or a deviation's own): its stored
  // sequence is the one already found.
  if (state == read.state) return read.sequence;
  return storedSequence(fRecord, state, fDeviant, fIndex);
}

Object GenericDeviantSequence::generic_at(int index, const Deviant& d) const {
  return reading()->generic_at(index, d);
}
void GenericDeviantSequence::generic_clear(const Deviant& d) {
  const Read read = readingWithState();
  if (read.sequence->generic_empty()) return;  // nothing to write
  writingAfter(read)->generic_clear(d);
}
int GenericDeviantSequence::generic_size() const {
  return reading()->generic_size();
}
bool GenericDeviantSequence::generic_empty() const {
  return reading()->generic_empty();
}
void GenericDeviantSequence::generic_insert(const Deviant& d, int index, const Object& value) {
  writing()->generic_insert(d, index, value);
}
void GenericDeviantSequence::generic_eraseAt(const Deviant& d, int index) {
  const Read read = readingWithState();
  checkIndex(index, read.sequence->generic_size());
  writingAfter(read)->generic_eraseAt(d, index);
}
void GenericDeviantSequence::generic_push_back(const Deviant& d, const Object& value) {
  writing()->generic_push_back(d, value);
}
void GenericDeviantSequence::generic_replace(const Deviant& d, int index, const Object& value) {
  writing()->generic_replace(d, index, value);
}
bool GenericDeviantSequence::generic_contains(const Object& value) const {
  return reading()->generic_contains(value);
}
int GenericDeviantSequence::generic_indexOf(const Object& value) const {
  return reading()->generic_indexOf(value);
}
bool GenericDeviantSequence::generic_accepts(const Object& value) const {
  return reading()->generic_accepts(value);
}
bool GenericDeviantSequence::specialized_equal(const Deviant& d, const SequenceIntf* other,
                                               const Deviant& otherDeviant, bool& handled) const {
  if (const auto* o = dynamic_cast<const GenericDeviantSequence*>(other))
    other = o->reading();
  return reading()->specialized_equal(d, other, otherDeviant, handled);
}
void GenericDeviantSequence::specialized_assign(const Deviant& d, const SequenceIntf* other,
                                                const Deviant& otherDeviant, bool& handled) {
  if (const auto* o = dynamic_cast<const GenericDeviantSequence*>(other))
    other = o->reading();
  writing()->specialized_assign(d, other, otherDeviant, handled);
}
std::string GenericDeviantSequence::getTypeName() const {
  return reading()->getTypeName();
}
bool GenericDeviantSequence::generic_stamp(std::vector<std::uint64_t>& words) const {
  return reading()->generic_stamp(words);
}

// ---------------------------------------------------------------- GenericAssociationSequence

GenericAssociationSequence::GenericAssociationSequence(NSInterface::ClassObjectIntf* owner, Deviant d,
                                                       const Sequence<Object>& view,
                                                       const IntrospectiveMethods* oppositeRecord,
                                                       unsigned int oppositeIndex,
                                                       bool oppositeIsSingle, bool composite,
                                                       GenericDeviantSequence* stored)
    : fThis(owner, d),
      fOwner(owner),
      fView(view),
      fStored(stored),
      fOpposite{oppositeRecord, oppositeIndex, oppositeIsSingle},
      fComposite(composite) {
  if (fView.isNull()) detail::raiseNullSequence();
}

Object GenericAssociationSequence::generic_at(int index, const Deviant& d) const {
  return fView.get()->generic_at(index, d);
}
int GenericAssociationSequence::generic_size() const {
  return fView.get()->generic_size();
}
bool GenericAssociationSequence::generic_empty() const {
  return fView.get()->generic_empty();
}
bool GenericAssociationSequence::generic_contains(const Object& value) const {
  return fView.get()->generic_contains(value);
}
int GenericAssociationSequence::generic_indexOf(const Object& value) const {
  return fView.get()->generic_indexOf(value);
}
bool GenericAssociationSequence::generic_accepts(const Object& value) const {
  return fView.get()->generic_accepts(value);
}
std::string GenericAssociationSequence::getTypeName() const {
  return fView.get()->getTypeName();
}
bool GenericAssociationSequence::generic_stamp(std::vector<std::uint64_t>& words) const {
  return fView.get()->generic_stamp(words);
}

void GenericAssociationSequence::linkOpposite(NSInterface::ClassObjectIntf* partner) {
  const Deviant d = fThis.getDeviant();
  if (fComposite && !fOpposite.isSingle) {
    // A composite whose opposite is a union of the container (featuringClassifier): the
    // container is the end to set.
    detail::storeContainer(partner, d, fOwner);
    return;
  }
  if (fOpposite.isSingle)
    fOpposite.record->setOnlySingleValued(partner, d, fOpposite.index, fThis);
  else
    fOpposite.record->getOnlyMultiValued(partner, d, fOpposite.index).push_back(fThis);
}

void GenericAssociationSequence::unlinkOpposite(const Object& element) {
  auto* partner = detail::castTo<NSInterface::ClassObjectIntf>(element.get());
  if (!partner || !partner->deviant_isValid(fThis.getDeviant())) return;
  const Deviant d = fThis.getDeviant();
  if (fComposite && !fOpposite.isSingle) {
    if (partner->getContainerKelpa(d).get() == fOwner)
      detail::storeContainer(partner, d, nullptr);
    return;
  }
  if (fOpposite.isSingle) {
    // A composite's element may have moved on already: only an end that still points here
    // is cleared.
    if (!fComposite ||
        detail::sameElement(fOpposite.record->getSingleValued(partner, d, fOpposite.index).get(),
                    fThis.get()))
      fOpposite.record->removeOnlySingleValued(partner, d, fOpposite.index);
  } else {
    fOpposite.record->getOnlyMultiValued(partner, d, fOpposite.index).remove(fThis);
  }
}

void GenericAssociationSequence::generic_insert(const Deviant& d, int index, const Object& value) {
  insertAt(d, index, false, value);
}

void GenericAssociationSequence::generic_push_back(const Deviant& d, const Object& value) {
  insertAt(d, 0, true, value);
}

void GenericAssociationSequence::insertAt(const Deviant& d, int index, bool atEnd,
                                          const Object& value) {
  // Every check reads the stored sequence found once here; nothing is written (and no
  // state of a deviation is made) before all of them have passed.
  const GenericDeviantSequence::Read read = readThrough(fStored, fView.get());
  Generic::SequenceIntf* stored = read.sequence;
  const int n = stored->generic_size();
  if (atEnd)
    index = n;
  else if (index < 0 || index > n)
    failIndex(index);
  auto* refs = refSequenceOf(stored);
  // The element as the stored sequence's key, or null if it is none of its type.
  NSInterface::ClassObjectIntf* key = refs ? refs->tryKeyOf(value.get()) : nullptr;
  if (refs ? key && refs->containsKey(key) : stored->generic_contains(value)) return;
  auto* element = key ? key : detail::castTo<NSInterface::ClassObjectIntf>(value.get());
  // An element destroyed in d is no partner: refused as a null one, before any change.
  if (element && !element->deviant_isValid(d))
    MultiIndexImplForRefsHelper::raiseNullObject(stored->getTypeName().c_str());
  if (element)
    detail::refuseCrossModel(fThis.getDeviant(), value.getDeviant(),
                             "kelpa/kernel/containers/sequence/GenericAssociationSequence", __LINE__);
  // An element of the wrong type is refused as the stored sequence refuses it, before
  // any change.
  if (refs && !key) MultiIndexImplForRefsHelper::raiseNullObject(stored->getTypeName().c_str());
  if (!refs && (!element || !stored->generic_accepts(value))) {
    fView.get()->generic_insert(d, index, value);
    return;
  }
  if (fComposite) {
    // Out of its old place first, wherever that is: then the element is in one place.
    // That may have been this very owner, so the sequence to write is found after.
    detail::detachFromContainer(element, fThis.getDeviant());
  }
  Generic::SequenceIntf* target = writeThrough(fStored, read);
  if (fComposite) index = std::min(index, target->generic_size());
  if (auto* targetRefs = key ? refSequenceOf(target) : nullptr)
    targetRefs->insertKey(index, key);
  else
    target->generic_insert(d, index, value);
  linkOpposite(element);
}

void GenericAssociationSequence::generic_eraseAt(const Deviant& d, int index) {
  const GenericDeviantSequence::Read read = readThrough(fStored, fView.get());
  checkIndex(index, read.sequence->generic_size());
  const Object element = read.sequence->generic_at(index, d);
  writeThrough(fStored, read)->generic_eraseAt(d, index);
  unlinkOpposite(element);
}

void GenericAssociationSequence::generic_replace(const Deviant& d, int index, const Object& value) {
  Generic::SequenceIntf* view = fView.get();
  checkIndex(index, view->generic_size());
  if (view->generic_at(index, d).get() == value.get() || view->generic_contains(value)) return;
  generic_eraseAt(d, index);
  generic_insert(d, index, value);
}

void GenericAssociationSequence::generic_clear(const Deviant& d) {
  Generic::SequenceIntf* view = fView.get();
  // Each element leaves with its opposite end, last first so that positions hold.
  for (int i = view->generic_size() - 1; i >= 0; --i) generic_eraseAt(d, i);
}

Generic::SequenceIntf* newAssociationSequence(NSInterface::ClassObjectIntf* owner, Deviant d,
                                              const IntrospectiveMethods& record,
                                              unsigned int index,
                                              const IntrospectiveMethods& oppositeRecord,
                                              unsigned int oppositeIndex, bool oppositeIsMulti,
                                              bool composite) {
  auto* stored = new GenericDeviantSequence(owner, d, &record, index);
  Sequence<Object> view(stored, d);
  return new GenericAssociationSequence(owner, d, view, &oppositeRecord, oppositeIndex,
                                        !oppositeIsMulti, composite, stored);
}

// ---------------------------------------------------------------- GenericCombinedSequence

namespace combined_sequence_internal {

void GenericCombinedSequence::appendGeneric(const Sequence<Object>& part) {
  if (part.isNull()) detail::raiseNullSequence();
  fParts.push_back(part);
}

// The parts are live views: any of them may have grown or shrunk since the last call, so
// the walk starts at the first part every time.
std::size_t GenericCombinedSequence::locate(int& index) const {
  if (index < 0) failIndex(index);
  int start = 0;
  for (std::size_t part = 0; part < fParts.size(); ++part) {
    const int n = fParts[part].get()->generic_size();
    if (index < start + n) {
      index -= start;
      return part;
    }
    start += n;
  }
  failIndex(index);
}

Object GenericCombinedSequence::generic_at(int index, const Deviant& d) const {
  const std::size_t part = locate(index);
  return fParts[part].get()->generic_at(index, d);
}

void GenericCombinedSequence::generic_clear(const Deviant& d) {
  for (auto& part : fParts) part.get()->generic_clear(d);
}

int GenericCombinedSequence::generic_size() const {
  int n = 0;
  for (const auto& part : fParts) n += part.get()->generic_size();
  return n;
}

bool GenericCombinedSequence::generic_empty() const {
  for (const auto& part : fParts)
    if (!part.get()->generic_empty()) return false;
  return true;
}

void GenericCombinedSequence::generic_insert(const Deviant& d, int index, const Object& value) {
  const int n = generic_size();
  if (index < 0 || index > n) failIndex(index);
  // The part that holds the position takes the element if it can; else the first that can.
  int start = 0;
  for (auto& part : fParts) {
    const int size = part.get()->generic_size();
    if (index <= start + size && part.get()->generic_accepts(value)) {
      part.get()->generic_insert(d, std::min(index - start, size), value);
      return;
    }
    start += size;
  }
  for (auto& part : fParts) {
    if (part.get()->generic_accepts(value)) {
      part.get()->generic_push_back(d, value);
      return;
    }
  }
  MultiIndexImplForRefsHelper::raiseNullObject(fTypeName);
}

void GenericCombinedSequence::generic_push_back(const Deviant& d, const Object& value) {
  for (auto& part : fParts) {
    if (part.get()->generic_accepts(value)) {
      part.get()->generic_push_back(d, value);
      return;
    }
  }
  MultiIndexImplForRefsHelper::raiseNullObject(fTypeName);
}

void GenericCombinedSequence::generic_eraseAt(const Deviant& d, int index) {
  const std::size_t part = locate(index);
  fParts[part].get()->generic_eraseAt(d, index);
}

int GenericCombinedSequence::generic_indexOf(const Object& value) const {
  int start = 0;
  for (const auto& part : fParts) {
    const int at = part.get()->generic_indexOf(value);
    if (at >= 0) return start + at;
    start += part.get()->generic_size();
  }
  return -1;
}

bool GenericCombinedSequence::generic_accepts(const Object& value) const {
  for (const auto& part : fParts)
    if (part.get()->generic_accepts(value)) return true;
  return false;
}

// Each part gives a fixed number of words (a stored list one, a single-valued part two),
// so equal concatenations mean equal parts.
bool GenericCombinedSequence::generic_stamp(std::vector<std::uint64_t>& words) const {
  for (const auto& part : fParts)
    if (!part.get()->generic_stamp(words)) return false;
  return true;
}

}  // namespace combined_sequence_internal

// ---------------------------------------------------------------- GenericFilteredSequence

namespace filtered_sequence_internal {

GenericFilteredSequence::GenericFilteredSequence(const Sequence<Object>& source, Deviant d,
                                                 Filter filter)
    : fSource(source), fDeviant(d), fFilter(filter) {
  if (fSource.isNull()) detail::raiseNullSequence();
}

void GenericFilteredSequence::forget() const {
  fStamped = false;
  fSourceSize = -1;
  fSize = -1;
  fCachedIndex = -1;
  fCachedSource = -1;
}

void GenericFilteredSequence::revalidate() const {
  fNextStamp.clear();
  const bool stamped = fSource.get()->generic_stamp(fNextStamp);
  if (stamped && fStamped && fNextStamp == fStamp) return;
  forget();
  // A source that cannot tell is looked at afresh on every use.
  if (!stamped) return;
  fStamp.swap(fNextStamp);
  fStamped = true;
}

int GenericFilteredSequence::sourceSize() const {
  if (fSourceSize < 0) fSourceSize = fSource.get()->generic_size();
  return fSourceSize;
}

int GenericFilteredSequence::sourcePosition(int index) const {
  if (index < 0) return -1;
  if (fSize >= 0 && index >= fSize) return -1;
  Generic::SequenceIntf* source = fSource.get();
  int view = 0;
  int at = 0;
  if (fCachedIndex >= 0 && fCachedIndex <= index) {
    // Onwards from the last position found: an in-order walk takes a step per element.
    view = fCachedIndex;
    at = fCachedSource;
  } else if (fCachedIndex > index && fCachedIndex - index < index) {
    // Back from it, when that is nearer than the front.
    view = fCachedIndex;
    at = fCachedSource;
    while (view > index) {
      --at;
      if (passes(source->generic_at(at, fDeviant))) --view;
    }
    fCachedIndex = index;
    fCachedSource = at;
    return at;
  }
  const int n = sourceSize();
  for (; at < n; ++at) {
    if (!passes(source->generic_at(at, fDeviant))) continue;
    if (view == index) {
      fCachedIndex = index;
      fCachedSource = at;
      return at;
    }
    ++view;
  }
  fSize = view;  // walked to the end: every passing element was counted
  return -1;
}

Object GenericFilteredSequence::generic_at(int index, const Deviant& d) const {
  revalidate();
  const int at = sourcePosition(index);
  if (at < 0) failIndex(index);
  return fSource.get()->generic_at(at, d);
}

void GenericFilteredSequence::generic_clear(const Deviant& d) {
  if (!fFilter) return fSource.get()->generic_clear(d);
  for (int i = generic_size() - 1; i >= 0; --i) generic_eraseAt(d, i);
}

int GenericFilteredSequence::generic_size() const {
  revalidate();
  if (fSize >= 0) return fSize;
  Generic::SequenceIntf* source = fSource.get();
  const int n = sourceSize();
  if (!fFilter) return fSize = n;
  int count = 0;
  for (int i = 0; i < n; ++i)
    if (passes(source->generic_at(i, fDeviant))) ++count;
  return fSize = count;
}

bool GenericFilteredSequence::generic_empty() const {
  revalidate();
  if (fSize >= 0) return fSize == 0;
  if (!fFilter) return fSource.get()->generic_empty();
  return sourcePosition(0) < 0;
}

void GenericFilteredSequence::generic_insert(const Deviant& d, int index, const Object& value) {
  const int size = generic_size();
  if (index < 0 || index > size) failIndex(index);
  if (!passes(value)) MultiIndexImplForRefsHelper::raiseNullObject(getTypeName().c_str());
  const int at = index == size ? sourceSize() : sourcePosition(index);
  forget();
  fSource.get()->generic_insert(d, at, value);
}

void GenericFilteredSequence::generic_push_back(const Deviant& d, const Object& value) {
  if (!passes(value)) MultiIndexImplForRefsHelper::raiseNullObject(getTypeName().c_str());
  forget();
  fSource.get()->generic_push_back(d, value);
}

void GenericFilteredSequence::generic_eraseAt(const Deviant& d, int index) {
  revalidate();
  const int at = sourcePosition(index);
  if (at < 0) failIndex(index);
  forget();
  fSource.get()->generic_eraseAt(d, at);
}

int GenericFilteredSequence::generic_indexOf(const Object& value) const {
  if (!passes(value)) return -1;
  revalidate();
  Generic::SequenceIntf* source = fSource.get();
  const int at = source->generic_indexOf(value);
  if (at < 0 || !fFilter) return at;
  // Counted from the last position found if that lies before, else from the front.
  int view = 0;
  int i = 0;
  if (fCachedIndex >= 0 && fCachedSource <= at) {
    view = fCachedIndex;
    i = fCachedSource;
  }
  for (; i < at; ++i)
    if (passes(source->generic_at(i, fDeviant))) ++view;
  fCachedIndex = view;
  fCachedSource = at;
  return view;
}

bool GenericFilteredSequence::generic_accepts(const Object& value) const {
  return passes(value) && fSource.get()->generic_accepts(value);
}

std::string GenericFilteredSequence::getTypeName() const {
  return fSource.get()->getTypeName();
}

bool GenericFilteredSequence::generic_stamp(std::vector<std::uint64_t>& words) const {
  return fSource.get()->generic_stamp(words);
}

}  // namespace filtered_sequence_internal

// ---------------------------------------------------------------- GenericPropertyToSequenceProxy

GenericPropertyToSequenceProxy::GenericPropertyToSequenceProxy(const ImmutableClassObject& object,
                                                               const IntrospectiveMethods* record,
                                                               unsigned int index,
                                                               unsigned int lower,
                                                               Filter accepts)
    : fAccepts(accepts),
      fObject(const_cast<NSInterface::ClassObjectIntf*>(object.get()), object.getDeviant()),
      fRecord(record),
      fIndex(index),
      fLower(lower) {
  if (fObject.isNull()) raiseNullRef();
}

Object GenericPropertyToSequenceProxy::current() const {
  NSInterface::ClassObjectIntf* o = fObject.get();
  const Deviant d = fObject.getDeviant();
  if (fLower == 0 && !fRecord->hasSingleValued(o, d, fIndex)) return Object();
  Object v = fRecord->getSingleValued(o, d, fIndex);
  if (v.isNull() || !v->deviant_isValid(v.getDeviant())) return Object();
  return v;
}

int GenericPropertyToSequenceProxy::generic_size() const {
  return current().isNull() ? 0 : 1;
}

Object GenericPropertyToSequenceProxy::generic_at(int index, const Deviant& d) const {
  Object v = current();
  checkIndex(index, v.isNull() ? 0 : 1);
  return Object(v.get(), d);
}

void GenericPropertyToSequenceProxy::generic_clear(const Deviant&) {
  if (current().isNull()) return;
  fRecord->removeOnlySingleValued(fObject.get(), fObject.getDeviant(), fIndex);
}

void GenericPropertyToSequenceProxy::generic_insert(const Deviant&, int index,
                                                    const Object& value) {
  const Object v = current();
  const int size = v.isNull() ? 0 : 1;
  if (index < 0 || index > size) failIndex(index);
  if (detail::sameElement(v.get(), value.get())) return;
  if (size == 1) fail(kViewSource, __LINE__, "sequence index out of bounds");
  fRecord->setOnlySingleValued(fObject.get(), fObject.getDeviant(), fIndex, value);
}

void GenericPropertyToSequenceProxy::generic_eraseAt(const Deviant& d, int index) {
  checkIndex(index, generic_size());
  generic_clear(d);
}

bool GenericPropertyToSequenceProxy::generic_accepts(const Object& value) const {
  return value.get() && (!fAccepts || fAccepts(value.get())) && current().isNull();
}

int GenericPropertyToSequenceProxy::generic_indexOf(const Object& value) const {
  const Object v = current();
  return !v.isNull() && detail::sameElement(v.get(), value.get()) ? 0 : -1;
}

bool GenericPropertyToSequenceProxy::generic_stamp(std::vector<std::uint64_t>& words) const {
  const Object v = current();
  if (v.isNull()) {
    words.insert(words.end(), {0, 0});
    return true;
  }
  const NSInterface::ObjectIntf& element = *v.get();
  words.push_back(reinterpret_cast<std::uintptr_t>(&element));
  words.push_back(reinterpret_cast<std::uintptr_t>(&typeid(element)));
  return true;
}

// ---------------------------------------------------------------- proxies

GenericReferenceCountingSequenceProxy::GenericReferenceCountingSequenceProxy(
    Generic::SequenceIntf* target)
    : fTarget(target) {
  if (!fTarget) detail::raiseNullSequence();
  fTarget->incRef();
}

GenericReferenceCountingSequenceProxy::~GenericReferenceCountingSequenceProxy() {
  fTarget->decRef();
}

IteratorProxy::IteratorProxy(Generic::IteratorIntf* target) : fTarget(target) {
  if (!fTarget) raiseNullRef();
  fTarget->incRef();
}

IteratorProxy::~IteratorProxy() {
  fTarget->decRef();
}

bool IteratorProxy::generic_equal(const IteratorIntf* other) const {
  if (const auto* o = dynamic_cast<const IteratorProxy*>(other)) other = o->fTarget;
  return fTarget->generic_equal(other);
}

}  // namespace Kelpa
