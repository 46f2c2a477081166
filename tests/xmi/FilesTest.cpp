// The reader on real model files, used as they are. Each file is read at most once per
// program, each into a model of its own; the profile and the metamodel that it
// extends share one model, the metamodel read on demand through a resolver.
#include <filesystem>
#include <map>
#include <memory>

#include "Support.h"

using namespace xmitest;
using zorbel::xmi::Dialect;
using zorbel::xmi::Document;

namespace {

const std::filesystem::path kFiles = ZORBEL_XMI_FILES;
constexpr const char* kMetamodelUri = "pathmap://UML_METAMODELS/UML.metamodel.uml";

class FilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::is_directory(kFiles)) GTEST_SKIP() << "no model files at " << kFiles;
  }

  struct Read {
    Kelpa::Model model = zorbel::NSInterface::FactoryIntf::createNewModel();
    Document document;
  };

  // Read on first use: ctest runs each case in a process of its own, so a case pays
  // only for the files it looks at.
  static const Document& doc(const std::string& name) {
    auto& read = files()[name];
    if (read) return read->document;
    read = std::make_unique<Read>();
    if (name == "Standard.profile.uml") {
      resolver = new zorbel::xmi::Resolver;
      resolver->addFile(kMetamodelUri, kFiles / "UML.metamodel.uml");
      read->document = zorbel::xmi::read(read->model, kFiles / name,
                                         {resolver, "pathmap://UML_PROFILES/Standard.profile.uml"});
    } else {
      read->document = zorbel::xmi::read(read->model, kFiles / name);
    }
    return read->document;
  }
  static const Document& metamodel() {
    doc("Standard.profile.uml");
    return *resolver->find(kMetamodelUri);
  }
  static void TearDownTestSuite() {
    for (auto& [name, read] : files()) {
      read->document = Document();
      read->model->destroyModel();
    }
    files().clear();
    delete resolver;
    resolver = nullptr;
  }

  static std::map<std::string, std::unique_ptr<Read>>& files() {
    static std::map<std::string, std::unique_ptr<Read>> all;
    return all;
  }

  // The packaged element of that name.
  static Kelpa::ClassObject named(const Kelpa::ImmutableClassObject& package, const std::string& name) {
    for (const auto& element : all(package, "packagedElement"))
      if (text(element, "name") == name) return element;
    return {};
  }

  static zorbel::xmi::Resolver* resolver;
};
zorbel::xmi::Resolver* FilesTest::resolver = nullptr;

TEST_F(FilesTest, EveryFileReads) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(kFiles)) {
    const std::string ext = entry.path().extension().string();
    if (ext == ".uml" || ext == ".xmi") names.push_back(entry.path().filename().string());
  }
  EXPECT_EQ(names.size(), 9u);
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    // The metamodel is read for the profile that extends it.
    const Document& document = name == "UML.metamodel.uml" ? metamodel() : doc(name);
    EXPECT_EQ(document.roots.size(), 1u);
    EXPECT_GT(document.report.createdCount(), 10u);
    // Every element with an id is found under it, the id kept as its externalId.
    for (const auto& [id, element] : document.ids)
      ASSERT_EQ(element->getExternalId(element.getDeviant()).str(), id);
    EXPECT_EQ(document.dialect, name.ends_with(".xmi") ? Dialect::Omg : Dialect::Eclipse);
  }
}

