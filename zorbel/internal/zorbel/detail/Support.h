#pragma once
// The one support header of the element classes: the rules every metaclass shares,
// written once, that the per-class code calls in one line each.
#include <cstdint>
#include <span>
#include <type_traits>

#include <Kelpa/ElementBase.h>
#include <Kelpa/GenericSequences.h>
#include <Kelpa/MultiIndexImpl.h>
#include <Kelpa/MultiIndexPrimitives.h>
#include <Kelpa/Visitor.h>

#include <zorbel/VisitationDomain.h>

namespace Tovi {
class ModuleObjectDeleter;
}

#pragma GCC visibility push(hidden)

namespace zorbel::detail {

using Kelpa::Deviant;
namespace CV = Kelpa::CooperativeVisitor::internal;

// The library's list of process-lifetime objects, created on first need.
Tovi::ModuleObjectDeleter& moduleObjects();

// cast() of an interface through its class table, built on first use.
inline Kelpa::ReferenceCountingIntf* castThroughTable(const Kelpa::ReferenceCountingIntf* self,
                                                      CV::ClassMetaInfo*& table,
                                                      const CV::LinearEntry* entries,
                                                      std::size_t count,
                                                      const CV::ClassInfo& info) {
  if (!table) table = CV::buildClassMetaInfo(entries, count, moduleObjects());
  return table->cast(self, info);
}

// getVisitMethod(): the class's own method if the visitor has one, else the first
// ancestor in the linearisation that has one.
template <class Intf>
Kelpa::VisitMethod visitThroughTable(const Kelpa::ReferenceCountingIntf* self,
                                     CV::ClassMetaInfo* const& table,
                                     const Kelpa::ReferenceCountingIntf::VisitTable& visitTable) {
  const CV::ClassInfo& own = CV::classInfoOf<Intf>();
  if (own.domain < visitTable.size() && own.cls < visitTable[own.domain].size() &&
      visitTable[own.domain][own.cls] != 0)
    return {visitTable[own.domain][own.cls], self};
  return table->findVisitMethod(self, visitTable);
}

// The identity caster: an interface of the first-base chain is the object itself.
inline Kelpa::ReferenceCountingIntf* sameObject(const Kelpa::ReferenceCountingIntf* p) {
  return const_cast<Kelpa::ReferenceCountingIntf*>(p);
}

// Conversions along the bases: p as the class of each Path entry in turn, each a direct
// base of the one before, so that every step is unambiguous and adjusts the address.
template <class Last>
Last* along(Last* p) {
  return p;
}
template <class First, class Second, class... Rest>
auto* along(First* p) {
  return along<Second, Rest...>(static_cast<Second*>(p));
}

// The caster of a class-table entry off the first-base chain: the object, seen as its
// own interface From, as the interface at the end of Path.
template <class From, class... Path>
Kelpa::ReferenceCountingIntf* castAlong(const Kelpa::ReferenceCountingIntf* self) {
  From* object = Kelpa::primary_cast<From>(const_cast<Kelpa::ReferenceCountingIntf*>(self));
  return Kelpa::primary_cast<Kelpa::ReferenceCountingIntf>(along<From, Path...>(object));
}

// A state slot's value as the interface at the end of Path; null and the sentinels of
// Deviant keep their value, so that requireState still tells them apart.
template <class... Path, class From>
auto* stateAlong(From* state) {
  using To = std::remove_pointer_t<decltype(along<From, Path...>(state))>;
  if (!Deviant::isRealState(state)) return reinterpret_cast<To*>(state);
  return along<From, Path...>(state);
}

// The state that answers a read or takes a write of a property of Intf's level.
template <class Intf>
Intf* readState(const Intf* self, Deviant d) {
  return Kelpa::requireState(self->getReadDeviantI(d, self));
}
template <class Intf>
Intf* writeState(const Intf* self, Deviant d) {
  return Kelpa::requireState(self->getWriteDeviantI(d, self));
}

// setY of a single value with a presence bit: an equal value present already is no
// write at all (no copy into a deviant, no undo record).
template <class Intf, class V>
void setValue(Intf* self, Deviant d, const V& value, bool (Intf::*has)(Deviant) const,
              V (Intf::*get)(Deviant) const, void (Intf::*set)(Deviant, const V&)) {
  const Intf* reader = readState(static_cast<const Intf*>(self), d);
  if ((reader->*has)(d) && (reader->*get)(d) == value) return;
  (writeState(static_cast<const Intf*>(self), d)->*set)(d, value);
}

// setY of a value that is always present: only the comparison is left.
template <class Intf, class V>
void setRequiredValue(Intf* self, Deviant d, const V& value, V (Intf::*get)(Deviant) const,
                      void (Intf::*set)(Deviant, const V&)) {
  if ((readState(static_cast<const Intf*>(self), d)->*get)(d) == value) return;
  (writeState(static_cast<const Intf*>(self), d)->*set)(d, value);
}

// hasY of a reference: a partner that exists in its handle's deviant.
template <class H>
bool isPresent(const H& partner) {
  return partner.isValid();
}

// setY of an end: a null or dead partner makes it a removal, the partner it has already
// changes nothing, any other goes to setOnlyY. (The partner's opposite end, once ends are
// kept, is released by removeY and taken by setY around this.)
template <class Intf, class H>
void setReference(Intf* self, Deviant d, const H& value, bool (Intf::*has)(Deviant) const,
                  H (Intf::*get)(Deviant) const, void (Intf::*setOnly)(Deviant, const H&),
                  void (Intf::*remove)(Deviant)) {
  if (!value.isValid()) {
    (self->*remove)(d);
    return;
  }
  if ((self->*has)(d) && (self->*get)(d).get() == value.get()) return;
  (self->*setOnly)(d, value);
}

// The element behind an interface pointer, as the kernel keys it: the ClassObjectIntf of
// its first-base chain, whichever base the pointer came through.
template <class Intf>
Kelpa::NSInterface::ClassObjectIntf* self(const Intf* p) {
  return Kelpa::detail::castTo<Kelpa::NSInterface::ClassObjectIntf>(
      Kelpa::primary_cast<Kelpa::ReferenceCountingIntf>(p));
}

// A derived subset: the elements of the superset's view that are Ts.
template <class T, class From>
Kelpa::Sequence<T> filteredAs(const Kelpa::ImmutableSequence<From>& superset, Deviant d) {
  return Kelpa::Sequence<T>(new Kelpa::filtered_sequence_internal::GenericFilteredSequence(
                                Kelpa::Sequence<Kelpa::Object>(superset.get(), d), d,
                                &Kelpa::detail::isA<typename T::Intf>),
                            d);
}

// A handle of the object that h holds, as another handle class.
template <class To, class From>
To handleAs(const From& h) {
  return To(static_cast<const Kelpa::ImmutableObject&>(h));
}

// The same sequence seen with another element type.
template <class To, class From>
Kelpa::Sequence<To> sequenceAs(const Kelpa::ImmutableSequence<From>& s) {
  return Kelpa::Sequence<To>(s.get(), s.getDeviant());
}

// A single-valued reference of a state: the partner's interface, holding a count on it.
template <class Intf>
class CountedRef {
 public:
  CountedRef() noexcept = default;
  CountedRef(const CountedRef& other) noexcept : fPtr(other.fPtr) { retain(fPtr); }
  CountedRef& operator=(const CountedRef& other) {
    reset(other.fPtr);
    return *this;
  }
  ~CountedRef() { release(fPtr); }

