#include "Tovi/Strings.h"

#include <boost/locale/encoding_utf.hpp>

#include "Ascii.h"

namespace Tovi {

using boost::locale::conv::skip;
using boost::locale::conv::utf_to_utf;

std::u16string utf8ToUtf16(std::string_view utf8) {
  if (detail::isAscii(utf8)) return std::u16string(utf8.begin(), utf8.end());
  return utf_to_utf<char16_t>(utf8.data(), utf8.data() + utf8.size(), skip);
}

std::string utf16ToUtf8(std::u16string_view utf16) {
  if (detail::isAscii(utf16)) return std::string(utf16.begin(), utf16.end());
  return utf_to_utf<char>(utf16.data(), utf16.data() + utf16.size(), skip);
}

std::u16string ConvertStdStringToToviString(const std::string& utf8) {
  return utf8ToUtf16(utf8);
}

}  // namespace Tovi
