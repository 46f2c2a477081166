#pragma once
#include <zorbel/detail/EnumerationBase.h>

namespace zorbel {

namespace detail {
struct ConnectorKindLiterals {
  enum Value : std::int32_t { kAssembly = 0, kDelegation = 1 };
  static constexpr const char* kTypeName = "zorbel.ConnectorKind";
  static constexpr EnumerationLiteral kLiterals[] = {{kAssembly, "assembly"},
                                                     {kDelegation, "delegation"}};
};
}  // namespace detail

// Whether a connector assembles parts or delegates to them.
class ConnectorKind final
    : public detail::Enumeration<ConnectorKind, detail::ConnectorKindLiterals> {
 public:
  using Enumeration::Enumeration;
};

}  // namespace zorbel
