#include "views/Contents.h"

#include <gtest/gtest.h>

#include <vector>

#include "record/RecordKind.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

using test::CanItem;
using test::EthernetItem;
using test::FlexRayItem;
using test::LinItem;

class ContentsTest : public testing::Test {
 protected:
  template <class Item>
  void Take(const Item& item) {
    EXPECT_TRUE(Put(Held, RecordOf(item)));
  }
  [[nodiscard]] const Contents::Channel& Channel(unsigned int number) const { return Held.Channels().at(number); }
  [[nodiscard]] unsigned long Of(unsigned int channel, RecordKind kind) const {
    return Channel(channel).Kinds[static_cast<size_t>(kind)];
  }
  [[nodiscard]] size_t Messages(unsigned int channel) const { return Channel(channel).Messages.size(); }

  /// A frame between two addresses.
  static Bytes Frame(unsigned char to, unsigned char from) {
    Bytes bytes(60, 0);
    bytes[5] = to;
    bytes[11] = from;
    return bytes;
  }

  Contents Held;
};

TEST_F(ContentsTest, WithoutRecordsThereIsNothing) {
  EXPECT_EQ(Held.Entries(), 0u);
  EXPECT_TRUE(Held.Channels().empty());
}

TEST_F(ContentsTest, RecordsAreCountedByChannelAndKind) {
  Take(CanItem().Channel(2));
  Take(CanItem().Channel(2).Fd());
  Take(CanItem().Channel(7).ErrorFrame(1));
  Take(CanItem().Channel(2).Fd());
  Take(LinItem().Channel(3).WakeUp());
  EXPECT_EQ(Held.Entries(), 5u);
  EXPECT_EQ(Held.Channels().size(), 3u);
  EXPECT_EQ(Channel(2).Entries, 3u);
  EXPECT_EQ(Of(2, RecordKind::CanFrame), 1u);
  EXPECT_EQ(Of(2, RecordKind::CanFdFrame), 2u);
  EXPECT_EQ(Of(7, RecordKind::CanErrorFrame), 1u);
  EXPECT_EQ(Of(3, RecordKind::LinWakeUp), 1u);
  EXPECT_EQ(Channel(2).Bus, BusType_Can);
  EXPECT_EQ(Channel(3).Bus, BusType_Lin);
}

TEST_F(ContentsTest, TimesAreThoseOfTheEarliestAndTheLatestWhateverTheirOrder) {
  Take(CanItem().At(50));
  EXPECT_EQ(Held.First(), 50u);
  EXPECT_EQ(Held.Last(), 50u);
  Take(CanItem().At(70));
  Take(CanItem().At(20));
  Take(CanItem().At(60));
  EXPECT_EQ(Held.First(), 20u);
  EXPECT_EQ(Held.Last(), 70u);
}

TEST_F(ContentsTest, CanMessagesAreIdentifiersOfEitherLength) {
  Take(CanItem().Id(5).Data({1}));
  Take(CanItem().Id(5).Data({2}).Tx());
  Take(CanItem().Id(5).Fd());
  Take(CanItem().Id(6));
  EXPECT_EQ(Messages(1), 2u);
  Take(CanItem().Id(5).Extended());
  EXPECT_EQ(Messages(1), 3u);
}

TEST_F(ContentsTest, LinMessagesAreIdentifiers) {
  Take(LinItem().Id(5).Data({1}, 2));
  Take(LinItem().Id(5).Data({2}, 2).Tx());
  Take(LinItem().Id(6).Data({1}, 2));
  EXPECT_EQ(Messages(1), 2u);
}

TEST_F(ContentsTest, FlexRayMessagesAreSlots) {
  Take(FlexRayItem().Slot(5).Cycle(1).Data({1, 2}));
  Take(FlexRayItem().Slot(5).Cycle(2).Data({1, 2}));
  Take(FlexRayItem().Slot(300).Data({1, 2}));
  EXPECT_EQ(Messages(1), 2u);
}

TEST_F(ContentsTest, EthernetMessagesArePairsOfAddresses) {
  Take(EthernetItem().Frame(Frame(1, 2)));
  Take(EthernetItem().Frame(Frame(1, 2)).Tx());
  Take(EthernetItem().Frame(Frame(2, 1)));
  Take(EthernetItem().Frame(Frame(1, 3)));
  EXPECT_EQ(Messages(1), 3u);
}

TEST_F(ContentsTest, EventsAreNoMessages) {
  Take(CanItem().ErrorFrame(1));
  Take(CanItem().RisingEdge());
  Take(LinItem().Channel(2).WakeUp());
  EXPECT_EQ(Messages(1), 0u);
  EXPECT_EQ(Messages(2), 0u);
}

}  // namespace
}  // namespace client
