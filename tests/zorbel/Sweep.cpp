#include "Sweep.h"

namespace zorbel::sweep {

void expectPartner(const char* name, bool present, const Kelpa::ImmutableClassObject& value,
                   const Kelpa::ImmutableClassObject& partner) {
  EXPECT_TRUE(present) << name;
  EXPECT_EQ(value.objectPtr(), partner.objectPtr()) << name;
  EXPECT_EQ(value.getDeviant(), partner.getDeviant()) << name;
}

void expectNoPartner(const char* name, bool present, const Kelpa::ImmutableClassObject& value) {
  EXPECT_FALSE(present) << name;
  EXPECT_TRUE(value.isNull()) << name;
}

Kelpa::ImmutableProperty propertyOf(const char* qualifiedClassName, const char* name) {
  const Kelpa::Type type = Kelpa::DomainRegistry::instance().findType(qualifiedClassName);
  const auto* cls = Kelpa::detail::castTo<Kelpa::NSInterface::ClassIntf>(type.get());
  const Kelpa::NSInterface::PropertyIntf* p = cls ? cls->findProperty(name) : nullptr;
  EXPECT_NE(p, nullptr) << qualifiedClassName << "." << name;
  EXPECT_EQ(p ? p->getOwner() : nullptr, cls) << qualifiedClassName << "." << name;
  return Kelpa::ImmutableProperty(p, type.getDeviant());
}

void expectSame(const char* name, const Kelpa::Object& read, const Kelpa::ImmutableClassObject& partner) {
  EXPECT_EQ(Kelpa::detail::castTo<Kelpa::NSInterface::ClassObjectIntf>(read.get()),
            Kelpa::detail::castTo<Kelpa::NSInterface::ClassObjectIntf>(partner.get()))
      << name;
}

void expectCounted(const char* name, int before, int after, int step) {
  EXPECT_EQ(after, before + step) << name << ": the state counts its partner once";
}

void expectCastTo(const Kelpa::ImmutableClassObject& x, const CV::ClassInfo& own,
                  const CV::ClassInfo& to, const char* name,
                  const Kelpa::ReferenceCountingIntf* expected) {
  Kelpa::ReferenceCountingIntf* viewed = x->cast(to);
  ASSERT_NE(viewed, nullptr) << name;
  if (expected)
    EXPECT_EQ(viewed, expected) << name;
  else
    EXPECT_NE(viewed, x->cast(own)) << name << ": a further base is elsewhere in the object";
  EXPECT_EQ(viewed->cast(own), x->cast(own)) << name;
  EXPECT_EQ(viewed->numRef(), x->numRef()) << name;

  CV::LightVector<CV::LightVector<unsigned long>> table(to.domain + 1);
  table[to.domain].resize(to.cls + 1);
  table[to.domain][to.cls] = 7;
  const Kelpa::VisitMethod method = x->getVisitMethod(table);
  EXPECT_EQ(method.method, 7u) << name;
  EXPECT_EQ(method.object, viewed) << name;
}

}  // namespace zorbel::sweep
