#include "stream/Paced.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

using namespace std::chrono_literals;

/// A second of a bus, played against a clock that only waiting moves.
class PacedTest : public testing::Test {
 protected:
  class Watched : public Collector {
   public:
    void Pause() override { ++Pauses; }
    unsigned int Pauses = 0;
  };

  Paced At(double speed) {
    return Paced(
        Sink, speed,
        [this](std::chrono::milliseconds time) {
          Clock += time;
          return MayGoOn;
        },
        [this] { return Clock; });
  }
  static Bytes At(std::chrono::nanoseconds time) {
    return RecordOf(test::CanItem().At(static_cast<unsigned long>(time.count())));
  }
  std::chrono::milliseconds Passed() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock - std::chrono::steady_clock::time_point(1h));
  }

  Watched Sink;
  std::chrono::steady_clock::time_point Clock{1h};
  bool MayGoOn = true;
};

TEST_F(PacedTest, RecordsAreHandedOnWhenTheyAreDue) {
  Paced paced = At(1);
  EXPECT_TRUE(Put(paced, At(7s)));
  EXPECT_EQ(Passed(), 0ms);
  EXPECT_TRUE(Put(paced, At(7s + 300ms)));
  EXPECT_EQ(Passed(), 300ms);
  EXPECT_TRUE(Put(paced, At(8s)));
  EXPECT_EQ(Passed(), 1000ms);
  EXPECT_EQ(Sink.Records.size(), 3u);
}

TEST_F(PacedTest, SpeedIsAFactor) {
  Paced paced = At(2.5);
  EXPECT_TRUE(Put(paced, At(0s)));
  EXPECT_TRUE(Put(paced, At(1s)));
  EXPECT_EQ(Passed(), 400ms);
}

TEST_F(PacedTest, ASpeedOfZeroNeverWaits) {
  Paced paced = At(0);
  EXPECT_TRUE(Put(paced, At(0s)));
  EXPECT_TRUE(Put(paced, At(1h)));
  EXPECT_EQ(Passed(), 0ms);
  EXPECT_EQ(Sink.Pauses, 0u);
}

TEST_F(PacedTest, LateAndDisorderedRecordsDoNotWait) {
  Paced paced = At(1);
  EXPECT_TRUE(Put(paced, At(5s)));
  EXPECT_TRUE(Put(paced, At(4s)));  // before the first one
  EXPECT_EQ(Passed(), 0ms);
  Clock += 3s;
  EXPECT_TRUE(Put(paced, At(6s)));
  EXPECT_EQ(Passed(), 3000ms);
}

TEST_F(PacedTest, WhatCameIsFlushedWhileItWaits) {
  Paced paced = At(1);
  EXPECT_TRUE(Put(paced, At(0s)));
  EXPECT_EQ(Sink.Pauses, 0u);
  EXPECT_TRUE(Put(paced, At(Paced::kLongestWait * 3)));
  EXPECT_EQ(Sink.Pauses, 3u);
}

TEST_F(PacedTest, RefusedWaitEndsTheStream) {
  Paced paced = At(1);
  EXPECT_TRUE(Put(paced, At(0s)));
  MayGoOn = false;
  EXPECT_FALSE(Put(paced, At(1h)));
  EXPECT_EQ(Sink.Records.size(), 1u);
  EXPECT_LE(Passed(), Paced::kLongestWait);
}

}  // namespace
}  // namespace client
