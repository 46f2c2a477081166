#pragma once
#include <Kelpa/ObjectIntf.h>
#include <Kelpa/Sequence.h>

#include <zorbel/VisitationDomain.h>

namespace zorbel {
class Element;
class ImmutableElement;
class Comment;

namespace NSInterface {

// An element is a constituent of a model. As such, it has the capability of owning
// other elements.
class ElementIntf : public Kelpa::NSInterface::ClassObjectIntf {
 public:
  using Domain = zorbel::VisitationDomain;

  Kelpa::ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  Kelpa::VisitMethod getVisitMethod(const VisitTable& table) const override;
  std::string getRuvoName(bool immutable) const override;

  Element This(Kelpa::Deviant d);
  ImmutableElement This(Kelpa::Deviant d) const;

  // The Comments owned by this element.
  virtual Kelpa::Sequence<Comment> getOwnedComments(Kelpa::Deviant d);
  virtual Kelpa::Sequence<Comment> getOwnedCommentsWithoutAssociation(Kelpa::Deviant d) const;

  virtual ElementIntf* getReadDeviantI(Kelpa::Deviant d, const ElementIntf*) const;
  virtual ElementIntf* getWriteDeviantI(Kelpa::Deviant d, const ElementIntf*) const;
  using ClassObjectIntf::getReadDeviantI;
  using ClassObjectIntf::getWriteDeviantI;
};

}  // namespace NSInterface
}  // namespace zorbel
