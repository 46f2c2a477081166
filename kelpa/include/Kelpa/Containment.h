#pragma once
// Containment, association ends and destruction, as the kernel keeps them for every
// element class: the rules live here once, and a class gives only the table of its
// ends (ElementEnds), generated from its metamodel.
//
// An element has at most one container; the container lists it in exactly one of its
// composite properties. An element without a container is one of its model's root
// objects.
#include <span>

#include <Kelpa/Handles.h>
#include <Kelpa/Meta.h>

namespace Kelpa {

// One end of an element class, as record and index.
struct EndRef {
  const IntrospectiveMethods* record;
  unsigned int index;
  bool multi;
};

// A stored reference whose opposite end is kept with it.
struct KeptEnd {
  EndRef own;
  EndRef opposite;
};

// One property that contributes to a union.
struct Contributor {
  EndRef end;
  // For a single-valued contributor: the end that its association keeps (record null:
  // none), and the property's lower bound and type.
  EndRef opposite;
  bool composite;
  unsigned int lower;
  bool (*isA)(const NSInterface::ObjectIntf*);
};

// The contributors of one multi-valued union in one class, in reading order.
struct UnionContributors {
  EndRef unionEnd;
  const char* sequenceTypeName;  // "zorbel.SequenceOfElement"
  std::span<const Contributor> contributors;
};

// The ends of one concrete element class, in the order of its class tree.
struct ElementEnds {
  std::span<const EndRef> composites;  // stored composite properties, the owned elements' first
  std::span<const KeptEnd> navigable;  // stored references with a kept opposite, singles first
  std::span<const EndRef> oneWay;      // stored references whose opposite nobody keeps
  std::span<const UnionContributors> unions;
  const UnionContributors* ownedElements;
};

// A stored single-valued reference: its end, the opposite end that it keeps (record
// null: none), and whether it contains its value.
struct ReferenceEnd {
  EndRef own;
  EndRef opposite;
  bool composite;
  const char* path;  // where a refused cross-model link is reported
};

// A container end of the metamodel (owner, namespace, Property.class, ...): the
// element's container seen as a partner of one type, with the end of the partner that
// lists the element.
struct ContainerEnd {
  bool (*isA)(const NSInterface::ObjectIntf*);  // the partner's type
  EndRef opposite;
  const char* path;  // where a refused cross-model link is reported
};

namespace detail {

// Whether a and b are the same element. A handle holds the object as its own interface,
// and an element whose class has several bases is another address as each of them (a
// Package as Namespace, an Association as Classifier): elements are compared as their
// ClassObjectIntf.
inline bool sameElement(const NSInterface::ObjectIntf* a, const NSInterface::ObjectIntf* b) {
  if (a == b) return true;
  if (!a || !b) return false;
  return castTo<NSInterface::ClassObjectIntf>(a) == castTo<NSInterface::ClassObjectIntf>(b);
}

// Raises "Cross-model bi-directional associations are currently disallowed!" at path if
// partner is a deviant of another model than writer's.
void refuseCrossModel(Deviant writer, Deviant partner, const char* path, int line);

// Takes element out of whichever composite property of its container lists it; its
// container member stays as it is.
void detachFromContainer(NSInterface::ClassObjectIntf* element, Deviant d);

// Stores container as element's container in d and keeps the model's root objects: an
// element enters them when it loses its container and leaves them when it gets one.
void storeContainer(NSInterface::ClassObjectIntf* element, Deviant d,
                    NSInterface::ClassObjectIntf* container);

// The six accessors of a container end, for element in d.
ClassObject containerEndGet(const NSInterface::ClassObjectIntf* element, Deviant d,
                            const ContainerEnd& end);
void containerEndSet(NSInterface::ClassObjectIntf* element, Deviant d, const ImmutableObject& v,
                     const ContainerEnd& end, int line);
void containerEndSetOnly(NSInterface::ClassObjectIntf* element, Deviant d,
                         const ImmutableObject& v, const ContainerEnd& end, int line);
void containerEndRemove(NSInterface::ClassObjectIntf* element, Deviant d, const ContainerEnd& end);
void containerEndRemoveOnly(NSInterface::ClassObjectIntf* element, Deviant d,
                            const ContainerEnd& end);

// setY, setOnlyY, removeY and removeOnlyY of a stored single-valued reference.
void referenceSet(NSInterface::ClassObjectIntf* self, Deviant d, const ImmutableObject& v,
                  const ReferenceEnd& end, int line);
void referenceSetOnly(NSInterface::ClassObjectIntf* self, Deviant d, const ImmutableObject& v,
                      const ReferenceEnd& end, int line);
void referenceRemove(NSInterface::ClassObjectIntf* self, Deviant d, const ReferenceEnd& end);
void referenceRemoveOnly(NSInterface::ClassObjectIntf* self, Deviant d, const ReferenceEnd& end);

// A union of self's class, built anew from its contributors: with their associations, or
// the plain views.
Sequence<Object> unionSequence(NSInterface::ClassObjectIntf* self, Deviant d,
                               const IntrospectiveMethods& record, unsigned int index,
                               bool withAssociation);
// The stereotype instances, then the owned elements.
Sequence<Object> containeeSequence(NSInterface::ClassObjectIntf* self, Deviant d,
                                   bool withAssociation);

// The object as T's interface exists: the type test of the views.
template <class Intf>
TOVI_LOCAL bool isA(const NSInterface::ObjectIntf* o) {
  return o && o->cast(CooperativeVisitor::internal::classInfoOf<Intf>()) != nullptr;
}

// The table of a class without ends.
TOVI_LOCAL inline constexpr ElementEnds kNoEnds{};

// Destruction of element in d: the links of its subtree first, then the subtree itself,
// children before their parent.
void destroyElement(NSInterface::ClassObjectIntf* element, Deviant d);
void destroyLinks(NSInterface::ClassObjectIntf* element, Deviant d, const ElementEnds& ends);
void destroyObject(NSInterface::ClassObjectIntf* element, Deviant d, bool detach,
                   const ElementEnds& ends);

}  // namespace detail
}  // namespace Kelpa
