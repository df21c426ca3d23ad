// Receive threads that run out of memory: the newest entry is marked, what was made is delivered, the thread ends.
#include <gtest/gtest.h>

#include "channel/ChannelTest.h"
#include "support/FailingAllocator.h"

using namespace test;

namespace {

class ReceiveMemory : public testing::TestWithParam<Qor_Trace_BusType> {
 protected:
  ReceiveMemory() { TakeReports(); }

  [[nodiscard]] Items SomeItems() const {
    Items items;
    for (unsigned int i = 0; i < 6; ++i) {
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
  size_t marked = 0;
  for (unsigned long number = 1; failed; ++number) {
    SCOPED_TRACE(number);
    ASSERT_LT(number, 100U);
    ScriptedInterface interface(GetParam());
    const auto channel = NewChannel(interface);
    std::mutex guard;
    std::vector<std::shared_ptr<Qor_Trace_Entry>> received;
    received.reserve(100);  // the callback itself allocates nothing
    std::atomic<unsigned int> deliveries = 0;
    channel->ConnectReceiveCallback([&](EntryBatch& entries, LatestByKey&) {
      const std::lock_guard lock(guard);
      for (const auto& [time, entry] : entries) received.push_back(entry);
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
    const size_t made = received.size();
    ASSERT_LE(made, items.size());
    for (size_t i = 0; i < made; ++i) {
      const bool last = failed && i + 1 == made;
      EXPECT_EQ(BytesOf(*received[i]), last ? Marked(records[i]) : records[i]);
      marked += last ? 1 : 0;
    }
    if (!failed) {
      EXPECT_EQ(made, items.size());
    }
  }
  EXPECT_GE(marked, items.size());  // every place in the batch was the last one at least once
  EXPECT_TRUE(TakeReports().empty());
}

TEST_P(ReceiveMemory, PollsNoMoreOnceItWasExhausted) {
  ScriptedInterface interface(GetParam());
  const auto channel = NewChannel(interface);
  std::atomic<unsigned int> deliveries = 0;
  channel->ConnectReceiveCallback([&](EntryBatch&, LatestByKey&) { ++deliveries; });
  channel->Start();
  ASSERT_TRUE(WaitUntil([&] { return interface.PollCount() > 0; }));
  {
    const FailingAllocator exhausted(FailingAllocator::OtherThreads, 1, FailingAllocator::Once);
    interface.NextItems(SomeItems());
    ASSERT_TRUE(WaitUntil([&] { return deliveries > 0; }));
  }
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
