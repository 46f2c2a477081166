#pragma once
// Bytes of a document to UTF-8 text, and offsets in that text to lines and columns.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <Kelpa/Values.h>
#include <pugixml.hpp>

namespace zorbel::xmi::detail {

// The document as UTF-8 without a byte order mark: UTF-16 (by its mark, or by the
// first characters), UTF-8, and, as the XML declaration says, ISO-8859-1 or
// windows-1252. Raises Error for an encoding it does not know and for bytes that are
// not valid in the encoding, with the line and column where they are. A view into bytes
// when they are UTF-8 already, else into converted, which holds the conversion.
std::string_view toUtf8(std::string_view bytes, std::string& converted);

// Line starts of a text, to turn byte offsets into 1-based lines and columns
// (columns count characters, not bytes).
class Lines {
 public:
  explicit Lines(std::string_view text);
  std::size_t line(std::size_t offset) const;
  std::size_t column(std::size_t offset) const;

 private:
  std::string_view fText;
  std::vector<std::size_t> fStarts;
};

// The library's text of UTF-8 text, as Kelpa::String(std::string) makes it.
Kelpa::String toString(std::string_view utf8);

// What pugixml prints, appended to a string: cheaper than a string stream, for a kept
// node of a few hundred bytes as for a whole document.
struct StringWriter : pugi::xml_writer {
  std::string text;
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
};

}  // namespace zorbel::xmi::detail
