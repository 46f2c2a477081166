#pragma once
// The checks that the generated sweep (MetaclassSweep.cpp) calls for every concrete
// metaclass. The sweep runs in phases over all stored properties of one element: every
// value fresh, then every property set to a value of its own, then all of them read back
// (two properties that shared a member would show here), then each one removed.
//
// The helpers depend on the value type only, so that the sweep stays quick to compile.
#include <gtest/gtest.h>

#include <type_traits>

#include <Kelpa/Meta.h>

#include <initializer_list>

#include <Kelpa/Visitor.h>
#include <zorbel/zorbel.h>

namespace zorbel::sweep {

namespace CV = Kelpa::CooperativeVisitor::internal;

// A single value: present or not, and equal to what is expected.
template <class T>
void expectValue(const char* name, bool present, bool expectedPresent, const T& value,
                 const T& expected) {
  EXPECT_EQ(present, expectedPresent) << name;
  EXPECT_TRUE(value == expected) << name << ": another value";
}

// A single reference: present and holding the partner, in the reader's deviant.
void expectPartner(const char* name, bool present, const Kelpa::ImmutableClassObject& value,
                   const Kelpa::ImmutableClassObject& partner);
// A single reference that holds nothing.
void expectNoPartner(const char* name, bool present, const Kelpa::ImmutableClassObject& value);
// The element or value as the kernel's reflection takes it.
template <class T>
Kelpa::Object asObject(const T& value) {
  if constexpr (std::is_base_of_v<Kelpa::detail::HandleBase, T>)
    return Kelpa::Object(value.objectPtr(), value.getDeviant());
  else
    return Kelpa::Object(value);
}
// The property of that name of a metaclass, found by reflection.
Kelpa::ImmutableProperty propertyOf(const char* qualifiedClassName, const char* name);
// A reflective read that gives the partner itself.
void expectSame(const char* name, const Kelpa::Object& read, const Kelpa::ImmutableClassObject& partner);
// A partner's count raised by one by a set (or lowered by one by a remove: step -1).
void expectCounted(const char* name, int before, int after, int step);

// A stored sequence: its two views hold the same values, in order.
template <class T>
void expectSequence(const char* name, const Kelpa::Sequence<T>& all,
                    const Kelpa::Sequence<T>& stored, std::initializer_list<T> expected) {
  ASSERT_EQ(all.size(), static_cast<int>(expected.size())) << name;
  ASSERT_EQ(stored.size(), all.size()) << name;
  int i = 0;
  for (const T& value : expected) {
    EXPECT_TRUE(all[i] == value) << name << " at " << i;
    EXPECT_TRUE(stored[i] == value) << name << " at " << i;
    ++i;
  }
}

// Appends first, second and first again (refused as a repeat).
template <class T>
void fillSequence(Kelpa::Sequence<T> all, const T& first, const T& second) {
  all.push_back(first);
  all.push_back(second);
  all.push_back(first);
}

// The object x seen as the interface `to` through the class table: at the address
// expected (or, with none given, at another address than x's own), the same object (back
// to x's own interface), answering through its own table as x does, and what a visitor
// with a method for `to` alone is given.
void expectCastTo(const Kelpa::ImmutableClassObject& x, const CV::ClassInfo& own,
                  const CV::ClassInfo& to, const char* name,
                  const Kelpa::ReferenceCountingIntf* expected);

}  // namespace zorbel::sweep
