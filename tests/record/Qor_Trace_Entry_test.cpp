#include "record/Qor_Trace_Entry.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/MonitorItems.h"

using namespace test;

namespace {

// Items are handed over in heap blocks of exactly their size, so that AddressSanitizer sees a read past them.

std::shared_ptr<Qor_Trace_Entry> CanEntry(const Bytes& item, unsigned int channel = 1) {
  return std::make_shared<Qor_Trace_Entry>(
      channel, reinterpret_cast<const Can_Param_Monitor_Buffer64_LargeItem_t*>(item.data()));
}

std::shared_ptr<Qor_Trace_Entry> LinEntry(const Bytes& item, unsigned int channel = 1) {
  return std::make_shared<Qor_Trace_Entry>(
      channel, reinterpret_cast<const Lin_Param_Monitor_Buffer64_ItemHeader_t*>(item.data()),
      reinterpret_cast<const Lin_Param_Monitor_Buffer64_Item_Small_t*>(item.data() + 12));
}

std::shared_ptr<Qor_Trace_Entry> FlexRayEntry(const Bytes& item, unsigned int channel = 1) {
  return std::make_shared<Qor_Trace_Entry>(channel,
                                           reinterpret_cast<const FlexRay_Param_Monitor_Entry_t*>(item.data()));
}

std::shared_ptr<Qor_Trace_Entry> EthernetEntry(const Bytes& item, unsigned int channel = 1) {
  return std::make_shared<Qor_Trace_Entry>(channel,
                                           reinterpret_cast<const Ethernet_Param_Monitor_Item_t*>(item.data()));
}

}  // namespace

// ---- Golden records

TEST(Entry, OfACanFrameHasHeaderItemHeadAndData) {
  const Bytes item = Frame(0x80000123).At(0x1122334455667788).Flags(0x03).Reserved(0x5A).Data({0xA1, 0xA2, 0xA3});
  EXPECT_EQ(BytesOf(*CanEntry(item, 0x01020304)),
            (Bytes{0x2F, 0x00, 0x00, 0x00,                          //  0 Length 47
                   0x04, 0x03, 0x02, 0x01,                          //  4 ChannelId
                   0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11,  //  8 Timestamp
                   0,    0,    0,    0,    0,    0,    0,    0,     // 16 RelativeTimestamp
                   0,    0,    0,    0,                             // 24 CAN, reserved
                   0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11,  // 28 ItemTimestamp
                   0x23, 0x01, 0x00, 0x80,                          // 36 Identifier
                   0x03, 0x5A, 0x03, 0x03,                          // 40 Flags, reserved, Dlc, DataLength
                   0xA1, 0xA2, 0xA3}));                             // 44 Data
}

TEST(Entry, OfALinFrameIsRebuiltFieldByField) {
  const Bytes item = LinFrame(0xC1).At(0x1122334455667788).Flags(0x40).BitTime(0x00065B9B).Data({0xA1, 0xA2, 0xFC});
  EXPECT_EQ(BytesOf(*LinEntry(item, 2)), (Bytes{0x30, 0x00, 0x00, 0x00,                          //  0 Length 48
                                                0x02, 0x00, 0x00, 0x00,                          //  4 ChannelId
                                                0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11,  //  8 Timestamp
                                                0,    0,    0,    0,    0,    0,    0,    0,     // 16 RelativeTimestamp
                                                1,    0,    0,    0,                             // 24 LIN, reserved
                                                0x00, 0x00, 0x40, 0x00,  // 28 reserved, 30 Flags
                                                0x03, 0xC1, 0x00,        // 32 DataLength, Identifier, reserved
                                                0xA1, 0xA2, 0xFC, 0,    0,    0,    0,    0,  // 35 Data
                                                0x00,                                         // 43 pad
                                                0x9B, 0x5B, 0x06, 0x00}));                    // 44 BitTime
}

