#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include <Tovi/SmallObjects.h>
#include <Tovi/Visibility.h>

namespace Tovi {

// Compares two names from std::type_info::name(). Values travel between shared libraries, where
// the same type can have several type_info objects, so the text counts, not the address. GCC marks
// a name that is unique to one module with a leading '*'; such a name only matches itself.
bool sameTypeName(const char* a, const char* b);

namespace detail {
template <class T>
struct PointerLevel : std::integral_constant<int, 0> {};
template <class T>
struct PointerLevel<T*>
    : std::integral_constant<int, 1 + PointerLevel<std::remove_cv_t<T>>::value> {};
}  // namespace detail

// A copyable value of any copyable type.
//
// A small value that moves without throwing (a number, a shared text, an enumeration
// literal, a pointer) is held inside the any itself, so that making, copying and dropping
// one allocates nothing; a larger one is held on the heap and a move hands its holder over.
// Either way content() is the holder of the value, which any_cast reads.
class any {
 public:
  // Room for a holder of a value of up to two words, less the holder's own word.
  static constexpr std::size_t kInlineSize = 2 * sizeof(void*);

  class placeholder {
   public:
    virtual ~placeholder();
    // typeid(T).name() of the held T.
    virtual const char* typeName() const = 0;
    // 0 for T, 1 for T*, 2 for T**, ...
    virtual int pointerLevel() const = 0;
    // A copy of this holder: made in buffer (kInlineSize bytes) when the value is held
    // inline, else on the heap.
    virtual placeholder* clone(void* buffer) const = 0;
    // This inline holder's value moved into a new holder made in buffer; this holder is
    // left to be destroyed. Only called for values held inline.
    virtual placeholder* moveTo(void* buffer) noexcept = 0;
  };

  template <class T>
  class holder : public placeholder {
   public:
    explicit holder(const T& value) : held(value) {}
    explicit holder(T&& value) : held(std::move(value)) {}
    holder& operator=(const holder&) = delete;

    // Whether a holder of T is made inside the any.
    static constexpr bool kInline() {
      return sizeof(holder) <= kInlineSize && alignof(holder) <= alignof(void*) &&
             std::is_nothrow_move_constructible_v<T>;
    }

    const char* typeName() const override { return typeid(T).name(); }
    int pointerLevel() const override { return detail::PointerLevel<T>::value; }
    placeholder* clone(void* buffer) const override {
      if constexpr (kInline()) {
        return ::new (buffer) holder(held);
      } else {
        (void)buffer;
        return new holder(held);
      }
    }
    placeholder* moveTo(void* buffer) noexcept override {
      if constexpr (kInline()) {
        return ::new (buffer) holder(std::move(held));
      } else {
        (void)buffer;
        return nullptr;  // never asked: a heap holder is handed over whole
      }
    }
    // Held values are many and small: they come from the small-object pools, unless they
    // need a stricter alignment than the pools' slots give.
    static constexpr bool kPooled = alignof(T) <= detail::SmallObjectPool::kGranule;
    static void* operator new(std::size_t n) {
      if constexpr (kPooled)
        return detail::allocateSmall(n);
      else
        return ::operator new(n, std::align_val_t{alignof(holder)});
    }
    static void operator delete(void* p, std::size_t n) noexcept {
      if constexpr (kPooled)
        detail::deallocateSmall(p, n);
      else
        ::operator delete(p, n, std::align_val_t{alignof(holder)});
    }

    T held;
  };

  any() noexcept = default;
  // Arrays and functions are stored decayed, so any("text") holds a const char*.
  template <class T, class = std::enable_if_t<!std::is_same_v<std::decay_t<T>, any>>>
  any(const T& value) {
    make<std::decay_t<const T>>(value);
  }
  // A temporary is moved in rather than copied.
  template <class T, class = std::enable_if_t<!std::is_same_v<std::decay_t<T>, any> &&
                                              !std::is_reference_v<T> && !std::is_array_v<T>>>
  any(T&& value) {
    make<std::decay_t<T>>(std::move(value));
  }
  any(const any& other) : fContent(other.fContent ? other.fContent->clone(fBuffer) : nullptr) {}
  any(any&& other) noexcept { take(other); }
  any& operator=(const any& other) {
    if (this != &other) {
      any copy(other);
      reset();
      take(copy);
    }
    return *this;
  }
  any& operator=(any&& other) noexcept {
    if (this != &other) {
      reset();
      take(other);
    }
    return *this;
  }
  ~any() { reset(); }

  bool empty() const noexcept { return fContent == nullptr; }
  // nullptr when empty.
  const char* typeName() const { return fContent ? fContent->typeName() : nullptr; }
  // 0 when empty.
  int pointerLevel() const { return fContent ? fContent->pointerLevel() : 0; }
  placeholder* content() const noexcept { return fContent; }
  // Whether the value is held inside the any rather than on the heap; false when empty.
  bool holdsInline() const noexcept {
    return fContent && static_cast<const void*>(fContent) == static_cast<const void*>(fBuffer);
  }
  void swap(any& other) noexcept {
    if (this == &other) return;
    any tmp(std::move(other));
    other.take(*this);
    take(tmp);
  }

 private:
  template <class H, class V>
  void make(V&& value) {
    if constexpr (holder<H>::kInline())
      fContent = ::new (static_cast<void*>(fBuffer)) holder<H>(std::forward<V>(value));
    else
      fContent = new holder<H>(std::forward<V>(value));
  }
  // Takes other's value into this empty any; other is left empty.
  void take(any& other) noexcept {
    if (!other.fContent) return;
    if (other.holdsInline()) {
      fContent = other.fContent->moveTo(fBuffer);
      other.reset();
    } else {
      fContent = std::exchange(other.fContent, nullptr);
    }
  }
  void reset() noexcept {
    if (!fContent) return;
    if (holdsInline())
      fContent->~placeholder();
    else
      delete fContent;
    fContent = nullptr;
  }

  placeholder* fContent = nullptr;
  alignas(void*) unsigned char fBuffer[kInlineSize];
};

class bad_any_cast : public std::bad_cast {
 public:
  const char* what() const noexcept override;
};

// nullptr when the operand is null, empty or holds something other than T.
template <class T>
TOVI_LOCAL const T* any_cast(const any* operand) {
  using Held = std::remove_cv_t<T>;
  if (operand == nullptr || operand->empty()) return nullptr;
  if (operand->pointerLevel() != detail::PointerLevel<Held>::value) return nullptr;
  if (!sameTypeName(operand->typeName(), typeid(Held).name())) return nullptr;
  return &static_cast<const any::holder<Held>*>(operand->content())->held;
}

template <class T>
TOVI_LOCAL T* any_cast(any* operand) {
  return const_cast<T*>(any_cast<T>(static_cast<const any*>(operand)));
}

// A copy of (or const reference to) the held T; throws bad_any_cast when there is none.
template <class T>
TOVI_LOCAL T any_cast(const any& operand) {
  const auto* value = any_cast<std::remove_cvref_t<T>>(&operand);
  if (value == nullptr) throw bad_any_cast();
  return *value;
}

}  // namespace Tovi
