// A tour of zorbel: comments, a small class model outlined with the visitor, values and
// enumerations as text, and a generic walk that knows the classes only through reflection.
#include <iostream>
#include <string>
#include <vector>

#include <Kelpa/Meta.h>
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

// A small class model, read back through the typed accessors and walked with a visitor
// that has one handler per kind of element it cares about.
void classModel() {
  section("A class model");
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  const Kelpa::Deviant root = model.getDeviant();
  auto named = [&](auto element, const char* name) {
    element->setName(root, zorbel::String(name));
    return element;
  };

  zorbel::Package shop = named(zorbel::Package::create(model), "shop");
  zorbel::Enumeration status = named(zorbel::Enumeration::create(model), "Status");
  for (const char* literal : {"open", "paid", "shipped"})
    status->getOwnedLiterals(root).push_back(
        named(zorbel::EnumerationLiteral::create(model), literal));
  zorbel::Class customer = named(zorbel::Class::create(model), "Customer");
  zorbel::Class order = named(zorbel::Class::create(model), "Order");
  order->setIsAbstract(root, zorbel::Boolean(false));

  zorbel::Property id = named(zorbel::Property::create(model), "id");
  id->setIsReadOnly(root, zorbel::Boolean(true));
  zorbel::Property state = named(zorbel::Property::create(model), "state");
  state->setType(root, status);
  zorbel::Property buyer = named(zorbel::Property::create(model), "buyer");
  buyer->setType(root, customer);
  buyer->setAggregation(root, zorbel::AggregationKind::kShared);
  for (const zorbel::Property& p : {id, state, buyer}) order->getOwnedAttributes(root).push_back(p);

  zorbel::Operation ship = named(zorbel::Operation::create(model), "ship");
  zorbel::Parameter carrier = named(zorbel::Parameter::create(model), "carrier");
  carrier->setDirection(root, zorbel::ParameterDirectionKind::kIn);
  ship->getOwnedParameters(root).push_back(carrier);
  order->getOwnedOperations(root).push_back(ship);
  for (const zorbel::PackageableElement& e :
       std::vector<zorbel::PackageableElement>{status, customer, order})
    shop->getPackagedElements(root).push_back(e);

  std::string indent = "  ";
  Kelpa::Dispatcher outline;
  auto nameOf = [](const zorbel::NamedElement& e) {
    return e->getName(e.getDeviant()).to_string();
  };
  outline.on<zorbel::Class>([&](const zorbel::Class& c) {
    std::cout << indent << "class " << nameOf(c) << "\n";
    for (const zorbel::Property& p : c->getOwnedAttributes(c.getDeviant())) {
      zorbel::Type type = p->getType(p.getDeviant());
      std::cout << indent << "  attribute " << nameOf(p)
                << (type.isNull() ? std::string() : " : " + nameOf(type))
                << (p->isReadOnly(p.getDeviant()) ? " {readOnly}" : "") << " aggregation "
                << p->getAggregation(p.getDeviant()).toString().str() << "\n";
    }
    for (const zorbel::Operation& o : c->getOwnedOperations(c.getDeviant())) {
      std::cout << indent << "  operation " << nameOf(o) << "(";
      for (const zorbel::Parameter& p : o->getOwnedParameters(o.getDeviant()))
        std::cout << p->getDirection(p.getDeviant()).toString().str() << " " << nameOf(p);
      std::cout << ")\n";
    }
  });
  outline.on<zorbel::Enumeration>([&](const zorbel::Enumeration& e) {
    std::cout << indent << "enumeration " << nameOf(e) << " {";
    for (const zorbel::EnumerationLiteral& l : e->getOwnedLiterals(e.getDeviant()))
      std::cout << " " << nameOf(l);
    std::cout << " }\n";
  });
  outline.on<zorbel::NamedElement>([&](const zorbel::NamedElement& e) {
    std::cout << indent << "element " << nameOf(e) << "\n";
  });

  std::cout << "package " << nameOf(shop) << "\n";
  for (const zorbel::PackageableElement& e : shop->getPackagedElements(root))
    outline.visit(Kelpa::Object(e));
  model->destroyModel();
}

