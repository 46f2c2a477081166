#include "ModelImpl.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>

#include <Kelpa/Asserter.h>

#include "KernelCast.h"

namespace Kelpa {

namespace {
constexpr Where kDeviantSource{"kelpa/kernel/deviant/Deviant"};

// Sentinel addresses: no object lives at 1, 2 or 3.
NSInterface::ObjectIntf* sentinel(std::uintptr_t n) {
  return reinterpret_cast<NSInterface::ObjectIntf*>(n);
}

std::deque<detail::DeviantData>& deviantRecords() {
  static auto* records = new std::deque<detail::DeviantData>();
  return *records;
}

// Models alive in the process; destroyModel takes a model out.
std::unordered_set<detail::ModelImpl*>& liveModels() {
  static auto* models = new std::unordered_set<detail::ModelImpl*>();
  return *models;
}

detail::ModelImpl* modelOf(const detail::DeviantData* data) {
  return data ? static_cast<detail::ModelImpl*>(data->model) : nullptr;
}
}  // namespace

NSInterface::ObjectIntf* const Deviant::InvalidObject = sentinel(1);
NSInterface::ObjectIntf* const Deviant::FallbackToRoot = sentinel(2);
NSInterface::ObjectIntf* const Deviant::ModelDestroyed = sentinel(3);

bool DeviantAssertions::sAssertionsEnabled = true;

bool DeviantAssertions::enableAssertions(bool enabled) {
  const bool previous = sAssertionsEnabled;
  sAssertionsEnabled = enabled;
  return previous;
}

namespace detail {
DeviantData* newDeviantData(std::uint32_t id, DeviantData* root, NSInterface::ModelIntf* model) {
  DeviantData& d = deviantRecords().emplace_back();
  d.id = id;
  d.root = root ? root : &d;
  d.model = model;
  return &d;
}
}  // namespace detail

NSInterface::ObjectIntf* Deviant::getStateOfObject(const ClassObjectIntf* object) const {
  if (!fData || !fData->tables) return nullptr;
  auto it = fData->tables->states.find(object);
  return it == fData->tables->states.end() ? nullptr : it->second;
}

void Deviant::setStateOfObject(const ClassObjectIntf* object, ObjectIntf* state) {
  if (!fData) return;
  if (!fData->tables) {
    if (!state) return;
    fData->tables = new detail::DeviantTables();
  }
  if (state)
    fData->tables->states[object] = state;
  else
    fData->tables->states.erase(object);
}

NSInterface::ObjectIntf* Deviant::getSavedOldStateOfObject(const ClassObjectIntf* object) const {
  if (!fData || !fData->tables) return nullptr;
  auto it = fData->tables->saved.find(object);
  return it == fData->tables->saved.end() ? nullptr : it->second;
}

void Deviant::saveOldStateOfObject(const ClassObjectIntf* object, ObjectIntf* state) {
  if (!fData) return;
  if (!fData->tables) fData->tables = new detail::DeviantTables();
  fData->tables->saved[object] = state;
}

bool Deviant::isWithinTransaction() const {
  return fData && fData->tables && fData->tables->withinTransaction;
}

bool Deviant::hasUndoStack() const {
  return fData && fData->undo;
}

void Deviant::getAllDeviants(std::vector<Deviant>& out) const {
  if (detail::ModelImpl* model = modelOf(fData))
    for (detail::DeviantData* d : model->deviants()) out.push_back(Deviant(d));
}

void Deviant::addObjectToModel(ClassObjectIntf* object) {
  if (detail::ModelImpl* model = modelOf(fData)) model->addObject(object);
}

void Deviant::markObjectCreated(const ClassObjectIntf* object) {
  if (!fData || fData->id == 0) return;
  if (!fData->tables) fData->tables = new detail::DeviantTables();
  fData->tables->created.insert(object);
}

void Deviant::removeObjectFromModel(ClassObjectIntf* object) {
  if (detail::ModelImpl* model = modelOf(fData)) model->removeObject(object);
}

void Deviant::internal_assertWritable(const ObjectIntf*) const {
  if (fData && !fData->writable) raise(kDeviantSource, __LINE__, "deviant is not writable");
}

void Deviant::assertObjectNotPresentInDeviant(const ClassObjectIntf*) const {
  raise(kDeviantSource, __LINE__, "object is not present in this deviant");
}

void Deviant::setWritable(bool writable) {
  if (fData) fData->writable = writable;
}

namespace detail {

ModelImpl::ModelImpl() : fRoot(newDeviantData(0, nullptr, this)) {
  fDeviants.push_back(fRoot);
  liveModels().insert(this);
}

ModelImpl::~ModelImpl() = default;

void ModelImpl::decRef() {
  if (--fRefCount <= 0 && fDestroyed) delete this;
}

ReferenceCountingIntf* ModelImpl::cast(const ClassInfo& info) const {
  return castAlongChain<NSInterface::ModelIntf, NSInterface::ClassObjectIntf,
                        NSInterface::ObjectIntf, ReferenceCountingIntf>(this, info);
}

bool ModelImpl::deviant_isValid(Deviant d) const {
  return d.isValid() && d.getModel() == this;
}

std::string ModelImpl::getRuvoName(bool immutable) const {
  return immutable ? "Kelpa.ImmutableModel" : "Kelpa.Model";
}

Object ModelImpl::getEmptyValue() {
  return Object();
}

Model ModelImpl::getModelKelpa(Deviant) const {
  return Model();
}
ClassObject ModelImpl::getContainerKelpa(Deviant) const {
  return ClassObject();
}

NSInterface::ClassObjectIntf* ModelImpl::getReadDeviantI(Deviant, const ClassObjectIntf*) const {
  return const_cast<ModelImpl*>(this);
}
NSInterface::ClassObjectIntf* ModelImpl::getWriteDeviantI(Deviant, const ClassObjectIntf*) const {
  return const_cast<ModelImpl*>(this);
}

Integer ModelImpl::nextObjectId(Deviant) {
  return Integer(++fLastId);
}

void ModelImpl::addObject(NSInterface::ClassObjectIntf* object) {
  if (fPending) fUnbound.insert(fPending);
  fPending = object;
  ++fObjectCount;
}

NSInterface::ClassObjectIntf*& ModelImpl::slotOf(std::int32_t id) {
  // Dense while ids stay within reach of the ones handed out; a far id goes to the map.
  if (id >= 0 && static_cast<std::size_t>(id) < 2 * fDense.size() + 1024) {
    if (static_cast<std::size_t>(id) >= fDense.size()) fDense.resize(id + 1, nullptr);
    return fDense[id];
  }
  return fSparse[id];
}

NSInterface::ClassObjectIntf* ModelImpl::find(std::int32_t id) const {
  if (id >= 0 && static_cast<std::size_t>(id) < fDense.size()) return fDense[id];
  auto it = fSparse.find(id);
  return it == fSparse.end() ? nullptr : it->second;
}

void ModelImpl::forEachObject(const std::function<void(NSInterface::ClassObjectIntf*)>& f) const {
  for (auto* o : fDense)
    if (o) f(o);
  for (auto& [id, o] : fSparse) f(o);
  for (auto* o : fUnbound) f(o);
  if (fPending) f(fPending);
}

void ModelImpl::bindObjectId(Deviant, const ClassObject& object, const Integer& id) {
  NSInterface::ClassObjectIntf* p = object.get();
  if (!p) raiseNullRef();
  NSInterface::ClassObjectIntf* bound = find(id.getValue());
  if (bound && bound != p) {
    const std::string text =
        "object id " + std::to_string(id.getValue()) + " is already bound in this model";
    raise(Where{"kelpa/kernel/model/Model"}, __LINE__, text.c_str());
  }
  if (!bound) {
    // An element moving to another id leaves its old one.
    if (fPending == p)
      fPending = nullptr;
    else if (fUnbound.erase(p) == 0 && find(p->getId().getValue()) == p)
      slotOf(p->getId().getValue()) = nullptr;
    slotOf(id.getValue()) = p;
  }
  p->setId(id);
  if (id.getValue() > fLastId) fLastId = id.getValue();
}

Sequence<ClassObject> ModelImpl::getRootObjects(Deviant d) {
  return Sequence<ClassObject>(&fRootObjects, d);
}

Sequence<ClassObject> ModelImpl::getTopPackages(Deviant d) {
  return Sequence<ClassObject>(&fTopPackages, d);
}

ClassObject ModelImpl::findObjectById(Deviant d, const Integer& id) const {
  NSInterface::ClassObjectIntf* object = find(id.getValue());
  return object ? ClassObject(object, d) : ClassObject();
}

void ModelImpl::removeObject(NSInterface::ClassObjectIntf* object) {
  if (fPending == object) {
    fPending = nullptr;
  } else if (fUnbound.erase(object) == 0) {
    const std::int32_t id = object->getId().getValue();
    if (find(id) != object) return;
    if (id >= 0 && static_cast<std::size_t>(id) < fDense.size())
      fDense[id] = nullptr;
    else
      fSparse.erase(id);
  }
  --fObjectCount;
}

void ModelImpl::destroyModel() {
  if (fDestroyed) return;
  // Keep every element alive while the model lets go of it, so that no destructor
  // runs while the sets are walked.
  std::vector<NSInterface::ClassObjectIntf*> objects;
  objects.reserve(fObjectCount);
  forEachObject([&](NSInterface::ClassObjectIntf* o) { objects.push_back(o); });
  for (auto* o : objects) o->incRef();
  for (auto* o : objects) o->deviant_markModelDestroyed();
  for (DeviantData* d : fDeviants) {
    if (DeviantTables* t = d->tables) {
      for (auto& [object, state] : t->states)
        const_cast<NSInterface::ClassObjectIntf*>(object)->deviant_destroyState(state);
      for (auto& [object, state] : t->saved)
        const_cast<NSInterface::ClassObjectIntf*>(object)->deviant_destroyState(state);
      delete t;
      d->tables = nullptr;
    }
    d->valid = false;
    d->model = nullptr;
  }
  fRootObjects.sequence()->generic_clear(Deviant(fRoot));
  fTopPackages.sequence()->generic_clear(Deviant(fRoot));
  fDense.clear();
  fSparse.clear();
  fUnbound.clear();
  fPending = nullptr;
  fObjectCount = 0;
  for (auto* o : objects) o->decRef();
  liveModels().erase(this);
  fDestroyed = true;
  if (fRefCount <= 0) delete this;
}

}  // namespace detail

ImmutableModel::ImmutableModel(const NSInterface::ModelIntf* p, Deviant d)
    : ImmutableClassObject(p, d) {}

Model NSInterface::FactoryIntf::createNewModel() {
  auto* model = new detail::ModelImpl();
  return Model(model, model->getRootDeviant());
}

namespace {
bool gInitialized = false;
std::mutex gLogMutex;
std::vector<LogEntry>& logEntries() {
  static auto* entries = new std::vector<LogEntry>();
  return *entries;
}
}  // namespace

void registerKernelValueTypes();  // Values.cpp
void initializeKernelMeta();      // KernelMeta.cpp

bool initialize() {
  if (gInitialized) return true;
  registerKernelValueTypes();
  initializeKernelMeta();
  gInitialized = true;
  return true;
}

bool isInitialized() {
  return gInitialized;
}

void kelpaLogDebug(const char* format, ...) {
  char buffer[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  std::lock_guard<std::mutex> lock(gLogMutex);
  logEntries().push_back({buffer, gInitialized});
  if (std::getenv("KELPA_LOG_DEBUG")) std::fprintf(stderr, "[kelpa] %s\n", buffer);
}

std::vector<LogEntry> kelpaLogDebugEntries() {
  std::lock_guard<std::mutex> lock(gLogMutex);
  return logEntries();
}

}  // namespace Kelpa
