#pragma once
// A model: the owner of its elements, their ids and its root deviant.
#include <map>
#include <string>

#include <Kelpa/Sequence.h>
#include <Kelpa/Values.h>

#include <vector>

namespace Kelpa {

namespace NSInterface {

class ModelIntf : public ClassObjectIntf {
 public:
  using Domain = Kelpa::VisitationDomain;

  // A model has no root deviant of its own unless it says so.
  Deviant getRootDeviant() const override { return Deviant(); }

  virtual Integer nextObjectId(Deviant d) = 0;
  // Enters object under id and gives the object that id.
  virtual void bindObjectId(Deviant d, const ClassObject& object, const Integer& id) = 0;
  virtual Sequence<ClassObject> getRootObjects(Deviant d) = 0;
  virtual Sequence<ClassObject> getTopPackages(Deviant d) = 0;
  // The element bound to id, or a null handle.
  virtual ClassObject findObjectById(Deviant d, const Integer& id) const = 0;
  // Number of elements entered in the model and not yet destroyed.
  virtual std::size_t numberOfObjects() const = 0;
  // Ends the model: every element becomes a husk that raises on access, the model's
  // own references are released and its deviants become invalid. The model object
  // is freed with the last handle on it.
  virtual void destroyModel() = 0;

  // Deviants. A deviation is an alternative state of the model's elements: it reads the
  // root's state of an element until its first write of it, and from then on its own.
  // With undo, its committed transactions can be undone and redone.
  virtual Deviant createDeviant(bool undo = true) = 0;
  // The deviation and its states are gone; any access through it raises.
  virtual void removeDeviant(Deviant d) = 0;
  // Steps d back over its last committed transaction, and forward again.
  virtual void undo(Deviant d) = 0;
  virtual void redo(Deviant d) = 0;
  virtual bool canUndo(Deviant d) const = 0;
  virtual bool canRedo(Deviant d) const = 0;
};

}  // namespace NSInterface

// A transaction on the deviant of a model handle (a handle moved to a deviation with
// setDeviant begins one there). Writes between its start and commit() are one step of
// the deviant's undo stack. Destroyed without commit(), it is abandoned: every element
// it changed is put back as it was, both ends of every association included.
class Transaction {
 public:
  explicit Transaction(const ImmutableModel& model);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();
  // Puts back what the transaction changed and ends it.
  void abandon();
  bool isOpen() const noexcept { return fOpen; }
  Deviant getDeviant() const noexcept { return fDeviant; }

 private:
  Model fModel;
  Deviant fDeviant;
  bool fOpen = false;
};

// The models of the process by URI: a fresh model is bound under a URI made from
// UNTITLED, so that every model has one. A destroyed model leaves the cache.
class ModelCache {
 public:
  static ModelCache& instance();
  // The base URI of a model that was never saved.
  static const std::u16string UNTITLED;

  // A URI formed from base that no model in the cache has: base followed by a number.
  std::u16string getNextAvailableModelUri(const std::u16string& base) const;
  // Records model under uri, in place of any model bound there before.
  void bindModel(const std::u16string& uri, const Model& model);
  // The model bound under uri, or a null handle.
  Model findModel(const std::u16string& uri) const;
  // Takes out every binding of the model.
  void unbindModel(const NSInterface::ModelIntf* model);

 private:
  void unbindUri(const NSInterface::ModelIntf* model, const std::u16string& uri);

  std::map<std::u16string, NSInterface::ModelIntf*> fModels;
  std::multimap<const NSInterface::ModelIntf*, std::u16string> fUris;
  mutable std::map<std::u16string, unsigned> fNext;
};

class ClipboardManagerImpl;

// The process clipboard: elements and values put aside by a client, emptied at teardown.
class ClipboardManager {
 public:
  static ClipboardManagerImpl& instance();
};

class ClipboardManagerImpl {
 public:
  void put(const Object& value) { fContents.push_back(value); }
  const std::vector<Object>& contents() const noexcept { return fContents; }
  bool empty() const noexcept { return fContents.empty(); }
  void clear() { fContents.clear(); }

 private:
  std::vector<Object> fContents;
};

namespace NSInterface {

class FactoryIntf {
 public:
  // A new, empty model; its handle carries the model's root deviant (id 0).
  static Model createNewModel();
};

}  // namespace NSInterface

// Starts the kernel; idempotent.
bool initialize();
// One debug line to the kernel's log (also to stderr when KELPA_LOG_DEBUG is set).
void kelpaLogDebug(const char* format, ...) __attribute__((format(printf, 1, 2)));
bool isInitialized();

// The lines logged so far in this process, each with whether the kernel had been
// initialised when it was written.
struct LogEntry {
  std::string text;
  bool kernelInitialized;
};
std::vector<LogEntry> kelpaLogDebugEntries();

}  // namespace Kelpa
