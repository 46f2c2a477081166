#include "MetaReport.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ostream>
#include <unordered_map>
#include <utility>

namespace zorbel::meta {

using Kelpa::NSInterface::EnumerationLiteralIntf;

// ---------------------------------------------------------------- type ids and kinds

TypeIdOf typeIdsFrom(const Kelpa::PackageIntrospectiveMethods* table) {
  std::unordered_map<const TypeIntf*, std::uint32_t> ids;
  if (table) {
    for (unsigned long id = 0; id < table->count; ++id) {
      const Kelpa::IntrospectiveMethods* record = table->types[id];
      if (record && record->metaclass)
        ids.emplace(record->metaclass, static_cast<std::uint32_t>(id));
    }
  }
  return [ids = std::move(ids)](const TypeIntf* type) -> std::optional<std::uint32_t> {
    auto it = ids.find(type);
    if (it == ids.end()) return std::nullopt;
    return it->second;
  };
}

const Kelpa::PackageIntrospectiveMethods* tableNamedByClasses(const PackageIntf& package) {
  for (const TypeIntf* type : package.getOwnedTypes()) {
    const auto* cls = dynamic_cast<const ClassIntf*>(type);
    if (cls && cls->getIntrospectiveMethods() && cls->getIntrospectiveMethods()->package)
      return cls->getIntrospectiveMethods()->package;
  }
  return nullptr;
}

namespace {

// Types with an id first, by id; the others after them, as they came.
template <class T>
void sortById(std::vector<const T*>& types, const TypeIdOf& ids) {
  std::stable_sort(types.begin(), types.end(), [&](const T* a, const T* b) {
    const auto ia = ids(a), ib = ids(b);
    if (ia && ib) return *ia < *ib;
    return ia.has_value() && !ib.has_value();
  });
}

}  // namespace

TypesByKind typesByKind(const PackageIntf& package, const TypeIdOf& ids) {
  TypesByKind kinds;
  for (const TypeIntf* type : package.getOwnedTypes()) {
    if (const auto* cls = dynamic_cast<const ClassIntf*>(type))
      kinds.classes.push_back(cls);
    else if (const auto* enumeration = dynamic_cast<const EnumerationIntf*>(type))
      kinds.enumerations.push_back(enumeration);
    else if (const auto* primitive = dynamic_cast<const PrimitiveTypeIntf*>(type))
      kinds.primitives.push_back(primitive);
  }
  sortById(kinds.classes, ids);
  sortById(kinds.enumerations, ids);
  sortById(kinds.primitives, ids);
  return kinds;
}

// ---------------------------------------------------------------- texts

namespace {
// The two-character escape of a character that has one, or null.
const char* shortEscape(unsigned char c) {
  switch (c) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\b':
      return "\\b";
    case '\f':
      return "\\f";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
  }
  return nullptr;
}
}  // namespace

std::string jsonQuoted(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 2);
  out += '"';
  std::size_t i = 0;
  while (i < text.size()) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x80) {
      if (const char* escape = shortEscape(c)) {
        out += escape;
      } else if (c < 0x20) {
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
        out += escaped;
      } else {
        out += static_cast<char>(c);
      }
      ++i;
      continue;
    }
    // A sequence of valid UTF-8 goes through as it is: its length from the lead byte,
    // the range of the second byte excludes overlong forms, surrogates and > U+10FFFF.
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xBF;
    if (c >= 0xC2 && c <= 0xDF) {
      length = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
      length = 3;
      if (c == 0xE0) low = 0xA0;
      if (c == 0xED) high = 0x9F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      length = 4;
      if (c == 0xF0) low = 0x90;
      if (c == 0xF4) high = 0x8F;
    }
    bool valid = length != 0 && i + length <= text.size();
    for (std::size_t k = 1; valid && k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      valid = k == 1 ? next >= low && next <= high : next >= 0x80 && next <= 0xBF;
    }
    if (valid) {
      out.append(text.substr(i, length));
      i += length;
    } else {
      out += "\\ufffd";
      ++i;
    }
  }
  out += '"';
  return out;
}

std::string multiplicity(std::uint32_t lower, std::int32_t upper) {
  return std::to_string(lower) + ".." + (upper < 0 ? std::string("*") : std::to_string(upper));
}

namespace {

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    if (!text.empty()) text += ' ';
    text += line;
  }
  return text;
}

std::vector<std::string> documentationLines(const PropertyIntf& property) {
  std::vector<std::string> lines;
  for (const char* line : property.descriptor().documentation) {
    if (!line) break;
    lines.emplace_back(line);
  }
  return lines;
}

