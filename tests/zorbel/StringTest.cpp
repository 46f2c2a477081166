// zorbel::String as the model stores and hands it out: one text shared by the state that
// holds it and every value read from it.
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <Kelpa/Meta.h>
#include <zorbel/zorbel.h>

namespace zorbel {
namespace {

using Kelpa::Deviant;

class ZorbelStringInModel : public ::testing::Test {
 protected:
  void TearDown() override {
    if (!model.isNull()) model->destroyModel();
  }
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Deviant root = model.getDeviant();
};

TEST_F(ZorbelStringInModel, ReadsShareTheStoredTextAndEqualWritesKeepIt) {
  const Comment c = Comment::create(model);
  const String body(u"a body long enough to need a buffer of its own");
  c->setBody(root, body);
  const String first = c->getBody(root);
  const String second = c->getBody(root);
  EXPECT_EQ(first.ustr().data(), body.ustr().data());
  EXPECT_EQ(second.ustr().data(), body.ustr().data());

  // An equal text in another buffer is no change: the state keeps what it had.
  c->setBody(root, String(std::u16string(body.ustr())));
  EXPECT_EQ(c->getBody(root).ustr().data(), body.ustr().data());
  // A different text replaces it; the earlier reads keep theirs.
  c->setBody(root, String(u"another body"));
  EXPECT_EQ(c->getBody(root), String("another body"));
  EXPECT_EQ(first, body);
  EXPECT_EQ(first.ustr(), u"a body long enough to need a buffer of its own");

  // An empty body is present and empty, as before.
  c->setBody(root, String());
  EXPECT_TRUE(c->hasBody(root));
  EXPECT_TRUE(c->getBody(root).empty());
  EXPECT_STREQ(c->getBody(root).c_str(), "");
}

TEST_F(ZorbelStringInModel, ValuesReadOutliveTheirElementAndModel) {
  const Comment c = Comment::create(model);
  {
    const std::string utf8 = "\xC3\xA9l\xC3\xA9ment d\xC3\xA9truit, texte gard\xC3\xA9";
    c->setBody(root, String(utf8));
  }
  const String typed = c->getBody(root);
  const char* narrow = typed.c_str();
  const Kelpa::Object boxed = Kelpa::get(c, "body");
  const Kelpa::String kernel = typed;
  c->destroy(root);
  model->destroyModel();
  model = Kelpa::Model();

  EXPECT_EQ(typed.ustr(), u"\u00e9l\u00e9ment d\u00e9truit, texte gard\u00e9");
  EXPECT_EQ(typed.c_str(), narrow);
  EXPECT_EQ(std::string(narrow), "\xC3\xA9l\xC3\xA9ment d\xC3\xA9truit, texte gard\xC3\xA9");
  const String unboxed(boxed);
  EXPECT_EQ(unboxed, typed);
  EXPECT_STREQ(unboxed.c_str(), narrow);
  EXPECT_EQ(String(kernel), typed);
}

TEST_F(ZorbelStringInModel, NarrowFormIsMadeOnceForTheStoredText) {
  const Comment c = Comment::create(model);
  c->setBody(root, String(u"gr\u00fc\u00dfe aus dem Modell"));
  const String a = c->getBody(root);
  const char* narrow = a.c_str();
  EXPECT_STREQ(narrow, "gr\xC3\xBC\xC3\x9F" "e aus dem Modell");
  EXPECT_EQ(c->getBody(root).c_str(), narrow);  // a later read finds it made
  EXPECT_EQ(c->getBody(root).to_string(), std::string(narrow));

  // Assigning another text gives that text's narrow form.
  String s = a;
  s = String(u"second");
  EXPECT_STREQ(s.c_str(), "second");
  s = a;
  EXPECT_EQ(s.c_str(), narrow);
}

TEST_F(ZorbelStringInModel, BytesKeptAsGivenStayWithTheCallersString) {
  const std::string bytes =
      "a\xFF"
      "b";
  const String given(bytes);
  const Comment c = Comment::create(model);
  c->setBody(root, given);
  EXPECT_EQ(c->getBody(root), given);            // the same text
  EXPECT_STREQ(c->getBody(root).c_str(), "ab");  // made from the text, as any copy does
  EXPECT_EQ(c->getBody(root).to_string(), "ab");
  EXPECT_EQ(std::string(given.c_str()), bytes);  // the caller's keeps the bytes
  EXPECT_EQ(given.to_string(), bytes);
}

TEST_F(ZorbelStringInModel, DeviationsShareTextUntilTheyWrite) {
  const Comment c = Comment::create(model);
  c->setBody(root, String(u"root text, shared with every snapshot"));
  const char16_t* stored = c->getBody(root).ustr().data();
  const Deviant d = model->createDeviant();
  c->setBody(d, String(u"what if"));  // the deviation copies the state
  EXPECT_NE(c->internal_getDeviation(d), nullptr);
  EXPECT_EQ(c->getBody(d), String("what if"));
  EXPECT_EQ(c->getBody(root).ustr().data(), stored);
  EXPECT_EQ(c->getBody(root), String("root text, shared with every snapshot"));
}

TEST_F(ZorbelStringInModel, MultiValuedStringsRefuseEqualTextsFromOtherBuffers) {
  const OpaqueExpression expression = OpaqueExpression::create(model);
  Kelpa::Sequence<String> bodies = expression->getBodies(root);
  const std::u16string beta = u"beta, long enough for a buffer";
  bodies.push_back(String(beta));
  bodies.push_back(String(u"alpha"));
  bodies.push_back(String(beta));  // equal text, another buffer
  bodies.push_back(String());
  bodies.push_back(String(std::string("\xFF")));  // empty text too
  ASSERT_EQ(bodies.size(), 3);
  EXPECT_EQ(bodies[0].ustr(), beta);
  EXPECT_EQ(bodies[1], String("alpha"));
  EXPECT_TRUE(bodies[2].empty());
}

TEST(ZorbelString, ComparesAcrossWaysOfMakingIt) {
  const std::u16string text = u"k\u00f6rper und geist";
  const String fromUtf16(text);
  const String fromUtf8(std::string("k\xC3\xB6rper und geist"));
  const String fromCString("k\xC3\xB6rper und geist");
  const String fromPointer(text.c_str());
  const String fromKernel = Kelpa::String(text);
  const String copy = fromUtf16;
  for (const String* s : {&fromUtf8, &fromCString, &fromPointer, &fromKernel, &copy}) {
    EXPECT_EQ(*s, fromUtf16);
    EXPECT_FALSE(*s < fromUtf16);
    EXPECT_FALSE(fromUtf16 < *s);
    EXPECT_TRUE(*s == Kelpa::String(text));
    EXPECT_EQ(s->size(), text.size());
  }
  EXPECT_TRUE(String() == String(u""));
  EXPECT_TRUE(String() < String(u"\u0001"));
  EXPECT_FALSE(String(u"\u0001") < String());
  EXPECT_EQ(String(std::u16string_view(u"a\0b", 3)).size(), 3u);
  EXPECT_NE(String(std::u16string_view(u"a\0b", 3)), String(u"a"));
  EXPECT_EQ(sizeof(String), sizeof(void*));
}

TEST(ZorbelString, ConversionsWithTheKernelsStringShareTheText) {
  const String s(u"shared by zorbel and the kernel alike");
  const char* narrow = s.c_str();
  const Kelpa::String kernel = s;
  EXPECT_EQ(kernel.ustr().data(), s.ustr().data());
  EXPECT_EQ(kernel.c_str(), narrow);  // the narrow form goes with the text
  EXPECT_EQ(s.toString().ustr().data(), s.ustr().data());
  const String back = kernel;
  EXPECT_EQ(back.ustr().data(), s.ustr().data());
  EXPECT_TRUE(back == kernel);
  EXPECT_FALSE(String(u"shared") == kernel);
  EXPECT_EQ(kernel.str(), "shared by zorbel and the kernel alike");
  EXPECT_EQ(sizeof(Kelpa::String), sizeof(void*));

  // Kept malformed bytes are the zorbel String's own; the kernel's copy makes them anew.
  const String given(std::string("x\xFFy"));
  const Kelpa::String fromGiven = given;
  EXPECT_STREQ(fromGiven.c_str(), "xy");
  EXPECT_EQ(std::string(given.c_str()), "x\xFFy");
  EXPECT_TRUE(Kelpa::String("\xFF").empty());
  EXPECT_EQ(Kelpa::String(std::string("a\xC3\xA9")).ustr(), u"a\u00e9");
}

TEST(ZorbelString, CopiesAndMovesKeepTheText) {
  String a(u"moved around between strings");
  const char16_t* units = a.ustr().data();
  String b = std::move(a);
  EXPECT_TRUE(a.empty());  // a moved-from String is empty
  EXPECT_EQ(b.ustr().data(), units);
  String c;
  c = b;
  b = String();
  EXPECT_EQ(c.ustr(), u"moved around between strings");
  c = std::move(c);
  EXPECT_EQ(c.ustr(), u"moved around between strings");
  const Tovi::any held(c);  // a boxed copy shares too
  EXPECT_EQ(Tovi::any_cast<const String&>(held).ustr().data(), units);
}

}  // namespace
}  // namespace zorbel
