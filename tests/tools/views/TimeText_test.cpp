#include "views/TimeText.h"

#include <gtest/gtest.h>

#include "system/Units.h"

namespace client {
namespace {

constexpr unsigned long Second = 1000000000;
constexpr unsigned long HalfPastTwo = 1795271400 * Second;  // 2026-11-21T14:30:00Z

TEST(TimeText, IsAskedForInFourWays) {
  const TimeBase times{5 * Second, HalfPastTwo};
  const unsigned long time = 6 * Second + 500000001;
  EXPECT_EQ(TimeText(time, TimeFormat::Relative, times), "1.500000001");
  EXPECT_EQ(TimeText(time, TimeFormat::Utc, times), "2026-11-21T14:30:01.500000Z");
  EXPECT_EQ(TimeText(time, TimeFormat::Local, times), FormatLocal(HalfPastTwo + 1500000001));
  EXPECT_EQ(TimeText(time, TimeFormat::Epoch, times), "1795271401.500000001");
}

TEST(TimeText, TimesBeforeTheStartAreNegative) {
  EXPECT_EQ(TimeText(3 * Second + 500000000, TimeFormat::Relative, {5 * Second, HalfPastTwo}), "-1.500000000");
}

TEST(TimeText, WithoutAKnownMomentTimesAreTheEntriesOwn) {
  EXPECT_EQ(TimeText(2 * Second, TimeFormat::Relative, {}), "2.000000000");
  EXPECT_EQ(TimeText(2 * Second, TimeFormat::Epoch, {}), "2.000000000");
}

TEST(TimeText, OnlyRelativeTimesDoWithoutAMoment) {
  EXPECT_FALSE(NeedsUtc(TimeFormat::Relative));
  for (const TimeFormat format : {TimeFormat::Utc, TimeFormat::Local, TimeFormat::Epoch}) EXPECT_TRUE(NeedsUtc(format));
}

}  // namespace
}  // namespace client
