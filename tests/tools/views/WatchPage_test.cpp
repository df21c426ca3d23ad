#include "views/WatchPage.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"
#include "views/LiveCells.h"

namespace client {
namespace {

constexpr unsigned long kMs = 1'000'000;

class PageOf : public testing::Test {
 protected:
  PageOf() {
    for (unsigned char count = 0; count < 3; ++count)
      Put(Table, RecordOf(test::CanItem().At((100 + 10ul * count) * kMs).Id(0x123).Data({count, 2, 3, 4, 5, 6, 7, 8})));
    Put(Table, RecordOf(test::CanItem().At(130 * kMs).Id(0x18FE0102).Extended().Tx().Data({0xAB})));
    Put(Table, RecordOf(test::CanItem().Channel(2).At(140 * kMs).Id(0).ErrorFrame(6)));
    Facts.Title = "can can";
    Facts.Elapsed = 12300 * kMs;
    Facts.Entries = 5;
    Facts.EntriesPerSecond = 41.6;
    Channels = {{.Number = 1, .BusType = BusType_Can, .Source = "can", .FramesPerSecond = 40, .Load = {34.56, {}}},
                {.Number = 2, .BusType = BusType_Can, .Source = "can?seed=2", .Errors = 1, .Lost = 3}};
  }

  WatchPage Page(ScreenSize size) {
    WatchScene scene{Table, Channels, 150 * kMs, Facts, Filter};
    return ComposePage(scene, View, size);
  }
  std::string Text(ScreenSize size) { return Page(size).Picture.Text(); }
  std::string Line(size_t line, ScreenSize size = {24, 80}) { return Page(size).Picture.Text(line); }

