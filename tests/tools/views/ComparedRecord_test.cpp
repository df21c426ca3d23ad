#include "views/ComparedRecord.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/ClientEntries.h"

namespace client {
namespace {

ComparedRecord Of(const Bytes& record) { return {ViewOf(record), 0, 1}; }

template <class Item>
ComparedRecord OfItem(const Item& item) {
  return Of(RecordOf(item));
}

/// What two records differ in, "id, data".
std::string Differences(const ComparedRecord& one, const ComparedRecord& other) {
  std::string names;
  const ComparedFields fields = one.DifferencesTo(other);
  for (size_t field = 0; field < kComparedFieldCount; ++field)
    if (fields.test(field))
      names += (names.empty() ? "" : ", ") + std::string(NameOf(static_cast<ComparedField>(field)));
  EXPECT_EQ(names.empty(), one.HasSameContent(other));
  EXPECT_EQ(names.empty(), one.Content() == other.Content());
  return names;
}

TEST(ComparedRecord, NamesOfFieldsAreFoundAgain) {
  for (size_t field = 0; field < kComparedFieldCount; ++field)
    EXPECT_EQ(ComparedFieldNamed(NameOf(static_cast<ComparedField>(field))), static_cast<ComparedField>(field));
  EXPECT_EQ(ComparedFieldNamed("colour"), std::nullopt);
}

TEST(ComparedRecord, TimeIsNoPartOfTheContent) {
  EXPECT_EQ(Differences(OfItem(test::CanItem().At(1)), OfItem(test::CanItem().At(2))), "");
}

TEST(ComparedRecord, EachFieldOfACanFrameIsToldApart) {
  using test::CanItem;
  const auto frame = [] { return CanItem().Id(0x123).Data({1, 2, 3}); };
  const ComparedRecord one = OfItem(frame());
  EXPECT_EQ(Differences(one, OfItem(frame().Channel(2))), "channel");
  EXPECT_EQ(Differences(one, OfItem(frame().Id(0x124))), "id");
  EXPECT_EQ(Differences(one, OfItem(frame().Extended())), "flags");
  EXPECT_EQ(Differences(one, OfItem(frame().Overrun())), "flags");
  EXPECT_EQ(Differences(one, OfItem(frame().Tx())), "dir");
  EXPECT_EQ(Differences(one, OfItem(frame().Fd())), "kind, flags");
  EXPECT_EQ(Differences(one, OfItem(frame().Dlc(4))), "dlc");
  EXPECT_EQ(Differences(one, OfItem(frame().Data({1, 2, 4}))), "data");
  EXPECT_EQ(Differences(one, OfItem(frame().Data({1, 2}))), "dlc, len, data");
  Bytes record = RecordOf(frame());
  record[41] = 1;
  EXPECT_EQ(Differences(one, Of(record)), "reserved");
  EXPECT_EQ(Differences(OfItem(CanItem().ErrorFrame(4)), OfItem(CanItem().ErrorFrame(5))), "code");
  EXPECT_EQ(Differences(OfItem(CanItem().UserEvent({7, 1})), OfItem(CanItem().UserEvent({7, 2}))), "data");
}

TEST(ComparedRecord, EachFieldOfALinEntryIsToldApart) {
  using test::LinItem;
  const auto frame = [] { return LinItem().Id(0x10).Data({1, 2}, 0x99); };
  const ComparedRecord one = OfItem(frame());
  EXPECT_EQ(Differences(one, OfItem(frame().Id(0x11))), "id");
  EXPECT_EQ(Differences(one, OfItem(frame().Id(0x50))), "reserved");
  EXPECT_EQ(Differences(one, OfItem(frame().Tx())), "dir");
  EXPECT_EQ(Differences(one, OfItem(frame().BitTime(800))), "bit_time");
  EXPECT_EQ(Differences(one, OfItem(LinItem().Id(0x10).Data({1, 2}, 0x98))), "checksum");
  EXPECT_EQ(Differences(one, OfItem(LinItem().Id(0x10).Data({1, 3}, 0x99))), "data");
  EXPECT_EQ(Differences(one, OfItem(frame().ChecksumError())), "kind, flags");
  EXPECT_EQ(Differences(OfItem(LinItem().Data({}, 0)), OfItem(LinItem().DataLength(0))), "kind, len, checksum");
}

TEST(ComparedRecord, EachFieldOfAFlexRayEntryIsToldApart) {
  using test::FlexRayItem;
  const auto frame = [] { return FlexRayItem().Slot(7).Cycle(3).HeaderCrc(0x155).Data({1, 2}); };
  const ComparedRecord one = OfItem(frame());
  EXPECT_EQ(Differences(one, OfItem(frame().Slot(8))), "slot");
  EXPECT_EQ(Differences(one, OfItem(frame().Cycle(4))), "cycle");
  EXPECT_EQ(Differences(one, OfItem(frame().Code(1))), "side");
  EXPECT_EQ(Differences(one, OfItem(frame().Tx())), "dir");
  EXPECT_EQ(Differences(one, OfItem(frame().FrameFlags(QOR_TRACE_FLEXRAY_SYNC))), "flags");
  EXPECT_EQ(Differences(one, OfItem(frame().FrameFlags(QOR_TRACE_FLEXRAY_NULL))), "kind, flags");
  EXPECT_EQ(Differences(one, OfItem(frame().HeaderCrc(0x156))), "crc");
  EXPECT_EQ(Differences(one, OfItem(frame().PayloadWords(2))), "len");
  EXPECT_EQ(Differences(OfItem(FlexRayItem().Kind(3).Code(1)), OfItem(FlexRayItem().Kind(3).Code(2))), "cycle");
  EXPECT_EQ(Differences(OfItem(FlexRayItem().Kind(4).Code(1)), OfItem(FlexRayItem().Kind(4).Code(2))), "code");
  EXPECT_EQ(Differences(OfItem(FlexRayItem().Kind(6).Code(1)), OfItem(FlexRayItem().Kind(6).Code(2))), "side");
  EXPECT_EQ(Differences(OfItem(FlexRayItem().Kind(8)), OfItem(FlexRayItem().Kind(10))), "code");
  EXPECT_EQ(Differences(OfItem(FlexRayItem().Kind(8)), OfItem(FlexRayItem().Kind(8).EventCode(1))), "side");
  EXPECT_EQ(Differences(OfItem(FlexRayItem().Kind(0)), OfItem(FlexRayItem().Kind(0).Slot(3))), "reserved");
}

TEST(ComparedRecord, EachFieldOfAnEthernetEntryIsToldApart) {
  using test::EthernetItem;
  const auto frame = [] { return EthernetItem().Frame(Bytes(60, 1)); };
  const ComparedRecord one = OfItem(frame());
  EXPECT_EQ(Differences(one, OfItem(frame().Tx())), "dir");
  EXPECT_EQ(Differences(one, OfItem(frame().CrcError())), "kind, flags");
  EXPECT_EQ(Differences(one, OfItem(frame().FrameLength(61))), "len");
  EXPECT_EQ(Differences(one, OfItem(EthernetItem().Frame(Bytes(60, 2)))), "data");
  EXPECT_EQ(Differences(OfItem(frame().Kind(2)), OfItem(EthernetItem().Frame(Bytes(60, 2)).Kind(2))), "reserved");
}

TEST(ComparedRecord, ZerosAfterAnEntryOfNoKnownKindDoNotCount) {
  const auto longer = [](unsigned char end) {
    Bytes record = RecordOf(test::FlexRayItem().Kind(0).Slot(3));
    record.insert(record.end(), {0, 0, 0, end});
    record[0] = static_cast<unsigned char>(record.size());
    return Of(record);
  };
  const ComparedRecord one = OfItem(test::FlexRayItem().Kind(0).Slot(3));
  EXPECT_EQ(Differences(one, longer(0)), "");
  EXPECT_EQ(Differences(one, longer(1)), "reserved");
}

TEST(ComparedRecord, FieldsThatAreClearedAreTheSame) {
  ComparedRecord one = OfItem(test::CanItem().Id(1).Data({1}));
  ComparedRecord other = OfItem(test::CanItem().Id(2).Data({2}));
  one.Clear(ComparedField::Data);
  other.Clear(ComparedField::Data);
  EXPECT_EQ(Differences(one, other), "id");
}

TEST(ComparedRecord, MessagesAreKnownByWhatNamesThem) {
  const auto message = [](const auto& item) { return OfItem(item).Message(); };
  using test::CanItem;
  EXPECT_EQ(message(CanItem().Id(1).Data({1})), message(CanItem().Id(1).Data({2})));
  EXPECT_NE(message(CanItem().Id(1)), message(CanItem().Id(2)));
  EXPECT_NE(message(CanItem().Id(1)), message(CanItem().Id(1).Channel(2)));
  Bytes frame(60, 1);
  const auto one = message(test::EthernetItem().Frame(frame));
  frame[20] = 2;
  EXPECT_EQ(message(test::EthernetItem().Frame(frame)), one);
  frame[3] = 2;
  EXPECT_NE(message(test::EthernetItem().Frame(frame)), one);
}

}  // namespace
}  // namespace client
