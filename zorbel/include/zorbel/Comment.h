#pragma once
#include <zorbel/Element.h>
#include <zorbel/NSInterface/CommentIntf.h>
#include <zorbel/String.h>

namespace zorbel {

class ImmutableComment : public ImmutableElement {
 public:
  using Intf = NSInterface::CommentIntf;
  static constexpr const char* sequenceTypeName() { return "zorbel.SequenceOfComment"; }

  ImmutableComment() noexcept = default;
  ImmutableComment(const Intf* p, Kelpa::Deviant d) : ImmutableElement(p, d) {}
  explicit ImmutableComment(const Kelpa::ImmutableObject& o)
      : ImmutableComment(Kelpa::detail::castTo<const Intf>(o.get()), o.getDeviant()) {}

  const Intf* get() const noexcept { return Kelpa::primary_cast<Intf>(fPtr); }
  const Intf* operator->() const { return Kelpa::primary_cast<Intf>(checked()); }
};

class Comment : public ImmutableComment {
 public:
  Comment() noexcept = default;
  Comment(Intf* p, Kelpa::Deviant d) : ImmutableComment(p, d) {}
  explicit Comment(const Kelpa::ImmutableObject& o) : ImmutableComment(o) {}

  Intf* get() const noexcept { return Kelpa::primary_cast<Intf>(fPtr); }
  Intf* operator->() const { return Kelpa::primary_cast<Intf>(checked()); }

  // A new Comment in the model's deviant, with a fresh id; it is at once one of the
  // model's root objects.
  static Comment create(const Kelpa::Model& model);
  static Comment createWithId(const Kelpa::Model& model, const Kelpa::Integer& id);
};

}  // namespace zorbel
