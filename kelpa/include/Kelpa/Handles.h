#pragma once
// Handles: a counted pointer to an object's interface and a Deviant, two words.
// Copying a handle raises the object's count; destroying it lowers it.
//
// Every handle stores its pointer as the object's ObjectIntf (offset 0 of any
// interface's first-base chain, see primary_cast) and reinterprets it as its own
// interface on access, so that a handle of a derived class is a handle of each class
// of its first-base chain without a second word.
#include <utility>

#include <Kelpa/Asserter.h>
#include <Kelpa/ObjectIntf.h>
#include <Kelpa/Visitor.h>

namespace Kelpa {

namespace NSInterface {
class ModelIntf;
class ValueObjectIntf;
}  // namespace NSInterface

namespace detail {

class HandleBase {
 public:
  HandleBase() noexcept = default;
  // A null pointer makes the null handle, with the null deviant.
  HandleBase(const NSInterface::ObjectIntf* p, Deviant d) noexcept
      : fPtr(const_cast<NSInterface::ObjectIntf*>(p)), fDeviant(p ? d : Deviant()) {
    if (fPtr) fPtr->incRef();
  }
  HandleBase(const HandleBase& other) noexcept : fPtr(other.fPtr), fDeviant(other.fDeviant) {
    if (fPtr) fPtr->incRef();
  }
  HandleBase(HandleBase&& other) noexcept : fPtr(other.fPtr), fDeviant(other.fDeviant) {
    other.fPtr = nullptr;
  }
  ~HandleBase() {
    if (fPtr) fPtr->decRef();
  }
  // The pointer is exchanged only if it differs; the deviant is copied in any case.
  HandleBase& operator=(const HandleBase& other) {
    if (fPtr != other.fPtr) {
      NSInterface::ObjectIntf* old = fPtr;
      fPtr = other.fPtr;
      if (fPtr) fPtr->incRef();
      if (old) old->decRef();
    }
    fDeviant = other.fDeviant;
    return *this;
  }
  HandleBase& operator=(HandleBase&& other) noexcept {
    if (this != &other) {
      NSInterface::ObjectIntf* old = fPtr;
      fPtr = other.fPtr;
      other.fPtr = nullptr;
      fDeviant = other.fDeviant;
      if (old) old->decRef();
    }
    return *this;
  }

  Deviant getDeviant() const noexcept { return fDeviant; }
  bool isNull() const noexcept { return fPtr == nullptr; }
  // A non-null pointer to an object that exists in the handle's deviant.
  bool isValid() const { return fPtr && fPtr->deviant_isValid(fDeviant); }
  explicit operator bool() const noexcept { return fPtr != nullptr; }

  // The raw object, or null; for kernel code that moves between handle types.
  NSInterface::ObjectIntf* objectPtr() const noexcept { return fPtr; }

  friend bool operator==(const HandleBase& a, const HandleBase& b) noexcept {
    return a.fPtr == b.fPtr && a.fDeviant == b.fDeviant;
  }

 protected:
  NSInterface::ObjectIntf* checked() const {
    if (!fPtr) raiseNullRef();
    return fPtr;
  }
  // A handle never holds a deviant of another model: anything but a deviation of the
  // object's own model is replaced by the object's root deviant.
  void adoptDeviant(Deviant d) const {
    if (!fPtr) return;
    const Deviant root = fPtr->getRootDeviant();
    if (root.isNull()) {
      fDeviant = Deviant();
    } else if (d != root && d.getRootDeviant() == root) {
      fDeviant = d;
    } else {
      fDeviant = root;
    }
  }

