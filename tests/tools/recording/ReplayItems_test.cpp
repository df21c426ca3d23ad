#include "recording/ReplayItems.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

unsigned int LengthOf(const Bytes& record) { return static_cast<unsigned int>(record.size()); }

/// The record that a channel makes of an item.
Bytes EntryOf(unsigned char busType, unsigned int channel, const Bytes& item) {
  Bytes room(item);
  room.resize(item.size() + 300);  // what lies behind an item in a poll response
  const auto* bytes = room.data();
  const auto record = [](const Qor_Trace_Entry& entry) {
    const auto* begin = reinterpret_cast<const unsigned char*>(entry.GetEntry());
    return Bytes(begin, begin + entry.GetLength());
  };
  switch (busType) {
    case BusType_Can:
      return record({channel, reinterpret_cast<const Can_Param_Monitor_Buffer64_LargeItem_t*>(bytes)});
    case BusType_Lin: {
      const auto* header = reinterpret_cast<const Lin_Param_Monitor_Buffer64_ItemHeader_t*>(bytes);
      return record({channel, header, reinterpret_cast<const Lin_Param_Monitor_Buffer64_Item_Small_t*>(header + 1)});
    }
    case BusType_FlexRay:
      return record({channel, reinterpret_cast<const FlexRay_Param_Monitor_Entry_t*>(bytes)});
    default:
      return record({channel, reinterpret_cast<const Ethernet_Param_Monitor_Item_t*>(bytes)});
  }
}

std::vector<Bytes> RecordsOfEveryKind() {
  std::vector<Bytes> records = {
      RecordOf(test::CanItem().Channel(7).At(5).Id(0x123).Data({1, 2, 3})),
      RecordOf(test::CanItem().At(5).Id(0x123).Extended().Fd().Brs().Data(test::Counting(64))),
      RecordOf(test::CanItem().At(5).Dlc(8)),
      RecordOf(test::CanItem().At(5).ErrorFrame(3).Overrun()),
      RecordOf(test::CanItem().At(5).UserEvent({2, 3, 4, 5})),
      RecordOf(test::CanItem().At(5).Data(Bytes(255, 9))),
      RecordOf(test::EthernetItem().At(5).Frame(test::Counting(61)).Tx().CrcError()),
      RecordOf(test::EthernetItem().At(5).Frame(Bytes(9000, 3))),
      RecordOf(test::EthernetItem().At(5).FrameLength(1500)),
      RecordOf(test::EthernetItem().At(5).Kind(2).Frame({1})),
      RecordOf(test::EthernetItem().At(5).Kind(0).Frame({1}))};
  for (unsigned int flags = 0; flags < 256; ++flags)
    records.push_back(RecordOf(test::LinItem().At(5).Id(0xC1).Data({1, 2, 3}, 0x55).Flags(flags).BitTime(flags)));
  for (std::size_t length = 0; length < 256; ++length)
    records.push_back(RecordOf(test::LinItem().At(5).Data(test::Counting(8), 0x55).DataLength(length)));
  for (unsigned int kind = 0; kind < 13; ++kind)
    records.push_back(RecordOf(test::FlexRayItem().At(5).Kind(kind).Code(2).Slot(77).Cycle(9).Data({1, 2, 3, 4})));
  return records;
}

TEST(ReplayItems, AnItemGivesTheRecordThatItWasMadeOf) {
  for (const Bytes& record : RecordsOfEveryKind()) {
    Bytes item;
    ASSERT_TRUE(MakeItem(record.data(), LengthOf(record), 0, item));
    EXPECT_EQ(EntryOf(record[24], ReadHeader(record.data()).ChannelId, item), record);
  }
}

TEST(ReplayItems, OnlyTheTimeOfAReplayIsAnother) {
  constexpr unsigned long shift = 1000000;
  for (const Bytes& record : RecordsOfEveryKind()) {
    Bytes item;
    ASSERT_TRUE(MakeItem(record.data(), LengthOf(record), shift, item));
    Bytes replayed = EntryOf(record[24], ReadHeader(record.data()).ChannelId, item);
    EXPECT_EQ(ReadHeader(replayed.data()).Timestamp, 5 + shift);
    EXPECT_TRUE(IsReplayOf(record.data(), replayed.data(), LengthOf(replayed), shift));
    EXPECT_FALSE(IsReplayOf(record.data(), replayed.data(), LengthOf(replayed), shift + 1));
    for (const std::size_t offset : {4u, 24u, 33u, 47u}) {  // channel, bus, a field, the last byte that all have
      const bool itemTime = record[24] != BusType_Lin && offset == 33;
      if (itemTime || offset >= replayed.size()) continue;
      Bytes other = replayed;
      other[offset] ^= 1;
      EXPECT_FALSE(IsReplayOf(record.data(), other.data(), LengthOf(other), shift)) << offset;
    }
  }
}

TEST(ReplayItems, RecordsThatNoItemGivesAreRefused) {
  Bytes item;
  const auto refused = [&](const Bytes& record) { return !MakeItem(record.data(), LengthOf(record), 1, item); };
  for (const Bytes& whole : RecordsOfEveryKind()) {
    for (std::size_t size = 28; size < std::min<std::size_t>(whole.size(), 64); ++size) {
      const test::Record record = test::Record(whole).CutTo(size);
      EXPECT_FALSE(MakeItem(record.Data(), static_cast<unsigned int>(size), 1, item)) << size;
    }
  }
  Bytes record = RecordOf(test::CanItem());
  record[24] = 4;  // an unknown bus
  EXPECT_TRUE(refused(record));
  record = RecordOf(test::LinItem());
  record[28] = 1;  // to be skipped
  EXPECT_TRUE(refused(record));
  record = RecordOf(test::LinItem());
  record[31] = 1;  // a flag that no item holds
  EXPECT_TRUE(refused(record));
  EXPECT_TRUE(refused(RecordOf(test::CanItem().At(~0ul))));
  EXPECT_FALSE(refused(RecordOf(test::CanItem().At(~0ul - 1))));
}

TEST(ReplayItems, ResponsesAreLaidOutAsEachBusAsks) {
  const Bytes item = {1, 2, 3, 4, 5};
  const std::pair<unsigned char, Bytes> cases[] = {
      {BusType_Can, {0, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0}},
      {BusType_Lin, {0, 0, 0, 0, 2, 0, 0, 0, 1, 2, 3, 4, 5, 1, 2, 3, 4, 5}},
      {BusType_FlexRay, {0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0}},
      {BusType_Ethernet, {0, 0, 0, 0, 2, 0, 0, 0, 1, 2, 3, 4, 5, 1, 2, 3, 4, 5}}};
  for (const auto& [bus, bytes] : cases) {
    PollResponse response(bus);
    EXPECT_TRUE(response.Add(item));
    EXPECT_TRUE(response.Add(item));
    EXPECT_EQ(response.Bytes(), bytes) << int{bus};
  }
}

TEST(ReplayItems, ResponseTakesWhatAPollCanReturn) {
  for (unsigned char bus = 0; bus < 4; ++bus) {
    PollResponse response(bus);
    const Bytes longest(65535 - 8 - 3);
    EXPECT_TRUE(PollResponse::FitsAlone(longest));
    EXPECT_TRUE(response.Add(longest));
    EXPECT_FALSE(response.Add(Bytes(8)));
    EXPECT_LE(response.Bytes().size(), 65535u);
  }
  EXPECT_FALSE(PollResponse::FitsAlone(Bytes(65535 - 8 - 2)));
}

}  // namespace
}  // namespace client
