#include "Tovi/Strings.h"

#include <boost/locale/encoding_utf.hpp>

namespace Tovi {

using boost::locale::conv::skip;
using boost::locale::conv::utf_to_utf;

std::u16string utf8ToUtf16(std::string_view utf8) {
  return utf_to_utf<char16_t>(utf8.data(), utf8.data() + utf8.size(), skip);
}

std::string utf16ToUtf8(std::u16string_view utf16) {
  return utf_to_utf<char>(utf16.data(), utf16.data() + utf16.size(), skip);
}

std::u16string ConvertStdStringToToviString(const std::string& utf8) {
  return utf8ToUtf16(utf8);
}

}  // namespace Tovi
