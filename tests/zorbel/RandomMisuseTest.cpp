// Seeded random misuse of reflection and of the Factory: every call is given bad input, and
// after each one the test checks
//   (a) the outcome: the exact failure text (up to its line number), a Tovi::bad_any_cast,
//       or no failure where the call is harmless (a read, a null Object for an unknown name);
//   (b) that nothing stored changed, by a reflective dump of both models taken before and
//       after the call. A call that raises must never change anything.
// A few calls are writes by contract although their input is wrong: a reference given an
// Object of an unfitting class is cleared, a value property given a null or dead Object
// takes its default, a removal with the value of a single-valued property takes the value
// out. Their effect is checked where it is plain (a cleared reference reads null), and the
// dump is taken again after them.
//
// The calls: the element's own get, getOne, has, setOrAdd, setOrAddOnly, remove (with and
// without a value), removeOnly, removeOne, removeOneOnly by name and by property; the free
// functions of the kernel by name and by property; the eight record functions of a class
// with bad indices and objects; sequence positions out of range; createFromString in its
// three forms on the zorbel Factory and on the kernel's FactoryObject.
// The bad input: unknown and misspelt names, properties of another class, null property
// handles, values of every wrong type, null Objects, elements of an unfitting class, of
// another model, destroyed ones, ones of a destroyed model and ones seen through a removed
// deviant, and the element itself null or dead.
//
// Environment:
//   ZORBEL_MISUSE_SEEDS=n    run seeds 1..n (default 16)
//   ZORBEL_MISUSE_STEPS=n    calls per seed (default 200)
//   ZORBEL_MISUSE_SEED=s     run seed s alone: a failure names its seed and step
//   ZORBEL_MISUSE_VERBOSE=1  print every call and its outcome
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include <Kelpa/Meta.h>
#include <zorbel/zorbel.h>

#include "../support/Failure.h"
#include "../support/SeededRuns.h"

