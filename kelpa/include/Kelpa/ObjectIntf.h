#pragma once
// The object interfaces of the kernel: ObjectIntf (anything that travels as an
// Object, values included) and ClassObjectIntf (a model element), with their
// virtual operations in the order the kernel fixes.
//
// An element is one identity object and one or more state objects; both implement
// the same interface. The accessors at this level are the kernel's own bodies: they
// resolve the state to read or write through getReadDeviantI/getWriteDeviantI and
// call the same operation on it, where the state class stores the value.
#include <unordered_map>
#include <string>

#include <Kelpa/Cleanup.h>
#include <Kelpa/Deviant.h>

namespace Kelpa {

class Object;
class ImmutableObject;
class ClassObject;
class Model;
class String;
class Integer;
class ExternalToolInfo;
class StereotypeObject;
template <class T>
class Sequence;
template <class Intf>
class MetaHandle;
struct IntrospectiveMethods;
struct ElementEnds;
template <class T>
class MultiIndexImpl;
namespace MultiIndexImplInternal {
template <class T>
class MultiIndexImplForPrimitives;
}
using ExternalToolInfos = MultiIndexImplInternal::MultiIndexImplForPrimitives<ExternalToolInfo>;
using StereotypeInstances = MultiIndexImpl<StereotypeObject>;

namespace NSInterface {

class ClassIntf;
class TypeIntf;
class PropertyIntf;

class ObjectIntf : public ReferenceCountingIntf {
 public:
  using Domain = Kelpa::VisitationDomain;

  // Destruction of an element in a deviant; values have nothing to destroy.
  virtual void destroyLinks(Deviant d);
  virtual void destroyObject(Deviant d, bool destroyState);
  virtual void destroy(Deviant d);

  virtual bool deviant_isValid(Deviant d) const;
  virtual void deviant_destroyState(ObjectIntf* state);
  virtual void deviant_markModelDestroyed();
  virtual void deviant_commitTransientState(Deviant d);
  virtual ObjectIntf* deviant_getCopyOfDeviation(Deviant d);
  virtual ObjectIntf* internal_getDeviation(Deviant d) const;
  virtual void internal_setDeviation(Deviant d, ObjectIntf* state);
  virtual ObjectIntf* internal_createDeviation(Deviant d);
  virtual void internal_destroyDeviation(Deviant d);
  virtual void internal_deviationAssign(Deviant target, ObjectIntf* source, Deviant sourceDeviant);
  virtual Deviant getRootDeviant() const;
  // The registered type name: "zorbel.ImmutableX" for true, "zorbel.X" for false.
  virtual std::string getRuvoName(bool immutable) const = 0;
  virtual Kelpa::String toString(Deviant d) const;
  virtual Object getEmptyValue() = 0;
  // The type of the object in the meta-registry: an element's metaclass, a value's
  // data type; a null handle for a type the registry does not know.
  virtual MetaHandle<TypeIntf> getMetaType(Deviant d) const;
  virtual ObjectIntf* getReadDeviantI(Deviant d, const ObjectIntf*) const;
  virtual ObjectIntf* getWriteDeviantI(Deviant d, const ObjectIntf*) const;
};

class ClassObjectIntf : public ObjectIntf {
 public:
  using Domain = Kelpa::VisitationDomain;

  // The element's metaclass in the meta-registry; a null handle for an object whose
  // class the registry does not know.
  virtual MetaHandle<ClassIntf> getMetaClass() const;
  // The class that getMetaClass() gives, or null, without making a handle: for the
  // kernel's look-ups, which ask for it on every call by name.
  virtual const ClassIntf* getMetaClassPtr() const;
  MetaHandle<TypeIntf> getMetaType(Deviant d) const override;

  // The kernel's record of the class: stereotype instances (1), external id (2),
  // container (3), model (4), tool infos (5).
  static IntrospectiveMethods sIntrospectiveMethods;

  // The composites and ends of the element's class, for containment and destruction;
  // null for an object that has none.
  virtual const ElementEnds* getElementEnds() const { return nullptr; }

