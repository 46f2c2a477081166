#pragma once
// cast() for the kernel's own classes: single inheritance, so every interface of the
// chain is the object itself.
#include <Kelpa/Visitor.h>

namespace Kelpa::detail {

template <class... Chain, class Self>
ReferenceCountingIntf* castAlongChain(const Self* self,
                                      const CooperativeVisitor::internal::ClassInfo& info) {
  const bool hit = ((info == CooperativeVisitor::internal::classInfoOf<Chain>()) || ...);
  return hit ? const_cast<Self*>(self) : nullptr;
}

}  // namespace Kelpa::detail
