// What zorbel-meta prints, on a small package built here and on the kernel's own.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include <Kelpa/Meta.h>

#include "MetaReport.h"

namespace meta = zorbel::meta;
using Kelpa::MetaPropertyDescription;
using Kelpa::NSInterface::ClassIntf;
using Kelpa::NSInterface::PackageIntf;

namespace {

// ---------------------------------------------------------------- the package "metatest"
//
// Ids: 1 Text, 2 Count (primitives), 3 Tone (enumeration), 4 Node (abstract, on the
// kernel's ClassObject), 5 empty, 6 Leaf (on Node). Orphan has no record in the table
// and its one property an unresolved type. Leaf is built before Node, so creation
// order and id order differ.

enum : std::uint32_t { kText = 1, kCount = 2, kTone = 3, kNode = 4, kLeaf = 6, kTableSize = 7 };
constexpr std::uint32_t kClassObject = 13;

const Kelpa::PackageIntrospectiveMethods* table();

MetaPropertyDescription describe(const char* name, std::uint32_t type, std::uint64_t flags,
                                 std::uint32_t lower, std::int32_t upper, std::uint32_t index) {
  MetaPropertyDescription p{};
  p.name = name;
  p.typePackage = &table;
  p.typeId = type;
  p.flags = flags | Kelpa::MetaFlag::unique |
            (upper != 1 ? std::uint64_t{Kelpa::MetaFlag::multi} : std::uint64_t{0});
  p.defaultValue = "";
  p.lower = lower;
  p.upper = upper;
  p.index = index;
  return p;
}

MetaPropertyDescription withOpposite(MetaPropertyDescription p, const char* association,
                                     std::uint32_t type, std::uint32_t index) {
  p.associationName = association;
  p.hasOpposite = 1;
  p.oppositeTypePackage = &table;
  p.oppositeTypeId = type;
  p.oppositeIndex = index;
  return p;
}

MetaPropertyDescription gLabel = [] {
  auto p = describe("label", kText, 0, 0, 1, 1);
  p.defaultValue = "say \"x\"";
  p.documentation[0] = "First line,";
  p.documentation[1] = "bell\x07 and tab\t.";
  return p;
}();
MetaPropertyDescription gChildren = withOpposite(
    describe("children", kNode, Kelpa::MetaFlag::composite | Kelpa::MetaFlag::ordered, 0, -1, 2),
    "A_children_parent", kLeaf, 1);
MetaPropertyDescription gParent =
    withOpposite(describe("parent", kNode, 0, 0, 1, 1), "A_children_parent", kNode, 2);
MetaPropertyDescription gWeight = [] {
  auto p =
      describe("weight", kCount, Kelpa::MetaFlag::readOnly | Kelpa::MetaFlag::derived, 1, 1, 2);
  p.defaultValue = "0";
  return p;
}();
MetaPropertyDescription gTone = [] {
  auto p = describe("tone", kTone, 0, 1, 1, 3);
  p.defaultValue = "loud";
  p.associationName = "A_tone_leaf";
  p.oppositeEndName = "leaf";
  return p;
}();
MetaPropertyDescription gOdd = describe("odd", kText, 0, 0, 1, 1);

MetaPropertyDescription* gNodeTable[] = {nullptr, &gLabel, &gChildren};
MetaPropertyDescription* gLeafTable[] = {nullptr, &gParent, &gWeight, &gTone};
MetaPropertyDescription* gOrphanTable[] = {nullptr, &gOdd};

const Kelpa::TypeRef kNodeParents[] = {{&Kelpa::getKelpaPackageIntrospectiveMethods, kClassObject},
                                       {nullptr, 0}};
const Kelpa::TypeRef kLeafParents[] = {{&table, kNode}, {nullptr, 0}};
const Kelpa::TypeRef kNoParents[] = {{nullptr, 0}};

Kelpa::IntrospectiveMethods gText{}, gCount{}, gToneMethods{}, gNode{}, gLeaf{}, gOrphan{};
const Kelpa::IntrospectiveMethods* gTypes[kTableSize] = {nullptr, &gText,  &gCount, &gToneMethods,
                                                         &gNode,  nullptr, &gLeaf};
const Kelpa::PackageIntrospectiveMethods kTable{gTypes, kTableSize};
const Kelpa::PackageIntrospectiveMethods* table() {
  return &kTable;
}

const PackageIntf& testPackage() {
  static const PackageIntf* built = [] {
    Kelpa::initialize();
    const Kelpa::Factory factory = Kelpa::DomainRegistry::instance().getMetaRegistryFactory();
    const Kelpa::Deviant d = factory.getDeviant();
    const Kelpa::Package package(factory->createPackage(d), d);
    package->setName("metatest");
    package->setUri(Kelpa::String("kelpa:metatest"));

    for (auto [record, name] : {std::pair{&gText, "Text"}, std::pair{&gCount, "Count"}}) {
      auto* primitive = factory->createPrimitiveType(d);
      primitive->setName(name);
      package->addOwnedType(primitive);
      record->metaclass = primitive;
    }
    auto* tone = factory->createEnumeration(d);
    tone->setName("Tone");
    for (auto [name, value] : {std::pair{"quiet", 0}, std::pair{"loud", 1}}) {
      auto* literal = factory->createEnumerationLiteral(d);
      literal->setName(name);
      literal->setValue(Kelpa::Integer(value));
      tone->addLiteral(literal);
    }
    package->addOwnedType(tone);
    gToneMethods.metaclass = tone;

    ClassIntf *leaf = nullptr, *node = nullptr, *orphan = nullptr;
    Kelpa::staticCreateMetaClass(leaf, factory, package, gLeafTable, 3, "Leaf", "metatest.Leaf",
                                 false, nullptr);
    const char* nodeDoc[] = {"A node says \"hi\" \\ back.", "Second line.", nullptr};
    Kelpa::staticCreateMetaClass(node, factory, package, gNodeTable, 2, "Node", "metatest.Node",
                                 true, nodeDoc);
    Kelpa::staticCreateMetaClass(orphan, factory, package, gOrphanTable, 1, "Orphan",
                                 "metatest.Orphan", false, nullptr);
    const auto bind = [](Kelpa::IntrospectiveMethods& record, MetaPropertyDescription** properties,
                         const Kelpa::TypeRef* parents, ClassIntf* metaclass,
                         const Kelpa::PackageIntrospectiveMethods* package) {
      record.properties = properties;
      record.parents = parents;
      record.metaclass = metaclass;
      record.package = package;
    };
    bind(gLeaf, gLeafTable, kLeafParents, leaf, &kTable);
    bind(gNode, gNodeTable, kNodeParents, node, &kTable);
    bind(gOrphan, gOrphanTable, kNoParents, orphan, nullptr);
    // Bases before the classes on them: a class takes its bases' properties when updated.
    Kelpa::staticUpdateMeta(node, factory, package, gNodeTable, 2, "Node", "metatest.Node", &gNode);
    Kelpa::staticUpdateMeta(leaf, factory, package, gLeafTable, 3, "Leaf", "metatest.Leaf", &gLeaf);
    Kelpa::staticUpdateMeta(orphan, factory, package, gOrphanTable, 1, "Orphan", "metatest.Orphan",
                            &gOrphan);
    orphan->getOwnedProperties()[0]->resolve(nullptr, nullptr);  // as if its type were missing
    return package.get();
  }();
  return *built;
}

const meta::TypeIdOf& testIds() {
  static const meta::TypeIdOf ids = (testPackage(), meta::typeIdsFrom(&kTable));
  return ids;
}

const PackageIntf& kernelPackage() {
  Kelpa::initialize();
  return *Kelpa::DomainRegistry::instance().findPackage("Kelpa").get();
}

const Kelpa::NSInterface::TypeIntf& type(const char* name) {
  const auto* found = testPackage().findType(name);
  if (!found) throw std::logic_error(std::string("no type ") + name);
  return *found;
}

const Kelpa::NSInterface::PropertyIntf& property(const char* cls, const char* name) {
  return *dynamic_cast<const ClassIntf&>(type(cls)).findProperty(name);
}

// The JSON without the white space between its tokens.
std::string compact(const std::string& json) {
  std::string out;
  bool inString = false, escaped = false;
  for (char c : json) {
    if (inString) {
      escaped = !escaped && c == '\\';
      if (c == '"' && !escaped) inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == ' ' || c == '\n') {
      continue;
    }
    out += c;
  }
  return out;
}

template <class F>
std::string printed(F&& write) {
  std::ostringstream out;
  write(out);
  return out.str();
}

// The line of the text that starts with `start`, or "" if none.
std::string lineStarting(const std::string& text, const std::string& start) {
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    if (line.rfind(start, 0) == 0) return line;
  return "";
}

// ---------------------------------------------------------------- type ids and order

TEST(MetaReportTypes, IdsComeFromTheRecordsOfTheTable) {
  const auto& ids = testIds();
  EXPECT_EQ(ids(&type("Text")), 1u);
  EXPECT_EQ(ids(&type("Tone")), 3u);
  EXPECT_EQ(ids(&type("Node")), 4u);
  EXPECT_EQ(ids(&type("Leaf")), 6u);
  EXPECT_EQ(ids(&type("Orphan")), std::nullopt);
  EXPECT_EQ(meta::typeIdsFrom(nullptr)(&type("Node")), std::nullopt);

  // Without a table at hand, the one that the classes' records name.
  EXPECT_EQ(meta::tableNamedByClasses(testPackage()), &kTable);
  const PackageIntf& kernel = kernelPackage();
  const auto kernelIds = meta::typeIdsFrom(meta::tableNamedByClasses(kernel));
  EXPECT_EQ(kernelIds(kernel.findType("ClassObject")), 13u);
  EXPECT_EQ(kernelIds(kernel.findType("FactoryObject")), 23u);
  EXPECT_EQ(kernelIds(kernel.findType("String")), 1u);
}

TEST(MetaReportTypes, KindsAreInIdOrderWithTypesWithoutIdLast) {
  const auto kinds = meta::typesByKind(testPackage(), testIds());
  ASSERT_EQ(kinds.classes.size(), 3u);
  EXPECT_EQ(kinds.classes[0]->getName(), "Node");  // created after Leaf
  EXPECT_EQ(kinds.classes[1]->getName(), "Leaf");
  EXPECT_EQ(kinds.classes[2]->getName(), "Orphan");
  ASSERT_EQ(kinds.enumerations.size(), 1u);
  ASSERT_EQ(kinds.primitives.size(), 2u);
  EXPECT_EQ(kinds.primitives[1]->getName(), "Count");

  // With no ids at all, the order the package holds them.
  const auto unordered = meta::typesByKind(testPackage(), meta::typeIdsFrom(nullptr));
  EXPECT_EQ(unordered.classes[0]->getName(), "Leaf");
  EXPECT_EQ(unordered.classes[2]->getName(), "Orphan");
}

// ---------------------------------------------------------------- JSON

TEST(MetaReportJson, StringsAreEscapedAndUtf8PassesThrough) {
  EXPECT_EQ(meta::jsonQuoted(""), "\"\"");
  EXPECT_EQ(meta::jsonQuoted("say \"hi\" \\ now"), R"("say \"hi\" \\ now")");
  EXPECT_EQ(meta::jsonQuoted("a\nb\tc\rd\be\ff"), R"("a\nb\tc\rd\be\ff")");
  EXPECT_EQ(meta::jsonQuoted(std::string("\x01\x1f\x00", 3)), R"("\u0001\u001f\u0000")");
  EXPECT_EQ(meta::jsonQuoted("/\x7f"), "\"/\x7f\"");
  EXPECT_EQ(meta::jsonQuoted("naïve – 😀"), "\"naïve – 😀\"");
}

TEST(MetaReportJson, BytesThatAreNoUtf8BecomeReplacementCharacters) {
  EXPECT_EQ(meta::jsonQuoted("a\xffZ"), R"("a\ufffdZ")");
  EXPECT_EQ(meta::jsonQuoted("\xc3"), R"("\ufffd")");                                // cut short
  EXPECT_EQ(meta::jsonQuoted("\xe2\x80x"), R"("\ufffd\ufffdx")");                    // cut short
  EXPECT_EQ(meta::jsonQuoted("\xc0\xaf"), R"("\ufffd\ufffd")");                      // overlong
  EXPECT_EQ(meta::jsonQuoted("\xe0\x80\xaf"), R"("\ufffd\ufffd\ufffd")");            // overlong
  EXPECT_EQ(meta::jsonQuoted("\xed\xa0\x80"), R"("\ufffd\ufffd\ufffd")");            // a surrogate
  EXPECT_EQ(meta::jsonQuoted("\xf4\x90\x80\x80"), R"("\ufffd\ufffd\ufffd\ufffd")");  // > U+10FFFF
  EXPECT_EQ(meta::jsonQuoted("\xf4\x8f\xbf\xbf"), "\"\xf4\x8f\xbf\xbf\"");  // U+10FFFF itself
}

TEST(MetaReportJson, PackageHasTheKindsInIdOrder) {
  const std::string json =
      compact(printed([](auto& out) { meta::writeJson(out, testPackage(), testIds()); }));
  EXPECT_EQ(
      json.rfind(R"({"package":"metatest","classes":[{"name":"Node","qualifiedName":)"
                 R"("metatest.Node","typeId":4,"abstract":true,"bases":["ClassObject"],)"
                 R"("documentation":"A node says \"hi\" \\ back. Second line.","properties":[)",
                 0),
      0u)
      << json;
  EXPECT_NE(json.find(R"(]},{"name":"Leaf","qualifiedName":"metatest.Leaf","typeId":6,)"
                      R"("abstract":false,"bases":["Node"],"documentation":"","properties":[)"),
            std::string::npos);
  EXPECT_NE(json.find(R"({"name":"Orphan","qualifiedName":"metatest.Orphan","typeId":null,)"
                      R"("abstract":false,"bases":[],)"),
            std::string::npos);
  EXPECT_NE(json.find(R"(],"enumerations":[{"name":"Tone","typeId":3,"literals":)"
                      R"([{"name":"quiet","value":0},{"name":"loud","value":1}]}],)"
                      R"("primitives":[{"name":"Text","typeId":1},{"name":"Count","typeId":2}]})"),
            std::string::npos);
  EXPECT_EQ(json.back(), '}');
}

TEST(MetaReportJson, PropertiesAreOwnOnesWithNullsWhereNothingIsSet) {
  const std::string json =
      compact(printed([](auto& out) { meta::writeJson(out, testPackage(), testIds()); }));
  // Values set, an unlimited upper bound, a navigable opposite, documentation with
  // control characters.
  EXPECT_NE(json.find(R"("properties":[{"index":1,"name":"label","type":"Text","lower":0,)"
                      R"("upper":1,"readOnly":false,"derived":false,"derivedUnion":false,)"
                      R"("composite":false,"ordered":false,"default":"say \"x\"",)"
                      R"("association":null,"opposite":null,)"
                      R"("documentation":"First line, bell\u0007 and tab\t."},)"
                      R"({"index":2,"name":"children","type":"Node","lower":0,"upper":-1,)"
                      R"("readOnly":false,"derived":false,"derivedUnion":false,)"
                      R"("composite":true,"ordered":true,"default":null,)"
                      R"("association":"A_children_parent",)"
                      R"("opposite":{"class":"Leaf","property":"parent"},"documentation":""}])"),
            std::string::npos)
      << json;
  // An end that the association owns; flags; only Leaf's own three properties.
  EXPECT_NE(json.find(R"({"index":2,"name":"weight","type":"Count","lower":1,"upper":1,)"
                      R"("readOnly":true,"derived":true,"derivedUnion":false,"composite":false,)"
                      R"("ordered":false,"default":"0","association":null,"opposite":null,)"
                      R"("documentation":""},{"index":3,"name":"tone","type":"Tone","lower":1,)"
                      R"("upper":1,"readOnly":false,"derived":false,"derivedUnion":false,)"
                      R"("composite":false,"ordered":false,"default":"loud",)"
                      R"("association":"A_tone_leaf","opposite":{"end":"leaf"},)"
                      R"("documentation":""}]})"),
            std::string::npos);
  // An unresolved type.
  EXPECT_NE(json.find(R"({"index":1,"name":"odd","type":null,)"), std::string::npos);
}

