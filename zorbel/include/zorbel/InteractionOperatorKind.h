#pragma once
#include <zorbel/detail/EnumerationBase.h>

namespace zorbel {

namespace detail {
struct InteractionOperatorKindLiterals {
  enum Value : std::int32_t {
    kSeq = 0,
    kAlt = 1,
    kOpt = 2,
    kBreak = 3,
    kPar = 4,
    kStrict = 5,
    kLoop = 6,
    kCritical = 7,
    kNeg = 8,
    kAssert = 9,
    kIgnore = 10,
    kConsider = 11
  };
  static constexpr const char* kTypeName = "zorbel.InteractionOperatorKind";
  static constexpr EnumerationLiteral kLiterals[] = {
      {kSeq, "seq"}, {kAlt, "alt"},       {kOpt, "opt"},       {kBreak, "break"},
      {kPar, "par"}, {kStrict, "strict"}, {kLoop, "loop"},     {kCritical, "critical"},
      {kNeg, "neg"}, {kAssert, "assert"}, {kIgnore, "ignore"}, {kConsider, "consider"}};
};
}  // namespace detail

// The operator of a combined fragment.
class InteractionOperatorKind final
    : public detail::Enumeration<InteractionOperatorKind, detail::InteractionOperatorKindLiterals> {
 public:
  using Enumeration::Enumeration;
};

}  // namespace zorbel
