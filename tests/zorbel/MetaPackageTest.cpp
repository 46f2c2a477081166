// The package "zorbel" as built at load: its types in the order of construction, the
// table by type id, resolved types and opposites, and the metaclass of elements.
#include <gtest/gtest.h>

#include "../support/Failure.h"

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

#include <Kelpa/Meta.h>
#include <zorbel/Initialize.h>
#include <zorbel/MetaPackage.h>
#include <zorbel/zorbel.h>

namespace {

using Kelpa::NSInterface::ClassIntf;
using Kelpa::NSInterface::PropertyIntf;
using Kelpa::NSInterface::TypeIntf;

const Kelpa::NSInterface::PackageIntf& package() {
  const Kelpa::Package p = Kelpa::DomainRegistry::instance().findPackage("zorbel");
  EXPECT_FALSE(p.isNull());
  return *p.get();
}

const ClassIntf& metaclass(const char* name) {
  const auto* cls = dynamic_cast<const ClassIntf*>(package().findType(name));
  EXPECT_NE(cls, nullptr) << name;
  return *cls;
}

TEST(MetaPackage, HoldsEveryTypeInTheOrderOfConstruction) {
  const auto& p = package();
  EXPECT_EQ(p.getUri().ustr(), u"kelpa:zorbel");
  const auto& types = p.getOwnedTypes();
  ASSERT_EQ(types.size(), 8u + 4u + 167u);
  EXPECT_EQ(types[0]->getName(), "MessageSort");
  EXPECT_EQ(types[7]->getName(), "AggregationKind");
  EXPECT_EQ(types[8]->getName(), "UnlimitedNatural");
  EXPECT_EQ(types[11]->getName(), "Integer");
  EXPECT_EQ(types[12]->getName(), "Element");
  EXPECT_EQ(types[13]->getName(), "NamedElement");
  EXPECT_EQ(types.back()->getName(), "Factory");
  EXPECT_EQ(std::string(types[12]->kind()), "Class");
  EXPECT_EQ(std::string(types[0]->kind()), "Enumeration");
  EXPECT_EQ(std::string(types[8]->kind()), "PrimitiveType");
  EXPECT_EQ(p.findType("zorbel.Comment"), p.findType("Comment"));

  const auto* kind = dynamic_cast<const Kelpa::NSInterface::EnumerationIntf*>(p.findType("ParameterDirectionKind"));
  ASSERT_NE(kind, nullptr);
  ASSERT_EQ(kind->getLiterals().size(), 4u);
  EXPECT_EQ(kind->getLiterals()[3]->getName(), "return");
  EXPECT_EQ(kind->getLiterals()[3]->getValue(), 3);
}

TEST(MetaPackage, TableByTypeIdNamesEachTypeAndItsProperties) {
  const Kelpa::PackageIntrospectiveMethods* table = zorbel::get_zorbel_PackageIntrospectiveMethods();
  ASSERT_EQ(table, &zorbel::sPackageIntrospectiveMethods);
  ASSERT_EQ(table->count, 181u);
  EXPECT_EQ(table->types[0], nullptr);
  EXPECT_EQ(table->types[180], nullptr);
  EXPECT_EQ(zorbel::get_Kelpa_PackageIntrospectiveMethods(), Kelpa::getKelpaPackageIntrospectiveMethods());
  std::set<const TypeIntf*> seen;
  for (unsigned id = 1; id < 180; ++id) {
    ASSERT_NE(table->types[id], nullptr) << id;
    ASSERT_NE(table->types[id]->metaclass, nullptr) << id;
    seen.insert(table->types[id]->metaclass);
  }
  EXPECT_EQ(seen.size(), 179u);
  EXPECT_EQ(table->types[9]->metaclass->getName(), "Comment");
  EXPECT_EQ(table->types[4]->metaclass->getName(), "Integer");
  EXPECT_EQ(table->types[47]->metaclass->getName(), "AggregationKind");

  // Comment (id 9): body at 1 and annotatedElement at 2, entry 0 empty, Element its parent.
  const Kelpa::IntrospectiveMethods& comment = *table->types[9];
  EXPECT_EQ(comment.properties[0], nullptr);
  EXPECT_STREQ(comment.properties[1]->name, "body");
  EXPECT_EQ(comment.properties[1]->index, 1u);
  EXPECT_STREQ(comment.properties[2]->name, "annotatedElement");
  EXPECT_EQ(comment.properties[2]->upper, -1);
  EXPECT_NE(comment.properties[2]->flags & Kelpa::MetaFlag::multi, 0u);
  EXPECT_EQ(comment.parents[0].id, 8u);
  EXPECT_EQ(comment.parents[1].package, nullptr);
  EXPECT_EQ(comment.package, &zorbel::sPackageIntrospectiveMethods);
  EXPECT_EQ(comment.metaclass, zorbel::ImmutableComment::MetaClass().get());

  // Element's parent is the kernel's ClassObject, Factory's the kernel's FactoryObject.
  EXPECT_EQ(table->types[8]->parents[0].package(), Kelpa::getKelpaPackageIntrospectiveMethods());
  EXPECT_EQ(table->types[8]->parents[0].id, 13u);
  const Kelpa::IntrospectiveMethods& factory = *table->types[179];
  EXPECT_EQ(factory.parents[0].id, 23u);
  EXPECT_EQ(factory.properties[0], nullptr);
  EXPECT_EQ(metaclass("Factory").getOwnedProperties().size(), 0u);
  EXPECT_EQ(metaclass("Factory").getSuperClasses()[0]->getName(), "FactoryObject");
}

TEST(MetaPackage, UpdateResolvesEveryTypeOppositeAndBase) {
  int opposites = 0;
  for (const TypeIntf* type : package().getOwnedTypes()) {
    const auto* cls = dynamic_cast<const ClassIntf*>(type);
    if (!cls) continue;
    EXPECT_TRUE(cls->isUpdated()) << cls->getName();
    EXPECT_FALSE(cls->getSuperClasses().empty()) << cls->getName();
    for (const PropertyIntf* p : cls->getOwnedProperties()) {
      EXPECT_NE(p->getType(), nullptr) << cls->getName() << "." << p->getName();
      if (!p->descriptor().hasOpposite) continue;
      ++opposites;
      const PropertyIntf* other = p->getOpposite();
      ASSERT_NE(other, nullptr) << cls->getName() << "." << p->getName();
      EXPECT_EQ(other->getAssociationName() ? std::string(other->getAssociationName()) : "",
                std::string(p->getAssociationName()))
          << cls->getName() << "." << p->getName();
    }
  }
  EXPECT_EQ(opposites, 94);  // navigable ends with a navigable other end

  const ClassIntf& property = metaclass("Property");
  EXPECT_EQ(property.findProperty("name")->getOwner()->getName(), "NamedElement");
  EXPECT_EQ(property.findProperty("isDerived")->getOwner()->getName(), "Property");
  EXPECT_EQ(property.findProperty("isDerived")->getType()->getName(), "Boolean");
  EXPECT_EQ(std::string(property.findProperty("aggregation")->getDefault()), "none");
  // A name finds the most specific property, whatever the order of the bases.
  EXPECT_EQ(metaclass("LiteralString").findProperty("visibility")->getOwner()->getName(), "PackageableElement");
  EXPECT_EQ(metaclass("DurationInterval").findProperty("min")->getOwner()->getName(), "DurationInterval");
  EXPECT_TRUE(property.conformsTo(&metaclass("TypedElement")));
  EXPECT_FALSE(property.conformsTo(&metaclass("Classifier")));
}

TEST(MetaPackage, InitializingAgainChangesNothing) {
  const Kelpa::NSInterface::PackageIntf* before = &package();
  const ClassIntf* comment = zorbel::ImmutableComment::MetaClass().get();
  const std::size_t names = Kelpa::TypeInfoRegistry::size();
  EXPECT_TRUE(zorbel::initialize());
  EXPECT_EQ(&package(), before);
  EXPECT_EQ(zorbel::ImmutableComment::MetaClass().get(), comment);
  EXPECT_EQ(before->getOwnedTypes().size(), 179u);
  EXPECT_EQ(Kelpa::TypeInfoRegistry::size(), names);
}

// A call through a null package or factory handle fails at the meta package header.
TEST(MetaPackage, NullPackageAndFactoryHandlesFailAtTheMetaPackageHeader) {
  const std::string expected =
      "Assertion failed: Cannot access NULL ref. Use isValid() before calling methods at "
      "kelpa/Kelpa/MPackage_h:86: ";
  EXPECT_EQ(testsupport::failureOf([] { (void)Kelpa::Package()->getName(); }), expected);
  EXPECT_EQ(testsupport::failureOf([] { (void)Kelpa::Factory()->createPackage(Kelpa::Deviant()); }),
            expected);
}

TEST(MetaPackage, ElementsAnswerTheirMetaclass) {
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  const zorbel::Class cls = zorbel::Class::create(model);
  const Kelpa::ImmutableClass meta = cls->getMetaClass();
  EXPECT_EQ(meta.get(), &metaclass("Class"));
  EXPECT_EQ(zorbel::ImmutableClass::MetaClass().get(), meta.get());
  EXPECT_EQ(zorbel::ImmutableNamedElement::MetaClass()->getName(), "NamedElement");
  EXPECT_EQ(zorbel::ImmutableComment::MetaClass()->getQualifiedName(), "zorbel.Comment");
  model->destroyModel();
}

}  // namespace

