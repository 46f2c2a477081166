// Reflection: a property found by name or given as an ImmutableProperty is read and
// written through the record of the class that declares it.
#include <Kelpa/Asserter.h>
#include <Kelpa/Meta.h>
#include <Kelpa/MultiIndexImpl.h>
#include <Tovi/SmallObjects.h>

#include "KernelCast.h"

namespace Kelpa {

namespace {
constexpr Where kSource{"kelpa/kernel/meta/Reflection"};
using namespace NSInterface;

class SequenceObject final : public SequenceObjectIntf {
 public:
  explicit SequenceObject(Sequence<Object> sequence) : fSequence(std::move(sequence)) {}
  // Made and dropped on every reflective read of a list: from the small-object pool.
  static void* operator new(std::size_t n) { return Tovi::detail::allocateSmall(n); }
  static void operator delete(void* p, std::size_t n) noexcept { Tovi::detail::deallocateSmall(p, n); }
  void incRef() override { ++fRefCount; }
  void decRef() override {
    if (--fRefCount <= 0) delete this;
  }
  int numRef() const override { return fRefCount; }
  ReferenceCountingIntf* cast(const ClassInfo& info) const override {
    return detail::castAlongChain<SequenceObjectIntf, ObjectIntf, ReferenceCountingIntf>(this,
                                                                                         info);
  }
  std::string getRuvoName(bool) const override { return fSequence.get()->getTypeName(); }
  Object getEmptyValue() override { return Object(); }
  Sequence<Object> getSequence() const override { return fSequence; }

