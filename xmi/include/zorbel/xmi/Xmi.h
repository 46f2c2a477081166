#pragma once
// Reading XMI files into a model.
//
// read() and readString() parse a document in the OMG dialect (XMI 2.1 ... 2013 with the
// dated UML namespaces) or the Eclipse dialect (the eclipse.org UML namespaces), make
// each element through the model's factory by metaclass name and fill it through
// reflection by property name, so that association ends, ownership and unions are kept
// as for any other client. The whole read is one transaction on the model handle's
// deviant: it is committed when the document has been read, and on any fatal error the
// model is left exactly as it was.
//
// How the document maps to the model
// ------------------------------------
// - The metaclass is the one xmi:type names in the document's UML namespace, or, where
//   xmi:type is left out, the type of the property that holds the element.
// - An attribute or a child element names a property of the element's metaclass; the
//   most specific of that name, as for reflection by name, so a Class's ownedAttribute
//   is Class.ownedAttribute, which keeps a value of its own beside
//   StructuredClassifier.ownedAttribute. Values of primitive and enumeration types are
//   made from their text by the library's value types ("*" is the unlimited
//   UnlimitedNatural); derived properties and derived unions are computed, never set.
// - References are set once every element exists, in document order, those of ordered
//   multi-valued properties first so that they keep the document's order; an end that
//   the other end's write already set is not set again.
// - Nesting decides ownership. A reference that would move a nested element into
//   another composite property or container (Operation.bodyCondition naming one of the
//   operation's ownedRules, Association.navigableOwnedEnd naming an ownedEnd: the
//   library keeps such subsets as composites of their own) is kept as written, not
//   applied, and counted.
// - An xmi:id that two elements share is fatal only when a reference names it (the
//   reference would be ambiguous); otherwise it is a warning, and both keep it as their
//   externalId (the OMG's UML.xmi repeats the ids of some package imports).
// - Fatal, as Error: malformed XML, text not valid in its encoding or an encoding other
//   than UTF-8, UTF-16, ISO-8859-1 and windows-1252, an unknown XMI or UML namespace, a
//   root that is no xmi:XMI, Model, Package or Profile, an element or reference of a
//   metaclass the property does not take, a reference that would close a containment
//   cycle, an ambiguous id.
//
// What is kept besides the model's own properties
// -----------------------------------------------
// - xmi:id is the element's externalId; xmi:uuid is the ExternalToolInfo of tool
//   "xmi-uuid" (the info is the uuid).
// - hrefs to the standard primitive types (Boolean, Integer, Real, String,
//   UnlimitedNatural under the pathmap UML_LIBRARIES or a dated OMG PrimitiveTypes.xmi)
//   resolve to the model "PrimitiveTypes" that the reader makes once in the model: the
//   model has externalId "_0", each type its name; all six carry the ExternalToolInfo
//   of tool "xmi-library" with info "PrimitiveTypes", so that a writer writes hrefs to
//   them instead of their contents.
// - Everything the model has no place for is kept as text in the ExternalToolInfo of
//   tool "xmi" of the element it belongs to (one info per element; content at document
//   level goes to the first root element). The text is a sequence of records:
//
//       @<kind> <position> <length>\n<payload>\n
//
//   <length> is the payload's size in bytes (UTF-8), so a payload may hold anything.
//   <kind> is one of
//     child  - a child node of the element, verbatim XML (an element of an unknown
//              metaclass or feature, xmi:Extension, eAnnotations, a value that did not
//              parse, an href that did not resolve, a comment, a processing
//              instruction, text); <position> is its index among the element's child
//              nodes (elements, comments, processing instructions and non-blank text,
//              from 0);
//     attr   - an attribute of the element, verbatim as name="value" (escaped as XML);
//              <position> is its index among the element's attributes. For a reference
//              written as a list of ids, only the ids that did not resolve are kept.
//     doc    - (first root only) a child of xmi:XMI that is not a root element, such as
//              a stereotype application; <position> is its index among the children of
//              xmi:XMI.
//     docattr - (first root only) an attribute of xmi:XMI other than xmlns
//              declarations, e.g. xmi:version or xsi:schemaLocation;
//     outside - (first root only) a comment, processing instruction or document type
//              before or after the document element; <position> is its index among
//              the document's top-level nodes (the XML declaration not counted, the
//              document element counted).
//   Every element payload is a self-contained XML fragment: it declares (xmlns) the
//   namespace prefixes that it uses and that were declared above it.
#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <Tovi/Visibility.h>
#include <zorbel/zorbel.h>

