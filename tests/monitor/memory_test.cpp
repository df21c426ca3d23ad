// A monitor that runs out of memory while it stores: its receive thread, and the stop that stores what is still queued.
#include <gtest/gtest.h>

#include <filesystem>

#include "monitor/MonitorTest.h"
#include "monitor/SwapFile.h"
#include "support/EntryBuilder.h"
#include "support/FailingAllocator.h"
#include "support/Sleeps.h"

using namespace test;

namespace {

class MonitorMemory : public OneChannelTest {};

/// What may have been reported: nothing, or exhausted memory once.
void ExpectAtMostOneReport() {
  const auto reports = TakeReports();
  ASSERT_LE(reports.size(), 1U);
  for (const Report& report : reports) {
    EXPECT_EQ(report, (Report{255, QOR_TRACE_STATUS_OUT_OF_MEMORY, "could not store received entries"}));
  }
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

// The second block of records is longer than the first.
TEST(SwapFileMemory, ThatRunsOutIsToldBeforeAnythingIsWritten) {
  const TemporaryDirectory directory;
  Qor_Trace_EntryStore entries;
  for (int i = 0; i < 17; ++i) entries.push_back(EthernetItem().Frame(Counting(65000)).Entry());
  for (int i = 0; i < 9200; ++i) entries.push_back(CanItem().Data(Counting(64)).Entry());
  bool failed = true;
  for (unsigned long number = 1; failed; ++number) {
    SCOPED_TRACE(number);
    ASSERT_LT(number, 100U);
    SwapFile swap("swap" + std::to_string(number) + ".bin");
    unsigned int written = 0;
    bool told = false;
    {
      const FailingAllocator exhausted(FailingAllocator::ThisThread, number, FailingAllocator::Once);
      try {
        swap.Append(entries, 0, entries.size(), written);
      } catch (const std::bad_alloc&) {
        told = true;
      }
      failed = exhausted.HasFailed();
    }
    EXPECT_EQ(told, failed);
    EXPECT_EQ(written, told ? 0U : 9217U);
  }
}

TEST_F(MonitorMemory, ThatIsExhaustedWhileALongStoreIsSwappedLosesNoRecord) {
  constexpr unsigned int kEntries = 60'000;  // more than one segment holds
  constexpr unsigned int kPerDelivery = 2500;
  bool failed = true;
  for (unsigned long number = 1; failed; ++number) {
    SCOPED_TRACE(number);
    ASSERT_LT(number, 100U);
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 2 * kEntries);
    Monitor->FlushMonitorBuffer();
    Monitor->Start(0);
    for (unsigned int first = 0; first < kEntries; first += kPerDelivery) Deliver(FramesFrom(first, kPerDelivery));
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, kEntries);
    {
      const FailingAllocator exhausted(FailingAllocator::OtherThreads, number, FailingAllocator::Once);
      const unsigned int polls = Can.PollCount();
      Can.NextItems(FramesFrom(kEntries, 1));
      ASSERT_TRUE(WaitUntil([&] { return exhausted.HasFailed() || Can.PollCount() > polls + 1; }));
      CodeOf([&] { Monitor->Stop(); });  // the swap file is complete then, or its failure reported
      failed = exhausted.HasFailed();
    }
    // Whatever failed, the entries from before are there, in the file or in memory, which may hold again what is in the file.
    const unsigned int total = EntryCount(*Monitor);
    ASSERT_GE(total, kEntries);
    const auto all = GetItems(*Monitor, 0, 0, (total + 1) * 48);
    ASSERT_EQ(all.Count, total);
    const unsigned int again =
        total - kEntries - (total > kEntries && ReadAt<unsigned long>(all.Buffer, (total - 1) * 48UL + 8) == kEntries);
    for (unsigned int i = 0; i < kEntries; ++i) ASSERT_EQ(ReadAt<unsigned long>(all.Buffer, (again + i) * 48UL + 8), i);
    ExpectAtMostOneReport();
  }
}

// ---- Stop

