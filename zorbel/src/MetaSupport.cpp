#include <zorbel/detail/MetaSupport.h>

#include <cstdio>
#include <string>

#include <Kelpa/Asserter.h>
#include <zorbel/String.h>

namespace zorbel::detail::meta {

namespace {
using namespace Kelpa::NSInterface;

// Binds the two cells of each property to slots of its own, and the property table.
void prepareProperties(const ClassRecord& c) {
  for (unsigned long i = 1; i <= c.count; ++i) {
    Kelpa::MetaPropertyDescription* p = c.properties[i];
    Kelpa::PropertyCell* cells = c.cells + 2 * (i - 1);
    cells[0].word = 0;
    cells[1].word = 0;
    p->first = &cells[0];
    p->second = &cells[1];
  }
}

Kelpa::Factory requireFactory(const Kelpa::Factory& factory) {
  if (factory.isNull()) Kelpa::raiseNullRef(Kelpa::kPackageHeader, 86);
  return factory;
}
}  // namespace

void createClass(const ClassRecord& c, const Kelpa::Factory& factory,
                 const Kelpa::Package& package) {
  prepareProperties(c);
  Kelpa::staticCreateMetaClass(*c.metaclass, factory, package, c.properties, c.count, c.name,
                               c.qualifiedName, c.isAbstract, c.documentation);
  c.methods->metaclass = *c.metaclass;
}

void updateClass(const ClassRecord& c, const Kelpa::Factory& factory) {
  if (*c.updated) return;
  *c.updated = true;
  for (const ClassRecord* const* base = c.bases; *base; ++base) updateClass(**base, factory);
  ClassIntf* metaclass = *c.metaclass;
  if (!metaclass) Kelpa::raiseNullRef();
  const Kelpa::Package package(metaclass->getPackage(), factory.getDeviant());
  Kelpa::staticUpdateMeta(metaclass, factory, package, c.properties, c.count, c.name,
                          c.qualifiedName, c.methods);
}

void destroyClass(const ClassRecord& c) {
  Kelpa::staticDestroyMeta(*c.metaclass, c.properties, c.count, c.name, c.qualifiedName);
  *c.metaclass = nullptr;
  c.methods->metaclass = nullptr;
}

namespace {
void createEnumeration(const EnumerationRecord& e, const Kelpa::Factory& factory,
                       const Kelpa::Package& package) {
  if (*e.meta) return;
  const Deviant d = factory.getDeviant();
  EnumerationIntf* enumeration = factory->createEnumeration(d);
  if (!enumeration) Kelpa::raiseNullRef(Kelpa::Where{"kelpa/Kelpa/Enumeration_h"}, 86);
  *e.meta = enumeration;
  e.methods->metaclass = enumeration;
  enumeration->setName(e.name);
  package->addOwnedType(enumeration);
  for (unsigned i = 0; i < e.count; ++i) {
    EnumerationLiteralIntf* literal = factory->createEnumerationLiteral(d);
    if (!literal) Kelpa::raiseNullRef(Kelpa::Where{"kelpa/Kelpa/EnumerationLiteral_h"}, 86);
    literal->setName(e.literals[i]);
    literal->setValue(Kelpa::Integer(static_cast<std::int32_t>(i)));
    enumeration->addLiteral(literal);
  }
}

void createPrimitive(const PrimitiveRecord& p, const Kelpa::Factory& factory,
                     const Kelpa::Package& package) {
  if (*p.meta) return;
  PrimitiveTypeIntf* primitive = factory->createPrimitiveType(factory.getDeviant());
  if (!primitive) Kelpa::raiseNullRef(Kelpa::Where{"kelpa/Kelpa/PrimitiveType_h"}, 86);
  *p.meta = primitive;
  p.methods->metaclass = primitive;
  primitive->setName(p.name);
  package->addOwnedType(primitive);
}
}  // namespace

void createPackage(const PackageRecord& r, const Kelpa::Factory& factory,
                   const Kelpa::Package& parent) {
  if (*r.package) return;
  const Deviant d = requireFactory(factory).getDeviant();
  PackageIntf* created = factory->createPackage(d);
  if (!created) Kelpa::raiseNullRef(Kelpa::kPackageHeader, 86);
  *r.package = created;
  created->setName(r.name);
  created->setUri(Kelpa::String(
      Kelpa::DomainRegistry::instance().getDomainCanonicalUri(Kelpa::String(r.name))));
  const Kelpa::Package package(created, d);
  if (!parent.isNull() && parent->deviant_isValid(parent.getDeviant())) {
    created->setOwningPackage(parent.get());
  } else {
    Kelpa::Model registry = Kelpa::DomainRegistry::instance().getMetaRegistry();
    if (registry.isNull()) Kelpa::raiseNullRef();
    registry->getTopPackages(d).push_back(Kelpa::ClassObject(created, d));
    created->setOnlyModelKelpa(d, registry);
  }
  for (std::size_t i = 0; i < r.enumerationCount; ++i)
    createEnumeration(*r.enumerations[i], factory, package);
  for (std::size_t i = 0; i < r.primitiveCount; ++i)
    createPrimitive(*r.primitives[i], factory, package);
  for (std::size_t i = 0; i < r.classCount; ++i) createClass(*r.classes[i], factory, package);
}

void updatePackage(const PackageRecord& r, const Kelpa::Factory& factory) {
  for (std::size_t i = 0; i < r.classCount; ++i) updateClass(*r.classes[i], factory);
}

void destroyPackage(const PackageRecord& r, const Kelpa::Factory& factory,
                    const Kelpa::Package& package) {
  (void)package;
  if (!*r.package) return;
  const Deviant d = requireFactory(factory).getDeviant();
  for (std::size_t i = 0; i < r.classCount; ++i) destroyClass(*r.classesByTypeId[i]);
  for (std::size_t i = 0; i < r.enumerationCount; ++i) {
    *r.enumerations[i]->meta = nullptr;
    r.enumerations[i]->methods->metaclass = nullptr;
  }
  for (std::size_t i = 0; i < r.primitiveCount; ++i) {
    *r.primitives[i]->meta = nullptr;
    r.primitives[i]->methods->metaclass = nullptr;
  }
  // No handle may outlive the package: destroy deletes it.
  PackageIntf* own = *r.package;
  *r.package = nullptr;
  own->destroy(d);
}

PackageIntf** initializePackage(const PackageRecord& r) {
  Kelpa::Model registry = Kelpa::DomainRegistry::instance().getMetaRegistry();
  if (registry.isNull()) Kelpa::raiseNullRef();
  const Kelpa::Factory factory = Kelpa::DomainRegistry::instance().getMetaRegistryFactory();
  if (!*r.package) createPackage(r, factory, Kelpa::Package());
  updatePackage(r, factory);
  return r.package;
}

void terminatePackage(const PackageRecord& r) {
  Kelpa::Model registry = Kelpa::DomainRegistry::instance().getMetaRegistry();
  if (registry.isNull()) Kelpa::raiseNullRef();
  const Kelpa::Factory factory = Kelpa::DomainRegistry::instance().getMetaRegistryFactory();
  if (*r.package) destroyPackage(r, factory, Kelpa::Package());
}

void raiseIllegalObject(const char* path) {
  Kelpa::raise(Kelpa::Where{path}, __LINE__, "illegal object");
}

namespace {
const char* functionName(Function f) {
  switch (f) {
    case Function::getSingleValued: return "getSingleValued";
    case Function::hasSingleValued: return "hasSingleValued";
    case Function::setSingleValued: return "setSingleValued";
    case Function::setOnlySingleValued: return "setOnlySingleValued";
    case Function::removeSingleValued: return "removeSingleValued";
    case Function::removeOnlySingleValued: return "removeOnlySingleValued";
    case Function::getMultiValued: return "getMultiValued";
    case Function::getOnlyMultiValued: return "getOnlyMultiValued";
  }
  return "";
}
}  // namespace

void raiseIllegalProperty(const char* path, const char* typeName, Function function,
                          unsigned int index) {
  if (index == 0) {
    const std::string text =
        std::string(typeName) + "::" + functionName(function) + " on illegal property";
    Kelpa::raise(Kelpa::Where{path}, __LINE__, text.c_str());
  }
  char buffer[256];
  std::snprintf(buffer, sizeof buffer, "%s::%s on illegal property with id %d", typeName,
                functionName(function), static_cast<int>(index));
  Kelpa::raise(Kelpa::Where{path}, __LINE__, buffer);
}

}  // namespace zorbel::detail::meta
