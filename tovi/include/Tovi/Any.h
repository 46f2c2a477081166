#pragma once

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
class any {
 public:
  class placeholder {
   public:
    virtual ~placeholder();
    // typeid(T).name() of the held T.
    virtual const char* typeName() const = 0;
    // 0 for T, 1 for T*, 2 for T**, ...
    virtual int pointerLevel() const = 0;
    virtual placeholder* clone() const = 0;
  };

  template <class T>
  class holder : public placeholder {
   public:
    explicit holder(const T& value) : held(value) {}
    explicit holder(T&& value) : held(std::move(value)) {}
    holder& operator=(const holder&) = delete;

    const char* typeName() const override { return typeid(T).name(); }
    int pointerLevel() const override { return detail::PointerLevel<T>::value; }
    placeholder* clone() const override { return new holder(held); }
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

  any() = default;
  // Arrays and functions are stored decayed, so any("text") holds a const char*.
  template <class T, class = std::enable_if_t<!std::is_same_v<std::decay_t<T>, any>>>
  any(const T& value) : fContent(new holder<std::decay_t<const T>>(value)) {}
  // A temporary is moved in rather than copied.
  template <class T, class = std::enable_if_t<!std::is_same_v<std::decay_t<T>, any> &&
                                              !std::is_reference_v<T> && !std::is_array_v<T>>>
  any(T&& value) : fContent(new holder<std::decay_t<T>>(std::move(value))) {}
  any(const any& other) : fContent(other.fContent ? other.fContent->clone() : nullptr) {}
  any(any&& other) noexcept : fContent(std::exchange(other.fContent, nullptr)) {}
  any& operator=(const any& other) {
    any(other).swap(*this);
    return *this;
  }
  any& operator=(any&& other) noexcept {
    any(std::move(other)).swap(*this);
    return *this;
  }
  ~any() { delete fContent; }

  bool empty() const { return fContent == nullptr; }
  // nullptr when empty.
  const char* typeName() const { return fContent ? fContent->typeName() : nullptr; }
  // 0 when empty.
  int pointerLevel() const { return fContent ? fContent->pointerLevel() : 0; }
  placeholder* content() const { return fContent; }
  void swap(any& other) noexcept { std::swap(fContent, other.fContent); }

 private:
  placeholder* fContent = nullptr;
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