std::string typeName(const PropertyIntf& property) {
  return property.getType() ? property.getType()->getName() : "null";
}

bool hasText(const char* text) {
  return text && *text;
}

// A property as a head ("+ name : Type [l..u]") and what follows it.
struct Row {
  std::string head;
  std::string tail;
};

void appendPart(std::string& tail, const std::string& part) {
  if (part.empty()) return;
  if (!tail.empty()) tail += "  ";
  tail += part;
}

Row propertyRow(const PropertyIntf& p) {
  Row row;
  row.head = "+ " + p.getName() + " : " + typeName(p) + " [" +
             multiplicity(p.getLower(), p.getUpper()) + "]";
  std::string flags;
  for (auto [set, name] :
       {std::pair{p.isReadOnly(), "readOnly"}, std::pair{p.isDerived(), "derived"},
        std::pair{p.isDerivedUnion(), "derivedUnion"}, std::pair{p.isComposite(), "composite"},
        std::pair{p.isOrdered(), "ordered"}}) {
    if (!set) continue;
    flags += flags.empty() ? "{" : ", ";
    flags += name;
  }
  if (!flags.empty()) flags += "}";
  appendPart(row.tail, flags);
  if (hasText(p.getDefault())) appendPart(row.tail, std::string("= ") + p.getDefault());

  std::string end;
  if (p.getAssociationName()) end = std::string("association ") + p.getAssociationName();
  std::string other;
  if (const PropertyIntf* opposite = p.getOpposite()) {
    const ClassIntf* owner = opposite->getOwner();
    other = "opposite " + (owner ? owner->getName() + "." : std::string()) + opposite->getName();
  } else if (p.getOppositeEndName()) {
    other = std::string("end ") + p.getOppositeEndName();
  }
  if (!other.empty()) end += (end.empty() ? "" : ", ") + other;
  if (!end.empty()) appendPart(row.tail, "(" + end + ")");
  return row;
}

// Rows with their heads in one column; each may be followed by indented lines.
void writeRows(std::ostream& out, const std::vector<Row>& rows,
               const std::vector<std::vector<std::string>>& below, const std::string& indent) {
  std::size_t width = 0;
  for (const Row& row : rows) width = std::max(width, row.head.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    out << indent << rows[i].head;
    if (!rows[i].tail.empty())
      out << std::string(width - rows[i].head.size() + 2, ' ') << rows[i].tail;
    out << '\n';
    if (i < below.size())
      for (const std::string& line : below[i]) out << indent << "    " << line << '\n';
  }
}

std::string idText(const TypeIntf* type, const TypeIdOf& ids) {
  const auto id = ids(type);
  return id ? "  #" + std::to_string(*id) : std::string();
}

std::string basesText(const ClassIntf& cls) {
  std::string text;
  for (const ClassIntf* base : cls.getSuperClasses()) {
    if (!text.empty()) text += ", ";
    text += base->getName();
  }
  return text;
}

std::string literalsText(const EnumerationIntf& enumeration) {
  std::string text;
  for (const EnumerationLiteralIntf* literal : enumeration.getLiterals()) {
    if (!text.empty()) text += ", ";
    text += literal->getName() + " = " + std::to_string(literal->getValue());
  }
  return text;
}

const std::vector<PropertyIntf*>& allProperties(const ClassIntf& cls) {
  // A class that was created but never updated knows only its own properties.
  return cls.isUpdated() ? cls.getAllProperties() : cls.getOwnedProperties();
}

}  // namespace

std::string joinedDocumentation(const ClassIntf& cls) {
  return joined(cls.getDocumentation());
}

std::string joinedDocumentation(const PropertyIntf& property) {
  return joined(documentationLines(property));
}

std::string propertyLine(const PropertyIntf& property) {
  const Row row = propertyRow(property);
  return row.tail.empty() ? row.head : row.head + "  " + row.tail;
}

// ---------------------------------------------------------------- JSON

namespace {

// Writes JSON with two spaces of indentation per level.
class JsonWriter {
 public:
  explicit JsonWriter(std::ostream& out) : fOut(out) {}

  void beginObject() { open('{'); }
  void endObject() { close('}'); }
  void beginArray() { open('['); }
  void endArray() { close(']'); }
  void key(std::string_view name) {
    nextItem();
    fOut << jsonQuoted(name) << ": ";
    fAfterKey = true;
  }
  void value(std::string_view text) { raw(jsonQuoted(text)); }
  void value(const char* text) { text ? value(std::string_view(text)) : null(); }
  void value(bool flag) { raw(flag ? "true" : "false"); }
  void value(long long number) { raw(std::to_string(number)); }
  void value(std::optional<std::uint32_t> id) { id ? value(static_cast<long long>(*id)) : null(); }
  void null() { raw("null"); }
  template <class T>
  void member(std::string_view name, const T& v) {
    key(name);
    value(v);
  }

