#include "stream/Entry.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

TEST(ClientEntry, CanRecordIsReadFieldByField) {
  const Bytes record =
      RecordOf(test::CanItem().Channel(3).At(1500).Id(0x18FE0102).Extended().Fd().Tx().Data({1, 2, 3, 4}));
  const EntryHeader header = ReadHeader(record.data());
  EXPECT_EQ(header.Length, 48u);
  EXPECT_EQ(header.ChannelId, 3u);
  EXPECT_EQ(header.Timestamp, 1500u);
  EXPECT_EQ(header.BusType, BusType_Can);
  const auto can = ReadCan(record.data(), 48);
  ASSERT_TRUE(can);
  EXPECT_EQ(can->Identifier, 0xD8FE0102u);
  EXPECT_EQ(can->PlainIdentifier(), 0x18FE0102u);
  EXPECT_TRUE(can->Has(QOR_TRACE_CAN_TRANSMITTED));
  EXPECT_FALSE(can->Has(QOR_TRACE_CAN_ERROR));
  EXPECT_EQ(can->Dlc, 4);
  EXPECT_EQ(Bytes(can->Data, can->Data + can->DataLength), Bytes({1, 2, 3, 4}));
}

TEST(ClientEntry, DataReachOnlyAsFarAsTheRecord) {
  const Bytes record = RecordOf(test::CanItem().Data({1, 2, 3, 4}));
  EXPECT_EQ(ReadCan(record.data(), 46)->DataLength, 2);
  EXPECT_EQ(ReadCan(record.data(), 44)->DataLength, 0);
  EXPECT_FALSE(ReadCan(record.data(), 43));
}

TEST(ClientEntry, LinRecordIsReadFieldByField) {
  const Bytes record = RecordOf(test::LinItem().Id(0xC1).Tx().Data({1, 2, 3}, 0x55).BitTime(400000));
  const auto lin = ReadLin(record.data(), 48);
  ASSERT_TRUE(lin);
  EXPECT_EQ(lin->Identifier, 0xC1);
  EXPECT_EQ(lin->PlainIdentifier(), 1);
  EXPECT_TRUE(lin->Has(QOR_TRACE_LIN_TRANSMITTED));
  EXPECT_EQ(lin->Announced, 4);
  EXPECT_EQ(Bytes(lin->Data, lin->Data + lin->DataLength), Bytes({1, 2, 3}));
  EXPECT_EQ(lin->Checksum, 0x55);
  EXPECT_EQ(lin->BitTime, 400000u);
}

TEST(ClientEntry, LinDataEndWithTheRecordAndWithEightBytes) {
  const Bytes record = RecordOf(test::LinItem().Data({1, 2, 3}, 0x55));
  EXPECT_FALSE(ReadLin(record.data(), 34));
  EXPECT_EQ(ReadLin(record.data(), 35)->DataLength, 0);
  EXPECT_EQ(ReadLin(record.data(), 37)->DataLength, 2);
  EXPECT_EQ(ReadLin(record.data(), 38)->Checksum, std::nullopt);
  EXPECT_EQ(ReadLin(record.data(), 39)->Checksum, 0x55);
  EXPECT_EQ(ReadLin(record.data(), 47)->BitTime, 0u);
  const Bytes odd = RecordOf(test::LinItem().DataLength(200));
  EXPECT_EQ(ReadLin(odd.data(), 48)->DataLength, 8);
  EXPECT_EQ(ReadLin(odd.data(), 48)->Checksum, std::nullopt);
  const Bytes none = RecordOf(test::LinItem().DataLength(0));
  EXPECT_EQ(ReadLin(none.data(), 48)->DataLength, 0);
  EXPECT_EQ(ReadLin(none.data(), 48)->Checksum, std::nullopt);
}

