// Seeded random runs over the root deviant and up to three deviations, checked after every
// step against a plain reference model of what each deviant must read.
//
// The elements are Comments (body, ownedComment), Packages (packagedElement, ownedComment),
// Classes (owner, ownedComment), GeneralOrderings (before, after) and OccurrenceSpecifications
// (toAfter, toBefore). A step is a write in one deviant (creation, destruction, a body, an end
// of an ordering from either side, a move between owners), a transaction begun, committed or
// abandoned, an undo or redo, or a deviation created or removed.
//
// The reference keeps, per deviation and element, either the deviation's own state or
// nothing, in which case the deviation reads the root as the root's transaction left it
// before it began. A deviation's first write of an element takes its own state; a committed
// change of the root (a write outside a transaction, a commit, an undo or redo) first hands
// the old state to each deviation that still reads the root, and to the slots that its open
// transaction and its undo history hold as "read the root". Abandon, undo and redo put back
// whole slots as they were before the first write of the transaction, so that a deviation
// never sees a root that moved on. After each step every live deviant must read exactly the reference
// (both ends of every link and ownership included), the root objects must be the ownerless
// elements of the root, and canUndo/canRedo must agree. Under the sanitizers nothing may
// leak or be used after it was freed.
//
// Environment:
//   ZORBEL_DEVIANT_SEEDS=n    run seeds 1..n (default 80)
//   ZORBEL_DEVIANT_STEPS=n    steps per seed (default 200)
//   ZORBEL_DEVIANT_SEED=s     run seed s alone: a failure names its seed and step
//   ZORBEL_DEVIANT_VERBOSE=1  print every step
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include <zorbel/zorbel.h>

#include "../support/Failure.h"
#include "../support/SeededRuns.h"

