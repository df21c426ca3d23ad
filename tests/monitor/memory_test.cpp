// A monitor whose receive thread runs out of memory while it stores.
#include <gtest/gtest.h>

#include "monitor/MonitorTest.h"
#include "support/FailingAllocator.h"

using namespace test;

namespace {

class MonitorMemory : public OneChannelTest {};

/// What may have been reported: nothing, or exhausted memory once.
void ExpectAtMostOneReport() {
  const auto reports = TakeReports();
  ASSERT_LE(reports.size(), 1U);
  for (const Report& report : reports) EXPECT_EQ(report, (Report{255, 0x0214000C, "could not store received entries"}));
}

}  // namespace

TEST_F(MonitorMemory, ThatIsExhaustedOnTheReceiveThreadLeavesAPrefixOfTheTrace) {
  // Each allocation fails in its turn, up to the first round in which none has to.
  const Items items = FramesFrom(1, 20);
  bool failed = true;
  for (unsigned long number = 1; failed; ++number) {
    SCOPED_TRACE(number);
    ASSERT_LT(number, 300U);
    Monitor->FlushMonitorBuffer();
    Monitor->FlushListMonitorBuffer();
    Monitor->Start(0);
    const unsigned int polls = Can.PollCount();
    ASSERT_TRUE(WaitUntil([&] { return Can.PollCount() > polls; }));  // the thread has its buffer
    {
      const FailingAllocator exhausted(FailingAllocator::OtherThreads, number, FailingAllocator::FromThenOn);
      Can.NextItems(items);
      // Either it takes all, or it has failed and ends.
      ASSERT_TRUE(WaitUntil([&] { return exhausted.HasFailed() || ListCount(*Monitor) == items.size(); }));
      if (exhausted.HasFailed()) Monitor->Stop();
      failed = exhausted.HasFailed();
    }
    Monitor->Stop();
    const Items records = GetItems(*Monitor).Records();
    ASSERT_LE(records.size(), items.size());
    for (size_t i = 0; i < records.size(); ++i) {
      Bytes record = records[i];
      if (i + 1 == records.size()) record[40] = 0;  // may bear the overrun mark
      EXPECT_EQ(record, RecordsOf(1, items)[i]);
    }
    ExpectAtMostOneReport();
  }
  EXPECT_EQ(EntryCount(*Monitor), items.size());
}

TEST_F(MonitorMemory, ThatIsExhaustedWhileSwappingLosesNoRecord) {
  const Items items = FramesFrom(1, 20);
  bool failed = true;
  for (unsigned long number = 1; failed; ++number) {
    SCOPED_TRACE(number);
    ASSERT_LT(number, 300U);
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 1000);
    Monitor->FlushMonitorBuffer();
    Monitor->Start(0);
    Deliver(items);
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 20);
    const unsigned int rows = ListCount(*Monitor);
    {
      const FailingAllocator exhausted(FailingAllocator::OtherThreads, number, FailingAllocator::Once);
      Can.NextItems({Frame(static_cast<unsigned int>(1000 + number)).At(1000)});
      ASSERT_TRUE(WaitUntil([&] { return exhausted.HasFailed() || ListCount(*Monitor) > rows; }));
      Monitor->Stop();
      failed = exhausted.HasFailed();
    }
    // Whatever failed, the twenty entries from before are there, in the file or in memory.
    const Items records = GetItems(*Monitor).Records();
    ASSERT_GE(records.size(), items.size());
    EXPECT_EQ(Items(records.begin(), records.begin() + 20), RecordsOf(1, items));
    ExpectAtMostOneReport();
  }
}