// ---------------------------------------------------------------- text

TEST(MetaReportText, PropertyLineShowsWhatIsSetAndNothingElse) {
  EXPECT_EQ(meta::multiplicity(0, -1), "0..*");
  EXPECT_EQ(meta::multiplicity(1, 1), "1..1");
  EXPECT_EQ(meta::multiplicity(2, 7), "2..7");
  EXPECT_EQ(meta::propertyLine(property("Leaf", "parent")),
            "+ parent : Node [0..1]  (association A_children_parent, opposite Node.children)");
  EXPECT_EQ(meta::propertyLine(property("Node", "children")),
            "+ children : Node [0..*]  {composite, ordered}  "
            "(association A_children_parent, opposite Leaf.parent)");
  EXPECT_EQ(meta::propertyLine(property("Leaf", "weight")),
            "+ weight : Count [1..1]  {readOnly, derived}  = 0");
  EXPECT_EQ(meta::propertyLine(property("Leaf", "tone")),
            "+ tone : Tone [1..1]  = loud  (association A_tone_leaf, end leaf)");
  EXPECT_EQ(meta::propertyLine(property("Orphan", "odd")), "+ odd : null [0..1]");
}

TEST(MetaReportText, OutlineListsEveryTypeWithOwnPropertiesAligned) {
  const std::string text =
      printed([](auto& out) { meta::writeOutline(out, testPackage(), testIds()); });
  EXPECT_EQ(
      text.rfind("package metatest  kelpa:metatest\n3 classes, 1 enumerations, 2 primitives\n", 0),
      0u);
  EXPECT_NE(text.find("\nenumerations\n  Tone  #3  { quiet = 0, loud = 1 }\n"), std::string::npos);
  EXPECT_NE(text.find("\nprimitives\n  Text  #1\n  Count  #2\n"), std::string::npos);
  EXPECT_NE(text.find("\nclasses\n  abstract Node  #4  : ClassObject\n"
                      "    + label : Text [0..1]     = say \"x\"\n"
                      "    + children : Node [0..*]  {composite, ordered}  "),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("\n  Leaf  #6  : Node\n    + parent : Node [0..1]  "), std::string::npos);
  EXPECT_NE(text.find("\n  Orphan\n    + odd : null [0..1]\n"), std::string::npos);
  EXPECT_LT(text.find("Leaf  #6"), text.find("Orphan"));
  EXPECT_EQ(text.find("externalId"), std::string::npos);  // inherited: not in the outline
}

