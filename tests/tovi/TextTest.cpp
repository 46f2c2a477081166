#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "Tovi/ByteArray.h"
#include "Tovi/Error.h"
#include "Tovi/Strings.h"

namespace {

using Tovi::utf16ToUtf8;
using Tovi::utf8ToUtf16;

TEST(ToviStrings, RoundTrips) {
  const std::string utf8 =
      "Gr\xC3\xBC\xC3\x9F"
      "e \xE2\x82\xAC \xF0\x9F\x98\x80";  // "Grüße € 😀"
  const std::u16string utf16 = u"Gr\u00FC\u00DFe \u20AC \U0001F600";
  ASSERT_EQ(utf16.size(), 10u);  // the emoji is a surrogate pair
  EXPECT_EQ(utf8ToUtf16(utf8), utf16);
  EXPECT_EQ(utf16ToUtf8(utf16), utf8);
  EXPECT_EQ(Tovi::ConvertStdStringToToviString(utf8), utf16);
  EXPECT_EQ(utf8ToUtf16(""), u"");
  EXPECT_EQ(utf16ToUtf8(u""), "");
  // The last ASCII unit and the first beyond it, a 0 inside, and malformed input, which
  // is skipped whatever came before it.
  EXPECT_EQ(utf16ToUtf8(std::u16string(u"a\0\u007F", 3)), std::string("a\0\x7F", 3));
  EXPECT_EQ(utf8ToUtf16(std::string("a\0\x7F", 3)), std::u16string(u"a\0\u007F", 3));
  EXPECT_EQ(utf16ToUtf8(u"a\u0080"), "a\xC2\x80");
  EXPECT_EQ(utf8ToUtf16("a\xC2\x80"), u"a\u0080");
  EXPECT_EQ(utf8ToUtf16("ok\xFF"), u"ok");
  EXPECT_EQ(utf16ToUtf8(u"ok\xD800"), "ok");
}

TEST(ToviByteArray, HoldsBytesUnchanged) {
  const std::string text("a\0\xFF", 3);
  Tovi::ByteArray bytes(text);
  ASSERT_EQ(bytes.size(), 3u);
  EXPECT_EQ(bytes.data()[2], 0xFF);
  EXPECT_EQ(bytes.toString(), text);
  EXPECT_EQ(bytes, Tovi::ByteArray(text.data(), text.size()));
  EXPECT_FALSE(bytes == Tovi::ByteArray(text.data(), 2));
  EXPECT_TRUE(Tovi::ByteArray(nullptr, 0).empty());
}

std::unique_ptr<Tovi::ErrorDescription> error(const std::u16string& message, unsigned line = 1) {
  return std::make_unique<Tovi::SimpleErrorDescription>(Tovi::CodeLocation("here", line), message);
}

TEST(ToviErrorHolder, CollectsInOrderAndJoinsAsUtf8) {
  Tovi::ErrorHolder errors;
  EXPECT_EQ(errors.getMessage(), "");
  errors.addError(error(u"one", 10));
  errors.addError(nullptr);
  errors.addError(error(u"\u00FCber", 20));
  ASSERT_EQ(errors.errors().size(), 2u);
  EXPECT_EQ(errors.errors()[1]->getLocation().line(), 20u);
  EXPECT_EQ(errors.getMessage(),
            "one; \xC3\xBC"
            "ber");

  Tovi::ErrorHolder moved = std::move(errors);
  EXPECT_TRUE(moved.hasError());
  moved.clear();
  EXPECT_FALSE(moved.hasError());
}

}  // namespace