// What the library keeps consistent on every write: both ends of an association, the
// owner of a moved element, the unions over owned elements, and a destroyed subtree.
void consistency() {
  section("Consistency on every write");
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  const Kelpa::Deviant root = model.getDeviant();
  auto named = [&](auto element, const char* name) {
    element->setName(root, zorbel::String(name));
    return element;
  };
  auto nameOf = [&](const zorbel::ImmutableNamedElement& e) {
    return e.isNull() ? std::string("(none)") : e->getName(root).to_string();
  };

  zorbel::Package sales = named(zorbel::Package::create(model), "sales");
  zorbel::Package archive = named(zorbel::Package::create(model), "archive");
  zorbel::Class customer = named(zorbel::Class::create(model), "Customer");
  zorbel::Class order = named(zorbel::Class::create(model), "Order");
  sales->getPackagedElements(root).push_back(customer);
  sales->getPackagedElements(root).push_back(order);

  // An association between the two classes: each end is an attribute of the other class.
  zorbel::Property buyer = named(zorbel::Property::create(model), "buyer");
  buyer->setType(root, customer);
  // A class keeps its attributes in Class.ownedAttribute, the list its unions read.
  order->getZorbel_Class_OwnedAttributes(root).push_back(buyer);
  zorbel::Property orders = named(zorbel::Property::create(model), "orders");
  orders->setType(root, order);
  customer->getZorbel_Class_OwnedAttributes(root).push_back(orders);
  zorbel::Association places = named(zorbel::Association::create(model), "places");
  sales->getPackagedElements(root).push_back(places);
  places->getMemberEnds(root).push_back(buyer);
  orders->setAssociation(root, places);  // the other side of the same association
  std::cout << "association " << nameOf(places) << " has member ends:";
  for (const zorbel::Property& end : places->getMemberEnds(root)) std::cout << " " << nameOf(end);
  std::cout << "\n  buyer's association: " << nameOf(buyer->getAssociation(root))
            << ", orders' association: " << nameOf(orders->getAssociation(root)) << "\n";
  std::cout << "  buyer is owned by " << nameOf(zorbel::NamedElement(buyer->getOwner(root)))
            << " as an attribute of class " << nameOf(buyer->getClass(root)) << "\n";

  // The unions of a class: owned elements and owned members, read from their parts.
  zorbel::Comment note = zorbel::Comment::create(model);
  note->setBody(root, zorbel::String("Orders are kept for ten years"));
  order->getOwnedComments(root).push_back(note);
  order->getOwnedOperations(root).push_back(named(zorbel::Operation::create(model), "ship"));
  std::cout << "class Order owns " << order->getOwnedElements(root).size()
            << " elements (a comment, an attribute, an operation) and "
            << order->getOwnedMembers(root).size() << " members:";
  for (const zorbel::NamedElement& m : order->getOwnedMembers(root)) std::cout << " " << nameOf(m);
  std::cout << "\n";

  // Moving a class to another package takes it out of the first.
  archive->getPackagedElements(root).push_back(order);
  std::cout << "after the move, sales has " << sales->getPackagedElements(root).size()
            << " elements, archive has " << archive->getPackagedElements(root).size()
            << ", and Order's package is " << nameOf(order->getPackage(root)) << "\n";

  // Destroying the class destroys what it owns and unlinks it everywhere.
  order->destroy(root);
  std::cout << "after destroying Order: archive has " << archive->getPackagedElements(root).size()
            << " elements; buyer is valid: " << std::boolalpha << buyer.isValid()
            << ", the comment is valid: " << note.isValid() << "; association " << nameOf(places)
            << " has " << places->getMemberEnds(root).size() << " member end left ("
            << nameOf(places->getMemberEnds(root)[0]) << ")\n";
  model->destroyModel();
}

