#include "Tovi/Type.h"

#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "Tovi/Strings.h"

namespace {

using Tovi::any;
using Tovi::any_cast;
using Tovi::ConversionError;
using Tovi::ErrorHolder;
using Tovi::Type;
using Tovi::TypeInfo;

// An int type that refuses anything but a plain decimal number; counts live instances.
class IntType : public Type {
 public:
  static inline int live = 0;

  IntType() { ++live; }
  IntType(const IntType& other) : Type(other) { ++live; }
  ~IntType() override { --live; }

  any convertFromString(const std::string& text, ErrorHolder& errors) const override {
    std::istringstream in(text);
    int value = 0;
    if (!(in >> value) || !in.eof()) {
      errors.addError(std::make_unique<Tovi::SimpleErrorDescription>(
          Tovi::CodeLocation(__FILE__, __LINE__),
          Tovi::utf8ToUtf16("not a number: '" + text + "'")));
      return any();
    }
    return any(value);
  }
  std::string convertToString(const any& value) const override {
    return std::to_string(any_cast<int>(value));
  }
  any defaultConstruct() const override { return any(0); }
  Type* clone() const override { return new IntType(*this); }
};

// Keeps text as it is, to see the default byte and UTF-16 paths.
class TextType : public Type {
 public:
  any convertFromString(const std::string& text, ErrorHolder&) const override { return any(text); }
  std::string convertToString(const any& value) const override {
    return any_cast<std::string>(value);
  }
  any defaultConstruct() const override { return any(std::string()); }
  Type* clone() const override { return new TextType(*this); }
};

struct HandlerCalled : std::runtime_error {
  using std::runtime_error::runtime_error;
};

void throwingHandler(const ErrorHolder& errors) {
  throw HandlerCalled(errors.getMessage());
}

int returningHandlerCalls = 0;
void returningHandler(const ErrorHolder&) {
  ++returningHandlerCalls;
}

// Installs a handler for one test and puts the previous one back.
class ScopedHandler {
 public:
  explicit ScopedHandler(TypeInfo::ConversionFailureHandler handler)
      : fPrevious(TypeInfo::setConversionFailureHandler(handler)) {}
  ~ScopedHandler() { TypeInfo::setConversionFailureHandler(fPrevious); }

 private:
  TypeInfo::ConversionFailureHandler fPrevious;
};

TEST(ToviTypeInfo, NullHandle) {
  TypeInfo info;
  EXPECT_TRUE(info.isNull());
  EXPECT_EQ(info.getType(), nullptr);
  EXPECT_THROW(info.convertFromString("1"), std::logic_error);
}

TEST(ToviTypeInfo, CopiesShareTheTypeAndTheLastOneDeletesIt) {
  ASSERT_EQ(IntType::live, 0);
  {
    TypeInfo info = Type::CreateTypeInfo(new IntType);
    TypeInfo copy = info;
    EXPECT_EQ(copy.getType(), info.getType());
    info = TypeInfo();
    EXPECT_EQ(IntType::live, 1);
    EXPECT_EQ(any_cast<int>(copy.convertFromUString(u"-34")), -34);
  }
  EXPECT_EQ(IntType::live, 0);
}

TEST(ToviTypeInfo, TwoArgumentFormsCollectErrors) {
  TypeInfo info = Type::CreateTypeInfo(new IntType);
  ErrorHolder errors;
  EXPECT_TRUE(info.convertFromString("12x", errors).empty());
  EXPECT_TRUE(info.convertFromUString(u"", errors).empty());
  EXPECT_TRUE(info.convertFromByteArray(Tovi::ByteArray(std::string("z")), errors).empty());
  EXPECT_EQ(errors.getMessage(), "not a number: '12x'; not a number: ''; not a number: 'z'");
}

TEST(ToviTypeInfo, OneArgumentFormsThrowConversionErrorByDefault) {
  TypeInfo info = Type::CreateTypeInfo(new IntType);
  try {
    info.convertFromString("abc");
    FAIL() << "no exception";
  } catch (const ConversionError& e) {
    EXPECT_STREQ(e.what(), "not a number: 'abc'");
  }
  EXPECT_THROW(info.convertFromUString(u"\u00E9"), ConversionError);
}

TEST(ToviTypeInfo, InstalledHandlerIsUsedAndRestored) {
  TypeInfo info = Type::CreateTypeInfo(new IntType);
  {
    ScopedHandler scoped(&throwingHandler);
    EXPECT_THROW(info.convertFromString("x"), HandlerCalled);
    EXPECT_THROW(info.convertFromUString(u"x"), HandlerCalled);
    EXPECT_EQ(any_cast<int>(info.convertFromString("1")), 1);
    // nullptr means the default again.
    EXPECT_EQ(TypeInfo::setConversionFailureHandler(nullptr), &throwingHandler);
    EXPECT_THROW(info.convertFromString("x"), ConversionError);
    TypeInfo::setConversionFailureHandler(&throwingHandler);
  }
  EXPECT_THROW(info.convertFromString("x"), ConversionError);
}

TEST(ToviTypeInfo, HandlerThatReturnsStillEndsInConversionError) {
  TypeInfo info = Type::CreateTypeInfo(new IntType);
  ScopedHandler scoped(&returningHandler);
  returningHandlerCalls = 0;
  EXPECT_THROW(info.convertFromString("x"), ConversionError);
  EXPECT_EQ(returningHandlerCalls, 1);
}

TEST(ToviType, DefaultTextAndByteConversionsGoThroughUtf8) {
  TypeInfo info = Type::CreateTypeInfo(new TextType);
  const std::string utf8 = "\xE2\x82\xAC \xF0\x9F\x98\x80";  // "€ 😀"
  const std::u16string utf16 = u"\u20AC \U0001F600";
  EXPECT_EQ(any_cast<std::string>(info.convertFromUString(utf16)), utf8);
  EXPECT_EQ(info.convertToUString(any(utf8)), utf16);
  EXPECT_EQ(info.convertToByteArray(any(utf8)), Tovi::ByteArray(utf8));
  ErrorHolder errors;
  EXPECT_EQ(any_cast<std::string>(info.convertFromByteArray(Tovi::ByteArray(utf8), errors)), utf8);
}

TEST(ToviType, DefaultIsValidWantsThePlainDefaultType) {
  IntType type;
  int i = 1;
  EXPECT_TRUE(type.isValid(any(3)));
  EXPECT_FALSE(type.isValid(any()));
  EXPECT_FALSE(type.isValid(any(3L)));
  EXPECT_FALSE(type.isValid(any(&i)));
}

TEST(ToviType, DefaultEqualityAndOrderFollowTheDynamicType) {
  IntType a;
  IntType b;
  TextType text;
  EXPECT_TRUE(a.isEqualTo(&b));
  EXPECT_FALSE(a.isEqualTo(&text));
  EXPECT_FALSE(a.isEqualTo(nullptr));
  EXPECT_FALSE(a.isLessThan(&b));
  EXPECT_NE(a.isLessThan(&text), text.isLessThan(&a));
}

}  // namespace
