#include <gtest/gtest.h>

#include "../support/Failure.h"

#include <Kelpa/Asserter.h>
#include <Kelpa/ElementBase.h>
#include <Kelpa/Model.h>
#include <Kelpa/Values.h>
#include <Kelpa/Visitor.h>

#include "TestElement.h"

using Kelpa::Deviant;
using test::Note;
namespace CV = Kelpa::CooperativeVisitor::internal;

namespace {

const bool kKernelUp = Kelpa::initialize();

// Runs f and returns the text of the Kelpa::Exception it raises.
using testsupport::failureAt;
using testsupport::failureOf;

// A fresh model that is destroyed with the fixture.
class KelpaModel : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(kKernelUp); }
  void TearDown() override {
    if (!model.isNull()) model->destroyModel();
  }
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Deviant root = model.getDeviant();
};

TEST(KelpaAsserter, ComposesTheFailureText) {
  EXPECT_EQ(failureOf([] { Kelpa::raise(Kelpa::Where{"zorbel/Integer"}, 31, "bad thing"); }),
            "Assertion failed: bad thing at zorbel/Integer:31: ");
  EXPECT_NO_THROW(Kelpa::Asserter::Make<Kelpa::Exception>(true, "x").handle("f", 1, ""));
  EXPECT_THROW(Kelpa::raiseUnImplemented(Kelpa::Where{"p"}, 1, "absent"),
               Kelpa::UnImplementedException);
  EXPECT_EQ(failureOf([] { Kelpa::raiseNullRef(); }),
            "Assertion failed: Cannot access NULL ref. Use isValid() before calling methods at "
            "kelpa/Kelpa/Model_h:84: ");
}

TEST(KelpaVisitor, TagsAreDensePerDomainAndStable) {
  struct DomainA {};
  struct X {};
  struct Y {};
  const unsigned long x = CV::GetTag(typeid(X), typeid(DomainA));
  const unsigned long y = CV::GetTag(typeid(Y), typeid(DomainA));
  EXPECT_EQ(y, x + 1);
  EXPECT_EQ(CV::GetTag(typeid(X), typeid(DomainA)), x);

  CV::BindTagToName("test.Thing", CV::ClassInfo{7, 9});
  bool found = false;
  EXPECT_EQ(CV::LookupTagByName("test.Thing", found), (CV::ClassInfo{7, 9}));
  EXPECT_TRUE(found);
  CV::LookupTagByName("test.Nothing", found);
  EXPECT_FALSE(found);
}

TEST(KelpaVisitor, ClassTableRefusesWhatItDoesNotHold) {
  CV::ClassMetaInfo table;
  auto identity = [](const Kelpa::ReferenceCountingIntf* p) {
    return const_cast<Kelpa::ReferenceCountingIntf*>(p);
  };
  table.add({0, 3}, identity);
  table.add({1, 1}, identity);
  Kelpa::ReferenceCountingIntf object;
  EXPECT_EQ(table.cast(&object, {0, 3}), &object);
  EXPECT_EQ(table.cast(&object, {1, 1}), &object);
  EXPECT_EQ(table.cast(&object, {0, 0}), nullptr);   // zero cell that is not the class itself
  EXPECT_EQ(table.cast(&object, {0, 40}), nullptr);  // beyond the row
  EXPECT_EQ(table.cast(&object, {5, 0}), nullptr);   // beyond the rows
  EXPECT_EQ(table.size(), 2u);

  CV::LightVector<CV::LightVector<unsigned long>> visitor(2);
  EXPECT_EQ(table.findVisitMethod(&object, visitor).method, 0u);
  visitor[1].resize(2);
  visitor[1][1] = 42;
  EXPECT_EQ(table.findVisitMethod(&object, visitor).method, 42u);
}

TEST_F(KelpaModel, CreationEntersTheModelWithAFreshId) {
  Note a = Note::create(model);
  Note b = Note::create(model);
  EXPECT_EQ(root.getDeviantId(), 0u);
  EXPECT_EQ(root.getRootDeviant(), root);
  EXPECT_LT(a->getId().getValue(), b->getId().getValue());
  EXPECT_EQ(model->findObjectById(root, b->getId()).get(), b.get());
  EXPECT_EQ(model->numberOfObjects(), 2u);
  EXPECT_EQ(model->getRootObjects(root).size(), 2);
  // The handle and the model's root objects each hold a count.
  EXPECT_EQ(a->numRef(), 2);
  EXPECT_TRUE(a->getModelKelpa(root).get() == model.get());
  EXPECT_EQ(
      failureAt([&] { model->bindObjectId(root, Kelpa::ClassObject(b.get(), root), a->getId()); }),
      "Assertion failed: object id " + std::to_string(a->getId().getValue()) +
          " is already bound in this model at kelpa/kernel/model/Model:");
}

