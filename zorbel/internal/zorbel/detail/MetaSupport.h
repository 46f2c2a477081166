#pragma once
// What the generated meta-registry code shares: the records from which the meta package
// is built, the passes that build, update and take it down, and the pieces of the eight
// property functions of every metaclass (the object check, the conversions between
// Kelpa::Object and typed values, the messages).
#include <atomic>
#include <concepts>
#include <cstddef>
#include <type_traits>
#include <typeinfo>

#include <Kelpa/Cleanup.h>
#include <Kelpa/Meta.h>
#include <zorbel/String.h>
#include <zorbel/detail/ValueSupport.h>

#pragma GCC visibility push(hidden)

namespace zorbel {
namespace NSImplementation {
// The package's slot; null until the package is built and after it is taken down.
Kelpa::NSInterface::PackageIntf** staticGetZorbelMetaPackage();
Kelpa::Package staticGetZorbelMetaModel(const Kelpa::Model& model);
// Builds and updates the package if not yet done; gives the package's slot.
Kelpa::NSInterface::PackageIntf** staticInitializeZorbelMeta();
void staticTerminateZorbelMeta();
void staticCreateZorbelMetaPackage(Kelpa::Factory factory, Kelpa::Package parent);
void staticUpdateZorbelMetaPackage(Kelpa::Factory factory);
void staticDestroyZorbelMetaPackage(Kelpa::Factory factory, Kelpa::Package package);
}  // namespace NSImplementation
}  // namespace zorbel

namespace zorbel::detail::meta {

using Kelpa::Deviant;
using Kelpa::NSInterface::ClassObjectIntf;

// One metaclass, as the meta package is built from it.
struct ClassRecord {
  Kelpa::NSInterface::ClassIntf** metaclass;
  Kelpa::MetaPropertyDescription** properties;  // entry 0 empty, then one per index
  Kelpa::PropertyCell* cells;                   // two per property, the kernel's
  unsigned long count;
  const char* name;
  const char* qualifiedName;
  bool isAbstract;
  const char** documentation;  // null-terminated
  Kelpa::IntrospectiveMethods* methods;
  bool* updated;
  const ClassRecord* const* bases;  // the metaclass bases, null-terminated
};

struct EnumerationRecord {
  Kelpa::NSInterface::EnumerationIntf** meta;
  Kelpa::IntrospectiveMethods* methods;  // the zeroed record at the type's id
  const char* name;
  const char* const* literals;  // in value order
  unsigned count;
};

struct PrimitiveRecord {
  Kelpa::NSInterface::PrimitiveTypeIntf** meta;
  Kelpa::IntrospectiveMethods* methods;
  const char* name;
};

// The whole package: what it holds in the order of creation, and the classes again in
// type id order for taking it down.
struct PackageRecord {
  Kelpa::NSInterface::PackageIntf** package;
  const char* name;
  const EnumerationRecord* const* enumerations;
  std::size_t enumerationCount;
  const PrimitiveRecord* const* primitives;
  std::size_t primitiveCount;
  const ClassRecord* const* classes;
  std::size_t classCount;
  const ClassRecord* const* classesByTypeId;
};

Kelpa::NSInterface::PackageIntf** initializePackage(const PackageRecord& record);
void terminatePackage(const PackageRecord& record);
void createPackage(const PackageRecord& record, const Kelpa::Factory& factory,
                   const Kelpa::Package& parent);
void updatePackage(const PackageRecord& record, const Kelpa::Factory& factory);
void destroyPackage(const PackageRecord& record, const Kelpa::Factory& factory,
                    const Kelpa::Package& package);
void createClass(const ClassRecord& record, const Kelpa::Factory& factory,
                 const Kelpa::Package& package);
void updateClass(const ClassRecord& record, const Kelpa::Factory& factory);
void destroyClass(const ClassRecord& record);

// The names of the eight functions, for their messages.
enum class Function {
  getSingleValued,
  hasSingleValued,
  setSingleValued,
  setOnlySingleValued,
  removeSingleValued,
  removeOnlySingleValued,
  getMultiValued,
  getOnlyMultiValued,
};

// Raises "illegal object" at path.
[[noreturn, gnu::cold]] void raiseIllegalObject(const char* path);
// Index 0: typeName + "::<function> on illegal property"; any other index the long form
// "<typeName>::<function> on illegal property with id <index>".
[[noreturn, gnu::cold]] void raiseIllegalProperty(const char* path, const char* typeName,
                                                  Function function, unsigned int index);

// The object as the class's interface; "illegal object" if it is null or of another class.
// The cast answers alike for every object of one C++ type; the type of the last object
// whose interface lay at its start (the pointer unchanged, as for every class on its
// first-base chain) is kept, and another object of that type takes no cast.
template <class Intf>
Intf* target(const ClassObjectIntf* object, const char* path) {
  using Plain = std::remove_const_t<Intf>;
  static std::atomic<const std::type_info*> atStart{nullptr};
  if (__builtin_expect(object == nullptr, false)) raiseIllegalObject(path);
  const std::type_info* type = &typeid(*object);
  if (atStart.load(std::memory_order_relaxed) == type)
    return Kelpa::primary_cast<Plain>(const_cast<ClassObjectIntf*>(object));
  Intf* self = Kelpa::detail::castTo<Plain>(object);
  if (__builtin_expect(self == nullptr, false)) raiseIllegalObject(path);
  if (static_cast<const void*>(self) == static_cast<const void*>(object))
    atStart.store(type, std::memory_order_relaxed);
  return self;
}

// A typed value or handle as an Object: values box themselves; a handle gives its object
// with its own deviant, a null handle a null Object with that deviant.
template <class H>
  requires std::derived_from<H, Kelpa::detail::HandleBase>
Kelpa::Object toObject(const H& handle) {
  return Kelpa::Object(handle.objectPtr(), handle.getDeviant());
}
template <class V>
Kelpa::Object toObject(const V& value) {
  return static_cast<Kelpa::Object>(value);
}
// A string read from an accessor is moved into its box rather than copied.
inline Kelpa::Object toObject(String&& value) {
  return boxValue(std::move(value));
}

// An Object as a typed value or handle; a handle of an unfitting class is a null handle.
// A string is read where its box holds it: the setter it is passed to copies it if it keeps it.
template <class T>
decltype(auto) fromObject(const Kelpa::Object& value) {
  if constexpr (std::is_same_v<T, String>)
    return boxedRef<String>(value);
  else
    return T(value);
}

// A stored sequence as the generic sequence of the kernel, with the deviant passed in.
template <class S>
Kelpa::Sequence<Kelpa::Object> generic(const S& sequence, Deviant d) {
  if (sequence.isNull()) Kelpa::detail::raiseNullSequence();
  return Kelpa::Sequence<Kelpa::Object>(sequence.get(), d);
}

}  // namespace zorbel::detail::meta

#pragma GCC visibility pop
