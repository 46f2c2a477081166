#include <cstdio>

#include <zorbel/zorbel.h>

int main() {
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  zorbel::Comment c = zorbel::Comment::create(model);
  c->setBody(c.getDeviant(), zorbel::String("installed"));
  const bool ok = c->getBody(c.getDeviant()).to_string() == "installed";
  c = zorbel::Comment();
  model->destroyModel();
  std::puts(ok ? "client ok" : "client FAILED");
  return ok ? 0 : 1;
}
