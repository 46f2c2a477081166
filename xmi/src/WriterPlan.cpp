#include "WriterPlan.h"

#include <map>
#include <memory>
#include <mutex>
#include <unordered_set>

namespace zorbel::xmi {
namespace {

using Kelpa::NSInterface::ClassIntf;
using Kelpa::NSInterface::PropertyIntf;

bool isKernelProperty(const PropertyIntf* p) {
  return p->getOwner()->getQualifiedName().rfind("zorbel.", 0) != 0;
}

// A property a document states: not computed, not the kernel's, and not the end that
// names an element's owner (the nesting says that).
bool isWritten(const PropertyIntf* p) {
  if (isKernelProperty(p) || p->isDerived() || p->isDerivedUnion() || p->isReadOnly())
    return false;
  const PropertyIntf* opposite = p->getOpposite();
  return !(opposite && opposite->isComposite());
}

// The metaclass's properties with the bases' first, each once.
void collect(const ClassIntf* c, std::vector<const PropertyIntf*>& out,
             std::unordered_set<const ClassIntf*>& seen) {
  if (!seen.insert(c).second) return;
  for (const ClassIntf* base : c->getSuperClasses()) collect(base, out, seen);
  for (const PropertyIntf* p : c->getOwnedProperties()) out.push_back(p);
}

WriterPlan build(const ClassIntf* metaclass) {
  std::vector<const PropertyIntf*> all;
  std::unordered_set<const ClassIntf*> seen;
  collect(metaclass, all, seen);
  WriterPlan plan;
  std::map<std::string, std::size_t> byName;
  for (const PropertyIntf* p : all) {
    if (!isWritten(p)) continue;
    auto [it, added] = byName.emplace(p->getName(), plan.properties.size());
    if (!added) {
      // A redefinition: the more specific comes later in base-first order.
      auto& candidates = plan.properties[it->second].candidates;
      candidates.insert(candidates.begin(), p);
      continue;
    }
    PlannedProperty planned;
    planned.name = p->getName();
    planned.multi = p->isMultiValued();
    const std::string kind = p->getType()->kind();
    if (kind == "Class") {
      planned.kind = p->isComposite() ? PropertyKind::Composite : PropertyKind::Reference;
      planned.type = static_cast<const ClassIntf*>(p->getType());
    } else {
      planned.kind = PropertyKind::Attribute;
      planned.isString = p->getType()->getName() == "String";
      // Both dialects write bodies of text as elements, where line breaks survive.
      planned.asElement = planned.name == "body";
    }
    planned.candidates.push_back(p);
    plan.properties.push_back(std::move(planned));
  }
  return plan;
}

}  // namespace

Stated statedValues(const Kelpa::NSInterface::ClassObjectIntf* element, Kelpa::Deviant d,
                    const PlannedProperty& p) {
  Stated out;
  const bool shared = p.candidates.size() > 1;
  // A list or a reference of its own name reads as empty or null when it holds nothing.
  if (!shared && (p.multi || p.kind != PropertyKind::Attribute)) {
    out.property = p.candidates.front();
  } else {
    const PropertyIntf* holding = nullptr;
    for (const PropertyIntf* candidate : p.candidates) {
      if (!Kelpa::reflect::has(element, d, *candidate)) continue;
      if (!holding) holding = candidate;
      if (!shared || p.kind != PropertyKind::Attribute || candidate->isMultiValued()) break;
      const Kelpa::Object value = Kelpa::reflect::get(element, d, *candidate);
      if (!value.isNull() && !isDefault(candidate, value->toString(d).str())) {
        holding = candidate;
        break;
      }
    }
    out.property = holding;
  }
  if (!out.property) return out;
  // A redefinition may bound a list to one value (Extension.ownedEnd).
  if (!out.property->isMultiValued()) {
    Kelpa::Object value = Kelpa::reflect::get(element, d, *out.property);
    if (!value.isNull()) out.values.push_back(std::move(value));
    return out;
  }
  std::unordered_set<const Kelpa::NSInterface::ObjectIntf*> seen;
  for (const PropertyIntf* candidate : p.candidates) {
    if (!candidate->isMultiValued()) continue;
    Kelpa::Sequence<Kelpa::Object> seq = Kelpa::asSequence(Kelpa::reflect::get(element, d, *candidate));
    const int n = seq.size();
    for (int i = 0; i < n; ++i) {
      Kelpa::Object v = seq.at(i);
      if (!shared || seen.insert(v.get()).second) out.values.push_back(std::move(v));
    }
  }
  return out;
}

const WriterPlan& planOf(const ClassIntf* metaclass) {
  static std::mutex mutex;
  static std::map<const ClassIntf*, std::unique_ptr<WriterPlan>> plans;
  std::lock_guard lock(mutex);
  auto& slot = plans[metaclass];
  if (!slot) slot = std::make_unique<WriterPlan>(build(metaclass));
  return *slot;
}

}  // namespace zorbel::xmi
