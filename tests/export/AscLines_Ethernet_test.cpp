// Ethernet lines, byte for byte.
#include "export/AscTest.h"

namespace {

using test::Bytes;
using test::Counting;
using test::EthernetItem;
using test::Record;

std::string Repeated(const std::string& text, size_t times) {
  std::string repeated;
  for (size_t i = 0; i < times; ++i) repeated += text;
  return repeated;
}

class AscEthernetLines : public test::AscTest {};

TEST_F(AscEthernetLines, ReceivedFrame) {
  EXPECT_EQ(Lines({EthernetItem().At(1).Frame(Bytes(60, 0xA0)).Entry()}),
            "0.000000001 ETH 1 Rx 3c:" + Repeated("a0", 60) + "\n");
}

TEST_F(AscEthernetLines, DecimalLengthHasThreeColumnsAndItsBytesAreHexadecimal) {
  EXPECT_EQ(Lines(QOR_TRACE_ASC_DECIMAL, {EthernetItem().Frame(Bytes(60, 0xA0)).Entry()}),
            "0.000000000 ETH 1 Rx 60 :" + Repeated("a0", 60) + "\n");
}

TEST_F(AscEthernetLines, TransmittedFrameAndLengthsOfAllWidths) {
  EXPECT_EQ(Lines({EthernetItem().Channel(17).Tx().Frame({1, 0x2f}).Entry(), EthernetItem().Tx().Frame({}).Entry(),
                   EthernetItem().CrcError().Frame(Bytes(256, 7)).Entry()}),
            "0.000000000 ETH 11 Tx 2 :012f\n0.000000000 ETH 1 Tx 0 :\n0.000000000 ETH 1 Rx 100:" + Repeated("07", 256) +
                "\n");
  EXPECT_EQ(Lines(QOR_TRACE_ASC_DECIMAL, {EthernetItem().Channel(17).Tx().Frame({1, 0x2f}).Entry(),
                                          EthernetItem().Frame(Bytes(1514, 7)).Entry()}),
            "0.000000000 ETH 17 Tx 2  :012f\n0.000000000 ETH 1 Rx 1514:" + Repeated("07", 1514) + "\n");
}

TEST_F(AscEthernetLines, CanLineLeavesHexadecimalForOneLine) {
  const auto can = test::CanItem().Id(1).Entry();
  const auto frame = EthernetItem().Channel(17).Frame(Bytes(60, 0xA0)).Entry();
  EXPECT_EQ(Lines(QOR_TRACE_ASC_DECIMAL, {can, frame, frame}),
            "0.000000000 CANFD 1 Rx 1   0 0 0  0 0 0 0 0 0 0 0 0\n0.000000000 ETH 11 Rx 3c :" + Repeated("a0", 60) +
                "\n0.000000000 ETH 17 Rx 60 :" + Repeated("a0", 60) + "\n");
}

TEST_F(AscEthernetLines, OnlyFramesAreWritten) {
  const auto marked = EthernetItem().Frame(Counting(60)).Entry();
  marked->SetBufferOverrunFlag();
  EXPECT_EQ(Lines({EthernetItem().Kind(0).Frame({1}).Entry(), EthernetItem().Kind(2).Frame({1}).Entry(), marked}), "");
}

TEST_F(AscEthernetLines, LongestFrameIsWrittenWhole) {
  const Bytes frame(65519, 0xEE);  // the longest whose item size fits into its field
  EXPECT_EQ(Lines({EthernetItem().Frame(frame).Entry(), EthernetItem().Frame(frame).Entry()}),
            Repeated("0.000000000 ETH 1 Rx ffef:" + Repeated("ee", frame.size()) + "\n", 2));
}

TEST_F(AscEthernetLines, OnlyBytesThatTheRecordHoldsAreWritten) {
  EXPECT_EQ(Lines({EthernetItem().Frame({1, 2, 3}).FrameLength(0xFFFF).Entry()}), "0.000000000 ETH 1 Rx ffff:010203\n");
}

TEST_F(AscEthernetLines, FrameShorterThanItsItemIsWrittenAsAnnounced) {
  EXPECT_EQ(Lines({EthernetItem().Frame(Counting(9)).FrameLength(2).Entry()}), "0.000000000 ETH 1 Rx 2 :0102\n");
}

TEST_F(AscEthernetLines, FieldsThatTheRecordDoesNotHoldAreZero) {
  const Record record(*EthernetItem().Tx().Frame({1, 2, 3}).Entry());
  EXPECT_EQ(LinesOf(Record(record).CutTo(44)), "0.000000000 ETH 1 Tx 3 :\n");
  EXPECT_EQ(LinesOf(Record(record).CutTo(40)), "0.000000000 ETH 1 Rx 0 :\n");
  EXPECT_EQ(LinesOf(Record(record).CutTo(30)), "");
}

}  // namespace
