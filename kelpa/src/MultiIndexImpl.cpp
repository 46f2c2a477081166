#include <Kelpa/MultiIndexImpl.h>

#include <boost/multi_index/identity.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/random_access_index.hpp>
#include <boost/multi_index_container.hpp>

#include <atomic>
#include <functional>

#include <Kelpa/Asserter.h>

#include "RefSequenceSupport.h"
#include <Tovi/SmallObjects.h>

namespace Kelpa {

namespace MultiIndexImplInternal {

namespace bmi = boost::multi_index;
using Key = NSInterface::ClassObjectIntf*;

namespace {
// Stamps come from one counter for all lists, so that a stamp is never given twice: a
// list made, copied or written gets a new one, and two lists never share one, even when
// the second takes the first one's address.
std::atomic<std::uint64_t> gLastStamp{0};
std::uint64_t newStamp() noexcept {
  return gLastStamp.fetch_add(1, std::memory_order_relaxed) + 1;
}
}  // namespace

// Positions and insertion order first, then uniqueness and lookup by identity. Nodes
// come from the small-object pools: a model holds millions of them.
struct RefContainer
    : bmi::multi_index_container<
          Key, bmi::indexed_by<bmi::random_access<>, bmi::ordered_unique<bmi::identity<Key>>>,
          Tovi::detail::SmallObjectAllocator<Key>> {
  using Base = bmi::multi_index_container<
      Key, bmi::indexed_by<bmi::random_access<>, bmi::ordered_unique<bmi::identity<Key>>>,
      Tovi::detail::SmallObjectAllocator<Key>>;
  RefContainer() = default;
  // A copy is another list: it gets a stamp of its own.
  RefContainer(const RefContainer& other) : Base(other) {}
  RefContainer& operator=(const RefContainer&) = delete;

  // Every write of the elements or their order takes a new stamp.
  void changed() noexcept { stamp = newStamp(); }

  static void* operator new(std::size_t n) { return Tovi::detail::allocateSmall(n); }
  static void operator delete(void* p, std::size_t n) noexcept { Tovi::detail::deallocateSmall(p, n); }

  std::uint64_t stamp = newStamp();
};

namespace {
using detail::refsequence::checkIndex;
using detail::refsequence::fail;
using detail::refsequence::positionOf;
using Position = RefContainer::nth_index<0>::type::iterator;
using Iterator = detail::refsequence::PositionIterator<Position>;

// An iterator of an empty sequence that has no container yet.
const RefContainer& emptyContainer() {
  static const auto* empty = new RefContainer();
  return *empty;
}

}  // namespace

MultiIndexImplForRefs::MultiIndexImplForRefs(const MultiIndexImplForRefs& other)
    : Generic::SequenceIntf(other), fTraits(other.fTraits) {
  if (other.fContainer && !other.fContainer->empty()) {
    fContainer = new RefContainer(*other.fContainer);
    for (Key k : *fContainer) k->incRef();
  }
}

MultiIndexImplForRefs& MultiIndexImplForRefs::operator=(const MultiIndexImplForRefs& other) {
  if (this == &other) return *this;
  RefContainer* old = fContainer;
  fContainer = nullptr;
  if (other.fContainer && !other.fContainer->empty()) {
    fContainer = new RefContainer(*other.fContainer);
    for (Key k : *fContainer) k->incRef();
  }
  if (old) {
    for (Key k : *old) k->decRef();
    delete old;
  }
  return *this;
}

MultiIndexImplForRefs::~MultiIndexImplForRefs() {
  if (!fContainer) return;
  RefContainer* c = fContainer;
  fContainer = nullptr;
  for (Key k : *c) k->decRef();
  delete c;
}

// Most lists of references hold one element (the opposite ends of single-valued ones):
// room for one at first, where the position index would otherwise take room for fifteen.
RefContainer* MultiIndexImplForRefs::container() {
  if (!fContainer) {
    fContainer = new RefContainer();
    fContainer->reserve(1);
  }
  return fContainer;
}

int MultiIndexImplForRefs::size() const noexcept {
  return fContainer ? static_cast<int>(fContainer->size()) : 0;
}

NSInterface::ClassObjectIntf* MultiIndexImplForRefs::keyAt(int index) const {
  checkIndex(index, size());
  return (*fContainer)[static_cast<std::size_t>(index)];
}

bool MultiIndexImplForRefs::insertKeyAt(int index, Key key) {
  RefContainer* c = container();
  if (static_cast<std::size_t>(index) == c->size()) {
    // An append goes in through the lookup index, which puts it last in position order
    // too; with the end as hint, a key above all others is linked without a search.
    auto& byKey = c->get<1>();
    const std::size_t before = c->size();
    byKey.insert(byKey.end(), key);
    if (c->size() == before) return false;
    c->changed();
    key->incRef();
    return true;
  }
  auto result = c->insert(c->begin() + index, key);
  if (!result.second) return false;
  c->changed();
  key->incRef();
  return true;
}

bool MultiIndexImplForRefs::insertKey(int index, Key key) {
  checkIndex(index, size() + 1);
  return insertKeyAt(index, key);
}

bool MultiIndexImplForRefs::appendKey(Key key) {
  return insertKeyAt(size(), key);
}

bool MultiIndexImplForRefs::eraseKey(const NSInterface::ClassObjectIntf* key) {
  if (!fContainer) return false;
  auto& byKey = fContainer->get<1>();
  auto it = byKey.find(const_cast<Key>(key));
  if (it == byKey.end()) return false;
  Key k = *it;
  byKey.erase(it);
  fContainer->changed();
  k->decRef();
  return true;
}

bool MultiIndexImplForRefs::containsKey(const NSInterface::ClassObjectIntf* key) const {
  if (!fContainer || fContainer->empty()) return false;
  const auto& byKey = fContainer->get<1>();
  // Elements are mostly added in the order they were made, and the pools hand out rising
  // addresses: a key above the greatest one, which the tree keeps at hand, is absent.
  if (std::less<Key>()(*byKey.rbegin(), const_cast<Key>(key))) return false;
  return byKey.count(const_cast<Key>(key)) != 0;
}

Object MultiIndexImplForRefs::generic_at(int index, const Deviant& d) const {
  return Object(keyAt(index), d);
}

Object MultiIndexImplForRefs::generic_front(const Deviant& d) const {
  if (size() == 0) fail(__LINE__, "sequence is empty");
  return Object(fContainer->front(), d);
}

Object MultiIndexImplForRefs::generic_back(const Deviant& d) const {
  if (size() == 0) fail(__LINE__, "sequence is empty");
  return Object(fContainer->back(), d);
}

Generic::IteratorIntf* MultiIndexImplForRefs::generic_end(const Deviant&) const {
  return new Iterator(fContainer ? fContainer->end() : emptyContainer().end());
}

Generic::IteratorIntf* MultiIndexImplForRefs::generic_begin(const Deviant&) const {
  return new Iterator(fContainer ? fContainer->begin() : emptyContainer().begin());
}

void MultiIndexImplForRefs::generic_clear(const Deviant&) {
  if (!fContainer) return;
  // Release after unlinking: a released element may be destroyed, and its
  // destruction must not find itself still in this container.
  RefContainer taken;
  taken.swap(*fContainer);
  fContainer->changed();
  for (Key k : taken) k->decRef();
}

void MultiIndexImplForRefs::generic_insert(const Deviant&, int index, const Object& value) {
  checkIndex(index, size() + 1);
  insertKeyAt(index, keyOf(value.get()));
}

Generic::IteratorIntf* MultiIndexImplForRefs::generic_insert(const Deviant&,
                                                             Generic::IteratorIntf* before,
                                                             const Object& value) {
  Key key = keyOf(value.get());
  Position pos = positionOf<Position>(before);
  RefContainer* c = container();
  auto result = c->insert(pos, key);
  if (result.second) {
    c->changed();
    key->incRef();
  }
  return new Iterator(result.first);
}

Generic::IteratorIntf* MultiIndexImplForRefs::generic_erase(const Deviant&,
                                                            Generic::IteratorIntf* position) {
  Position pos = positionOf<Position>(position);
  if (!fContainer || pos == fContainer->end()) return new Iterator(pos);
  Key k = *pos;
  Position next = fContainer->erase(pos);
  fContainer->changed();
  k->decRef();
  return new Iterator(next);
}

Generic::IteratorIntf* MultiIndexImplForRefs::generic_erase(const Deviant&,
                                                            Generic::IteratorIntf* first,
                                                            Generic::IteratorIntf* last) {
  Position from = positionOf<Position>(first);
  Position to = positionOf<Position>(last);
  std::vector<Key> released(from, to);
  Position next = fContainer->erase(from, to);
  if (!released.empty()) fContainer->changed();
  for (Key k : released) k->decRef();
  return new Iterator(next);
}

void MultiIndexImplForRefs::generic_eraseAt(const Deviant&, int index) {
  checkIndex(index, size());
  auto pos = fContainer->begin() + index;
  Key k = *pos;
  fContainer->erase(pos);
  fContainer->changed();
  k->decRef();
}

void MultiIndexImplForRefs::generic_pop_back(const Deviant& d) {
  if (size() == 0) fail(__LINE__, "sequence is empty");
  generic_eraseAt(d, size() - 1);
}

void MultiIndexImplForRefs::generic_pop_front(const Deviant& d) {
  if (size() == 0) fail(__LINE__, "sequence is empty");
  generic_eraseAt(d, 0);
}

void MultiIndexImplForRefs::generic_push_back(const Deviant&, const Object& value) {
  insertKeyAt(size(), keyOf(value.get()));
}

void MultiIndexImplForRefs::generic_push_front(const Deviant&, const Object& value) {
  insertKeyAt(0, keyOf(value.get()));
}

void MultiIndexImplForRefs::generic_replace(const Deviant&, int index, const Object& value) {
  checkIndex(index, size());
  Key key = keyOf(value.get());
  auto pos = fContainer->begin() + index;
  Key old = *pos;
  if (old == key) return;
  if (!fContainer->replace(pos, key)) return;  // already elsewhere in the sequence
  fContainer->changed();
  key->incRef();
  old->decRef();
}

bool MultiIndexImplForRefs::generic_contains(const Object& value) const {
  if (!fContainer || value.isNull()) return false;
  auto* asClassObject = detail::castTo<NSInterface::ClassObjectIntf>(value.get());
  return asClassObject && containsKey(asClassObject);
}

int MultiIndexImplForRefs::generic_indexOf(const Object& value) const {
  if (!fContainer || value.isNull()) return -1;
  auto* key = detail::castTo<NSInterface::ClassObjectIntf>(value.get());
  auto& byKey = fContainer->get<1>();
  auto it = byKey.find(key);
  if (it == byKey.end()) return -1;
  return static_cast<int>(fContainer->project<0>(it) - fContainer->begin());
}

bool MultiIndexImplForRefs::generic_accepts(const Object& value) const {
  return fTraits->tryCast(value.get()) != nullptr;
}

bool MultiIndexImplForRefs::generic_remove(const Deviant&, const Object& value) {
  if (!fContainer || value.isNull()) return false;
  auto* key = detail::castTo<NSInterface::ClassObjectIntf>(value.get());
  return key && eraseKey(key);
}

bool MultiIndexImplForRefs::specialized_equal(const Deviant&, const SequenceIntf* other,
                                              const Deviant&, bool& handled) const {
  const auto* o = dynamic_cast<const MultiIndexImplForRefs*>(other);
  if (!o) {
    handled = false;
    return false;
  }
  handled = true;
  if (size() != o->size()) return false;
  for (int i = 0; i < size(); ++i)
    if ((*fContainer)[i] != (*o->fContainer)[i]) return false;
  return true;
}

void MultiIndexImplForRefs::specialized_assign(const Deviant&, const SequenceIntf* other,
                                               const Deviant&, bool& handled) {
  const auto* o = dynamic_cast<const MultiIndexImplForRefs*>(other);
  // Only a sequence of the same element type is copied as it stands; any other goes
  // element by element through the typed cast.
  if (!o || o->fTraits != fTraits) {
    handled = false;
    return;
  }
  handled = true;
  *this = *o;
}

std::string MultiIndexImplForRefs::getTypeName() const {
  return fTraits->typeName;
}

bool MultiIndexImplForRefs::generic_stamp(std::vector<std::uint64_t>& words) const {
  words.push_back(size() == 0 ? 0 : fContainer->stamp);
  return true;
}

}  // namespace MultiIndexImplInternal

void MultiIndexImplForRefsHelper::raiseNullObject(const char* sequenceTypeName) {
  Asserter::Make<Exception>(
      false, "%s", (std::string("null object while inserting into ") + sequenceTypeName).c_str())
      .handle("kelpa/kernel/containers/sequence/multi_index/MultiIndexImplForRefs", __LINE__, "");
  __builtin_unreachable();
}

}  // namespace Kelpa
