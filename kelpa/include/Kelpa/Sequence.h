#pragma once
// Sequences: the generic interface every multi-valued property is seen through, and
// the typed handles Sequence<T> / ImmutableSequence<T> that clients use.
//
// A sequence handle is two words: a counted pointer to the generic sequence and the
// Deviant that goes into every element handle it gives out. Sequences are views,
// never copies: a handle on a property sees later changes of that property.
#include <concepts>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include <Kelpa/Handles.h>
#include <Kelpa/Values.h>

namespace Kelpa {

namespace Generic {

class IteratorIntf : public ReferenceCountingIntf {
 public:
  // Iterators are heap objects counted on their own.
  void incRef() override { ++fRefCount; }
  void decRef() override;
  int numRef() const override { return fRefCount; }

  virtual Object generic_get(const Deviant& d) const = 0;
  virtual void generic_next() = 0;
  virtual bool generic_equal(const IteratorIntf* other) const = 0;

 private:
  int fRefCount = 0;
};

class SequenceIntf : public ReferenceCountingIntf {
 public:
  virtual Object generic_at(int index, const Deviant& d) const = 0;
  virtual Object generic_front(const Deviant& d) const = 0;
  virtual Object generic_back(const Deviant& d) const = 0;
  virtual IteratorIntf* generic_end(const Deviant& d) const = 0;
  virtual IteratorIntf* generic_begin(const Deviant& d) const = 0;
  virtual void generic_clear(const Deviant& d) = 0;
  virtual int generic_size() const = 0;
  virtual bool generic_empty() const = 0;
  virtual void generic_insert(const Deviant& d, int index, const Object& value) = 0;
  virtual IteratorIntf* generic_insert(const Deviant& d, IteratorIntf* before,
                                       const Object& value) = 0;
  virtual IteratorIntf* generic_erase(const Deviant& d, IteratorIntf* position) = 0;
  virtual IteratorIntf* generic_erase(const Deviant& d, IteratorIntf* first,
                                      IteratorIntf* last) = 0;
  virtual void generic_eraseAt(const Deviant& d, int index) = 0;
  virtual void generic_pop_back(const Deviant& d) = 0;
  virtual void generic_pop_front(const Deviant& d) = 0;
  virtual void generic_push_back(const Deviant& d, const Object& value) = 0;
  virtual void generic_push_front(const Deviant& d, const Object& value) = 0;
  virtual void generic_replace(const Deviant& d, int index, const Object& value) = 0;
  virtual bool generic_contains(const Object& value) const = 0;
  // Position of value, or -1.
  virtual int generic_indexOf(const Object& value) const = 0;
  // Whether an insertion of value would be taken (its type fits), without raising.
  virtual bool generic_accepts(const Object& value) const;
  // Erases value if present and says whether it was: by default its position, then an
  // erase there; a stored container finds and unlinks it in one step.
  virtual bool generic_remove(const Deviant& d, const Object& value);
  // Fast forms for two sequences of the same class; handled = false hands over to
  // the generic element-by-element forms.
  virtual bool specialized_equal(const Deviant& d, const SequenceIntf* other,
                                 const Deviant& otherDeviant, bool& handled) const;
  virtual void specialized_assign(const Deviant& d, const SequenceIntf* other,
                                  const Deviant& otherDeviant, bool& handled);
  // The registered name of the sequence type, e.g. "zorbel.SequenceOfComment".
  virtual std::string getTypeName() const = 0;
  // Appends words that tell what the sequence holds now: two stamps of one sequence that
  // are equal mean the same elements (addresses and classes) in the same order. A stored
  // list gives a word that changes on each of its writes, a view the words of what it
  // reads. Cheap: no element is visited. False if the sequence cannot tell; a caller
  // that keeps anything about it must then look again on every use.
  virtual bool generic_stamp(std::vector<std::uint64_t>& words) const;

  bool generic_equal(const Deviant& d, const SequenceIntf* other,
                     const Deviant& otherDeviant) const;
  void generic_assign(const Deviant& d, const SequenceIntf* other, const Deviant& otherDeviant);
};

// The shared empty sequence; it refuses every change.
class GenericNullSequence final : public SequenceIntf {
 public:
  static GenericNullSequence* getSingleton();

  Object generic_at(int index, const Deviant& d) const override;
  Object generic_front(const Deviant& d) const override;
  Object generic_back(const Deviant& d) const override;
  IteratorIntf* generic_end(const Deviant& d) const override;
  IteratorIntf* generic_begin(const Deviant& d) const override;
  void generic_clear(const Deviant& d) override;
  int generic_size() const override { return 0; }
  bool generic_empty() const override { return true; }
  void generic_insert(const Deviant& d, int index, const Object& value) override;
  IteratorIntf* generic_insert(const Deviant& d, IteratorIntf* before,
                               const Object& value) override;
  IteratorIntf* generic_erase(const Deviant& d, IteratorIntf* position) override;
  IteratorIntf* generic_erase(const Deviant& d, IteratorIntf* first, IteratorIntf* last) override;
  void generic_eraseAt(const Deviant& d, int index) override;
  void generic_pop_back(const Deviant& d) override;
  void generic_pop_front(const Deviant& d) override;
  void generic_push_back(const Deviant& d, const Object& value) override;
  void generic_push_front(const Deviant& d, const Object& value) override;
  void generic_replace(const Deviant& d, int index, const Object& value) override;
  bool generic_contains(const Object&) const override { return false; }
  int generic_indexOf(const Object&) const override { return -1; }
  std::string getTypeName() const override { return "Kelpa.NullSequence"; }
  bool generic_stamp(std::vector<std::uint64_t>&) const override { return true; }