TEST(MetaReportText, ClassShowsAllPropertiesWithInheritedOnesMarked) {
  const std::string text =
      printed([](auto& out) { meta::writeType(out, type("metatest.Leaf"), testIds()); });
  EXPECT_EQ(
      text.rfind("class metatest.Leaf  #6\nbases: Node\n\nproperties: 3 own, 7 inherited\n", 0), 0u)
      << text;
  const std::string own = lineStarting(text, "  + parent ");
  EXPECT_EQ(own.find('^'), std::string::npos);
  EXPECT_TRUE(lineStarting(text, "  + label ").ends_with("= say \"x\"  ^ Node"));
  EXPECT_TRUE(lineStarting(text, "  + children ").ends_with("opposite Leaf.parent)  ^ Node"));
  EXPECT_TRUE(lineStarting(text, "  + container ").ends_with("{readOnly}  ^ ClassObject"));
  // Own first, then the bases' in order; documentation under its property.
  EXPECT_LT(text.find("+ tone "), text.find("+ label "));
  EXPECT_LT(text.find("+ children "), text.find("+ container "));
  EXPECT_NE(text.find("^ Node\n      First line,\n      bell\x07 and tab\t.\n  + children"),
            std::string::npos);
}

TEST(MetaReportText, AbstractClassEnumerationAndPrimitive) {
  const std::string node =
      printed([](auto& out) { meta::writeType(out, type("Node"), testIds()); });
  EXPECT_EQ(
      node.rfind("abstract class metatest.Node  #4\nbases: ClassObject\n\n"
                 "A node says \"hi\" \\ back.\nSecond line.\n\nproperties: 2 own, 5 inherited\n",
                 0),
      0u)
      << node;
  EXPECT_EQ(printed([](auto& out) { meta::writeType(out, type("Tone"), testIds()); }),
            "enumeration metatest.Tone  #3\n  quiet = 0\n  loud = 1\n");
  EXPECT_EQ(printed([](auto& out) { meta::writeType(out, type("Count"), testIds()); }),
            "primitive metatest.Count  #2\n");
  EXPECT_EQ(printed([](auto& out) { meta::writeType(out, type("Orphan"), testIds()); }),
            "class metatest.Orphan\n\nproperties: 1 own, 0 inherited\n  + odd : null [0..1]\n");
}

