#pragma once
// What the XMI tests share: a model per test, reading, and reading properties by name.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <zorbel/xmi/Xmi.h>

namespace xmitest {

// The text of a single-valued property of primitive or enumeration type.
inline std::string text(const Kelpa::ImmutableClassObject& element, const char* property) {
  return Kelpa::get(element, property)->toString(element.getDeviant()).str();
}

// The element that a single-valued reference holds.
inline Kelpa::ClassObject one(const Kelpa::ImmutableClassObject& element, const char* property) {
  return Kelpa::ClassObject(Kelpa::get(element, property));
}

// The elements of a multi-valued property, in order.
inline std::vector<Kelpa::ClassObject> all(const Kelpa::ImmutableClassObject& element, const char* property) {
  std::vector<Kelpa::ClassObject> out;
  for (const Kelpa::Object& o : Kelpa::asSequence(Kelpa::get(element, property)))
    out.emplace_back(o);
  return out;
}

inline bool same(const Kelpa::ImmutableClassObject& a, const Kelpa::ImmutableClassObject& b) {
  return a.objectPtr() == b.objectPtr();
}

// The xmi tool info of an element ("" if none).
inline std::string kept(const Kelpa::ImmutableClassObject& element) {
  return element->getExternalToolInfo(element.getDeviant(), Kelpa::String("xmi")).getInfo().str();
}

class ModelTest : public ::testing::Test {
 protected:
  ~ModelTest() override { model->destroyModel(); }
  Kelpa::Deviant d() const { return model.getDeviant(); }
  zorbel::xmi::Document read(std::string_view xml, const zorbel::xmi::ReadOptions& options = {}) {
    return zorbel::xmi::readString(model, xml, options);
  }
  // The text of the Error that reading raises.
  std::string failure(std::string_view xml) {
    try {
      read(xml);
    } catch (const zorbel::xmi::Error& e) {
      return e.what();
    }
    return "<no error>";
  }

  Kelpa::Model model = zorbel::NSInterface::FactoryIntf::createNewModel();
};

}  // namespace xmitest
