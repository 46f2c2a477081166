// Writing: every shared model file and random models survive write and read in both
// dialects; the written text is stable and says what each dialect says.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <pugixml.hpp>

#include <zorbel/xmi/Xmi.h>

namespace {

namespace fs = std::filesystem;
using zorbel::xmi::Dialect;

struct Fresh {
  Kelpa::Model model = zorbel::NSInterface::FactoryIntf::createNewModel();
  Kelpa::Deviant root = model.getDeviant();
  ~Fresh() { model->destroyModel(); }
};

zorbel::xmi::WriteOptions in(Dialect dialect, const std::vector<Kelpa::ClassObject>& roots = {}) {
  zorbel::xmi::WriteOptions options;
  options.dialect = dialect;
  options.roots = roots;
  return options;
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

// ------------------------------------------------------------------ the shared files

struct FileCase {
  std::string file;
  Dialect dialect;
};

void PrintTo(const FileCase& c, std::ostream* out) {
  *out << c.file << (c.dialect == Dialect::Omg ? " in the OMG dialect" : " in the Eclipse dialect");
}

std::vector<FileCase> fileCases() {
  std::vector<std::string> files;
  if (!fs::is_directory(ZORBEL_XMI_FILES)) return {};  // the tests say so below
  for (const auto& entry : fs::directory_iterator(ZORBEL_XMI_FILES)) {
    const std::string ext = entry.path().extension().string();
    if (ext == ".uml" || ext == ".xmi") files.push_back(entry.path().filename().string());
  }
  std::sort(files.begin(), files.end());
  std::vector<FileCase> cases;
  for (const auto& f : files)
    for (Dialect d : {Dialect::Eclipse, Dialect::Omg}) cases.push_back({f, d});
  return cases;
}

class FileRoundTrip : public testing::TestWithParam<FileCase> {};

// Read, write, read again: the two models agree element by element, and writing the
// second gives the very bytes of the first write.
TEST_P(FileRoundTrip, ReadsBackAsTheSameModel) {
  const FileCase& c = GetParam();
  Fresh first;
  const auto original = zorbel::xmi::read(first.model, fs::path(ZORBEL_XMI_FILES) / c.file);
  const std::string text = zorbel::xmi::writeString(first.model, in(c.dialect, original.roots));

  Fresh second;
  const auto back = zorbel::xmi::readString(second.model, text);
  EXPECT_EQ(back.dialect, c.dialect);
  EXPECT_EQ(back.report.createdCount(), original.report.createdCount());
  EXPECT_TRUE(back.report.unresolved.size() == original.report.unresolved.size());

  // A file may give two elements one id (UML.xmi does); the reader warned of each, and
  // the writer gave the second a new one. Nothing else may differ.
  for (const std::string& line : zorbel::xmi::compare(original.roots, back.roots)) {
    const std::size_t at = line.find(": id ");
    const std::string id = at == std::string::npos ? "" : line.substr(at + 5, line.find(" / ", at) - at - 5);
    const bool warned = !id.empty() && std::any_of(original.report.warnings.begin(),
                                                   original.report.warnings.end(), [&](const auto& w) {
                                                     return w.text.find("'" + id + "'") != std::string::npos;
                                                   });
    EXPECT_TRUE(warned) << line;
  }
  EXPECT_EQ(zorbel::xmi::writeString(second.model, in(c.dialect, back.roots)), text);
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(FileRoundTrip);
INSTANTIATE_TEST_SUITE_P(SharedFiles, FileRoundTrip, testing::ValuesIn(fileCases()),
                         [](const testing::TestParamInfo<FileCase>& info) {
                           std::string name = info.param.file;
                           std::replace_if(name.begin(), name.end(), [](char ch) { return !isalnum(ch); }, '_');
                           return name + (info.param.dialect == Dialect::Omg ? "_Omg" : "_Eclipse");
                         });

// The XML of a document with what does not matter taken out: namespace declarations
// and prefixes (a prefix of XMI or of any version of UML counts as the one or the
// other), the XMI version, attribute order and whitespace; children sorted by name,
// which keeps the order within each property. One line per element.
class Canonical {
 public:
  explicit Canonical(const std::string& text) {
    pugi::xml_document doc;
    EXPECT_TRUE(doc.load_buffer(text.data(), text.size()));
    walk(doc.document_element(), 0, {});
  }
  std::vector<std::string> lines;

 private:
  using Scope = std::map<std::string, std::string>;  // prefix -> family

  static std::string family(const std::string& uri) {
    if (uri.find("/XMI/") != std::string::npos) return "xmi";
    if (uri.find("omg.org/spec/UML/") != std::string::npos ||
        (uri.rfind("http://www.eclipse.org/uml2/", 0) == 0 && uri.size() > 4 &&
         uri.compare(uri.size() - 4, 4, "/UML") == 0))
      return "uml";
    return uri;
  }
  static std::string qualified(const std::string& name, const Scope& scope) {
    const std::size_t colon = name.find(':');
    if (colon == std::string::npos) return name;
    auto it = scope.find(name.substr(0, colon));
    return (it == scope.end() ? name.substr(0, colon) : it->second) + ":" + name.substr(colon + 1);
  }

  static Scope within(const pugi::xml_node& e, Scope scope) {
    for (const pugi::xml_attribute& a : e.attributes()) {
      const std::string name = a.name();
      if (name.rfind("xmlns:", 0) == 0) scope[name.substr(6)] = family(a.value());
    }
    return scope;
  }

  void walk(const pugi::xml_node& e, int depth, const Scope& outer) {
    const Scope scope = within(e, outer);
    std::vector<std::string> attributes;
    for (const pugi::xml_attribute& a : e.attributes()) {
      const std::string name = qualified(a.name(), scope);
      if (name.rfind("xmlns", 0) == 0 || name == "xmi:version") continue;
      std::string value = a.value();
      if (name == "xmi:type") value = qualified(value, scope);
      attributes.push_back(name + "='" + value + "'");
    }
    std::sort(attributes.begin(), attributes.end());
    std::string line(2 * depth, ' ');
    line += qualified(e.name(), scope);
    for (const auto& a : attributes) line += " " + a;
    if (const std::string text = e.text().get(); !text.empty()) line += " text='" + text + "'";
    lines.push_back(line);
    std::vector<pugi::xml_node> children;
    for (const pugi::xml_node& c : e.children())
      if (c.type() == pugi::node_element) children.push_back(c);
    std::stable_sort(children.begin(), children.end(), [&](const auto& a, const auto& b) {
      return qualified(a.name(), within(a, scope)) < qualified(b.name(), within(b, scope));
    });
    for (const auto& c : children) walk(c, depth + 1, scope);
  }
};

std::string fileText(const std::string& name) {
  std::ifstream in(fs::path(ZORBEL_XMI_FILES) / name, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

// Written in its own dialect, a file says what it said: the same elements, attributes
// and children, up to what canonical XML leaves open.
TEST(XmiWriter, AFileWrittenInItsDialectIsCanonicallyTheSame) {
  if (!fs::is_directory(ZORBEL_XMI_FILES)) GTEST_SKIP() << "no model files at " << ZORBEL_XMI_FILES;
  for (const char* name : {"library.uml", "ExtendedPO2.uml", "UMLPrimitiveTypes.library.uml",
                           "Standard.profile.uml", "Ecore.profile.uml"}) {
    Fresh f;
    const auto doc = zorbel::xmi::readString(f.model, fileText(name));
    const std::string written = zorbel::xmi::writeString(f.model, in(doc.dialect, doc.roots));
    EXPECT_EQ(Canonical(written).lines, Canonical(fileText(name)).lines) << name;
  }
  // The OMG files state an element's owner as well, which the nesting says; and an
  // element without an id gets one made from its place. Those are the differences, and
  // the read reports both.
  Fresh f;
  const std::string original = fileText("PrimitiveTypes.xmi");
  const auto doc = zorbel::xmi::readString(f.model, original);
  EXPECT_EQ(doc.report.impliedByNesting,
            (std::map<std::string, std::size_t>{{"ProfileApplication.applyingPackage", 1}}));
  EXPECT_EQ(doc.report.withoutId, 1u);
  auto without = [](std::vector<std::string> lines, const std::string& part) {
    for (std::string& line : lines)
      if (const std::size_t at = line.find(part); at != std::string::npos) line.erase(at, part.size());
    return lines;
  };
  EXPECT_EQ(without(Canonical(zorbel::xmi::writeString(f.model, in(Dialect::Omg, doc.roots))).lines,
                    " xmi:id='_0.profileApplication.0'"),
            without(Canonical(original).lines, " applyingPackage='_0'"));
}

// ------------------------------------------------------------------ what is written

// A small model made through the typed interface.
struct Shop : Fresh {
  zorbel::Model shop = zorbel::Model::create(model);
  zorbel::Class order = zorbel::Class::create(model);
  zorbel::Class item = zorbel::Class::create(model);
  zorbel::Property items = zorbel::Property::create(model);
  zorbel::Comment note = zorbel::Comment::create(model);

  Shop() {
    shop->setName(root, zorbel::String("shop"));
    order->setName(root, zorbel::String("Order"));
    item->setName(root, zorbel::String("Item"));
    item->setIsAbstract(root, zorbel::Boolean(true));
    shop->getPackagedElements(root).push_back(order);
    shop->getPackagedElements(root).push_back(item);
    items->setName(root, zorbel::String("items"));
    items->setType(root, item);
    order->getOwnedAttributes(root).push_back(items);
    zorbel::LiteralUnlimitedNatural upper = zorbel::LiteralUnlimitedNatural::create(model);
    upper->setValue(root, zorbel::UnlimitedNatural::unlimited());
    items->setUpperValue(root, upper);
    note->setBody(root, zorbel::String("\rOrders & <items>\r\nsecond line\r\r"));
    note->getAnnotatedElements(root).push_back(order);
    shop->getOwnedComments(root).push_back(note);
  }
};

TEST(XmiWriter, EachDialectSaysWhatItsToolsSay) {
  Shop s;
  const std::string eclipse = zorbel::xmi::writeString(s.model, in(Dialect::Eclipse));
  const std::string omg = zorbel::xmi::writeString(s.model, in(Dialect::Omg));

  // One root and nothing around it: a bare root element in the Eclipse dialect.
  EXPECT_EQ(eclipse.find("<uml:Model xmi:version=\"20131001\""), eclipse.find('\n') + 1) << eclipse;
  EXPECT_NE(eclipse.find("xmlns:uml=\"http://www.eclipse.org/uml2/5.0.0/UML\""), std::string::npos);
  EXPECT_NE(omg.find("<xmi:XMI xmi:version=\"20131001\" xmlns:xmi=\"http://www.omg.org/spec/XMI/20131001\" "
                     "xmlns:uml=\"http://www.omg.org/spec/UML/20161101\">"),
            std::string::npos)
      << omg;
  // xmi:type only where the property's type does not say it; always in the OMG dialect.
  EXPECT_EQ(count(eclipse, "xmi:type="), 3u) << eclipse;  // two classes, one literal
  EXPECT_EQ(count(omg, "xmi:type="), 5u) << omg;  // not on the root, whose tag says it
  // Defaults go without saying: the visibility nobody set, isAbstract of Order.
  EXPECT_EQ(count(eclipse, "visibility="), 0u);
  EXPECT_EQ(count(eclipse, "isAbstract=\"true\""), 1u);
  EXPECT_EQ(count(eclipse, "isAbstract="), 1u);
  EXPECT_NE(eclipse.find("value=\"*\""), std::string::npos);
  // A body is an element; a carriage return survives as a reference, wherever it is.
  EXPECT_NE(eclipse.find("<body>&#13;Orders &amp; &lt;items&gt;&#13;\nsecond line&#13;&#13;</body>"),
            std::string::npos)
      << eclipse;

  // The same model writes the same bytes, and reads back as itself.
  EXPECT_EQ(zorbel::xmi::writeString(s.model, in(Dialect::Eclipse)), eclipse);
  for (const std::string* text : {&eclipse, &omg}) {
    Fresh back;
    const auto doc = zorbel::xmi::readString(back.model, *text);
    EXPECT_EQ(zorbel::xmi::compare({Kelpa::ClassObject(Kelpa::Object(s.shop))}, doc.roots),
              std::vector<std::string>{});
  }
}

TEST(XmiWriter, IdsAreKeptOrMadeFromTheirPlace) {
  Shop s;
  s.order->setExternalId(s.root, Kelpa::String("order-1"));
  s.item->setExternalId(s.root, Kelpa::String("order-1.ownedAttribute.0"));  // taken on purpose
  const std::string text = zorbel::xmi::writeString(s.model, in(Dialect::Eclipse));
  EXPECT_NE(text.find("xmi:id=\"order-1\""), std::string::npos);
  // The id the attribute's place would give is taken: it gets another, and the
  // reference to Item still names Item.
  EXPECT_NE(text.find("xmi:id=\"order-1.ownedAttribute.0_\""), std::string::npos) << text;
  EXPECT_NE(text.find("type=\"order-1.ownedAttribute.0\""), std::string::npos) << text;
  EXPECT_NE(text.find("annotatedElement=\"order-1\""), std::string::npos);
  // The writer changes nothing in the model.
  EXPECT_FALSE(s.items->hasExternalId(s.root));
}

TEST(XmiWriter, ChosenRootsAndElementsOutsideThem) {
  Shop s;
  zorbel::Class outside = zorbel::Class::create(s.model);
  outside->setExternalId(s.root, Kelpa::String("elsewhere"));
  zorbel::Generalization g = zorbel::Generalization::create(s.model);
  g->setGeneral(s.root, outside);
  s.order->getGeneralizations(s.root).push_back(g);

  // Written on its own, the model refers to the class beside it by id.
  const std::string text = zorbel::xmi::writeString(s.model, in(Dialect::Eclipse, {Kelpa::ClassObject(Kelpa::Object(s.shop))}));
  EXPECT_NE(text.find("<general xmi:type=\"uml:Class\" href=\"#elsewhere\""), std::string::npos) << text;
  // All root objects: two roots, so an xmi:XMI around them, and a plain reference.
  const std::string all = zorbel::xmi::writeString(s.model, in(Dialect::Eclipse));
  EXPECT_NE(all.find("<xmi:XMI"), std::string::npos);
  EXPECT_NE(all.find("general=\"elsewhere\""), std::string::npos) << all;
}

// What a read kept goes back where it was, and the hrefs to the primitive types are
// written for the dialect.
TEST(XmiWriter, KeptContentAndLibrariesGoBackInPlace) {
  const std::string original = R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- made by hand -->
<xmi:XMI xmi:version="2.1" xmlns:xmi="http://schema.omg.org/spec/XMI/2.1"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
    xmlns:uml="http://www.eclipse.org/uml2/2.1.0/UML" xmlns:Mine="http://example.org/mine"
    xsi:schemaLocation="http://example.org/mine mine.profile.uml#_p">
  <uml:Model xmi:id="m" name="m" tool:hint="x" xmlns:tool="http://example.org/tool">
    <eAnnotations xmi:id="a" source="keep">
      <details key="k" value="v"/>
    </eAnnotations>
    <packagedElement xmi:type="uml:Class" xmi:id="c" name="C">
      <ownedAttribute xmi:id="p" name="flag">
        <type xmi:type="uml:PrimitiveType" href="pathmap://UML_LIBRARIES/UMLPrimitiveTypes.library.uml#Boolean"/>
      </ownedAttribute>
      <ownedAttribute xmi:id="q" name="other">
        <type xmi:type="uml:PrimitiveType" href="other.uml#nowhere"/>
      </ownedAttribute>
    </packagedElement>
  </uml:Model>
  <Mine:Tagged xmi:id="t" base_Class="c" note="kept"/>
</xmi:XMI>
<?tool done?>
)";
  Fresh a;
  const auto doc = zorbel::xmi::readString(a.model, original);
  ASSERT_GE(doc.report.unknownCount(), 4u);
  for (Dialect dialect : {Dialect::Eclipse, Dialect::Omg}) {
    const std::string text = zorbel::xmi::writeString(a.model, in(dialect, doc.roots));
    EXPECT_NE(text.find("<eAnnotations xmi:id=\"a\" source=\"keep\">"), std::string::npos) << text;
    EXPECT_NE(text.find("<details key=\"k\" value=\"v\" />"), std::string::npos) << text;
    EXPECT_NE(text.find("<Mine:Tagged xmi:id=\"t\" base_Class=\"c\" note=\"kept\" xmlns:Mine=\"http://example.org/mine\""),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("xsi:schemaLocation=\"http://example.org/mine mine.profile.uml#_p\""), std::string::npos);
    EXPECT_NE(text.find("xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""), std::string::npos);
    EXPECT_NE(text.find("href=\"other.uml#nowhere\""), std::string::npos);
    EXPECT_NE(text.find(dialect == Dialect::Eclipse
                            ? "href=\"pathmap://UML_LIBRARIES/UMLPrimitiveTypes.library.uml#Boolean\""
                            : "href=\"http://www.omg.org/spec/UML/20161101/PrimitiveTypes.xmi#Boolean\""),
              std::string::npos)
        << text;
    // Around the document element, in their places.
    EXPECT_LT(text.find("<!-- made by hand -->"), text.find("<xmi:XMI")) << text;
    EXPECT_GT(text.find("<?tool done?>"), text.find("</xmi:XMI>")) << text;
    EXPECT_NE(text.find("<?tool done?>"), std::string::npos);
    // Old versions of XMI and UML are not declared again inside the kept parts.
    EXPECT_EQ(text.find("2.1.0/UML"), std::string::npos) << text;
    EXPECT_EQ(text.find("spec/XMI/2.1"), std::string::npos) << text;
    // The library itself is not written.
    EXPECT_EQ(text.find("name=\"PrimitiveTypes\""), std::string::npos);

    Fresh b;
    const auto back = zorbel::xmi::readString(b.model, text);
    EXPECT_EQ(zorbel::xmi::compare(doc.roots, back.roots), std::vector<std::string>{});
    EXPECT_EQ(back.report.unknown, doc.report.unknown);
  }
}

// Kept content edited by hand into something else is refused with the element's id,
// not left out of the document.
TEST(XmiWriter, KeptContentThatIsNoLongerXmlIsRefused) {
  const auto refusal = [](const std::string& kept) {
    Shop s;
    s.order->setExternalId(s.root, Kelpa::String("order"));
    s.order->setExternalToolInfo(s.root, Kelpa::ExternalToolInfo(Kelpa::String("xmi"), Kelpa::String(kept)));
    try {
      zorbel::xmi::writeString(s.model, in(Dialect::Eclipse));
    } catch (const zorbel::xmi::Error& e) {
      return std::string(e.what());
    }
    return std::string("written");
  };
  EXPECT_EQ(refusal("@child 0 8\n<a b='1'\n"),
            "the kept XMI child of element 'order' is no XML: Error parsing start element tag");
  EXPECT_EQ(refusal("@attr 0 4\nx=\"1\n"),
            "the kept XMI attr of element 'order' is no XML: Error parsing element attribute");
  EXPECT_EQ(refusal("@child 0 4\n<a/>\n@child x 1\n"),
            "the kept XMI content is malformed at byte 16 (element 'order')");
  EXPECT_EQ(refusal("@child 0 99\n<a/>\n"), "the kept XMI content is malformed at byte 0 (element 'order')");
  EXPECT_EQ(refusal("@child 0 4\n<a/>\n"), "written");
}

// compare() is what the round trips rely on: it must see each kind of difference.
TEST(XmiCompare, SeesEachKindOfDifference) {
  Shop a;
  Fresh b;
  const auto doc = zorbel::xmi::readString(b.model, zorbel::xmi::writeString(a.model, in(Dialect::Omg)));
  const Kelpa::Deviant d = b.root;
  const std::vector<Kelpa::ClassObject> left{Kelpa::ClassObject(Kelpa::Object(a.shop))};
  ASSERT_TRUE(zorbel::xmi::compare(left, doc.roots).empty());

  zorbel::Model shop(doc.roots.front());
  zorbel::Class order(shop->getPackagedElements(d).at(0));
  zorbel::Class item(shop->getPackagedElements(d).at(1));
  order->setName(d, zorbel::String("Orders"));
  // A redefined attribute has two values: the typed accessor and reflection by name
  // each set one.
  item->setIsAbstract(d, zorbel::Boolean(false));
  Kelpa::setOrAdd(item, "isAbstract", zorbel::Boolean(false));
  zorbel::Comment note(shop->getOwnedComments(d).at(0));
  note->getAnnotatedElements(d).clear();
  note->getAnnotatedElements(d).push_back(item);
  order->getOwnedAttributes(d).push_back(zorbel::Property::create(b.model));
  const std::vector<std::string> lines = zorbel::xmi::compare(left, doc.roots);
  ASSERT_EQ(lines.size(), 4u) << testing::PrintToString(lines);
  EXPECT_EQ(lines[0], "/0/ownedComment.0 annotatedElement: '/0/packagedElement.0' / '/0/packagedElement.1'");
  EXPECT_EQ(lines[1], "/0/packagedElement.0 name: 'Order' / 'Orders'");
  EXPECT_EQ(lines[2], "/0/packagedElement.0 ownedAttribute: 1 / 2 elements");
  EXPECT_EQ(lines[3], "/0/packagedElement.1 isAbstract: 'true' / 'false'");
}

// ------------------------------------------------------------------ random models

// Models of mixed metaclasses built through the typed interface, from a seed: packages,
// classes with attributes and operations, enumerations, associations, generalizations,
// dependencies and comments, with names that need escaping.
class RandomModel {
 public:
  RandomModel(Fresh& f, unsigned seed) : fF(f), fRandom(seed) {}

  zorbel::Package build() {
    zorbel::Package top = zorbel::Package::create(fF.model);
    top->setName(fF.root, name());
    fPackages.push_back(top);
    for (int i = 0; i < 60; ++i) step();
    return top;
  }

 private:
  zorbel::String name() {
    static const char* parts[] = {"a", "Order", " ", "&", "<", ">", "\"", "'", "\xc3\xa9", "\xe2\x82\xac", "\n", "\r", "\t", "x1"};
    std::string s;
    const int n = pick(5);
    for (int i = 0; i <= n; ++i) s += parts[pick(std::size(parts))];
    return zorbel::String(s);
  }
  int pick(std::size_t n) { return static_cast<int>(fRandom() % n); }
  template <class T>
  T any(const std::vector<T>& v) {
    return v[pick(v.size())];
  }
  zorbel::Boolean coin() { return zorbel::Boolean(fRandom() % 2 == 0); }

  void step() {
    const Kelpa::Deviant d = fF.root;
    zorbel::Package owner = any(fPackages);
    switch (pick(9)) {
      case 0: {
        zorbel::Package p = zorbel::Package::create(fF.model);
        p->setName(d, name());
        owner->getPackagedElements(d).push_back(p);
        fPackages.push_back(p);
        break;
      }
      case 1:
      case 2: {
        zorbel::Class c = zorbel::Class::create(fF.model);
        c->setName(d, name());
        c->setIsAbstract(d, coin());
        c->setIsLeaf(d, coin());
        owner->getPackagedElements(d).push_back(c);
        fClasses.push_back(c);
        fTypes.push_back(zorbel::Type(Kelpa::Object(c)));
        break;
      }
      case 3: {
        if (fClasses.empty()) break;
        zorbel::Property p = zorbel::Property::create(fF.model);
        p->setName(d, name());
        p->setIsOrdered(d, coin());
        if (!fTypes.empty()) p->setType(d, any(fTypes));
        if (pick(2)) {
          zorbel::LiteralInteger lower = zorbel::LiteralInteger::create(fF.model);
          lower->setValue(d, zorbel::Integer(pick(3)));
          p->setLowerValue(d, lower);
          zorbel::LiteralUnlimitedNatural upper = zorbel::LiteralUnlimitedNatural::create(fF.model);
          upper->setValue(d, pick(2) ? zorbel::UnlimitedNatural::unlimited() : zorbel::UnlimitedNatural(3));
          p->setUpperValue(d, upper);
        }
        any(fClasses)->getOwnedAttributes(d).push_back(p);
        break;
      }
      case 4: {
        if (fClasses.empty()) break;
        zorbel::Operation o = zorbel::Operation::create(fF.model);
        o->setName(d, name());
        o->setIsQuery(d, coin());
        for (int i = pick(3); i > 0; --i) {
          zorbel::Parameter p = zorbel::Parameter::create(fF.model);
          p->setName(d, name());
          p->setDirection(d, pick(2) ? zorbel::ParameterDirectionKind(zorbel::ParameterDirectionKind::kOut) : zorbel::ParameterDirectionKind(zorbel::ParameterDirectionKind::kInout));
          if (!fTypes.empty()) p->setType(d, any(fTypes));
          o->getOwnedParameters(d).push_back(p);
        }
        any(fClasses)->getOwnedOperations(d).push_back(o);
        break;
      }
      case 5: {
        zorbel::Enumeration e = zorbel::Enumeration::create(fF.model);
        e->setName(d, name());
        for (int i = pick(4); i > 0; --i) {
          zorbel::EnumerationLiteral l = zorbel::EnumerationLiteral::create(fF.model);
          l->setName(d, name());
          e->getOwnedLiterals(d).push_back(l);
        }
        owner->getPackagedElements(d).push_back(e);
        fTypes.push_back(zorbel::Type(Kelpa::Object(e)));
        break;
      }
      case 6: {
        if (fClasses.size() < 2) break;
        zorbel::Association a = zorbel::Association::create(fF.model);
        a->setName(d, name());
        for (int i = 0; i < 2; ++i) {
          zorbel::Property end = zorbel::Property::create(fF.model);
          end->setName(d, name());
          end->setType(d, any(fClasses));
          a->getOwnedEnds(d).push_back(end);
        }
        owner->getPackagedElements(d).push_back(a);
        break;
      }
      case 7: {
        if (fClasses.size() < 2) break;
        zorbel::Generalization g = zorbel::Generalization::create(fF.model);
        g->setGeneral(d, any(fClasses));
        any(fClasses)->getGeneralizations(d).push_back(g);
        zorbel::Dependency dep = zorbel::Dependency::create(fF.model);
        dep->getClients(d).push_back(any(fClasses));
        dep->getSuppliers(d).push_back(any(fClasses));
        owner->getPackagedElements(d).push_back(dep);
        break;
      }
      case 8: {
        zorbel::Comment c = zorbel::Comment::create(fF.model);
        c->setBody(d, name());
        if (!fClasses.empty()) c->getAnnotatedElements(d).push_back(any(fClasses));
        owner->getOwnedComments(d).push_back(c);
        break;
      }
    }
  }

  Fresh& fF;
  std::mt19937 fRandom;
  std::vector<zorbel::Package> fPackages;
  std::vector<zorbel::Class> fClasses;
  std::vector<zorbel::Type> fTypes;
};

TEST(XmiRandom, ModelsOfMixedMetaclassesReadBackAsThemselves) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    Fresh f;
    const zorbel::Package top = RandomModel(f, seed).build();
    const std::vector<Kelpa::ClassObject> roots{Kelpa::ClassObject(Kelpa::Object(top))};
    for (Dialect dialect : {Dialect::Eclipse, Dialect::Omg}) {
      const std::string text = zorbel::xmi::writeString(f.model, in(dialect, roots));
      Fresh back;
      const auto doc = zorbel::xmi::readString(back.model, text);
      EXPECT_EQ(zorbel::xmi::compare(roots, doc.roots), std::vector<std::string>{})
          << "seed " << seed << "\n" << text;
      EXPECT_EQ(doc.report.unknown, (std::map<std::string, std::size_t>{})) << "seed " << seed;
    }
  }
}

}  // namespace
