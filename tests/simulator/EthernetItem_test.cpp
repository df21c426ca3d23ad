#include "EthernetItem.h"

#include <gtest/gtest.h>

using namespace qor_sim;

namespace {

using Data = std::vector<unsigned char>;

Data Encoded(const EthernetItem& item) {
  Data bytes(999, 0xEE);
  EncodeEthernetItem(item, bytes);
  return bytes;
}

}  // namespace

//  0 size | 2 kind | 4 time | 12 flags | 13 reserved | 14 frame length | 16 frame
TEST(EthernetItem, EveryKindBecomesItsItem) {
  const Data frame{0xAA, 0xBB, 0xCC};
  for (const auto kind : {kEthernetOverrun, kEthernetFrame, kEthernetCustom}) {
    EXPECT_EQ(Encoded({0x0123456789ABCDEF, kind, kEthernetTransmitted | kEthernetCrcError, frame}),
              (Data{19, 0, static_cast<unsigned char>(kind), 0, 0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01,  //
                    3, 0, 3, 0, 0xAA, 0xBB, 0xCC}));
  }
}

TEST(EthernetItem, ItemWithoutFrameIsItsHead) {
  EXPECT_EQ(Encoded({}), (Data{16, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(EthernetItem, LongestFrameFillsAPollAndMoreIsLeftOut) {
  const Data frame(65535, 1);
  const Data bytes = Encoded({0, kEthernetFrame, 0, frame});
  EXPECT_EQ(bytes.size(), 65527u);
  EXPECT_EQ(bytes[0] | bytes[1] << 8, 65527);
  EXPECT_EQ(bytes[14] | bytes[15] << 8, 65511);
}
