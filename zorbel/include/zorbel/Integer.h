#pragma once
#include <concepts>
#include <cstdint>
#include <string>
#include <utility>

#include <Kelpa/Values.h>
#include <Tovi/Type.h>

namespace zorbel {

// The UML Integer: a signed 32-bit number.
class Integer {
 public:
  constexpr Integer() noexcept = default;
  constexpr Integer(std::int32_t value) noexcept : fValue(value) {}
  constexpr Integer(const Kelpa::Integer& value) noexcept : fValue(value.getValue()) {}
  // The value boxed in object; 0 for a null handle or an object that does not exist in its
  // deviant.
  explicit Integer(const Kelpa::Object& object);
  explicit Integer(const Kelpa::ImmutableObject& object);
  explicit Integer(const Kelpa::ValueObject& object);
  explicit Integer(const Kelpa::ImmutableValueObject& object);

  constexpr std::int32_t getValue() const noexcept { return fValue; }
  constexpr operator std::int32_t() const noexcept { return fValue; }
  constexpr operator Kelpa::Integer() const noexcept { return Kelpa::Integer(fValue); }
  operator Kelpa::Object() const;
  operator Kelpa::ValueObject() const;

  static std::string getTypeName() { return "zorbel.Integer"; }
  static const Tovi::TypeInfo& getTypeInfo();
  // The data type of the meta package that describes this type.
  static Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> MetaDataType();
  Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> getMetaDataType() const;
  // Decimal.
  Kelpa::String toString() const;
  // Decimal, or hexadecimal after "0x"; text behind the number is ignored.
  static Integer fromString(const Kelpa::String& text);

  friend constexpr bool operator==(Integer a, Integer b) noexcept { return a.fValue == b.fValue; }
  // Any integer type, compared by value: -1 is not equal to 4294967295u.
  template <std::integral T>
  requires(!std::same_as<T, bool>) friend constexpr bool operator==(Integer a, T b) noexcept {
    return std::cmp_equal(a.fValue, b);
  }

 private:
  std::int32_t fValue = 0;
};

class IntegerTypeInfo final : public Tovi::Type {
 public:
  static Tovi::TypeInfo Create();

  Tovi::any convertFromString(const std::string& text, Tovi::ErrorHolder& errors) const override;
  std::string convertToString(const Tovi::any& value) const override;
  Tovi::any defaultConstruct() const override;
  Tovi::Type* clone() const override;
  ~IntegerTypeInfo() override;
};

}  // namespace zorbel
