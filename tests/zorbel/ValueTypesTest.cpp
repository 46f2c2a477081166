#include <gtest/gtest.h>

#include "../support/Failure.h"

#include <climits>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>

#include <Kelpa/Meta.h>
#include <Kelpa/Model.h>
#include <zorbel/zorbel.h>

using namespace zorbel;

namespace {

const std::string kInternalAssertion =
    "Assertion failed: Internal assertion without a message detected in FTL generated code! "
    "Please fix me asap at ";

using testsupport::failureOf;

// A kernel object that is no value, alive in every deviant or in none.
class NotAValue final : public Kelpa::NSInterface::ObjectIntf {
 public:
  explicit NotAValue(bool alive) : fAlive(alive) {}
  bool deviant_isValid(Kelpa::Deviant) const override { return fAlive; }
  std::string getRuvoName(bool) const override { return "test.NotAValue"; }
  Kelpa::Object getEmptyValue() override { return Kelpa::Object(); }

 private:
  bool fAlive;
};

// A value of T other than its default.
template <class T>
T sample() {
  if constexpr (std::is_same_v<T, Integer>)
    return -7;
  else if constexpr (std::is_same_v<T, Boolean>)
    return true;
  else if constexpr (std::is_same_v<T, String>)
    return String(u"zw\u00f6lf \U0001F600");
  else if constexpr (std::is_same_v<T, UnlimitedNatural>)
    return UnlimitedNatural::unlimited();
  else
    return std::prev(T::getLiterals().end())->first;
}

// ---------------------------------------------------------------------------------------
// What all twelve value types share: boxing into kernel objects and back, registration.

template <class T>
class ZorbelValueType : public ::testing::Test {};
using AllValueTypes =
    ::testing::Types<Integer, Boolean, String, UnlimitedNatural, AggregationKind,
                     ParameterDirectionKind, VisibilityKind, CallConcurrencyKind, ConnectorKind,
                     InteractionOperatorKind, MessageKind, MessageSort>;
TYPED_TEST_SUITE(ZorbelValueType, AllValueTypes);

TYPED_TEST(ZorbelValueType, BoxesUnderItsTypeNameAndReadsBack) {
  const TypeParam value = sample<TypeParam>();
  ASSERT_FALSE(value == TypeParam());
  const Kelpa::Object object = value;
  ASSERT_FALSE(Kelpa::ImmutableValueObject(object).isNull());
  EXPECT_EQ(Kelpa::ImmutableValueObject(object)->getTypeName(), TypeParam::getTypeName());
  EXPECT_TRUE(TypeParam(object) == value);
  EXPECT_TRUE(TypeParam(static_cast<const Kelpa::ImmutableObject&>(object)) == value);
  const Kelpa::ValueObject valueObject = value;
  EXPECT_TRUE(TypeParam(valueObject) == value);
  EXPECT_TRUE(TypeParam(static_cast<const Kelpa::ImmutableValueObject&>(valueObject)) == value);
}

// Every value of the library is small enough to travel inside its box's any: boxing one
// makes the box and nothing else. Copies of the box share it.
TYPED_TEST(ZorbelValueType, IsHeldInsideItsBox) {
  const TypeParam value = sample<TypeParam>();
  EXPECT_TRUE(Tovi::any(value).holdsInline());
  Kelpa::Object object = value;
  const Tovi::any* held = Kelpa::valueOf(object);
  ASSERT_NE(held, nullptr);
  EXPECT_TRUE(held->holdsInline());
  const Kelpa::Object copy = object;
  object = Kelpa::Object();
  EXPECT_EQ(Kelpa::valueOf(copy), held);
  EXPECT_TRUE(TypeParam(copy) == value);
  EXPECT_EQ(copy->toString(Kelpa::Deviant()).str(),
            TypeParam::getTypeInfo().convertToString(Tovi::any(value)));
}

TYPED_TEST(ZorbelValueType, NullOrDeadObjectGivesTheDefault) {
  EXPECT_TRUE(TypeParam(Kelpa::Object()) == TypeParam());
  EXPECT_TRUE(TypeParam(Kelpa::ImmutableValueObject()) == TypeParam());
  NotAValue dead(false);
  EXPECT_TRUE(TypeParam(Kelpa::Object(&dead, Kelpa::Deviant())) == TypeParam());
}

TYPED_TEST(ZorbelValueType, ObjectThatIsNoValueRaisesAtItsSource) {
  NotAValue element(true);
  const std::string name = TypeParam::getTypeName();  // "zorbel.X" is raised at "zorbel/X"
  EXPECT_EQ(failureOf([&] { TypeParam{Kelpa::Object(&element, Kelpa::Deviant())}; }),
            kInternalAssertion + "zorbel/" + name.substr(7) + ":31: ");
}

TYPED_TEST(ZorbelValueType, ValueOfAnotherTypeRaisesBadAnyCast) {
  EXPECT_THROW(TypeParam{Kelpa::Object(Kelpa::Integer(1))}, Tovi::bad_any_cast);
  // Same layout as the enumerations, and still another type.
  const Kelpa::Object other = std::is_same_v<TypeParam, ConnectorKind>
                                  ? Kelpa::Object(MessageKind(MessageKind::kLost))
                                  : Kelpa::Object(ConnectorKind(ConnectorKind::kDelegation));
  EXPECT_THROW(TypeParam{other}, Tovi::bad_any_cast);
}

TYPED_TEST(ZorbelValueType, TypeInfoMakesAndRecognisesItsOwnValues) {
  const Tovi::TypeInfo& info = TypeParam::getTypeInfo();
  EXPECT_TRUE(Tovi::any_cast<TypeParam>(info.defaultConstruct()) == TypeParam());
  EXPECT_TRUE(info.isValid(Tovi::any(sample<TypeParam>())));
  EXPECT_FALSE(info.isValid(Tovi::any(Kelpa::Integer(0))));
  EXPECT_FALSE(info.isValid(Tovi::any()));
  const std::unique_ptr<Tovi::Type> copy(info.getType()->clone());
  EXPECT_TRUE(copy->isEqualTo(info.getType()));
}

TYPED_TEST(ZorbelValueType, RegisteredSoTheKernelParsesAndPrintsIt) {
  const Tovi::TypeInfo* registered =
      Kelpa::TypeInfoRegistry::findTypeInfo(TypeParam::getTypeName());
  ASSERT_NE(registered, nullptr);
  EXPECT_EQ(registered->getType(), TypeParam::getTypeInfo().getType());
  const TypeParam value = sample<TypeParam>();
  const Kelpa::Object parsed =
      Kelpa::ValueObjectFactory::createFromString(TypeParam::getTypeName(), value.toString());
  EXPECT_TRUE(TypeParam(parsed) == value);
  EXPECT_EQ(parsed->toString(Kelpa::Deviant()).ustr(), value.toString().ustr());
}

TEST(ZorbelValueTypes, RegisteredNamesDescribeValuesIteratorsAndSequences) {
  // A value type's own name is its meta type, the primitive or enumeration of the package.
  EXPECT_EQ(Integer::MetaDataType()->getName(), "Integer");
  EXPECT_EQ(Integer::MetaDataType().get(), Integer(3).getMetaDataType().get());
  EXPECT_EQ(std::string(AggregationKind::MetaDataType()->kind()), "Enumeration");
  EXPECT_EQ(String::MetaDataType()->getQualifiedName(), "zorbel.String");
  // Classes register only their iterators and sequences; the Factory's own name is an
  // iterator's description and no meta type.
  EXPECT_EQ(Kelpa::TypeInfoRegistry::findTypeInfo("zorbel.Comment"), nullptr);
  EXPECT_TRUE(Kelpa::TypeInfoRegistry::getMetaType("zorbel.Comment").isNull());
  EXPECT_TRUE(Kelpa::TypeInfoRegistry::getMetaType("zorbel.Factory").isNull());
  const Tovi::TypeInfo* factory = Kelpa::TypeInfoRegistry::findTypeInfo("zorbel.Factory");
  const Tovi::TypeInfo* iterator = Kelpa::TypeInfoRegistry::findTypeInfo("zorbel.ImmutableCommentIterator");
  const Tovi::TypeInfo* sequence = Kelpa::TypeInfoRegistry::findTypeInfo("zorbel.SequenceOfComment");
  ASSERT_NE(factory, nullptr);
  ASSERT_NE(iterator, nullptr);
  ASSERT_NE(sequence, nullptr);
  for (const Tovi::TypeInfo* info : {factory, iterator, sequence}) {
    EXPECT_TRUE(info->defaultConstruct().empty());  // they make no values
    EXPECT_FALSE(info->isValid(Tovi::any(Integer(1))));
  }
  for (const char* name : {"zorbel.IntegerIterator", "zorbel.ImmutableSequenceOfMessageSort",
                           "zorbel.ImmutableSequenceOfImmutableExtensionPoint", "zorbel.BehavioralFeatureIterator"})
    EXPECT_NE(Kelpa::TypeInfoRegistry::findTypeInfo(name), nullptr) << name;
}

// ---------------------------------------------------------------------------------------
// The four primitive type descriptions.

const std::pair<const char*, const Tovi::TypeInfo& (*)()> kPrimitives[] = {
    {"zorbel/Integer", &Integer::getTypeInfo},
    {"zorbel/Boolean", &Boolean::getTypeInfo},
    {"zorbel/String", &String::getTypeInfo},
    {"zorbel/UnlimitedNatural", &UnlimitedNatural::getTypeInfo}};

TEST(ZorbelPrimitiveTypeInfo, ParsingRefusesErrorsAlreadyCollected) {
  for (const auto& [path, info] : kPrimitives) {
    Tovi::ErrorHolder errors;
    errors.addError(
        std::make_unique<Tovi::SimpleErrorDescription>(Tovi::CodeLocation("x", 1), u"earlier"));
    EXPECT_EQ(failureOf([&] { info().convertFromString("1", errors); }),
              kInternalAssertion + path + ":37: ");
  }
}

TEST(ZorbelPrimitiveTypeInfo, PrintsNothingButItsOwnType) {
  Integer integer = 3;
  for (const auto& [path, info] : kPrimitives) {
    SCOPED_TRACE(path);
    EXPECT_THROW(info().convertToString(Tovi::any()), Tovi::bad_any_cast);
    EXPECT_THROW(info().convertToString(Tovi::any(&integer)), Tovi::bad_any_cast);
    EXPECT_THROW(info().convertToString(Tovi::any(Kelpa::Boolean(true))), Tovi::bad_any_cast);
  }
  EXPECT_THROW(Integer::getTypeInfo().convertToString(UnlimitedNatural(3)), Tovi::bad_any_cast);
  EXPECT_THROW(String::getTypeInfo().convertToString(Kelpa::String("x")), Tovi::bad_any_cast);
}

TEST(ZorbelPrimitiveTypeInfo, ParseFailureGoesToTheCallersErrors) {
  Tovi::ErrorHolder errors;
  EXPECT_TRUE(Integer::getTypeInfo().convertFromString("x1", errors).empty());
  ASSERT_EQ(errors.errors().size(), 1u);
  EXPECT_EQ(errors.errors()[0]->getMessage(), u"Can't convert string 'x1' to INT32_T");
  EXPECT_EQ(errors.errors()[0]->getLocation().file(), "zorbel/Integer");
  Tovi::ErrorHolder boolErrors;
  EXPECT_TRUE(Boolean::getTypeInfo().convertFromString("yes", boolErrors).empty());
  ASSERT_EQ(boolErrors.errors().size(), 1u);
  EXPECT_EQ(boolErrors.errors()[0]->getLocation().file(), "zorbel/Boolean");
  EXPECT_EQ(boolErrors.errors()[0]->getLocation().line(), 49u);
}

// ---------------------------------------------------------------------------------------
// Integer, UnlimitedNatural and Boolean as text.

TEST(ZorbelInteger, ReadsDecimalOrHexadecimalAndIgnoresWhatFollows) {
  EXPECT_EQ(Integer::fromString("0x10"), 16);
  EXPECT_EQ(Integer::fromString("12abc"), 12);
  EXPECT_EQ(Integer::fromString("010"), 10);  // no octal
  EXPECT_EQ(Integer::fromString("-2147483648"), INT32_MIN);
  EXPECT_EQ(Integer::fromString("0x7fffffff"), INT32_MAX);
  for (const char* text : {"0x", "", "abc", "2147483648", "0x80000000"})
    EXPECT_EQ(failureOf([&] { Integer::fromString(text); }),
              "Can't convert string '" + std::string(text) + "' to INT32_T");
}

TEST(ZorbelInteger, PrintsDecimalAndComparesByValue) {
  EXPECT_EQ(Integer(-42).toString().str(), "-42");
  EXPECT_EQ(Integer(0x10).toString().str(), "16");
  EXPECT_EQ(Integer(INT32_MIN).toString().str(), "-2147483648");
  EXPECT_FALSE(Integer(-1) == 4294967295u);
  EXPECT_TRUE(Integer(5) == 5L);
  EXPECT_EQ(Integer(Kelpa::Integer(-9)), Kelpa::Integer(Integer(-9)).getValue());
}

TEST(ZorbelUnlimitedNatural, ReadsStarMinusOneAndTheStreamsUnsignedRead) {
  for (const char* text : {"*", "-1", "4294967295", "0xFFFFFFFF"})
    EXPECT_TRUE(UnlimitedNatural::fromString(text).isUnlimited()) << text;
  EXPECT_EQ(UnlimitedNatural::fromString("0x10"), 16u);
  EXPECT_EQ(UnlimitedNatural::fromString("3 apples"), 3u);
  EXPECT_EQ(UnlimitedNatural::fromString("-2"), 4294967294u);
  for (const char* text : {"4294967296", "many", "", "0x", "**"})
    EXPECT_EQ(failureOf([&] { UnlimitedNatural::fromString(text); }),
              "Can't convert string '" + std::string(text) + "' to UINT32_T");
}

TEST(ZorbelUnlimitedNatural, PrintsStarForUnlimited) {
  EXPECT_EQ(UnlimitedNatural(4294967295u).toString().str(), "*");
  EXPECT_EQ(UnlimitedNatural(4294967294u).toString().str(), "4294967294");
  EXPECT_EQ(UnlimitedNatural().toString().str(), "0");
  EXPECT_FALSE(UnlimitedNatural().isUnlimited());
}

TEST(ZorbelUnlimitedNatural, TextConstructorsParseAndDropTheError) {
  EXPECT_TRUE(UnlimitedNatural(std::string("*")).isUnlimited());
  EXPECT_EQ(UnlimitedNatural(std::u16string(u"0x20")), 32u);
  EXPECT_THROW(UnlimitedNatural(std::string("many")), Tovi::bad_any_cast);
  EXPECT_THROW(UnlimitedNatural(std::u16string(u"")), Tovi::bad_any_cast);
}

TEST(ZorbelBoolean, ReadsExactlyTrueAndFalse) {
  EXPECT_EQ(Boolean::fromString("true"), true);
  EXPECT_EQ(Boolean::fromString("false"), false);
  EXPECT_EQ(Boolean(true).toString().str(), "true");
  EXPECT_EQ(Boolean().toString().str(), "false");
  for (const char* text : {"True", "TRUE", "1", "", "true "})
    EXPECT_EQ(failureOf([&] { Boolean::fromString(text); }),
              "Can't convert string '" + std::string(text) + "' to bool");
}

// ---------------------------------------------------------------------------------------
// String: UTF-16 text with a narrow form made on demand.

TEST(ZorbelString, ConvertsBetweenUtf8AndUtf16) {
  const String narrow(
      std::string("Stra\xc3\x9f"
                  "e \xf0\x9f\x98\x80"));
  EXPECT_EQ(narrow.ustr(), u"Stra\u00dfe \U0001F600");
  EXPECT_EQ(narrow.size(), 9u);  // code units: the emoji takes two
  EXPECT_STREQ(String(u"\u00e9t\u00e9").c_str(), "\xc3\xa9t\xc3\xa9");
  EXPECT_EQ(String(u"\u00e9").to_string(), "\xc3\xa9");
  EXPECT_EQ(String("abc"), String(u"abc"));
  EXPECT_TRUE(String(static_cast<const char*>(nullptr)).empty());
  EXPECT_TRUE(String(static_cast<const char16_t*>(nullptr)).empty());
}

TEST(ZorbelString, CStrGivesBackTheNarrowTextGiven) {
  const std::string bytes =
      "a\xff"
      "b";  // no UTF-8: only the kept bytes can give it back
  const String s(bytes);
  EXPECT_EQ(std::string(s.c_str()), bytes);
  EXPECT_EQ(s.to_string(), bytes);
  EXPECT_EQ(s.c_str(), s.c_str());
  const String copy(s);  // makes its own narrow form, from the text
  EXPECT_EQ(copy, s);
  EXPECT_STREQ(copy.c_str(), "ab");
}

TEST(ZorbelString, AssignmentReplacesTheNarrowForm) {
  String s("first");
  EXPECT_STREQ(s.c_str(), "first");
  s = String(u"second");
  EXPECT_STREQ(s.c_str(), "second");
  const String third("third");
  s = third;
  EXPECT_STREQ(s.c_str(), "third");
  const String moved(std::move(s));
  EXPECT_STREQ(moved.c_str(), "third");
}

TEST(ZorbelString, OrdersByUtf16CodeUnits) {
  // U+10000 is the surrogate 0xD800 first, below U+FFFF; in UTF-8 it sorts above.
  EXPECT_TRUE(String(u"\U00010000") < String(u"\uFFFF"));
  EXPECT_FALSE(String(u"\uFFFF") < String(u"\U00010000"));
  EXPECT_TRUE(String(u"a") < String(u"ab"));
  EXPECT_FALSE(String(u"a") < String(u"a"));
  EXPECT_NE(String(u"a"), String(u"A"));
}

TEST(ZorbelString, ConvertsToAndFromTheKernelsString) {
  const Kelpa::String kernel(u"k\u00f6rper");
  const String s = kernel;
  EXPECT_TRUE(s == kernel && kernel == s);
  EXPECT_EQ(Kelpa::String(s).ustr(), kernel.ustr());
  EXPECT_EQ(s.toString().ustr(), kernel.ustr());
  EXPECT_EQ(String::fromString(kernel), s);
  Tovi::ErrorHolder errors;
  EXPECT_EQ(Tovi::any_cast<String>(String::getTypeInfo().convertFromString("gr\xc3\xbc", errors)),
            String(u"gr\u00fc"));
  EXPECT_FALSE(errors.hasError());
}

}  // namespace
