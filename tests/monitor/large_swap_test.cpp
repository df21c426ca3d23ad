// Stores that are too long to be written to the swap file within a delivery: a thread writes them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "monitor/MonitorTest.h"
#include "support/FileSizeLimit.h"

using namespace test;

namespace {

constexpr unsigned int kPerPoll = 2500;
constexpr unsigned int kLimit = 60'000;  // entries: more than one segment holds
constexpr size_t kRecord = 45;           // bytes of a record of FramesFrom
constexpr unsigned int kFileError = 0x02140007;

class LargeSwap : public OneChannelTest {
 protected:
  LargeSwap() { SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, kLimit); }

  /// Queues polls with the entries `first` to `end` - 1.
  void Queue(unsigned int first, unsigned int end) {
    for (; first < end; first += kPerPoll) Can.NextItems(FramesFrom(first, std::min(kPerPoll, end - first)));
  }
  void DeliverAll(unsigned int first, unsigned int end) {
    Queue(first, end);
    ASSERT_TRUE(Can.WaitUntilDelivered());
  }
  /// Expects that the trace holds the entries `first` to `end` - 1 from index `start` on. Reads some at a time.
  void ExpectEntries(unsigned int start, unsigned int first, unsigned int end) {
    Bytes buffer(1000 * 48);
    for (unsigned int next = first; next < end;) {
      unsigned int count = 1000, size = static_cast<unsigned int>(buffer.size());
      Monitor->GetItems(start + next - first, &count, &size, buffer.data());
      ASSERT_GT(count, 0U) << "from " << next;
      for (unsigned int i = 0; i < count && next < end; ++i, ++next) {
        ASSERT_EQ(ReadAt<unsigned long>(buffer, i * 48 + 8), next);
      }
    }
  }
};

}  // namespace

TEST_F(LargeSwap, IsReadLikeAnyOtherWhileItIsWritten) {
  Monitor->Start(0);
  DeliverAll(0, kLimit);
  ExpectEntries(0, 0, kLimit);
  EXPECT_EQ(EntryCount(*Monitor), kLimit);
  Monitor->Stop();
  EXPECT_EQ(std::filesystem::file_size(SwapName()), kLimit * kRecord);
  ExpectEntries(0, 0, kLimit);
  EXPECT_EQ(EntryCount(*Monitor), kLimit);
  EXPECT_EQ(GetItems(*Monitor, kLimit).Count, 0U);  // memory is empty
}

TEST_F(LargeSwap, KeepsTheOrderHoweverManyFollow) {
  constexpr unsigned int kAll = 7 * kLimit + kPerPoll;
  Monitor->Start(0);
  Queue(0, kAll);
  ASSERT_TRUE(WaitUntil([&] {
    const unsigned int soFar = EntryCount(*Monitor);
    if (soFar > kLimit) ExpectEntries(0, 0, (soFar - 1) / kLimit * kLimit);  // those that count as swapped
    return soFar == kAll || HasFatalFailure();
  }));
  Monitor->Stop();
  ExpectEntries(0, 0, 7 * kLimit);
  EXPECT_EQ(GetItems(*Monitor, 7 * kLimit).Records(), RecordsOf(1, FramesFrom(7 * kLimit, kPerPoll)));
  EXPECT_EQ(std::filesystem::file_size(SwapName()), 7 * kLimit * kRecord);
}

TEST_F(LargeSwap, IsExportedWholeWhileItIsWritten) {
  Monitor->Start(0);
  DeliverAll(0, kLimit);
  Monitor->ExportToASC(0, "out.asc", 0, 0);
  const std::string text = FileText("out.asc");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), kLimit + 6);
}

TEST_F(LargeSwap, IsForgottenByAFlushWhileItIsWritten) {
  for (unsigned int round = 0; round < 10; ++round) {
    Monitor->Start(0);
    DeliverAll(0, kLimit);
    Monitor->FlushMonitorBuffer();
    EXPECT_EQ(EntryCount(*Monitor), 0U);
    DeliverAll(7, kLimit + 7);
    Monitor->Stop();
    EXPECT_EQ(EntryCount(*Monitor), kLimit);
    EXPECT_EQ(std::filesystem::file_size(SwapName()), kLimit * kRecord);
    ExpectEntries(0, 7, kLimit + 7);
    Monitor->FlushMonitorBuffer();
  }
}

