#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <Kelpa/Dispatch.h>
#include <zorbel/zorbel.h>

namespace {

TEST(ZorbelDispatch, EachElementGoesToItsMostSpecificHandler) {
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  std::vector<std::string> seen;
  Kelpa::Dispatcher visitor;
  visitor.on<zorbel::Element>([&](const zorbel::Element&) { seen.push_back("Element"); });
  visitor.on<zorbel::NamedElement>([&](const zorbel::NamedElement& e) {
    seen.push_back("NamedElement " + e->getName(e.getDeviant()).to_string());
  });
  visitor.on<zorbel::MultiplicityElement>([&](const zorbel::MultiplicityElement& m) {
    // Reached through a secondary base: the accessors work on the view given.
    seen.push_back("MultiplicityElement " + std::to_string(m->hasLowerValue(m.getDeviant())));
  });

  zorbel::Comment comment = zorbel::Comment::create(model);
  zorbel::Class cls = zorbel::Class::create(model);
  cls->setName(cls.getDeviant(), zorbel::String("Order"));
  zorbel::Property property = zorbel::Property::create(model);
  for (const Kelpa::ImmutableObject& o : std::vector<Kelpa::ImmutableObject>{
           Kelpa::Object(comment), Kelpa::Object(cls), Kelpa::Object(property)})
    EXPECT_TRUE(visitor.visit(o));
  // A Property's linearisation reaches StructuralFeature's bases before NamedElement.
  EXPECT_EQ(seen,
            (std::vector<std::string>{"Element", "NamedElement Order", "MultiplicityElement 0"}));

  Kelpa::Dispatcher empty;
  EXPECT_FALSE(empty.visit(Kelpa::Object(comment)));
  EXPECT_FALSE(visitor.visit(Kelpa::Object()));
  comment = zorbel::Comment();
  cls = zorbel::Class();
  property = zorbel::Property();
  model->destroyModel();
}

}  // namespace