namespace zorbel::xmi {

enum class Dialect { Omg, Eclipse };
// "OMG" or "Eclipse".
TOVI_EXPORT const char* toString(Dialect dialect);

// A reference that named nothing the reader could find; kept on its element.
struct UnresolvedReference {
  std::string property;  // "Property.type"
  std::string target;    // the id or the href as written
  std::size_t line = 0;
};

struct Warning {
  std::size_t line = 0;
  std::string text;
};

// What a read found.
struct Report {
  std::map<std::string, std::size_t> created;  // elements made, by metaclass name
  std::vector<UnresolvedReference> unresolved;
  std::map<std::string, std::size_t> unknown;  // content kept verbatim, by kind
  std::vector<Warning> warnings;
  // References to an element's owner, by property ("PackageImport.importingNamespace"):
  // the nesting says them already, and a write leaves them out.
  std::map<std::string, std::size_t> impliedByNesting;
  // Elements without an xmi:id; a write makes one from the element's place.
  std::size_t withoutId = 0;

  std::size_t createdCount() const { return total(created); }
  std::size_t unknownCount() const { return total(unknown); }

 private:
  static std::size_t total(const std::map<std::string, std::size_t>& counts) {
    std::size_t n = 0;
    for (const auto& entry : counts) n += entry.second;
    return n;
  }
};

// A fatal error: the model is as it was before the read. Line and column count from 1;
// 0 when the error has no place in the text.
class TOVI_EXPORT Error : public std::runtime_error {
 public:
  explicit Error(const std::string& message, std::size_t line = 0, std::size_t column = 0);
  std::size_t line() const noexcept { return fLine; }
  std::size_t column() const noexcept { return fColumn; }

 private:
  std::size_t fLine;
  std::size_t fColumn;
};

// One document read into a model.
struct Document {
  std::string uri;  // the base URI it was read under
  Dialect dialect = Dialect::Omg;
  std::vector<Kelpa::ClassObject> roots;  // in document order
  std::unordered_map<std::string, Kelpa::ClassObject> ids;  // by xmi:id
  Report report;

  // The element of that xmi:id, or a null handle.
  TOVI_EXPORT Kelpa::ClassObject find(std::string_view id) const;
};

// Where the documents that hrefs name are: a file to read into the same model when a
// reference first needs it, or a document already read into that model. Keyed by the
// URI as the href writes it before '#' (a relative one is also tried resolved against
// the base URI of the document that refers). The documents it reads are kept here, once
// the read that needed them has committed, so that later reads find them: a read
// changes its resolver, hence ReadOptions holds it by non-const pointer. Documents that
// refer to each other are fine: a document being read is found under its base URI.
class TOVI_EXPORT Resolver {
 public:
  Resolver();
  ~Resolver();
  Resolver(const Resolver&) = delete;
  Resolver& operator=(const Resolver&) = delete;

  void addFile(std::string uri, std::filesystem::path file);
  // document must outlive the reads that use this resolver.
  void addDocument(std::string uri, const Document& document);
  // The document known under uri (given or read), or null.
  const Document* find(std::string_view uri) const;

  struct State;
  State& state() const { return *fState; }

 private:
  std::unique_ptr<State> fState;
};

struct ReadOptions {
  Resolver* resolver = nullptr;
  // The URI of the document, for hrefs relative to it and hrefs to itself; read() uses
  // the file's path when empty.
  std::string baseUri;
};

// Reads into the deviant of the model handle. Raises Error; the model is unchanged then.
TOVI_EXPORT Document read(const Kelpa::Model& model, const std::filesystem::path& file,
                             const ReadOptions& options = {});
TOVI_EXPORT Document readString(const Kelpa::Model& model, std::string_view xml,
                                   const ReadOptions& options = {});

}  // namespace zorbel::xmi

namespace zorbel::xmi {

struct WriteOptions {
  Dialect dialect = Dialect::Eclipse;
  // The elements to write with all they own, in this order; empty: the model's root
  // objects, except the libraries that documents refer to by address.
  std::vector<Kelpa::ClassObject> roots;
  // Documents whose elements this one refers to by href ("uri#id") rather than by id.
  std::vector<const Document*> documents;
};

// The document of the model handle's deviant, in UTF-8 with the newest namespaces of the
// dialect. The same model writes the same bytes. Raises Error, naming the element, when
// content kept by a read (tool info "xmi") was changed into something that is not in
// its format or not XML: nothing kept is left out silently.
TOVI_EXPORT std::string writeString(const Kelpa::Model& model, const WriteOptions& options = {});
TOVI_EXPORT void write(const Kelpa::Model& model, const std::filesystem::path& file,
                          const WriteOptions& options = {});

// How two sets of trees differ, element by element: metaclass, ids, every property that
// a document states (attributes by text, references by the place of their target in its
// tree, composites in order) and the kept content. Each line names the place, such as
// "/0/packagedElement.3 name: 'Order' / 'Orders'". Empty when they are alike.
TOVI_EXPORT std::vector<std::string> compare(const std::vector<Kelpa::ClassObject>& a,
                                                const std::vector<Kelpa::ClassObject>& b);

}  // namespace zorbel::xmi
