#include "recording/FirstArrival.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace client {
namespace {

constexpr unsigned long Millisecond = 1000000;
constexpr unsigned long Second = 1000 * Millisecond;
constexpr unsigned long Noon = 1795262400 * Second;  // some day in 2026

Description Of(const FirstArrival& arrival) {
  Description description;
  SetClock(description, arrival);
  return description;
}

TEST(FirstArrival, ClockThatCanHaveBegunWithTheRecordingDidSo) {
  const auto description = Of({.Started = Noon + 999,
                               .StartTook = 2 * Millisecond,
                               .Earliest = 0,
                               .Drained = 50 * Millisecond,
                               .First = 40 * Millisecond,
                               .Last = 45 * Millisecond});
  EXPECT_EQ(description.Epoch, ClockEpoch::Own);
  EXPECT_EQ(description.Anchor, (ClockAnchor{0, Noon, 2 * Millisecond + 999, AnchorOrigin::RecordingStart}));
}

TEST(FirstArrival, FastSourcesBringLateTimesEarly) {
  for (const double speed : {0.0, 20.0}) {
    const auto description = Of({.Started = Noon,
                                 .StartTook = 0,
                                 .Drained = Second,
                                 .First = 20 * Second,
                                 .Last = 20 * Second,
                                 .Speed = speed});
    EXPECT_EQ(description.Anchor->Origin, AnchorOrigin::RecordingStart) << speed;
    EXPECT_EQ(TimesOf(description).UtcOf(20 * Second), Noon + 20 * Second) << speed;
  }
}

TEST(FirstArrival, ClockThatCountsSince1970NeedsNothingElse) {
  const auto description = Of({.Started = Noon, .Drained = Second, .First = Noon - 5, .Last = Noon});
  EXPECT_EQ(description.Epoch, ClockEpoch::Since1970);
  EXPECT_EQ(TimesOf(description).UtcOf(Noon + 7), Noon + 7);
  EXPECT_EQ(TimesOf(description).Start, Noon - 5);
}

TEST(FirstArrival, ClockThatRanBeforeIsKnownAsWellAsItsEntriesTell) {
  // The clock shows 1 h at the start; entries of the first 40 ms are drained after 50 ms.
  constexpr unsigned long zero = 3600 * Second;
  const auto description = Of({.Started = Noon,
                               .Earliest = 0,
                               .Drained = 50 * Millisecond,
                               .First = zero + Millisecond,
                               .Last = zero + 40 * Millisecond});
  ASSERT_TRUE(description.Anchor);
  EXPECT_EQ(description.Epoch, ClockEpoch::Own);
  EXPECT_EQ(description.Anchor->Origin, AnchorOrigin::FirstEntries);
  EXPECT_EQ(description.Anchor->Utc, Noon);
  const long error = static_cast<long>(description.Anchor->EntryTime - zero);
  EXPECT_LE(static_cast<unsigned long>(std::labs(error)), *description.Anchor->Uncertainty);
  EXPECT_EQ(*description.Anchor->Uncertainty, 5500 * 1000 + 1000u);  // half of 50 ms - 39 ms
}

TEST(FirstArrival, LongSilenceBeforeTheFirstEntryDoesNotMakeItUncertain) {
  constexpr unsigned long zero = 3600 * Second;  // what the clock shows at the start
  const auto description = Of({.Started = Noon,
                               .Earliest = 59 * Second,
                               .Drained = 60 * Second,
                               .First = zero + 59 * Second + 800 * Millisecond,
                               .Last = zero + 59 * Second + 800 * Millisecond});
  EXPECT_EQ(description.Anchor->Uncertainty, 500 * Millisecond + 1000);
  const long error = static_cast<long>(TimesOf(description).UtcOf(zero) - Noon);
  EXPECT_LE(static_cast<unsigned long>(std::labs(error)), *description.Anchor->Uncertainty);
}

TEST(FirstArrival, EntriesOfMoreTimeThanCanHavePassedAreNotBelieved) {
  const auto description = Of({.Started = Noon, .Drained = Second, .First = 100 * Second, .Last = 300 * Second});
  EXPECT_EQ(description.Anchor->Uncertainty, 1000u);
  EXPECT_EQ(TimesOf(description).UtcOf(100 * Second), Noon);
}

TEST(FirstArrival, WhatUtcIsAheadIsInWholeMicroseconds) {
  for (unsigned long odd = 0; odd < 3000; odd += 7) {
    for (const unsigned long first : {odd, 3600 * Second + odd}) {
      const auto description =
          Of({.Started = Noon + 3 * odd + 1, .Drained = 100 * Millisecond, .First = first, .Last = first + odd});
      EXPECT_EQ((description.Anchor->Utc - description.Anchor->EntryTime) % 1000, 0u) << odd;
    }
  }
}

}  // namespace
}  // namespace client
