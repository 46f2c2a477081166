#pragma once
#include <zorbel/detail/EnumerationBase.h>

namespace zorbel {

namespace detail {
struct ParameterDirectionKindLiterals {
  enum Value : std::int32_t { kIn = 0, kInout = 1, kOut = 2, kReturn = 3 };
  static constexpr const char* kTypeName = "zorbel.ParameterDirectionKind";
  static constexpr EnumerationLiteral kLiterals[] = {
      {kIn, "in"}, {kInout, "inout"}, {kOut, "out"}, {kReturn, "return"}};
};
}  // namespace detail

// Which way a parameter passes its values.
class ParameterDirectionKind final
    : public detail::Enumeration<ParameterDirectionKind, detail::ParameterDirectionKindLiterals> {
 public:
  using Enumeration::Enumeration;
};

}  // namespace zorbel
