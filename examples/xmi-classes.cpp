// Reads an XMI file and prints its classes with their attributes, walking the model
// through the typed handles.
#include <iostream>

#include <zorbel/xmi/Xmi.h>

namespace {

void printClasses(const zorbel::Package& package, Kelpa::Deviant d) {
  for (const zorbel::PackageableElement& element : package->getPackagedElements(d)) {
    if (const zorbel::Package nested(element); !nested.isNull()) {
      printClasses(nested, d);
    } else if (const zorbel::Class cls(element); !cls.isNull()) {
      std::cout << package->getName(d).to_string() << "::" << cls->getName(d).to_string() << "\n";
      // Class.ownedAttribute redefines StructuredClassifier.ownedAttribute and keeps its
      // own value: the reader, like reflection by name, fills the Class one.
      for (const zorbel::Property& attribute : cls->getZorbel_Class_OwnedAttributes(d)) {
        const zorbel::Type type = attribute->getType(d);
        std::cout << "  " << attribute->getName(d).to_string() << " : "
                  << (type.isNull() ? "?" : type->getName(d).to_string()) << "\n";
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: zorbel-xmi-classes FILE\n";
    return 2;
  }
  Kelpa::Model model = zorbel::NSInterface::FactoryIntf::createNewModel();
  int status = 0;
  try {
    const zorbel::xmi::Document document = zorbel::xmi::read(model, argv[1]);
    for (const Kelpa::ClassObject& root : document.roots)
      if (const zorbel::Package package(root); !package.isNull())
        printClasses(package, model.getDeviant());
    for (const zorbel::xmi::UnresolvedReference& u : document.report.unresolved)
      std::cout << "line " << u.line << ": " << u.property << " names " << u.target
                << ", which is not at hand\n";
  } catch (const zorbel::xmi::Error& e) {
    std::cerr << argv[1] << ": " << e.what() << "\n";
    status = 1;
  }
  model->destroyModel();
  return status;
}
