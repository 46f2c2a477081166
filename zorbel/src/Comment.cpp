// Element and Comment: the identity, state, interface and handle classes of the two,
// the pattern that every metaclass repeats.
#include <zorbel/Comment.h>

#include <cstdint>

#include <zorbel/detail/Support.h>

namespace zorbel {

using Kelpa::Deviant;
using Kelpa::ReferenceCountingIntf;
namespace CV = Kelpa::CooperativeVisitor::internal;

namespace NSImplementation {
class CommentImpl;
namespace NSDeviant {
class CommentDeviantImpl;
}
}  // namespace NSImplementation

// ---------------------------------------------------------------- ElementIntf

namespace NSInterface {

namespace {
CV::ClassMetaInfo* gElementTable = nullptr;
constexpr CV::LinearEntry kElementLinear[] = {
    {&CV::classInfoOf<ElementIntf>, &detail::sameObject},
    {&CV::classInfoOf<Kelpa::NSInterface::ClassObjectIntf>, &detail::sameObject},
    {&CV::classInfoOf<Kelpa::NSInterface::ObjectIntf>, &detail::sameObject},
    {&CV::classInfoOf<Kelpa::ReferenceCountingIntf>, &detail::sameObject},
};
}  // namespace

ReferenceCountingIntf* ElementIntf::cast(const ClassInfo& info) const {
  return detail::castThroughTable(this, gElementTable, kElementLinear, std::size(kElementLinear),
                                  info);
}

Kelpa::VisitMethod ElementIntf::getVisitMethod(const VisitTable& table) const {
  if (!gElementTable) cast(CV::classInfoOf<ElementIntf>());
  return detail::visitThroughTable<ElementIntf>(this, gElementTable, table);
}

std::string ElementIntf::getRuvoName(bool) const {
  detail::raiseInternalError("zorbel/NSInterface/ElementIntf", __LINE__);
}

Element ElementIntf::This(Deviant d) {
  return Element(this, d);
}
ImmutableElement ElementIntf::This(Deviant d) const {
  return ImmutableElement(this, d);
}

Kelpa::Sequence<Comment> ElementIntf::getOwnedComments(Deviant d) {
  return detail::readState(static_cast<const ElementIntf*>(this), d)->getOwnedComments(d);
}

Kelpa::Sequence<Comment> ElementIntf::getOwnedCommentsWithoutAssociation(Deviant d) const {
  return detail::readState(this, d)->getOwnedCommentsWithoutAssociation(d);
}

ElementIntf* ElementIntf::getReadDeviantI(Deviant, const ElementIntf*) const {
  return nullptr;
}
ElementIntf* ElementIntf::getWriteDeviantI(Deviant, const ElementIntf*) const {
  return nullptr;
}

// ---------------------------------------------------------------- CommentIntf

namespace {
CV::ClassMetaInfo* gCommentTable = nullptr;
constexpr CV::LinearEntry kCommentLinear[] = {
    {&CV::classInfoOf<CommentIntf>, &detail::sameObject},
    {&CV::classInfoOf<ElementIntf>, &detail::sameObject},
    {&CV::classInfoOf<Kelpa::NSInterface::ClassObjectIntf>, &detail::sameObject},
    {&CV::classInfoOf<Kelpa::NSInterface::ObjectIntf>, &detail::sameObject},
    {&CV::classInfoOf<Kelpa::ReferenceCountingIntf>, &detail::sameObject},
};
}  // namespace

ReferenceCountingIntf* CommentIntf::cast(const ClassInfo& info) const {
  return detail::castThroughTable(this, gCommentTable, kCommentLinear, std::size(kCommentLinear),
                                  info);
}

Kelpa::VisitMethod CommentIntf::getVisitMethod(const VisitTable& table) const {
  if (!gCommentTable) cast(CV::classInfoOf<CommentIntf>());
  return detail::visitThroughTable<CommentIntf>(this, gCommentTable, table);
}

std::string CommentIntf::getRuvoName(bool) const {
  detail::raiseInternalError("zorbel/NSInterface/CommentIntf", __LINE__);
}

Comment CommentIntf::This(Deviant d) {
  return Comment(this, d);
}
ImmutableComment CommentIntf::This(Deviant d) const {
  return ImmutableComment(this, d);
}

bool CommentIntf::hasBody(Deviant d) const {
  return detail::readState(this, d)->hasBody(d);
}

void CommentIntf::removeBody(Deviant d) {
  detail::writeState(this, d)->removeBody(d);
}

void CommentIntf::setBody(Deviant d, const String& value) {
  detail::setValue<CommentIntf, String>(this, d, value, &CommentIntf::hasBody,
                                        &CommentIntf::getBody, &CommentIntf::setBody);
}

String CommentIntf::getBody(Deviant d) const {
  return detail::readState(this, d)->getBody(d);
}

Kelpa::Sequence<Element> CommentIntf::getAnnotatedElements(Deviant d) {
  return detail::readState(static_cast<const CommentIntf*>(this), d)->getAnnotatedElements(d);
}

Kelpa::Sequence<Element> CommentIntf::getAnnotatedElementsWithoutAssociation(Deviant d) const {
  return detail::readState(this, d)->getAnnotatedElementsWithoutAssociation(d);
}

CommentIntf* CommentIntf::getReadDeviantI(Deviant, const CommentIntf*) const {
  return nullptr;
}
CommentIntf* CommentIntf::getWriteDeviantI(Deviant, const CommentIntf*) const {
  return nullptr;
}

}  // namespace NSInterface

// ---------------------------------------------------------------- the Comment classes

namespace NSImplementation {

extern const Kelpa::ElementOps kCommentOps;

namespace NSDeviant {

// One set of values of a Comment: its own properties, then Element's.
class CommentDeviantImpl final : public Kelpa::ElementState<NSInterface::CommentIntf, kCommentOps> {
 public:
  CommentDeviantImpl() = default;
  CommentDeviantImpl(const CommentDeviantImpl&) = default;

