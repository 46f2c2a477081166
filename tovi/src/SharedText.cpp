#include <Tovi/SharedText.h>

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>

#include <boost/locale/utf.hpp>

#include <Tovi/SmallObjects.h>

#include "Ascii.h"

namespace Tovi {

namespace {

namespace utf = boost::locale::utf;

// Conversion in two passes, so that the result is written once into storage of its exact
// size. Malformed input is skipped as Tovi::utf8ToUtf16 and utf16ToUtf8 skip it.
template <class Out, class In>
std::size_t convertedSize(const In* p, const In* end, bool& wellFormed) {
  std::size_t n = 0;
  wellFormed = true;
  while (p != end) {
    const utf::code_point c = utf::utf_traits<In>::decode(p, end);
    if (c == utf::illegal || c == utf::incomplete)
      wellFormed = false;
    else
      n += static_cast<std::size_t>(utf::utf_traits<Out>::width(c));
  }
  return n;
}

template <class Out, class In>
void convert(const In* p, const In* end, Out* out) {
  while (p != end) {
    const utf::code_point c = utf::utf_traits<In>::decode(p, end);
    if (c != utf::illegal && c != utf::incomplete) out = utf::utf_traits<Out>::encode(c, out);
  }
}

constexpr std::size_t roundUp(std::size_t n, std::size_t to) {
  return (n + to - 1) / to * to;
}

}  // namespace

// A narrow form: its length, then the bytes and a terminating 0. Either in a block of its
// own or, for bytes kept as given, in the text's block after the code units.
struct SharedText::Narrow {
  std::size_t size;
  char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
  static std::size_t blockSize(std::size_t size) { return sizeof(Narrow) + size + 1; }
};

namespace {
// Where a kept narrow form starts in the block of a text of size code units.
constexpr std::size_t narrowOffset(std::size_t size) {
  return roundUp(sizeof(char16_t) * (size + 1), alignof(std::size_t));
}
}  // namespace

// The block of a text of size code units, with room after it for a kept narrow form of
// narrowSize bytes when ownNarrow.
SharedText::Rep* SharedText::allocate(std::size_t size, std::size_t narrowSize, bool ownNarrow) {
  if (size >= Rep::kOwnNarrow) throw std::length_error("Tovi::SharedText: text too long");
  const std::size_t bytes = ownNarrow ? sizeof(Rep) + narrowOffset(size) + Narrow::blockSize(narrowSize)
                                      : sizeof(Rep) + sizeof(char16_t) * (size + 1);
  auto* rep = new (detail::allocateSmall(bytes)) Rep;
  rep->refs.store(1, std::memory_order_relaxed);
  rep->bits = static_cast<std::uint32_t>(size) | (ownNarrow ? Rep::kOwnNarrow : 0);
  rep->narrow.store(nullptr, std::memory_order_relaxed);
  rep->text()[size] = 0;
  return rep;
}

void SharedText::destroy(Rep* rep) noexcept {
  std::size_t bytes = sizeof(Rep) + sizeof(char16_t) * (rep->size() + 1);
  if (Narrow* narrow = rep->narrow.load(std::memory_order_acquire)) {
    if (rep->bits & Rep::kOwnNarrow)
      bytes = sizeof(Rep) + narrowOffset(rep->size()) + Narrow::blockSize(narrow->size);
    else
      detail::deallocateSmall(narrow, Narrow::blockSize(narrow->size));
  }
  rep->~Rep();
  detail::deallocateSmall(rep, bytes);
}

SharedText::SharedText(std::u16string_view text) {
  if (text.empty()) return;
  fRep = allocate(text.size(), 0, false);
  std::char_traits<char16_t>::copy(fRep->text(), text.data(), text.size());
}

SharedText SharedText::fromUtf8(std::string_view utf8, bool keepBytes) {
  SharedText result;
  if (utf8.empty()) return result;
  const char* begin = utf8.data();
  const char* end = begin + utf8.size();
  // Most text is ASCII: one unit a byte, nothing to decode.
  if (detail::isAscii(utf8)) {
    result.fRep = allocate(utf8.size(), 0, false);
    char16_t* out = result.fRep->text();
    for (const char c : utf8) *out++ = static_cast<char16_t>(c);
    return result;
  }
  bool wellFormed = true;
  const std::size_t size = convertedSize<char16_t>(begin, end, wellFormed);
  const bool keep = keepBytes && !wellFormed;
  if (size == 0 && !keep) return result;
  result.fRep = allocate(size, utf8.size(), keep);
  convert(begin, end, result.fRep->text());
  if (keep) {
    char* after = reinterpret_cast<char*>(result.fRep->text()) + narrowOffset(size);
    auto* narrow = new (after) Narrow{utf8.size()};
    std::char_traits<char>::copy(narrow->bytes(), utf8.data(), utf8.size());
    narrow->bytes()[utf8.size()] = 0;
    result.fRep->narrow.store(narrow, std::memory_order_relaxed);
  }
  return result;
}

SharedText::Rep* SharedText::copyText() const {
  const std::size_t size = fRep->size();
  if (size == 0) return nullptr;
  Rep* rep = allocate(size, 0, false);
  std::char_traits<char16_t>::copy(rep->text(), fRep->text(), size);
  return rep;
}

std::string_view SharedText::keptNarrow() const noexcept {
  if (!fRep) return {};
  const Narrow* narrow = fRep->narrow.load(std::memory_order_acquire);
  if (!narrow) return {};
  return {const_cast<Narrow*>(narrow)->bytes(), narrow->size};
}

std::string_view SharedText::narrowForm() const {
  if (!fRep) return std::string_view("", 0);
  Narrow* narrow = fRep->narrow.load(std::memory_order_acquire);
  if (!narrow) {
    const char16_t* begin = fRep->text();
    const char16_t* end = begin + fRep->size();
    const bool ascii = detail::isAscii(view());
    bool wellFormed = true;
    const std::size_t size = ascii ? fRep->size() : convertedSize<char>(begin, end, wellFormed);
    narrow = new (detail::allocateSmall(Narrow::blockSize(size))) Narrow{size};
    if (ascii)
      std::copy(begin, end, narrow->bytes());  // ASCII: a unit is a byte
    else
      convert(begin, end, narrow->bytes());
    narrow->bytes()[size] = 0;
    // Copies on other threads may be making it too: the first one stored stays.
    Narrow* expected = nullptr;
    if (!fRep->narrow.compare_exchange_strong(expected, narrow, std::memory_order_acq_rel,
                                              std::memory_order_acquire)) {
      detail::deallocateSmall(narrow, Narrow::blockSize(size));
      narrow = expected;
    }
  }
  return {narrow->bytes(), narrow->size};
}

}  // namespace Tovi
