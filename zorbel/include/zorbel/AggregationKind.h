#pragma once
#include <zorbel/detail/EnumerationBase.h>

namespace zorbel {

namespace detail {
struct AggregationKindLiterals {
  enum Value : std::int32_t { kNone = 0, kShared = 1, kComposite = 2 };
  static constexpr const char* kTypeName = "zorbel.AggregationKind";
  static constexpr EnumerationLiteral kLiterals[] = {
      {kNone, "none"}, {kShared, "shared"}, {kComposite, "composite"}};
};
}  // namespace detail

// How a property aggregates the values it holds.
class AggregationKind final
    : public detail::Enumeration<AggregationKind, detail::AggregationKindLiterals> {
 public:
  using Enumeration::Enumeration;
};

}  // namespace zorbel
