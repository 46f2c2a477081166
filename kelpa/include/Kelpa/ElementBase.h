#pragma once
// What every concrete metaclass's identity and state classes share, written once:
//
//   ElementIdentity<Intf, Ops>  the identity object (XImpl): reference count, object
//                               id, root deviant and the Deviations block;
//   ElementState<Intf, Ops>     the state object (XDeviantImpl): the kernel's model and
//                               container members, and the operations a state refuses.
//
// Ops is the class's ElementOps record. The metaclass's own classes derive from these
// and add only their accessors, members and per-level resolvers.
#include <cstdint>
#include <typeinfo>

#include <Kelpa/Containment.h>
#include <Kelpa/Deviations.h>
#include <Kelpa/Meta.h>
#include <Kelpa/Model.h>
#include <Kelpa/MultiIndexImpl.h>
#include <Kelpa/MultiIndexPrimitives.h>
#include <Tovi/SmallObjects.h>

namespace Kelpa {

namespace detail {
// Raises "this code should not be hit" at path: a state has no id.
[[noreturn, gnu::cold]] void raiseNoIdOnState(const char* path, int line);
// Raises the ref-count underflow message at path.
[[noreturn, gnu::cold]] void raiseRefCountUnderflow(const char* path, int line);
// Raises for a state slot that cannot be read or written through (a model that is
// gone, an object absent from the deviant).
[[noreturn, gnu::cold]] void raiseNoState(const void* slot);
// Erases the sparse entries of a dying state.
void eraseSparseEntries(const NSInterface::ClassObjectIntf* state) noexcept;
// The sparse steps of a state assignment: to's entry is made equal to from's.
void assignStereotypes(const NSInterface::ClassObjectIntf* from,
                       const NSInterface::ClassObjectIntf* to);
void assignExternalId(const NSInterface::ClassObjectIntf* from,
                      const NSInterface::ClassObjectIntf* to);
void assignToolInfos(const NSInterface::ClassObjectIntf* from,
                     const NSInterface::ClassObjectIntf* to);
// Number of entries in the process-wide external id map.
std::size_t externalIdCount();
// Number of entries in the two sparse sequence maps.
std::size_t sparseSequenceCount();
}  // namespace detail

// The presence bits of a state: one per optional single value, at most kCapacity.
class PresenceBits {
 public:
  static constexpr unsigned kCapacity = 16;
  bool has(unsigned bit) const noexcept { return (fBits >> bit) & 1u; }
  void set(unsigned bit) noexcept { fBits = static_cast<std::uint16_t>(fBits | (1u << bit)); }
  void clear(unsigned bit) noexcept { fBits = static_cast<std::uint16_t>(fBits & ~(1u << bit)); }
  void assign(unsigned bit, bool present) noexcept { present ? set(bit) : clear(bit); }

 private:
  std::uint16_t fBits = 0;
};

// The steps of a state assignment, one per stored member. Each compares first, so that
// equal values stay as they are, and each stands alone: a kernel failure within one
// member (Kelpa::Exception) leaves that member as it was and the walk goes on.
namespace assignment {
#pragma GCC visibility push(hidden)
template <class Step>
inline void guarded(Step&& step) {
  try {
    step();
  } catch (const Exception&) {
  }
}
// A value without presence bit.
template <class V>
void required(V& t, const V& s) {
  guarded([&] {
    if (!(t == s)) t = s;
  });
}
// A value with presence bit: absent in the source is reset and absent in the target.
template <class V>
void optional(PresenceBits& tBits, V& t, const PresenceBits& sBits, const V& s, unsigned bit) {
  guarded([&] {
    if (!sBits.has(bit)) {
      t = V();
      tBits.clear(bit);
    } else if (!tBits.has(bit) || !(t == s)) {
      t = s;
      tBits.set(bit);
    }
  });
}
// A counted reference without presence bit; the count moves only when it changes.
template <class R>
void requiredRef(R& t, const R& s) {
  guarded([&] { t.reset(s.get()); });
}
template <class R>
void optionalRef(PresenceBits& tBits, R& t, const PresenceBits& sBits, const R& s, unsigned bit) {
  guarded([&] {
    if (!sBits.has(bit)) {
      t.reset();
      tBits.clear(bit);
    } else if (!tBits.has(bit) || t.get() != s.get()) {
      t.reset(s.get());
      tBits.assign(bit, t.get() != nullptr);
    }
  });
}
template <class T>
bool same(const MultiIndexImpl<T>& t, const MultiIndexImpl<T>& s) {
  if (t.size() != s.size()) return false;
  return t.size() == 0 || t.sequenceIntf()->generic_equal(Deviant(), s.sequenceIntf(), Deviant());
}
template <class T>
bool same(const MultiIndexImplInternal::MultiIndexImplForPrimitives<T>& t,
          const MultiIndexImplInternal::MultiIndexImplForPrimitives<T>& s) {
  return t.sameValues(s);
}
// A stored sequence, of references or of values: copied whole unless equal.
template <class Seq>
void sequence(Seq& t, const Seq& s) {
  guarded([&] {
    if (!same(t, s)) t = s;
  });
}
#pragma GCC visibility pop
}  // namespace assignment

// A resolved state that may be called through.
template <class Intf>
inline Intf* requireState(Intf* s) {
  if (__builtin_expect(!Deviant::isRealState(s), false)) detail::raiseNoState(s);
  return s;
}

template <class Intf, const ElementOps& Ops>
class ElementIdentity : public Intf {
 public:
  ElementIdentity() noexcept : fDeviations(primary_cast<NSInterface::ClassObjectIntf>(this)) {}
  ElementIdentity(const ElementIdentity&) = delete;
  ElementIdentity& operator=(const ElementIdentity&) = delete;

