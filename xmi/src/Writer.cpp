// Writing a model as XMI: each root element's containment tree, walked through the
// meta package, one XML element per model element.
#include <algorithm>
#include <fstream>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <pugixml.hpp>

#include <Kelpa/Meta.h>
#include <zorbel/zorbel.h>

#include "Kept.h"
#include "Text.h"
#include "WriterPlan.h"

namespace zorbel::xmi {
namespace {

using Kelpa::Deviant;
using Kelpa::NSInterface::ClassIntf;
using Kelpa::NSInterface::ClassObjectIntf;
using Kelpa::NSInterface::PropertyIntf;

const char* umlNamespace(Dialect dialect) {
  return dialect == Dialect::Eclipse ? "http://www.eclipse.org/uml2/5.0.0/UML"
                                     : "http://www.omg.org/spec/UML/20161101";
}
constexpr const char* kXmiNamespace = "http://www.omg.org/spec/XMI/20131001";

// Writes one document: ids first, over every tree, so that a reference may point
// forward; then the elements.
class DocumentWriter {
 public:
  DocumentWriter(Deviant d, const WriteOptions& options) : fDeviant(d), fOptions(options) {}

  std::string run(const std::vector<Kelpa::ClassObject>& roots) {
    // Kept ids first, so that a made one never takes the id an element already has.
    for (const auto& root : roots) reserveIds(root.get());
    for (const auto& root : roots) assignIds(root.get(), "");
    pugi::xml_document doc;
    auto decl = doc.append_child(pugi::node_declaration);
    decl.append_attribute("version") = "1.0";
    decl.append_attribute("encoding") = "UTF-8";
    // What the first root kept of the document around it: attributes of xmi:XMI and
    // its other children, such as stereotype applications.
    std::vector<KeptRecord> docAttributes, docChildren, outside;
    if (!roots.empty())
      for (KeptRecord& r : keptOf(roots.front().get(), fDeviant)) {
        if (r.kind == "docattr") docAttributes.push_back(std::move(r));
        else if (r.kind == "doc") docChildren.push_back(std::move(r));
        else if (r.kind == "outside") outside.push_back(std::move(r));
      }
    const bool bare = fOptions.dialect == Dialect::Eclipse && roots.size() == 1 &&
                      docAttributes.empty() && docChildren.empty();
    pugi::xml_node top;
    if (bare) {
      top = doc.append_child(("uml:" + metaclassName(roots.front().get())).c_str());
      declareNamespaces(top);
      writeBody(top, roots.front().get(), /*typeAttribute=*/false);
    } else {
      top = doc.append_child("xmi:XMI");
      declareNamespaces(top);
      for (const KeptRecord& r : docAttributes) restoreAttribute(top, r, fIds.at(roots.front().get()));
      for (const auto& root : roots) {
        auto node = top.append_child(("uml:" + metaclassName(root.get())).c_str());
        writeBody(node, root.get(), /*typeAttribute=*/false);  // the tag names the metaclass
      }
      for (const KeptRecord& r : docChildren) restoreChild(top, r, fIds.at(roots.front().get()));
    }
    // Comments, instructions and a document type around the document element.
    for (const KeptRecord& r : outside) restoreChild(doc, r, fIds.at(roots.front().get()));
    detail::StringWriter out;
    doc.save(out, "  ", pugi::format_indent | pugi::format_save_file_text, pugi::encoding_utf8);
    // A carriage return in a text would read back as a plain line break: it is written
    // as a character reference, as in attribute values.
    const std::string& text = out.text;
    std::size_t cr = text.find('\r');
    if (cr == std::string::npos) return std::move(out.text);
    std::string escaped;
    escaped.reserve(text.size() + 16);
    std::size_t from = 0;
    for (; cr != std::string::npos; from = cr + 1, cr = text.find('\r', from)) {
      escaped.append(text, from, cr - from);
      escaped += "&#13;";
    }
    escaped.append(text, from);
    return escaped;
  }

 private:
  void declareNamespaces(pugi::xml_node top) {
    if (top.attribute("xmi:version")) return;
    top.append_attribute("xmi:version") = "20131001";
    top.append_attribute("xmlns:xmi") = kXmiNamespace;
    top.append_attribute("xmlns:uml") = umlNamespace(fOptions.dialect);
  }

