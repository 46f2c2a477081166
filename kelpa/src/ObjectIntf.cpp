#include <Kelpa/ElementBase.h>
#include <Kelpa/ObjectIntf.h>

#include <map>

#include <Kelpa/Asserter.h>
#include <Kelpa/Model.h>

namespace Kelpa {

namespace {
constexpr Where kDeviationsSource{"kelpa/kernel/deviant/Deviations"};

// The process-wide map of external ids, keyed by state.
std::map<const NSInterface::ClassObjectIntf*, String>& externalIds() {
  static auto* map = new std::map<const NSInterface::ClassObjectIntf*, String>();
  return *map;
}
}  // namespace

namespace NSInterface {

void ObjectIntf::destroyLinks(Deviant) {}
void ObjectIntf::destroyObject(Deviant, bool) {}
void ObjectIntf::destroy(Deviant) {}
bool ObjectIntf::deviant_isValid(Deviant) const { return true; }
void ObjectIntf::deviant_destroyState(ObjectIntf*) {}
void ObjectIntf::deviant_markModelDestroyed() {}
void ObjectIntf::deviant_commitTransientState(Deviant) {}
ObjectIntf* ObjectIntf::deviant_getCopyOfDeviation(Deviant) { return nullptr; }
ObjectIntf* ObjectIntf::internal_getDeviation(Deviant) const { return nullptr; }
void ObjectIntf::internal_setDeviation(Deviant, ObjectIntf*) {}
ObjectIntf* ObjectIntf::internal_createDeviation(Deviant) { return nullptr; }
void ObjectIntf::internal_destroyDeviation(Deviant) {}
void ObjectIntf::internal_deviationAssign(Deviant, ObjectIntf*, Deviant) {}
Deviant ObjectIntf::getRootDeviant() const { return Deviant(); }

Kelpa::String ObjectIntf::toString(Deviant) const {
  std::string text = getRuvoName(false);
  if (const auto* element = detail::castTo<const ClassObjectIntf>(this))
    text += "#" + std::to_string(element->getId().getValue());
  return Kelpa::String(text);
}

ObjectIntf* ObjectIntf::getReadDeviantI(Deviant, const ObjectIntf*) const { return nullptr; }
ObjectIntf* ObjectIntf::getWriteDeviantI(Deviant, const ObjectIntf*) const { return nullptr; }

ClassObjectIntf* ClassObjectIntf::getReadDeviantI(Deviant, const ClassObjectIntf*) const {
  return nullptr;
}
ClassObjectIntf* ClassObjectIntf::getWriteDeviantI(Deviant, const ClassObjectIntf*) const {
  return nullptr;
}

ClassObjectIntf* ClassObjectIntf::readStateOrRaise(Deviant d) const {
  return requireState(getReadDeviantI(d, static_cast<const ClassObjectIntf*>(nullptr)));
}
ClassObjectIntf* ClassObjectIntf::writeStateOrRaise(Deviant d) const {
  return requireState(getWriteDeviantI(d, static_cast<const ClassObjectIntf*>(nullptr)));
}

bool ClassObjectIntf::hasModelKelpa(Deviant d) const { return readStateOrRaise(d)->hasModelKelpa(d); }
void ClassObjectIntf::removeModelKelpa(Deviant d) { writeStateOrRaise(d)->removeModelKelpa(d); }
void ClassObjectIntf::setModelKelpa(Deviant d, const Model& model) {
  writeStateOrRaise(d)->setModelKelpa(d, model);
}
Model ClassObjectIntf::getModelKelpa(Deviant d) const { return readStateOrRaise(d)->getModelKelpa(d); }
void ClassObjectIntf::removeOnlyModelKelpa(Deviant d) {
  writeStateOrRaise(d)->removeOnlyModelKelpa(d);
}
void ClassObjectIntf::setOnlyModelKelpa(Deviant d, const Model& model) {
  writeStateOrRaise(d)->setOnlyModelKelpa(d, model);
}

bool ClassObjectIntf::hasContainerKelpa(Deviant d) const {
  return readStateOrRaise(d)->hasContainerKelpa(d);
}
void ClassObjectIntf::removeContainerKelpa(Deviant d) {
  writeStateOrRaise(d)->removeContainerKelpa(d);
}
void ClassObjectIntf::setContainerKelpa(Deviant d, const ClassObject& container) {
  writeStateOrRaise(d)->setContainerKelpa(d, container);
}
ClassObject ClassObjectIntf::getContainerKelpa(Deviant d) const {
  return readStateOrRaise(d)->getContainerKelpa(d);
}
void ClassObjectIntf::removeOnlyContainerKelpa(Deviant d) {
  writeStateOrRaise(d)->removeOnlyContainerKelpa(d);
}
void ClassObjectIntf::setOnlyContainerKelpa(Deviant d, const ClassObject& container) {
  writeStateOrRaise(d)->setOnlyContainerKelpa(d, container);
}

// The external id lives in the sparse map under the state, so that each deviant's
// state has its own.
bool ClassObjectIntf::hasExternalId(Deviant d) const {
  return externalIds().count(readStateOrRaise(d)->sparseKey()) != 0;
}
void ClassObjectIntf::removeExternalId(Deviant d) {
  externalIds().erase(writeStateOrRaise(d)->sparseKey());
}
void ClassObjectIntf::setExternalId(Deviant d, const Kelpa::String& id) {
  const ClassObjectIntf* key = writeStateOrRaise(d)->sparseKey();
  if (id.empty())
    externalIds().erase(key);
  else
    externalIds()[key] = id;
}
Kelpa::String ClassObjectIntf::getExternalId(Deviant d) const {
  auto& map = externalIds();
  auto it = map.find(readStateOrRaise(d)->sparseKey());
  return it == map.end() ? Kelpa::String() : it->second;
}

}  // namespace NSInterface

namespace detail {

void raiseNoIdOnState(const char* path, int line) {
  raise(Where{path}, line, "this code should not be hit");
}

void raiseRefCountUnderflow(const char* path, int line) {
  raise(Where{path}, line, "Decrementing the ref count of a ref with count already 0");
}

void raiseNoState(const void* slot) {
  if (slot == Deviant::ModelDestroyed)
    raise(kDeviationsSource, __LINE__, "object accessed after its model has been destroyed");
  raise(Where{"kelpa/kernel/deviant/Deviant"}, __LINE__, "object is not present in this deviant");
}

void eraseSparseEntries(const NSInterface::ClassObjectIntf* state) noexcept {
  externalIds().erase(state);
}

std::size_t externalIdCount() { return externalIds().size(); }

}  // namespace detail
}  // namespace Kelpa
