// What of a stream is handed on, and when the stream is ended.
#include "stream/Selection.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

constexpr unsigned long kSecond = 1'000'000'000;
constexpr unsigned long kStart = 500 * kSecond;  // of the recordings here

Bytes EntryAt(unsigned long time) { return RecordOf(test::CanItem().At(kStart + time)); }

struct Passed {
  std::vector<unsigned long> Times;  // of the records that were handed on, since the start
  bool GoesOn;                       // the last one wasn't declined
};

Passed Through(const SelectionPlan& plan, const std::vector<unsigned long>& times) {
  Collector sink;
  Selection selection(sink, plan);
  Passed passed{{}, true};
  for (const unsigned long time : times) passed.GoesOn = Put(selection, EntryAt(time));
  for (const Bytes& record : sink.Records) passed.Times.push_back(ViewOf(record).Timestamp() - kStart);
  return passed;
}

TEST(TimeCut, PassesWhatIsFromTheStartOfTheRangeOnAndBeforeItsEnd) {
  const std::vector<unsigned long> times = {0, 9, 10, 11, 19, 20, 21};
  EXPECT_EQ(Through({.Times = {TimeBound{10}, TimeBound{20}}}, times).Times, (std::vector<unsigned long>{10, 11, 19}));
  EXPECT_EQ(Through({.Times = {TimeBound{10}, std::nullopt}}, times).Times,
            (std::vector<unsigned long>{10, 11, 19, 20, 21}));
  EXPECT_EQ(Through({.Times = {std::nullopt, TimeBound{10}}}, times).Times, (std::vector<unsigned long>{0, 9}));
  EXPECT_EQ(Through({}, times).Times, times);
}

TEST(TimeCut, CountsTimesFromTheFirstRecordWhichMayNotBeTheOldest) {
  EXPECT_EQ(Through({.Times = {TimeBound{0}, TimeBound{10}}}, {5, 3, 14, 15}).Times,
            (std::vector<unsigned long>{5, 3, 14}));
}

TEST(TimeCut, EndsTheStreamOnlyWhenNothingThatIsInsideCanFollow) {
  const SelectionPlan plan{.Times = {std::nullopt, TimeBound{kSecond}}};
  EXPECT_TRUE(Through(plan, {0, kSecond}).GoesOn);
  EXPECT_EQ(Through(plan, {0, 2 * kSecond - 1, kSecond - 1}).Times, (std::vector<unsigned long>{0, kSecond - 1}));
  EXPECT_FALSE(Through(plan, {0, 2 * kSecond}).GoesOn);
}

