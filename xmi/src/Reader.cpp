// The XMI reader: two passes over a pugixml tree.
//
// Pass one walks the tree in document order, makes every element through the model's
// factory, sets its attributes of primitive and enumeration types, adds each contained
// element to its composite property, and notes every reference. Pass two resolves the
// references, first those of ordered multi-valued properties (so that they keep the
// document's order even where the other end was written first), then the rest. What
// the model has no place for is gathered per element and stored at the end as the
// element's "xmi" tool info (format in Xmi.h).
#include <zorbel/xmi/Xmi.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>

#include <pugixml.hpp>

#include "Kept.h"
#include "Text.h"

namespace zorbel::xmi {

using Kelpa::ClassObject;
using Kelpa::NSInterface::ClassIntf;
using Kelpa::NSInterface::PropertyIntf;
using Kelpa::NSInterface::TypeIntf;

Error::Error(const std::string& message, std::size_t line, std::size_t column)
    : std::runtime_error(!line     ? message
                         : !column ? "line " + std::to_string(line) + ": " + message
                                   : "line " + std::to_string(line) + ", column " +
                                         std::to_string(column) + ": " + message),
      fLine(line),
      fColumn(column) {}

const char* toString(Dialect dialect) { return dialect == Dialect::Omg ? "OMG" : "Eclipse"; }

Kelpa::ClassObject Document::find(std::string_view id) const {
  const auto it = ids.find(std::string(id));
  return it == ids.end() ? ClassObject() : it->second;
}

struct Resolver::State {
  std::map<std::string, std::filesystem::path, std::less<>> files;
  std::map<std::string, const Document*, std::less<>> documents;
  std::vector<std::unique_ptr<Document>> owned;
};

Resolver::Resolver() : fState(std::make_unique<State>()) {}
Resolver::~Resolver() = default;
void Resolver::addFile(std::string uri, std::filesystem::path file) {
  fState->files[std::move(uri)] = std::move(file);
}
void Resolver::addDocument(std::string uri, const Document& document) {
  fState->documents[std::move(uri)] = &document;
}
const Document* Resolver::find(std::string_view uri) const {
  const auto it = fState->documents.find(uri);
  return it == fState->documents.end() ? nullptr : it->second;
}

namespace {

constexpr std::string_view kXmiUris[] = {
    "http://schema.omg.org/spec/XMI/2.1", "http://www.omg.org/spec/XMI/20100901",
    "http://www.omg.org/spec/XMI/20110701", "http://www.omg.org/spec/XMI/20131001"};
constexpr std::string_view kOmgUmlUris[] = {
    "http://schema.omg.org/spec/UML/2.1", "http://www.omg.org/spec/UML/20090901",
    "http://www.omg.org/spec/UML/20110701", "http://www.omg.org/spec/UML/20131001",
    "http://www.omg.org/spec/UML/20161101"};
constexpr std::string_view kEclipseUmlUris[] = {
    "http://www.eclipse.org/uml2/5.0.0/UML", "http://www.eclipse.org/uml2/4.0.0/UML",
    "http://www.eclipse.org/uml2/3.0.0/UML", "http://www.eclipse.org/uml2/2.1.0/UML"};
constexpr std::string_view kPrimitiveNames[] = {"Boolean", "Integer", "Real", "String",
                                                "UnlimitedNatural"};

template <std::size_t N>
bool among(std::string_view uri, const std::string_view (&list)[N]) {
  return std::find(std::begin(list), std::end(list), uri) != std::end(list);
}

bool isXmiUri(std::string_view uri) { return among(uri, kXmiUris); }

// The whole file: a regular file in one read (a character at a time through a stream
// buffer iterator costs more than the parse), anything else readable as a stream. A
// directory is not a file to read.
bool readFile(const std::filesystem::path& file, std::string& bytes) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(file, error);
  if (error || std::filesystem::is_directory(status)) return false;
  std::ifstream in(file, std::ios::binary);
  if (!in) return false;
  if (std::filesystem::is_regular_file(status)) {
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    if (!error) {
      bytes.resize(static_cast<std::size_t>(size));
      return static_cast<bool>(in.read(bytes.data(), static_cast<std::streamsize>(size)));
    }
  }
  std::ostringstream all;
  all << in.rdbuf();
  bytes = std::move(all).str();
  return true;
}

// Whether a document URI names the standard primitive types.
bool isPrimitiveLibrary(std::string_view uri) {
  if (uri == "pathmap://UML_LIBRARIES/UMLPrimitiveTypes.library.uml") return true;
  for (const std::string_view head :
       {"http://www.omg.org/spec/UML/", "http://www.omg.org/spec/PrimitiveTypes/",
        "http://schema.omg.org/spec/UML/"}) {
    if (uri.substr(0, head.size()) != head) continue;
    const std::string_view rest = uri.substr(head.size());
    const std::size_t slash = rest.find('/');
    if (slash != std::string_view::npos && rest.substr(slash + 1) == "PrimitiveTypes.xmi")
      return true;
  }
  return false;
}

std::pair<std::string_view, std::string_view> splitQName(std::string_view name) {
  const std::size_t colon = name.find(':');
  if (colon == std::string_view::npos) return {{}, name};
  return {name.substr(0, colon), name.substr(colon + 1)};
}

bool isBlank(std::string_view s) {
  return s.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Appends the ids of a list separated by white space.
template <class Out>
void splitIds(std::string_view s, Out&& out) {
  std::size_t i = 0;
  while (i < s.size()) {
    while (i < s.size() && isSpace(s[i])) ++i;
    if (i == s.size()) break;
    const std::size_t start = i;
    while (i < s.size() && !isSpace(s[i])) ++i;
    out(s.substr(start, i - start));
  }
}

std::string escapeAttribute(std::string_view value) {
  std::string out;
  out.reserve(value.size());
  for (const char c : value) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '"': out += "&quot;"; break;
      case '\n': out += "&#10;"; break;
      case '\r': out += "&#13;"; break;
      case '\t': out += "&#9;"; break;
      default: out += c;
    }
  }
  return out;
}

// An attribute of the element being read, its name split once: the reader looks at an
// element's attributes for its declarations, its xmi:type, href or idref, and its values,
// and each look through the tree costs calls into the parser's library and string lengths.
struct Attribute {
  std::string_view name, prefix, local, value;  // views into the parsed tree

  // xmlns or xmlns:prefix
  bool declaration() const { return prefix == "xmlns" || (prefix.empty() && local == "xmlns"); }
};

