#pragma once
// The kernel's views: sequences that hold no elements of their own but show, and
// change, what is stored elsewhere.
//
//   GenericDeviantSequence        a stored multi-valued property of one element in one
//                                 deviant; the state to read or write is resolved on
//                                 every use, so a write always goes through the
//                                 element's write resolution
//   GenericAssociationSequence    a view whose insertions and erasures also set or
//                                 remove the opposite end on the element moved
//   GenericCombinedSequence       the concatenation of several sequences (a union)
//   GenericFilteredSequence       the elements of a sequence that pass a type test
//   GenericSubsetSequence         a subset property seen on the sequence of its superset
//   GenericPropertyToSequenceProxy  a single-valued property as none or one element
//   GenericReferenceCountingSequenceProxy, IteratorProxy  forwarders to counted objects
//
// Views are heap objects counted by the handles that hold them, and a view of an
// element holds a count on that element, so a view outlives neither.
#include <vector>

#include <Kelpa/Meta.h>
#include <Kelpa/Sequence.h>

namespace Kelpa {

namespace Generic {

// A heap sequence counted by its own handles.
class CountedSequence : public SequenceIntf {
 public:
  CountedSequence() = default;
  CountedSequence(const CountedSequence&) = delete;
  CountedSequence& operator=(const CountedSequence&) = delete;

  void incRef() override { ++fRefCount; }
  void decRef() override;
  int numRef() const override { return fRefCount; }

  static void* operator new(std::size_t n);
  static void operator delete(void* p, std::size_t n) noexcept;

 private:
  int fRefCount = 0;
};

// A view whose positions are its interface: the iterator forms, the ends, contains
// and the appends are written once here over at, size, insert at, erase at and
// indexOf. Its iterators are positions in the view.
class IndexedView : public CountedSequence {
 public:
  using SequenceIntf::generic_erase;
  using SequenceIntf::generic_insert;
  Object generic_front(const Deviant& d) const override;
  Object generic_back(const Deviant& d) const override;
  IteratorIntf* generic_end(const Deviant& d) const override;
  IteratorIntf* generic_begin(const Deviant& d) const override;
  IteratorIntf* generic_insert(const Deviant& d, IteratorIntf* before,
                               const Object& value) override;
  IteratorIntf* generic_erase(const Deviant& d, IteratorIntf* position) override;
  IteratorIntf* generic_erase(const Deviant& d, IteratorIntf* first, IteratorIntf* last) override;
  void generic_pop_back(const Deviant& d) override;
  void generic_pop_front(const Deviant& d) override;
  void generic_push_back(const Deviant& d, const Object& value) override;
  void generic_push_front(const Deviant& d, const Object& value) override;
  bool generic_contains(const Object& value) const override { return generic_indexOf(value) >= 0; }
  void generic_replace(const Deviant& d, int index, const Object& value) override;

 protected:
  // Raises one of the index messages of the view's kind.
  [[noreturn]] void failIndex(int index) const;
  void checkIndex(int index, int limit) const;
};

}  // namespace Generic

// A stored multi-valued property of owner, seen in deviant d: every use finds the
// state to read (or to write) through the owner's resolution and the record's
// getMultiValued, so a write in a read-only deviant is refused as any other write,
// and a write in a deviation lands in the deviation's own state.
class GenericDeviantSequence final : public Generic::IndexedView {
 public:
  GenericDeviantSequence(NSInterface::ClassObjectIntf* owner, Deviant d,
                         const IntrospectiveMethods* record, unsigned int index);
  ~GenericDeviantSequence() override;

  Object generic_at(int index, const Deviant& d) const override;
  void generic_clear(const Deviant& d) override;
  int generic_size() const override;
  bool generic_empty() const override;
  void generic_insert(const Deviant& d, int index, const Object& value) override;
  using IndexedView::generic_insert;
  void generic_eraseAt(const Deviant& d, int index) override;
  void generic_push_back(const Deviant& d, const Object& value) override;
  void generic_replace(const Deviant& d, int index, const Object& value) override;
  bool generic_contains(const Object& value) const override;
  int generic_indexOf(const Object& value) const override;
  bool generic_accepts(const Object& value) const override;
  bool specialized_equal(const Deviant& d, const SequenceIntf* other, const Deviant& otherDeviant,
                         bool& handled) const override;
  void specialized_assign(const Deviant& d, const SequenceIntf* other, const Deviant& otherDeviant,
                          bool& handled) override;
  std::string getTypeName() const override;
  // The stamp of the stored list a read uses now: another state's list has another.
  bool generic_stamp(std::vector<std::uint64_t>& words) const override;

