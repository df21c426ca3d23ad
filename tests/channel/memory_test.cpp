// Receive threads that run out of memory: the newest entry is marked, what was made is delivered, the thread ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "channel/ChannelTest.h"
#include "support/FailingAllocator.h"
#include "support/ProcessThreads.h"

using namespace test;

namespace {

class ReceiveMemory : public testing::TestWithParam<Qor_Trace_BusType> {
 protected:
  ReceiveMemory() { TakeReports(); }

  static constexpr unsigned int kItems = 200;

  /// So many that what collects them grows several times.
  [[nodiscard]] Items SomeItems() const {
    Items items;
    for (unsigned int i = 0; i < kItems; ++i) {
      const unsigned long time = 100 + i;
      switch (GetParam()) {
        case BusType_Can:
          items.push_back(Frame(i).At(time).Data({1, 2}));
          break;
        case BusType_Lin:
          items.push_back(LinFrame(i).At(time).Data({1, 2}));
          break;
        case BusType_FlexRay:
          items.push_back(FlexRayFrame(i).At(time).Data({1, 2}));
          break;
        default:
          items.push_back(EthernetFrame({1, 2}).At(time));
      }
    }
    return items;
  }
  /// The record with an overrun mark.
  [[nodiscard]] Bytes Marked(Bytes record) const {
    if (GetParam() == BusType_Can) {
      record[40] |= 0x80;
    } else if (GetParam() == BusType_Lin) {
      record[30] |= 0x80;
    } else {
      record[30] = record[31] = 0;
    }
    return record;
  }
};

INSTANTIATE_TEST_SUITE_P(Bus, ReceiveMemory,
                         testing::Values(BusType_Can, BusType_Lin, BusType_FlexRay, BusType_Ethernet));

}  // namespace

TEST_P(ReceiveMemory, MarksTheNewestEntryDeliversAndEnds) {
  // The allocations of the thread fail one after the other, first the first, then the second, until all succeed. The very
  // first one is that of its buffer, whose failure ends the process (a test of its own).
  const Items items = SomeItems();
  Items records;
  for (const Bytes& item : items) records.push_back(RecordOf(GetParam(), 1, item));
  bool failed = true;
  std::set<size_t> places;  // in the batch at which memory ran out
  for (unsigned long number = 1; failed; ++number) {
    SCOPED_TRACE(number);
    ASSERT_LT(number, 100U);
    ScriptedInterface interface(GetParam());
    const auto channel = NewChannel(interface);
    Bytes received;
    received.reserve(100'000);  // the callback itself allocates nothing
    std::atomic<unsigned int> deliveries = 0;
    channel->ConnectReceiveCallback([&](EntryBatch& entries, LatestByKey&) {
      for (size_t i = 0; i < entries.size(); ++i) {
        const auto* const record = reinterpret_cast<const unsigned char*>(&entries[i]);
        received.insert(received.end(), record, record + entries[i].Length);
      }
      ++deliveries;
    });
    channel->Start();
    ASSERT_TRUE(WaitUntil([&] { return interface.PollCount() > 0; }));  // the buffer is there
    {
      const FailingAllocator exhausted(FailingAllocator::OtherThreads, number, FailingAllocator::FromThenOn);
      interface.NextItems(items);
      ASSERT_TRUE(WaitUntil([&] { return deliveries > 0; }));
      failed = exhausted.HasFailed();
    }
    channel->Stop();
    EXPECT_EQ(interface.StopCommands(), 1U);
    size_t made = 0;
    for (size_t at = 0; at < received.size(); ++made) {
      ASSERT_LT(made, items.size());
      const auto end = at + ReadAt<unsigned int>(received, at);
      const bool last = failed && end == received.size();
      EXPECT_EQ(Bytes(received.begin() + static_cast<std::ptrdiff_t>(at),
                      received.begin() + static_cast<std::ptrdiff_t>(end)),
                last ? Marked(records[made]) : records[made]);
      at = end;
    }
    if (failed) {
      places.insert(made);
    } else {
      EXPECT_EQ(made, items.size());
    }
  }
  EXPECT_GT(places.size(), 5U);
  EXPECT_TRUE(TakeReports().empty());
}

TEST_P(ReceiveMemory, PollsNoMoreOnceItWasExhausted) {
  ScriptedInterface interface(GetParam());
  const auto channel = NewChannel(interface);
  std::atomic<unsigned int> deliveries = 0;
  channel->ConnectReceiveCallback([&](EntryBatch&, LatestByKey&) { ++deliveries; });
  const std::set<pid_t> others = Threads();
  channel->Start();
  ASSERT_TRUE(WaitUntil([&] { return interface.PollCount() > 0; }));
  {
    const FailingAllocator exhausted(FailingAllocator::OtherThreads, 1, FailingAllocator::Once);
    interface.NextItems(SomeItems());
    ASSERT_TRUE(WaitUntil([&] { return deliveries > 0; }));
  }
  ASSERT_TRUE(WaitUntil([&] { return std::ranges::includes(others, Threads()); }))
      << "the receive thread ends by itself";
  interface.NextItems(SomeItems());
  channel->Stop();
  EXPECT_EQ(interface.Pending(), 1U);
  channel->Start();  // memory is back: so is the thread
  ASSERT_TRUE(WaitUntil([&] { return deliveries > 1; }));
  channel->Stop();
}

TEST_P(ReceiveMemory, CallbackWithoutMemoryIsReportedAndEndsTheThread) {
  ScriptedInterface interface(GetParam());
  const auto channel = NewChannel(interface);
  channel->ConnectReceiveCallback([&](EntryBatch&, LatestByKey&) { throw std::bad_alloc(); });
  interface.NextItems(SomeItems()).NextItems(SomeItems());
  channel->Start();
  ASSERT_TRUE(WaitUntil([] { return Qor_Sim_ReportCount() > 0; }));
  channel->Stop();
  EXPECT_EQ(interface.Pending(), 1U);
  EXPECT_EQ(TakeReports(),
            (std::vector<Report>{{255, QOR_TRACE_STATUS_OUT_OF_MEMORY, "could not store received entries"}}));
}