  static std::string metaclassName(const ClassObjectIntf* element) {
    return Kelpa::reflect::metaClassOf(element)->getName();
  }

  // The elements that one composite property of an element holds.
  struct Contained {
    const PlannedProperty* property;
    std::vector<Kelpa::Object> elements;
  };

  // The element's composite values, read once and kept for the ids and the writing.
  const std::vector<Contained>& containedIn(const ClassObjectIntf* element) {
    auto [it, added] = fContained.try_emplace(element);
    if (added)
      for (const PlannedProperty& p : planOf(Kelpa::reflect::metaClassOf(element)).properties) {
        if (p.kind != PropertyKind::Composite) continue;
        Stated stated = statedValues(element, fDeviant, p);
        if (!stated.values.empty()) it->second.push_back({&p, std::move(stated.values)});
      }
    return it->second;
  }

  template <class F>
  void forEachContained(const ClassObjectIntf* element, F&& f) {
    for (const Contained& c : containedIn(element)) {
      int i = 0;
      for (const Kelpa::Object& v : c.elements) f(asElement(v), c.property->name, i++);
    }
  }

  // The kept id, read through the text's kept narrow form.
  std::string externalIdOf(const ClassObjectIntf* element) const {
    return element->getExternalId(fDeviant).c_str();
  }

  void reserveIds(const ClassObjectIntf* element) {
    std::string id = externalIdOf(element);
    if (!id.empty() && fTaken.insert(id).second) fIds.emplace(element, std::move(id));
    forEachContained(element, [&](const ClassObjectIntf* child, const std::string&, int) {
      reserveIds(child);
    });
  }

  // The element's kept id, or one made from its place: the owner's id, the property
  // and the position, which gives the same id for the same model every time. Of two
  // elements with one kept id, the second gets a new one.
  void assignIds(const ClassObjectIntf* element, const std::string& place) {
    auto it = fIds.find(element);
    if (it == fIds.end()) {
      std::string id = externalIdOf(element);
      if (id.empty()) id = place.empty() ? "_root." + std::to_string(fRoots) : place;
      while (!fTaken.insert(id).second) id += "_";
      it = fIds.emplace(element, std::move(id)).first;
    }
    if (place.empty()) ++fRoots;
    const std::string id = it->second;
    forEachContained(element, [&](const ClassObjectIntf* child, const std::string& name, int i) {
      assignIds(child, id + "." + name + "." + std::to_string(i));
    });
  }

  static const ClassObjectIntf* asElement(const Kelpa::Object& v) {
    return Kelpa::ImmutableClassObject(v).get();
  }

  // A value as text; a string through its kept narrow form.
  std::string textOf(const Kelpa::Object& value, const PlannedProperty& p) const {
    if (p.isString) return zorbel::String(value).c_str();
    return value->toString(fDeviant).str();
  }

