#include "qor-trace/MessageTable.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ClientEntries.h"

namespace client {
namespace {

MessageTable SomeMessages() {
  MessageTable table;
  Put(table, RecordOf(test::CanItem().At(1000000).Id(0x123).Data({1, 2})));
  Put(table, RecordOf(test::CanItem().At(2000000).Id(0x18FE0102).Extended().Tx().Data({0xAB})));
  Put(table, RecordOf(test::CanItem().At(11500400).Id(0x123).Data({3})));
  Put(table, RecordOf(test::CanItem().At(12000000).Id(0x123).Fd().Data(Bytes(12, 0x5A))));
  Put(table, RecordOf(test::CanItem().Channel(2).At(13000000).Id(0x7FF)));
  Put(table, RecordOf(test::CanItem().Channel(2).At(14000000).Id(0).ErrorFrame(6)));
  return table;
}

TEST(MessageTable, RowsComeByChannelAndIdentifier) {
  EXPECT_EQ(MessageTable().Text(), "Ch         Id  Kind   Dir      Count    Cycle (ms)  DLC  Last data\n");
  EXPECT_EQ(SomeMessages().Text(),
            "Ch         Id  Kind   Dir      Count    Cycle (ms)  DLC  Last data\n"
            " 1        123  CAN    Rx           2        10.500    1  03\n"
            " 1        123  FD     Rx           1             -    9  5a 5a 5a 5a 5a 5a 5a 5a 5a 5a 5a 5a\n"
            " 1  18fe0102x  CAN    Tx           1             -    1  ab\n"
            " 2          0  error  Rx           1             -    1  06\n"
            " 2        7ff  CAN    Rx           1             -    0\n");
}

TEST(MessageTable, JsonHasIntegerTimesAndNullForAFirstEntrysCycle) {
  const nlohmann::json json = SomeMessages().Json();
  ASSERT_EQ(json.size(), 5u);
  EXPECT_EQ(json[0].dump(),
            R"({"channel":1,"count":2,"cycle_ns":10500400,"data":"03","direction":"Rx","dlc":1,"extended":false,)"
            R"("fd":false,"identifier":291,"kind":"CAN","last_time_ns":11500400})");
  EXPECT_EQ(json[2]["cycle_ns"], nullptr);
  EXPECT_EQ(json[2]["extended"], true);
  EXPECT_EQ(json[2]["identifier"], 0x18FE0102);
}

TEST(MessageTable, ListRowReplacesTheNewestEntryOnly) {
  MessageTable table = SomeMessages();
  NewestEntries newest(table);
  Put(newest, RecordOf(test::CanItem().At(20000000).Relative(7000000).Id(0x123).Data({9, 9, 9})));
  const nlohmann::json row = table.Json()[0];
  EXPECT_EQ(row["data"], "090909");
  EXPECT_EQ(row["last_time_ns"], 20000000);
  EXPECT_EQ(row["count"], 2);
  EXPECT_EQ(row["cycle_ns"], 10500400);
}

TEST(MessageTable, OtherBusesHaveNoRowsYet) {
  MessageTable table;
  EXPECT_TRUE(Put(table, RecordOf(test::LinItem())));
  EXPECT_EQ(table.Json().size(), 0u);
}

}  // namespace
}  // namespace client
