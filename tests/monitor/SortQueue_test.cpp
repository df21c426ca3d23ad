// The sort stage by itself: runs of several channels against a stable sort of their entries.
#include "monitor/SortQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/MonitorItems.h"

using namespace test;

namespace {

constexpr unsigned long kEndOfTime = ~0UL;

/// An entry by its time and the number of its batch, which stands in its channel number.
struct Entry {
  unsigned long Time;
  unsigned int Batch;

  bool operator==(const Entry&) const = default;
};

class Sorting : public testing::Test {
 protected:
  /// Queues a batch with these times.
  void Arrive(const std::vector<unsigned long>& times) {
    EntryBatch batch;
    for (const unsigned long time : times) {
      const Bytes item = Frame(1).At(time).Data(Counting(time % 9));
      Bytes padded = item;
      padded.resize(80);
      batch.Add(Batches, reinterpret_cast<const Can_Param_Monitor_Buffer64_LargeItem_t*>(padded.data()));
      Waiting.push_back({time, Batches});
    }
    ++Batches;
    batch.Sort();
    SortQueue::Runs run;
    run.emplace_back(batch);
    Queue.Add(run);
    EXPECT_TRUE(run.empty());
  }
  /// Expects that a pass stores what is due, in the order of time, then of arrival.
  void ExpectPass(unsigned long horizon) {
    std::stable_sort(Waiting.begin(), Waiting.end(), [](const Entry& a, const Entry& b) { return a.Time < b.Time; });
    const auto end =
        std::find_if(Waiting.begin(), Waiting.end(), [&](const Entry& entry) { return entry.Time > horizon; });
    Qor_Trace_EntryStore store;
    Queue.MoveTo(store, horizon);
    std::vector<Entry> stored;
    for (const auto& record : store) stored.push_back({record.Timestamp, record.ChannelId});
    EXPECT_EQ(stored, std::vector<Entry>(Waiting.begin(), end));
    Waiting.erase(Waiting.begin(), end);
    ASSERT_EQ(Queue.empty(), Waiting.empty());
    if (Waiting.empty()) return;
    EXPECT_EQ(Queue.OldestTime(), Waiting.front().Time);
    EXPECT_EQ(Queue.NewestTime(), Waiting.back().Time);
  }

  SortQueue Queue;
  std::vector<Entry> Waiting;
  unsigned int Batches = 0;
};

}  // namespace

TEST_F(Sorting, TakesWhatIsDueAndKeepsTheRest) {
  Arrive({1, 3, 5});
  Arrive({2, 4, 6});
  ExpectPass(0);
  ExpectPass(3);
  ExpectPass(3);
  ExpectPass(kEndOfTime);
}

TEST_F(Sorting, KeepsTheOrderOfArrivalForEqualTimes) {
  Arrive({7, 7});
  Arrive({7});
  Arrive({5, 7, 7});
  Arrive({7});
  Arrive({6, 7});
  ExpectPass(kEndOfTime);
}

TEST_F(Sorting, TakesEntriesAtTheEndOfTime) {
  Arrive({0, kEndOfTime});
  Arrive({kEndOfTime});
  ExpectPass(0);
  ExpectPass(kEndOfTime);
}

TEST_F(Sorting, AgreesWithAStableSortWhateverArrives) {
  std::mt19937 random(20261122);
  const auto below = [&](unsigned int end) { return static_cast<unsigned int>(random() % end); };
  for (int round = 0; round < 200; ++round) {
    const unsigned int channels = 1 + below(16);
    std::vector<unsigned long> now(channels);
    unsigned long horizon = 0;
    for (int step = 0; step < 30; ++step) {
      unsigned long& time = now[below(channels)];
      if (below(10) == 0) time -= std::min<unsigned long>(time, below(100));  // its clock goes back
      std::vector<unsigned long> times(1 + below(20));
      for (auto& one : times) one = time += below(4);
      if (below(4) == 0) std::shuffle(times.begin(), times.end(), random);
      Arrive(times);
      if (below(3) == 0) {
        ASSERT_NO_FATAL_FAILURE(ExpectPass(horizon += below(40)));
      }
    }
    ASSERT_NO_FATAL_FAILURE(ExpectPass(kEndOfTime));
  }
}
