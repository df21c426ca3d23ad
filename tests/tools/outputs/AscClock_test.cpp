#include "outputs/AscClock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <vector>

namespace client {
namespace {

constexpr unsigned long kSecond = 1'000'000'000;
constexpr unsigned long kNoon = 1'794'733'219 * kSecond;  // 15 November 2026, 09:00:19 UTC

class AscClockTest : public testing::Test {
 protected:
  static void SetZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  AscClockTest() { SetZone("UTC"); }
  ~AscClockTest() override {
    unsetenv("TZ");
    tzset();
  }
};

TEST_F(AscClockTest, DateIsEnglishAndInLocalTime) {
  EXPECT_EQ(AscClock({0, kNoon}, 6, false).Date(), "Sun Nov 15 09:00:19.000 am 2026");
  EXPECT_EQ(AscClock({0, kNoon + 123'456'789}, 6, false).Date(), "Sun Nov 15 09:00:19.123 am 2026");
  SetZone("CET-1");
  EXPECT_EQ(AscClock({0, kNoon}, 6, false).Date(), "Sun Nov 15 10:00:19.000 am 2026");
  SetZone("UTC");
  EXPECT_EQ(AscClock({0, 0}, 6, false).Date(), "Thu Jan 01 12:00:00.000 am 1970");
  EXPECT_EQ(AscClock({0, 12 * 3600 * kSecond}, 6, false).Date(), "Thu Jan 01 12:00:00.000 pm 1970");
  EXPECT_EQ(AscClock({0, 13 * 3600 * kSecond}, 6, false).Date(), "Thu Jan 01 01:00:00.000 pm 1970");
}

TEST_F(AscClockTest, TimesCountFromTheStart) {
  AscClock clock({5 * kSecond, kNoon}, 6, false);
  EXPECT_EQ(clock.Next(5 * kSecond).Column, 0u);
  EXPECT_EQ(clock.Next(6 * kSecond + 1500).Column, 1'000'002u);
  EXPECT_EQ(clock.Next(6 * kSecond + 1499).Column, 1'000'001u);
  EXPECT_EQ(clock.BeforeDate(), 0u);
}

/// The date has no more than milliseconds; what is left of the start is in every time.
TEST_F(AscClockTest, DateAndTimeTogetherAreExact) {
  AscClock clock({5 * kSecond, kNoon + 123'456'789}, 9, false);
  EXPECT_EQ(clock.Next(5 * kSecond).Column, 456'789u);
  EXPECT_EQ(clock.Next(5 * kSecond - 456'789).Column, 0u);
  EXPECT_EQ(clock.BeforeDate(), 0u);
}

TEST_F(AscClockTest, TimeBeforeTheDateIsZeroAndCounted) {
  AscClock clock({5 * kSecond, kNoon}, 6, false);
  EXPECT_EQ(clock.Next(5 * kSecond - 1).Column, 0u);
  EXPECT_EQ(clock.Next(0).Column, 0u);
  EXPECT_EQ(clock.BeforeDate(), 2u);
}

TEST_F(AscClockTest, RelativeTimesAddUpToTheRoundedOnes) {
  AscClock relative({0, kNoon}, 6, true);
  AscClock absolute({0, kNoon}, 6, false);
  unsigned long sum = 0;
  for (unsigned long time = 0; time < 1'000'000; time += 333) {
    const AscTime next = relative.Next(time);
    sum += next.Column;
    EXPECT_EQ(sum, absolute.Next(time).Column);
    EXPECT_EQ(next.SinceStart, sum);
  }
}

TEST_F(AscClockTest, RelativeTimesAreNeverNegativeAndRightAgainAfterALateEntry) {
  AscClock clock({0, kNoon}, 6, true);
  std::vector<unsigned long> columns;
  for (const unsigned long time : {3000ul, 5000ul, 4000ul, 9000ul}) columns.push_back(clock.Next(time).Column);
  EXPECT_EQ(columns, (std::vector<unsigned long>{3, 2, 0, 4}));
}

TEST_F(AscClockTest, RelativeTimesGoOnFromTheLastLineThatWasWritten) {
  AscClock clock({0, kNoon}, 6, true);
  EXPECT_EQ(clock.Next(3000).Column, 3u);
  EXPECT_EQ(clock.Next(5000).Column, 2u);
  clock.TakeBack();
  EXPECT_EQ(clock.Next(6000).Column, 3u);
}

TEST_F(AscClockTest, FirstRelativeTimeOfAFileCountsFromTheDate) {
  AscClock clock({0, kNoon}, 6, true);
  EXPECT_EQ(clock.Next(3000).Column, 3u);
  clock.BeginFile();
  EXPECT_EQ(clock.Next(5000).Column, 5u);
  EXPECT_EQ(clock.Next(6000).Column, 1u);
}

}  // namespace
}  // namespace client
