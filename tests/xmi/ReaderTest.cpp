// The reader on small inline documents: one construct at a time, and every fatal error
// with its text and the model left as it was.
#include <filesystem>
#include <fstream>
#include <string>

#include "Support.h"

using namespace xmitest;
using zorbel::xmi::Dialect;

namespace {

// An Eclipse document around body, which starts on line 3.
std::string eclipse(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<xmi:XMI xmi:version=\"20131001\" xmlns:xmi=\"http://www.omg.org/spec/XMI/20131001\" "
         "xmlns:uml=\"http://www.eclipse.org/uml2/5.0.0/UML\">\n" +
         body + "\n</xmi:XMI>\n";
}

using ReaderTest = ModelTest;

TEST_F(ReaderTest, ElementsValuesAndTheThreeReferenceForms) {
  const auto doc = read(eclipse(R"(<uml:Model xmi:id="m" name="shop">
  <packagedElement xmi:type="uml:Enumeration" xmi:id="E" name="Kind">
    <ownedLiteral xmi:id="E1" name="small"/>
  </packagedElement>
  <packagedElement xmi:type="uml:Class" xmi:id="C" name="Item" isAbstract="true" visibility="private">
    <ownedAttribute xmi:id="a1" name="byId" type="E"/>
    <ownedAttribute xmi:id="a2" name="byIdref"><type xmi:idref="E"/></ownedAttribute>
    <ownedAttribute xmi:id="a3" name="byHref" xmi:uuid="u-3">
      <type href="#E"/>
      <upperValue xmi:type="uml:LiteralUnlimitedNatural" xmi:id="a3u" value="*"/>
      <lowerValue xmi:type="uml:LiteralInteger" xmi:id="a3l" value="2"/>
    </ownedAttribute>
  </packagedElement>
</uml:Model>)"));
  EXPECT_EQ(doc.dialect, Dialect::Eclipse);
  ASSERT_EQ(doc.roots.size(), 1u);
  EXPECT_EQ(doc.report.createdCount(), 9u);
  EXPECT_EQ(doc.report.created.at("Property"), 3u);  // ownedAttribute without xmi:type
  EXPECT_EQ(doc.report.created.at("EnumerationLiteral"), 1u);
  // Nothing is left over: xmi:version belongs to the syntax.
  EXPECT_TRUE(doc.report.unknown.empty());
  EXPECT_TRUE(doc.report.unresolved.empty());

  const Kelpa::ClassObject item = doc.find("C");
  EXPECT_EQ(text(item, "name"), "Item");
  EXPECT_EQ(text(item, "isAbstract"), "true");
  EXPECT_EQ(text(item, "visibility"), "private");
  // The typed accessors read the attributes that Class.isAbstract and
  // PackageableElement.visibility redefine: they see the same values.
  EXPECT_TRUE(zorbel::Class(item)->isAbstract(d()).getValue());
  EXPECT_EQ(zorbel::Class(item)->getVisibility(d()), zorbel::VisibilityKind(zorbel::VisibilityKind::kPrivate));
  EXPECT_EQ(item->getExternalId(d()).str(), "C");
  EXPECT_TRUE(same(one(item, "package"), doc.roots[0]));

  const auto attributes = all(item, "ownedAttribute");
  ASSERT_EQ(attributes.size(), 3u);
  for (const auto& attribute : attributes) EXPECT_TRUE(same(one(attribute, "type"), doc.find("E")));
  const Kelpa::ClassObject a3 = doc.find("a3");
  EXPECT_TRUE(same(attributes[2], a3));
  // The unions see what the reader added: the attributes are owned members of the class.
  EXPECT_EQ(all(item, "ownedMember").size(), 3u);
  EXPECT_EQ(all(item, "attribute").size(), 3u);
  EXPECT_TRUE(same(one(a3, "owner"), item));
  EXPECT_TRUE(same(one(a3, "class"), item));
  EXPECT_EQ(text(one(a3, "upperValue"), "value"), "*");
  EXPECT_EQ(zorbel::UnlimitedNatural(Kelpa::get(one(a3, "upperValue"), "value")).isUnlimited(), true);
  EXPECT_EQ(text(one(a3, "lowerValue"), "value"), "2");
  EXPECT_EQ(a3->getExternalToolInfo(d(), Kelpa::String("xmi-uuid")).getInfo().str(), "u-3");
}

TEST_F(ReaderTest, OmgDialectUnderABareModelWithValuesAsChildText) {
  const auto doc = read(R"(<uml:Model xmlns:xmi="http://www.omg.org/spec/XMI/20131001"
    xmlns:uml="http://www.omg.org/spec/UML/20131001" xmi:id="m" name="m">
  <ownedComment xmi:type="uml:Comment" xmi:id="c"><body>first &amp; only</body></ownedComment>
  <packagedElement xmi:type="uml:Class" xmi:id="k" name="K">
    <ownedRule xmi:type="uml:Constraint" xmi:id="r">
      <specification xmi:type="uml:OpaqueExpression" xmi:id="x"><language>OCL</language><body>true</body></specification>
    </ownedRule>
  </packagedElement>
</uml:Model>)");
  EXPECT_EQ(doc.dialect, Dialect::Omg);
  EXPECT_EQ(text(doc.find("c"), "body"), "first & only");
  const Kelpa::ClassObject expression = doc.find("x");
  EXPECT_EQ(Kelpa::asSequence(Kelpa::get(expression, "body")).size(), 1);
  EXPECT_TRUE(same(one(doc.find("r"), "specification"), expression));
  // A root's xmlns declarations are no content; nothing else was unknown.
  EXPECT_TRUE(doc.report.unknown.empty());
}

// A reference may not take an element out of the container the document nests it in:
// navigableOwnedEnd names ends that ownedEnd holds, and the library keeps it as a
// composite of its own. It is counted and kept as written.
TEST_F(ReaderTest, ReferencesDoNotMoveNestedElements) {
  const auto doc = read(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Class" xmi:id="A"/>
  <packagedElement xmi:type="uml:Association" xmi:id="AB" memberEnd="pb pa" navigableOwnedEnd="pb">
    <ownedEnd xmi:id="pb" type="A" association="AB"/>
    <ownedEnd xmi:id="pa" type="A" association="AB"/>
  </packagedElement>
</uml:Model>)"));
  const Kelpa::ClassObject association = doc.find("AB");
  EXPECT_EQ(all(association, "ownedEnd").size(), 2u);
  EXPECT_TRUE(all(association, "navigableOwnedEnd").empty());
  EXPECT_EQ(doc.report.unknown.at("reference to a nested element through Association.navigableOwnedEnd"), 1u);
  EXPECT_EQ(kept(association), "@attr 3 22\nnavigableOwnedEnd=\"pb\"\n");
}

// Prefixes are bound where they are declared, innermost first, whatever their names.
TEST_F(ReaderTest, NestedNamespaceDeclarations) {
  const auto doc = read(R"(<xmi:XMI xmlns:xmi="http://www.omg.org/spec/XMI/20131001"
    xmlns:uml="http://www.omg.org/spec/UML/20131001">
  <uml:Package xmi:id="p">
    <packagedElement xmlns:u="http://www.omg.org/spec/UML/20131001" u:type="u:Class" xmi:type="u:Class" xmi:id="c"/>
    <packagedElement xmlns:x="http://www.omg.org/spec/XMI/20131001" x:type="uml:Interface" x:id="i"/>
    <packagedElement xmlns:uml="urn:other" xmi:type="uml:Class" xmi:id="o"/>
    <packagedElement xmi:type="uml:Dependency" xmi:id="d">
      <supplier xmlns:x="http://www.omg.org/spec/XMI/20131001" x:idref="c"/>
      <client xmlns:xmi="urn:other" xmi:idref="i"/>
    </packagedElement>
  </uml:Package>
</xmi:XMI>)");
  EXPECT_EQ(doc.report.created,
            (std::map<std::string, std::size_t>{{"Class", 1}, {"Dependency", 1}, {"Interface", 1}, {"Package", 1}}));
  EXPECT_FALSE(doc.find("c").isNull());
  EXPECT_FALSE(doc.find("i").isNull());
  // A reference's own declarations count as an element's do: x:idref is XMI's, and
  // xmi:idref under another namespace is no reference.
  const auto suppliers = all(doc.find("d"), "supplier");
  ASSERT_EQ(suppliers.size(), 1u);
  EXPECT_TRUE(same(suppliers[0], doc.find("c")));
  EXPECT_TRUE(all(doc.find("d"), "client").empty());
  EXPECT_EQ(doc.report.unknown.at("element under reference Dependency.client"), 1u);
  // uml: means another namespace there, so that element is no UML class; it is kept, and
  // u:type is an attribute of the UML namespace, not of the metaclass.
  EXPECT_EQ(doc.report.unknown.at("unknown metaclass uml:Class"), 1u);
  EXPECT_EQ(doc.report.unknown.at("attribute u:type"), 1u);
  EXPECT_NE(kept(doc.roots[0]).find("<packagedElement xmlns:uml=\"urn:other\" xmi:type=\"uml:Class\""),
            std::string::npos);
}

// What the reader finds once per name is found again under a prefix bound elsewhere,
// before and after the name was found under the UML one.
TEST_F(ReaderTest, TypeNamesUnderPrefixesBoundElsewhere) {
  const auto doc = read(R"(<xmi:XMI xmlns:xmi="http://www.omg.org/spec/XMI/20131001"
    xmlns:uml="http://www.omg.org/spec/UML/20131001" xmlns:o="urn:other">
  <uml:Package xmi:id="p">
    <packagedElement xmi:type="o:Class" xmi:id="o1"/>
    <packagedElement xmlns:uml="urn:other" xmi:type="uml:Class" xmi:id="o2"/>
    <packagedElement xmi:type="uml:Class" xmi:id="c1"/>
    <packagedElement xmlns:u="http://www.omg.org/spec/UML/20131001" xmi:type="u:Class" xmi:id="c2"/>
    <packagedElement xmi:type="o:Class" xmi:id="o3"/>
    <packagedElement xmlns:uml="urn:other" xmi:type="uml:Class" xmi:id="o4"/>
  </uml:Package>
</xmi:XMI>)");
  EXPECT_EQ(doc.report.created, (std::map<std::string, std::size_t>{{"Class", 2}, {"Package", 1}}));
  EXPECT_FALSE(doc.find("c1").isNull());
  EXPECT_FALSE(doc.find("c2").isNull());
  EXPECT_EQ(doc.report.unknown,
            (std::map<std::string, std::size_t>{{"unknown metaclass o:Class", 2},
                                                {"unknown metaclass uml:Class", 2}}));
}

// A feature is known per metaclass: the same name elsewhere has its own type, its own
// redefined attributes and its own values; and a read keeps none of it for the next.
TEST_F(ReaderTest, FeaturesOfOneNameInSeveralMetaclasses) {
  const std::string xml = eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Class" xmi:id="C" isAbstract="true">
    <ownedOperation xmi:id="op" isAbstract="true"/>
    <ownedAttribute xmi:id="p1">
      <defaultValue xmi:type="uml:LiteralInteger" xmi:id="i" value="1"/></ownedAttribute>
    <ownedAttribute xmi:id="p2">
      <defaultValue xmi:type="uml:LiteralUnlimitedNatural" xmi:id="u" value="1"/></ownedAttribute>
    <ownedAttribute xmi:id="p3">
      <defaultValue xmi:type="uml:LiteralString" xmi:id="s" value="1"/></ownedAttribute>
    <ownedAttribute xmi:id="p4">
      <defaultValue xmi:type="uml:LiteralInteger" xmi:id="i2" value="1"/></ownedAttribute>
  </packagedElement>
</uml:Model>)");
  const auto check = [&](const zorbel::xmi::Document& doc) {
    EXPECT_TRUE(doc.report.warnings.empty());
    EXPECT_TRUE(zorbel::Class(doc.find("C"))->isAbstract(doc.find("C").getDeviant()).getValue());
    EXPECT_EQ(text(doc.find("op"), "isAbstract"), "true");
    for (const char* id : {"i", "u", "s", "i2"}) {
      const Kelpa::ClassObject literal = doc.find(id);
      EXPECT_EQ(text(literal, "value"), "1") << id;
      EXPECT_EQ(Kelpa::get(literal, "value")->getRuvoName(false),
                Kelpa::reflect::propertyOf(literal.get(), "value").getType()->getQualifiedName())
          << id;
    }
  };
  check(read(xml));
  Kelpa::Model fresh = zorbel::NSInterface::FactoryIntf::createNewModel();
  check(zorbel::xmi::readString(fresh, xml));
  fresh->destroyModel();
}

// A read into a deviation leaves the root deviant as it was. (The model's root objects
// are the root deviant's, so the deviation's new roots are not among them.)
TEST_F(ReaderTest, ReadIntoADeviation) {
  const Kelpa::Deviant deviation = model->createDeviant();
  Kelpa::Model there = model;
  there.setDeviant(deviation);
  const auto doc = zorbel::xmi::readString(
      there, eclipse(R"(<uml:Model xmi:id="m"><packagedElement xmi:type="uml:Class" xmi:id="c" name="C"/></uml:Model>)"));
  EXPECT_EQ(doc.roots[0].getDeviant(), deviation);
  EXPECT_EQ(text(doc.find("c"), "name"), "C");
  EXPECT_FALSE(Kelpa::ClassObject(doc.find("c").get(), d()).isValid());
  EXPECT_EQ(model->getRootObjects(d()).size(), 0);
  model->removeDeviant(deviation);
}

// memberEnd is ordered: the association's list decides the order even where a member
// end's association attribute comes first in the file, and no end is added twice.
TEST_F(ReaderTest, BothEndsWrittenKeepTheOrderedEndsOrder) {
  const auto doc = read(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Class" xmi:id="A">
    <ownedAttribute xmi:id="pa" name="b" type="B" association="AB"/>
  </packagedElement>
  <packagedElement xmi:type="uml:Class" xmi:id="B"/>
  <packagedElement xmi:type="uml:Association" xmi:id="AB" memberEnd="pb pa">
    <ownedEnd xmi:id="pb" name="a" type="A" association="AB"/>
  </packagedElement>
</uml:Model>)"));
  const Kelpa::ClassObject association = doc.find("AB");
  const auto ends = all(association, "memberEnd");
  ASSERT_EQ(ends.size(), 2u);
  EXPECT_TRUE(same(ends[0], doc.find("pb")));
  EXPECT_TRUE(same(ends[1], doc.find("pa")));
  EXPECT_TRUE(same(one(doc.find("pa"), "association"), association));
  EXPECT_TRUE(same(one(doc.find("pb"), "association"), association));
  EXPECT_TRUE(same(one(doc.find("pb"), "owningAssociation"), association));
}

TEST_F(ReaderTest, PrimitiveTypeHrefsShareOneLibraryPerModel) {
  const std::string attribute =
      R"(<packagedElement xmi:type="uml:Class" xmi:id="C"><ownedAttribute xmi:id="p"><type href="%s"/></ownedAttribute></packagedElement>)";
  const auto withHref = [&](const std::string& href) {
    std::string body = attribute;
    body.replace(body.find("%s"), 2, href);
    return eclipse("<uml:Model xmi:id=\"m\">" + body + "</uml:Model>");
  };
  const auto first = read(withHref("pathmap://UML_LIBRARIES/UMLPrimitiveTypes.library.uml#Boolean"));
  const auto second = read(withHref("http://www.omg.org/spec/UML/20131001/PrimitiveTypes.xmi#Boolean"));
  const auto third = read(withHref("http://www.omg.org/spec/UML/20161101/PrimitiveTypes.xmi#UnlimitedNatural"));
  EXPECT_EQ(first.report.created.at("PrimitiveType"), 5u);
  EXPECT_EQ(second.report.created.count("PrimitiveType"), 0u);

  const Kelpa::ClassObject boolean = one(first.find("p"), "type");
  EXPECT_TRUE(same(one(second.find("p"), "type"), boolean));
  EXPECT_EQ(text(boolean, "name"), "Boolean");
  EXPECT_EQ(boolean->getExternalId(d()).str(), "Boolean");
  EXPECT_EQ(boolean->getExternalToolInfo(d(), Kelpa::String("xmi-library")).getInfo().str(), "PrimitiveTypes");
  const Kelpa::ClassObject library = one(boolean, "owner");
  EXPECT_EQ(text(library, "name"), "PrimitiveTypes");
  EXPECT_EQ(Kelpa::reflect::metaClassOf(library.get())->getName(), "Model");  // as the libraries are
  EXPECT_EQ(all(library, "packagedElement").size(), 5u);
  EXPECT_EQ(text(one(third.find("p"), "type"), "name"), "UnlimitedNatural");
  EXPECT_EQ(model->getRootObjects(d()).size(), 4);  // three models and the library
}

TEST_F(ReaderTest, UnresolvedReferencesAreReportedAndKept) {
  const auto doc = read(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Class" xmi:id="C" name="C">
    <ownedAttribute xmi:id="p" type="nowhere"/>
    <ownedAttribute xmi:id="q">
      <type xmi:type="uml:PrimitiveType" href="pathmap://UML_LIBRARIES/EcorePrimitiveTypes.library.uml#EString"/>
    </ownedAttribute>
    <generalization xmi:id="g" general="C gone"/>
  </packagedElement>
</uml:Model>)"));
  ASSERT_EQ(doc.report.unresolved.size(), 3u);
  // Ordered multi-valued properties resolve first; none here, so document order.
  EXPECT_EQ(doc.report.unresolved[0].property, "Property.type");
  EXPECT_EQ(doc.report.unresolved[0].target, "nowhere");
  EXPECT_EQ(doc.report.unresolved[0].line, 5u);
  EXPECT_EQ(doc.report.unresolved[1].target,
            "pathmap://UML_LIBRARIES/EcorePrimitiveTypes.library.uml#EString");
  EXPECT_EQ(doc.report.unresolved[1].line, 7u);
  EXPECT_EQ(doc.report.unresolved[2].property, "Generalization.general");
  EXPECT_EQ(doc.report.unresolved[2].target, "gone");

  EXPECT_EQ(kept(doc.find("p")), "@attr 1 14\ntype=\"nowhere\"\n");
  EXPECT_EQ(kept(doc.find("q")),
            "@child 0 206\n<type xmi:type=\"uml:PrimitiveType\" "
            "href=\"pathmap://UML_LIBRARIES/EcorePrimitiveTypes.library.uml#EString\" "
            "xmlns:uml=\"http://www.eclipse.org/uml2/5.0.0/UML\" "
            "xmlns:xmi=\"http://www.omg.org/spec/XMI/20131001\"/>\n");
  // The id that resolved is set; only the other one is kept.
  EXPECT_TRUE(same(one(doc.find("g"), "general"), doc.find("C")));
  EXPECT_EQ(kept(doc.find("g")), "@attr 1 14\ngeneral=\"gone\"\n");
  EXPECT_TRUE(one(doc.find("p"), "type").isNull());
}

TEST_F(ReaderTest, UnknownContentIsCountedAndKeptInPlace) {
  const auto doc = read(
      "<?xml version=\"1.0\"?>\n"
      "<xmi:XMI xmi:version=\"2.1\" xmlns:xmi=\"http://schema.omg.org/spec/XMI/2.1\" "
      "xmlns:uml=\"http://www.eclipse.org/uml2/2.1.0/UML\" xmlns:Ecore=\"urn:ecore\">\n"
      "<uml:Model xmi:id=\"m\" name=\"m\" colour=\"red\">"
      "<!-- note --><eAnnotations source=\"s\"/>"
      "<packagedElement xmi:type=\"uml:Gadget\"/><packagedElement xmi:type=\"uml:Classifier\"/>"
      "<xmi:Extension extender=\"t\"><x/></xmi:Extension></uml:Model>\n"
      "<Ecore:EPackage xmi:id=\"s1\" base_Package=\"m\"/>\n"
      "</xmi:XMI>\n");
  const std::map<std::string, std::size_t> expected{
      {"abstract metaclass uml:Classifier", 1}, {"comment", 1}, {"eAnnotations", 1},
      {"stereotype application Ecore:EPackage", 1}, {"unknown feature Model.colour", 1},
      {"unknown metaclass uml:Gadget", 1},      {"xmi:Extension", 1}};
  EXPECT_EQ(doc.report.unknown, expected);
  EXPECT_EQ(doc.report.createdCount(), 1u);
  // Each element payload declares the prefixes it uses, xmi:type values included.
  const std::string declarations =
      "xmlns:uml=\"http://www.eclipse.org/uml2/2.1.0/UML\" xmlns:xmi=\"http://schema.omg.org/spec/XMI/2.1\"";
  EXPECT_EQ(kept(doc.roots[0]),
            "@attr 2 12\ncolour=\"red\"\n"
            "@child 0 13\n<!-- note -->\n"
            "@child 1 26\n<eAnnotations source=\"s\"/>\n"
            "@child 2 137\n<packagedElement xmi:type=\"uml:Gadget\" " + declarations + "/>\n"
            "@child 3 141\n<packagedElement xmi:type=\"uml:Classifier\" " + declarations + "/>\n"
            "@child 4 95\n<xmi:Extension extender=\"t\" xmlns:xmi=\"http://schema.omg.org/spec/XMI/2.1\"><x/></xmi:Extension>\n"
            "@doc 1 117\n<Ecore:EPackage xmi:id=\"s1\" base_Package=\"m\" xmlns:Ecore=\"urn:ecore\" "
            "xmlns:xmi=\"http://schema.omg.org/spec/XMI/2.1\"/>\n");
}

// Values made from short texts are shared between elements while a feature has met few
// texts; past that, texts met before are still shared and new ones made each time.
TEST_F(ReaderTest, ManyDistinctShortValuesOfOneFeature) {
  std::string body = "<uml:Model xmi:id=\"m\">\n";
  for (int round = 0; round < 2; ++round)
    for (int i = 0; i < 600; ++i)
      body += "<packagedElement xmi:type=\"uml:Class\" xmi:id=\"c" + std::to_string(round) + "_" +
              std::to_string(i) + "\" name=\"n" + std::to_string(i) + "\" isAbstract=\"" +
              (i % 2 ? "true" : "false") + "\"/>\n";
  const auto doc = read(eclipse(body + "</uml:Model>"));
  EXPECT_TRUE(doc.report.warnings.empty());
  for (int round = 0; round < 2; ++round)
    for (int i = 0; i < 600; i += 7) {
      const Kelpa::ClassObject c = doc.find("c" + std::to_string(round) + "_" + std::to_string(i));
      EXPECT_EQ(text(c, "name"), "n" + std::to_string(i));
      EXPECT_EQ(text(c, "isAbstract"), i % 2 ? "true" : "false");
    }
}

TEST_F(ReaderTest, ValuesThatDoNotParseAreWarnedAboutAndKept) {
  const auto doc = read(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Class" xmi:id="c" isAbstract="yes" visibility="secret">
    <ownedAttribute xmi:id="p"><upperValue xmi:type="uml:LiteralUnlimitedNatural" xmi:id="u" value="many"/></ownedAttribute>
  </packagedElement>
</uml:Model>)"));
  ASSERT_EQ(doc.report.warnings.size(), 3u);
  EXPECT_EQ(doc.report.warnings[0].line, 4u);
  EXPECT_EQ(doc.report.warnings[0].text, "'yes' is no Boolean for Class.isAbstract; kept as written");
  EXPECT_EQ(doc.report.warnings[1].text, "'secret' is no VisibilityKind for Class.visibility; kept as written");
  EXPECT_EQ(doc.report.warnings[2].text,
            "'many' is no UnlimitedNatural for LiteralUnlimitedNatural.value; kept as written");
  EXPECT_EQ(doc.report.unknown.at("value that did not parse"), 3u);
  EXPECT_EQ(text(doc.find("c"), "isAbstract"), "false");
  EXPECT_EQ(kept(doc.find("c")), "@attr 2 16\nisAbstract=\"yes\"\n@attr 3 19\nvisibility=\"secret\"\n");
}

// The meta package also holds the factory's class; xmi:type names UML metaclasses only.
TEST_F(ReaderTest, OnlyUmlElementsAreMade) {
  const auto doc = read(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Factory"/><packagedElement xmi:type="uml:zorbel.Class"/>
</uml:Model>)"));
  EXPECT_EQ(doc.report.createdCount(), 1u);
  EXPECT_EQ(doc.report.unknown.at("unknown metaclass uml:Factory"), 1u);
  EXPECT_EQ(doc.report.unknown.at("unknown metaclass uml:zorbel.Class"), 1u);
}

TEST_F(ReaderTest, CommentsAndInstructionsAroundTheDocumentAreKept) {
  const auto doc = read(
      "<?xml version=\"1.0\"?>\n<!-- made by hand -->\n"
      "<uml:Package xmlns:uml=\"http://www.omg.org/spec/UML/20131001\"><?tool x?></uml:Package>\n"
      "<?tool done?>\n");
  EXPECT_EQ(doc.report.unknown,
            (std::map<std::string, std::size_t>{{"comment", 1}, {"processing instruction", 2}}));
  EXPECT_EQ(kept(doc.roots[0]),
            "@child 0 10\n<?tool x?>\n"
            "@outside 0 21\n<!-- made by hand -->\n"
            "@outside 2 13\n<?tool done?>\n");
}

TEST_F(ReaderTest, EncodingsDeclaredOrMarked) {
  const std::string body =
      "<uml:Model xmlns:xmi=\"http://www.omg.org/spec/XMI/20131001\" "
      "xmlns:uml=\"http://www.omg.org/spec/UML/20131001\" xmi:id=\"m\" name=\"NAME\"/>";
  const auto named = [&](const std::string& declaration, const std::string& name) {
    std::string xml = declaration + body;
    xml.replace(xml.find("NAME"), 4, name);
    return xml;
  };
  const auto utf16 = [](const std::string& utf8, bool bigEndian, bool mark) {
    std::u16string units = Kelpa::String::to_ustring(utf8);
    std::string out = mark ? (bigEndian ? "\xFE\xFF" : "\xFF\xFE") : "";
    for (const char16_t u : units) {
      const char hi = static_cast<char>(u >> 8), lo = static_cast<char>(u & 0xFF);
      out += bigEndian ? std::string{hi, lo} : std::string{lo, hi};
    }
    return out;
  };
  const std::string word = "Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC\xE2\x80\x99";  // "Grüß €’"
  const auto nameOf = [&](const std::string& xml) { return text(read(xml).roots[0], "name"); };

  EXPECT_EQ(nameOf(named("<?xml version=\"1.0\" encoding=\"UTF-8\"?>", word)), word);
  EXPECT_EQ(nameOf("\xEF\xBB\xBF" + named("<?xml version=\"1.0\"?>", word)), word);
  EXPECT_EQ(nameOf(utf16(named("<?xml version=\"1.0\" encoding=\"UTF-16\"?>", word), false, true)), word);
  EXPECT_EQ(nameOf(utf16(named("<?xml version=\"1.0\" encoding=\"UTF-16\"?>", word), true, true)), word);
  EXPECT_EQ(nameOf(utf16(named("<?xml version=\"1.0\" encoding=\"UTF-16\"?>", word), true, false)), word);
  EXPECT_EQ(nameOf(named("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>", "Gr\xFC\xDF")),
            "Gr\xC3\xBC\xC3\x9F");
  // windows-1252 differs from ISO-8859-1 at 0x80..0x9F.
  EXPECT_EQ(nameOf(named("<?xml version=\"1.0\" encoding=\"windows-1252\"?>", "Gr\xFC\xDF \x80\x92")), word);
  EXPECT_EQ(nameOf(named("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>", "\x80")), "\xC2\x80");
  // Short ASCII texts are widened as they are; one with another character anywhere, even
  // last, is decoded, and so is a long one.
  for (const std::string& name : {std::string(128, 'a'), std::string(129, 'a'), std::string("ab\xC3\xBC"),
                                  std::string(126, 'a') + "\xC3\xBC", "\xC3\xBC" + std::string(60, 'a')})
    EXPECT_EQ(nameOf(named("", name)), name);
}

TEST_F(ReaderTest, DuplicateIdsAreFatalOnlyWhenAReferenceNamesThem) {
  const auto doc = read(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Class" xmi:id="x"/>
  <packagedElement xmi:type="uml:Class" xmi:id="x"/>
</uml:Model>)"));
  ASSERT_EQ(doc.report.warnings.size(), 1u);
  EXPECT_EQ(doc.report.warnings[0].text,
            "duplicate xmi:id 'x' at lines 4 and 5; no reference names it, the second element "
            "keeps it as its externalId");
  EXPECT_EQ(all(doc.roots[0], "packagedElement").size(), 2u);
}

TEST_F(ReaderTest, AReadIsOneStepOfUndo) {
  read(eclipse(R"(<uml:Model xmi:id="m"><packagedElement xmi:type="uml:Class" xmi:id="c"/></uml:Model>)"));
  ASSERT_EQ(model->getRootObjects(d()).size(), 1);
  model->undo(d());
  EXPECT_EQ(model->getRootObjects(d()).size(), 0);
  model->redo(d());
  EXPECT_EQ(model->getRootObjects(d()).size(), 1);
}

TEST_F(ReaderTest, HrefsIntoOtherDocumentsThroughTheResolver) {
  const std::string types = eclipse(R"(<uml:Package xmi:id="lib" name="lib">
  <packagedElement xmi:type="uml:DataType" xmi:id="Money" name="Money"/>
</uml:Package>)");
  const std::string user = eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Class" xmi:id="C">
    <ownedAttribute xmi:id="p"><type href="types.uml#Money"/></ownedAttribute>
    <ownedAttribute xmi:id="q"><type href="other.uml#Money"/></ownedAttribute>
  </packagedElement>
</uml:Model>)");
  // A document already read.
  {
    const auto lib = read(types);
    zorbel::xmi::Resolver resolver;
    resolver.addDocument("types.uml", lib);
    const auto doc = read(user, {&resolver, "dir/user.uml"});
    EXPECT_TRUE(same(one(doc.find("p"), "type"), lib.find("Money")));
    ASSERT_EQ(doc.report.unresolved.size(), 1u);
    EXPECT_EQ(doc.report.unresolved[0].target, "other.uml#Money");

    // A document of another model cannot be referred to: the ends would cross models.
    Kelpa::Model elsewhere = zorbel::NSInterface::FactoryIntf::createNewModel();
    const std::size_t objects = elsewhere->numberOfObjects();
    try {
      zorbel::xmi::readString(elsewhere, user, {&resolver, "dir/user.uml"});
      ADD_FAILURE() << "read across models";
    } catch (const zorbel::xmi::Error& e) {
      EXPECT_STREQ(e.what(),
                   "line 5: 'types.uml#Money' names an element of another model; documents that "
                   "refer to each other are read into one model");
    }
    EXPECT_EQ(elsewhere->numberOfObjects(), objects);
    elsewhere->destroyModel();
  }
  // A file read on demand, relative to the base URI, into the same model and kept by
  // the resolver for later reads.
  const std::filesystem::path dir = std::filesystem::temp_directory_path() / "zorbel-xmi-resolver";
  std::filesystem::create_directories(dir);
  {
    std::ofstream(dir / "types.uml") << types;
  }
  zorbel::xmi::Resolver resolver;
  resolver.addFile("dir/types.uml", dir / "types.uml");
  const std::size_t before = model->getRootObjects(d()).size();
  const auto doc = read(user, {&resolver, "dir/user.uml"});
  const zorbel::xmi::Document* lib = resolver.find("dir/types.uml");
  ASSERT_NE(lib, nullptr);
  EXPECT_TRUE(same(one(doc.find("p"), "type"), lib->find("Money")));
  EXPECT_EQ(model->getRootObjects(d()).size(), before + 2);
  const auto again = read(user, {&resolver, "dir/user.uml"});
  EXPECT_TRUE(same(one(again.find("p"), "type"), lib->find("Money")));
  EXPECT_EQ(model->getRootObjects(d()).size(), before + 3);
  std::filesystem::remove_all(dir);
}