  // The stored sequence of the state that a read (or a write) in the view's deviant uses.
  SequenceIntf* reading() const;
  SequenceIntf* writing() const;
  // A read: the state found and its stored sequence.
  struct Read {
    const NSInterface::ClassObjectIntf* state;
    SequenceIntf* sequence;
  };
  Read readingWithState() const;
  // writing() after read, found in the same call with nothing in between that could
  // have replaced the owner's state: a write that lands in the state read takes its
  // sequence without looking it up again.
  SequenceIntf* writingAfter(const Read& read) const;
  NSInterface::ClassObjectIntf* owner() const noexcept { return fOwner; }
  Deviant deviant() const noexcept { return fDeviant; }

 private:
  NSInterface::ClassObjectIntf* fOwner;
  Deviant fDeviant;
  const IntrospectiveMethods* fRecord;
  unsigned int fIndex;
};

// Where the opposite of an association sequence is kept: an end addressed by record
// and index, single- or multi-valued.
struct OppositeEnd {
  const IntrospectiveMethods* record;
  unsigned int index;
  bool isSingle;
};

// A view of one end of an association: inserting an element also sets the opposite end
// on it to the owner, erasing it removes that. A composite end moves an element that is
// owned elsewhere out of its old owner first. The opposite end is written by reflection
// with its Only forms, so that its own maintenance does not run again.
class GenericAssociationSequence final : public Generic::IndexedView {
 public:
  // view shows owner's end; stored, if given, is view itself as the stored property it is,
  // so that a change resolves the owner's state once for its checks and once to write.
  GenericAssociationSequence(NSInterface::ClassObjectIntf* owner, Deviant d,
                             const Sequence<Object>& view,
                             const IntrospectiveMethods* oppositeRecord, unsigned int oppositeIndex,
                             bool oppositeIsSingle, bool composite = false,
                             GenericDeviantSequence* stored = nullptr);

  Object generic_at(int index, const Deviant& d) const override;
  void generic_clear(const Deviant& d) override;
  int generic_size() const override;
  bool generic_empty() const override;
  void generic_insert(const Deviant& d, int index, const Object& value) override;
  using IndexedView::generic_insert;
  void generic_push_back(const Deviant& d, const Object& value) override;
  void generic_eraseAt(const Deviant& d, int index) override;
  void generic_replace(const Deviant& d, int index, const Object& value) override;
  bool generic_contains(const Object& value) const override;
  int generic_indexOf(const Object& value) const override;
  bool generic_accepts(const Object& value) const override;
  std::string getTypeName() const override;
  bool generic_stamp(std::vector<std::uint64_t>& words) const override;

 private:
  // Inserts value before position index, or after the last element if atEnd.
  void insertAt(const Deviant& d, int index, bool atEnd, const Object& value);
  void linkOpposite(NSInterface::ClassObjectIntf* partner);
  void unlinkOpposite(const Object& element);

  Object fThis;
  NSInterface::ClassObjectIntf* fOwner;
  Sequence<Object> fView;
  GenericDeviantSequence* fStored;
  OppositeEnd fOpposite;
  bool fComposite;
};

namespace combined_sequence_internal {

// Sub-sequences one after another. Insertion goes to the first sub-sequence that accepts
// the element's type; erasure reaches the one that holds it. Nothing removes duplicates.
class GenericCombinedSequence final : public Generic::IndexedView {
 public:
  explicit GenericCombinedSequence(std::size_t reserve,
                                   const char* typeName = "Kelpa.SequenceOfClassObject")
      : fTypeName(typeName) {
    fParts.reserve(reserve);
  }

  // Adds a contributor; the null pointer names the union's element type and is not used.
  template <class T>
  void append(const Sequence<T>& part, const T* = nullptr) {
    appendGeneric(Sequence<Object>(part.get(), part.getDeviant()));
  }
  void appendGeneric(const Sequence<Object>& part);

