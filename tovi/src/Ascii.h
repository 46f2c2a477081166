#pragma once

#include <string_view>

namespace Tovi::detail {

// Whether every unit of text is ASCII, which is the same units in UTF-8 and UTF-16: most
// names, ids and values convert by a plain copy. No early exit, so that the compiler
// tests many units at a time.
template <class Unit>
bool isAscii(std::basic_string_view<Unit> text) noexcept {
  unsigned any = 0;
  for (const Unit c : text) any |= static_cast<unsigned>(c);
  return any < 0x80;
}

}  // namespace Tovi::detail