// The namespace declarations in scope, innermost last. Prefixes and URIs are views into
// the parsed tree, which outlives the scope.
class Scope {
 public:
  // Enters the declarations among attributes; returns how many to leave.
  std::size_t enter(const std::vector<Attribute>& attributes) {
    std::size_t n = 0;
    for (const Attribute& a : attributes) {
      if (!a.declaration()) continue;
      fDecls.emplace_back(a.prefix.empty() ? std::string_view() : a.local, a.value), ++n;
    }
    if (n) ++fGeneration;
    return n;
  }
  // Enters the declarations of node; returns how many to leave.
  std::size_t enter(const pugi::xml_node& node) {
    std::size_t n = 0;
    for (const pugi::xml_attribute& a : node.attributes()) {
      const char* raw = a.name();
      if (raw[0] != 'x') continue;
      const std::string_view name = raw;
      if (name == "xmlns") {
        fDecls.emplace_back(std::string_view(), a.value()), ++n;
      } else if (name.substr(0, 6) == "xmlns:") {
        fDecls.emplace_back(name.substr(6), a.value()), ++n;
      }
    }
    if (n) ++fGeneration;
    return n;
  }
  void leave(std::size_t n) {
    if (!n) return;
    fDecls.resize(fDecls.size() - n);
    ++fGeneration;
  }
  // The URI bound to prefix, or null.
  const std::string_view* uri(std::string_view prefix) const {
    for (auto it = fDecls.rbegin(); it != fDecls.rend(); ++it)
      if (it->first == prefix) return &it->second;
    return nullptr;
  }
  // Changes whenever the declarations in scope do.
  std::size_t generation() const { return fGeneration; }

 private:
  std::vector<std::pair<std::string_view, std::string_view>> fDecls;
  std::size_t fGeneration = 0;
};

// Leaves the declarations entered when it goes.
class ScopeGuard {
 public:
  ScopeGuard(Scope& scope, std::size_t entered) : fScope(scope), fN(entered) {}
  ~ScopeGuard() { fScope.leave(fN); }

 private:
  Scope& fScope;
  std::size_t fN;
};

using Kept = KeptRecord;


// Text of the parsed tree: views into it stay valid for the whole read.
struct Target {
  std::string_view text;  // an id, or an href
  bool href = false;
};

// A reference noted in pass one: an href or idref of a child, or the list of ids of an
// attribute, split when it is resolved.
struct Pending {
  std::size_t element;  // index into the reader's elements
  const PropertyIntf* property;
  const ClassIntf* accepted;  // the property's type
  Target written;
  std::size_t offset;  // in the text, for the line
  // Where it was written, to keep what does not resolve.
  bool fromAttribute;
  std::size_t position;
  std::string_view attributeName;
  pugi::xml_node node;
};

// Of the names of the features of one metaclass, which are short: FNV-1a over every
// letter, inline. (Hashing a few letters only was as fast, but a document with many
// unknown attributes alike in those letters would have filled one bucket.)
struct NameHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view s) const noexcept {
    std::uint64_t h = 14695981039346656037ull;
    for (const char c : s) h = (h ^ static_cast<unsigned char>(c)) * 1099511628211ull;
    return static_cast<std::size_t>(h);
  }
};

// What the reader needs of a property of a metaclass, found once per metaclass and name.
constexpr std::size_t kSharedValuesPerFeature = 256;

struct Feature {
  const PropertyIntf* property = nullptr;  // null: no property of the metamodel
  bool settable = false;
  bool dataType = false;
  const ClassIntf* classType = nullptr;  // the type of a property that holds elements
  // Of a settable attribute: the attributes of the metaclass that it redefines.
  std::vector<const PropertyIntf*> redefined;
  // Values made from text, by text, where a value may serve several elements: those of
  // single-valued properties, whose value each element copies.
  bool shareValues = false;
  // Of the library's String: the text is the value, boxed as the value factory would.
  bool plainString = false;
  // Keyed by views into the parsed tree, which outlives the reader's features; at most
  // kSharedValuesPerFeature of them.
  // (The library's own hash of views: a table keeps its codes rather than hash again.)
  std::unordered_map<std::string_view, Kelpa::ValueObject> values;
};

struct MetaclassInfo {
  Kelpa::String name;  // for the factory
  std::size_t created = 0;
  std::unordered_map<std::string, Feature, NameHash, std::equal_to<>> features;
};

struct ElementInfo {
  ClassObject object;
  const ClassIntf* metaclass;
  MetaclassInfo* info;
  std::string_view id;
  std::size_t offset;  // in the text, for the line
  std::vector<Kept> kept;
};

// The elements by xmi:id, the first of each id: an open-addressing table of views into
// the parsed tree and element indices, made for all elements at once, so that a large
// document costs neither an allocation per id nor rehashing.
class IdTable {
 public:
  void reserve(std::size_t n) {
    std::size_t capacity = 16;
    while (capacity < 2 * n) capacity *= 2;
    if (capacity > fSlots.size()) rehash(capacity);
  }
  // Adds the element of that index under its id unless the id has one; the index of the
  // element that has it.
  std::size_t emplace(std::string_view id, std::size_t index) {
    if (2 * (fSize + 1) > fSlots.size()) rehash(std::max<std::size_t>(16, 2 * fSlots.size()));
    const std::size_t hash = std::hash<std::string_view>{}(id);
    Slot& slot = fSlots[find(id, hash)];
    if (slot.index) return slot.index - 1;
    slot = {id, static_cast<std::uint32_t>(index + 1), static_cast<std::uint32_t>(hash)};
    ++fSize;
    return index;
  }
  // The index of the element with that id, or npos.
  std::size_t find(std::string_view id) const {
    if (fSlots.empty()) return npos;
    const Slot& slot = fSlots[find(id, std::hash<std::string_view>{}(id))];
    return slot.index ? slot.index - 1 : npos;
  }
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

 private:
  // The id's hash is kept beside it: at a million ids, comparing the text of every id a
  // probe passes would read the document at random.
  struct Slot {
    std::string_view id;
    std::uint32_t index = 0;  // the element's index + 1; 0 for a free slot
    std::uint32_t hash = 0;   // the low bits of the id's hash
  };
  // The slot of id, or the free one where it would go.
  std::size_t find(std::string_view id, std::size_t hash) const {
    const std::size_t mask = fSlots.size() - 1;
    const auto low = static_cast<std::uint32_t>(hash);
    for (std::size_t i = low & mask;; i = (i + 1) & mask) {
      const Slot& slot = fSlots[i];
      if (!slot.index || (slot.hash == low && slot.id == id)) return i;
    }
  }
  // Slots are placed by the low 32 bits of the hash, which they keep.
  void rehash(std::size_t capacity) {
    std::vector<Slot> old(capacity);
    old.swap(fSlots);
    const std::size_t mask = capacity - 1;
    for (const Slot& slot : old) {
      if (!slot.index) continue;
      std::size_t i = slot.hash & mask;
      while (fSlots[i].index) i = (i + 1) & mask;
      fSlots[i] = slot;
    }
  }

