#pragma once
// What the kernel's sequences of elements share: their failures (a client sees one kind of
// sequence, whatever container holds it) and an iterator over a container position.
#include <Kelpa/Asserter.h>
#include <Kelpa/Sequence.h>

namespace Kelpa::detail::refsequence {

inline constexpr Where kSource{
    "kelpa/kernel/containers/sequence/multi_index/MultiIndexImplForRefs"};

[[noreturn, gnu::cold]] inline void fail(int line, const char* message) {
  Asserter::Make<Exception>(false, "%s", message).handle(kSource.path, line, "");
  __builtin_unreachable();
}

inline void checkIndex(int index, int limit) {
  if (index < 0) fail(__LINE__, "sequence index must be positive");
  if (index >= limit) fail(__LINE__, "sequence index out of bounds");
}

// An iterator at a position of a container of element pointers.
template <class Position>
class PositionIterator final : public Generic::IteratorIntf {
 public:
  explicit PositionIterator(Position position) : fPosition(position) {}
  Object generic_get(const Deviant& d) const override { return Object(*fPosition, d); }
  void generic_next() override { ++fPosition; }
  bool generic_equal(const IteratorIntf* other) const override {
    const auto* o = dynamic_cast<const PositionIterator*>(other);
    return o && o->fPosition == fPosition;
  }
  Position position() const { return fPosition; }

 private:
  Position fPosition;
};

// The position of an iterator of this kind of sequence; any other is refused.
template <class Position>
Position positionOf(Generic::IteratorIntf* it) {
  auto* own = dynamic_cast<PositionIterator<Position>*>(it);
  if (!own) fail(__LINE__, "iterator of another sequence");
  return own->position();
}

}  // namespace Kelpa::detail::refsequence
