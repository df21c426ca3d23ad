#include "inputs/MadeRecord.h"

#include <gtest/gtest.h>

#include <array>
#include <numeric>

#include "tools/ClientEntries.h"

namespace client {
namespace {

Bytes Counting(size_t size) {
  Bytes bytes(size);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
  return bytes;
}

Bytes BytesOf(const RecordView* record) { return {record->Bytes().begin(), record->Bytes().end()}; }

TEST(MadeRecord, OfCanIsWhatTheInterfaceWouldHaveGiven) {
  MadeRecord made;
  const Bytes data = Counting(12);
  CanParts parts{.Identifier = 0x18DAF110, .Dlc = 9, .Data = data};
  parts.Flags = QOR_TRACE_CAN_EXTENDED | QOR_TRACE_CAN_FD | QOR_TRACE_CAN_BRS;
  const Bytes same = RecordOf(test::CanItem()
                                  .Channel(3)
                                  .At(77)
                                  .Fd()
                                  .Id(0x18DAF110 | QOR_TRACE_CAN_ID_EXTENDED | QOR_TRACE_CAN_ID_FD)
                                  .Flags(parts.Flags)
                                  .Data(data)
                                  .Dlc(9));
  EXPECT_EQ(BytesOf(made.Can({3, 77}, parts)), same);
}

TEST(MadeRecord, OfLinHasItsChecksumAfterTheData) {
  MadeRecord made;
  for (const size_t size : {size_t{0}, size_t{2}, size_t{8}}) {
    SCOPED_TRACE(size);
    const Bytes data = Counting(size);
    const RecordView* const record =
        made.Lin({2, 5}, {.Identifier = 0x21, .Data = data, .Checksum = 0xC5, .BitTime = 416'000});
    EXPECT_EQ(record->Length(), RecordView::kHeader + LinView::kFixedFields);
    EXPECT_EQ(record->Kind(), RecordKind::LinFrame);
    const LinView lin = record->Lin();
    EXPECT_EQ(lin.DataLength, size + 1);
    EXPECT_EQ(record->Payload()[LinView::kData + size], 0xC5);
  }
  EXPECT_EQ(made.Lin({}, {.Identifier = 3})->Kind(), RecordKind::LinNoResponse);
}

TEST(MadeRecord, OfFlexRayStatesTheSizeOfItsItem) {
  MadeRecord made;
  const Bytes data = Counting(254);
  const RecordView* const record = made.FlexRay(
      {1, 9}, {.Channel = 1, .SlotId = 2047, .Cycle = 63, .PayloadWords = 127, .HeaderCrc = 0x7FF, .Data = data});
  EXPECT_EQ(record->Length(), RecordView::kHeader + 20 + 254);
  EXPECT_EQ(record->Kind(), RecordKind::FlexRayFrame);
  EXPECT_EQ(record->FlexRay().SlotId, 2047);
}

TEST(MadeRecord, OfEthernetHoldsFramesOfAnySizeThatAnItemCanState) {
  MadeRecord made;
  for (const size_t size : {size_t{0}, size_t{60}, size_t{1524}, size_t{9018}, MadeRecord::kMostEthernet}) {
    SCOPED_TRACE(size);
    const Bytes frame = Counting(size);
    const RecordView* const record = made.Ethernet({4, 1}, {.Frame = frame});
    EXPECT_EQ(record->Length(), RecordView::kHeader + 16 + size);
    EXPECT_EQ(Bytes(record->Bytes().end() - static_cast<std::ptrdiff_t>(size), record->Bytes().end()), frame);
  }
}

TEST(MadeRecord, CutsOffWhatARecordHasNoRoomFor) {
  MadeRecord made;
  const Bytes much = Counting(70'000);
  EXPECT_EQ(made.Can({}, {.Data = much})->Can().DataLength, 64);
  EXPECT_EQ(made.Lin({}, {.Data = much})->Lin().DataLength, 8);
  EXPECT_EQ(made.FlexRay({}, {.Data = much})->Length(), RecordView::kHeader + 20 + 254);
  EXPECT_EQ(made.Ethernet({}, {.Frame = much})->Length(), RecordView::kHeader + 65535);
}

}  // namespace
}  // namespace client
