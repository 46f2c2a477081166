#include "Tovi/Any.h"

#include <array>
#include <cstddef>
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

  any c = std::move(a);
  EXPECT_TRUE(a.empty());
  EXPECT_EQ(any_cast<double>(c), 2.5);
  c.swap(a);
  EXPECT_TRUE(c.empty());
  EXPECT_EQ(c.typeName(), nullptr);
  EXPECT_EQ(any_cast<double>(a), 2.5);
}

// Counts the live instances of a value, so that every copy made is destroyed once.
template <std::size_t Words, bool NothrowMove = true>
struct Counted {
  static inline int live = 0;
  explicit Counted(long v) : words{v} { ++live; }
  Counted(const Counted& o) : words(o.words) { ++live; }
  Counted(Counted&& o) noexcept(NothrowMove) : words(o.words) { ++live; }
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --live; }
  long value() const { return words[0]; }
  std::array<long, Words> words;
};
using Small = Counted<1>;               // held inline
using Large = Counted<4>;               // held on the heap
using Throwing = Counted<1, false>;     // small, but a move that may throw: on the heap

TEST(ToviAny, SmallNothrowValuesAreHeldInline) {
  EXPECT_TRUE(any(42).holdsInline());
  EXPECT_TRUE(any(2.5).holdsInline());
  EXPECT_TRUE(any(Small(1)).holdsInline());
  int i = 0;
  EXPECT_TRUE(any(&i).holdsInline());
  EXPECT_FALSE(any(Large(1)).holdsInline());
  EXPECT_FALSE(any(Throwing(1)).holdsInline());
  EXPECT_FALSE(any(std::string(100, 'x')).holdsInline());
  EXPECT_FALSE(any().holdsInline());

  // Held either way, the value reads the same and its holder answers the same.
  const any small = Small(7);
  const any large = Large(8);
  EXPECT_STREQ(small.typeName(), typeid(Small).name());
  EXPECT_STREQ(large.typeName(), typeid(Large).name());
  EXPECT_EQ(any_cast<Small>(small).value(), 7);
  EXPECT_EQ(any_cast<Large>(large).value(), 8);
  EXPECT_EQ(any_cast<Large>(&small), nullptr);
  EXPECT_THROW(any_cast<Small>(large), bad_any_cast);
}

TEST(ToviAny, CopyMoveAssignAndSwapBetweenInlineAndHeapValues) {
  {
    any s = Small(1);
    any l = Large(2);
    any t = Throwing(3);

    // Copies are of the same form, and independent.
    any s2 = s;
    any l2 = l;
    EXPECT_TRUE(s2.holdsInline());
    EXPECT_FALSE(l2.holdsInline());
    EXPECT_NE(l2.content(), l.content());
    any_cast<Small>(&s2)->words[0] = 10;
    EXPECT_EQ(any_cast<Small>(s).value(), 1);

    // A heap value is handed over by a move; an inline one moves into the new any.
    const any::placeholder* heap = l.content();
    any l3 = std::move(l);
    EXPECT_TRUE(l.empty());
    EXPECT_EQ(l3.content(), heap);
    any s3 = std::move(s);
    EXPECT_TRUE(s.empty());
    EXPECT_TRUE(s3.holdsInline());
    EXPECT_EQ(any_cast<Small>(s3).value(), 1);

    // Assignment across the forms, each way, copying and moving.
    s = l3;
    EXPECT_FALSE(s.holdsInline());
    EXPECT_EQ(any_cast<Large>(s).value(), 2);
    s = s3;
    EXPECT_TRUE(s.holdsInline());
    EXPECT_EQ(any_cast<Small>(s).value(), 1);
    l = std::move(s3);
    EXPECT_TRUE(s3.empty());
    EXPECT_EQ(any_cast<Small>(l).value(), 1);
    l = std::move(t);
    EXPECT_TRUE(t.empty());
    EXPECT_EQ(any_cast<Throwing>(l).value(), 3);
    any& self = l;
    l = std::move(self);
    EXPECT_EQ(any_cast<Throwing>(l).value(), 3);
    l = self;
    EXPECT_EQ(any_cast<Throwing>(l).value(), 3);

    // Swaps: inline with heap, inline with empty, heap with empty, and with itself.
    any a = Small(4);
    any b = Large(5);
    a.swap(b);
    EXPECT_EQ(any_cast<Large>(a).value(), 5);
    EXPECT_EQ(any_cast<Small>(b).value(), 4);
    EXPECT_TRUE(b.holdsInline());
    any e;
    b.swap(e);
    EXPECT_TRUE(b.empty());
    EXPECT_EQ(any_cast<Small>(e).value(), 4);
    a.swap(b);
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(any_cast<Large>(b).value(), 5);
    b.swap(b);
    EXPECT_EQ(any_cast<Large>(b).value(), 5);
    a = any();
    EXPECT_TRUE(a.empty());
  }
  EXPECT_EQ(Small::live, 0);
  EXPECT_EQ(Large::live, 0);
  EXPECT_EQ(Throwing::live, 0);
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
