#pragma once
// A model: the owner of its elements, their ids and its root deviant.
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
};

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
