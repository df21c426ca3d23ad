// What conditions leave of a stream.
#include "stream/ConditionCut.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/ClientEntries.h"

namespace client {
namespace {

constexpr unsigned long kStart = 500;

Bytes EntryAt(unsigned long time, unsigned int id) { return RecordOf(test::CanItem().At(kStart + time).Id(id)); }

ConditionBounds Bounds(const char* start, const char* stop) {
  ConditionBounds bounds;
  if (start != nullptr) bounds.Start.emplace(start);
  if (stop != nullptr) bounds.Stop.emplace(stop);
  return bounds;
}

struct Frame {
  unsigned long Time;
  unsigned int Id;
};

/// The times that are handed on, since the start, followed by "|" once the stream was ended.
std::string Passed(const char* start, const char* stop, const std::vector<Frame>& frames) {
  Collector sink;
  ConditionCut cut(sink, Bounds(start, stop));
  bool goesOn = true;
  for (const Frame& frame : frames) goesOn = Put(cut, EntryAt(frame.Time, frame.Id));
  std::string text;
  for (const Bytes& record : sink.Records) text += std::to_string(ViewOf(record).Timestamp() - kStart) + " ";
  EXPECT_EQ(goesOn, !cut.HasEnded());
  return text + (goesOn ? "" : "|");
}

TEST(ConditionCut, PassesFromTheRecordOfTheStartToThatOfTheStopBothIncluded) {
  const std::vector<Frame> frames = {{0, 9}, {1, 1}, {2, 9}, {3, 1}, {4, 2}, {5, 9}};
  EXPECT_EQ(Passed("id == 1", nullptr, frames), "1 2 3 4 5 ");
  EXPECT_EQ(Passed(nullptr, "id == 2", frames), "0 1 2 3 4 |");
  EXPECT_EQ(Passed("id == 1", "id == 2", frames), "1 2 3 4 |");
  EXPECT_EQ(Passed("id == 7", "id == 2", frames), "");
}

TEST(ConditionCut, TheStopIsLookedForAfterTheRecordOfTheStart) {
  EXPECT_EQ(Passed("id == 1", "id == 1", {{0, 1}, {1, 2}, {2, 1}, {3, 1}}), "0 1 2 |");
  EXPECT_EQ(Passed("id == 1", "id == 2", {{0, 2}, {1, 1}, {2, 2}}), "1 2 |");
}

TEST(ConditionCut, WhatHappensBetweenTwoRecordsStartsWithTheNextAndStopsBeforeIt) {
  const std::vector<Frame> frames = {{0, 1}, {5, 2}, {11, 2}, {12, 1}, {20, 2}, {25, 2}};
  EXPECT_EQ(Passed("missing(id == 1) for 10ns", nullptr, frames), "11 12 20 25 ");
  EXPECT_EQ(Passed(nullptr, "missing(id == 1) for 10ns", frames), "0 5 |");
  EXPECT_EQ(Passed("id == 1", "missing(id == 1) for 12ns", frames), "0 5 11 12 20 |");
}

TEST(ConditionCut, OfTheStopSomethingIsMissingFromTheStartOn) {
  EXPECT_EQ(Passed("id == 1", "missing(id == 2) for 10ns", {{0, 9}, {20, 1}, {25, 9}, {30, 9}, {31, 9}}), "20 25 30 |");
}

TEST(ConditionCut, CountsWhatCameBeforeTheStart) {
  Collector sink;
  ConditionCut cut(sink, Bounds("id == 1", nullptr));
  EXPECT_FALSE(cut.HasStarted());
  EXPECT_EQ(cut.Inside(), std::nullopt);
  EXPECT_TRUE(Put(cut, EntryAt(0, 2)));
  EXPECT_TRUE(Put(cut, EntryAt(1, 2)));
  EXPECT_TRUE(Put(cut, EntryAt(2, 1)));
  EXPECT_EQ(cut.LeftOut(), 2u);
  EXPECT_EQ(cut.Inside(), std::pair(kStart + 2, ~0ul));
}

TEST(ConditionCut, TheRecordOfTheStopIsTheLastOneInside) {
  Collector sink;
  ConditionCut cut(sink, Bounds(nullptr, "id == 1"));
  EXPECT_FALSE(Put(cut, EntryAt(7, 1)));
  EXPECT_EQ(cut.Inside(), std::pair(0ul, kStart + 8));
  EXPECT_FALSE(Put(cut, EntryAt(8, 2)));
  EXPECT_EQ(sink.Records.size(), 1u);
}

TEST(ConditionCut, ALossStartsOrStopsInFrontOfTheRecordAfterIt) {
  for (const bool starts : {true, false}) {
    Collector sink;
    ConditionCut cut(sink, starts ? Bounds("loss", nullptr) : Bounds(nullptr, "loss"));
    EXPECT_TRUE(Put(cut, EntryAt(0, 1)));
    cut.NoteLosses({{1, LossCause::OverrunMark, kStart, kStart + 10, std::nullopt}});
    EXPECT_EQ(Put(cut, EntryAt(10, 1)), starts);
    EXPECT_EQ(sink.Records, std::vector<Bytes>{EntryAt(starts ? 10 : 0, 1)});
  }
}

TEST(ConditionCut, SaysThatItStartsBeforeItHandsOn) {
  Collector sink;
  ConditionCut cut(sink, Bounds("id == 1", nullptr));
  size_t handedOn = 99;
  cut.TellOfStart([&] { handedOn = sink.Records.size(); });
  EXPECT_TRUE(Put(cut, EntryAt(0, 2)));
  EXPECT_EQ(handedOn, 99u);
  EXPECT_TRUE(Put(cut, EntryAt(1, 1)));
  EXPECT_EQ(handedOn, 0u);
}

/// A clock that is moved by hand.
struct FakeClock {
  std::chrono::steady_clock::time_point Time;
  [[nodiscard]] SilentTime::Clock Read() {
    return [this] { return Time; };
  }
};

TEST(SilentTime, PassesWithTheClockAfterTheGrace) {
  FakeClock clock;
  SilentTime time({2.0, 1000}, clock.Read());
  EXPECT_EQ(time.Now(), std::nullopt);  // without a record
  time.Took(50);
  EXPECT_EQ(time.Now(), std::nullopt);
  clock.Time += std::chrono::nanoseconds(500);
  EXPECT_EQ(time.Now(), std::nullopt);
  clock.Time += std::chrono::nanoseconds(7);
  EXPECT_EQ(time.Now(), 64ul);
  time.Took(55);
  EXPECT_EQ(time.Now(), std::nullopt);
}

TEST(SilentTime, IsNotKnownOfFilesAndSourcesAtFullSpeed) {
  FakeClock clock;
  SilentTime time({}, clock.Read());
  time.Took(50);
  EXPECT_EQ(time.Now(), std::nullopt);
  clock.Time += std::chrono::hours(1);
  EXPECT_EQ(time.Now(), std::nullopt);
}

TEST(ConditionCut, ABusThatFallsSilentStopsByTheClock) {
  Collector sink;
  FakeClock clock;
  ConditionCut cut(sink, Bounds(nullptr, "missing(id == 1) for 10s"), {1.0, 0}, clock.Read());
  EXPECT_TRUE(Put(cut, EntryAt(0, 1)));
  cut.Pause();
  clock.Time += std::chrono::seconds(10);
  cut.Pause();
  EXPECT_FALSE(cut.HasEnded());
  clock.Time += std::chrono::nanoseconds(1);
  cut.Pause();
  EXPECT_TRUE(cut.HasEnded());
  EXPECT_EQ(cut.Inside(), std::pair(0ul, kStart + 10'000'000'000));
  EXPECT_FALSE(Put(cut, EntryAt(1, 1)));
  EXPECT_EQ(sink.Records.size(), 1u);
}

}  // namespace
}  // namespace client