  Object generic_at(int index, const Deviant& d) const override;
  void generic_clear(const Deviant& d) override;
  int generic_size() const override;
  bool generic_empty() const override;
  void generic_insert(const Deviant& d, int index, const Object& value) override;
  using IndexedView::generic_insert;
  void generic_eraseAt(const Deviant& d, int index) override;
  void generic_push_back(const Deviant& d, const Object& value) override;
  int generic_indexOf(const Object& value) const override;
  bool generic_accepts(const Object& value) const override;
  std::string getTypeName() const override { return fTypeName; }
  // The parts' stamps one after another; false if a part cannot tell.
  bool generic_stamp(std::vector<std::uint64_t>& words) const override;

 private:
  // The part that holds position index, and the position within it.
  std::size_t locate(int& index) const;

  const char* fTypeName;
  std::vector<Sequence<Object>> fParts;
};

}  // namespace combined_sequence_internal

namespace filtered_sequence_internal {

// The elements of a sequence that pass a type test, in the sequence's order.
//
// A walk by position would count the source from its front on every step. The view
// keeps what it last found instead (the last position asked and where it stands in the
// source, the sizes), and keeps it only while the source's stamp is the one it was found
// under: a change of the source, through this view or any other path, a write in the
// state the view's deviant reads or a single-valued part set, gives another stamp.
class GenericFilteredSequence final : public Generic::IndexedView {
 public:
  using Filter = bool (*)(const NSInterface::ObjectIntf*);
  // A null filter passes every element.
  GenericFilteredSequence(const Sequence<Object>& source, Deviant d, Filter filter);

  Object generic_at(int index, const Deviant& d) const override;
  void generic_clear(const Deviant& d) override;
  int generic_size() const override;
  bool generic_empty() const override;
  void generic_insert(const Deviant& d, int index, const Object& value) override;
  using IndexedView::generic_insert;
  void generic_eraseAt(const Deviant& d, int index) override;
  void generic_push_back(const Deviant& d, const Object& value) override;
  int generic_indexOf(const Object& value) const override;
  bool generic_accepts(const Object& value) const override;
  std::string getTypeName() const override;
  // What the view shows follows from what its source holds: the source's stamp.
  bool generic_stamp(std::vector<std::uint64_t>& words) const override;

 private:
  bool passes(const Object& o) const { return !fFilter || (o.get() && fFilter(o.get())); }
  // Drops what was found unless the source still gives the stamp it was found under.
  void revalidate() const;
  void forget() const;
  int sourceSize() const;
  // The source position of the view's position index, or -1. After revalidate.
  int sourcePosition(int index) const;

  Sequence<Object> fSource;
  Deviant fDeviant;
  Filter fFilter;
  // The source's stamp that what follows was found under (none if it cannot tell), and
  // room for the next one.
  mutable std::vector<std::uint64_t> fStamp;
  mutable std::vector<std::uint64_t> fNextStamp;
  mutable bool fStamped = false;
  // Sizes of the source and of the view, or -1 while not counted.
  mutable int fSourceSize = -1;
  mutable int fSize = -1;
  // The last view position found and its source position, or -1.
  mutable int fCachedIndex = -1;
  mutable int fCachedSource = -1;
};

}  // namespace filtered_sequence_internal

// A subset property seen on the sequence of its superset: the superset's elements that
// are of the subset's type.
using GenericSubsetSequence = filtered_sequence_internal::GenericFilteredSequence;

// A single-valued property of an element as a sequence of none or one element. Insertion
// sets it (with the Only form), erasure removes it.
class GenericPropertyToSequenceProxy final : public Generic::IndexedView {
 public:
  using Filter = bool (*)(const NSInterface::ObjectIntf*);
  // accepts, if given, tells the elements of the property's type.
  GenericPropertyToSequenceProxy(const ImmutableClassObject& object,
                                 const IntrospectiveMethods* record, unsigned int index,
                                 unsigned int lower, Filter accepts = nullptr);

