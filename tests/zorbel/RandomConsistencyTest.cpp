// Seeded random runs of writes over a model of mixed metaclasses, each write followed by
// a check of the model's invariants through reflection and the meta-registry alone:
//
//   1. both ends of every navigable association agree;
//   2. every element has at most one owner and is listed once in its owner's owned
//      elements; an element without owner is one of the model's root objects, once, and
//      an owned one is none of them; ownership has no cycle;
//   3. no destroyed element is held by a composite or by an end whose opposite is kept
//      (a one-way reference may keep the handle of a destroyed element);
//   4. under the sanitizers, nothing leaks and nothing is used after it was freed.
//
// The writes go through typed accessors and through the kernel's reflection, by name and
// by ImmutableProperty: set, remove, the Only forms (one-way ends, or both ends of a
// two-way association written one after the other), inserts and erasures in association
// ends, composite lists and unions, moves between owners and destruction of subtrees.
// A write that is refused with a Kelpa::Exception is part of the game; the model must be
// as consistent after it as after any other.
//
// Environment:
//   ZORBEL_RANDOM_SEEDS=n   run seeds 1..n (default 16)
//   ZORBEL_RANDOM_STEPS=n   operations per seed (default 300)
//   ZORBEL_RANDOM_SEED=s    run seed s alone: the failure message of a run names its seed
//   ZORBEL_RANDOM_VERBOSE=1 print every operation of the runs
#include <gtest/gtest.h>

#include "../support/SeededRuns.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <Kelpa/Meta.h>
#include <zorbel/zorbel.h>

namespace zorbel {
namespace {

using Kelpa::ClassObject;
using Kelpa::Object;
using Kelpa::NSInterface::ClassIntf;
using Kelpa::NSInterface::ClassObjectIntf;
using Kelpa::NSInterface::PropertyIntf;

// The element behind a handle or object, whichever of its bases it is seen through.
const ClassObjectIntf* identity(const Kelpa::ImmutableObject& o) {
  return Kelpa::detail::castTo<ClassObjectIntf>(o.get());
}

bool alive(const Kelpa::ImmutableObject& o) {
  return o.get() && o->deviant_isValid(o.getDeviant());
}

const ClassIntf* metaclassOf(const Kelpa::ImmutableObject& o) {
  const ClassObjectIntf* element = identity(o);
  return element ? element->getMetaClass().get() : nullptr;
}

const ClassIntf* classType(const PropertyIntf* p) {
  return dynamic_cast<const ClassIntf*>(p->getType());
}

bool isStored(const PropertyIntf* p) {
  return !p->isDerived() && !p->isDerivedUnion();
}

// A single-valued end whose opposite contains its value's elements: the element's
// container seen through a type (Property.class, Lifeline.interaction, ...).
bool isContainerEnd(const PropertyIntf* p) {
  return !p->isMultiValued() && p->getOpposite() && p->getOpposite()->isComposite();
}

// Composites that the owned elements of their class leave out, as the tables of the
// unions have it: the element is owned and held, but not listed among the owned elements.
bool outsideOwnedElements(const ClassIntf* owner, const PropertyIntf* p) {
  const std::string& declaring = p->getOwner()->getName();
  const std::string& name = p->getName();
  if (declaring == "BehavioredClassifier") return name == "classifierBehavior";
  if (declaring == "Behavior") return name == "precondition" || name == "postcondition";
  if (declaring == "Operation")
    return name == "precondition" || name == "postcondition" || name == "bodyCondition";
  if (declaring == "Association") return name == "navigableOwnedEnd";
  if (declaring == "StructuredClassifier")  // a Class reads Class.ownedAttribute
    return owner->conformsTo(Class::MetaClass().get()) &&
           (name == "ownedAttribute" || name == "ownedConnector");
  if (declaring == "BehavioralFeature")  // an Operation reads Operation.ownedParameter
    return owner->conformsTo(Operation::MetaClass().get()) && name == "ownedParameter";
  if (declaring == "InteractionFragment")
    return owner->conformsTo(Interaction::MetaClass().get()) && name == "generalOrdering";
  return false;
}

// What the runs need of a metaclass, found once through the meta-registry.
struct MetaInfo {
  std::vector<const PropertyIntf*> stored;    // stored references
  std::vector<const PropertyIntf*> writable;  // stored references that reflection writes
  std::vector<const PropertyIntf*> views;     // multi-valued references to write through
};

const MetaInfo& infoOf(const ClassIntf* cls) {
  static std::unordered_map<const ClassIntf*, MetaInfo> cache;
  auto [it, fresh] = cache.try_emplace(cls);
  if (!fresh) return it->second;
  for (const PropertyIntf* p : cls->getAllProperties()) {
    if (!classType(p)) continue;
    if (isStored(p)) {
      it->second.stored.push_back(p);
      if (!p->isReadOnly()) it->second.writable.push_back(p);
    }
    // Derived subsets (Package.nestedPackage, ...) are read views over a plain list: only
    // stored ends and unions are written through.
    if (p->isMultiValued() && (isStored(p) || p->isDerivedUnion())) it->second.views.push_back(p);
  }
  return it->second;
}

const PropertyIntf& elementProperty(const char* name) {
  return *Element::MetaClass()->findProperty(name);
}

Kelpa::ImmutableProperty handleOf(const PropertyIntf* p) {
  return Kelpa::ImmutableProperty(p, Element::MetaClass().getDeviant());
}

std::vector<Object> valuesOf(const ClassObject& x, const PropertyIntf& p) {
  std::vector<Object> out;
  const Object value = Kelpa::reflect::get(x.get(), x.getDeviant(), p);
  if (!p.isMultiValued()) {
    if (!value.isNull()) out.push_back(value);
    return out;
  }
  const Kelpa::Sequence<Object> s = Kelpa::asSequence(value);
  for (int i = 0, n = s.isNull() ? 0 : s.size(); i < n; ++i) out.push_back(s[i]);
  return out;
}

int occurrences(const std::vector<Object>& values, const ClassObjectIntf* element) {
  int n = 0;
  for (const Object& v : values) n += identity(v) == element;
  return n;
}

using Maker = ClassObject (*)(const Kelpa::Model&);
template <class H>
ClassObject make(const Kelpa::Model& model) {
  return ClassObject(H::create(model));
}
const std::vector<std::pair<const char*, Maker>> kKinds{
    {"Package", make<Package>},
    {"Class", make<Class>},
    {"Property", make<Property>},
    {"Operation", make<Operation>},
    {"Parameter", make<Parameter>},
    {"Comment", make<Comment>},
    {"Constraint", make<Constraint>},
    {"LiteralInteger", make<LiteralInteger>},
    {"Generalization", make<Generalization>},
    {"Association", make<Association>},
    {"Dependency", make<Dependency>},
    {"UseCase", make<UseCase>},
    {"Interaction", make<Interaction>},
    {"Lifeline", make<Lifeline>},
    {"OccurrenceSpecification", make<OccurrenceSpecification>},
    {"GeneralOrdering", make<GeneralOrdering>},
};

// A model and a second one, every element made in them (destroyed ones too), and the
// checks. Elements of the second model are named with a prime: "Class'#7".
class World {
 public:
  World() = default;
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World() {
    other->destroyModel();
    model->destroyModel();
  }

