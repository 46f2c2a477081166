#pragma once
// A client's visitor: one handler per interface, and each object dispatched to the
// handler of its most specific interface (the first one of its linearisation that has
// a handler).
//
//   Kelpa::Dispatcher visitor;
//   visitor.on<zorbel::NamedElement>([](const zorbel::NamedElement& e) { ... });
//   visitor.on<zorbel::Class>([](const zorbel::Class& c) { ... });
//   visitor.visit(element);  // a Class goes to the second, a Package to the first
#include <functional>
#include <vector>

#include <Kelpa/Handles.h>
#include <Kelpa/Visitor.h>

namespace Kelpa {

class Dispatcher {
 public:
  // Registers handler for the interface of handle type H; a second one replaces it.
  template <class H, class F>
  void on(F handler) {
    using Intf = typename H::Intf;
    const auto& info = CooperativeVisitor::internal::classInfoOf<Intf>();
    unsigned long& cell = cellOf(info);
    auto call = [handler = std::move(handler)](const ReferenceCountingIntf* object, Deviant d) {
      handler(H(primary_cast<Intf>(const_cast<ReferenceCountingIntf*>(object)), d));
    };
    if (cell == 0) {
      fHandlers.emplace_back(std::move(call));
      cell = fHandlers.size();
    } else {
      fHandlers[cell - 1] = std::move(call);
    }
  }
  // Calls the handler that fits the object best; false if none fits.
  bool visit(const ImmutableObject& object) const {
    if (object.isNull()) return false;
    const VisitMethod m = object->getVisitMethod(fTable);
    if (m.method == 0) return false;
    fHandlers[m.method - 1](m.object, object.getDeviant());
    return true;
  }

 private:
  unsigned long& cellOf(const CooperativeVisitor::internal::ClassInfo& info) {
    if (fTable.size() <= info.domain) fTable.resize(info.domain + 1);
    auto& row = fTable[info.domain];
    if (row.size() <= info.cls) row.resize(info.cls + 1);
    return row[info.cls];
  }

  CooperativeVisitor::internal::LightVector<
      CooperativeVisitor::internal::LightVector<unsigned long>>
      fTable;
  std::vector<std::function<void(const ReferenceCountingIntf*, Deviant)>> fHandlers;
};

}  // namespace Kelpa