TEST_F(KelpaModel, IdsNearAndFarAreFoundAndFreed) {
  Note near = Note::create(model);
  Note far = Note::create(model);
  Note negative = Note::create(model);
  model->bindObjectId(root, Kelpa::ClassObject(far.get(), root), 5'000'000);
  model->bindObjectId(root, Kelpa::ClassObject(negative.get(), root), -7);
  EXPECT_EQ(model->findObjectById(root, 5'000'000).get(), far.get());
  EXPECT_EQ(model->findObjectById(root, -7).get(), negative.get());
  EXPECT_TRUE(model->findObjectById(root, 2).isNull());  // far's old id is free again
  EXPECT_EQ(model->findObjectById(root, near->getId()).get(), near.get());
  EXPECT_EQ(model->numberOfObjects(), 3u);
  EXPECT_EQ(model->nextObjectId(root).getValue(), 5'000'001);  // never reuses a bound id
  model->getRootObjects(root).clear();
  far = Note();
  negative = Note();
  EXPECT_EQ(model->numberOfObjects(), 1u);
  EXPECT_TRUE(model->findObjectById(root, -7).isNull());
}

TEST_F(KelpaModel, ErasedRootObjectDiesWithItsLastHandle) {
  const int before = test::liveNotes();
  {
    Note n = Note::create(model);
    model->getRootObjects(root).erase(0);
    EXPECT_EQ(n->numRef(), 1);
    EXPECT_EQ(test::liveNotes(), before + 1);
  }
  EXPECT_EQ(test::liveNotes(), before);
  EXPECT_EQ(model->numberOfObjects(), 0u);
}

TEST_F(KelpaModel, DestroyedModelLeavesHusksThatRefuseAccess) {
  const int before = test::liveNotes();
  Note kept = Note::create(model);
  Note other = Note::create(model);
  kept->getLinks(root).push_back(other);  // a cycle-free link that the state holds
  other = Note();
  model->destroyModel();
  model = Kelpa::Model();
  EXPECT_EQ(test::liveNotes(), before + 1);  // only the handle keeps kept alive
  EXPECT_FALSE(kept.isValid());
  const std::string text = failureOf([&] { kept->hasWeight(root); });
  EXPECT_EQ(text.rfind("Assertion failed: object accessed after its model has been destroyed at "
                       "kelpa/kernel/deviant/Deviations:",
                       0),
            0u)
      << text;
  EXPECT_FALSE(root.isValid());
}

TEST_F(KelpaModel, ReadOnlyDeviantRefusesWritesUnlessAssertionsAreOff) {
  Note n = Note::create(model);
  n->setWeight(root, 3);
  root.setWritable(false);
  EXPECT_EQ(
      failureOf([&] {
        n->setWeight(root, 4);
      }).rfind("Assertion failed: deviant is not writable at kelpa/kernel/deviant/Deviant:", 0),
      0u);
  EXPECT_EQ(n->getWeight(root).getValue(), 3);  // reads go on
  const bool previous = Kelpa::DeviantAssertions::enableAssertions(false);
  EXPECT_TRUE(previous);
  n->setWeight(root, 5);
  Kelpa::DeviantAssertions::enableAssertions(true);
  root.setWritable(true);
  EXPECT_EQ(n->getWeight(root).getValue(), 5);
}

TEST_F(KelpaModel, StateSlotsFollowTheirLifecycle) {
  Note n = Note::create(model);
  Kelpa::NSInterface::ObjectIntf* state = n->internal_getDeviation(root);
  ASSERT_TRUE(Deviant::isRealState(state));
  EXPECT_EQ(n->internal_createDeviation(root), nullptr);  // a state is there already
  EXPECT_EQ(n->internal_getDeviation(root), state);

  n->setWeight(root, 7);
  n->internal_destroyDeviation(root);
  EXPECT_EQ(n->internal_getDeviation(root), Deviant::InvalidObject);
  EXPECT_FALSE(n.isValid());
  EXPECT_EQ(failureOf([&] {
              n->getWeight(root);
            }).rfind("Assertion failed: object is not present in this deviant", 0),
            0u);

  n->internal_createDeviation(root);  // back, with default values
  EXPECT_TRUE(n.isValid());
  EXPECT_FALSE(n->hasWeight(root));

  n->internal_setDeviation(root, Deviant::ModelDestroyed);
  EXPECT_EQ(n->internal_getDeviation(root), Deviant::ModelDestroyed);
  n->internal_setDeviation(root, nullptr);
  n->internal_createDeviation(root);
  n->setWeight(root, 9);
  Kelpa::NSInterface::ObjectIntf* copy = n->deviant_getCopyOfDeviation(root);
  ASSERT_TRUE(Deviant::isRealState(copy));
  EXPECT_EQ(Kelpa::primary_cast<test::NoteIntf>(copy)->getWeight(root).getValue(), 9);
  n->deviant_destroyState(copy);
}