  // What the element contains: its stereotype instances, then its owned elements.
  virtual Sequence<ClassObject> getContaineeKelpas(Deviant d);
  virtual Sequence<ClassObject> getContaineeKelpasWithoutAssociation(Deviant d) const;

  // The object id of the element in its model.
  virtual bool hasId() const = 0;
  virtual void removeId() = 0;
  virtual void setId(const Kelpa::Integer& id) = 0;
  virtual Kelpa::Integer getId() const = 0;

  // Stereotype instances applied to the element, and tools' notes on it: sparse, like
  // the external id below.
  virtual bool hasAppliedStereotypeInstances(Deviant d) const;
  virtual Sequence<StereotypeObject> getAppliedStereotypeInstances(Deviant d);
  virtual Sequence<StereotypeObject> getAppliedStereotypeInstancesWithoutAssociation(
      Deviant d) const;
  // The info of the tool named, or an empty info.
  virtual ExternalToolInfo getExternalToolInfo(Deviant d, const Kelpa::String& toolName) const;
  virtual void setExternalToolInfo(Deviant d, const ExternalToolInfo& info);
  virtual void removeExternalToolInfo(Deviant d, const ExternalToolInfo& info);

  // Reflection, by name and by property, through the record of the class that declares
  // the property. A multi-valued property reads as a sequence Object; getOne gives its
  // first value. The Only forms write one end of an association. removeOne takes out
  // one value: a single value, or the first of a sequence. Nothing is checked in front
  // of the record: a derived or read-only property is written through it like any
  // other, and what its setter raises passes through unchanged.
  virtual Object get(Deviant d, const Kelpa::String& name) const;
  virtual Object get(Deviant d, const MetaHandle<PropertyIntf>& property) const;
  virtual Object getOne(Deviant d, const Kelpa::String& name) const;
  virtual Object getOne(Deviant d, const MetaHandle<PropertyIntf>& property) const;
  virtual bool has(Deviant d, const Kelpa::String& name) const;
  virtual bool has(Deviant d, const MetaHandle<PropertyIntf>& property) const;
  virtual void setOrAdd(Deviant d, const Kelpa::String& name, const Object& value);
  virtual void setOrAdd(Deviant d, const MetaHandle<PropertyIntf>& property, const Object& value);
  virtual void setOrAddOnly(Deviant d, const Kelpa::String& name, const Object& value);
  virtual void setOrAddOnly(Deviant d, const MetaHandle<PropertyIntf>& property,
                            const Object& value);
  virtual void remove(Deviant d, const Kelpa::String& name, const Object& value);
  virtual void remove(Deviant d, const MetaHandle<PropertyIntf>& property, const Object& value);
  virtual void remove(Deviant d, const Kelpa::String& name);
  virtual void remove(Deviant d, const MetaHandle<PropertyIntf>& property);
  virtual void removeOnly(Deviant d, const Kelpa::String& name, const Object& value);
  virtual void removeOnly(Deviant d, const MetaHandle<PropertyIntf>& property,
                          const Object& value);
  virtual void removeOne(Deviant d, const Kelpa::String& name);
  virtual void removeOne(Deviant d, const MetaHandle<PropertyIntf>& property);
  virtual void removeOneOnly(Deviant d, const Kelpa::String& name);
  virtual void removeOneOnly(Deviant d, const MetaHandle<PropertyIntf>& property);

  // The URI of the object: sparse, like the external id.
  virtual bool hasUri(Deviant d) const;
  virtual void removeUri(Deviant d);
  virtual void setUri(Deviant d, const Kelpa::String& uri);
  virtual Kelpa::String getUri(Deviant d) const;

  // The model that holds the element.
  virtual bool hasModelKelpa(Deviant d) const;
  virtual void removeModelKelpa(Deviant d);
  virtual void setModelKelpa(Deviant d, const Model& model);
  virtual Model getModelKelpa(Deviant d) const;
  virtual void removeOnlyModelKelpa(Deviant d);
  virtual void setOnlyModelKelpa(Deviant d, const Model& model);