namespace zorbel {
namespace {

using Kelpa::ClassObject;
using Kelpa::Deviant;
using Kelpa::Object;
using Kelpa::NSInterface::ClassIntf;
using Kelpa::NSInterface::ClassObjectIntf;
using Kelpa::NSInterface::EnumerationIntf;
using Kelpa::NSInterface::PropertyIntf;

const ClassObjectIntf* identity(const Kelpa::ImmutableObject& o) {
  return Kelpa::detail::castTo<ClassObjectIntf>(o.get());
}

const ClassIntf* classType(const PropertyIntf* p) {
  return dynamic_cast<const ClassIntf*>(p->getType());
}
bool isEnumeration(const PropertyIntf* p) {
  return dynamic_cast<const EnumerationIntf*>(p->getType()) != nullptr;
}
bool isStored(const PropertyIntf* p) { return !p->isDerived() && !p->isDerivedUnion(); }
bool isZorbel(const PropertyIntf* p) {
  return p->getOwner()->getQualifiedName().rfind("zorbel.", 0) == 0;
}
// The single-valued kinds that have an Only form in their record: references, enumerations.
bool hasOnlyForm(const PropertyIntf* p) { return classType(p) || isEnumeration(p); }

Kelpa::ImmutableProperty handleOf(const PropertyIntf* p) {
  return Kelpa::ImmutableProperty(p, Element::MetaClass().getDeviant());
}

// ---------------------------------------------------------------------------------------
// The failure texts, up to the line number, as testsupport::failureAt gives them.

const std::string kFailed = "Assertion failed: ";
const std::string kReflection = " at kelpa/kernel/meta/Reflection:";
const std::string kNullRef =
    kFailed + "Cannot access NULL ref. Use isValid() before calling methods at kelpa/Kelpa/Model_h:";
const std::string kModelGone =
    kFailed + "object accessed after its model has been destroyed at kelpa/kernel/deviant/Deviations:";
const std::string kDeviantGone =
    kFailed + "object accessed after its deviant has been removed at kelpa/kernel/deviant/Deviations:";
const std::string kNotPresent =
    kFailed + "object is not present in this deviant at kelpa/kernel/deviant/Deviant:";
const std::string kNoException = "<no exception>";
const std::string kBadAnyCast = "<Tovi::bad_any_cast>";

std::string recordPath(const ClassIntf* cls) {
  return " at zorbel/NSMetaRegistry/" + cls->getName() + "MetaRegistry:";
}
std::string illegalIndex(const ClassIntf* cls, const char* function, unsigned index) {
  return kFailed + cls->getQualifiedName() + "::" + function + " on illegal property with id " +
         std::to_string(static_cast<int>(index)) + recordPath(cls);
}
std::string indexZero(const ClassIntf* cls, const char* function) {
  return kFailed + cls->getQualifiedName() + "::" + function + " on illegal property" +
         recordPath(cls);
}
std::string noProperty(const ClassIntf* cls, const std::string& name) {
  return kFailed + "no property " + cls->getQualifiedName() + "." + name + kReflection;
}
std::string notAMember(const PropertyIntf* p, const ClassIntf* cls) {
  return kFailed + "property " + p->getOwner()->getQualifiedName() + "." + p->getName() +
         " is no property of " + cls->getQualifiedName() + kReflection;
}
// An element given where a value of the library's type is expected.
std::string noValue(const PropertyIntf* p) {
  const std::string& q = p->getType()->getQualifiedName();  // "zorbel.String"
  return kFailed +
         "Internal assertion without a message detected in FTL generated code! Please fix me asap "
         "at zorbel/" +
         q.substr(q.find('.') + 1) + ":";
}

// What a call did: the text of its Kelpa::Exception up to the line number (as failureAt
// cuts it; a text without a place is kept whole), the two other kinds of exception, or no
// exception.
template <class F>
std::string outcomeOf(F&& f) {
  try {
    const std::string text = testsupport::failureOf(f);
    if (text == "<no exception>") return kNoException;
    const std::string cut = testsupport::failureAt([&] { throw Kelpa::Exception(text); });
    return cut.empty() ? text : cut;
  } catch (const Tovi::bad_any_cast&) {
    return kBadAnyCast;
  } catch (const std::exception& e) {
    return std::string("<foreign exception: ") + e.what() + ">";
  }
}

// ---------------------------------------------------------------------------------------
// The world: a small model, a second model, a destroyed one and a removed deviant.

using Maker = ClassObject (*)(const Kelpa::Model&);
template <class H>
ClassObject make(const Kelpa::Model& model) {
  return ClassObject(H::create(model));
}

// The kinds of element the calls are aimed at and the values they are given.
enum class Life { live, foreign, destroyed, husk, removedDeviant };

struct Entry {
  ClassObject handle;  // with the deviant to use: the removed one for removedDeviant
  std::string name;
  Life life;
};

class World {
 public:
  World() {
    const Deviant d = root;
    auto set = [&](const ClassObject& x, const char* property, const Object& value) {
      Kelpa::setOrAdd(x, property, value);
    };
    const ClassObject outer = add(make<Package>(model), "Package#outer");
    const ClassObject inner = add(make<Package>(model), "Package#inner");
    const ClassObject a = add(make<Class>(model), "Class#A");
    const ClassObject b = add(make<Class>(model), "Class#B");
    const ClassObject x = add(make<Property>(model), "Property#x");
    const ClassObject y = add(make<Property>(model), "Property#y");
    const ClassObject run = add(make<Operation>(model), "Operation#run");
    const ClassObject arg = add(make<Parameter>(model), "Parameter#arg");
    const ClassObject note = add(make<Comment>(model), "Comment#note");
    const ClassObject loose = add(make<Comment>(model), "Comment#loose");
    const ClassObject link = add(make<Association>(model), "Association#link");
    const ClassObject isA = add(make<Generalization>(model), "Generalization#isA");
    const ClassObject three = add(make<LiteralInteger>(model), "LiteralInteger#three");
    const ClassObject text = add(make<OpaqueExpression>(model), "OpaqueExpression#text");
    set(outer, "name", String("outer"));
    set(outer, "packagedElement", inner);
    set(outer, "packagedElement", a);
    set(outer, "packagedElement", b);
    set(outer, "packagedElement", link);
    set(inner, "visibility", VisibilityKind(VisibilityKind::kPrivate));
    set(a, "name", String("A"));
    set(a, "isAbstract", Boolean(true));
    set(b, "name", String("B"));
    set(a, "ownedAttribute", x);
    set(x, "name", String("x"));
    set(x, "type", b);
    set(x, "aggregation", AggregationKind(AggregationKind::kComposite));
    set(x, "defaultValue", three);
    set(three, "value", Integer(3));
    set(a, "ownedOperation", run);
    set(run, "ownedParameter", arg);
    set(run, "isQuery", Boolean(true));
    set(link, "memberEnd", x);
    set(link, "ownedEnd", y);
    set(y, "type", a);
    set(b, "generalization", isA);
    set(isA, "general", a);
    set(outer, "ownedComment", note);
    set(note, "body", String("note"));
    set(note, "annotatedElement", a);
    set(note, "annotatedElement", b);
    set(loose, "body", String("loose"));
    set(text, "body", String("first"));
    set(text, "body", String("second"));

    gone = {add(make<Class>(model), "Class#destroyed", Life::destroyed),
            add(make<Comment>(model), "Comment#destroyed", Life::destroyed)};
    for (const ClassObject& g : gone) g->destroy(d);

    add(make<Class>(other), "Class'other", Life::foreign);
    add(make<Comment>(other), "Comment'other", Life::foreign);
    Kelpa::setOrAdd(fEntries.back().handle, "body", String("elsewhere"));

    add(make<Class>(dead), "Class~husk", Life::husk);
    add(make<Comment>(dead), "Comment~husk", Life::husk);
    deadFactory = zorbel::NSInterface::FactoryIntf::createNewFactory(dead);
    dead->destroyModel();

    removed = model->createDeviant();
    for (const char* name : {"Class#A", "Comment#note", "Property#x"}) {
      ClassObject h = byName(name);
      h.setDeviant(removed);
      fEntries.push_back({h, std::string(name) + "@removed", Life::removedDeviant});
    }
    model->removeDeviant(removed);
    factory = zorbel::NSInterface::FactoryIntf::createNewFactory(model);
    for (const Entry& e : fEntries) fIndex.emplace(identity(e.handle), e.name);
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World() {
    other->destroyModel();
    model->destroyModel();
  }

  const std::vector<Entry>& entries() const { return fEntries; }
  ClassObject byName(const std::string& name) const {
    for (const Entry& e : fEntries)
      if (e.name == name) return e.handle;
    return {};
  }
  std::string nameOf(const Kelpa::ImmutableObject& o) const {
    if (o.isNull()) return "null";
    const auto it = fIndex.find(identity(o));
    if (it != fIndex.end()) return it->second;
    const ClassObjectIntf* e = identity(o);
    return e ? "element with id " + std::to_string(e->getId().getValue()) : "a non-element";
  }

  // Every stored property of every element reachable from the root objects of both
  // models, as text; with the number of elements of each model.
  std::string dump() const {
    std::string out;
    for (const Kelpa::Model& m : {model, other}) {
      out += "model with " + std::to_string(m->numberOfObjects()) + " objects, roots:";
      std::vector<ClassObject> todo;
      const Kelpa::Sequence<ClassObject> roots = m->getRootObjects(m.getDeviant());
      for (int i = 0, n = roots.size(); i < n; ++i) {
        todo.push_back(roots[i]);
        out += " " + nameOf(roots[i]);
      }
      out += "\n";
      std::set<const ClassObjectIntf*> seen;
      while (!todo.empty()) {
        const ClassObject x = todo.back();
        todo.pop_back();
        if (!seen.insert(identity(x)).second) continue;
        // A stored list written alone takes what it is given, a dead element too.
        if (!x->deviant_isValid(x.getDeviant()))
          out += nameOf(x) + ": not alive\n";
        else
          out += dumpElement(x, todo);
      }
    }
    return out;
  }

  Kelpa::Model model = zorbel::NSInterface::FactoryIntf::createNewModel();
  Deviant root = model.getDeviant();
  Kelpa::Model other = zorbel::NSInterface::FactoryIntf::createNewModel();
  Kelpa::Model dead = zorbel::NSInterface::FactoryIntf::createNewModel();
  Deviant removed;
  zorbel::Factory factory;
  zorbel::Factory deadFactory;
  std::vector<ClassObject> gone;

 private:
  ClassObject add(ClassObject element, const std::string& name, Life life = Life::live) {
    fEntries.push_back({element, name, life});
    return element;
  }

  std::string valueText(const Object& v) const {
    if (v.isNull()) return "null";
    if (identity(v)) return nameOf(v);
    return v->getRuvoName(false) + "(" + v->toString(v.getDeviant()).str() + ")";
  }

  std::string dumpElement(const ClassObject& x, std::vector<ClassObject>& todo) const {
    std::string out = nameOf(x) + ":";
    for (const PropertyIntf* p : x->getMetaClass()->getAllProperties()) {
      if (!isZorbel(p)) continue;
      if (p->getName() == "ownedElement") {
        const Kelpa::Sequence<Object> s = Kelpa::asSequence(Kelpa::get(x, handleOf(p)));
        for (int i = 0, n = s.isNull() ? 0 : s.size(); i < n; ++i) todo.push_back(ClassObject(s[i]));
      }
      if (!isStored(p)) continue;
      out += " " + p->getName() + "=";
      const Object value = Kelpa::reflect::get(x.get(), x.getDeviant(), *p);
      if (p->isMultiValued()) {
        const Kelpa::Sequence<Object> s = Kelpa::asSequence(value);
        out += "[";
        for (int i = 0, n = s.isNull() ? 0 : s.size(); i < n; ++i)
          out += (i ? "," : "") + valueText(s[i]);
        out += "]";
      } else {
        out += Kelpa::reflect::has(x.get(), x.getDeviant(), *p) ? valueText(value) : "unset";
      }
    }
    return out + "\n";
  }

  std::vector<Entry> fEntries;
  std::unordered_map<const ClassObjectIntf*, std::string> fIndex;
};

// ---------------------------------------------------------------------------------------
// The values the writes are given.

struct Value {
  Object object;
  std::string name;
  std::string typeName;  // a value's registered type name; "" for elements and null
  const Entry* element = nullptr;
};

// ---------------------------------------------------------------------------------------
// What a call may do.

struct Expect {
  std::set<std::string> outcomes;  // the acceptable outcomes
  bool mayChange = false;          // the call may change the model (without raising)
  const PropertyIntf* cleared = nullptr;  // ... and then this reference reads null
  bool anyKelpa = false;  // ... or any Kelpa::Exception
  bool minimum = false;   // the outcome could not be told exactly: only "refused or harmless"
};

Expect exactly(const std::string& outcome) { return Expect{{outcome}}; }

class Run {
 public:
  explicit Run(std::uint64_t seed) : fRandom(seed) {
    const Value v[] = {
        {Integer(5), "Integer(5)", "zorbel.Integer"},
        {Boolean(true), "Boolean(true)", "zorbel.Boolean"},
        {String("text"), "String(text)", "zorbel.String"},
        {UnlimitedNatural(3), "UnlimitedNatural(3)", "zorbel.UnlimitedNatural"},
        {VisibilityKind(VisibilityKind::kProtected), "VisibilityKind(protected)",
         "zorbel.VisibilityKind"},
        {AggregationKind(AggregationKind::kShared), "AggregationKind(shared)",
         "zorbel.AggregationKind"},
        {Kelpa::String("kernel text"), "Kelpa::String(kernel text)", "Kelpa.String"},
        {Object(), "null Object", ""},
    };
    for (const Value& value : v) fValues.push_back(value);
    for (const Entry& e : world.entries())
      fValues.push_back({Object(e.handle), e.name, "", &e});
  }

