#include "Text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdint>
#include <cstring>

#include <zorbel/xmi/Xmi.h>

namespace zorbel::xmi::detail {

namespace {

void append(std::string& out, std::uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

[[noreturn]] void fail(const std::string& message, std::string_view text, std::size_t offset) {
  const Lines lines(text);
  throw Error(message, lines.line(offset), lines.column(offset));
}

// The offset of the first byte that does not belong to a well-formed UTF-8 sequence,
// or npos.
std::size_t invalidUtf8(std::string_view s) {
  const auto* p = reinterpret_cast<const unsigned char*>(s.data());
  const std::size_t n = s.size();
  std::size_t i = 0;
  while (i < n) {
    // Runs of ASCII, the bulk of a document, 32 and then eight bytes at a time.
    while (i + 32 <= n) {
      std::uint64_t words[4];
      std::memcpy(words, p + i, 32);
      if ((words[0] | words[1] | words[2] | words[3]) & 0x8080808080808080u) break;
      i += 32;
    }
    while (i + 8 <= n) {
      std::uint64_t word;
      std::memcpy(&word, p + i, 8);
      if (word & 0x8080808080808080u) break;
      i += 8;
    }
    if (i >= n) break;
    const unsigned c = p[i];
    std::size_t len;
    std::uint32_t min;
    if (c < 0x80) {
      ++i;
      continue;
    } else if ((c & 0xE0) == 0xC0) {
      len = 2, min = 0x80;
    } else if ((c & 0xF0) == 0xE0) {
      len = 3, min = 0x800;
    } else if ((c & 0xF8) == 0xF0) {
      len = 4, min = 0x10000;
    } else {
      return i;
    }
    if (i + len > n) return i;
    std::uint32_t value = c & (0x7F >> len);
    for (std::size_t k = 1; k < len; ++k) {
      if ((p[i + k] & 0xC0) != 0x80) return i;
      value = (value << 6) | (p[i + k] & 0x3F);
    }
    if (value < min || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return i;
    i += len;
  }
  return std::string_view::npos;
}

std::string_view checkedUtf8(std::string_view s) {
  const std::size_t bad = invalidUtf8(s);
  if (bad != std::string_view::npos) fail("invalid UTF-8 byte sequence", s.substr(0, bad), bad);
  return s;
}

std::string fromUtf16(std::string_view s, bool bigEndian) {
  std::string out;
  out.reserve(s.size());
  const auto* p = reinterpret_cast<const unsigned char*>(s.data());
  const auto unit = [&](std::size_t i) -> std::uint32_t {
    return bigEndian ? (p[i] << 8) | p[i + 1] : p[i] | (p[i + 1] << 8);
  };
  std::size_t i = 0;
  for (; i + 1 < s.size(); i += 2) {
    std::uint32_t c = unit(i);
    if (c >= 0xD800 && c <= 0xDBFF) {
      if (i + 3 >= s.size() || unit(i + 2) < 0xDC00 || unit(i + 2) > 0xDFFF)
        fail("invalid UTF-16: unpaired surrogate", out, out.size());
      c = 0x10000 + ((c - 0xD800) << 10) + (unit(i + 2) - 0xDC00);
      i += 2;
    } else if (c >= 0xDC00 && c <= 0xDFFF) {
      fail("invalid UTF-16: unpaired surrogate", out, out.size());
    }
    append(out, c);
  }
  if (i < s.size()) fail("invalid UTF-16: odd number of bytes", out, out.size());
  return out;
}

// windows-1252 at 0x80..0x9F; 0 where the code page has no character.
constexpr std::uint16_t kWindows1252[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

std::string fromSingleByte(std::string_view s, bool windows1252) {
  std::string out;
  out.reserve(s.size() + s.size() / 8);
  for (const char ch : s) {
    const auto c = static_cast<unsigned char>(ch);
    if (windows1252 && c >= 0x80 && c <= 0x9F) {
      if (!kWindows1252[c - 0x80]) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "0x%02X", c);
        fail(std::string("byte ") + hex + " has no character in windows-1252", out, out.size());
      }
      append(out, kWindows1252[c - 0x80]);
    } else {
      append(out, c);
    }
  }
  return out;
}

// The encoding that the XML declaration names, lower case, and where its name starts;
// empty if there is none.
std::pair<std::string, std::size_t> declaredEncoding(std::string_view s) {
  if (s.substr(0, 5) != "<?xml") return {};
  const std::size_t end = s.find("?>");
  const std::string_view decl = s.substr(0, end);
  const std::size_t at = decl.find("encoding");
  if (at == std::string_view::npos) return {};
  std::size_t i = at + 8;
  while (i < decl.size() && (decl[i] == ' ' || decl[i] == '=' || decl[i] == '\t')) ++i;
  if (i >= decl.size() || (decl[i] != '"' && decl[i] != '\'')) return {};
  const char quote = decl[i++];
  const std::size_t close = decl.find(quote, i);
  if (close == std::string_view::npos) return {};
  std::string name(decl.substr(i, close - i));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return {name, i};
}

}  // namespace

std::string_view toUtf8(std::string_view bytes, std::string& converted) {
  const auto b = [&](std::size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0x100u;
  };
  if (b(0) == 0xEF && b(1) == 0xBB && b(2) == 0xBF) return checkedUtf8(bytes.substr(3));
  if (b(0) == 0xFF && b(1) == 0xFE) return converted = fromUtf16(bytes.substr(2), false);
  if (b(0) == 0xFE && b(1) == 0xFF) return converted = fromUtf16(bytes.substr(2), true);
  if (b(0) == '<' && b(1) == 0 && b(2) == '?' && b(3) == 0) return converted = fromUtf16(bytes, false);
  if (b(0) == 0 && b(1) == '<' && b(2) == 0 && b(3) == '?') return converted = fromUtf16(bytes, true);

  const auto [name, at] = declaredEncoding(bytes);
  if (name.empty() || name == "utf-8" || name == "utf8" || name == "us-ascii" || name == "ascii")
    return checkedUtf8(bytes);
  if (name == "iso-8859-1" || name == "iso8859-1" || name == "latin1" || name == "latin-1" ||
      name == "l1" || name == "iso_8859-1")
    return converted = fromSingleByte(bytes, false);
  if (name == "windows-1252" || name == "cp1252" || name == "x-cp1252")
    return converted = fromSingleByte(bytes, true);
  const std::string_view asWritten = bytes.substr(at, name.size());
  if (name == "utf-16" || name == "utf-16le" || name == "utf-16be")
    fail("document declares " + std::string(asWritten) + " but is not written in it", bytes, at);
  fail("unsupported encoding '" + std::string(asWritten) + "'", bytes, at);
}

Lines::Lines(std::string_view text) : fText(text) {
  fStarts.push_back(0);
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  for (const char* p = begin; p != end;) {
    const auto* newline = static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
    if (!newline) break;
    p = newline + 1;
    fStarts.push_back(static_cast<std::size_t>(p - begin));
  }
}

Kelpa::String toString(std::string_view utf8) {
  return Kelpa::String(Tovi::SharedText::fromUtf8(utf8));
}

std::size_t Lines::line(std::size_t offset) const {
  return std::upper_bound(fStarts.begin(), fStarts.end(), offset) - fStarts.begin();
}

std::size_t Lines::column(std::size_t offset) const {
  const std::size_t start = fStarts[line(offset) - 1];
  std::size_t column = 1;
  for (std::size_t i = start; i < offset && i < fText.size(); ++i)
    if ((static_cast<unsigned char>(fText[i]) & 0xC0) != 0x80) ++column;
  return column;
}

}  // namespace zorbel::xmi::detail
