#pragma once
#include <string>

#include <Kelpa/Values.h>
#include <Tovi/Type.h>

namespace zorbel {

// The UML Boolean.
class Boolean {
 public:
  constexpr Boolean() noexcept = default;
  constexpr Boolean(bool value) noexcept : fValue(value) {}
  constexpr Boolean(const Kelpa::Boolean& value) noexcept : fValue(value.getValue()) {}
  // The value boxed in object; false for a null handle or an object that does not exist in
  // its deviant.
  explicit Boolean(const Kelpa::Object& object);
  explicit Boolean(const Kelpa::ImmutableObject& object);
  explicit Boolean(const Kelpa::ValueObject& object);
  explicit Boolean(const Kelpa::ImmutableValueObject& object);

  constexpr bool getValue() const noexcept { return fValue; }
  constexpr operator bool() const noexcept { return fValue; }
  constexpr operator Kelpa::Boolean() const noexcept { return Kelpa::Boolean(fValue); }
  operator Kelpa::Object() const;
  operator Kelpa::ValueObject() const;

  static std::string getTypeName() { return "zorbel.Boolean"; }
  static const Tovi::TypeInfo& getTypeInfo();
  // The data type of the meta package that describes this type.
  static Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> MetaDataType();
  Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> getMetaDataType() const;
  // "true" or "false".
  Kelpa::String toString() const;
  // Exactly "true" or "false".
  static Boolean fromString(const Kelpa::String& text);

  friend constexpr bool operator==(Boolean a, Boolean b) noexcept { return a.fValue == b.fValue; }
  friend constexpr bool operator==(Boolean a, bool b) noexcept { return a.fValue == b; }

 private:
  bool fValue = false;
};

class BooleanTypeInfo final : public Tovi::Type {
 public:
  static Tovi::TypeInfo Create();

  Tovi::any convertFromString(const std::string& text, Tovi::ErrorHolder& errors) const override;
  std::string convertToString(const Tovi::any& value) const override;
  Tovi::any defaultConstruct() const override;
  Tovi::Type* clone() const override;
  ~BooleanTypeInfo() override;
};

}  // namespace zorbel