  // One call; returns its description and a failure report if the check failed.
  std::pair<std::string, std::string> step() {
    fText.clear();
    fPreFailure.clear();
    const int dice = static_cast<int>(below(100));
    Expect expect;
    std::function<void()> call;
    if (dice < 55)
      reflective(expect, call);
    else if (dice < 75)
      recordCall(expect, call);
    else if (dice < 87)
      sequenceCall(expect, call);
    else
      factoryCall(expect, call);

    const std::string outcome = outcomeOf(call);
    fText += " -> " + outcome;
    std::string failure = fPreFailure.empty() ? "" : fPreFailure + "\n";
    const bool accepted = expect.outcomes.count(outcome) ||
                          (expect.anyKelpa && outcome[0] != '<');
    if (!accepted) {
      failure = "outcome " + outcome + "\nexpected one of:";
      for (const std::string& o : expect.outcomes) failure += "\n  " + o;
    }
    const std::string after = world.dump();
    if (after != fBefore) {
      if (outcome != kNoException || !expect.mayChange)
        failure += "\nthe model changed:\n" + difference(fBefore, after);
      else if (expect.cleared && !fClearTarget.isNull()) {
        const Object v = Kelpa::get(fClearTarget, handleOf(expect.cleared));
        if (!v.isNull()) failure += "\n" + expect.cleared->getName() + " still reads " + world.nameOf(v);
      }
    }
    if (expect.minimum) {
      ++minimumCalls;
      minimumOutcomes.insert(fKind + " -> " + outcome);
    }
    fBefore = after;
    return {fText, failure};
  }

  World world;
  std::string fBefore = world.dump();
  int minimumCalls = 0;

 private:
  std::size_t below(std::size_t n) { return n ? fRandom() % n : 0; }
  bool chance(int percent) { return static_cast<int>(below(100)) < percent; }
  template <class T>
  const T& oneOf(const std::vector<T>& v) {
    return v[below(v.size())];
  }

  static std::string difference(const std::string& a, const std::string& b) {
    std::string out;
    std::size_t i = 0, j = 0;
    while (i < a.size() || j < b.size()) {
      const std::size_t ei = a.find('\n', i), ej = b.find('\n', j);
      const std::string la = a.substr(i, ei - i), lb = b.substr(j, ej - j);
      if (la != lb) out += "  before: " + la + "\n  after:  " + lb + "\n";
      i = ei == std::string::npos ? a.size() : ei + 1;
      j = ej == std::string::npos ? b.size() : ej + 1;
    }
    return out;
  }

  const Entry& target(std::vector<Life> lives) {
    std::vector<const Entry*> fit;
    for (const Entry& e : world.entries())
      for (Life l : lives)
        if (e.life == l) fit.push_back(&e);
    return *fit[below(fit.size())];
  }

  // The failure of any access to the element's state, for a dead one.
  static std::string deadText(const Entry& e) {
    switch (e.life) {
      case Life::destroyed: return kNotPresent;
      case Life::husk: return kModelGone;
      case Life::removedDeviant: return kDeviantGone;
      default: return kNoException;
    }
  }
  static bool isDead(const Entry& e) { return e.life != Life::live && e.life != Life::foreign; }
  // 0 for the model, 1 for the other one, 2 for the destroyed one.
  static int modelOf(const Entry& e) {
    return e.life == Life::foreign ? 1 : e.life == Life::husk ? 2 : 0;
  }

