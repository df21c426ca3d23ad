#include "qor-trace/Entry.h"

#include <gtest/gtest.h>

#include "ClientEntries.h"

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

TEST(ClientEntry, OtherBusesAreNoCan) {
  const Bytes record = RecordOf(test::LinItem());
  EXPECT_FALSE(ReadCan(record.data(), static_cast<unsigned int>(record.size())));
}

}  // namespace
}  // namespace client