// ---------------------------------------------------------------- names

TEST(MetaReportNames, TypesAreFoundByPlainOrQualifiedName) {
  EXPECT_EQ(meta::findType(testPackage(), "Leaf"), &type("Leaf"));
  EXPECT_EQ(meta::findType(testPackage(), "metatest.Leaf"), &type("Leaf"));
  EXPECT_EQ(meta::findType(testPackage(), "Kelpa.Leaf"), nullptr);
  EXPECT_EQ(meta::findType(testPackage(), "leaf"), nullptr);
}

TEST(MetaReportNames, EditDistanceIgnoresLetterCase) {
  EXPECT_EQ(meta::editDistance("kitten", "sitting"), 3u);
  EXPECT_EQ(meta::editDistance("", "abc"), 3u);
  EXPECT_EQ(meta::editDistance("ab", "ba"), 2u);
  EXPECT_EQ(meta::editDistance("LEAF", "leaf"), 0u);
}

TEST(MetaReportNames, SuggestionsAreTheNearestNamesFirst) {
  const PackageIntf& p = testPackage();
  using Names = std::vector<std::string>;
  EXPECT_EQ(meta::nearestNames(p, "Lef"), Names{"Leaf"});
  EXPECT_EQ(meta::nearestNames(p, "leaf"), Names{"Leaf"});
  EXPECT_EQ(meta::nearestNames(p, "metatest.Nod"), Names{"Node"});
  EXPECT_EQ(meta::nearestNames(p, "Xone"), Names({"Tone", "Node"}));           // 1, 2
  EXPECT_EQ(meta::nearestNames(p, "Tont"), Names({"Tone", "Count", "Text"}));  // 1, 2, 2
  EXPECT_EQ(meta::nearestNames(p, "Tont", 2), Names({"Tone", "Count"}));
  EXPECT_TRUE(meta::nearestNames(p, "Quux").empty());
  EXPECT_EQ(meta::nearestNames(p, "Orphanage"), Names{"Orphan"});  // 3 of 9 letters
  EXPECT_TRUE(meta::nearestNames(p, "Orphanagexx").empty());       // 5 of 11
}

}  // namespace
