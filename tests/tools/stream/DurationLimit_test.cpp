#include "stream/DurationLimit.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

Bytes EntryAt(unsigned long time) { return RecordOf(test::CanItem().At(time)); }

TEST(DurationLimit, EndsWithTheFirstEntryBeyondTheDuration) {
  Collector sink;
  DurationLimit limit(sink, 10);
  EXPECT_TRUE(Put(limit, EntryAt(100)));
  EXPECT_TRUE(Put(limit, EntryAt(90)));  // came late
  EXPECT_TRUE(Put(limit, EntryAt(110)));
  EXPECT_FALSE(Put(limit, EntryAt(111)));
  EXPECT_EQ(sink.Records, (std::vector<Bytes>{EntryAt(100), EntryAt(90), EntryAt(110)}));
}

TEST(DurationLimit, IsNoneWithoutADuration) {
  Collector sink;
  DurationLimit limit(sink, std::nullopt);
  EXPECT_TRUE(Put(limit, EntryAt(0)));
  EXPECT_TRUE(Put(limit, EntryAt(~0ul)));
}

}  // namespace
}  // namespace client