TEST_F(FilesTest, LibraryClassesAttributesAndAssociations) {
  const Document& library = doc("library.uml");
  const Kelpa::ClassObject model = library.roots[0];
  EXPECT_EQ(text(model, "name"), "library");
  const zorbel::Class book(named(model, "Book"));
  const zorbel::Class writer(named(model, "Writer"));
  ASSERT_FALSE(book.isNull());
  ASSERT_FALSE(writer.isNull());
  EXPECT_EQ(book->getExternalId(book.getDeviant()).str(), "_O9CIwafQEdu7T8WOb8fLHw");

  // category's type is the enumeration in the file; title and pages name Ecore's types,
  // which no document here holds: reported with their lines and kept.
  const auto attributes = all(book, "ownedAttribute");
  ASSERT_EQ(attributes.size(), 4u);
  EXPECT_EQ(text(attributes[2], "name"), "category");
  EXPECT_TRUE(same(one(attributes[2], "type"), named(model, "BookCategory")));
  std::vector<std::size_t> lines;
  for (const auto& u : library.report.unresolved) lines.push_back(u.line);
  EXPECT_EQ(lines, (std::vector<std::size_t>{6, 10, 25, 36, 58}));
  EXPECT_NE(kept(attributes[0]).find("EcorePrimitiveTypes.library.uml#EString"), std::string::npos);

  // author (Book) and books (Writer) are the two ends of one association, both ways.
  const Kelpa::ClassObject author = attributes[3];
  const Kelpa::ClassObject association = one(author, "association");
  const auto ends = all(association, "memberEnd");
  ASSERT_EQ(ends.size(), 2u);
  EXPECT_EQ(text(ends[0], "name"), "books");
  EXPECT_TRUE(same(ends[1], author));
  EXPECT_TRUE(same(one(ends[0], "association"), association));
  EXPECT_TRUE(same(one(ends[0], "class"), writer));
  EXPECT_TRUE(same(one(author, "type"), writer));

  // Stereotype applications of the Ecore profile, kept on the model.
  EXPECT_EQ(library.report.unknown.at("stereotype application Ecore:EReference"), 4u);
  EXPECT_NE(kept(model).find("@doc 2 "), std::string::npos);
}

TEST_F(FilesTest, PurchaseOrderModelWithItsOwnPrimitiveTypes) {
  const Document& po = doc("ExtendedPO2.uml");
  const Kelpa::ClassObject model = po.roots[0];
  EXPECT_EQ(text(model, "name"), "epo2");
  EXPECT_TRUE(po.report.unresolved.empty());
  EXPECT_EQ(po.report.created.at("Class"), 8u);
  EXPECT_EQ(po.report.created.at("Association"), 9u);
  const Kelpa::ClassObject supplier = named(model, "Supplier");
  const auto attributes = all(supplier, "ownedAttribute");
  ASSERT_EQ(attributes.size(), 5u);
  EXPECT_TRUE(same(one(attributes[0], "type"), named(model, "String")));
  EXPECT_EQ(text(attributes[1], "aggregation"), "composite");
  EXPECT_EQ(text(one(attributes[1], "upperValue"), "value"), "*");
  EXPECT_TRUE(same(one(attributes[1], "type"), named(model, "PurchaseOrder")));
  EXPECT_EQ(text(named(model, "Address"), "isAbstract"), "true");
  // Every association: each member end names it back, and is owned by it or a class.
  for (const auto& element : all(model, "packagedElement")) {
    if (element->getMetaClass()->getName() != "Association") continue;
    for (const auto& end : all(element, "memberEnd")) {
      EXPECT_TRUE(same(one(end, "association"), element));
      EXPECT_NE(one(end, "owningAssociation").isNull(), same(one(end, "owningAssociation"), element));
    }
  }
}

TEST_F(FilesTest, MetamodelWithItsStereotypesAndThePrimitiveTypes) {
  const Document& uml = metamodel();
  EXPECT_EQ(uml.dialect, Dialect::Eclipse);
  EXPECT_GT(uml.report.createdCount(), 7500u);
  std::size_t applications = 0;
  for (const auto& [kind, count] : uml.report.unknown)
    if (kind.starts_with("stereotype application ")) applications += count;
  EXPECT_EQ(applications, 335u);
  EXPECT_EQ(uml.report.unknown.at("stereotype application standard:Metaclass"), 242u);

  // Classifier.isAbstract is a Boolean of the primitive types library.
  const zorbel::Class classifier(uml.find("Classifier"));
  ASSERT_FALSE(classifier.isNull());
  Kelpa::ClassObject isAbstract;
  for (const auto& attribute : all(classifier, "ownedAttribute"))
    if (text(attribute, "name") == "isAbstract") isAbstract = attribute;
  const Kelpa::ClassObject boolean = one(isAbstract, "type");
  ASSERT_FALSE(boolean.isNull());
  EXPECT_EQ(text(boolean, "name"), "Boolean");
  EXPECT_EQ(boolean->getExternalToolInfo(boolean.getDeviant(), Kelpa::String("xmi-library")).getInfo().str(),
            "PrimitiveTypes");
  // What stays unresolved names Ecore's metamodel or profile, which are not at hand.
  for (const auto& u : uml.report.unresolved)
    EXPECT_TRUE(u.target.starts_with("Ecore.metamodel.uml#") ||
                u.target.starts_with("pathmap://UML_PROFILES/Ecore.profile.uml#"))
        << u.target;
}