  // The properties a call may name: the zorbel ones that are stored, and the owner and
  // owned elements of every element.
  std::vector<const PropertyIntf*> goodProperties(const ClassIntf* cls) {
    std::vector<const PropertyIntf*> out;
    for (const PropertyIntf* p : cls->getAllProperties())
      if (isZorbel(p) &&
          (isStored(p) || p->getName() == "owner" || p->getName() == "ownedElement"))
        out.push_back(p);
    return out;
  }

  // A name that no property of cls has: unknown, or a real one off by case or a letter.
  std::string badName(const ClassIntf* cls) {
    static const std::vector<std::string> unknown{"bogus", "", "Name ", "owner.name",
                                                  "zorbel.Comment.body", "isabstract"};
    std::string name;
    for (int tries = 0; tries < 20; ++tries) {
      if (chance(30)) {
        name = oneOf(unknown);
      } else {
        name = oneOf(cls->getAllProperties())->getName();
        const std::size_t at = below(name.size());
        switch (below(4)) {
          case 0: name[at] = static_cast<char>(std::toupper(name[at]) == name[at] ? std::tolower(name[at]) : std::toupper(name[at])); break;
          case 1: name.erase(at, 1); break;
          case 2: name.insert(at, 1, name[at]); break;
          default: name[at] = name[at] == 'z' ? 'q' : 'z'; break;
        }
      }
      if (!cls->findProperty(name)) return name;
    }
    return "bogus";
  }

  // A property that cls does not have: one of another class.
  const PropertyIntf* foreignProperty(const ClassIntf* cls) {
    for (;;) {
      const Entry& e = target({Life::live, Life::foreign});
      const PropertyIntf* p = oneOf(e.handle->getMetaClass()->getAllProperties());
      if (!cls->conformsTo(p->getOwner())) return p;
    }
  }

  // A value that is wrong for p (and, for a reference, a note of what becomes of it).
  const Value& wrongValue(const PropertyIntf* p) {
    for (;;) {
      const Value& v = oneOf(fValues);
      const ClassIntf* type = classType(p);
      if (!type) {
        if (v.typeName == p->getType()->getQualifiedName()) continue;  // a right one
        return v;
      }
      // A live element of the right class is a proper write.
      if (v.element && v.element->life == Life::live && type->isInstance(identity(v.object)))
        continue;
      return v;
    }
  }

  // ---- the kernel's reflective operations

  void reflective(Expect& expect, std::function<void()>& call) {
    const int life = static_cast<int>(below(100));
    const Entry* e = nullptr;
    if (life < 70)
      e = &target({Life::live});
    else if (life < 78)
      e = &target({Life::foreign});
    else if (life < 96)
      e = &target({Life::destroyed, Life::husk, Life::removedDeviant});
    // else: the element handle is null
    const ClassIntf* cls = e ? e->handle->getMetaClass().get() : nullptr;
    const ClassObject x = e ? e->handle : ClassObject();
    const Deviant d = e ? e->handle.getDeviant() : world.root;

    // How the property is given.
    enum { good, unknownName, otherClass, nullHandle } how = good;
    const int pick = static_cast<int>(below(100));
    if (cls && pick < 20) how = unknownName;
    else if (cls && pick < 35) how = otherClass;
    else if (pick < 42) how = nullHandle;
    const PropertyIntf* p = nullptr;
    std::string name;
    if (how == good) {
      p = oneOf(goodProperties(cls ? cls : Class::MetaClass().get()));
      name = p->getName();
    } else if (how == unknownName) {
      name = badName(cls);
    } else if (how == otherClass) {
      p = foreignProperty(cls);
      name = p->getName();
    }
    const bool byName = how == unknownName || (how == good && chance(50));
    // A name finds the class's own property before an inherited one of the same name.
    if (how == good && byName && cls) p = cls->findProperty(name);
    const Kelpa::ImmutableProperty handle = p && !byName ? handleOf(p) : Kelpa::ImmutableProperty();
    const Kelpa::String kname(name);
    const bool member = chance(50);
    const Value& v = p ? wrongValue(p) : oneOf(fValues);

    static const char* const kOps[] = {"get",        "getOne",    "has",          "setOrAdd",
                                       "setOrAddOnly", "remove(v)", "remove",     "removeOnly(v)",
                                       "removeOnly", "removeOne(v)", "removeOne",  "removeOneOnly(v)",
                                       "removeOneOnly"};
    // The element's own operations have no removeOnly() and no removeOne(v); the kernel's
    // free functions have no removeOne() without a value.
    static const std::vector<int> kMemberOps{0, 1, 2, 3, 4, 5, 6, 7, 10, 12};
    static const std::vector<int> kFreeOps{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11};
    const int op = oneOf(member ? kMemberOps : kFreeOps);
    const bool takesValue = op == 3 || op == 4 || op == 5 || op == 7 || op == 9 || op == 11;
    fKind = std::string(member ? "x->" : "Kelpa::") + kOps[op] + (byName ? " by name" : " by property");
    fText = std::string(member ? "x->" : "Kelpa::") + kOps[op] + " on " +
            (e ? e->name : std::string("null")) + " by " +
            (byName ? "name \"" + name + "\"" : how == nullHandle ? std::string("null property") : "property " + name) +
            (takesValue ? " with " + v.name : "");

    // What comes first: the element handle, then the property.
    if (!e) {
      expect = exactly(kNullRef);
    } else if (how == unknownName) {
      expect = exactly(noProperty(cls, name));
    } else if (how == nullHandle) {
      expect = exactly(kNullRef);
    } else if (how == otherClass) {
      expect = exactly(notAMember(p, cls));
    } else {
      expect = expectOfGood(*e, p, op, v);
    }

    const Object value = v.object;
    call = [=] {
      if (member) {
        const ClassObject h = x;  // raises for a null element on ->
        switch (op) {
          case 0: (void)(byName ? h->get(d, kname) : h->get(d, handle)); break;
          case 1: (void)(byName ? h->getOne(d, kname) : h->getOne(d, handle)); break;
          case 2: (void)(byName ? h->has(d, kname) : h->has(d, handle)); break;
          case 3: byName ? h->setOrAdd(d, kname, value) : h->setOrAdd(d, handle, value); break;
          case 4: byName ? h->setOrAddOnly(d, kname, value) : h->setOrAddOnly(d, handle, value); break;
          case 5: byName ? h->remove(d, kname, value) : h->remove(d, handle, value); break;
          case 6: byName ? h->remove(d, kname) : h->remove(d, handle); break;
          case 7: byName ? h->removeOnly(d, kname, value) : h->removeOnly(d, handle, value); break;
          case 10: byName ? h->removeOne(d, kname) : h->removeOne(d, handle); break;
          case 12: byName ? h->removeOneOnly(d, kname) : h->removeOneOnly(d, handle); break;
          default: ADD_FAILURE() << "no member form " << op;
        }
        return;
      }
      switch (op) {
        case 0: (void)(byName ? Kelpa::get(x, name) : Kelpa::get(x, handle)); break;
        case 1: (void)(byName ? Kelpa::getOne(x, name) : Kelpa::getOne(x, handle)); break;
        case 2: (void)(byName ? Kelpa::has(x, name) : Kelpa::has(x, handle)); break;
        case 3: byName ? Kelpa::setOrAdd(x, name, value) : Kelpa::setOrAdd(x, handle, value); break;
        case 4: byName ? Kelpa::setOrAddOnly(x, name, value) : Kelpa::setOrAddOnly(x, handle, value); break;
        case 5: byName ? Kelpa::remove(x, name, value) : Kelpa::remove(x, handle, value); break;
        case 6: byName ? Kelpa::remove(x, name) : Kelpa::remove(x, handle); break;
        case 7: byName ? Kelpa::removeOnly(x, name, value) : Kelpa::removeOnly(x, handle, value); break;
        case 8: byName ? Kelpa::removeOnly(x, name) : Kelpa::removeOnly(x, handle); break;
        case 9: byName ? Kelpa::removeOne(x, name, value) : Kelpa::removeOne(x, handle, value); break;
        case 11: byName ? Kelpa::removeOneOnly(x, name, value) : Kelpa::removeOneOnly(x, handle, value); break;
        default: ADD_FAILURE() << "no free form " << op;
      }
    };
    fClearTarget = x;
  }

