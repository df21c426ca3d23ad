// The lines of the client's own ASC logs, byte for byte.
#include "outputs/AscLines.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "outputs/AscText.h"
#include "support/EntryBuilder.h"

namespace client {
namespace {

using test::Bytes;
using test::CanItem;
using test::EthernetItem;
using test::FlexRayItem;
using test::LinItem;

constexpr AscTime kTime{1'500'000, 2'500'000};

/// In a heap block of exactly the size that was asked for, so that AddressSanitizer sees a write past it.
std::string LineOf(const RecordView& record, const AscStyle& style = {}, const AscTime& time = kTime) {
  const std::size_t room = AscRoom(record);
  const std::unique_ptr<char[]> text(new char[room]);
  const ComposedLine line = ComposeAscLine(style, record, time, text.get());
  return {text.get(), line.End};
}

std::string LineOf(const test::EntryPtr& entry, const AscStyle& style = {}) {
  return LineOf(RecordView(*entry->GetEntry()), style);
}

struct Case {
  const char* Name;
  test::EntryPtr Entry;
  const char* Hex;
  const char* Decimal;
};

void Check(const std::vector<Case>& cases) {
  for (const Case& one : cases) {
    SCOPED_TRACE(one.Name);
    EXPECT_EQ(LineOf(one.Entry), one.Hex);
    EXPECT_EQ(LineOf(one.Entry, {.Decimal = true}), one.Decimal);
    const RecordView record(*one.Entry->GetEntry());
    EXPECT_FALSE(ComposeAscLine({}, record, kTime, std::string(AscRoom(record), ' ').data()).Omission);
  }
}

TEST(AscCanLine, ClassicFramesHaveTheClassicForm) {
  Check({
      {"no data", CanItem().Id(0x123).Entry(),  //
       "1.500000 1  123        Rx d 0\n",       //
       "1.500000 1  291        Rx d 0\n"},
      {"8 data bytes", CanItem().Id(0x123).Data({0, 1, 0x0A, 0x7F, 0x80, 0xAB, 0xFE, 0xFF}).Entry(),
       "1.500000 1  123        Rx d 8 00 01 0a 7f 80 ab fe ff\n",
       "1.500000 1  291        Rx d 8 000 001 010 127 128 171 254 255\n"},
      {"extended", CanItem().Id(0x18FE0102).Extended().Data({1}).Entry(),  //
       "1.500000 1  18fe0102x  Rx d 1 01\n",                               //
       "1.500000 1  419299586x Rx d 1 001\n"},
      {"small extended identifier", CanItem().Id(0).Extended().Data({1}).Entry(),  //
       "1.500000 1  0x         Rx d 1 01\n",                                       //
       "1.500000 1  0x         Rx d 1 001\n"},
      {"sent", CanItem().Id(0x7FF).Tx().Data({1, 2}).Entry(),  //
       "1.500000 1  7ff        Tx d 2 01 02\n",                //
       "1.500000 1  2047       Tx d 2 001 002\n"},
      {"channel 10", CanItem().Channel(10).Id(0x7FF).Data({1}).Entry(),  //
       "1.500000 10 7ff        Rx d 1 01\n",                             //
       "1.500000 10 2047       Rx d 1 001\n"},
      {"channel 1000", CanItem().Channel(1000).Id(0x7FF).Data({1}).Entry(),  //
       "1.500000 1000 7ff        Rx d 1 01\n",                               //
       "1.500000 1000 2047       Rx d 1 001\n"},
  });
}

TEST(AscCanLine, RemoteFramesHaveTheirLengthAndNoData) {
  Check({
      {"8", CanItem().Id(0x123).Dlc(8).Entry(),  //
       "1.500000 1  123        Rx r 8\n",        //
       "1.500000 1  291        Rx r 8\n"},
      {"length code above 8", CanItem().Id(0x123).Tx().Dlc(12).Entry(),  //
       "1.500000 1  123        Tx r 8  // DLC = c\n",                    //
       "1.500000 1  291        Tx r 8  // DLC = 12\n"},
  });
}

TEST(AscCanLine, ClassicFrameShowsALengthCodeOtherThanItsLength) {
  Check({
      {"15", CanItem().Id(1).Data({1, 2, 3, 4, 5, 6, 7, 8}).Dlc(15).Entry(),
       "1.500000 1  1          Rx d 8 01 02 03 04 05 06 07 08  // DLC = f\n",
       "1.500000 1  1          Rx d 8 001 002 003 004 005 006 007 008  // DLC = 15\n"},
      {"3 bytes of 5", CanItem().Id(1).Data({1, 2, 3}).Dlc(5).Entry(),  //
       "1.500000 1  1          Rx d 3 01 02 03  // DLC = 5\n",          //
       "1.500000 1  1          Rx d 3 001 002 003  // DLC = 5\n"},
  });
}

TEST(AscCanLine, FdFramesAreCanFdLines) {
  Check({
      {"plain", CanItem().Id(0x123).Fd().Data({1}).Entry(),  //
       "1.500000 CANFD 1 Rx 123   0 0 1  1 01 0 0 1000 0 0 0 0 0\n",
       "1.500000 CANFD 1 Rx 291   0 0 1  1 001 0 0 1000 0 0 0 0 0\n"},
      {"no data", CanItem().Id(0x123).Fd().Entry(),  //
       "1.500000 CANFD 1 Rx 123   0 0 0  0 0 0 1000 0 0 0 0 0\n",
       "1.500000 CANFD 1 Rx 291   0 0 0  0 0 0 1000 0 0 0 0 0\n"},
      {"both switches",
       CanItem().Channel(12).Id(0x18FE0102).Extended().Fd().Brs().Esi().Tx().Data(test::Counting(12)).Entry(),
       "1.500000 CANFD 12 Tx 18fe0102x   1 1 9 12 01 02 03 04 05 06 07 08 09 0a 0b 0c 0 0 7000 0 0 0 0 0\n",
       "1.500000 CANFD 12 Tx 419299586x   1 1 9 12 001 002 003 004 005 006 007 008 009 010 011 012 0 0 7000 0 0 0 0 "
       "0\n"},
      {"16 bytes", CanItem().Id(1).Fd().Brs().Data(Bytes(16, 0)).Entry(),
       "1.500000 CANFD 1 Rx 1   1 0 a 16 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 0 0 3000 0 0 0 0 0\n",
       "1.500000 CANFD 1 Rx 1   1 0 10 16 000 000 000 000 000 000 000 000 000 000 000 000 000 000 000 000 0 0 3000 0 0 "
       "0 0 0\n"},
  });
}

TEST(AscCanLine, ErrorFramesHaveTheirCaptureCode) {
  constexpr const char* kCaptureOfCode[] = {"11100000", "10100000", "01100000", "11100000", "00100000",
                                            "00100000", "11100000", "00100000", "11100000"};
  for (unsigned char code = 0; code < std::size(kCaptureOfCode); ++code) {
    SCOPED_TRACE(int{code});
    EXPECT_EQ(LineOf(CanItem().ErrorFrame(code).Entry()),
              std::string("1.500000 1 ErrorFrame ECC: ") + kCaptureOfCode[code] + "\n");
  }
  EXPECT_EQ(LineOf(CanItem().Channel(12).Tx().ErrorFrame(4).Entry()), "1.500000 12 ErrorFrame ECC: 00000000\n");
}

TEST(AscCanLine, EventsAreNamed) {
  Check({
      {"rising", CanItem().RisingEdge().Entry(),  //
       "1.500000 log trigger event (rising edge on trigger input)\n",
       "1.500000 log trigger event (rising edge on trigger input)\n"},
      {"falling", CanItem().FallingEdge().Entry(),  //
       "1.500000 log trigger event (falling edge on trigger input)\n",
       "1.500000 log trigger event (falling edge on trigger input)\n"},
      {"user", CanItem().UserEvent({5, 1, 200}).Entry(),  //
       "1.500000 log trigger event (user event) 05 01 c8\n", "1.500000 log trigger event (user event) 005 001 200\n"},
  });
}

constexpr const char* kFrameEnd = " sim = 0 EOF = 0.0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n";

TEST(AscLinLine, FramesHaveTheColumnsOfTheExport) {
  const std::string start = "header time = 0, full time = 0 SOF = 2.500000 BR = 19200 break = 0 0 EOH = 0.0 EOB =";
  EXPECT_EQ(LineOf(LinItem().Channel(2).Id(0xD0).Data({1, 0xC8}, 0x3C).Entry()),
            "1.500000 L2 10 Rx 2 01 c8 checksum = 3c " + start + " 0.0 0.0" + kFrameEnd);
  EXPECT_EQ(LineOf(LinItem().Channel(2).Id(0xD0).Data({1, 0xC8}, 0x3C).Entry(), {.Decimal = true}),
            "1.500000 L2 16 Rx 2 001 200 checksum = 060 " + start + " 0.0 0.0" + kFrameEnd);
  EXPECT_EQ(LineOf(LinItem().Channel(1).Id(0x11).Tx().Data({}, 5).Entry()),
            "1.500000 Li 11 Tx 0 checksum = 05 " + start + kFrameEnd);
  EXPECT_EQ(LineOf(LinItem().Channel(12).Id(0x11).DataLength(0).Entry()),
            "1.500000 L12 11 Rx 0 checksum = 00 " + start + kFrameEnd);
  EXPECT_EQ(LineOf(LinItem().Id(0x11).ChecksumError().Data({1}, 5).Entry()),
            "1.500000 Li 11 CSErr   Rx 1 01 checksum = 05 " + start + " 0.0" + kFrameEnd);
}

TEST(AscLinLine, BaudRateIsDecimalInFiveColumnsAndZeroWithoutABitTime) {
  EXPECT_NE(LineOf(LinItem().BitTime(0).Entry()).find("BR = 0     break"), std::string::npos);
  EXPECT_NE(LineOf(LinItem().BitTime(8 * 104166).Entry()).find("BR = 9600  break"), std::string::npos);
  EXPECT_NE(LineOf(LinItem().BitTime(8 * 1000).Entry()).find("BR = 1000000 break"), std::string::npos);
}

TEST(AscLinLine, ErrorsAndEventsHaveTheColumnsOfTheExport) {
  EXPECT_EQ(LineOf(LinItem().Id(0x10).TransmitError().Entry()),
            "1.500000 Li 10 TransmErr  header time = 0, full time = 0 SOF = 2.500000 BR = 19200 break = 0 0 EOH = 0.0 "
            "HBR = 0 HSO = 0 CSM = unknown\n");
  EXPECT_EQ(LineOf(LinItem().ParityError().Entry()),
            "1.500000 Li RcvError:  invalid identifier parity   StateReason =  0  ShortError = 0  DlcTimeout = 0  "
            "HasDataBytes = 0  SOF = 2.500000 BR = 19200 break = 0 0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n");
  EXPECT_EQ(LineOf(LinItem().SyncError().Entry()),
            "1.500000 Li RcvError:  inconsistent sync field   StateReason =  0  ShortError = 0  DlcTimeout = 0  "
            "HasDataBytes = 0  SOF = 2.500000 BR = 19200 break = 0 0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n");
  EXPECT_EQ(LineOf(LinItem().Event().Id(0).Entry()), "1.500000 Li 0 EvTrigFrmInfo   rising edge at trigger input\n");
  EXPECT_EQ(LineOf(LinItem().Event().Id(1).Entry()), "1.500000 Li 1 EvTrigFrmInfo   falling edge at trigger input\n");
  EXPECT_EQ(LineOf(LinItem().WakeUp().Entry()),
            "1.500000 Li WakeupFrame   Rx SOF = 2.500000 BR = 19200 0 LengthCode = 0\n");
}

TEST(AscFlexRayLine, FramesHaveTheColumnsOfTheExport) {
  Check({
      {"received", FlexRayItem().Slot(5).Cycle(3).HeaderCrc(0x2A5).Data({1, 2, 3, 200}).Entry(),
       "1.500000 Fr RMSG  1 0 1 1 5 3 Rx 0 80002 5 28 2a5 FlexRay_Frame_[x|x|x] 4 4 01 02 03 c8\n",
       "1.500000 Fr RMSG  1 0 1 1 5 3 Rx 0 524290 5 40 677 FlexRay_Frame_[x|x|x] 4 4 001 002 003 200\n"},
      {"null frame, B",
       FlexRayItem()
           .Channel(12)
           .Tx()
           .Code(1)
           .FrameFlags(QOR_TRACE_FLEXRAY_NULL)
           .Slot(60)
           .Cycle(63)
           .PayloadWords(8)
           .Entry(),
       "1.500000 Fr RMSG  1 0 12 2 3c 3f Tx 0 80001 5 28 0 FlexRay_Frame_[x|x|x] 10 0\n",
       "1.500000 Fr RMSG  1 0 12 2 60 63 Tx 0 524289 5 40 0 FlexRay_Frame_[x|x|x] 16 0\n"},
      {"all flags, both channels",
       FlexRayItem()
           .Code(2)
           .FrameFlags(QOR_TRACE_FLEXRAY_INDICATOR | QOR_TRACE_FLEXRAY_SYNC | QOR_TRACE_FLEXRAY_STARTUP)
           .Entry(),
       "1.500000 Fr RMSG  1 0 1 3 0 0 Rx 0 8001e 5 28 0 FlexRay_Frame_[x|x|x] 0 0\n",
       "1.500000 Fr RMSG  1 0 1 3 0 0 Rx 0 524318 5 40 0 FlexRay_Frame_[x|x|x] 0 0\n"},
  });
}

TEST(AscFlexRayLine, EverythingElseEndsInOneLineFeed) {
  Check({
      {"cycle start", FlexRayItem().Kind(3).Code(20).Entry(),
       "1.500000 Fr SCE  1 0 1 0 14 Rx 5 0 0 0 0 0 NM_Vector: 0\n",
       "1.500000 Fr SCE  1 0 1 0 20 Rx 5 0 0 0 0 0 NM_Vector: 0\n"},
      {"state 6", FlexRayItem().Kind(4).Code(6).Entry(),  //
       "1.500000 Fr SE  1 0 1 0 0 5 2 20 0 0 0 0\n",      //
       "1.500000 Fr SE  1 0 1 0 0 5 2 32 0 0 0 0\n"},
      {"unknown state", FlexRayItem().Kind(4).Code(200).Entry(),  //
       "1.500000 Fr SE  1 0 1 0 0 5 2 0 0 0 0 0\n",               //
       "1.500000 Fr SE  1 0 1 0 0 5 2 0 0 0 0 0\n"},
      {"status", FlexRayItem().Kind(5).Entry(),  //
       "1.500000 Fr SCE  1 0 1 0 \n",            //
       "1.500000 Fr SCE  1 0 1 0 \n"},
      {"symbol", FlexRayItem().Kind(6).Code(1).Entry(),  //
       "1.500000 Fr SCE  1 0 1 2 \n",                    //
       "1.500000 Fr SCE  1 0 1 2 \n"},
      {"syntax error in the network idle time", FlexRayItem().Kind(7).EventCode(2).Entry(),
       "1.500000 Fr EE  1 0 1 3 5 4 5 0 0\n", "1.500000 Fr EE  1 0 1 3 5 4 5 0 0\n"},
      {"syntax error", FlexRayItem().Kind(8).EventCode(0).Entry(),  //
       "1.500000 Fr EE  1 0 1 1 \n",                                //
       "1.500000 Fr EE  1 0 1 1 \n"},
      {"boundary violation", FlexRayItem().Kind(9).EventCode(2).Entry(),  //
       "1.500000 Fr EE  1 0 1 3 5 4 a 0 0\n",                             //
       "1.500000 Fr EE  1 0 1 3 5 4 10 0 0\n"},
      {"content error", FlexRayItem().Kind(10).EventCode(9).Entry(),  //
       "1.500000 Fr EE  1 0 1 0 \n",                                  //
       "1.500000 Fr EE  1 0 1 0 \n"},
  });
}

TEST(AscEthernetLine, FramesHaveTheColumnsOfTheExport) {
  Check({
      {"received", EthernetItem().Channel(12).Frame({0, 1, 0x0A, 0xFF}).Entry(), "1.500000 ETH 12 Rx 4 :00010aff\n",
       "1.500000 ETH 12 Rx 4  :00010aff\n"},
      {"sent", EthernetItem().Tx().Frame(Bytes(60, 0xA5)).Entry(),  //
       "1.500000 ETH 1 Tx 3c:a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5"
       "a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5\n",
       "1.500000 ETH 1 Tx 60 :a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5"
       "a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5\n"},
      {"CRC error", EthernetItem().CrcError().Frame({1}).Entry(),
       "1.500000 ETH 1 Rx 1 :01\n// 1.500000 Ethernet 1: the frame above has a CRC error\n",
       "1.500000 ETH 1 Rx 1  :01\n// 1.500000 Ethernet 1: the frame above has a CRC error\n"},
  });
}

TEST(AscEthernetLine, LongestFrameFitsInItsRoom) {
  const std::string line = LineOf(EthernetItem().Frame(Bytes(65519, 1)).Entry());
  EXPECT_EQ(line.size(), std::string("1.500000 ETH 1 Rx ffef:\n").size() + 2 * 65519);
}

TEST(AscLines, LossesAreCommentsWhereTheyWere) {
  EXPECT_EQ(LineOf(CanItem().Channel(3).Id(1).Overrun().Entry()),
            "1.500000 3  1          Rx d 0\n// 1.500000 CAN 3: overrun, data were lost here\n");
  const std::string lin = LineOf(LinItem().Flags(QOR_TRACE_LIN_OVERRUN).Entry());
  EXPECT_TRUE(lin.ends_with("\n// 1.500000 LIN 1: overrun, data were lost here\n")) << lin;
  EXPECT_EQ(LineOf(FlexRayItem().Kind(0).Entry()),
            "1.500000 Fr EE  1 0 1 0 5 6 0 0 0\n// 1.500000 FlexRay 1: overrun, data were lost here\n");
  EXPECT_EQ(LineOf(EthernetItem().Kind(0).Entry()), "// 1.500000 Ethernet 1: overrun, data were lost here\n");
}

/// "CAN 1: malformed record of 44 bytes": a reader would take whatever stood in the place of a missing byte for data.
TEST(AscLines, WhatCannotBeALineIsAComment) {
  struct {
    const char* Name;
    test::Record Record;
    const char* Text;
  } const cases[] = {
      {"CAN without its fields", test::Record(*CanItem().Entry()).CutTo(43), "CAN 1"},
      {"CAN frame without all its data", test::Record(*CanItem().Data({1, 2, 3}).Entry()).CutTo(46), "CAN 1"},
      {"FD frame without all its data", test::Record(*CanItem().Fd().Data({1, 2}).Entry()).CutTo(45), "CAN 1"},
      {"classic frame of 9 bytes", test::Record(*CanItem().Data(Bytes(9)).Entry()), "CAN 1"},
      {"length code above 15", test::Record(*CanItem().Dlc(16).Entry()), "CAN 1"},
      {"FD frame of 65 bytes", test::Record(*CanItem().Fd().Data(Bytes(65)).Entry()), "CAN 1"},
      {"LIN record to be skipped", test::Record(*LinItem().Entry()).Put<unsigned char>(28, 1), "LIN 1"},
      {"LIN frame of 9 bytes", test::Record(*LinItem().DataLength(10).Entry()), "LIN 1"},
      {"LIN frame without its checksum", test::Record(*LinItem().Data({1}, 2).Entry()).CutTo(33), "LIN 1"},
      {"FlexRay kind 11", test::Record(*FlexRayItem().Kind(11).Entry()), "FlexRay 1"},
      {"FlexRay frame without its payload", test::Record(*FlexRayItem().PayloadWords(1).Entry()), "FlexRay 1"},
      {"Ethernet frame that is cut", test::Record(*EthernetItem().Frame({1}).FrameLength(2).Entry()), "Ethernet 1"},
      {"bus 4", test::Record(*CanItem().Entry()).Put<unsigned char>(24, 4), "unknown bus 1"},
      {"header alone", test::Record(*CanItem().Entry()).CutTo(28), "CAN 1"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.Name);
    const RecordView record(one.Record.Get());
    EXPECT_EQ(LineOf(record), std::string("// 1.500000 ") + one.Text + ": malformed record of " +
                                  std::to_string(one.Record.Length()) + " bytes\n");
    EXPECT_EQ(ComposeAscLine({}, record, kTime, std::string(AscRoom(record), ' ').data()).Omission,
              AscOmission::Malformed);
  }
}

TEST(AscLines, CustomEthernetRecordsHaveNoLine) {
  const auto entry = EthernetItem().Kind(2).Frame({1}).Entry();
  EXPECT_EQ(LineOf(entry), "");
  EXPECT_EQ(ComposeAscLine({}, *entry->GetEntry(), kTime, std::string(kMostAscRoom, ' ').data()).Omission,
            AscOmission::Ethernet);
}

TEST(AscLines, NumbersLookTheSameWhateverCameBefore) {
  const auto flexRay = FlexRayItem().Slot(60).Entry();
  const auto lin = LinItem().Id(0x1F).Entry();
  const auto can = CanItem().Id(0x1F).Entry();
  const std::string first = LineOf(flexRay) + LineOf(lin) + LineOf(can);
  EXPECT_EQ(LineOf(flexRay) + LineOf(lin) + LineOf(can), first);
}

TEST(AscLines, NineDecimalsHoldForAllTimes) {
  EXPECT_EQ(LineOf(*CanItem().Id(1).Entry()->GetEntry(), {.Decimals = 9}, {1'500'000'007, 0}),
            "1.500000007 1  1          Rx d 0\n");
  const std::string lin = LineOf(*LinItem().Entry()->GetEntry(), {.Decimals = 9}, {7, 1'500'000'008});
  EXPECT_TRUE(lin.starts_with("0.000000007 Li ")) << lin;
  EXPECT_NE(lin.find("SOF = 1.500000008 "), std::string::npos) << lin;
}

TEST(AscText, NumbersOfAllLengthsAreRight) {
  for (unsigned long value = 1, base10 = 0; base10 < 20; ++base10, value *= 10) {
    for (const unsigned long number : {value - 1, value, value + 1}) {
      char text[32] = {};
      *asc::Decimal(text, number) = '\0';
      EXPECT_EQ(std::string(text), std::to_string(number));
    }
  }
  for (unsigned int bits = 0; bits < 32; ++bits) {
    for (const unsigned int number : {(1u << bits) - 1, 1u << bits, 0xDEADBEEFu >> bits}) {
      char text[32] = {};
      char expected[32] = {};
      *asc::Hex(text, number) = '\0';
      std::snprintf(expected, sizeof expected, "%x", number);
      EXPECT_STREQ(text, expected);
    }
  }
}

TEST(AscText, SecondsHaveAllTheirDecimals) {
  const auto seconds = [](unsigned long ticks, int decimals) {
    char text[48];
    return std::string(text, asc::Seconds(text, ticks, decimals));
  };
  EXPECT_EQ(seconds(0, 6), "0.000000");
  EXPECT_EQ(seconds(1, 6), "0.000001");
  EXPECT_EQ(seconds(1'000'000, 6), "1.000000");
  EXPECT_EQ(seconds(12'345'678'901'234, 6), "12345678.901234");
  EXPECT_EQ(seconds(0, 9), "0.000000000");
  EXPECT_EQ(seconds(999'999'999, 9), "0.999999999");
  EXPECT_EQ(seconds(~0ul, 9), "18446744073.709551615");
}

}  // namespace
}  // namespace client
