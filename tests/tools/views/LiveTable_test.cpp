#include "views/LiveTable.h"

#include <gtest/gtest.h>

#include <string>

#include "tools/ClientEntries.h"
#include "views/TraceClock.h"

namespace client {
namespace {

constexpr unsigned long kMs = 1'000'000;
constexpr unsigned long kSecond = 1000 * kMs;

test::CanItem Can(unsigned int id, unsigned long time) { return test::CanItem().At(time).Id(id); }

std::string NamesOf(const std::vector<LiveRow>& rows) {
  std::string names;
  for (const LiveRow& row : rows) names += CanRows().Name(row.Row) + " ";
  return names;
}

LiveRow Only(const LiveTable& table, unsigned long now = 0) {
  const auto rows = table.Rows(RowOrder::Message, false, now);
  EXPECT_EQ(rows.size(), 1u);
  return rows.front();
}

TEST(LiveTable, CyclesAreThoseOfTheMessage) {
  LiveTable table;
  for (const unsigned long time : {100 * kMs, 110 * kMs, 122 * kMs}) {
    Put(table, RecordOf(Can(0x123, time)));
    Put(table, RecordOf(Can(0x124, time + kMs)));
  }
  const LiveRow row = table.Rows(RowOrder::Message, false, 0).front();
  EXPECT_EQ(row.Row.Count, 3u);
  EXPECT_EQ(row.Figures.Cycles.Mean(), 11 * kMs);
  EXPECT_EQ(row.Figures.Cycles.Jitter(), 2 * kMs);
}

TEST(LiveTable, AnEntryThatGoesBackInTimeIsNoCycle) {
  LiveTable table;
  Put(table, RecordOf(Can(1, kSecond)));
  Put(table, RecordOf(Can(1, kSecond - kMs)));
  EXPECT_EQ(Only(table).Figures.Cycles.Size(), 0u);
}

TEST(LiveTable, RatesAreTakenOverAWindowOfEntriesTime) {
  LiveTable table;
  table.Roll(kSecond);
  for (unsigned long count = 0; count < 50; ++count) Put(table, RecordOf(Can(1, kSecond + count * 10 * kMs)));
  table.Roll(kSecond + 500 * kMs);  // too early
  EXPECT_EQ(Only(table).Figures.Rate, 0);
  table.Roll(3 * kSecond);
  EXPECT_EQ(Only(table).Figures.Rate, 25);
  table.Roll(4 * kSecond);
  EXPECT_EQ(Only(table).Figures.Rate, 0);
}

TEST(LiveTable, WhatCameBeforeTheFirstWindowIsNotInItsRate) {
  LiveTable table;
  for (unsigned long count = 0; count < 50; ++count) Put(table, RecordOf(Can(1, kSecond)));
  table.Roll(kSecond);
  table.Roll(20 * kSecond);
  EXPECT_EQ(Only(table).Figures.Rate, 0);
}

TEST(LiveTable, AMessageSlowerThanTheWindowHasTheRateOfItsCycles) {
  LiveTable table;
  Put(table, RecordOf(Can(1, kSecond)));
  Put(table, RecordOf(Can(1, 5 * kSecond)));
  table.Roll(5 * kSecond);
  table.Roll(7 * kSecond);
  EXPECT_EQ(Only(table).Figures.Rate, 0.25);
  table.Roll(18 * kSecond);  // three cycles without it
  EXPECT_EQ(Only(table).Figures.Rate, 0);
}

TEST(LiveTable, AMessageIsOverdueAfterThreeCyclesAndASecond) {
  LiveTable table;
  for (const unsigned long time : {kSecond, kSecond + 500 * kMs, 2 * kSecond}) Put(table, RecordOf(Can(1, time)));
  EXPECT_FALSE(Only(table, 3 * kSecond + 500 * kMs).IsOverdue());
  EXPECT_TRUE(Only(table, 3 * kSecond + 501 * kMs).IsOverdue());
  LiveTable fast;
  for (const unsigned long time : {kSecond, kSecond + kMs, kSecond + 2 * kMs}) Put(fast, RecordOf(Can(1, time)));
  EXPECT_FALSE(Only(fast, kSecond + 900 * kMs).IsOverdue());
}

TEST(LiveTable, BytesThatHaveChangedAreMarkedForASecondAndAtLeastUntilTheNextEntry) {
  LiveTable table;
  Put(table, RecordOf(Can(1, kSecond).Data({1, 2, 3})));
  EXPECT_FALSE(Only(table, kSecond).IsMarked(0));
  Put(table, RecordOf(Can(1, 2 * kSecond).Data({1, 5, 3, 4})));
  EXPECT_FALSE(Only(table, 2 * kSecond).IsMarked(0));
  EXPECT_TRUE(Only(table, 2 * kSecond).IsMarked(1));
  EXPECT_TRUE(Only(table, 2 * kSecond).IsMarked(3));
  EXPECT_TRUE(Only(table, 9 * kSecond).IsMarked(1));
  Put(table, RecordOf(Can(1, 2 * kSecond + kMs).Data({1, 5, 3, 4})));
  EXPECT_TRUE(Only(table, 2 * kSecond + kMs).IsMarked(1));
  EXPECT_FALSE(Only(table, 3 * kSecond).IsMarked(1));
  EXPECT_FALSE(Only(table, 3 * kSecond).IsMarked(1000));
}

TEST(LiveTable, AFilterShowsMessagesOfWhichAnEntryMatches) {
  LiveTable table;
  Put(table, RecordOf(Can(1, kMs).Data({1})));
  Put(table, RecordOf(Can(2, kMs).Data({1})));
  table.SetFilter(Filter("id == 2 or data[0] == 9"));
  EXPECT_EQ(NamesOf(table.Rows(RowOrder::Message, false, 0)), "2 ");
  Put(table, RecordOf(Can(1, 2 * kMs).Data({9})));
  Put(table, RecordOf(Can(1, 3 * kMs).Data({1})));
  Put(table, RecordOf(Can(3, 3 * kMs).Data({1})));
  EXPECT_EQ(NamesOf(table.Rows(RowOrder::Message, false, 0)), "1 2 ");
  EXPECT_EQ(table.Rows(RowOrder::Message, false, 0).front().Row.Count, 3u);
  EXPECT_EQ(table.MessageCount(), 3u);
  table.SetFilter(std::nullopt);
  EXPECT_EQ(NamesOf(table.Rows(RowOrder::Message, false, 0)), "1 2 3 ");
}

TEST(LiveTable, RowsAreSortedGreatestFirstAndReversedOnRequest) {
  LiveTable table;
  for (int count = 0; count < 3; ++count) Put(table, RecordOf(Can(2, kMs)));
  Put(table, RecordOf(Can(1, 5 * kMs)));
  Put(table, RecordOf(Can(3, 2 * kMs)));
  EXPECT_EQ(NamesOf(table.Rows(RowOrder::Message, false, 0)), "1 2 3 ");
  EXPECT_EQ(NamesOf(table.Rows(RowOrder::Message, true, 0)), "3 2 1 ");
  EXPECT_EQ(NamesOf(table.Rows(RowOrder::Count, false, 0)), "2 1 3 ");
  EXPECT_EQ(NamesOf(table.Rows(RowOrder::Count, true, 0)), "1 3 2 ");
  EXPECT_EQ(NamesOf(table.Rows(RowOrder::Newest, false, 0)), "1 3 2 ");
}

TEST(LiveTable, CountsThatAreResetBeginAnewAndTheRowsStay) {
  LiveTable table;
  Put(table, RecordOf(Can(1, kMs).Data({1})));
  Put(table, RecordOf(Can(1, 2 * kMs).Data({2})));
  table.ResetCounts();
  EXPECT_EQ(Only(table, 2 * kMs).Row.Count, 0u);
  EXPECT_EQ(Only(table, 2 * kMs).Figures.Cycles.Size(), 0u);
  EXPECT_FALSE(Only(table, 2 * kMs).IsMarked(0));
  Put(table, RecordOf(Can(1, 90 * kMs).Data({2})));
  EXPECT_EQ(Only(table).Row.Count, 1u);
  EXPECT_EQ(Only(table).Figures.Cycles.Size(), 0u);  // the gap before the reset is no cycle
}

TEST(LiveTable, AFrozenMessageStandsStillAndIsCountedAllTheSame) {
  LiveTable table;
  Put(table, RecordOf(Can(1, kMs).Data({1})));
  const size_t number = Only(table).Row.Number;
  table.ToggleFrozen(number, kMs);
  Put(table, RecordOf(Can(1, 2 * kMs).Data({2})));
  EXPECT_TRUE(Only(table).Frozen);
  EXPECT_EQ(Only(table).Row.Count, 1u);
  table.ToggleFrozen(number, 3 * kMs);
  EXPECT_FALSE(Only(table).Frozen);
  EXPECT_EQ(Only(table).Row.Count, 2u);
}

TEST(LiveTable, ACopyStandsStill) {
  LiveTable table;
  Put(table, RecordOf(Can(1, kMs)));
  const LiveTable copy = table;
  Put(table, RecordOf(Can(1, 2 * kMs)));
  EXPECT_EQ(Only(copy).Row.Count, 1u);
}

TEST(LiveTable, MessagesBeyondItsBoundAreCountedOnly) {
  LiveTable table(2);
  for (unsigned int id = 1; id < 5; ++id) Put(table, RecordOf(Can(id, kMs)));
  Put(table, RecordOf(Can(1, 2 * kMs)));
  EXPECT_EQ(NamesOf(table.Rows(RowOrder::Message, false, 0)), "1 2 ");
  EXPECT_EQ(table.Unlisted(), 2u);
}

TEST(LiveTable, MessagesOfAllBusesHaveNamesOfOneCell) {
  LiveTable table;
  Put(table, RecordOf(test::CanItem().Id(0x18FE0102).Extended()));
  Put(table, RecordOf(test::LinItem().Id(0x2A)));
  Put(table, RecordOf(test::FlexRayItem().Slot(12).Code(1).Cycle(3)));
  Put(table, RecordOf(test::EthernetItem().Frame({2, 0, 0, 0, 0, 0x11, 2, 0, 0, 0, 0, 0x22, 8, 0, 1, 2, 3, 4})));
  std::string names;
  for (const LiveRow& row : table.Rows(RowOrder::Message, false, 0))
    names += RowsOf(row.Key.BusType)->Name(row.Row) + "\n";
  EXPECT_EQ(names, "18fe0102x\n2a\n12 B 3/64\nIPv4 00:22>00:11\n");
}

TEST(TraceClock, GoesOnBetweenEntriesAndNeverBack) {
  using namespace std::chrono_literals;
  const TraceClock::Moment start{100h};
  TraceClock clock;
  EXPECT_EQ(clock.At(kSecond, 1, start), kSecond);
  EXPECT_EQ(clock.At(kSecond, 1, start + 300ms), kSecond + 300 * kMs);
  EXPECT_EQ(clock.At(kSecond + 200 * kMs, 1, start + 310ms), kSecond + 300 * kMs);
  EXPECT_EQ(clock.At(2 * kSecond, 4, start + 400ms), 2 * kSecond);
  EXPECT_EQ(clock.At(2 * kSecond, 4, start + 500ms), 2 * kSecond + 400 * kMs);
}

TEST(TraceClock, StandsStillWithoutSpeed) {
  using namespace std::chrono_literals;
  const TraceClock::Moment start{100h};
  TraceClock clock;
  EXPECT_EQ(clock.At(kSecond, 1, start), kSecond);
  EXPECT_EQ(clock.At(kSecond, 0, start + 10s), kSecond);
  EXPECT_EQ(clock.At(kSecond, 1, start + 11s), 2 * kSecond);
}

}  // namespace
}  // namespace client