  bool hasBody(Deviant) const override { return fPresent & kBodyBit; }
  void removeBody(Deviant) override {
    fPresent &= ~kBodyBit;
    fBody = String();
  }
  void setBody(Deviant, const String& value) override {
    fBody = value;
    fPresent |= kBodyBit;
  }
  String getBody(Deviant) const override { return fBody; }
  Kelpa::Sequence<Element> getAnnotatedElements(Deviant d) override {
    return Kelpa::Sequence<Element>(&fAnnotatedElement, d);
  }
  Kelpa::Sequence<Element> getAnnotatedElementsWithoutAssociation(Deviant d) const override {
    return Kelpa::Sequence<Element>(&fAnnotatedElement, d);
  }
  Kelpa::Sequence<Comment> getOwnedComments(Deviant d) override {
    return Kelpa::Sequence<Comment>(&fOwnedComment, d);
  }
  Kelpa::Sequence<Comment> getOwnedCommentsWithoutAssociation(Deviant d) const override {
    return Kelpa::Sequence<Comment>(&fOwnedComment, d);
  }

 private:
  static constexpr std::uint8_t kBodyBit = 1;

  String fBody;
  Kelpa::MultiIndexImpl<Element> fAnnotatedElement;
  Kelpa::MultiIndexImpl<Comment> fOwnedComment;
  std::uint8_t fPresent = 0;
};

}  // namespace NSDeviant

// The identity of a Comment; its values live in its states.
class CommentImpl final : public Kelpa::ElementIdentity<NSInterface::CommentIntf, kCommentOps> {
 public:
  using ElementIdentity::getReadDeviantI;
  using ElementIdentity::getWriteDeviantI;
  NSInterface::ElementIntf* getReadDeviantI(Deviant d,
                                            const NSInterface::ElementIntf*) const override {
    return readState(d);
  }
  NSInterface::ElementIntf* getWriteDeviantI(Deviant d,
                                             const NSInterface::ElementIntf*) const override {
    return writeState(d);
  }
  NSInterface::CommentIntf* getReadDeviantI(Deviant d,
                                            const NSInterface::CommentIntf*) const override {
    return readState(d);
  }
  NSInterface::CommentIntf* getWriteDeviantI(Deviant d,
                                             const NSInterface::CommentIntf*) const override {
    return writeState(d);
  }
};

namespace {
Kelpa::NSInterface::ObjectIntf* createCommentState() {
  return new NSDeviant::CommentDeviantImpl();
}
Kelpa::NSInterface::ObjectIntf* copyCommentState(const Kelpa::NSInterface::ObjectIntf* state) {
  return new NSDeviant::CommentDeviantImpl(*static_cast<const NSDeviant::CommentDeviantImpl*>(
      Kelpa::primary_cast<const NSInterface::CommentIntf>(state)));
}
}  // namespace

const Kelpa::ElementOps kCommentOps{
    &CV::classInfoOf<NSInterface::CommentIntf>,
    &createCommentState,
    &copyCommentState,
    "zorbel.Comment",
    "zorbel.ImmutableComment",
    "zorbel/NSImplementation/CommentImpl",
    "zorbel/NSImplementation/NSDeviant/CommentDeviantImpl",
    "no root deviant passed to CommentImpl::createRootDeviation",
};

}  // namespace NSImplementation

Comment Comment::create(const Kelpa::Model& model) {
  return detail::createElement<Comment, NSImplementation::CommentImpl>(model);
}

Comment Comment::createWithId(const Kelpa::Model& model, const Kelpa::Integer& id) {
  return detail::createElement<Comment, NSImplementation::CommentImpl>(model, id);
}

}  // namespace zorbel