TEST_F(KelpaModel, StatesRefuseIdsAndIdentityCountsDown) {
  Note n = Note::create(model);
  auto* state = static_cast<Kelpa::NSInterface::ClassObjectIntf*>(
      Kelpa::primary_cast<Kelpa::NSInterface::ClassObjectIntf>(n->internal_getDeviation(root)));
  EXPECT_EQ(failureAt([&] { state->getId(); }),
            "Assertion failed: this code should not be hit at test/NoteDeviantImpl:");
  EXPECT_THROW(state->setId(3), Kelpa::Exception);
  EXPECT_EQ(state->numRef(), 0);
  state->incRef();
  EXPECT_EQ(state->numRef(), 0);
}

TEST_F(KelpaModel, SparseExternalIdBelongsToTheState) {
  const std::size_t before = Kelpa::detail::externalIdCount();
  {
    Note n = Note::create(model);
    EXPECT_FALSE(n->hasExternalId(root));
    n->setExternalId(root, Kelpa::String("ext-1"));
    EXPECT_TRUE(n->hasExternalId(root));
    EXPECT_EQ(n->getExternalId(root).str(), "ext-1");
    EXPECT_EQ(Kelpa::detail::externalIdCount(), before + 1);
    n->setExternalId(root, Kelpa::String(""));
    EXPECT_FALSE(n->hasExternalId(root));
    n->setExternalId(root, Kelpa::String("ext-2"));
    model->getRootObjects(root).clear();
  }
  EXPECT_EQ(Kelpa::detail::externalIdCount(), before);  // erased with the state
}

TEST_F(KelpaModel, SparseSequencesAreMadeOnReadAndDieWithTheState) {
  const std::size_t before = Kelpa::detail::sparseSequenceCount();
  {
    Note n = Note::create(model);
    EXPECT_FALSE(n->hasExternalToolInfos(root));
    EXPECT_FALSE(n->hasAppliedStereotypeInstances(root));
    EXPECT_EQ(Kelpa::detail::sparseSequenceCount(), before);  // asking made nothing
    EXPECT_TRUE(n->getAppliedStereotypeInstances(root).empty());
    EXPECT_EQ(Kelpa::detail::sparseSequenceCount(), before + 1);  // reading did

    n->setExternalToolInfo(root, {Kelpa::String("lint"), Kelpa::String("clean")});
    n->setExternalToolInfo(root, {Kelpa::String("docs"), Kelpa::String("todo")});
    n->setExternalToolInfo(root, {Kelpa::String("lint"), Kelpa::String("3 warnings")});
    EXPECT_TRUE(n->hasExternalToolInfos(root));
    Kelpa::Sequence<Kelpa::ExternalToolInfo> infos = n->getExternalToolInfos(root);
    ASSERT_EQ(infos.size(), 2);
    EXPECT_EQ(infos[0].getToolName().str(), "docs");
    EXPECT_EQ(n->getExternalToolInfo(root, Kelpa::String("lint")).getInfo().str(), "3 warnings");
    EXPECT_TRUE(n->getExternalToolInfo(root, Kelpa::String("none")).getToolName().empty());
    infos.push_back({Kelpa::String("docs"), Kelpa::String("todo")});  // equal: refused
    EXPECT_EQ(infos.size(), 2);
    n->removeExternalToolInfo(root, {Kelpa::String("docs"), Kelpa::String("todo")});
    EXPECT_EQ(infos.size(), 1);
    EXPECT_EQ(infos.getDeviant(), root);
    model->getRootObjects(root).clear();
  }
  EXPECT_EQ(Kelpa::detail::sparseSequenceCount(), before);
}

TEST_F(KelpaModel, ContainerHoldsACountAndAModelDoesNot) {
  Note box = Note::create(model);
  Note item = Note::create(model);
  const int count = box->numRef();
  item->setContainerKelpa(root, Kelpa::ClassObject(box.get(), root));
  EXPECT_TRUE(item->hasContainerKelpa(root));
  EXPECT_EQ(box->numRef(), count + 1);
  EXPECT_EQ(item->getContainerKelpa(root).get(), box.get());
  item->removeContainerKelpa(root);
  EXPECT_EQ(box->numRef(), count);
  item->setContainerKelpa(root, Kelpa::ClassObject(model.get(), root));
  EXPECT_TRUE(item->hasContainerKelpa(root));
}