namespace zorbel {
namespace {

using Kelpa::ClassObject;
using Kelpa::Deviant;
using Kelpa::NSInterface::ClassObjectIntf;
using testsupport::failureAt;

const ClassObjectIntf* identity(const Kelpa::ImmutableObject& o) {
  return Kelpa::detail::castTo<ClassObjectIntf>(o.get());
}

Kelpa::Model in(const Kelpa::Model& model, Deviant d) {
  Kelpa::Model m = model;
  m.setDeviant(d);
  return m;
}

enum Kind { kComment, kPackage, kClass, kOrdering, kOccurrence, kKinds };
const char* const kKindNames[kKinds] = {"Comment", "Package", "Class", "GeneralOrdering",
                                        "OccurrenceSpecification"};
constexpr int kMaxElements = 40;
constexpr int kMaxDeviations = 3;

// One element as one deviant reads it; links are element indices, -1 for none.
struct State {
  bool exists = false;
  std::string body;
  int before = -1, after = -1, owner = -1;
  std::set<int> toAfter, toBefore, packaged, comments;
  bool operator==(const State&) const = default;
};
using World = std::vector<State>;

// The reference's writes, which keep both ends as the library must.
void detach(World& w, int x) {
  if (const int o = w[x].owner; o >= 0) {
    w[o].packaged.erase(x);
    w[o].comments.erase(x);
  }
  w[x].owner = -1;
}
void setBefore(World& w, int g, int o) {
  if (w[g].before >= 0) w[w[g].before].toAfter.erase(g);
  w[g].before = o;
  if (o >= 0) w[o].toAfter.insert(g);
}
void setAfter(World& w, int g, int o) {
  if (w[g].after >= 0) w[w[g].after].toBefore.erase(g);
  w[g].after = o;
  if (o >= 0) w[o].toBefore.insert(g);
}
void addPackaged(World& w, int p, int x) {
  detach(w, x);
  w[x].owner = p;
  w[p].packaged.insert(x);
}
void addComment(World& w, int o, int c) {
  detach(w, c);
  w[c].owner = o;
  w[o].comments.insert(c);
}
void destroy(World& w, int x) {
  for (int child : std::set<int>(w[x].packaged)) destroy(w, child);
  for (int child : std::set<int>(w[x].comments)) destroy(w, child);
  detach(w, x);
  setBefore(w, x, -1);
  setAfter(w, x, -1);
  for (int g : std::set<int>(w[x].toAfter)) setBefore(w, g, -1);
  for (int g : std::set<int>(w[x].toBefore)) setAfter(w, g, -1);
  w[x] = State{};
}
// Whether x is p or one of p's owners.
bool ownsOrIs(const World& w, int x, int p) {
  for (int at = p; at >= 0; at = w[at].owner)
    if (at == x) return true;
  return false;
}

// What in w breaks the agreement of both ends or of ownership, as text.
std::string disagreements(const World& w, const std::function<std::string(int)>& nameOf) {
  std::string out;
  auto expect = [&](bool ok, int i, const std::string& what) {
    if (!ok) out += "\n  " + nameOf(i) + " " + what;
  };
  auto present = [&](int i) { return i >= 0 && w[i].exists; };
  for (int i = 0; i < static_cast<int>(w.size()); ++i) {
    const State& s = w[i];
    if (!s.exists) continue;
    if (s.before >= 0)
      expect(present(s.before) && w[s.before].toAfter.contains(i), i, "has before " + nameOf(s.before) + ", which does not list it");
    if (s.after >= 0)
      expect(present(s.after) && w[s.after].toBefore.contains(i), i, "has after " + nameOf(s.after) + ", which does not list it");
    for (int g : s.toAfter) expect(present(g) && w[g].before == i, i, "lists " + nameOf(g) + " in toAfter");
    for (int g : s.toBefore) expect(present(g) && w[g].after == i, i, "lists " + nameOf(g) + " in toBefore");
    if (s.owner >= 0)
      expect(present(s.owner) && (w[s.owner].packaged.contains(i) || w[s.owner].comments.contains(i)), i,
             "has owner " + nameOf(s.owner) + ", which does not hold it");
    for (int x : s.packaged) expect(present(x) && w[x].owner == i, i, "holds " + nameOf(x) + " in packagedElement");
    for (int x : s.comments) expect(present(x) && w[x].owner == i, i, "holds " + nameOf(x) + " in ownedComment");
  }
  return out;
}

// A deviation's slot of an element: its own state, or nothing while it reads the root.
// The root's slots always hold a state.
using Slot = std::optional<State>;
using Record = std::map<int, Slot>;  // slots as they were before a transaction's first write

struct Dev {
  Deviant d;
  std::string name;
  std::vector<Slot> slots = std::vector<Slot>(kMaxElements);
  std::unique_ptr<Kelpa::Transaction> tx;
  Record saved;  // of the open transaction
  std::vector<Record> undo, redo;
};

class Run {
 public:
  explicit Run(std::uint64_t seed) : fRandom(seed) {
    fDevs.push_back(std::make_unique<Dev>());
    fDevs[0]->d = model.getDeviant();
    fDevs[0]->name = "root";
    fDevs[0]->slots.assign(kMaxElements, State{});
    for (int i = 0; i < 8; ++i) create(*fDevs[0], static_cast<Kind>(i % kKinds));
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  ~Run() {
    for (auto& dev : fDevs) dev->tx.reset();
    model->destroyModel();
  }

  // Chooses and makes one step; gives its text, or throws what the library raised.
  std::string step() {
    Dev& v = *fDevs[below(fDevs.size())];
    const int dice = static_cast<int>(below(100));
    if (dice < 4 && fDevs.size() <= static_cast<std::size_t>(kMaxDeviations)) return createDeviation();
    if (dice < 6 && fDevs.size() > 1) return removeDeviation();
    if (dice < 13 && !v.tx) return begin(v);
    if (dice < 20 && v.tx) return below(3) ? commit(v) : abandon(v);
    if (dice < 25 && !v.tx && !v.undo.empty()) return undo(v, true);
    if (dice < 28 && !v.tx && !v.redo.empty()) return undo(v, false);
    return write(v);
  }

  // Empty when every live deviant reads what the reference says.
  std::string check() const {
    std::string problems;
    for (const auto& dev : fDevs) checkDeviant(*dev, problems);
    return problems;
  }

  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();

 private:
  std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(fRandom); }
  template <class T>
  const T& oneOf(const std::vector<T>& v) { return v[below(v.size())]; }