  ClassObject add(ClassObject element, const std::string& kind) {
    fIndex[identity(element)] = static_cast<int>(fAll.size());
    const bool foreign = element.getDeviant() != root;
    fNames.push_back(kind + (foreign ? "'#" : "#") + std::to_string(fAll.size()));
    fAll.push_back(element);
    return element;
  }

  std::string nameOf(const Kelpa::ImmutableObject& o) const {
    if (o.isNull()) return "null";
    auto it = fIndex.find(identity(o));
    std::string name = it == fIndex.end() ? "an unknown element" : fNames[it->second];
    return alive(o) ? name : name + " (destroyed)";
  }

  Object ownerOf(const ClassObject& x) const {
    return Kelpa::reflect::get(x.get(), x.getDeviant(), fOwner);
  }

  // Whether a is b or one of b's owners.
  bool ownsOrIs(const Kelpa::ImmutableObject& a, const ClassObject& b) const {
    ClassObject at = b;
    for (std::size_t i = 0; i <= fAll.size() && alive(at); ++i) {
      if (identity(at) == identity(a)) return true;
      at = ClassObject(ownerOf(at));
    }
    return false;
  }

  // The invariants of the whole model: empty if they all hold.
  std::string check() const {
    std::string problems;
    int count = 0;
    auto problem = [&](const std::string& text) {
      if (++count <= 8) problems += "\n  " + text;
    };
    std::unordered_map<const ClassObjectIntf*, int> roots;
    for (const Kelpa::Model& m : {model, other}) {
      const Kelpa::Sequence<ClassObject> rootObjects = m->getRootObjects(m.getDeviant());
      for (int i = 0, n = rootObjects.size(); i < n; ++i) {
        const ClassObject r = rootObjects[i];
        if (!alive(r)) problem(nameOf(r) + " is among the root objects");
        ++roots[identity(r)];
      }
    }
    for (const ClassObject& x : fAll) {
      if (!alive(x)) continue;
      try {
        checkElement(x, roots, problem);
      } catch (const Kelpa::Exception& e) {
        problem("reading " + nameOf(x) + " raised: " + e.what());
      }
    }
    if (count > 8) problems += "\n  ... " + std::to_string(count - 8) + " more";
    return problems;
  }

