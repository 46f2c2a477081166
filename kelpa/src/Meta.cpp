#include <Kelpa/Meta.h>

#include <Kelpa/Asserter.h>

#include "KernelCast.h"
#include "ModelImpl.h"

namespace Kelpa {

namespace {
constexpr Where kRegistrySource{"kelpa/kernel/meta/MetaRegistry"};

using namespace NSInterface;

struct Registry {
  Model model;
  MetaFactoryIntf* factory = nullptr;
  std::vector<PackageIntf*> packages;
};

Registry& registry() {
  // Process lifetime: the meta package and the registrations are never taken down.
  static Registry* r = [] {
    auto* created = new Registry();
    created->model = NSInterface::FactoryIntf::createNewModel();
    static_cast<detail::ModelImpl*>(created->model.get())->answerNoRootDeviant();
    created->factory = new MetaFactoryIntf();
    return created;
  }();
  return *r;
}

template <class... Chain, class Self>
ReferenceCountingIntf* castMeta(const Self* self,
                                const CooperativeVisitor::internal::ClassInfo& info) {
  return detail::castAlongChain<Chain..., MetaObjectIntf, ClassObjectIntf, ObjectIntf,
                                ReferenceCountingIntf>(self, info);
}

[[noreturn]] void raiseMeta(const std::string& text) {
  raise(kRegistrySource, __LINE__, text.c_str());
}
}  // namespace

namespace NSInterface {

ReferenceCountingIntf* MetaObjectIntf::cast(const ClassInfo& info) const {
  return castMeta<>(this, info);
}
bool MetaObjectIntf::deviant_isValid(Deviant) const {
  return true;
}
std::string MetaObjectIntf::getRuvoName(bool immutable) const {
  return std::string(immutable ? "Kelpa.Immutable" : "Kelpa.") + kind();
}
ClassObjectIntf* MetaObjectIntf::getReadDeviantI(Deviant, const ClassObjectIntf*) const {
  return const_cast<MetaObjectIntf*>(this);
}
ClassObjectIntf* MetaObjectIntf::getWriteDeviantI(Deviant, const ClassObjectIntf*) const {
  return const_cast<MetaObjectIntf*>(this);
}

ReferenceCountingIntf* PrimitiveTypeIntf::cast(const ClassInfo& info) const {
  return castMeta<PrimitiveTypeIntf, DataTypeIntf, TypeIntf>(this, info);
}
ReferenceCountingIntf* EnumerationLiteralIntf::cast(const ClassInfo& info) const {
  return castMeta<EnumerationLiteralIntf>(this, info);
}
ReferenceCountingIntf* EnumerationIntf::cast(const ClassInfo& info) const {
  return castMeta<EnumerationIntf, DataTypeIntf, TypeIntf>(this, info);
}
ReferenceCountingIntf* PropertyIntf::cast(const ClassInfo& info) const {
  return castMeta<PropertyIntf>(this, info);
}
ReferenceCountingIntf* ClassIntf::cast(const ClassInfo& info) const {
  return castMeta<ClassIntf, TypeIntf>(this, info);
}
ReferenceCountingIntf* PackageIntf::cast(const ClassInfo& info) const {
  return castMeta<PackageIntf>(this, info);
}
ReferenceCountingIntf* MetaFactoryIntf::cast(const ClassInfo& info) const {
  return castMeta<MetaFactoryIntf>(this, info);
}

EnumerationIntf::~EnumerationIntf() {
  for (auto* literal : fLiterals) delete literal;
}

const EnumerationLiteralIntf* EnumerationIntf::findLiteral(std::string_view name) const {
  for (const auto* literal : fLiterals)
    if (literal->getName() == name) return literal;
  return nullptr;
}

PropertyIntf::PropertyIntf(MetaPropertyDescription* descriptor, ClassIntf* owner)
    : fDescriptor(descriptor), fOwner(owner) {
  setName(descriptor->name);
}

ClassIntf::~ClassIntf() {
  for (auto* p : fOwned) delete p;
}

namespace {
// Property names are short: a loop over their characters, without a call.
bool sameName(const std::string& a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < b.size(); ++i)
    if (a[i] != b[i]) return false;
  return true;
}
}  // namespace

PropertyIntf* ClassIntf::findProperty(std::string_view name) const {
  PropertyIntf* last = fLastFound.load(std::memory_order_relaxed);
  if (last && sameName(last->getName(), name)) return last;
  auto it = fByName.find(name);
  if (it == fByName.end()) return nullptr;
  fLastFound.store(it->second, std::memory_order_relaxed);
  return it->second;
}

bool ClassIntf::conformsTo(const ClassIntf* other) const {
  if (this == other) return true;
  for (const ClassIntf* base : fSuperClasses)
    if (base->conformsTo(other)) return true;
  return false;
}

bool ClassIntf::isInstance(const ClassObjectIntf* object) const {
  if (!object) return false;
  if (fHasTag) {
    const std::type_info* type = &typeid(*object);
    if (fInstanceType.load(std::memory_order_relaxed) == type) return true;
    if (!object->cast(fTag)) return false;
    fInstanceType.store(type, std::memory_order_relaxed);
    return true;
  }
  // Objects of one type may have different metaclasses: nothing is kept here.
  const MetaHandle<ClassIntf> cls = object->getMetaClass();
  return !cls.isNull() && cls->conformsTo(this);
}

void ClassIntf::update(const IntrospectiveMethods* methods, std::vector<ClassIntf*> bases) {
  fMethods = methods;
  fTag = CooperativeVisitor::internal::LookupTagByName(getQualifiedName().c_str(), fHasTag);
  fInstanceType.store(nullptr, std::memory_order_relaxed);
  fLastFound.store(nullptr, std::memory_order_relaxed);
  fSuperClasses = std::move(bases);
  fAll = fOwned;
  for (ClassIntf* base : fSuperClasses)
    for (PropertyIntf* p : base->getAllProperties())
      if (std::find(fAll.begin(), fAll.end(), p) == fAll.end()) fAll.push_back(p);
  // A name finds the most specific property: one of a class hides the same name of
  // every class that class descends from.
  fByName.clear();
  for (PropertyIntf* p : fAll) {
    auto [it, added] = fByName.emplace(p->getName(), p);
    if (!added && it->second->getOwner() != p->getOwner() &&
        p->getOwner()->conformsTo(it->second->getOwner()))
      it->second = p;
  }
}

PackageIntf::~PackageIntf() {
  for (auto* t : fTypes) delete t;
  for (auto* p : fNested) delete p;
}

void PackageIntf::setOwningPackage(PackageIntf* owner) {
  if (owner == fOwner) return;
  if (fOwner) std::erase(fOwner->fNested, this);
  fOwner = owner;
  if (owner) owner->fNested.push_back(this);
}

namespace {
// The registry forgets a package and every package nested in it.
void forget(Registry& r, const PackageIntf* package) {
  std::erase(r.packages, package);
  for (const PackageIntf* nested : package->getNestedPackages()) forget(r, nested);
}
}  // namespace

void PackageIntf::destroy(Deviant d) {
  Registry& r = registry();
  forget(r, this);
  if (fOwner) {
    std::erase(fOwner->fNested, this);
  } else {
    Sequence<ClassObject> top = r.model->getTopPackages(d.isNull() ? r.model.getDeviant() : d);
    top.remove(ClassObject(this, r.model.getDeviant()));
  }
  delete this;
}

void PackageIntf::addOwnedType(TypeIntf* type) {
  type->setPackage(this);
  if (type->getQualifiedName().empty()) type->setQualifiedName(getName() + "." + type->getName());
  fTypes.push_back(type);
  fByName.emplace(type->getName(), type);
  fByName.emplace(type->getQualifiedName(), type);
}

TypeIntf* PackageIntf::findType(std::string_view name) const {
  auto it = fByName.find(name);
  return it == fByName.end() ? nullptr : it->second;
}

void PackageIntf::destroyType(TypeIntf* type) {
  auto it = std::find(fTypes.begin(), fTypes.end(), type);
  if (it == fTypes.end()) return;
  fTypes.erase(it);
  fByName.erase(type->getName());
  fByName.erase(type->getQualifiedName());
  delete type;
}

PackageIntf* MetaFactoryIntf::createPackage(Deviant) {
  auto* package = new PackageIntf();
  registry().packages.push_back(package);
  return package;
}
EnumerationIntf* MetaFactoryIntf::createEnumeration(Deviant) {
  return new EnumerationIntf();
}
EnumerationLiteralIntf* MetaFactoryIntf::createEnumerationLiteral(Deviant) {
  return new EnumerationLiteralIntf();
}
PrimitiveTypeIntf* MetaFactoryIntf::createPrimitiveType(Deviant) {
  return new PrimitiveTypeIntf();
}

// Without a class of its own to say so, an element's metaclass is found by its type name.
MetaHandle<ClassIntf> ClassObjectIntf::getMetaClass() const {
  const Type type = DomainRegistry::instance().findType(getRuvoName(false));
  const auto* metaclass = detail::castTo<const ClassIntf>(type.get());
  return MetaHandle<ClassIntf>(metaclass,
                               DomainRegistry::instance().getMetaRegistry().getDeviant());
}

const ClassIntf* ClassObjectIntf::getMetaClassPtr() const {
  return getMetaClass().get();
}

}  // namespace NSInterface

