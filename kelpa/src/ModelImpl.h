#pragma once
// The kernel's model: ids, membership, root objects and the deviants of the model.
#include <functional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <Kelpa/Model.h>
#include <Kelpa/MultiIndexImpl.h>

namespace Kelpa::detail {

struct DeviantTables {
  std::unordered_map<const NSInterface::ClassObjectIntf*, NSInterface::ObjectIntf*> states;
  std::unordered_map<const NSInterface::ClassObjectIntf*, NSInterface::ObjectIntf*> saved;
  std::unordered_set<const NSInterface::ClassObjectIntf*> created;
  bool withinTransaction = false;
};

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
  Deviant getRootDeviant() const override { return Deviant(fRoot); }
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

  void addObject(NSInterface::ClassObjectIntf* object);
  void removeObject(NSInterface::ClassObjectIntf* object);
  const std::vector<DeviantData*>& deviants() const { return fDeviants; }

 private:
  DeviantData* fRoot;
  int fRefCount = 0;
  bool fDestroyed = false;
  std::vector<DeviantData*> fDeviants;  // the root first
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
  MultiIndexImpl<ClassObject> fRootObjects;
  MultiIndexImpl<ClassObject> fTopPackages;
};

}  // namespace Kelpa::detail
