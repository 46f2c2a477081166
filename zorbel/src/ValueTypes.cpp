#include <zorbel/detail/ValueTypes.h>

#include <zorbel/AggregationKind.h>
#include <zorbel/Boolean.h>
#include <zorbel/CallConcurrencyKind.h>
#include <zorbel/ConnectorKind.h>
#include <zorbel/Integer.h>
#include <zorbel/InteractionOperatorKind.h>
#include <zorbel/MessageKind.h>
#include <zorbel/MessageSort.h>
#include <zorbel/ParameterDirectionKind.h>
#include <zorbel/String.h>
#include <zorbel/UnlimitedNatural.h>
#include <zorbel/VisibilityKind.h>

namespace zorbel::detail {

namespace {

template <class... V>
struct ValueTypeList {
  static void registerAll() {
    (Kelpa::TypeInfoRegistry::registerTypeInfo(V::getTypeName(), V::getTypeInfo()), ...);
  }
  static void unregisterAll() {
    (Kelpa::TypeInfoRegistry::unregisterTypeInfo(V::getTypeName()), ...);
  }
};

// In the order of the type table.
using AllValueTypes =
    ValueTypeList<Integer, Boolean, String, UnlimitedNatural, AggregationKind,
                  ParameterDirectionKind, VisibilityKind, CallConcurrencyKind, ConnectorKind,
                  InteractionOperatorKind, MessageKind, MessageSort>;

}  // namespace

void registerValueTypes() {
  AllValueTypes::registerAll();
}
void unregisterValueTypes() {
  AllValueTypes::unregisterAll();
}

}  // namespace zorbel::detail
