#pragma once
#include <type_traits>
#include <utility>

#include <Kelpa/Handles.h>

#include <zorbel/NSInterface/ElementIntf.h>

namespace zorbel {

class ImmutableElement : public Kelpa::ImmutableClassObject {
 public:
  using Intf = NSInterface::ElementIntf;
  static constexpr const char* sequenceTypeName() { return "zorbel.SequenceOfElement"; }

  ImmutableElement() noexcept = default;
  ImmutableElement(const Intf* p, Kelpa::Deviant d)
      : ImmutableClassObject(Kelpa::primary_cast<Kelpa::NSInterface::ClassObjectIntf>(p), d) {}
  // The object as an Element, or a null handle.
  explicit ImmutableElement(const Kelpa::ImmutableObject& o)
      : ImmutableElement(Kelpa::detail::castTo<const Intf>(o.get()), o.getDeviant()) {}

  const Intf* get() const noexcept { return Kelpa::primary_cast<Intf>(fPtr); }
  const Intf* operator->() const { return Kelpa::primary_cast<Intf>(checked()); }
};

class Element : public ImmutableElement {
 public:
  Element() noexcept = default;
  Element(Intf* p, Kelpa::Deviant d) : ImmutableElement(p, d) {}
  explicit Element(const Kelpa::ImmutableObject& o) : ImmutableElement(o) {}
  // Any element handle of a more specific class.
  template <class H>
  requires(std::is_base_of_v<Intf, typename H::Intf> &&
           !std::is_const_v<std::remove_pointer_t<decltype(std::declval<const H&>().get())>>)
      Element(const H& h)
      : ImmutableElement(Kelpa::detail::castTo<const Intf>(h.get()), h.getDeviant()) {}

  Intf* get() const noexcept { return Kelpa::primary_cast<Intf>(fPtr); }
  Intf* operator->() const { return Kelpa::primary_cast<Intf>(checked()); }
};

}  // namespace zorbel