  // The outcome of an operation with a property of the element's class and a wrong value.
  Expect expectOfGood(const Entry& e, const PropertyIntf* p, int op, const Value& v) {
    const bool multi = p->isMultiValued();
    const bool required = !multi && p->getLower() >= 1 && isStored(p);
    const ClassIntf* declaring = p->getOwner();
    const bool dead = isDead(e);
    const std::string gone = deadText(e);
    const bool reading = op <= 2;
    // Writes of the Only forms on a single value without an Only form fail at the record,
    // before the element is looked at.
    const bool onlyForm = op == 4 || op == 7 || op == 8 || op == 11 || op == 12;
    if (!multi && onlyForm && !hasOnlyForm(p)) {
      const char* function = op == 4 ? "setOnlySingleValued" : "removeOnlySingleValued";
      const std::string text = illegalIndex(declaring, function, p->getIndex());
      if (op != 11) return exactly(text);
      // removeOneOnly(v) first compares the value held with v.
      if (dead) return exactly(gone);
      return exactly(kNoException);
    }
    if (reading) {
      if (!dead) return exactly(kNoException);
      // A dead element: the state is not found, unless the record answers without it (a
      // required value is present, a sequence is a view that looks on its first use).
      Expect x = exactly(gone);
      x.outcomes.insert(kNoException);
      x.minimum = true;
      return x;
    }
    const ClassIntf* type = classType(p);
    const bool valueFits = type ? (v.object.isNull() ? false : type->isInstance(identity(v.object)))
                                : v.typeName == p->getType()->getQualifiedName();
    const bool valueIsDeadElement = v.element && isDead(*v.element);
    if (op == 3 || op == 4) {  // a write of v
      if (!multi && !type) {
        // The value is converted before the setter is reached.
        if (!v.typeName.empty()) return exactly(kBadAnyCast);
        if (v.element && !valueIsDeadElement) return exactly(noValue(p));
        // A null or dead Object reads as the default value: a write of it.
        if (dead) return exactly(gone);
        Expect x = exactly(kNoException);
        x.mayChange = true;
        return x;
      }
      if (!multi) {
        if (dead && v.element && valueFits) {
          // The setter may look at the partner (its model, whether it lives) first.
          Expect x = exactly(gone);
          return refusedOrTaken(x);
        }
        if (dead) return exactly(gone);
        if (!valueFits) {
          // An unfitting Object reaches the setter as a null handle: a clearing write.
          Expect x = exactly(kNoException);
          x.mayChange = true;
          x.cleared = p;
          return x;
        }
        // An element of another model, or a dead one, of the right class.
        Expect x;
        x.outcomes = {kNoException};
        x.mayChange = true;
        x.minimum = true;
        return refusedOrTaken(x);
      }
      // Into a sequence: an unfitting value is refused by the stored list as a null
      // element, before anything changes.
      if (!dead && !valueFits && type && isStored(p)) {
        Expect x = exactly(kFailed + "null object while inserting into zorbel.SequenceOf" +
                           type->getName() +
                           " at kelpa/kernel/containers/sequence/multi_index/MultiIndexImplForRefs:");
        // The association's view refuses a partner of another model first.
        if (op == 3 && v.element && modelOf(*v.element) != modelOf(e) && modelOf(*v.element) != 2)
          x.outcomes.insert(kFailed +
                            "Cross-model bi-directional associations are currently disallowed! at "
                            "kelpa/kernel/containers/sequence/GenericAssociationSequence:");
        return x;
      }
      // A list of values takes only its own type.
      if (!dead && !type && !v.object.isNull()) return exactly(kBadAnyCast);
      Expect x;
      x.minimum = true;
      if (dead) x.outcomes.insert(gone);
      x.mayChange = valueFits;
      if (valueFits) x.outcomes.insert(kNoException);
      return refusedOrTaken(x);
    }
    // Removals.
    if (op == 5 || op == 7 || op == 9 || op == 11) {  // with a value
      if (multi || op == 9 || op == 11) {
        // A value that is not held: nothing to take out. (removeOne(v) on a single value
        // compares it with the value held.)
        if (dead) return exactly(gone);
        Expect x = exactly(kNoException);
        if (multi) {
          // A value held (an element seen through another deviant is still itself) is
          // taken out; one that is not held is not found, whatever its type.
          x.mayChange = holds(e.handle, p, v.object);
          return isStored(p) ? x : refusedOrTaken(x);
        }
        return x;
      }
    }
    // remove(v) of a single value takes it out whatever v is; the other removals without a
    // value take the value, or the whole sequence, or its first element out. A required
    // value stays as it is, and its remover does not look at the element at all.
    if (dead && required && !classType(p)) {
      Expect x = exactly(kNoException);
      x.outcomes.insert(gone);  // an enumeration's remover resolves the state
      x.minimum = true;
      return x;
    }
    if (dead) return exactly(gone);
    Expect x = exactly(kNoException);
    x.mayChange = true;
    x.minimum = p->isDerivedUnion();  // a union may refuse the removal
    return x.minimum ? refusedOrTaken(x) : x;
  }

