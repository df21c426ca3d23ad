// CAN lines, byte for byte.
#include "export/AscTest.h"

namespace {

using test::Bytes;
using test::CanItem;
using test::Counting;
using test::Record;

class AscCanLines : public test::AscTest {};

TEST_F(AscCanLines, ClassicExtendedFrame) {
  const auto entry = CanItem().At(123'456'789).Id(0x18fe0102).Extended().Data(Counting(8)).Entry();
  EXPECT_EQ(Lines({entry}), "0.123456789 CANFD 1 Rx 18fe0102x   0 0 8  8 01 02 03 04 05 06 07 08 0 0 0 0 0 0 0 0\n");
}

TEST_F(AscCanLines, ClassicFrameWithoutDataHasABlankBeforeItsZeroLength) {
  EXPECT_EQ(Lines({CanItem().Id(0x123).Entry()}), "0.000000000 CANFD 1 Rx 123   0 0 0  0 0 0 0 0 0 0 0 0\n");
}

TEST_F(AscCanLines, FdFrameWithAllMarksAnd64Bytes) {
  const auto entry = CanItem().At(7).Channel(3).Id(0x7ff).Fd().Brs().Esi().Tx().Data(Counting(64, 0xE0)).Entry();
  EXPECT_EQ(Lines({entry}),
            "0.000000007 CANFD 3 Tx 7ff   1 1 f 64"
            " e0 e1 e2 e3 e4 e5 e6 e7 e8 e9 ea eb ec ed ee ef f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 fa fb fc fd fe ff"
            " 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 11 12 13 14 15 16 17 18 19 1a 1b 1c 1d 1e 1f"
            " 0 0 7000 0 0 0 0 0\n");
}

TEST_F(AscCanLines, FlagsWordTellsFdBitRateSwitchAndErrorState) {
  const auto flagged = [](unsigned int flags) { return Lines({CanItem().Id(1).Flags(flags).Entry()}); };
  EXPECT_EQ(flagged(QOR_TRACE_CAN_FD), "0.000000000 CANFD 1 Rx 1   0 0 0  0 0 0 1000 0 0 0 0 0\n");
  EXPECT_EQ(flagged(QOR_TRACE_CAN_BRS), "0.000000000 CANFD 1 Rx 1   1 0 0  0 0 0 2000 0 0 0 0 0\n");
  EXPECT_EQ(flagged(QOR_TRACE_CAN_ESI), "0.000000000 CANFD 1 Rx 1   0 1 0  0 0 0 4000 0 0 0 0 0\n");
  EXPECT_EQ(flagged(QOR_TRACE_CAN_FD | QOR_TRACE_CAN_BRS), "0.000000000 CANFD 1 Rx 1   1 0 0  0 0 0 3000 0 0 0 0 0\n");
  EXPECT_EQ(flagged(QOR_TRACE_CAN_OVERRUN), "0.000000000 CANFD 1 Rx 1   0 0 0  0 0 0 0 0 0 0 0 0\n");
}

TEST_F(AscCanLines, MarkerBitsAreTakenOffTheIdentifierOnlyByTheirFlags) {
  const auto marked = [](unsigned int flags) { return Lines({CanItem().Id(0xC0000001).Flags(flags).Entry()}); };
  EXPECT_EQ(marked(0), "0.000000000 CANFD 1 Rx c0000001   0 0 0  0 0 0 0 0 0 0 0 0\n");
  EXPECT_EQ(marked(QOR_TRACE_CAN_EXTENDED), "0.000000000 CANFD 1 Rx 40000001x   0 0 0  0 0 0 0 0 0 0 0 0\n");
  EXPECT_EQ(marked(QOR_TRACE_CAN_FD), "0.000000000 CANFD 1 Rx 80000001   0 0 0  0 0 0 1000 0 0 0 0 0\n");
  EXPECT_EQ(marked(QOR_TRACE_CAN_EXTENDED | QOR_TRACE_CAN_FD),
            "0.000000000 CANFD 1 Rx 1x   0 0 0  0 0 0 1000 0 0 0 0 0\n");
}

TEST_F(AscCanLines, IdentifiersHaveAsManyDigitsAsTheyNeed) {
  const auto identified = [](unsigned int id) { return Lines({CanItem().Id(id).Entry()}); };
  EXPECT_EQ(identified(0), "0.000000000 CANFD 1 Rx 0   0 0 0  0 0 0 0 0 0 0 0 0\n");
  EXPECT_EQ(identified(0xf), "0.000000000 CANFD 1 Rx f   0 0 0  0 0 0 0 0 0 0 0 0\n");
  EXPECT_EQ(identified(0x10), "0.000000000 CANFD 1 Rx 10   0 0 0  0 0 0 0 0 0 0 0 0\n");
  EXPECT_EQ(identified(0xabcde), "0.000000000 CANFD 1 Rx abcde   0 0 0  0 0 0 0 0 0 0 0 0\n");
}

TEST_F(AscCanLines, ChannelsFromTenOnAreHexadecimal) {
  for (const unsigned int flags : {0u, QOR_TRACE_ASC_DECIMAL}) {
    EXPECT_EQ(
        Lines(flags, {CanItem().Channel(10).Entry(), CanItem().Channel(11).Entry(), CanItem().Channel(16).Entry()}),
        "0.000000000 CANFD a Rx 0   0 0 0  0 0 0 0 0 0 0 0 0\n"
        "0.000000000 CANFD b Rx 0   0 0 0  0 0 0 0 0 0 0 0 0\n"
        "0.000000000 CANFD 10 Rx 0   0 0 0  0 0 0 0 0 0 0 0 0\n");
  }
}

TEST_F(AscCanLines, LengthIsDecimalInTwoColumnsAndTheLengthCodeHexadecimal) {
  EXPECT_EQ(Lines({CanItem().Fd().Data(Bytes(12, 0xAB)).Entry()}),
            "0.000000000 CANFD 1 Rx 0   0 0 9 12 ab ab ab ab ab ab ab ab ab ab ab ab 0 0 1000 0 0 0 0 0\n");
  EXPECT_EQ(Lines({CanItem().Dlc(0xfe).Entry()}), "0.000000000 CANFD 1 Rx 0   0 0 fe  0 0 0 0 0 0 0 0 0\n");
}

TEST_F(AscCanLines, DataLengthBeyondTheBusIsWrittenAsTheRecordHoldsIt) {
  std::string expected = "0.000000000 CANFD 1 Rx 0   0 0 f 255";
  for (int i = 0; i < 255; ++i) expected += " 5a";
  EXPECT_EQ(Lines({CanItem().Data(Bytes(255, 0x5A)).Entry()}), expected + " 0 0 0 0 0 0 0 0\n");
}

TEST_F(AscCanLines, TriggerEventsHaveNoChannel) {
  EXPECT_EQ(
      Lines({CanItem().At(12'000'000'000).RisingEdge().Entry(), CanItem().At(12'000'000'001).FallingEdge().Entry()}),
      "12.000000000 log trigger event (rising edge on trigger input)\n"
      "12.000000001 log trigger event (falling edge on trigger input)\n");
}

TEST_F(AscCanLines, UserEventWritesAllItsBytesWithoutPadding) {
  EXPECT_EQ(Lines({CanItem().UserEvent({5, 1, 2}).Entry(), CanItem().UserEvent({0xff, 0x0a, 0x10, 0}).Entry()}),
            "0.000000000 log trigger event (user event) 5 1 2\n"
            "0.000000000 log trigger event (user event) ff a 10 0\n");
}

TEST_F(AscCanLines, TriggerEventGoesBeforeErrorFrame) {
  EXPECT_EQ(Lines({CanItem().ErrorFrame(1).RisingEdge().Entry()}),
            "0.000000000 log trigger event (rising edge on trigger input)\n");
}

struct EccCase {
  unsigned char Kind;
  const char* Transmitted;
  const char* Received;
};
constexpr EccCase kEcc[] = {
    {1, "10000000", "10100000"},   {2, "01000000", "01100000"}, {3, "11000000", "11100000"},
    {4, "00000000", "00100000"},   {5, "00000000", "00100000"}, {6, "11000000", "11100000"},
    {7, "00000000", "00100000"},   {0, "11000000", "11100000"}, {8, "11000000", "11100000"},
    {255, "11000000", "11100000"},
};

TEST_F(AscCanLines, ErrorKindGivesTheErrorCode) {
  for (const auto& c : kEcc) {
    SCOPED_TRACE(int{c.Kind});
    const auto tx = CanItem().At(1'500'000'000).ErrorFrame(c.Kind).Tx().Entry();
    const auto rx = CanItem().At(1'500'000'000).Channel(0x1a).ErrorFrame(c.Kind).Entry();
    EXPECT_EQ(Lines({tx, rx}), std::string("1.500000000 1 ErrorFrame ECC: ") + c.Transmitted +
                                   "\n1.500000000 1a ErrorFrame ECC: " + c.Received + "\n");
  }
}

TEST_F(AscCanLines, ErrorFrameWithoutDataIsOfKindZero) {
  EXPECT_EQ(Lines({CanItem().Flags(QOR_TRACE_CAN_ERROR).Entry()}), "0.000000000 1 ErrorFrame ECC: 11100000\n");
}

TEST_F(AscCanLines, TriggerEventWithoutDataIsARisingEdge) {
  EXPECT_EQ(Lines({CanItem().Flags(QOR_TRACE_CAN_TRIGGER).Entry()}),
            "0.000000000 log trigger event (rising edge on trigger input)\n");
}

TEST_F(AscCanLines, OnlyDataThatTheRecordHoldsIsWritten) {
  const Record record(*CanItem().Id(0x12345678).Tx().Data(Counting(8)).Entry());
  EXPECT_EQ(LinesOf(Record(record).CutTo(46)), "0.000000000 CANFD 1 Tx 12345678   0 0 8  8 01 02 0 0 0 0 0 0 0 0\n");
  EXPECT_EQ(LinesOf(Record(record).CutTo(44)), "0.000000000 CANFD 1 Tx 12345678   0 0 8  8 0 0 0 0 0 0 0 0\n");
  const Record event(*CanItem().UserEvent({9, 8, 7}).Entry());
  EXPECT_EQ(LinesOf(Record(event).CutTo(46)), "0.000000000 log trigger event (user event) 9 8\n");
}

TEST_F(AscCanLines, FieldsThatTheRecordDoesNotHoldAreZero) {
  const Record record(*CanItem().Id(0x12345678).Tx().Data(Counting(8)).Entry());
  EXPECT_EQ(LinesOf(Record(record).CutTo(43)), "0.000000000 CANFD 1 Tx 12345678   0 0 8  0 0 0 0 0 0 0 0 0\n");
  EXPECT_EQ(LinesOf(Record(record).CutTo(40)), "0.000000000 CANFD 1 Rx 12345678   0 0 0  0 0 0 0 0 0 0 0 0\n");
  EXPECT_EQ(LinesOf(Record(record).CutTo(38)), "0.000000000 CANFD 1 Rx 5678   0 0 0  0 0 0 0 0 0 0 0 0\n");
  EXPECT_EQ(LinesOf(Record(record).CutTo(28)), "0.000000000 CANFD 1 Rx 0   0 0 0  0 0 0 0 0 0 0 0 0\n");
}

}  // namespace