  Dev& root() const { return *fDevs[0]; }
  const State& rootCommitted(int i) const {
    auto it = root().saved.find(i);
    return it != root().saved.end() ? *it->second : *root().slots[i];
  }
  const State& view(const Dev& v, int i) const { return v.slots[i] ? *v.slots[i] : rootCommitted(i); }
  World world(const Dev& v) const {
    World w(kMaxElements);
    for (int i = 0; i < fCount; ++i) w[i] = view(v, i);
    return w;
  }
  std::string nameOf(int i) const {
    return i < 0 ? "null" : std::string(kKindNames[fKinds[i]]) + "#" + std::to_string(i);
  }
  template <class H>
  H as(int i) const { return H(Kelpa::ImmutableObject{fElements[i]}); }
  // A committed change of the root element i, which was old: each deviation keeps what it
  // read, in its slot and in the slots its transaction and history would put back.
  void shareRoot(int i, const State& old) {
    for (std::size_t k = 1; k < fDevs.size(); ++k) {
      Dev& dev = *fDevs[k];
      if (!dev.slots[i]) dev.slots[i] = old;
      if (auto it = dev.saved.find(i); it != dev.saved.end() && !it->second) it->second = old;
      for (auto* records : {&dev.undo, &dev.redo})
        for (Record& r : *records)
          if (auto it = r.find(i); it != r.end() && !it->second) it->second = old;
    }
  }

  // Makes a write in v through call, and in the reference through change.
  std::string apply(Dev& v, const std::string& text, const std::function<void()>& call,
                    const std::function<void(World&)>& change) {
    fText = v.name + ": " + text;
    World w = world(v);
    change(w);
    std::vector<int> changed;
    for (int i = 0; i < fCount; ++i)
      if (!(w[i] == view(v, i))) changed.push_back(i);
    // Undo puts back whole states: a write outside a transaction to an element that the
    // undo history holds would leave its partners behind. That is the caller's to avoid.
    if (!v.tx)
      for (const auto* records : {&v.undo, &v.redo})
        for (const Record& r : *records)
          for (int i : changed)
            if (r.contains(i)) return "skip (outside a transaction, over the undo history) " + fText;
    call();
    for (int i : changed) {
      if (&v == &root() && !v.tx) shareRoot(i, *v.slots[i]);
      if (v.tx && !v.saved.contains(i)) v.saved[i] = v.slots[i];
      v.slots[i] = w[i];
    }
    return fText;
  }

  std::string create(Dev& v, Kind kind) {
    const int i = fCount;
    fKinds.push_back(kind);
    ++fCount;
    const Kelpa::Model m = in(model, v.d);
    return apply(v, "create " + nameOf(i), [&] {
      switch (kind) {
        case kComment: fElements.push_back(ClassObject(Comment::create(m))); break;
        case kPackage: fElements.push_back(ClassObject(Package::create(m))); break;
        case kClass: fElements.push_back(ClassObject(Class::create(m))); break;
        case kOrdering: fElements.push_back(ClassObject(GeneralOrdering::create(m))); break;
        default: fElements.push_back(ClassObject(OccurrenceSpecification::create(m))); break;
      }
      fIndex[identity(fElements.back())] = i;
    }, [&](World& w) { w[i].exists = true; });
  }

