#pragma once
#include <zorbel/detail/EnumerationBase.h>

namespace zorbel {

namespace detail {
struct MessageSortLiterals {
  enum Value : std::int32_t {
    kSynchCall = 0,
    kAsynchCall = 1,
    kAsynchSignal = 2,
    kCreateMessage = 3,
    kDeleteMessage = 4,
    kReply = 5
  };
  static constexpr const char* kTypeName = "zorbel.MessageSort";
  static constexpr EnumerationLiteral kLiterals[] = {
      {kSynchCall, "synchCall"},         {kAsynchCall, "asynchCall"},
      {kAsynchSignal, "asynchSignal"},   {kCreateMessage, "createMessage"},
      {kDeleteMessage, "deleteMessage"}, {kReply, "reply"}};
};
}  // namespace detail

// The kind of communication a message stands for.
class MessageSort final : public detail::Enumeration<MessageSort, detail::MessageSortLiterals> {
 public:
  using Enumeration::Enumeration;
};

}  // namespace zorbel
