#include "views/Comparison.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tools/views/Compared.h"

namespace client {
namespace {

/// "equal 3, only A 1 in 1, only B 0, different 2": runs are counted by their first entries.
std::string Outcome(const Comparison& comparison) {
  const ComparedCounts all = comparison.All();
  return "equal " + std::to_string(all.Equal) + ", only A " + std::to_string(all.Only(Side::A)) + ", only B " +
         std::to_string(all.Only(Side::B)) + ", different " + std::to_string(all.Differing);
}

std::vector<std::string> FieldsOf(const Difference& difference) {
  std::vector<std::string> names;
  for (size_t field = 0; field < kComparedFieldCount; ++field)
    if (difference.Fields.test(field)) names.emplace_back(NameOf(static_cast<ComparedField>(field)));
  return names;
}

Bytes Frame(unsigned long time, unsigned int id, Bytes data = {1, 2}) {
  return RecordOf(test::CanItem().At(time).Id(id).Data(std::move(data)));
}

/// How times may count; a clock that is a little off needs no other outcome than an exact one.
struct Way {
  const char* Name;
  ComparisonPlan Plan;
};

class EveryWay : public testing::TestWithParam<Way> {};

INSTANTIATE_TEST_SUITE_P(Comparison, EveryWay,
                         testing::Values(Way{"Exact", {}}, Way{"Tolerance", WithTolerance(100 * kMs)},
                                         Way{"WithoutTimes", WithoutTimes()}),
                         [](const auto& way) { return std::string(way.param.Name); });

TEST_P(EveryWay, TheSameRecordingIsEqual) {
  const auto compared = Compared(Drive(3000), Drive(3000), GetParam().Plan);
  EXPECT_EQ(Outcome(*compared), "equal 3000, only A 0, only B 0, different 0");
  EXPECT_FALSE(compared->AnyDifference());
  EXPECT_EQ(compared->All().Reordered, 0u);
}

TEST_P(EveryWay, EmptyRecordingsAreEqual) {
  EXPECT_FALSE(Compared({}, {}, GetParam().Plan)->AnyDifference());
  EXPECT_EQ(Outcome(*Compared({}, Drive(3), GetParam().Plan)), "equal 0, only A 0, only B 3, different 0");
}

TEST_P(EveryWay, MissingRecordIsOneDifferenceAndTheRestIsEqual) {
  for (const size_t place : {0ul, 1ul, 500ul, 502ul, 1999ul}) {
    const auto compared = Compared(Drive(2000), Without(Drive(2000), place), GetParam().Plan);
    EXPECT_EQ(Outcome(*compared), "equal 1999, only A 1, only B 0, different 0") << place;
    ASSERT_EQ(compared->Differences(), 1u) << place;
    EXPECT_EQ(compared->Shown()[0].A->Entry(), place + 1);
  }
}

TEST_P(EveryWay, RecordOfOneSideAloneIsFoundOnEitherSide) {
  const auto compared = Compared(Without(Drive(2000), 1000), Without(Drive(2000), 700), GetParam().Plan);
  EXPECT_EQ(Outcome(*compared), "equal 1998, only A 1, only B 1, different 0");
  ASSERT_EQ(compared->Shown().size(), 2u);
  EXPECT_EQ(compared->Shown()[0].A->Entry(), 701u);
  EXPECT_EQ(compared->Shown()[1].B->Entry(), 1000u);
}

TEST_P(EveryWay, BurstThatIsMissingIsOneDifferenceWithItsEnds) {
  for (const size_t count : {10ul, 63ul, 64ul, 500ul, 5000ul}) {
    const auto compared = Compared(Drive(8000), Without(Drive(8000), 1000, count), GetParam().Plan);
    EXPECT_EQ(compared->All().Only(Side::A), count);
    EXPECT_EQ(Outcome(*compared), "equal " + std::to_string(8000 - count) + ", only A " + std::to_string(count) +
                                      ", only B 0, different 0");
    ASSERT_EQ(compared->Differences(), 1u) << count;
    const Difference& gap = compared->Shown()[0];
    EXPECT_EQ(gap.Count, count);
    EXPECT_EQ(gap.LastEntry - gap.A->Entry(), count - 1);
    EXPECT_EQ(gap.A->Entry(), 1001u);
    EXPECT_EQ(gap.LastTime, (1000 + count - 1) * kMs);
  }
}

TEST_P(EveryWay, OtherDataIsADifferenceOfThatRecordAlone) {
  Recording other = Drive(2000);
  other[1001] = Frame(1001 * kMs, 0x101, {0x11, 0x23});
  const auto compared = Compared(Drive(2000), other, GetParam().Plan);
  EXPECT_EQ(Outcome(*compared), "equal 1999, only A 0, only B 0, different 1");
  ASSERT_EQ(compared->Shown().size(), 1u);
  EXPECT_EQ(FieldsOf(compared->Shown()[0]), std::vector<std::string>{"data"});
}

TEST_P(EveryWay, OtherIdentifierAtTheSamePlaceIsThatRecord) {
  Recording other = Drive(2000);
  other[1001] = Frame(1001 * kMs, 0x7DF, {0x11, 0x22});
  const auto compared = Compared(Drive(2000), other, GetParam().Plan);
  EXPECT_EQ(Outcome(*compared), "equal 1999, only A 0, only B 0, different 1");
  ASSERT_EQ(compared->Shown().size(), 1u);
  EXPECT_EQ(FieldsOf(compared->Shown()[0]), std::vector<std::string>{"id"});
}

TEST_P(EveryWay, EveryThirdRecordThatDiffersIsCounted) {
  Recording other = Drive(3000);
  for (size_t index = 0; index < other.size(); index += 3) other[index].back() ^= 0x80;
  const auto compared = Compared(Drive(3000), other, GetParam().Plan);
  EXPECT_EQ(Outcome(*compared), "equal 2000, only A 0, only B 0, different 1000");
}

TEST_P(EveryWay, MemoryStaysSmallWhenNothingIsEqual) {
  Recording other = Drive(20000);
  for (Bytes& record : other) record[36] ^= 0x55;  // another identifier
  const auto compared = Compared(Drive(20000), other, GetParam().Plan);
  EXPECT_EQ(compared->All().Equal, 0u);
  EXPECT_EQ(compared->All().Differing * 2 + compared->All().Only(Side::A) + compared->All().Only(Side::B), 40000u);
}

TEST_P(EveryWay, EachRecordIsCountedOnceWhateverIsMissing) {
  std::minstd_rand random(7);
  for (int round = 0; round < 20; ++round) {
    std::array<Recording, 2> recordings;
    for (Recording& recording : recordings)
      for (const Bytes& record : Drive(2000))
        if (random() % 10 != 0) recording.push_back(record);
    const auto compared = Compared(recordings[0], recordings[1], GetParam().Plan);
    const ComparedCounts all = compared->All();
    EXPECT_EQ(all.Equal + all.Differing + all.Only(Side::A), recordings[0].size());
    EXPECT_EQ(all.Equal + all.Differing + all.Only(Side::B), recordings[1].size());
  }
}

TEST_P(EveryWay, OrderAmongChannelsDoesNotCount) {
  Recording one, other;
  const Recording left = Drive(500, 1), right = Drive(500, 2);
  for (size_t index = 0; index < 500; ++index) {
    one.insert(one.end(), {left[index], right[index]});
    other.insert(other.end(), {right[index], left[index]});
  }
  const auto compared = Compared(one, other, GetParam().Plan);
  EXPECT_EQ(Outcome(*compared), "equal 1000, only A 0, only B 0, different 0");
  EXPECT_EQ(compared->All().Reordered, 0u);
  EXPECT_EQ(compared->Channels().size(), 2u);
}

TEST_P(EveryWay, TwoOfOneMomentInAnotherOrderAreEqualAndTold) {
  Recording one = Drive(200), other = Drive(200);
  one.push_back(Frame(200 * kMs, 5));
  one.push_back(Frame(200 * kMs, 6));
  other.push_back(Frame(200 * kMs, 6));
  other.push_back(Frame(200 * kMs, 5));
  const auto compared = Compared(one, other, GetParam().Plan);
  EXPECT_EQ(Outcome(*compared), "equal 202, only A 0, only B 0, different 0");
  EXPECT_EQ(compared->All().Reordered, 1u);
}

TEST_P(EveryWay, ChannelOfOneSideAloneIsOneDifference) {
  Recording more = Drive(3000);
  const Recording other = Drive(3000, 2);
  for (size_t index = 0; index < 3000; ++index)
    more.insert(more.begin() + static_cast<std::ptrdiff_t>(2 * index + 1), other[index]);
  const auto compared = Compared(more, Drive(3000), GetParam().Plan);
  EXPECT_EQ(Outcome(*compared), "equal 3000, only A 3000, only B 0, different 0");
  EXPECT_EQ(compared->Differences(), 1u);
}

TEST(Comparison, TimesThatAreATinyBitOffAreDifferencesOfTimeAlone) {
  const auto compared = Compared(Drive(1000), Later(Drive(1000), 300));
  EXPECT_EQ(Outcome(*compared), "equal 0, only A 0, only B 0, different 1000");
  EXPECT_EQ(FieldsOf(compared->Shown()[0]), std::vector<std::string>{"time"});
  EXPECT_EQ(compared->Times()->Least, 300);
  EXPECT_FALSE(Compared(Drive(1000), Later(Drive(1000), 300), WithTolerance(300))->AnyDifference());
  EXPECT_EQ(Compared(Drive(1000), Later(Drive(1000), 300), WithTolerance(299))->All().Differing, 1000u);
}

TEST(Comparison, ClocksThatDriftAreFollowedWithinTheTolerance) {
  Recording drifting = Drive(20000);
  for (size_t index = 0; index < drifting.size(); ++index)
    reinterpret_cast<Qor_Trace_Entry_t*>(drifting[index].data())->Timestamp += index * 1000;
  const auto compared = Compared(Without(Drive(20000), 9000), drifting, WithTolerance(20 * kMs));
  EXPECT_EQ(Outcome(*compared), "equal 19999, only A 0, only B 1, different 0");
  EXPECT_EQ(compared->Shown()[0].B->Entry(), 9001u);
  EXPECT_EQ(compared->Times()->First, 0);
  EXPECT_EQ(compared->Times()->Last, 19'999'000);
}

TEST(Comparison, OtherClocksAreMeasuredWhereTimesDoNotCount) {
  const auto compared = Compared(Drive(1000), Later(Drive(1000), 3'000'000'123), WithoutTimes());
  EXPECT_FALSE(compared->AnyDifference());
  EXPECT_EQ(compared->Times()->First, 3'000'000'123);
  EXPECT_EQ(compared->Times()->Greatest, 3'000'000'123);
}

TEST(Comparison, TwoFramesThatAreMissingAreNotOneThatDiffers) {
  Recording one = Drive(1000), other = Drive(1000);
  one = Without(one, 404);
  other = Without(other, 400);
  EXPECT_EQ(Outcome(*Compared(one, other)), "equal 998, only A 1, only B 1, different 0");
}

TEST(Comparison, IgnoredFieldsDoNotCount) {
  const Recording one = {RecordOf(test::CanItem().Id(1).Data({1}))};
  const Recording other = {RecordOf(test::CanItem().Id(1).Tx().Channel(2).Data({2}))};
  ComparisonPlan plan;
  EXPECT_EQ(Outcome(*Compared(one, other, plan)), "equal 0, only A 1, only B 1, different 0");
  plan.Ignored.Add(ComparedField::Channel);
  auto compared = Compared(one, other, plan);
  EXPECT_EQ(FieldsOf(compared->Shown()[0]), (std::vector<std::string>{"dir", "data"}));
  plan.Ignored.Add(ComparedField::Direction);
  EXPECT_EQ(FieldsOf(Compared(one, other, plan)->Shown()[0]), std::vector<std::string>{"data"});
  plan.Ignored.Add(ComparedField::Data);
  EXPECT_FALSE(Compared(one, other, plan)->AnyDifference());
}

TEST(Comparison, NoMoreDifferencesAreKeptThanAskedForAndAllAreCounted) {
  ComparisonPlan plan;
  plan.MostShown = 3;
  Recording other = Drive(400);
  for (size_t index = 0; index < other.size(); index += 4) other[index].back() ^= 0x80;
  const auto compared = Compared(Drive(400), other, plan);
  EXPECT_EQ(compared->Shown().size(), 3u);
  EXPECT_EQ(compared->Differences(), 100u);
  EXPECT_EQ(compared->Shown()[0].A->Entry(), 1u);
  EXPECT_EQ(compared->Shown()[2].A->Entry(), 9u);
  EXPECT_EQ(compared->All().Fields[static_cast<size_t>(ComparedField::Data)], 100u);
}

TEST(Comparison, MalformedRecordsAreComparedByTheirBytes) {
  Bytes cut = RecordOf(test::CanItem().Data({1}));
  cut.resize(36);
  cut[0] = 36;
  Bytes other = cut;
  EXPECT_FALSE(Compared({cut}, {other})->AnyDifference());
  other.back() ^= 1;
  EXPECT_EQ(Outcome(*Compared({cut}, {other})), "equal 0, only A 0, only B 0, different 1");
}

TEST(Comparison, OddTimeOfOneRecordHoldsUpNoOther) {
  for (const unsigned long odd : {0ul, 1ul << 62, ~0ul}) {
    Recording other = Drive(3000);
    reinterpret_cast<Qor_Trace_Entry_t*>(other[1000].data())->Timestamp = odd;
    EXPECT_EQ(Outcome(*Compared(Drive(3000), other)), "equal 2999, only A 1, only B 1, different 0") << odd;
    EXPECT_EQ(Outcome(*Compared(other, Drive(3000))), "equal 2999, only A 1, only B 1, different 0") << odd;
    EXPECT_FALSE(Compared(other, other)->AnyDifference());
    EXPECT_EQ(Compared(other, other, WithTolerance(kMs))->All().Equal, 3000u);
  }
}

TEST(Comparison, ClockThatIsResetIsFollowedHoweverSlowTheBusIs) {
  Recording reset;
  for (const Bytes& record : Drive(600)) reset.push_back(record);
  for (size_t index = 0; index < reset.size(); ++index)
    reinterpret_cast<Qor_Trace_Entry_t*>(reset[index].data())->Timestamp = index % 300 * 10'000 * kMs;
  const auto same = Compared(reset, reset);
  EXPECT_EQ(Outcome(*same), "equal 600, only A 0, only B 0, different 0");
  EXPECT_EQ(same->All().Reordered, 0u);
  EXPECT_EQ(Outcome(*Compared(reset, Without(reset, 400))), "equal 599, only A 1, only B 0, different 0");
  EXPECT_EQ(Outcome(*Compared(Without(reset, 400), reset)), "equal 599, only A 0, only B 1, different 0");
  EXPECT_EQ(Outcome(*Compared(reset, Without(reset, 300))), "equal 599, only A 1, only B 0, different 0");
}

TEST(Comparison, RecordsThatGoBackInTimeFindEachOther) {
  Recording late = Drive(3000);
  std::rotate(late.begin() + 1000, late.begin() + 1001, late.begin() + 1400);  // one comes 400 ms later
  const auto compared = Compared(Drive(3000), late);
  EXPECT_EQ(Outcome(*compared), "equal 3000, only A 0, only B 0, different 0");
  EXPECT_EQ(compared->All().Reordered, 1u);
}

}  // namespace
}  // namespace client
