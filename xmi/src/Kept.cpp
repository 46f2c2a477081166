#include "Kept.h"

#include <charconv>

namespace zorbel::xmi {

std::string formatKept(const std::vector<KeptRecord>& records) {
  std::string text;
  for (const KeptRecord& r : records)
    text.append("@").append(r.kind).append(" ").append(std::to_string(r.position)).append(" ")
        .append(std::to_string(r.payload.size())).append("\n").append(r.payload).append("\n");
  return text;
}

std::vector<KeptRecord> parseKept(std::string_view text) {
  std::vector<KeptRecord> records;
  std::size_t at = 0;
  const auto malformed = [&] {
    return Error("the kept XMI content is malformed at byte " + std::to_string(at));
  };
  while (at < text.size()) {
    // "@<kind> <position> <length>\n<payload>\n"
    if (text[at] != '@') throw malformed();
    const std::size_t eol = text.find('\n', at);
    if (eol == std::string_view::npos) throw malformed();
    const std::string_view head = text.substr(at + 1, eol - at - 1);
    const std::size_t s1 = head.find(' ');
    const std::size_t s2 = s1 == std::string_view::npos ? s1 : head.find(' ', s1 + 1);
    if (s2 == std::string_view::npos) throw malformed();
    KeptRecord r;
    r.kind = std::string(head.substr(0, s1));
    std::size_t length = 0;
    const auto p1 = head.substr(s1 + 1, s2 - s1 - 1);
    const auto p2 = head.substr(s2 + 1);
    if (std::from_chars(p1.data(), p1.data() + p1.size(), r.position).ec != std::errc() ||
        std::from_chars(p2.data(), p2.data() + p2.size(), length).ec != std::errc() ||
        eol + 1 + length >= text.size() || text[eol + 1 + length] != '\n')
      throw malformed();
    r.payload = std::string(text.substr(eol + 1, length));
    records.push_back(std::move(r));
    at = eol + 1 + length + 1;
  }
  return records;
}

std::vector<KeptRecord> keptOf(const Kelpa::NSInterface::ClassObjectIntf* element,
                               Kelpa::Deviant d) {
  const std::string text = toolInfo(element, d, kKeptTool);
  if (text.empty()) return {};
  try {
    return parseKept(text);
  } catch (const Error& e) {
    throw Error(std::string(e.what()) + " (element '" + element->getExternalId(d).str() + "')");
  }
}

// An element has at most one info per tool: the kernel keeps the last one set.
std::string toolInfo(const Kelpa::NSInterface::ClassObjectIntf* element, Kelpa::Deviant d,
                     std::string_view tool) {
  if (!element->hasExternalToolInfos(d)) return {};  // most elements: no text to make
  return element->getExternalToolInfo(d, Kelpa::String(std::string(tool))).getInfo().str();
}

bool isUmlOrXmiNamespace(std::string_view uri) {
  for (std::string_view stem : {"http://www.omg.org/spec/XMI/", "http://schema.omg.org/spec/XMI/",
                                "http://www.omg.org/spec/UML/", "http://schema.omg.org/spec/UML/"})
    if (uri.substr(0, stem.size()) == stem) return uri.find('/', stem.size()) == std::string_view::npos;
  constexpr std::string_view eclipse = "http://www.eclipse.org/uml2/";
  if (uri.substr(0, eclipse.size()) != eclipse) return false;
  const std::string_view rest = uri.substr(eclipse.size());  // "5.0.0/UML"
  const std::size_t slash = rest.find('/');
  return slash != std::string_view::npos && rest.substr(slash) == "/UML";
}

std::string libraryUriOf(const Kelpa::NSInterface::ClassObjectIntf* element, Kelpa::Deviant d,
                         Dialect dialect) {
  if (toolInfo(element, d, kLibraryTool) != kPrimitiveLibrary) return {};
  return dialect == Dialect::Eclipse ? "pathmap://UML_LIBRARIES/UMLPrimitiveTypes.library.uml"
                                     : "http://www.omg.org/spec/UML/20161101/PrimitiveTypes.xmi";
}

}  // namespace zorbel::xmi