  static bool holds(const ClassObject& x, const PropertyIntf* p, const Object& value) {
    if (!identity(value)) return false;
    const Kelpa::Sequence<Object> s = Kelpa::asSequence(Kelpa::get(x, handleOf(p)));
    for (int i = 0, n = s.isNull() ? 0 : s.size(); i < n; ++i)
      if (identity(s[i]) == identity(value)) return true;
    return false;
  }

  // The minimum: some Kelpa::Exception or bad_any_cast, and nothing changed. The texts
  // met so far are added as they come, for the report.
  Expect refusedOrTaken(Expect x) {
    x.minimum = true;
    x.anyKelpa = true;
    x.outcomes.insert(kBadAnyCast);
    return x;
  }

  // ---- the record's eight functions

  void recordCall(Expect& expect, std::function<void()>& call) {
    const Entry& e = target({Life::live, Life::foreign, Life::destroyed, Life::husk, Life::removedDeviant});
    const ClassIntf* cls = e.handle->getMetaClass().get();
    const PropertyIntf* p = oneOf(goodProperties(cls));
    const ClassIntf* declaring = p->getOwner();
    const Kelpa::IntrospectiveMethods& m = *declaring->getIntrospectiveMethods();
    const unsigned count = static_cast<unsigned>(declaring->getOwnedProperties().size());
    static const char* const kFunctions[] = {
        "getSingleValued",    "hasSingleValued",        "setSingleValued", "setOnlySingleValued",
        "removeSingleValued", "removeOnlySingleValued", "getMultiValued",  "getOnlyMultiValued"};
    const int f = static_cast<int>(below(8));
    const bool multiFunction = f >= 6;

    // The object: the element, or one of a class the record does not take, or null.
    ClassObjectIntf* object = e.handle.get();
    std::string objectName = e.name;
    const int o = static_cast<int>(below(100));
    if (o < 12) {
      object = nullptr;
      objectName = "null";
    } else if (o < 30) {
      const Entry& stranger = target({Life::live, Life::foreign});
      if (!declaring->isInstance(stranger.handle.get())) {
        object = stranger.handle.get();
        objectName = stranger.name;
      }
    }
    const bool illegalObject = object == nullptr || !declaring->isInstance(object);

    // The index: 0, out of range, of a property of the other arity, or a valid one.
    unsigned index = 0;
    std::string indexKind;
    const int i = static_cast<int>(below(100));
    std::vector<unsigned> otherArity;
    for (const PropertyIntf* q : declaring->getOwnedProperties())
      if (q->isMultiValued() != multiFunction) otherArity.push_back(q->getIndex());
    if (i < 25) {
      indexKind = "0";
    } else if (i < 55) {
      index = chance(50) ? count + 1 + static_cast<unsigned>(below(5)) : 999 + static_cast<unsigned>(below(100000));
      indexKind = "out of range";
    } else if (i < 85 && !otherArity.empty()) {
      index = oneOf(otherArity);
      indexKind = "of the other arity";
    } else if (p->isMultiValued() == multiFunction && (f == 0 || f == 1 || f >= 6)) {
      index = p->getIndex();  // a read through the right function
      indexKind = "valid";
    } else {
      index = count + 1;
      indexKind = "out of range";
    }
    const Deviant d = e.handle.getDeviant();
    const Value& v = oneOf(fValues);
    fKind = std::string("record ") + kFunctions[f] + " index " + indexKind;
    fText = std::string(declaring->getName()) + "::" + kFunctions[f] + " on " + objectName +
            " with index " + std::to_string(index) + " (" + indexKind + ")";

    if (illegalObject) {
      expect = exactly(kFailed + "illegal object" + recordPath(declaring));
    } else if (index == 0) {
      expect = exactly(indexZero(declaring, kFunctions[f]));
    } else if (indexKind == "valid") {
      expect = exactly(kNoException);
      if (isDead(e)) {
        expect.outcomes.insert(deadText(e));
        expect.minimum = true;
      }
    } else if (f == 1 || multiFunction) {
      expect = exactly(kNoException);  // false, or a null sequence
    } else {
      expect = exactly(illegalIndex(declaring, kFunctions[f], index));
    }

    const Object value = v.object;
    call = [=, &m] {
      switch (f) {
        case 0: (void)m.getSingleValued(object, d, index); break;
        case 1:
          if (m.hasSingleValued(object, d, index) && indexKind != "valid")
            throw std::runtime_error("hasSingleValued answered true for a bad index");
          break;
        case 2: m.setSingleValued(object, d, index, value); break;
        case 3: m.setOnlySingleValued(object, d, index, value); break;
        case 4: m.removeSingleValued(object, d, index); break;
        case 5: m.removeOnlySingleValued(object, d, index); break;
        case 6:
        case 7: {
          const Kelpa::Sequence<Object> s = (f == 6 ? m.getMultiValued : m.getOnlyMultiValued)(object, d, index);
          if (!s.isNull() && indexKind != "valid")
            throw std::runtime_error("a sequence for a bad index");
          break;
        }
      }
    };
  }

  // ---- positions out of range in a sequence got by reflection

  // A view of a multi-valued reference: one got now, or one held since an earlier call
  // and read after the changes made in between.
  struct View {
    Kelpa::Sequence<Object> sequence;
    const Entry* element;
    const PropertyIntf* property;
  };

  // A fresh view of a stored list, a union or a derived subset of a live element; one
  // whose reading raises (a union over a part that is not kept) is left out.
  View freshView() {
    for (;;) {
      const Entry& e = target({Life::live});
      std::vector<const PropertyIntf*> lists;
      for (const PropertyIntf* q : e.handle->getMetaClass()->getAllProperties())
        if (isZorbel(q) && q->isMultiValued() && classType(q)) lists.push_back(q);
      if (lists.empty()) continue;
      const PropertyIntf* p = oneOf(lists);
      try {
        Kelpa::Sequence<Object> s = Kelpa::asSequence(Kelpa::get(e.handle, handleOf(p)));
        (void)s.size();
        return {s, &e, p};
      } catch (const Kelpa::Exception&) {
      }
    }
  }