 private:
  Sequence<Object> fSequence;
  int fRefCount = 0;
};

std::string describe(const ClassIntf* cls, std::string_view property) {
  return (cls ? cls->getQualifiedName() : std::string("an object without metaclass")) + "." +
         std::string(property);
}

const IntrospectiveMethods& recordOf(const PropertyIntf& p) {
  const IntrospectiveMethods* m = p.getOwner()->getIntrospectiveMethods();
  if (!m)
    raise(kSource, __LINE__,
          ("property " + describe(p.getOwner(), p.getName()) +
           " belongs to a class that is not complete")
              .c_str());
  return *m;
}

void requireMember(const ClassObjectIntf* object, const PropertyIntf& p) {
  if (__builtin_expect(p.getOwner()->isInstance(object), true)) return;
  const ClassIntf* cls = reflect::metaClassOf(object);
  raise(kSource, __LINE__,
        ("property " + describe(p.getOwner(), p.getName()) + " is no property of " +
         (cls ? cls->getQualifiedName() : std::string("this object")))
            .c_str());
}
}  // namespace

Sequence<Object> asSequence(const ImmutableObject& value) {
  const auto* s = detail::castTo<const SequenceObjectIntf>(value.get());
  return s ? s->getSequence() : Sequence<Object>();
}

namespace {
Object getIn(const ClassObjectIntf* object, Deviant d, const PropertyIntf& p) {
  const IntrospectiveMethods& m = recordOf(p);
  if (p.isMultiValued()) {
    Sequence<Object> s = m.getMultiValued(const_cast<ClassObjectIntf*>(object), d, p.getIndex());
    if (s.isNull()) return Object();
    return Object(new SequenceObject(std::move(s)), d);
  }
  return m.getSingleValued(object, d, p.getIndex());
}

bool hasIn(const ClassObjectIntf* object, Deviant d, const PropertyIntf& p) {
  const IntrospectiveMethods& m = recordOf(p);
  if (p.isMultiValued()) {
    Sequence<Object> s =
        m.getOnlyMultiValued(const_cast<ClassObjectIntf*>(object), d, p.getIndex());
    return !s.isNull() && !s.empty();
  }
  return m.hasSingleValued(object, d, p.getIndex());
}

// Writes go through the record as they stand: what a setter raises (a stub's text, a
// value of another type's bad_any_cast) reaches the caller unchanged.
void setOrAddIn(ClassObjectIntf* object, Deviant d, const PropertyIntf& p, const Object& value,
                bool only) {
  const IntrospectiveMethods& m = recordOf(p);
  if (p.isMultiValued()) {
    Sequence<Object> s = only ? m.getOnlyMultiValued(object, d, p.getIndex())
                              : m.getMultiValued(object, d, p.getIndex());
    // The Only form writes the stored list alone, which takes any element of its type. An
    // element destroyed in d is refused there as the two-way write refuses it: as a null
    // one, before any change. One the list holds already is left as it is.
    if (only) {
      const auto* element = detail::castTo<const ClassObjectIntf>(value.get());
      if (element && !element->deviant_isValid(d) && !s.contains(value))
        MultiIndexImplForRefsHelper::raiseNullObject(s.get()->getTypeName().c_str());
    }
    s.push_back(value);
    return;
  }
  (only ? m.setOnlySingleValued : m.setSingleValued)(object, d, p.getIndex(), value);
}

void removeIn(ClassObjectIntf* object, Deviant d, const PropertyIntf& p, bool only) {
  const IntrospectiveMethods& m = recordOf(p);
  if (p.isMultiValued()) {
    (only ? m.getOnlyMultiValued : m.getMultiValued)(object, d, p.getIndex()).clear();
    return;
  }
  (only ? m.removeOnlySingleValued : m.removeSingleValued)(object, d, p.getIndex());
}

void removeIn(ClassObjectIntf* object, Deviant d, const PropertyIntf& p, const Object& value,
              bool only) {
  if (!p.isMultiValued()) return removeIn(object, d, p, only);
  const IntrospectiveMethods& m = recordOf(p);
  (only ? m.getOnlyMultiValued : m.getMultiValued)(object, d, p.getIndex()).remove(value);
}

// The first value of a multi-valued property (null if none), or the single value.
Object getOneIn(const ClassObjectIntf* object, Deviant d, const PropertyIntf& p) {
  if (!p.isMultiValued()) return getIn(object, d, p);
  const IntrospectiveMethods& m = recordOf(p);
  Sequence<Object> s = m.getOnlyMultiValued(const_cast<ClassObjectIntf*>(object), d, p.getIndex());
  return s.isNull() || s.empty() ? Object() : s.front();
}

// Elements are the same by identity, values by type and text.
bool sameValue(const Object& a, const Object& b) {
  if (a.isNull() || b.isNull()) return a.isNull() == b.isNull();
  const auto* ea = detail::castTo<const ClassObjectIntf>(a.get());
  const auto* eb = detail::castTo<const ClassObjectIntf>(b.get());
  if (ea || eb) return ea == eb;
  return a->getRuvoName(false) == b->getRuvoName(false) &&
         a->toString(a.getDeviant()).ustr() == b->toString(b.getDeviant()).ustr();
}

// One occurrence of value taken out: from a sequence, or a single value equal to it.
void removeOneIn(ClassObjectIntf* object, Deviant d, const PropertyIntf& p, const Object& value,
                 bool only) {
  if (p.isMultiValued()) return removeIn(object, d, p, value, only);
  if (sameValue(getIn(object, d, p), value)) removeIn(object, d, p, only);
}

// One value taken out: the single value, or the first of a sequence.
void removeFirstIn(ClassObjectIntf* object, Deviant d, const PropertyIntf& p, bool only) {
  if (!p.isMultiValued()) return removeIn(object, d, p, only);
  const IntrospectiveMethods& m = recordOf(p);
  Sequence<Object> s = (only ? m.getOnlyMultiValued : m.getMultiValued)(object, d, p.getIndex());
  if (!s.isNull() && !s.empty()) s.remove(s.front());
}

}  // namespace

namespace reflect {

const ClassIntf* metaClassOf(const ClassObjectIntf* object) {
  return object ? object->getMetaClassPtr() : nullptr;
}

const PropertyIntf& propertyOf(const ClassObjectIntf* object, std::string_view name) {
  if (!object) raiseNullRef();
  const ClassIntf* cls = metaClassOf(object);
  const PropertyIntf* p = cls ? cls->findProperty(name) : nullptr;
  if (!p) raise(kSource, __LINE__, ("no property " + describe(cls, name)).c_str());
  return *p;
}

// The property of a class that the object conforms to; found by name it is one
// already, so the name-based entry points below go straight to the *In forms.
Object get(const ClassObjectIntf* object, Deviant d, const PropertyIntf& p) {
  requireMember(object, p);
  return getIn(object, d, p);
}

bool has(const ClassObjectIntf* object, Deviant d, const PropertyIntf& p) {
  requireMember(object, p);
  return hasIn(object, d, p);
}

void setOrAdd(ClassObjectIntf* object, Deviant d, const PropertyIntf& p, const Object& value,
              bool only) {
  requireMember(object, p);
  setOrAddIn(object, d, p, value, only);
}

void remove(ClassObjectIntf* object, Deviant d, const PropertyIntf& p, bool only) {
  requireMember(object, p);
  removeIn(object, d, p, only);
}

void remove(ClassObjectIntf* object, Deviant d, const PropertyIntf& p, const Object& value,
            bool only) {
  requireMember(object, p);
  removeIn(object, d, p, value, only);
}

}  // namespace reflect

namespace {
ClassObjectIntf* target(const ImmutableClassObject& o) {
  if (o.isNull()) raiseNullRef();
  return const_cast<ClassObjectIntf*>(o.get());
}
const PropertyIntf& named(const ImmutableClassObject& o, std::string_view name) {
  return reflect::propertyOf(target(o), name);
}
const PropertyIntf& given(const ImmutableProperty& p) {
  if (p.isNull()) raiseNullRef();
  return *p.get();
}
}  // namespace

Object get(const ImmutableClassObject& o, std::string_view name) {
  return getIn(target(o), o.getDeviant(), named(o, name));
}
Object get(const ImmutableClassObject& o, const ImmutableProperty& p) {
  return reflect::get(target(o), o.getDeviant(), given(p));
}
bool has(const ImmutableClassObject& o, std::string_view name) {
  return hasIn(target(o), o.getDeviant(), named(o, name));
}
bool has(const ImmutableClassObject& o, const ImmutableProperty& p) {
  return reflect::has(target(o), o.getDeviant(), given(p));
}
void setOrAdd(const ImmutableClassObject& o, std::string_view name, const Object& value) {
  setOrAddIn(target(o), o.getDeviant(), named(o, name), value, false);
}
void setOrAdd(const ImmutableClassObject& o, const ImmutableProperty& p, const Object& value) {
  reflect::setOrAdd(target(o), o.getDeviant(), given(p), value, false);
}
void setOrAddOnly(const ImmutableClassObject& o, std::string_view name, const Object& value) {
  setOrAddIn(target(o), o.getDeviant(), named(o, name), value, true);
}
void setOrAddOnly(const ImmutableClassObject& o, const ImmutableProperty& p, const Object& value) {
  reflect::setOrAdd(target(o), o.getDeviant(), given(p), value, true);
}
void remove(const ImmutableClassObject& o, const ImmutableProperty& p) {
  reflect::remove(target(o), o.getDeviant(), given(p), false);
}
void remove(const ImmutableClassObject& o, const ImmutableProperty& p, const Object& value) {
  reflect::remove(target(o), o.getDeviant(), given(p), value, false);
}
void removeOnly(const ImmutableClassObject& o, const ImmutableProperty& p, const Object& value) {
  reflect::remove(target(o), o.getDeviant(), given(p), value, true);
}
Object getOne(const ImmutableClassObject& o, std::string_view name) {
  return getOneIn(target(o), o.getDeviant(), named(o, name));
}
Object getOne(const ImmutableClassObject& o, const ImmutableProperty& p) {
  requireMember(target(o), given(p));
  return getOneIn(target(o), o.getDeviant(), given(p));
}
void removeOnly(const ImmutableClassObject& o, std::string_view name) {
  removeIn(target(o), o.getDeviant(), named(o, name), true);
}
void removeOnly(const ImmutableClassObject& o, const ImmutableProperty& p) {
  reflect::remove(target(o), o.getDeviant(), given(p), true);
}
void removeOne(const ImmutableClassObject& o, std::string_view name, const Object& value) {
  removeOneIn(target(o), o.getDeviant(), named(o, name), value, false);
}
void removeOne(const ImmutableClassObject& o, const ImmutableProperty& p, const Object& value) {
  requireMember(target(o), given(p));
  removeOneIn(target(o), o.getDeviant(), given(p), value, false);
}
void removeOneOnly(const ImmutableClassObject& o, std::string_view name, const Object& value) {
  removeOneIn(target(o), o.getDeviant(), named(o, name), value, true);
}
void removeOneOnly(const ImmutableClassObject& o, const ImmutableProperty& p, const Object& value) {
  requireMember(target(o), given(p));
  removeOneIn(target(o), o.getDeviant(), given(p), value, true);
}
void remove(const ImmutableClassObject& o, std::string_view name) {
  removeIn(target(o), o.getDeviant(), named(o, name), false);
}
void remove(const ImmutableClassObject& o, std::string_view name, const Object& value) {
  removeIn(target(o), o.getDeviant(), named(o, name), value, false);
}
void removeOnly(const ImmutableClassObject& o, std::string_view name, const Object& value) {
  removeIn(target(o), o.getDeviant(), named(o, name), value, true);
}

// The kernel's reflective operations of an element: the property by name, or a held
// property that must belong to the element's class.
namespace NSInterface {
namespace {
const PropertyIntf& named(const ClassObjectIntf* o, const Kelpa::String& name) {
  return reflect::propertyOf(o, name.str());
}
const PropertyIntf& member(const ClassObjectIntf* o, const ImmutableProperty& p) {
  if (p.isNull()) raiseNullRef();
  requireMember(o, *p.get());
  return *p.get();
}
}  // namespace

Object ClassObjectIntf::get(Deviant d, const Kelpa::String& name) const {
  return getIn(this, d, named(this, name));
}
Object ClassObjectIntf::get(Deviant d, const ImmutableProperty& p) const {
  return getIn(this, d, member(this, p));
}
Object ClassObjectIntf::getOne(Deviant d, const Kelpa::String& name) const {
  return getOneIn(this, d, named(this, name));
}
Object ClassObjectIntf::getOne(Deviant d, const ImmutableProperty& p) const {
  return getOneIn(this, d, member(this, p));
}
bool ClassObjectIntf::has(Deviant d, const Kelpa::String& name) const {
  return hasIn(this, d, named(this, name));
}
bool ClassObjectIntf::has(Deviant d, const ImmutableProperty& p) const {
  return hasIn(this, d, member(this, p));
}
void ClassObjectIntf::setOrAdd(Deviant d, const Kelpa::String& name, const Object& value) {
  setOrAddIn(this, d, named(this, name), value, false);
}
void ClassObjectIntf::setOrAdd(Deviant d, const ImmutableProperty& p, const Object& value) {
  setOrAddIn(this, d, member(this, p), value, false);
}
void ClassObjectIntf::setOrAddOnly(Deviant d, const Kelpa::String& name, const Object& value) {
  setOrAddIn(this, d, named(this, name), value, true);
}
void ClassObjectIntf::setOrAddOnly(Deviant d, const ImmutableProperty& p, const Object& value) {
  setOrAddIn(this, d, member(this, p), value, true);
}
void ClassObjectIntf::remove(Deviant d, const Kelpa::String& name, const Object& value) {
  removeIn(this, d, named(this, name), value, false);
}
void ClassObjectIntf::remove(Deviant d, const ImmutableProperty& p, const Object& value) {
  removeIn(this, d, member(this, p), value, false);
}
void ClassObjectIntf::remove(Deviant d, const Kelpa::String& name) {
  removeIn(this, d, named(this, name), false);
}
void ClassObjectIntf::remove(Deviant d, const ImmutableProperty& p) {
  removeIn(this, d, member(this, p), false);
}
void ClassObjectIntf::removeOnly(Deviant d, const Kelpa::String& name, const Object& value) {
  removeIn(this, d, named(this, name), value, true);
}
void ClassObjectIntf::removeOnly(Deviant d, const ImmutableProperty& p, const Object& value) {
  removeIn(this, d, member(this, p), value, true);
}
void ClassObjectIntf::removeOne(Deviant d, const Kelpa::String& name) {
  removeFirstIn(this, d, named(this, name), false);
}
void ClassObjectIntf::removeOne(Deviant d, const ImmutableProperty& p) {
  removeFirstIn(this, d, member(this, p), false);
}
void ClassObjectIntf::removeOneOnly(Deviant d, const Kelpa::String& name) {
  removeFirstIn(this, d, named(this, name), true);
}
void ClassObjectIntf::removeOneOnly(Deviant d, const ImmutableProperty& p) {
  removeFirstIn(this, d, member(this, p), true);
}

// An element's meta type is its metaclass; a value's, the data type registered under
// its type name.
MetaHandle<TypeIntf> ObjectIntf::getMetaType(Deviant) const {
  return TypeInfoRegistry::getMetaType(getRuvoName(false));
}
MetaHandle<TypeIntf> ClassObjectIntf::getMetaType(Deviant) const {
  const ImmutableClass cls = getMetaClass();
  return MetaHandle<TypeIntf>(cls.get(), cls.getDeviant());
}
}  // namespace NSInterface

}  // namespace Kelpa
