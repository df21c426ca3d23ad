#include "stream/EntryKind.h"

#include <gtest/gtest.h>

#include <set>

#include "tools/ClientEntries.h"

namespace client {
namespace {

template <class Item>
Kind KindOfItem(const Item& item) {
  const Bytes record = RecordOf(item);
  return KindOf(record.data(), static_cast<unsigned int>(record.size()));
}

template <class Item>
bool Marked(const Item& item) {
  const Bytes record = RecordOf(item);
  return HasOverrunMark(record.data(), static_cast<unsigned int>(record.size()));
}

TEST(EntryKind, CanFlagsDecideInTheOrderOfTheTextFiles) {
  EXPECT_EQ(KindOfItem(test::CanItem()), Kind::CanFrame);
  EXPECT_EQ(KindOfItem(test::CanItem().Fd()), Kind::CanFdFrame);
  EXPECT_EQ(KindOfItem(test::CanItem().Fd().ErrorFrame(1)), Kind::CanError);
  EXPECT_EQ(KindOfItem(test::CanItem().ErrorFrame(1).RisingEdge()), Kind::CanEvent);
}

TEST(EntryKind, LinFlagsDecideInTheOrderOfTheTextFiles) {
  const test::LinItem lin = test::LinItem().Data({1}, 2);
  const auto with = [&](unsigned int flags) { return test::LinItem(lin).Flags(flags); };
  EXPECT_EQ(KindOfItem(with(0)), Kind::LinFrame);
  EXPECT_EQ(KindOfItem(with(0x40)), Kind::LinFrame);
  EXPECT_EQ(KindOfItem(test::LinItem().DataLength(0)), Kind::LinNoResponse);
  EXPECT_EQ(KindOfItem(with(0x20)), Kind::LinWakeUp);
  EXPECT_EQ(KindOfItem(with(0x30)), Kind::LinEvent);
  EXPECT_EQ(KindOfItem(with(0x32)), Kind::LinChecksumError);
  EXPECT_EQ(KindOfItem(with(0x36)), Kind::LinSyncError);
  EXPECT_EQ(KindOfItem(with(0x37)), Kind::LinParityError);
  EXPECT_EQ(KindOfItem(with(0x7F)), Kind::LinTransmitError);
  EXPECT_EQ(KindOfItem(with(0x08)), Kind::LinFrame);  // a transmit error only together with the direction
}

TEST(EntryKind, FlexRayItemTypeDecides) {
  constexpr Kind kinds[] = {Kind::OverrunMark,  Kind::FlexRayFrame,  Kind::FlexRayFrame,  Kind::FlexRayCycle,
                            Kind::FlexRayState, Kind::FlexRayStatus, Kind::FlexRaySymbol, Kind::FlexRayError,
                            Kind::FlexRayError, Kind::FlexRayError,  Kind::FlexRayError,  Kind::Malformed};
  for (unsigned int type = 0; type < std::size(kinds); ++type)
    EXPECT_EQ(KindOfItem(test::FlexRayItem().Kind(type)), kinds[type]) << type;
  EXPECT_EQ(KindOfItem(test::FlexRayItem().FrameFlags(QOR_TRACE_FLEXRAY_NULL)), Kind::FlexRayNull);
}

TEST(EntryKind, EthernetItemTypeAndFlagsDecide) {
  EXPECT_EQ(KindOfItem(test::EthernetItem()), Kind::EthernetFrame);
  EXPECT_EQ(KindOfItem(test::EthernetItem().CrcError()), Kind::EthernetCrcError);
  EXPECT_EQ(KindOfItem(test::EthernetItem().Kind(2)), Kind::EthernetRecord);
  EXPECT_EQ(KindOfItem(test::EthernetItem().Kind(0)), Kind::OverrunMark);
}

TEST(EntryKind, RecordsCutShortHaveAKindAndAreNeverReadBehindTheirEnd) {
  const Bytes wholes[] = {RecordOf(test::CanItem().Data({1, 2})), RecordOf(test::LinItem().Data({1, 2}, 3)),
                          RecordOf(test::FlexRayItem().Data({1, 2})), RecordOf(test::EthernetItem().Frame({1, 2}))};
  for (const Bytes& whole : wholes) {
    for (std::size_t size = 28; size <= whole.size(); ++size) {
      const test::Record record = test::Record(whole).CutTo(size);
      const auto length = static_cast<unsigned int>(size);
      EXPECT_LT(static_cast<std::size_t>(KindOf(record.Data(), length)), KindCount);
      EXPECT_FALSE(HasOverrunMark(record.Data(), length));
      EXPECT_FALSE(IsTransmitted(record.Data(), length));
    }
    const test::Record header = test::Record(whole).CutTo(28);
    EXPECT_EQ(KindOf(header.Data(), 28), Kind::Malformed);
  }
}

TEST(EntryKind, OverrunMarkIsSeenOnEveryBus) {
  EXPECT_TRUE(Marked(test::CanItem().Overrun()));
  EXPECT_TRUE(Marked(test::LinItem().Flags(QOR_TRACE_LIN_OVERRUN)));
  EXPECT_TRUE(Marked(test::FlexRayItem().Kind(0)));
  EXPECT_TRUE(Marked(test::EthernetItem().Kind(0)));
  EXPECT_FALSE(Marked(test::CanItem()));
  EXPECT_FALSE(Marked(test::LinItem()));
  EXPECT_FALSE(Marked(test::FlexRayItem()));
  EXPECT_FALSE(Marked(test::EthernetItem()));
}

TEST(EntryKind, CountsOfOneBusHaveDifferentNamesInJson) {
  const auto keys = [](Kind first, Kind last) {
    std::multiset<std::string> names;
    for (auto kind = static_cast<int>(first); kind <= static_cast<int>(last); ++kind)
      names.insert(TextOf(static_cast<Kind>(kind)).Key);
    return names;
  };
  for (const auto& [first, last] : {std::pair(Kind::CanFrame, Kind::CanEvent),
                                    {Kind::LinFrame, Kind::LinEvent},
                                    {Kind::FlexRayFrame, Kind::FlexRayStatus},
                                    {Kind::EthernetFrame, Kind::EthernetRecord}}) {
    const auto names = keys(first, last);
    EXPECT_EQ(names.size(), std::set<std::string>(names.begin(), names.end()).size());
  }
}

}  // namespace
}  // namespace client
