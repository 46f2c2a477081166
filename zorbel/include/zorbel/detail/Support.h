#pragma once
// The one support header of the element classes: the rules every metaclass shares,
// written once, that the per-class code calls in one line each.
#include <Kelpa/ElementBase.h>
#include <Kelpa/MultiIndexImpl.h>
#include <Kelpa/Visitor.h>

#include <zorbel/VisitationDomain.h>

namespace Tovi {
class ModuleObjectDeleter;
}

namespace zorbel::detail {

using Kelpa::Deviant;
namespace CV = Kelpa::CooperativeVisitor::internal;

// The library's list of process-lifetime objects, created on first need.
Tovi::ModuleObjectDeleter& moduleObjects();

// cast() of an interface through its class table, built on first use.
inline Kelpa::ReferenceCountingIntf* castThroughTable(const Kelpa::ReferenceCountingIntf* self,
                                                      CV::ClassMetaInfo*& table,
                                                      const CV::LinearEntry* entries,
                                                      std::size_t count,
                                                      const CV::ClassInfo& info) {
  if (!table) table = CV::buildClassMetaInfo(entries, count, moduleObjects());
  return table->cast(self, info);
}

// getVisitMethod(): the class's own method if the visitor has one, else the first
// ancestor in the linearisation that has one.
template <class Intf>
Kelpa::VisitMethod visitThroughTable(const Kelpa::ReferenceCountingIntf* self,
                                     CV::ClassMetaInfo* const& table,
                                     const Kelpa::ReferenceCountingIntf::VisitTable& visitTable) {
  const CV::ClassInfo& own = CV::classInfoOf<Intf>();
  if (own.domain < visitTable.size() && own.cls < visitTable[own.domain].size() &&
      visitTable[own.domain][own.cls] != 0)
    return {visitTable[own.domain][own.cls], self};
  return table->findVisitMethod(self, visitTable);
}

// The identity caster: an interface of the first-base chain is the object itself.
inline Kelpa::ReferenceCountingIntf* sameObject(const Kelpa::ReferenceCountingIntf* p) {
  return const_cast<Kelpa::ReferenceCountingIntf*>(p);
}

// The state that answers a read or takes a write of a property of Intf's level.
template <class Intf>
Intf* readState(const Intf* self, Deviant d) {
  return Kelpa::requireState(self->getReadDeviantI(d, self));
}
template <class Intf>
Intf* writeState(const Intf* self, Deviant d) {
  return Kelpa::requireState(self->getWriteDeviantI(d, self));
}

// setY of a single value with a presence bit: an equal value present already is no
// write at all (no copy into a deviant, no undo record).
template <class Intf, class V>
void setValue(Intf* self, Deviant d, const V& value, bool (Intf::*has)(Deviant) const,
              V (Intf::*get)(Deviant) const, void (Intf::*set)(Deviant, const V&)) {
  const Intf* reader = readState(static_cast<const Intf*>(self), d);
  if ((reader->*has)(d) && (reader->*get)(d) == value) return;
  (writeState(static_cast<const Intf*>(self), d)->*set)(d, value);
}

// Handles of the interface pointer p, whose first-base chain starts at offset 0.
template <class Intf>
const Kelpa::NSInterface::ClassObjectIntf* asClassObject(const Intf* p) {
  return Kelpa::primary_cast<Kelpa::NSInterface::ClassObjectIntf>(p);
}

// A handle of another interface of the same object (cast through the class table).
template <class Intf>
Intf* viewAs(const Kelpa::NSInterface::ObjectIntf* p) {
  return Kelpa::detail::castTo<Intf>(p);
}

// Creation: the identity enters the model, gets its first state in the creating
// deviant, an id, its model and a place among the model's root objects.
template <class Handle, class Impl>
Handle createElement(const Kelpa::Model& model, const Kelpa::Integer& id) {
  const Deviant d = model.getDeviant();
  if (Kelpa::DeviantAssertions::sAssertionsEnabled) d.internal_assertWritable(nullptr);
  auto* impl = new Impl();
  impl->enterModel(d);
  Handle result(impl, d);
  if (model.isNull()) Kelpa::raiseNullRef();
  Kelpa::ClassObject asClassObject(Kelpa::primary_cast<Kelpa::NSInterface::ClassObjectIntf>(impl),
                                   d);
  model->bindObjectId(d, asClassObject, id);
  asClassObject->setModelKelpa(d, model);
  model->getRootObjects(d).push_back(asClassObject);
  return result;
}

template <class Handle, class Impl>
Handle createElement(const Kelpa::Model& model) {
  const Deviant d = model.getDeviant();
  if (Kelpa::DeviantAssertions::sAssertionsEnabled) d.internal_assertWritable(nullptr);
  if (model.isNull()) Kelpa::raiseNullRef();
  return createElement<Handle, Impl>(model, model->nextObjectId(d));
}

// The interface's getRuvoName: an interface is never asked, only its objects are.
[[noreturn, gnu::cold]] void raiseInternalError(const char* interfacePath, int line);

}  // namespace zorbel::detail
