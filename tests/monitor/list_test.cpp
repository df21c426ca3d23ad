// The list: the newest entry of each message, with its cycle time.
#include <gtest/gtest.h>

#include "monitor/MonitorTest.h"

using namespace test;

namespace {

class List : public OneChannelTest {};

constexpr unsigned int kTooSmall = QOR_TRACE_STATUS_BUFFER_TOO_SMALL;

Bytes Listed(const Bytes& item, unsigned long cycle, unsigned int channel = 1) {
  return RecordOf(BusType_Can, channel, item, cycle);
}

}  // namespace

TEST_F(List, OfANewMonitorIsEmpty) {
  for (const unsigned int start : {0U, 1U, 0xFFFFFFFFU}) {
    const auto answer = GetListItems(*Monitor, start);
    EXPECT_EQ(answer.Code, 0U);
    EXPECT_EQ(answer.Count, 0U);
    EXPECT_EQ(answer.Size, 0U);
  }
}

TEST_F(List, FirstEntryOfAMessageHasNoCycleTime) {
  Record({Frame(0x123).At(1000)});
  EXPECT_EQ(GetListItems(*Monitor).Records(), (Items{Listed(Frame(0x123).At(1000), 0)}));
}

TEST_F(List, LaterEntriesHaveTheTimeSinceTheOneBefore) {
  Monitor->Start(0);
  Deliver({Frame(0x123).At(1000)});
  Deliver({Frame(0x123).At(1700)});
  EXPECT_EQ(GetListItems(*Monitor).Records(), (Items{Listed(Frame(0x123).At(1700), 700)}));
  Deliver({Frame(0x123).At(1500)});  // backwards: a negative time
  EXPECT_EQ(GetListItems(*Monitor).Records(), (Items{Listed(Frame(0x123).At(1500), 0UL - 200)}));
}

TEST_F(List, CycleTimeIsThatBetweenThePolls) {
  // Only the last entry of a poll is listed, so that the cycle time is measured from poll to poll.
  Monitor->Start(0);
  Deliver({Frame(0x123).At(1000), Frame(0x123).At(1100)});
  Deliver({Frame(0x123).At(1200), Frame(0x123).At(1300)});
  EXPECT_EQ(GetListItems(*Monitor).Records(), (Items{Listed(Frame(0x123).At(1300), 200)}));
}

TEST_F(List, RowsAreOrderedByChannelThenByKey) {
  ScriptedInterface second;
  Add(*Monitor, second);
  second.NextItems({Frame(0x001).At(5), Frame(0x003).At(6)});
  Monitor->Start(0);
  ASSERT_TRUE(second.WaitUntilDelivered());
  Deliver({Frame(0x80000002).At(1), Frame(0x002).At(2), Frame(0x7FF).At(3), Frame(0x001).At(4)});
  EXPECT_EQ(ListCount(*Monitor), 6U);
  EXPECT_EQ(
      GetListItems(*Monitor).Records(),
      (Items{Listed(Frame(0x001).At(4), 0), Listed(Frame(0x002).At(2), 0), Listed(Frame(0x7FF).At(3), 0),
             Listed(Frame(0x80000002).At(1), 0), Listed(Frame(0x001).At(5), 0, 2), Listed(Frame(0x003).At(6), 0, 2)}));
}

TEST_F(List, RowsHoldTheLongestEntryOfTheirMessage) {
  Monitor->Start(0);
  for (const size_t length : {size_t{8}, size_t{64}, size_t{0}, size_t{12}}) {
    Deliver({Frame(0x123).At(1000 + length).Data(Counting(length))});
    EXPECT_EQ(GetListItems(*Monitor).Records().at(0).size(), 44 + length);
  }
}

TEST_F(List, ThousandsOfMessagesInOnePollHaveARowEach) {
  constexpr unsigned int kMessages = 3000;
  Items items;
  for (unsigned int i = 0; i < kMessages; ++i) items.push_back(Frame(i * 7919 % kMessages).At(i));
  Monitor->Start(0);
  Deliver(items);
  Deliver(items);
  EXPECT_EQ(ListCount(*Monitor), kMessages);
  std::vector<Bytes> rows;
  for (unsigned int start = 0; start < kMessages; start += 100) {
    for (const Bytes& row : GetListItems(*Monitor, start, 100).Records()) rows.push_back(row);
  }
  ASSERT_EQ(rows.size(), kMessages);
  for (unsigned int i = 0; i < kMessages; ++i) EXPECT_EQ(ReadAt<unsigned int>(rows[i], 36), i);
}