namespace {

// Registers a second time in the child; lives, as the library's own does, until the
// process ends.
const zorbel::InitializerClass* gRegisteredAgain = nullptr;

// The registration's destructor is never run by the library; run here in a child process,
// it takes back every name and the whole meta package.
int tearDownRegistration() {
  const std::size_t before = Kelpa::TypeInfoRegistry::size();
  delete new zorbel::InitializerClass();
  int failures = 0;
  const auto check = [&](bool ok, const char* what) {
    if (!ok) {
      std::fprintf(stderr, "not undone: %s\n", what);
      ++failures;
    }
  };
  check(Kelpa::TypeInfoRegistry::size() == before - 1397, "the 1,397 names");
  check(Kelpa::TypeInfoRegistry::getMetaType("zorbel.Integer").isNull(), "the meta type zorbel.Integer");
  check(Kelpa::DomainRegistry::instance().findPackage("zorbel").isNull(), "the package");
  check(zorbel::ImmutableComment::MetaClass().isNull(), "the metaclass slots");
  check(zorbel::sPackageIntrospectiveMethods.types[9]->metaclass == nullptr, "the records' metaclasses");
  bool boxed = true;
  try {
    const Kelpa::Object value = zorbel::Integer(1);
  } catch (const Kelpa::Exception&) {
    boxed = false;
  }
  check(!boxed, "boxing of an unregistered value type");

  // Registering again brings every name, the package and boxing back.
  gRegisteredAgain = new zorbel::InitializerClass();
  check(Kelpa::TypeInfoRegistry::size() == before, "the names registered again");
  check(!Kelpa::DomainRegistry::instance().findPackage("zorbel").isNull(), "the package again");
  check(zorbel::Integer(Kelpa::Object(zorbel::Integer(1))) == 1, "boxing again");
  return failures;
}

TEST(MetaPackageDeathTest, RegistrationIsUndoneExactly) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(tearDownRegistration()), ::testing::ExitedWithCode(0), "");
}

}  // namespace