namespace {

struct StopCase {
  const char* Name;
  unsigned int Mode;   // of the start
  unsigned int Limit;  // of the memory guard
  FailingAllocator::Duration Duration;
};

constexpr unsigned int kNoLimit = 1000000;
// A segment of the store holds 40,329 of these entries: the queue, stored after that many, needs a new one at its tenth.
constexpr unsigned int kStored = 40320;
constexpr unsigned int kPerPoll = kStored / 16;
constexpr unsigned int kQueued = 20;
constexpr unsigned long kFarAhead = 50'000'000UL * 1'000'000;  // ns; as many passes of the sort thread

class StopMemory : public MonitorTest, public testing::WithParamInterface<StopCase> {
 protected:
  ~StopMemory() override { Monitor.reset(); }

  static void Deliver(ScriptedInterface& interface, const Items& items) {
    interface.NextItems(items);
    ASSERT_TRUE(interface.WaitUntilDelivered());
  }
  /// A new monitor with entries in its store, and others in the queue of a run that has just ended its sort thread's waits.
  void Prepare() {
    Monitor.reset();
    Monitor = std::make_unique<Qor_Trace_Monitor>();
    std::filesystem::remove(SwapName());  // of the monitor before, made in the same second
    Add(*Monitor, First);
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, kNoLimit);
    Monitor->Start(0);
    for (unsigned int first = 0; first < kStored; first += kPerPoll) Deliver(First, FramesFrom(first, kPerPoll));
    Monitor->Stop();
    Add(*Monitor, Second);
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, GetParam().Limit);
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_ASC_MAX_FILE_SIZE, 512);  // so that a live recording goes through files
    SortClock clock;
    Monitor->Start(GetParam().Mode);
    // The time of the first one is the sort thread's horizon, which doesn't get to the others.
    Deliver(First, FramesFrom(kStored, 1));
    Deliver(First, FramesFrom(kFarAhead, kQueued - 5));
    Deliver(Second, FramesFrom(kFarAhead + 3, 4));  // same times as some before, so that their order shows
  }
  static Items Expected() {
    Items expected = RecordsOf(1, FramesFrom(0, kStored + 1));
    for (unsigned int i = 0; i < kQueued - 5; ++i) {
      expected.push_back(RecordsOf(1, FramesFrom(kFarAhead + i, 1))[0]);
      if (i >= 3 && i < 7) expected.push_back(RecordsOf(2, FramesFrom(kFarAhead + i, 1))[0]);
    }
    return expected;
  }

  ScriptedInterface First, Second;
};

INSTANTIATE_TEST_SUITE_P(
    Exhausted, StopMemory,
    testing::Values(StopCase{"Once", 0, kNoLimit, FailingAllocator::Once},
                    StopCase{"FromThenOn", 0, kNoLimit, FailingAllocator::FromThenOn},
                    StopCase{"OnceSwapping", 0, kStored + kQueued, FailingAllocator::Once},
                    StopCase{"FromThenOnSwapping", 0, kStored + kQueued, FailingAllocator::FromThenOn},
                    StopCase{"OnceRecording", QOR_TRACE_START_ASC_RECORDING, kNoLimit, FailingAllocator::Once},
                    StopCase{"FromThenOnRecording", QOR_TRACE_START_ASC_RECORDING, kNoLimit,
                             FailingAllocator::FromThenOn}),
    [](const auto& which) { return std::string(which.param.Name); });

}  // namespace

TEST_P(StopMemory, ThatIsExhaustedLeavesTheQueueForTheNextStop) {
  const Items expected = Expected();
  bool failed = true;
  for (unsigned long number = 1; failed; ++number) {
    SCOPED_TRACE(number);
    ASSERT_LT(number, 100U);
    ASSERT_NO_FATAL_FAILURE(Prepare());
    TakeReports();
    unsigned int code = 0;
    {
      const FailingAllocator exhausted(FailingAllocator::ThisThread, number, GetParam().Duration);
      code = CodeOf([&] { Monitor->Stop(); });
      failed = exhausted.HasFailed();
    }
    EXPECT_EQ(code, failed ? QOR_TRACE_STATUS_OUT_OF_MEMORY : 0U);
    ExpectAtMostOneReport();
    EXPECT_EQ(CodeOf([&] { Monitor->Stop(); }), 0U);
    EXPECT_EQ(GetItems(*Monitor, 0, 0, 2 * kLargeCapacity).Records(), expected);
    EXPECT_TRUE(TakeReports().empty());
  }
}
