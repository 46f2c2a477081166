#include "ModelImpl.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <deque>
#include <utility>
#include <mutex>
#include <typeinfo>

#include <Kelpa/Asserter.h>
#include <Kelpa/ElementBase.h>

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

namespace detail {

void releaseRecord(UndoRecord& record) noexcept {
  for (SavedState& entry : record) {
    entry.object->deviant_destroyState(entry.state);
    entry.object->decRef();
  }
  record.clear();
}

void keepRootReadings(Deviant d, const NSInterface::ClassObjectIntf* object,
                      const std::function<NSInterface::ObjectIntf*()>& make) {
  DeviantTables* t = d.data() ? d.data()->tables : nullptr;
  if (!t) return;
  if (const std::size_t* at = t->savedAt.find(object); at && !t->saved[*at].state)
    t->saved[*at].state = make();
  if (!t->readsRoot.contains(object)) return;
  for (auto* records : {&t->undo, &t->redo})
    for (UndoRecord& record : *records)
      for (SavedState& entry : record)
        if (entry.object == object && !entry.state) entry.state = make();
}

DeviantTables::~DeviantTables() {
  releaseRecord(saved);
  for (UndoRecord& r : undo) releaseRecord(r);
  for (UndoRecord& r : redo) releaseRecord(r);
  states.forEach([](const NSInterface::ClassObjectIntf* key, NSInterface::ObjectIntf* state) {
    auto* object = const_cast<NSInterface::ClassObjectIntf*>(key);
    object->deviant_destroyState(state);
    object->decRef();
  });
}

}  // namespace detail

NSInterface::ObjectIntf* Deviant::getStateOfObject(const ClassObjectIntf* object) const {
  if (!fData || !fData->tables) return nullptr;
  NSInterface::ObjectIntf* const* state = fData->tables->states.find(object);
  return state ? *state : nullptr;
}

void Deviant::setStateOfObject(const ClassObjectIntf* object, ObjectIntf* state) {
  if (!fData) return;
  if (!fData->tables) {
    if (!state) return;
    fData->tables = new detail::DeviantTables();
  }
  auto& states = fData->tables->states;
  auto* counted = const_cast<ClassObjectIntf*>(object);
  if (state) {
    auto [slot, inserted] = states.try_emplace(object, state);
    if (inserted)
      counted->incRef();
    else
      *slot = state;
  } else if (states.erase(object)) {
    counted->decRef();
  }
}

NSInterface::ObjectIntf* Deviant::getSavedOldStateOfObject(const ClassObjectIntf* object) const {
  if (!fData || !fData->tables) return nullptr;
  const detail::DeviantTables& t = *fData->tables;
  if (object == t.lastSaved) return t.saved[t.lastSavedAt].state;
  const std::size_t* at = t.savedAt.find(object);
  if (!at) return nullptr;
  t.lastSaved = object;
  t.lastSavedAt = *at;
  return t.saved[*at].state;
}

// The first save of an object in a transaction is what abandoning it restores. A later
// save replaces a saved marker (the root's commit hands a deviant on fallback the state
// it read); a save over a saved null, the state of an object that had none, is dropped.
void Deviant::saveOldStateOfObject(const ClassObjectIntf* object, ObjectIntf* state) {
  if (!fData) return;
  if (!fData->tables) fData->tables = new detail::DeviantTables();
  detail::DeviantTables& t = *fData->tables;
  auto* counted = const_cast<ClassObjectIntf*>(object);
  auto [at, inserted] = t.savedAt.try_emplace(object, t.saved.size());
  if (inserted) {
    counted->incRef();
    t.saved.push_back({counted, state});
    t.lastSaved = object;
    t.lastSavedAt = *at;
    return;
  }
  detail::SavedState& entry = t.saved[*at];
  if (entry.state == nullptr || entry.state == state) {
    if (entry.state != state) counted->deviant_destroyState(state);
    return;
  }
  counted->deviant_destroyState(entry.state);
  entry.state = state;
}

