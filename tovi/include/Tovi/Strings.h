#pragma once

#include <string>
#include <string_view>

namespace Tovi {

// Malformed input sequences are dropped.
std::u16string utf8ToUtf16(std::string_view utf8);
std::string utf16ToUtf8(std::u16string_view utf16);

std::u16string ConvertStdStringToToviString(const std::string& utf8);

}  // namespace Tovi

// Callers outside namespace Tovi use it unqualified as well.
using Tovi::ConvertStdStringToToviString;
