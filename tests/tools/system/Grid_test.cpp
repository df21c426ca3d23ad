#include "system/Grid.h"

#include <gtest/gtest.h>

#include <clocale>

namespace client {
namespace {

/// Characters beyond ASCII are those of a locale.
class InUtf8 : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
  void TearDown() override { std::setlocale(LC_CTYPE, "C"); }
};

TEST(Grid, TextStaysInsideItsLine) {
  Grid grid({2, 10});
  EXPECT_EQ(grid.Put(0, 2, "abc"), 5u);
  EXPECT_EQ(grid.Put(1, 8, "xyz"), 10u);
  grid.Put(2, 0, "below");
  grid.Put(0, 10, "beside");
  EXPECT_EQ(grid.Text(), "  abc\n        x+\n");
}

TEST(Grid, TextThatIsCutSaysSo) {
  Grid grid({1, 20});
  EXPECT_EQ(grid.Put(0, 0, "12345678", {}, 8), 8u);
  EXPECT_EQ(grid.Put(0, 10, "123456789", {}, 8), 18u);
  EXPECT_EQ(grid.Text(0), "12345678  1234567+");
}

TEST(Grid, NumbersEndWithTheirColumn) {
  Grid grid({1, 12});
  grid.PutRight(0, 1, 5, "42");
  grid.PutRight(0, 7, 4, "123456");
  EXPECT_EQ(grid.Text(0), "    42 123+");
}

TEST(Grid, ControlCharactersAreShown) {
  Grid grid({1, 20});
  grid.Put(0, 0, "a\x1b[31mb\n");
  EXPECT_EQ(grid.Text(0), "a\\x1b[31mb\\n");
}

TEST_F(InUtf8, WideCharactersTakeTwoColumnsAndAreNeverHalf) {
  Grid grid({1, 6});
  EXPECT_EQ(grid.Put(0, 0, "é車x"), 4u);
  EXPECT_EQ(grid.Line(0)[1].Glyph, U'車');
  EXPECT_EQ(grid.Line(0)[2].Glyph, char32_t{0});
  EXPECT_EQ(grid.Text(0), "é車x");
  EXPECT_EQ(WidthOf("é車x"), 4u);
  EXPECT_EQ(grid.Put(0, 0, "a車", {}, 2), 2u);
  EXPECT_EQ(grid.Line(0)[1].Glyph, U'+');
}

TEST(Grid, CharactersThatTheLocaleHasNotAreQuestionMarks) {
  Grid grid({1, 6});
  grid.Put(0, 0, "a車");
  EXPECT_EQ(grid.Text(0), "a?");
}

TEST(Grid, CharactersGoToUtf8AndBack) {
  const std::string text = "aé車\xF0\x9F\x9A\x97";
  EXPECT_EQ(CharactersOf(text).size(), 4u);
  EXPECT_EQ(Utf8Of(CharactersOf(text)), text);
}

TEST(Grid, ALineCanBeReversedInItsColours) {
  Grid grid({2, 3});
  grid.Put(0, 0, "ab", {.Colour = Ink::Error});
  grid.Reverse(0);
  EXPECT_EQ(grid.Line(0)[0], (GridCell{U'a', {.Colour = Ink::Error, .Reversed = true}}));
  EXPECT_EQ(grid.Line(0)[2], (GridCell{U' ', {.Reversed = true}}));
  EXPECT_EQ(grid.Line(1)[0], GridCell());
  grid.Clear(0);
  EXPECT_EQ(grid.Line(0)[0], GridCell());
}

}  // namespace
}  // namespace client
