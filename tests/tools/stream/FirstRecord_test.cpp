#include "stream/FirstRecord.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

TEST(FirstRecord, IsAnnouncedOnceAndBeforeItIsHandedOn) {
  const std::vector<Bytes> records = {RecordOf(test::CanItem().At(7)), RecordOf(test::CanItem().At(8))};
  Collector sink;
  std::vector<unsigned long> announced;
  FirstRecord first(sink, [&](const RecordView& record) {
    EXPECT_TRUE(sink.Records.empty());
    announced.push_back(record.Timestamp());
  });
  for (const Bytes& record : records) EXPECT_TRUE(Put(first, record));
  EXPECT_EQ(announced, std::vector<unsigned long>{7});
  EXPECT_EQ(sink.Records, records);
}

}  // namespace
}  // namespace client