  const std::vector<ClassObject>& all() const { return fAll; }

  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Kelpa::Deviant root = model.getDeviant();
  Kelpa::Model other = Kelpa::NSInterface::FactoryIntf::createNewModel();

 private:
  static bool sameModel(const Kelpa::ImmutableObject& a, const Kelpa::ImmutableObject& b) {
    return identity(a)->getRootDeviant() == identity(b)->getRootDeviant();
  }

  template <class Problem>
  void checkElement(const ClassObject& x,
                    const std::unordered_map<const ClassObjectIntf*, int>& roots,
                    Problem& problem) const {
    const ClassObjectIntf* self = identity(x);
    const std::string name = nameOf(x);
    const auto found = roots.find(self);
    const int asRoot = found == roots.end() ? 0 : found->second;
    const ClassObject owner(ownerOf(x));
    if (owner.isNull()) {
      if (asRoot != 1)
        problem(name + " has no owner and is " + std::to_string(asRoot) + " times a root object");
    } else if (!alive(owner)) {
      problem(name + " is owned by " + nameOf(owner));
    } else {
      if (asRoot != 0) problem(name + " has an owner and is a root object");
      if (!sameModel(x, owner))
        problem(name + " is owned by " + nameOf(owner) + " of another model");
      int held = 0;
      const PropertyIntf* holder = nullptr;
      for (const PropertyIntf* p : infoOf(metaclassOf(owner)).stored) {
        if (!p->isComposite()) continue;
        const int n = occurrences(valuesOf(owner, *p), self);
        held += n;
        if (n) holder = p;
      }
      if (held != 1)
        problem(name + " is held " + std::to_string(held) +
                " times by the composites of its owner " + nameOf(owner));
      const int listed = occurrences(valuesOf(owner, fOwnedElement), self);
      const int expected = holder && outsideOwnedElements(metaclassOf(owner), holder) ? 0 : 1;
      if (listed != expected)
        problem(name + " is " + std::to_string(listed) +
                " times in the owned elements of its owner " + nameOf(owner) +
                (holder ? ", which holds it in " + holder->getName() : std::string()));
      if (ownsOrIs(x, owner)) problem(name + " owns itself through " + nameOf(owner));
    }

    for (const Object& child : valuesOf(x, fOwnedElement)) {
      if (!alive(child))
        problem(name + " lists " + nameOf(child) + " among its owned elements");
      else if (identity(ownerOf(ClassObject(child))) != self)
        problem(name + " lists " + nameOf(child) + " among its owned elements, whose owner is " +
                nameOf(ownerOf(ClassObject(child))));
    }

    for (const PropertyIntf* p : infoOf(metaclassOf(x)).stored) {
      const std::string end = name + "." + p->getName();
      const std::vector<Object> values = valuesOf(x, *p);
      if (isContainerEnd(p)) {
        // The container seen through the end's type: the owner, or nothing.
        if (!values.empty() && identity(values[0]) != identity(owner))
          problem(end + " is " + nameOf(values[0]) + " but the owner is " + nameOf(owner));
        continue;
      }
      const PropertyIntf* opposite = p->getOpposite();
      std::unordered_set<const ClassObjectIntf*> seen;
      for (const Object& v : values) {
        if (!seen.insert(identity(v)).second) {
          problem(end + " holds " + nameOf(v) + " more than once");
          continue;
        }
        if (!alive(v)) {
          if (opposite || p->isComposite()) problem(end + " holds " + nameOf(v));
          continue;
        }
        const ClassObject partner(v);
        if ((opposite || p->isComposite()) && !sameModel(x, partner))
          problem(end + " holds " + nameOf(v) + " of another model");
        if (p->isComposite() && identity(ownerOf(partner)) != self)
          problem(end + " holds " + nameOf(v) + " whose owner is " + nameOf(ownerOf(partner)));
        if (!opposite) continue;
        const int back = occurrences(valuesOf(partner, *opposite), self);
        if (back != 1)
          problem(end + " holds " + nameOf(v) + ", whose " + opposite->getName() + " holds " +
                  name + " " + std::to_string(back) + " times");
      }
    }
  }

  std::vector<ClassObject> fAll;
  std::vector<std::string> fNames;
  std::unordered_map<const ClassObjectIntf*, int> fIndex;
  const PropertyIntf& fOwner = elementProperty("owner");
  const PropertyIntf& fOwnedElement = elementProperty("ownedElement");
};

// One seeded run: picks elements, properties and values, and writes.
class Run {
 public:
  explicit Run(std::uint64_t seed) : fRandom(seed) {
    for (int i = 0; i < 20; ++i) create(i % 5 == 4);
  }

