#include "system/Units.h"

#include <gtest/gtest.h>

#include <ctime>

namespace client {
namespace {

struct Case {
  const char* Text;
  std::optional<unsigned long> Value;
};

TEST(Units, SizesTakeTheUnitsThatPeopleWrite) {
  const Case cases[] = {{"0", 0},
                        {"512", 512},
                        {"1K", 1024},
                        {"500M", 524288000},
                        {"2g", 1ul << 31},
                        {"16T", 1ul << 44},
                        {"16777215T", 16777215ul << 40},
                        {"7B", 7},
                        {"500MB", 500000000},
                        {"3kb", 3000},
                        {"2TB", 2000000000000},
                        {"1MiB", 1ul << 20},
                        {"4gib", 4ul << 30}};
  for (const Case& c : cases) EXPECT_EQ(ParseSize(c.Text), c.Value) << c.Text;
}

TEST(Units, OtherTextsAreNoSizes) {
  for (const char* text : {"", "M", "-1", "+1", "1.5M", "1 M", "1BM", "1MI", "1Mbit", "1X", " 1", "1 ", "0x10",
                           "16777216T", "18446744073709551616"})
    EXPECT_EQ(ParseSize(text), std::nullopt) << text;
}

TEST(Units, SizesAreWrittenAsTheyAreRead) {
  EXPECT_EQ(FormatSize(0), "0 bytes");
  EXPECT_EQ(FormatSize(1), "1 byte");
  EXPECT_EQ(FormatSize(1023), "1023 bytes");
  EXPECT_EQ(FormatSize(1024), "1K");
  EXPECT_EQ(FormatSize(1536), "1.5K");
  EXPECT_EQ(FormatSize(64ul << 20), "64M");
  EXPECT_EQ(FormatSize((64ul << 20) - 1), "63.9M");
  EXPECT_EQ(FormatSize(5ul << 40), "5T");
  EXPECT_EQ(FormatSize(~0ul), "16777215.9T");
}

TEST(Units, DurationsAreNumbersWithUnits) {
  const Case cases[] = {{"90s", 90000000000},
                        {"1h30m", 5400000000000},
                        {"0.5s", 500000000},
                        {"1m0.25s", 60250000000},
                        {"20ms", 20000000},
                        {"7us", 7000},
                        {"3ns", 3},
                        {"1.9ns", 1},
                        {"0s", 0},
                        {"0.1234567891s", 123456789},
                        {"2h2h", 14400000000000}};
  for (const Case& c : cases) EXPECT_EQ(ParseDuration(c.Text), c.Value) << c.Text;
}

TEST(Units, OtherTextsAreNoDurations) {
  for (const char* text :
       {"", "90", "s", "1.s", ".5s", "1h30", "-1s", "1 s", "1d", "1s ", "5124095577h", "18446744074s"})
    EXPECT_EQ(ParseDuration(text), std::nullopt) << text;
}

TEST(Units, SecondsKeepEveryNanosecond) {
  EXPECT_EQ(FormatSeconds(0), "0.000000000");
  EXPECT_EQ(FormatSeconds(1500000), "0.001500000");
  EXPECT_EQ(FormatSeconds(1398128223803317001), "1398128223.803317001");
}

TEST(Units, ElapsedTimeHasHoursWhereThereAreSome) {
  EXPECT_EQ(FormatElapsed(0), "0:00.0");
  EXPECT_EQ(FormatElapsed(59950000000), "0:59.9");
  EXPECT_EQ(FormatElapsed(754500000000), "12:34.5");
  EXPECT_EQ(FormatElapsed(3723400000000), "1:02:03.4");
}

TEST(Units, WallClockTimesAreLocalUnlessTheySayUtc) {
  EXPECT_EQ(ParseWallClock("1970-01-01T00:00:00Z"), 0u);
  EXPECT_EQ(ParseWallClock("2026-11-21T14:30:00Z"), 1795271400000000000u);
  EXPECT_EQ(ParseWallClock("2026-11-21T14:30:00.25Z"), 1795271400250000000u);
  EXPECT_EQ(ParseWallClock("2026-11-21T14:30:00.1234567899Z"), 1795271400123456789u);
  EXPECT_EQ(ParseWallClock("2026-11-21T16:30:00+02:00"), 1795271400000000000u);
  EXPECT_EQ(ParseWallClock("2026-11-21T09:00:00.5-0530"), 1795271400500000000u);
  struct tm local {};
  local.tm_year = 126, local.tm_mon = 10, local.tm_mday = 21, local.tm_hour = 14, local.tm_isdst = -1;
  EXPECT_EQ(ParseWallClock("2026-11-21T14:00:00"), static_cast<unsigned long>(mktime(&local)) * 1000000000);
  for (const char* text :
       {"", "2026-11-21", "14:30", "2026-11-21T14:30", "2026-13-21T14:30:00", "2026-11-21T14:30:00z",
        "2026-11-21T14:30:00.Z", "2026-11-21T14:30:00 Z", "1960-01-01T00:00:00Z", "1970-01-01T00:00:00+01:00",
        "2026-11-21T14:30:00+2", "2026-11-21T14:30:00+24:00", "2026-11-21T14:30:00+01:60", "2026-11-21T14:30:00 +01:00",
        "2026-11-21T14:30:00+0a:00", "2026-11-21T14:30:00+-1:00"})
    EXPECT_FALSE(ParseWallClock(text)) << text;
}

TEST(Units, WallClockTimesAreWrittenAsTheyAreRead) {
  EXPECT_EQ(FormatUtc(1795271400250000999), "2026-11-21T14:30:00.250000Z");
  EXPECT_EQ(FormatUtc(0), "1970-01-01T00:00:00.000000Z");
  EXPECT_EQ(ParseWallClock(FormatUtc(1795271400123456000)), 1795271400123456000u);
  EXPECT_EQ(ParseWallClock(FormatLocal(1795271400123456000)), 1795271400123456000u);
  EXPECT_EQ(FormatUtc(~0ul), "2554-07-21T23:34:33.709551Z");
}

}  // namespace
}  // namespace client
