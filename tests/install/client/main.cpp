#include <cstdio>

#include <zorbel/zorbel.h>
#ifdef CLIENT_WITH_XMI
#include <zorbel/xmi/Xmi.h>
#endif

int main() {
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  zorbel::Comment c = zorbel::Comment::create(model);
  c->setBody(c.getDeviant(), zorbel::String("installed"));
  bool ok = c->getBody(c.getDeviant()).to_string() == "installed";
  c = zorbel::Comment();
#ifdef CLIENT_WITH_XMI
  {
    const zorbel::xmi::Document document = zorbel::xmi::readString(
        model,
        R"(<uml:Model xmlns:uml="http://www.eclipse.org/uml2/5.0.0/UML" name="read"/>)");
    const zorbel::Model read(document.roots.at(0));
    ok = ok && read->getName(read.getDeviant()).to_string() == "read";
  }
#endif
  model->destroyModel();
  std::puts(ok ? "client ok" : "client FAILED");
  return ok ? 0 : 1;
}