  ~ElementIdentity() override {
    ++fRefCount;  // removeObjectFromModel must not delete this a second time
    if (!fRootDeviant.isNull())
      fRootDeviant.removeObjectFromModel(primary_cast<NSInterface::ClassObjectIntf>(this));
    --fRefCount;
    fDeviations.deleteRootState();
  }

  void incRef() override { ++fRefCount; }
  void decRef() override {
    if (fRefCount < 1) detail::raiseRefCountUnderflow(Ops.implPath, __LINE__);
    if (fRefCount-- == 1) delete this;
  }
  int numRef() const override { return fRefCount; }

  MetaHandle<NSInterface::ClassIntf> getMetaClass() const override {
    if (!Ops.metaclass) return Intf::getMetaClass();
    return metaClassHandle(*Ops.metaclass());
  }
  const NSInterface::ClassIntf* getMetaClassPtr() const override {
    if (!Ops.metaclass) return Intf::getMetaClassPtr();
    return *Ops.metaclass();
  }
  const ElementEnds* getElementEnds() const override { return Ops.ends; }
  Sequence<ClassObject> getContaineeKelpas(Deviant d) override {
    Sequence<Object> s =
        detail::containeeSequence(primary_cast<NSInterface::ClassObjectIntf>(this), d, true);
    return Sequence<ClassObject>(s.get(), d);
  }
  Sequence<ClassObject> getContaineeKelpasWithoutAssociation(Deviant d) const override {
    Sequence<Object> s = detail::containeeSequence(
        const_cast<NSInterface::ClassObjectIntf*>(primary_cast<const NSInterface::ClassObjectIntf>(this)),
        d, false);
    return Sequence<ClassObject>(s.get(), d);
  }
  void destroy(Deviant d) override {
    detail::destroyElement(primary_cast<NSInterface::ClassObjectIntf>(this), d);
  }
  void destroyLinks(Deviant d) override {
    detail::destroyLinks(primary_cast<NSInterface::ClassObjectIntf>(this), d,
                         Ops.ends ? *Ops.ends : detail::kNoEnds);
  }
  void destroyObject(Deviant d, bool detach) override {
    detail::destroyObject(primary_cast<NSInterface::ClassObjectIntf>(this), d, detach,
                          Ops.ends ? *Ops.ends : detail::kNoEnds);
  }

  // Identities come from the small-object pools; the final class's size is the slot.
  static void* operator new(std::size_t n) { return Tovi::detail::allocateSmall(n); }
  static void operator delete(void* p, std::size_t n) noexcept { Tovi::detail::deallocateSmall(p, n); }

