#include "stream/Reorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/AllocatedMemory.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

constexpr unsigned long Second = 1000000000;

Bytes EntryAt(unsigned long time, unsigned int channel = 1, unsigned int identifier = 0) {
  return RecordOf(test::CanItem().Channel(channel).At(time).Id(identifier).Data({1, 2, 3}));
}

/// What has come out, and how often it was paused.
class Sink : public Collector {
 public:
  void Pause() override { ++Pauses; }

  std::vector<unsigned long> Times() const {
    std::vector<unsigned long> times;
    for (const Bytes& record : Records) times.push_back(ViewOf(record).Timestamp());
    return times;
  }
  unsigned int Pauses = 0;
};

using Times = std::vector<unsigned long>;

TEST(Reorder, EntriesWithinASecondComeInTheOrderOfTheirTimes) {
  Sink sink;
  LossLedger late;
  Reorder order(sink, late);
  for (const unsigned long time : {2 * Second, 1500000000ul, Second, 1200000000ul})
    EXPECT_TRUE(Put(order, EntryAt(time)));
  EXPECT_EQ(sink.Times(), Times{Second});
  order.Finish();
  EXPECT_EQ(sink.Times(), (Times{Second, 1200000000, 1500000000, 2 * Second}));
  EXPECT_TRUE(late.All().empty());
}

TEST(Reorder, EntriesOfTheSameTimeKeepTheOrderInWhichTheyCame) {
  Sink sink;
  LossLedger late;
  Reorder order(sink, late);
  Put(order, EntryAt(5, 1, 1));
  Put(order, EntryAt(9, 1, 2));
  Put(order, EntryAt(5, 2, 3));
  Put(order, EntryAt(9, 2, 4));
  Put(order, EntryAt(5, 1, 5));
  order.Finish();
  EXPECT_EQ(sink.Records, (std::vector<Bytes>{EntryAt(5, 1, 1), EntryAt(5, 2, 3), EntryAt(5, 1, 5), EntryAt(9, 1, 2),
                                              EntryAt(9, 2, 4)}));
}

TEST(Reorder, WhatIsOlderThanOneHandedOverGoesOnAndIsInTheLedger) {
  Sink sink;
  LossLedger late;
  Reorder order(sink, late);
  Put(order, EntryAt(2 * Second));
  Put(order, EntryAt(4 * Second));  // hands over the first one
  Put(order, EntryAt(Second + 3, 2));
  Put(order, EntryAt(Second + 1, 2));
  order.Finish();
  EXPECT_EQ(sink.Times(), (Times{2 * Second, Second + 3, Second + 1, 4 * Second}));
  EXPECT_EQ(late.All(), (std::vector<Loss>{{2, LossCause::Reordering, Second + 1, Second + 3, 2}}));
}

TEST(Reorder, AnyOrderWithinASecondComesOutSortedAndWhole) {
  std::mt19937 random(7);
  std::uniform_int_distribution<unsigned long> delay(0, Second - 1);
  std::vector<std::pair<unsigned long, unsigned long>> arrivals;  // when, entry's time
  for (unsigned long number = 0; number < 20000; ++number) {
    const unsigned long time = number * 1000000;
    arrivals.emplace_back(time + delay(random), time);
  }
  std::sort(arrivals.begin(), arrivals.end());
  Sink sink;
  LossLedger late;
  Reorder order(sink, late);
  for (const auto& [when, time] : arrivals) ASSERT_TRUE(Put(order, EntryAt(time)));
  order.Finish();
  const Times times = sink.Times();
  EXPECT_EQ(times.size(), arrivals.size());
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
  EXPECT_TRUE(late.All().empty());
}

TEST(Reorder, HoldsNoMoreThanItsLimit) {
  Sink sink;
  const Bytes record = EntryAt(0);
  LossLedger late;
  Reorder order(sink, late, Reorder::kUsualWindow, 10 * record.size());
  for (unsigned long time = 0; time < 100; ++time) Put(order, EntryAt(time));
  EXPECT_EQ(sink.Records.size(), 90u);
  Put(order, EntryAt(50));
  ASSERT_EQ(late.Size(), 1u);
  EXPECT_EQ(late.All()[0].Channel, 1u);
  EXPECT_EQ(late.All()[0].Count, 1u);
  order.Finish();
  EXPECT_EQ(sink.Records.size(), 101u);
}

TEST(Reorder, WhatHasBeenHandedOverTakesNoMemory) {
  class : public RecordSink {
   public:
    bool Take(const RecordView& /*record*/) override { return true; }
  } nowhere;
  constexpr size_t kLimit = 1u << 20;
  const Bytes frame = test::Counting(1500);
  LossLedger late;
  Reorder order(nowhere, late, Reorder::kUsualWindow, kLimit);
  const long before = test::AllocatedMemory();
  for (unsigned long time = 0; time < 10000; ++time)
    Put(order, RecordOf(test::EthernetItem().At(time).Frame(frame)));  // 15 MB
  EXPECT_LT(test::AllocatedMemory() - before, static_cast<long>(2 * kLimit));
}

TEST(Reorder, WithoutAWindowNothingIsHeldAndLateEntriesAreCounted) {
  Sink sink;
  LossLedger late;
  Reorder order(sink, late, 0);
  for (const unsigned long time : {1ul, 3ul, 2ul, 3ul}) Put(order, EntryAt(time));
  EXPECT_EQ(sink.Times(), (Times{1, 3, 2, 3}));
  ASSERT_EQ(late.Size(), 1u);
  EXPECT_EQ(late.All()[0].Channel, 1u);
  EXPECT_EQ(late.All()[0].Count, 1u);
}

TEST(Reorder, EntryFarInTheFutureDoesNotHoldUpTheOthers) {
  Sink sink;
  LossLedger late;
  Reorder order(sink, late);
  Put(order, EntryAt(~0ul));
  for (unsigned long time = 0; time < 100; ++time) Put(order, EntryAt(time));
  EXPECT_EQ(sink.Records.size(), 100u);
  order.Finish();
  EXPECT_EQ(sink.Times().back(), ~0ul);
  EXPECT_TRUE(late.All().empty());
}

TEST(Reorder, SilenceOfASecondHandsEverythingOver) {
  Sink sink;
  std::chrono::steady_clock::time_point now;
  LossLedger late;
  Reorder order(sink, late, Reorder::kUsualWindow, Reorder::kUsualLimit, [&] { return now; });
  Put(order, EntryAt(1));
  order.Pause();
  now += std::chrono::milliseconds(999);
  order.Pause();
  EXPECT_TRUE(sink.Records.empty());
  now += std::chrono::milliseconds(1);
  order.Pause();
  EXPECT_EQ(sink.Times(), Times{1});
  EXPECT_EQ(sink.Pauses, 3u);
}

TEST(Reorder, NothingIsTakenOnceTheNextSinkHasDeclined) {
  Sink sink;
  sink.Limit = 2;  // the second one is declined
  LossLedger late;
  Reorder order(sink, late);
  EXPECT_TRUE(Put(order, EntryAt(0)));
  EXPECT_TRUE(Put(order, EntryAt(Second)));
  EXPECT_FALSE(Put(order, EntryAt(2 * Second)));
  EXPECT_FALSE(Put(order, EntryAt(3 * Second)));
  order.Finish();
  EXPECT_EQ(sink.Times(), (Times{0, Second, 2 * Second}));
}

}  // namespace
}  // namespace client