  std::vector<Slot> fSlots;
  std::size_t fSize = 0;
};

// What one read shares with the reads that its hrefs start: the model, its factory and
// the documents read so far.
struct Session {
  Kelpa::Model model;
  Kelpa::Deviant d;
  Kelpa::FactoryObject factory;
  Kelpa::Package package;  // "zorbel" in the meta-registry
  Resolver* resolver;
  ClassObject library;
  std::map<std::string, ClassObject, std::less<>> libraryTypes;
  std::map<std::string, Document*, std::less<>> reading;  // by URI, this session's
  std::vector<std::unique_ptr<Document>> readOnDemand;

  ClassObject create(const ClassIntf* metaclass) { return create(metaclass, Kelpa::String(metaclass->getName())); }
  ClassObject create(const ClassIntf* metaclass, const Kelpa::String& name) {
    ClassObject object(factory->createFromString(d, name));
    if (object.isNull()) throw Error("the factory makes no " + metaclass->getName());
    return object;
  }
  // The metaclass of that plain name, or null; only UML elements, not the package's
  // other classes (its Factory).
  const ClassIntf* metaclass(std::string_view name) const {
    if (name.find('.') != std::string_view::npos) return nullptr;
    const auto* found = dynamic_cast<const ClassIntf*>(package->findType(name));
    static const auto* element = dynamic_cast<const ClassIntf*>(package->findType("Element"));
    return found && found->conformsTo(element) ? found : nullptr;
  }
  void set(const ClassObject& object, const PropertyIntf& property, const Kelpa::Object& value) {
    Kelpa::reflect::setOrAdd(object.get(), d, property, value, false);
  }
  ClassObject primitiveType(std::string_view fragment, Report& report);
};

ClassObject Session::primitiveType(std::string_view fragment, Report& report) {
  if (library.isNull()) {
    for (const ClassObject& root : model->getRootObjects(d)) {
      if (root->getExternalToolInfo(d, Kelpa::String(std::string(kLibraryTool))).getInfo() ==
          Kelpa::String(kPrimitiveLibrary)) {
        library = root;
        break;
      }
    }
    // A Model, as both libraries that the hrefs name are.
    const ClassIntf* packageClass = metaclass("Model");
    const PropertyIntf* packaged = packageClass->findProperty("packagedElement");
    const Kelpa::ExternalToolInfo marker{Kelpa::String(std::string(kLibraryTool)), Kelpa::String(kPrimitiveLibrary)};
    if (library.isNull()) {
      library = create(packageClass);
      ++report.created["Model"];
      library->setOrAdd(d, Kelpa::String("name"), zorbel::String(kPrimitiveLibrary));
      library->setExternalId(d, Kelpa::String("_0"));
      library->setExternalToolInfo(d, marker);
      const ClassIntf* primitiveClass = metaclass("PrimitiveType");
      for (const std::string_view name : kPrimitiveNames) {
        ClassObject type = create(primitiveClass);
        ++report.created["PrimitiveType"];
        type->setOrAdd(d, Kelpa::String("name"), zorbel::String(std::string(name)));
        type->setExternalId(d, Kelpa::String(std::string(name)));
        type->setExternalToolInfo(d, marker);
        set(library, *packaged, type);
      }
    }
    for (const Kelpa::Object& o : Kelpa::asSequence(Kelpa::reflect::get(library.get(), d, *packaged))) {
      const ClassObject type(o);
      libraryTypes[type->getExternalId(d).str()] = type;
    }
    libraryTypes["_0"] = library;
  }
  const auto it = libraryTypes.find(fragment);
  return it == libraryTypes.end() ? ClassObject() : it->second;
}

// Reads one document into the session's model.
class Reader {
 public:
  // text must outlive the reader.
  Reader(Session& session, std::string_view text, std::string uri) : fS(session), fText(text) {
    fDoc.uri = std::move(uri);
  }

  Document& document() { return fDoc; }

  void run() {
    parse();
    fS.reading[fDoc.uri] = &fDoc;
    readRoot();
    for (auto& [metaclass, info] : fMetaclasses)
      if (info.created) fDoc.report.created[metaclass->getName()] += info.created;
    resolveAll();
    reportDuplicates();
    storeKept();
  }

 private:
  static std::size_t offsetOf(const pugi::xml_node& node) {
    return static_cast<std::size_t>(node.offset_debug());
  }
  // The line table, made when a line is first needed: most reads need none.
  const detail::Lines& lines() const {
    if (!fLines) fLines.emplace(fText);
    return *fLines;
  }
  std::size_t lineAt(std::size_t offset) const { return lines().line(offset); }

  void parse() {
    const pugi::xml_parse_result result = fXml.load_buffer(
        fText.data(), fText.size(),
        pugi::parse_default | pugi::parse_comments | pugi::parse_pi | pugi::parse_doctype |
            pugi::parse_ws_pcdata_single,
        pugi::encoding_utf8);
    if (!result) {
      const auto offset = static_cast<std::size_t>(result.offset);
      throw Error(std::string("malformed XML: ") + result.description(), lines().line(offset),
                  lines().column(offset));
    }
    // The tables that grow with the elements are made for all of them at once, rather
    // than moved and rehashed as they grow, which at a million elements costs more than
    // this walk.
    const std::size_t elements = countElements();
    fElements.reserve(elements);
    fIds.reserve(elements);
    fDoc.ids.reserve(elements);
    // Each element's id goes to the kernel's table of ids, shared by all models.
    auto& externalIds = Kelpa::NSInterface::ClassObjectIntf::externalId_sparse();
    externalIds.reserve(externalIds.size() + elements);
  }

  // The element nodes of the tree: at least as many as the model elements it makes.
  std::size_t countElements() const {
    std::size_t n = 0;
    for (pugi::xml_node node = fXml.first_child(); node;) {
      if (node.type() == pugi::node_element) ++n;
      if (const pugi::xml_node child = node.first_child()) {
        node = child;
        continue;
      }
      while (!node.next_sibling()) {
        node = node.parent();
        if (node == fXml) return n;
      }
      node = node.next_sibling();
    }
    return n;
  }

