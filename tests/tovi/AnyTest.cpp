#include "Tovi/Any.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace {

using Tovi::any;
using Tovi::any_cast;
using Tovi::bad_any_cast;
using Tovi::sameTypeName;

TEST(ToviAny, CopyAssignAndMove) {
  any a = std::string("first");
  any b = a;
  *any_cast<std::string>(&b) = "changed";
  EXPECT_EQ(any_cast<std::string>(a), "first");

  a = b;
  EXPECT_EQ(any_cast<std::string>(a), "changed");
  any& alias = a;
  a = alias;
  EXPECT_EQ(any_cast<std::string>(a), "changed");
  a = 2.5;
  EXPECT_EQ(any_cast<double>(a), 2.5);

  const any::placeholder* content = a.content();
  any c = std::move(a);
  EXPECT_TRUE(a.empty());
  EXPECT_EQ(c.content(), content);
  c.swap(a);
  EXPECT_TRUE(c.empty());
  EXPECT_EQ(c.typeName(), nullptr);
  EXPECT_EQ(any_cast<double>(a), 2.5);
}

TEST(ToviAny, TypeNameAndPointerLevel) {
  int i = 0;
  int* p = &i;
  const int* const* cp = &p;
  EXPECT_STREQ(any(i).typeName(), typeid(int).name());
  EXPECT_EQ(any(i).pointerLevel(), 0);
  EXPECT_EQ(any(p).pointerLevel(), 1);
  EXPECT_EQ(any(cp).pointerLevel(), 2);
  // Arrays decay: a string literal is held as const char*.
  EXPECT_STREQ(any_cast<const char*>(any("abc")), "abc");
}

TEST(ToviAnyCast, Success) {
  any a = 42;
  EXPECT_EQ(any_cast<int>(a), 42);
  EXPECT_EQ(&any_cast<const int&>(a), any_cast<int>(&a));
  const any& ca = a;
  EXPECT_EQ(*any_cast<const int>(&ca), 42);
}

TEST(ToviAnyCast, Failures) {
  int i = 7;
  int* p = &i;
  any ptr = p;
  EXPECT_THROW(any_cast<int>(any()), bad_any_cast);
  EXPECT_THROW(any_cast<long>(any(42)), bad_any_cast);
  EXPECT_THROW(any_cast<unsigned>(any(42)), bad_any_cast);
  EXPECT_THROW(any_cast<int>(ptr), bad_any_cast);
  EXPECT_THROW(any_cast<int**>(ptr), bad_any_cast);
  EXPECT_EQ(any_cast<int*>(ptr), p);

  any empty;
  EXPECT_EQ(any_cast<int>(&empty), nullptr);
  EXPECT_EQ(any_cast<int>(static_cast<any*>(nullptr)), nullptr);
  EXPECT_EQ(any_cast<int>(&ptr), nullptr);

  try {
    any_cast<int>(empty);
    FAIL() << "no exception";
  } catch (const std::bad_cast& e) {
    EXPECT_STREQ(e.what(), "Tovi::bad_any_cast: failed conversion using Tovi::any_cast");
  }
}

TEST(ToviSameTypeName, TextDecidesUnlessModuleLocal) {
  const std::string a = "N3foo3BarE";
  const std::string b = "N3foo3BarE";
  const std::string local = "*N3foo3BarE";
  const std::string localCopy = "*N3foo3BarE";
  EXPECT_TRUE(sameTypeName(a.c_str(), b.c_str()));
  EXPECT_FALSE(sameTypeName(a.c_str(), "N3foo3BazE"));
  EXPECT_FALSE(sameTypeName(a.c_str(), "N3foo3BarEx"));
  EXPECT_TRUE(sameTypeName(local.c_str(), local.c_str()));
  EXPECT_FALSE(sameTypeName(local.c_str(), localCopy.c_str()));
  EXPECT_FALSE(sameTypeName(local.c_str(), a.c_str()));
  EXPECT_TRUE(sameTypeName(a.c_str(), local.c_str()));
  EXPECT_FALSE(sameTypeName("N3foo3BazE", local.c_str()));
  EXPECT_FALSE(sameTypeName(nullptr, "i"));
}

}  // namespace
