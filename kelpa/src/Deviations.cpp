#include <Kelpa/Deviations.h>

#include <vector>

#include <Kelpa/Asserter.h>

#include "ModelImpl.h"

namespace Kelpa {

namespace {
constexpr Where kSource{"kelpa/kernel/deviant/Deviations"};
using NSInterface::ObjectIntf;

bool isSentinel(const ObjectIntf* p) {
  return p && !Deviant::isRealState(p);
}

// A slot value for another slot: a real state is copied into a default one, null and
// sentinels stand as they are. States ignore the deviants of an assignment.
ObjectIntf* copyState(const ElementOps& ops, ObjectIntf* v) {
  if (!Deviant::isRealState(v)) return v;
  ObjectIntf* copy = ops.create();
  copy->internal_deviationAssign(Deviant(), v, Deviant());
  return copy;
}
}  // namespace

// States are handed around as the address of the class's interface; a state coming
// from a kernel table is turned into that with the class's stateTag.
ObjectIntf* DeviationsCore::castState(const ElementOps& ops, ObjectIntf* slot) const {
  if (!Deviant::isRealState(slot)) return slot;
  return primary_cast<ObjectIntf>(slot->cast(ops.stateTag()));
}

// The deviant's table is read in place: this is the path of every read in a deviation.
ObjectIntf* DeviationsCore::slotOf(Deviant d) const {
  if (d.getDeviantId() == 0) return rootState;
  const detail::DeviantTables* tables = d.data()->tables;
  if (!tables) return nullptr;
  ObjectIntf* const* state = tables->states.find(object);
  return state ? *state : nullptr;
}

void DeviationsCore::storeSlot(Deviant d, ObjectIntf* value) {
  if (d.getDeviantId() == 0)
    rootState = value;
  else
    d.setStateOfObject(object, value);
}

void DeviationsCore::checkEntry(Deviant& d, Deviant root) const {
  if (__builtin_expect(rootState != Deviant::ModelDestroyed && d.isValid() &&
                           root.getDeviantId() == 0 && !root.isNull() &&
                           (d == root || d.getRootDeviant() == root),
                       true))
    return;
  if (rootState == Deviant::ModelDestroyed)
    Asserter::MakeAlways<Exception>("object accessed after its model has been destroyed")
        .handle(kSource.path, __LINE__, "");
  if (!d.isValid())
    Asserter::MakeAlways<Exception>("object accessed after its deviant has been removed")
        .handle(kSource.path, __LINE__, "");
  if (root.isNull() || root.getDeviantId() != 0)
    Asserter::Make<Exception>(false,
                              "Internal assertion without a message detected! Please fix me asap")
        .handle(kSource.path, __LINE__, "");
  // A deviant of another model: the access goes to the object's own root deviant.
  if (d != root && d.getRootDeviant() != root) d = root;
}

ObjectIntf* DeviationsCore::stateIn(const ElementOps& ops, Deviant d) const {
  return d.getDeviantId() == 0 ? rootState : castState(ops, d.getStateOfObject(object));
}

ObjectIntf* DeviationsCore::committedRootState(const ElementOps& ops, Deviant d) const {
  ObjectIntf* saved = d.getRootDeviant().getSavedOldStateOfObject(object);
  if (!saved) return rootState;
  if (isSentinel(saved)) return saved;
  ObjectIntf* s = castState(ops, saved);
  return s ? s : rootState;
}

ObjectIntf* DeviationsCore::effectiveState(const ElementOps& ops, Deviant d) const {
  ObjectIntf* s = stateIn(ops, d);
  if (!s || s == Deviant::FallbackToRoot) return committedRootState(ops, d);
  return s;
}

// Slots hold states as the class made them (internal_setDeviation casts what it stores),
// so that a read takes the slot as it stands.
ObjectIntf* DeviationsCore::readStateSlow(const ElementOps& ops, Deviant d, Deviant root) const {
  checkEntry(d, root);
  ObjectIntf* v = slotOf(d);
  if (v == Deviant::InvalidObject) {
    d.assertObjectNotPresentInDeviant(object);
  }
  if (v && v != Deviant::FallbackToRoot) return v;  // a state, or ModelDestroyed
  ObjectIntf* saved = d.getRootDeviant().getSavedOldStateOfObject(object);
  if (saved == Deviant::InvalidObject) d.assertObjectNotPresentInDeviant(object);
  if (saved == Deviant::FallbackToRoot || saved == Deviant::ModelDestroyed) return saved;
  if (saved) {
    if (ObjectIntf* s = castState(ops, saved)) return s;
  }
  if (!rootState || rootState == Deviant::InvalidObject) d.assertObjectNotPresentInDeviant(object);
  return rootState;
}

ObjectIntf* DeviationsCore::writeStateSlow(const ElementOps& ops, Deviant d, Deviant root) {
  checkEntry(d, root);
  if (DeviantAssertions::sAssertionsEnabled) d.internal_assertWritable(object);
  ObjectIntf* v = slotOf(d);
  if (v && v != Deviant::FallbackToRoot) {
    if (v == Deviant::InvalidObject) d.assertObjectNotPresentInDeviant(object);
    shareRootState(ops, d);
    if (d.hasUndoStack() && d.isWithinTransaction() && !d.getSavedOldStateOfObject(object))
      d.saveOldStateOfObject(object, copyState(ops, v));
    return v;
  }
  // Copy on write: the first write in a deviant takes a private copy of what the
  // deviant saw so far.
  ObjectIntf* const old = v;
  ObjectIntf* s = committedRootState(ops, d);
  ObjectIntf* copy = copyState(ops, s);
  storeSlot(d, copy);
  if (d.hasUndoStack() && d.isWithinTransaction() && !d.getSavedOldStateOfObject(object))
    d.saveOldStateOfObject(object, old);
  return copy;
}

bool DeviationsCore::isValidIn(const ElementOps& ops, Deviant d) const {
  if (rootState == Deviant::ModelDestroyed) return false;
  if (!d.isValid()) return false;
  // The root's slot is the root state itself, made by ops (as readState takes it):
  // only a deviation's entry is cast.
  ObjectIntf* v = d.getDeviantId() == 0 ? rootState : castState(ops, slotOf(d));
  if (v && v != Deviant::FallbackToRoot) return v != Deviant::InvalidObject;
  ObjectIntf* saved = d.getRootDeviant().getSavedOldStateOfObject(object);
  if (saved == Deviant::InvalidObject) return false;
  if (saved == Deviant::FallbackToRoot || saved == Deviant::ModelDestroyed) return true;
  if (saved) {
    if (ObjectIntf* s = castState(ops, saved)) return s != Deviant::InvalidObject;
  }
  return rootState && rootState != Deviant::InvalidObject;
}

ObjectIntf* DeviationsCore::getDeviation(const ElementOps& ops, Deviant d) const {
  return stateIn(ops, d);
}

void DeviationsCore::setDeviation(const ElementOps& ops, Deviant d, ObjectIntf* state) {
  ObjectIntf* old = stateIn(ops, d);
  if (Deviant::isRealState(old)) delete old;
  storeSlot(d, castState(ops, state));
}

ObjectIntf* DeviationsCore::createDeviation(const ElementOps& ops, Deviant d) {
  ObjectIntf* old = stateIn(ops, d);
  if (Deviant::isRealState(old)) return nullptr;
  ObjectIntf* s = ops.create();
  storeSlot(d, s);
  return s;
}

void DeviationsCore::destroyDeviation(const ElementOps& ops, Deviant d) {
  shareRootState(ops, d);
  ObjectIntf* old = stateIn(ops, d);
  // Within a transaction the state the object had is what abandoning or undoing it
  // brings back: the first time, the state itself goes to the saved states.
  if (d.hasUndoStack() && d.isWithinTransaction() && !d.getSavedOldStateOfObject(object))
    d.saveOldStateOfObject(object, old);
  else if (Deviant::isRealState(old))
    delete old;
  storeSlot(d, Deviant::InvalidObject);
}

// A change of the root outside a transaction is committed at once: the deviations that
// still read the root's state of the object keep what they read.
void DeviationsCore::shareRootState(const ElementOps& ops, Deviant d) {
  if (d.getDeviantId() == 0 && d.data()->shared && !d.isWithinTransaction())
    commitTransientState(ops, d);
}

void DeviationsCore::commitTransientState(const ElementOps& ops, Deviant d) {
  if (!d.data()->shared) return;  // no deviation reads the root
  std::vector<Deviant> all;
  d.getAllDeviants(all);
  ObjectIntf* old = nullptr;
  if (ObjectIntf* saved = d.getRootDeviant().getSavedOldStateOfObject(object))
    old = castState(ops, saved);
  if (!old) old = rootState;
  if (!old) return;
  for (Deviant other : all) {
    if (other == d) continue;
    if (other.isWithinTransaction() &&
        castState(ops, other.getSavedOldStateOfObject(object)) == Deviant::FallbackToRoot) {
      // The deviant's transaction keeps the state it read until now as its old state.
      other.saveOldStateOfObject(object, copyState(ops, old));
      return;
    }
    // What the deviant's transaction and history saved as read from the root was old.
    detail::keepRootReadings(other, object,
                             [&] { return copyState(ops, old); });
    ObjectIntf* slot = castState(ops, slotOf(other));
    if (slot && slot != Deviant::FallbackToRoot) continue;
    storeSlot(other, copyState(ops, old));
  }
}

void DeviationsCore::destroyState(const ElementOps& ops, ObjectIntf* state) {
  ObjectIntf* s = castState(ops, state);
  if (Deviant::isRealState(s)) delete s;
}

// The caller owns the copy: a fresh state given the values of the one in d.
ObjectIntf* DeviationsCore::copyOfDeviation(const ElementOps& ops, Deviant d) {
  ObjectIntf* s = stateIn(ops, d);
  if (!Deviant::isRealState(s)) return s;
  ObjectIntf* copy = ops.create();
  copy->internal_deviationAssign(d, s, d);
  return copy;
}

void DeviationsCore::markModelDestroyed() {
  deleteRootState();
  rootState = Deviant::ModelDestroyed;
}

void DeviationsCore::deleteRootState() noexcept {
  if (Deviant::isRealState(rootState)) delete rootState;
  rootState = nullptr;
}

}  // namespace Kelpa