  [[noreturn]] void fail(const std::string& message, const pugi::xml_node& node) const {
    const auto offset = static_cast<std::size_t>(node.offset_debug());
    throw Error(message, lines().line(offset), lines().column(offset));
  }

  // Whether prefix is bound to the UML or an XMI namespace; the answer for the last
  // prefix asked is kept until the declarations in scope change.
  struct PrefixAnswer {
    std::string_view prefix;
    std::size_t generation = static_cast<std::size_t>(-1);
    bool answer = false;
  };
  // (The kept answer is checked inline: it is asked for most attributes and elements.)
  bool isUml(std::string_view prefix) const {
    if (fUmlAnswer.generation == fScope.generation() && fUmlAnswer.prefix == prefix) return fUmlAnswer.answer;
    return answerUml(prefix);
  }
  bool isXmi(std::string_view prefix) const {
    if (fXmiAnswer.generation == fScope.generation() && fXmiAnswer.prefix == prefix) return fXmiAnswer.answer;
    return answerXmi(prefix);
  }
  bool answerUml(std::string_view prefix) const {
    const std::string_view* uri = fScope.uri(prefix);
    fUmlAnswer = {prefix, fScope.generation(), uri && *uri == fUml};
    return fUmlAnswer.answer;
  }
  bool answerXmi(std::string_view prefix) const {
    const std::string_view* uri = fScope.uri(prefix);
    fXmiAnswer = {prefix, fScope.generation(), uri && isXmiUri(*uri)};
    return fXmiAnswer.answer;
  }