TEST(TimeCut, BoundsInUtcLieWhereTheRecordingKnowsThem) {
  constexpr unsigned long noon = 1'795'262'400 * kSecond;
  Collector kept;
  TimeCut cut(kept, {TimeBound{noon + 10, true}, TimeBound{noon + 20, true}});
  cut.BeginAt(5, {1'000, noon});  // the entries' clock showed 1000 at noon
  EXPECT_EQ(cut.Inside(), std::pair(1'010ul, 1'020ul));
  for (const unsigned long time : {5ul, 1'009ul, 1'010ul, 1'019ul, 1'020ul})
    EXPECT_TRUE(Put(cut, RecordOf(test::CanItem().At(time))));
  ASSERT_EQ(kept.Records.size(), 2u);
  EXPECT_EQ(ViewOf(kept.Records[0]).Timestamp(), 1'010u);
  EXPECT_EQ(ViewOf(kept.Records[1]).Timestamp(), 1'019u);
  EXPECT_EQ(cut.LeftOut(), 3u);
}

TEST(TimeCut, BoundsOfEitherKindGoTogether) {
  Collector kept;
  TimeCut cut(kept, {TimeBound{10}, TimeBound{kSecond, true}});
  cut.BeginAt(50, {0, 0});
  EXPECT_EQ(cut.Inside(), std::pair(60ul, kSecond));
}

std::vector<Loss> LossesAt(const std::vector<unsigned long>& times) {
  std::vector<Loss> losses;
  for (const unsigned long time : times)
    losses.push_back({1, LossCause::CaptureBufferFull, kStart + time, kStart + time, 1});
  return losses;
}

TEST(Selection, LossesOutsideTheRangeConcernNobody) {
  const std::vector<Loss> losses = LossesAt({9, 10, 19, 20});
  Collector sink;
  Selection selection(sink, {.Times = {TimeBound{10}, TimeBound{20}}});
  EXPECT_TRUE(selection.Concerned(losses).empty());  // it isn't known yet when the range begins
  selection.BeginAt(kStart);
  EXPECT_EQ(selection.Concerned(losses), LossesAt({10, 19}));
  Put(selection, EntryAt(0));
  EXPECT_EQ(selection.Concerned(losses), LossesAt({10, 19}));
  EXPECT_EQ(Selection(sink, {}).Concerned(losses), losses);
}

TEST(Selection, LossesAfterTheLastWantedRecordConcernNobody) {
  const std::vector<Loss> losses = LossesAt({1, 2, 3});
  Collector sink;
  Selection selection(sink, {.Count = 2});
  Put(selection, EntryAt(0));
  EXPECT_EQ(selection.Concerned(losses), losses);
  Put(selection, EntryAt(2));
  EXPECT_EQ(selection.Concerned(losses), LossesAt({1, 2}));
}

TEST(Selection, LossesConcernWhateverAnExpressionMatches) {
  const std::vector<Loss> losses = LossesAt({1, 2, 3});
  Collector sink;
  Selection selection(sink, {.Wanted = Filter("id == 0x7FF")});
  Put(selection, EntryAt(0));
  EXPECT_EQ(selection.Concerned(losses), losses);
}

TEST(Selection, ACountEndsTheStreamWithTheLastRecordThatIsWanted) {
  EXPECT_TRUE(Through({.Count = 3}, {1, 2}).GoesOn);
  const Passed three = Through({.Count = 3}, {1, 2, 3});
  EXPECT_EQ(three.Times, (std::vector<unsigned long>{1, 2, 3}));
  EXPECT_FALSE(three.GoesOn);
  EXPECT_EQ(Through({.Count = 3}, {1, 2, 3, 4, 5}).Times, (std::vector<unsigned long>{1, 2, 3}));
}

TEST(Selection, CountsWhatPassesTimeAndExpression) {
  Collector sink;
  Selection selection(sink, {.Times = {TimeBound{10}, std::nullopt}, .Wanted = Filter("id == 7"), .Count = 2});
  bool goesOn = true;
  std::vector<unsigned long> times;
  for (unsigned long time = 0; goesOn; ++time)
    goesOn = Put(selection, RecordOf(test::CanItem().At(time).Id(time % 2 == 0 ? 7 : 8)));
  for (const Bytes& record : sink.Records) times.push_back(ViewOf(record).Timestamp());
  EXPECT_EQ(times, (std::vector<unsigned long>{10, 12}));
  EXPECT_STREQ(selection.EndedBy(), "count");
  EXPECT_EQ(selection.Text(), "left out: 10 entries outside --from and --to, 1 entry that --filter doesn't match\n");
  EXPECT_EQ(selection.Json()["outside_times"], 10);
  EXPECT_EQ(selection.Json()["unmatched"], 1);
}

TEST(Selection, SaysWhatEndedIt) {
  Collector sink;
  Selection open(sink, {});
  EXPECT_TRUE(Put(open, EntryAt(0)));
  EXPECT_EQ(open.EndedBy(), nullptr);
  EXPECT_EQ(open.Text(), "");
  Selection cut(sink, {.Times = {std::nullopt, TimeBound{1}}});
  EXPECT_TRUE(Put(cut, EntryAt(0)));
  EXPECT_FALSE(Put(cut, EntryAt(2 * kSecond)));
  EXPECT_STREQ(cut.EndedBy(), "to");
}

TEST(Selection, WhatIsReachedFirstEndsIt) {
  Collector sink;
  Selection counted(sink, {.Count = 5, .Stop = {.Entries = 2, .Frames = 3}});
  EXPECT_TRUE(Put(counted, EntryAt(0)));
  EXPECT_FALSE(Put(counted, EntryAt(1)));
  EXPECT_STREQ(counted.EndedBy(), "count");
  Selection framed(sink, {.Count = 5, .Stop = {.Frames = 1}});
  EXPECT_FALSE(Put(framed, EntryAt(0)));
  EXPECT_STREQ(framed.EndedBy(), "stop_after");
}

TEST(Selection, LossesBehindItsEndDoNotConcernIt) {
  const std::vector<Loss> losses = LossesAt({1, 2, 3});
  Collector sink;
  Selection selection(sink, {.Stop = {.Time = 2}});
  Put(selection, EntryAt(0));
  EXPECT_EQ(selection.Concerned(losses), LossesAt({1}));
}

TEST(Selection, ConditionsSeeWhatTheFilterLeavesOut) {
  SelectionPlan plan{.Wanted = Filter("id == 7")};
  plan.Between.Start.emplace("id == 1");
  plan.Between.Stop.emplace("id == 2");
  Collector sink;
  Selection selection(sink, plan);
  EXPECT_FALSE(plan.IsEverything());
  EXPECT_TRUE(selection.Concerned(LossesAt({3})).empty());
  unsigned long time = 0;
  for (const unsigned int id : {7u, 2u, 1u, 7u, 8u})
    EXPECT_TRUE(Put(selection, RecordOf(test::CanItem().At(kStart + time++).Id(id))));
  EXPECT_EQ(selection.EndedBy(), nullptr);
  EXPECT_FALSE(Put(selection, RecordOf(test::CanItem().At(kStart + time).Id(2))));
  EXPECT_STREQ(selection.EndedBy(), "stop_on");
  ASSERT_EQ(sink.Records.size(), 1u);
  EXPECT_EQ(ViewOf(sink.Records[0]).Timestamp(), kStart + 3);
  EXPECT_EQ(selection.Text(), "left out: 2 entries before --start-on, 3 entries that --filter doesn't match\n");
  EXPECT_EQ(selection.Json()["before_start"], 2);
  EXPECT_EQ(selection.Concerned(LossesAt({1, 2, 5, 6})), LossesAt({2, 5}));
}

TEST(Selection, SaysThatNothingHasStartedIt) {
  SelectionPlan plan;
  plan.Between.Start.emplace("id == 1");
  Collector sink;
  Selection selection(sink, plan);
  EXPECT_TRUE(Put(selection, EntryAt(0)));
  EXPECT_EQ(selection.Text(), "left out: 1 entry before --start-on, which never happened\n");
}

TEST(Selection, DeclinesWhatTheNextSinkDeclines) {
  Collector sink;
  sink.Limit = 1;
  Selection selection(sink, {.Wanted = Filter("bus == can")});
  EXPECT_FALSE(Put(selection, EntryAt(0)));
  EXPECT_EQ(selection.EndedBy(), nullptr);
}

/// What was lost after a record might have been wanted, whatever the record is.
TEST(Selection, ALossAfterARecordThatIsLeftOutIsALoss) {
  Collector sink;
  Selection selection(sink, {.Wanted = Filter("id == 7")});
  EXPECT_TRUE(Put(selection, RecordOf(test::CanItem().At(kSecond).Id(7).Overrun())));
  EXPECT_FALSE(selection.Lossy());  // the one that is handed on says so itself
  EXPECT_TRUE(Put(selection, RecordOf(test::CanItem().At(2 * kSecond).Id(8).Overrun())));
  EXPECT_TRUE(Put(selection, RecordOf(test::CanItem().At(3 * kSecond).Id(8).Overrun())));
  EXPECT_TRUE(selection.Lossy());
  EXPECT_EQ(selection.Text(),
            "left out: 2 entries that --filter doesn't match\n"
            "  LOST: 2 overrun marks among them, after which data are missing, 2.000000000 s to 3.000000000 s\n");
  EXPECT_EQ(selection.Json()["unmatched_overruns"]["count"], 2);
  EXPECT_EQ(selection.Json()["unmatched_overruns"]["first_time_ns"], 2 * kSecond);
}

ChannelNumbers Numbers(const std::vector<std::pair<unsigned int, unsigned int>>& pairs) {
  ChannelNumbers numbers;
  for (const auto& [channel, number] : pairs) EXPECT_TRUE(numbers.Set(channel, number));
  return numbers;
}

TEST(Renumber, OnlyTheChannelOfARecordIsChanged) {
  Collector sink;
  Selection selection(sink, {.Wanted = Filter("channel in 1, 2"), .Channels = Numbers({{1, 2}, {2, 1}, {9, 8}})});
  for (const unsigned int channel : {1u, 2u, 3u})
    EXPECT_TRUE(Put(selection, RecordOf(test::CanItem().Channel(channel).At(channel).Id(7).Data({1, 2, 3}))));
  EXPECT_EQ(sink.Records, (std::vector<Bytes>{RecordOf(test::CanItem().Channel(2).At(1).Id(7).Data({1, 2, 3})),
                                              RecordOf(test::CanItem().Channel(1).At(2).Id(7).Data({1, 2, 3}))}));
}

TEST(Renumber, TwoChannelsNeverBecomeOne) {
  for (const auto& order : {std::pair{1u, 2u}, std::pair{2u, 1u}}) {
    Collector sink;
    Renumber renumber(sink, Numbers({{1, 2}}));
    EXPECT_TRUE(Put(renumber, RecordOf(test::CanItem().Channel(order.first))));
    try {
      EXPECT_TRUE(Put(renumber, RecordOf(test::CanItem().Channel(order.second))));
      FAIL() << "a failure is expected";
    } catch (const Failure& failure) {
      EXPECT_STREQ(
          failure.what(),
          "Channel 1 can't become 2, which is another one; give that one another number as well, as in --channel "
          "1=2 --channel 2=1");
    }
  }
}

TEST(ChannelNumbers, EachChannelAndEachNewNumberIsGivenOnce) {
  ChannelNumbers numbers;
  EXPECT_TRUE(numbers.empty());
  EXPECT_TRUE(numbers.Set(1, 5));
  EXPECT_FALSE(numbers.Set(1, 6));
  EXPECT_FALSE(numbers.Set(2, 5));
  EXPECT_TRUE(numbers.Set(5, 1));
  EXPECT_EQ(numbers.Of(1), 5u);
  EXPECT_EQ(numbers.Of(5), 1u);
  EXPECT_EQ(numbers.Of(2), 2u);
  EXPECT_EQ(Renumbered(std::map<unsigned int, int>{{1, 10}, {2, 20}, {5, 50}}, numbers),
            (std::map<unsigned int, int>{{1, 50}, {2, 20}, {5, 10}}));
}

}  // namespace
}  // namespace client
