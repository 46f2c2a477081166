#include <zorbel/String.h>

#include <Kelpa/Meta.h>

#include <Tovi/Strings.h>
#include <zorbel/detail/ValueSupport.h>

namespace zorbel {

String::String(const char* utf8)
    : fText(utf8 ? Tovi::SharedText::fromUtf8(utf8) : Tovi::SharedText()) {}
String::String(const char16_t* text)
    : fText(text ? std::u16string_view(text) : std::u16string_view()) {}
String::String(const std::string& utf8) : fText(Tovi::SharedText::fromUtf8(utf8, true)) {}
String::String(const Kelpa::String& text) : fText(text.text()) {}

String::String(const Kelpa::Object& object) : String(detail::unboxValue<String>(object)) {}
String::String(const Kelpa::ImmutableObject& object) : String(detail::unboxValue<String>(object)) {}
String::String(const Kelpa::ValueObject& object) : String(detail::unboxValue<String>(object)) {}
String::String(const Kelpa::ImmutableValueObject& object)
    : String(detail::unboxValue<String>(object)) {}

std::string String::to_string() const {
  const std::string_view kept = fText.keptNarrow();
  return kept.data() ? std::string(kept) : to_string(fText.view());
}

String::operator Kelpa::String() const {
  return Kelpa::String(fText);
}

String::operator Kelpa::Object() const {
  return detail::boxValue(*this);
}
String::operator Kelpa::ValueObject() const {
  return detail::boxValue(*this);
}

const Tovi::TypeInfo& String::getTypeInfo() {
  static const Tovi::TypeInfo info = StringTypeInfo::Create();
  return info;
}

String String::fromString(const Kelpa::String& text) {
  return Tovi::any_cast<String>(getTypeInfo().convertFromUString(std::u16string(text.ustr())));
}

std::string String::to_string(std::u16string_view text) {
  return Tovi::utf16ToUtf8(text);
}
std::u16string String::to_ustring(const std::string& utf8) {
  return Tovi::utf8ToUtf16(utf8);
}

Tovi::TypeInfo StringTypeInfo::Create() {
  return CreateTypeInfo(new StringTypeInfo());
}

Tovi::any StringTypeInfo::convertFromString(const std::string& text,
                                            Tovi::ErrorHolder& errors) const {
  detail::requireNoErrors(errors, String::getTypeName());
  return convertFromUString(String::to_ustring(text), errors);
}

Tovi::any StringTypeInfo::convertFromUString(const std::u16string& text, Tovi::ErrorHolder&) const {
  return Tovi::any(String(text));
}

std::string StringTypeInfo::convertToString(const Tovi::any& value) const {
  return Tovi::any_cast<const String&>(value).to_string();
}

Tovi::any StringTypeInfo::defaultConstruct() const {
  return Tovi::any(String());
}
Tovi::Type* StringTypeInfo::clone() const {
  return new StringTypeInfo();
}
StringTypeInfo::~StringTypeInfo() = default;

Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> String::MetaDataType() {
  return Kelpa::TypeInfoRegistry::getMetaType(getTypeName());
}
Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> String::getMetaDataType() const {
  return MetaDataType();
}

}  // namespace zorbel
