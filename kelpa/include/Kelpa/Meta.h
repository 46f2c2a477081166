#pragma once
// The meta-registry: how a metamodel describes itself to the kernel.
//
// A metamodel library lays out, as constant data, one MetaPropertyDescription per
// property and one IntrospectiveMethods record per type, and at start-up asks the
// kernel to build from them, in the process-wide meta-registry model, a package with a
// metaclass (ClassIntf) per class, an enumeration per enumeration kind and a primitive
// type per primitive. The kernel then reads and writes any property of any element by
// name or by ImmutableProperty, through the record of the class that declares it.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <typeinfo>
#include <unordered_map>
#include <vector>

#include <Kelpa/Model.h>
#include <Kelpa/Sequence.h>

namespace Kelpa {

struct IntrospectiveMethods;

// The types of one package, indexed by type id.
struct PackageIntrospectiveMethods {
  const IntrospectiveMethods* const* types;
  unsigned long count;
};
using PackageTableFn = const PackageIntrospectiveMethods* (*)();

// The kernel's own package table (ClassObject at id 13, FactoryObject at id 23).
extern const PackageIntrospectiveMethods sPackageIntrospectiveMethods;
const PackageIntrospectiveMethods* getKelpaPackageIntrospectiveMethods();

namespace MetaFlag {
enum : std::uint64_t {
  readOnly = 1u << 0,
  derived = 1u << 1,
  derivedUnion = 1u << 2,
  composite = 1u << 3,
  ordered = 1u << 4,
  unique = 1u << 5,
  multi = 1u << 6,
};
}  // namespace MetaFlag

// Where the kernel keeps a run-time handle of a property.
struct PropertyCell {
  std::uint32_t word;
  void* slot;
};

namespace NSInterface {
class ClassIntf;
class PropertyIntf;
class TypeIntf;
}  // namespace NSInterface

// One property of one metaclass, as constant data of the metamodel library; the
// kernel fills the fields named "run time" when it builds the metaclass.
struct MetaPropertyDescription {
  void* kernelWord;  // run time: the PropertyIntf built from this record
  const char* name;
  PackageTableFn typePackage;
  std::uint32_t typeId;
  std::uint32_t reserved0;
  const char* documentation[5];
  std::uint64_t flags;
  const char* defaultValue;  // a literal; empty if none
  std::uint32_t reserved1;
  std::uint32_t lower;
  std::int32_t upper;  // -1 (all ones): unlimited
  std::uint32_t index;
  std::uint32_t reserved2;
  const char* associationName;  // null if none
  std::uint64_t hasOpposite;
  PackageTableFn oppositeTypePackage;
  std::uint32_t oppositeTypeId;
  std::uint32_t oppositeIndex;
  const char* oppositeEndName;  // an end that the association owns; null otherwise
  const char* oppositeEndDocumentation;
  void* kernelArea[2];
  PropertyCell* first;  // run time
  PropertyCell* second;
};

// A base class of a type, as a package table and a type id.
struct TypeRef {
  PackageTableFn package;
  std::uint32_t id;
};

// The record of one type: the eight property functions (for classes), the
// properties at their indices (entry 0 empty), the bases, and the metaclass built
// from it (run time).
struct IntrospectiveMethods {
  Object (*getSingleValued)(const NSInterface::ClassObjectIntf*, Deviant, unsigned int);
  bool (*hasSingleValued)(const NSInterface::ClassObjectIntf*, Deviant, unsigned int);
  void (*setSingleValued)(NSInterface::ClassObjectIntf*, Deviant, unsigned int, const Object&);
  void (*setOnlySingleValued)(NSInterface::ClassObjectIntf*, Deviant, unsigned int, const Object&);
  void (*removeSingleValued)(NSInterface::ClassObjectIntf*, Deviant, unsigned int);
  void (*removeOnlySingleValued)(NSInterface::ClassObjectIntf*, Deviant, unsigned int);
  Sequence<Object> (*getMultiValued)(NSInterface::ClassObjectIntf*, Deviant, unsigned int);
  Sequence<Object> (*getOnlyMultiValued)(NSInterface::ClassObjectIntf*, Deviant, unsigned int);
  MetaPropertyDescription* const* properties;
  const TypeRef* parents;            // ends with {nullptr, 0}
  NSInterface::TypeIntf* metaclass;  // a ClassIntf for a class
  const PackageIntrospectiveMethods* package;
};

namespace NSInterface {

// Objects of the meta-registry: one state each, in every deviant of the registry.
class MetaObjectIntf : public ClassObjectIntf {
 public:
  ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  bool deviant_isValid(Deviant d) const override;
  std::string getRuvoName(bool immutable) const override;
  Object getEmptyValue() override { return Object(); }
  bool hasId() const override { return true; }
  void removeId() override {}
  void setId(const Integer&) override {}
  Integer getId() const override { return Integer(); }
  bool hasModelKelpa(Deviant) const override { return false; }
  void removeModelKelpa(Deviant) override {}
  void setModelKelpa(Deviant, const Model&) override {}
  Model getModelKelpa(Deviant) const override { return Model(); }
  bool hasContainerKelpa(Deviant) const override { return false; }
  void removeContainerKelpa(Deviant) override {}
  void setContainerKelpa(Deviant, const ClassObject&) override {}
  ClassObject getContainerKelpa(Deviant) const override { return ClassObject(); }
  ClassObjectIntf* getReadDeviantI(Deviant, const ClassObjectIntf*) const override;
  ClassObjectIntf* getWriteDeviantI(Deviant, const ClassObjectIntf*) const override;
  using ClassObjectIntf::getReadDeviantI;
  using ClassObjectIntf::getWriteDeviantI;

