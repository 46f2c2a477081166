// Both ends of associations, ownership, unions and destruction, on writes through every
// path a client has.
#include <gtest/gtest.h>

#include <vector>

#include <Kelpa/Containment.h>
#include <Kelpa/GenericSequences.h>
#include <zorbel/zorbel.h>

#include "../support/Failure.h"

namespace zorbel {
namespace {

using testsupport::failureAt;

// A view of the elements of superset that are Ts, as the generated subsets make them.
template <class T, class From>
Kelpa::Sequence<T> filteredAs(const Kelpa::ImmutableSequence<From>& superset, Kelpa::Deviant d) {
  return Kelpa::Sequence<T>(new Kelpa::filtered_sequence_internal::GenericFilteredSequence(
                                Kelpa::Sequence<Kelpa::Object>(superset.get(), d), d,
                                &Kelpa::detail::isA<typename T::Intf>),
                            d);
}

// The position of x in a view, or -1.
template <class T, class X>
int indexIn(const Kelpa::ImmutableSequence<T>& view, const X& x) {
  return view.get()->generic_indexOf(Kelpa::detail::toObject(T(x)));
}

class Consistency : public ::testing::Test {
 protected:
  void TearDown() override { model->destroyModel(); }
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Kelpa::Deviant root = model.getDeviant();
};

TEST_F(Consistency, ASingleEndKeepsItsMultiValuedOpposite) {
  const GeneralOrdering ordering = GeneralOrdering::create(model);
  const OccurrenceSpecification a = OccurrenceSpecification::create(model);
  const OccurrenceSpecification b = OccurrenceSpecification::create(model);
  ordering->setBefore(root, a);
  EXPECT_TRUE(a->getToAfters(root).contains(ordering));
  ordering->setBefore(root, b);  // the replace rule: a loses it first
  EXPECT_FALSE(a->getToAfters(root).contains(ordering));
  EXPECT_TRUE(b->getToAfters(root).contains(ordering));
  ordering->setOnlyBefore(root, a);  // this end alone: a's list is left as it was
  EXPECT_FALSE(a->getToAfters(root).contains(ordering));
  EXPECT_FALSE(b->getToAfters(root).contains(ordering));
  ordering->setBefore(root, OccurrenceSpecification());  // null is a removal
  EXPECT_FALSE(ordering->hasBefore(root));

  // The multi-valued end writes the single one.
  b->getToAfters(root).push_back(ordering);
  EXPECT_EQ(ordering->getBefore(root).get(), b.get());
  b->getToAfters(root).remove(ordering);
  EXPECT_FALSE(ordering->hasBefore(root));
}

TEST_F(Consistency, CrossModelLinksAreRefusedOnlyForTwoWayEnds) {
  Kelpa::Model other = Kelpa::NSInterface::FactoryIntf::createNewModel();
  const OccurrenceSpecification foreign = OccurrenceSpecification::create(other);
  const GeneralOrdering ordering = GeneralOrdering::create(model);
  EXPECT_EQ(failureAt([&] { ordering->setBefore(root, foreign); }),
            "Assertion failed: Cross-model bi-directional associations are currently disallowed! "
            "at zorbel/NSImplementation/GeneralOrderingImpl:");
  EXPECT_FALSE(ordering->hasBefore(root));
  const ConnectorEnd end = ConnectorEnd::create(model);
  end->setPartWithPort(root, Property::create(other));  // one way: accepted, and booked
  EXPECT_TRUE(end->hasPartWithPort(root));
  EXPECT_EQ(root.numberOfReferencesInto(other.getDeviant()), 1u);
  end->removePartWithPort(root);
  EXPECT_EQ(root.numberOfReferencesInto(other.getDeviant()), 0u);
  other->destroyModel();
}

TEST_F(Consistency, ACompositeInsertMovesTheElementBetweenOwners) {
  const Package first = Package::create(model);
  const Package second = Package::create(model);
  const Class cls = Class::create(model);
  Kelpa::Sequence<Kelpa::ClassObject> roots = model->getRootObjects(root);
  EXPECT_TRUE(roots.contains(Kelpa::ClassObject(cls)));
  first->getPackagedElements(root).push_back(cls);
  EXPECT_EQ(cls->getOwner(root).get(), Element(first).get());
  EXPECT_FALSE(roots.contains(Kelpa::ClassObject(cls)));
  second->getPackagedElements(root).push_back(cls);
  EXPECT_TRUE(first->getPackagedElements(root).empty());
  EXPECT_EQ(cls->getNamespace(root).get(), Namespace(second).get());
  EXPECT_EQ(cls->getPackage(root).get(), second.get());
  cls->setOwner(root, first);
  EXPECT_TRUE(second->getPackagedElements(root).empty());
  EXPECT_TRUE(first->getPackagedElements(root).contains(cls));
  cls->removeOwner(root);
  EXPECT_TRUE(first->getPackagedElements(root).empty());
  EXPECT_TRUE(roots.contains(Kelpa::ClassObject(cls)));
}

// Built bottom-up: the classes leave the root objects as they get their owner, from the
// front, while the rest keep their order; released ones come back at the end.
TEST_F(Consistency, BottomUpBuildingTakesElementsOutOfTheRootObjectsInOrder) {
  constexpr int kClasses = 600;
  std::vector<Class> classes;
  for (int i = 0; i < kClasses; ++i) classes.push_back(Class::create(model));
  const Package package = Package::create(model);
  Kelpa::Sequence<Kelpa::ClassObject> roots = model->getRootObjects(root);
  Kelpa::Sequence<PackageableElement> owned = package->getPackagedElements(root);
  auto rootsAre = [&](const std::vector<const void*>& expected) {
    std::vector<const void*> seen, byIndex;
    for (const Kelpa::ClassObject& o : roots) seen.push_back(o.get());
    for (int i = static_cast<int>(roots.size()) - 1; i >= 0; --i)
      byIndex.insert(byIndex.begin(), roots[i].get());
    return seen == expected && byIndex == expected;
  };
  for (int i = 0; i < kClasses; ++i) {
    owned.push_back(classes[i]);
    if (i % 150 == 149 || i == 0) {
      std::vector<const void*> expected;
      for (int k = i + 1; k < kClasses; ++k) expected.push_back(Kelpa::ClassObject(classes[k]).get());
      expected.push_back(Kelpa::ClassObject(package).get());
      ASSERT_TRUE(rootsAre(expected)) << "after " << i + 1 << " owners";
      if (i + 1 < kClasses) {
        EXPECT_EQ(roots.get()->generic_indexOf(Kelpa::ClassObject(classes[kClasses - 1])),
                  kClasses - i - 2);
      }
    }
  }
  ASSERT_EQ(owned.size(), kClasses);
  EXPECT_EQ(owned[kClasses / 2].get(), PackageableElement(classes[kClasses / 2]).get());
  classes[7]->removeOwner(root);
  classes[3]->removeOwner(root);
  EXPECT_TRUE(rootsAre({Kelpa::ClassObject(package).get(), Kelpa::ClassObject(classes[7]).get(),
                        Kelpa::ClassObject(classes[3]).get()}));
  EXPECT_EQ(owned.size(), kClasses - 2);
  EXPECT_EQ(owned[3].get(), PackageableElement(classes[4]).get());
  EXPECT_EQ(owned[6].get(), PackageableElement(classes[8]).get());
}

TEST_F(Consistency, UnionsReadTheirContributorsInOrder) {
  const Class cls = Class::create(model);
  EXPECT_TRUE(cls->getOwnedElements(root).empty());
  const Comment note = Comment::create(model);
  const Property attribute = Property::create(model);
  const Operation operation = Operation::create(model);
  cls->getZorbel_Class_OwnedAttributes(root).push_back(attribute);
  cls->getOwnedOperations(root).push_back(operation);
  cls->getOwnedComments(root).push_back(note);
  const Kelpa::Sequence<Element> owned = cls->getOwnedElements(root);
  ASSERT_EQ(owned.size(), 3);
  EXPECT_EQ(owned[0].get(), Element(note).get());
  EXPECT_EQ(owned[1].get(), Element(attribute).get());
  EXPECT_EQ(owned[2].get(), Element(operation).get());
  EXPECT_EQ(attribute->getClass(root).get(), cls.get());
  EXPECT_EQ(cls->getOwnedMembers(root).size(), 2);
  // Erasure through the union reaches the contributor that holds the element.
  cls->getOwnedElements(root).remove(Element(attribute));
  EXPECT_TRUE(cls->getZorbel_Class_OwnedAttributes(root).empty());
  EXPECT_FALSE(attribute->hasOwner(root));
}

// A union view held across changes of its contributors reads, bounds and erases by what
// they hold now, not by where it last found a position.
TEST_F(Consistency, AHeldUnionViewFollowsItsContributors) {
  const Class cls = Class::create(model);
  const Comment first = Comment::create(model);
  const Comment second = Comment::create(model);
  const Property attribute = Property::create(model);
  const Operation run = Operation::create(model);
  const Operation stop = Operation::create(model);
  cls->getOwnedComments(root).push_back(first);
  cls->getOwnedComments(root).push_back(second);
  cls->getZorbel_Class_OwnedAttributes(root).push_back(attribute);
  cls->getOwnedOperations(root).push_back(run);
  cls->getOwnedOperations(root).push_back(stop);
  Kelpa::Sequence<Element> held = cls->getOwnedElements(root);
  ASSERT_EQ(held.size(), 5);
  EXPECT_EQ(held[3].get(), Element(run).get());  // a position among the operations

  cls->getOwnedComments(root).remove(first);  // an earlier contributor shrinks
  ASSERT_EQ(held.size(), 4);
  EXPECT_EQ(held[3].get(), Element(stop).get());
  EXPECT_EQ(held[2].get(), Element(run).get());
  EXPECT_EQ(failureAt([&] { (void)held[4]; }),
            "Assertion failed: sequence index out of bounds at "
            "kelpa/kernel/containers/sequence/GenericSequence:");
  held.erase(2);
  EXPECT_FALSE(cls->getOwnedOperations(root).contains(run));
  EXPECT_TRUE(cls->getOwnedOperations(root).contains(stop));

  cls->getOwnedComments(root).push_back(first);  // and grows again
  EXPECT_EQ(held[2].get(), Element(attribute).get());
  EXPECT_EQ(held[3].get(), Element(stop).get());
}

// The same for a derived subset, a filtered view of its superset: a package taken out in
// front of the position and another element put in its place. The same element still
// stands at the same place in the superset, yet the view must not resume from there.
TEST_F(Consistency, AHeldSubsetViewFollowsItsSuperset) {
  const Package outer = Package::create(model);
  const Package first = Package::create(model);
  const Package second = Package::create(model);
  outer->getPackagedElements(root).push_back(first);
  outer->getPackagedElements(root).push_back(Class::create(model));
  outer->getPackagedElements(root).push_back(second);
  Kelpa::Sequence<Package> held = outer->getNestedPackages(root);
  ASSERT_EQ(held.size(), 2);
  EXPECT_EQ(held[1].get(), second.get());

  outer->getPackagedElements(root).remove(first);
  outer->getPackagedElements(root).insert(0, Class::create(model));
  EXPECT_EQ(failureAt([&] { (void)held[1]; }),
            "Assertion failed: sequence index out of bounds at "
            "kelpa/kernel/containers/sequence/GenericSequence:");
  ASSERT_EQ(held.size(), 1);
  EXPECT_EQ(held[0].get(), second.get());
}

// A subset view keeps what it found (sizes, the last position) between calls: every path
// that changes its superset must make it look again. Here the paths that do not go
// through the view: a write through the opposite end, and a read and a write in between.
TEST_F(Consistency, AHeldSubsetViewFollowsWritesMadeElsewhere) {
  const Package outer = Package::create(model);
  const Package elsewhere = Package::create(model);
  std::vector<Package> packages;
  for (int i = 0; i < 4; ++i) {
    packages.push_back(Package::create(model));
    outer->getPackagedElements(root).push_back(Class::create(model));
    outer->getPackagedElements(root).push_back(packages.back());
  }
  Kelpa::Sequence<Package> held = outer->getNestedPackages(root);
  std::vector<const void*> walked;
  for (const Package& p : held) walked.push_back(p.get());
  ASSERT_EQ(walked.size(), 4u);
  EXPECT_EQ(walked[3], packages[3].get());
  EXPECT_EQ(indexIn(held, packages[2]), 2);

  // Moved to another owner through its own end: the stored list loses it behind the view.
  packages[1]->setNestingPackage(root, elsewhere);
  ASSERT_EQ(held.size(), 3);
  EXPECT_EQ(held[1].get(), packages[2].get());
  EXPECT_EQ(held[2].get(), packages[3].get());
  EXPECT_EQ(indexIn(held, packages[3]), 2);
  EXPECT_EQ(indexIn(held, packages[1]), -1);

  // Back again, last: a walk from the back and from the front both see it.
  elsewhere->getPackagedElements(root).remove(packages[1]);
  outer->getPackagedElements(root).push_back(packages[1]);
  ASSERT_EQ(held.size(), 4);
  const std::vector<const void*> now = {packages[0].get(), packages[2].get(), packages[3].get(),
                                        packages[1].get()};
  for (int i = 3; i >= 0; --i) EXPECT_EQ(held[i].get(), now[i]) << "backwards, " << i;
  for (int i : {2, 0, 3, 1}) EXPECT_EQ(held[i].get(), now[i]) << "hopping, " << i;

  // Cleared from the superset's side: the view is empty, not of its old size.
  outer->getPackagedElements(root).clear();
  EXPECT_TRUE(held.empty());
  EXPECT_EQ(held.size(), 0);
}

// A view belongs to one deviant: a change in another leaves what it shows as it was, a
// change in its own (the first write there copies the state it read) shows.
TEST_F(Consistency, AHeldSubsetViewFollowsItsOwnDeviantOnly) {
  const Package outer = Package::create(model);
  const Package first = Package::create(model);
  const Package second = Package::create(model);
  const Class cls = Class::create(model);
  const Class later = Class::create(model);
  outer->getPackagedElements(root).push_back(first);
  outer->getPackagedElements(root).push_back(cls);
  outer->getPackagedElements(root).push_back(second);
  const Kelpa::Deviant d = model->createDeviant();
  Kelpa::Sequence<Package> inRoot = outer->getNestedPackages(root);
  Kelpa::Sequence<Package> inD = outer->getNestedPackages(d);
  EXPECT_EQ(inRoot[1].get(), second.get());
  EXPECT_EQ(inD[1].get(), second.get());

  // In d: the first package out and a class in front, so that the second package still
  // stands where it stood.
  outer->getPackagedElements(d).remove(first);
  outer->getPackagedElements(d).insert(0, later);
  EXPECT_EQ(failureAt([&] { (void)inD[1]; }),
            "Assertion failed: sequence index out of bounds at "
            "kelpa/kernel/containers/sequence/GenericSequence:");
  ASSERT_EQ(inD.size(), 1);
  EXPECT_EQ(inD[0].get(), second.get());
  ASSERT_EQ(inRoot.size(), 2);
  EXPECT_EQ(inRoot[1].get(), second.get());

  // In the root: the second package out. d keeps what it had.
  outer->getPackagedElements(root).remove(second);
  ASSERT_EQ(inRoot.size(), 1);
  EXPECT_EQ(inRoot[0].get(), first.get());
  ASSERT_EQ(inD.size(), 1);
  EXPECT_EQ(inD[0].get(), second.get());
}

// A filtered view of a union with single-valued parts: a part set to another element is
// a change of the superset that no stored list sees, even when the number of elements
// stays the same.
TEST_F(Consistency, AHeldFilteredViewFollowsSingleValuedParts) {
  const Property property = Property::create(model);
  const LiteralInteger lower = LiteralInteger::create(model);
  const LiteralInteger fallback = LiteralInteger::create(model);
  property->setLowerValue(root, lower);
  property->setDefaultValue(root, fallback);
  property->getOwnedComments(root).push_back(Comment::create(model));
  Kelpa::Sequence<LiteralInteger> held =
      filteredAs<LiteralInteger>(property->getOwnedElements(root), root);
  ASSERT_EQ(held.size(), 2);
  const void* last = held[1].get();

  // The same number of owned elements, one fewer integer.
  const LiteralString text = LiteralString::create(model);
  property->setDefaultValue(root, text);
  ASSERT_EQ(property->getOwnedElements(root).size(), 3);
  ASSERT_EQ(held.size(), 1);
  EXPECT_EQ(held[0].get(), lower.get());
  EXPECT_EQ(failureAt([&] { (void)held[1]; }),
            "Assertion failed: sequence index out of bounds at "
            "kelpa/kernel/containers/sequence/GenericSequence:");

  // And back, with another integer than before.
  const LiteralInteger other = LiteralInteger::create(model);
  property->setDefaultValue(root, other);
  ASSERT_EQ(held.size(), 2);
  EXPECT_EQ(indexIn(held, other), last == lower.get() ? 0 : 1);
  EXPECT_EQ(indexIn(held, fallback), -1);

  // An element destroyed leaves its part empty.
  lower->destroy(root);
  ASSERT_EQ(held.size(), 1);
  EXPECT_EQ(held[0].get(), other.get());
}

// The model's root objects cannot tell whether they changed: a view of them looks again
// on every use.
TEST_F(Consistency, AFilteredViewOfTheRootObjectsFollowsThem) {
  const Package first = Package::create(model);
  (void)Class::create(model);
  const Package second = Package::create(model);
  Kelpa::Sequence<Package> held =
      filteredAs<Package>(model->getRootObjects(root), root);
  ASSERT_EQ(held.size(), 2);
  EXPECT_EQ(held[1].get(), second.get());
  first->getPackagedElements(root).push_back(second);  // no longer a root
  ASSERT_EQ(held.size(), 1);
  EXPECT_EQ(held[0].get(), first.get());
}

// A union over a feature that is not kept raises that feature's text: no union skips a
// part it cannot read. AssociationClass keeps its own list of members, without it.
TEST_F(Consistency, UnionsOverStubbedPartsRaiseTheirText) {
  auto stubText = [](auto&& f) {
    try {
      f();
    } catch (const Kelpa::UnImplementedException& e) {
      return std::string(e.what());
    }
    return std::string("<no UnImplementedException>");
  };
  const std::string imported = "The Namespace.importedMember derived property is not yet implemented!";
  const Package package = Package::create(model);
  const Class cls = Class::create(model);
  const Association association = Association::create(model);
  for (const Namespace& ns : {Namespace(package), Namespace(cls), Namespace(association)}) {
    EXPECT_NE(stubText([&] { (void)ns->getMembers(root); }).find(imported), std::string::npos);
    EXPECT_NE(stubText([&] { (void)ns->getMembersWithoutAssociation(root); }).find(imported),
              std::string::npos);
    EXPECT_NO_THROW((void)ns->getOwnedMembers(root));
  }
  EXPECT_NE(stubText([&] { (void)association->getRelatedElements(root); })
                .find("The Association.endType derived property is not yet implemented!"),
            std::string::npos);
  const Dependency dependency = Dependency::create(model);
  dependency->getClients(root).push_back(package);
  dependency->getSuppliers(root).push_back(cls);
  EXPECT_EQ(dependency->getRelatedElements(root).size(), 2);
  EXPECT_NO_THROW((void)Generalization::create(model)->getRelatedElements(root));

  const AssociationClass tie = AssociationClass::create(model);
  const Property attribute = Property::create(model);
  const Property end = Property::create(model);
  tie->getZorbel_Class_OwnedAttributes(root).push_back(attribute);
  tie->getMemberEnds(root).push_back(end);
  const Kelpa::Sequence<NamedElement> members = tie->getMembers(root);
  ASSERT_EQ(members.size(), 2);
  EXPECT_EQ(members[0].get(), NamedElement(attribute).get());
  EXPECT_EQ(members[1].get(), NamedElement(end).get());

  // A stub raises its own text on a destroyed element too, before the element is checked.
  cls->destroy(root);
  EXPECT_NE(stubText([&] { (void)cls->getImportedMembers(root); }).find(imported),
            std::string::npos);
  EXPECT_NE(stubText([&] { (void)cls->getInheritedMembers(root); })
                .find("The Classifier.inheritedMember derived property is not yet implemented!"),
            std::string::npos);
}

TEST_F(Consistency, DestructionRemovesTheSubtreeFromEveryPlace) {
  const Package package = Package::create(model);
  const Class cls = Class::create(model);
  const Property attribute = Property::create(model);
  package->getPackagedElements(root).push_back(cls);
  cls->getZorbel_Class_OwnedAttributes(root).push_back(attribute);
  const Comment note = Comment::create(model);
  note->getAnnotatedElements(root).push_back(cls);

  cls->destroy(root);
  EXPECT_FALSE(cls.isValid());
  EXPECT_FALSE(attribute.isValid());
  EXPECT_TRUE(package->getPackagedElements(root).empty());
  EXPECT_FALSE(model->getRootObjects(root).contains(Kelpa::ClassObject(cls)));
  // A one-way reference keeps the handle, which no longer counts.
  EXPECT_EQ(note->getAnnotatedElements(root).size(), 1);
  cls->destroy(root);  // a second time: nothing

  const GeneralOrdering ordering = GeneralOrdering::create(model);
  const OccurrenceSpecification a = OccurrenceSpecification::create(model);
  const OccurrenceSpecification b = OccurrenceSpecification::create(model);
  ordering->setBefore(root, a);
  ordering->setAfter(root, b);
  ordering->destroy(root);
  EXPECT_TRUE(a->getToAfters(root).empty());
  EXPECT_TRUE(b->getToBefores(root).empty());
  EXPECT_TRUE(a.isValid());
}

TEST_F(Consistency, SequencesResolveOnEveryUseAndKeepTheirElement) {
  Kelpa::Sequence<Comment> comments;
  {
    const Package package = Package::create(model);
    comments = package->getOwnedComments(root);
  }
  comments.push_back(Comment::create(model));  // the package lives on in its view
  EXPECT_EQ(comments.size(), 1);

  root.setWritable(false);
  EXPECT_THROW(comments.push_back(Comment::create(model)), Kelpa::Exception);
  root.setWritable(true);

  // A sequence of another element type is copied element by element, through the cast.
  const Package package = Package::create(model);
  Kelpa::Sequence<Element> annotated = Comment::create(model)->getAnnotatedElements(root);
  annotated.push_back(package);
  Kelpa::Sequence<Comment> target = package->getOwnedCommentsWithoutAssociation(root);
  EXPECT_EQ(failureAt([&] { target.get()->generic_assign(root, annotated.get(), root); }),
            "Assertion failed: null object while inserting into zorbel.SequenceOfComment at "
            "kelpa/kernel/containers/sequence/multi_index/MultiIndexImplForRefs:");

  model->destroyModel();
  EXPECT_EQ(failureAt([&] { (void)comments.size(); }),
            "Assertion failed: object accessed after its model has been destroyed at "
            "kelpa/kernel/deviant/Deviations:");
  model = Kelpa::NSInterface::FactoryIntf::createNewModel();
}

}  // namespace
}  // namespace zorbel
