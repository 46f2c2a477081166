#include <cstdlib>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Tovi/SharedText.h"
#include "Tovi/Strings.h"

namespace {

using Tovi::SharedText;

std::u16string text(const SharedText& t) {
  return std::u16string(t.view());
}

TEST(ToviSharedText, EmptyTextHasNoBuffer) {
  const SharedText none;
  const SharedText fromEmpty{std::u16string_view()};
  const SharedText fromEmptyUtf8 = SharedText::fromUtf8("", true);
  for (const SharedText* t : {&none, &fromEmpty, &fromEmptyUtf8}) {
    EXPECT_TRUE(t->empty());
    EXPECT_EQ(t->size(), 0u);
    EXPECT_TRUE(t->sharesWith(none));  // all null
    EXPECT_EQ(t->data()[0], u'\0');
    EXPECT_STREQ(t->narrow(), "");
    EXPECT_EQ(t->keptNarrow().data(), nullptr);
  }
}

TEST(ToviSharedText, CopiesShareOneBufferAndMovesEmptyTheSource) {
  SharedText a{u"shared text, longer than any small-string buffer"};
  const char16_t* units = a.data();
  SharedText b = a;
  EXPECT_TRUE(b.sharesWith(a));
  EXPECT_EQ(b.data(), units);
  SharedText c;
  c = b;
  EXPECT_EQ(c.data(), units);
  c = c;  // self-assignment keeps the text
  EXPECT_EQ(text(c), u"shared text, longer than any small-string buffer");

  SharedText moved = std::move(a);
  EXPECT_EQ(moved.data(), units);
  EXPECT_TRUE(a.empty());  // a moved-from text is empty
  SharedText target{u"other"};
  target = std::move(moved);
  EXPECT_EQ(target.data(), units);
  EXPECT_TRUE(moved.empty());

  // The buffer lives while any copy does.
  { SharedText drop = std::move(b); }
  c = SharedText();
  EXPECT_EQ(text(target), u"shared text, longer than any small-string buffer");
  EXPECT_EQ(target.data()[target.size()], u'\0');
}

TEST(ToviSharedText, ConvertsAsTheToviConversionsDo) {
  // Well-formed and malformed UTF-8: truncated sequences, stray continuation bytes,
  // overlong forms, encoded surrogates, code points above U+10FFFF.
  const std::string inputs[] = {
      "plain",
      "Gr\xC3\xBC\xC3\x9F"
      "e \xE2\x82\xAC \xF0\x9F\x98\x80",
      std::string("nul\0inside", 10),
      "a\xFF"
      "b",
      "\xC3",
      "x\xE2\x82",
      "\x80\x80y",
      "\xC0\xAF",
      "\xED\xA0\x80z",
      "\xF4\x90\x80\x80",
      "\xF0\x9F\x98\x80\xF0\x9F",
      std::string("plain ASCII with a \0 and \x7F inside", 33),
      "ASCII and then \xC3\xA9",
  };
  for (const std::string& utf8 : inputs) {
    const SharedText t = SharedText::fromUtf8(utf8);
    EXPECT_EQ(text(t), Tovi::utf8ToUtf16(utf8)) << utf8;
    EXPECT_EQ(std::string(t.narrowForm()), Tovi::utf16ToUtf8(Tovi::utf8ToUtf16(utf8))) << utf8;
  }
  // Lone surrogates in the text are malformed UTF-16.
  for (const std::u16string lone : {u"a\xD800" u"b\xDC00", u"\xDC00" u"c", u"d\xD800"}) {
    EXPECT_EQ(std::string(SharedText(lone).narrowForm()), Tovi::utf16ToUtf8(lone));
  }
  EXPECT_EQ(std::string(SharedText(u"d\xD800").narrowForm()), "d");
}

TEST(ToviSharedText, NarrowFormIsMadeOnceForAllCopies) {
  const SharedText a{u"\u00e9t\u00e9"};
  const SharedText before = a;
  EXPECT_EQ(a.keptNarrow().data(), nullptr);
  const char* narrow = before.narrow();
  EXPECT_STREQ(narrow, "\xc3\xa9t\xc3\xa9");
  EXPECT_EQ(a.narrow(), narrow);  // made through one copy, there for the others
  const SharedText after = a;
  EXPECT_EQ(after.keptNarrow().data(), narrow);
  SharedText assigned{u"x"};
  EXPECT_STREQ(assigned.narrow(), "x");
  assigned = a;
  EXPECT_EQ(assigned.narrow(), narrow);
  // A 0 inside the text stays in the narrow form.
  const SharedText nul{std::u16string_view(u"a\0b", 3)};
  EXPECT_EQ(nul.narrowForm(), std::string_view("a\0b", 3));
}

TEST(ToviSharedText, KeptMalformedBytesStayWithTheirObject) {
  const std::string bytes =
      "a\xFF"
      "b";
  const SharedText kept = SharedText::fromUtf8(bytes, true);
  EXPECT_EQ(text(kept), u"ab");
  EXPECT_EQ(kept.keptNarrow(), bytes);
  EXPECT_EQ(std::string(kept.narrow()), bytes);

  SharedText copy = kept;  // a buffer of its own, with no narrow form yet
  EXPECT_FALSE(copy.sharesWith(kept));
  EXPECT_EQ(copy, kept);
  EXPECT_EQ(copy.keptNarrow().data(), nullptr);
  EXPECT_STREQ(copy.narrow(), "ab");
  SharedText copyOfCopy = copy;  // an ordinary buffer again: shared
  EXPECT_TRUE(copyOfCopy.sharesWith(copy));
  copy = kept;
  EXPECT_STREQ(copy.narrow(), "ab");
  EXPECT_EQ(kept.keptNarrow(), bytes);

  // Moving hands the kept bytes over.
  SharedText moving = SharedText::fromUtf8(bytes, true);
  const SharedText moved = std::move(moving);
  EXPECT_EQ(moved.keptNarrow(), bytes);

  // Well-formed input keeps nothing: the narrow form made from the text is the same.
  EXPECT_EQ(SharedText::fromUtf8("ok \xC3\xA9", true).keptNarrow().data(), nullptr);
  // Bytes with no text in them at all are kept as well.
  const SharedText onlyBad = SharedText::fromUtf8("\xFF", true);
  EXPECT_TRUE(onlyBad.empty());
  EXPECT_EQ(onlyBad, SharedText());
  EXPECT_STREQ(onlyBad.narrow(), "\xFF");
  EXPECT_TRUE(SharedText::fromUtf8("\xFF").sharesWith(SharedText()));
}

TEST(ToviSharedText, ComparesByCodeUnits) {
  const SharedText empty;
  const SharedText a{u"a"}, ab{u"ab"}, upper{u"A"};
  const SharedText pair{u"\U00010000"}, last{u"\uFFFF"};
  EXPECT_TRUE(pair < last);  // the surrogate 0xD800 sorts below 0xFFFF
  EXPECT_FALSE(last < pair);
  EXPECT_TRUE(a < ab);
  EXPECT_TRUE(empty < a);
  EXPECT_FALSE(a < empty);
  EXPECT_FALSE(a < a);
  EXPECT_FALSE(a == upper);
  EXPECT_TRUE(a == SharedText(u"a"));  // equal text in two buffers
  EXPECT_FALSE(a == ab);                 // a prefix is not equal
  EXPECT_FALSE(ab == SharedText(u"ac"));
  EXPECT_TRUE(empty == SharedText::fromUtf8("\xFF", true));  // no buffer and an empty one
}

// Copies taken, dropped and narrowed on several threads at once. Run under the
// sanitizers, a count that lost an update shows as a leak or a use after free.
TEST(ToviSharedText, CopiesMayLiveOnSeveralThreads) {
  const SharedText original{u"text read on many threads, in one buffer"};
  const SharedText narrowed{u"narrowed by whichever thread comes first \u00e9"};
  std::vector<const char*> narrows(4);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 20000; ++i) {
        SharedText copy = original;
        SharedText other = copy;
        copy = SharedText();
        if (other.size() != original.size()) std::abort();
      }
      const SharedText mine = narrowed;
      narrows[t] = mine.narrow();
    });
  for (std::thread& t : threads) t.join();
  for (const char* n : narrows) EXPECT_EQ(n, narrowed.narrow());
  EXPECT_EQ(text(original), u"text read on many threads, in one buffer");
}

TEST(ToviSharedText, LongTextsLeaveTheSmallObjectPools) {
  const std::u16string long1(3000, u'x');
  const SharedText t{long1};
  SharedText copy = t;
  EXPECT_EQ(text(copy), long1);
  EXPECT_EQ(std::string(copy.narrowForm()), std::string(3000, 'x'));
  const std::string bad = std::string(2000, 'y') + "\xFF";
  EXPECT_EQ(SharedText::fromUtf8(bad, true).keptNarrow(), bad);
}

}  // namespace