TEST_F(FilesTest, ProfileReferencesTheMetamodelAndBack) {
  const Document& profile = doc("Standard.profile.uml");
  const Document& uml = metamodel();
  // Alone it leaves 37 references to the metamodel unresolved; with the resolver only
  // those to the Ecore profile stay.
  for (const auto& u : profile.report.unresolved)
    EXPECT_TRUE(u.target.starts_with("pathmap://UML_PROFILES/Ecore.profile.uml#")) << u.target;
  // Each extension's metaclass end is typed by a class of the metamodel.
  std::size_t typed = 0;
  for (const auto& [id, element] : profile.ids) {
    if (element->getMetaClass()->getName() != "Property" || text(element, "name").rfind("base_", 0))
      continue;
    const Kelpa::ClassObject type = one(element, "type");
    ASSERT_FALSE(type.isNull()) << id;
    EXPECT_TRUE(same(type, uml.find(type->getExternalId(type.getDeviant()).str())));
    ++typed;
  }
  EXPECT_EQ(typed, 34u);
  // The metamodel's application of the profile names the profile, which was being read
  // when the metamodel was read for it.
  EXPECT_TRUE(same(one(uml.find("_profileApplication.1"), "appliedProfile"), profile.roots[0]));
}

TEST_F(FilesTest, OmgMetamodelAndItsDuplicateIds) {
  const Document& uml = doc("UML.xmi");
  EXPECT_EQ(uml.dialect, Dialect::Omg);
  EXPECT_EQ(uml.report.warnings.size(), 7u);
  // The hrefs to the dated PrimitiveTypes.xmi resolve to the library; one to the Ecore
  // profile does not.
  ASSERT_EQ(uml.report.unresolved.size(), 1u);
  EXPECT_EQ(uml.report.unresolved[0].target, "pathmap://UML_PROFILES/Ecore.profile.uml#_0");
  const Kelpa::ClassObject import = uml.find("_packageImport.0");
  const Kelpa::ClassObject library = one(import, "importedPackage");
  EXPECT_EQ(text(library, "name"), "PrimitiveTypes");
  const Kelpa::ClassObject boolean = one(uml.find("Classifier-isAbstract"), "type");
  EXPECT_EQ(text(boolean, "name"), "Boolean");
  EXPECT_TRUE(same(one(boolean, "owner"), library));
  // The comment's body, written as child text, and its annotated element.
  const Kelpa::ClassObject comment = uml.find("Classifier-isAbstract-_ownedComment.0");
  EXPECT_TRUE(text(comment, "body").starts_with("If true, the Classifier can only be instantiated"));
  EXPECT_TRUE(same(all(comment, "annotatedElement").at(0), uml.find("Classifier-isAbstract")));
  // A body condition is nested among the operation's rules and named again by
  // bodyCondition; the library keeps bodyCondition as a composite of its own, so the
  // nesting decides and the reference is kept as written.
  const Kelpa::ClassObject operation = uml.find("ActivityEdge-isConsistentWith");
  const auto rules = all(operation, "ownedRule");
  ASSERT_EQ(rules.size(), 1u);
  EXPECT_TRUE(same(rules[0], uml.find("ActivityEdge-isConsistentWith-spec")));
  EXPECT_TRUE(one(operation, "bodyCondition").isNull());
  EXPECT_NE(kept(operation).find("bodyCondition=\"ActivityEdge-isConsistentWith-spec\""), std::string::npos);
  EXPECT_EQ(uml.report.unknown.at("reference to a nested element through Operation.bodyCondition"), 199u);
  // Both metamodels hold the same classes.
  EXPECT_EQ(uml.report.created.at("Class"), 242u);
}

}  // namespace