  const std::string& getName() const noexcept { return fName; }
  void setName(std::string name) { fName = std::move(name); }
  // A short kind name: "Package", "Class", "Property", ...
  virtual const char* kind() const = 0;

 private:
  std::string fName;
};

class PackageIntf;

class TypeIntf : public MetaObjectIntf {
 public:
  // "zorbel.Comment", "zorbel.VisibilityKind".
  const std::string& getQualifiedName() const noexcept { return fQualifiedName; }
  void setQualifiedName(std::string name) { fQualifiedName = std::move(name); }
  PackageIntf* getPackage() const noexcept { return fPackage; }
  void setPackage(PackageIntf* p) noexcept { fPackage = p; }

 private:
  std::string fQualifiedName;
  PackageIntf* fPackage = nullptr;
};

class DataTypeIntf : public TypeIntf {};

class PrimitiveTypeIntf : public DataTypeIntf {
 public:
  ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  const char* kind() const override { return "PrimitiveType"; }
};

class EnumerationLiteralIntf : public MetaObjectIntf {
 public:
  ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  const char* kind() const override { return "EnumerationLiteral"; }
  std::int32_t getValue() const noexcept { return fValue; }
  void setValue(const Integer& value) noexcept { fValue = value.getValue(); }

 private:
  std::int32_t fValue = 0;
};

class EnumerationIntf : public DataTypeIntf {
 public:
  ~EnumerationIntf() override;
  ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  const char* kind() const override { return "Enumeration"; }
  const std::vector<EnumerationLiteralIntf*>& getLiterals() const noexcept { return fLiterals; }
  void addLiteral(EnumerationLiteralIntf* literal) { fLiterals.push_back(literal); }
  const EnumerationLiteralIntf* findLiteral(std::string_view name) const;

 private:
  std::vector<EnumerationLiteralIntf*> fLiterals;
};

class PropertyIntf : public MetaObjectIntf {
 public:
  explicit PropertyIntf(MetaPropertyDescription* descriptor, ClassIntf* owner);
  ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  const char* kind() const override { return "Property"; }

