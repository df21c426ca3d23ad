#include "views/MessageTimes.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"
#include "views/MessageTable.h"

#include <nlohmann/json.hpp>

namespace client {
namespace {

using test::CanItem;
using test::EthernetItem;
using test::FlexRayItem;
using test::LinItem;

TEST(MessageTimes, MessagesAreThoseOfTheTableInItsOrder) {
  const Bytes records[] = {RecordOf(CanItem().Id(0x200)),
                           RecordOf(CanItem().Id(0x100)),
                           RecordOf(CanItem().Id(0x100).Fd()),
                           RecordOf(CanItem().Id(0x100).ErrorFrame(1)),
                           RecordOf(LinItem().Channel(2).Id(5)),
                           RecordOf(LinItem().Channel(2).WakeUp()),
                           RecordOf(FlexRayItem().Channel(3).Slot(7)),
                           RecordOf(FlexRayItem().Channel(3).Slot(7).Code(1)),
                           RecordOf(EthernetItem().Channel(4).Frame(Bytes(60, 1))),
                           RecordOf(CanItem().Id(0x100).Extended()),
                           RecordOf(CanItem().Channel(9).Id(0x100))};
  MessageTimes times;
  MessageTable table;
  for (const Bytes& record : records) {
    EXPECT_TRUE(Put(times, record));
    EXPECT_TRUE(Put(table, record));
  }
  const auto rows = table.Json();
  const auto all = times.All();
  ASSERT_EQ(all.size(), rows.size());
  for (size_t index = 0; index < all.size(); ++index) {
    EXPECT_EQ(all[index]->first.Channel, rows[index]["channel"]) << index;
    EXPECT_EQ(all[index]->second.Row.Count, rows[index]["count"]) << index;
  }
}

TEST(MessageTimes, TimesAndDirectionsAreThoseOfTheMessage) {
  MessageTimes times;
  EXPECT_TRUE(Put(times, RecordOf(CanItem().Id(1).At(1000))));
  EXPECT_TRUE(Put(times, RecordOf(CanItem().Id(2).At(1500))));
  EXPECT_TRUE(Put(times, RecordOf(CanItem().Id(1).At(3000).Tx())));
  const auto all = times.All();
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0]->second.Cycles.Count(), 1u);
  EXPECT_EQ(all[0]->second.Cycles.Greatest(), 2000u);
  EXPECT_TRUE(all[0]->second.Received && all[0]->second.Transmitted);
  EXPECT_EQ(all[1]->second.Cycles.Count(), 0u);
  EXPECT_FALSE(all[1]->second.Transmitted);
}

TEST(MessageTimes, FurtherMessagesAreOnlyCounted) {
  MessageTimes times;
  for (unsigned int id = 0; id < MessageTimes::kMost + 5; ++id)
    EXPECT_TRUE(Put(times, RecordOf(CanItem().Id(id).Extended().At(id))));
  EXPECT_TRUE(Put(times, RecordOf(CanItem().Id(0).Extended().At(10000))));
  EXPECT_EQ(times.Count(), MessageTimes::kMost);
  EXPECT_EQ(times.FurtherEntries(), 5u);
  EXPECT_EQ(times.All().front()->second.Row.Count, 2u);
}

TEST(MessageTimes, MalformedEntriesAreNoMessage) {
  MessageTimes times;
  Bytes record = RecordOf(CanItem());
  EXPECT_TRUE(times.Take({record.data(), 30}));
  EXPECT_EQ(times.Count(), 0u);
}

}  // namespace
}  // namespace client