 private:
  GenericNullSequence() = default;
};

}  // namespace Generic

namespace detail {
[[noreturn, gnu::cold]] void raiseNullSequence();

// How a T travels through the generic interface: element handles and boxed values
// are both built from an Object, and turn into one.
[[noreturn, gnu::cold]] void raiseNotAValue(const char* typeName);

template <class T>
T fromObject(const Object& o) {
  if constexpr (std::is_same_v<T, Object>) {
    return o;
  } else if constexpr (std::is_constructible_v<T, const ImmutableObject&>) {
    return T(static_cast<const ImmutableObject&>(o));
  } else {
    const Tovi::any* held = valueOf(o);
    if (!held) raiseNotAValue(T::getTypeName().c_str());
    return Tovi::any_cast<T>(*held);
  }
}
template <class T>
Object toObject(const T& v) {
  return static_cast<Object>(v);
}
}  // namespace detail

template <class T>
class ImmutableSequence {
 public:
  using value_type = T;

  class const_iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = T;
    using difference_type = std::ptrdiff_t;
    using reference = T;
    using pointer = void;

    const_iterator() = default;
    const_iterator(const ImmutableSequence* seq, int pos) : fSeq(seq), fPos(pos) {}
    T operator*() const { return fSeq->at(fPos); }
    const_iterator& operator++() {
      ++fPos;
      return *this;
    }
    const_iterator operator++(int) {
      const_iterator old = *this;
      ++fPos;
      return old;
    }
    int position() const noexcept { return fPos; }
    friend bool operator==(const const_iterator& a, const const_iterator& b) noexcept {
      return a.fPos == b.fPos;
    }

   private:
    const ImmutableSequence* fSeq = nullptr;
    int fPos = 0;
  };
  using iterator = const_iterator;

  ImmutableSequence() noexcept = default;
  ImmutableSequence(const Generic::SequenceIntf* seq, Deviant d) noexcept
      : fSeq(const_cast<Generic::SequenceIntf*>(seq)), fDeviant(d) {
    if (fSeq) fSeq->incRef();
  }
  // A view of a stored property's member (anything that gives its sequence).
  template <class Stored>
  requires requires(const Stored* s) {
    { s->sequenceIntf() } -> std::convertible_to<Generic::SequenceIntf*>;
  }
  ImmutableSequence(const Stored* stored, Deviant d) noexcept
      : ImmutableSequence(stored->sequenceIntf(), d) {}
  ImmutableSequence(const ImmutableSequence& o) noexcept : ImmutableSequence(o.fSeq, o.fDeviant) {}
  ImmutableSequence(ImmutableSequence&& o) noexcept : fSeq(o.fSeq), fDeviant(o.fDeviant) {
    o.fSeq = nullptr;
  }
  ImmutableSequence& operator=(ImmutableSequence o) noexcept {
    std::swap(fSeq, o.fSeq);
    fDeviant = o.fDeviant;
    return *this;
  }
  ~ImmutableSequence() {
    if (fSeq) fSeq->decRef();
  }

  int size() const { return seq()->generic_size(); }
  bool empty() const { return seq()->generic_empty(); }
  T at(int index) const { return detail::fromObject<T>(seq()->generic_at(index, fDeviant)); }
  T operator[](int index) const { return at(index); }
  T front() const { return detail::fromObject<T>(seq()->generic_front(fDeviant)); }
  T back() const { return detail::fromObject<T>(seq()->generic_back(fDeviant)); }
  bool contains(const T& value) const { return seq()->generic_contains(detail::toObject(value)); }
  const_iterator begin() const {
    seq();
    return const_iterator(this, 0);
  }
  const_iterator end() const { return const_iterator(this, size()); }

  bool isNull() const noexcept { return fSeq == nullptr; }
  Deviant getDeviant() const noexcept { return fDeviant; }
  Generic::SequenceIntf* get() const noexcept { return fSeq; }

 protected:
  Generic::SequenceIntf* seq() const {
    if (!fSeq) detail::raiseNullSequence();
    return fSeq;
  }

  Generic::SequenceIntf* fSeq = nullptr;
  Deviant fDeviant;
};

template <class T>
class Sequence : public ImmutableSequence<T> {
  using Base = ImmutableSequence<T>;

 public:
  using typename Base::const_iterator;
  using typename Base::iterator;

  using Base::Base;

  void push_back(const T& v) {
    this->seq()->generic_push_back(this->fDeviant, detail::toObject(v));
  }
  void push_front(const T& v) {
    this->seq()->generic_push_front(this->fDeviant, detail::toObject(v));
  }
  // index == size() appends.
  void insert(int index, const T& v) {
    this->seq()->generic_insert(this->fDeviant, index, detail::toObject(v));
  }
  void erase(int index) { this->seq()->generic_eraseAt(this->fDeviant, index); }
  // Erases the element at position; returns the position of the next element.
  const_iterator erase(const_iterator position) {
    this->seq()->generic_eraseAt(this->fDeviant, position.position());
    return position;
  }
  // Erases the element if present; returns whether it was.
  bool remove(const T& v);
  void replace(int index, const T& v) {
    this->seq()->generic_replace(this->fDeviant, index, detail::toObject(v));
  }
  void pop_back() { this->seq()->generic_pop_back(this->fDeviant); }
  void pop_front() { this->seq()->generic_pop_front(this->fDeviant); }
  void clear() { this->seq()->generic_clear(this->fDeviant); }
};

template <class T>
bool Sequence<T>::remove(const T& v) {
  return this->seq()->generic_remove(this->fDeviant, detail::toObject(v));
}

}  // namespace Kelpa
