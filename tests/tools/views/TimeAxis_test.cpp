#include "views/TimeAxis.h"

#include <gtest/gtest.h>

#include <string>

#include "views/TimeBins.h"

namespace client {
namespace {

constexpr unsigned long kHalfPastTwo = 1795271400 * kSecond;  // 2026-11-21T14:30:00Z

ShownTimes Shown(TimeFormat format) { return {format, {0, kHalfPastTwo}}; }

/// "0:0 0.5:1 ...": places and texts.
std::string TicksOf(const TimeAxis& axis) {
  std::string text;
  for (const TimeAxis::Tick& tick : axis.Ticks()) text += tick.Text + " ";
  return text;
}

struct AxisCase {
  unsigned long First, End;
  TimeFormat Format;
  const char* Ticks;
  const char* Caption;
};
constexpr AxisCase kCases[] = {
    {0, 10 * kSecond, TimeFormat::Relative, "0 2 4 6 8 10 ", "seconds since the start of the recording"},
    {0, 7 * kMillisecond, TimeFormat::Relative, "0.000 0.001 0.002 0.003 0.004 0.005 0.006 0.007 ",
     "seconds since the start of the recording"},
    {1500 * kMillisecond, 4 * kSecond, TimeFormat::Relative, "1.5 2.0 2.5 3.0 3.5 4.0 ",
     "seconds since the start of the recording"},
    {0, 10 * kMinute, TimeFormat::Relative, "0:00 2:00 4:00 6:00 8:00 10:00 ",
     "minutes:seconds since the start of the recording"},
    {0, 10 * kHour, TimeFormat::Relative, "0:00:00 2:00:00 4:00:00 6:00:00 8:00:00 10:00:00 ",
     "hours:minutes:seconds since the start of the recording"},
    {0, 10 * kMinute, TimeFormat::Utc, "14:30 14:32 14:34 14:36 14:38 14:40 ", "UTC, from 2026-11-21 on"},
    {0, 2 * kSecond, TimeFormat::Utc, "14:30:00.0 14:30:00.5 14:30:01.0 14:30:01.5 14:30:02.0 ",
     "UTC, from 2026-11-21 on"},
    {0, 10 * kHour, TimeFormat::Utc, "16:00 18:00 20:00 22:00 11-22 00:00 ", "UTC, from 2026-11-21 on"},
    {0, 2 * kSecond, TimeFormat::Epoch, "1795271400.0 1795271400.5 1795271401.0 1795271401.5 1795271402.0 ",
     "seconds since 1970"},
};

TEST(TimeAxis, TicksStandAtRoundTimesAsTheyAreShown) {
  for (const AxisCase& one : kCases) {
    const TimeAxis axis(one.First, one.End, Shown(one.Format));
    EXPECT_EQ(TicksOf(axis), one.Ticks);
    EXPECT_EQ(axis.Caption(), one.Caption) << one.Ticks;
  }
}

TEST(TimeAxis, PlacesGoFromTheStartToTheEnd) {
  const TimeAxis axis(kSecond, 3 * kSecond, Shown(TimeFormat::Relative));
  EXPECT_DOUBLE_EQ(axis.PlaceOf(0), 0);
  EXPECT_DOUBLE_EQ(axis.PlaceOf(kSecond), 0);
  EXPECT_DOUBLE_EQ(axis.PlaceOf(1500 * kMillisecond), 0.25);
  EXPECT_DOUBLE_EQ(axis.PlaceOf(9 * kSecond), 1);
  EXPECT_DOUBLE_EQ(axis.Ticks().front().Place, 0);
  EXPECT_DOUBLE_EQ(axis.Ticks().back().Place, 1);
}

TEST(TimeAxis, TimesBeforeTheStartOfTheRecordingAreNegative) {
  const TimeAxis axis(0, 4 * kSecond, {TimeFormat::Relative, {2 * kSecond, std::nullopt}});
  EXPECT_EQ(TicksOf(axis), "-2 -1 0 1 2 ");
}

TEST(TimeAxis, AllTimesOf64BitsHaveFewTicks) {
  for (const TimeFormat format : {TimeFormat::Relative, TimeFormat::Utc, TimeFormat::Local, TimeFormat::Epoch})
    for (const unsigned long end : {1ul, 2ul, 999ul, 1ul << 40, 1ul << 63, ~0ul}) {
      const TimeAxis axis(0, end, Shown(format));
      EXPECT_LE(axis.Ticks().size(), TimeAxis::kMostTicks + 1) << end;
      EXPECT_GE(axis.Ticks().size(), 1u) << end;
    }
}

TEST(DurationText, HasTheUnitThatSuitsIt) {
  EXPECT_EQ(DurationText(0), "0 ns");
  EXPECT_EQ(DurationText(12), "12 ns");
  EXPECT_EQ(DurationText(9981000), "9.981 ms");
  EXPECT_EQ(DurationText(41200), "41.2 µs");
  EXPECT_EQ(DurationText(999.94e6), "999.9 ms");
  EXPECT_EQ(DurationText(999.96e6), "1 s");
  EXPECT_EQ(DurationText(1.5e9), "1.5 s");
  EXPECT_EQ(DurationText(119e9), "119 s");
  EXPECT_EQ(DurationText(754.5e9), "12:34.5 min");
  EXPECT_EQ(DurationText(36000e9), "10:00:00.0 h");
  EXPECT_EQ(DurationText(3.25 * 86400e9), "3.25 d");
}

TEST(MomentText, IsCutAtAMicrosecondAndHasItsUnit) {
  EXPECT_EQ(MomentText(12345678901, Shown(TimeFormat::Relative)), "12.345678 s");
  EXPECT_EQ(MomentText(754500 * kMillisecond, Shown(TimeFormat::Relative)), "754.500000 s (12:34)");
  EXPECT_EQ(MomentText(10 * kHour, Shown(TimeFormat::Relative)), "36000.000000 s (10:00:00)");
  EXPECT_EQ(MomentText(1500 * kMillisecond, Shown(TimeFormat::Utc)), "2026-11-21T14:30:01.500000Z");
  EXPECT_EQ(MomentText(1500 * kMillisecond, Shown(TimeFormat::Epoch)), "1795271401.500000 s");
}

}  // namespace
}  // namespace client
