#include <Kelpa/Containment.h>
#include <Kelpa/ElementBase.h>
#include <Kelpa/ObjectIntf.h>

#include <unordered_map>

#include <Kelpa/Asserter.h>
#include <Kelpa/Model.h>
#include <Kelpa/MultiIndexImpl.h>
#include <Kelpa/detail/MultiIndexPrimitivesImpl.h>

namespace Kelpa {

namespace {
constexpr Where kDeviationsSource{"kelpa/kernel/deviant/Deviations"};

using ToolInfos = ExternalToolInfos;
using Stereotypes = StereotypeInstances;
template <class V>
using SparseMap = std::unordered_map<const NSInterface::ClassObjectIntf*, V>;

// The process-wide sparse maps, keyed by state. Process lifetime: states may die in
// destructors that run at exit.
SparseMap<String>& externalIds() {
  return NSInterface::ClassObjectIntf::externalId_sparse();
}
SparseMap<ToolInfos*>& toolInfos() {
  return NSInterface::ClassObjectIntf::externalToolInfo_sparse();
}
SparseMap<Stereotypes*>& stereotypes() {
  return NSInterface::ClassObjectIntf::appliedStereotypeInstance_sparse();
}
// URIs are kept as external ids are.
SparseMap<String>& uris() {
  static auto* map = new SparseMap<String>();
  return *map;
}

// The entry of key, made on first request.
template <class Seq>
Seq* entryOf(SparseMap<Seq*>& map, const NSInterface::ClassObjectIntf* key) {
  Seq*& entry = map[key];
  if (!entry) entry = new Seq();
  return entry;
}
template <class Seq>
bool hasEntries(const SparseMap<Seq*>& map, const NSInterface::ClassObjectIntf* key) {
  auto it = map.find(key);
  return it != map.end() && it->second->size() != 0;
}
template <class Seq>
void eraseEntry(SparseMap<Seq*>& map, const NSInterface::ClassObjectIntf* key) {
  auto it = map.find(key);
  if (it == map.end()) return;
  Seq* seq = it->second;
  map.erase(it);
  delete seq;
}
}  // namespace

template class MultiIndexImplInternal::MultiIndexImplForPrimitives<ExternalToolInfo>;

namespace NSInterface {

void ObjectIntf::destroyLinks(Deviant) {}
void ObjectIntf::destroyObject(Deviant, bool) {}
void ObjectIntf::destroy(Deviant) {}
bool ObjectIntf::deviant_isValid(Deviant) const {
  return true;
}
void ObjectIntf::deviant_destroyState(ObjectIntf*) {}
void ObjectIntf::deviant_markModelDestroyed() {}
void ObjectIntf::deviant_commitTransientState(Deviant) {}
ObjectIntf* ObjectIntf::deviant_getCopyOfDeviation(Deviant) {
  return nullptr;
}
ObjectIntf* ObjectIntf::internal_getDeviation(Deviant) const {
  return nullptr;
}
void ObjectIntf::internal_setDeviation(Deviant, ObjectIntf*) {}
ObjectIntf* ObjectIntf::internal_createDeviation(Deviant) {
  return nullptr;
}
void ObjectIntf::internal_destroyDeviation(Deviant) {}
void ObjectIntf::internal_deviationAssign(Deviant, ObjectIntf*, Deviant) {}
Deviant ObjectIntf::getRootDeviant() const {
  return Deviant();
}

Kelpa::String ObjectIntf::toString(Deviant) const {
  std::string text = getRuvoName(false);
  if (const auto* element = detail::castTo<const ClassObjectIntf>(this))
    text.append(1, '#').append(std::to_string(element->getId().getValue()));
  return Kelpa::String(text);
}

ObjectIntf* ObjectIntf::getReadDeviantI(Deviant, const ObjectIntf*) const {
  return nullptr;
}
ObjectIntf* ObjectIntf::getWriteDeviantI(Deviant, const ObjectIntf*) const {
  return nullptr;
}

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

bool ClassObjectIntf::hasModelKelpa(Deviant d) const {
  return readStateOrRaise(d)->hasModelKelpa(d);
}
void ClassObjectIntf::removeModelKelpa(Deviant d) {
  writeStateOrRaise(d)->removeModelKelpa(d);
}
void ClassObjectIntf::setModelKelpa(Deviant d, const Model& model) {
  writeStateOrRaise(d)->setModelKelpa(d, model);
}
Model ClassObjectIntf::getModelKelpa(Deviant d) const {
  return readStateOrRaise(d)->getModelKelpa(d);
}
// The kernel's model and container have no other end: the Only forms store as the plain
// ones do, in the state (which may be the object itself).
void ClassObjectIntf::removeOnlyModelKelpa(Deviant d) {
  writeStateOrRaise(d)->removeModelKelpa(d);
}
void ClassObjectIntf::setOnlyModelKelpa(Deviant d, const Model& model) {
  writeStateOrRaise(d)->setModelKelpa(d, model);
}

bool ClassObjectIntf::hasContainerKelpa(Deviant d) const {
  return readStateOrRaise(d)->hasContainerKelpa(d);
}
// An element is listed by its container: the plain forms take it out of the old
// container's composite and put it into one of the new container's; the Only forms
// leave the lists to their caller. Both keep the model's root objects.
void ClassObjectIntf::removeContainerKelpa(Deviant d) {
  detail::detachFromContainer(this, d);
  detail::storeContainer(this, d, nullptr);
}
void ClassObjectIntf::setContainerKelpa(Deviant d, const ClassObject& container) {
  ClassObjectIntf* c = container.get();
  if (!c || !c->deviant_isValid(container.getDeviant())) return removeContainerKelpa(d);
  detail::refuseCrossModel(d, container.getDeviant(), "kelpa/kernel/ClassObject", __LINE__);
  if (readStateOrRaise(d)->getContainerKelpa(d).get() == c) return;
  if (!c->getElementEnds()) return setOnlyContainerKelpa(d, container);
  Sequence<ClassObject> list = c->getContaineeKelpasWithoutAssociation(d);
  const ClassObject self(this, d);
  // The new container must take the element before anything changes.
  if (!list.get()->generic_accepts(self)) list.push_back(self);
  setOnlyContainerKelpa(d, container);
  list.push_back(self);
}
ClassObject ClassObjectIntf::getContainerKelpa(Deviant d) const {
  return readStateOrRaise(d)->getContainerKelpa(d);
}
void ClassObjectIntf::removeOnlyContainerKelpa(Deviant d) {
  detail::storeContainer(this, d, nullptr);
}
void ClassObjectIntf::setOnlyContainerKelpa(Deviant d, const ClassObject& container) {
  ClassObjectIntf* c = container.get();
  if (c && !c->deviant_isValid(container.getDeviant())) c = nullptr;
  if (readStateOrRaise(d)->getContainerKelpa(d).get() == c) return;
  detail::detachFromContainer(this, d);
  detail::storeContainer(this, d, c);
}

Sequence<ClassObject> ClassObjectIntf::getContaineeKelpas(Deviant d) {
  return Sequence<ClassObject>(getAppliedStereotypeInstances(d).get(), d);
}
Sequence<ClassObject> ClassObjectIntf::getContaineeKelpasWithoutAssociation(Deviant d) const {
  return Sequence<ClassObject>(getAppliedStereotypeInstancesWithoutAssociation(d).get(), d);
}

const ClassObjectIntf* ClassObjectIntf::sparseState(Deviant d, bool write) const {
  return write ? writeStateOrRaise(d)->sparseKey() : readStateOrRaise(d)->sparseKey();
}

ClassObjectIntf::ExternalIdMap& ClassObjectIntf::externalId_sparse() {
  static auto* map = new ExternalIdMap();
  return *map;
}
ClassObjectIntf::ExternalToolInfoMap& ClassObjectIntf::externalToolInfo_sparse() {
  static auto* map = new ExternalToolInfoMap();
  return *map;
}
ClassObjectIntf::StereotypeInstanceMap& ClassObjectIntf::appliedStereotypeInstance_sparse() {
  static auto* map = new StereotypeInstanceMap();
  return *map;
}

bool ClassObjectIntf::hasUri(Deviant d) const {
  return uris().count(sparseState(d, false)) != 0;
}
void ClassObjectIntf::removeUri(Deviant d) {
  uris().erase(sparseState(d, true));
}
void ClassObjectIntf::setUri(Deviant d, const Kelpa::String& uri) {
  const ClassObjectIntf* key = sparseState(d, true);
  if (uri.empty())
    uris().erase(key);
  else
    uris()[key] = uri;
}
Kelpa::String ClassObjectIntf::getUri(Deviant d) const {
  auto& map = uris();
  auto it = map.find(sparseState(d, false));
  return it == map.end() ? Kelpa::String() : it->second;
}

bool ClassObjectIntf::hasRootModel(Deviant d) const {
  return hasModelKelpa(d);
}
void ClassObjectIntf::removeRootModel(Deviant d) {
  removeModelKelpa(d);
}
Model ClassObjectIntf::getRootModel(Deviant d) const {
  return getModelKelpa(d);
}
void ClassObjectIntf::removeOnlyRootModel(Deviant d) {
  removeOnlyModelKelpa(d);
}

// The external id lives in the sparse map under the state, so that each deviant's
// state has its own.
bool ClassObjectIntf::hasExternalId(Deviant d) const {
  return externalIds().count(sparseState(d, false)) != 0;
}
void ClassObjectIntf::removeExternalId(Deviant d) {
  externalIds().erase(sparseState(d, true));
}
void ClassObjectIntf::setExternalId(Deviant d, const Kelpa::String& id) {
  const ClassObjectIntf* key = sparseState(d, true);
  if (id.empty())
    externalIds().erase(key);
  else
    externalIds()[key] = id;
}
Kelpa::String ClassObjectIntf::getExternalId(Deviant d) const {
  auto& map = externalIds();
  auto it = map.find(sparseState(d, false));
  return it == map.end() ? Kelpa::String() : it->second;
}

bool ClassObjectIntf::hasAppliedStereotypeInstances(Deviant d) const {
  return hasEntries(stereotypes(), sparseState(d, false));
}
Sequence<StereotypeObject> ClassObjectIntf::getAppliedStereotypeInstances(Deviant d) {
  return Sequence<StereotypeObject>(entryOf(stereotypes(), sparseState(d, false)), d);
}
Sequence<StereotypeObject> ClassObjectIntf::getAppliedStereotypeInstancesWithoutAssociation(
    Deviant d) const {
  return Sequence<StereotypeObject>(entryOf(stereotypes(), sparseState(d, false)), d);
}

bool ClassObjectIntf::hasExternalToolInfos(Deviant d) const {
  return hasEntries(toolInfos(), sparseState(d, false));
}
Sequence<ExternalToolInfo> ClassObjectIntf::getExternalToolInfos(Deviant d) {
  return Sequence<ExternalToolInfo>(entryOf(toolInfos(), sparseState(d, false)), d);
}
Sequence<ExternalToolInfo> ClassObjectIntf::getExternalToolInfosWithoutAssociation(
    Deviant d) const {
  return Sequence<ExternalToolInfo>(entryOf(toolInfos(), sparseState(d, false)), d);
}

ExternalToolInfo ClassObjectIntf::getExternalToolInfo(Deviant d, const Kelpa::String& tool) const {
  auto& map = toolInfos();
  auto it = map.find(sparseState(d, false));
  if (it != map.end()) {
    for (int i = 0; i < it->second->size(); ++i)
      if (it->second->valueAt(i).getToolName() == tool) return it->second->valueAt(i);
  }
  return ExternalToolInfo();
}

// One info per tool: a new info of a tool replaces the one it had.
void ClassObjectIntf::setExternalToolInfo(Deviant d, const ExternalToolInfo& info) {
  ToolInfos* infos = entryOf(toolInfos(), sparseState(d, true));
  for (int i = 0; i < infos->size(); ++i) {
    if (infos->valueAt(i).getToolName() == info.getToolName()) {
      infos->erase(ExternalToolInfo(infos->valueAt(i)));
      break;
    }
  }
  infos->append(info);
}

void ClassObjectIntf::removeExternalToolInfo(Deviant d, const ExternalToolInfo& info) {
  auto& map = toolInfos();
  auto it = map.find(sparseState(d, true));
  if (it != map.end()) it->second->erase(info);
}

Object FactoryObjectIntf::createFromString(Deviant d, const Kelpa::String& typeName) {
  const Model model = getModelKelpa(d);
  if (model.isNull()) raiseNullRef();
  return makeFromString(d, typeName, model->nextObjectId(d), nullptr);
}
Object FactoryObjectIntf::createFromString(Deviant d, const Kelpa::String& typeName,
                                           const Kelpa::String& value) {
  const Model model = getModelKelpa(d);
  if (model.isNull()) raiseNullRef();
  return makeFromString(d, typeName, model->nextObjectId(d), &value);
}
Object FactoryObjectIntf::createFromString(Deviant d, const Kelpa::String& typeName,
                                           const Integer& id) {
  return makeFromString(d, typeName, id, nullptr);
}

}  // namespace NSInterface

FactoryObject::FactoryObject(NSInterface::FactoryObjectIntf* p, Deviant d)
    : ImmutableClassObject(p, d) {}
FactoryObject::FactoryObject(const ImmutableObject& o)
    : FactoryObject(detail::castTo<NSInterface::FactoryObjectIntf>(o.get()), o.getDeviant()) {}

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
  uris().erase(state);
  eraseEntry(toolInfos(), state);
  eraseEntry(stereotypes(), state);
}

