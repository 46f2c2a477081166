#include <Kelpa/Cleanup.h>
#include <Kelpa/Visitor.h>

#include <unordered_set>

namespace Kelpa {

namespace {
int gMetaRegistrySections = 0;
int gCagerDepth = 0;

// Process-lifetime: objects may be retracted from destructors that run at exit.
std::unordered_set<const ReferenceCountingIntf*>& registry() {
  static auto* set = new std::unordered_set<const ReferenceCountingIntf*>();
  return *set;
}
}  // namespace

void Cleanup::beginMetaRegistrySection() {
  ++gMetaRegistrySections;
}
void Cleanup::endMetaRegistrySection() {
  if (gMetaRegistrySections > 0) --gMetaRegistrySections;
}
bool Cleanup::isInMetaRegistrySection() {
  return gMetaRegistrySections > 0;
}

ReferenceCountingIntf::~ReferenceCountingIntf() {
  if (fRegistered) DeviantRegistry::retract(this);
}

void ReferenceCountingIntf::getListOfReferences(std::vector<const ReferenceCountingIntf*>&) const {}

VisitMethod ReferenceCountingIntf::getVisitMethod(const VisitTable&) const {
  return {};
}

ReferenceCountingIntf* ReferenceCountingIntf::cast(const ClassInfo&) const {
  return nullptr;
}

void DeviantRegistry::enter(ReferenceCountingIntf* object) {
  registry().insert(object);
  object->fRegistered = true;
}

void DeviantRegistry::retract(ReferenceCountingIntf* object) noexcept {
  registry().erase(object);
  object->fRegistered = false;
}

bool DeviantRegistry::contains(const ReferenceCountingIntf* object) {
  return registry().count(object) != 0;
}

Cager::Cager() noexcept {
  ++gCagerDepth;
}
Cager::~Cager() {
  --gCagerDepth;
}
int Cager::depth() noexcept {
  return gCagerDepth;
}

}  // namespace Kelpa
