// The Factory of a model: elements and values by name, its creation operations, and its
// place in the model.
#include <gtest/gtest.h>

#include <Kelpa/Meta.h>
#include <zorbel/Initialize.h>
#include <zorbel/zorbel.h>

namespace {

using Kelpa::Deviant;
using Kelpa::NSInterface::ClassIntf;
using zorbel::String;

class ZorbelFactory : public ::testing::Test {
 protected:
  void TearDown() override { model->destroyModel(); }
  Kelpa::Model model = zorbel::NSInterface::FactoryIntf::createNewModel();
  Deviant root = model.getDeviant();
  zorbel::Factory factory = zorbel::NSInterface::FactoryIntf::createNewFactory(model);
};

const ClassIntf* metaclassOf(const Kelpa::Object& o) {
  const auto* element = Kelpa::detail::castTo<Kelpa::NSInterface::ClassObjectIntf>(o.get());
  return element ? element->getMetaClass().get() : nullptr;
}

TEST_F(ZorbelFactory, LivesInItsModelWithTheModelAsContainer) {
  EXPECT_EQ(factory->getModelKelpa(root).get(), model.get());
  EXPECT_TRUE(factory->hasContainerKelpa(root));
  EXPECT_EQ(factory->getContainerKelpa(root).get(),
            static_cast<Kelpa::NSInterface::ClassObjectIntf*>(model.get()));
  EXPECT_EQ(factory->getMetaClass()->getName(), "Factory");
  EXPECT_EQ(factory->getRuvoName(false), "zorbel.Factory");
}

// A factory is an object of its model like any other: one made in a transaction that is
// abandoned is gone with it, and one made in a committed transaction stays.
TEST(ZorbelFactoryInTransaction, GoesWithAnAbandonedTransaction) {
  Kelpa::Model model = zorbel::NSInterface::FactoryIntf::createNewModel();
  const Deviant root = model.getDeviant();
  const auto rootObjects = [&] { return model->getRootObjects(root).size(); };
  const std::size_t before = rootObjects();
  const std::size_t objects = model->numberOfObjects();
  zorbel::Factory abandoned;
  {
    Kelpa::Transaction transaction(model);
    abandoned = zorbel::NSInterface::FactoryIntf::createNewFactory(model);
    ASSERT_FALSE(abandoned->createFromString(root, String("Comment")).isNull());
    transaction.abandon();
  }
  EXPECT_FALSE(abandoned->deviant_isValid(root));
  EXPECT_EQ(rootObjects(), before);
  abandoned = zorbel::Factory();  // the last handle: the object goes
  EXPECT_EQ(model->numberOfObjects(), objects);

  zorbel::Factory kept;
  {
    Kelpa::Transaction transaction(model);
    kept = zorbel::NSInterface::FactoryIntf::createNewFactory(model);
    transaction.commit();
  }
  EXPECT_TRUE(kept->deviant_isValid(root));
  EXPECT_FALSE(kept->createFromString(root, String("Class")).isNull());
  model->destroyModel();
}

TEST_F(ZorbelFactory, MakesEveryConcreteClassByPlainAndQualifiedName) {
  const Kelpa::Package package = Kelpa::DomainRegistry::instance().findPackage("zorbel");
  int made = 0;
  for (const Kelpa::NSInterface::TypeIntf* type : package->getOwnedTypes()) {
    const auto* cls = dynamic_cast<const ClassIntf*>(type);
    if (!cls || cls->isAbstract() || cls->getName() == "Factory") continue;
    for (const std::string& name : {cls->getName(), cls->getQualifiedName()}) {
      const Kelpa::Object o = factory->createFromString(root, String(name));
      ASSERT_FALSE(o.isNull()) << name;
      EXPECT_EQ(metaclassOf(o), cls) << name;
      ++made;
    }
  }
  EXPECT_EQ(made, 2 * 128);
  EXPECT_EQ(model->numberOfObjects(), 1u + 2 * 128);
}

TEST_F(ZorbelFactory, GivenIdsAreTheElementsIds) {
  const Kelpa::Object o = factory->createFromString(root, String("zorbel.Comment"), zorbel::Integer(4711));
  const zorbel::Comment c(o);
  ASSERT_FALSE(c.isNull());
  EXPECT_EQ(c->getId().getValue(), 4711);
  EXPECT_EQ(model->findObjectById(root, Kelpa::Integer(4711)).get(),
            Kelpa::primary_cast<Kelpa::NSInterface::ClassObjectIntf>(c.get()));
}

TEST_F(ZorbelFactory, MakesValuesAndAnswersNullForUnknownNames) {
  EXPECT_TRUE(factory->createFromString(root, String("Element")).isNull());  // abstract
  EXPECT_TRUE(factory->createFromString(root, String("NoSuchThing")).isNull());
  EXPECT_TRUE(factory->createFromString(root, String("comment")).isNull());  // names are exact
  // A name is the whole text: not a prefix of it, nor a name with more after a 0, nor one
  // spelt with look-alike letters, nor a known name at the head of a long text.
  EXPECT_TRUE(factory->createFromString(root, String(std::u16string(u"Comment\0x", 9))).isNull());
  EXPECT_TRUE(factory->createFromString(root, String(u"Comm\u00e9nt")).isNull());
  EXPECT_TRUE(factory->createFromString(root, String("Comment" + std::string(200, ' '))).isNull());
  EXPECT_FALSE(factory->createFromString(root, String("Comment")).isNull());
  // Names registered for the factory, sequences and iterators make nothing.
  for (const char* name : {"zorbel.Factory", "zorbel.SequenceOfComment", "zorbel.CommentIterator"})
    EXPECT_TRUE(factory->createFromString(root, String(name)).isNull()) << name;

  EXPECT_EQ(zorbel::Integer(factory->createFromString(root, String("Integer"), String("0x10"))), 16);
  EXPECT_EQ(zorbel::Integer(factory->createFromString(root, String("zorbel.Integer"))), 0);
  EXPECT_EQ(zorbel::AggregationKind(factory->createFromString(root, String("AggregationKind"), String("shared"))),
            zorbel::AggregationKind(zorbel::AggregationKind::kShared));
  EXPECT_EQ(String(factory->createFromString(root, String("String"), String("text"))), String("text"));
  // A value type the factory's table does not name is still made by the value factory.
  Kelpa::TypeInfoRegistry::registerTypeInfo("test.Number", zorbel::Integer::getTypeInfo());
  const Kelpa::Object number = factory->createFromString(root, String("test.Number"), String("7"));
  Kelpa::TypeInfoRegistry::unregisterTypeInfo("test.Number");
  ASSERT_NE(Kelpa::valueOf(number), nullptr);
  EXPECT_EQ(Tovi::any_cast<zorbel::Integer>(*Kelpa::valueOf(number)), 7);
}

// Code that holds only the kernel's view of the factory makes elements and values by name.
TEST_F(ZorbelFactory, TheKernelsFactoryHandleMakesByName) {
  const Kelpa::FactoryObject generic{Kelpa::Object(factory)};
  ASSERT_FALSE(generic.isNull());
  const Kelpa::Object made = generic->createFromString(root, Kelpa::String("Comment"));
  EXPECT_EQ(metaclassOf(made)->getName(), "Comment");
  const Kelpa::Object withId = generic->createFromString(root, Kelpa::String("Class"), Kelpa::Integer(77));
  EXPECT_EQ(Kelpa::detail::castTo<Kelpa::NSInterface::ClassObjectIntf>(withId.get())->getId().getValue(),
            77);
  const Kelpa::Object sixteen =
      generic->createFromString(root, Kelpa::String("Integer"), Kelpa::String("0x10"));
  EXPECT_EQ(zorbel::Integer(sixteen).getValue(), 16);
  EXPECT_TRUE(Kelpa::FactoryObject(Kelpa::Object(model)).isNull());  // a model makes nothing
}

// Every fresh model has a URI of its own and is found under it until it is destroyed.
TEST(ZorbelModels, AFreshModelHasAUriInTheModelCache) {
  Kelpa::Model first = zorbel::NSInterface::FactoryIntf::createNewModel();
  Kelpa::Model second = zorbel::NSInterface::FactoryIntf::createNewModel();
  const std::u16string uri(first->getUri(first.getDeviant()).ustr());
  EXPECT_EQ(uri.rfind(Kelpa::ModelCache::UNTITLED, 0), 0u);
  EXPECT_NE(uri, second->getUri(second.getDeviant()).ustr());
  Kelpa::ModelCache& cache = Kelpa::ModelCache::instance();
  EXPECT_EQ(cache.findModel(uri).get(), first.get());
  EXPECT_NE(cache.getNextAvailableModelUri(Kelpa::ModelCache::UNTITLED), uri);
  // Bound again under another URI, the model is found under both; destroyed, under none.
  cache.bindModel(u"urn:first", first);
  EXPECT_EQ(cache.findModel(u"urn:first").get(), first.get());
  first->destroyModel();
  EXPECT_TRUE(cache.findModel(uri).isNull());
  EXPECT_TRUE(cache.findModel(u"urn:first").isNull());
  second->destroyModel();

  // The clipboard holds what is put on it until it is cleared.
  Kelpa::ClipboardManagerImpl& clipboard = Kelpa::ClipboardManager::instance();
  clipboard.put(Kelpa::String("copied"));
  EXPECT_FALSE(clipboard.empty());
  clipboard.clear();
  EXPECT_TRUE(clipboard.empty());
}

TEST_F(ZorbelFactory, CreationOperationsMakeElementsOfTheModel) {
  const zorbel::Comment c = factory->createComment(root);
  ASSERT_FALSE(c.isNull());
  EXPECT_EQ(c->getModelKelpa(root).get(), model.get());
  const zorbel::InstanceSpecification instance = factory->createInstanceSpecification(root);
  const zorbel::InstanceValue value = factory->createInstanceValue(root, instance);
  EXPECT_EQ(value->getInstance(root).objectPtr(), instance.objectPtr());
}

TEST(ZorbelConfiguration, GivesTheFactoryTheMetaPackageAndModels) {
  zorbel_Configuration record{};
  zorbel_getConfiguration(&record);
  Kelpa::Model model = record.createModel();
  ASSERT_FALSE(model.isNull());
  const Kelpa::Object factory = record.createFactory(model);
  EXPECT_FALSE(zorbel::Factory(factory).isNull());
  const Kelpa::Object package = record.getMetaModel(model);
  ASSERT_FALSE(package.isNull());
  EXPECT_EQ(Kelpa::Package(package)->getName(), "zorbel");
  model->destroyModel();
}

}  // namespace
