#include "Candump.h"

#include <gtest/gtest.h>

#include "TextFile.h"
#include "Thrown.h"

using namespace qor_sim;

namespace {

using Data = std::vector<unsigned char>;

Data DataOf(const CanItem& item) { return {item.Data, item.Data + item.DataLength}; }

struct Replayed {
  uint64_t Due;
  uint64_t Timestamp;
  CanItem Frame;
};

std::vector<Replayed> Drain(ItemSource& source) {
  std::vector<Replayed> items;
  for (const Item* item = source.Peek(); item != nullptr; item = source.Peek()) {
    Replayed replayed{item->Due, item->Timestamp, {}};
    EXPECT_EQ(item->Bytes.size(), size_t{16} + item->Bytes.at(15));
    std::copy(item->Bytes.begin(), item->Bytes.end(), reinterpret_cast<unsigned char*>(&replayed.Frame));
    EXPECT_EQ(replayed.Frame.Timestamp, item->Timestamp);
    items.push_back(replayed);
    source.Advance();
  }
  return items;
}

std::vector<Replayed> Replay(const std::string& text, const CandumpSettings& settings = {}) {
  return Drain(*ParseCandump(text, "text", settings));
}

}  // namespace

// ---- Lines -------------------------------------------------------------------------------------------------------------

TEST(CandumpLine, FramesBecomeItems) {
  struct Case {
    const char* Line;
    uint32_t Identifier;
    unsigned int Flags, Dlc;
    Data Bytes;
  };
  const Case cases[] = {
      {"(1.5) can0 123#0102", 0x123, 0, 2, {1, 2}},
      {"(1.5) can0 123#", 0x123, 0, 0, {}},
      {"(1.5) can0 7FF#1122334455667788", 0x7FF, 0, 8, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}},
      {"(1.5) can0 00000123#aBcD", 0x80000123, kCanExtended, 2, {0xAB, 0xCD}},
      {"(1.5) can0 1FFFFFFF#", 0x9FFFFFFF, kCanExtended, 0, {}},
      {"(1.5) can0 123#R", 0x123, 0, 0, {}},
      {"(1.5) can0 123#R8", 0x123, 0, 8, {}},
      {"(1.5) can0 123#R8_F", 0x123, 0, 15, {}},
      {"(1.5) can0 123#1122334455667788_9", 0x123, 0, 9, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}},
      {"(1.5) can0 123##0", 0x40000123, kCanFd, 0, {}},
      {"(1.5) can0 123##1AA", 0x40000123, kCanFd | kCanBrs, 1, {0xAA}},
      {"(1.5) can0 123##2AA", 0x40000123, kCanFd | kCanEsi, 1, {0xAA}},
      {"(1.5) can0 12345678##7", 0xD2345678, kCanFd | kCanBrs | kCanEsi | kCanExtended, 0, {}},
      {"(1.5) can0 123##3000102030405060708090A0B",
       0x40000123,
       kCanFd | kCanBrs | kCanEsi,
       9,
       {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
  };
  for (const auto& c : cases) {
    const auto frame = ParseCandumpLine(c.Line);
    EXPECT_EQ(frame.Interface, "can0");
    EXPECT_EQ(frame.Item.Timestamp, 1'500'000'000u);
    EXPECT_EQ(frame.Item.Identifier, c.Identifier) << c.Line;
    EXPECT_EQ(frame.Item.Flags, c.Flags) << c.Line;
    EXPECT_EQ(frame.Item.Dlc, c.Dlc) << c.Line;
    EXPECT_EQ(DataOf(frame.Item), c.Bytes) << c.Line;
    EXPECT_FALSE(frame.OwnDirection) << c.Line;
  }
}

TEST(CandumpLine, EveryFdLengthHasItsDlc) {
  constexpr size_t kLengths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};
  for (size_t dlc = 0; dlc < 16; ++dlc) {
    const auto item = ParseCandumpLine("(0) c 001##0" + std::string(2 * kLengths[dlc], 'A')).Item;
    EXPECT_EQ(item.Dlc, dlc);
    EXPECT_EQ(item.DataLength, kLengths[dlc]);
  }
}

