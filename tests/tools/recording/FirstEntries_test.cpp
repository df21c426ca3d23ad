#include "recording/FirstEntries.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

/// Of a recording with a clock that the test sets.
class FirstEntriesTest : public testing::Test {
 protected:
  void Take(unsigned int channel, unsigned long time) { First.Take(ViewOf(EntryOf(channel, time))); }

  static Bytes EntryOf(unsigned int channel, unsigned long time) {
    return RecordOf(test::CanItem().Channel(channel).At(time).Data({1, 2, 3}));
  }

  std::vector<Bytes> HandedOver(std::size_t limit = ~std::size_t{0}) {
    std::vector<Bytes> records;
    First.HandOver([&](const RecordView& record) {
      records.emplace_back(record.Bytes().begin(), record.Bytes().end());
      return records.size() < limit;
    });
    return records;
  }

  std::chrono::steady_clock::time_point Time = std::chrono::steady_clock::time_point() + std::chrono::hours(1);
  FirstEntries First{2, [this] { return Time; }};
};

TEST_F(FirstEntriesTest, AreCompleteWhenEachChannelHasSome) {
  EXPECT_FALSE(First.AreComplete());
  Take(2, 700);
  Take(2, 900);
  EXPECT_FALSE(First.AreComplete());
  Take(1, 30);
  EXPECT_TRUE(First.AreComplete());
  EXPECT_EQ(First.Earliest(), 30u);
  EXPECT_EQ(First.Latest(), 900u);
}

TEST_F(FirstEntriesTest, SilentChannelIsWaitedForFromTheFirstEntryOn) {
  Time += std::chrono::seconds(10);
  Take(1, 30);
  Time += FirstEntries::kLongestWait - std::chrono::nanoseconds(1);
  Take(1, 40);
  EXPECT_FALSE(First.AreComplete());
  Time += std::chrono::nanoseconds(1);
  EXPECT_TRUE(First.AreComplete());
}

TEST_F(FirstEntriesTest, WithoutEntriesThereIsNothingToWaitFor) {
  EXPECT_TRUE(First.empty());
  Time += std::chrono::hours(1);
  EXPECT_FALSE(First.AreComplete());
  First.WaitNoMore();
  EXPECT_FALSE(First.AreComplete());
}

TEST_F(FirstEntriesTest, NoneIsWaitedForAtTheEnd) {
  Take(1, 30);
  EXPECT_FALSE(First.AreComplete());
  First.WaitNoMore();
  EXPECT_TRUE(First.AreComplete());
}

TEST_F(FirstEntriesTest, LeaveInTheOrderInWhichTheyCame) {
  Take(2, 700);
  Take(1, 30);
  Take(2, 800);
  EXPECT_EQ(HandedOver(), (std::vector<Bytes>{EntryOf(2, 700), EntryOf(1, 30), EntryOf(2, 800)}));
  EXPECT_TRUE(First.empty());
  EXPECT_EQ(HandedOver(), std::vector<Bytes>());
}

TEST_F(FirstEntriesTest, NothingFollowsOneThatWasDeclined) {
  Take(1, 10);
  Take(2, 20);
  Take(1, 30);
  EXPECT_EQ(HandedOver(2), (std::vector<Bytes>{EntryOf(1, 10), EntryOf(2, 20)}));
}

}  // namespace
}  // namespace client
