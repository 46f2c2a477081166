#include <zorbel/Boolean.h>

#include <Kelpa/Meta.h>

#include <zorbel/detail/ValueSupport.h>

namespace zorbel {

Boolean::Boolean(const Kelpa::Object& object) : Boolean(detail::unboxValue<Boolean>(object)) {}
Boolean::Boolean(const Kelpa::ImmutableObject& object)
    : Boolean(detail::unboxValue<Boolean>(object)) {}
Boolean::Boolean(const Kelpa::ValueObject& object) : Boolean(detail::unboxValue<Boolean>(object)) {}
Boolean::Boolean(const Kelpa::ImmutableValueObject& object)
    : Boolean(detail::unboxValue<Boolean>(object)) {}

Boolean::operator Kelpa::Object() const {
  return detail::boxValue(*this);
}
Boolean::operator Kelpa::ValueObject() const {
  return detail::boxValue(*this);
}

const Tovi::TypeInfo& Boolean::getTypeInfo() {
  static const Tovi::TypeInfo info = BooleanTypeInfo::Create();
  return info;
}

Kelpa::String Boolean::toString() const {
  return Kelpa::String(getTypeInfo().convertToString(Tovi::any(*this)));
}

Boolean Boolean::fromString(const Kelpa::String& text) {
  return Tovi::any_cast<Boolean>(getTypeInfo().convertFromUString(std::u16string(text.ustr())));
}

Tovi::TypeInfo BooleanTypeInfo::Create() {
  return CreateTypeInfo(new BooleanTypeInfo());
}

Tovi::any BooleanTypeInfo::convertFromString(const std::string& text,
                                             Tovi::ErrorHolder& errors) const {
  detail::requireNoErrors(errors, Boolean::getTypeName());
  if (text == "true") return Tovi::any(Boolean(true));
  if (text == "false") return Tovi::any(Boolean(false));
  detail::addConversionError(errors, Boolean::getTypeName(), text, "bool");
  return Tovi::any();
}

std::string BooleanTypeInfo::convertToString(const Tovi::any& value) const {
  return Tovi::any_cast<Boolean>(value).getValue() ? "true" : "false";
}

Tovi::any BooleanTypeInfo::defaultConstruct() const {
  return Tovi::any(Boolean());
}
Tovi::Type* BooleanTypeInfo::clone() const {
  return new BooleanTypeInfo();
}
BooleanTypeInfo::~BooleanTypeInfo() = default;

Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> Boolean::MetaDataType() {
  return Kelpa::TypeInfoRegistry::getMetaType(getTypeName());
}
Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> Boolean::getMetaDataType() const {
  return MetaDataType();
}

}  // namespace zorbel