namespace {
bool sameEntries(const Stereotypes& a, const Stereotypes& b) {
  return assignment::same(a, b);
}
bool sameEntries(const ToolInfos& a, const ToolInfos& b) {
  return a.sameValues(b);
}
// A sparse sequence: a non-empty source is copied unless equal; otherwise the target's
// entry, if it has any values, is emptied.
template <class Seq>
void assignEntries(SparseMap<Seq*>& map, const NSInterface::ClassObjectIntf* from,
                   const NSInterface::ClassObjectIntf* to) {
  if (hasEntries(map, from)) {
    const Seq* source = map.find(from)->second;
    Seq* target = entryOf(map, to);
    if (!sameEntries(*target, *source)) *target = *source;
  } else if (hasEntries(map, to)) {
    *map.find(to)->second = Seq();
  }
}
// A sparse text: present in the source, copied unless equal; absent, erased.
void assignText(SparseMap<String>& texts, const NSInterface::ClassObjectIntf* from,
                const NSInterface::ClassObjectIntf* to) {
  auto source = texts.find(from);
  if (source == texts.end()) {
    texts.erase(to);
    return;
  }
  const String& value = source->second;
  auto [target, inserted] = texts.try_emplace(to, value);
  if (!inserted && !(target->second == value)) target->second = value;
}
}  // namespace

void assignStereotypes(const NSInterface::ClassObjectIntf* from,
                       const NSInterface::ClassObjectIntf* to) {
  assignEntries(stereotypes(), from, to);
}

void assignToolInfos(const NSInterface::ClassObjectIntf* from,
                     const NSInterface::ClassObjectIntf* to) {
  assignEntries(toolInfos(), from, to);
}

void assignExternalId(const NSInterface::ClassObjectIntf* from,
                      const NSInterface::ClassObjectIntf* to) {
  assignText(uris(), from, to);
  assignText(externalIds(), from, to);
}

std::size_t externalIdCount() {
  return externalIds().size();
}
std::size_t sparseSequenceCount() {
  return toolInfos().size() + stereotypes().size();
}

}  // namespace detail
}  // namespace Kelpa
