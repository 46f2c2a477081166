#include "Tovi/Type.h"

#include <atomic>
#include <typeinfo>
#include <utility>

#include "Tovi/Strings.h"

namespace Tovi {

any Type::convertFromByteArray(const ByteArray& bytes, ErrorHolder& errors) const {
  return convertFromString(bytes.toString(), errors);
}

ByteArray Type::convertToByteArray(const any& value) const {
  return ByteArray(convertToString(value));
}

any Type::convertFromUString(const std::u16string& text, ErrorHolder& errors) const {
  return convertFromString(utf16ToUtf8(text), errors);
}

std::u16string Type::convertToUString(const any& value) const {
  return utf8ToUtf16(convertToString(value));
}

bool Type::isValid(const any& value) const {
  return !value.empty() && value.pointerLevel() == 0 &&
         sameTypeName(value.typeName(), defaultConstruct().typeName());
}

bool Type::isEqualTo(const Type* other) const {
  return other != nullptr && typeid(*this) == typeid(*other);
}

bool Type::isLessThan(const Type* other) const {
  // type_info::before orders by name and treats names the way operator== does.
  return other != nullptr && typeid(*this).before(typeid(*other));
}

Type::~Type() = default;

TypeInfo Type::CreateTypeInfo(Type* type) {
  return TypeInfo(std::shared_ptr<const Type>(type));
}

namespace {

[[noreturn]] void throwConversionError(const ErrorHolder& errors) {
  throw ConversionError(errors);
}

std::atomic<TypeInfo::ConversionFailureHandler> gConversionFailureHandler{&throwConversionError};

// The handler is meant to throw; one that returns still must not let the caller carry on with an
// empty value.
[[noreturn]] void reportConversionFailure(const ErrorHolder& errors) {
  gConversionFailureHandler.load()(errors);
  throw ConversionError(errors);
}

}  // namespace

TypeInfo::TypeInfo() = default;
TypeInfo::TypeInfo(std::shared_ptr<const Type> type) : fType(std::move(type)) {}
TypeInfo::TypeInfo(const TypeInfo&) = default;
TypeInfo::TypeInfo(TypeInfo&&) noexcept = default;
TypeInfo& TypeInfo::operator=(const TypeInfo&) = default;
TypeInfo& TypeInfo::operator=(TypeInfo&&) noexcept = default;
TypeInfo::~TypeInfo() = default;

TypeInfo::ConversionFailureHandler TypeInfo::setConversionFailureHandler(
    ConversionFailureHandler handler) {
  return gConversionFailureHandler.exchange(handler ? handler : &throwConversionError);
}

const Type& TypeInfo::type() const {
  if (!fType) throw std::logic_error("Tovi::TypeInfo: use of a null TypeInfo");
  return *fType;
}

std::string TypeInfo::convertToString(const any& value) const {
  return type().convertToString(value);
}

std::u16string TypeInfo::convertToUString(const any& value) const {
  return type().convertToUString(value);
}

any TypeInfo::convertFromString(const std::string& text) const {
  ErrorHolder errors;
  any result = convertFromString(text, errors);
  if (errors.hasError()) reportConversionFailure(errors);
  return result;
}

any TypeInfo::convertFromString(const std::string& text, ErrorHolder& errors) const {
  return type().convertFromString(text, errors);
}

any TypeInfo::convertFromUString(const std::u16string& text) const {
  ErrorHolder errors;
  any result = convertFromUString(text, errors);
  if (errors.hasError()) reportConversionFailure(errors);
  return result;
}

any TypeInfo::convertFromUString(const std::u16string& text, ErrorHolder& errors) const {
  return type().convertFromUString(text, errors);
}

ByteArray TypeInfo::convertToByteArray(const any& value) const {
  return type().convertToByteArray(value);
}

any TypeInfo::convertFromByteArray(const ByteArray& bytes, ErrorHolder& errors) const {
  return type().convertFromByteArray(bytes, errors);
}

any TypeInfo::defaultConstruct() const {
  return type().defaultConstruct();
}

bool TypeInfo::isValid(const any& value) const {
  return type().isValid(value);
}

}  // namespace Tovi