TEST(Entry, OfAFlexRayFrameHasTheWholeItem) {
  const Bytes item = FlexRayFrame(0x0123).At(5).Data({0xA1, 0xA2});
  EXPECT_EQ(BytesOf(*FlexRayEntry(item, 3)), (Bytes{0x32, 0x00, 0x00, 0x00,              //  0 Length 50
                                                    0x03, 0x00, 0x00, 0x00,              //  4 ChannelId
                                                    5,    0,    0,    0,    0, 0, 0, 0,  //  8 Timestamp
                                                    0,    0,    0,    0,    0, 0, 0, 0,  // 16 RelativeTimestamp
                                                    2,    0,    0,    0,                 // 24 FlexRay, reserved
                                                    0x16, 0x00, 0x01, 0x00,              // 28 ItemSize 22, ItemType 1
                                                    5,    0,    0,    0,    0, 0, 0, 0,  // 32 ItemTimestamp
                                                    0x00, 0x00, 0x23, 0x01,  // 40 Channel, FrameFlags, SlotId
                                                    0x00, 0x01, 0x00, 0x00,  // 44 Cycle, PayloadLength, HeaderCrc
                                                    0xA1, 0xA2}));           // 48 Data
}

TEST(Entry, OfAnEthernetFrameHasTheWholeItem) {
  const Bytes item = EthernetFrame({0xA1, 0xA2, 0xA3}).At(5).Flags(0x02);
  EXPECT_EQ(BytesOf(*EthernetEntry(item, 4)), (Bytes{0x2F, 0x00, 0x00, 0x00,              //  0 Length 47
                                                     0x04, 0x00, 0x00, 0x00,              //  4 ChannelId
                                                     5,    0,    0,    0,    0, 0, 0, 0,  //  8 Timestamp
                                                     0,    0,    0,    0,    0, 0, 0, 0,  // 16 RelativeTimestamp
                                                     3,    0,    0,    0,                 // 24 Ethernet, reserved
                                                     0x13, 0x00, 0x01, 0x00,              // 28 ItemSize 19, ItemType 1
                                                     5,    0,    0,    0,    0, 0, 0, 0,  // 32 ItemTimestamp
                                                     0x02, 0x00, 0x03, 0x00,  // 40 Flags, reserved, FrameLength
                                                     0xA1, 0xA2, 0xA3}));     // 44 Frame
}

// ---- Sizes

TEST(Entry, OfACanFrameWithoutDataIs44BytesLong) {
  const Bytes item = Frame(0x123).At(7);
  const auto entry = CanEntry(item);
  EXPECT_EQ(entry->GetLength(), 44U);
  EXPECT_EQ(BytesOf(*entry), RecordOf(BusType_Can, 1, item));
}

TEST(Entry, OfACanFdFrameWith64BytesIs108BytesLong) {
  const Bytes item = Frame(0x123).Data(Counting(64));
  EXPECT_EQ(CanEntry(item)->GetLength(), 108U);
  EXPECT_EQ(BytesOf(*CanEntry(item)), RecordOf(BusType_Can, 1, item));
}

TEST(Entry, OfACanItemBelievesAnyDataLength) {
  const Bytes item = Frame(0x123).Data(Counting(255));
  EXPECT_EQ(CanEntry(item)->GetLength(), 299U);
  EXPECT_EQ(BytesOf(*CanEntry(item)), RecordOf(BusType_Can, 1, item));
}

TEST(Entry, OfALinFrameIs48BytesLongWhateverItsDataLength) {
  for (size_t length = 0; length <= 9; ++length) {
    SCOPED_TRACE(length);
    const Bytes item = LinFrame(1).Data(Counting(length));
    EXPECT_EQ(LinEntry(item)->GetLength(), 48U);
    EXPECT_EQ(BytesOf(*LinEntry(item)), RecordOf(BusType_Lin, 1, item));
  }
}

TEST(Entry, OfALinFrameWithNineBytesHasTheNinthBehindTheData) {
  const Bytes record = BytesOf(*LinEntry(LinFrame(1).Data(Counting(9, 0xA1))));
  EXPECT_EQ(record[32], 9);
  EXPECT_EQ(record[42], 0xA8);
  EXPECT_EQ(record[43], 0xA9);
}

