#include <gtest/gtest.h>

#include "../support/Failure.h"

#include <Kelpa/Model.h>
#include <Kelpa/Visitor.h>
#include <zorbel/zorbel.h>

using Kelpa::Deviant;
using zorbel::Comment;
using zorbel::String;
namespace CV = Kelpa::CooperativeVisitor::internal;

namespace {

using testsupport::failureAt;
using testsupport::failureOf;

class ZorbelComment : public ::testing::Test {
 protected:
  void TearDown() override {
    if (!model.isNull()) model->destroyModel();
  }
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Deviant root = model.getDeviant();
};

TEST(ZorbelStartup, RunsOnceAtLoadBeforeAnyClientCall) {
  const auto countLines = [] {
    int n = 0;
    for (const auto& e : Kelpa::kelpaLogDebugEntries())
      if (e.text == "Initializing the zorbel meta-registry.") {
        ++n;
        EXPECT_FALSE(e.kernelInitialized);  // logged before the kernel came up
      }
    return n;
  };
  EXPECT_EQ(countLines(), 1);
  EXPECT_TRUE(zorbel::initialize());
  EXPECT_TRUE(zorbel::initialize());
  EXPECT_EQ(countLines(), 1);
  EXPECT_TRUE(Kelpa::isInitialized());
  EXPECT_FALSE(Kelpa::Cleanup::isInMetaRegistrySection());
}

TEST(ZorbelStartup, BindsBothNamesOfEveryClass) {
  bool found = false;
  EXPECT_EQ(CV::LookupTagByName("zorbel.Comment", found),
            CV::classInfoOf<zorbel::NSInterface::CommentIntf>());
  EXPECT_TRUE(found);
  EXPECT_EQ(CV::LookupTagByName("zorbel.ImmutableElement", found),
            CV::classInfoOf<zorbel::NSInterface::ElementIntf>());
  EXPECT_TRUE(found);
}

TEST(ZorbelStartup, ConfigurationMakesModels) {
  zorbel_Configuration record{};
  zorbel_getConfiguration(&record);
  ASSERT_NE(record.createModel, nullptr);
  Kelpa::Model m = record.createModel();
  EXPECT_EQ(m.getDeviant().getDeviantId(), 0u);
  EXPECT_FALSE(zorbel::Factory(record.createFactory(m)).isNull());
  EXPECT_EQ(record.getMetaModel(m).getDeviant(), m.getDeviant());  // the meta package in m's deviant
  m->destroyModel();
  EXPECT_THROW(record.createFactory(m), Kelpa::Exception);
  // The failure leaves the writability checks as they were.
  EXPECT_TRUE(Kelpa::DeviantAssertions::sAssertionsEnabled);
}

TEST_F(ZorbelComment, BodyPresenceAndValues) {
  Comment c = Comment::create(model);
  EXPECT_FALSE(c->hasBody(root));
  EXPECT_EQ(c->getBody(root), String());
  c->setBody(root, String(""));  // an unset body takes even the empty string
  EXPECT_TRUE(c->hasBody(root));
  c->setBody(root, String(u"r\u00e9sum\u00e9"));
  EXPECT_EQ(c->getBody(root).to_string(), "r\xc3\xa9sum\xc3\xa9");
  c->removeBody(root);
  EXPECT_FALSE(c->hasBody(root));
  EXPECT_EQ(c->getBody(root), String());
}

TEST_F(ZorbelComment, EqualWriteIsNoWriteButRemovalAlwaysWrites) {
  Comment c = Comment::create(model);
  Comment unset = Comment::create(model);
  c->setBody(root, String("same"));
  root.setWritable(false);
  EXPECT_NO_THROW(c->setBody(root, String("same")));  // no writability check at all
  EXPECT_EQ(failureAt([&] { c->setBody(root, String("other")); }),
            "Assertion failed: deviant is not writable at kelpa/kernel/deviant/Deviant:");
  EXPECT_THROW(unset->removeBody(root), Kelpa::Exception);  // even with nothing to remove
  EXPECT_THROW(Comment::create(model), Kelpa::Exception);
  root.setWritable(true);
  EXPECT_EQ(c->getBody(root).to_string(), "same");
}

TEST_F(ZorbelComment, CreationGivesIdsModelAndRootObject) {
  Comment a = Comment::create(model);
  Comment b = Comment::createWithId(model, 1000);
  EXPECT_TRUE(a->hasId());
  EXPECT_EQ(b->getId().getValue(), 1000);
  EXPECT_EQ(model->findObjectById(root, a->getId()).get(), a.get());
  EXPECT_EQ(a->getModelKelpa(root).get(), model.get());
  EXPECT_EQ(model->getRootObjects(root).size(), 2);
  EXPECT_EQ(a->numRef(), 2);  // the handle and the model's root objects
  EXPECT_EQ(a->getRuvoName(false), "zorbel.Comment");
  EXPECT_EQ(a->getRuvoName(true), "zorbel.ImmutableComment");

  Kelpa::Model none;
  EXPECT_EQ(failureOf([&] { Comment::create(none); }),
            "Assertion failed: Cannot access NULL ref. Use isValid() before calling methods at "
            "kelpa/Kelpa/Model_h:84: ");
}

TEST_F(ZorbelComment, StateAnswersAsAStateNotAsAnElement) {
  Comment c = Comment::create(model);
  auto* state =
      Kelpa::primary_cast<zorbel::NSInterface::CommentIntf>(c->internal_getDeviation(root));
  ASSERT_TRUE(Deviant::isRealState(state));
  EXPECT_EQ(failureAt([&] { state->getId(); }),
            "Assertion failed: this code should not be hit at "
            "zorbel/NSImplementation/NSDeviant/CommentDeviantImpl:");
  EXPECT_EQ(failureAt([&] { state->getRuvoName(false); }),
            "Assertion failed: Internal Error at zorbel/NSInterface/CommentIntf:");
  EXPECT_EQ(state->numRef(), 0);
  EXPECT_TRUE(state->getEmptyValue().isNull());
  EXPECT_FALSE(c->getEmptyValue().isNull());
}

TEST_F(ZorbelComment, HandlesCountAndKeepTheirOwnModel) {
  Comment c = Comment::create(model);
  const int base = c->numRef();
  {
    Comment copy = c;
    zorbel::ImmutableElement asElement = c;
    EXPECT_EQ(c->numRef(), base + 2);
    copy = Comment();
    EXPECT_EQ(c->numRef(), base + 1);
  }
  EXPECT_EQ(c->numRef(), base);

  Comment null;
  EXPECT_FALSE(null.isValid());
  EXPECT_EQ(failureOf([&] { null->hasBody(root); }),
            "Assertion failed: Cannot access NULL ref. Use isValid() before calling methods at "
            "kelpa/Kelpa/Model_h:84: ");

  // A deviant of another model is replaced by the object's own root deviant.
  Kelpa::Model other = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Comment moved(c.get(), other.getDeviant());
  EXPECT_EQ(moved.getDeviant(), root);
  moved.setDeviant(other.getDeviant());
  EXPECT_EQ(moved.getDeviant(), root);
  // Reads through a foreign deviant go to the object's root.
  c->setBody(root, String("x"));
  EXPECT_EQ(c->getBody(other.getDeviant()).to_string(), "x");
  other->destroyModel();
}

TEST_F(ZorbelComment, CastGoesThroughTheClassTable) {
  Comment c = Comment::create(model);
  using zorbel::NSInterface::CommentIntf;
  using zorbel::NSInterface::ElementIntf;
  EXPECT_EQ(c->cast(CV::classInfoOf<ElementIntf>()), c->cast(CV::classInfoOf<CommentIntf>()));
  EXPECT_NE(c->cast(CV::classInfoOf<Kelpa::ReferenceCountingIntf>()), nullptr);
  EXPECT_EQ(c->cast(CV::classInfoOf<Kelpa::NSInterface::ModelIntf>()), nullptr);

  zorbel::Element asElement(static_cast<const Kelpa::ImmutableObject&>(c));
  EXPECT_EQ(asElement.get(), static_cast<ElementIntf*>(c.get()));
  zorbel::Comment back(static_cast<const Kelpa::ImmutableObject&>(asElement));
  EXPECT_EQ(back.get(), c.get());
  EXPECT_TRUE(zorbel::Comment(Kelpa::ImmutableObject(model.get(), root)).isNull());
}

TEST_F(ZorbelComment, VisitorPicksTheMostSpecificMethod) {
  Comment c = Comment::create(model);
  const CV::ClassInfo element = CV::classInfoOf<zorbel::NSInterface::ElementIntf>();
  const CV::ClassInfo comment = CV::classInfoOf<zorbel::NSInterface::CommentIntf>();
  CV::LightVector<CV::LightVector<unsigned long>> table(element.domain + 1);
  EXPECT_EQ(c->getVisitMethod(table).method, 0u);  // nothing registered
  table[element.domain].resize(std::max(element.cls, comment.cls) + 1);
  table[element.domain][element.cls] = 11;
  EXPECT_EQ(c->getVisitMethod(table).method, 11u);
  table[comment.domain][comment.cls] = 22;
  EXPECT_EQ(c->getVisitMethod(table).method, 22u);
}

TEST_F(ZorbelComment, StoredSequencesOfElements) {
  Comment note = Comment::create(model);
  Comment a = Comment::create(model), b = Comment::create(model);
  Kelpa::Sequence<zorbel::Element> annotated = note->getAnnotatedElements(root);
  annotated.push_back(b);
  annotated.push_back(a);
  annotated.push_back(b);
  ASSERT_EQ(annotated.size(), 2);
  EXPECT_EQ(annotated[0].get(), static_cast<zorbel::NSInterface::ElementIntf*>(b.get()));
  EXPECT_EQ(note->getAnnotatedElementsWithoutAssociation(root).size(), 2);

  Kelpa::Sequence<Comment> owned = note->getOwnedComments(root);
  owned.push_back(a);
  EXPECT_EQ(owned.front().get(), a.get());
  EXPECT_EQ(failureAt([&] { owned.push_back(Comment()); }),
            "Assertion failed: null object while inserting into zorbel.SequenceOfComment at "
            "kelpa/kernel/containers/sequence/multi_index/MultiIndexImplForRefs:");
  EXPECT_EQ(owned.size(), 1);
}

TEST_F(ZorbelComment, ElementsOfADestroyedModelAreHusks) {
  Comment c = Comment::create(model);
  c->setBody(root, String("kept"));
  model->destroyModel();
  model = Kelpa::Model();
  EXPECT_FALSE(c.isValid());
  EXPECT_EQ(failureAt([&] { c->getBody(root); }),
            "Assertion failed: object accessed after its model has been destroyed at "
            "kelpa/kernel/deviant/Deviations:");
  EXPECT_EQ(c->numRef(), 1);  // the model let go; the handle is the last holder
}

}  // namespace