  bool deviant_isValid(Deviant d) const override { return fDeviations.isValidIn(Ops, d); }
  void deviant_destroyState(NSInterface::ObjectIntf* s) override {
    fDeviations.destroyState(Ops, s);
  }
  void deviant_markModelDestroyed() override {
    fDeviations.markModelDestroyed();
    fRootDeviant = Deviant();
  }
  void deviant_commitTransientState(Deviant d) override {
    if (d.getDeviantId() == 0) fDeviations.commitTransientState(Ops, d);
  }
  NSInterface::ObjectIntf* deviant_getCopyOfDeviation(Deviant d) override {
    return fDeviations.copyOfDeviation(Ops, d);
  }
  NSInterface::ObjectIntf* internal_getDeviation(Deviant d) const override {
    return fDeviations.getDeviation(Ops, d);
  }
  void internal_setDeviation(Deviant d, NSInterface::ObjectIntf* s) override {
    fDeviations.setDeviation(Ops, d, s);
  }
  NSInterface::ObjectIntf* internal_createDeviation(Deviant d) override {
    return fDeviations.createDeviation(Ops, d);
  }
  void internal_destroyDeviation(Deviant d) override { fDeviations.destroyDeviation(Ops, d); }
  Deviant getRootDeviant() const override { return fRootDeviant; }
  std::string getRuvoName(bool immutable) const override {
    return immutable ? Ops.immutableTypeName : Ops.typeName;
  }
  Object getEmptyValue() override { return Kelpa::String(); }

  bool hasId() const override { return true; }
  void removeId() override { fId = Integer(); }
  void setId(const Integer& id) override { fId = id; }
  Integer getId() const override { return fId; }

  NSInterface::ObjectIntf* getReadDeviantI(Deviant d,
                                           const NSInterface::ObjectIntf*) const override {
    return primary_cast<NSInterface::ObjectIntf>(readState(d));
  }
  NSInterface::ObjectIntf* getWriteDeviantI(Deviant d,
                                            const NSInterface::ObjectIntf*) const override {
    return primary_cast<NSInterface::ObjectIntf>(writeState(d));
  }
  NSInterface::ClassObjectIntf* getReadDeviantI(
      Deviant d, const NSInterface::ClassObjectIntf*) const override {
    return primary_cast<NSInterface::ClassObjectIntf>(readState(d));
  }
  NSInterface::ClassObjectIntf* getWriteDeviantI(
      Deviant d, const NSInterface::ClassObjectIntf*) const override {
    return primary_cast<NSInterface::ClassObjectIntf>(writeState(d));
  }

  // Creation: the first steps of createWithId after the identity is built.
  void enterModel(Deviant d) {
    fRootDeviant = d.getRootDeviant();
    fRootDeviant.addObjectToModel(primary_cast<NSInterface::ClassObjectIntf>(this));
    d.markObjectCreated(primary_cast<NSInterface::ClassObjectIntf>(this));
    this->internal_createDeviation(d);
  }

 protected:
  Intf* readState(Deviant d) const { return fDeviations.readState(Ops, d, fRootDeviant); }
  Intf* writeState(Deviant d) const {
    return const_cast<Deviations<Intf>&>(fDeviations).writeState(Ops, d, fRootDeviant);
  }

  Deviations<Intf> fDeviations;
  Deviant fRootDeviant;
  Integer fId{-1};
  std::int32_t fRefCount = 0;
};

template <class Intf, const ElementOps& Ops>
class ElementState : public Intf {
 public:
  ElementState() noexcept = default;
  ElementState(const ElementState&) = delete;
  ElementState& operator=(const ElementState&) = delete;
  // The class's destructor calls releaseKernel() first, before its own members go;
  // by the time this runs there is nothing left to release.
  ~ElementState() override { releaseKernel(); }

  // States come from the small-object pools as identities do.
  static void* operator new(std::size_t n) { return Tovi::detail::allocateSmall(n); }
  static void operator delete(void* p, std::size_t n) noexcept { Tovi::detail::deallocateSmall(p, n); }

  // Destruction is a matter of the identity object.
  void destroyLinks(Deviant) override {}
  void destroyObject(Deviant, bool) override {}
  void destroy(Deviant) override {}
  Object getEmptyValue() override { return Object(); }
  // A state is no element of its own.
  MetaHandle<NSInterface::ClassIntf> getMetaClass() const override { return {}; }
  bool deviant_isValid(Deviant) const override { return false; }

  bool hasId() const override { detail::raiseNoIdOnState(Ops.statePath, __LINE__); }
  void removeId() override { detail::raiseNoIdOnState(Ops.statePath, __LINE__); }
  void setId(const Integer&) override { detail::raiseNoIdOnState(Ops.statePath, __LINE__); }
  Integer getId() const override { detail::raiseNoIdOnState(Ops.statePath, __LINE__); }