TEST(Entry, OfALinItemThatSaysMoreThanNineBytesTakesNine) {
  Bytes record = BytesOf(*LinEntry(LinFrame(1).BitTime(0x01020304).Data(Counting(200, 1))));
  EXPECT_EQ(record[32], 200);
  EXPECT_EQ(Bytes(record.begin() + 35, record.begin() + 44), Counting(9, 1));
  EXPECT_EQ(ReadAt<unsigned int>(record, 44), 0x01020304U);
}

TEST(Entry, OfALinItemThatIsShorterThanItsDataLengthReadsZeroThere) {
  const Bytes record = BytesOf(*LinEntry(LinFrame(1).Data({0xA1, 0xA2}).SaysDataLength(8)));
  EXPECT_EQ(record[32], 8);
  EXPECT_EQ(Bytes(record.begin() + 35, record.begin() + 44), (Bytes{0xA1, 0xA2, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(Entry, OfALinItemThatIsShorterThanItsHeadHasNoData) {
  for (const size_t size : {0U, 1U, 12U, 19U, 20U}) {
    SCOPED_TRACE(size);
    const Bytes record = BytesOf(*LinEntry(LinFrame(1).Data(Counting(8)).SaysSize(size)));
    EXPECT_EQ(Bytes(record.begin() + 35, record.begin() + 44), Bytes(9));
  }
}

TEST(Entry, OfTheLongestEthernetItemHasAllOfIt) {
  const Bytes item = EthernetFrame(Counting(65535 - 16));
  EXPECT_EQ(EthernetEntry(item)->GetLength(), 28U + 65535U);
  EXPECT_EQ(BytesOf(*EthernetEntry(item)), RecordOf(BusType_Ethernet, 1, item));
}

TEST(Entry, GivesItsTimestampAndLength) {
  const auto entry = CanEntry(Frame(1).At(0xFEDCBA9876543210));
  EXPECT_EQ(entry->GetTimestamp(), 0xFEDCBA9876543210UL);
  EXPECT_EQ(entry->GetLength(), 44U);
  EXPECT_EQ(entry->GetRelativeTimestamp(), 0);
}

// ---- Overrun mark

TEST(OverrunMark, SetsAFlagOfACanEntryAndNothingElse) {
  const Bytes item = Frame(0x123).Flags(0x22).Data({1, 2});
  const auto entry = CanEntry(item);
  entry->SetBufferOverrunFlag();
  Bytes expected = RecordOf(BusType_Can, 1, item);
  expected[40] = 0xA2;
  EXPECT_EQ(BytesOf(*entry), expected);
}

TEST(OverrunMark, SetsAFlagOfALinEntryAndNothingElse) {
  const Bytes item = LinFrame(1).Flags(0x40).Data({1, 2});
  const auto entry = LinEntry(item);
  entry->SetBufferOverrunFlag();
  Bytes expected = RecordOf(BusType_Lin, 1, item);
  expected[30] = 0xC0;
  EXPECT_EQ(BytesOf(*entry), expected);
}

TEST(OverrunMark, TakesTheKindOfAFlexRayEntry) {
  const Bytes item = FlexRayFrame(1).Kind(0x0102).Data({1, 2});
  const auto entry = FlexRayEntry(item);
  entry->SetBufferOverrunFlag();
  Bytes expected = RecordOf(BusType_FlexRay, 1, item);
  expected[30] = expected[31] = 0;
  EXPECT_EQ(BytesOf(*entry), expected);
}

TEST(OverrunMark, TakesTheKindOfAnEthernetEntry) {
  const Bytes item = EthernetFrame({1, 2}).Kind(0x0102);
  const auto entry = EthernetEntry(item);
  entry->SetBufferOverrunFlag();
  Bytes expected = RecordOf(BusType_Ethernet, 1, item);
  expected[30] = expected[31] = 0;
  EXPECT_EQ(BytesOf(*entry), expected);
}

TEST(OverrunMark, TakesTheKindOfAnItemThatEndsWithIt) {
  const auto entry = FlexRayEntry(FlexRayFrame(1).Kind(0x0102).SaysSize(4));
  EXPECT_EQ(BytesOf(*entry).size(), 32U);
  entry->SetBufferOverrunFlag();
  EXPECT_EQ(BytesOf(*entry)[30], 0U);
  EXPECT_EQ(BytesOf(*entry)[31], 0U);
}

TEST(OverrunMark, DoesNotWritePastAnItemTooShortToHaveAKind) {
  for (const size_t size : {1U, 2U, 3U}) {
    SCOPED_TRACE(size);
    const Bytes item = FlexRayFrame(1).SaysSize(size);  // the entry takes only its first bytes
    const auto entry = FlexRayEntry(item);
    const Bytes before = BytesOf(*entry);
    EXPECT_EQ(before.size(), 28 + size);
    entry->SetBufferOverrunFlag();
    EXPECT_EQ(BytesOf(*entry), before);
  }
}

// ---- Relative time

TEST(RelativeTimestamp, IsTheDifferenceOfTwoEntries) {
  const auto previous = CanEntry(Frame(1).At(1000));
  const auto current = CanEntry(Frame(1).At(1750));
  current->SetRelativeTimestamp(current, previous);
  EXPECT_EQ(current->GetRelativeTimestamp(), 750);
  EXPECT_EQ(BytesOf(*current), RecordOf(BusType_Can, 1, Frame(1).At(1750), 750));
  EXPECT_EQ(previous->GetRelativeTimestamp(), 0);
}

TEST(RelativeTimestamp, OfAnEntryBeforeItsPreviousOneIsNegative) {
  const auto previous = CanEntry(Frame(1).At(1750));
  const auto current = CanEntry(Frame(1).At(1000));
  current->SetRelativeTimestamp(current, previous);
  EXPECT_EQ(current->GetRelativeTimestamp(), -750);
  EXPECT_EQ(current->GetEntry()->RelativeTimestamp, 0xFFFFFFFFFFFFFD12UL);
}

TEST(RelativeTimestamp, WrapsOverTheWholeRange) {
  const auto previous = CanEntry(Frame(1).At(std::numeric_limits<unsigned long>::max()));
  const auto current = CanEntry(Frame(1).At(4));
  current->SetRelativeTimestamp(current, previous);
  EXPECT_EQ(current->GetRelativeTimestamp(), 5);
}

TEST(Entry, IsCopiedWithTheRelativeTimeAskedFor) {
  const Bytes item = LinFrame(1).Data({1, 2});
  Bytes copy(48);
  LinEntry(item)->CopyTo(copy.data(), 99);
  EXPECT_EQ(copy, RecordOf(BusType_Lin, 1, item, 99));
}

TEST(Entry, IsCopiedWholeHoweverShort) {
  const Bytes item = EthernetFrame({}).SaysSize(1);
  const auto entry = EthernetEntry(item);
  Bytes copy(29);
  entry->CopyTo(copy.data(), 0);
  EXPECT_EQ(copy, BytesOf(*entry));
}

// ---- The builder of the other tests makes what the layouts say

TEST(EntryBuilder, MakesTheRecordsOfTheLayouts) {
  EXPECT_EQ(BytesOf(*CanItem().Channel(3).At(7).Id(0x123).Extended().Data({1, 2, 3}).Entry()),
            RecordOf(BusType_Can, 3, Frame(0x80000123).At(7).Flags(0x01).Data({1, 2, 3})));
  EXPECT_EQ(BytesOf(*LinItem().Channel(3).At(7).Id(5).Tx().BitTime(9).Data({1, 2}, 3).Entry()),
            RecordOf(BusType_Lin, 3, LinFrame(5).At(7).Flags(0x40).BitTime(9).Data({1, 2, 3})));
  EXPECT_EQ(BytesOf(*FlexRayItem().Channel(3).At(7).Slot(5).Data({1, 2}).Entry()),
            RecordOf(BusType_FlexRay, 3, FlexRayFrame(5).At(7).Data({1, 2})));
  EXPECT_EQ(BytesOf(*EthernetItem().Channel(3).At(7).Tx().Frame({1, 2}).Entry()),
            RecordOf(BusType_Ethernet, 3, EthernetFrame({1, 2}).At(7).Flags(1)));
}
