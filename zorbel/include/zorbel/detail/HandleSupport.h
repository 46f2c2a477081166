#pragma once
// What the handle classes of the metaclasses share: which other handles convert to them.
#include <type_traits>
#include <utility>

namespace zorbel::detail {

// H is a handle of a class below Handle's, and not one of Handle's subclasses (those
// convert as they are, without a cast).
template <class H, class Handle>
concept OtherHandleOf =
    std::is_base_of_v<typename Handle::Intf, typename H::Intf> && !std::is_base_of_v<Handle, H>;

// H is a writable handle of Handle's class or of a class below it.
template <class H, class Handle>
concept WritableHandleOf =
    std::is_base_of_v<typename Handle::Intf, typename H::Intf> && !std::is_same_v<H, Handle> &&
    !std::is_const_v<std::remove_pointer_t<decltype(std::declval<const H&>().get())>>;

}  // namespace zorbel::detail
