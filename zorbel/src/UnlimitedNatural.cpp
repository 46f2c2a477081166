#include <zorbel/UnlimitedNatural.h>

#include <Kelpa/Meta.h>

#include <Tovi/Strings.h>
#include <zorbel/detail/ValueSupport.h>

namespace zorbel {

namespace {
// The parse error is dropped: a text that is no number leaves an empty any, which raises.
UnlimitedNatural parse(const std::string& text) {
  Tovi::ErrorHolder errors;
  return Tovi::any_cast<UnlimitedNatural>(
      UnlimitedNaturalTypeInfo().convertFromString(text, errors));
}
}  // namespace

UnlimitedNatural::UnlimitedNatural(const std::string& text) : UnlimitedNatural(parse(text)) {}
UnlimitedNatural::UnlimitedNatural(const std::u16string& text)
    : UnlimitedNatural(parse(Tovi::utf16ToUtf8(text))) {}

UnlimitedNatural::UnlimitedNatural(const Kelpa::Object& object)
    : UnlimitedNatural(detail::unboxValue<UnlimitedNatural>(object)) {}
UnlimitedNatural::UnlimitedNatural(const Kelpa::ImmutableObject& object)
    : UnlimitedNatural(detail::unboxValue<UnlimitedNatural>(object)) {}
UnlimitedNatural::UnlimitedNatural(const Kelpa::ValueObject& object)
    : UnlimitedNatural(detail::unboxValue<UnlimitedNatural>(object)) {}
UnlimitedNatural::UnlimitedNatural(const Kelpa::ImmutableValueObject& object)
    : UnlimitedNatural(detail::unboxValue<UnlimitedNatural>(object)) {}

UnlimitedNatural::operator Kelpa::Object() const {
  return detail::boxValue(*this);
}
UnlimitedNatural::operator Kelpa::ValueObject() const {
  return detail::boxValue(*this);
}

const Tovi::TypeInfo& UnlimitedNatural::getTypeInfo() {
  static const Tovi::TypeInfo info = UnlimitedNaturalTypeInfo::Create();
  return info;
}

Kelpa::String UnlimitedNatural::toString() const {
  return Kelpa::String(getTypeInfo().convertToString(Tovi::any(*this)));
}

UnlimitedNatural UnlimitedNatural::fromString(const Kelpa::String& text) {
  return Tovi::any_cast<UnlimitedNatural>(getTypeInfo().convertFromUString(std::u16string(text.ustr())));
}

Tovi::TypeInfo UnlimitedNaturalTypeInfo::Create() {
  return CreateTypeInfo(new UnlimitedNaturalTypeInfo());
}

Tovi::any UnlimitedNaturalTypeInfo::convertFromString(const std::string& text,
                                                      Tovi::ErrorHolder& errors) const {
  detail::requireNoErrors(errors, UnlimitedNatural::getTypeName());
  if (text == "*" || text == "-1") return Tovi::any(UnlimitedNatural::unlimited());
  std::uint32_t number = 0;
  if (!detail::readNumber(text, number)) {
    detail::addConversionError(errors, UnlimitedNatural::getTypeName(), text, "UINT32_T");
    return Tovi::any();
  }
  return Tovi::any(UnlimitedNatural(number));
}

std::string UnlimitedNaturalTypeInfo::convertToString(const Tovi::any& value) const {
  const auto natural = Tovi::any_cast<UnlimitedNatural>(value);
  if (natural.isUnlimited()) return "*";
  return detail::printNumber(natural.getValue(), UnlimitedNatural::getTypeName());
}

Tovi::any UnlimitedNaturalTypeInfo::defaultConstruct() const {
  return Tovi::any(UnlimitedNatural());
}
Tovi::Type* UnlimitedNaturalTypeInfo::clone() const {
  return new UnlimitedNaturalTypeInfo();
}
UnlimitedNaturalTypeInfo::~UnlimitedNaturalTypeInfo() = default;

Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> UnlimitedNatural::MetaDataType() {
  return Kelpa::TypeInfoRegistry::getMetaType(getTypeName());
}
Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> UnlimitedNatural::getMetaDataType() const {
  return MetaDataType();
}

}  // namespace zorbel
