// The list's columns of the buses other than CAN.
#include "views/MessageRow.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tools/ClientEntries.h"
#include "views/MessageTable.h"

namespace client {
namespace {

template <class... Item>
MessageTable TableOf(const Item&... items) {
  MessageTable table;
  (Put(table, RecordOf(items)), ...);
  return table;
}

// ---- LIN

TEST(LinRows, ShowIdentifierLengthAndTheChecksumModelThatFits) {
  // 05 06 07 08 with identifier 2 (protected 42): classic E5, enhanced A3; worked out by hand.
  const MessageTable table = TableOf(test::LinItem().Channel(2).Id(2).Data({5, 6, 7, 8}, 0xE5),
                                     test::LinItem().Channel(2).Id(3).Data({5, 6, 7, 8}, 0x11).Tx(),
                                     test::LinItem().Channel(2).At(1000000).Id(2).Data({5, 6, 7, 8}, 0xA3));
  EXPECT_EQ(table.Text(),
            "Ch  Bus  Id  Kind   Dir      Count    Cycle (ms)       Last (s)  Len  Checksum     Last data\n"
            " 2  LIN  02  frame  Rx           2         1.000    0.001000000    4  a3 enhanced  05 06 07 08\n"
            " 2  LIN  03  frame  Tx           1             -    0.000000000    4  11 -         05 06 07 08\n");
  EXPECT_EQ(
      table.Json()[0].dump(),
      R"({"bus":"LIN","channel":2,"checksum":163,"checksum_model":"enhanced","count":2,"cycle_ns":1000000,)"
      R"("data":"05060708","direction":"Rx","identifier":2,"kind":"frame","last_time_ns":1000000,"last_utc_ns":null})");
  EXPECT_EQ(table.Json()[1]["checksum_model"], nullptr);
}

TEST(LinRows, ErrorsAndWakeUpsAreMessagesOfTheirOwn) {
  const nlohmann::json json =
      TableOf(test::LinItem().Id(5).Data({1}, 0xFE), test::LinItem().Id(5).Data({1}, 0).ChecksumError(),
              test::LinItem().Id(5).Data({1}, 0).ParityError(), test::LinItem().Id(5).SyncError(),
              test::LinItem().Id(5).TransmitError(), test::LinItem().Id(5).DataLength(0), test::LinItem().Id(5).Event(),
              test::LinItem().Id(5).WakeUp())
          .Json();
  std::vector<std::string> kinds;
  for (const auto& row : json) kinds.push_back(row["kind"]);
  EXPECT_EQ(kinds, std::vector<std::string>({"frame", "no response", "wake-up", "checksum error", "parity error",
                                             "sync error", "transmit error", "event"}));
  EXPECT_EQ(json[1]["checksum"], nullptr);
}

// ---- FlexRay

TEST(FlexRayRows, ShowSlotChannelAndTheCyclesOfAFrame) {
  const MessageTable table =
      TableOf(test::FlexRayItem().Channel(3).Slot(63).Cycle(2).Data({1, 2}).FrameFlags(QOR_TRACE_FLEXRAY_SYNC),
              test::FlexRayItem().Channel(3).At(20000000).Slot(63).Cycle(6).Data({3, 4}).FrameFlags(
                  QOR_TRACE_FLEXRAY_SYNC | QOR_TRACE_FLEXRAY_STARTUP),
              test::FlexRayItem().Channel(3).Slot(63).Code(1).Cycle(0).Data({5}).Tx(),
              test::FlexRayItem().Channel(3).Slot(63).Code(2).PayloadWords(8).FrameFlags(QOR_TRACE_FLEXRAY_NULL));
  EXPECT_EQ(
      table.Text(),
      "Ch  Bus      Slot  A/B  Cycles  Kind   Dir      Count    Cycle (ms)       Last (s)  Len  Flags         Last "
      "data\n"
      " 3  FlexRay    63  A    2/4     frame  Rx           2        20.000    0.020000000    2  startup sync  03 04\n"
      " 3  FlexRay    63  B    0/64    frame  Tx           1             -    0.000000000    2  -             05\n"
      " 3  FlexRay    63  AB   0/64    null   Rx           1             -    0.000000000   16  -\n");
  const nlohmann::json row = table.Json()[0];
  EXPECT_EQ(row["slot"], 63);
  EXPECT_EQ(row["flexray_channel"], "A");
  EXPECT_EQ(row["cycle"], 6);
  EXPECT_EQ(row["base_cycle"], 2);
  EXPECT_EQ(row["cycle_repetition"], 4);
  EXPECT_EQ(row["data"], "0304");
}

TEST(FlexRayRows, EventsAreOneMessageAKind) {
  const MessageTable table = TableOf(test::FlexRayItem().Kind(3).Code(17), test::FlexRayItem().Kind(4),
                                     test::FlexRayItem().Kind(6).Code(2), test::FlexRayItem().Kind(9).EventCode(1),
                                     test::FlexRayItem().Kind(3).Code(18), test::FlexRayItem().Kind(0));
  const std::string text = table.Text();
  EXPECT_NE(text.find(" 1  FlexRay     -  -    -       cycle    Rx           2"), std::string::npos) << text;
  EXPECT_NE(text.find(" 1  FlexRay     -  AB   -       symbol   Rx           1"), std::string::npos) << text;
  EXPECT_NE(text.find(" 1  FlexRay     -  B    -       error    Rx           1"), std::string::npos) << text;
  EXPECT_NE(text.find("overrun"), std::string::npos) << text;
  EXPECT_EQ(table.Json().size(), 5u);
}

TEST(FlexRayRows, FramesCutShortAnywhereAreShownAsFarAsTheyGo) {
  const Bytes whole = RecordOf(test::FlexRayItem().Slot(0x123).Code(1).Cycle(5).Data({1, 2, 3, 4}));
  for (std::size_t size = 28; size < whole.size(); ++size) {
    SCOPED_TRACE(size);
    const test::Record record = test::Record(whole).CutTo(size);
    MessageTable table;
    EXPECT_TRUE(table.Take(record.Get()));
    const nlohmann::json json = table.Json();
    ASSERT_EQ(json.size(), size < 32 ? 0u : 1u);
    if (size < 32) continue;
    EXPECT_EQ(json[0]["flexray_channel"], size > 40 ? "B" : "A");
    EXPECT_EQ(json[0]["slot"], size > 43 ? 0x123 : size > 42 ? 0x23 : 0);
    EXPECT_EQ(json[0]["cycle"], size > 44 ? 5 : 0);
    EXPECT_EQ(json[0]["payload_bytes"], size > 45 ? 4 : 0);
    EXPECT_EQ(json[0]["data"].get<std::string>().size(), size > 48 ? 2 * (size - 48) : 0u);
  }
}

struct FilterCase {
  unsigned long Cycles;
  unsigned int Base, Repetition;
};

TEST(FlexRayRows, CycleFilterIsTheGreatestRepetitionThatFits) {
  constexpr FilterCase cases[] = {
      {1, 0, 64},
      {1ul << 63, 63, 64},
      {0x100000001, 0, 32},
      {1ul << 2 | 1ul << 6, 2, 4},
      {1ul << 0 | 2, 0, 1},
      {~0ul, 0, 1},
      {0x2222222222222222ul, 1, 4},
      {0xAAAAAAAAAAAAAAAAul, 1, 2},
      {1ul << 5 | 1ul << 21 | 1ul << 37, 5, 16},
      {1ul << 40 | 1ul << 48, 0, 8},
  };
  for (const FilterCase& c : cases) {
    const CycleFilter filter = CycleFilterOf(c.Cycles);
    EXPECT_EQ(filter.Base, c.Base) << std::hex << c.Cycles;
    EXPECT_EQ(filter.Repetition, c.Repetition) << std::hex << c.Cycles;
  }
}

// ---- Ethernet

/// A frame from 02:00:00:00:00:01 to ff:ff:ff:ff:ff:ff with these bytes after the addresses.
test::EthernetItem Broadcast(const Bytes& rest) {
  Bytes frame = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 2, 0, 0, 0, 0, 1};
  frame.insert(frame.end(), rest.begin(), rest.end());
  return test::EthernetItem().Channel(4).Frame(frame);
}

TEST(EthernetRows, ShowAddressesTagsAndType) {
  const MessageTable table =
      TableOf(Broadcast({0x08, 0x06, 1, 2, 3}), Broadcast({0x81, 0x00, 0x60, 0x64, 0x08, 0x00, 0x45}).Tx(),
              Broadcast({0x88, 0xA8, 0, 10, 0x81, 0, 0, 20, 0x12, 0x34}), Broadcast({0, 3, 0x42, 0x42, 3}),
              Broadcast({0, 4, 0x42, 0x42, 3, 0}));
  const std::string pair = " 4  Ethernet  02:00:00:00:00:01  ff:ff:ff:ff:ff:ff  ";
  EXPECT_EQ(table.Text(),
            "Ch  Bus       Source             Destination        VLAN   Type  Kind   Dir      Count    Cycle (ms)      "
            " Last (s)  Len"
            "  Last data\n" +
                pair + "-      LLC   frame  Rx           2         0.000    0.000000000   18  42 42 03 00\n" + pair +
                "-      ARP   frame  Rx           1             -    0.000000000   17  01 02 03\n" + pair +
                "100    IPv4  frame  Tx           1             -    0.000000000   19  45\n" + pair +
                "10.20  1234  frame  Rx           1             -    0.000000000   22\n");
  const nlohmann::json row = table.Json()[3];
  EXPECT_EQ(row["vlans"], nlohmann::json::array({10, 20}));
  EXPECT_EQ(row["type"], 0x1234);
  EXPECT_EQ(row["source"], "02:00:00:00:00:01");
  EXPECT_EQ(table.Json()[0]["type"], nullptr);
  EXPECT_EQ(table.Json()[0]["frame_bytes"], 18);
}

TEST(EthernetRows, FramesCutShortAnywhereAreShownAsFarAsTheyGo) {
  const Bytes whole = RecordOf(Broadcast({0x81, 0x00, 0, 1, 0x81, 0x00, 0, 2, 0x08, 0x00, 7}));
  for (std::size_t size = 28; size < whole.size(); ++size) {
    SCOPED_TRACE(size);
    const test::Record record = test::Record(whole).CutTo(size);
    MessageTable table;
    EXPECT_TRUE(table.Take(record.Get()));
    const nlohmann::json json = table.Json();
    ASSERT_EQ(json.size(), size < 32 ? 0u : 1u);
    if (size < 32) continue;
    EXPECT_EQ(json[0]["source"].is_null(), size < 44 + 12);
    EXPECT_EQ(json[0]["vlans"].size(), size < 44 + 16 ? 0u : size < 44 + 20 ? 1u : 2u);
    EXPECT_EQ(table.Text().empty(), false);
  }
}

TEST(EthernetRows, OtherRecordsAndCrcErrorsAreMessagesOfTheirOwn) {
  const nlohmann::json json =
      TableOf(Broadcast({8, 0}), Broadcast({8, 0}).CrcError(), Broadcast({8, 0}).Kind(2), Broadcast({8, 0}).Kind(0))
          .Json();
  ASSERT_EQ(json.size(), 4u);
  EXPECT_EQ(json[1]["kind"], "CRC error");
  EXPECT_EQ(json[2]["kind"], "record");
  EXPECT_EQ(json[3]["kind"], "overrun");
}

}  // namespace
}  // namespace client
