#include "views/ChannelTimes.h"

#include <gtest/gtest.h>

#include <vector>

#include "tools/ClientEntries.h"

namespace client {
namespace {

using test::CanItem;
using test::LinItem;

ChannelRates Usual(unsigned int /*channel*/, unsigned char /*busType*/) { return {}; }

class ChannelTimesTest : public testing::Test {
 protected:
  template <class Item>
  void Take(const Item& item) {
    EXPECT_TRUE(Put(Times, RecordOf(item)));
  }
  /// Frames on a channel, one every millisecond.
  void Frames(unsigned int channel, unsigned long fromMs, unsigned long toMs) {
    for (unsigned long ms = fromMs; ms < toMs; ++ms) Take(CanItem().Channel(channel).At(ms * kMillisecond));
  }
  [[nodiscard]] const ChannelActivity& Channel(unsigned int number) const { return Times.All().at(number); }
  [[nodiscard]] Silences SilencesOf(unsigned int number) const { return Times.SilencesOf(Channel(number)); }

  ChannelTimes Times{Usual};
};

TEST_F(ChannelTimesTest, WithoutRecordsThereIsNothing) {
  Times.Finish();
  EXPECT_TRUE(Times.All().empty());
  EXPECT_EQ(Times.First(), 0u);
  EXPECT_EQ(Times.Last(), 0u);
}

TEST_F(ChannelTimesTest, ErrorsAreCountedByKindWithTheirTimes) {
  Take(CanItem().Channel(2).At(5 * kSecond).ErrorFrame(1));
  Take(CanItem().Channel(2).At(6 * kSecond));
  Take(CanItem().Channel(2).At(9 * kSecond).ErrorFrame(2));
  Take(LinItem().Channel(3).At(9 * kSecond).ChecksumError());
  Times.Finish();
  const KindPlaces& can = Channel(2).ErrorKinds.at(RecordKind::CanErrorFrame);
  EXPECT_EQ(can.Count, 2u);
  EXPECT_EQ(can.First, 5 * kSecond);
  EXPECT_EQ(can.Last, 9 * kSecond);
  EXPECT_EQ(Channel(3).ErrorKinds.at(RecordKind::LinChecksumError).Count, 1u);
  EXPECT_EQ(Channel(2).Errors.All().front(), 1u);
  EXPECT_EQ(Channel(2).Errors.All().back(), 1u);
}

TEST_F(ChannelTimesTest, TriggersAreEventsAndNoErrors) {
  Take(CanItem().RisingEdge());
  EXPECT_EQ(Channel(1).Events.All().front(), 1u);
  EXPECT_TRUE(Channel(1).Errors.Empty());
}

TEST_F(ChannelTimesTest, LoadIsThatOfTheChannelsOwnBitRate) {
  ChannelTimes times([](unsigned int channel, unsigned char busType) {
    EXPECT_EQ(busType, BusType_Can);
    return ChannelRates{{.CanNominal = channel == 1 ? 500000ul : 250000ul}, false, true};
  });
  for (const unsigned int channel : {1u, 2u})
    for (const unsigned long time : {0ul, kSecond}) Put(times, RecordOf(CanItem().Channel(channel).At(time)));
  const double slow = *times.All().at(2).Load.Percent(0, kSecond), fast = *times.All().at(1).Load.Percent(0, kSecond);
  EXPECT_NEAR(fast, 100 * 2 * 53 * 2e-6, 1e-5);
  EXPECT_NEAR(slow / fast, 2, 1e-3);
}

TEST_F(ChannelTimesTest, AllBinsHaveOneWidthAtTheEnd) {
  Take(CanItem().Channel(1).At(0));
  Take(CanItem().Channel(2).At(0).ErrorFrame(1));
  Take(CanItem().Channel(1).At(36000 * kSecond));
  Times.Finish();
  EXPECT_EQ(Times.BinWidth(), kMinute);
  EXPECT_EQ(Channel(2).Errors.Width(), kMinute);
  EXPECT_EQ(Channel(2).Curves[0].Bins().Width(), kMinute);
  EXPECT_EQ(Channel(1).Curves[0].Bins().All().size(), 601u);
}

TEST_F(ChannelTimesTest, ALongTimeWithoutEntriesIsASilence) {
  Frames(1, 0, 1000);
  Frames(1, 3000, 4000);
  const Silences silences = SilencesOf(1);
  EXPECT_EQ(silences.Count, 1u);
  EXPECT_GE(silences.Limit, 100 * kMillisecond);
  EXPECT_LT(silences.Limit, 104 * kMillisecond);
  EXPECT_EQ(silences.All, (std::vector<Silence>{{999 * kMillisecond, 3000 * kMillisecond}}));
}

TEST_F(ChannelTimesTest, WhatIsUsualForAChannelIsNoSilence) {
  for (unsigned long second = 0; second < 100; ++second) Take(CanItem().At(second * kSecond));
  EXPECT_EQ(SilencesOf(1).Count, 0u);
  Take(CanItem().At(112 * kSecond));
  EXPECT_EQ(SilencesOf(1).All, (std::vector<Silence>{{99 * kSecond, 112 * kSecond}}));
}

TEST_F(ChannelTimesTest, AChannelThatBeginsLateOrEndsEarlyIsSilentThere) {
  Frames(1, 0, 5000);
  Frames(2, 1000, 2000);
  EXPECT_EQ(SilencesOf(1).Count, 0u);
  EXPECT_EQ(SilencesOf(2).All,
            (std::vector<Silence>{{0, 1000 * kMillisecond, Silence::Place::AtBegin},
                                  {1999 * kMillisecond, 4999 * kMillisecond, Silence::Place::AtEnd}}));
}

TEST_F(ChannelTimesTest, OfMoreSilencesThanAreKeptAllAreCounted) {
  for (unsigned long burst = 0; burst < 20; ++burst) Frames(1, burst * 2000, burst * 2000 + 1000);
  EXPECT_EQ(SilencesOf(1).Count, 19u);
  EXPECT_EQ(SilencesOf(1).All.size(), Intervals::kLongest);
}

TEST_F(ChannelTimesTest, FewEntriesSayNothingOfSilences) {
  for (unsigned long second = 0; second < 10; ++second) Take(CanItem().At(second * second * kSecond));
  EXPECT_EQ(SilencesOf(1).Limit, 0u);
  EXPECT_EQ(SilencesOf(1).Count, 0u);
}

TEST_F(ChannelTimesTest, FurtherChannelsAreOnlyCounted) {
  for (unsigned int channel = 1; channel <= ChannelTimes::kMost + 3; ++channel) Take(CanItem().Channel(channel));
  EXPECT_EQ(Times.All().size(), ChannelTimes::kMost);
  EXPECT_EQ(Times.FurtherEntries(), 3u);
}

}  // namespace
}  // namespace client
