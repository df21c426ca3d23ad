#include "views/CanBits.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

CanBits BitsOf(const test::CanItem& item) {
  const Bytes record = RecordOf(item);
  return CanBitsOf(ViewOf(record).Can());
}

struct BitsCase {
  const char* What;
  test::CanItem Item;
  unsigned int Nominal, Data;
};

// Counted by a bit-by-bit writing down of each frame in another program. The first one by hand: 34 zeros from the start to the
// end of the CRC, with a stuff bit after each five of them that aren't the last, and 13 bits that are never stuffed.
TEST(CanBits, CountEveryBitOfAFrameWithItsStuffBits) {
  const BitsCase cases[] = {
      {"nothing but zeros", test::CanItem().Id(0), 34 + 6 + 13, 0},
      {"alternating bits", test::CanItem().Id(0x555).Data({0x55}), 57, 0},
      {"eight bytes", test::CanItem().Id(0x123).Data(test::Counting(8)), 119, 0},
      {"zeros behind ones", test::CanItem().Id(0x7FF).Data(Bytes(8, 0)), 126, 0},
      {"nothing but ones", test::CanItem().Id(0x1FFFFFFF).Extended().Data(Bytes(8, 0xFF)), 149, 0},
      {"remote frame", test::CanItem().Id(0x123).Dlc(8), 48, 0},
      {"FD, switched", test::CanItem().Id(0x555).Fd().Brs().Data({0x55}), 29, 41},
      {"FD, long CRC", test::CanItem().Id(0x555).Fd().Brs().Data(Bytes(32, 0x55)), 29, 294},
      {"FD at one rate", test::CanItem().Id(0).Extended().Fd().Data(Bytes(64, 0)), 53 + 652, 0},
  };
  for (const BitsCase& c : cases) {
    EXPECT_EQ(BitsOf(c.Item).Nominal, c.Nominal) << c.What;
    EXPECT_EQ(BitsOf(c.Item).Data, c.Data) << c.What;
  }
}

// Start, identifier, DLC 1000 and CRC without data: 34 bits, one stuff bit, and the 13 at the end. RTR is 0.
TEST(CanBits, RecordThatHasLostItsDataIsNoRemoteFrame) {
  const test::Record whole(*test::CanItem().Id(0x555).Data({0x55}).Dlc(8).Entry());
  const test::Record cut = test::Record(whole).CutTo(whole.Length() - 1);
  EXPECT_EQ(CanBitsOf(RecordView(cut.Get()).Can()).Nominal, 48u);
}

TEST(CanBits, ErrorFramesTakeTheLeastAndEventsNothing) {
  EXPECT_EQ(BitsOf(test::CanItem().ErrorFrame(1)).Nominal, 17u);
  EXPECT_EQ(BitsOf(test::CanItem().RisingEdge()).Nominal, 0u);
}

}  // namespace
}  // namespace client