  Object generic_at(int index, const Deviant& d) const override;
  void generic_clear(const Deviant& d) override;
  int generic_size() const override;
  bool generic_empty() const override { return generic_size() == 0; }
  void generic_insert(const Deviant& d, int index, const Object& value) override;
  using IndexedView::generic_insert;
  void generic_eraseAt(const Deviant& d, int index) override;
  int generic_indexOf(const Object& value) const override;
  bool generic_accepts(const Object& value) const override;
  std::string getTypeName() const override { return "Kelpa.PropertySequence"; }
  // The element held (whose count the state keeps) and its class: an element made later
  // at the same address is told apart by its class, which is all a filter asks.
  bool generic_stamp(std::vector<std::uint64_t>& words) const override;

 private:
  Object current() const;

  Filter fAccepts;

  ClassObject fObject;
  const IntrospectiveMethods* fRecord;
  unsigned int fIndex;
  unsigned int fLower;
};

// Holds another sequence and forwards to it.
class GenericReferenceCountingSequenceProxy final : public Generic::IndexedView {
 public:
  explicit GenericReferenceCountingSequenceProxy(Generic::SequenceIntf* target);
  ~GenericReferenceCountingSequenceProxy() override;

  Object generic_at(int index, const Deviant& d) const override {
    return fTarget->generic_at(index, d);
  }
  Generic::IteratorIntf* generic_begin(const Deviant& d) const override {
    return fTarget->generic_begin(d);
  }
  Generic::IteratorIntf* generic_end(const Deviant& d) const override {
    return fTarget->generic_end(d);
  }
  void generic_clear(const Deviant& d) override { fTarget->generic_clear(d); }
  void generic_push_back(const Deviant& d, const Object& value) override {
    fTarget->generic_push_back(d, value);
  }
  int generic_size() const override { return fTarget->generic_size(); }
  bool generic_empty() const override { return fTarget->generic_empty(); }
  void generic_insert(const Deviant& d, int index, const Object& value) override {
    fTarget->generic_insert(d, index, value);
  }
  using IndexedView::generic_insert;
  void generic_eraseAt(const Deviant& d, int index) override { fTarget->generic_eraseAt(d, index); }
  int generic_indexOf(const Object& value) const override { return fTarget->generic_indexOf(value); }
  bool generic_accepts(const Object& value) const override {
    return fTarget->generic_accepts(value);
  }
  std::string getTypeName() const override { return fTarget->getTypeName(); }
  bool generic_stamp(std::vector<std::uint64_t>& words) const override {
    return fTarget->generic_stamp(words);
  }

 private:
  Generic::SequenceIntf* fTarget;
};

// Holds another iterator and forwards to it.
class IteratorProxy final : public Generic::IteratorIntf {
 public:
  explicit IteratorProxy(Generic::IteratorIntf* target);
  ~IteratorProxy() override;
  Object generic_get(const Deviant& d) const override { return fTarget->generic_get(d); }
  void generic_next() override { fTarget->generic_next(); }
  bool generic_equal(const IteratorIntf* other) const override;
  Generic::IteratorIntf* target() const noexcept { return fTarget; }

 private:
  Generic::IteratorIntf* fTarget;
};

// Builders of the typed views that generated accessors return.
template <class T>
Sequence<T> makeDeviantSequence(NSInterface::ClassObjectIntf* owner, Deviant d,
                                const IntrospectiveMethods& record, unsigned int index) {
  return Sequence<T>(new GenericDeviantSequence(owner, d, &record, index), d);
}

// The stored view of owner's property wrapped in the association that keeps the
// opposite end (record, index, multi) on each element moved.
Generic::SequenceIntf* newAssociationSequence(NSInterface::ClassObjectIntf* owner, Deviant d,
                                              const IntrospectiveMethods& record,
                                              unsigned int index,
                                              const IntrospectiveMethods& oppositeRecord,
                                              unsigned int oppositeIndex, bool oppositeIsMulti,
                                              bool composite);
template <class T>
Sequence<T> makeAssociationSequence(NSInterface::ClassObjectIntf* owner, Deviant d,
                                    const IntrospectiveMethods& record, unsigned int index,
                                    const IntrospectiveMethods& oppositeRecord,
                                    unsigned int oppositeIndex, bool oppositeIsMulti,
                                    bool composite) {
  return Sequence<T>(newAssociationSequence(owner, d, record, index, oppositeRecord, oppositeIndex,
                                            oppositeIsMulti, composite),
                     d);
}

}  // namespace Kelpa
