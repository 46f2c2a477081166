#include "Tovi/EnumType.h"

#include <cstdint>
#include <sstream>
#include <typeinfo>
#include <utility>

#include "Tovi/Strings.h"

namespace Tovi {

namespace {

void addError(ErrorHolder& errors, unsigned int line, const std::string& message) {
  errors.addError(std::make_unique<SimpleErrorDescription>(CodeLocation("tovi/EnumType", line),
                                                           utf8ToUtf16(message)));
}

}  // namespace

EnumType::EnumType(std::string typeName) : fTypeName(std::move(typeName)) {}

void EnumType::addLiteral(int value, const std::string& name) {
  fLiterals[value] = name;
}

any EnumType::convertFromString(const std::string& text, ErrorHolder& errors) const {
  for (const auto& [value, name] : fLiterals) {
    if (name == text) return convertFromInt(value);
  }
  addError(errors, __LINE__, "Can't convert string '" + text + "' to " + fTypeName);
  return any();
}

std::string EnumType::convertToString(const any& value) const {
  const int number = convertToInt(value);
  if (auto literal = fLiterals.find(number); literal != fLiterals.end()) return literal->second;
  std::ostringstream out;
  out << number;
  return out.str();
}

any EnumType::convertFromByteArray(const ByteArray& bytes, ErrorHolder& errors) const {
  if (bytes.size() != 4) {
    std::ostringstream message;
    message << "Can't convert " << bytes.size() << " bytes to " << fTypeName
            << ": 4 bytes expected";
    addError(errors, __LINE__, message.str());
    return any();
  }
  const std::uint8_t* b = bytes.data();
  const std::uint32_t bits = std::uint32_t{b[0]} | std::uint32_t{b[1]} << 8 |
                             std::uint32_t{b[2]} << 16 | std::uint32_t{b[3]} << 24;
  return convertFromInt(static_cast<int>(bits));
}

ByteArray EnumType::convertToByteArray(const any& value) const {
  const auto bits = static_cast<std::uint32_t>(convertToInt(value));
  const std::uint8_t b[4] = {static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8),
                             static_cast<std::uint8_t>(bits >> 16),
                             static_cast<std::uint8_t>(bits >> 24)};
  return ByteArray(b, sizeof b);
}

any EnumType::defaultConstruct() const {
  return convertFromInt(0);
}

bool EnumType::isEqualTo(const Type* other) const {
  return Type::isEqualTo(other) && static_cast<const EnumType*>(other)->fTypeName == fTypeName;
}

bool EnumType::isLessThan(const Type* other) const {
  if (other == nullptr) return false;
  if (typeid(*this) != typeid(*other)) return Type::isLessThan(other);
  return fTypeName < static_cast<const EnumType*>(other)->fTypeName;
}

}  // namespace Tovi
