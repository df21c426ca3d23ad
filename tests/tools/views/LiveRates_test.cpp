#include "views/LiveRates.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

constexpr unsigned long kSecond = 1'000'000'000;

Description TwoChannels() {
  Description known;
  known.Channels = {{.Number = 1, .Source = "can"}, {.Number = 2, .BusType = BusType_Lin, .Source = "lin"}};
  return known;
}

TEST(LiveRates, FramesAndLoadAreThoseOfTheLatestWindow) {
  Summary summary;
  LiveRates rates;
  for (int count = 0; count < 500; ++count) Put(summary, RecordOf(test::CanItem().At(kSecond).Data({1, 2, 3, 4})));
  rates.Roll(summary, kSecond);
  const double before = summary.All().at(1).Load.BusyTime(0);
  for (int count = 0; count < 100; ++count) Put(summary, RecordOf(test::CanItem().At(2 * kSecond).Data({1, 2, 3, 4})));
  rates.Roll(summary, kSecond + 1);  // too early
  EXPECT_EQ(rates.Channels(summary, {}).front().FramesPerSecond, 0);
  EXPECT_EQ(rates.Channels(summary, {}).front().Load[0], std::nullopt);
  rates.Roll(summary, 3 * kSecond);
  const LiveChannel channel = rates.Channels(summary, {}).front();
  EXPECT_EQ(channel.FramesPerSecond, 50);
  EXPECT_EQ(rates.EntriesPerSecond(), 50);
  EXPECT_DOUBLE_EQ(channel.Load[0].value_or(0), before / 5 / 2e9 * 100);  // a fifth of the frames, in two seconds
  rates.Roll(summary, 4 * kSecond);
  EXPECT_EQ(rates.Channels(summary, {}).front().FramesPerSecond, 0);
}

TEST(LiveRates, SilentChannelsAreThere) {
  const auto channels = LiveRates().Channels(Summary(), TwoChannels());
  ASSERT_EQ(channels.size(), 2u);
  EXPECT_EQ(channels[1].Number, 2u);
  EXPECT_EQ(channels[1].BusType, BusType_Lin);
  EXPECT_EQ(channels[1].Source, "lin");
}

TEST(LiveRates, ErrorsCountFromTheReset) {
  Summary summary;
  LiveRates rates;
  Put(summary, RecordOf(test::CanItem().ErrorFrame(1)));
  Put(summary, RecordOf(test::CanItem().ErrorFrame(1)));
  Put(summary, RecordOf(test::CanItem()));
  EXPECT_EQ(rates.Channels(summary, {}).front().Errors, 2u);
  rates.ResetCounts(summary);
  EXPECT_EQ(rates.Channels(summary, {}).front().Errors, 0u);
  Put(summary, RecordOf(test::CanItem().ErrorFrame(1)));
  EXPECT_EQ(rates.Channels(summary, {}).front().Errors, 1u);
}

TEST(LiveRates, LossesStandWithTheirChannelEvenWhereNobodyHasCounted) {
  Description known = TwoChannels();
  known.Losses = {{.Channel = 1, .Count = 7},
                  {.Channel = 1, .Count = 5},
                  {.Channel = 1, .Cause = LossCause::Reordering, .Count = 100},
                  {.Channel = 2, .Cause = LossCause::OverrunMark}};
  const auto channels = LiveRates().Channels(Summary(), known);
  EXPECT_EQ(channels[0].Lost, 12u);
  EXPECT_FALSE(channels[0].LostUncounted);
  EXPECT_EQ(channels[1].Lost, 0u);
  EXPECT_TRUE(channels[1].LostUncounted);
}

}  // namespace
}  // namespace client