  const MetaPropertyDescription& descriptor() const noexcept { return *fDescriptor; }
  // The class that declares the property, whose record handles it.
  ClassIntf* getOwner() const noexcept { return fOwner; }
  unsigned int getIndex() const noexcept { return fDescriptor->index; }
  TypeIntf* getType() const noexcept { return fType; }
  std::uint32_t getLower() const noexcept { return fDescriptor->lower; }
  std::int32_t getUpper() const noexcept { return fDescriptor->upper; }
  bool isMultiValued() const noexcept { return fDescriptor->flags & MetaFlag::multi; }
  bool isReadOnly() const noexcept { return fDescriptor->flags & MetaFlag::readOnly; }
  bool isDerived() const noexcept { return fDescriptor->flags & MetaFlag::derived; }
  bool isDerivedUnion() const noexcept { return fDescriptor->flags & MetaFlag::derivedUnion; }
  bool isComposite() const noexcept { return fDescriptor->flags & MetaFlag::composite; }
  bool isOrdered() const noexcept { return fDescriptor->flags & MetaFlag::ordered; }
  // The default literal, or an empty text.
  const char* getDefault() const noexcept { return fDescriptor->defaultValue; }
  // The association's name, or null.
  const char* getAssociationName() const noexcept { return fDescriptor->associationName; }
  // The navigable other end, or null.
  PropertyIntf* getOpposite() const noexcept { return fOpposite; }
  // The other end that the association owns, or null.
  const char* getOppositeEndName() const noexcept { return fDescriptor->oppositeEndName; }

  void resolve(TypeIntf* type, PropertyIntf* opposite) noexcept {
    fType = type;
    fOpposite = opposite;
  }

 private:
  MetaPropertyDescription* fDescriptor;
  ClassIntf* fOwner;
  TypeIntf* fType = nullptr;
  PropertyIntf* fOpposite = nullptr;
};

class ClassIntf : public TypeIntf {
 public:
  ~ClassIntf() override;
  ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  const char* kind() const override { return "Class"; }

  bool isAbstract() const noexcept { return fAbstract; }
  const std::vector<std::string>& getDocumentation() const noexcept { return fDocumentation; }
  const std::vector<ClassIntf*>& getSuperClasses() const noexcept { return fSuperClasses; }
  // Own properties in index order.
  const std::vector<PropertyIntf*>& getOwnedProperties() const noexcept { return fOwned; }
  // Own and inherited properties: own first, then each base's in declaration order,
  // each property once.
  const std::vector<PropertyIntf*>& getAllProperties() const noexcept { return fAll; }
  // The property of that name, own before inherited; null if none. The property found
  // last is tried first, then a hash lookup.
  PropertyIntf* findProperty(std::string_view name) const;
  // Whether this class is other or has it among its ancestors.
  bool conformsTo(const ClassIntf* other) const;
  const IntrospectiveMethods* getIntrospectiveMethods() const noexcept { return fMethods; }
  // Whether the object is of this class or a descendant. Through the cast of the class's
  // interface when a visitor tag is bound to its qualified name, else by its metaclass.
  // The cast answers alike for every object of one C++ type, so the type of the last
  // object it accepted is kept and another object of that type takes no cast.
  bool isInstance(const ClassObjectIntf* object) const;

  // Construction by the kernel.
  void setAbstract(bool a) noexcept { fAbstract = a; }
  void setDocumentation(std::vector<std::string> lines) { fDocumentation = std::move(lines); }
  void addOwnedProperty(PropertyIntf* p) { fOwned.push_back(p); }
  void update(const IntrospectiveMethods* methods, std::vector<ClassIntf*> bases);
  bool isUpdated() const noexcept { return fMethods != nullptr; }

 private:
  bool fAbstract = false;
  std::vector<std::string> fDocumentation;
  std::vector<ClassIntf*> fSuperClasses;
  std::vector<PropertyIntf*> fOwned;
  std::vector<PropertyIntf*> fAll;
  std::unordered_map<std::string_view, PropertyIntf*> fByName;
  const IntrospectiveMethods* fMethods = nullptr;
  CooperativeVisitor::internal::ClassInfo fTag;
  bool fHasTag = false;
  // What isInstance and findProperty found last; both forgotten by update().
  mutable std::atomic<const std::type_info*> fInstanceType{nullptr};
  mutable std::atomic<PropertyIntf*> fLastFound{nullptr};
};

class PackageIntf : public MetaObjectIntf {
 public:
  ~PackageIntf() override;
  ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  const char* kind() const override { return "Package"; }
  const String& getUri() const noexcept { return fUri; }
  void setUri(const String& uri) { fUri = uri; }
  using ClassObjectIntf::getUri;
  using ClassObjectIntf::setUri;
  // Types in the order they were entered; the package owns them.
  const std::vector<TypeIntf*>& getOwnedTypes() const noexcept { return fTypes; }
  void addOwnedType(TypeIntf* type);
  // By plain name ("Comment") or qualified name ("zorbel.Comment"); null if none.
  TypeIntf* findType(std::string_view name) const;
  // Takes the type out of the package and deletes it.
  void destroyType(TypeIntf* type);
  // The package that holds this one, or null for a top package.
  PackageIntf* getOwningPackage() const noexcept { return fOwner; }
  const std::vector<PackageIntf*>& getNestedPackages() const noexcept { return fNested; }
  void setOwningPackage(PackageIntf* owner);
  // Takes the package out of the registry (or its owner) and deletes it with its types
  // and nested packages.
  void destroy(Deviant d) override;

