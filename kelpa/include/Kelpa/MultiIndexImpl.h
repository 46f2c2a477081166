#pragma once
// The stored container of a multi-valued property: insertion order kept, duplicates
// refused, positions in constant time and lookup in logarithmic time.
//
// All element types share one implementation over const ClassObjectIntf*; a typed
// MultiIndexImpl<T> differs only by the function that turns an inserted object into
// its key (and refuses objects that are not T). The Boost container behind it is
// allocated on first need and lives in the kernel's sources, not in this header.
#include <type_traits>

#include <Kelpa/Sequence.h>

namespace Kelpa {

namespace MultiIndexImplInternal {

struct RefContainer;

// What makes the shared code typed: the key function and the sequence's type name.
struct RefTraits {
  NSInterface::ClassObjectIntf* (*cast)(const NSInterface::ObjectIntf*);
  const char* typeName;
  // The object as the sequence's element, or null: the cast without raising.
  NSInterface::ClassObjectIntf* (*tryCast)(const NSInterface::ObjectIntf*);
};

class MultiIndexImplForRefs final : public Generic::SequenceIntf {
 public:
  explicit MultiIndexImplForRefs(const RefTraits* traits) noexcept : fTraits(traits) {}
  // Copies hold their own count on every element.
  MultiIndexImplForRefs(const MultiIndexImplForRefs& other);
  MultiIndexImplForRefs& operator=(const MultiIndexImplForRefs& other);
  ~MultiIndexImplForRefs() override;

  Object generic_at(int index, const Deviant& d) const override;
  Object generic_front(const Deviant& d) const override;
  Object generic_back(const Deviant& d) const override;
  Generic::IteratorIntf* generic_end(const Deviant& d) const override;
  Generic::IteratorIntf* generic_begin(const Deviant& d) const override;
  void generic_clear(const Deviant& d) override;
  int generic_size() const override { return size(); }
  bool generic_empty() const override { return size() == 0; }
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
  bool specialized_equal(const Deviant& d, const SequenceIntf* other, const Deviant& otherDeviant,
                         bool& handled) const override;
  void specialized_assign(const Deviant& d, const SequenceIntf* other, const Deviant& otherDeviant,
                          bool& handled) override;
  std::string getTypeName() const override;
  // One word: 0 while empty, else the stamp of the list's last write.
  bool generic_stamp(std::vector<std::uint64_t>& words) const override;

  // Direct forms for the library's own code, on keys.
  int size() const noexcept;
  NSInterface::ClassObjectIntf* keyAt(int index) const;
  // Appends object (already a key); returns false if it was present.
  bool appendKey(NSInterface::ClassObjectIntf* key);
  // Inserts key before position index (0 to size); returns false if it was present.
  bool insertKey(int index, NSInterface::ClassObjectIntf* key);
  bool eraseKey(const NSInterface::ClassObjectIntf* key);
  bool containsKey(const NSInterface::ClassObjectIntf* key) const;
  // Turns an object handed in into its key; raises for an object of the wrong class.
  NSInterface::ClassObjectIntf* keyOf(const NSInterface::ObjectIntf* object) const {
    return fTraits->cast(object);
  }
  // The same without raising: null for an object of the wrong class (or none).
  NSInterface::ClassObjectIntf* tryKeyOf(const NSInterface::ObjectIntf* object) const {
    return object ? fTraits->tryCast(object) : nullptr;
  }

 private:
  RefContainer* container();
  bool insertKeyAt(int index, NSInterface::ClassObjectIntf* key);

  RefContainer* fContainer = nullptr;
  const RefTraits* fTraits;
};

}  // namespace MultiIndexImplInternal

namespace MultiIndexImplForRefsHelper {

[[noreturn, gnu::cold]] void raiseNullObject(const char* sequenceTypeName);

// The object as a T, keyed as its ClassObjectIntf; anything else is refused.
#pragma GCC visibility push(hidden)
template <class T>
NSInterface::ClassObjectIntf* tryCast(const NSInterface::ObjectIntf* object) {
  ReferenceCountingIntf* asT =
      object ? object->cast(CooperativeVisitor::internal::classInfoOf<typename T::Intf>())
             : nullptr;
  // An object seen as ClassObjectIntf is its key already.
  if constexpr (std::is_same_v<typename T::Intf, NSInterface::ClassObjectIntf>)
    return reinterpret_cast<NSInterface::ClassObjectIntf*>(asT);
  else
    return asT ? detail::castTo<NSInterface::ClassObjectIntf>(asT) : nullptr;
}

template <class T>
NSInterface::ClassObjectIntf* cast(const NSInterface::ObjectIntf* object) {
  NSInterface::ClassObjectIntf* key = tryCast<T>(object);
  if (!key) raiseNullObject(T::sequenceTypeName());
  return key;
}

template <class T>
TOVI_LOCAL inline constexpr MultiIndexImplInternal::RefTraits traits{&cast<T>, T::sequenceTypeName(),
                                                          &tryCast<T>};
#pragma GCC visibility pop

}  // namespace MultiIndexImplForRefsHelper

// The member a state embeds for a multi-valued reference property. An empty property
// costs this one pointer; the sequence is made on first need and belongs to the member.
template <class T>
class MultiIndexImpl {
  using Impl = MultiIndexImplInternal::MultiIndexImplForRefs;

 public:
  MultiIndexImpl() noexcept = default;
  // A copy holds its own count on every element.
  MultiIndexImpl(const MultiIndexImpl& other)
      : fImpl(other.size() != 0 ? new Impl(*other.fImpl) : nullptr) {}
  MultiIndexImpl& operator=(const MultiIndexImpl& other) {
    if (this != &other) {
      if (other.size() != 0)
        *sequence() = *other.fImpl;
      else if (fImpl)
        fImpl->generic_clear(Deviant());
    }
    return *this;
  }
  ~MultiIndexImpl() { delete fImpl; }

  // The sequence, made on first request.
  Impl* sequence() const {
    if (!fImpl) fImpl = new Impl(&MultiIndexImplForRefsHelper::traits<T>);
    return fImpl;
  }
  Generic::SequenceIntf* sequenceIntf() const { return sequence(); }
  int size() const noexcept { return fImpl ? fImpl->size() : 0; }
  bool empty() const noexcept { return size() == 0; }

 private:
  mutable Impl* fImpl = nullptr;
};

}  // namespace Kelpa