// Deviants: a what-if beside the model, transactions that are abandoned or committed,
// and undo and redo.
void whatIf() {
  section("A what-if in a deviation, transactions, undo and redo");
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  const Kelpa::Deviant root = model.getDeviant();
  auto named = [&](auto element, const char* name) {
    element->setName(root, zorbel::String(name));
    return element;
  };
  zorbel::Class customer = named(zorbel::Class::create(model), "Customer");
  zorbel::Class order = named(zorbel::Class::create(model), "Order");
  zorbel::Class invoice = named(zorbel::Class::create(model), "Invoice");
  zorbel::Property buyer = named(zorbel::Property::create(model), "buyer");
  order->getZorbel_Class_OwnedAttributes(root).push_back(buyer);
  zorbel::Association places = named(zorbel::Association::create(model), "places");
  places->getMemberEnds(root).push_back(buyer);

  const Kelpa::Deviant whatIf = model->createDeviant();
  auto show = [&](const char* when) {
    std::cout << when << "\n";
    for (const auto& [label, d] : {std::pair{"  root   ", root}, std::pair{"  what-if", whatIf}}) {
      std::cout << label << ": classes " << customer->getName(d).to_string() << ", "
                << order->getName(d).to_string() << ", " << invoice->getName(d).to_string()
                << "; buyer belongs to " << buyer->getClass(d)->getName(d).to_string()
                << ", association " << places->getName(d).to_string() << " has "
                << places->getMemberEnds(d).size() << " end(s)\n";
    }
  };
  show("a deviation reads the root until it writes:");

  // In the deviation: rename two classes and move the association's end to Invoice.
  customer->setName(whatIf, zorbel::String("Client"));
  order->setName(whatIf, zorbel::String("PurchaseOrder"));
  invoice->getZorbel_Class_OwnedAttributes(whatIf).push_back(buyer);
  places->getMemberEnds(whatIf).remove(buyer);
  show("after the what-if's own changes, the root is unchanged:");

  // A root change: the deviation keeps its snapshot.
  invoice->setName(root, zorbel::String("Bill"));
  show("after the root renamed Invoice, the what-if still sees its snapshot:");

  {
    Kelpa::Transaction t(model);
    order->setName(root, zorbel::String("Scrapped"));
    places->destroy(root);
    std::cout << "within a transaction the root renamed Order to "
              << order->getName(root).to_string() << " and destroyed the association\n";
  }  // not committed: abandoned
  show("the transaction was abandoned:");

  {
    Kelpa::Transaction t(model);
    customer->setName(root, zorbel::String("Buyer"));
    invoice->getZorbel_Class_OwnedAttributes(root).push_back(buyer);
    t.commit();
  }
  show("a committed transaction renamed Customer and moved buyer to Bill:");
  model->undo(root);
  show("undone:");
  model->redo(root);
  show("redone:");
  model->destroyModel();
}

// Any element, knowing nothing of its class: its metaclass and every property that has a
// value, found by reflection alone.
void describe(const Kelpa::ImmutableClassObject& element) {
  const Kelpa::ImmutableClass cls = element->getMetaClass();
  std::cout << cls->getQualifiedName() << "\n";
  for (const Kelpa::NSInterface::PropertyIntf* p : cls->getAllProperties()) {
    // Derived values, the kernel's own, and properties that a more specific one hides.
    if (p->isDerived() || p->isDerivedUnion() || p->getOwner()->getName() == "ClassObject" ||
        cls->findProperty(p->getName()) != p)
      continue;
    Kelpa::Object value;
    try {
      if (!Kelpa::has(element, p->getName())) continue;
      value = Kelpa::get(element, p->getName());
    } catch (const Kelpa::UnImplementedException&) {
      continue;  // a feature this version does not keep yet
    }
    std::cout << "  " << p->getName() << " = ";
    if (const Kelpa::Sequence<Kelpa::Object> items = Kelpa::asSequence(value); !items.isNull()) {
      std::cout << items.size() << " element(s)";
    } else if (const auto* element = Kelpa::detail::castTo<Kelpa::NSInterface::ClassObjectIntf>(value.get())) {
      std::cout << "a " << element->getMetaClass()->getName();
    } else {
      std::cout << value->toString(value.getDeviant()).str();
    }
    std::cout << "\n";
  }
}

void genericWalk() {
  section("A generic walk by reflection");
  Kelpa::Model model = zorbel::NSInterface::FactoryIntf::createNewModel();
  const Kelpa::Deviant root = model.getDeviant();
  const zorbel::Factory factory = zorbel::NSInterface::FactoryIntf::createNewFactory(model);

  // Elements made by name, values set by property name.
  const Kelpa::ClassObject person(factory->createFromString(root, zorbel::String("Class")));
  const Kelpa::ClassObject age(factory->createFromString(root, zorbel::String("zorbel.Property")));
  Kelpa::setOrAdd(person, "name", zorbel::String("Person"));
  Kelpa::setOrAdd(person, "isAbstract", zorbel::Boolean(true));
  Kelpa::setOrAdd(age, "name", zorbel::String("age"));
  Kelpa::setOrAdd(age, "aggregation", factory->createFromString(root, zorbel::String("AggregationKind"),
                                                                zorbel::String("shared")));
  Kelpa::setOrAdd(age, "type", factory->createFromString(root, zorbel::String("PrimitiveType")));
  describe(person);
  describe(age);

  // A change by name is what the typed accessor sees.
  Kelpa::setOrAdd(age, "name", zorbel::String("yearsOfAge"));
  const zorbel::Property typed(age);
  std::cout << "typed getName after a change by name: " << typed->getName(root).c_str() << "\n";
  model->destroyModel();
}

}  // namespace

int main() {
  std::cout << "zorbel demo\n";
  comments();
  classModel();
  consistency();
  whatIf();
  values();
  enumerations();
  genericWalk();
  return 0;
}
