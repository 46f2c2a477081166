#pragma once
// Tags and class tables of the cooperative visitor.
//
// Every interface class is named by a ClassInfo: the tag of its domain (a small
// integer among the domains) and its own tag (a small integer within its domain).
// Tags are dense, so the per-class ClassMetaInfo can turn a ClassInfo into the
// conversion function of that interface with two indexed loads.
#include <cstddef>
#include <typeinfo>
#include <vector>

#include <Kelpa/Cleanup.h>
#include <Tovi/Visibility.h>

namespace Tovi {
class ModuleObjectDeleter;
}

namespace Kelpa {

namespace CooperativeVisitor::internal {

class RootVisitationDomain {
 public:
  virtual ~RootVisitationDomain();
};

struct ClassInfo {
  unsigned long domain = 0;
  unsigned long cls = 0;
  friend bool operator==(const ClassInfo&, const ClassInfo&) = default;
};

template <class T>
class LightVector {
 public:
  LightVector() = default;
  explicit LightVector(std::size_t n) : fItems(n) {}
  std::size_t size() const noexcept { return fItems.size(); }
  const T& operator[](std::size_t i) const { return fItems[i]; }
  T& operator[](std::size_t i) { return fItems[i]; }
  void resize(std::size_t n) { fItems.resize(n); }

 private:
  std::vector<T> fItems;
};

// A dense tag for type within domain; stable for the life of the process.
unsigned long GetTag(const std::type_info& type, const std::type_info& domain);
void BindTagToName(const char* name, const ClassInfo& info);
// The ClassInfo bound to name, or {0, 0} with found = false.
ClassInfo LookupTagByName(const char* name, bool& found);
std::size_t NumberOfBoundNames();

template <class Domain>
TOVI_LOCAL unsigned long domainTag() {
  static const unsigned long tag = GetTag(typeid(Domain), typeid(RootVisitationDomain));
  return tag;
}

// ClassInfo of an interface class; Intf::Domain names its domain.
template <class Intf>
TOVI_LOCAL const ClassInfo& classInfoOf() {
  static const ClassInfo info{domainTag<typename Intf::Domain>(),
                              GetTag(typeid(Intf), typeid(typename Intf::Domain))};
  return info;
}

// Conversion of an object, seen as its own interface, to one of its ancestors.
using Caster = ReferenceCountingIntf* (*)(const ReferenceCountingIntf*);

// The class table of one interface: its linearisation and a caster per entry.
class ClassMetaInfo {
 public:
  ClassMetaInfo();
  ~ClassMetaInfo();
  ClassMetaInfo(const ClassMetaInfo&) = delete;
  ClassMetaInfo& operator=(const ClassMetaInfo&) = delete;

  void add(const ClassInfo& info, Caster caster);
  // The object as the interface info names, or null.
  ReferenceCountingIntf* cast(const ReferenceCountingIntf* self, const ClassInfo& info) const {
    if (info.domain >= fRowCount) return nullptr;
    const Row& row = fIndex[info.domain];
    if (info.cls >= row.count) return nullptr;
    const unsigned long pos = row.cells[info.cls];
    if (pos == 0 && !(fClasses[0] == info)) return nullptr;
    return fCasters[pos](self);
  }
  // The first entry of the linearisation with a method in table.
  VisitMethod findVisitMethod(const ReferenceCountingIntf* self,
                              const LightVector<LightVector<unsigned long>>& table) const;

  std::size_t size() const noexcept { return fCount; }
  const ClassInfo& classAt(std::size_t i) const { return fClasses[i]; }

 private:
  struct Row {
    unsigned long* cells = nullptr;
    std::size_t count = 0;
  };
  ClassInfo* fClasses = nullptr;
  Caster* fCasters = nullptr;
  std::size_t fCount = 0;
  Row* fIndex = nullptr;
  std::size_t fRowCount = 0;
};

// One class's linearisation as written out by the code of that class.
struct LinearEntry {
  const ClassInfo& (*info)();
  Caster caster;
};

// Builds the table of a class from its linearisation and enters it with the module's
// clean-up list, so that it lives until the module is unloaded.
ClassMetaInfo* buildClassMetaInfo(const LinearEntry* entries, std::size_t count,
                                  Tovi::ModuleObjectDeleter& cleanup);

}  // namespace CooperativeVisitor::internal

// Casts through the class table: the identity of an interface pointer along its
// first-base chain. Every interface's first-base chain reaches ReferenceCountingIntf
// at offset 0 (the primary base), so a pointer to an interface is also a pointer to
// each class of that chain.
template <class To, class From>
To* primary_cast(From* p) noexcept {
  return reinterpret_cast<To*>(p);
}
template <class To, class From>
const To* primary_cast(const From* p) noexcept {
  return reinterpret_cast<const To*>(p);
}

}  // namespace Kelpa
