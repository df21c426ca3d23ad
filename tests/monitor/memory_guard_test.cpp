// The memory guard: swapping out and discarding.
#include <gtest/gtest.h>

#include <filesystem>

#include "monitor/MonitorTest.h"
#include "support/FileSizeLimit.h"

using namespace test;

namespace {

class MemoryGuard : public OneChannelTest {
 protected:
  void Limit(unsigned int entries) { SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, entries); }
  /// Delivers a batch that the guard can't deal with, and waits for its report.
  void DeliverInVain(const Items& items) {
    Can.NextItems(items);
    ASSERT_TRUE(WaitUntil([] { return Qor_Sim_ReportCount() > 0; }));
    Monitor->Stop();
    const auto reports = TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].Level, 255U);
    EXPECT_EQ(reports[0].Code, QOR_TRACE_STATUS_FILE_ERROR);
  }
};

/// The swap file's bytes for these items on channel 1.
Bytes Swapped(const Items& items) {
  Bytes bytes;
  for (const Bytes& record : RecordsOf(1, items)) Append(bytes, record);
  return bytes;
}

constexpr size_t kRecord = 45;  // bytes of a record of FramesFrom

}  // namespace

// ---- Swapping

TEST_F(MemoryGuard, DoesNothingBelowItsLimit) {
  Limit(100);
  Record(FramesFrom(1, 99));
  EXPECT_FALSE(std::filesystem::exists(SwapName()));
  EXPECT_EQ(EntryCount(*Monitor), 99U);
}

TEST_F(MemoryGuard, SwapsTheWholeStoreAtItsLimit) {
  Limit(100);
  Record(FramesFrom(1, 100));
  EXPECT_EQ(FileBytes(SwapName()), Swapped(FramesFrom(1, 100)));
  EXPECT_EQ(EntryCount(*Monitor), 100U);
}

TEST_F(MemoryGuard, RunsOncePerBatch) {
  Limit(100);
  Monitor->Start(0);
  Deliver(FramesFrom(1, 90));
  EXPECT_FALSE(std::filesystem::exists(SwapName()));
  Deliver(FramesFrom(91, 30));  // 90 to 120
  EXPECT_EQ(FileBytes(SwapName()), Swapped(FramesFrom(1, 120)));
  EXPECT_EQ(EntryCount(*Monitor), 120U);
  EXPECT_EQ(GetItems(*Monitor, 120).Count, 0U);  // memory is empty
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(1, 120)));
}

TEST_F(MemoryGuard, AppendsToTheSwapFile) {
  Limit(10);
  Monitor->Start(0);
  for (unsigned long first = 1; first < 50; first += 10) Deliver(FramesFrom(first, 10));
  EXPECT_EQ(FileBytes(SwapName()), Swapped(FramesFrom(1, 50)));
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(1, 50)));
}

TEST_F(MemoryGuard, ActsOnEveryBatchWithALimitOfZero) {
  Limit(0);
  Monitor->Start(0);
  Deliver(FramesFrom(1, 1));
  Deliver(FramesFrom(2, 3));
  EXPECT_EQ(FileBytes(SwapName()), Swapped(FramesFrom(1, 4)));
}

TEST_F(MemoryGuard, SwapsRecordsOfEveryLength) {
  Items items;
  for (size_t length = 0; length <= 64; ++length) items.push_back(Frame(0x100).At(length).Data(Counting(length)));
  Limit(1);
  Record(items);
  EXPECT_EQ(FileBytes(SwapName()), Swapped(items));
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, items));
}

TEST_F(MemoryGuard, SwapsMoreThanOneBlock) {
  // 40 records of 65,563 bytes: several of the blocks in which files are written and read.
  ScriptedInterface ethernet(BusType_Ethernet);
  Qor_Trace_Monitor monitor;
  Add(monitor, ethernet);
  SetNumber(monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 40);
  Items items;
  for (unsigned int i = 0; i < 40; ++i) {
    items.push_back(EthernetFrame(Counting(65400 - i, i)).At(i));
    ethernet.NextItems({items.back()});
  }
  monitor.Start(0);
  ASSERT_TRUE(ethernet.WaitUntilDelivered());
  monitor.Stop();
  EXPECT_EQ(GetItems(monitor, 0, 0, 40 * 65536).Records(), RecordsOf(1, items, BusType_Ethernet));
  EXPECT_EQ(GetItems(monitor, 37, 0, 40 * 65536).Records().size(), 3U);
}

TEST_F(MemoryGuard, GoesOnBehindAFileThatWasThereBefore) {
  // Another monitor of the same second, say: its records come first, as in the file.
  const Items others = FramesFrom(1000, 3);
  WriteFile(SwapName(), Swapped(others));
  Limit(2);
  Record(FramesFrom(1, 2));
  Bytes expected = Swapped(others);
  Append(expected, Swapped(FramesFrom(1, 2)));
  EXPECT_EQ(FileBytes(SwapName()), expected);
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(1000, 2)));
}

// ---- Discarding