// Every fatal error: its text, and the model as it was, down to a property of an
// element that was there before.
class FatalTest : public ModelTest {
 protected:
  void SetUp() override {
    {
      zorbel::Factory factory = zorbel::NSInterface::FactoryIntf::createNewFactory(model);
      before = Kelpa::ClassObject(factory->createFromString(d(), zorbel::String("Package")));
      Kelpa::setOrAdd(before, "name", zorbel::String("kept"));
      Kelpa::ClassObject inner(factory->createFromString(d(), zorbel::String("Class")));
      Kelpa::setOrAdd(before, "packagedElement", inner);
      factory->destroy(d());
    }
    objects = model->numberOfObjects();
  }
  void expectUnchanged() {
    EXPECT_EQ(model->numberOfObjects(), objects);
    ASSERT_EQ(model->getRootObjects(d()).size(), 1);
    EXPECT_TRUE(same(model->getRootObjects(d())[0], before));
    EXPECT_EQ(text(before, "name"), "kept");
    EXPECT_EQ(all(before, "packagedElement").size(), 1u);
    EXPECT_FALSE(before->hasExternalToolInfos(d()));
  }
  Kelpa::ClassObject before;
  std::size_t objects = 0;
};

TEST_F(FatalTest, MalformedAndUndecodableText) {
  const std::string whole = eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Class" xmi:id="c" name="c">
    <ownedAttribute xmi:id="p" type="c"/>
  </packagedElement>
</uml:Model>)");
  EXPECT_EQ(failure(whole.substr(0, whole.find("</packagedElement>"))),
            "line 6, column 2: malformed XML: Start-end tags mismatch");
  EXPECT_EQ(failure(whole.substr(0, whole.find("name=\"c\"") + 7)),
            "line 4, column 58: malformed XML: Error parsing element attribute");
  expectUnchanged();
  std::string badUtf8 = whole;
  badUtf8.replace(badUtf8.find("name=\"c\"") + 6, 1, "\xC3(");
  EXPECT_EQ(failure(badUtf8), "line 4, column 58: invalid UTF-8 byte sequence");
  EXPECT_EQ(failure("<?xml version=\"1.0\" encoding=\"windows-1252\"?>\n<a name=\"\x81\"/>"),
            "line 2, column 10: byte 0x81 has no character in windows-1252");
  EXPECT_EQ(failure("<?xml version=\"1.0\" encoding=\"UTF-16\"?><a/>"),
            "line 1, column 31: document declares UTF-16 but is not written in it");
  EXPECT_EQ(failure("<?xml version=\"1.0\" encoding=\"EBCDIC-US\"?><a/>"),
            "line 1, column 31: unsupported encoding 'EBCDIC-US'");
  EXPECT_EQ(failure(std::string("\xFF\xFE<\0a\0/", 7)), "line 1, column 3: invalid UTF-16: odd number of bytes");
  expectUnchanged();
}

