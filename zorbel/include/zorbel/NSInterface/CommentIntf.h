#pragma once
#include <zorbel/NSInterface/ElementIntf.h>

namespace zorbel {
class String;
class ImmutableComment;

namespace NSInterface {

// A comment is a textual annotation that can be attached to a set of elements.
class CommentIntf : public ElementIntf {
 public:
  using Domain = zorbel::VisitationDomain;

  Kelpa::ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  Kelpa::VisitMethod getVisitMethod(const VisitTable& table) const override;
  std::string getRuvoName(bool immutable) const override;

  Comment This(Kelpa::Deviant d);
  ImmutableComment This(Kelpa::Deviant d) const;

  // Specifies a string that is the comment.
  virtual bool hasBody(Kelpa::Deviant d) const;
  virtual void removeBody(Kelpa::Deviant d);
  virtual void setBody(Kelpa::Deviant d, const zorbel::String& value);
  virtual zorbel::String getBody(Kelpa::Deviant d) const;
  // References the Element(s) being commented.
  virtual Kelpa::Sequence<Element> getAnnotatedElements(Kelpa::Deviant d);
  virtual Kelpa::Sequence<Element> getAnnotatedElementsWithoutAssociation(Kelpa::Deviant d) const;

  virtual CommentIntf* getReadDeviantI(Kelpa::Deviant d, const CommentIntf*) const;
  virtual CommentIntf* getWriteDeviantI(Kelpa::Deviant d, const CommentIntf*) const;
  using ElementIntf::getReadDeviantI;
  using ElementIntf::getWriteDeviantI;
};

}  // namespace NSInterface
}  // namespace zorbel