  // One operation, as text; a refused one ends with the refusal.
  std::string step() {
    std::string text;
    fText = "choosing an operation";
    try {
      const std::size_t live = liveElements().size();
      const int dice = static_cast<int>(below(100));
      if (live < 10 || (dice < 6 && live < 40))
        text = create(chance(10));
      else if (dice < 30)
        text = reflectiveWrite();
      else if (dice < 38)
        text = reflectiveRemove();
      else if (dice < 45)
        text = onlyWrite();
      else if (dice < 70)
        text = sequenceWrite();
      else if (dice < 94)
        text = typedWrite();
      else
        text = destroy();
    } catch (const Kelpa::Exception& e) {
      text = fText + " -> refused: " + e.what();
    }
    return text;
  }

  World world;

 private:
  enum class Cycle { none, valueBelowX, xBelowValue, either };

  std::size_t below(std::size_t n) { return n ? fRandom() % n : 0; }
  bool chance(int percent) { return static_cast<int>(below(100)) < percent; }
  template <class T>
  const T& oneOf(const std::vector<T>& v) {
    return v[below(v.size())];
  }

  std::vector<ClassObject> liveElements() const {
    std::vector<ClassObject> out;
    for (const ClassObject& e : world.all())
      if (alive(e)) out.push_back(e);
    return out;
  }

  // A value for an end of type `type`: mostly a live element of the type, else any live
  // element, a destroyed one or null.
  ClassObject valueFor(const ClassIntf* type) {
    const int dice = static_cast<int>(below(100));
    std::vector<ClassObject> pool;
    for (const ClassObject& e : world.all()) {
      const bool live = alive(e);
      if (dice < 78 ? live && type && type->isInstance(e.get()) : dice < 88 ? live : !live)
        pool.push_back(e);
    }
    if (pool.empty() || dice >= 95) return ClassObject();
    return oneOf(pool);
  }
  template <class H>
  H typedValue() {
    return H(Kelpa::ImmutableObject(valueFor(H::MetaClass().get())));
  }

  // Whether linking x and v could close a cycle of ownership, which nothing refuses: such
  // a write is left out.
  bool closesCycle(const ClassObject& x, const ClassObject& v, Cycle kind) const {
    if (!alive(v) || kind == Cycle::none) return false;
    if ((kind == Cycle::valueBelowX || kind == Cycle::either) && world.ownsOrIs(v, x)) return true;
    if ((kind == Cycle::xBelowValue || kind == Cycle::either) && world.ownsOrIs(x, v)) return true;
    return false;
  }
  static Cycle cycleOf(const PropertyIntf* p) {
    if (p->isDerivedUnion()) return Cycle::either;
    if (p->isComposite()) return Cycle::valueBelowX;
    if (isContainerEnd(p)) return Cycle::xBelowValue;
    return Cycle::none;
  }

  std::string describe(const ClassObject& x, const PropertyIntf* p, const char* what,
                       const ClassObject& v) {
    fText = std::string(what) + " " + world.nameOf(x) + "." + p->getName() + " " + world.nameOf(v);
    return fText;
  }

  // An element of the model, or of the other one.
  std::string create(bool foreign = false) {
    const auto& [kind, maker] = oneOf(kKinds);
    const ClassObject e = world.add(maker(foreign ? world.other : world.model), kind);
    return fText = "create " + world.nameOf(e);
  }

  std::string reflectiveWrite() {
    const ClassObject x = oneOf(liveElements());
    const MetaInfo& info = infoOf(metaclassOf(x));
    if (info.writable.empty()) return "nothing to write on " + world.nameOf(x);
    const PropertyIntf* p = oneOf(info.writable);
    const ClassObject v = valueFor(classType(p));
    if (closesCycle(x, v, cycleOf(p))) return describe(x, p, "skip (a cycle) setOrAdd", v);
    if (chance(50)) {
      describe(x, p, "setOrAdd by name", v);
      Kelpa::setOrAdd(x, p->getName(), v);
    } else {
      describe(x, p, "setOrAdd by property", v);
      Kelpa::setOrAdd(x, handleOf(p), v);
    }
    return fText;
  }