  Intf* get() const noexcept { return fPtr; }
  // Holds p instead; the count moves from the old partner to the new one.
  void reset(Intf* p = nullptr) {
    if (p == fPtr) return;
    Intf* old = fPtr;
    fPtr = p;
    retain(p);
    release(old);
  }

 private:
  static void retain(Intf* p) {
    if (p) Kelpa::primary_cast<Kelpa::ReferenceCountingIntf>(p)->incRef();
  }
  static void release(Intf* p) {
    if (p) Kelpa::primary_cast<Kelpa::ReferenceCountingIntf>(p)->decRef();
  }

  Intf* fPtr = nullptr;
};

// The stored sequence of a multi-valued property of values (instantiated once, in the
// library, for each value type that a property holds).
template <class T>
using ValueSequence = Kelpa::MultiIndexImplInternal::MultiIndexImplForPrimitives<T>;

// The creators of a class's states, for its ElementOps.
template <class State>
Kelpa::NSInterface::ObjectIntf* newState() {
  return Kelpa::primary_cast<Kelpa::NSInterface::ObjectIntf>(new State());
}
// The id of the next object of the model; the first steps of every create.
inline Kelpa::Integer newObjectId(const Kelpa::Model& model) {
  const Deviant d = model.getDeviant();
  if (Kelpa::DeviantAssertions::sAssertionsEnabled) d.internal_assertWritable(nullptr);
  if (model.isNull()) Kelpa::raiseNullRef();
  return model->nextObjectId(d);
}

// Creation: the identity enters the model, gets its first state in the creating
// deviant, an id, its model and a place among the model's root objects.
template <class Handle, class Impl>
Handle createElement(const Kelpa::Model& model, const Kelpa::Integer& id) {
  const Deviant d = model.getDeviant();
  if (Kelpa::DeviantAssertions::sAssertionsEnabled) d.internal_assertWritable(nullptr);
  auto* impl = new Impl();
  impl->enterModel(d);
  Handle result(impl, d);
  if (model.isNull()) Kelpa::raiseNullRef();
  Kelpa::ClassObject asClassObject(Kelpa::primary_cast<Kelpa::NSInterface::ClassObjectIntf>(impl),
                                   d);
  model->bindObjectId(d, asClassObject, id);
  asClassObject->setModelKelpa(d, model);
  // The model's root objects are the root deviant's, as containment keeps them.
  if (d.getDeviantId() == 0) model->getRootObjects(d).push_back(asClassObject);
  return result;
}

template <class Handle, class Impl>
Handle createElement(const Kelpa::Model& model) {
  return createElement<Handle, Impl>(model, newObjectId(model));
}

// The interface's getRuvoName: an interface is never asked, only its objects are.
[[noreturn, gnu::cold]] void raiseInternalError(const char* interfacePath, int line);

// One visitor name of an interface.
struct ClassName {
  const char* name;
  const CV::ClassInfo& (*info)();
};
// "zorbel.ImmutableX" and then "zorbel.X" of every class, in the order of the type table
// (generated from the metamodel).
std::span<const ClassName> classNames();

}  // namespace zorbel::detail

#pragma GCC visibility pop