  // A write that changes something in v: no-op writes would take states the reference
  // cannot tell from its values.
  std::string write(Dev& v) {
    const World w = world(v);
    std::vector<int> live[kKinds];
    for (int i = 0; i < fCount; ++i)
      if (w[i].exists) live[fKinds[i]].push_back(i);
    const Deviant d = v.d;
    const int dice = static_cast<int>(below(100));
    if (dice < 12 && fCount < kMaxElements) return create(v, static_cast<Kind>(below(kKinds)));
    if (dice < 18) {
      std::vector<int> all;
      for (const auto& l : live) all.insert(all.end(), l.begin(), l.end());
      if (all.empty()) return "skip";
      const int x = oneOf(all);
      return apply(v, "destroy " + nameOf(x), [&] { fElements[x]->destroy(d); },
                   [&](World& r) { destroy(r, x); });
    }
    if (dice < 38) {
      if (live[kComment].empty()) return "skip";
      const int c = oneOf(live[kComment]);
      std::string body = std::string(1, static_cast<char>('a' + below(4)));
      if (body == w[c].body) body += std::to_string(++fUnique);
      return apply(v, "setBody " + nameOf(c) + " \"" + body + "\"",
                   [&] { as<Comment>(c)->setBody(d, String(body)); },
                   [&](World& r) { r[c].body = body; });
    }
    if (dice < 62) {
      if (live[kOrdering].empty()) return "skip";
      const int g = oneOf(live[kOrdering]);
      std::vector<int> ends = live[kOccurrence];
      ends.push_back(-1);
      const int o = oneOf(ends);
      const bool isBefore = below(2);
      const int current = isBefore ? w[g].before : w[g].after;
      if (o == current) {
        if (o < 0) return "skip";
        // Removal from the occurrence's side.
        return apply(v, nameOf(o) + (isBefore ? ".toAfters" : ".toBefores") + ".remove " + nameOf(g),
                     [&] {
                       const auto occurrence = as<OccurrenceSpecification>(o);
                       if (isBefore)
                         occurrence->getToAfters(d).remove(as<GeneralOrdering>(g));
                       else
                         occurrence->getToBefores(d).remove(as<GeneralOrdering>(g));
                     },
                     [&](World& r) { isBefore ? setBefore(r, g, -1) : setAfter(r, g, -1); });
      }
      const int how = static_cast<int>(below(3));
      const std::string what = o < 0 ? (isBefore ? "removeBefore" : "removeAfter")
                               : how == 0 ? (isBefore ? "toAfters.push_back" : "toBefores.push_back")
                                          : (isBefore ? "setBefore" : "setAfter");
      return apply(v, what + " " + nameOf(g) + " " + nameOf(o),
                   [&] {
                     const auto ordering = as<GeneralOrdering>(g);
                     const auto occurrence = o < 0 ? OccurrenceSpecification() : as<OccurrenceSpecification>(o);
                     if (o < 0 && isBefore)
                       ordering->removeBefore(d);
                     else if (o < 0)
                       ordering->removeAfter(d);
                     else if (how == 0 && isBefore)
                       occurrence->getToAfters(d).push_back(ordering);
                     else if (how == 0)
                       occurrence->getToBefores(d).push_back(ordering);
                     else if (isBefore)
                       ordering->setBefore(d, occurrence);
                     else
                       ordering->setAfter(d, occurrence);
                   },
                   [&](World& r) { isBefore ? setBefore(r, g, o) : setAfter(r, g, o); });
    }
    if (dice < 84) {
      // Classes and packages into packages, or out of their owner.
      std::vector<int> items = live[kClass];
      items.insert(items.end(), live[kPackage].begin(), live[kPackage].end());
      if (items.empty()) return "skip";
      const int x = oneOf(items);
      std::vector<int> owners;
      for (int p : live[kPackage])
        if (p != w[x].owner && !ownsOrIs(w, x, p)) owners.push_back(p);
      if (owners.empty() || (w[x].owner >= 0 && below(3) == 0)) {
        const int p = w[x].owner;
        if (p < 0) return "skip";
        const bool fromList = below(2);
        return apply(v, (fromList ? nameOf(p) + ".packagedElements.remove " : "removeOwner ") + nameOf(x),
                     [&] {
                       if (fromList)
                         as<Package>(p)->getPackagedElements(d).remove(as<PackageableElement>(x));
                       else
                         as<Element>(x)->removeOwner(d);
                     },
                     [&](World& r) { detach(r, x); });
      }
      const int p = oneOf(owners);
      const bool viaOwner = below(3) == 0;
      return apply(v, (viaOwner ? "setOwner " + nameOf(x) + " " : nameOf(p) + ".packagedElements.push_back ") +
                          (viaOwner ? nameOf(p) : nameOf(x)),
                   [&] {
                     if (viaOwner)
                       as<Element>(x)->setOwner(d, as<Element>(p));
                     else
                       as<Package>(p)->getPackagedElements(d).push_back(as<PackageableElement>(x));
                   },
                   [&](World& r) { addPackaged(r, p, x); });
    }
    // Comments into packages and classes, or out of them.
    if (live[kComment].empty()) return "skip";
    const int c = oneOf(live[kComment]);
    std::vector<int> owners;
    for (int k : {kPackage, kClass})
      for (int o : live[k])
        if (o != w[c].owner) owners.push_back(o);
    if (owners.empty() || (w[c].owner >= 0 && below(3) == 0)) {
      const int o = w[c].owner;
      if (o < 0) return "skip";
      return apply(v, nameOf(o) + ".ownedComments.remove " + nameOf(c),
                   [&] { as<Element>(o)->getOwnedComments(d).remove(as<Comment>(c)); },
                   [&](World& r) { detach(r, c); });
    }
    const int o = oneOf(owners);
    return apply(v, nameOf(o) + ".ownedComments.push_back " + nameOf(c),
                 [&] { as<Element>(o)->getOwnedComments(d).push_back(as<Comment>(c)); },
                 [&](World& r) { addComment(r, o, c); });
  }