  std::string reflectiveRemove() {
    const ClassObject x = oneOf(liveElements());
    const MetaInfo& info = infoOf(metaclassOf(x));
    if (info.writable.empty()) return "nothing to remove on " + world.nameOf(x);
    const PropertyIntf* p = oneOf(info.writable);
    const std::vector<Object> present = valuesOf(x, *p);
    const ClassObject v =
        !present.empty() && chance(80) ? ClassObject(oneOf(present)) : valueFor(classType(p));
    switch (below(4)) {
      case 0:
        describe(x, p, "remove all", ClassObject());
        Kelpa::remove(x, handleOf(p));
        break;
      case 1:
        describe(x, p, "remove by name", v);
        Kelpa::remove(x, p->getName(), v);
        break;
      case 2:
        describe(x, p, "remove by property", v);
        Kelpa::remove(x, handleOf(p), v);
        break;
      default:
        describe(x, p, "removeOne", v);
        Kelpa::removeOne(x, handleOf(p), v);
        break;
    }
    return fText;
  }

  // The Only forms write one end: alone on a one-way end, or on both ends of a two-way
  // association one after the other, as the kernel's own maintenance does.
  std::string onlyWrite() {
    const ClassObject x = oneOf(liveElements());
    std::vector<const PropertyIntf*> candidates;
    for (const PropertyIntf* p : infoOf(metaclassOf(x)).writable) {
      const PropertyIntf* q = p->getOpposite();
      if (p->isComposite() || isContainerEnd(p)) continue;
      if (!q || (isStored(q) && !q->isReadOnly() && !q->isComposite())) candidates.push_back(p);
    }
    if (candidates.empty()) return "no Only end on " + world.nameOf(x);
    const PropertyIntf* p = oneOf(candidates);
    const PropertyIntf* q = p->getOpposite();
    const std::vector<Object> present = valuesOf(x, *p);
    if (!present.empty() && chance(35)) {
      const ClassObject v(oneOf(present));
      describe(x, p, "removeOnly (both ends)", v);
      Kelpa::removeOnly(x, handleOf(p), v);
      if (q && alive(v)) Kelpa::removeOnly(v, handleOf(q), x);
      return fText;
    }
    ClassObject v = valueFor(classType(p));
    // The second write must fit, or the first would stay alone. The Only forms are the
    // plain writes that the full ones are built on: they leave the refusal of a partner
    // of another model to them.
    if (q && (!alive(v) || !classType(p)->isInstance(v.get()) || v.getDeviant() != x.getDeviant()))
      v = ClassObject();
    if (q && v.isNull()) return "no partner for " + world.nameOf(x) + "." + p->getName();
    describe(x, p, "setOrAddOnly (both ends)", v);
    Kelpa::setOrAddOnly(x, handleOf(p), v);
    if (q) Kelpa::setOrAddOnly(v, handleOf(q), x);
    return fText;
  }

  std::string sequenceWrite() {
    const ClassObject x = oneOf(liveElements());
    const MetaInfo& info = infoOf(metaclassOf(x));
    if (info.views.empty()) return "no sequence on " + world.nameOf(x);
    const PropertyIntf* p = oneOf(info.views);
    Kelpa::Sequence<Object> s = Kelpa::asSequence(Kelpa::get(x, handleOf(p)));
    const int n = s.size();
    const ClassObject v =
        n > 0 && chance(25) ? ClassObject(s[static_cast<int>(below(n))]) : valueFor(classType(p));
    const int at = static_cast<int>(below(n + 1));
    const bool inserting = !(n > 0 && chance(40));
    if (inserting && closesCycle(x, v, cycleOf(p)))
      return describe(x, p, "skip (a cycle) insert", v);
    if (!inserting) {
      switch (below(5)) {
        case 0:
          describe(x, p, ("erase at " + std::to_string(at % n)).c_str(), ClassObject());
          s.erase(at % n);
          break;
        case 1:
          describe(x, p, "pop_back", ClassObject());
          s.pop_back();
          break;
        case 2:
          describe(x, p, "clear", ClassObject());
          s.clear();
          break;
        default:
          describe(x, p, "remove", v);
          s.remove(v);
          break;
      }
      return fText;
    }
    switch (below(4)) {
      case 0:
        describe(x, p, ("insert at " + std::to_string(at)).c_str(), v);
        s.insert(at, v);
        break;
      case 1:
        describe(x, p, "push_front", v);
        s.push_front(v);
        break;
      case 2:
        if (n > 0) {
          describe(x, p, ("replace at " + std::to_string(at % n)).c_str(), v);
          s.replace(at % n, v);
          break;
        }
        [[fallthrough]];
      default:
        describe(x, p, "push_back", v);
        s.push_back(v);
        break;
    }
    return fText;
  }

