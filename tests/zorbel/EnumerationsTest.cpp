#include <gtest/gtest.h>

#include "../support/Failure.h"

#include <string>

#include <Kelpa/Model.h>
#include <Tovi/EnumType.h>
#include <zorbel/zorbel.h>

using namespace zorbel;

namespace {

using testsupport::failureOf;

// The names of X's literals in the order of their values, which must run 0, 1, 2, ...
template <class X>
std::string literalNames() {
  std::string names;
  int expected = 0;
  for (const auto& [value, name] : X::getLiterals()) {
    EXPECT_EQ(value.getValue(), expected++) << name;
    names += (names.empty() ? "" : " ") + name;
  }
  return names;
}

const Tovi::EnumType& enumTypeOf(const Tovi::TypeInfo& info) {
  return dynamic_cast<const Tovi::EnumType&>(*info.getType());
}

TEST(ZorbelEnumerationLiterals, EachEnumerationHasItsLiteralsInOrder) {
  EXPECT_EQ(literalNames<AggregationKind>(), "none shared composite");
  EXPECT_EQ(literalNames<ParameterDirectionKind>(), "in inout out return");
  EXPECT_EQ(literalNames<VisibilityKind>(), "public private protected package");
  EXPECT_EQ(literalNames<CallConcurrencyKind>(), "sequential guarded concurrent");
  EXPECT_EQ(literalNames<ConnectorKind>(), "assembly delegation");
  EXPECT_EQ(literalNames<InteractionOperatorKind>(),
            "seq alt opt break par strict loop critical neg assert ignore consider");
  EXPECT_EQ(literalNames<MessageKind>(), "complete lost found unknown");
  EXPECT_EQ(literalNames<MessageSort>(),
            "synchCall asynchCall asynchSignal createMessage deleteMessage reply");
}

TEST(ZorbelEnumerationLiterals, EnumeratorsNameTheirLiterals) {
  EXPECT_EQ(ParameterDirectionKind(ParameterDirectionKind::kReturn).toString().str(), "return");
  EXPECT_EQ(InteractionOperatorKind(InteractionOperatorKind::kBreak).toString().str(), "break");
  EXPECT_EQ(MessageSort(MessageSort::kAsynchSignal).toString().str(), "asynchSignal");
  EXPECT_EQ(MessageKind(MessageKind::kUnknown).toString().str(), "unknown");
}

TEST(ZorbelEnumerationLiterals, DefaultsAreTheLiteralsOfValueZero) {
  EXPECT_EQ(VisibilityKind().toString().str(), "public");
  EXPECT_EQ(ParameterDirectionKind().toString().str(), "in");
  EXPECT_EQ(MessageSort().toString().str(), "synchCall");
  EXPECT_EQ(InteractionOperatorKind(6), InteractionOperatorKind(InteractionOperatorKind::kLoop));
}

// ---------------------------------------------------------------------------------------
// What every enumeration does with its literals and numbers.

template <class X>
class ZorbelEnumeration : public ::testing::Test {};
using AllEnumerations =
    ::testing::Types<AggregationKind, ParameterDirectionKind, VisibilityKind, CallConcurrencyKind,
                     ConnectorKind, InteractionOperatorKind, MessageKind, MessageSort>;
TYPED_TEST_SUITE(ZorbelEnumeration, AllEnumerations);

TYPED_TEST(ZorbelEnumeration, TextRoundTripsForEveryLiteral) {
  for (const auto& [value, name] : TypeParam::getLiterals()) {
    EXPECT_EQ(value.toString().str(), name);
    EXPECT_EQ(TypeParam::fromString(name), value) << name;
  }
}

TYPED_TEST(ZorbelEnumeration, NameThatIsNoLiteralIsRefused) {
  std::string capitalised = TypeParam::getLiterals().begin()->second;
  capitalised[0] = static_cast<char>(capitalised[0] - 'a' + 'A');
  for (const std::string& text : {capitalised, std::string(), std::string("0")})
    EXPECT_EQ(failureOf([&] { TypeParam::fromString(text); }),
              "Can't convert string '" + text + "' to " + TypeParam::getTypeName());
}

TYPED_TEST(ZorbelEnumeration, NumbersWithoutALiteralAreHeldAndOrderedAsTheyAre) {
  const TypeParam outside(99);
  EXPECT_EQ(outside.getValue(), 99);
  EXPECT_EQ(outside.toString().str(), "99");
  EXPECT_EQ(TypeParam(-5).toString().str(), "-5");
  EXPECT_EQ(TypeParam(Kelpa::Object(outside)).getValue(), 99);  // boxed unchecked as well
  EXPECT_TRUE(TypeParam(-1) < TypeParam() && TypeParam() < TypeParam(1));
  EXPECT_TRUE(TypeParam(1) < outside);
  EXPECT_FALSE(outside < outside);
}

TYPED_TEST(ZorbelEnumeration, TypeConvertsNumbersOfItsOwnValuesOnly) {
  const Tovi::EnumType& type = enumTypeOf(TypeParam::getTypeInfo());
  EXPECT_EQ(type.convertToInt(Tovi::any(TypeParam(1))), 1);
  EXPECT_EQ(Tovi::any_cast<TypeParam>(type.convertFromInt(1234)).getValue(), 1234);
  EXPECT_THROW(type.convertToInt(Tovi::any(1)), Tovi::bad_any_cast);
  // Another enumeration with the same number is another type.
  const Tovi::any foreign = std::is_same_v<TypeParam, MessageKind> ? Tovi::any(MessageSort(1))
                                                                   : Tovi::any(MessageKind(1));
  EXPECT_FALSE(type.isValid(foreign));
  EXPECT_THROW(type.convertToString(foreign), Tovi::bad_any_cast);
}

}  // namespace
