// A tour of zorbel: a model with a few comments, their bodies set, read and removed,
// and values and enumerations turned into text and back.
#include <iostream>
#include <string>

#include <zorbel/zorbel.h>

namespace {

void section(const std::string& title) {
  std::cout << "\n== " << title << " ==\n";
}

std::string quoted(const zorbel::String& s) {
  return "\"" + s.to_string() + "\"";
}

void comments() {
  section("Comments in a model");
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  const Kelpa::Deviant root = model.getDeviant();

  zorbel::Comment first = zorbel::Comment::create(model);
  zorbel::Comment second = zorbel::Comment::create(model);
  zorbel::Comment third = zorbel::Comment::createWithId(model, 100);
  std::cout << "created comments with ids " << first->getId().getValue() << ", "
            << second->getId().getValue() << " and " << third->getId().getValue()
            << "; the model has " << model->getRootObjects(root).size() << " root objects\n";

  first->setBody(root, zorbel::String("Needs a second review"));
  second->setBody(root, zorbel::String(u"Stra\u00dfe is spelt with \u00df"));
  for (const zorbel::Comment& c : {first, second, third}) {
    std::cout << "  comment " << c->getId().getValue() << ": "
              << (c->hasBody(root) ? "body " + quoted(c->getBody(root)) : std::string("no body"))
              << "\n";
  }

  first->getAnnotatedElements(root).push_back(second);
  first->getAnnotatedElements(root).push_back(third);
  std::cout << "comment " << first->getId().getValue() << " annotates "
            << first->getAnnotatedElements(root).size() << " elements\n";

  first->removeBody(root);
  std::cout << "after removeBody, comment " << first->getId().getValue()
            << " has a body: " << std::boolalpha << first->hasBody(root) << "\n";

  model->destroyModel();
  std::cout << "model destroyed; a handle that outlived it is valid: " << first.isValid() << "\n";
}

void values() {
  section("Values as text");
  std::cout << "Integer \"0x10\"            -> "
            << zorbel::Integer::fromString("0x10").toString().str() << "\n";
  std::cout << "Integer \"12abc\"           -> "
            << zorbel::Integer::fromString("12abc").toString().str() << "\n";
  std::cout << "UnlimitedNatural \"*\"      -> "
            << zorbel::UnlimitedNatural::fromString("*").toString().str() << "\n";
  std::cout << "UnlimitedNatural 4294967295 -> "
            << zorbel::UnlimitedNatural(4294967295u).toString().str() << "\n";
  std::cout << "Boolean \"true\"            -> "
            << zorbel::Boolean::fromString("true").toString().str() << "\n";
  try {
    zorbel::Boolean::fromString("True");
  } catch (const Kelpa::Exception& e) {
    std::cout << "Boolean \"True\"            -> error: " << e.what() << "\n";
  }
}

void enumerations() {
  section("Enumerations");
  std::cout << "VisibilityKind literals:";
  for (const auto& [value, name] : zorbel::VisibilityKind::getLiterals()) std::cout << " " << name;
  std::cout << "\n";
  std::cout << "default VisibilityKind     -> " << zorbel::VisibilityKind().toString().str()
            << "\n";
  std::cout << "MessageSort \"reply\"        -> value "
            << static_cast<int>(zorbel::MessageSort::fromString("reply").getValue()) << "\n";
  std::cout << "InteractionOperatorKind 6  -> "
            << zorbel::InteractionOperatorKind(6).toString().str() << "\n";
}

}  // namespace

int main() {
  std::cout << "zorbel demo\n";
  comments();
  values();
  enumerations();
  return 0;
}