bool Deviant::isWithinTransaction() const {
  return fData && fData->transaction;
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

// An element made within a transaction did not exist before it: that is its old state.
// Outside a transaction, the root's deviations were made before the element and do not
// see it.
void Deviant::markObjectCreated(const ClassObjectIntf* object) {
  if (isWithinTransaction()) {
    if (hasUndoStack() && !getSavedOldStateOfObject(object))
      saveOldStateOfObject(object, InvalidObject);
  } else if (fData && fData->id == 0 && fData->shared) {
    std::vector<Deviant> all;
    getAllDeviants(all);
    for (Deviant other : all)
      if (other != *this && !other.getStateOfObject(object))
        other.setStateOfObject(object, InvalidObject);
  }
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
  if (!fData) return;
  fData->writable = writable;
  fData->refresh();
}

namespace detail {

ModelImpl::ModelImpl() : fRoot(newDeviantData(0, nullptr, this)) {
  fRoot->undo = true;
  fDeviants.push_back(fRoot);
  liveModels().insert(this);
}

ModelImpl::~ModelImpl() {
  detail::eraseSparseEntries(this);
}

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

RootObjectList* rootObjectsOf(NSInterface::ModelIntf* model) {
  if (!model || typeid(*model) != typeid(ModelImpl)) return nullptr;
  return &static_cast<ModelImpl*>(model)->rootObjects();
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

Deviant ModelImpl::createDeviant(bool undo) {
  if (fDestroyed) raise(kDeviantSource, __LINE__, "object accessed after its model has been destroyed");
  DeviantData* d = newDeviantData(++fLastDeviantId, fRoot, this);
  d->undo = undo;
  fDeviants.push_back(d);
  fRoot->shared = true;
  fRoot->refresh();
  return Deviant(d);
}

namespace {
DeviantData* deviationOf(const ModelImpl* model, Deviant d, int line) {
  DeviantData* data = d.data();
  if (!d.isValid())
    raise(kDeviantSource, line, "object accessed after its deviant has been removed");
  if (data->model != model) raise(kDeviantSource, line, "deviant is not one of this model");
  return data;
}
}  // namespace

void ModelImpl::removeDeviant(Deviant d) {
  DeviantData* data = deviationOf(this, d, __LINE__);
  if (data->id == 0) raise(kDeviantSource, __LINE__, "the root deviant of a model cannot be removed");
  fDeviants.erase(std::find(fDeviants.begin(), fDeviants.end(), data));
  data->valid = false;
  data->transaction = false;
  data->refresh();
  delete std::exchange(data->tables, nullptr);
  fRoot->shared = fDeviants.size() > 1;
  fRoot->refresh();
}

bool ModelImpl::isRootObject(NSInterface::ClassObjectIntf* object) const {
  const Deviant root(fRoot);
  return object->deviant_isValid(root) && !object->hasContainerKelpa(root);
}

void ModelImpl::refreshRootObject(NSInterface::ClassObjectIntf* object, bool was) {
  const bool isRoot = isRootObject(object);
  if (isRoot == was) return;
  const Deviant root(fRoot);
  Sequence<ClassObject> roots = getRootObjects(root);
  if (isRoot)
    roots.push_back(ClassObject(object, root));
  else
    roots.remove(ClassObject(object, root));
}

std::vector<bool> ModelImpl::rootObjectsOf(const UndoRecord& record) const {
  std::vector<bool> roots;
  roots.reserve(record.size());
  for (const SavedState& entry : record) roots.push_back(isRootObject(entry.object));
  return roots;
}

void ModelImpl::putBack(Deviant d, UndoRecord& record, bool keepCurrent) {
  const bool isRoot = d.getDeviantId() == 0;
  std::vector<bool> wereRoots;
  if (isRoot) {
    // The root's other deviants keep reading what they read so far; an abandoned
    // transaction changes nothing they read.
    if (keepCurrent)
      for (SavedState& entry : record) entry.object->deviant_commitTransientState(d);
    wereRoots = rootObjectsOf(record);
  }
  for (auto it = record.rbegin(); it != record.rend(); ++it) {
    NSInterface::ObjectIntf* current =
        keepCurrent ? it->object->deviant_getCopyOfDeviation(d) : nullptr;
    it->object->internal_setDeviation(d, it->state);
    it->state = current;
    if (keepCurrent && !current && !isRoot) d.data()->tables->readsRoot.insert(it->object);
  }
  if (isRoot)
    for (std::size_t i = 0; i < record.size(); ++i)
      refreshRootObject(record[i].object, wereRoots[i]);
}

void ModelImpl::step(Deviant d, bool back) {
  DeviantData* data = deviationOf(this, d, __LINE__);
  if (data->transaction)
    raise(kDeviantSource, __LINE__,
          back ? "cannot undo within a transaction" : "cannot redo within a transaction");
  if (!(back ? canUndo(d) : canRedo(d)))
    raise(kDeviantSource, __LINE__,
          back ? "nothing to undo in this deviant" : "nothing to redo in this deviant");
  std::vector<UndoRecord>& from = back ? data->tables->undo : data->tables->redo;
  std::vector<UndoRecord>& to = back ? data->tables->redo : data->tables->undo;
  UndoRecord record = std::move(from.back());
  from.pop_back();
  putBack(d, record, true);
  to.push_back(std::move(record));
}

void ModelImpl::undo(Deviant d) {
  step(d, true);
}

void ModelImpl::redo(Deviant d) {
  step(d, false);
}

bool ModelImpl::canUndo(Deviant d) const {
  const DeviantData* data = d.data();
  return d.isValid() && data->model == this && data->tables && !data->tables->undo.empty();
}

bool ModelImpl::canRedo(Deviant d) const {
  const DeviantData* data = d.data();
  return d.isValid() && data->model == this && data->tables && !data->tables->redo.empty();
}

void ModelImpl::destroyModel() {
  if (fDestroyed) return;
  ModelCache::instance().unbindModel(this);
  // Keep every element alive while the model lets go of it, so that no destructor
  // runs while the sets are walked.
  std::vector<NSInterface::ClassObjectIntf*> objects;
  objects.reserve(fObjectCount);
  forEachObject([&](NSInterface::ClassObjectIntf* o) { objects.push_back(o); });
  for (auto* o : objects) o->incRef();
  for (auto* o : objects) o->deviant_markModelDestroyed();
  for (DeviantData* d : fDeviants) {
    delete std::exchange(d->tables, nullptr);
    d->transaction = false;
    d->valid = false;
    d->refresh();
    d->model = nullptr;
  }
  fRootObjects.generic_clear(Deviant(fRoot));
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

// A model that answers no root deviant (the meta-registry's) keeps the deviant given.
ImmutableModel::ImmutableModel(const NSInterface::ModelIntf* p, Deviant d)
    : ImmutableClassObject(p, d) {
  if (p && p->getRootDeviant().isNull()) fDeviant = d;
}

void ImmutableModel::setDeviant(Deviant d) const {
  if (fPtr && get()->getRootDeviant().isNull())
    fDeviant = d;
  else
    adoptDeviant(d);
}

const std::u16string ModelCache::UNTITLED = u"untitled:model";

ModelCache& ModelCache::instance() {
  static auto* cache = new ModelCache();  // process lifetime: models outlive statics
  return *cache;
}

std::u16string ModelCache::getNextAvailableModelUri(const std::u16string& base) const {
  unsigned& next = fNext[base];
  for (;;) {
    std::u16string uri = base;
    for (char c : std::to_string(++next)) uri += static_cast<char16_t>(c);
    if (!fModels.contains(uri)) return uri;
  }
}

void ModelCache::bindModel(const std::u16string& uri, const Model& model) {
  if (model.isNull()) raiseNullRef();
  auto [it, inserted] = fModels.try_emplace(uri, model.get());
  if (!inserted) {
    unbindUri(it->second, uri);
    it->second = model.get();
  }
  fUris.emplace(model.get(), uri);
}

void ModelCache::unbindUri(const NSInterface::ModelIntf* model, const std::u16string& uri) {
  auto [first, last] = fUris.equal_range(model);
  for (auto it = first; it != last; ++it) {
    if (it->second == uri) {
      fUris.erase(it);
      return;
    }
  }
}

Model ModelCache::findModel(const std::u16string& uri) const {
  auto it = fModels.find(uri);
  if (it == fModels.end()) return Model();
  return Model(it->second, it->second->getRootDeviant());
}

void ModelCache::unbindModel(const NSInterface::ModelIntf* model) {
  auto [first, last] = fUris.equal_range(model);
  for (auto it = first; it != last; ++it) fModels.erase(it->second);
  fUris.erase(first, last);
}

ClipboardManagerImpl& ClipboardManager::instance() {
  static auto* clipboard = new ClipboardManagerImpl();
  return *clipboard;
}

Model NSInterface::FactoryIntf::createNewModel() {
  auto* model = new detail::ModelImpl();
  return Model(model, model->getRootDeviant());
}

Transaction::Transaction(const ImmutableModel& model)
    : fModel(const_cast<NSInterface::ModelIntf*>(model.get()), model.getDeviant()),
      fDeviant(model.getDeviant()) {
  if (model.isNull()) raiseNullRef();
  detail::DeviantData* data = fDeviant.data();
  if (!fDeviant.isValid())
    raise(kDeviantSource, __LINE__, "object accessed after its deviant has been removed");
  if (data->transaction)
    raise(kDeviantSource, __LINE__, "a transaction is already open in this deviant");
  data->transaction = true;
  data->refresh();
  fOpen = true;
}

Transaction::~Transaction() {
  if (fOpen) abandon();
}

namespace {
// Ends the open transaction of data and hands over what it saved.
detail::UndoRecord endTransaction(detail::DeviantData* data) {
  data->transaction = false;
  data->refresh();
  detail::UndoRecord record;
  if (detail::DeviantTables* t = data->tables) {
    record = std::move(t->saved);
    t->saved.clear();
    t->savedAt.clear();
    t->lastSaved = nullptr;
  }
  return record;
}
}  // namespace

void Transaction::commit() {
  if (!fOpen) raise(kDeviantSource, __LINE__, "the transaction has already ended");
  if (!fDeviant.isValid()) {
    fOpen = false;
    return;
  }
  detail::DeviantData* data = fDeviant.data();
  // Other deviants read the saved states until the root commits; then they get them. A
  // failure on the way leaves the transaction open, to be committed or abandoned.
  if (data->id == 0 && data->tables)
    for (const detail::SavedState& entry : data->tables->saved)
      entry.object->deviant_commitTransientState(fDeviant);
  fOpen = false;
  detail::UndoRecord record = endTransaction(data);
  if (record.empty()) return;
  if (data->id != 0)
    for (const detail::SavedState& entry : record)
      if (!entry.state) data->tables->readsRoot.insert(entry.object);
  for (detail::UndoRecord& r : data->tables->redo) detail::releaseRecord(r);
  data->tables->redo.clear();
  data->tables->undo.push_back(std::move(record));
}

void Transaction::abandon() {
  if (!fOpen) return;
  fOpen = false;
  if (!fDeviant.isValid()) return;
  detail::DeviantData* data = fDeviant.data();
  detail::UndoRecord record = endTransaction(data);
  static_cast<detail::ModelImpl*>(data->model)->putBack(fDeviant, record, false);
  detail::releaseRecord(record);
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