  std::string begin(Dev& v) {
    fText = v.name + ": begin";
    v.tx = std::make_unique<Kelpa::Transaction>(in(model, v.d));
    return fText;
  }

  std::string commit(Dev& v) {
    fText = v.name + ": commit";
    v.tx->commit();
    v.tx.reset();
    if (&v == &root())
      for (const auto& [i, old] : v.saved) shareRoot(i, *old);
    if (!v.saved.empty()) {
      v.undo.push_back(std::move(v.saved));
      v.redo.clear();
    }
    v.saved.clear();
    return fText;
  }

  std::string abandon(Dev& v) {
    const bool explicitly = below(2);
    fText = v.name + (explicitly ? ": abandon" : ": transaction dropped");
    if (explicitly) v.tx->abandon();
    v.tx.reset();
    for (auto& [i, old] : v.saved) v.slots[i] = old;
    v.saved.clear();
    return fText;
  }

  std::string undo(Dev& v, bool back) {
    fText = v.name + (back ? ": undo" : ": redo");
    back ? model->undo(v.d) : model->redo(v.d);
    Record record = std::move(back ? v.undo.back() : v.redo.back());
    (back ? v.undo : v.redo).pop_back();
    for (auto& [i, slot] : record) {
      if (&v == &root()) shareRoot(i, *v.slots[i]);
      std::swap(v.slots[i], slot);
    }
    (back ? v.redo : v.undo).push_back(std::move(record));
    return fText;
  }

  std::string createDeviation() {
    auto dev = std::make_unique<Dev>();
    dev->name = "d" + std::to_string(++fLastDeviation);
    fText = "create deviation " + dev->name;
    dev->d = model->createDeviant();
    fDevs.push_back(std::move(dev));
    return fText;
  }

  std::string removeDeviation() {
    const std::size_t k = 1 + below(fDevs.size() - 1);
    Dev& dev = *fDevs[k];
    const bool abandonFirst = dev.tx && below(2);
    fText = "remove deviation " + dev.name + (dev.tx ? abandonFirst ? " after abandon" : " with its transaction open" : "");
    if (abandonFirst) dev.tx->abandon();
    model->removeDeviant(dev.d);
    fDevs.erase(fDevs.begin() + static_cast<std::ptrdiff_t>(k));
    return fText;
  }

  // The indices of a sequence's elements; an unknown element is -2, a repeated one -3.
  template <class T>
  std::set<int> indices(const Kelpa::Sequence<T>& s) const {
    std::set<int> out;
    for (int k = 0, n = s.size(); k < n; ++k)
      if (!out.insert(indexOf(s[k])).second) out.insert(-3);
    return out;
  }
  int indexOf(const Kelpa::ImmutableObject& o) const {
    if (o.isNull()) return -1;
    auto it = fIndex.find(identity(o));
    return it == fIndex.end() ? -2 : it->second;
  }
  static std::string text(const std::set<int>& s) {
    std::string t = "{";
    for (int i : s) t += (t.size() > 1 ? " " : "") + std::to_string(i);
    return t + "}";
  }