  // The attributes of node into fAttributes, in document order.
  void collect(const pugi::xml_node& node) {
    fAttributes.clear();
    for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute()) {
      const std::string_view name = a.name();
      const auto [prefix, local] = splitQName(name);
      fAttributes.push_back({name, prefix, local, a.value()});
    }
  }

  // The collected attribute of that name, or null.
  const Attribute* attribute(std::string_view name) const {
    for (const Attribute& a : fAttributes)
      if (a.name == name) return &a;
    return nullptr;
  }

  // The collected XMI attribute local (type, idref), whatever its prefix, or null.
  const Attribute* xmiAttribute(std::string_view local) const {
    for (const Attribute& a : fAttributes)
      if (!a.prefix.empty() && a.local == local && isXmi(a.prefix)) return &a;
    return nullptr;
  }

  void readRoot() {
    readDocumentElement();
    // Comments, processing instructions and a document type around the document element.
    std::size_t position = 0;
    for (const pugi::xml_node& node : fXml.children()) {
      if (node.type() == pugi::node_declaration) continue;
      if (node.type() != pugi::node_element) {
        if (fElements.empty()) fail("the document holds no UML element to keep its other content on", node);
        fElements[0].kept.push_back({"outside", position, verbatim(node)});
        ++fDoc.report.unknown[kindOf(node, {}, nullptr)];
      }
      ++position;
    }
  }

  void readDocumentElement() {
    const pugi::xml_node root = fXml.document_element();
    ScopeGuard guard(fScope, fScope.enter(root));
    const auto [prefix, local] = splitQName(root.name());
    const std::string_view* rootUri = fScope.uri(prefix);
    const bool xmiRoot = local == "XMI" && rootUri && isXmiUri(*rootUri);
    if (!xmiRoot && local == "XMI" && !prefix.empty())
      fail("unknown XMI namespace '" + (rootUri ? std::string(*rootUri) : std::string()) + "'", root);
    if (!xmiRoot && local != "Model" && local != "Package" && local != "Profile")
      fail(std::string("root element '") + root.name() +
               "' is neither xmi:XMI nor a UML Model, Package or Profile",
           root);
    if (!xmiRoot) {
      if (!rootUri) fail(std::string("no namespace declared for root element '") + root.name() + "'", root);
      chooseUml(*rootUri, root);
    } else {
      std::string candidate;
      for (const pugi::xml_attribute& a : root.attributes()) {
        const std::string_view name = a.name();
        if (name.substr(0, 6) != "xmlns:") continue;
        const std::string_view uri = a.value();
        if (among(uri, kOmgUmlUris) || among(uri, kEclipseUmlUris)) {
          chooseUml(uri, root);
          break;
        }
        if (name == "xmlns:uml") candidate = uri;
      }
      if (fUml.empty()) {
        if (!candidate.empty()) chooseUml(candidate, root);
        fail("no UML namespace declared on xmi:XMI", root);
      }
    }

    if (!xmiRoot) {
      readTop(root);
      return;
    }
    std::vector<Kept> documentLevel;
    std::size_t position = 0;
    for (const pugi::xml_attribute& a : root.attributes()) {
      const std::string_view name = a.name();
      const auto [prefix, local] = splitQName(name);
      // xmi:version belongs to the syntax: a writer states its own.
      const bool version = !prefix.empty() && isXmi(prefix) && local == "version";
      if (name != "xmlns" && name.substr(0, 6) != "xmlns:" && !version) {
        documentLevel.push_back({"docattr", position, name.data() + std::string("=\"") +
                                                          escapeAttribute(a.value()) + "\""});
        ++fDoc.report.unknown["document attribute"];
      }
      ++position;
    }
    position = 0;
    for (const pugi::xml_node& child : root.children()) {
      if (!counts(child)) continue;
      const auto [p, l] = splitQName(child.name());
      const ClassIntf* metaclass = child.type() == pugi::node_element && isUml(p) ? fS.metaclass(l) : nullptr;
      if (metaclass && !metaclass->isAbstract()) {
        readTop(child);
      } else {
        documentLevel.push_back({"doc", position, verbatim(child)});
        ++fDoc.report.unknown[kindOf(child, p, metaclass)];
      }
      ++position;
    }
    if (!documentLevel.empty()) {
      if (fElements.empty() || fDoc.roots.empty())
        fail("the document holds no UML element to keep its other content on", root);
      std::vector<Kept>& kept = fElements[0].kept;
      kept.insert(kept.end(), documentLevel.begin(), documentLevel.end());
    }
  }

  void chooseUml(std::string_view uri, const pugi::xml_node& root) {
    if (among(uri, kOmgUmlUris)) {
      fDoc.dialect = Dialect::Omg;
    } else if (among(uri, kEclipseUmlUris)) {
      fDoc.dialect = Dialect::Eclipse;
    } else {
      fail("unknown UML namespace '" + std::string(uri) + "'", root);
    }
    fUml = uri;
  }

  // The kind under which unknown content is counted.
  std::string kindOf(const pugi::xml_node& node, std::string_view prefix,
                     const ClassIntf* metaclass) const {
    if (node.type() == pugi::node_comment) return "comment";
    if (node.type() == pugi::node_pi) return "processing instruction";
    if (node.type() == pugi::node_doctype) return "document type";
    if (node.type() != pugi::node_element) return "text";
    if (metaclass) return std::string("abstract metaclass ") + node.name();
    if (isUml(prefix)) return std::string("unknown metaclass ") + node.name();
    if (isXmi(prefix)) return std::string(node.name());
    return std::string("stereotype application ") + node.name();
  }

  static bool counts(const pugi::xml_node& node) {
    switch (node.type()) {
      case pugi::node_element:
      case pugi::node_comment:
      case pugi::node_pi:
        return true;
      case pugi::node_pcdata:
      case pugi::node_cdata:
        return !isBlank(node.value());
      default:
        return false;
    }
  }

  void readTop(const pugi::xml_node& node) {
    const auto [prefix, local] = splitQName(node.name());
    const ClassIntf* metaclass = fS.metaclass(local);
    if (!metaclass || metaclass->isAbstract())
      fail(std::string("'") + node.name() + "' is no concrete UML metaclass", node);
    const std::size_t index = readElement(node, metaclass);
    fDoc.roots.push_back(fElements[index].object);
  }

  // The metaclass that the collected xmi:type names, or the feature's type; null with the
  // kind of unknown content when there is none that can be made.
  const ClassIntf* metaclassOf(const Feature& feature, std::string& kind) {
    if (const Attribute* type = xmiAttribute("type")) {
      const auto [prefix, local] = splitQName(type->value);
      const ClassIntf* metaclass = isUml(prefix) ? this->metaclass(local) : nullptr;
      if (!metaclass) {
        kind = "unknown metaclass " + std::string(type->value);
        return nullptr;
      }
      if (metaclass->isAbstract()) {
        kind = "abstract metaclass " + std::string(type->value);
        return nullptr;
      }
      return metaclass;
    }
    const ClassIntf* metaclass = feature.classType;
    if (!metaclass || metaclass->isAbstract()) {
      const TypeIntf* declared = feature.property->getType();
      kind = "abstract metaclass " + (declared ? declared->getName() : std::string("?")) +
             " without xmi:type";
      return nullptr;
    }
    return metaclass;
  }

  // fS.metaclass, asked once per name: a lookup in the package and casts.
  const ClassIntf* metaclass(std::string_view name) {
    const auto [it, added] = fMetaclassesByName.try_emplace(name);
    if (added) it->second = fS.metaclass(name);
    return it->second;
  }

  MetaclassInfo& infoOf(const ClassIntf* metaclass) {
    auto [it, added] = fMetaclasses.try_emplace(metaclass);
    if (added) it->second.name = Kelpa::String(metaclass->getName());
    return it->second;
  }

  // The property of the metamodel (not one of the kernel's) of that name, with what the
  // reader needs of it; a null property if there is none.
  Feature& featureOf(const ElementInfo& element, std::string_view name) {
    auto& features = element.info->features;
    if (const auto it = features.find(name); it != features.end()) return it->second;
    Feature& feature = features.try_emplace(std::string(name)).first->second;
    const PropertyIntf* property = element.metaclass->findProperty(name);
    if (!property || property->getOwner()->getPackage() != fS.package.get()) return feature;
    feature.property = property;
    feature.settable = isSettable(property);
    feature.dataType = isDataType(property);
    feature.classType = dynamic_cast<const ClassIntf*>(property->getType());
    if (feature.settable && feature.dataType) feature.redefined = redefinedBy(element.metaclass, property);
    feature.shareValues = feature.dataType && !property->isMultiValued();
    feature.plainString = feature.dataType && property->getType()->getQualifiedName() == zorbel::String::getTypeName();
    return feature;
  }

  // A property the reader can fill: of the metamodel, not computed, of a known type.
  static bool isSettable(const PropertyIntf* property) {
    return property->getType() && !property->isDerived() && !property->isDerivedUnion();
  }

  static bool isDataType(const PropertyIntf* property) {
    return property->getType() && !dynamic_cast<const ClassIntf*>(property->getType());
  }

  // Sets a value given as text; false if the text is no value of the property's type.
  bool setValue(std::size_t element, Feature& feature, std::string_view text, std::size_t offset) {
    const PropertyIntf* property = feature.property;
    const TypeIntf* type = property->getType();
    // Short texts repeat (true, 1, *, public); a long one seldom does. A text seen first
    // leaves a null value in the table until its value is made. Names are short too but
    // do not repeat: past a few hundred texts, a feature's table only takes lookups, so
    // that a large model's names do not fill it.
    Kelpa::ValueObject* shared = nullptr;
    if (feature.shareValues && text.size() <= 32) {
      if (feature.values.size() < kSharedValuesPerFeature) {
        shared = &feature.values[text];
      } else if (const auto known = feature.values.find(text); known != feature.values.end()) {
        shared = &known->second;
      }
    }
    Kelpa::ValueObject value;
    if (shared && !shared->isNull()) {
      value = *shared;
    } else if (feature.plainString) {
      value = zorbel::String(detail::toString(text));
      if (shared) *shared = value;
    } else {
      try {
        value = Kelpa::ValueObjectFactory::createFromString(type->getQualifiedName(),
                                                            detail::toString(text));
      } catch (const std::exception&) {
        fDoc.report.warnings.push_back({lineAt(offset), "'" + std::string(text) + "' is no " + type->getName() +
                                                            " for " + qualified(element, property) +
                                                            "; kept as written"});
        return false;
      }
      if (shared) *shared = value;
    }
    fS.set(fElements[element].object, *property, value);
    // A redefining attribute keeps a value of its own; the one it redefines, which the
    // typed accessor of the plain name reads (getIsAbstract, getVisibility), gets the
    // same value.
    for (const PropertyIntf* other : feature.redefined) fS.set(fElements[element].object, *other, value);
    return true;
  }

  // The single-valued attributes of the metaclass that property redefines: those of the
  // same name and type.
  static std::vector<const PropertyIntf*> redefinedBy(const ClassIntf* metaclass,
                                                      const PropertyIntf* property) {
    std::vector<const PropertyIntf*> redefined;
    if (!property->isMultiValued())
      for (const PropertyIntf* other : metaclass->getAllProperties())
        if (other != property && other->getName() == property->getName() && !other->isMultiValued() &&
            other->getType() == property->getType() && isSettable(other))
          redefined.push_back(other);
    return redefined;
  }

  // 'id', or the metaclass and line of an element without one.
  std::string describe(std::size_t element) const {
    const ElementInfo& info = fElements[element];
    if (!info.id.empty()) return "'" + std::string(info.id) + "'";
    return "the " + info.metaclass->getName() + " at line " + std::to_string(lineAt(info.offset));
  }

  std::string qualified(std::size_t element, const PropertyIntf* property) const {
    return fElements[element].metaclass->getName() + "." + property->getName();
  }

  void keep(std::size_t element, std::string kind, std::size_t position, std::string payload,
            std::string counted) {
    fElements[element].kept.push_back({std::move(kind), position, std::move(payload)});
    ++fDoc.report.unknown[std::move(counted)];
  }

  // entered: the caller has collected the node's attributes and entered its declarations.
  std::size_t readElement(const pugi::xml_node& node, const ClassIntf* metaclass, bool entered = false) {
    if (!entered) collect(node);
    ScopeGuard guard(fScope, entered ? 0 : fScope.enter(fAttributes));
    const std::size_t index = fElements.size();
    const std::size_t offset = offsetOf(node);
    MetaclassInfo& info = infoOf(metaclass);
    fElements.push_back({fS.create(metaclass, info.name), metaclass, &info, {}, offset, {}});
    ++info.created;
    for (std::size_t i = 0; i < fAttributes.size(); ++i) readAttribute(index, fAttributes[i], i, offset);
    if (fElements[index].id.empty()) ++fDoc.report.withoutId;
    // Each child collects its attributes over these.
    std::size_t position = 0;
    for (const pugi::xml_node& child : node.children()) {
      if (!counts(child)) continue;
      readChild(index, child, position++);
    }
    return index;
  }

  void readAttribute(std::size_t index, const Attribute& a, std::size_t position, std::size_t offset) {
    if (a.declaration()) return;
    const std::string_view name = a.name, prefix = a.prefix, local = a.local;
    const auto keepIt = [&](std::string counted) {
      keep(index, "attr", position, std::string(name) + "=\"" + escapeAttribute(a.value) + "\"",
           std::move(counted));
    };
    ElementInfo& info = fElements[index];
    if (!prefix.empty()) {
      const bool xmi = isXmi(prefix);
      if (xmi && local == "id") {
        info.id = a.value;
        info.object->setExternalId(fS.d, detail::toString(info.id));
        registerId(info.id, index, offset);
      } else if (xmi && local == "uuid") {
        info.object->setExternalToolInfo(
            fS.d, Kelpa::ExternalToolInfo(Kelpa::String(std::string(kUuidTool)),
                                          Kelpa::String(std::string(a.value))));
      } else if (!(xmi && (local == "type" || local == "version"))) {
        keepIt(std::string("attribute ") + std::string(name));
      }
      return;
    }
    Feature& feature = featureOf(info, name);
    const PropertyIntf* property = feature.property;
    if (!property) return keepIt("unknown feature " + info.metaclass->getName() + "." + std::string(name));
    if (!feature.settable) return keepIt("derived feature " + qualified(index, property));
    if (feature.dataType) {
      if (!setValue(index, feature, a.value, offset)) keepIt("value that did not parse");
      return;
    }
    fPending.push_back(
        {index, property, feature.classType, {a.value, false}, offset, true, position, name, {}});
  }

  void readChild(std::size_t index, const pugi::xml_node& child, std::size_t position) {
    const auto keepIt = [&](std::string counted) {
      keep(index, "child", position, verbatim(child), std::move(counted));
    };
    if (child.type() != pugi::node_element) return keepIt(kindOf(child, {}, nullptr));
    const auto [prefix, local] = splitQName(child.name());
    if (!prefix.empty()) return keepIt(kindOf(child, prefix, nullptr));
    const ClassIntf* metaclass = fElements[index].metaclass;
    Feature& feature = featureOf(fElements[index], local);
    const PropertyIntf* property = feature.property;
    if (!property) {
      if (local == "eAnnotations") return keepIt("eAnnotations");
      return keepIt("unknown feature " + metaclass->getName() + "." + std::string(local));
    }
    if (!feature.settable) return keepIt("derived feature " + qualified(index, property));
    // A nested element finds its own offset.
    if (feature.dataType) {
      if (!setValue(index, feature, child.child_value(), offsetOf(child)))
        keepIt("value that did not parse");
      return;
    }
    collect(child);
    ScopeGuard guard(fScope, fScope.enter(fAttributes));  // for xmlns declared on the child itself
    const Attribute* href = attribute("href");
    const Attribute* idref = xmiAttribute("idref");
    if (href || idref) {
      const Target target = href ? Target{href->value, true} : Target{idref->value, false};
      fPending.push_back(
          {index, property, feature.classType, target, offsetOf(child), false, position, {}, child});
      return;
    }
    if (!property->isComposite())
      return keepIt("element under reference " + qualified(index, property));
    std::string kind;
    const ClassIntf* childClass = metaclassOf(feature, kind);
    if (!childClass) return keepIt(kind);
    const ClassIntf* accepted = feature.classType;
    if (!accepted || !childClass->conformsTo(accepted))
      fail("a " + childClass->getName() + " cannot be the value of " + qualified(index, property) +
               " of " + describe(index),
           child);
    const std::size_t childIndex = readElement(child, childClass, true);
    fS.set(fElements[index].object, *property, fElements[childIndex].object);
  }

  void registerId(std::string_view id, std::size_t index, std::size_t offset) {
    const std::size_t first = fIds.emplace(id, index);
    if (first == index) {
      fDoc.ids.emplace(std::string(id), fElements[index].object);
    } else {
      fDuplicates.emplace(std::string(id), std::make_pair(lineAt(fElements[first].offset), lineAt(offset)));
    }
  }

  void reportDuplicates() {
    for (const auto& [id, lines] : fDuplicates)
      fDoc.report.warnings.push_back(
          {lines.second, "duplicate xmi:id '" + id + "' at lines " + std::to_string(lines.first) +
                             " and " + std::to_string(lines.second) +
                             "; no reference names it, the second element keeps it as its externalId"});
  }

  // The prefixes a subtree uses in names and in xmi:type or xsi:type values.
  static void usedPrefixes(const pugi::xml_node& node, std::set<std::string>& out) {
    if (node.type() != pugi::node_element) return;
    out.insert(std::string(splitQName(node.name()).first));
    for (const pugi::xml_attribute& a : node.attributes()) {
      const auto [prefix, local] = splitQName(a.name());
      if (prefix == "xmlns" || (prefix.empty() && local == "xmlns")) continue;
      if (!prefix.empty()) out.insert(std::string(prefix));
      if (local == "type" && !prefix.empty()) {
        const std::string_view value = a.value();
        if (value.find(':') != std::string_view::npos)
          out.insert(std::string(splitQName(value).first));
      }
    }
    for (const pugi::xml_node& child : node.children()) usedPrefixes(child, out);
  }

  // The node as XML text, declaring the prefixes it uses that were declared above it.
  std::string verbatim(const pugi::xml_node& node) const {
    detail::StringWriter out;
    if (node.type() != pugi::node_element) {
      node.print(out, "", pugi::format_raw);
      return std::move(out.text);
    }
    pugi::xml_document copy;
    pugi::xml_node top = copy.append_copy(node);
    std::set<std::string> prefixes;
    usedPrefixes(node, prefixes);
    for (const std::string& prefix : prefixes) {
      const std::string attribute = prefix.empty() ? "xmlns" : "xmlns:" + prefix;
      if (top.attribute(attribute.c_str())) continue;
      const std::string_view* uri = fScope.uri(prefix);
      if (uri) top.append_attribute(attribute.c_str()) = std::string(*uri).c_str();
    }
    top.print(out, "", pugi::format_raw);
    return std::move(out.text);
  }

  // What an id or href names, or a null handle; here: whether it was looked for in this
  // document.
  ClassObject lookup(const Target& target, std::size_t offset, bool& here) {
    here = true;
    if (!target.href) return lookupId(fDoc, target.text, offset);
    const std::size_t hash = target.text.find('#');
    const std::string_view href = target.text;
    const std::string_view uri = href.substr(0, hash);
    const std::string_view fragment = hash == std::string_view::npos ? std::string_view() : href.substr(hash + 1);
    if (uri.empty() || uri == fDoc.uri) return lookupId(fDoc, fragment, offset);
    here = false;
    if (isPrimitiveLibrary(uri)) return fS.primitiveType(fragment, fDoc.report);
    const Document* other = documentAt(std::string(uri));
    return other ? other->find(fragment) : ClassObject();
  }

  // In this document by the reader's own table, which the document's ids repeat.
  ClassObject lookupId(const Document& document, std::string_view id, std::size_t offset) {
    if (&document != &fDoc) return document.find(id);
    if (!fDuplicates.empty()) {
      const auto dup = fDuplicates.find(id);
      if (dup != fDuplicates.end()) {
        const std::size_t line = lineAt(offset);
        throw Error("duplicate xmi:id '" + dup->first + "' at lines " +
                        std::to_string(dup->second.first) + " and " +
                        std::to_string(dup->second.second) + " is referenced at line " +
                        std::to_string(line),
                    line);
      }
    }
    const std::size_t index = fIds.find(id);
    return index == IdTable::npos ? ClassObject() : fElements[index].object;
  }

  // The document under uri: being read in this session, given to the resolver, or
  // read now from the file the resolver names.
  const Document* documentAt(const std::string& written) {
    std::vector<std::string> keys{written};
    if (written.find("://") == std::string::npos && !fDoc.uri.empty()) {
      const std::size_t slash = fDoc.uri.rfind('/');
      keys.push_back(slash == std::string::npos ? written : fDoc.uri.substr(0, slash + 1) + written);
    }
    for (const std::string& key : keys) {
      const auto being = fS.reading.find(key);
      if (being != fS.reading.end()) return being->second;
      if (!fS.resolver) continue;
      if (const Document* known = fS.resolver->find(key)) return known;
      const auto& files = fS.resolver->state().files;
      const auto file = files.find(key);
      if (file == files.end()) continue;
      std::string bytes;
      if (!readFile(file->second, bytes)) throw Error("cannot open " + file->second.string() + " for " + key);
      std::string converted;
      Reader nested(fS, detail::toUtf8(bytes, converted), key);
      try {
        nested.run();
      } catch (const Error& e) {
        throw Error(file->second.string() + ": " + e.what());
      }
      fS.readOnDemand.push_back(std::make_unique<Document>(std::move(nested.document())));
      fS.reading[key] = fS.readOnDemand.back().get();
      return fS.readOnDemand.back().get();
    }
    return nullptr;
  }

  void resolveAll() {
    std::vector<std::size_t> order(fPending.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_partition(order.begin(), order.end(), [&](std::size_t i) {
      return fPending[i].property->isMultiValued() && fPending[i].property->isOrdered();
    });
    for (const std::size_t i : order) resolve(fPending[i]);
  }

  void resolve(const Pending& pending) {
    const PropertyIntf* property = pending.property;
    const ElementInfo& owner = fElements[pending.element];
    std::vector<std::string_view> unresolved;
    std::vector<Target>& targets = fTargets;
    targets.clear();
    if (pending.fromAttribute) {
      splitIds(pending.written.text, [&](std::string_view id) { targets.push_back({id, false}); });
    } else {
      targets.push_back(pending.written);
    }
    for (const Target& target : targets) {
      bool here;
      const ClassObject value = lookup(target, pending.offset, here);
      if (value.isNull()) {
        fDoc.report.unresolved.push_back(
            {qualified(pending.element, property), std::string(target.text), lineAt(pending.offset)});
        unresolved.push_back(target.text);
        continue;
      }
      // This document's elements are the reader's own, made in the model.
      if (!here && value->getModelKelpa(value.getDeviant()).get() != fS.model.get())
        throw Error("'" + std::string(target.text) + "' names an element of another model; documents that refer " +
                        "to each other are read into one model",
                    lineAt(pending.offset));
      const ClassIntf* valueClass = Kelpa::reflect::metaClassOf(value.get());
      const ClassIntf* accepted = pending.accepted;
      if (!valueClass || !accepted || !valueClass->conformsTo(accepted))
        throw Error("'" + std::string(target.text) + "' is a " + (valueClass ? valueClass->getName() : "?") +
                        ", which " + qualified(pending.element, property) + " of " +
                        describe(pending.element) + " does not accept (it takes a " +
                        property->getType()->getName() + ")",
                    lineAt(pending.offset));
      checkCycle(pending.element, property, value, target, pending.offset);
      // What is held already is known before the write where it matters: for containment,
      // which would move the element and is counted, and for a list without an opposite.
      // Any other write of a value held already changes nothing.
      const PropertyIntf* opposite = property->getOpposite();
      const bool toOwner = opposite && opposite->isComposite();
      const bool ask = toOwner || property->isComposite() || (property->isMultiValued() && !opposite);
      if (ask && holds(owner.object, property, value)) {
        if (toOwner) ++fDoc.report.impliedByNesting[qualified(pending.element, property)];
        continue;
      }
      if (wouldMove(pending.element, property, value)) {
        ++fDoc.report.unknown["reference to a nested element through " + qualified(pending.element, property)];
        unresolved.push_back(target.text);
        continue;
      }
      fS.set(owner.object, *property, value);
    }
    if (unresolved.empty()) return;
    std::vector<Kept>& kept = fElements[pending.element].kept;
    if (pending.fromAttribute) {
      std::string ids;
      for (const std::string_view id : unresolved) {
        if (!ids.empty()) ids += ' ';
        ids += id;
      }
      kept.push_back({"attr", pending.position,
                      std::string(pending.attributeName) + "=\"" + escapeAttribute(ids) + "\""});
    } else {
      kept.push_back({"child", pending.position, verbatimAt(pending.node)});
    }
  }

  // A child kept after pass one: the scope is gone, so the declarations are collected
  // again from its ancestors.
  std::string verbatimAt(const pugi::xml_node& node) {
    std::vector<pugi::xml_node> ancestors;
    for (pugi::xml_node n = node.parent(); n && n.type() == pugi::node_element; n = n.parent())
      ancestors.push_back(n);
    std::size_t entered = 0;
    for (auto it = ancestors.rbegin(); it != ancestors.rend(); ++it) entered += fScope.enter(*it);
    std::string text = verbatim(node);
    fScope.leave(entered);
    return text;
  }

  // The element's container, or null for a root.
  ClassObject containerOf(const ClassObject& element) const {
    ClassObject container = element->getContainerKelpa(fS.d);
    return Kelpa::reflect::metaClassOf(container.get()) ? container : ClassObject();
  }

  // Whether setting value would take an element out of the container the document nests
  // it in. A reference to a composite property (Operation.bodyCondition naming one of
  // the operation's ownedRules, Association.navigableOwnedEnd naming an ownedEnd) or to
  // a container would move what it names, as the library keeps such a property as a
  // composite of its own; the nesting is what the document says about ownership, so
  // such a reference is kept as written, not applied.
  bool wouldMove(std::size_t element, const PropertyIntf* property, const ClassObject& value) const {
    if (property->isComposite()) return !containerOf(value).isNull();
    if (property->getOpposite() && property->getOpposite()->isComposite())
      return !containerOf(fElements[element].object).isNull();
    return false;
  }

  bool holds(const ClassObject& owner, const PropertyIntf* property, const ClassObject& value) const {
    const Kelpa::Object current = Kelpa::reflect::get(owner.get(), fS.d, *property);
    if (property->isMultiValued()) return Kelpa::asSequence(current).contains(value);
    return ClassObject(current).get() == value.get();
  }

  // Raises when the reference would make an element contain itself.
  void checkCycle(std::size_t index, const PropertyIntf* property, const ClassObject& value,
                  const Target& target, std::size_t offset) const {
    const ElementInfo& owner = fElements[index];
    ClassObject container, containee;
    if (property->isComposite()) {
      container = owner.object, containee = value;
    } else if (property->getOpposite() && property->getOpposite()->isComposite()) {
      container = value, containee = owner.object;
    } else {
      return;
    }
    for (ClassObject c = container; !c.isNull() && Kelpa::reflect::metaClassOf(c.get());
         c = c->getContainerKelpa(fS.d)) {
      if (c.get() == containee.get())
        throw Error("containment cycle: " + qualified(index, property) + " of " +
                        describe(index) + " names '" + std::string(target.text) +
                        "', which already contains it",
                    lineAt(offset));
    }
  }

  void storeKept() {
    for (ElementInfo& info : fElements) {
      if (info.kept.empty()) continue;
      info.object->setExternalToolInfo(
          fS.d, Kelpa::ExternalToolInfo(Kelpa::String(std::string(kKeptTool)), Kelpa::String(formatKept(info.kept))));
    }
  }

  Session& fS;
  std::string_view fText;  // UTF-8
  mutable std::optional<detail::Lines> fLines;
  pugi::xml_document fXml;
  Document fDoc;
  Scope fScope;
  mutable PrefixAnswer fUmlAnswer, fXmiAnswer;
  std::string fUml;
  std::vector<ElementInfo> fElements;
  std::vector<Pending> fPending;
  std::vector<Target> fTargets;  // of the reference being resolved
  std::vector<Attribute> fAttributes;  // of the element being read
  std::unordered_map<const ClassIntf*, MetaclassInfo> fMetaclasses;
  // Metaclasses by the local part of xmi:type, views into the tree; null for none.
  std::unordered_map<std::string_view, const ClassIntf*> fMetaclassesByName;
  IdTable fIds;
  std::map<std::string, std::pair<std::size_t, std::size_t>, std::less<>> fDuplicates;
};