 private:
  PackageIntf* fOwner = nullptr;
  std::vector<PackageIntf*> fNested;
  String fUri;
  std::vector<TypeIntf*> fTypes;
  std::unordered_map<std::string_view, TypeIntf*> fByName;
};

// The factory of the meta-registry: makes its packages, enumerations, literals and
// primitive types.
class MetaFactoryIntf : public MetaObjectIntf {
 public:
  ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  const char* kind() const override { return "Factory"; }
  PackageIntf* createPackage(Deviant d);
  EnumerationIntf* createEnumeration(Deviant d);
  EnumerationLiteralIntf* createEnumerationLiteral(Deviant d);
  PrimitiveTypeIntf* createPrimitiveType(Deviant d);
};

}  // namespace NSInterface

// Handles of the meta-registry's objects.
template <class I>
class MetaHandle : public ImmutableClassObject {
 public:
  using Intf = I;
  MetaHandle() noexcept = default;
  // The meta-registry's objects belong to no model's deviants: a handle keeps the
  // deviant it is given.
  MetaHandle(const I* p, Deviant d) : ImmutableClassObject(p, d) {
    if (p) fDeviant = d;
  }
  explicit MetaHandle(const ImmutableObject& o)
      : MetaHandle(detail::castTo<const I>(o.get()), o.getDeviant()) {}
  I* get() const noexcept { return primary_cast<I>(fPtr); }
  // A call through a null meta handle fails at the meta package header's line.
  I* operator->() const {
    if (!fPtr) raiseNullRef(kPackageHeader, 86);
    return primary_cast<I>(fPtr);
  }
};
using ImmutableClass = MetaHandle<NSInterface::ClassIntf>;
using ImmutableProperty = MetaHandle<NSInterface::PropertyIntf>;
using Package = MetaHandle<NSInterface::PackageIntf>;
using Enumeration = MetaHandle<NSInterface::EnumerationIntf>;
using ImmutableEnumeration = Enumeration;
using EnumerationLiteral = MetaHandle<NSInterface::EnumerationLiteralIntf>;
using ImmutableEnumerationLiteral = EnumerationLiteral;
using PrimitiveType = MetaHandle<NSInterface::PrimitiveTypeIntf>;
using ImmutablePrimitiveType = PrimitiveType;
using Type = MetaHandle<NSInterface::TypeIntf>;
using ImmutableDataType = MetaHandle<NSInterface::DataTypeIntf>;
using Factory = MetaHandle<NSInterface::MetaFactoryIntf>;

// A handle on a metaclass with the meta-registry's deviant; null for null.
MetaHandle<NSInterface::ClassIntf> metaClassHandle(const NSInterface::ClassIntf* metaclass);

class DomainRegistry {
 public:
  static DomainRegistry& instance();
  // The one process-wide meta-registry model, and its factory.
  Model getMetaRegistry() const;
  Factory getMetaRegistryFactory() const;
  // The URI under which a domain is known: "kelpa:zorbel" for "zorbel".
  std::u16string getDomainCanonicalUri(const String& domain) const;
  // A type of any package by qualified name ("zorbel.Comment"), or a null handle.
  Type findType(std::string_view qualifiedName) const;
  Package findPackage(std::string_view name) const;
};

// Building a metaclass: create (all classes first), then update (types, opposites,
// bases, name lookup), and the inverse.
void staticCreateMetaClass(NSInterface::ClassIntf*& metaclass, const Factory& factory,
                           const Package& package, MetaPropertyDescription** properties,
                           unsigned long count, const char* name, const char* qualifiedName,
                           bool isAbstract, const char** documentation);
void staticUpdateMeta(NSInterface::ClassIntf* metaclass, const Factory& factory,
                      const Package& package, MetaPropertyDescription** properties,
                      unsigned long count, const char* name, const char* qualifiedName,
                      const IntrospectiveMethods* methods);
void staticDestroyMeta(NSInterface::ClassIntf* metaclass, MetaPropertyDescription** properties,
                       unsigned long count, const char* name, const char* qualifiedName);

namespace NSInterface {
// A multi-valued property's value seen as one Object: a view of the sequence.
class SequenceObjectIntf : public ObjectIntf {
 public:
  virtual Sequence<Object> getSequence() const = 0;
};
}  // namespace NSInterface

// The sequence behind an Object that get() gave for a multi-valued property; a null
// sequence for any other Object.
Sequence<Object> asSequence(const ImmutableObject& value);

// Reflection by name or by property: the declaring class's record does the work.
// Names and values of the wrong kind raise a Kelpa::Exception that names the class and
// the property, and leave the element unchanged.
namespace reflect {
// The metaclass of an element, or null if it has none.
const NSInterface::ClassIntf* metaClassOf(const NSInterface::ClassObjectIntf* object);
// The property of that name of the element's class; raises naming class and property.
const NSInterface::PropertyIntf& propertyOf(const NSInterface::ClassObjectIntf* object,
                                            std::string_view name);
Object get(const NSInterface::ClassObjectIntf* object, Deviant d,
           const NSInterface::PropertyIntf& property);
bool has(const NSInterface::ClassObjectIntf* object, Deviant d,
         const NSInterface::PropertyIntf& property);
void setOrAdd(NSInterface::ClassObjectIntf* object, Deviant d,
              const NSInterface::PropertyIntf& property, const Object& value, bool only);
void remove(NSInterface::ClassObjectIntf* object, Deviant d,
            const NSInterface::PropertyIntf& property, bool only);
void remove(NSInterface::ClassObjectIntf* object, Deviant d,
            const NSInterface::PropertyIntf& property, const Object& value, bool only);
}  // namespace reflect

// The same on handles, with the handle's deviant.
Object get(const ImmutableClassObject& object, std::string_view name);
Object get(const ImmutableClassObject& object, const ImmutableProperty& property);
bool has(const ImmutableClassObject& object, std::string_view name);
bool has(const ImmutableClassObject& object, const ImmutableProperty& property);
void setOrAdd(const ImmutableClassObject& object, std::string_view name, const Object& value);
void setOrAdd(const ImmutableClassObject& object, const ImmutableProperty& property,
              const Object& value);
void setOrAddOnly(const ImmutableClassObject& object, std::string_view name, const Object& value);
void setOrAddOnly(const ImmutableClassObject& object, const ImmutableProperty& property,
                  const Object& value);
void remove(const ImmutableClassObject& object, std::string_view name);
void remove(const ImmutableClassObject& object, const ImmutableProperty& property);
void remove(const ImmutableClassObject& object, const ImmutableProperty& property,
            const Object& value);
void removeOnly(const ImmutableClassObject& object, const ImmutableProperty& property,
                const Object& value);
void remove(const ImmutableClassObject& object, std::string_view name, const Object& value);
void removeOnly(const ImmutableClassObject& object, std::string_view name, const Object& value);
// The single value, or the first value of a sequence (null if it is empty).
Object getOne(const ImmutableClassObject& object, std::string_view name);
Object getOne(const ImmutableClassObject& object, const ImmutableProperty& property);
// The plain and the Only form of removing a single value.
void removeOnly(const ImmutableClassObject& object, std::string_view name);
void removeOnly(const ImmutableClassObject& object, const ImmutableProperty& property);
// One occurrence of value taken out: of a sequence, or a single value that is the same
// (elements by identity, values by type and text).
void removeOne(const ImmutableClassObject& object, std::string_view name, const Object& value);
void removeOne(const ImmutableClassObject& object, const ImmutableProperty& property,
               const Object& value);
void removeOneOnly(const ImmutableClassObject& object, std::string_view name, const Object& value);
void removeOneOnly(const ImmutableClassObject& object, const ImmutableProperty& property,
                   const Object& value);

}  // namespace Kelpa
