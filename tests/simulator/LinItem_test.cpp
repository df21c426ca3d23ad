#include "LinItem.h"

#include <gtest/gtest.h>

using namespace qor_sim;

namespace {

using Data = std::vector<unsigned char>;

Data Encoded(const LinItem& item) {
  Data bytes(99, 0xEE);
  EncodeLinItem(item, bytes);
  return bytes;
}

}  // namespace

//  0 item size | 2 reserved | 4 time | 12 flags | 13 length | 14 identifier | 15 reserved | 16 bit time | 20 data, checksum
TEST(LinItem, FrameBecomesItemWithChecksumBehindItsData) {
  LinItem item;
  item.Timestamp = 0x0123456789ABCDEF;
  item.Flags = kLinTransmitted;
  item.Identifier = 0xC1;
  item.BitTime = 0x00065B9A;
  SetLinData(item, Data{1, 2, 3, 4}, 52);
  EXPECT_EQ(Encoded(item), (Data{0x19, 0, 0,    0, 0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01,  //
                                 0x40, 5, 0xC1, 0, 0x9A, 0x5B, 0x06, 0x00, 1,    2,    3,    4,    52}));
}

TEST(LinItem, EightDataBytesAreNineWithTheChecksum) {
  LinItem item;
  SetLinData(item, Data{1, 2, 3, 4, 5, 6, 7, 8}, 9);
  const Data bytes = Encoded(item);
  ASSERT_EQ(bytes.size(), 29u);
  EXPECT_EQ(bytes[0], 29);
  EXPECT_EQ(bytes[13], 9);
  EXPECT_EQ(Data(bytes.begin() + 20, bytes.end()), (Data{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(LinItem, WhatHasNoDataEndsBehindTheBitTime) {
  LinItem item;
  item.Timestamp = 1;
  item.Flags = kLinWakeUp;
  EXPECT_EQ(Encoded(item), (Data{20, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0x20, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(LinItem, MoreDataThanAnItemHoldsAreLeftOut) {
  LinItem item;
  SetLinData(item, Data(20, 7), 9);
  EXPECT_EQ(item.DataLength, 9);
  EXPECT_EQ(item.Data[8], 9);
  item.DataLength = 255;
  EXPECT_EQ(Encoded(item).size(), 29u);
}

TEST(LinItem, ProtectedIdentifierHasBothParityBits) {
  struct Case {
    unsigned int Id, Protected;
  };
  // The parity table of the LIN protocol, in parts.
  constexpr Case kCases[] = {{0x00, 0x80}, {0x01, 0xC1}, {0x02, 0x42}, {0x03, 0x03}, {0x04, 0xC4}, {0x10, 0x50},
                             {0x20, 0x20}, {0x2A, 0x6A}, {0x3C, 0x3C}, {0x3D, 0x7D}, {0x3E, 0xFE}, {0x3F, 0xBF}};
  for (const auto& c : kCases) {
    EXPECT_EQ(LinProtectedIdentifier(static_cast<unsigned char>(c.Id)), c.Protected) << c.Id;
  }
}

TEST(LinItem, ChecksumAddsCarriesAndTheIdentifierOfAllButDiagnosticFrames) {
  // 4A + 55 + 93 + E5 = 217; the carries added: 19; inverted: E6. With the identifier byte 50 first: 69; inverted: 96.
  const Data data{0x4A, 0x55, 0x93, 0xE5};
  EXPECT_EQ(LinChecksum(0x3C, data), 0xE6);
  EXPECT_EQ(LinChecksum(0x7D, data), 0xE6);
  EXPECT_EQ(LinChecksum(0x50, data), 0x96);
  EXPECT_EQ(LinChecksum(0x50, {}), 0xAF);
}

TEST(LinItem, BitTimeIsInEighthsOfANanosecond) {
  EXPECT_EQ(LinBitTime(19200), 416666u);
  EXPECT_EQ(LinBitTime(1000), 8'000'000u);
  EXPECT_EQ(LinBitTime(2), 4'000'000'000u);
}
