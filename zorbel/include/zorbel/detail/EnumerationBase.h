#pragma once
// The one pattern of the metamodel's enumerations. An enumeration X is
//
//   struct XLiterals {
//     enum Value : std::int32_t { ... };
//     static constexpr const char* kTypeName = "zorbel.X";
//     static constexpr EnumerationLiteral kLiterals[] = {{..., "name"}, ...};
//   };
//   class X final : public detail::Enumeration<X, XLiterals> {
//    public:
//     using Enumeration::Enumeration;
//   };
//
// so that a header holds nothing but data; the behaviour lives here and in
// src/Enumerations.cpp, which instantiates it for each X.
#include <cstdint>
#include <map>
#include <string>

#include <Kelpa/Values.h>

namespace Tovi {
class TypeInfo;
}

namespace zorbel::detail {

struct EnumerationLiteral {
  std::int32_t value;
  const char* name;
};

template <class X, class Literals>
class Enumeration : public Literals {
 public:
  using Value = typename Literals::Value;

  constexpr Enumeration() noexcept = default;
  constexpr Enumeration(Value value) noexcept : fValue(value) {}
  // Any number is held as it is, with or without a literal.
  constexpr explicit Enumeration(int value) noexcept : fValue(static_cast<Value>(value)) {}
  // The value boxed in object; value 0 for a null handle or an object that does not exist
  // in its deviant.
  explicit Enumeration(const Kelpa::Object& object);
  explicit Enumeration(const Kelpa::ImmutableObject& object);
  explicit Enumeration(const Kelpa::ValueObject& object);
  explicit Enumeration(const Kelpa::ImmutableValueObject& object);

  constexpr Value getValue() const noexcept { return fValue; }
  operator Kelpa::Object() const;
  operator Kelpa::ValueObject() const;

  static std::string getTypeName() { return Literals::kTypeName; }
  // Every literal, by value.
  static const std::map<X, std::string>& getLiterals();
  static const Tovi::TypeInfo& getTypeInfo();
  // The data type of the meta package that describes this type.
  static Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> MetaDataType();
  Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> getMetaDataType() const;
  // The literal's name; a number without a literal prints as its decimal text.
  Kelpa::String toString() const;
  // text must be the name of a literal.
  static X fromString(const std::string& text);

  friend constexpr bool operator==(const X& a, const X& b) noexcept {
    return a.getValue() == b.getValue();
  }
  friend constexpr bool operator<(const X& a, const X& b) noexcept {
    return a.getValue() < b.getValue();
  }

 private:
  Value fValue = static_cast<Value>(0);
};

}  // namespace zorbel::detail
