#pragma once
// What the value types (primitives and enumerations) share: reading a value out of a
// kernel object, boxing one into an object, and the failures of their conversions.
// Included by the value sources and the meta-registry code.
#include <atomic>
#include <string>

#include <Kelpa/Values.h>
#include <Tovi/Any.h>
#include <Tovi/Error.h>

#pragma GCC visibility push(hidden)

namespace zorbel::detail {

// Lines that the failures of a value type report in their text and error locations.
// Clients match on them, so they stay fixed whatever the layout of our sources.
inline constexpr int kNotAValueLine = 31;
inline constexpr int kErrorsNotEmptyLine = 37;
inline constexpr int kParseFailureLine = 49;
inline constexpr int kBadStreamLine = 60;

// "zorbel.Integer" is reported from "zorbel/Integer".
std::string sourcePathOf(const std::string& typeName);

// The failure of a check that has no message of its own, at line of typeName's source.
[[noreturn, gnu::cold]] void raiseInternalAssertion(const std::string& typeName, int line);

// A conversion adds to the caller's errors and must not find any there already.
void requireNoErrors(const Tovi::ErrorHolder& errors, const std::string& typeName);

// Records "Can't convert string '<text>' to <target>" against typeName's source.
void addConversionError(Tovi::ErrorHolder& errors, const std::string& typeName,
                        const std::string& text, const char* target);

// Reads a number from the front of text, hexadecimal after "0x" and decimal otherwise; what
// follows the number is ignored. False if no number of T's range could be read.
template <class T>
TOVI_LOCAL bool readNumber(const std::string& text, T& number);

// Decimal text of number; a failing stream raises against typeName's source.
template <class T>
TOVI_LOCAL std::string printNumber(T number, const std::string& typeName);

// The any boxed in object, or null for a null handle or an object that does not exist in
// its deviant. A live object that is no value raises against the source of the type that
// typeName gives (asked for only then).
const Tovi::any* boxedValue(const Kelpa::ImmutableObject& object, std::string (*typeName)());

// The T boxed in object; T() when there is none. An any of another type raises
// Tovi::bad_any_cast.
template <class T>
T unboxValue(const Kelpa::ImmutableObject& object) {
  const Tovi::any* value = boxedValue(object, &T::getTypeName);
  return value ? Tovi::any_cast<T>(*value) : T();
}

// The same T where the box holds it, for as long as object's handle keeps the box; a
// default T when there is none. Spares the copy of a value that is only read.
template <class T>
const T& boxedRef(const Kelpa::ImmutableObject& object) {
  const Tovi::any* value = boxedValue(object, &T::getTypeName);
  if (!value) {
    static const T none{};
    return none;
  }
  const T* held = Tovi::any_cast<T>(value);
  if (!held) throw Tovi::bad_any_cast();
  return *held;
}

// value as a kernel object of its registered type.
// A value of the library's own type T boxed under its registered name. The factory's
// look-up is made once per change of the registry, its check of the value's type not at
// all (a T is a T); every box shares the one copy of the name. An unregistered name
// fails as the factory makes it fail.
template <class T>
Kelpa::ValueObject boxValue(Tovi::any&& value) {
  static const std::string* const name = new std::string(T::getTypeName());
  static std::atomic<unsigned> found{0};  // the registry's generation when it last had the name
  const unsigned generation = Kelpa::TypeInfoRegistry::generation();
  if (found.load(std::memory_order_relaxed) != generation) {
    if (!Kelpa::TypeInfoRegistry::findTypeInfo(*name))
      return Kelpa::ValueObjectFactory::create(*name, value);
    found.store(generation, std::memory_order_relaxed);
  }
  return Kelpa::ValueObjectFactory::createTrusted(*name, std::move(value));
}
template <class T>
Kelpa::ValueObject boxValue(const T& value) {
  return boxValue<T>(Tovi::any(value));
}
template <class T>
  requires(!std::is_reference_v<T>)
Kelpa::ValueObject boxValue(T&& value) {
  return boxValue<T>(Tovi::any(std::move(value)));
}

}  // namespace zorbel::detail

#pragma GCC visibility pop