TEST_F(KelpaModel, StoredSequenceKeepsOrderRefusesDuplicatesAndCounts) {
  Note owner = Note::create(model);
  Note a = Note::create(model), b = Note::create(model), c = Note::create(model);
  Kelpa::Sequence<Note> links = owner->getLinks(root);
  EXPECT_TRUE(links.empty());
  links.push_back(a);
  links.push_back(b);
  links.push_back(a);  // present: nothing moves, nothing counted
  links.insert(0, c);
  ASSERT_EQ(links.size(), 3);
  EXPECT_EQ(links[0].get(), c.get());
  EXPECT_EQ(links[1].get(), a.get());
  EXPECT_EQ(links[2].get(), b.get());
  EXPECT_EQ(a->numRef(), 3);  // handle, root objects, links
  EXPECT_TRUE(links.contains(b));

  EXPECT_EQ(std::vector<Note>(links.begin(), links.end()).size(), 3u);

  EXPECT_TRUE(links.remove(a));
  EXPECT_FALSE(links.remove(a));
  EXPECT_EQ(a->numRef(), 2);
  links.replace(0, a);
  EXPECT_EQ(links.front().get(), a.get());
  EXPECT_EQ(c->numRef(), 2);
  links.clear();
  EXPECT_EQ(b->numRef(), 2);
  EXPECT_EQ(owner->getLinks(root).size(), 0);
}

TEST_F(KelpaModel, SequenceIndexAndTypeFailures) {
  Note owner = Note::create(model);
  Kelpa::Sequence<Note> links = owner->getLinks(root);
  const std::string where =
      " at kelpa/kernel/containers/sequence/multi_index/MultiIndexImplForRefs:";
  auto message = [&](auto f) {
    const std::string text = failureOf(f);
    return text.substr(0, text.find(where));
  };
  EXPECT_EQ(message([&] { links.at(0); }), "Assertion failed: sequence index out of bounds");
  EXPECT_EQ(message([&] { links.insert(-1, owner); }),
            "Assertion failed: sequence index must be positive");
  EXPECT_EQ(message([&] { links.insert(1, owner); }),
            "Assertion failed: sequence index out of bounds");
  EXPECT_EQ(message([&] { links.front(); }), "Assertion failed: sequence is empty");
  EXPECT_EQ(message([&] { links.pop_back(); }), "Assertion failed: sequence is empty");
  EXPECT_EQ(message([&] { links.push_back(Note()); }),
            "Assertion failed: null object while inserting into test.SequenceOfNote");
  links.insert(0, owner);  // index == size appends
  EXPECT_EQ(links.size(), 1);

  Kelpa::Sequence<Note> none;
  EXPECT_EQ(failureOf([&] { none.size(); }),
            "Assertion failed: Cannot access NULL sequence. Use MakeSequence to create sequences. "
            "at kelpa/Kelpa/Sequence_h:60: ");
}

TEST(KelpaValues, KernelValuesBoxAndParse) {
  Kelpa::Object boxed = Kelpa::Integer(12);
  const Tovi::any* value = Kelpa::valueOf(boxed);
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(Tovi::any_cast<Kelpa::Integer>(*value).getValue(), 12);
  EXPECT_EQ(boxed->toString(Deviant()).str(), "12");

  Kelpa::ValueObject parsed = Kelpa::ValueObjectFactory::createFromString("Kelpa.Boolean", "true");
  EXPECT_TRUE(Tovi::any_cast<Kelpa::Boolean>(parsed->getValue()).getValue());
  EXPECT_EQ(failureOf([] { Kelpa::ValueObjectFactory::createFromString("Kelpa.Integer", "x"); }),
            "Can't convert string 'x' to INT32_T");
  EXPECT_FALSE(Kelpa::ValueObjectFactory::isValueObjectType("no.Such"));
  EXPECT_THROW(Kelpa::ValueObjectFactory::create("Kelpa.Integer", Tovi::any(Kelpa::String("1"))),
               Kelpa::Exception);

  Kelpa::String text(u"gr\u00fc\u00df");
  EXPECT_STREQ(text.c_str(), "gr\xc3\xbc\xc3\x9f");
  Kelpa::String copy = text;
  EXPECT_EQ(copy, text);
}

TEST(KelpaLog, RecordsLinesWithTheKernelState) {
  Kelpa::kelpaLogDebug("hello %d", 5);
  const auto entries = Kelpa::kelpaLogDebugEntries();
  ASSERT_FALSE(entries.empty());
  EXPECT_EQ(entries.back().text, "hello 5");
  EXPECT_TRUE(entries.back().kernelInitialized);
}

}  // namespace