TEST_F(LargeSwap, ThatFailsIsTheStatusOfStopAndKeepsTheEntries) {
  for (const size_t whole : {size_t{0}, size_t{1}, size_t{30'000}}) {
    SCOPED_TRACE(whole);
    Monitor->FlushMonitorBuffer();
    Monitor->Start(0);
    {
      const FileSizeLimit full(whole * kRecord + 20);
      DeliverAll(0, kLimit);
      EXPECT_EQ(CodeOf([&] { Monitor->Stop(); }), kFileError);
    }
    EXPECT_EQ(TakeReports().size(), 1U);
    EXPECT_EQ(EntryCount(*Monitor), kLimit + whole);  // those in the file, and all of the store
    EXPECT_EQ(std::filesystem::file_size(SwapName()), whole * kRecord);
    ExpectEntries(0, 0, static_cast<unsigned int>(whole));
    const auto inMemory = GetItems(*Monitor, static_cast<unsigned int>(whole), 0, kLimit * 48);
    ASSERT_EQ(inMemory.Count, kLimit);
    for (unsigned int i = 0; i < kLimit; ++i) ASSERT_EQ(ReadAt<unsigned long>(inMemory.Buffer, i * 48 + 8), i);
  }
}

TEST_F(LargeSwap, ThatFailsReachesADeliveryOrTheStop) {
  std::filesystem::create_directory(SwapName());
  Monitor->Start(0);
  DeliverAll(0, kLimit);
  ASSERT_TRUE(WaitUntil([] { return Qor_Sim_ReportCount() > 0; }));
  constexpr unsigned int kMore = 20;  // polls
  Queue(kLimit, kLimit + kMore * kPerPoll);
  ASSERT_TRUE(WaitUntil([&] { return Can.Pending() < kMore; }));
  const unsigned int code = CodeOf([&] { Monitor->Stop(); });
  EXPECT_TRUE(code == kFileError || Can.Pending() > 0) << code;  // else nobody has learned of it
  EXPECT_EQ(TakeReports().size(), 1U);
  const unsigned int delivered = (kMore - Can.Pending()) * kPerPoll;
  EXPECT_EQ(EntryCount(*Monitor), kLimit + delivered);
  ExpectEntries(0, 0, kLimit + delivered);
}

TEST_F(LargeSwap, ThatFailedIsTriedAgain) {
  Monitor->Start(0);
  {
    const FileSizeLimit full(0);
    DeliverAll(0, kLimit);
    EXPECT_EQ(CodeOf([&] { Monitor->Stop(); }), kFileError);
  }
  Record(FramesFrom(kLimit, kPerPoll));
  EXPECT_EQ(std::filesystem::file_size(SwapName()), (kLimit + kPerPoll) * kRecord);
  ExpectEntries(0, 0, kLimit + kPerPoll);
}

TEST_F(LargeSwap, IsCompleteWhenTheMonitorIsStopped) {
  for (unsigned int round = 0; round < 5; ++round) {
    Monitor->Start(0);
    DeliverAll(round * kLimit, (round + 1) * kLimit);
    Monitor->Stop();
    EXPECT_EQ(std::filesystem::file_size(SwapName()), (round + 1) * kLimit * kRecord);
  }
  ExpectEntries(0, 0, 5 * kLimit);
}

TEST_F(LargeSwap, MayBeUnderWayWhenTheMonitorGoes) {
  for (unsigned int round = 0; round < 5; ++round) {
    auto own = std::make_unique<Qor_Trace_Monitor>();
    ScriptedInterface can;
    Add(*own, can);
    SetNumber(*own, QOR_TRACE_PROPERTY_MAX_ENTRIES, kLimit);
    for (unsigned int first = 0; first < kLimit; first += kPerPoll) can.NextItems(FramesFrom(first, kPerPoll));
    own->Start(0);
    ASSERT_TRUE(can.WaitUntilDelivered());
    own.reset();
  }
}
