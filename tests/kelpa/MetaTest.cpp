#include <gtest/gtest.h>

#include <Kelpa/Meta.h>

#include "../support/Failure.h"
#include "TestElement.h"

using Kelpa::Deviant;
using test::Note;
using testsupport::failureAt;

namespace {

class KelpaMeta : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    Kelpa::initialize();
    test::registerNoteMeta();
  }
  void TearDown() override { model->destroyModel(); }
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Deviant root = model.getDeviant();
};

TEST_F(KelpaMeta, RegistryDescribesClassesWithOwnAndInheritedProperties) {
  auto& registry = Kelpa::DomainRegistry::instance();
  const auto* note =
      Kelpa::detail::castTo<Kelpa::NSInterface::ClassIntf>(registry.findType("test.Note").get());
  ASSERT_NE(note, nullptr);
  EXPECT_EQ(note->getQualifiedName(), "test.Note");
  ASSERT_EQ(note->getSuperClasses().size(), 1u);
  EXPECT_EQ(note->getSuperClasses()[0]->getQualifiedName(), "Kelpa.ClassObject");
  EXPECT_EQ(note->getOwnedProperties().size(), 3u);
  EXPECT_EQ(note->getAllProperties().size(), 8u);  // own three, then ClassObject's five

  const auto* weight = note->findProperty("weight");
  ASSERT_NE(weight, nullptr);
  EXPECT_EQ(weight->getIndex(), 1u);
  EXPECT_EQ(weight->getType()->getQualifiedName(), "test.Integer");
  EXPECT_FALSE(weight->isMultiValued());
  const auto* links = note->findProperty("links");
  EXPECT_TRUE(links->isMultiValued());
  EXPECT_EQ(links->getUpper(), -1);
  EXPECT_EQ(links->getType(), note);
  const auto* container = note->findProperty("container");
  ASSERT_NE(container, nullptr);
  EXPECT_EQ(container->getIndex(), 3u);
  EXPECT_EQ(container->getOwner()->getName(), "ClassObject");
  EXPECT_EQ(note->findProperty("nothing"), nullptr);
  EXPECT_TRUE(registry.findType("test.Nothing").isNull());
  EXPECT_TRUE(note->conformsTo(note->getSuperClasses()[0]));
}

TEST(KelpaMetaPackages, NestedPackagesGoWithTheirOwner) {
  const Kelpa::DomainRegistry& registry = Kelpa::DomainRegistry::instance();
  const Kelpa::Factory factory = registry.getMetaRegistryFactory();
  const Deviant d = factory.getDeviant();
  Kelpa::NSInterface::PackageIntf* outer = factory->createPackage(d);
  outer->setName("test.outer");
  Kelpa::NSInterface::PackageIntf* inner = factory->createPackage(d);
  inner->setName("test.inner");
  inner->setOwningPackage(outer);
  Kelpa::NSInterface::PackageIntf* innermost = factory->createPackage(d);
  innermost->setName("test.innermost");
  innermost->setOwningPackage(inner);
  EXPECT_EQ(outer->getNestedPackages().size(), 1u);
  EXPECT_EQ(registry.findPackage("test.innermost").get(), innermost);

  inner->setOwningPackage(nullptr);  // taken out, and back in
  EXPECT_TRUE(outer->getNestedPackages().empty());
  inner->setOwningPackage(outer);
  outer->destroy(d);
  EXPECT_TRUE(registry.findPackage("test.outer").isNull());
  EXPECT_TRUE(registry.findPackage("test.inner").isNull());
  EXPECT_TRUE(registry.findPackage("test.innermost").isNull());
}

TEST_F(KelpaMeta, MetaTypesAreRegisteredByNameAndTakenBack) {
  const auto type = Kelpa::DomainRegistry::instance().findType("test.Integer");
  const Kelpa::ImmutableDataType dataType(static_cast<const Kelpa::ImmutableObject&>(type));
  ASSERT_FALSE(dataType.isNull());
  Kelpa::TypeInfoRegistry::registerMetaType("test.Integer", Kelpa::Integer::getTypeInfo(),
                                            dataType);
  EXPECT_EQ(Kelpa::TypeInfoRegistry::getMetaType("test.Integer").get(), type.get());
  EXPECT_TRUE(Kelpa::ValueObjectFactory::isValueObjectType("test.Integer"));
  Kelpa::TypeInfoRegistry::unregisterMetaType("test.Integer");
  EXPECT_TRUE(Kelpa::TypeInfoRegistry::getMetaType("test.Integer").isNull());
  EXPECT_FALSE(Kelpa::ValueObjectFactory::isValueObjectType("test.Integer"));
}

TEST_F(KelpaMeta, ReflectionReadsAndWritesThroughTheDeclaringRecord) {
  Note n = Note::create(model);
  ASSERT_EQ(n->getMetaClass()->getName(), "Note");
  EXPECT_FALSE(Kelpa::has(n, "weight"));
  Kelpa::setOrAdd(n, "weight", Kelpa::Integer(7));
  EXPECT_TRUE(Kelpa::has(n, "weight"));
  EXPECT_EQ(n->getWeight(root).getValue(), 7);  // the typed accessor sees the write
  EXPECT_EQ(Tovi::any_cast<Kelpa::Integer>(*Kelpa::valueOf(Kelpa::get(n, "weight"))).getValue(), 7);
  Kelpa::remove(n, "weight");
  EXPECT_FALSE(n->hasWeight(root));

  // A multi-valued property reads as a sequence that can be changed.
  Note other = Note::create(model);
  Kelpa::Sequence<Kelpa::Object> links = Kelpa::asSequence(Kelpa::get(n, "links"));
  links.push_back(other);
  Kelpa::setOrAdd(n, "links", n);
  EXPECT_EQ(n->getLinks(root).size(), 2);
  EXPECT_TRUE(Kelpa::has(n, "links"));
  Kelpa::remove(n, "links", other);
  EXPECT_EQ(n->getLinks(root).size(), 1);

  // Inherited properties go to the kernel's own record.
  Kelpa::setOrAdd(n, "externalId", Kelpa::String("ext"));
  EXPECT_EQ(n->getExternalId(root).str(), "ext");

  // By a held property, as by name.
  const Kelpa::ImmutableProperty weight(n->getMetaClass()->findProperty("weight"), root);
  Kelpa::setOrAdd(n, weight, Kelpa::Integer(9));
  EXPECT_TRUE(Kelpa::has(n, weight));
}

TEST_F(KelpaMeta, BadNamesValuesAndWritesAreRefusedAndChangeNothing) {
  Note n = Note::create(model);
  n->setWeight(root, 1);
  EXPECT_EQ(failureAt([&] { Kelpa::get(n, "nope"); }),
            "Assertion failed: no property test.Note.nope at kelpa/kernel/meta/Reflection:");
  // A value of another type: the record's conversion raises, and reflection lets it through.
  EXPECT_THROW(Kelpa::setOrAdd(n, "weight", Kelpa::String("heavy")), Tovi::bad_any_cast);
  EXPECT_THROW(n->setOrAdd(root, Kelpa::String("weight"), Kelpa::String("heavy")),
               Tovi::bad_any_cast);
  // A derived property is written through the record like any other: this record ignores it.
  n->setOrAdd(root, Kelpa::String("total"), Kelpa::Integer(3));
  EXPECT_EQ(n->getWeight(root).getValue(), 1);
}

}  // namespace
