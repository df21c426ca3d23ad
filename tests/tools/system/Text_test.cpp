#include "system/Text.h"

#include <gtest/gtest.h>

namespace client {
namespace {

TEST(Text, LinesAreBrokenBetweenWordsAndGoOnIndented) {
  EXPECT_EQ(Wrapped("one two three four", 10), "one two\n  three\n  four");
  EXPECT_EQ(Wrapped("  one two three\nfour", 10), "  one two\n    three\nfour");
  EXPECT_EQ(Wrapped("short\n\nlines\n", 10), "short\n\nlines\n");
}

TEST(Text, DescriptionsGoOnBelowTheirColumn) {
  EXPECT_EQ(Wrapped("  -a   one two three four", 18), "  -a   one two\n       three four");
}

TEST(Text, DescriptionsThatBeginFarToTheRightGetLinesOfTheirOwn) {
  EXPECT_EQ(Wrapped("  --quite-long-name   one two three four", 24), "  --quite-long-name\n      one two three four");
}

TEST(Text, WordsThatDoNotFitStayWhole) { EXPECT_EQ(Wrapped("a /some/long/path b", 6), "a\n  /some/long/path\n  b"); }

TEST(Text, NoLineIsLongerThanAskedForWhereWordsAreShort) {
  const std::string text =
      "  --name TEXT   Lorem ipsum dolor sit amet, consetetur sadipscing elitr, sed diam nonumy eirmod.\n";
  for (const std::size_t columns : {24u, 40u, 80u}) {
    const std::string wrapped = Wrapped(text, columns);
    for (std::size_t begin = 0; begin < wrapped.size();) {
      const std::size_t end = wrapped.find('\n', begin);
      EXPECT_LE(end - begin, columns);
      begin = end + 1;
    }
  }
}

TEST(Text, LongLinesAreCutVisibly) {
  EXPECT_EQ(CutLines("0123456789\n01234567\n", 8), "01234...\n01234567\n");
  EXPECT_EQ(CutLines("", 8), "");
}

TEST(Text, ExtensionsAreComparedInSmallLetters) {
  EXPECT_EQ(ExtensionOf("a/b.ASC"), ".asc");
  EXPECT_EQ(ExtensionOf("a.b/c"), "");
  EXPECT_EQ(ExtensionOf("a.tar.Bin"), ".bin");
  EXPECT_EQ(ExtensionOf(".bin"), "");
  EXPECT_EQ(ExtensionOf("a/.bin"), "");
  EXPECT_EQ(ExtensionOf(""), "");
}

}  // namespace
}  // namespace client
