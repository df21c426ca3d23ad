#include "stream/ReplayPace.h"

#include <gtest/gtest.h>

namespace client {
namespace {

using namespace std::chrono_literals;

constexpr unsigned long kSecond = 1'000'000'000;
constexpr unsigned long kBegin = 1000 * kSecond;
const ReplayPace::Moment kStart{100h};

TEST(ReplayPace, RecordsAreDueAsFarApartAsTheirTimesAre) {
  ReplayPace pace(1.0);
  EXPECT_EQ(pace.Until(kBegin, kStart), 0ns);
  EXPECT_EQ(pace.Until(kBegin + kSecond, kStart), 1s);
  EXPECT_EQ(pace.Until(kBegin + kSecond, kStart + 300ms), 700ms);
  EXPECT_EQ(pace.Until(kBegin + kSecond, kStart + 1s), 0ns);
  EXPECT_EQ(pace.Until(kBegin + kSecond, kStart + 5s), 0ns);
}

TEST(ReplayPace, SpeedDividesTheTimeBetweenRecords) {
  ReplayPace pace(4.0);
  EXPECT_EQ(pace.Until(kBegin, kStart), 0ns);
  EXPECT_EQ(pace.Until(kBegin + kSecond, kStart), 250ms);
}

TEST(ReplayPace, AtMaxEveryRecordIsDue) {
  ReplayPace pace(std::nullopt);
  EXPECT_EQ(pace.Until(kBegin, kStart), 0ns);
  EXPECT_EQ(pace.Until(kBegin + 3600 * kSecond, kStart), 0ns);
}

TEST(ReplayPace, AfterMaxItGoesOnFromTheLatestRecord) {
  ReplayPace pace(std::nullopt);
  EXPECT_EQ(pace.Until(kBegin, kStart), 0ns);
  EXPECT_EQ(pace.Until(kBegin + 3600 * kSecond, kStart + 1s), 0ns);
  pace.SetSpeed(1.0, kStart + 1s);
  EXPECT_EQ(pace.Until(kBegin + 3601 * kSecond, kStart + 1s), 1s);
}

TEST(ReplayPace, RecordsThatGoBackInTimeAreDueAtOnce) {
  ReplayPace pace(1.0);
  EXPECT_EQ(pace.Until(kBegin, kStart), 0ns);
  EXPECT_EQ(pace.Until(kBegin - kSecond, kStart), 0ns);
}

TEST(ReplayPace, NothingIsDueWhileHaltedAndNoTimePasses) {
  ReplayPace pace(1.0);
  EXPECT_EQ(pace.Until(kBegin, kStart), 0ns);
  EXPECT_EQ(pace.Until(kBegin + kSecond, kStart), 1s);
  pace.Halt(kStart + 200ms);
  EXPECT_EQ(pace.Until(kBegin + kSecond, kStart + 10s), std::nullopt);
  pace.GoOn(kStart + 10s);
  EXPECT_EQ(pace.Until(kBegin + kSecond, kStart + 10s), 800ms);
}

TEST(ReplayPace, AStepMakesOneRecordDueAndTheNextAsFarFromItAsItWas) {
  ReplayPace pace(1.0);
  EXPECT_EQ(pace.Until(kBegin, kStart), 0ns);
  pace.Halt(kStart);
  pace.Step();
  EXPECT_EQ(pace.Until(kBegin + 60 * kSecond, kStart), 0ns);
  EXPECT_EQ(pace.Until(kBegin + 61 * kSecond, kStart), std::nullopt);
  pace.GoOn(kStart + 5s);
  EXPECT_EQ(pace.Until(kBegin + 61 * kSecond, kStart + 5s), 1s);
}

TEST(ReplayPace, AnotherSpeedCountsFromNowOn) {
  ReplayPace pace(1.0);
  EXPECT_EQ(pace.Until(kBegin, kStart), 0ns);
  EXPECT_EQ(pace.Until(kBegin + 10 * kSecond, kStart), 10s);
  pace.Scale(2, kStart + 2s);
  EXPECT_EQ(pace.Speed(), 2);
  EXPECT_EQ(pace.Until(kBegin + 10 * kSecond, kStart + 2s), 4s);
}

TEST(ReplayPace, ReadingThatCannotKeepUpIsNotAheadAfterwards) {
  ReplayPace pace(1000.0);
  EXPECT_EQ(pace.Until(kBegin, kStart), 0ns);
  EXPECT_EQ(pace.Until(kBegin + kSecond, kStart + 10s), 0ns);  // 10,000 s would be due
  pace.SetSpeed(1.0, kStart + 10s);
  EXPECT_EQ(pace.Until(kBegin + 2 * kSecond, kStart + 10s), 1s);
}

TEST(ReplayPace, SpeedStaysWithinItsBounds) {
  ReplayPace pace(1.0);
  for (int time = 0; time < 20; ++time) pace.Scale(2, kStart);
  EXPECT_EQ(pace.Speed(), ReplayPace::kFastest);
  for (int time = 0; time < 20; ++time) pace.Scale(0.5, kStart);
  EXPECT_EQ(pace.Speed(), ReplayPace::kSlowest);
}

}  // namespace
}  // namespace client