  // What a held view reads against what a fresh one reads: they must agree.
  std::string compareWithFresh(const View& held) {
    const Kelpa::Sequence<Object> fresh =
        Kelpa::asSequence(Kelpa::get(held.element->handle, handleOf(held.property)));
    const int n = fresh.size();
    std::string problem;
    if (held.sequence.size() != n)
      return "a held view has " + std::to_string(held.sequence.size()) + " elements, a fresh one " +
             std::to_string(n);
    // In an order of its own: a view may remember where it last found a position.
    std::vector<int> order(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) order[static_cast<std::size_t>(i)] = i;
    std::shuffle(order.begin(), order.end(), fRandom);
    for (const int i : order) {
      const std::string a = outcomeOf([&] { (void)held.sequence.at(i); });
      if (a != kNoException) return "a held view raises at " + std::to_string(i) + ": " + a;
      if (identity(held.sequence.at(i)) != identity(fresh.at(i)))
        return "at " + std::to_string(i) + " a held view reads " + world.nameOf(held.sequence.at(i)) +
               ", a fresh one " + world.nameOf(fresh.at(i));
    }
    return {};
  }

  void sequenceCall(Expect& expect, std::function<void()>& call) {
    const bool reuse = !fHeld.empty() && chance(50);
    View view = reuse ? oneOf(fHeld) : freshView();
    if (!reuse && chance(50)) {
      if (fHeld.size() >= 6) fHeld.erase(fHeld.begin());
      fHeld.push_back(view);
    }
    if (reuse) fPreFailure = compareWithFresh(view);
    const PropertyIntf* p = view.property;
    Kelpa::Sequence<Object> s = view.sequence;
    const int n = s.size();
    const int at = chance(40) ? -1 - static_cast<int>(below(3))
                              : n + static_cast<int>(below(3)) + (chance(50) ? 1 : 0);
    // A value of the right class that lives elsewhere: taken by a valid insert, it would
    // move; an insert at a bad position must leave it where it is.
    std::vector<const Value*> fitting;
    for (const Value& v : fValues)
      if (v.element && v.element->life == Life::live && classType(p)->isInstance(identity(v.object)))
        fitting.push_back(&v);
    const Value* v = fitting.empty() ? &fValues[0] : oneOf(fitting);
    const int op = static_cast<int>(below(4));
    static const char* const kOps[] = {"at", "erase", "insert", "replace"};
    // insert(n) appends: for insert only a position beyond n is out of range.
    const int position = op == 2 && at == n ? n + 1 : at;
    fKind = std::string("sequence ") + kOps[op];
    fText = std::string("sequence ") + kOps[op] + "(" + std::to_string(position) + ") of " +
            (reuse ? "a held view of " : "") + view.element->name + "." + p->getName() +
            " of size " + std::to_string(n) + (op >= 2 ? " with " + v->name : "");
    // Raised by the view of the association or of the union, or by the stored list below.
    const std::string text =
        kFailed + (position < 0 ? "sequence index must be positive" : "sequence index out of bounds");
    expect.outcomes = {text + " at kelpa/kernel/containers/sequence/GenericSequence:",
                       text + " at kelpa/kernel/containers/sequence/multi_index/MultiIndexImplForRefs:"};
    if (s.get() == Kelpa::Generic::GenericNullSequence::getSingleton())
      expect = exactly(op == 0 ? text + " at kelpa/kernel/containers/sequence/GenericNullSequence:"
                               : kFailed + "the empty sequence cannot be changed at "
                                           "kelpa/kernel/containers/sequence/GenericNullSequence:");
    const Object value = v->object;
    call = [=]() mutable {
      switch (op) {
        case 0: (void)s.at(position); break;
        case 1: s.erase(position); break;
        case 2: s.insert(position, value); break;
        default: s.replace(position, value); break;
      }
    };
  }

  // ---- the Factory

  // What a failed parse of a value type's text names as its target.
  static std::string parseTarget(const std::string& type) {
    const std::string plain = type.substr(type.find('.') + 1);
    if (plain == "Integer") return "INT32_T";
    if (plain == "UnlimitedNatural") return "UINT32_T";
    if (plain == "Boolean") return "bool";
    return "zorbel." + plain;  // an enumeration
  }

