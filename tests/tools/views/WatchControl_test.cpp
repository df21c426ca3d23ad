#include "views/WatchControl.h"

#include <gtest/gtest.h>

namespace client {
namespace {

Key Written(char32_t character) { return {KeyName::Character, character}; }

/// Presses keys; the last one's request.
WatchRequest Type(WatchControl& control, std::u32string_view characters) {
  WatchRequest last;
  for (const char32_t character : characters) last = control.Press(Written(character));
  return last;
}

WatchRequest Press(WatchControl& control, KeyName name) { return control.Press({name}); }

WatchControl WithRows(std::vector<size_t> order, size_t lines) {
  WatchControl control;
  control.Shown(std::move(order), lines, 0);
  return control;
}

TEST(WatchControl, LettersAreRequests) {
  WatchControl control = WithRows({3, 1}, 2);
  EXPECT_EQ(Type(control, U"q").Wish, WatchWish::Quit);
  EXPECT_EQ(Type(control, U" ").Wish, WatchWish::Pause);
  EXPECT_EQ(Type(control, U"p").Wish, WatchWish::Pause);
  EXPECT_EQ(Type(control, U"r").Wish, WatchWish::Record);
  EXPECT_EQ(Type(control, U"t").Wish, WatchWish::Trigger);
  EXPECT_EQ(Type(control, U"c").Wish, WatchWish::ResetCounts);
  EXPECT_EQ(Type(control, U"n").Wish, WatchWish::Step);
  EXPECT_EQ(Type(control, U"+").Wish, WatchWish::Faster);
  EXPECT_EQ(Type(control, U"-").Wish, WatchWish::Slower);
  EXPECT_EQ(Type(control, U"x").Wish, WatchWish::None);
  EXPECT_EQ(Type(control, U"f").Wish, WatchWish::None);  // nothing is selected
  Press(control, KeyName::Down);
  EXPECT_EQ(Type(control, U"f").Wish, WatchWish::Freeze);
}

TEST(WatchControl, ASelectionStaysWithItsMessageAndInsideTheTable) {
  WatchControl control = WithRows({7, 5, 9, 2}, 2);
  EXPECT_EQ(control.Looks().Selected, std::nullopt);
  Press(control, KeyName::Down);
  EXPECT_EQ(control.Looks().Selected, 7u);
  Press(control, KeyName::Down);
  EXPECT_EQ(control.Looks().Selected, 5u);
  control.Shown({2, 9, 5, 7}, 2, 0);
  EXPECT_EQ(control.Looks().Selected, 5u);
  Press(control, KeyName::Up);
  EXPECT_EQ(control.Looks().Selected, 9u);
  Press(control, KeyName::PageDown);
  EXPECT_EQ(control.Looks().Selected, 7u);
  Press(control, KeyName::Down);
  EXPECT_EQ(control.Looks().Selected, 7u);
  Press(control, KeyName::Home);
  EXPECT_EQ(control.Looks().Selected, 2u);
  Press(control, KeyName::End);
  EXPECT_EQ(control.Looks().Selected, 7u);
  Press(control, KeyName::Escape);
  EXPECT_EQ(control.Looks().Selected, std::nullopt);
}

TEST(WatchControl, WithoutASelectionAStepSelectsTheFirstRowThatIsShown) {
  for (const KeyName name : {KeyName::Up, KeyName::Down}) {
    WatchControl control;
    control.Shown({7, 5, 9, 2}, 2, 1);
    Press(control, name);
    EXPECT_EQ(control.Looks().Selected, 5u);
  }
}

TEST(WatchControl, KeysThatMoveNeedRows) {
  WatchControl control;
  for (const KeyName name : {KeyName::Up, KeyName::Down, KeyName::End, KeyName::Enter, KeyName::PageDown})
    Press(control, name);
  EXPECT_EQ(control.Looks().Selected, std::nullopt);
  EXPECT_EQ(control.Looks().Sheet, WatchSheet::Table);
}

TEST(WatchControl, SortingGoesThroughAllOrdersAndBack) {
  WatchControl control;
  std::string orders;
  for (size_t press = 0; press < kRowOrderCount; ++press) {
    Type(control, U"s");
    orders += std::string(Word(control.Looks().Order)) + ", ";
  }
  EXPECT_EQ(orders, "count, rate, cycle time, jitter, newest, message, ");
  Type(control, U"S");
  EXPECT_TRUE(control.Looks().Reversed);
}

TEST(WatchControl, DataAreMovedByEightBytesAndNotBelowTheFirst) {
  WatchControl control;
  Press(control, KeyName::Left);
  EXPECT_EQ(control.Looks().FirstByte, 0u);
  Press(control, KeyName::Right);
  Press(control, KeyName::Right);
  EXPECT_EQ(control.Looks().FirstByte, 16u);
  Press(control, KeyName::Left);
  EXPECT_EQ(control.Looks().FirstByte, 8u);
}

TEST(WatchControl, AFilterIsTypedAndTakenWithEnter) {
  WatchControl control;
  Type(control, U"/id == 12");
  EXPECT_EQ(control.Looks().Prompt, WatchPrompt::Filter);
  Press(control, KeyName::Backspace);
  EXPECT_EQ(Press(control, KeyName::Enter), (WatchRequest{WatchWish::TakeFilter, "id == 1"}));
  EXPECT_EQ(control.Looks().Prompt, WatchPrompt::Filter);  // until somebody has taken it
  control.SetFilter("id == 1");
  control.EndPrompt();
  EXPECT_EQ(control.Looks().Prompt, WatchPrompt::None);
  Type(control, U"/");
  EXPECT_EQ(control.Looks().Typed.Text(), "id == 1");  // to be changed
}

TEST(WatchControl, EscapeKeepsTheOldFilter) {
  WatchControl control("bus == can");
  Type(control, U"/x");
  EXPECT_EQ(Press(control, KeyName::Escape).Wish, WatchWish::None);
  EXPECT_EQ(control.Looks().Prompt, WatchPrompt::None);
  EXPECT_EQ(control.FilterText(), "bus == can");
}

TEST(WatchControl, AMistakeStaysMarkedUntilSomethingIsTyped) {
  WatchControl control;
  Type(control, U"/id == zz");
  control.Refuse({"No number", 6, 2});
  EXPECT_EQ(control.Looks().Typed.Cursor(), 6u);
  EXPECT_TRUE(control.Looks().Mistake);
  Press(control, KeyName::Delete);
  EXPECT_FALSE(control.Looks().Mistake);
  EXPECT_EQ(control.Looks().Typed.Text(), "id == z");
}

TEST(WatchControl, ANameIsProposedAndCanBeDropped) {
  WatchControl control;
  control.AskForName("watch.mf4");
  EXPECT_EQ(Press(control, KeyName::Enter), (WatchRequest{WatchWish::TakeName, "watch.mf4"}));
  EXPECT_EQ(Press(control, KeyName::Escape).Wish, WatchWish::DropName);
}

TEST(WatchControl, LinesAreEditedAnywhere) {
  LineEditor line("aé");
  EXPECT_TRUE(line.Press({KeyName::Left}));
  EXPECT_TRUE(line.Press(Written(U'x')));
  EXPECT_TRUE(line.Press({KeyName::Home}));
  EXPECT_TRUE(line.Press({KeyName::Delete}));
  EXPECT_TRUE(line.Press({KeyName::Left}));
  EXPECT_TRUE(line.Press({KeyName::End}));
  EXPECT_TRUE(line.Press({KeyName::Right}));
  EXPECT_TRUE(line.Press(Written(U'!')));
  EXPECT_EQ(line.Text(), "xé!");
  EXPECT_FALSE(line.Press({KeyName::Up}));
  EXPECT_TRUE(line.Press({KeyName::EraseLine}));
  EXPECT_TRUE(line.Press({KeyName::Backspace}));
  EXPECT_EQ(line.Text(), "");
}

TEST(WatchControl, HelpAndMessageArePagesThatAreLeftAgain) {
  WatchControl control = WithRows({1, 2}, 2);
  Type(control, U"?");
  EXPECT_EQ(control.Looks().Sheet, WatchSheet::Help);
  Press(control, KeyName::Down);
  EXPECT_EQ(control.Looks().SheetTop, 1u);
  EXPECT_EQ(Type(control, U"q").Wish, WatchWish::None);  // leaves the page only
  EXPECT_EQ(control.Looks().Sheet, WatchSheet::Table);
  Press(control, KeyName::Enter);
  EXPECT_EQ(control.Looks().Sheet, WatchSheet::Message);
  EXPECT_EQ(control.Looks().Selected, 1u);
  Press(control, KeyName::PageDown);
  EXPECT_EQ(control.Looks().SheetTop, 1u);
  Press(control, KeyName::Down);
  EXPECT_EQ(control.Looks().Selected, 2u);  // the next message's page
  EXPECT_EQ(control.Looks().SheetTop, 0u);  // from its top
  Press(control, KeyName::Escape);
  EXPECT_EQ(control.Looks().Sheet, WatchSheet::Table);
  EXPECT_EQ(control.Looks().Selected, 2u);
}

}  // namespace
}  // namespace client
