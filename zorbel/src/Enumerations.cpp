// The behaviour of every enumeration, written once and instantiated for each.
#include <Kelpa/Meta.h>
#include <memory>

#include <Tovi/EnumType.h>
#include <zorbel/AggregationKind.h>
#include <zorbel/CallConcurrencyKind.h>
#include <zorbel/ConnectorKind.h>
#include <zorbel/InteractionOperatorKind.h>
#include <zorbel/MessageKind.h>
#include <zorbel/MessageSort.h>
#include <zorbel/ParameterDirectionKind.h>
#include <zorbel/VisibilityKind.h>
#include <zorbel/detail/ValueSupport.h>

namespace zorbel::detail {

template <class X, class L>
Enumeration<X, L>::Enumeration(const Kelpa::Object& object)
    : fValue(unboxValue<X>(object).getValue()) {}
template <class X, class L>
Enumeration<X, L>::Enumeration(const Kelpa::ImmutableObject& object)
    : fValue(unboxValue<X>(object).getValue()) {}
template <class X, class L>
Enumeration<X, L>::Enumeration(const Kelpa::ValueObject& object)
    : fValue(unboxValue<X>(object).getValue()) {}
template <class X, class L>
Enumeration<X, L>::Enumeration(const Kelpa::ImmutableValueObject& object)
    : fValue(unboxValue<X>(object).getValue()) {}

template <class X, class L>
Enumeration<X, L>::operator Kelpa::Object() const {
  return boxValue(static_cast<const X&>(*this));
}
template <class X, class L>
Enumeration<X, L>::operator Kelpa::ValueObject() const {
  return boxValue(static_cast<const X&>(*this));
}

template <class X, class L>
const std::map<X, std::string>& Enumeration<X, L>::getLiterals() {
  static const std::map<X, std::string> literals = [] {
    std::map<X, std::string> map;
    for (const EnumerationLiteral& literal : L::kLiterals)
      map.emplace(X(literal.value), literal.name);
    return map;
  }();
  return literals;
}

template <class X, class L>
Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> Enumeration<X, L>::MetaDataType() {
  return Kelpa::TypeInfoRegistry::getMetaType(getTypeName());
}
template <class X, class L>
Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> Enumeration<X, L>::getMetaDataType() const {
  return MetaDataType();
}

template <class X, class L>
const Tovi::TypeInfo& Enumeration<X, L>::getTypeInfo() {
  static const Tovi::TypeInfo info = [] {
    auto type = std::make_unique<Tovi::SpecificEnumType<X>>();
    for (const auto& [value, name] : getLiterals()) type->addLiteral(value.getValue(), name);
    return Tovi::Type::CreateTypeInfo(type.release());
  }();
  return info;
}

template <class X, class L>
Kelpa::String Enumeration<X, L>::toString() const {
  return Kelpa::String(getTypeInfo().convertToString(Tovi::any(static_cast<const X&>(*this))));
}

template <class X, class L>
X Enumeration<X, L>::fromString(const std::string& text) {
  return Tovi::any_cast<X>(getTypeInfo().convertFromString(text));
}

template class Enumeration<AggregationKind, AggregationKindLiterals>;
template class Enumeration<ParameterDirectionKind, ParameterDirectionKindLiterals>;
template class Enumeration<VisibilityKind, VisibilityKindLiterals>;
template class Enumeration<CallConcurrencyKind, CallConcurrencyKindLiterals>;
template class Enumeration<ConnectorKind, ConnectorKindLiterals>;
template class Enumeration<InteractionOperatorKind, InteractionOperatorKindLiterals>;
template class Enumeration<MessageKind, MessageKindLiterals>;
template class Enumeration<MessageSort, MessageSortLiterals>;

}  // namespace zorbel::detail