  // Typed accessors: a write chosen among those that x's class has.
  std::string typedWrite() {
    const ClassObject x = oneOf(liveElements());
    const Kelpa::Deviant d = x.getDeviant();
    std::vector<std::function<void()>> writes;
    // Each write names itself and its value, and leaves out what would close a cycle.
    auto add = [&](const char* what, ClassObject value, Cycle cycle, std::function<void()> write) {
      writes.push_back([this, x, what, value, cycle, write] {
        fText = std::string("typed ") + what + " on " + world.nameOf(x) + " with " +
                world.nameOf(value);
        if (closesCycle(x, value, cycle))
          fText = "skip (a cycle) " + fText;
        else
          write();
      });
    };
    const Element element(Kelpa::ImmutableObject{x});
    {
      const Element v = typedValue<Element>();
      add("setOwner", ClassObject(v), Cycle::xBelowValue, [=] { element->setOwner(d, v); });
      add("removeOwner", ClassObject(), Cycle::none, [=] { element->removeOwner(d); });
      const Comment c = typedValue<Comment>();
      add("ownedComments.push_back", ClassObject(c), Cycle::valueBelowX,
          [=] { element->getOwnedComments(d).push_back(c); });
      add("ownedElements.insert(0)", ClassObject(v), Cycle::either,
          [=] { element->getOwnedElements(d).insert(0, v); });
      add("ownedElements.remove", ClassObject(v), Cycle::none,
          [=] { element->getOwnedElements(d).remove(v); });
    }
    if (const Namespace ns{Kelpa::ImmutableObject{x}}) {
      const NamedElement v = typedValue<NamedElement>();
      add("ownedMembers.push_back", ClassObject(v), Cycle::valueBelowX,
          [=] { ns->getOwnedMembers(d).push_back(v); });
      add("ownedMembers.remove", ClassObject(v), Cycle::none,
          [=] { ns->getOwnedMembers(d).remove(v); });
    }
    if (const Package pkg{Kelpa::ImmutableObject{x}}) {
      const PackageableElement v = typedValue<PackageableElement>();
      add("packagedElements.insert(0)", ClassObject(v), Cycle::valueBelowX,
          [=] { pkg->getPackagedElements(d).insert(0, v); });
    }
    if (const Class cls{Kelpa::ImmutableObject{x}}) {
      const Property attribute = typedValue<Property>();
      add("Class.ownedAttributes.push_back", ClassObject(attribute), Cycle::valueBelowX,
          [=] { cls->getZorbel_Class_OwnedAttributes(d).push_back(attribute); });
      const Operation operation = typedValue<Operation>();
      add("ownedOperations.push_back", ClassObject(operation), Cycle::valueBelowX,
          [=] { cls->getOwnedOperations(d).push_back(operation); });
    }
    if (const Classifier classifier{Kelpa::ImmutableObject{x}}) {
      const Generalization g = typedValue<Generalization>();
      add("generalizations.push_back", ClassObject(g), Cycle::valueBelowX,
          [=] { classifier->getGeneralizations(d).push_back(g); });
    }
    if (const Property property{Kelpa::ImmutableObject{x}}) {
      const Association a = typedValue<Association>();
      add("setAssociation", ClassObject(a), Cycle::none, [=] { property->setAssociation(d, a); });
      const Class c = typedValue<Class>();
      add("setClass", ClassObject(c), Cycle::xBelowValue, [=] { property->setClass(d, c); });
      const ValueSpecification value = typedValue<ValueSpecification>();
      add("setDefaultValue", ClassObject(value), Cycle::valueBelowX,
          [=] { property->setDefaultValue(d, value); });
    }
    if (const Association association{Kelpa::ImmutableObject{x}}) {
      const Property end = typedValue<Property>();
      add("memberEnds.push_back", ClassObject(end), Cycle::none,
          [=] { association->getMemberEnds(d).push_back(end); });
      add("ownedEnds.insert(0)", ClassObject(end), Cycle::valueBelowX,
          [=] { association->getOwnedEnds(d).insert(0, end); });
    }
    if (const Operation operation{Kelpa::ImmutableObject{x}}) {
      const Parameter parameter = typedValue<Parameter>();
      add("Operation.ownedParameters.push_back", ClassObject(parameter), Cycle::valueBelowX,
          [=] { operation->getZorbel_Operation_OwnedParameters(d).push_back(parameter); });
    }
    if (const Constraint constraint{Kelpa::ImmutableObject{x}}) {
      const ValueSpecification value = typedValue<ValueSpecification>();
      add("setSpecification", ClassObject(value), Cycle::valueBelowX,
          [=] { constraint->setSpecification(d, value); });
      const Namespace context = typedValue<Namespace>();
      add("setContext", ClassObject(context), Cycle::xBelowValue,
          [=] { constraint->setContext(d, context); });
    }
    if (const Generalization g{Kelpa::ImmutableObject{x}}) {
      const Classifier c = typedValue<Classifier>();
      add("setSpecific", ClassObject(c), Cycle::xBelowValue, [=] { g->setSpecific(d, c); });
      add("setGeneral", ClassObject(c), Cycle::none, [=] { g->setGeneral(d, c); });
    }
    if (const Dependency dep{Kelpa::ImmutableObject{x}}) {
      const NamedElement v = typedValue<NamedElement>();
      add("clients.push_back", ClassObject(v), Cycle::none,
          [=] { dep->getClients(d).push_back(v); });
      add("suppliers.push_back", ClassObject(v), Cycle::none,
          [=] { dep->getSuppliers(d).push_back(v); });
    }
    if (const GeneralOrdering ordering{Kelpa::ImmutableObject{x}}) {
      const OccurrenceSpecification o = typedValue<OccurrenceSpecification>();
      add("setBefore", ClassObject(o), Cycle::none, [=] { ordering->setBefore(d, o); });
      add("setAfter", ClassObject(o), Cycle::none, [=] { ordering->setAfter(d, o); });
      add("removeBefore", ClassObject(), Cycle::none, [=] { ordering->removeBefore(d); });
    }
    if (const OccurrenceSpecification occurrence{Kelpa::ImmutableObject{x}}) {
      const GeneralOrdering g = typedValue<GeneralOrdering>();
      add("toAfters.push_back", ClassObject(g), Cycle::none,
          [=] { occurrence->getToAfters(d).push_back(g); });
    }
    if (const InteractionFragment fragment{Kelpa::ImmutableObject{x}}) {
      const Lifeline l = typedValue<Lifeline>();
      add("covered.push_back", ClassObject(l), Cycle::none,
          [=] { fragment->getCovered(d).push_back(l); });
      const Interaction i = typedValue<Interaction>();
      add("setEnclosingInteraction", ClassObject(i), Cycle::xBelowValue,
          [=] { fragment->setEnclosingInteraction(d, i); });
    }
    if (const Lifeline lifeline{Kelpa::ImmutableObject{x}}) {
      const InteractionFragment f = typedValue<InteractionFragment>();
      add("coveredBies.insert(0)", ClassObject(f), Cycle::none,
          [=] { lifeline->getCoveredBies(d).insert(0, f); });
      const Interaction i = typedValue<Interaction>();
      add("setInteraction", ClassObject(i), Cycle::xBelowValue,
          [=] { lifeline->setInteraction(d, i); });
    }
    if (const Interaction interaction{Kelpa::ImmutableObject{x}}) {
      const InteractionFragment f = typedValue<InteractionFragment>();
      add("fragments.insert(0)", ClassObject(f), Cycle::valueBelowX,
          [=] { interaction->getFragments(d).insert(0, f); });
    }
    oneOf(writes)();
    return fText;
  }

