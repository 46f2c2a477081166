#pragma once
// Roots of every reference-counted object of the kernel and the metamodel.
#include <vector>

namespace Kelpa {

namespace CooperativeVisitor::internal {
struct ClassInfo;
template <class T>
class LightVector;
}  // namespace CooperativeVisitor::internal

// The kernel's own visitation domain (ClassObjectIntf, ObjectIntf, ...).
class VisitationDomain {
 public:
  virtual ~VisitationDomain();
};

class Cleanup {
 public:
  Cleanup() noexcept = default;
  ~Cleanup() = default;

  // Bracket the construction of the meta-registry's content at start-up.
  static void beginMetaRegistrySection();
  static void endMetaRegistrySection();
  static bool isInMetaRegistrySection();
};

class ReferenceCountingIntf;

// The answer of getVisitMethod: the visitor's method word (0: none) and the object
// seen as the interface that the method was registered for.
struct VisitMethod {
  unsigned long method = 0;
  const ReferenceCountingIntf* object = nullptr;
};

class ReferenceCountingIntf : public Cleanup {
 public:
  using Domain = Kelpa::VisitationDomain;
  using ClassInfo = CooperativeVisitor::internal::ClassInfo;
  using VisitTable = CooperativeVisitor::internal::LightVector<
      CooperativeVisitor::internal::LightVector<unsigned long>>;

  ReferenceCountingIntf() noexcept = default;
  ReferenceCountingIntf(const ReferenceCountingIntf&) noexcept : Cleanup() {}
  ReferenceCountingIntf& operator=(const ReferenceCountingIntf&) noexcept { return *this; }
  // Retracts the object from the DeviantRegistry if it was entered there.
  virtual ~ReferenceCountingIntf();

  // Uncounted by default: embedded and process-lifetime objects do not count.
  virtual void incRef() {}
  virtual void decRef() {}
  virtual int numRef() const { return 0; }
  virtual void getListOfReferences(std::vector<const ReferenceCountingIntf*>& out) const;
  virtual VisitMethod getVisitMethod(const VisitTable& table) const;
  // The object as the interface that info names, or null.
  virtual ReferenceCountingIntf* cast(const ClassInfo& info) const;

  // Set by the DeviantRegistry when the object has been entered in it.
  bool fRegistered = false;
};

class DeviantRegistry {
 public:
  static void enter(ReferenceCountingIntf* object);
  // Removes a dying object; never throws.
  static void retract(ReferenceCountingIntf* object) noexcept;
  static bool contains(const ReferenceCountingIntf* object);
};

// Scope object held around reflective writes; nests in scope order.
class Cager {
 public:
  Cager() noexcept;
  ~Cager();
  Cager(const Cager&) = delete;
  Cager& operator=(const Cager&) = delete;
  static int depth() noexcept;
};

}  // namespace Kelpa
