#pragma once
// The kernel's model: ids, membership, root objects and the deviants of the model.
#include <functional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <Kelpa/Model.h>
#include <Kelpa/MultiIndexImpl.h>

#include "PointerMap.h"
#include "RootObjectList.h"

namespace Kelpa::detail {

// One object's state kept aside: an old state saved in a transaction, or a state of an
// undo or redo record. The entry counts the object and owns the state.
struct SavedState {
  NSInterface::ClassObjectIntf* object;
  NSInterface::ObjectIntf* state;
};
using UndoRecord = std::vector<SavedState>;

// What a deviant keeps besides its word. A state in states or in a record belongs to
// the table, and every object with an entry is counted by it, so that an element only
// a deviant still knows stays alive while it does.
struct DeviantTables {
  ~DeviantTables();  // releases every state and object
  PointerMap<NSInterface::ClassObjectIntf, NSInterface::ObjectIntf*> states;
  // The old states saved in the open transaction, in the order they were saved.
  UndoRecord saved;
  PointerMap<NSInterface::ClassObjectIntf, std::size_t> savedAt;
  // The entry of saved last asked for or made: writes come in runs on one element (its
  // id, its values, its place), and a large transaction's table is far from the cache.
  // Cleared with saved; an object in saved is counted, so its address names it alone.
  mutable const NSInterface::ClassObjectIntf* lastSaved = nullptr;
  mutable std::size_t lastSavedAt = 0;
  std::vector<UndoRecord> undo;
  std::vector<UndoRecord> redo;
  // Objects that an undo or redo record may hold as a null state, that is, read from the
  // root: a filter for keepRootReadings, never thinned.
  std::unordered_set<const NSInterface::ClassObjectIntf*> readsRoot;
};

// The root is about to change object: each entry of d's open transaction and of its undo
// and redo records that holds object as a null state (d read the root's state there) gets
// a state of its own from make, so that abandoning, undoing or redoing brings back what d
// read and not the root as it will be.
void keepRootReadings(Deviant d, const NSInterface::ClassObjectIntf* object,
                      const std::function<NSInterface::ObjectIntf*()>& make);

// Releases the states and objects of a record.
void releaseRecord(UndoRecord& record) noexcept;

// A new deviant record; records live as long as the process, so that a deviant word
// of a removed deviant or a destroyed model stays answerable.
DeviantData* newDeviantData(std::uint32_t id, DeviantData* root, NSInterface::ModelIntf* model);

class ModelImpl final : public NSInterface::ModelIntf {
 public:
  ModelImpl();
  ~ModelImpl() override;

  // Handles count a model so that a destroyed model is freed with its last handle; a
  // live model is never freed by its count.
  void incRef() override { ++fRefCount; }
  void decRef() override;
  int numRef() const override { return fRefCount; }
  ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  bool deviant_isValid(Deviant d) const override;
  Deviant getRootDeviant() const override { return fAnswersRoot ? Deviant(fRoot) : Deviant(); }
  // The meta-registry's model keeps its root deviant to itself: objects of the registry
  // belong to no model's deviants, and handles on it keep the deviant they are given.
  void answerNoRootDeviant() noexcept { fAnswersRoot = false; }
  std::string getRuvoName(bool immutable) const override;
  Object getEmptyValue() override;

  bool hasId() const override { return true; }
  void removeId() override {}
  void setId(const Integer&) override {}
  Integer getId() const override { return Integer(0); }

  // A model is its own state for the kernel members, and has neither.
  bool hasModelKelpa(Deviant) const override { return false; }
  void removeModelKelpa(Deviant) override {}
  void setModelKelpa(Deviant, const Model&) override {}
  Model getModelKelpa(Deviant) const override;
  bool hasContainerKelpa(Deviant) const override { return false; }
  void removeContainerKelpa(Deviant) override {}
  void setContainerKelpa(Deviant, const ClassObject&) override {}
  ClassObject getContainerKelpa(Deviant) const override;
  ClassObjectIntf* getReadDeviantI(Deviant, const ClassObjectIntf*) const override;
  ClassObjectIntf* getWriteDeviantI(Deviant, const ClassObjectIntf*) const override;
  using ClassObjectIntf::getReadDeviantI;
  using ClassObjectIntf::getWriteDeviantI;

  Integer nextObjectId(Deviant d) override;
  void bindObjectId(Deviant d, const ClassObject& object, const Integer& id) override;
  Sequence<ClassObject> getRootObjects(Deviant d) override;
  Sequence<ClassObject> getTopPackages(Deviant d) override;
  ClassObject findObjectById(Deviant d, const Integer& id) const override;
  std::size_t numberOfObjects() const override { return fObjectCount; }
  void destroyModel() override;

  Deviant createDeviant(bool undo) override;
  void removeDeviant(Deviant d) override;
  void undo(Deviant d) override;
  void redo(Deviant d) override;
  bool canUndo(Deviant d) const override;
  bool canRedo(Deviant d) const override;

  RootObjectList& rootObjects() noexcept { return fRootObjects; }
  void addObject(NSInterface::ClassObjectIntf* object);
  void removeObject(NSInterface::ClassObjectIntf* object);
  const std::vector<DeviantData*>& deviants() const { return fDeviants; }
  // Puts the states of record back in d; with keepCurrent, the states they replace take
  // their place in the record (undo and redo), else the record is left empty of states.
  void putBack(Deviant d, UndoRecord& record, bool keepCurrent);

 private:
  DeviantData* fRoot;
  int fRefCount = 0;
  bool fDestroyed = false;
  std::vector<DeviantData*> fDeviants;  // the root first
  std::uint32_t fLastDeviantId = 0;
  // An element of the root deviant is one of the root objects exactly when it exists
  // there and has no container; after states were put back wholesale, this says so again.
  bool isRootObject(NSInterface::ClassObjectIntf* object) const;
  void refreshRootObject(NSInterface::ClassObjectIntf* object, bool was);
  // Whether each object of record is a root object now.
  std::vector<bool> rootObjectsOf(const UndoRecord& record) const;
  // Undo (back) or redo one committed transaction of d.
  void step(Deviant d, bool back);
  std::int32_t fLastId = 0;
  // Elements by id: ids from nextObjectId are dense and index a vector, others go to a
  // map. An element is entered before it gets its id: it waits in fPending (creation
  // binds it at once) or, should another come first, in fUnbound.
  NSInterface::ClassObjectIntf*& slotOf(std::int32_t id);
  NSInterface::ClassObjectIntf* find(std::int32_t id) const;
  void forEachObject(const std::function<void(NSInterface::ClassObjectIntf*)>& f) const;

  std::vector<NSInterface::ClassObjectIntf*> fDense;
  std::unordered_map<std::int32_t, NSInterface::ClassObjectIntf*> fSparse;
  NSInterface::ClassObjectIntf* fPending = nullptr;
  std::unordered_set<NSInterface::ClassObjectIntf*> fUnbound;
  std::size_t fObjectCount = 0;
  RootObjectList fRootObjects{&MultiIndexImplForRefsHelper::traits<ClassObject>};
  MultiIndexImpl<ClassObject> fTopPackages;
  bool fAnswersRoot = true;
};

// The root objects of model as the kernel keeps them, or null for a model of another
// implementation (whose getRootObjects is then the way in).
RootObjectList* rootObjectsOf(NSInterface::ModelIntf* model);

}  // namespace Kelpa::detail
