#include <Kelpa/Visitor.h>

#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include <Tovi/ModuleObject.h>

namespace Kelpa {

VisitationDomain::~VisitationDomain() = default;

namespace CooperativeVisitor::internal {

RootVisitationDomain::~RootVisitationDomain() = default;

namespace {
struct TagTables {
  std::mutex mutex;
  // domain name -> (type name -> tag); tags are dense within a domain.
  std::map<std::string, std::map<std::string, unsigned long>> tags;
  std::map<std::string, ClassInfo> names;
};
TagTables& tables() {
  static auto* t = new TagTables();  // process lifetime: used from static initialisers
  return *t;
}
}  // namespace

unsigned long GetTag(const std::type_info& type, const std::type_info& domain) {
  TagTables& t = tables();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto& inDomain = t.tags[domain.name()];
  auto [it, added] = inDomain.emplace(type.name(), inDomain.size());
  return it->second;
}

void BindTagToName(const char* name, const ClassInfo& info) {
  TagTables& t = tables();
  std::lock_guard<std::mutex> lock(t.mutex);
  t.names[name] = info;
}

ClassInfo LookupTagByName(const char* name, bool& found) {
  TagTables& t = tables();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto it = t.names.find(name);
  found = it != t.names.end();
  return found ? it->second : ClassInfo{};
}

std::size_t NumberOfBoundNames() {
  TagTables& t = tables();
  std::lock_guard<std::mutex> lock(t.mutex);
  return t.names.size();
}

ClassMetaInfo::ClassMetaInfo() = default;

ClassMetaInfo::~ClassMetaInfo() {
  for (std::size_t i = 0; i < fRowCount; ++i) delete[] fIndex[i].cells;
  delete[] fIndex;
  delete[] fCasters;
  delete[] fClasses;
}

namespace {
// Grows a zero-filled array to exactly n entries.
template <class T>
void grow(T*& array, std::size_t& count, std::size_t n) {
  if (n <= count) return;
  T* bigger = new T[n]();
  for (std::size_t i = 0; i < count; ++i) bigger[i] = array[i];
  delete[] array;
  array = bigger;
  count = n;
}
}  // namespace

void ClassMetaInfo::add(const ClassInfo& info, Caster caster) {
  std::size_t rows = fRowCount;
  grow(fIndex, rows, info.domain + 1);
  fRowCount = rows;
  Row& row = fIndex[info.domain];
  grow(row.cells, row.count, info.cls + 1);
  unsigned long& cell = row.cells[info.cls];
  if (cell == 0 && !(fCount > 0 && fClasses[0] == info)) {
    std::size_t n = fCount;
    grow(fClasses, n, fCount + 1);
    n = fCount;
    grow(fCasters, n, fCount + 1);
    cell = fCount;
    fClasses[fCount] = info;
    fCasters[fCount] = caster;
    ++fCount;
  } else {
    fCasters[cell] = caster;
  }
}

VisitMethod ClassMetaInfo::findVisitMethod(
    const ReferenceCountingIntf* self, const LightVector<LightVector<unsigned long>>& table) const {
  if (fCount == 1) return {0, self};
  for (std::size_t i = 1; i < fCount; ++i) {
    const ClassInfo& c = fClasses[i];
    if (c.domain >= table.size() || c.cls >= table[c.domain].size()) continue;
    const unsigned long method = table[c.domain][c.cls];
    if (method == 0) continue;
    return {method, fCasters[i](self)};
  }
  return {0, self};
}

ClassMetaInfo* buildClassMetaInfo(const LinearEntry* entries, std::size_t count,
                                  Tovi::ModuleObjectDeleter& cleanup) {
  auto* info = new ClassMetaInfo();
  for (std::size_t i = 0; i < count; ++i) info->add(entries[i].info(), entries[i].caster);
  cleanup.registerForCleanup_toBeUsedOnlyByKelpaCoopVisitor(info);
  return info;
}

}  // namespace CooperativeVisitor::internal
}  // namespace Kelpa