MetaHandle<ClassIntf> metaClassHandle(const ClassIntf* metaclass) {
  static const Deviant registryDeviant = registry().model.getDeviant();
  return MetaHandle<ClassIntf>(metaclass, metaclass ? registryDeviant : Deviant());
}

namespace {
std::unordered_map<std::string, TypeIntf*>& metaTypes() {
  static auto* map = new std::unordered_map<std::string, TypeIntf*>();
  return *map;
}
}  // namespace

void TypeInfoRegistry::registerMetaType(const std::string& name, const Tovi::TypeInfo& info,
                                        const ImmutableDataType& type) {
  registerTypeInfo(name, info);
  metaTypes()[name] = type.get();
}

void TypeInfoRegistry::unregisterMetaType(const std::string& name) {
  metaTypes().erase(name);
  unregisterTypeInfo(name);
}

Type TypeInfoRegistry::getMetaType(const std::string& name) {
  auto it = metaTypes().find(name);
  return it == metaTypes().end() ? Type() : Type(it->second, registry().model.getDeviant());
}

DomainRegistry& DomainRegistry::instance() {
  static DomainRegistry one;
  return one;
}

Model DomainRegistry::getMetaRegistry() const {
  return registry().model;
}

Factory DomainRegistry::getMetaRegistryFactory() const {
  return Factory(registry().factory, registry().model.getDeviant());
}

