#include "stream/TimeBase.h"

#include <gtest/gtest.h>

namespace client {
namespace {

constexpr unsigned long Second = 1000000000;
constexpr unsigned long Noon = 1795262400 * Second;  // some day in 2026

TEST(TimeBase, MomentsFollowFromOneOfThem) {
  const TimeBase base{5 * Second, Noon};
  EXPECT_TRUE(base.IsKnown());
  EXPECT_EQ(base.UtcOf(5 * Second), Noon);
  EXPECT_EQ(base.UtcOf(7 * Second + 1), Noon + 2 * Second + 1);
  EXPECT_EQ(base.UtcOf(0), Noon - 5 * Second);
  EXPECT_EQ(base.SinceStart(7 * Second), static_cast<long>(2 * Second));
  EXPECT_EQ(base.SinceStart(4 * Second), -static_cast<long>(Second));
}

TEST(TimeBase, MomentsThatNoNumberHoldsEndAtItsEnds) {
  EXPECT_EQ((TimeBase{0, Noon}).UtcOf(~0ul), ~0ul);
  EXPECT_EQ((TimeBase{~0ul, Noon}).UtcOf(0), 0u);
  EXPECT_EQ((TimeBase{Second, Noon}).UtcOf(~0ul), ~0ul);
}

TEST(TimeBase, WithoutABaseEntriesKeepTheirTimes) {
  const TimeBase unknown;
  EXPECT_FALSE(unknown.IsKnown());
  EXPECT_EQ(unknown.UtcOf(3 * Second), 3 * Second);
  EXPECT_EQ(unknown.SinceStart(3 * Second), static_cast<long>(3 * Second));
}

TEST(TimeBase, ClockThatShowsMoreThanTwentyYearsCountsSince1970) {
  constexpr unsigned long twentyYears = 20 * 365 * 86400 * Second;
  EXPECT_FALSE(CountsSince1970(0));
  EXPECT_FALSE(CountsSince1970(twentyYears - 1));
  EXPECT_TRUE(CountsSince1970(twentyYears));
  EXPECT_TRUE(CountsSince1970(Noon));
}

}  // namespace
}  // namespace client
