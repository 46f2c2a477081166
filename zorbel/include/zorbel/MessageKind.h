#pragma once
#include <zorbel/detail/EnumerationBase.h>

namespace zorbel {

namespace detail {
struct MessageKindLiterals {
  enum Value : std::int32_t { kComplete = 0, kLost = 1, kFound = 2, kUnknown = 3 };
  static constexpr const char* kTypeName = "zorbel.MessageKind";
  static constexpr EnumerationLiteral kLiterals[] = {
      {kComplete, "complete"}, {kLost, "lost"}, {kFound, "found"}, {kUnknown, "unknown"}};
};
}  // namespace detail

// Whether the ends of a message are known.
class MessageKind final : public detail::Enumeration<MessageKind, detail::MessageKindLiterals> {
 public:
  using Enumeration::Enumeration;
};

}  // namespace zorbel
