#include "channel/Qor_Trace_Channel_Can.h"

#include <gtest/gtest.h>

#include "channel/ChannelTest.h"

using namespace test;

namespace {

Bytes Recorded(const Bytes& item) { return RecordOf(BusType_Can, 1, item); }

}  // namespace

TEST(CanChannel, MakesARecordOfEveryItem) {
  const Items items = {Frame(0x123).At(1).Data({1}), Frame(0x124).At(2), Frame(0x125).At(3).Data(Counting(64)),
                       Frame(0x126).At(4).Data(Counting(3))};
  ScriptedInterface can;
  can.NextItems(items);
  RunningChannel channel(can);
  EXPECT_EQ(channel.OnlyDelivery().Entries,
            (Items{Recorded(items[0]), Recorded(items[1]), Recorded(items[2]), Recorded(items[3])}));
}

TEST(CanChannel, TakesAResponseOfFourBytesAsEmpty) {
  ScriptedInterface can;
  can.NextResponse({1, 2, 3, 4});
  RunningChannel channel(can);
  EXPECT_TRUE(channel.AllDeliveries().empty());
}

TEST(CanChannel, ItemsBeginAtMultiplesOfFour) {
  struct {
    size_t DataLength, Step;
  } constexpr kSteps[] = {{0, 16}, {1, 20}, {4, 20}, {5, 24}, {63, 80}, {64, 80}};
  for (const auto& [length, step] : kSteps) {
    SCOPED_TRACE(length);
    const Bytes first = Frame(1).At(1).Data(Counting(length));
    const Bytes second = Frame(2).At(2).Data({0xEE});
    Bytes response(4 + step + second.size());
    std::copy(first.begin(), first.end(), response.begin() + 4);
    std::copy(second.begin(), second.end(), response.begin() + 4 + static_cast<std::ptrdiff_t>(step));
    ScriptedInterface can;
    can.NextResponse(response);
    RunningChannel channel(can);
    EXPECT_EQ(channel.OnlyDelivery().Entries, (Items{Recorded(first), Recorded(second)}));
  }
}

TEST(CanChannel, TakesALastItemThatRunsPastTheResponseWithAllItsData) {
  const Bytes item = Frame(0x123).At(1).Data(Counting(8));
  ScriptedInterface can;
  can.NextResponse(Response(BusType_Can, {item}), 5);  // only the item's first byte counts as returned
  RunningChannel channel(can);
  EXPECT_EQ(channel.OnlyDelivery().Entries, (Items{Recorded(item)}));
}

TEST(CanChannel, HoldsTheLaterOfTwoFramesWithOneIdentifierInTheList) {
  const Bytes first = Frame(0x123).At(100).Data({1});
  const Bytes second = Frame(0x123).At(200).Data({2});
  ScriptedInterface can;
  can.NextItems({first, second});
  RunningChannel channel(can);
  const auto delivery = channel.OnlyDelivery();
  EXPECT_EQ(delivery.Entries, (Items{Recorded(first), Recorded(second)}));
  EXPECT_EQ(delivery.Latest, (decltype(delivery.Latest){{{1, 0x123}, Recorded(second)}}));
}

TEST(CanChannel, TakesTheLastOneOfThePollForTheList_NotTheNewestTime) {
  const Bytes first = Frame(0x123).At(200).Data({1});
  const Bytes second = Frame(0x123).At(100).Data({2});
  ScriptedInterface can;
  can.NextItems({first, second});
  RunningChannel channel(can);
  EXPECT_EQ(channel.OnlyDelivery().Latest.at({1, 0x123}), Recorded(second));
}

TEST(CanChannel, TellsStandardAndExtendedIdentifiersApartInTheList) {
  ScriptedInterface can;
  can.NextItems({Frame(0x123), Frame(0x80000123), Frame(0x40000123), Frame(0xC0000123)});
  RunningChannel channel(can);
  const auto latest = channel.OnlyDelivery().Latest;
  EXPECT_EQ(latest.size(), 4U);
  for (const unsigned int key : {0x123U, 0x80000123U, 0x40000123U, 0xC0000123U}) EXPECT_EQ(latest.count({1, key}), 1U);
}

TEST(CanChannel, BelievesADataLengthUpToTheBuffersEnd) {
  ScriptedInterface can;
  can.NextItems({Frame(0x123).Data({1, 2}).SaysDataLength(255)});
  RunningChannel channel(can);
  const auto entries = channel.OnlyDelivery().Entries;
  ASSERT_EQ(entries.size(), 1U);
  Bytes expected = Recorded(Frame(0x123).Data({1, 2}).SaysDataLength(255));
  expected.resize(44 + 255);  // nothing was polled before: what lies past the response reads as 0
  PutAt(expected, 0, static_cast<unsigned int>(expected.size()));
  EXPECT_EQ(entries[0], expected);
}
