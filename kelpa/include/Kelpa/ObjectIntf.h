#pragma once
// The object interfaces of the kernel: ObjectIntf (anything that travels as an
// Object, values included) and ClassObjectIntf (a model element), with their
// virtual operations in the order the kernel fixes.
//
// An element is one identity object and one or more state objects; both implement
// the same interface. The accessors at this level are the kernel's own bodies: they
// resolve the state to read or write through getReadDeviantI/getWriteDeviantI and
// call the same operation on it, where the state class stores the value.
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

namespace NSInterface {

class ClassIntf;
class TypeIntf;

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
  virtual ObjectIntf* getReadDeviantI(Deviant d, const ObjectIntf*) const;
  virtual ObjectIntf* getWriteDeviantI(Deviant d, const ObjectIntf*) const;
};

class ClassObjectIntf : public ObjectIntf {
 public:
  using Domain = Kelpa::VisitationDomain;

  // The element's metaclass in the meta-registry; a null handle for an object whose
  // class the registry does not know.
  virtual MetaHandle<ClassIntf> getMetaClass() const;

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

// The root of the interfaces of a metamodel's factory.
class FactoryObjectIntf : public ClassObjectIntf {
 public:
  using Domain = Kelpa::VisitationDomain;
};

}  // namespace NSInterface
}  // namespace Kelpa
