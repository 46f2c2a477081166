#pragma once

#include <cstddef>
#include <list>

#include <boost/checked_delete.hpp>

namespace Tovi {

class ModuleObject {
 public:
  virtual ~ModuleObject();
};

// Keeps an object of a module. Destroying the holder leaves the object alone on purpose: objects
// that must live until the process ends are registered here. destroyObject() frees it explicitly.
template <class T, class Deleter>
class ModuleObjectImpl : public ModuleObject {
 public:
  explicit ModuleObjectImpl(T object) : fObject(object) {}
  ModuleObjectImpl(const ModuleObjectImpl&) = delete;
  ModuleObjectImpl& operator=(const ModuleObjectImpl&) = delete;
  ~ModuleObjectImpl() override = default;

  T get() const { return fObject; }
  void destroyObject() {
    if (!fObject) return;
    Deleter()(fObject);
    fObject = T();
  }

 private:
  T fObject;
};

// Owns ModuleObjects and deletes them, oldest first, when it goes.
class ModuleObjectDeleter {
 public:
  ModuleObjectDeleter();
  ModuleObjectDeleter(const ModuleObjectDeleter&) = delete;
  ModuleObjectDeleter& operator=(const ModuleObjectDeleter&) = delete;
  ~ModuleObjectDeleter();

  // Takes ownership; a null object is ignored.
  void add(ModuleObject* object);
  std::size_t size() const { return fObjects.size(); }

  template <class T>
  void registerForCleanup_toBeUsedOnlyByKelpaCoopVisitor(T* p) {
    add(new ModuleObjectImpl<T*, boost::checked_deleter<T>>(p));
  }

 private:
  std::list<ModuleObject*> fObjects;
};

}  // namespace Tovi