// A factory for the read, gone when the read ends so that it leaves nothing behind.
class ScopedFactory {
 public:
  explicit ScopedFactory(const Kelpa::Model& model)
      : fFactory(zorbel::NSInterface::FactoryIntf::createNewFactory(model)) {}
  ~ScopedFactory() { fFactory->destroy(fFactory.getDeviant()); }
  Kelpa::FactoryObject get() const { return Kelpa::FactoryObject(fFactory); }

 private:
  zorbel::Factory fFactory;
};

Document readText(const Kelpa::Model& model, std::string_view bytes, const ReadOptions& options) {
  if (model.isNull()) throw Error("no model to read into");
  std::string converted;
  const std::string_view text = detail::toUtf8(bytes, converted);
  ScopedFactory factory(model);
  Session session{model, model.getDeviant(), factory.get(),
                  Kelpa::DomainRegistry::instance().findPackage("zorbel"), options.resolver,
                  {}, {}, {}, {}};
  Reader reader(session, text, options.baseUri);
  {
    Kelpa::Transaction transaction(model);
    try {
      reader.run();
    } catch (const Error&) {
      throw;
    } catch (const std::exception& e) {
      throw Error(std::string("the model refused the document: ") + e.what());
    }
    transaction.commit();
  }
  if (options.resolver) {
    Resolver::State& state = options.resolver->state();
    for (auto& document : session.readOnDemand) {
      state.documents[document->uri] = document.get();
      state.owned.push_back(std::move(document));
    }
  }
  return std::move(reader.document());
}

}  // namespace

Document readString(const Kelpa::Model& model, std::string_view xml, const ReadOptions& options) {
  return readText(model, xml, options);
}

Document read(const Kelpa::Model& model, const std::filesystem::path& file, const ReadOptions& options) {
  std::string bytes;
  if (!readFile(file, bytes)) throw Error("cannot open " + file.string());
  ReadOptions withBase = options;
  if (withBase.baseUri.empty()) withBase.baseUri = file.string();
  return readText(model, bytes, withBase);
}

}  // namespace zorbel::xmi
