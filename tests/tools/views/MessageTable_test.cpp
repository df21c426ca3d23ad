#include "views/MessageTable.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tools/ClientEntries.h"

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
  EXPECT_EQ(MessageTable().Text(),
            "Ch  Bus         Id  Kind  Dir      Count    Cycle (ms)       Last (s)  DLC  Last data\n");
  EXPECT_EQ(SomeMessages().Text(),
            "Ch  Bus         Id  Kind   Dir      Count    Cycle (ms)       Last (s)  DLC  Last data\n"
            " 1  CAN        123  CAN    Rx           2        10.500    0.011500400    1  03\n"
            " 1  CAN        123  FD     Rx           1             -    0.012000000    9  5a 5a 5a 5a 5a 5a 5a 5a 5a "
            "5a 5a 5a\n"
            " 1  CAN  18fe0102x  CAN    Tx           1             -    0.002000000    1  ab\n"
            " 2  CAN          0  error  Rx           1             -    0.014000000    1  06\n"
            " 2  CAN        7ff  CAN    Rx           1             -    0.013000000    0\n");
}

TEST(MessageTable, JsonHasIntegerTimesAndNullForAFirstEntrysCycle) {
  const nlohmann::json json = SomeMessages().Json();
  ASSERT_EQ(json.size(), 5u);
  EXPECT_EQ(
      json[0].dump(),
      R"({"bus":"CAN","channel":1,"count":2,"cycle_ns":10500400,"data":"03","direction":"Rx","dlc":1,"extended":false,)"
      R"("fd":false,"identifier":291,"kind":"CAN","last_time_ns":11500400,"last_utc_ns":null})");
  EXPECT_EQ(json[2]["cycle_ns"], nullptr);
  EXPECT_EQ(json[2]["extended"], true);
  EXPECT_EQ(json[2]["identifier"], 0x18FE0102);
}

TEST(MessageTable, ThereIsNoCycleToAnEntryThatCameLate) {
  MessageTable table;
  for (const unsigned long time : {20ul, 10ul}) Put(table, RecordOf(test::CanItem().At(time).Id(1)));
  EXPECT_EQ(table.Json()[0]["cycle_ns"], 0);
}

TEST(MessageTable, TimesAreShownAsAskedFor) {
  constexpr unsigned long halfPastTwo = 1795271400000000000;  // 2026-11-21T14:30:00Z, ns
  const MessageTable table = SomeMessages();
  const TimeBase times{1000000, halfPastTwo};
  EXPECT_NE(table.Text(TimeFormat::Relative, times).find("  Last (s)  DLC"), std::string::npos);
  EXPECT_NE(table.Text(TimeFormat::Relative, times).find("    0.010500400    1  03\n"), std::string::npos);
  EXPECT_NE(table.Text(TimeFormat::Utc, times).find("Last (UTC)  DLC"), std::string::npos);
  EXPECT_NE(table.Text(TimeFormat::Utc, times).find("  2026-11-21T14:30:00.010500Z    1  03\n"), std::string::npos);
  EXPECT_NE(table.Text(TimeFormat::Local, times).find("Last (local time)"), std::string::npos);
  EXPECT_NE(table.Text(TimeFormat::Epoch, times).find("  1795271400.010500400    1  03\n"), std::string::npos);
  EXPECT_EQ(table.Json(times)[0]["last_utc_ns"], halfPastTwo + 10500400);
  EXPECT_EQ(table.Json(times)[0]["last_time_ns"], 11500400);
}

TEST(MessageTable, FramesAndErrorFramesOfOneIdentifierAreDifferentMessages) {
  MessageTable table;
  Put(table, RecordOf(test::CanItem().Id(5).Data({1})));
  Put(table, RecordOf(test::CanItem().Id(5).ErrorFrame(1)));
  Put(table, RecordOf(test::CanItem().Id(5).RisingEdge()));
  const nlohmann::json json = table.Json();
  ASSERT_EQ(json.size(), 3u);
  EXPECT_EQ(json[0]["kind"], "CAN");
  EXPECT_EQ(json[1]["kind"], "error");
  EXPECT_EQ(json[2]["kind"], "event");
}

TEST(MessageTable, LongDataAreShortInTextAndWholeInJson) {
  MessageTable table;
  Put(table, RecordOf(test::CanItem().Id(1).Fd().Data(test::Counting(20))));
  EXPECT_NE(table.Text().find("  01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 ...\n"), std::string::npos);
  EXPECT_EQ(table.Json()[0]["data"], "0102030405060708090a0b0c0d0e0f1011121314");
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

TEST(MessageTable, EachBusHasATableOfItsOwn) {
  MessageTable table;
  Put(table, RecordOf(test::EthernetItem().Channel(4).Frame(test::Counting(60))));
  Put(table, RecordOf(test::FlexRayItem().Channel(3).Slot(9)));
  Put(table, RecordOf(test::LinItem().Channel(2).Id(1)));
  const std::string text = table.Text();
  EXPECT_EQ(text.find("Ch  Bus  Id"), 0u);
  EXPECT_LT(text.find("\n\nCh  Bus      Slot"), text.find("\n\nCh  Bus       Source"));
  EXPECT_EQ(text.find("CAN"), std::string::npos);
  EXPECT_EQ(table.Json().size(), 3u);
}

TEST(MessageTable, EntriesThatReadersAreToSkipHaveNoRow) {
  MessageTable table;
  EXPECT_TRUE(Put(table, Bytes(28, 0)));  // a CAN header and nothing else
  Bytes record = RecordOf(test::LinItem());
  record[28] = 1;
  EXPECT_TRUE(Put(table, record));
  record = RecordOf(test::CanItem());
  record[24] = 9;  // an unknown bus
  EXPECT_TRUE(Put(table, record));
  EXPECT_EQ(table.Json().size(), 0u);
}

}  // namespace
}  // namespace client
