#include "channel/Qor_Trace_Channel_FlexRay.h"

#include <gtest/gtest.h>

#include "channel/ChannelTest.h"

using namespace test;

namespace {

Bytes Recorded(const Bytes& item) { return RecordOf(BusType_FlexRay, 1, item); }

}  // namespace

TEST(FlexRayChannel, MakesARecordOfEveryItem) {
  const Items items = {FlexRayFrame(1).At(1).Data(Counting(2)), FlexRayFrame(2).At(2),
                       FlexRayFrame(3).At(3).Data(Counting(254)), FlexRayFrame(4).At(4).Kind(5)};
  ScriptedInterface flexRay(BusType_FlexRay);
  flexRay.NextItems(items);
  RunningChannel channel(flexRay);
  EXPECT_EQ(channel.OnlyDelivery().Entries,
            (Items{Recorded(items[0]), Recorded(items[1]), Recorded(items[2]), Recorded(items[3])}));
}

TEST(FlexRayChannel, TakesAResponseOfEightBytesAsEmpty) {
  ScriptedInterface flexRay(BusType_FlexRay);
  flexRay.NextResponse(Counting(8));
  RunningChannel channel(flexRay);
  EXPECT_TRUE(channel.AllDeliveries().empty());
}

TEST(FlexRayChannel, ItemsBeginAtMultiplesOfFour) {
  struct {
    size_t Size, Step;
  } constexpr kSteps[] = {{16, 16}, {17, 20}, {18, 20}, {19, 20}, {20, 20}, {21, 24}};
  for (const auto& [size, step] : kSteps) {
    SCOPED_TRACE(size);
    const Bytes first = FlexRayFrame(1).At(1).Data(Counting(4)).CutTo(size);
    const Bytes second = FlexRayFrame(2).At(2).Data({0xEE, 0xEF});
    Bytes response(8 + step + second.size());
    std::copy(first.begin(), first.end(), response.begin() + 8);
    std::copy(second.begin(), second.end(), response.begin() + 8 + static_cast<std::ptrdiff_t>(step));
    ScriptedInterface flexRay(BusType_FlexRay);
    flexRay.NextResponse(response);
    RunningChannel channel(flexRay);
    EXPECT_EQ(channel.OnlyDelivery().Entries, (Items{Recorded(first), Recorded(second)}));
  }
}

TEST(FlexRayChannel, ListsFramesBySlotAndSomeEventsByTheirKey) {
  struct {
    unsigned int Kind, Key;
  } constexpr kKeys[] = {{0, 0},      {1, 0x0222}, {2, 0x0222}, {3, 0},       {4, 0},  {5, 0},     {6, 0},
                         {7, 0x0111}, {8, 0x0111}, {9, 0x0111}, {10, 0x0111}, {11, 0}, {0xFFFF, 0}};
  for (const auto& [kind, key] : kKeys) {
    SCOPED_TRACE(kind);
    const Bytes item = FlexRayFrame(0x0222).Key(0x0111).Kind(kind);
    ScriptedInterface flexRay(BusType_FlexRay);
    flexRay.NextItems({item});
    RunningChannel channel(flexRay);
    const auto latest = channel.OnlyDelivery().Latest;
    EXPECT_EQ(latest, (decltype(latest){{{1, key}, Recorded(item)}}));
  }
}

TEST(FlexRayChannel, OnlyTheLastEventWithoutAKeyIsListed) {
  const Bytes first = FlexRayFrame(1).At(1).Kind(3);
  const Bytes last = FlexRayFrame(2).At(2).Kind(6);
  ScriptedInterface flexRay(BusType_FlexRay);
  flexRay.NextItems({first, last});
  RunningChannel channel(flexRay);
  const auto latest = channel.OnlyDelivery().Latest;
  EXPECT_EQ(latest, (decltype(latest){{{1, 0}, Recorded(last)}}));
}

TEST(FlexRayChannel, TakesALastItemThatRunsPastTheResponse) {
  const Bytes item = FlexRayFrame(1).At(1).Data(Counting(10));
  ScriptedInterface flexRay(BusType_FlexRay);
  flexRay.NextResponse(Response(BusType_FlexRay, {item}), 9);
  RunningChannel channel(flexRay);
  EXPECT_EQ(channel.OnlyDelivery().Entries, (Items{Recorded(item)}));
}

TEST(FlexRayChannel, StopSendsTheCommandOnEveryCall) {
  ScriptedInterface flexRay(BusType_FlexRay);
  const auto channel = NewChannel(flexRay);
  channel->Stop();
  channel->Stop();
  EXPECT_EQ(flexRay.StopCommands(), 2U);
}

TEST(FlexRayChannel, FailingStopOfAChannelThatNeverStartedIsAnError) {
  ScriptedInterface flexRay(BusType_FlexRay);
  const auto channel = NewChannel(flexRay);
  flexRay.Fail(QOR_SIM_CALL_STOP);
  EXPECT_EQ(CodeOf([&] { channel->Stop(); }), kHardwareError);
}