  void writeBody(pugi::xml_node node, const ClassObjectIntf* element, bool typeAttribute) {
    const ClassIntf* metaclass = Kelpa::reflect::metaClassOf(element);
    if (typeAttribute) node.append_attribute("xmi:type") = ("uml:" + metaclass->getName()).c_str();
    node.append_attribute("xmi:id") = fIds.at(element).c_str();
    const std::string uuid = toolInfo(element, fDeviant, kUuidTool);
    if (!uuid.empty()) node.append_attribute("xmi:uuid") = uuid.c_str();
    const WriterPlan& plan = planOf(metaclass);
    // Attributes and references in id form first, as XML attributes; then the values
    // that need elements of their own, in property order.
    // Values written as elements: those of composites are the kept lists, the others
    // are moved here.
    std::vector<std::vector<Kelpa::Object>> moved;
    moved.reserve(plan.properties.size());
    std::vector<std::pair<const PlannedProperty*, const std::vector<Kelpa::Object>*>> children;
    const std::vector<Contained>& contained = containedIn(element);
    auto nextContained = contained.begin();
    for (const PlannedProperty& p : plan.properties) {
      if (p.kind == PropertyKind::Composite) {
        if (nextContained != contained.end() && nextContained->property == &p)
          children.emplace_back(&p, &(nextContained++)->elements);
        continue;
      }
      Stated stated = statedValues(element, fDeviant, p);
      std::vector<Kelpa::Object>& values = stated.values;
      const PropertyIntf* property = stated.property;
      if (values.empty()) continue;
      switch (p.kind) {
        case PropertyKind::Attribute:
          if (!property->isMultiValued()) {
            std::string text = textOf(values.front(), p);
            // A value equal to the default goes without saying; so does the empty text
            // of a string that always has a value, which is what it reads as when
            // nothing was written. An optional one that was set to "" says so.
            if (isDefault(property, text) || (text.empty() && p.isString && property->getLower() > 0))
              continue;
            if (p.asElement) {
              children.emplace_back(&p, &moved.emplace_back(std::move(values)));
              continue;
            }
            node.append_attribute(p.name.c_str()) = text.c_str();
          } else {
            children.emplace_back(&p, &moved.emplace_back(std::move(values)));
          }
          break;
        case PropertyKind::Reference: {
          std::string ids;
          bool local = true;
          for (const auto& v : values) {
            auto it = fIds.find(asElement(v));
            if (it == fIds.end()) {
              local = false;
              break;
            }
            if (!ids.empty()) ids += ' ';
            ids += it->second;
          }
          if (local)
            node.append_attribute(p.name.c_str()) = ids.c_str();
          else
            children.emplace_back(&p, &moved.emplace_back(std::move(values)));
          break;
        }
        case PropertyKind::Composite:  // taken from the kept lists above
          break;
      }
    }
    for (auto& [p, values] : children) {
      for (const auto& v : *values) {
        auto child = node.append_child(p->name.c_str());
        if (p->kind == PropertyKind::Attribute) {
          child.text() = textOf(v, *p).c_str();
        } else if (p->kind == PropertyKind::Composite) {
          const ClassObjectIntf* contained = asElement(v);
          const bool needsType =
              fOptions.dialect == Dialect::Omg || Kelpa::reflect::metaClassOf(contained) != p->type;
          writeBody(child, contained, needsType);
        } else {
          writeReference(child, asElement(v));
        }
      }
    }
    // Content the model has no place for, back where it was read.
    std::vector<KeptRecord> kept = keptOf(element, fDeviant);
    std::stable_sort(kept.begin(), kept.end(),
                     [](const KeptRecord& a, const KeptRecord& b) { return a.position < b.position; });
    for (const KeptRecord& r : kept) {
      if (r.kind == "attr") restoreAttribute(node, r, fIds.at(element));
      else if (r.kind == "child") restoreChild(node, r, fIds.at(element));
    }
  }

  // A kept attribute, name="value" with the value escaped as XML. An attribute of the
  // XML Schema instance namespace (xsi:schemaLocation) brings its declaration.
  // Kept content that is no XML any more (edited by hand) is refused, not dropped.
  static void refuse(const KeptRecord& r, const std::string& id, const char* why) {
    throw Error("the kept XMI " + r.kind + " of element '" + id + "' is no XML: " + why);
  }

  static void restoreAttribute(pugi::xml_node node, const KeptRecord& r, const std::string& id) {
    if (r.payload.rfind("xsi:", 0) == 0 && !node.attribute("xmlns:xsi"))
      node.append_attribute("xmlns:xsi") = "http://www.w3.org/2001/XMLSchema-instance";
    pugi::xml_document scratch;
    const std::string probe = "<a xmlns:xsi='' " + r.payload + "/>";
    const pugi::xml_parse_result parsed =
        scratch.load_buffer(probe.data(), probe.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!parsed) refuse(r, id, parsed.description());
    for (pugi::xml_attribute a : scratch.first_child().attributes()) {
      if (node.attribute(a.name()) || std::string_view(a.name()) == "xmlns:xsi") continue;
      pugi::xml_attribute at = node.first_attribute();
      for (std::size_t i = 0; at && i < r.position; ++i) at = at.next_attribute();
      pugi::xml_attribute added =
          at ? node.insert_attribute_before(a.name(), at) : node.append_attribute(a.name());
      added.set_value(a.value());
    }
  }

