// Copying the trace into the caller's buffer.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>

#include "monitor/MonitorTest.h"

using namespace test;

namespace {

class Retrieval : public OneChannelTest {
 protected:
  /// Records items, all of which go to the swap file.
  void Swap(const Items& items) {
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 1);
    Record(items);
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 1000000);
  }
};

// Records of 52, 44 and 60 bytes.
const Items kThreeItems = {Frame(0x100).At(1).Data(Counting(8)), Frame(0x101).At(2),
                           Frame(0x102).At(3).Data(Counting(16))};

Bytes ToEight(Bytes record) {
  while (record.size() % 8 != 0) record.push_back(kUntouched);
  return record;
}

/// Part of a list of records.
Items Slice(const Items& records, size_t first, size_t count) {
  const auto begin = records.begin() + static_cast<std::ptrdiff_t>(first);
  return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

void ExpectNothing(const Answer& answer) {
  EXPECT_EQ(answer.Code, 0U);
  EXPECT_EQ(answer.Count, 0U);
  EXPECT_EQ(answer.Size, 0U);
  EXPECT_EQ(answer.Buffer, Bytes(answer.Buffer.size(), kUntouched));
}

constexpr unsigned int kTooSmall = QOR_TRACE_STATUS_BUFFER_TOO_SMALL;
const Report kTooSmallReport = {255, kTooSmall, "the response buffer is too small for all available monitor entries"};

}  // namespace

TEST_F(Retrieval, EmptyMonitorGivesNothing) {
  ExpectNothing(GetItems(*Monitor, 0));
  ExpectNothing(GetItems(*Monitor, 1));
  ExpectNothing(GetItems(*Monitor, 0xFFFFFFFF, 0xFFFFFFFF));
  ExpectNothing(GetItems(*Monitor, 0, 0, 0));
}

// From memory and from the swap file alike.

class RetrievalOf : public Retrieval, public testing::WithParamInterface<bool> {
 protected:
  void Have(const Items& items) { GetParam() ? Swap(items) : Record(items); }
};

INSTANTIATE_TEST_SUITE_P(Place, RetrievalOf, testing::Values(false, true),
                         [](const auto& place) { return place.param ? "SwapFile" : "Memory"; });

TEST_P(RetrievalOf, RecordsBeginAtMultiplesOfEight) {
  Have(kThreeItems);
  const auto answer = GetItems(*Monitor, 0, 0, 1000);
  EXPECT_EQ(answer.Code, 0U);
  EXPECT_EQ(answer.Count, 3U);
  EXPECT_EQ(answer.Size, 168U);
  Bytes expected;
  for (const Bytes& record : RecordsOf(1, kThreeItems)) Append(expected, ToEight(record));  // 0, 56, 104
  ASSERT_EQ(expected.size(), 168U);
  expected.resize(1000, kUntouched);
  EXPECT_EQ(answer.Buffer, expected);
}

TEST_P(RetrievalOf, ABufferTooSmallHasTheRecordsThatFit) {
  Have(kThreeItems);
  const auto one = GetItems(*Monitor, 0, 0, 100);
  EXPECT_EQ(one.Code, kTooSmall);
  EXPECT_EQ(one.Count, 1U);
  EXPECT_EQ(one.Size, 56U);
  EXPECT_EQ(one.Records(), RecordsOf(1, {kThreeItems[0]}));
  EXPECT_EQ(Bytes(one.Buffer.begin() + 56, one.Buffer.end()), Bytes(44, kUntouched));
  EXPECT_EQ(TakeReports(), (std::vector<Report>{kTooSmallReport}));

  const auto two = GetItems(*Monitor, 0, 0, 104);
  EXPECT_EQ(two.Code, kTooSmall);
  EXPECT_EQ(two.Count, 2U);
  EXPECT_EQ(two.Size, 104U);
  EXPECT_EQ(two.Records(), RecordsOf(1, Slice(kThreeItems, 0, 2)));
}

TEST_P(RetrievalOf, ABufferOfExactlyTheSizeIsLargeEnough) {
  Have(kThreeItems);
  const auto all = GetItems(*Monitor, 0, 0, 168);
  EXPECT_EQ(all.Code, 0U);
  EXPECT_EQ(all.Count, 3U);
  const auto two = GetItems(*Monitor, 0, 2, 104);
  EXPECT_EQ(two.Code, 0U);
  EXPECT_EQ(two.Count, 2U);
  EXPECT_TRUE(TakeReports().empty());
}

TEST_P(RetrievalOf, TheRoundedEndOfARecordMustFitToo) {
  Have({kThreeItems[0]});  // 52 bytes, which end at 56
  for (const unsigned int capacity : {0U, 51U, 52U, 55U}) {
    SCOPED_TRACE(capacity);
    const auto answer = GetItems(*Monitor, 0, 0, capacity);
    EXPECT_EQ(answer.Code, kTooSmall);
    EXPECT_EQ(answer.Count, 0U);
    EXPECT_EQ(answer.Size, 0U);
  }
  EXPECT_EQ(GetItems(*Monitor, 0, 0, 56).Code, 0U);
}

