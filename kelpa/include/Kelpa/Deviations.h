#pragma once
// The Deviations block of an element's identity object: its root state slot and the
// operations that pick, create, replace and delete the state of the element in a
// deviant.
//
// The root deviant's slot is rootState; the slots of other deviants lie in their
// tables, keyed by the element. A slot holds null, one of the three sentinels of
// Deviant, or a real state. States are stored as the address of the class's own
// interface (the stateTag's interface), so the root path needs no cast.
//
// The shared logic is DeviationsCore (out of line, in the kernel); the template only
// adds the class's state type.
#include <Kelpa/ObjectIntf.h>
#include <Kelpa/Visitor.h>

namespace Kelpa {

struct ElementEnds;

// What the shared code needs to know of one concrete metaclass.
struct ElementOps {
  // The class's own interface, the stateTag of its states.
  const CooperativeVisitor::internal::ClassInfo& (*stateTag)();
  // A default state.
  NSInterface::ObjectIntf* (*create)();
  const char* typeName;           // "zorbel.Comment"
  const char* immutableTypeName;  // "zorbel.ImmutableComment"
  const char* implPath;           // "zorbel/NSImplementation/CommentImpl"
  const char* statePath;          // "zorbel/NSImplementation/NSDeviant/CommentDeviantImpl"
  const char* rootMessage;        // "no root deviant passed to CommentImpl::createRootDeviation"
  unsigned containerBit;          // the presence bit of the kernel's container in a state
  // The slot of the class's metaclass in the meta-registry (null: found by type name).
  NSInterface::ClassIntf** (*metaclass)();
  // The class's composites and ends, for containment and destruction.
  const ElementEnds* ends;
};

class DeviationsCore {
 public:
  explicit DeviationsCore(NSInterface::ClassObjectIntf* self) noexcept : object(self) {}

  NSInterface::ObjectIntf* readStateSlow(const ElementOps& ops, Deviant d, Deviant root) const;
  NSInterface::ObjectIntf* writeStateSlow(const ElementOps& ops, Deviant d, Deviant root);
  NSInterface::ObjectIntf* stateIn(const ElementOps& ops, Deviant d) const;
  NSInterface::ObjectIntf* committedRootState(const ElementOps& ops, Deviant d) const;
  NSInterface::ObjectIntf* effectiveState(const ElementOps& ops, Deviant d) const;

  bool isValidIn(const ElementOps& ops, Deviant d) const;
  NSInterface::ObjectIntf* getDeviation(const ElementOps& ops, Deviant d) const;
  void setDeviation(const ElementOps& ops, Deviant d, NSInterface::ObjectIntf* state);
  NSInterface::ObjectIntf* createDeviation(const ElementOps& ops, Deviant d);
  void destroyDeviation(const ElementOps& ops, Deviant d);
  void destroyState(const ElementOps& ops, NSInterface::ObjectIntf* state);
  NSInterface::ObjectIntf* copyOfDeviation(const ElementOps& ops, Deviant d);
  // The model is gone: the root state is deleted and replaced by ModelDestroyed.
  void markModelDestroyed();
  // The root deviant d commits: every deviant that still read the root's state of the
  // object gets its own copy of what it read.
  void commitTransientState(const ElementOps& ops, Deviant d);
  // Deletes a real root state; for the identity's destructor.
  void deleteRootState() noexcept;

  NSInterface::ClassObjectIntf* object;
  NSInterface::ObjectIntf* rootState = nullptr;

 private:
  NSInterface::ObjectIntf* castState(const ElementOps& ops, NSInterface::ObjectIntf* slot) const;
  NSInterface::ObjectIntf* slotOf(Deviant d) const;
  void storeSlot(Deviant d, NSInterface::ObjectIntf* value);
  void checkEntry(Deviant& d, Deviant root) const;
  void shareRootState(const ElementOps& ops, Deviant d);
};

template <class Intf>
class Deviations : public DeviationsCore {
 public:
  using DeviationsCore::DeviationsCore;

  // The state to read in d: the deviant's own state, or the root's committed state.
  Intf* readState(const ElementOps& ops, Deviant d, Deviant root) const {
    if (d == root && Deviant::isRealState(rootState) && d.isValid())
      return primary_cast<Intf>(rootState);
    return asIntf(readStateSlow(ops, d, root));
  }
  // The state to write in d, copied from the root on the first write in a deviant.
  Intf* writeState(const ElementOps& ops, Deviant d, Deviant root) {
    if (d == root && Deviant::isRealState(rootState) && d.data()->direct)
      return primary_cast<Intf>(rootState);
    return asIntf(writeStateSlow(ops, d, root));
  }

 private:
  static Intf* asIntf(NSInterface::ObjectIntf* slot) { return primary_cast<Intf>(slot); }
};

}  // namespace Kelpa