  std::string destroy() {
    const ClassObject x = oneOf(liveElements());
    fText = "destroy " + world.nameOf(x);
    x->destroy(x.getDeviant());
    return fText;
  }

  std::mt19937_64 fRandom;
  std::string fText;  // the operation under way, for a refusal's report
};

// Runs one seed; the first broken invariant ends it with a report.
std::string runSeed(std::uint64_t seed, int steps, bool verbose) {
  Run run(seed);
  std::vector<std::string> recent;
  std::string broken = run.world.check();
  if (!broken.empty()) return "seed " + std::to_string(seed) + " at creation:" + broken;
  for (int i = 1; i <= steps; ++i) {
    std::string op;
    try {
      op = run.step();
    } catch (const std::exception& e) {
      return "seed " + std::to_string(seed) + ", step " + std::to_string(i) +
             ": an exception that is no Kelpa::Exception: " + e.what();
    }
    if (verbose)
      std::printf("seed %llu step %d: %s\n", static_cast<unsigned long long>(seed), i, op.c_str());
    recent.push_back(op);
    if (recent.size() > 6) recent.erase(recent.begin());
    broken = run.world.check();
    if (broken.empty()) continue;
    std::string report = "seed " + std::to_string(seed) + ", step " + std::to_string(i) + ": " +
                         op + "\nbroken:" + broken + "\nlast operations:";
    for (const std::string& r : recent) report += "\n  " + r;
    return report + testsupport::replayLine("ZORBEL_RANDOM", seed, i);
  }
  return {};
}

TEST(RandomConsistency, SeededRunsKeepTheModelConsistent) {
  testsupport::runSeeds("ZORBEL_RANDOM", 16, 300, runSeed);
}

// The checker itself: each one-sided write that the Only forms allow is seen, and the
// completed write is not.
TEST(RandomConsistency, TheCheckerSeesOneSidedLinks) {
  World world;
  const Kelpa::Deviant d = world.root;
  const GeneralOrdering ordering(
      world.add(ClassObject(GeneralOrdering::create(world.model)), "GeneralOrdering"));
  const OccurrenceSpecification a(world.add(
      ClassObject(OccurrenceSpecification::create(world.model)), "OccurrenceSpecification"));
  const Class cls(world.add(ClassObject(Class::create(world.model)), "Class"));
  const Property attribute(world.add(ClassObject(Property::create(world.model)), "Property"));
  EXPECT_EQ(world.check(), "");

  ordering->setOnlyBefore(d, a);
  EXPECT_NE(
      world.check().find("GeneralOrdering#0.before holds OccurrenceSpecification#1, whose toAfter "
                         "holds GeneralOrdering#0 0 times"),
      std::string::npos)
      << world.check();
  a->getToAftersWithoutAssociation(d).push_back(ordering);
  EXPECT_EQ(world.check(), "");

  cls->getZorbel_Class_OwnedAttributesWithoutAssociation(d).push_back(attribute);
  EXPECT_NE(world.check().find("Class#2.ownedAttribute holds Property#3 whose owner is null"),
            std::string::npos)
      << world.check();
  attribute->setOnlyOwner(d, cls);
  EXPECT_EQ(world.check(), "");

  // Listed by a second owner as well.
  const Class other(world.add(ClassObject(Class::create(world.model)), "Class"));
  other->getZorbel_Class_OwnedAttributesWithoutAssociation(d).push_back(attribute);
  EXPECT_NE(world.check().find("Class#4.ownedAttribute holds Property#3 whose owner is Class#2"),
            std::string::npos)
      << world.check();
  other->getZorbel_Class_OwnedAttributesWithoutAssociation(d).remove(attribute);
  EXPECT_EQ(world.check(), "");

  // A destroyed element left in a two-way end; a one-way end may keep it. The element is
  // taken into one end alone while it lives: its destruction clears the ends it knows of,
  // and this is none of them.
  const GeneralOrdering gone(
      world.add(ClassObject(GeneralOrdering::create(world.model)), "GeneralOrdering"));
  const Comment note(world.add(ClassObject(Comment::create(world.model)), "Comment"));
  note->getAnnotatedElements(d).push_back(gone);
  Kelpa::setOrAddOnly(a, "toBefore", gone);
  EXPECT_NE(world.check().find("OccurrenceSpecification#1.toBefore holds GeneralOrdering#5, "
                               "whose after holds OccurrenceSpecification#1 0 times"),
            std::string::npos)
      << world.check();
  gone->destroy(d);
  EXPECT_NE(world.check().find("OccurrenceSpecification#1.toBefore holds GeneralOrdering#5 "
                               "(destroyed)"),
            std::string::npos)
      << world.check();
  Kelpa::removeOnly(a, "toBefore", gone);
  EXPECT_EQ(world.check(), "");
}

// Cases the runs found, each reduced to its few writes.
TEST(RandomConsistency, AssociationSequencesKeepBothEndsOnEraseAndOnRefusal) {
  World world;
  const Kelpa::Deviant d = world.root;

  // The element's opposite end reads the owner as Namespace, which for a Package is another
  // address than the Package's own: the erasure must still clear it.
  const Package outer = Package::create(world.model);
  const Package inner = Package::create(world.model);
  outer->getPackagedElements(d).push_back(inner);
  outer->getPackagedElements(d).remove(inner);
  EXPECT_FALSE(inner->hasOwner(d));
  EXPECT_TRUE(world.model->getRootObjects(d).contains(ClassObject(inner)));
  outer->getPackagedElements(d).push_back(inner);
  outer->getOwnedMembers(d).remove(inner);  // through the union
  EXPECT_FALSE(inner->hasNamespace(d));
  EXPECT_TRUE(world.model->getRootObjects(d).contains(ClassObject(inner)));

  // A destroyed element is no partner: refused before the list takes it.
  const Dependency dependency = Dependency::create(world.model);
  const Class gone = Class::create(world.model);
  gone->destroy(d);
  EXPECT_THROW(dependency->getClients(d).push_back(gone), Kelpa::Exception);
  EXPECT_TRUE(dependency->getClients(d).empty());

  // A partner of another model is refused on the multi-valued end as on the single one.
  const OccurrenceSpecification occurrence = OccurrenceSpecification::create(world.model);
  const GeneralOrdering foreign = GeneralOrdering::create(world.other);
  EXPECT_THROW(occurrence->getToAfters(d).push_back(foreign), Kelpa::Exception);
  EXPECT_TRUE(occurrence->getToAfters(d).empty());
  EXPECT_FALSE(foreign->hasBefore(world.other.getDeviant()));
  const Class stranger = Class::create(world.other);
  EXPECT_THROW(outer->getPackagedElements(d).push_back(stranger), Kelpa::Exception);
  EXPECT_FALSE(stranger->hasOwner(world.other.getDeviant()));
}

}  // namespace
}  // namespace zorbel
