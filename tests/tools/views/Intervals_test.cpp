#include "views/Intervals.h"

#include <gtest/gtest.h>

#include <vector>

namespace client {
namespace {

constexpr unsigned long kMs = 1000000;

Intervals Of(const std::vector<unsigned long>& times) {
  Intervals intervals;
  for (const unsigned long time : times) intervals.Add(time);
  return intervals;
}

/// 101 times, 10 ms apart, from 0.
Intervals Cyclic() {
  Intervals intervals;
  for (unsigned long index = 0; index <= 100; ++index) intervals.Add(index * 10 * kMs);
  return intervals;
}

TEST(Intervals, ASingleTimeHasNone) {
  EXPECT_EQ(Of({}).Count(), 0u);
  EXPECT_EQ(Of({5}).Count(), 0u);
  EXPECT_FALSE(Of({5}).IsRegular());
  EXPECT_TRUE(Of({5}).Longest().empty());
}

TEST(Intervals, ACycleIsRegularWithoutDeviationOrOutliers) {
  const Intervals cycle = Cyclic();
  EXPECT_EQ(cycle.Count(), 100u);
  EXPECT_DOUBLE_EQ(cycle.Typical(), 10 * kMs);
  EXPECT_DOUBLE_EQ(cycle.Mean(), 10 * kMs);
  EXPECT_DOUBLE_EQ(cycle.Deviation(), 0);
  EXPECT_EQ(cycle.Least(), 10 * kMs);
  EXPECT_EQ(cycle.Greatest(), 10 * kMs);
  EXPECT_TRUE(cycle.IsRegular());
  EXPECT_EQ(cycle.LongCount(), 0u);
  EXPECT_EQ(cycle.ShortCount(), 0u);
}

TEST(Intervals, ACycleIsTheMeanWhicheverBinsOfTheHistogramItsJitterFallsInto) {
  for (unsigned long cycle = 1000; cycle < 1'000'000'000; cycle += cycle / 50) {
    Intervals jittery;
    for (unsigned long index = 0; index <= 100; ++index) jittery.Add(index * cycle + index % 2 * (cycle / 40));
    jittery.Add(200 * cycle);  // and it was missing for a while
    EXPECT_NEAR(jittery.Typical(), static_cast<double>(cycle), static_cast<double>(cycle) / 1000) << cycle;
  }
}

TEST(Intervals, AMissingOccurrenceIsALongOutlierAtItsTime) {
  Intervals cycle = Cyclic();
  cycle.Add(1020 * kMs);  // the one at 1010 is missing
  cycle.Add(1030 * kMs);
  EXPECT_EQ(cycle.LongCount(), 1u);
  EXPECT_EQ(cycle.ShortCount(), 0u);
  EXPECT_EQ(cycle.Longest().front(), (Interval{20 * kMs, 1020 * kMs}));
  EXPECT_EQ(cycle.Longest().front().Begin(), 1000 * kMs);
  EXPECT_DOUBLE_EQ(cycle.Typical(), 10 * kMs);
}

TEST(Intervals, LimitsOfOutliersAreTheSameShareOfTheCycleEverywhere) {
  for (unsigned long cycle = 100; cycle < 100'000'000'000; cycle += cycle / 7) {
    Intervals intervals;
    for (unsigned long index = 0; index < 20; ++index) intervals.Add(index * cycle);
    const auto length = static_cast<double>(cycle);
    EXPECT_GT(static_cast<double>(intervals.LongLimit()), 1.55 * length) << cycle;
    EXPECT_LE(static_cast<double>(intervals.LongLimit()), 1.76 * length) << cycle;
    EXPECT_GT(static_cast<double>(intervals.ShortLimit()), 0.55 * length) << cycle;
    EXPECT_LE(static_cast<double>(intervals.ShortLimit()), 0.65 * length) << cycle;
  }
}

TEST(Intervals, AnExtraOccurrenceIsAShortOutlierAtItsTime) {
  Intervals cycle = Cyclic();
  cycle.Add(1002 * kMs);
  cycle.Add(1010 * kMs);
  EXPECT_EQ(cycle.LongCount(), 0u);
  EXPECT_EQ(cycle.ShortCount(), 1u);
  EXPECT_EQ(cycle.Shortest().front(), (Interval{2 * kMs, 1002 * kMs}));
}

TEST(Intervals, MoreThanATenthOfOutliersIsNoCycle) {
  Intervals bursts;
  for (unsigned long burst = 0; burst < 20; ++burst)
    for (unsigned long index = 0; index < 8; ++index) bursts.Add(burst * kMs * 1000 + index * kMs);
  EXPECT_EQ(bursts.Count(), 159u);
  EXPECT_EQ(bursts.LongCount(), 19u);
  EXPECT_FALSE(bursts.IsRegular());
}

TEST(Intervals, FewerThanTenAreNotJudged) {
  Intervals few;
  for (unsigned long index = 0; index < 10; ++index) few.Add(index * kMs);
  EXPECT_EQ(few.Count(), 9u);
  EXPECT_FALSE(few.IsRegular());
  few.Add(10 * kMs);
  EXPECT_TRUE(few.IsRegular());
}

TEST(Intervals, DeviationIsThatOfAllIntervals) {
  const Intervals intervals = Of({0, 8 * kMs, 20 * kMs, 28 * kMs, 40 * kMs});  // 8, 12, 8, 12
  EXPECT_DOUBLE_EQ(intervals.Mean(), 10 * kMs);
  EXPECT_DOUBLE_EQ(intervals.Deviation(), 2 * kMs);
}

TEST(Intervals, OutermostOnesAreKeptInOrder) {
  Intervals intervals;
  unsigned long time = 0;
  for (const unsigned long length : {5ul, 3ul, 9ul, 3ul, 20ul, 1ul, 7ul, 9ul, 30ul, 2ul, 11ul, 4ul, 6ul}) {
    if (time == 0) intervals.Add(0);
    time += length;
    intervals.Add(time);
  }
  std::vector<unsigned long> longest, shortest;
  for (const Interval& interval : intervals.Longest()) longest.push_back(interval.Length);
  for (const Interval& interval : intervals.Shortest()) shortest.push_back(interval.Length);
  EXPECT_EQ(longest, (std::vector<unsigned long>{30, 20, 11, 9, 9, 7, 6, 5}));
  EXPECT_EQ(shortest, (std::vector<unsigned long>{1, 2, 3}));
  EXPECT_EQ(intervals.Longest()[3].End, 5 + 3 + 9u) << "the earlier of two equal ones comes first";
}

TEST(Intervals, ATimeThatGoesBackBeginsAnew) {
  const Intervals intervals = Of({100, 200, 50, 80});
  EXPECT_EQ(intervals.Count(), 2u);
  EXPECT_EQ(intervals.Greatest(), 100u);
  EXPECT_EQ(intervals.Least(), 30u);
}

}  // namespace
}  // namespace client