TEST_F(MemoryGuard, DiscardsTheOlderHalf) {
  Limit(100);
  Record(FramesFrom(1, 101), QOR_TRACE_START_DISCARD_OLDEST);
  EXPECT_EQ(EntryCount(*Monitor), 51U);
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(51, 51)));
  EXPECT_FALSE(std::filesystem::exists(SwapName()));
}

TEST_F(MemoryGuard, DiscardsAgainAndAgain) {
  Limit(10);
  Monitor->Start(QOR_TRACE_START_DISCARD_OLDEST);
  Deliver(FramesFrom(1, 9));
  EXPECT_EQ(EntryCount(*Monitor), 9U);
  Deliver(FramesFrom(10, 1));
  EXPECT_EQ(EntryCount(*Monitor), 5U);
  Deliver(FramesFrom(11, 6));  // 11 - 5
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(11, 6)));
}

TEST_F(MemoryGuard, NeverDiscardsTheOnlyEntry) {
  Limit(0);
  Monitor->Start(QOR_TRACE_START_DISCARD_OLDEST);
  Deliver(FramesFrom(1, 1));
  EXPECT_EQ(EntryCount(*Monitor), 1U);
  Deliver(FramesFrom(2, 1));
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(2, 1)));
}

TEST_F(MemoryGuard, DiscardingLeavesTheSwappedEntries) {
  Limit(4);
  Record(FramesFrom(1, 4));
  Record(FramesFrom(11, 4), QOR_TRACE_START_DISCARD_OLDEST);
  EXPECT_EQ(EntryCount(*Monitor), 6U);
  Items expected = RecordsOf(1, FramesFrom(1, 4));
  for (const Bytes& record : RecordsOf(1, FramesFrom(13, 2))) expected.push_back(record);
  EXPECT_EQ(GetItems(*Monitor).Records(), expected);
}

// ---- Failures

TEST_F(MemoryGuard, FullDiskCountsTheWholeRecordsAndKeepsTheStore) {
  for (const size_t room : {size_t{0}, size_t{1}, kRecord - 1, kRecord, kRecord + 1, 7 * kRecord + 20}) {
    SCOPED_TRACE(room);
    Monitor->FlushMonitorBuffer();
    Limit(10);
    Monitor->Start(0);
    {
      const FileSizeLimit full(room);
      DeliverInVain(FramesFrom(1, 10));
    }
    const size_t whole = room / kRecord;
    EXPECT_EQ(EntryCount(*Monitor), 10 + whole);  // those in the file, and all of the store
    EXPECT_EQ(FileBytes(SwapName()), Swapped(FramesFrom(1, whole)));
    Items expected = RecordsOf(1, FramesFrom(1, whole));
    for (const Bytes& record : RecordsOf(1, FramesFrom(1, 10))) expected.push_back(record);
    EXPECT_EQ(GetItems(*Monitor).Records(), expected);
  }
}

TEST_F(MemoryGuard, SwapsOnOnceThereIsRoomAgain) {
  Limit(10);
  Monitor->Start(0);
  {
    const FileSizeLimit full(3 * kRecord + 7);
    DeliverInVain(FramesFrom(1, 10));
  }
  Record(FramesFrom(11, 2));
  EXPECT_EQ(EntryCount(*Monitor), 3U + 12U);
  Items expected = RecordsOf(1, FramesFrom(1, 3));
  for (const Bytes& record : RecordsOf(1, FramesFrom(1, 12))) expected.push_back(record);
  EXPECT_EQ(GetItems(*Monitor).Records(), expected);
  EXPECT_TRUE(TakeReports().empty());
}

TEST_F(MemoryGuard, PlantedLinkIsRefusedWithItsReasonAndCountsNothing) {
  const Bytes victim = {'m', 'i', 'n', 'e'};
  WriteFile("victim", victim);
  std::filesystem::create_symlink("victim", SwapName());
  Limit(3);
  Monitor->Start(0);
  Can.NextItems(FramesFrom(1, 3));
  ASSERT_TRUE(WaitUntil([] { return Qor_Sim_ReportCount() > 0; }));
  Monitor->Stop();
  EXPECT_EQ(TakeReports(), (std::vector<Report>{{255, QOR_TRACE_STATUS_FILE_ERROR,
                                                 "Cannot open swap file: path=\"" + SwapName() +
                                                     "\", errno=40 (Too many levels of symbolic links)"}}));
  EXPECT_EQ(EntryCount(*Monitor), 3U);
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(1, 3)));
  EXPECT_EQ(FileBytes("victim"), victim);
}

TEST_F(MemoryGuard, FileThatCannotBeOpenedCountsNothing) {
  std::filesystem::create_directory(SwapName());
  Limit(3);
  Monitor->Start(0);
  DeliverInVain(FramesFrom(1, 3));
  EXPECT_EQ(EntryCount(*Monitor), 3U);
  std::filesystem::remove(SwapName());
  Record(FramesFrom(4, 1));
  EXPECT_EQ(FileBytes(SwapName()), Swapped(FramesFrom(1, 4)));
}
