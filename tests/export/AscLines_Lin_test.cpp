// LIN lines, byte for byte.
#include "export/AscTest.h"

namespace {

using test::Counting;
using test::LinItem;
using test::Record;

// 52000 ns a bit: 19230.77 bit/s.
constexpr unsigned int kBitTime = 52000 * 8;

class AscLinLines : public test::AscTest {
 protected:
  static LinItem Frame() {
    return LinItem().At(1'234'567'000).Channel(2).Id(0x10).Data({1, 2}, 0x3C).BitTime(kBitTime);
  }
};

TEST_F(AscLinLines, ReceivedFrame) {
  EXPECT_EQ(Lines({Frame().Entry()}),
            "1.234567000 L2 10 Rx 2 01 02 checksum = 3c header time = 0, full time = 0 SOF = 1.234567 BR = 19230 "
            "break = 0 0 EOH = 0.0 EOB = 0.0 0.0 sim = 0 EOF = 0.0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n");
}

TEST_F(AscLinLines, TransmittedFrameOfEightBytes) {
  EXPECT_EQ(Lines({Frame().Tx().Data(Counting(8, 0xF8), 0xFF).Entry()}),
            "1.234567000 L2 10 Tx 8 f8 f9 fa fb fc fd fe ff checksum = ff header time = 0, full time = 0 "
            "SOF = 1.234567 BR = 19230 break = 0 0 EOH = 0.0 EOB = 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 sim = 0 EOF = 0.0 "
            "RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n");
}

TEST_F(AscLinLines, FrameWithoutDataHasItsChecksumOnly) {
  EXPECT_EQ(Lines({Frame().Data({}, 0xA5).Entry()}),
            "1.234567000 L2 10 Rx 0 checksum = a5 header time = 0, full time = 0 SOF = 1.234567 BR = 19230 "
            "break = 0 0 EOH = 0.0 EOB = sim = 0 EOF = 0.0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n");
}

TEST_F(AscLinLines, DataLengthZeroIsNoDataAndAZeroChecksum) {
  EXPECT_EQ(Lines({Frame().Data({}, 0xA5).DataLength(0).Entry()}),
            "1.234567000 L2 10 Rx 0 checksum = 00 header time = 0, full time = 0 SOF = 1.234567 BR = 19230 "
            "break = 0 0 EOH = 0.0 EOB = sim = 0 EOF = 0.0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n");
}

TEST_F(AscLinLines, ChannelOneHasNoNumber) {
  const auto start = [&](unsigned int flags, unsigned int channel) {
    return Lines(flags, {Frame().Channel(channel).Id(0x10).Entry()}).substr(0, 24);
  };
  EXPECT_EQ(start(0, 1), "1.234567000 Li 10 Rx 2 0");
  EXPECT_EQ(start(0, 3), "1.234567000 L3 10 Rx 2 0");
  EXPECT_EQ(start(0, 12), "1.234567000 Lc 10 Rx 2 0");
  EXPECT_EQ(start(QOR_TRACE_ASC_DECIMAL, 12), "1.234567000 L12 16 Rx 2 ");
}

TEST_F(AscLinLines, DecimalBaseWritesDataInThreeColumns) {
  EXPECT_EQ(Lines(QOR_TRACE_ASC_DECIMAL, {Frame().Id(0x3F).Data({7, 42, 200}, 99).Entry()}),
            "1.234567000 L2 63 Rx 3 007 042 200 checksum = 099 header time = 0, full time = 0 SOF = 1.234567 "
            "BR = 19230 break = 0 0 EOH = 0.0 EOB = 0.0 0.0 0.0 sim = 0 EOF = 0.0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 "
            "CSM = unknown\n");
}

TEST_F(AscLinLines, CanLineLeavesHexadecimalUpToTheBaudRate) {
  const auto can = test::CanItem().Id(1).Entry();
  const auto lin = Frame().Channel(10).Id(0x3F).Data({7, 200}, 99).Entry();
  const std::string rest =
      "header time = 0, full time = 0 SOF = 1.234567 BR = 19230 break = 0 0 EOH = 0.0 EOB = 0.0 0.0 sim = 0 EOF = 0.0 "
      "RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n";
  EXPECT_EQ(Lines(QOR_TRACE_ASC_DECIMAL, {can, lin, lin}),
            "0.000000000 CANFD 1 Rx 1   0 0 0  0 0 0 0 0 0 0 0 0\n"
            "1.234567000 La 3f Rx 2 007 0c8 checksum = 063 " +
                rest + "1.234567 L10 63 Rx 2 007 200 checksum = 099 " + rest);
}

TEST_F(AscLinLines, IdentifierLosesItsParityBits) {
  EXPECT_EQ(Lines({Frame().Id(0xD0).Entry()}).substr(0, 18), "1.234567000 L2 10 ");
}

TEST_F(AscLinLines, TransmitError) {
  EXPECT_EQ(Lines({Frame().TransmitError().Entry()}),
            "1.234567000 L2 10 TransmErr  header time = 0, full time = 0 SOF = 1.234567 BR = 19230 break = 0 0 "
            "EOH = 0.0 HBR = 0 HSO = 0 CSM = unknown\n");
}

TEST_F(AscLinLines, TransmitErrorFlagWithoutTransmissionIsAFrame) {
  EXPECT_EQ(Lines({Frame().Flags(QOR_TRACE_LIN_TRANSMIT_ERROR).Entry()}), Lines({Frame().Entry()}));
}

TEST_F(AscLinLines, ReceiveErrors) {
  const std::string rest =
      " StateReason =  0  ShortError = 0  DlcTimeout = 0  HasDataBytes = 0  SOF = 1.234567 BR = 19230 break = 0 0 "
      "RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n";
  EXPECT_EQ(Lines({Frame().ParityError().Entry()}), "1.234567000 L2 RcvError:  invalid identifier parity  " + rest);
  EXPECT_EQ(Lines({Frame().SyncError().Entry()}), "1.234567000 L2 RcvError:  inconsistent sync field  " + rest);
  EXPECT_EQ(Lines({Frame().SyncError().ParityError().Entry()}),
            "1.234567000 L2 RcvError:  invalid identifier parity  " + rest);
}

TEST_F(AscLinLines, ChecksumError) {
  EXPECT_EQ(Lines({Frame().ChecksumError().Entry()}),
            "1.234567000 L2 10 CSErr   Rx 2 01 02 checksum = 3c header time = 0, full time = 0 SOF = 1.234567 "
            "BR = 19230 break = 0 0 EOH = 0.0 EOB = 0.0 0.0 sim = 0 EOF = 0.0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 "
            "CSM = unknown\n");
}

TEST_F(AscLinLines, EventInformationHasNoFields) {
  EXPECT_EQ(Lines({Frame().Event().Entry(), Frame().Event().Id(0).Entry(), Frame().Event().Id(0x40).Entry()}),
            "1.234567000 L2 10 EvTrigFrmInfo   falling edge at trigger input\n"
            "1.234567000 L2 0 EvTrigFrmInfo   rising edge at trigger input\n"
            "1.234567000 L2 0 EvTrigFrmInfo   falling edge at trigger input\n");
}

TEST_F(AscLinLines, WakeUp) {
  EXPECT_EQ(Lines({Frame().WakeUp().Entry(), Frame().WakeUp().Tx().Entry()}),
            "1.234567000 L2 WakeupFrame   RxSOF = 1.234567 BR = 19230  0 LengthCode = 0\n"
            "1.234567 L2 WakeupFrame   TxSOF = 1.234567 BR = 19230  0 LengthCode = 0\n");
}

TEST_F(AscLinLines, FirstMatchingErrorGivesTheKind) {
  const auto kind = [&](unsigned int flags) { return Lines({Frame().Flags(flags).Entry()}).substr(14, 13); };
  EXPECT_EQ(kind(0x7F), " 10 TransmErr");
  EXPECT_EQ(kind(0x37), " RcvError:  i");
  EXPECT_EQ(kind(0x32), " 10 CSErr   R");
  EXPECT_EQ(kind(0x30), " 10 EvTrigFrm");
  EXPECT_EQ(kind(0xA0), " WakeupFrame ");
  EXPECT_EQ(kind(0x80), " 10 Rx 2 01 0");
}

TEST_F(AscLinLines, TimesHaveSixDecimalsAfterTheFirstStartOfFrame) {
  const auto can = test::CanItem().At(1'234'567'891).Id(1).Entry();
  const auto event = Frame().Event().Entry();
  const auto lines = Lines({event, can, Frame().WakeUp().Entry(), can, event});
  EXPECT_EQ(lines,
            "1.234567000 L2 10 EvTrigFrmInfo   falling edge at trigger input\n"
            "1.234567891 CANFD 1 Rx 1   0 0 0  0 0 0 0 0 0 0 0 0\n"
            "1.234567000 L2 WakeupFrame   RxSOF = 1.234567 BR = 19230  0 LengthCode = 0\n"
            "1.234568 CANFD 1 Rx 1   0 0 0  0 0 0 0 0 0 0 0 0\n"
            "1.234567 L2 10 EvTrigFrmInfo   falling edge at trigger input\n");
}

TEST_F(AscLinLines, StartOfFrameCountsFromTheStartTimeWhateverTheFlags) {
  const auto entry = Frame().Relative(5'000'000'000).WakeUp().Entry();
  const auto with = [&](unsigned int flags, unsigned long start) { return Lines(flags, {entry}, start); };
  const std::string rest = " BR = 19230  0 LengthCode = 0\n";
  EXPECT_EQ(with(0, 1'000'000'000), "1.234567000 L2 WakeupFrame   RxSOF = 0.234567" + rest);
  EXPECT_EQ(with(QOR_TRACE_ASC_START_OFFSET, 1'000'000'000), "0.234567000 L2 WakeupFrame   RxSOF = 0.234567" + rest);
  EXPECT_EQ(with(QOR_TRACE_ASC_RELATIVE, 1'000'000'000), "5.000000000 L2 WakeupFrame   RxSOF = 0.234567" + rest);
  EXPECT_EQ(with(0, 2'000'000'000), "1.234567000 L2 WakeupFrame   RxSOF = -0.765433" + rest);
}

TEST_F(AscLinLines, BaudRateIsCutToAnIntegerInFiveColumns) {
  const auto rate = [&](unsigned int bitTime) {
    const std::string line = Lines({Frame().WakeUp().BitTime(bitTime).Entry()});
    const size_t begin = line.find("BR = ");
    return line.substr(begin, line.find(" 0 Length") - begin);
  };
  EXPECT_EQ(rate(104167 * 8), "BR = 9599  ");
  EXPECT_EQ(rate(100 * 8 + 7), "BR = 10000000 ");
  EXPECT_EQ(rate(416667), "BR = 19200 ");
  EXPECT_EQ(rate(8), "BR = 999999999 ");
  EXPECT_EQ(rate(7), "BR = 0     ");
}

TEST_F(AscLinLines, EntryWithAReservedValueHasNoLine) {
  const auto entry = Frame().Entry();
  EXPECT_EQ(LinesOf(Record(*entry).Put<unsigned short>(28, 1)), "");
  EXPECT_EQ(LinesOf(Record(*entry).Put<unsigned short>(28, 0x100)), "");
}

TEST_F(AscLinLines, OddDataLengthWritesNoMoreThanTheDataField) {
  const auto entry = Frame().Data(Counting(8), 0x99).DataLength(12).Entry();
  EXPECT_EQ(Lines({entry}),
            "1.234567000 L2 10 Rx b 01 02 03 04 05 06 07 08 checksum = 00 header time = 0, full time = 0 "
            "SOF = 1.234567 BR = 19230 break = 0 0 EOH = 0.0 "
            "EOB = 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 sim = 0 EOF = 0.0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 "
            "CSM = unknown\n");
}

TEST_F(AscLinLines, FieldsThatTheRecordDoesNotHoldAreZero) {
  const Record record(*Frame().Data({1, 2, 3}, 0x3C).Entry());
  const std::string tail = " sim = 0 EOF = 0.0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n";
  EXPECT_EQ(LinesOf(Record(record).CutTo(37)),
            "1.234567000 L2 10 Rx 3 01 02 checksum = 00 header time = 0, full time = 0 SOF = 1.234567 BR = 0     "
            "break = 0 0 EOH = 0.0 EOB = 0.0 0.0 0.0" +
                tail);
  EXPECT_EQ(LinesOf(Record(record).CutTo(28)),
            "1.234567000 L2 0 Rx 0 checksum = 00 header time = 0, full time = 0 SOF = 1.234567 BR = 0     "
            "break = 0 0 EOH = 0.0 EOB =" +
                tail);
}

}  // namespace