  bool hasModelKelpa(Deviant) const override { return fModel != nullptr; }
  void removeModelKelpa(Deviant) override { fModel = nullptr; }
  void setModelKelpa(Deviant, const Model& model) override { fModel = model.get(); }
  Model getModelKelpa(Deviant d) const override {
    if (d.isNull() && fModel) d = primary_cast<NSInterface::ObjectIntf>(fModel)->getRootDeviant();
    return Model(fModel, d);
  }
  void removeOnlyModelKelpa(Deviant d) override { removeModelKelpa(d); }
  void setOnlyModelKelpa(Deviant d, const Model& model) override { setModelKelpa(d, model); }

  bool hasContainerKelpa(Deviant) const override { return fPresent.has(Ops.containerBit); }
  void removeContainerKelpa(Deviant) override {
    fPresent.clear(Ops.containerBit);
    setContainerPtr(nullptr);
  }
  void setContainerKelpa(Deviant, const ClassObject& container) override {
    setContainerPtr(container.get());
    fPresent.assign(Ops.containerBit, fContainer != nullptr);
  }
  ClassObject getContainerKelpa(Deviant d) const override { return ClassObject(fContainer, d); }
  void removeOnlyContainerKelpa(Deviant d) override { removeContainerKelpa(d); }
  void setOnlyContainerKelpa(Deviant d, const ClassObject& c) override { setContainerKelpa(d, c); }

 protected:
  // source as a state of the class State, or null for anything else (an identity, a
  // state of another class, a sentinel).
  template <class State>
  static const State* sourceState(NSInterface::ObjectIntf* source) {
    if (!Deviant::isRealState(source)) return nullptr;
    ReferenceCountingIntf* s = source->cast(Ops.stateTag());
    if (!s) return nullptr;
    const Intf* intf = primary_cast<const Intf>(s);
    return typeid(*intf) == typeid(State) ? static_cast<const State*>(intf) : nullptr;
  }
  // The kernel's steps of an assignment, at their place in the walk: applied stereotypes,
  // model, container, external id, tool infos.
  void assignKernel(const ElementState& s) {
    const auto* from = primary_cast<const NSInterface::ClassObjectIntf>(&s);
    const auto* to = primary_cast<const NSInterface::ClassObjectIntf>(this);
    assignment::guarded([&] { detail::assignStereotypes(from, to); });
    fModel = s.fModel;  // a model is never counted
    assignment::guarded([&] {
      if (!s.fPresent.has(Ops.containerBit)) {
        fPresent.clear(Ops.containerBit);
        setContainerPtr(nullptr);
      } else if (!fPresent.has(Ops.containerBit) || fContainer != s.fContainer) {
        setContainerPtr(s.fContainer);
        fPresent.assign(Ops.containerBit, fContainer != nullptr);
      }
    });
    assignment::guarded([&] { detail::assignExternalId(from, to); });
    assignment::guarded([&] { detail::assignToolInfos(from, to); });
  }
  // What a dying state lets go of first: its sparse entries, its container and model.
  void releaseKernel() noexcept {
    detail::eraseSparseEntries(primary_cast<NSInterface::ClassObjectIntf>(this));
    setContainerPtr(nullptr);
    fModel = nullptr;
  }

  // A state answers its sparse properties from its own entries.
  const NSInterface::ClassObjectIntf* sparseState(Deviant, bool) const override {
    return primary_cast<NSInterface::ClassObjectIntf>(this);
  }

  // The presence bits of the state's optional single values, in member order, the
  // container's at Ops.containerBit. As the first member they sit in the padding behind
  // the base's flag and take no room of their own.
  PresenceBits fPresent;

 private:
  // Models do not count references, so an element never keeps its model alive; a
  // containing element is held by a count.
  void setContainerPtr(NSInterface::ClassObjectIntf* p) {
    if (p == fContainer) return;
    NSInterface::ClassObjectIntf* old = fContainer;
    fContainer = p;
    if (counted(p)) p->incRef();
    if (counted(old)) old->decRef();
  }
  // A containing element is counted, a containing model (a Factory's) is not.
  static bool counted(const NSInterface::ClassObjectIntf* p) {
    return p && detail::castTo<NSInterface::ModelIntf>(p) == nullptr;
  }

  NSInterface::ModelIntf* fModel = nullptr;
  NSInterface::ClassObjectIntf* fContainer = nullptr;
};

}  // namespace Kelpa
