// FlexRay lines, byte for byte.
#include "export/AscTest.h"

namespace {

using test::Bytes;
using test::FlexRayItem;
using test::Record;

class AscFlexRayLines : public test::AscTest {
 protected:
  static FlexRayItem Frame() {
    return FlexRayItem().At(250'000'000).Slot(5).Cycle(3).HeaderCrc(0x2A5).Data({1, 2, 3, 4});
  }
  static std::string Of(const FlexRayItem& item, unsigned int flags = 0) { return Lines(flags, {item.Entry()}); }
};

TEST_F(AscFlexRayLines, ReceivedFrame) {
  EXPECT_EQ(Of(Frame()),
            "0.250000000 Fr RMSG  1 0 1 1 5 3 Rx 0 80002 5 28 2a5 FlexRay_Frame_[x|x|x] 4 4 01 02 03 04\n");
}

TEST_F(AscFlexRayLines, TransmittedFrameOnBothChannels) {
  std::string expected = "0.250000000 Fr RMSG  1 0 1 3 7ff 3f Tx 0 80002 5 28 2a5 FlexRay_Frame_[x|x|x] fe fe";
  for (int i = 0; i < 254; ++i) expected += " c0";
  EXPECT_EQ(Of(Frame().Tx().Code(2).Slot(0x7FF).Cycle(63).Data(Bytes(254, 0xC0))), expected + "\n");
}

TEST_F(AscFlexRayLines, NullFrameHasNoPayload) {
  EXPECT_EQ(Of(Frame().FrameFlags(QOR_TRACE_FLEXRAY_NULL)),
            "0.250000000 Fr RMSG  1 0 1 1 5 3 Rx 0 80001 5 28 2a5 FlexRay_Frame_[x|x|x] 4 0\n");
}

TEST_F(AscFlexRayLines, FrameWithoutPayloadHasItsLengthTwice) {
  EXPECT_EQ(Of(Frame().Data({})), "0.250000000 Fr RMSG  1 0 1 1 5 3 Rx 0 80002 5 28 2a5 FlexRay_Frame_[x|x|x] 0 0\n");
}

TEST_F(AscFlexRayLines, FrameFlagsGiveTheStateWord) {
  const auto state = [&](unsigned int flags) { return Of(Frame().FrameFlags(flags)).substr(38, 5); };
  EXPECT_EQ(state(0), "80002");
  EXPECT_EQ(state(QOR_TRACE_FLEXRAY_INDICATOR), "80012");
  EXPECT_EQ(state(QOR_TRACE_FLEXRAY_SYNC), "80006");
  EXPECT_EQ(state(QOR_TRACE_FLEXRAY_STARTUP), "8000a");
  EXPECT_EQ(state(QOR_TRACE_FLEXRAY_NULL | QOR_TRACE_FLEXRAY_SYNC | QOR_TRACE_FLEXRAY_STARTUP), "8000d");
  EXPECT_EQ(state(0xE1), "80002");
}

TEST_F(AscFlexRayLines, DecimalBase) {
  EXPECT_EQ(Of(Frame().Channel(12).Data({7, 42, 200, 0}), QOR_TRACE_ASC_DECIMAL),
            "0.250000000 Fr RMSG  1 0 12 1 5 3 Rx 0 524290 5 40 677 FlexRay_Frame_[x|x|x] 4 4 07 42 200 00\n");
}

TEST_F(AscFlexRayLines, ChannelNumberIsDecimalInAHexadecimalLine) {
  EXPECT_EQ(Of(Frame().Channel(12).Data({})),
            "0.250000000 Fr RMSG  1 0 12 1 5 3 Rx 0 80002 5 28 2a5 FlexRay_Frame_[x|x|x] 0 0\n");
}

TEST_F(AscFlexRayLines, SetTheBaseAnewAfterACanLine) {
  const auto can = test::CanItem().Id(1).Entry();
  const auto frame = Frame().Channel(12).Data({}).Entry();
  EXPECT_EQ(Lines(QOR_TRACE_ASC_DECIMAL, {can, frame}),
            "0.000000000 CANFD 1 Rx 1   0 0 0  0 0 0 0 0 0 0 0 0\n"
            "0.250000000 Fr RMSG  1 0 12 1 5 3 Rx 0 524290 5 40 677 FlexRay_Frame_[x|x|x] 0 0\n");
}

TEST_F(AscFlexRayLines, ChannelCodeOfFrames) {
  const auto column = [&](unsigned int kind, unsigned int code) {
    return Of(Frame().Kind(kind).Code(code)).substr(27, 2);
  };
  for (const unsigned int kind : {1u, 2u}) {
    EXPECT_EQ(column(kind, 0), "1 ");
    EXPECT_EQ(column(kind, 1), "2 ");
    EXPECT_EQ(column(kind, 2), "3 ");
    EXPECT_EQ(column(kind, 3), "0 ");
    EXPECT_EQ(column(kind, 255), "0 ");
  }
}

TEST_F(AscFlexRayLines, KindZeroIsAnErrorEvent) {
  EXPECT_EQ(Of(FlexRayItem().Kind(0).Code(1)), "0.000000000 Fr EE  1 0 1 0 5 6 0 0 0\n");
}

TEST_F(AscFlexRayLines, KindThreeWritesItsValue) {
  EXPECT_EQ(Of(FlexRayItem().Kind(3).Code(0x1F)), "0.000000000 Fr SCE  1 0 1 0 1f Rx 5 0 0 0 0 0 NM_Vector: 0\n");
  EXPECT_EQ(Of(FlexRayItem().Kind(3).Code(0x1F), QOR_TRACE_ASC_DECIMAL),
            "0.000000000 Fr SCE  1 0 1 0 31 Rx 5 0 0 0 0 0 NM_Vector: 0\n");
}

TEST_F(AscFlexRayLines, KindFourMapsItsValue) {
  const char* const kHex[] = {"2 6", "2 0", "2 4", "1 2", "1 3", "2 1", "2 20", "2 13", "2 0", "2 0"};
  const char* const kDecimal[] = {"2 6", "2 0", "2 4", "1 2", "1 3", "2 1", "2 32", "2 19", "2 0", "2 0"};
  for (unsigned int value = 0; value < std::size(kHex); ++value) {
    const auto item = FlexRayItem().Kind(4).Code(value);
    EXPECT_EQ(Of(item), std::string("0.000000000 Fr SE  1 0 1 0 0 5 ") + kHex[value] + " 0 0 0 0\n");
    EXPECT_EQ(Of(item, QOR_TRACE_ASC_DECIMAL),
              std::string("0.000000000 Fr SE  1 0 1 0 0 5 ") + kDecimal[value] + " 0 0 0 0\n");
  }
  EXPECT_EQ(Of(FlexRayItem().Kind(4).Code(255)), "0.000000000 Fr SE  1 0 1 0 0 5 2 0 0 0 0 0\n");
}

TEST_F(AscFlexRayLines, KindsFiveAndSixAreSymbols) {
  EXPECT_EQ(Of(FlexRayItem().Kind(5).Code(1)), "0.000000000 Fr SCE  1 0 1 0 \n");
  EXPECT_EQ(Of(FlexRayItem().Kind(6).Code(1)), "0.000000000 Fr SCE  1 0 1 2 \n");
}

TEST_F(AscFlexRayLines, KindsSevenAndNineMapTheirChannel) {
  const auto of = [&](unsigned int kind, unsigned int code) { return Of(FlexRayItem().Kind(kind).EventCode(code)); };
  EXPECT_EQ(of(7, 0), "0.000000000 Fr EE  1 0 1 1 5 4 1 0 0\n");
  EXPECT_EQ(of(7, 1), "0.000000000 Fr EE  1 0 1 2 5 4 4 0 0\n");
  EXPECT_EQ(of(7, 2), "0.000000000 Fr EE  1 0 1 3 5 4 5 0 0\n");
  EXPECT_EQ(of(7, 3), "0.000000000 Fr EE  1 0 1 0 5 4 0 0 0\n");
  EXPECT_EQ(of(9, 0), "0.000000000 Fr EE  1 0 1 1 5 4 2 0 0\n");
  EXPECT_EQ(of(9, 1), "0.000000000 Fr EE  1 0 1 2 5 4 8 0 0\n");
  EXPECT_EQ(of(9, 2), "0.000000000 Fr EE  1 0 1 3 5 4 a 0 0\n");
  EXPECT_EQ(of(9, 255), "0.000000000 Fr EE  1 0 1 0 5 4 0 0 0\n");
  EXPECT_EQ(Of(FlexRayItem().Kind(9).EventCode(2), QOR_TRACE_ASC_DECIMAL), "0.000000000 Fr EE  1 0 1 3 5 4 10 0 0\n");
}

TEST_F(AscFlexRayLines, KindsEightAndTenLeaveTheLineOpen) {
  const auto can = test::CanItem().Id(1).Entry();
  EXPECT_EQ(Lines({FlexRayItem().Kind(8).Entry(), FlexRayItem().Kind(10).EventCode(2).Entry(), can}),
            "0.000000000 Fr EE  1 0 1 1 \r0.000000000 Fr EE  1 0 1 3 \r"
            "0.000000000 CANFD 1 Rx 1   0 0 0  0 0 0 0 0 0 0 0 0\n");
}

TEST_F(AscFlexRayLines, UnknownKindIsACarriageReturnOnly) {
  EXPECT_EQ(Of(FlexRayItem().Kind(11)), "0.000000000 Fr \r");
  EXPECT_EQ(Of(FlexRayItem().Kind(0xFFFF)), "0.000000000 Fr \r");
}

TEST_F(AscFlexRayLines, OnlyPayloadThatTheRecordHoldsIsWritten) {
  EXPECT_EQ(Of(Frame().PayloadWords(127).Data({1, 2, 3}).PayloadWords(127)),
            "0.250000000 Fr RMSG  1 0 1 1 5 3 Rx 0 80002 5 28 2a5 FlexRay_Frame_[x|x|x] fe fe 01 02 03\n");
}

TEST_F(AscFlexRayLines, LongestPayloadInDecimal) {
  std::string expected = "0.250000000 Fr RMSG  1 0 1 1 5 3 Rx 0 524290 5 40 677 FlexRay_Frame_[x|x|x] 510 510";
  for (int i = 0; i < 510; ++i) expected += " 255";
  EXPECT_EQ(Of(Frame().Data(Bytes(510, 0xFF)), QOR_TRACE_ASC_DECIMAL), expected + "\n");
}

TEST_F(AscFlexRayLines, FieldsThatTheRecordDoesNotHoldAreZero) {
  const Record record(*Frame().Entry());
  EXPECT_EQ(LinesOf(Record(record).CutTo(47)),
            "0.250000000 Fr RMSG  1 0 1 1 5 3 Rx 0 80002 5 28 a5 FlexRay_Frame_[x|x|x] 4 4\n");
  EXPECT_EQ(LinesOf(Record(record).CutTo(32)),
            "0.250000000 Fr RMSG  1 0 1 1 0 0 Rx 0 80002 5 28 0 FlexRay_Frame_[x|x|x] 0 0\n");
  EXPECT_EQ(LinesOf(Record(record).CutTo(28)), "0.250000000 Fr EE  1 0 1 0 5 6 0 0 0\n");
}

}  // namespace
