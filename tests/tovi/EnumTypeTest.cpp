#include "Tovi/EnumType.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

using Tovi::any;
using Tovi::any_cast;
using Tovi::ByteArray;
using Tovi::ErrorHolder;

// The enum has a fixed underlying type so that numbers without a literal are valid values.
class Colour {
 public:
  enum Value : int { Red, Green, Blue };
  Colour(int value) : fValue(static_cast<Value>(value)) {}
  Colour(Value value) : fValue(value) {}
  Value getValue() const { return fValue; }
  static std::string getTypeName() { return "Colour"; }

 private:
  Value fValue;
};

class Shape {
 public:
  enum Value : int { Circle, Square };
  Shape(int value) : fValue(static_cast<Value>(value)) {}
  Value getValue() const { return fValue; }
  static std::string getTypeName() { return "Shape"; }

 private:
  Value fValue;
};

using ColourType = Tovi::SpecificEnumType<Colour>;

class ToviEnumType : public ::testing::Test {
 protected:
  ToviEnumType() {
    fType.addLiteral(Colour::Red, "red");
    fType.addLiteral(Colour::Green, "green");
    fType.addLiteral(Colour::Blue, "blue");
  }

  static Colour::Value valueOf(const any& value) { return any_cast<Colour>(value).getValue(); }

  ColourType fType;
};

TEST_F(ToviEnumType, NamesBothWays) {
  ErrorHolder errors;
  EXPECT_EQ(valueOf(fType.convertFromString("blue", errors)), Colour::Blue);
  EXPECT_EQ(valueOf(fType.convertFromUString(u"green", errors)), Colour::Green);
  EXPECT_FALSE(errors.hasError());
  EXPECT_EQ(fType.convertToString(Colour(Colour::Red)), "red");
  EXPECT_EQ(fType.convertToUString(Colour(Colour::Blue)), u"blue");
  EXPECT_EQ(valueOf(fType.defaultConstruct()), Colour::Red);
}

TEST_F(ToviEnumType, UnknownNameIsAnError) {
  ErrorHolder errors;
  EXPECT_TRUE(fType.convertFromString("Red", errors).empty());
  ASSERT_EQ(errors.errors().size(), 1u);
  EXPECT_EQ(errors.errors()[0]->getMessage(), u"Can't convert string 'Red' to Colour");
  EXPECT_EQ(errors.errors()[0]->getLocation().file(), "tovi/EnumType");

  Tovi::TypeInfo info = Tovi::Type::CreateTypeInfo(fType.clone());
  try {
    info.convertFromString("purple");
    FAIL() << "no exception";
  } catch (const Tovi::ConversionError& e) {
    EXPECT_STREQ(e.what(), "Can't convert string 'purple' to Colour");
  }
}

TEST_F(ToviEnumType, NumberWithoutLiteralPrintsAsDecimal) {
  EXPECT_EQ(fType.convertToString(Colour(7)), "7");
  EXPECT_EQ(fType.convertToString(Colour(-42)), "-42");
  EXPECT_EQ(fType.convertToInt(fType.convertFromInt(99)), 99);
  EXPECT_THROW(fType.convertToString(any(2)), Tovi::bad_any_cast);
}

TEST_F(ToviEnumType, ByteArrayIsFourLittleEndianBytes) {
  const unsigned char expected[] = {0x04, 0x03, 0x02, 0x01};
  EXPECT_EQ(fType.convertToByteArray(Colour(0x01020304)), ByteArray(expected, sizeof expected));

  for (int n : {0, 2, -2, 0x7FFFFFFF, -0x7FFFFFFF - 1}) {
    ErrorHolder errors;
    const any back = fType.convertFromByteArray(fType.convertToByteArray(Colour(n)), errors);
    EXPECT_FALSE(errors.hasError());
    EXPECT_EQ(fType.convertToInt(back), n);
  }
  for (const ByteArray& bytes : {ByteArray(), ByteArray("abc", 3), ByteArray("abcde", 5)}) {
    ErrorHolder errors;
    EXPECT_TRUE(fType.convertFromByteArray(bytes, errors).empty());
    EXPECT_TRUE(errors.hasError());
  }
}

TEST_F(ToviEnumType, IsValidOnlyForTheEnumValue) {
  Colour colour(Colour::Green);
  EXPECT_TRUE(fType.isValid(colour));
  EXPECT_FALSE(fType.isValid(any()));
  EXPECT_FALSE(fType.isValid(any(1)));
  EXPECT_FALSE(fType.isValid(any(&colour)));
  EXPECT_FALSE(fType.isValid(Shape(1)));
}

TEST_F(ToviEnumType, CloneCopiesTheTableIndependently) {
  std::unique_ptr<Tovi::Type> copy(fType.clone());
  auto& copied = dynamic_cast<ColourType&>(*copy);
  EXPECT_EQ(copied.literals(), fType.literals());
  copied.addLiteral(3, "black");
  EXPECT_EQ(fType.literals().count(3), 0u);
  EXPECT_EQ(copied.convertToString(Colour(3)), "black");
}

TEST_F(ToviEnumType, EqualityAndOrder) {
  ColourType otherColour;
  Tovi::SpecificEnumType<Shape> shape;
  EXPECT_TRUE(fType.isEqualTo(&otherColour));
  EXPECT_FALSE(fType.isEqualTo(&shape));
  EXPECT_FALSE(fType.isLessThan(&otherColour));
  EXPECT_NE(fType.isLessThan(&shape), shape.isLessThan(&fType));
}

// One class standing for several enumerations, told apart by name.
class NamedEnumType : public Tovi::EnumType {
 public:
  using EnumType::EnumType;
  int convertToInt(const any& value) const override { return any_cast<int>(value); }
  any convertFromInt(int value) const override { return any(value); }
  Type* clone() const override { return new NamedEnumType(*this); }
};

TEST(ToviEnumTypeByName, SameClassDifferentNames) {
  NamedEnumType a("A");
  NamedEnumType b("B");
  NamedEnumType a2("A");
  EXPECT_TRUE(a.isEqualTo(&a2));
  EXPECT_FALSE(a.isEqualTo(&b));
  EXPECT_TRUE(a.isLessThan(&b));
  EXPECT_FALSE(b.isLessThan(&a));
  EXPECT_FALSE(a.isLessThan(&a2));
}

}  // namespace
