#include <Kelpa/Containment.h>

#include <unordered_map>
#include <vector>

#include <Kelpa/Asserter.h>
#include <Kelpa/ElementBase.h>
#include <Kelpa/Exception.h>
#include <Kelpa/GenericSequences.h>

#include "ModelImpl.h"

namespace Kelpa {

using NSInterface::ClassObjectIntf;

namespace {

// The books of references into other models: per deviant, per deviant of the other
// model, how many single-valued references were recorded.
using Book = std::unordered_map<const detail::DeviantData*, std::size_t>;
std::unordered_map<const detail::DeviantData*, Book>& books() {
  static auto* all = new std::unordered_map<const detail::DeviantData*, Book>();
  return *all;
}

ClassObjectIntf* readStateOf(const ClassObjectIntf* o, Deviant d) {
  ClassObjectIntf* s = o->getReadDeviantI(d, o);
  if (!Deviant::isRealState(s)) detail::raiseNoState(s);
  return s;
}

ClassObjectIntf* writeStateOf(const ClassObjectIntf* o, Deviant d) {
  ClassObjectIntf* s = o->getWriteDeviantI(d, o);
  if (!Deviant::isRealState(s)) detail::raiseNoState(s);
  return s;
}

bool validIn(const NSInterface::ObjectIntf* o, Deviant d) {
  return o && o->deviant_isValid(d);
}

// The deviant in which a partner given as v must exist when d writes it: d itself for
// a partner of d's model, whatever deviant its handle carries, and the handle's own
// deviant for a partner of another model.
Deviant partnerDeviant(const ImmutableObject& v, Deviant d) {
  const Deviant own = v.getDeviant();
  return own.getRootDeviant() == d.getRootDeviant() ? d : own;
}

ClassObjectIntf* asClassObject(const NSInterface::ObjectIntf* o) {
  return detail::castTo<ClassObjectIntf>(o);
}

// The elements of one composite of a state, as handles: a snapshot to walk while the
// walk changes the sequences.
void collect(ClassObjectIntf* state, Deviant d, const EndRef& end, std::vector<ClassObject>& out) {
  if (end.multi) {
    Sequence<Object> s = end.record->getMultiValued(state, d, end.index);
    Generic::SequenceIntf* raw = s.get();
    const int n = raw ? raw->generic_size() : 0;
    out.reserve(out.size() + static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) out.emplace_back(raw->generic_at(i, d));
  } else {
    Object v = end.record->getSingleValued(state, d, end.index);
    if (!v.isNull()) out.emplace_back(v);
  }
}

void collectStereotypes(ClassObjectIntf* element, Deviant d, std::vector<ClassObject>& out) {
  if (!element->hasAppliedStereotypeInstances(d)) return;
  Sequence<StereotypeObject> s = element->getAppliedStereotypeInstancesWithoutAssociation(d);
  for (int i = 0, n = s.size(); i < n; ++i) out.emplace_back(ImmutableObject(s.at(i)));
}

// Takes self out of partner's end (the opposite of one of self's ends).
void unlinkFrom(ClassObjectIntf* partner, Deviant d, const EndRef& opposite, const ClassObject& self) {
  if (opposite.multi) {
    opposite.record->getOnlyMultiValued(partner, d, opposite.index).remove(self);
  } else if (detail::sameElement(opposite.record->getSingleValued(partner, d, opposite.index).get(),
                         self.get())) {
    opposite.record->removeOnlySingleValued(partner, d, opposite.index);
  }
}

}  // namespace

// ---------------------------------------------------------------- Deviant's books

bool Deviant::isInDifferentModel(Deviant partner, const IntrospectiveMethods*, unsigned int) const {
  if (partner.isNull() || isNull()) return false;
  return partner.getRootDeviant() != getRootDeviant();
}

void Deviant::setOrAddReferred(Deviant partner, const IntrospectiveMethods*, unsigned int) {
  if (partner.isNull() || isNull() || partner.getRootDeviant() == getRootDeviant()) return;
  ++books()[fData][partner.fData];
}

void Deviant::removeReferred(Deviant partner, const IntrospectiveMethods*, unsigned int) {
  if (partner.isNull() || isNull() || partner.getRootDeviant() == getRootDeviant()) return;
  auto book = books().find(fData);
  if (book == books().end()) return;
  auto entry = book->second.find(partner.fData);
  if (entry == book->second.end()) return;
  if (--entry->second == 0) book->second.erase(entry);
  if (book->second.empty()) books().erase(book);
}

std::size_t Deviant::numberOfReferencesInto(Deviant other) const {
  auto book = books().find(fData);
  if (book == books().end()) return 0;
  std::size_t n = 0;
  for (const auto& [target, count] : book->second)
    if (Deviant(const_cast<detail::DeviantData*>(target)).getRootDeviant() == other.getRootDeviant())
      n += count;
  return n;
}

namespace detail {

void refuseCrossModel(Deviant writer, Deviant partner, const char* path, int line) {
  if (!writer.isInDifferentModel(partner, nullptr, 0)) return;
  Asserter::MakeAlways<Exception>("Cross-model bi-directional associations are currently disallowed!")
      .handle(path, line, "");
}

// ---------------------------------------------------------------- containment

namespace {
// detachFromContainer with the element's container in d already read.
void detachFrom(ClassObjectIntf* element, Deviant d, ClassObjectIntf* c) {
  if (!validIn(c, d)) return;
  const ElementEnds* ends = c->getElementEnds();
  if (!ends) return;
  ClassObjectIntf* key = asClassObject(element);
  ClassObjectIntf* state = readStateOf(c, d);
  const Object asObject(key, d);
  for (const EndRef& end : ends->composites) {
    if (end.multi) {
      const int at = end.record->getMultiValued(state, d, end.index).get()->generic_indexOf(asObject);
      if (at < 0) continue;
      end.record->getMultiValued(writeStateOf(c, d), d, end.index).get()->generic_eraseAt(d, at);
      return;
    }
    if (detail::sameElement(end.record->getSingleValued(state, d, end.index).get(), asObject.get())) {
      end.record->removeSingleValued(writeStateOf(c, d), d, end.index);
      return;
    }
  }
}

// storeContainer with the element's state to read in d and its container there (old)
// already at hand.
void storeContainerOver(ClassObjectIntf* element, Deviant d, ClassObjectIntf* state,
                        ClassObjectIntf* old, ClassObjectIntf* container) {
  if (old == container) return;
  const bool had = old != nullptr;
  writeStateOf(element, d)->setContainerKelpa(d, ClassObject(container, d));
  const bool has = container != nullptr;
  if (had == has || d != d.getRootDeviant()) return;
  // The model's root objects are those of the root deviant.
  const Model model = state->getModelKelpa(d);
  if (model.isNull()) return;
  ClassObjectIntf* self = asClassObject(element);
  if (detail::RootObjectList* roots = detail::rootObjectsOf(model.get())) {
    if (has)
      roots->removeKey(self);
    else
      roots->appendKey(self);
    return;
  }
  Sequence<ClassObject> roots = model->getRootObjects(d);
  if (has)
    roots.remove(ClassObject(self, d));
  else
    roots.push_back(ClassObject(self, d));
}
}  // namespace

void detachFromContainer(ClassObjectIntf* element, Deviant d) {
  detachFrom(element, d, readStateOf(element, d)->getContainerKelpa(d).get());
}

void storeContainer(ClassObjectIntf* element, Deviant d, ClassObjectIntf* container) {
  ClassObjectIntf* state = readStateOf(element, d);
  storeContainerOver(element, d, state, state->getContainerKelpa(d).get(), container);
}

ClassObject containerEndGet(const ClassObjectIntf* element, Deviant d, const ContainerEnd& end) {
  ClassObject c = readStateOf(element, d)->getContainerKelpa(d);
  if (c.isNull() || !end.isA(c.get())) return ClassObject();
  return c;
}

namespace {
// The end of partner that lists its elements.
Sequence<Object> listOf(ClassObjectIntf* partner, Deviant d, const ContainerEnd& end) {
  return end.opposite.record->getOnlyMultiValued(partner, d, end.opposite.index);
}
}  // namespace

void containerEndSet(ClassObjectIntf* element, Deviant d, const ImmutableObject& v,
                     const ContainerEnd& end, int line) {
  ClassObjectIntf* partner = asClassObject(v.get());
  if (!validIn(partner, partnerDeviant(v, d)) || !end.isA(partner)) {
    containerEndRemove(element, d, end);
    return;
  }
  refuseCrossModel(d, v.getDeviant(), end.path, line);
  if (readStateOf(element, d)->getContainerKelpa(d).get() == partner) return;
  const ClassObject self(asClassObject(element), d);
  if (end.opposite.multi) {
    Sequence<Object> list = listOf(partner, d, end);
    // The partner's list must take the element before anything changes.
    if (!list.get()->generic_accepts(self)) list.push_back(self);
    containerEndSetOnly(element, d, v, end, line);
    list.push_back(self);
  } else {
    containerEndSetOnly(element, d, v, end, line);
    end.opposite.record->setOnlySingleValued(partner, d, end.opposite.index, self);
  }
}

void containerEndSetOnly(ClassObjectIntf* element, Deviant d, const ImmutableObject& v,
                         const ContainerEnd& end, int line) {
  ClassObjectIntf* partner = asClassObject(v.get());
  if (!validIn(partner, partnerDeviant(v, d))) {
    containerEndRemove(element, d, end);
    return;
  }
  refuseCrossModel(d, v.getDeviant(), end.path, line);
  // The element's container is read once: leaving it writes the old container's
  // state, never the element's.
  ClassObjectIntf* state = readStateOf(element, d);
  const ClassObject old = state->getContainerKelpa(d);
  if (old.get() == partner) return;
  detachFrom(element, d, old.get());
  storeContainerOver(element, d, state, old.get(), partner);
}

void containerEndRemove(ClassObjectIntf* element, Deviant d, const ContainerEnd& end) {
  if (containerEndGet(element, d, end).isNull()) return;
  detachFromContainer(element, d);
  storeContainer(element, d, nullptr);
}

void containerEndRemoveOnly(ClassObjectIntf* element, Deviant d, const ContainerEnd& end) {
  if (containerEndGet(element, d, end).isNull()) return;
  storeContainer(element, d, nullptr);
}

// ---------------------------------------------------------------- references

namespace {
Object storedValue(ClassObjectIntf* self, Deviant d, const EndRef& own) {
  return own.record->getSingleValued(readStateOf(self, d), d, own.index);
}
void store(ClassObjectIntf* self, Deviant d, const EndRef& own, const Object& value) {
  ClassObjectIntf* s = writeStateOf(self, d);
  if (value.isNull())
    own.record->removeSingleValued(s, d, own.index);
  else
    own.record->setSingleValued(s, d, own.index, value);
}
bool keepsOpposite(const ReferenceEnd& end) {
  return end.opposite.record != nullptr;
}
// The value's container is self: a composite's value that has not moved on.
bool containedBy(ClassObjectIntf* value, Deviant d, ClassObjectIntf* self) {
  return readStateOf(value, d)->getContainerKelpa(d).get() == self;
}
}  // namespace

void referenceSet(ClassObjectIntf* self, Deviant d, const ImmutableObject& v,
                  const ReferenceEnd& end, int line) {
  ClassObjectIntf* partner = asClassObject(v.get());
  if (!validIn(partner, partnerDeviant(v, d))) return referenceRemove(self, d, end);
  if (keepsOpposite(end) || end.composite) refuseCrossModel(d, v.getDeviant(), end.path, line);
  const Object old = storedValue(self, d, end.own);
  ClassObjectIntf* oldPartner = asClassObject(old.get());
  if (oldPartner == partner && validIn(oldPartner, old.getDeviant())) return;
  const ClassObject selfHandle(self, d);
  if (end.composite) {
    // The new value leaves its old place; the old value leaves this one.
    if (validIn(oldPartner, d) && containedBy(oldPartner, d, self))
      storeContainer(oldPartner, d, nullptr);
    detachFromContainer(partner, d);
    d.setOrAddReferred(v.getDeviant(), end.own.record, end.own.index);
    store(self, d, end.own, Object(partner, d));
    storeContainer(partner, d, self);
    return;
  }
  referenceSetOnly(self, d, v, end, line);
  if (!keepsOpposite(end)) return;
  if (end.opposite.multi)
    end.opposite.record->getOnlyMultiValued(partner, d, end.opposite.index).push_back(selfHandle);
  else
    end.opposite.record->setOnlySingleValued(partner, d, end.opposite.index, selfHandle);
}

void referenceSetOnly(ClassObjectIntf* self, Deviant d, const ImmutableObject& v,
                      const ReferenceEnd& end, int line) {
  ClassObjectIntf* partner = asClassObject(v.get());
  if (validIn(partner, partnerDeviant(v, d)) && (keepsOpposite(end) || end.composite))
    refuseCrossModel(d, v.getDeviant(), end.path, line);
  const Object old = storedValue(self, d, end.own);
  ClassObjectIntf* oldPartner = asClassObject(old.get());
  if (oldPartner == partner) return;
  // The replace rule: the previous partner loses its link first.
  if (keepsOpposite(end) && validIn(oldPartner, old.getDeviant()))
    unlinkFrom(oldPartner, d, end.opposite, ClassObject(self, d));
  d.setOrAddReferred(v.getDeviant(), end.own.record, end.own.index);
  store(self, d, end.own, partner ? Object(partner, v.getDeviant()) : Object());
}

void referenceRemove(ClassObjectIntf* self, Deviant d, const ReferenceEnd& end) {
  const Object old = storedValue(self, d, end.own);
  ClassObjectIntf* oldPartner = asClassObject(old.get());
  referenceRemoveOnly(self, d, end);
  if (!validIn(oldPartner, old.getDeviant())) return;
  if (keepsOpposite(end)) unlinkFrom(oldPartner, d, end.opposite, ClassObject(self, d));
  if (end.composite && containedBy(oldPartner, d, self)) storeContainer(oldPartner, d, nullptr);
}

void referenceRemoveOnly(ClassObjectIntf* self, Deviant d, const ReferenceEnd& end) {
  const Object old = storedValue(self, d, end.own);
  d.removeReferred(old.getDeviant(), end.own.record, end.own.index);
  store(self, d, end.own, Object());
}

// ---------------------------------------------------------------- unions

namespace {
Sequence<Object> contribution(ClassObjectIntf* self, Deviant d, const Contributor& c,
                              bool withAssociation) {
  if (c.end.multi)
    return withAssociation ? c.end.record->getMultiValued(self, d, c.end.index)
                           : c.end.record->getOnlyMultiValued(self, d, c.end.index);
  Sequence<Object> proxy(new GenericPropertyToSequenceProxy(ImmutableClassObject(self, d),
                                                            c.end.record, c.end.index, c.lower,
                                                            c.isA),
                         d);
  if (!withAssociation || !c.opposite.record) return proxy;
  return Sequence<Object>(new GenericAssociationSequence(self, d, proxy, c.opposite.record,
                                                         c.opposite.index, !c.opposite.multi,
                                                         c.composite),
                          d);
}

Sequence<Object> combine(ClassObjectIntf* self, Deviant d, const UnionContributors& u,
                         bool withAssociation, bool withStereotypes) {
  const std::size_t n = u.contributors.size() + (withStereotypes ? 1 : 0);
  if (n == 0) return Sequence<Object>(Generic::GenericNullSequence::getSingleton(), d);
  if (n == 1) return contribution(self, d, u.contributors[0], withAssociation);
  auto* combined = new combined_sequence_internal::GenericCombinedSequence(n, u.sequenceTypeName);
  Sequence<Object> result(combined, d);
  if (withStereotypes) {
    Sequence<StereotypeObject> s = withAssociation
                                       ? self->getAppliedStereotypeInstances(d)
                                       : self->getAppliedStereotypeInstancesWithoutAssociation(d);
    combined->appendGeneric(Sequence<Object>(s.get(), d));
  }
  for (const Contributor& c : u.contributors)
    combined->appendGeneric(contribution(self, d, c, withAssociation));
  return result;
}
}  // namespace

Sequence<Object> unionSequence(ClassObjectIntf* self, Deviant d, const IntrospectiveMethods& record,
                               unsigned int index, bool withAssociation) {
  if (const ElementEnds* ends = self->getElementEnds()) {
    for (const UnionContributors& u : ends->unions)
      if (u.unionEnd.record == &record && u.unionEnd.index == index)
        return combine(self, d, u, withAssociation, false);
  }
  return Sequence<Object>(Generic::GenericNullSequence::getSingleton(), d);
}

Sequence<Object> containeeSequence(ClassObjectIntf* self, Deviant d, bool withAssociation) {
  const ElementEnds* ends = self->getElementEnds();
  static const UnionContributors kNone{{nullptr, 0, true}, "Kelpa.SequenceOfClassObject", {}};
  const UnionContributors& u = ends && ends->ownedElements ? *ends->ownedElements : kNone;
  return combine(self, d, u, withAssociation, true);
}

// ---------------------------------------------------------------- destruction

void destroyElement(ClassObjectIntf* element, Deviant d) {
  if (DeviantAssertions::sAssertionsEnabled) d.internal_assertWritable(element);
  if (!element->deviant_isValid(d)) return;
  element->destroyLinks(d);
  element->destroyObject(d, true);
}

void destroyLinks(ClassObjectIntf* element, Deviant d, const ElementEnds& ends) {
  if (!element->deviant_isValid(d)) return;
  ClassObjectIntf* s = writeStateOf(element, d);
  const ClassObject self(asClassObject(element), d);
  for (const EndRef& end : ends.composites) {
    std::vector<ClassObject> children;
    collect(s, d, end, children);
    try {
      for (const ClassObject& child : children)
        if (validIn(child.get(), d)) child.get()->destroyLinks(d);
    } catch (const Exception&) {
      // A failure ends this composite's walk, not the destruction.
    }
  }
  {
    std::vector<ClassObject> stereotypes;
    collectStereotypes(element, d, stereotypes);
    try {
      for (const ClassObject& st : stereotypes)
        if (validIn(st.get(), d)) st.get()->destroyLinks(d);
    } catch (const Exception&) {
    }
  }
  for (const KeptEnd& end : ends.navigable) {
    if (!end.own.multi) {
      const Object old = end.own.record->getSingleValued(s, d, end.own.index);
      ClassObjectIntf* partner = asClassObject(old.get());
      if (!validIn(partner, old.getDeviant())) continue;
      unlinkFrom(partner, d, end.opposite, self);
      d.removeReferred(old.getDeviant(), end.own.record, end.own.index);
      end.own.record->removeSingleValued(s, d, end.own.index);
    } else {
      std::vector<ClassObject> partners;
      collect(s, d, end.own, partners);
      for (const ClassObject& partner : partners)
        if (validIn(partner.get(), d)) unlinkFrom(partner.get(), d, end.opposite, self);
    }
  }
  for (const EndRef& end : ends.oneWay) {
    std::vector<ClassObject> targets;
    collect(s, d, end, targets);
    for (const ClassObject& target : targets)
      d.removeReferred(target.getDeviant(), end.record, end.index);
  }
}

void destroyObject(ClassObjectIntf* element, Deviant d, bool detach, const ElementEnds& ends) {
  if (!element->deviant_isValid(d)) return;
  std::vector<ClassObject> children;
  {
    ClassObjectIntf* r = readStateOf(element, d);
    for (const EndRef& end : ends.composites) collect(r, d, end, children);
    collectStereotypes(element, d, children);
  }
  for (const ClassObject& child : children)
    if (validIn(child.get(), d)) child.get()->destroyObject(d, false);

  ClassObjectIntf* s = writeStateOf(element, d);
  const ClassObject container = s->getContainerKelpa(d);
  if (detach && validIn(container.get(), d)) {
    detachFromContainer(element, d);
    d.removeReferred(container.getDeviant(), &ClassObjectIntf::sIntrospectiveMethods, 3);
  }
  s->setContainerKelpa(d, ClassObject());

  Model model = s->getModelKelpa(d);
  if (model.isNull()) raiseNullRef();
  if (d == d.getRootDeviant())
    model->getRootObjects(d).remove(ClassObject(asClassObject(element), d));

  s = writeStateOf(element, d);
  s->destroy(d);
  if (element->deviant_isValid(d)) element->internal_destroyDeviation(d);
}

}  // namespace detail
}  // namespace Kelpa