  void factoryCall(Expect& expect, std::function<void()>& call) {
    static const std::vector<std::string> kUnknown{
        "NoSuchThing", "",           "comment",          "CLASS",     "Clas",
        "Commentt",    "Pakcage",    "zorbel.comment",   "zorbel.",   "Element",
        "NamedElement", "zorbel.Classifier", "zorbel.Factory", "Factory",
        "zorbel.SequenceOfComment", "zorbel.CommentIterator", "Kelpa.ClassObject", " Class",
        "Class ",      "zorbel..Class", "integer",        "uml.Class"};
    static const std::vector<std::pair<std::string, std::string>> kBadText{
        {"Integer", "twelve"},           {"zorbel.Boolean", "maybe"},
        {"AggregationKind", "bogus"},    {"zorbel.VisibilityKind", "Public"},
        {"UnlimitedNatural", "many"},      {"Integer", ""}};
    const bool generic = chance(50);
    int whose = static_cast<int>(below(100));
    // The factory: the model's, a destroyed model's, one seen through a removed deviant, or none.
    zorbel::Factory f = world.factory;
    Deviant d = world.root;
    std::string who = "factory";
    if (whose < 12) {
      f = world.deadFactory;
      d = f.getDeviant();
      who = "factory of a destroyed model";
    } else if (whose < 24) {
      d = world.removed;
      who = "factory through a removed deviant";
    } else if (whose < 30) {
      f = zorbel::Factory();
      who = "null factory";
    }
    const Kelpa::FactoryObject kernel{Kelpa::Object(f)};
    const int form = static_cast<int>(below(3));
    std::string type, text;
    int id = 0;
    bool unknown = true;
    if (form == 1 && chance(50)) {
      std::tie(type, text) = oneOf(kBadText);
      unknown = false;
    } else if (form == 2 && chance(60)) {
      // An id that an element of the model has.
      const Entry& taken = target({Life::live});
      id = taken.handle->getId().getValue();
      type = chance(50) ? "Comment" : "zorbel.Class";
      unknown = false;
    } else {
      type = oneOf(kUnknown);
      if (form == 1) text = "1";
      if (form == 2) id = 100000 + static_cast<int>(below(1000));
    }
    fKind = "createFromString form " + std::to_string(form) + " of " + who;
    fText = std::string(generic ? "Kelpa::FactoryObject" : "zorbel::Factory") + " of " + who +
            ": createFromString(\"" + type + "\"" +
            (form == 1 ? ", \"" + text + "\"" : form == 2 ? ", id " + std::to_string(id) : "") + ")";

    if (f.isNull()) {
      expect = exactly(kNullRef);
    } else if (unknown) {
      // A name that no type has gives a null Object; the plain and text forms look up the
      // factory's model first.
      if (form == 2 || whose >= 24) expect = exactly(kNoException);
      else expect = exactly(whose < 12 ? kModelGone : kDeviantGone);
    } else if (form == 2) {
      // A known class with an id in use: the id is refused, and nothing may stay behind.
      if (whose < 12) expect = exactly(kModelGone);
      else if (whose < 24) expect = exactly(kDeviantGone);
      else
        expect = exactly(kFailed + "object id " + std::to_string(id) +
                         " is already bound in this model at kelpa/kernel/model/Model:");
    } else {
      // A value type with text it cannot parse.
      if (whose < 12) expect = exactly(kModelGone);
      else if (whose < 24) expect = exactly(kDeviantGone);
      else
        expect = exactly("Can't convert string '" + text + "' to " + parseTarget(type));
    }
    const Kelpa::String ktype(type), ktext(text);
    call = [=, this] {
      Object made;
      if (generic) {
        const Kelpa::FactoryObject h = kernel;
        made = form == 0 ? h->createFromString(d, ktype)
               : form == 1 ? h->createFromString(d, ktype, ktext)
                           : h->createFromString(d, ktype, Kelpa::Integer(id));
      } else {
        made = form == 0 ? f->createFromString(d, String(ktype))
               : form == 1 ? f->createFromString(d, String(ktype), String(ktext))
                           : f->createFromString(d, String(ktype), Integer(id));
      }
      if (!made.isNull()) throw std::runtime_error("made " + world.nameOf(made));
    };
  }

 public:
  std::set<std::string> minimumOutcomes;  // what the calls without an exact outcome gave
  std::string fText;

 private:
  std::mt19937_64 fRandom;
  std::vector<View> fHeld;   // views kept from earlier calls
  std::string fPreFailure;   // a held view that read otherwise than a fresh one
  std::string fKind;  // the kind of call, for the list of outcomes without an exact text
  std::vector<Value> fValues;
  ClassObject fClearTarget;
};

// Runs one seed; the first call whose outcome or effect is wrong ends it with a report.
std::string runSeed(std::uint64_t seed, int steps, bool verbose) {
  Run run(seed);
  std::vector<std::string> recent;
  const std::string name = "seed " + std::to_string(seed);
  for (int i = 1; i <= steps; ++i) {
    std::string text, failure;
    try {
      std::tie(text, failure) = run.step();
    } catch (const std::exception& e) {
      text = run.fText;
      failure = std::string("raised outside the call under test: ") + e.what();
    }
    if (verbose) std::printf("%s step %d: %s\n", name.c_str(), i, text.c_str());
    recent.push_back(text);
    if (recent.size() > 6) recent.erase(recent.begin());
    if (failure.empty()) continue;
    std::string report = name + ", step " + std::to_string(i) + ": " + text + "\n" + failure +
                         "\nlast calls:";
    for (const std::string& r : recent) report += "\n  " + r;
    return report + testsupport::replayLine("ZORBEL_MISUSE", seed, i);
  }
  if (verbose)
    for (const std::string& o : run.minimumOutcomes) std::printf("%s: %s\n", name.c_str(), o.c_str());
  return {};
}

TEST(RandomMisuse, RefusedCallsRaiseWhatTheyShouldAndChangeNothing) {
  testsupport::runSeeds("ZORBEL_MISUSE", 16, 200, runSeed);
}

// The dump the runs compare: each kind of change a refused call could leave behind shows
// in it, and a read leaves it as it was.
TEST(RandomMisuse, TheDumpSeesEveryKindOfChange) {
  World world;
  const Deviant d = world.root;
  std::string before = world.dump();
  const ClassObject a = world.byName("Class#A");
  (void)Kelpa::get(a, "ownedAttribute");
  (void)Kelpa::has(a, "name");
  EXPECT_EQ(world.dump(), before);

  const auto changes = [&](const char* what, const std::function<void()>& change) {
    change();
    const std::string after = world.dump();
    EXPECT_NE(after, before) << what;
    before = after;
  };
  changes("a value", [&] { Kelpa::setOrAdd(world.byName("Comment#note"), "body", String("other")); });
  changes("a value that was unset", [&] { Kelpa::setOrAdd(world.byName("Comment#note"), "body", String()); });
  changes("a required value", [&] { Kelpa::setOrAdd(a, "isLeaf", Boolean(true)); });
  changes("a reference", [&] { Kelpa::remove(world.byName("Property#x"), "type"); });
  changes("the order of a list", [&] {
    Kelpa::Sequence<Object> s = Kelpa::asSequence(Kelpa::get(world.byName("Comment#note"), "annotatedElement"));
    const Object first = s.front();
    s.erase(0);
    s.push_back(first);
  });
  changes("a move between owners", [&] {
    Kelpa::setOrAdd(world.byName("Package#inner"), "ownedComment", world.byName("Comment#note"));
  });
  changes("an element of the other model",
          [&] { Kelpa::setOrAdd(world.byName("Comment'other"), "body", String("changed")); });
  changes("an element made", [&] { (void)Comment::create(world.model); });
  changes("an element made and owned at once",
          [&] { Kelpa::setOrAdd(world.byName("Class#B"), "ownedComment", Comment::create(world.model)); });
  changes("an element destroyed", [&] { world.byName("Operation#run")->destroy(d); });
  changes("a dead element taken into a list", [&] {
    Comment(world.byName("Comment#loose"))
        ->getOwnedCommentsWithoutAssociation(d)
        .push_back(Comment(world.byName("Comment#destroyed")));
  });
}

}  // namespace
}  // namespace zorbel
