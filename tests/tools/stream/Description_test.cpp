#include "stream/Description.h"

#include <gtest/gtest.h>

#include <regex>

namespace client {
namespace {

constexpr unsigned long Second = 1000000000;
constexpr unsigned long Noon = 1795262400 * Second;  // some day in 2026

/// The times of a recording whose first entry has come.
TimeBase TimesFrom(Description description, unsigned long firstTime, std::optional<unsigned long> utc = std::nullopt) {
  SetFirstTime(description, firstTime, utc);
  return TimesOf(description);
}

TEST(Description, AnchorSaysWhenEntriesHappened) {
  Description description;
  description.Epoch = ClockEpoch::Own;
  description.Anchor = ClockAnchor{2 * Second, Noon};
  EXPECT_EQ(TimesFrom(description, 3 * Second).UtcOf(4 * Second), Noon + 2 * Second);
  EXPECT_EQ(TimesFrom(description, 3 * Second).Start, 2 * Second);
}

TEST(Description, ClockThatIsSaidToCountSince1970NeedsNoAnchor) {
  Description description;
  description.Epoch = ClockEpoch::Since1970;
  const TimeBase times = TimesFrom(description, Second);
  EXPECT_TRUE(times.IsKnown());
  EXPECT_EQ(times.UtcOf(3 * Second), 3 * Second);
  EXPECT_EQ(times.Start, Second);
}

TEST(Description, ClockOfItsOwnIsNotTakenForOneSince1970) {
  Description description;
  description.Epoch = ClockEpoch::Own;
  EXPECT_FALSE(TimesFrom(description, Noon).IsKnown());
}

TEST(Description, WithoutAWordTheFirstEntryDecides) {
  EXPECT_FALSE(TimesFrom({}, Second).IsKnown());
  EXPECT_EQ(TimesFrom({}, Noon).UtcOf(Noon + 1), Noon + 1);
  EXPECT_EQ(TimesFrom({}, Noon).SinceStart(Noon + 1), 1);
  Description description;
  SetFirstTime(description, Noon);
  EXPECT_EQ(description.Epoch, ClockEpoch::Since1970);
  EXPECT_EQ(description.Anchor->Origin, AnchorOrigin::Clock);
}

TEST(Description, TimeThatAPersonGivesReplacesWhatWasKnown) {
  for (const ClockEpoch epoch : {ClockEpoch::Unknown, ClockEpoch::Own, ClockEpoch::Since1970}) {
    Description description;
    description.Epoch = epoch;
    EXPECT_EQ(TimesFrom(description, 3 * Second, Noon).UtcOf(3 * Second), Noon);
    EXPECT_EQ(TimesFrom(description, 3 * Second, Noon).UtcOf(4 * Second), Noon + Second);
    description.Anchor = ClockAnchor{2 * Second, 100, 7, AnchorOrigin::RecordingStart};
    SetFirstTime(description, 3 * Second, Noon);
    EXPECT_EQ(description.Anchor, (ClockAnchor{2 * Second, Noon - Second, std::nullopt, AnchorOrigin::Given}));
  }
}

TEST(Description, ChannelsAreFoundByNumber) {
  Description description;
  description.Channels = {{.Number = 2, .Source = "lin"}, {.Number = 7, .Source = "can"}};
  ASSERT_NE(FindChannel(description, 7), nullptr);
  EXPECT_EQ(FindChannel(description, 7)->Source, "can");
  EXPECT_EQ(FindChannel(description, 3), nullptr);
}

TEST(Description, LossesOutsideOfACutAreLeftOutAndThoseAcrossItsEndsAreCutWithIt) {
  const auto between = [](unsigned long first, unsigned long last) {
    return LossesBetween({{1, LossCause::CaptureBufferFull, first, last, 7}}, 100, 200);
  };
  const auto part = [](unsigned long first, unsigned long last) {
    return std::vector<Loss>{{1, LossCause::CaptureBufferFull, first, last, std::nullopt}};
  };
  EXPECT_TRUE(between(50, 99).empty());
  EXPECT_TRUE(between(200, 210).empty());
  EXPECT_EQ(between(100, 199), (std::vector<Loss>{{1, LossCause::CaptureBufferFull, 100, 199, 7}}));
  EXPECT_EQ(between(50, 100), part(100, 100));
  EXPECT_EQ(between(199, 200), part(199, 199));
  EXPECT_EQ(between(50, 250), part(100, 199));
}

TEST(Description, IdsDiffer) {
  const std::regex groups("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
  const std::string id = MakeId();
  EXPECT_TRUE(std::regex_match(id, groups)) << id;
  EXPECT_NE(MakeId(), id);
}

TEST(Description, DigestsAreThoseOfFnv1a) {
  const unsigned char letter = 'a';
  EXPECT_EQ(DigestOf(&letter, 1), 0xAF63DC4C8601EC8C);  // as published with the function
  EXPECT_EQ(DigestOf(&letter, 0), 0xCBF29CE484222325);
}

}  // namespace
}  // namespace client
