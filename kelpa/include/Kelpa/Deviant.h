#pragma once
// Kelpa::Deviant: one word that names one deviation context of one model.
//
// The word is a pointer to the deviant's record, which the kernel owns and keeps for
// the life of the process: a removed deviant (or the root deviant of a destroyed
// model) answers isValid() == false instead of dangling. Id 0 is the model's root
// deviant; the null deviant (a zero word) is an object in no model.
#include <cstdint>
#include <vector>

namespace Kelpa {

struct IntrospectiveMethods;

namespace NSInterface {
class ObjectIntf;
class ClassObjectIntf;
class ModelIntf;
}  // namespace NSInterface

namespace detail {
struct DeviantTables;  // the kernel's per-deviant tables (states, saved states)

struct DeviantData {
  std::uint32_t id = 0;
  bool valid = true;
  bool writable = true;
  bool undo = false;            // has an undo stack
  bool transaction = false;     // a transaction is open
  bool shared = false;          // the root deviant of a model that has deviations
  // A write in this deviant may go straight to an element's root state: the deviant
  // is valid and writable, no transaction is open, and no deviation reads the root.
  bool direct = true;
  void refresh() noexcept { direct = valid && writable && !transaction && !shared; }
  DeviantData* root = nullptr;  // itself for a root deviant
  NSInterface::ModelIntf* model = nullptr;
  DeviantTables* tables = nullptr;  // null until a non-root deviant stores a state
};
}  // namespace detail

class Deviant {
 public:
  using ObjectIntf = NSInterface::ObjectIntf;
  using ClassObjectIntf = NSInterface::ClassObjectIntf;

  constexpr Deviant() noexcept = default;
  constexpr explicit Deviant(detail::DeviantData* data) noexcept : fData(data) {}

  // The three values that travel in state slots beside real state pointers. They are
  // small odd addresses no object can have, so that isRealState is one comparison.
  static ObjectIntf* const InvalidObject;
  static ObjectIntf* const FallbackToRoot;
  static ObjectIntf* const ModelDestroyed;
  static bool isRealState(const void* slot) noexcept {
    return reinterpret_cast<std::uintptr_t>(slot) > 3;
  }

  unsigned int getDeviantId() const noexcept { return fData ? fData->id : 0u; }
  bool isValid() const noexcept { return fData && fData->valid; }
  bool isNull() const noexcept { return fData == nullptr; }
  Deviant getRootDeviant() const noexcept { return Deviant(fData ? fData->root : nullptr); }
  NSInterface::ModelIntf* getModel() const noexcept { return fData ? fData->model : nullptr; }

  // State tables of a non-root deviant.
  ObjectIntf* getStateOfObject(const ClassObjectIntf* object) const;
  void setStateOfObject(const ClassObjectIntf* object, ObjectIntf* state);
  ObjectIntf* getSavedOldStateOfObject(const ClassObjectIntf* object) const;
  void saveOldStateOfObject(const ClassObjectIntf* object, ObjectIntf* state);
  bool isWithinTransaction() const;
  bool hasUndoStack() const;
  void getAllDeviants(std::vector<Deviant>& out) const;

  // Model membership, called by creation and destruction of elements.
  void addObjectToModel(ClassObjectIntf* object);
  void markObjectCreated(const ClassObjectIntf* object);
  void removeObjectFromModel(ClassObjectIntf* object);

  // References across models. A bi-directional end refuses a partner for which
  // isInDifferentModel is true; a one-way end records the partner's deviant in this
  // deviant's books when it takes it, and takes it out when it lets it go.
  bool isInDifferentModel(Deviant partner, const IntrospectiveMethods* record,
                          unsigned int index) const;
  void setOrAddReferred(Deviant partner, const IntrospectiveMethods* record, unsigned int index);
  void removeReferred(Deviant partner, const IntrospectiveMethods* record, unsigned int index);
  // The references recorded from this deviant into the model of other.
  std::size_t numberOfReferencesInto(Deviant other) const;

  // Raises "deviant is not writable" for a deviant made read-only; silent otherwise.
  void internal_assertWritable(const ObjectIntf* object) const;
  // Raises "object is not present in this deviant"; never returns normally.
  [[noreturn]] void assertObjectNotPresentInDeviant(const ClassObjectIntf* object) const;

  // Kernel control: a read-only deviant refuses every write.
  void setWritable(bool writable);
  bool isWritable() const noexcept { return fData && fData->writable; }

  detail::DeviantData* data() const noexcept { return fData; }
  friend bool operator==(Deviant a, Deviant b) noexcept { return a.fData == b.fData; }
  friend bool operator<(Deviant a, Deviant b) noexcept { return a.fData < b.fData; }

 private:
  detail::DeviantData* fData = nullptr;
};

// The writability checks, seen as a view of the deviant word.
class DeviantAssertions {
 public:
  static bool sAssertionsEnabled;
  // Sets the flag and returns its previous value.
  static bool enableAssertions(bool enabled);

  explicit DeviantAssertions(Deviant d) noexcept : fDeviant(d) {}
  void internal_assertWritable(const NSInterface::ObjectIntf* object) const {
    fDeviant.internal_assertWritable(object);
  }
  [[noreturn]] void assertObjectNotPresentInDeviant(
      const NSInterface::ClassObjectIntf* object) const {
    fDeviant.assertObjectNotPresentInDeviant(object);
  }

 private:
  Deviant fDeviant;
};

// Switches the writability checks for the life of a scope, and back on every path out.
class ScopedAssertions {
 public:
  explicit ScopedAssertions(bool enabled) noexcept
      : fSaved(DeviantAssertions::enableAssertions(enabled)) {}
  ~ScopedAssertions() { DeviantAssertions::enableAssertions(fSaved); }
  ScopedAssertions(const ScopedAssertions&) = delete;
  ScopedAssertions& operator=(const ScopedAssertions&) = delete;

 private:
  bool fSaved;
};

}  // namespace Kelpa
