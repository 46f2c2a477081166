#pragma once

#include <map>
#include <string>

#include "Tovi/Type.h"

namespace Tovi {

// An enumeration type: values convert through their number and a table of literal names.
class EnumType : public Type {
 public:
  explicit EnumType(std::string typeName);

  // Replaces any name already given to value.
  void addLiteral(int value, const std::string& name);
  const std::map<int, std::string>& literals() const { return fLiterals; }
  const std::string& typeName() const { return fTypeName; }

  virtual int convertToInt(const any& value) const = 0;
  virtual any convertFromInt(int value) const = 0;

  any convertFromString(const std::string& text, ErrorHolder& errors) const override;
  // A number without a literal prints as its decimal text.
  std::string convertToString(const any& value) const override;
  // Four bytes, little-endian.
  any convertFromByteArray(const ByteArray& bytes, ErrorHolder& errors) const override;
  ByteArray convertToByteArray(const any& value) const override;
  any defaultConstruct() const override;
  // Same dynamic type and type name.
  bool isEqualTo(const Type* other) const override;
  // By dynamic type first, then by type name, so the order agrees with isEqualTo.
  bool isLessThan(const Type* other) const override;

 private:
  std::string fTypeName;
  std::map<int, std::string> fLiterals;
};

// The EnumType of a small value class E with E(int), getValue() (an enum that converts to int with
// static_cast) and a static getTypeName().
template <class E>
class SpecificEnumType : public EnumType {
 public:
  SpecificEnumType() : EnumType(E::getTypeName()) {}

  bool isValid(const any& value) const override { return any_cast<E>(&value) != nullptr; }
  int convertToInt(const any& value) const override {
    return static_cast<int>(any_cast<E>(value).getValue());
  }
  any convertFromInt(int value) const override { return any(E(value)); }
  Type* clone() const override { return new SpecificEnumType(*this); }
};

}  // namespace Tovi
