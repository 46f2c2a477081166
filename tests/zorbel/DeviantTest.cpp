// Deviants: alternative states of one model, transactions, commit, abandon, undo and redo.
#include <gtest/gtest.h>

#include <zorbel/zorbel.h>

#include "../support/Failure.h"

namespace zorbel {
namespace {

using Kelpa::Deviant;
using testsupport::failureAt;

class Deviants : public ::testing::Test {
 protected:
  void TearDown() override { model->destroyModel(); }

  // The model handle moved to d, for a transaction there.
  Kelpa::Model in(Deviant d) const {
    Kelpa::Model m = model;
    m.setDeviant(d);
    return m;
  }
  std::string body(const Comment& c, Deviant d) const { return c->getBody(d).to_string(); }
  bool isRoot(const Kelpa::ImmutableClassObject& o) const {
    return model->getRootObjects(root).contains(Kelpa::ClassObject(o));
  }

  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Deviant root = model.getDeviant();
};

TEST_F(Deviants, ADeviationReadsTheRootUntilItWritesAndThenItsOwnSnapshot) {
  const Comment note = Comment::create(model);
  note->setBody(root, String("root text"));
  const Deviant d = model->createDeviant();
  EXPECT_NE(d.getDeviantId(), 0u);
  EXPECT_EQ(d.getRootDeviant(), root);

  // A read on fallback shares the root's state; an equal write copies nothing.
  EXPECT_EQ(body(note, d), "root text");
  note->setBody(d, String("root text"));
  EXPECT_EQ(note->internal_getDeviation(d), nullptr);

  note->setBody(d, String("what if"));
  EXPECT_NE(note->internal_getDeviation(d), nullptr);
  EXPECT_EQ(body(note, d), "what if");
  EXPECT_EQ(body(note, root), "root text");

  // A root change is not seen by a deviation, whether it had copied the element or not.
  const Comment other = Comment::create(model);  // made after d: d does not know it
  EXPECT_FALSE(other->deviant_isValid(d));
  EXPECT_EQ(failureAt([&] { (void)other->hasBody(d); }),
            "Assertion failed: object is not present in this deviant at kelpa/kernel/deviant/Deviant:");
  const Comment shared = Comment::create(model);
  const Deviant later = model->createDeviant();
  shared->setBody(root, String("before"));
  note->setBody(root, String("root again"));
  EXPECT_EQ(body(note, d), "what if");
  EXPECT_EQ(body(shared, later), "");
  EXPECT_EQ(body(note, later), "root text");
  EXPECT_EQ(body(shared, root), "before");

  // A deviant of another model is taken as the element's own root.
  Kelpa::Model foreign = Kelpa::NSInterface::FactoryIntf::createNewModel();
  EXPECT_EQ(body(note, foreign.getDeviant()), "root again");
  foreign->destroyModel();
}

TEST_F(Deviants, BothEndsAndOwnershipChangeWithinTheDeviationAlone) {
  const GeneralOrdering ordering = GeneralOrdering::create(model);
  const OccurrenceSpecification a = OccurrenceSpecification::create(model);
  const OccurrenceSpecification b = OccurrenceSpecification::create(model);
  ordering->setBefore(root, a);
  const Package first = Package::create(model);
  const Package second = Package::create(model);
  const Class cls = Class::create(model);
  first->getPackagedElements(root).push_back(cls);

  const Deviant d = model->createDeviant();
  ordering->setBefore(d, b);
  second->getPackagedElements(d).push_back(cls);
  EXPECT_EQ(ordering->getBefore(d).get(), b.get());
  EXPECT_TRUE(b->getToAfters(d).contains(ordering));
  EXPECT_FALSE(a->getToAfters(d).contains(ordering));
  EXPECT_EQ(cls->getOwner(d).get(), Element(second).get());
  EXPECT_TRUE(first->getPackagedElements(d).empty());

  EXPECT_EQ(ordering->getBefore(root).get(), a.get());
  EXPECT_TRUE(a->getToAfters(root).contains(ordering));
  EXPECT_TRUE(b->getToAfters(root).empty());
  EXPECT_EQ(cls->getOwner(root).get(), Element(first).get());
  EXPECT_TRUE(second->getPackagedElements(root).empty());

  // Made in the deviation, it exists there alone; destroyed there, it lives on in the root.
  const Comment draft = Comment::create(in(d));
  EXPECT_TRUE(draft->deviant_isValid(d));
  EXPECT_FALSE(draft->deviant_isValid(root));
  first->getOwnedComments(d).push_back(draft);
  EXPECT_EQ(first->getOwnedComments(d).size(), 1);
  EXPECT_TRUE(first->getOwnedComments(root).empty());
  a->destroy(d);
  EXPECT_FALSE(a->deviant_isValid(d));
  EXPECT_TRUE(a->deviant_isValid(root));
  EXPECT_TRUE(a->getToAfters(root).contains(ordering));

  // A partner is looked for in the deviant written, whatever deviant its handle carries.
  const Deviant e = model->createDeviant();
  b->destroy(root);
  second->destroy(root);
  const GeneralOrdering other = GeneralOrdering::create(in(e));
  other->setBefore(e, b);  // b's handle is the root's, where b is gone
  EXPECT_EQ(other->getBefore(e).get(), b.get());
  EXPECT_TRUE(b->getToAfters(e).contains(other));
  const Comment note = Comment::create(in(e));
  note->setOwner(e, second);
  EXPECT_EQ(note->getOwner(e).get(), Element(second).get());
}

// A stored list without opposite, erased and cleared in a deviation: the deviation
// takes its own copy on the first change, and a change refused or with nothing to do
// makes none.
TEST_F(Deviants, AStoredListChangesInADeviationAloneAndOnlyWhenChanged) {
  const Comment note = Comment::create(model);
  const Package a = Package::create(model);
  const Package b = Package::create(model);
  const Package c = Package::create(model);
  Kelpa::Sequence<Element> inRoot = note->getAnnotatedElements(root);
  for (const Package& p : {a, b, c}) inRoot.push_back(p);
  const Comment blank = Comment::create(model);

  const Deviant d = model->createDeviant();
  auto hasOwnState = [&](const Comment& x) {
    return Deviant::isRealState(x->internal_getDeviation(d));
  };
  Kelpa::Sequence<Element> inD = note->getAnnotatedElements(d);
  EXPECT_EQ(failureAt([&] { inD.erase(3); }),
            "Assertion failed: sequence index out of bounds at "
            "kelpa/kernel/containers/sequence/GenericSequence:");
  blank->getAnnotatedElements(d).clear();
  EXPECT_FALSE(hasOwnState(note));
  EXPECT_FALSE(hasOwnState(blank));

  inD.erase(1);
  EXPECT_TRUE(hasOwnState(note));
  ASSERT_EQ(inD.size(), 2);
  EXPECT_EQ(inD[0].get(), Element(a).get());
  EXPECT_EQ(inD[1].get(), Element(c).get());
  inD.erase(1);  // now in the deviation's own state
  ASSERT_EQ(inD.size(), 1);
  EXPECT_EQ(inD[0].get(), Element(a).get());
  EXPECT_EQ(inRoot.size(), 3);
  inD.clear();
  EXPECT_TRUE(inD.empty());
  ASSERT_EQ(inRoot.size(), 3);
  EXPECT_EQ(inRoot[1].get(), Element(b).get());
}

TEST_F(Deviants, AnAbandonedTransactionPutsEverythingBack) {
  const Comment note = Comment::create(model);
  note->setBody(root, String("kept"));
  const GeneralOrdering ordering = GeneralOrdering::create(model);
  const OccurrenceSpecification a = OccurrenceSpecification::create(model);
  const OccurrenceSpecification b = OccurrenceSpecification::create(model);
  ordering->setBefore(root, a);
  const Package package = Package::create(model);
  const Class cls = Class::create(model);
  const Property attribute = Property::create(model);
  cls->getZorbel_Class_OwnedAttributes(root).push_back(attribute);
  const Deviant d = model->createDeviant();
  Comment created;
  {
    Kelpa::Transaction t(model);
    EXPECT_TRUE(root.isWithinTransaction());
    EXPECT_EQ(failureAt([&] { Kelpa::Transaction second(model); }),
              "Assertion failed: a transaction is already open in this deviant at "
              "kelpa/kernel/deviant/Deviant:");
    note->setBody(root, String("changed"));
    ordering->setBefore(root, b);
    package->getPackagedElements(root).push_back(cls);
    created = Comment::create(model);
    package->getOwnedComments(root).push_back(created);
    attribute->destroy(root);
    // Deviations keep reading the root as it was when the transaction began.
    EXPECT_EQ(body(note, d), "kept");
    EXPECT_EQ(ordering->getBefore(d).get(), a.get());
    EXPECT_FALSE(created->deviant_isValid(d));
  }
  EXPECT_FALSE(root.isWithinTransaction());
  EXPECT_EQ(body(note, root), "kept");
  EXPECT_EQ(ordering->getBefore(root).get(), a.get());
  EXPECT_TRUE(a->getToAfters(root).contains(ordering));
  EXPECT_TRUE(b->getToAfters(root).empty());
  EXPECT_TRUE(package->getPackagedElements(root).empty());
  EXPECT_TRUE(package->getOwnedComments(root).empty());
  EXPECT_FALSE(cls->hasOwner(root));
  EXPECT_TRUE(isRoot(cls));
  EXPECT_FALSE(created->deviant_isValid(root));
  EXPECT_FALSE(isRoot(created));
  EXPECT_TRUE(attribute->deviant_isValid(root));
  EXPECT_EQ(attribute->getClass(root).get(), cls.get());
  EXPECT_EQ(cls->getZorbel_Class_OwnedAttributes(root).size(), 1);
  EXPECT_FALSE(model->canUndo(root));
}

TEST_F(Deviants, CommittedTransactionsUndoAndRedoWithBothEnds) {
  const GeneralOrdering ordering = GeneralOrdering::create(model);
  const OccurrenceSpecification a = OccurrenceSpecification::create(model);
  const OccurrenceSpecification b = OccurrenceSpecification::create(model);
  const Package package = Package::create(model);
  const Deviant d = model->createDeviant();
  Comment created;
  {
    Kelpa::Transaction t(model);
    ordering->setBefore(root, a);
    created = Comment::create(model);
    created->setBody(root, String("new"));
    package->getOwnedComments(root).push_back(created);
    t.commit();
  }
  {
    Kelpa::Transaction t(model);
    ordering->setBefore(root, b);
    t.commit();
    EXPECT_EQ(failureAt([&] { t.commit(); }),
              "Assertion failed: the transaction has already ended at kelpa/kernel/deviant/Deviant:");
  }
  // The deviation is a snapshot from before both.
  EXPECT_FALSE(ordering->hasBefore(d));
  EXPECT_FALSE(created->deviant_isValid(d));

  ASSERT_TRUE(model->canUndo(root));
  model->undo(root);
  EXPECT_EQ(ordering->getBefore(root).get(), a.get());
  EXPECT_TRUE(a->getToAfters(root).contains(ordering));
  EXPECT_TRUE(b->getToAfters(root).empty());
  model->undo(root);
  EXPECT_FALSE(ordering->hasBefore(root));
  EXPECT_TRUE(a->getToAfters(root).empty());
  EXPECT_FALSE(created->deviant_isValid(root));
  EXPECT_TRUE(package->getOwnedComments(root).empty());
  EXPECT_FALSE(model->canUndo(root));
  EXPECT_EQ(failureAt([&] { model->undo(root); }),
            "Assertion failed: nothing to undo in this deviant at kelpa/kernel/deviant/Deviant:");

  model->redo(root);
  EXPECT_EQ(body(created, root), "new");
  EXPECT_EQ(created->getOwner(root).get(), Element(package).get());
  EXPECT_FALSE(isRoot(created));
  EXPECT_EQ(ordering->getBefore(root).get(), a.get());
  EXPECT_TRUE(model->canRedo(root));
  // A new transaction drops what could be redone.
  {
    Kelpa::Transaction t(model);
    created->setBody(root, String("newer"));
    t.commit();
  }
  EXPECT_FALSE(model->canRedo(root));
  EXPECT_FALSE(ordering->hasBefore(d));

  // The same in a deviation, whose undo leaves the root alone.
  {
    Kelpa::Transaction t(in(d));
    ordering->setAfter(d, b);
    t.commit();
  }
  EXPECT_TRUE(b->getToBefores(d).contains(ordering));
  model->undo(d);
  EXPECT_FALSE(ordering->hasAfter(d));
  EXPECT_TRUE(b->getToBefores(d).empty());
  model->redo(d);
  EXPECT_EQ(ordering->getAfter(d).get(), b.get());
  EXPECT_FALSE(ordering->hasAfter(root));
}

TEST_F(Deviants, ACommitOfTheRootEndsItsWalkAtADeviationOnFallbackInATransaction) {
  const Comment note = Comment::create(model);
  note->setBody(root, String("old"));
  const Deviant d1 = model->createDeviant();
  const Deviant d2 = model->createDeviant();
  note->internal_setDeviation(d1, Deviant::FallbackToRoot);
  note->internal_setDeviation(d2, Deviant::FallbackToRoot);
  Kelpa::Transaction inD1(in(d1));
  note->setBody(d1, String("d1"));  // saves the marker FallbackToRoot
  EXPECT_EQ(note->internal_getDeviation(d1) == Deviant::FallbackToRoot, false);
  {
    Kelpa::Transaction t(model);
    note->setBody(root, String("new"));
    EXPECT_EQ(body(note, d2), "old");
    t.commit();
  }
  // d2 stands behind d1 and was not visited: it reads the new root.
  EXPECT_EQ(note->internal_getDeviation(d2), Deviant::FallbackToRoot);
  EXPECT_EQ(body(note, d2), "new");
  // d1's saved marker became the old root state, which abandoning brings back.
  inD1.abandon();
  EXPECT_EQ(body(note, d1), "old");
}

// The operations on one element's slots, as the kernel calls them.
TEST_F(Deviants, SlotsAndStatesAnswerForThemselves) {
  const Comment note = Comment::create(model);
  note->setBody(root, String("text"));
  note->setExternalId(root, Kelpa::String("_id1"));
  const Deviant d = model->createDeviant();

  EXPECT_EQ(note->deviant_getCopyOfDeviation(d), nullptr);  // no state of its own: no copy
  EXPECT_EQ(note->internal_createDeviation(root), nullptr);  // it has one in the root
  note->internal_setDeviation(d, Deviant::FallbackToRoot);
  EXPECT_EQ(note->internal_getDeviation(d), Deviant::FallbackToRoot);
  EXPECT_EQ(body(note, d), "text");

  // The first write copies the whole state, the sparse external id included.
  note->setBody(d, String("changed"));
  EXPECT_EQ(note->getExternalId(d).str(), "_id1");
  note->setExternalId(d, Kelpa::String("_id2"));
  EXPECT_EQ(note->getExternalId(root).str(), "_id1");

  // A state answers its sparse properties from its own entries, and is no element.
  Kelpa::NSInterface::ObjectIntf* state = note->internal_getDeviation(d);
  auto* asElement = Kelpa::detail::castTo<Kelpa::NSInterface::ClassObjectIntf>(state);
  ASSERT_NE(asElement, nullptr);
  EXPECT_TRUE(asElement->hasExternalId(d));
  EXPECT_EQ(asElement->getExternalId(d).str(), "_id2");
  EXPECT_FALSE(asElement->hasAppliedStereotypeInstances(d));
  EXPECT_FALSE(asElement->hasExternalToolInfos(d));
  EXPECT_FALSE(asElement->deviant_isValid(d));
  EXPECT_FALSE(asElement->deviant_isValid(root));

  // Assignment makes one state equal to another, releasing what the source lacks.
  const Package holder = Package::create(in(d));
  holder->getOwnedComments(d).push_back(note);
  const int counted = holder->numRef();
  Kelpa::NSInterface::ObjectIntf* copy = note->deviant_getCopyOfDeviation(d);
  EXPECT_EQ(holder->numRef(), counted + 1);  // the copy holds its container too
  Kelpa::NSInterface::ObjectIntf* fresh = note->deviant_getCopyOfDeviation(root);
  ASSERT_NE(fresh, nullptr);
  copy->internal_deviationAssign(d, fresh, root);  // the root's state has no container
  EXPECT_EQ(holder->numRef(), counted);
  note->deviant_destroyState(copy);
  note->deviant_destroyState(fresh);

  // Destroyed in d, then made again there: default values.
  note->internal_destroyDeviation(d);
  EXPECT_EQ(note->internal_getDeviation(d), Deviant::InvalidObject);
  EXPECT_FALSE(note->deviant_isValid(d));
  EXPECT_NE(note->internal_createDeviation(d), nullptr);
  EXPECT_FALSE(note->hasBody(d));
  EXPECT_FALSE(note->hasExternalId(d));
  // Emptied, the slot reads the root again.
  note->internal_setDeviation(d, nullptr);
  EXPECT_EQ(body(note, d), "text");
}

// Assignment brings a used state up to another one member by member: present values,
// references (with their counts), sequences and the sparse entries alike.
TEST_F(Deviants, AssignmentBringsAUsedStateUpToAnother) {
  const Property p = Property::create(model);
  const Class type = Class::create(model);
  const Comment note = Comment::create(model);
  p->setName(root, String("size"));
  p->setIsDerived(root, true);
  p->setType(root, type);
  p->getOwnedComments(root).push_back(note);
  p->setExternalId(root, Kelpa::String("_p"));
  p->setExternalToolInfo(root, {Kelpa::String("lint"), Kelpa::String("clean")});

  using State = Kelpa::NSInterface::ObjectIntf;
  auto asProperty = [](State* s) {
    return Kelpa::detail::castTo<NSInterface::PropertyIntf>(s);
  };
  State* full = p->deviant_getCopyOfDeviation(root);
  State* empty = p->internal_createDeviation(model->createDeviant());
  ASSERT_NE(full, nullptr);
  ASSERT_NE(empty, nullptr);
  const Deviant any = root;  // a state ignores the deviant it is read with

  // Up from nothing: every kind of member, the sparse ones included, with counts.
  State* target = p->deviant_getCopyOfDeviation(root);
  const int typeCount = type->numRef();
  const int noteCount = note->numRef();
  target->internal_deviationAssign(any, empty, any);
  EXPECT_EQ(type->numRef(), typeCount - 1);
  EXPECT_EQ(note->numRef(), noteCount - 1);
  EXPECT_FALSE(asProperty(target)->hasName(any));
  EXPECT_FALSE(asProperty(target)->isDerived(any));
  EXPECT_FALSE(asProperty(target)->hasType(any));
  EXPECT_EQ(asProperty(target)->getOwnedComments(any).size(), 0);
  EXPECT_FALSE(asProperty(target)->hasExternalId(any));
  EXPECT_FALSE(asProperty(target)->hasExternalToolInfos(any));

  target->internal_deviationAssign(any, full, any);
  EXPECT_EQ(type->numRef(), typeCount);
  EXPECT_EQ(note->numRef(), noteCount);
  EXPECT_EQ(asProperty(target)->getName(any).to_string(), "size");
  EXPECT_TRUE(asProperty(target)->isDerived(any));
  EXPECT_EQ(Kelpa::ClassObject(asProperty(target)->getType(any)), Kelpa::ClassObject(type));
  EXPECT_EQ(asProperty(target)->getOwnedComments(any).size(), 1);
  EXPECT_EQ(asProperty(target)->getExternalId(any).str(), "_p");
  EXPECT_EQ(asProperty(target)->getExternalToolInfo(any, Kelpa::String("lint")).getInfo().str(),
            "clean");

  // Equal states stay as they are, and a source that is no state of the class (the
  // identity itself, another class's state) changes nothing.
  State* noteState = note->deviant_getCopyOfDeviation(root);
  target->internal_deviationAssign(any, full, any);
  target->internal_deviationAssign(any, Kelpa::primary_cast<State>(p.get()), any);
  target->internal_deviationAssign(any, noteState, any);
  note->deviant_destroyState(noteState);
  EXPECT_EQ(type->numRef(), typeCount);
  EXPECT_EQ(asProperty(target)->getName(any).to_string(), "size");
  EXPECT_EQ(asProperty(target)->getOwnedComments(any).size(), 1);

  // A state that dies lets go of its references.
  p->deviant_destroyState(target);
  EXPECT_EQ(type->numRef(), typeCount - 1);
  p->deviant_destroyState(full);
}

TEST_F(Deviants, RemovedAndReadOnlyDeviantsRefuseAccess) {
  const Comment note = Comment::create(model);
  const Package package = Package::create(model);
  Deviant d = model->createDeviant(false);
  note->setBody(d, String("in d"));
  EXPECT_FALSE(d.hasUndoStack());
  EXPECT_TRUE(root.hasUndoStack());

  d.setWritable(false);
  const std::string refused = "Assertion failed: deviant is not writable at kelpa/kernel/deviant/Deviant:";
  EXPECT_EQ(failureAt([&] { note->setBody(d, String("no")); }), refused);
  EXPECT_EQ(failureAt([&] { package->getOwnedComments(d).push_back(note); }), refused);
  Kelpa::ClassObject noteInD(note);
  noteInD.setDeviant(d);
  EXPECT_EQ(failureAt([&] { Kelpa::setOrAdd(noteInD, "body", String("no")); }), refused);
  EXPECT_EQ(failureAt([&] { (void)Comment::create(in(d)); }), refused);
  EXPECT_EQ(failureAt([&] { package->getOwnedElements(d).push_back(note); }), refused);
  EXPECT_EQ(failureAt([&] { note->destroy(d); }), refused);
  EXPECT_TRUE(note->deviant_isValid(d));
  EXPECT_EQ(body(note, d), "in d");
  EXPECT_FALSE(note->hasOwner(d));
  d.setWritable(true);

  model->removeDeviant(d);
  EXPECT_FALSE(d.isValid());
  EXPECT_FALSE(note->deviant_isValid(d));
  EXPECT_EQ(failureAt([&] { (void)note->getBody(d); }),
            "Assertion failed: object accessed after its deviant has been removed at "
            "kelpa/kernel/deviant/Deviations:");
  EXPECT_EQ(failureAt([&] { Kelpa::Transaction t(in(d)); }),
            "Assertion failed: object accessed after its deviant has been removed at "
            "kelpa/kernel/deviant/Deviant:");
  EXPECT_EQ(failureAt([&] { model->removeDeviant(root); }),
            "Assertion failed: the root deviant of a model cannot be removed at "
            "kelpa/kernel/deviant/Deviant:");
  EXPECT_EQ(body(note, root), "");
  // With no deviation left, root writes take their direct path again.
  EXPECT_TRUE(root.data()->direct);
}

}  // namespace
}  // namespace zorbel
