#pragma once
#include <zorbel/detail/EnumerationBase.h>

namespace zorbel {

namespace detail {
struct VisibilityKindLiterals {
  enum Value : std::int32_t { kPublic = 0, kPrivate = 1, kProtected = 2, kPackage = 3 };
  static constexpr const char* kTypeName = "zorbel.VisibilityKind";
  static constexpr EnumerationLiteral kLiterals[] = {
      {kPublic, "public"}, {kPrivate, "private"}, {kProtected, "protected"}, {kPackage, "package"}};
};
}  // namespace detail

// Where a named element is visible.
class VisibilityKind final
    : public detail::Enumeration<VisibilityKind, detail::VisibilityKindLiterals> {
 public:
  using Enumeration::Enumeration;
};

}  // namespace zorbel