  // The element's container.
  virtual bool hasContainerKelpa(Deviant d) const;
  virtual void removeContainerKelpa(Deviant d);
  virtual void setContainerKelpa(Deviant d, const ClassObject& container);
  virtual ClassObject getContainerKelpa(Deviant d) const;
  virtual void removeOnlyContainerKelpa(Deviant d);
  virtual void setOnlyContainerKelpa(Deviant d, const ClassObject& container);

  // The model at the top of the element's models: the model that holds it, as models
  // do not nest here.
  virtual bool hasRootModel(Deviant d) const;
  virtual void removeRootModel(Deviant d);
  virtual Model getRootModel(Deviant d) const;
  virtual void removeOnlyRootModel(Deviant d);

  // Sparse properties: kept in process-wide maps keyed by the state object, so that
  // a state without them costs nothing.
  virtual bool hasExternalId(Deviant d) const;
  virtual void removeExternalId(Deviant d);
  virtual void setExternalId(Deviant d, const Kelpa::String& id);
  virtual Kelpa::String getExternalId(Deviant d) const;

  virtual bool hasExternalToolInfos(Deviant d) const;
  virtual Sequence<ExternalToolInfo> getExternalToolInfos(Deviant d);
  virtual Sequence<ExternalToolInfo> getExternalToolInfosWithoutAssociation(Deviant d) const;

  virtual ClassObjectIntf* getReadDeviantI(Deviant d, const ClassObjectIntf*) const;
  virtual ClassObjectIntf* getWriteDeviantI(Deviant d, const ClassObjectIntf*) const;
  using ObjectIntf::getReadDeviantI;
  using ObjectIntf::getWriteDeviantI;

  // The process-wide maps of the sparse properties, keyed by state. Hashed: a key is an
  // address, whose order means nothing, and a million ids cost no tree walks.
  using ExternalIdMap = std::unordered_map<const ClassObjectIntf*, Kelpa::String>;
  using ExternalToolInfoMap = std::unordered_map<const ClassObjectIntf*, ExternalToolInfos*>;
  using StereotypeInstanceMap = std::unordered_map<const ClassObjectIntf*, StereotypeInstances*>;
  static ExternalIdMap& externalId_sparse();
  static ExternalToolInfoMap& externalToolInfo_sparse();
  static StereotypeInstanceMap& appliedStereotypeInstance_sparse();

  // The element as a key of the sparse maps (the object at the ClassObjectIntf of
  // its first-base chain).
  const ClassObjectIntf* sparseKey() const noexcept { return this; }

 protected:
  // The state to read or write, or a raised failure: a slot that holds no real
  // state cannot be read through.
  ClassObjectIntf* readStateOrRaise(Deviant d) const;
  ClassObjectIntf* writeStateOrRaise(Deviant d) const;
  // The state whose entries of the sparse maps the sparse properties read or write: the
  // resolved state of an element, a state itself.
  virtual const ClassObjectIntf* sparseState(Deviant d, bool write) const;
};

// An instance of a stereotype applied to an element.
class StereotypeObjectIntf : public ClassObjectIntf {
 public:
  using Domain = Kelpa::VisitationDomain;
};

// The root of the interfaces of a metamodel's factory: elements and values by type name.
class FactoryObjectIntf : public ClassObjectIntf {
 public:
  using Domain = Kelpa::VisitationDomain;

  // An element with the next id of the factory's model, or a value, by its type name;
  // a null Object for a name that no type has.
  virtual Object createFromString(Deviant d, const Kelpa::String& typeName);
  // The same with a value for a value type, as its text.
  virtual Object createFromString(Deviant d, const Kelpa::String& typeName,
                                  const Kelpa::String& value);
  // An element with the given id.
  virtual Object createFromString(Deviant d, const Kelpa::String& typeName, const Integer& id);

 protected:
  // What the metamodel makes of a type name, with an id for an element and an optional
  // value for a value type.
  virtual Object makeFromString(Deviant d, const Kelpa::String& typeName, const Integer& id,
                                const Kelpa::String* value) = 0;
};

}  // namespace NSInterface
}  // namespace Kelpa
