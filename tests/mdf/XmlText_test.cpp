#include "mdf/XmlText.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

TEST(XmlText, WellFormedUtf8IsKnown) {
  for (const std::string& text :
       {""s, "plain"s, "a\0b"s, "\x7F"s, "\xC2\x80"s, "\xDF\xBF"s, "\xE0\xA0\x80"s, "\xED\x9F\xBF"s, "\xEE\x80\x80"s,
        "\xEF\xBF\xBF"s, "\xF0\x90\x80\x80"s, "\xF4\x8F\xBF\xBF"s}) {
    EXPECT_TRUE(MDF::IsUtf8(text)) << text;
  }
}

struct Malformed {
  const char* Why;
  std::string Text;
};

TEST(XmlText, EverythingElseIsNoUtf8) {
  const Malformed kTexts[] = {
      {"stray continuation", "a\x80"},
      {"no continuation", "\xC3("},
      {"cut off after one byte", "\xC3"},
      {"cut off after two bytes", "\xE2\x82"},
      {"cut off after three bytes", "\xF0\x9F\x98"},
      {"third byte is none", "\xE2\x82("},
      {"overlong in two bytes", "\xC1\xBF"},
      {"overlong in three bytes", "\xE0\x9F\xBF"},
      {"overlong in four bytes", "\xF0\x8F\xBF\xBF"},
      {"first surrogate", "\xED\xA0\x80"},
      {"last surrogate", "\xED\xBF\xBF"},
      {"above the last character", "\xF4\x90\x80\x80"},
      {"five bytes", "\xF8\x88\x80\x80\x80"},
      {"byte that never occurs", "\xFF"},
  };
  for (const Malformed& malformed : kTexts) EXPECT_FALSE(MDF::IsUtf8(malformed.Text)) << malformed.Why;
}

TEST(XmlText, MarkupIsEscapedAndWhatXmlDoesNotHaveIsLeftOut) {
  EXPECT_EQ(MDF::EscapedForXml("a<b>&c\t\r\n"), "a&lt;b&gt;&amp;c\t\r\n");
  EXPECT_EQ(MDF::EscapedForXml("\x01p\x1Fq\0r"s), "pqr");
  EXPECT_EQ(MDF::EscapedForXml("\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"), "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80");
  EXPECT_EQ(MDF::EscapedForXml("x\xEF\xBF\xBEy\xEF\xBF\xBFz\xEF\xBF\xBD"),
            "xyz\xEF\xBF\xBD");  // U+FFFE, U+FFFF, U+FFFD
}

}  // namespace