 private:
  struct Level {
    bool empty = true;
  };

  void nextItem() {
    if (fAfterKey) {
      fAfterKey = false;
      return;
    }
    if (fLevels.empty()) return;
    if (!fLevels.back().empty) fOut << ',';
    fLevels.back().empty = false;
    fOut << '\n' << std::string(2 * fLevels.size(), ' ');
  }
  void raw(std::string_view text) {
    nextItem();
    fOut << text;
  }
  void open(char bracket) {
    nextItem();
    fOut << bracket;
    fLevels.push_back(Level{});
  }
  void close(char bracket) {
    const bool empty = fLevels.back().empty;
    fLevels.pop_back();
    if (!empty) fOut << '\n' << std::string(2 * fLevels.size(), ' ');
    fOut << bracket;
    if (fLevels.empty()) fOut << '\n';
  }

  std::ostream& fOut;
  std::vector<Level> fLevels;
  bool fAfterKey = false;
};

void writeJsonProperty(JsonWriter& json, const PropertyIntf& p) {
  json.beginObject();
  json.member("index", static_cast<long long>(p.getIndex()));
  json.member("name", p.getName());
  json.key("type");
  if (p.getType())
    json.value(p.getType()->getName());
  else
    json.null();
  json.member("lower", static_cast<long long>(p.getLower()));
  json.member("upper", static_cast<long long>(p.getUpper() < 0 ? -1 : p.getUpper()));
  json.member("readOnly", p.isReadOnly());
  json.member("derived", p.isDerived());
  json.member("derivedUnion", p.isDerivedUnion());
  json.member("composite", p.isComposite());
  json.member("ordered", p.isOrdered());
  json.member("default", hasText(p.getDefault()) ? p.getDefault() : nullptr);
  json.member("association", p.getAssociationName());
  json.key("opposite");
  if (const PropertyIntf* opposite = p.getOpposite()) {
    json.beginObject();
    json.member("class", opposite->getOwner() ? opposite->getOwner()->getName().c_str() : nullptr);
    json.member("property", opposite->getName());
    json.endObject();
  } else if (p.getOppositeEndName()) {
    json.beginObject();
    json.member("end", p.getOppositeEndName());
    json.endObject();
  } else {
    json.null();
  }
  json.member("documentation", joinedDocumentation(p));
  json.endObject();
}

}  // namespace

void writeJson(std::ostream& out, const PackageIntf& package, const TypeIdOf& ids) {
  const TypesByKind kinds = typesByKind(package, ids);
  JsonWriter json(out);
  json.beginObject();
  json.member("package", package.getName());

  json.key("classes");
  json.beginArray();
  for (const ClassIntf* cls : kinds.classes) {
    json.beginObject();
    json.member("name", cls->getName());
    json.member("qualifiedName", cls->getQualifiedName());
    json.member("typeId", ids(cls));
    json.member("abstract", cls->isAbstract());
    json.key("bases");
    json.beginArray();
    for (const ClassIntf* base : cls->getSuperClasses()) json.value(base->getName());
    json.endArray();
    json.member("documentation", joinedDocumentation(*cls));
    json.key("properties");
    json.beginArray();
    for (const PropertyIntf* p : cls->getOwnedProperties()) writeJsonProperty(json, *p);
    json.endArray();
    json.endObject();
  }
  json.endArray();

  json.key("enumerations");
  json.beginArray();
  for (const EnumerationIntf* enumeration : kinds.enumerations) {
    json.beginObject();
    json.member("name", enumeration->getName());
    json.member("typeId", ids(enumeration));
    json.key("literals");
    json.beginArray();
    for (const EnumerationLiteralIntf* literal : enumeration->getLiterals()) {
      json.beginObject();
      json.member("name", literal->getName());
      json.member("value", static_cast<long long>(literal->getValue()));
      json.endObject();
    }
    json.endArray();
    json.endObject();
  }
  json.endArray();

  json.key("primitives");
  json.beginArray();
  for (const PrimitiveTypeIntf* primitive : kinds.primitives) {
    json.beginObject();
    json.member("name", primitive->getName());
    json.member("typeId", ids(primitive));
    json.endObject();
  }
  json.endArray();
  json.endObject();
}

// ---------------------------------------------------------------- outline and one type

