#pragma once

namespace zorbel {

// The visitation domain of every interface of the metamodel.
class VisitationDomain {
 public:
  virtual ~VisitationDomain();
};

}  // namespace zorbel
