#include "outputs/SplitTimes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "system/Units.h"

namespace client {
namespace {

constexpr unsigned long kSecond = 1'000'000'000;
constexpr unsigned long kMinute = 60 * kSecond;
constexpr unsigned long kHour = 60 * kMinute;

unsigned long Utc(const char* text) { return ParseWallClock(text).value(); }

/// The end of the period of a UTC time, for entries whose clock shows 5 s when it is 2026-10-25T00:00:00Z.
std::string EndOf(unsigned long period, SplitGrid grid, const char* time) {
  const TimeBase times{5 * kSecond, Utc("2026-10-25T00:00:00Z")};
  SplitTimes split(period, grid);
  const unsigned long entry = Utc(time) - *times.Utc + times.Start;
  split.Begin(entry, times);
  return FormatUtc(times.UtcOf(split.EndAfter(entry))).substr(0, 19);
}

/// A time zone for the life of this.
class Zone {
 public:
  explicit Zone(const char* name) {
    setenv("TZ", name, 1);
    tzset();
  }
  ~Zone() {
    unsetenv("TZ");
    tzset();
  }
};

TEST(SplitTimes, PeriodsCountFromTheFirstEntry) {
  SplitTimes split(10 * kSecond, SplitGrid::FirstEntry);
  split.Begin(7 * kSecond, {});
  EXPECT_EQ(split.EndAfter(7 * kSecond), 17 * kSecond);
  EXPECT_EQ(split.EndAfter(17 * kSecond - 1), 17 * kSecond);
  EXPECT_EQ(split.EndAfter(17 * kSecond), 27 * kSecond);
  EXPECT_EQ(split.EndAfter(1000 * kSecond), 1007 * kSecond);
  EXPECT_EQ(split.EndAfter(3), 17 * kSecond) << "an entry that comes late belongs to the first period";
}

TEST(SplitTimes, NoPeriodEndsBeyondTheClock) {
  SplitTimes split(10 * kSecond, SplitGrid::FirstEntry);
  split.Begin(~0ul - kSecond, {});
  EXPECT_EQ(split.EndAfter(~0ul - kSecond), ~0ul);
}

TEST(SplitTimes, PeriodsOfUtcEndAtFullOnes) {
  EXPECT_EQ(EndOf(10 * kMinute, SplitGrid::Utc, "2026-10-25T14:31:07Z"), "2026-10-25T14:40:00");
  EXPECT_EQ(EndOf(10 * kMinute, SplitGrid::Utc, "2026-10-25T14:40:00Z"), "2026-10-25T14:50:00");
  EXPECT_EQ(EndOf(24 * kHour, SplitGrid::Utc, "2026-10-25T14:40:00Z"), "2026-10-26T00:00:00");
}

TEST(SplitTimes, PeriodsOfLocalTimeEndAtItsFullOnes) {
  const Zone zone("XYZ-5:30");
  EXPECT_EQ(EndOf(kHour, SplitGrid::Local, "2026-10-25T14:31:07Z"), "2026-10-25T15:30:00");
  EXPECT_EQ(EndOf(24 * kHour, SplitGrid::Local, "2026-10-25T14:31:07Z"), "2026-10-25T18:30:00");
}

// In the small hours of 2026-10-25 clocks go back from 03:00 to 02:00, which is 01:00Z.
TEST(SplitTimes, WhereClocksAreChangedPeriodsGoOn) {
  const Zone zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(EndOf(24 * kHour, SplitGrid::Local, "2026-10-25T00:30:00Z"), "2026-10-25T23:00:00");
  unsigned long time = Utc("2026-10-24T22:00:00Z");
  SplitTimes split(kHour, SplitGrid::Local);
  split.Begin(time, {0, 0});
  for (int period = 0; period < 26; ++period) {
    const unsigned long end = split.EndAfter(time);
    ASSERT_GT(end, time);
    ASSERT_LE(end - time, 2 * kHour);
    EXPECT_EQ(end % kHour, 0ul);
    time = end;
  }
  EXPECT_EQ(EndOf(6 * kHour, SplitGrid::Local, "2027-03-28T00:30:00Z"), "2027-03-28T04:00:00");
}

}  // namespace
}  // namespace client