  LiveTable Table;
  std::vector<LiveChannel> Channels;
  WatchFacts Facts;
  WatchView View;
  std::string Filter;
};

using WatchPageTest = PageOf;

TEST_F(WatchPageTest, EightyColumnsHaveAllOfIt) {
  EXPECT_EQ(Text({10, 80}),
            " 0:12.3  42/s  5 entries  can can\n"
            "  1 CAN     40/s  load      34.6 %  0 errors  lost 0  can\n"
            "  2 CAN      0/s  load         - %  1 error  LOST 3  can?seed=2\n"
            " Ch Bus Message   Kind  Dir   Count Rate/s Cycle ms  Jitter Data\n"
            "  1 CAN 123       CAN   Rx        3    0.0   10.000   0.000 02 02 03 04 05 06 +\n"
            "  1 CAN 18fe0102x CAN   Tx        1    0.0        -       - ab\n"
            "  2 CAN 0         error Rx        1    0.0        -       - 06\n"
            "\n"
            "\n"
            "? help  q quit  / filter  s sort  r record  space pause\n");
}

TEST_F(WatchPageTest, FortyColumnsLeaveOutWhatIsLeastMissed) {
  EXPECT_EQ(Text({12, 40}),
            " 0:12.3  42/s  5 entries  can can\n"
            "  1 CAN     40/s  34.6 % err 0  lost 0\n"
            "  2 CAN      0/s     - % err 1  LOST 3\n"
            " Ch Message    Count      ms Data\n"
            "  1 123            3  10.000 02 02 03 +\n"
            "  1 18fe0102x      1       - ab\n"
            "  2 0              1       - [error] 06\n"
            "\n"
            "\n"
            "\n"
            "\n"
            "? help  q quit  / filter  s sort\n");
}

TEST_F(WatchPageTest, ErrorsAreColouredAndChangedBytesMarked) {
  const Grid grid = Page({10, 80}).Picture;
  const size_t data = std::string("  1 CAN 123       CAN   Rx        3    0.0   10.000   0.000 ").size();
  EXPECT_EQ(grid.Line(4)[data].Look, kMarked);
  EXPECT_EQ(grid.Line(4)[data + 3].Look, Style());
  EXPECT_EQ(grid.Line(6)[2].Look, (Style{.Colour = Ink::Error, .Bold = true}));
  EXPECT_EQ(grid.Line(6)[data].Look, (Style{.Colour = Ink::Error, .Bold = true}));
}

TEST_F(WatchPageTest, ASelectedMessageIsReversedAndAlwaysInView) {
  View.Selected = 2;  // the third that came
  WatchPage page = Page({10, 80});
  EXPECT_EQ(page.Picture.Text(6).front(), '>');
  EXPECT_TRUE(page.Picture.Line(6)[79].Look.Reversed);
  EXPECT_EQ(page.Order, (std::vector<size_t>{0, 1, 2}));
  EXPECT_EQ(page.Lines, 5u);
  for (unsigned int id = 0x200; id < 0x220; ++id) Put(Table, RecordOf(test::CanItem().At(1).Id(id)));
  page = Page({10, 80});
  EXPECT_EQ(page.Lines, 5u);
  EXPECT_EQ(page.Top, 30u);  // the last but one page: it is the last of 35
  EXPECT_EQ(page.Picture.Text(8).substr(0, 11), "> 2 CAN 0  ");
  View.Top = page.Top;
  View.Selected = 0;
  EXPECT_EQ(Page({10, 80}).Top, 0u);
}

TEST_F(WatchPageTest, AFrozenMessageHasAStar) {
  Table.ToggleFrozen(0, 120 * kMs);
  EXPECT_EQ(Line(4).substr(0, 11), "* 1 CAN 123");
  View.Selected = 0;
  EXPECT_EQ(Line(4).substr(0, 11), "> 1 CAN 123");
}

TEST_F(WatchPageTest, ChannelsBeyondAThirdOfTheScreenAreSummedUp) {
  Channels.resize(9, {.Number = 3, .FramesPerSecond = 10, .Errors = 2, .LostUncounted = true});
  EXPECT_EQ(Line(3, {12, 80}), "  and 7 more  70/s  err 14  LOST ?");
  EXPECT_EQ(Line(4, {12, 80}).substr(0, 7), " Ch Bus");
  Channels.resize(3);
  EXPECT_EQ(Line(3, {12, 80}), "  3 -       10/s  load         - %  2 errors  LOST ?");
}

TEST_F(WatchPageTest, TheFirstLineSaysWhatIsSpecial) {
  Facts.Speed = "2x";
  Facts.Paused = Facts.Ended = true;
  Facts.Recording = {"run.mf4", 1234, 5200 * kMs};
  EXPECT_EQ(Line(0, {24, 100}), std::string(" 0:12.3  42/s  5 entries  can can") + std::string(21, ' ') +
                                    "2x PAUSED END REC run.mf4 0:05.2 1234 entries");
  EXPECT_EQ(Line(0, {12, 40}), " 0:12.3  42/s  2x PAUSED END REC 0:05.2");
}

TEST_F(WatchPageTest, ABlackBoxSaysWhatItIsDoing) {
  const auto end = [&](size_t columns) {
    const std::string line = Line(0, {24, columns});
    return line.substr(line.rfind("  ") + 2);
  };
  Facts.Box.emplace();
  EXPECT_EQ(end(80), "BOX");
  EXPECT_EQ(Line(23), "? help  q quit  t trigger  / filter  s sort  r record  space pause");
  Facts.Box->Incident = 3;
  Facts.Box->Span = 61'500 * kMs;
  EXPECT_EQ(end(80), "INCIDENT 3 1:01.5");
  EXPECT_EQ(end(40), "can can INC 3");
  Facts.Box->ClosesIn = 4200 * kMs;
  EXPECT_EQ(end(80), "INCIDENT 3 closes in 0:04.2");
  Facts.Recording = {"run.mf4", 1234, 5200 * kMs};
  EXPECT_EQ(end(80), "INCIDENT 3 closes in 0:04.2 REC 0:05.2");
}

TEST_F(WatchPageTest, TheLastLineHasNoticeFilterOrKeys) {
  Filter = "bus == can";
  Table.SetFilter(client::Filter("id == 0x123"));
  EXPECT_EQ(Line(23), "filter: bus == can" + std::string(80 - 18 - 6, ' ') + "1 of 3");
  Facts.Notice = "done";
  EXPECT_EQ(Line(23), "done");
  Facts.Notice = Filter = "";
  View.Order = RowOrder::Rate;
  View.Reversed = true;
  EXPECT_EQ(Line(23), "? help  q quit  by rate, reversed  / filter  s sort  r record  space pause");
}

TEST_F(WatchPageTest, ThatNothingIsShownIsSaid) {
  Table.SetFilter(client::Filter("id == 7"));
  EXPECT_EQ(Line(4), "  the filter matches no message");
  Table = LiveTable();
  EXPECT_EQ(Line(4), "  no messages yet");
}

TEST_F(WatchPageTest, AMistakeIsMarkedUnderWhatWasTyped) {
  View.Prompt = WatchPrompt::Filter;
  View.Typed = LineEditor("idd == 1");
  View.Typed.SetCursor(0);
  View.Mistake = {"There is no field idd", 0, 3};
  const Grid grid = Page({24, 80}).Picture;
  EXPECT_EQ(grid.Text(21), "There is no field idd");
  EXPECT_EQ(grid.Text(22), "filter: idd == 1");
  EXPECT_EQ(grid.Text(23), "        ^^^");
  ASSERT_TRUE(grid.Cursor);
  EXPECT_EQ(grid.Cursor->Line, 22u);
  EXPECT_EQ(grid.Cursor->Column, 8u);
}

TEST_F(WatchPageTest, ALongLineIsShownAroundItsCursor) {
  View.Prompt = WatchPrompt::Name;
  std::string typed(100, 'a');
  typed += "end";
  View.Typed = LineEditor(typed);
  const Grid grid = Page({12, 40}).Picture;
  EXPECT_EQ(grid.Text(11), "record to: " + std::string(24, 'a') + "end");
  EXPECT_EQ(grid.Cursor->Column, 38u);
}

TEST_F(WatchPageTest, OtherBytesOfTheDataAreShownOnRequest) {
  View.FirstByte = 4;
  EXPECT_NE(Line(3).find("Data from byte 4"), std::string::npos);
  EXPECT_NE(Line(4).find("0.000 05 06 07 08"), std::string::npos);
}

TEST_F(WatchPageTest, HelpIsScrolledWhereItDoesNotFit) {
  View.Sheet = WatchSheet::Help;
  EXPECT_EQ(Line(1), "q, Ctrl-C   quit; a recording is completed");
  View.SheetTop = 1000;
  EXPECT_EQ(Line(11, {12, 40}), "?, h        this page");
}

TEST_F(WatchPageTest, AMessageHasAPageOfItsOwn) {
  View.Sheet = WatchSheet::Message;
  View.Selected = 0;
  const Grid grid = Page({24, 80}).Picture;
  EXPECT_EQ(grid.Text(1), "CAN classic frame, channel 1, can");
  EXPECT_EQ(grid.Text(2), "Id 123  DLC 8  received  3 entries  0.0/s  last at 0.120000000 s");
  EXPECT_EQ(grid.Text(3), "cycle 10.000 ms  10.000 to 10.000 ms  jitter 0.000 ms  (of the last 2 cycles)");
  EXPECT_EQ(grid.Text(4), "   0  02 02 03 04 05 06 07 08");
  EXPECT_EQ(grid.Line(4)[6].Look, kMarked);
  View.Selected = 99;  // filtered away: the table
  EXPECT_EQ(Line(3).substr(0, 7), " Ch Bus");
}

TEST_F(WatchPageTest, ThePageOfAnErrorIsHeadedLikeOne) {
  View.Sheet = WatchSheet::Message;
  View.Selected = 2;
  Grid grid = Page({24, 80}).Picture;
  EXPECT_EQ(grid.Line(1)[0].Look, (Style{.Colour = Ink::Error, .Bold = true}));
  EXPECT_EQ(grid.Line(2)[0].Look, Style{});
  View.Selected = 0;
  grid = Page({24, 80}).Picture;
  EXPECT_EQ(grid.Line(1)[0].Look, (Style{.Bold = true}));
}

TEST_F(WatchPageTest, ScreensOfAnySizeHaveAPage) {
  Put(Table, RecordOf(test::EthernetItem().Channel(4).Frame(test::Counting(200))));
  Facts.Recording = {"run.mf4", 1234, 5200 * kMs};
  Facts.Speed = "2x";
  View.Selected = 3;
  View.Typed = LineEditor("id == 1");
  View.Mistake.emplace();
  View.Mistake->Sentence.assign(300, 'x');
  View.Mistake->Begin = 3;
  View.Mistake->Length = 2;
  for (const WatchSheet sheet : {WatchSheet::Table, WatchSheet::Message, WatchSheet::Help}) {
    for (const WatchPrompt prompt : {WatchPrompt::None, WatchPrompt::Filter, WatchPrompt::Name}) {
      View.Sheet = sheet;
      View.Prompt = prompt;
      for (size_t lines = 0; lines < 30; ++lines) {
        for (const size_t columns : {0u, 1u, 5u, 23u, 24u, 25u, 39u, 59u, 60u, 61u, 99u, 100u, 300u})
          EXPECT_EQ(Page({lines, columns}).Picture.Size(), (ScreenSize{lines, columns}));
      }
    }
  }
  EXPECT_EQ(Line(0, {5, 80}), "80 x 5 is too small");
}

TEST(LiveCells, NumbersFitTheirColumn) {
  EXPECT_EQ(Fitted(99.95, 6, 1), "100.0");
  EXPECT_EQ(Fitted(123456.7, 6, 1), "123457");
  EXPECT_EQ(Fitted(1234567, 6, 0), "1235k");
  EXPECT_EQ(Fitted(12345678901, 6, 0), "12346M");
  EXPECT_EQ(Fitted(12345678901234, 6, 0), "12346G");
  EXPECT_EQ(Fitted(1e30, 6, 0), "1e+30");
  EXPECT_EQ(Milliseconds(10'002'300, 8), "10.002");
  EXPECT_EQ(Milliseconds(12'345'678'000'000, 8), "12345678");
  EXPECT_EQ(Milliseconds(std::nullopt, 8), "-");
}

}  // namespace
}  // namespace client
