// The kernel's own package "Kelpa" in the meta-registry: the root class ClassObject,
// whose properties every element has, FactoryObject, and the primitives they use.
#include <Kelpa/Asserter.h>

#include <Kelpa/Meta.h>
#include <cstdio>
#include <utility>

namespace Kelpa {

namespace {
using namespace NSInterface;
constexpr Where kSource{"kelpa/kernel/meta/ClassObjectMetaRegistry"};

enum : std::uint32_t { kString = 1, kExternalToolInfo = 2, kClassObject = 13, kFactoryObject = 23 };
enum : unsigned int {
  kStereotypes = 1,
  kExternalId = 2,
  kContainer = 3,
  kModel = 4,
  kToolInfos = 5
};

[[noreturn]] void illegal(const char* function, unsigned int index) {
  char text[256];
  std::snprintf(text, sizeof text, "Kelpa.ClassObject::%s on illegal property with id %u", function,
                index);
  raise(kSource, __LINE__, text);
}

Object getSingle(const ClassObjectIntf* o, Deviant d, unsigned int index) {
  switch (index) {
    case kExternalId:
      return o->getExternalId(d);
    case kContainer:
      return o->getContainerKelpa(d);
    case kModel:
      return o->getModelKelpa(d);
  }
  illegal("getSingleValued", index);
}
bool hasSingle(const ClassObjectIntf* o, Deviant d, unsigned int index) {
  switch (index) {
    case kExternalId:
      return o->hasExternalId(d);
    case kContainer:
      return o->hasContainerKelpa(d);
    case kModel:
      return o->hasModelKelpa(d);
  }
  return false;
}
void setSingle(ClassObjectIntf* o, Deviant d, unsigned int index, const Object& v) {
  Cager cage;
  switch (index) {
    case kExternalId: {
      const Tovi::any* held = valueOf(v);
      o->setExternalId(d, held ? Tovi::any_cast<String>(*held) : String());
      return;
    }
    case kContainer:
      o->setContainerKelpa(d, ClassObject(v));
      return;
  }
  illegal("setSingleValued", index);
}
void setOnlySingle(ClassObjectIntf* o, Deviant d, unsigned int index, const Object& v) {
  Cager cage;
  if (index == kContainer) return o->setOnlyContainerKelpa(d, ClassObject(v));
  illegal("setOnlySingleValued", index);
}
void removeSingle(ClassObjectIntf* o, Deviant d, unsigned int index) {
  switch (index) {
    case kExternalId:
      return o->removeExternalId(d);
    case kContainer:
      return o->removeContainerKelpa(d);
  }
  illegal("removeSingleValued", index);
}
void removeOnlySingle(ClassObjectIntf* o, Deviant d, unsigned int index) {
  if (index == kContainer) return o->removeOnlyContainerKelpa(d);
  illegal("removeOnlySingleValued", index);
}
Sequence<Object> getMulti(ClassObjectIntf* o, Deviant d, unsigned int index) {
  switch (index) {
    case kStereotypes:
      return Sequence<Object>(o->getAppliedStereotypeInstances(d).get(), d);
    case kToolInfos:
      return Sequence<Object>(o->getExternalToolInfos(d).get(), d);
  }
  return Sequence<Object>();
}
Sequence<Object> getOnlyMulti(ClassObjectIntf* o, Deviant d, unsigned int index) {
  switch (index) {
    case kStereotypes:
      return Sequence<Object>(o->getAppliedStereotypeInstancesWithoutAssociation(d).get(), d);
    case kToolInfos:
      return Sequence<Object>(o->getExternalToolInfosWithoutAssociation(d).get(), d);
  }
  return Sequence<Object>();
}

constexpr std::uint64_t kMulti = MetaFlag::unique | MetaFlag::multi | MetaFlag::ordered;

MetaPropertyDescription property(const char* name, std::uint32_t type, std::uint64_t flags,
                                 std::uint32_t lower, std::int32_t upper, std::uint32_t index,
                                 const char* doc) {
  MetaPropertyDescription p{};
  p.name = name;
  p.typePackage = &getKelpaPackageIntrospectiveMethods;
  p.typeId = type;
  p.documentation[0] = doc;
  p.flags = flags | MetaFlag::unique;
  p.defaultValue = "";
  p.lower = lower;
  p.upper = upper;
  p.index = index;
  return p;
}

MetaPropertyDescription gClassObjectProperties[] = {
    {},
    property("appliedStereotypeInstance", kClassObject, kMulti, 0, -1, kStereotypes,
             "The stereotype instances applied to the element."),
    property("externalId", kString, 0, 0, 1, kExternalId, "An id that a tool gave the element."),
    property("container", kClassObject, MetaFlag::readOnly, 0, 1, kContainer,
             "The element that contains this one."),
    property("model", kClassObject, MetaFlag::readOnly, 0, 1, kModel,
             "The model that holds the element."),
    property("externalToolInfo", kExternalToolInfo, kMulti, 0, -1, kToolInfos,
             "What external tools record about the element."),
};
MetaPropertyDescription* gClassObjectTable[] = {nullptr,
                                                &gClassObjectProperties[1],
                                                &gClassObjectProperties[2],
                                                &gClassObjectProperties[3],
                                                &gClassObjectProperties[4],
                                                &gClassObjectProperties[5]};

const TypeRef kNoParents[] = {{nullptr, 0}};
const TypeRef kFactoryObjectParents[] = {{&getKelpaPackageIntrospectiveMethods, kClassObject},
                                         {nullptr, 0}};

}  // namespace

IntrospectiveMethods NSInterface::ClassObjectIntf::sIntrospectiveMethods{
    &getSingle,        &hasSingle,        &setSingle, &setOnlySingle,
    &removeSingle,     &removeOnlySingle, &getMulti,  &getOnlyMulti,
    gClassObjectTable, kNoParents,        nullptr,    &sPackageIntrospectiveMethods};

namespace {
IntrospectiveMethods& gClassObjectMethods = NSInterface::ClassObjectIntf::sIntrospectiveMethods;
MetaPropertyDescription* gEmptyTable[] = {nullptr};
IntrospectiveMethods gFactoryObjectMethods{&getSingle,    &hasSingle,
                                           &setSingle,    &setOnlySingle,
                                           &removeSingle, &removeOnlySingle,
                                           &getMulti,     &getOnlyMulti,
                                           gEmptyTable,   kFactoryObjectParents,
                                           nullptr,       &sPackageIntrospectiveMethods};
IntrospectiveMethods gStringMethods{};
IntrospectiveMethods gToolInfoMethods{};

const IntrospectiveMethods* gKelpaTypes[kFactoryObject + 1] = {};
}  // namespace

const PackageIntrospectiveMethods sPackageIntrospectiveMethods{gKelpaTypes, kFactoryObject + 1};

const PackageIntrospectiveMethods* getKelpaPackageIntrospectiveMethods() {
  return &sPackageIntrospectiveMethods;
}

// Builds the package; run once by Kelpa::initialize.
void initializeKernelMeta() {
  gKelpaTypes[kString] = &gStringMethods;
  gKelpaTypes[kExternalToolInfo] = &gToolInfoMethods;
  gKelpaTypes[kClassObject] = &gClassObjectMethods;
  gKelpaTypes[kFactoryObject] = &gFactoryObjectMethods;

  const Factory factory = DomainRegistry::instance().getMetaRegistryFactory();
  const Deviant d = factory.getDeviant();
  const Package package(factory->createPackage(d), d);
  package->setName("Kelpa");
  package->setUri(String(DomainRegistry::instance().getDomainCanonicalUri(String("Kelpa"))));

  for (auto [record, name] :
       {std::pair{&gStringMethods, "String"}, std::pair{&gToolInfoMethods, "ExternalToolInfo"}}) {
    PrimitiveTypeIntf* primitive = factory->createPrimitiveType(d);
    primitive->setName(name);
    package->addOwnedType(primitive);
    record->metaclass = primitive;
  }
  ClassIntf* classObject = nullptr;
  ClassIntf* factoryObject = nullptr;
  staticCreateMetaClass(classObject, factory, package, gClassObjectTable, 5, "ClassObject",
                        "Kelpa.ClassObject", true, nullptr);
  gClassObjectMethods.metaclass = classObject;
  staticCreateMetaClass(factoryObject, factory, package, gEmptyTable, 0, "FactoryObject",
                        "Kelpa.FactoryObject", true, nullptr);
  gFactoryObjectMethods.metaclass = factoryObject;
  staticUpdateMeta(classObject, factory, package, gClassObjectTable, 5, "ClassObject",
                   "Kelpa.ClassObject", &gClassObjectMethods);
  staticUpdateMeta(factoryObject, factory, package, gEmptyTable, 0, "FactoryObject",
                   "Kelpa.FactoryObject", &gFactoryObjectMethods);
}

}  // namespace Kelpa