TEST_P(RetrievalOf, ARecordLargerThanTheBufferFailsAtItsIndexOnly) {
  Have(kThreeItems);
  EXPECT_EQ(GetItems(*Monitor, 2, 1, 60).Code, kTooSmall);
  EXPECT_EQ(GetItems(*Monitor, 2, 1, 60).Count, 0U);
  EXPECT_EQ(GetItems(*Monitor, 0, 1, 60).Code, 0U);
}

TEST_P(RetrievalOf, AClientPagesByCount) {
  const Items items = FramesFrom(1, 5);
  Have(items);
  const Items all = RecordsOf(1, items);
  EXPECT_EQ(GetItems(*Monitor, 0, 2).Records(), Slice(all, 0, 2));
  EXPECT_EQ(GetItems(*Monitor, 2, 2).Records(), Slice(all, 2, 2));
  EXPECT_EQ(GetItems(*Monitor, 4, 2).Records(), Slice(all, 4, 1));
  EXPECT_EQ(GetItems(*Monitor, 3, 0).Records(), Slice(all, 3, 2));
  ExpectNothing(GetItems(*Monitor, 5, 2));
  ExpectNothing(GetItems(*Monitor, 6, 2));
  EXPECT_EQ(GetItems(*Monitor, 0, 0xFFFFFFFF).Records(), all);
  EXPECT_EQ(EntryCount(*Monitor), 5U);  // reading removes nothing
}

TEST_P(RetrievalOf, TheTraceHasNoRelativeTimes) {
  Have({Frame(0x100).At(1000), Frame(0x100).At(1700)});
  Monitor->Start(0);
  Deliver({Frame(0x100).At(2000)});
  Monitor->Stop();
  for (const Bytes& record : GetItems(*Monitor).Records()) EXPECT_EQ(ReadAt<unsigned long>(record, 16), 0U);
  EXPECT_EQ(ReadAt<unsigned long>(GetListItems(*Monitor).Records().at(0), 16), 300U);
}

// ---- Swap file and memory together

class SplitTrace : public Retrieval {
 protected:
  /// 5 records in the swap file, 10 in memory.
  SplitTrace() {
    Swap(FramesFrom(1, 5));
    Record(FramesFrom(6, 10));
  }
  const Items All = RecordsOf(1, FramesFrom(1, 15));
};

TEST_F(SplitTrace, IsReadAsOne) {
  EXPECT_EQ(EntryCount(*Monitor), 15U);
  EXPECT_EQ(GetItems(*Monitor).Records(), All);
}

TEST_F(SplitTrace, CountBeyondEverythingMeansAll) {
  for (const unsigned int count : {16U, 0xFFFFFFFCU, 0xFFFFFFFFU}) {
    EXPECT_EQ(GetItems(*Monitor, 0, count).Records(), All) << count;
  }
}

TEST_F(SplitTrace, IsReadFromAnySwappedIndexOn) {
  for (unsigned int start = 0; start <= 5; ++start) {
    for (unsigned int count = 0; count <= 16; ++count) {
      SCOPED_TRACE(testing::Message() << "start " << start << " count " << count);
      const size_t all = 15 - start;
      EXPECT_EQ(GetItems(*Monitor, start, count).Records(),
                Slice(All, start, count == 0 ? all : std::min<size_t>(count, all)));
    }
  }
}

TEST_F(SplitTrace, StartBehindTheSwappedEntriesIsAnIndexOfTheMemory) {
  // Part of the interface: 6 is the seventh entry in memory, not the second.
  EXPECT_EQ(GetItems(*Monitor, 6).Records(), Slice(All, 11, 4));
  EXPECT_EQ(GetItems(*Monitor, 6, 2).Records(), Slice(All, 11, 2));
  EXPECT_EQ(GetItems(*Monitor, 9, 7).Records(), Slice(All, 14, 1));
  for (unsigned int start = 10; start <= 17; ++start) ExpectNothing(GetItems(*Monitor, start));
  for (unsigned int start = 10; start <= 17; ++start) ExpectNothing(GetItems(*Monitor, start, 3));
}

TEST_F(SplitTrace, BufferMayEndAnywhere) {
  for (unsigned int fit = 0; fit <= 15; ++fit) {
    SCOPED_TRACE(fit);
    const auto answer = GetItems(*Monitor, 0, 0, fit * 48 + 47);  // records of 45 bytes
    EXPECT_EQ(answer.Code, fit == 15 ? 0U : kTooSmall);
    EXPECT_EQ(answer.Records(), Slice(All, 0, fit));
  }
}

TEST_F(SplitTrace, MissingSwapFileGivesNothingUnderTheIndicesOfItsEntries) {
  std::filesystem::remove(SwapName());
  EXPECT_EQ(EntryCount(*Monitor), 15U);
  for (unsigned int start = 0; start < 5; ++start) {
    for (unsigned int count = 0; count <= 16; ++count) ExpectNothing(GetItems(*Monitor, start, count));
  }
  EXPECT_EQ(GetItems(*Monitor, 5).Records(), Slice(All, 5, 10));
  EXPECT_TRUE(TakeReports().empty());
}