TEST_F(List, NewRowsTakeTheirPlacesBetweenTheOthers) {
  Monitor->Start(0);
  Deliver(FramesFrom(10, 5));
  EXPECT_EQ(GetListItems(*Monitor).Count, 5U);
  Deliver(FramesFrom(5, 15));
  const auto rows = GetListItems(*Monitor).Records();
  ASSERT_EQ(rows.size(), 15U);
  for (unsigned int i = 0; i < 15; ++i) EXPECT_EQ(ReadAt<unsigned int>(rows[i], 36), 5 + i);
}

TEST_F(List, EntriesKeepTheirCycleTimesInAnExport) {
  Monitor->Start(0);
  Deliver({Frame(0x123).At(1'000'000'000)});
  Deliver({Frame(0x123).At(1'700'000'000)});
  Monitor->ExportToASC(QOR_TRACE_ASC_RELATIVE, "out.asc", 0, 0);
  EXPECT_NE(FileText("out.asc").find("0.700000000 CANFD 1 Rx 123"), std::string::npos) << FileText("out.asc");
}

class FiveRows : public OneChannelTest {
 protected:
  FiveRows() { Record(FramesFrom(1, 5)); }
  /// Expects the rows first to last - 1.
  void ExpectRows(unsigned int start, unsigned int count, size_t first, size_t last) {
    SCOPED_TRACE(testing::Message() << "start " << start << " count " << count);
    const auto begin = All.begin();
    EXPECT_EQ(GetListItems(*Monitor, start, count).Records(),
              Items(begin + static_cast<std::ptrdiff_t>(first), begin + static_cast<std::ptrdiff_t>(last)));
  }
  const Items All = RecordsOf(1, FramesFrom(1, 5));
};

TEST_F(FiveRows, AreReadFromAnyRowOn) {
  ExpectRows(0, 0, 0, 5);
  ExpectRows(0, 2, 0, 2);
  ExpectRows(2, 2, 2, 4);
  ExpectRows(3, 2, 3, 5);
  ExpectRows(4, 0, 4, 5);
  ExpectRows(5, 0, 5, 5);
  ExpectRows(6, 1, 5, 5);
}

TEST_F(FiveRows, CountBeyondTheLastMeansAllFromThere) {
  ExpectRows(3, 3, 3, 5);
  ExpectRows(0, 6, 0, 5);
  ExpectRows(5, 1, 5, 5);
  ExpectRows(1, 0xFFFFFFFF, 1, 5);  // start + count wraps to 0
  ExpectRows(0, 0xFFFFFFFF, 0, 5);
}

TEST_F(FiveRows, BufferTooSmallHasTheRowsThatFit) {
  const auto answer = GetListItems(*Monitor, 1, 0, 100);  // rows of 45 bytes
  EXPECT_EQ(answer.Code, kTooSmall);
  EXPECT_EQ(answer.Count, 2U);
  EXPECT_EQ(answer.Size, 96U);
  EXPECT_EQ(answer.Records(), Items(All.begin() + 1, All.begin() + 3));
  EXPECT_EQ(TakeReports().size(), 1U);
  EXPECT_EQ(GetListItems(*Monitor, 0, 0, 240).Code, 0U);
}

TEST_F(FiveRows, FlushEmptiesTheListAndNotTheTrace) {
  Monitor->FlushListMonitorBuffer();
  EXPECT_EQ(ListCount(*Monitor), 0U);
  ExpectRows(0, 0, 0, 0);
  EXPECT_EQ(EntryCount(*Monitor), 5U);
  Record({Frame(1).At(1000)});  // listed anew, without a cycle time
  EXPECT_EQ(GetListItems(*Monitor).Records(), (Items{Listed(Frame(1).At(1000), 0)}));
}

TEST_F(FiveRows, RowsOutliveTheTrace) {
  Monitor->FlushMonitorBuffer();
  ExpectRows(0, 0, 0, 5);
}