TEST_F(FatalTest, FilesAreReadWholeOrNotAtAll) {
  const std::filesystem::path dir = std::filesystem::temp_directory_path() / "zorbel-xmi-files";
  std::filesystem::create_directories(dir);
  for (const std::filesystem::path& path : {dir / "missing.uml", dir}) {
    try {
      zorbel::xmi::read(model, path);
      ADD_FAILURE() << "read " << path;
    } catch (const zorbel::xmi::Error& e) {
      EXPECT_EQ(e.what(), "cannot open " + path.string());
    }
  }
  expectUnchanged();
  // The bytes as they are, a 0 among them: UTF-16 with its byte order mark.
  std::string utf16 = "\xFF\xFE";
  for (const char c : eclipse(R"(<uml:Package xmi:id="p" name="wide"/>)")) utf16 += std::string{c, '\0'};
  {
    std::ofstream(dir / "wide.uml", std::ios::binary) << utf16;
  }
  const zorbel::xmi::Document doc = zorbel::xmi::read(model, dir / "wide.uml");
  EXPECT_EQ(doc.uri, (dir / "wide.uml").string());
  EXPECT_EQ(text(doc.find("p"), "name"), "wide");
  std::filesystem::remove_all(dir);
}

TEST_F(FatalTest, NamespacesAndRoots) {
  EXPECT_EQ(failure("<uml:Model xmlns:uml=\"http://www.omg.org/spec/UML/20991231\"/>"),
            "line 1, column 2: unknown UML namespace 'http://www.omg.org/spec/UML/20991231'");
  EXPECT_EQ(failure("<xmi:XMI xmlns:xmi=\"http://www.omg.org/spec/XMI/20131001\" "
                    "xmlns:uml=\"http://example.org/UML\"><uml:Model/></xmi:XMI>"),
            "line 1, column 2: unknown UML namespace 'http://example.org/UML'");
  EXPECT_EQ(failure("<xmi:XMI xmlns:xmi=\"http://www.omg.org/spec/XMI/20131001\"/>"),
            "line 1, column 2: no UML namespace declared on xmi:XMI");
  EXPECT_EQ(failure("<xmi:XMI xmlns:xmi=\"http://www.omg.org/XMI/1999\"/>"),
            "line 1, column 2: unknown XMI namespace 'http://www.omg.org/XMI/1999'");
  EXPECT_EQ(failure("<uml:Class xmlns:uml=\"http://www.omg.org/spec/UML/20131001\"/>"),
            "line 1, column 2: root element 'uml:Class' is neither xmi:XMI nor a UML Model, "
            "Package or Profile");
  EXPECT_EQ(failure(eclipse("<Ecore:EPackage xmlns:Ecore=\"urn:e\"/>")),
            "line 2, column 2: the document holds no UML element to keep its other content on");
  expectUnchanged();
}