TEST_F(SplitTrace, SwapFileThatCannotBeOpenedGivesNothingUntilItCanAgain) {
  rlimit files{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
  const rlimit none{0, files.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const auto answer = GetItems(*Monitor);
  const auto fromMemory = GetItems(*Monitor, 5);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
  ExpectNothing(answer);
  EXPECT_EQ(fromMemory.Records(), Slice(All, 5, 10));
  EXPECT_EQ(GetItems(*Monitor).Records(), All);
}

TEST_F(SplitTrace, ReadingEndsWhereTheSwapFileWasCut) {
  const Bytes whole = FileBytes(SwapName());
  ASSERT_EQ(whole.size(), 5 * 45U);
  for (size_t size = 0; size <= whole.size(); ++size) {
    SCOPED_TRACE(size);
    WriteFile(SwapName(), Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    for (unsigned int start = 0; start < 5; ++start) {
      const size_t end = size == whole.size() ? All.size() : std::max<size_t>(size / 45, start);
      EXPECT_EQ(GetItems(*Monitor, start).Records(), Slice(All, start, end - start));
    }
  }
}

TEST_F(SplitTrace, SwapFileOfRandomBytesIsReadWithinItsBounds) {
  unsigned int state = 12345;
  for (unsigned int round = 0; round < 50; ++round) {
    Bytes bytes(round * 7U);
    for (auto& byte : bytes) byte = static_cast<unsigned char>((state = state * 1103515245 + 12345) >> 16);
    if (bytes.size() > 4) PutAt(bytes, 0, round % 3 == 0 ? 28 + round % 50 : 0xFFFFFFFF);
    WriteFile(SwapName(), bytes);
    for (const unsigned int start : {0U, 1U, 4U, 5U}) {
      const auto answer = GetItems(*Monitor, start);
      EXPECT_EQ(answer.Code, 0U);
      const size_t records = answer.Records().size();
      EXPECT_TRUE(start == 5 ? records == 10 : records < 5 - start || records == 15 - start);
    }
  }
}

TEST_F(SplitTrace, SwapFileOfSomebodyElseIsReadAsItIsAndNoFurther) {
  Bytes other;
  const Items items = {Frame(0x700).At(70).Data(Counting(3)), Frame(0x701).At(71).Data(Counting(64)),
                       Frame(0x702).At(72)};
  for (const Bytes& record : RecordsOf(9, items)) Append(other, record);
  WriteFile(SwapName(), other);
  const Items expected = RecordsOf(9, items);
  EXPECT_EQ(GetItems(*Monitor).Records(), expected);
  EXPECT_EQ(GetItems(*Monitor, 2, 1).Records(), Slice(expected, 2, 1));
}

// ---- Flush

TEST_F(SplitTrace, FlushLeavesAnEmptySwapFile) {
  Monitor->FlushMonitorBuffer();
  EXPECT_EQ(EntryCount(*Monitor), 0U);
  EXPECT_EQ(std::filesystem::file_size(SwapName()), 0U);
  ExpectNothing(GetItems(*Monitor, 0));
  EXPECT_EQ(ListCount(*Monitor), 15U);  // the list is its own
  Record(FramesFrom(100, 2));
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(100, 2)));
}

TEST_F(Retrieval, FlushMakesASwapFile) {
  Record(FramesFrom(1, 2));
  EXPECT_FALSE(std::filesystem::exists(SwapName()));
  Monitor->FlushMonitorBuffer();
  EXPECT_TRUE(std::filesystem::exists(SwapName()));
  EXPECT_EQ(EntryCount(*Monitor), 0U);
}

TEST_F(Retrieval, FlushThatCannotEmptyTheSwapFileTellsIt) {
  std::filesystem::create_directory(SwapName());
  Record(FramesFrom(1, 2));
  EXPECT_EQ(CodeOf([&] { Monitor->FlushMonitorBuffer(); }), QOR_TRACE_STATUS_FILE_ERROR);
  const auto reports = TakeReports();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].Level, 255U);
  EXPECT_EQ(reports[0].Code, QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_NE(reports[0].Text, "");
}

TEST_F(Retrieval, PagingThroughALargeSwapFileGivesEveryRecord) {
  constexpr unsigned int kRecords = 200'000, kPage = 100, kPerPoll = 2000;
  SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 1000);
  Monitor->Start(0);
  for (unsigned int first = 0; first < kRecords; first += kPerPoll) Can.NextItems(FramesFrom(first, kPerPoll));
  ASSERT_TRUE(Can.WaitUntilDelivered());
  Monitor->Stop();
  ASSERT_EQ(EntryCount(*Monitor), kRecords);
  Bytes buffer(kPage * 48);
  for (unsigned int start = 0; start < kRecords; start += kPage) {
    unsigned int count = kPage, size = static_cast<unsigned int>(buffer.size());
    Monitor->GetItems(start, &count, &size, buffer.data());
    ASSERT_EQ(count, kPage);
    for (unsigned int i = 0; i < kPage; ++i) ASSERT_EQ(ReadAt<unsigned long>(buffer, i * 48 + 8), start + i);
  }
}
