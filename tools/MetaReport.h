#pragma once
// What zorbel-meta prints, as functions over one package of the meta-registry: the
// library's, the kernel's, or one that a test builds. They read only what the kernel
// holds.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <Kelpa/Meta.h>

namespace zorbel::meta {

using Kelpa::NSInterface::ClassIntf;
using Kelpa::NSInterface::EnumerationIntf;
using Kelpa::NSInterface::PackageIntf;
using Kelpa::NSInterface::PrimitiveTypeIntf;
using Kelpa::NSInterface::PropertyIntf;
using Kelpa::NSInterface::TypeIntf;

// The type id of a type; nothing for a type that the package table has no record of.
using TypeIdOf = std::function<std::optional<std::uint32_t>(const TypeIntf*)>;

// The ids of the types that the records of the table were built into.
TypeIdOf typeIdsFrom(const Kelpa::PackageIntrospectiveMethods* table);

// The package table that the records of the package's classes name; null if none does.
const Kelpa::PackageIntrospectiveMethods* tableNamedByClasses(const PackageIntf& package);

// The package's types of each kind, in type-id order; types without an id follow in
// the order the package holds them.
struct TypesByKind {
  std::vector<const ClassIntf*> classes;
  std::vector<const EnumerationIntf*> enumerations;
  std::vector<const PrimitiveTypeIntf*> primitives;
};
TypesByKind typesByKind(const PackageIntf& package, const TypeIdOf& ids);

// A JSON string literal of UTF-8 text: quotes, backslashes and control characters
// escaped, other characters as they are; a byte that is not part of valid UTF-8
// becomes U+FFFD.
std::string jsonQuoted(std::string_view text);

// "0..1", "1..*".
std::string multiplicity(std::uint32_t lower, std::int32_t upper);
// Documentation lines joined by a space.
std::string joinedDocumentation(const ClassIntf& cls);
std::string joinedDocumentation(const PropertyIntf& property);

// One property on one line, without indentation:
// "+ name : Type [0..1]  {readOnly, derived}  = default  (association A, opposite C.p)".
std::string propertyLine(const PropertyIntf& property);

// The whole package as JSON (see tools/README.md for its shape).
void writeJson(std::ostream& out, const PackageIntf& package, const TypeIdOf& ids);
// The whole package as an outline: enumerations, primitives, then each class with its
// bases and own properties.
void writeOutline(std::ostream& out, const PackageIntf& package, const TypeIdOf& ids);
// One type: a class with its documentation, bases and all its properties, the
// inherited ones marked "^ DeclaringClass"; an enumeration with its literals; a
// primitive.
void writeType(std::ostream& out, const TypeIntf& type, const TypeIdOf& ids);

// The type of that plain ("Class") or qualified ("zorbel.Class") name; null if none.
const TypeIntf* findType(const PackageIntf& package, std::string_view name);

// Levenshtein distance, letter case ignored.
std::size_t editDistance(std::string_view a, std::string_view b);
// Up to `count` names of the package's types nearest to `name` (its part after the last
// dot), nearest first and then by name; none farther than a third of the name's
// length, or 2 for a short name.
std::vector<std::string> nearestNames(const PackageIntf& package, std::string_view name,
                                      std::size_t count = 3);

}  // namespace zorbel::meta
