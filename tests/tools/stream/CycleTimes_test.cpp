#include "stream/CycleTimes.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

class CycleTimesTest : public testing::Test {
 protected:
  template <class Item>
  unsigned long Next(const Item& item) {
    const Bytes record = RecordOf(item);
    return Cycles.Next(ViewOf(record));
  }

  CycleTimes Cycles;
};

TEST_F(CycleTimesTest, FirstEntryOfAMessageHasNone) { EXPECT_EQ(Next(test::CanItem().At(5).Id(1)), 0u); }

TEST_F(CycleTimesTest, MessagesAreToldApartByBusChannelAndKey) {
  Next(test::CanItem().At(100).Channel(1).Id(7));
  EXPECT_EQ(Next(test::CanItem().At(200).Channel(1).Id(8)), 0u);
  EXPECT_EQ(Next(test::CanItem().At(300).Channel(2).Id(7)), 0u);
  EXPECT_EQ(Next(test::LinItem().At(400).Channel(1).Id(7).Data({1}, 2)), 0u);
  EXPECT_EQ(Next(test::CanItem().At(500).Channel(1).Id(7)), 400u);
  EXPECT_EQ(Next(test::CanItem().At(510).Channel(1).Id(7)), 10u);
  EXPECT_EQ(Next(test::LinItem().At(600).Channel(1).Id(7).Data({1}, 2)), 200u);
}

TEST_F(CycleTimesTest, FlexRayFramesGoBySlot) {
  Next(test::FlexRayItem().At(100).Slot(4).Data({1, 2}));
  EXPECT_EQ(Next(test::FlexRayItem().At(200).Slot(5).Data({1, 2})), 0u);
  EXPECT_EQ(Next(test::FlexRayItem().At(300).Slot(4).Data({3, 4})), 200u);
}

TEST_F(CycleTimesTest, EthernetHasNone) {
  Next(test::EthernetItem().At(100).Frame({1}));
  EXPECT_EQ(Next(test::EthernetItem().At(200).Frame({1})), 0u);
}

TEST_F(CycleTimesTest, TimeThatGoesBackIsWrapped) {
  Next(test::CanItem().At(100).Id(1));
  EXPECT_EQ(static_cast<long>(Next(test::CanItem().At(60).Id(1))), -40);
}

}  // namespace
}  // namespace client
