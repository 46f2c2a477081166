#include "Tovi/ModuleObject.h"

#include <memory>

namespace Tovi {

ModuleObject::~ModuleObject() = default;

ModuleObjectDeleter::ModuleObjectDeleter() = default;

ModuleObjectDeleter::~ModuleObjectDeleter() {
  for (ModuleObject* object : fObjects) delete object;
}

void ModuleObjectDeleter::add(ModuleObject* object) {
  std::unique_ptr<ModuleObject> owned(object);  // not lost if push_back throws
  if (owned) {
    fObjects.push_back(owned.get());
    owned.release();
  }
}

}  // namespace Tovi
