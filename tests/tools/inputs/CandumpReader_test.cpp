#include "inputs/CandumpReader.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tools/ReadText.h"

namespace client {
namespace {

constexpr unsigned long kTime = 1398128223803317000;

class CandumpReaderTest : public testing::Test {
 protected:
  test::TemporaryDirectory Directory;
};

TEST_F(CandumpReaderTest, EveryFormOfAFrameIsRead) {
  using test::CanItem;
  using test::Counting;
  const auto can = [] { return CanItem().At(kTime); };
  const auto error = [&](unsigned char code) { return can().ErrorFrame(code).Dlc(0); };
  const struct {
    const char* Frame;
    Bytes Record;
  } cases[] = {
      {"123#", RecordOf(can().Id(0x123))},
      {"7FF#A1b2", RecordOf(can().Id(0x7FF).Data({0xA1, 0xB2}))},
      {"00000123#0102030405060708", RecordOf(can().Id(0x123).Extended().Data(Counting(8)))},
      {"1FFFFFFF#01 T", RecordOf(can().Id(0x1FFFFFFF).Extended().Tx().Data({1}))},
      {"123#01 R", RecordOf(can().Id(0x123).Data({1}))},
      {"123#0102030405060708_9", RecordOf(can().Id(0x123).Data(Counting(8)).Dlc(9))},
      {"123#R", RecordOf(can().Id(0x123))},
      {"123#R5", RecordOf(can().Id(0x123).Dlc(5))},
      {"123#R8_F T", RecordOf(can().Id(0x123).Dlc(15).Tx())},
      {"123##0", RecordOf(can().Id(0x123).Fd())},
      {"123##10102", RecordOf(can().Id(0x123).Fd().Brs().Data({1, 2}))},
      {"12345678##7000102030405060708090A0B",
       RecordOf(can().Id(0x12345678).Extended().Fd().Brs().Esi().Data(Counting(12, 0)))},
      {"20000008#0000040000000000", RecordOf(error(1))},
      {"20000008#0000020000000000", RecordOf(error(2))},
      {"20000020#", RecordOf(error(3))},
      {"20000008#0000001900000000", RecordOf(error(3))},
      {"20000008#0000100000000000", RecordOf(error(4))},
      {"20000008#0000080000000000", RecordOf(error(5))},
      {"20000008#0000000800000000", RecordOf(error(6))},
      {"20000008#0000000000000000", RecordOf(error(7))},
      {"20000080#0000000000000000", RecordOf(error(7))},
      {"20000008#0000840000000000", RecordOf(error(1).Tx())},
      {"20000008#0000840000000000 R", RecordOf(error(1))},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.Frame);
    const WholeInput input = ReadText("(1398128223.803317) can0 " + std::string(one.Frame) + "\n", "x.log");
    EXPECT_EQ(input.Records, std::vector<Bytes>{one.Record});
    EXPECT_EQ(input.Findings(), std::vector<std::string>());
  }
}

TEST_F(CandumpReaderTest, WhatIsNoFrameIsUnread) {
  const struct {
    const char* Line;
    const char* Finding;
  } cases[] = {
      {"garbage", "unread: a line that doesn't begin with a time in parentheses"},
      {"(x) can0 123#", "unread: a line whose time can't be read"},
      {"(1.5 can0 123#", "unread: a line whose time can't be read"},
      {"(99999999999.0) can0 123#", "unread: a line whose time can't be read"},
      {"(1.5) can0", "unread: a line without an interface and a frame"},
      {"(1.5) can0 123", "unread: a line without an interface and a frame"},
      {"(1.5) can0 12#", "unread: a frame that can't be read"},
      {"(1.5) can0 800#", "unread: a frame that can't be read"},
      {"(1.5) can0 12g#", "unread: a frame that can't be read"},
      {"(1.5) can0 40000000#", "unread: a frame that can't be read"},
      {"(1.5) can0 123#1", "unread: a frame that can't be read"},
      {"(1.5) can0 123#010203040506070809", "unread: a frame that can't be read"},
      {"(1.5) can0 123#01_9", "unread: a frame that can't be read"},
      {"(1.5) can0 123#0102030405060708_8", "unread: a frame that can't be read"},
      {"(1.5) can0 123#R9", "unread: a frame that can't be read"},
      {"(1.5) can0 123#R7_9", "unread: a frame that can't be read"},
      {"(1.5) can0 123##", "unread: a frame that can't be read"},
      {"(1.5) can0 123##0010203040506070809", "unread: a frame that can't be read"},
      {"(1.5) can0 20000008#010203040506070809", "unread: a frame that can't be read"},
      {"(1.5) can0 123# X", "unread: a frame that can't be read"},
      {"(1.5) can0 123# T R", "unread: a frame that can't be read"},
      {"(1.5) can0 123###00000000", "left_out: a CAN XL frame"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.Line);
    const WholeInput input = ReadText(std::string("\n") + one.Line + "\r\n(1.0) can0 123#\r\n", "x.log");
    EXPECT_EQ(input.Records, std::vector<Bytes>{RecordOf(test::CanItem().At(1'000'000'000).Id(0x123))});
    EXPECT_EQ(input.Findings(), std::vector<std::string>{std::string(one.Finding) + ", line 2"});
  }
}

TEST_F(CandumpReaderTest, UsualInterfacesHaveTheNumbersOfTheirNames) {
  const WholeInput input = ReadText("(1.0) can2 001#\n(1.0) can0 001#\n(1.0) any 001#\n(1.0) can1 001#\n", "x.log");
  std::vector<unsigned int> channels;
  for (const Bytes& record : input.Records) channels.push_back(ViewOf(record).ChannelId());
  EXPECT_EQ(channels, (std::vector<unsigned int>{3, 1, 2, 4}));
}

TEST_F(CandumpReaderTest, InterfacesAreChannelsInTheOrderInWhichTheyCome) {
  const WholeInput input = ReadText("(1.0) vcan1 001#\n(1.0) can0 001#\n(1.0) vcan1 001#\n(1.0) can0 001#\n", "x.log");
  std::vector<unsigned int> channels;
  for (const Bytes& record : input.Records) channels.push_back(ViewOf(record).ChannelId());
  EXPECT_EQ(channels, (std::vector<unsigned int>{1, 2, 1, 2}));
  ASSERT_EQ(input.Known.Channels.size(), 2u);
  EXPECT_EQ(input.Known.Channels[0], (ChannelDescription{.Number = 1, .BusType = BusType_Can, .Name = "vcan1"}));
  EXPECT_EQ(input.Known.Channels[1].Name, "can0");
}

TEST_F(CandumpReaderTest, NoMoreThanAThousandInterfacesAreKept) {
  std::string text;
  for (int number = 0; number < 1100; ++number) text += "(1.0) can" + std::to_string(number) + " 001#\n";
  const WholeInput input = ReadText(text, "x.log");
  EXPECT_EQ(input.Records.size(), 1000u);
  EXPECT_EQ(input.Findings(),
            std::vector<std::string>{"100 unread: a frame of the 1001st interface, or one after it, line 1001"});
}

/// Any part of a frame's data looks like a shorter frame.
TEST_F(CandumpReaderTest, TextThatIsCutAnywhereGivesTheWholeLinesBeforeThat) {
  const std::string text = "(1.0) can0 123#0102\n(2.0) can0 123##0\n(3.0) can1 00000123#R8\n";
  const auto records = ReadText(text, "x.log").Records;
  ASSERT_EQ(records.size(), 3u);
  for (size_t size = 1; size < text.size(); ++size) {
    SCOPED_TRACE(size);
    const std::string part = text.substr(0, size);
    const WholeInput input = ReadText(part, "x.log");
    const auto lines = static_cast<size_t>(std::count(part.begin(), part.end(), '\n'));
    EXPECT_EQ(input.Records, std::vector<Bytes>(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(lines)));
    EXPECT_EQ(input.Known.Complete, part.ends_with('\n'));
    EXPECT_EQ(input.Found.size(), part.ends_with('\n') ? 0u : 1u);
  }
}

TEST_F(CandumpReaderTest, FormatIsKnownByTheFirstLine) {
  EXPECT_EQ(ReadText("(1.0) can0 123#\n", "x.txt").Records.size(), 1u);
  EXPECT_EQ(ReadText("\n (1.0) can0 123#\n", "x.log").Records.size(), 1u);
}

}  // namespace
}  // namespace client
