// The kernel's interface as the library and its clients call it: every class and
// operation by its name and arguments. The requirements below are checked when this file
// compiles, so that a missing or renamed operation breaks the build; the test then calls a
// sample of them on a live model.
#include <gtest/gtest.h>

#include <vector>

#include <Kelpa/Asserter.h>
#include <Kelpa/Cleanup.h>
#include <Kelpa/GenericSequences.h>
#include <Kelpa/Meta.h>
#include <Kelpa/Model.h>
#include <Tovi/EnumType.h>
#include <Tovi/Error.h>
#include <Tovi/ModuleObject.h>
#include <Tovi/Strings.h>
#include <zorbel/zorbel.h>

namespace {

using Kelpa::Deviant;
using Kelpa::Object;
using Kelpa::NSInterface::ClassObjectIntf;
using Kelpa::NSInterface::ObjectIntf;
using Property = Kelpa::ImmutableProperty;
using KString = Kelpa::String;

template <class D>
concept DeviantInterface = requires(const D d, D w, const ClassObjectIntf* o, ObjectIntf* s,
                                    std::vector<D>& all, const Kelpa::IntrospectiveMethods* m) {
  { d.getDeviantId() } -> std::same_as<unsigned int>;
  { d.isValid() } -> std::same_as<bool>;
  { d.getRootDeviant() } -> std::same_as<D>;
  { d.getStateOfObject(o) } -> std::same_as<ObjectIntf*>;
  w.setStateOfObject(o, s);
  { d.getSavedOldStateOfObject(o) } -> std::same_as<ObjectIntf*>;
  w.saveOldStateOfObject(o, s);
  { d.isWithinTransaction() } -> std::same_as<bool>;
  { d.hasUndoStack() } -> std::same_as<bool>;
  d.getAllDeviants(all);
  w.addObjectToModel(const_cast<ClassObjectIntf*>(o));
  w.markObjectCreated(o);
  w.removeObjectFromModel(const_cast<ClassObjectIntf*>(o));
  w.setOrAddReferred(d, m, 1u);
  w.removeReferred(d, m, 1u);
  { w.isInDifferentModel(d, m, 1u) } -> std::same_as<bool>;
  D::InvalidObject;
  D::FallbackToRoot;
  D::ModelDestroyed;
};
static_assert(DeviantInterface<Deviant>);

template <class A>
concept AssertionsInterface = requires(const A a, const ObjectIntf* o, const ClassObjectIntf* c) {
  { A::sAssertionsEnabled } -> std::convertible_to<bool>;
  { A::enableAssertions(true) } -> std::same_as<bool>;
  a.internal_assertWritable(o);
  a.assertObjectNotPresentInDeviant(c);
};
static_assert(AssertionsInterface<Kelpa::DeviantAssertions>);

// The operations every element answers, with the kernel's bodies where it has them.
template <class C>
concept ClassObjectInterface = requires(C c, const C cc, Deviant d, ObjectIntf* s, const KString& n,
                                        const Property& p, const Object& v,
                                        const Kelpa::ExternalToolInfo& info, const Kelpa::Model& m,
                                        const Kelpa::ClassObject& container) {
  c.destroyLinks(d);
  c.destroyObject(d, true);
  c.destroy(d);
  { cc.deviant_isValid(d) } -> std::same_as<bool>;
  c.deviant_destroyState(s);
  c.deviant_markModelDestroyed();
  c.deviant_commitTransientState(d);
  { c.deviant_getCopyOfDeviation(d) } -> std::same_as<ObjectIntf*>;
  { cc.internal_getDeviation(d) } -> std::same_as<ObjectIntf*>;
  c.internal_setDeviation(d, s);
  { c.internal_createDeviation(d) } -> std::same_as<ObjectIntf*>;
  c.internal_destroyDeviation(d);
  c.internal_deviationAssign(d, s, d);
  { cc.getRootDeviant() } -> std::same_as<Deviant>;
  { cc.getRuvoName(true) } -> std::same_as<std::string>;
  { cc.toString(d) } -> std::same_as<KString>;
  { c.getEmptyValue() } -> std::same_as<Object>;
  { cc.getMetaType(d) } -> std::same_as<Kelpa::Type>;
  { cc.getMetaClass() } -> std::same_as<Kelpa::ImmutableClass>;
  { cc.getExternalToolInfo(d, n) } -> std::same_as<Kelpa::ExternalToolInfo>;
  c.setExternalToolInfo(d, info);
  c.removeExternalToolInfo(d, info);
  { cc.get(d, n) } -> std::same_as<Object>;
  { cc.get(d, p) } -> std::same_as<Object>;
  { cc.getOne(d, n) } -> std::same_as<Object>;
  { cc.getOne(d, p) } -> std::same_as<Object>;
  { cc.has(d, n) } -> std::same_as<bool>;
  { cc.has(d, p) } -> std::same_as<bool>;
  c.setOrAdd(d, n, v);
  c.setOrAdd(d, p, v);
  c.setOrAddOnly(d, n, v);
  c.setOrAddOnly(d, p, v);
  c.remove(d, n, v);
  c.remove(d, p, v);
  c.remove(d, n);
  c.remove(d, p);
  c.removeOnly(d, n, v);
  c.removeOnly(d, p, v);
  c.removeOne(d, n);
  c.removeOne(d, p);
  c.removeOneOnly(d, n);
  c.removeOneOnly(d, p);
  { cc.hasId() } -> std::same_as<bool>;
  c.removeId();
  c.setId(Kelpa::Integer(1));
  { cc.getId() } -> std::same_as<Kelpa::Integer>;
  c.getContaineeKelpas(d);
  cc.getContaineeKelpasWithoutAssociation(d);
  { cc.hasUri(d) } -> std::same_as<bool>;
  c.removeUri(d);
  c.setUri(d, n);
  { cc.getUri(d) } -> std::same_as<KString>;
  { cc.hasAppliedStereotypeInstances(d) } -> std::same_as<bool>;
  c.getAppliedStereotypeInstances(d);
  cc.getAppliedStereotypeInstancesWithoutAssociation(d);
  { cc.hasModelKelpa(d) } -> std::same_as<bool>;
  c.removeModelKelpa(d);
  c.setModelKelpa(d, m);
  { cc.getModelKelpa(d) } -> std::same_as<Kelpa::Model>;
  c.removeOnlyModelKelpa(d);
  c.setOnlyModelKelpa(d, m);
  { cc.hasContainerKelpa(d) } -> std::same_as<bool>;
  c.removeContainerKelpa(d);
  c.setContainerKelpa(d, container);
  { cc.getContainerKelpa(d) } -> std::same_as<Kelpa::ClassObject>;
  c.removeOnlyContainerKelpa(d);
  c.setOnlyContainerKelpa(d, container);
  { cc.hasRootModel(d) } -> std::same_as<bool>;
  c.removeRootModel(d);
  { cc.getRootModel(d) } -> std::same_as<Kelpa::Model>;
  c.removeOnlyRootModel(d);
  { cc.hasExternalId(d) } -> std::same_as<bool>;
  c.removeExternalId(d);
  c.setExternalId(d, n);
  { cc.getExternalId(d) } -> std::same_as<KString>;
  { cc.hasExternalToolInfos(d) } -> std::same_as<bool>;
  c.getExternalToolInfos(d);
  cc.getExternalToolInfosWithoutAssociation(d);
  C::externalId_sparse();
  C::externalToolInfo_sparse();
  C::appliedStereotypeInstance_sparse();
  C::sIntrospectiveMethods;
};
static_assert(ClassObjectInterface<ClassObjectIntf>);
// The interfaces with several bases forward every kernel operation to one body.
static_assert(ClassObjectInterface<zorbel::NSInterface::PropertyIntf>);
static_assert(ClassObjectInterface<zorbel::NSInterface::ClassIntf>);
static_assert(ClassObjectInterface<zorbel::NSInterface::AssociationIntf>);
static_assert(ClassObjectInterface<zorbel::NSInterface::CommentIntf>);

template <class F>
concept FactoryObjectInterface = requires(F f, Deviant d, const KString& n) {
  { f.createFromString(d, n) } -> std::same_as<Object>;
  { f.createFromString(d, n, n) } -> std::same_as<Object>;
  { f.createFromString(d, n, Kelpa::Integer(1)) } -> std::same_as<Object>;
};
static_assert(FactoryObjectInterface<Kelpa::NSInterface::FactoryObjectIntf>);
static_assert(FactoryObjectInterface<zorbel::NSInterface::FactoryIntf>);

template <class M>
concept ModelInterface = requires(M m, Deviant d, const Kelpa::ClassObject& o) {
  { m.nextObjectId(d) } -> std::same_as<Kelpa::Integer>;
  m.bindObjectId(d, o, Kelpa::Integer(1));
  m.getRootObjects(d);
  m.getTopPackages(d);
  { m.getRootDeviant() } -> std::same_as<Deviant>;
};
static_assert(ModelInterface<Kelpa::NSInterface::ModelIntf>);

// The kernel's services by their names.
static_assert(requires(const Kelpa::Model& m, const std::u16string& uri) {
  { Kelpa::NSInterface::FactoryIntf::createNewModel() } -> std::same_as<Kelpa::Model>;
  Kelpa::Transaction(m);
  &Kelpa::Transaction::commit;
  { Kelpa::ModelCache::instance() } -> std::same_as<Kelpa::ModelCache&>;
  { Kelpa::ModelCache::UNTITLED } -> std::convertible_to<std::u16string>;
  { Kelpa::ModelCache::instance().getNextAvailableModelUri(uri) } -> std::same_as<std::u16string>;
  Kelpa::ModelCache::instance().bindModel(uri, m);
  Kelpa::DomainRegistry::instance().getMetaRegistry();
  Kelpa::DomainRegistry::instance().getMetaRegistryFactory();
  { Kelpa::DomainRegistry::instance().getDomainCanonicalUri(KString("x")) } -> std::same_as<std::u16string>;
  Kelpa::ClipboardManager::instance().clear();
  Kelpa::DeviantRegistry::retract(nullptr);
  Kelpa::Cleanup::beginMetaRegistrySection();
  Kelpa::Cleanup::endMetaRegistrySection();
  Kelpa::Cager();
  Kelpa::Asserter::Make<Kelpa::Exception>(true, "%s", "").handle("f", 1, "");
  Kelpa::Asserter::MakeAlways<Kelpa::UnImplementedException>("%s", "");
  { Kelpa::ValueObjectFactory::isValueObjectType("zorbel.Integer") } -> std::same_as<bool>;
  Kelpa::ValueObjectFactory::create("zorbel.Integer");
  Kelpa::ValueObjectFactory::createFromString("zorbel.Integer", KString("1"));
  Kelpa::TypeInfoRegistry::getMetaType("zorbel.Integer");
  Kelpa::util::UTF8ToUString("x");
  { KString::to_string(uri) } -> std::same_as<std::string>;
  Kelpa::Generic::GenericNullSequence::getSingleton();
  Kelpa::initialize();
  Tovi::ErrorHolder().hasError();
  Tovi::ConvertStdStringToToviString(std::string());
});

TEST(KernelInterface, ASampleOfTheOperationsOnALiveModel) {
  Kelpa::Model model = zorbel::NSInterface::FactoryIntf::createNewModel();
  const Deviant root = model.getDeviant();
  EXPECT_EQ(root.getDeviantId(), 0u);
  EXPECT_EQ(root.getRootDeviant(), root);
  EXPECT_FALSE(model->getUri(root).empty());
  const zorbel::Comment note = zorbel::Comment::create(model);
  const ClassObjectIntf* asElement = Kelpa::primary_cast<ClassObjectIntf>(note.get());
  EXPECT_EQ(asElement->getMetaType(root)->getName(), "Comment");
  EXPECT_EQ(note->getRootDeviant(), root);
  EXPECT_EQ(note->getRuvoName(true), "zorbel.ImmutableComment");
  std::vector<Deviant> all;
  const Deviant d = model->createDeviant();
  root.getAllDeviants(all);
  EXPECT_EQ(all.size(), 2u);
  EXPECT_EQ(d.getStateOfObject(asElement), nullptr);
  {
    Kelpa::Model inD = model;
    inD.setDeviant(d);
    Kelpa::Transaction t(inD);
    note->setBody(d, zorbel::String("in d"));
    EXPECT_TRUE(d.isWithinTransaction());
    EXPECT_NE(d.getStateOfObject(asElement), nullptr);
    t.commit();
  }
  EXPECT_EQ(note->getBody(root).to_string(), "");
  model->destroyModel();
  EXPECT_FALSE(note->deviant_isValid(root));

  // The meta-registry's model answers no root deviant; its handle keeps its own.
  Kelpa::Model registry = Kelpa::DomainRegistry::instance().getMetaRegistry();
  EXPECT_TRUE(registry->getRootDeviant().isNull());
  EXPECT_TRUE(registry.getDeviant().isValid());
  EXPECT_EQ(registry.getDeviant().getDeviantId(), 0u);
  Kelpa::Model copy = registry;
  copy.setDeviant(registry.getDeviant());
  EXPECT_EQ(copy.getDeviant(), registry.getDeviant());
}

}  // namespace