TEST_F(FatalTest, ReferencesThatCannotBeSet) {
  EXPECT_EQ(failure(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Class" xmi:id="x"/>
  <packagedElement xmi:type="uml:Class" xmi:id="x"/>
  <packagedElement xmi:type="uml:Class" xmi:id="y"><generalization general="x"/></packagedElement>
</uml:Model>)")),
            "line 6: duplicate xmi:id 'x' at lines 4 and 5 is referenced at line 6");
  // The primitive types library, made on the way for the first attribute, goes too.
  EXPECT_EQ(failure(eclipse(R"(<uml:Model xmi:id="m">
  <ownedComment xmi:id="note"/>
  <packagedElement xmi:type="uml:Class" xmi:id="c">
    <ownedAttribute xmi:id="b"><type href="pathmap://UML_LIBRARIES/UMLPrimitiveTypes.library.uml#Boolean"/></ownedAttribute>
    <ownedAttribute xmi:id="p" type="note"/>
  </packagedElement>
</uml:Model>)")),
            "line 7: 'note' is a Comment, which Property.type of 'p' does not accept (it takes a Type)");
  EXPECT_EQ(failure(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Class">
    <ownedAttribute type="m"/>
  </packagedElement>
</uml:Model>)")),
            "line 5: 'm' is a Model, which Property.type of the Property at line 5 does not accept "
            "(it takes a Type)");
  // Connector.type takes an Association only, though Property.type took the same class.
  EXPECT_EQ(failure(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Class" xmi:id="c">
    <ownedAttribute xmi:id="p" type="c"/>
    <ownedConnector xmi:id="k" type="c"/>
  </packagedElement>
</uml:Model>)")),
            "line 6: 'c' is a Class, which Connector.type of 'k' does not accept (it takes a Association)");
  EXPECT_EQ(failure(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Package" xmi:id="a">
    <packagedElement xmi:type="uml:Package" xmi:id="b">
      <packagedElement xmi:idref="a"/>
    </packagedElement>
  </packagedElement>
</uml:Model>)")),
            "line 6: containment cycle: Package.packagedElement of 'b' names 'a', which already "
            "contains it");
  EXPECT_EQ(failure(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Package" xmi:id="b" packagedElement="m"/>
</uml:Model>)")),
            "line 4: containment cycle: Package.packagedElement of 'b' names 'm', which already "
            "contains it");
  EXPECT_EQ(failure(eclipse(R"(<uml:Model xmi:id="m">
  <packagedElement xmi:type="uml:Comment" xmi:id="c"/>
</uml:Model>)")),
            "line 4, column 4: a Comment cannot be the value of Model.packagedElement of 'm'");
  expectUnchanged();
}

}  // namespace