void writeOutline(std::ostream& out, const PackageIntf& package, const TypeIdOf& ids) {
  const TypesByKind kinds = typesByKind(package, ids);
  out << "package " << package.getName();
  if (!package.getUri().empty()) out << "  " << package.getUri().str();
  out << '\n'
      << kinds.classes.size() << " classes, " << kinds.enumerations.size() << " enumerations, "
      << kinds.primitives.size() << " primitives\n";

  if (!kinds.enumerations.empty()) out << "\nenumerations\n";
  for (const EnumerationIntf* enumeration : kinds.enumerations)
    out << "  " << enumeration->getName() << idText(enumeration, ids) << "  { "
        << literalsText(*enumeration) << " }\n";

  if (!kinds.primitives.empty()) out << "\nprimitives\n";
  for (const PrimitiveTypeIntf* primitive : kinds.primitives)
    out << "  " << primitive->getName() << idText(primitive, ids) << '\n';

  if (!kinds.classes.empty()) out << "\nclasses\n";
  for (const ClassIntf* cls : kinds.classes) {
    if (cls != kinds.classes.front()) out << '\n';
    out << "  " << (cls->isAbstract() ? "abstract " : "") << cls->getName() << idText(cls, ids);
    if (!cls->getSuperClasses().empty()) out << "  : " << basesText(*cls);
    out << '\n';
    std::vector<Row> rows;
    for (const PropertyIntf* p : cls->getOwnedProperties()) rows.push_back(propertyRow(*p));
    writeRows(out, rows, {}, "    ");
  }
}

void writeType(std::ostream& out, const TypeIntf& type, const TypeIdOf& ids) {
  if (const auto* enumeration = dynamic_cast<const EnumerationIntf*>(&type)) {
    out << "enumeration " << type.getQualifiedName() << idText(&type, ids) << '\n';
    for (const EnumerationLiteralIntf* literal : enumeration->getLiterals())
      out << "  " << literal->getName() << " = " << literal->getValue() << '\n';
    return;
  }
  const auto* cls = dynamic_cast<const ClassIntf*>(&type);
  if (!cls) {
    out << (dynamic_cast<const PrimitiveTypeIntf*>(&type) ? "primitive " : "type ")
        << type.getQualifiedName() << idText(&type, ids) << '\n';
    return;
  }

  out << (cls->isAbstract() ? "abstract class " : "class ") << cls->getQualifiedName()
      << idText(cls, ids) << '\n';
  if (!cls->getSuperClasses().empty()) out << "bases: " << basesText(*cls) << '\n';
  if (!cls->getDocumentation().empty()) {
    out << '\n';
    for (const std::string& line : cls->getDocumentation()) out << line << '\n';
  }

  const std::vector<PropertyIntf*>& all = allProperties(*cls);
  std::vector<Row> rows;
  std::vector<std::vector<std::string>> docs;
  std::size_t inherited = 0;
  for (const PropertyIntf* p : all) {
    Row row = propertyRow(*p);
    if (p->getOwner() != cls) {
      ++inherited;
      appendPart(row.tail, "^ " + (p->getOwner() ? p->getOwner()->getName() : std::string("?")));
    }
    rows.push_back(std::move(row));
    docs.push_back(documentationLines(*p));
  }
  out << "\nproperties: " << all.size() - inherited << " own, " << inherited << " inherited\n";
  writeRows(out, rows, docs, "  ");
}

// ---------------------------------------------------------------- names

const TypeIntf* findType(const PackageIntf& package, std::string_view name) {
  return package.findType(name);
}

std::size_t editDistance(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
  std::vector<std::size_t> previous(b.size() + 1), current(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) previous[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    current[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t change = previous[j - 1] + (lower(a[i - 1]) == lower(b[j - 1]) ? 0 : 1);
      current[j] = std::min({previous[j] + 1, current[j - 1] + 1, change});
    }
    std::swap(previous, current);
  }
  return previous[b.size()];
}

std::vector<std::string> nearestNames(const PackageIntf& package, std::string_view name,
                                      std::size_t count) {
  const std::size_t dot = name.rfind('.');
  if (dot != std::string_view::npos) name = name.substr(dot + 1);
  const std::size_t limit = std::max<std::size_t>(2, name.size() / 3);
  std::vector<std::pair<std::size_t, std::string>> found;
  for (const TypeIntf* type : package.getOwnedTypes()) {
    const std::size_t distance = editDistance(name, type->getName());
    if (distance <= limit) found.emplace_back(distance, type->getName());
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  std::vector<std::string> names;
  for (auto& [distance, candidate] : found) {
    if (names.size() == count) break;
    names.push_back(std::move(candidate));
  }
  return names;
}

}  // namespace zorbel::meta