  void checkDeviant(const Dev& v, std::string& problems) const {
    const Deviant d = v.d;
    auto expect = [&](bool ok, int i, const std::string& what) {
      if (!ok) problems += "\n  " + v.name + ": " + nameOf(i) + " " + what;
    };
    // The reference itself, and so the library where it reads as the reference, keeps
    // both ends and ownership in agreement.
    if (std::string broken = disagreements(world(v), [this](int i) { return nameOf(i); }); !broken.empty())
      problems += "\n  " + v.name + ": ends disagree:" + broken;
    int absent = -1;
    for (int i = 0; i < fCount; ++i) {
      const State& s = view(v, i);
      const ClassObject& x = fElements[i];
      if (x->deviant_isValid(d) != s.exists) {
        expect(false, i, s.exists ? "is not valid" : "is valid");
        continue;
      }
      if (!s.exists) {
        if (absent < 0 || (i * 7 + fCount) % 3 == 0) absent = i;
        continue;
      }
      try {
        const Element e = as<Element>(i);
        const int owner = e->hasOwner(d) ? indexOf(e->getOwner(d)) : -1;
        expect(owner == s.owner, i, "owner " + nameOf(owner) + ", expected " + nameOf(s.owner));
        const std::set<int> comments = indices(e->getOwnedComments(d));
        expect(comments == s.comments, i, "ownedComments " + text(comments) + ", expected " + text(s.comments));
        switch (fKinds[i]) {
          case kComment: {
            const std::string body = as<Comment>(i)->getBody(d).to_string();
            expect(body == s.body, i, "body \"" + body + "\", expected \"" + s.body + "\"");
            break;
          }
          case kPackage: {
            const auto p = as<Package>(i);
            const std::set<int> packaged = indices(p->getPackagedElements(d));
            expect(packaged == s.packaged, i, "packagedElements " + text(packaged) + ", expected " + text(s.packaged));
            std::set<int> all = s.packaged;
            all.insert(s.comments.begin(), s.comments.end());
            const std::set<int> owned = indices(p->getOwnedElements(d));
            expect(owned == all, i, "ownedElements " + text(owned) + ", expected " + text(all));
            break;
          }
          case kOrdering: {
            const auto g = as<GeneralOrdering>(i);
            const int before = g->hasBefore(d) ? indexOf(g->getBefore(d)) : -1;
            const int after = g->hasAfter(d) ? indexOf(g->getAfter(d)) : -1;
            expect(before == s.before, i, "before " + nameOf(before) + ", expected " + nameOf(s.before));
            expect(after == s.after, i, "after " + nameOf(after) + ", expected " + nameOf(s.after));
            break;
          }
          case kOccurrence: {
            const auto o = as<OccurrenceSpecification>(i);
            const std::set<int> toAfter = indices(o->getToAfters(d));
            const std::set<int> toBefore = indices(o->getToBefores(d));
            expect(toAfter == s.toAfter, i, "toAfters " + text(toAfter) + ", expected " + text(s.toAfter));
            expect(toBefore == s.toBefore, i, "toBefores " + text(toBefore) + ", expected " + text(s.toBefore));
            break;
          }
          default:
            break;
        }
      } catch (const Kelpa::Exception& ex) {
        expect(false, i, std::string("read raised: ") + ex.what());
      }
    }
    if (absent >= 0)
      expect(failureAt([&] { (void)as<Element>(absent)->hasOwner(d); }) ==
                 "Assertion failed: object is not present in this deviant at kelpa/kernel/deviant/Deviant:",
             absent, "is read without the failure of an absent element");
    if (model->canUndo(d) != !v.undo.empty() || model->canRedo(d) != !v.redo.empty())
      problems += "\n  " + v.name + ": canUndo/canRedo " + std::to_string(model->canUndo(d)) + "/" +
                  std::to_string(model->canRedo(d)) + ", expected " + std::to_string(!v.undo.empty()) +
                  "/" + std::to_string(!v.redo.empty());
    if (&v != &root()) return;
    // The root objects are the root's elements without owner, each once.
    const std::set<int> roots = indices(model->getRootObjects(d));
    std::set<int> expected;
    for (int i = 0; i < fCount; ++i)
      if (view(v, i).exists && view(v, i).owner < 0) expected.insert(i);
    if (roots != expected) problems += "\n  root objects " + text(roots) + ", expected " + text(expected);
  }

