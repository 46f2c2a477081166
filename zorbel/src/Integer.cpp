#include <zorbel/Integer.h>

#include <Kelpa/Meta.h>

#include <zorbel/detail/ValueSupport.h>

namespace zorbel {

Integer::Integer(const Kelpa::Object& object) : Integer(detail::unboxValue<Integer>(object)) {}
Integer::Integer(const Kelpa::ImmutableObject& object)
    : Integer(detail::unboxValue<Integer>(object)) {}
Integer::Integer(const Kelpa::ValueObject& object) : Integer(detail::unboxValue<Integer>(object)) {}
Integer::Integer(const Kelpa::ImmutableValueObject& object)
    : Integer(detail::unboxValue<Integer>(object)) {}

Integer::operator Kelpa::Object() const {
  return detail::boxValue(*this);
}
Integer::operator Kelpa::ValueObject() const {
  return detail::boxValue(*this);
}

const Tovi::TypeInfo& Integer::getTypeInfo() {
  static const Tovi::TypeInfo info = IntegerTypeInfo::Create();
  return info;
}

Kelpa::String Integer::toString() const {
  return Kelpa::String(getTypeInfo().convertToString(Tovi::any(*this)));
}

Integer Integer::fromString(const Kelpa::String& text) {
  return Tovi::any_cast<Integer>(getTypeInfo().convertFromUString(std::u16string(text.ustr())));
}

Tovi::TypeInfo IntegerTypeInfo::Create() {
  return CreateTypeInfo(new IntegerTypeInfo());
}

Tovi::any IntegerTypeInfo::convertFromString(const std::string& text,
                                             Tovi::ErrorHolder& errors) const {
  detail::requireNoErrors(errors, Integer::getTypeName());
  std::int32_t number = 0;
  if (!detail::readNumber(text, number)) {
    detail::addConversionError(errors, Integer::getTypeName(), text, "INT32_T");
    return Tovi::any();
  }
  return Tovi::any(Integer(number));
}

std::string IntegerTypeInfo::convertToString(const Tovi::any& value) const {
  return detail::printNumber(Tovi::any_cast<Integer>(value).getValue(), Integer::getTypeName());
}

Tovi::any IntegerTypeInfo::defaultConstruct() const {
  return Tovi::any(Integer());
}
Tovi::Type* IntegerTypeInfo::clone() const {
  return new IntegerTypeInfo();
}
IntegerTypeInfo::~IntegerTypeInfo() = default;

Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> Integer::MetaDataType() {
  return Kelpa::TypeInfoRegistry::getMetaType(getTypeName());
}
Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> Integer::getMetaDataType() const {
  return MetaDataType();
}

}  // namespace zorbel
