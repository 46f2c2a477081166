// Reading and writing properties without knowing the metaclass: the eight property
// functions of a class's record, with their dispatch rules and messages, and the kernel's
// entry points by name and by property on top of them.
#include <gtest/gtest.h>

#include "../support/Failure.h"

#include <Kelpa/Meta.h>
#include <zorbel/zorbel.h>

namespace {

using Kelpa::Deviant;
using Kelpa::Object;
using testsupport::failureAt;
using zorbel::Boolean;
using zorbel::String;

// The element as the kernel's functions take it.
template <class H>
Kelpa::NSInterface::ClassObjectIntf* co(const H& h) {
  return Kelpa::primary_cast<Kelpa::NSInterface::ClassObjectIntf>(h.get());
}

// The element itself, whichever base a handle or object reaches it through.
const void* identity(const Kelpa::ImmutableObject& o) {
  return Kelpa::detail::castTo<Kelpa::NSInterface::ClassObjectIntf>(o.get());
}

class Reflection : public ::testing::Test {
 protected:
  void TearDown() override { model->destroyModel(); }
  static const Kelpa::IntrospectiveMethods& record(const char* name) {
    const Kelpa::Type type = Kelpa::DomainRegistry::instance().findType(std::string("zorbel.") + name);
    return *Kelpa::detail::castTo<Kelpa::NSInterface::ClassIntf>(type.get())->getIntrospectiveMethods();
  }
  static std::string at(const char* cls) {
    return std::string(" at zorbel/NSMetaRegistry/") + cls + "MetaRegistry:";
  }
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Deviant root = model.getDeviant();
};

TEST_F(Reflection, BadIndicesFailOrAnswerEmptyAsEachFunctionDoes) {
  const zorbel::Comment c = zorbel::Comment::create(model);
  const Kelpa::IntrospectiveMethods& m = record("Comment");
  const std::string where = at("Comment");

  EXPECT_EQ(failureAt([&] { m.getSingleValued(co(c), root, 0); }),
            "Assertion failed: zorbel.Comment::getSingleValued on illegal property" + where);
  EXPECT_EQ(failureAt([&] { m.getSingleValued(co(c), root, 999); }),
            "Assertion failed: zorbel.Comment::getSingleValued on illegal property with id 999" + where);
  EXPECT_FALSE(m.hasSingleValued(co(c), root, 999));
  EXPECT_EQ(failureAt([&] { m.hasSingleValued(co(c), root, 0); }),
            "Assertion failed: zorbel.Comment::hasSingleValued on illegal property" + where);
  // body is a string: no setOnly form.
  EXPECT_EQ(failureAt([&] { m.setOnlySingleValued(co(c), root, 1, String("x")); }),
            "Assertion failed: zorbel.Comment::setOnlySingleValued on illegal property with id 1" + where);
  EXPECT_EQ(failureAt([&] { m.removeOnlySingleValued(co(c), root, 1); }),
            "Assertion failed: zorbel.Comment::removeOnlySingleValued on illegal property with id 1" + where);
  EXPECT_EQ(failureAt([&] { m.getMultiValued(co(c), root, 0); }),
            "Assertion failed: zorbel.Comment::getMultiValued on illegal property" + where);
  // A single-valued index in a multi-valued function, and the reverse.
  EXPECT_TRUE(m.getMultiValued(co(c), root, 1).isNull());
  EXPECT_TRUE(m.getOnlyMultiValued(co(c), root, 999).isNull());
  EXPECT_EQ(failureAt([&] { m.setSingleValued(co(c), root, 2, Object()); }),
            "Assertion failed: zorbel.Comment::setSingleValued on illegal property with id 2" + where);
  EXPECT_FALSE(c->hasBody(root));
}

TEST_F(Reflection, ObjectsOfAnotherClassAreRefused) {
  const zorbel::Class cls = zorbel::Class::create(model);
  const Kelpa::IntrospectiveMethods& m = record("Comment");
  EXPECT_EQ(failureAt([&] { m.getSingleValued(co(cls), root, 1); }),
            "Assertion failed: illegal object" + at("Comment"));
  EXPECT_EQ(failureAt([&] { m.hasSingleValued(nullptr, root, 1); }),
            "Assertion failed: illegal object" + at("Comment"));
  // An abstract class's functions take any object that is one of its kind.
  const Kelpa::IntrospectiveMethods& named = record("NamedElement");
  named.setSingleValued(co(cls), root, 1, String("Person"));
  EXPECT_EQ(cls->getName(root), String("Person"));
  EXPECT_EQ(String(named.getSingleValued(co(cls), root, 1)), String("Person"));
}

// What is kept from one call to the next (the type last accepted for a class, the
// property last found by name, the type last cast for a record) must not answer for an
// object of another class or for another name.
TEST_F(Reflection, AlternatingClassesAndNamesKeepTheirOwnAnswers) {
  const zorbel::Class cls = zorbel::Class::create(model);
  const zorbel::Package pkg = zorbel::Package::create(model);
  const zorbel::Comment note = zorbel::Comment::create(model);
  const Kelpa::ImmutableProperty name(cls->getMetaClass()->findProperty("name"), root);
  const Kelpa::IntrospectiveMethods& named = record("NamedElement");
  const unsigned index = name->getIndex();
  // The metaclass that names are looked up in, without a handle, is the handle's.
  EXPECT_EQ(co(cls)->getMetaClassPtr(), cls->getMetaClass().get());
  EXPECT_EQ(co(pkg)->getMetaClassPtr(), pkg->getMetaClass().get());
  EXPECT_NE(co(cls)->getMetaClassPtr(), co(pkg)->getMetaClassPtr());
  for (int round = 0; round < 2; ++round) {
    Kelpa::setOrAdd(cls, name, String("C"));
    Kelpa::setOrAdd(pkg, name, String("P"));
    EXPECT_EQ(String(Kelpa::get(cls, name)), String("C"));
    EXPECT_EQ(String(Kelpa::get(pkg, name)), String("P"));
    EXPECT_EQ(failureAt([&] { (void)Kelpa::get(note, name); }),
              "Assertion failed: property zorbel.NamedElement.name is no property of "
              "zorbel.Comment at kelpa/kernel/meta/Reflection:");
    EXPECT_EQ(String(named.getSingleValued(co(cls), root, index)), String("C"));
    EXPECT_EQ(String(named.getSingleValued(co(pkg), root, index)), String("P"));
    EXPECT_EQ(failureAt([&] { named.getSingleValued(co(note), root, index); }),
              "Assertion failed: illegal object" + at("NamedElement"));

    // Names of one class in turn, and one name on two classes.
    EXPECT_EQ(String(Kelpa::get(cls, "name")), String("C"));
    EXPECT_FALSE(Boolean(Kelpa::get(cls, "isAbstract")));
    EXPECT_EQ(String(Kelpa::get(pkg, "name")), String("P"));
    EXPECT_EQ(String(Kelpa::get(cls, "name")), String("C"));
    EXPECT_EQ(failureAt([&] { (void)Kelpa::get(pkg, "isAbstract"); }),
              "Assertion failed: no property zorbel.Package.isAbstract at "
              "kelpa/kernel/meta/Reflection:");
    EXPECT_EQ(failureAt([&] { (void)Kelpa::get(cls, "nam"); }),
              "Assertion failed: no property zorbel.Class.nam at kelpa/kernel/meta/Reflection:");
  }
}

// A value read is a box of its own: it outlives the element and the model it came from.
TEST_F(Reflection, ValuesReadOutliveTheirElementAndModel) {
  Kelpa::Model other = Kelpa::NSInterface::FactoryIntf::createNewModel();
  const Deviant d = other.getDeviant();
  Object body;
  Object aggregation;
  Object derived;
  {
    const zorbel::Comment c = zorbel::Comment::create(other);
    c->setBody(d, String("kept"));
    const zorbel::Property p = zorbel::Property::create(other);
    p->setAggregation(d, zorbel::AggregationKind(zorbel::AggregationKind::kShared));
    p->setIsDerived(d, Boolean(true));
    body = Kelpa::get(c, "body");
    aggregation = Kelpa::get(p, "aggregation");
    derived = Kelpa::get(p, "isDerived");
  }
  other->destroyModel();
  const Object copies[] = {body, aggregation, derived};
  body = Object();
  aggregation = Object();
  EXPECT_EQ(String(copies[0]), String("kept"));
  EXPECT_EQ(copies[0]->toString(Deviant()).str(), "kept");
  EXPECT_EQ(copies[0]->getRuvoName(false), String::getTypeName());
  EXPECT_EQ(zorbel::AggregationKind(copies[1]),
            zorbel::AggregationKind(zorbel::AggregationKind::kShared));
  EXPECT_EQ(copies[1]->getRuvoName(false), zorbel::AggregationKind::getTypeName());
  EXPECT_TRUE(Boolean(copies[2]));
  EXPECT_EQ(copies[2]->toString(Deviant()).str(), "true");
}

TEST_F(Reflection, RequiredValuesArePresentAndRemovingThemDoesAsTheAccessorDoes) {
  const zorbel::Property p = zorbel::Property::create(model);
  const Kelpa::IntrospectiveMethods& m = record("Property");
  const unsigned isDerived = Kelpa::ImmutableProperty(p->getMetaClass()->findProperty("isDerived"), root)->getIndex();
  EXPECT_TRUE(m.hasSingleValued(co(p), root, isDerived));
  m.setSingleValued(co(p), root, isDerived, Boolean(true));
  EXPECT_TRUE(static_cast<bool>(p->isDerived(root)));
  // removeIsDerived leaves a required value as it is, and so does its index here.
  m.removeSingleValued(co(p), root, isDerived);
  EXPECT_TRUE(static_cast<bool>(p->isDerived(root)));

  // An enumeration has a setOnly form; a wrong kind of object is a clearing write.
  const unsigned aggregation = p->getMetaClass()->findProperty("aggregation")->getIndex();
  m.setOnlySingleValued(co(p), root, aggregation, zorbel::AggregationKind(zorbel::AggregationKind::kShared));
  EXPECT_EQ(p->getAggregation(root), zorbel::AggregationKind(zorbel::AggregationKind::kShared));
  EXPECT_EQ(zorbel::AggregationKind(m.getSingleValued(co(p), root, aggregation)),
            zorbel::AggregationKind(zorbel::AggregationKind::kShared));
}

TEST_F(Reflection, ReferencesTravelAsObjectsAndUnfittingOnesClear) {
  const zorbel::Property p = zorbel::Property::create(model);
  const zorbel::Class type = zorbel::Class::create(model);
  const Kelpa::ImmutableProperty typeProperty(p->getMetaClass()->findProperty("type"), root);
  Kelpa::setOrAdd(p, typeProperty, Object(type.objectPtr(), root));
  EXPECT_EQ(identity(p->getType(root)), identity(type));
  const Object read = Kelpa::get(p, typeProperty);
  EXPECT_EQ(identity(read), identity(type));
  EXPECT_TRUE(Kelpa::has(p, "type"));

  // A Comment is no Type: a null handle reaches the setter.
  const zorbel::Comment comment = zorbel::Comment::create(model);
  Kelpa::setOrAdd(p, "type", Object(comment.objectPtr(), root));
  EXPECT_TRUE(p->getType(root).isNull());
  EXPECT_FALSE(Kelpa::has(p, "type"));
}

TEST_F(Reflection, MultiValuedPropertiesGiveASequenceThatWritesThrough) {
  const zorbel::Comment c = zorbel::Comment::create(model);
  const zorbel::Class a = zorbel::Class::create(model);
  const zorbel::Class b = zorbel::Class::create(model);
  EXPECT_FALSE(Kelpa::has(c, "annotatedElement"));
  Kelpa::setOrAdd(c, "annotatedElement", Object(a.objectPtr(), root));
  Kelpa::Sequence<Object> seen = Kelpa::asSequence(Kelpa::get(c, "annotatedElement"));
  ASSERT_FALSE(seen.isNull());
  seen.push_back(Object(b.objectPtr(), root));
  ASSERT_EQ(c->getAnnotatedElements(root).size(), 2);
  EXPECT_EQ(identity(c->getAnnotatedElements(root)[1]), identity(b));
  EXPECT_TRUE(Kelpa::has(c, "annotatedElement"));
  Kelpa::remove(c, "annotatedElement", Object(a.objectPtr(), root));
  EXPECT_EQ(c->getAnnotatedElements(root).size(), 1);
}

TEST_F(Reflection, OneValueAtATime) {
  const zorbel::Comment c = zorbel::Comment::create(model);
  const zorbel::Class a = zorbel::Class::create(model);
  const zorbel::Class b = zorbel::Class::create(model);
  EXPECT_TRUE(Kelpa::getOne(c, "annotatedElement").isNull());
  Kelpa::setOrAdd(c, "annotatedElement", Object(a.objectPtr(), root));
  Kelpa::setOrAdd(c, "annotatedElement", Object(b.objectPtr(), root));
  EXPECT_EQ(identity(Kelpa::getOne(c, "annotatedElement")), identity(a));
  Kelpa::removeOne(c, "annotatedElement", Object(a.objectPtr(), root));
  EXPECT_EQ(identity(Kelpa::getOne(c, "annotatedElement")), identity(b));

  // A single value goes only when it is the one named.
  c->setBody(root, String("kept"));
  Kelpa::removeOne(c, "body", String("other"));
  EXPECT_TRUE(c->hasBody(root));
  EXPECT_EQ(String(Kelpa::getOne(c, "body")), String("kept"));
  // A string has no Only form.
  EXPECT_EQ(failureAt([&] { Kelpa::removeOneOnly(c, "body", String("kept")); }),
            "Assertion failed: zorbel.Comment::removeOnlySingleValued on illegal property with id 1" +
                at("Comment"));
  Kelpa::removeOne(c, "body", String("kept"));
  EXPECT_FALSE(c->hasBody(root));

  const zorbel::Property p = zorbel::Property::create(model);
  p->setType(root, a);
  const Kelpa::ImmutableProperty type(p->getMetaClass()->findProperty("type"), p->getMetaClass().getDeviant());
  Kelpa::removeOne(p, type, Object(b.objectPtr(), root));
  EXPECT_FALSE(p->getType(root).isNull());
  Kelpa::removeOnly(p, type);
  EXPECT_TRUE(p->getType(root).isNull());
  EXPECT_EQ(failureAt([&] { Kelpa::getOne(c, type); }),
            "Assertion failed: property zorbel.TypedElement.type is no property of zorbel.Comment at "
            "kelpa/kernel/meta/Reflection:");
}

// The kernel's own operations, called on the element as a client holding only its
// interface would: by name and by property, through a class with several bases (whose
// forwarders must reach the one body) and a class with one.
TEST_F(Reflection, KernelOperationsOfAnElementByNameAndByProperty) {
  const zorbel::Class cls = zorbel::Class::create(model);
  const zorbel::Comment note = zorbel::Comment::create(model);
  const Kelpa::String name("name");
  const Kelpa::ImmutableProperty active(cls->getMetaClass()->findProperty("isActive"), root);
  const Kelpa::ImmutableProperty comments(cls->getMetaClass()->findProperty("ownedComment"), root);

  cls->setOrAdd(root, name, String("Order"));
  EXPECT_TRUE(cls->has(root, name));
  EXPECT_EQ(String(cls->get(root, name)), String("Order"));
  EXPECT_EQ(String(cls->getOne(root, name)), String("Order"));
  cls->setOrAdd(root, active, Boolean(true));
  EXPECT_TRUE(cls->isActive(root));
  EXPECT_TRUE(Boolean(cls->get(root, active)));
  cls->remove(root, active);  // a required Boolean: its remover leaves it as it is
  EXPECT_TRUE(cls->isActive(root));

  // Sequences: get gives the sequence, getOne its first value, removeOne takes that out.
  const zorbel::Comment second = zorbel::Comment::create(model);
  cls->setOrAdd(root, comments, note);
  cls->setOrAddOnly(root, Kelpa::String("ownedComment"), second);
  EXPECT_EQ(Kelpa::asSequence(cls->get(root, comments)).size(), 2);
  EXPECT_EQ(identity(cls->getOne(root, comments)), identity(note));
  cls->removeOne(root, comments);
  EXPECT_EQ(identity(cls->getOne(root, Kelpa::String("ownedComment"))), identity(second));
  cls->removeOnly(root, Kelpa::String("ownedComment"), second);
  EXPECT_FALSE(cls->has(root, comments));
  cls->setOrAdd(root, comments, note);
  cls->remove(root, Kelpa::String("ownedComment"), note);
  EXPECT_FALSE(note->hasOwner(root));
  cls->removeOne(root, name);
  EXPECT_FALSE(cls->hasName(root));
  // A string has no Only form in its record: the record's text passes through.
  EXPECT_EQ(failureAt([&] { cls->removeOneOnly(root, name); }),
            "Assertion failed: zorbel.NamedElement::removeOnlySingleValued on illegal property "
            "with id 1 at zorbel/NSMetaRegistry/NamedElementMetaRegistry:");
  cls->setOrAdd(root, name, String("again"));
  cls->remove(root, name);
  EXPECT_FALSE(cls->hasName(root));

  // A property of another class, held or named, is refused before anything changes.
  const Kelpa::ImmutableProperty body(note->getMetaClass()->findProperty("body"), root);
  EXPECT_EQ(failureAt([&] { cls->setOrAdd(root, body, String("x")); }),
            "Assertion failed: property zorbel.Comment.body is no property of zorbel.Class at "
            "kelpa/kernel/meta/Reflection:");
  EXPECT_EQ(failureAt([&] { (void)note->get(root, Kelpa::String("isAbstract")); }),
            "Assertion failed: no property zorbel.Comment.isAbstract at kelpa/kernel/meta/Reflection:");

  // The meta type, the URI and the root model.
  EXPECT_EQ(cls->getMetaType(root).get(), static_cast<const Kelpa::NSInterface::TypeIntf*>(
                                              cls->getMetaClass().get()));
  EXPECT_FALSE(note->hasUri(root));
  note->setUri(root, Kelpa::String("urn:note"));
  EXPECT_EQ(note->getUri(root).str(), "urn:note");
  cls->setUri(root, Kelpa::String("urn:class"));
  EXPECT_EQ(cls->getUri(root).str(), "urn:class");
  note->removeUri(root);
  EXPECT_FALSE(note->hasUri(root));
  EXPECT_TRUE(cls->hasRootModel(root));
  EXPECT_EQ(cls->getRootModel(root).get(), model.get());
}

TEST_F(Reflection, ByNameFailuresNameClassAndPropertyAndChangeNothing) {
  const zorbel::Comment c = zorbel::Comment::create(model);
  c->setBody(root, String("kept"));
  EXPECT_EQ(failureAt([&] { Kelpa::get(c, "bogus"); }),
            "Assertion failed: no property zorbel.Comment.bogus at kelpa/kernel/meta/Reflection:");
  EXPECT_THROW(Kelpa::setOrAdd(c, "body", Boolean(true)), Tovi::bad_any_cast);
  EXPECT_EQ(c->getBody(root), String("kept"));

  // A derived property reaches its setter, whose stub raises its own text and type.
  const zorbel::Property p = zorbel::Property::create(model);
  try {
    p->setOrAdd(root, Kelpa::String("isComposite"), Boolean(true));
    ADD_FAILURE() << "no exception";
  } catch (const Kelpa::UnImplementedException& e) {
    EXPECT_EQ(std::string(e.what()).substr(0, 97),
              "Assertion failed: The Property.isComposite derived property is not yet implemented! "
              "at zorbel/NSH");
  }
}

// The Only form writes one end, but it takes no element that is destroyed where it
// writes: that one is refused as the two-way write refuses it, as a null one, before any
// change, whichever entry point the write comes through.
TEST_F(Reflection, TheOnlyFormRefusesADestroyedElementAsTheTwoWayWriteDoes) {
  const zorbel::Class cls = zorbel::Class::create(model);
  const zorbel::Comment kept = zorbel::Comment::create(model);
  const zorbel::Comment gone = zorbel::Comment::create(model);
  cls->getOwnedComments(root).push_back(kept);
  gone->destroy(root);
  const Kelpa::ImmutableProperty comments(cls->getMetaClass()->findProperty("ownedComment"), root);
  const std::string refused =
      "Assertion failed: null object while inserting into zorbel.SequenceOfComment at "
      "kelpa/kernel/containers/sequence/multi_index/MultiIndexImplForRefs:";
  EXPECT_EQ(failureAt([&] { cls->getOwnedComments(root).push_back(gone); }), refused);
  EXPECT_EQ(failureAt([&] { Kelpa::setOrAdd(cls, comments, gone); }), refused);
  EXPECT_EQ(failureAt([&] { Kelpa::setOrAddOnly(cls, "ownedComment", gone); }), refused);
  EXPECT_EQ(failureAt([&] { Kelpa::setOrAddOnly(cls, comments, gone); }), refused);
  EXPECT_EQ(failureAt([&] { cls->setOrAddOnly(root, Kelpa::String("ownedComment"), gone); }),
            refused);
  EXPECT_EQ(failureAt([&] { cls->setOrAddOnly(root, comments, gone); }), refused);
  const Kelpa::Sequence<zorbel::Comment> held = cls->getOwnedCommentsWithoutAssociation(root);
  ASSERT_EQ(held.size(), 1);
  EXPECT_EQ(held[0].get(), kept.get());

  // One destroyed in a deviation only is refused there and taken in the root.
  const zorbel::Comment later = zorbel::Comment::create(model);
  const Deviant d = model->createDeviant();
  later->destroy(d);
  EXPECT_EQ(failureAt([&] { cls->setOrAddOnly(d, comments, later); }), refused);
  EXPECT_EQ(cls->getOwnedCommentsWithoutAssociation(d).size(), 1);
  cls->setOrAddOnly(root, comments, later);
  EXPECT_TRUE(cls->getOwnedCommentsWithoutAssociation(root).contains(later));
  EXPECT_FALSE(later->hasOwner(root));  // this end only

  // A one-way list keeps what was destroyed after it was taken: writing it again is no
  // insertion, and changes nothing.
  const zorbel::Comment note = zorbel::Comment::create(model);
  const zorbel::Class annotated = zorbel::Class::create(model);
  note->getAnnotatedElements(root).push_back(annotated);
  annotated->destroy(root);
  EXPECT_NO_THROW(Kelpa::setOrAddOnly(note, "annotatedElement", annotated));
  EXPECT_EQ(note->getAnnotatedElements(root).size(), 1);
}

}  // namespace
