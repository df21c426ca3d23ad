#include "recording/PortLosses.h"

#include <gtest/gtest.h>

#include <optional>

namespace client {
namespace {

void ExpectLost(const std::optional<LostItems>& lost, unsigned long begin, unsigned long end, unsigned long count) {
  ASSERT_TRUE(lost.has_value());
  EXPECT_EQ(lost->Begin, begin);
  EXPECT_EQ(lost->End, end);
  EXPECT_EQ(lost->Count, count);
}

TEST(PortLosses, NothingIsLostWhileNothingIsCounted) {
  PortLosses port;
  EXPECT_FALSE(port.Look(0, 0, 0, 100));
  EXPECT_FALSE(port.Look(0, 0, 0, 200));
}

TEST(PortLosses, FirstLossBeginsWithItsFirstItemHoweverLateTheLookIs) {
  PortLosses port;
  EXPECT_FALSE(port.Look(0, 0, 0, 100));
  ExpectLost(port.Look(3, 150, 170, 400), 150, 170, 3);
}

TEST(PortLosses, LossesOfLooksOneAfterTheOtherTouch) {
  PortLosses port;
  ExpectLost(port.Look(3, 150, 170, 140), 150, 170, 3);
  ExpectLost(port.Look(5, 150, 260, 250), 170, 260, 2);
}

TEST(PortLosses, ALossAfterAQuietLookBeginsAfterTheEntriesOfThatLook) {
  PortLosses port;
  ExpectLost(port.Look(3, 150, 170, 140), 150, 170, 3);
  EXPECT_FALSE(port.Look(3, 150, 170, 300));
  ExpectLost(port.Look(4, 150, 410, 450), 300, 410, 1);
}

TEST(PortLosses, ALossIsNotBeforeTheOneThatItFollows) {
  PortLosses port;
  ExpectLost(port.Look(3, 150, 500, 140), 150, 500, 3);
  EXPECT_FALSE(port.Look(3, 150, 500, 300));
  ExpectLost(port.Look(4, 150, 600, 450), 500, 600, 1);
}

TEST(PortLosses, EndIsNeverBeforeTheBegin) {
  PortLosses port;
  ExpectLost(port.Look(1, 150, 150, 100), 150, 150, 1);
  EXPECT_FALSE(port.Look(1, 150, 150, 900));
  ExpectLost(port.Look(2, 150, 800, 950), 900, 900, 1);
}

}  // namespace
}  // namespace client