TEST(ClientEntry, FlexRayRecordIsReadFieldByField) {
  const Bytes record =
      RecordOf(test::FlexRayItem().Tx().Code(1).FrameFlags(8).Slot(500).Cycle(63).HeaderCrc(0x5AA).Data({1, 2, 3, 4}));
  const auto length = static_cast<unsigned int>(record.size());
  const auto flexRay = ReadFlexRay(record.data(), length);
  ASSERT_TRUE(flexRay);
  EXPECT_TRUE(flexRay->IsFrame());
  EXPECT_EQ(flexRay->Kind, 2);
  EXPECT_EQ(flexRay->Channel, 1);
  EXPECT_TRUE(flexRay->Has(QOR_TRACE_FLEXRAY_SYNC));
  EXPECT_EQ(flexRay->Slot, 500);
  EXPECT_EQ(flexRay->Cycle, 63);
  EXPECT_EQ(flexRay->HeaderCrc, 0x5AA);
  EXPECT_EQ(Bytes(flexRay->Data, flexRay->Data + flexRay->DataLength), Bytes({1, 2, 3, 4}));
  EXPECT_EQ(ReadFlexRay(record.data(), 50)->DataLength, 2u);
  EXPECT_EQ(ReadFlexRay(record.data(), 44)->Cycle, 0);
  EXPECT_FALSE(ReadFlexRay(record.data(), 31));
}

TEST(ClientEntry, FlexRayEventsHaveNoDataAndAChannelWhereTheirKindHasOne) {
  const Bytes record = RecordOf(test::FlexRayItem().Kind(7).EventCode(1).Data({1, 2}));
  const auto flexRay = ReadFlexRay(record.data(), static_cast<unsigned int>(record.size()));
  EXPECT_FALSE(flexRay->IsFrame());
  EXPECT_EQ(flexRay->DataLength, 0u);
  EXPECT_EQ(flexRay->EventChannel(), 1);
}

TEST(ClientEntry, EthernetRecordIsReadFieldByField) {
  const Bytes record = RecordOf(test::EthernetItem().Tx().CrcError().Frame({1, 2, 3}).FrameLength(1000));
  const auto ethernet = ReadEthernet(record.data(), static_cast<unsigned int>(record.size()));
  ASSERT_TRUE(ethernet);
  EXPECT_EQ(ethernet->Kind, QOR_TRACE_ETHERNET_FRAME);
  EXPECT_TRUE(ethernet->Has(QOR_TRACE_ETHERNET_TRANSMITTED));
  EXPECT_TRUE(ethernet->Has(QOR_TRACE_ETHERNET_CRC_ERROR));
  EXPECT_EQ(ethernet->OnBus, 1000u);
  EXPECT_EQ(Bytes(ethernet->Frame, ethernet->Frame + ethernet->FrameLength), Bytes({1, 2, 3}));
  EXPECT_EQ(ReadEthernet(record.data(), 45)->FrameLength, 1u);
  EXPECT_EQ(ReadEthernet(record.data(), 43)->OnBus, 0u);
  EXPECT_FALSE(ReadEthernet(record.data(), 31));
}

TEST(ClientEntry, RecordsOfOneBusAreNotReadAsOfAnother) {
  const Bytes can = RecordOf(test::CanItem().Data(Bytes(8))), lin = RecordOf(test::LinItem());
  const auto length = static_cast<unsigned int>(lin.size());
  EXPECT_FALSE(ReadCan(lin.data(), length));
  EXPECT_FALSE(ReadFlexRay(lin.data(), length));
  EXPECT_FALSE(ReadEthernet(lin.data(), length));
  EXPECT_FALSE(ReadLin(can.data(), static_cast<unsigned int>(can.size())));
}

TEST(ClientEntry, LinEntryThatReadersAreToSkipIsNotRead) {
  Bytes record = RecordOf(test::LinItem());
  record[29] = 1;
  EXPECT_FALSE(ReadLin(record.data(), 48));
}

}  // namespace
}  // namespace client