TEST(CandumpLine, TimesAreExactToTheNanosecond) {
  struct Case {
    const char* Text;
    uint64_t Ns;
  };
  constexpr Case kCases[] = {
      {"(0.000001)", 1'000},
      {"(1398128223.803317)", 1'398'128'223'803'317'000},
      {"(1398128223.803317019)", 1'398'128'223'803'317'019},
      {"(7)", 7'000'000'000},
      {"(0.999999999)", 999'999'999},
      {"(18446744072.999999999)", 18'446'744'072'999'999'999u},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(ParseCandumpLine(std::string(c.Text) + " c 001#").Item.Timestamp, c.Ns) << c.Text;
  }
}

TEST(CandumpLine, ClosingLetterIsTheDirection) {
  EXPECT_EQ(ParseCandumpLine("(0) c 001#00 T").OwnDirection, Direction::Transmitted);
  EXPECT_EQ(ParseCandumpLine("(0) c 001#00 R").OwnDirection, Direction::Received);
  EXPECT_EQ(ParseCandumpLine("(0) c 001#R T").OwnDirection, Direction::Transmitted);
}

TEST(CandumpLine, BlanksAroundWordsDoNotMatter) {
  const auto frame = ParseCandumpLine("  (1.0)\t can0   123#01   T \r");
  EXPECT_EQ(frame.Interface, "can0");
  EXPECT_EQ(frame.Item.Identifier, 0x123u);
  EXPECT_EQ(frame.OwnDirection, Direction::Transmitted);
}

TEST(CandumpLine, ErrorFrameHasAKindFromItsClassAndData) {
  struct Case {
    const char* Frame;
    unsigned int Kind;
  };
  constexpr Case kCases[] = {
      {"20000080#0000000000000000", kCanOtherError}, {"20000080#", kCanOtherError},
      {"20000088#0000040000000000", kCanStuffError}, {"20000008#0000020000000000", kCanFormError},
      {"200000A0#0000000000000000", kCanAckError},   {"20000088#0000001900000000", kCanAckError},
      {"20000008#0000100000000000", kCanBit1Error},  {"20000008#0000010000000000", kCanBit1Error},
      {"20000008#0000080000000000", kCanBit0Error},  {"20000008#0000000800000000", kCanCrcError},
      {"20000080#0000040000000000", kCanOtherError},  // not a protocol violation: byte 2 means nothing
      {"20000004#0004000000000000", kCanOtherError},
  };
  for (const auto& c : kCases) {
    const auto frame = ParseCandumpLine("(0) c " + std::string(c.Frame));
    EXPECT_EQ(frame.Item.Flags, kCanError) << c.Frame;
    EXPECT_EQ(frame.Item.Identifier, 0u) << c.Frame;
    EXPECT_EQ(frame.Item.Dlc, 0u) << c.Frame;
    EXPECT_EQ(DataOf(frame.Item), Data{static_cast<unsigned char>(c.Kind)}) << c.Frame;
    EXPECT_FALSE(frame.OwnDirection) << c.Frame;
  }
}

TEST(CandumpLine, ErrorWhileSendingIsTransmittedUnlessTheLineSaysOtherwise) {
  EXPECT_EQ(ParseCandumpLine("(0) c 20000008#0000840000000000").OwnDirection, Direction::Transmitted);
  EXPECT_EQ(ParseCandumpLine("(0) c 20000008#0000840000000000 R").OwnDirection, Direction::Received);
}

TEST(CandumpLine, UnreadableLineGivesItsReason) {
  struct Case {
    const char* Line;
    const char* Reason;
  };
  constexpr Case kCases[] = {
      {"can0 123#", "the line does not begin with a time in parentheses"},
      {"(1.0 can0 123#", "the line does not begin with a time in parentheses"},
      {"( can0 123#", "the line does not begin with a time in parentheses"},
      {"() can0 123#", "the time is not seconds with up to nine decimals"},
      {"(-1) can0 123#", "the time is not seconds with up to nine decimals"},
      {"(1.0000000001) can0 123#", "the time is not seconds with up to nine decimals"},
      {"(1.0x) can0 123#", "the time is not seconds with up to nine decimals"},
      {"(18446744073.0) can0 123#", "the time is too late to be kept in ns"},
      {"(99999999999999999999) can0 123#", "the time is not seconds with up to nine decimals"},
      {"(1.0)", "the line names no interface"},
      {"(1.0) a&b 123#", "an interface name can't hold an &"},
      {"(1.0) can0", "the frame has no # after its identifier"},
      {"(1.0) can0 123", "the frame has no # after its identifier"},
      {"(1.0) can0 #00", "an identifier has three hexadecimal digits, or eight if extended"},
      {"(1.0) can0 1234#00", "an identifier has three hexadecimal digits, or eight if extended"},
      {"(1.0) can0 12G#00", "the identifier is not hexadecimal"},
      {"(1.0) can0 -12#00", "the identifier is not hexadecimal"},
      {"(1.0) can0 800#00", "the identifier is out of range"},
      {"(1.0) can0 40000000#00", "the identifier is out of range"},
      {"(1.0) can0 60000080#00", "the identifier is out of range"},
      {"(1.0) can0 A0000080#00", "the identifier is out of range"},
      {"(1.0) can0 123#0", "the data end in half a byte"},
      {"(1.0) can0 123#0G", "the data are not hexadecimal"},
      {"(1.0) can0 123#112233445566778899", "the frame has too many data bytes"},
      {"(1.0) can0 123#R9", "a remote frame has one digit from 0 to 8 after its R, or none"},
      {"(1.0) can0 123#R01", "a remote frame has one digit from 0 to 8 after its R, or none"},
      {"(1.0) can0 123#R2_9", "only a length of 8 has a raw data length code"},
      {"(1.0) can0 123#00_9", "only a length of 8 has a raw data length code"},
      {"(1.0) can0 123#1122334455667788_8", "a raw data length code is one hexadecimal digit from 9 to F"},
      {"(1.0) can0 123##", "a CAN FD frame has one hexadecimal digit of flags after ##"},
      {"(1.0) can0 123##G", "a CAN FD frame has one hexadecimal digit of flags after ##"},
      {"(1.0) can0 123##0010203040506070809", "a CAN FD frame can't have 9 data bytes"},
      {"(1.0) can0 20000080##0", "the data are not hexadecimal"},
      {"(1.0) can0 20000080#R", "the data end in half a byte"},
      {"(1.0) can0 123#00 X", "there is more than an R or a T after the frame"},
      {"(1.0) can0 123#00 T T", "there is more than an R or a T after the frame"},
      {"(1.0) can0 123#00 11", "there is more than an R or a T after the frame"},
  };
  for (const auto& c : kCases) {
    const Thrown thrown = ThrownBy([&] { ParseCandumpLine(c.Line); });
    EXPECT_EQ(thrown.Code, unsigned{QOR_SIM_ERROR_SOURCE}) << c.Line;
    EXPECT_EQ(thrown.Text, c.Reason) << c.Line;
  }
}

TEST(CandumpLine, TooLongFdFrameIsRefused) {
  EXPECT_EQ(ThrownBy([] { ParseCandumpLine("(0) c 001##0" + std::string(130, 'A')); }).Text,
            "the frame has too many data bytes");
}

// ---- Files -------------------------------------------------------------------------------------------------------------

TEST(Candump, FileTimeBeginsWithItsFirstFrame) {
  const auto items = Replay("(100.000001) can0 001#\n(100.000003) can0 002#\n");
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0].Timestamp, 0u);
  EXPECT_EQ(items[1].Timestamp, 2'000u);
  EXPECT_EQ(items[1].Due, 2'000u);
}

TEST(Candump, AbsoluteTimesAreKeptAndDueAsFileTimes) {
  const auto items =
      Replay("(100.000001) can0 001#\n(100.000003) can0 002#\n", {.Interface = {}, .Origin = TimeOrigin::Absolute});
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[1].Timestamp, 100'000'003'000u);
  EXPECT_EQ(items[1].Due, 2'000u);
}

TEST(Candump, InterfacesShareTheOriginOfTheFile) {
  const auto items = Replay("(5.0) can0 001#\n(5.5) can1 002#\n", {.Interface = "can1"});
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].Timestamp, 500'000'000u);
  EXPECT_EQ(items[0].Frame.Identifier, 2u);
}

TEST(Candump, FramesAreSortedByTimeAndKeepTheirOrderWhenEqual) {
  const auto items = Replay("(5.2) a 001#\n(5.1) a 002#\n(5.2) a 003#\n(5.1) a 004#\n");
  ASSERT_EQ(items.size(), 4u);
  EXPECT_EQ(items[0].Frame.Identifier, 2u);
  EXPECT_EQ(items[1].Frame.Identifier, 4u);
  EXPECT_EQ(items[2].Frame.Identifier, 1u);
  EXPECT_EQ(items[3].Frame.Identifier, 3u);
  EXPECT_EQ(items[0].Timestamp, 0u);
  EXPECT_EQ(items[3].Timestamp, 100'000'000u);
}

TEST(Candump, DirectionIsThatOfTheLineElseOfTheSource) {
  const std::string text = "(0) a 001#\n(1) a 002# R\n(2) a 003# T\n";
  const auto received = Replay(text);
  const auto transmitted = Replay(text, {.Interface = {}, .Fallback = Direction::Transmitted});
  constexpr unsigned int kTx = kCanTransmitted;
  ASSERT_EQ(received.size(), 3u);
  EXPECT_EQ(received[0].Frame.Flags & kTx, 0u);
  EXPECT_EQ(received[1].Frame.Flags & kTx, 0u);
  EXPECT_EQ(received[2].Frame.Flags & kTx, kTx);
  ASSERT_EQ(transmitted.size(), 3u);
  EXPECT_EQ(transmitted[0].Frame.Flags & kTx, kTx);
  EXPECT_EQ(transmitted[1].Frame.Flags & kTx, 0u);
  EXPECT_EQ(transmitted[2].Frame.Flags & kTx, kTx);
}

TEST(Candump, CarriageReturnsBlankLinesAndAMissingLastNewlineDoNotMatter) {
  EXPECT_EQ(Replay("\r\n(1) a 001#\r\n\n  \t\n(2) a 002#01").size(), 2u);
}

TEST(Candump, FileIsReadAsItsTextIs) {
  const TextFile file("(1) a 001#01\n(3) a 002#");
  const auto items = Drain(*MakeCandumpSource(file.Path, {}));
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(DataOf(items[0].Frame), Data{1});
  EXPECT_EQ(items[1].Timestamp, 2'000'000'000u);
}

TEST(Candump, InterfacesComeInOrderOfTheirNames) {
  const TextFile file("(1) vcan0 001#\n(2) can1 002#\n(3) can0 003#\n(4) can1 004#\n");
  EXPECT_EQ(CandumpInterfaces(file.Path), (std::vector<std::string>{"can0", "can1", "vcan0"}));
}

TEST(Candump, UnreadableLineIsNamedWithFileAndNumber) {
  const TextFile file("(1) a 001#\n\n(1) a 00#\n");
  const std::string wanted =
      "Cannot read " + file.Path + ", line 3: an identifier has three hexadecimal digits, or eight if extended.";
  const Thrown thrown = ThrownBy([&] { MakeCandumpSource(file.Path, {}); });
  EXPECT_EQ(thrown.Code, unsigned{QOR_SIM_ERROR_FILE});
  EXPECT_EQ(thrown.Text, wanted);
  EXPECT_EQ(ThrownBy([&] { CandumpInterfaces(file.Path); }).Text, wanted);
}

TEST(Candump, UnreadableLineIsLeftOutWhereLinesMayBeSkipped) {
  const TextFile file("(1) a 001#\nrubbish\n(2) a 002#\n");
  const auto source = MakeCandumpSource(file.Path, {.Interface = {}, .Bad = BadLines::Skip});
  EXPECT_EQ(Drain(*source).size(), 2u);
  const SkippedLines skipped = source->Skipped();
  ASSERT_EQ(skipped.Count(), 1u);
  EXPECT_EQ(skipped.Kept()[0].Number, 2u);
  EXPECT_EQ(skipped.Kept()[0].Reason, "the line does not begin with a time in parentheses");
  EXPECT_EQ(CandumpInterfaces(file.Path, BadLines::Skip), std::vector<std::string>{"a"});
}

TEST(Candump, FileWithoutAReadableLineIsRefusedEvenWhereLinesMayBeSkipped) {
  const TextFile file("rubbish\nmore of it\n");
  const std::string wanted =
      "Cannot read " + file.Path + ", line 1: the line does not begin with a time in parentheses.";
  EXPECT_EQ(ThrownBy([&] { MakeCandumpSource(file.Path, {.Interface = {}, .Bad = BadLines::Skip}); }).Text, wanted);
  EXPECT_EQ(ThrownBy([&] { CandumpInterfaces(file.Path, BadLines::Skip); }).Text, wanted);
}

TEST(Candump, FilesThatCanNotBeReplayedSayWhy) {
  const auto directory = std::filesystem::temp_directory_path().string();
  EXPECT_EQ(ThrownBy([] { MakeCandumpSource("/no/such/file.log", {}); }).Text,
            "Cannot read /no/such/file.log: there is no such file.");
  EXPECT_EQ(ThrownBy([&] { MakeCandumpSource(directory, {}); }).Text,
            "Cannot read " + directory + ": it is no regular file.");
  EXPECT_EQ(ThrownBy([] { MakeCandumpSource("/dev/zero", {}); }).Text, "Cannot read /dev/zero: it is no regular file.");
  const TextFile empty(""), blank("\n\r\n");
  for (const TextFile* file : {&empty, &blank}) {
    const std::string wanted = "Cannot replay " + file->Path + ": it holds no frames.";
    EXPECT_EQ(ThrownBy([&] { MakeCandumpSource(file->Path, {}); }).Text, wanted);
    EXPECT_EQ(ThrownBy([&] { CandumpInterfaces(file->Path); }).Text, wanted);
  }
}

TEST(Candump, SeveralInterfacesNeedAChoiceAmongThem) {
  const TextFile file("(1) can1 001#\n(2) can0 002#\n");
  EXPECT_EQ(ThrownBy([&] { MakeCandumpSource(file.Path, {}); }).Text,
            "Cannot replay " + file.Path + " without the option interface: it holds can0, can1.");
  EXPECT_EQ(ThrownBy([&] { MakeCandumpSource(file.Path, {.Interface = "can2"}); }).Text,
            "Cannot replay the interface can2 of " + file.Path + ": the file holds can0, can1.");
}