  std::mt19937_64 fRandom;
  std::vector<std::unique_ptr<Dev>> fDevs;  // the root first
  std::vector<ClassObject> fElements;
  std::vector<Kind> fKinds;
  std::unordered_map<const ClassObjectIntf*, int> fIndex;
  int fCount = 0;
  int fUnique = 0;
  int fLastDeviation = 0;

 public:
  std::string fText;  // the step under way
};

std::string runSeed(std::uint64_t seed, int steps, bool verbose) {
  Run run(seed);
  std::vector<std::string> recent;
  const std::string name = "seed " + std::to_string(seed);
  if (std::string broken = run.check(); !broken.empty()) return name + " at start:" + broken;
  for (int i = 1; i <= steps; ++i) {
    std::string op, broken;
    try {
      op = run.step();
    } catch (const Kelpa::Exception& e) {
      op = run.fText;
      broken = std::string("\n  raised: ") + e.what();
    }
    if (verbose) std::printf("%s step %d: %s\n", name.c_str(), i, op.c_str());
    recent.push_back(op);
    if (recent.size() > 8) recent.erase(recent.begin());
    if (broken.empty()) broken = run.check();
    if (broken.empty()) continue;
    std::string report = name + ", step " + std::to_string(i) + ": " + op + broken + "\nlast steps:";
    for (const std::string& r : recent) report += "\n  " + r;
    return report + testsupport::replayLine("ZORBEL_DEVIANT", seed, i);
  }
  return {};
}

TEST(RandomDeviant, SeededRunsReadAsTheReference) {
  testsupport::runSeeds("ZORBEL_DEVIANT", 80, 200, runSeed);
}

// Cases the runs found, each reduced to its few steps.
class DeviantRuns : public ::testing::Test {
 protected:
  void TearDown() override { model->destroyModel(); }
  std::string body(const Comment& c, Deviant d) const { return c->getBody(d).to_string(); }

  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Deviant root = model.getDeviant();
};

// A deviation's first write in a transaction finds it reading the root. Should the root
// move on before the transaction is abandoned, the deviation must get back what it read,
// not the new root: else the element's partners, which it had copied, disagree with it.
TEST_F(DeviantRuns, AbandoningInADeviationBringsBackWhatItReadOfTheRoot) {
  const GeneralOrdering ordering = GeneralOrdering::create(model);
  const OccurrenceSpecification a = OccurrenceSpecification::create(model);
  const OccurrenceSpecification b = OccurrenceSpecification::create(model);
  ordering->setBefore(root, a);
  const Deviant d = model->createDeviant();
  Kelpa::Transaction t(in(model, d));
  ordering->setAfter(d, b);
  ordering->setBefore(root, b);
  t.abandon();
  EXPECT_EQ(ordering->getBefore(d).get(), a.get());
  EXPECT_TRUE(a->getToAfters(d).contains(ordering));
  EXPECT_FALSE(ordering->hasAfter(d));
  EXPECT_TRUE(b->getToAfters(d).empty());
  EXPECT_TRUE(b->getToBefores(d).empty());
  EXPECT_EQ(ordering->getBefore(root).get(), b.get());
}

// The same for a committed transaction of the deviation, undone after a root commit; the
// undo record says "read the root" again after an undo and a redo.
TEST_F(DeviantRuns, UndoAndRedoInADeviationBringBackWhatItReadOfTheRoot) {
  const Comment note = Comment::create(model);
  note->setBody(root, String("old"));
  const Deviant d = model->createDeviant();
  {
    Kelpa::Transaction t(in(model, d));
    note->setBody(d, String("mine"));
    t.commit();
  }
  model->undo(d);
  EXPECT_EQ(body(note, d), "old");
  model->redo(d);
  {
    Kelpa::Transaction t(model);
    note->setBody(root, String("new"));
    t.commit();
  }
  EXPECT_EQ(body(note, d), "mine");
  model->undo(d);
  EXPECT_EQ(body(note, d), "old");
  model->redo(d);
  EXPECT_EQ(body(note, d), "mine");
  model->undo(d);
  EXPECT_EQ(body(note, d), "old");
  model->undo(root);
  model->redo(root);
  EXPECT_EQ(body(note, d), "old");
  EXPECT_EQ(body(note, root), "new");
}

}  // namespace
}  // namespace zorbel
