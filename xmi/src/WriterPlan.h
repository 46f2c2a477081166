#pragma once
// What the writer writes of each metaclass, worked out once per metaclass from the
// meta package.
#include <string>
#include <vector>

#include <Kelpa/Meta.h>

#include <zorbel/xmi/Xmi.h>

namespace zorbel::xmi {

enum class PropertyKind { Attribute, Composite, Reference };

struct PlannedProperty {
  std::string name;
  PropertyKind kind;
  bool multi;
  bool isString = false;   // of the primitive type String
  bool asElement = false;  // a single value written as a child element (a body text)
  const Kelpa::NSInterface::ClassIntf* type = nullptr;  // the element type, for elements
  // The properties of this name, the most specific first: a redefinition keeps a
  // value of its own, and the first that holds one is written.
  std::vector<const Kelpa::NSInterface::PropertyIntf*> candidates;
};

struct WriterPlan {
  std::vector<PlannedProperty> properties;  // inherited ones first
};

// Whether text is the property's default; an empty literal means it has none.
inline bool isDefault(const Kelpa::NSInterface::PropertyIntf* property, const std::string& text) {
  const char* literal = property->getDefault();
  return literal && *literal && text == literal;
}

// What a document states for one property of an element.
struct Stated {
  const Kelpa::NSInterface::PropertyIntf* property = nullptr;  // the one that held the values
  std::vector<Kelpa::Object> values;
};

// The values of p in element, in order. Of properties that share a name (a redefinition
// keeps a value of its own): for lists, the elements of all of them, each once; for a
// single value, the first, most specific first, that differs from its default, else the
// first that holds one (an attribute with a default always holds one).
Stated statedValues(const Kelpa::NSInterface::ClassObjectIntf* element, Kelpa::Deviant d,
                    const PlannedProperty& p);

// The plan of a metaclass; built on first use and kept for the process.
const WriterPlan& planOf(const Kelpa::NSInterface::ClassIntf* metaclass);

}  // namespace zorbel::xmi