  NSInterface::ObjectIntf* fPtr = nullptr;
  mutable Deviant fDeviant;
};

// The interface intf of the object behind p, or null (cast through the class table).
template <class Intf>
TOVI_LOCAL Intf* castTo(const ReferenceCountingIntf* p) {
  if (!p) return nullptr;
  return reinterpret_cast<Intf*>(p->cast(CooperativeVisitor::internal::classInfoOf<Intf>()));
}

// The pointer that every handle of Intf holds for the object behind p. An object whose
// class has several bases holds an Intf more than once; the one that its class table
// answers is the handle's. A pointer at the start of its object lies on the first-base
// chain, which the table answers unchanged, so only other pointers pay for the cast.
template <class Intf>
const Intf* canonical(const Intf* p) {
  if (!p || dynamic_cast<const void*>(p) == static_cast<const void*>(p)) return p;
  return castTo<const Intf>(primary_cast<const ReferenceCountingIntf>(p));
}

}  // namespace detail

class ImmutableObject : public detail::HandleBase {
 public:
  using Intf = NSInterface::ObjectIntf;
  ImmutableObject() noexcept = default;
  ImmutableObject(const NSInterface::ObjectIntf* p, Deviant d) noexcept : HandleBase(p, d) {}
  const NSInterface::ObjectIntf* get() const noexcept { return fPtr; }
  const NSInterface::ObjectIntf* operator->() const { return checked(); }
};

class Object : public ImmutableObject {
 public:
  Object() noexcept = default;
  Object(NSInterface::ObjectIntf* p, Deviant d) noexcept : ImmutableObject(p, d) {}
  NSInterface::ObjectIntf* get() const noexcept { return fPtr; }
  NSInterface::ObjectIntf* operator->() const { return checked(); }
};

class ImmutableClassObject : public ImmutableObject {
 public:
  using Intf = NSInterface::ClassObjectIntf;
  static constexpr const char* sequenceTypeName() { return "Kelpa.SequenceOfClassObject"; }
  ImmutableClassObject() noexcept = default;
  ImmutableClassObject(const NSInterface::ClassObjectIntf* p, Deviant d)
      : ImmutableObject(detail::canonical(p), d) {
    adoptDeviant(d);
  }
  // For the handle classes of the metamodel: p is already the pointer that handles of
  // their interface hold (detail::canonical), which need not be the ClassObjectIntf's.
  struct Canonical {};
  ImmutableClassObject(const NSInterface::ClassObjectIntf* p, Deviant d, Canonical)
      : ImmutableObject(p, d) {
    adoptDeviant(d);
  }
  // The object as an element, or a null handle if it is none.
  explicit ImmutableClassObject(const ImmutableObject& o)
      : ImmutableClassObject(detail::castTo<NSInterface::ClassObjectIntf>(o.get()),
                             o.getDeviant()) {}
  void setDeviant(Deviant d) const { adoptDeviant(d); }
  const NSInterface::ClassObjectIntf* get() const noexcept {
    return primary_cast<NSInterface::ClassObjectIntf>(fPtr);
  }
  const NSInterface::ClassObjectIntf* operator->() const {
    return primary_cast<NSInterface::ClassObjectIntf>(checked());
  }
  operator Object() const { return Object(fPtr, fDeviant); }
};

class ClassObject : public ImmutableClassObject {
 public:
  ClassObject() noexcept = default;
  ClassObject(NSInterface::ClassObjectIntf* p, Deviant d) : ImmutableClassObject(p, d) {}
  explicit ClassObject(const ImmutableObject& o) : ImmutableClassObject(o) {}
  NSInterface::ClassObjectIntf* get() const noexcept {
    return primary_cast<NSInterface::ClassObjectIntf>(fPtr);
  }
  NSInterface::ClassObjectIntf* operator->() const {
    return primary_cast<NSInterface::ClassObjectIntf>(checked());
  }
};

class StereotypeObject : public ImmutableClassObject {
 public:
  using Intf = NSInterface::StereotypeObjectIntf;
  static constexpr const char* sequenceTypeName() { return "Kelpa.SequenceOfStereotypeObject"; }
  StereotypeObject() noexcept = default;
  StereotypeObject(NSInterface::StereotypeObjectIntf* p, Deviant d) : ImmutableClassObject(p, d) {}
  explicit StereotypeObject(const ImmutableObject& o)
      : StereotypeObject(detail::castTo<NSInterface::StereotypeObjectIntf>(o.get()),
                         o.getDeviant()) {}
  NSInterface::StereotypeObjectIntf* get() const noexcept {
    return primary_cast<NSInterface::StereotypeObjectIntf>(fPtr);
  }
  NSInterface::StereotypeObjectIntf* operator->() const {
    return primary_cast<NSInterface::StereotypeObjectIntf>(checked());
  }
};

// A handle on an object that makes elements and values by type name: a metamodel's
// factory, as the kernel knows it.
class FactoryObject : public ImmutableClassObject {
 public:
  using Intf = NSInterface::FactoryObjectIntf;
  FactoryObject() noexcept = default;
  FactoryObject(NSInterface::FactoryObjectIntf* p, Deviant d);
  explicit FactoryObject(const ImmutableObject& o);
  NSInterface::FactoryObjectIntf* get() const noexcept {
    return primary_cast<NSInterface::FactoryObjectIntf>(fPtr);
  }
  NSInterface::FactoryObjectIntf* operator->() const {
    return primary_cast<NSInterface::FactoryObjectIntf>(checked());
  }
};

class ImmutableModel : public ImmutableClassObject {
 public:
  using Intf = NSInterface::ModelIntf;
  ImmutableModel() noexcept = default;
  ImmutableModel(const NSInterface::ModelIntf* p, Deviant d);
  void setDeviant(Deviant d) const;
  const NSInterface::ModelIntf* get() const noexcept {
    return primary_cast<NSInterface::ModelIntf>(fPtr);
  }
  const NSInterface::ModelIntf* operator->() const {
    return primary_cast<NSInterface::ModelIntf>(checked());
  }
};

class Model : public ImmutableModel {
 public:
  Model() noexcept = default;
  Model(NSInterface::ModelIntf* p, Deviant d) : ImmutableModel(p, d) {}
  NSInterface::ModelIntf* get() const noexcept {
    return primary_cast<NSInterface::ModelIntf>(fPtr);
  }
  NSInterface::ModelIntf* operator->() const {
    return primary_cast<NSInterface::ModelIntf>(checked());
  }
};

class ImmutableValueObject : public ImmutableObject {
 public:
  using Intf = NSInterface::ValueObjectIntf;
  ImmutableValueObject() noexcept = default;
  ImmutableValueObject(const NSInterface::ValueObjectIntf* p, Deviant d);
  // The object as a value, or a null handle if it is none.
  explicit ImmutableValueObject(const ImmutableObject& o);
  const NSInterface::ValueObjectIntf* get() const noexcept {
    return primary_cast<NSInterface::ValueObjectIntf>(fPtr);
  }
  const NSInterface::ValueObjectIntf* operator->() const {
    return primary_cast<NSInterface::ValueObjectIntf>(checked());
  }
};

class ValueObject : public ImmutableValueObject {
 public:
  ValueObject() noexcept = default;
  ValueObject(NSInterface::ValueObjectIntf* p, Deviant d) : ImmutableValueObject(p, d) {}
  explicit ValueObject(const ImmutableObject& o) : ImmutableValueObject(o) {}
  ~ValueObject();
  operator Object() const { return Object(fPtr, fDeviant); }
  NSInterface::ValueObjectIntf* get() const noexcept {
    return primary_cast<NSInterface::ValueObjectIntf>(fPtr);
  }
  NSInterface::ValueObjectIntf* operator->() const {
    return primary_cast<NSInterface::ValueObjectIntf>(checked());
  }
};

}  // namespace Kelpa
