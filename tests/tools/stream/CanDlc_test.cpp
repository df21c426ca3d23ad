#include "stream/CanDlc.h"

#include <gtest/gtest.h>

namespace client {
namespace {

TEST(CanDlc, GivesTheBytesOfEveryCode) {
  const size_t fd[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};
  for (unsigned char dlc = 0; dlc < 16; ++dlc) {
    EXPECT_EQ(BytesOfCanDlc(dlc, true), fd[dlc]);
    EXPECT_EQ(BytesOfCanDlc(dlc, false), std::min<size_t>(dlc, 8));
  }
}

TEST(CanDlc, LooksAtFourBitsOfACode) { EXPECT_EQ(BytesOfCanDlc(0xF9, true), 12U); }

TEST(CanDlc, IsTheSmallestThatCoversTheBytes) {
  EXPECT_EQ(CanDlcOf(0), 0);
  EXPECT_EQ(CanDlcOf(8), 8);
  EXPECT_EQ(CanDlcOf(9), 9);
  EXPECT_EQ(CanDlcOf(12), 9);
  EXPECT_EQ(CanDlcOf(13), 10);
  EXPECT_EQ(CanDlcOf(49), 15);
  EXPECT_EQ(CanDlcOf(64), 15);
}

TEST(CanDlc, IsTheGreatestForMoreThanAnyFrameHas) { EXPECT_EQ(CanDlcOf(65), 15); }

}  // namespace
}  // namespace client
