#pragma once
#include <zorbel/detail/EnumerationBase.h>

namespace zorbel {

namespace detail {
struct CallConcurrencyKindLiterals {
  enum Value : std::int32_t { kSequential = 0, kGuarded = 1, kConcurrent = 2 };
  static constexpr const char* kTypeName = "zorbel.CallConcurrencyKind";
  static constexpr EnumerationLiteral kLiterals[] = {
      {kSequential, "sequential"}, {kGuarded, "guarded"}, {kConcurrent, "concurrent"}};
};
}  // namespace detail

// How a behavioral feature treats concurrent calls.
class CallConcurrencyKind final
    : public detail::Enumeration<CallConcurrencyKind, detail::CallConcurrencyKindLiterals> {
 public:
  using Enumeration::Enumeration;
};

}  // namespace zorbel
