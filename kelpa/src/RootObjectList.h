#pragma once
// The model's root objects: a sequence of elements, in the order they became roots,
// duplicates refused, like the stored sequences of properties; but an element leaves it
// from anywhere in constant time. A model built bottom-up makes every element a root
// first and takes it out again when it gets its owner, mostly in creation order: with a
// position index that is a shift of everything behind it, each time.
//
// Order is a linked list and lookup a hash table, so positions are counted, not stored:
// the list keeps the last position it reached and starts from there, or from the
// nearer end, so that walking it by index costs a step per element.
#include <cstdint>

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/identity.hpp>
#include <boost/multi_index/sequenced_index.hpp>
#include <boost/multi_index_container.hpp>

#include <Kelpa/MultiIndexImpl.h>
#include <Tovi/SmallObjects.h>

namespace Kelpa::detail {

// Elements made one after another lie close together in memory. Hashed by their address
// in steps of a cache line, they fall into neighbouring buckets, so that a model growing
// by creation fills its bucket array front to back instead of at random.
struct AddressHash {
  std::size_t operator()(const void* p) const noexcept {
    return reinterpret_cast<std::uintptr_t>(p) >> 6;
  }
};

class RootObjectList final : public Generic::SequenceIntf {
 public:
  using Key = NSInterface::ClassObjectIntf*;
  using List = boost::multi_index::multi_index_container<
      Key,
      boost::multi_index::indexed_by<
          boost::multi_index::sequenced<>,
          boost::multi_index::hashed_unique<boost::multi_index::identity<Key>, AddressHash>>,
      Tovi::detail::SmallObjectAllocator<Key>>;
  using Position = List::iterator;

  explicit RootObjectList(const MultiIndexImplInternal::RefTraits* traits) : fTraits(traits) {}
  RootObjectList(const RootObjectList&) = delete;
  RootObjectList& operator=(const RootObjectList&) = delete;
  ~RootObjectList() override;

  Object generic_at(int index, const Deviant& d) const override;
  Object generic_front(const Deviant& d) const override;
  Object generic_back(const Deviant& d) const override;
  Generic::IteratorIntf* generic_end(const Deviant& d) const override;
  Generic::IteratorIntf* generic_begin(const Deviant& d) const override;
  void generic_clear(const Deviant& d) override;
  int generic_size() const override { return size(); }
  bool generic_empty() const override { return fList.empty(); }
  void generic_insert(const Deviant& d, int index, const Object& value) override;
  Generic::IteratorIntf* generic_insert(const Deviant& d, Generic::IteratorIntf* before,
                                        const Object& value) override;
  Generic::IteratorIntf* generic_erase(const Deviant& d, Generic::IteratorIntf* position) override;
  Generic::IteratorIntf* generic_erase(const Deviant& d, Generic::IteratorIntf* first,
                                       Generic::IteratorIntf* last) override;
  void generic_eraseAt(const Deviant& d, int index) override;
  void generic_pop_back(const Deviant& d) override;
  void generic_pop_front(const Deviant& d) override;
  void generic_push_back(const Deviant& d, const Object& value) override;
  void generic_push_front(const Deviant& d, const Object& value) override;
  void generic_replace(const Deviant& d, int index, const Object& value) override;
  bool generic_contains(const Object& value) const override;
  int generic_indexOf(const Object& value) const override;
  bool generic_accepts(const Object& value) const override;
  bool generic_remove(const Deviant& d, const Object& value) override;
  std::string getTypeName() const override;

  int size() const noexcept { return static_cast<int>(fList.size()); }
  // Direct forms for the kernel's own code, on keys (never null): push_back and remove.
  void appendKey(Key key) { insertAt(fList.end(), size(), key); }
  bool removeKey(Key key);

 private:
  Key keyOf(const Object& value) const { return fTraits->cast(value.get()); }
  // The element at index (size gives the end), reached from the nearest known position.
  Position seek(int index) const;
  // The index of an element of the list, counted outwards to the nearest known position.
  int indexOf(Position target) const;
  // Inserts key before position, at index if known (-1 if not); counts it if it was new.
  Position insertAt(Position position, int index, Key key);
  // Unlinks the element at position, at index if known (-1 if not), then releases it.
  Position eraseAt(Position position, int index);
  void forgetCursor() const { fCursorIndex = -1; }

  List fList;
  const MultiIndexImplInternal::RefTraits* fTraits;
  // The last position reached by index, or none (-1).
  mutable int fCursorIndex = -1;
  mutable Position fCursor;
};

}  // namespace Kelpa::detail