  // A kept child node, put back at its index among the element's children.
  static void restoreChild(pugi::xml_node node, const KeptRecord& r, const std::string& id) {
    pugi::xml_document scratch;
    const pugi::xml_parse_result parsed = scratch.load_buffer(
        r.payload.data(), r.payload.size(),
        pugi::parse_default | pugi::parse_comments | pugi::parse_pi | pugi::parse_doctype |
            pugi::parse_fragment,
        pugi::encoding_utf8);
    if (!parsed) refuse(r, id, parsed.description());
    // Positions count the nodes after the XML declaration.
    pugi::xml_node before = node.first_child();
    if (before.type() == pugi::node_declaration) before = before.next_sibling();
    for (std::size_t i = 0; before && i < r.position; ++i) before = before.next_sibling();
    for (pugi::xml_node part : scratch.children()) {
      pugi::xml_node copy = before ? node.insert_copy_before(part, before) : node.append_copy(part);
      dropInheritedDeclarations(copy);
    }
  }

  // A kept fragment declares the prefixes it uses. Those that the document declares
  // already, and those of XMI and UML, which this document declares in their newest
  // version, are dropped.
  static void dropInheritedDeclarations(pugi::xml_node fragment) {
    pugi::xml_node top = fragment.root().first_child();
    while (top.type() != pugi::node_element) top = top.next_sibling();
    for (pugi::xml_attribute a = fragment.first_attribute(); a;) {
      pugi::xml_attribute next = a.next_attribute();
      const std::string_view name = a.name();
      if (name.substr(0, 6) == "xmlns:") {
        pugi::xml_attribute declared = top.attribute(a.name());
        if (declared && (std::string_view(declared.value()) == a.value() ||
                         (isUmlOrXmiNamespace(a.value()) && isUmlOrXmiNamespace(declared.value()))))
          fragment.remove_attribute(a);
      }
      a = next;
    }
  }

  void writeReference(pugi::xml_node child, const ClassObjectIntf* target) {
    auto it = fIds.find(target);
    if (it != fIds.end()) {
      child.append_attribute("xmi:idref") = it->second.c_str();
      return;
    }
    child.append_attribute("xmi:type") =
        ("uml:" + Kelpa::reflect::metaClassOf(target)->getName()).c_str();
    child.append_attribute("href") = hrefOf(target).c_str();
  }

  // An element outside the written trees: by its library's address, else by its id
  // alone in this document.
  std::string hrefOf(const ClassObjectIntf* target) {
    const std::string id = externalIdOf(target);
    std::string document = libraryUriOf(target, fDeviant, fOptions.dialect);
    if (document.empty())
      for (const Document* other : fOptions.documents) {
        const Kelpa::ClassObject found = other->find(id);
        if (found.get() == target) {
          document = other->uri;
          break;
        }
      }
    return document + "#" + id;
  }

  Deviant fDeviant;
  const WriteOptions& fOptions;
  std::unordered_map<const ClassObjectIntf*, std::string> fIds;
  std::unordered_set<std::string> fTaken;
  std::unordered_map<const ClassObjectIntf*, std::vector<Contained>> fContained;
  std::size_t fRoots = 0;
};

}  // namespace

std::string writeString(const Kelpa::Model& model, const WriteOptions& options) {
  const Deviant d = model.getDeviant();
  std::vector<Kelpa::ClassObject> roots = options.roots;
  if (roots.empty()) {
    Kelpa::Sequence<Kelpa::ClassObject> all = model->getRootObjects(d);
    for (int i = 0; i < all.size(); ++i)
      if (libraryUriOf(all.at(i).get(), d, options.dialect).empty()) roots.push_back(all.at(i));
  }
  return DocumentWriter(d, options).run(roots);
}

void write(const Kelpa::Model& model, const std::filesystem::path& file,
           const WriteOptions& options) {
  const std::string text = writeString(model, options);
  std::ofstream out(file, std::ios::binary);
  out << text;
  if (!out.flush()) throw std::runtime_error("cannot write " + file.string());
}

}  // namespace zorbel::xmi
