#include "stream/StreamLimit.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

using Reached = StreamLimit::Reached;
constexpr unsigned long kSecond = 1'000'000'000;

Bytes FrameAt(unsigned long time) { return RecordOf(test::CanItem().At(time).Data({1, 2})); }
Bytes ErrorAt(unsigned long time) { return RecordOf(test::CanItem().At(time).ErrorFrame(1)); }

/// How many of the records get through, and whether the stream goes on.
std::pair<size_t, bool> Through(const StopLimits& limits, const std::vector<Bytes>& records) {
  Collector sink;
  StreamLimit limit(sink, limits);
  bool goesOn = true;
  for (const Bytes& record : records)
    if (goesOn) goesOn = Put(limit, record);
  return {sink.Records.size(), goesOn};
}

TEST(StreamLimit, WithoutOneEverythingPasses) {
  EXPECT_FALSE(StopLimits().Any());
  EXPECT_EQ(Through({}, {FrameAt(1), FrameAt(~0ul)}), std::pair(size_t{2}, true));
}

TEST(StreamLimit, FramesAreCountedWithoutWhatIsNoFrame) {
  const std::vector<Bytes> records = {ErrorAt(1), FrameAt(2), ErrorAt(3), FrameAt(4), FrameAt(5)};
  EXPECT_EQ(Through({.Frames = 2}, records), std::pair(size_t{4}, false));
  EXPECT_EQ(Through({.Entries = 2}, records), std::pair(size_t{2}, false));
  EXPECT_EQ(Through({.Frames = 4}, records), std::pair(size_t{5}, true));
}

TEST(StreamLimit, ASizeIsThatOfTheRecords) {
  const size_t one = FrameAt(1).size();
  const std::vector<Bytes> records = {FrameAt(1), FrameAt(2), FrameAt(3)};
  EXPECT_EQ(Through({.Bytes = 2 * one}, records), std::pair(size_t{2}, false));
  EXPECT_EQ(Through({.Bytes = 2 * one + 1}, records), std::pair(size_t{3}, false));
  EXPECT_EQ(Through({.Bytes = 3 * one + 1}, records), std::pair(size_t{3}, true));
}

TEST(StreamLimit, ATimeCountsFromTheFirstRecordAndHasEachOnce) {
  const std::vector<Bytes> records = {FrameAt(5 * kSecond), FrameAt(6 * kSecond - 1), FrameAt(6 * kSecond),
                                      FrameAt(6 * kSecond - 2), FrameAt(7 * kSecond)};
  EXPECT_EQ(Through({.Time = kSecond}, records), std::pair(size_t{3}, false)) << "one that comes late is in";
}

TEST(StreamLimit, TheLimitThatIsReachedFirstEndsTheStream) {
  Collector sink;
  StreamLimit limit(sink, {.Entries = 2, .Time = 10 * kSecond});
  EXPECT_TRUE(Put(limit, FrameAt(5)));
  EXPECT_EQ(limit.EndTime(), 10 * kSecond + 5);
  EXPECT_FALSE(Put(limit, FrameAt(7)));
  EXPECT_EQ(limit.EndedBy(), Reached::Entries);
  EXPECT_EQ(limit.EndTime(), 8ul);
  EXPECT_FALSE(Put(limit, FrameAt(8)));
  EXPECT_EQ(sink.Records.size(), 2u);
}

TEST(StreamLimit, NoTimeEndsBeyondTheClock) {
  EXPECT_EQ(Through({.Time = ~0ul}, {FrameAt(5), FrameAt(~0ul - 1)}), std::pair(size_t{2}, true));
}

}  // namespace
}  // namespace client