std::u16string DomainRegistry::getDomainCanonicalUri(const String& domain) const {
  return std::u16string(u"kelpa:").append(domain.ustr());
}

Type DomainRegistry::findType(std::string_view qualifiedName) const {
  const std::size_t dot = qualifiedName.find('.');
  if (dot == std::string_view::npos) return Type();
  const Package package = findPackage(qualifiedName.substr(0, dot));
  if (package.isNull()) return Type();
  return Type(package->findType(qualifiedName), registry().model.getDeviant());
}

Package DomainRegistry::findPackage(std::string_view name) const {
  for (PackageIntf* p : registry().packages)
    if (p->getName() == name) return Package(p, registry().model.getDeviant());
  return Package();
}

void staticCreateMetaClass(ClassIntf*& metaclass, const Factory& factory, const Package& package,
                           MetaPropertyDescription** properties, unsigned long count,
                           const char* name, const char* qualifiedName, bool isAbstract,
                           const char** documentation) {
  if (factory.isNull()) raiseNullRef(kPackageHeader, 86);
  if (package.isNull()) raiseNullRef(kPackageHeader, 86);
  auto* created = new ClassIntf();
  created->setName(name);
  created->setQualifiedName(qualifiedName);
  created->setAbstract(isAbstract);
  std::vector<std::string> lines;
  for (const char** line = documentation; line && *line; ++line) lines.emplace_back(*line);
  created->setDocumentation(std::move(lines));
  for (unsigned long i = 1; i <= count; ++i) {
    MetaPropertyDescription* descriptor = properties[i];
    auto* property = new PropertyIntf(descriptor, created);
    descriptor->kernelWord = property;
    created->addOwnedProperty(property);
  }
  package->addOwnedType(created);
  metaclass = created;
}

namespace {
TypeIntf* typeAt(PackageTableFn packageFn, std::uint32_t id, const char* className,
                 const char* propertyName) {
  const PackageIntrospectiveMethods* table = packageFn ? packageFn() : nullptr;
  const IntrospectiveMethods* record = table && id < table->count ? table->types[id] : nullptr;
  if (!record || !record->metaclass) {
    raiseMeta(std::string("type id ") + std::to_string(id) + " of " + className + "." +
              propertyName + " names no type of the registry");
  }
  return record->metaclass;
}
}  // namespace

void staticUpdateMeta(ClassIntf* metaclass, const Factory&, const Package&,
                      MetaPropertyDescription** properties, unsigned long count, const char* name,
                      const char*, const IntrospectiveMethods* methods) {
  if (!metaclass) raiseNullRef();
  std::vector<ClassIntf*> bases;
  for (const TypeRef* parent = methods->parents; parent && parent->package; ++parent)
    bases.push_back(detail::castTo<ClassIntf>(typeAt(parent->package, parent->id, name, "<base>")));
  for (unsigned long i = 1; i <= count; ++i) {
    MetaPropertyDescription* d = properties[i];
    TypeIntf* type = typeAt(d->typePackage, d->typeId, name, d->name);
    PropertyIntf* opposite = nullptr;
    if (d->hasOpposite) {
      auto* other = detail::castTo<ClassIntf>(
          typeAt(d->oppositeTypePackage, d->oppositeTypeId, name, d->name));
      const auto& owned = other->getOwnedProperties();
      if (d->oppositeIndex == 0 || d->oppositeIndex > owned.size())
        raiseMeta(std::string("opposite index of ") + name + "." + d->name + " is out of range");
      opposite = owned[d->oppositeIndex - 1];
    }
    static_cast<PropertyIntf*>(d->kernelWord)->resolve(type, opposite);
  }
  metaclass->update(methods, std::move(bases));
}

void staticDestroyMeta(ClassIntf* metaclass, MetaPropertyDescription** properties,
                       unsigned long count, const char*, const char*) {
  if (!metaclass) return;
  for (unsigned long i = 1; i <= count; ++i) properties[i]->kernelWord = nullptr;
  if (PackageIntf* package = metaclass->getPackage())
    package->destroyType(metaclass);
  else
    delete metaclass;
}

}  // namespace Kelpa
