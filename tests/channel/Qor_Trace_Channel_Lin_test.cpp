#include "channel/Qor_Trace_Channel_Lin.h"

#include <gtest/gtest.h>

#include "channel/ChannelTest.h"

using namespace test;

namespace {

Bytes Recorded(const Bytes& item) { return RecordOf(BusType_Lin, 1, item); }

}  // namespace

TEST(LinChannel, MakesARecordOfEveryItemWithoutPaddingBetweenThem) {
  const Items items = {LinFrame(1).At(1).Data({1, 2}), LinFrame(2).At(2), LinFrame(3).At(3).Data(Counting(9)),
                       LinFrame(4).At(4).Data({7})};
  ScriptedInterface lin(BusType_Lin);
  lin.NextItems(items);
  RunningChannel channel(lin);
  EXPECT_EQ(channel.OnlyDelivery().Entries,
            (Items{Recorded(items[0]), Recorded(items[1]), Recorded(items[2]), Recorded(items[3])}));
}

TEST(LinChannel, GoesByTheItemCountAndNotByTheLength) {
  const Bytes item = LinFrame(1).At(1).Data({1, 2});
  for (const size_t reported : {0U, 1U, 8U, 65535U}) {
    SCOPED_TRACE(reported);
    ScriptedInterface lin(BusType_Lin);
    lin.NextResponse(Response(BusType_Lin, {item, item}), reported);
    RunningChannel channel(lin);
    EXPECT_EQ(channel.OnlyDelivery().Entries, (Items{Recorded(item), Recorded(item)}));
  }
}

TEST(LinChannel, TakesNoMoreItemsThanAreCounted) {
  const Bytes item = LinFrame(1).At(1).Data({1, 2});
  Bytes response = Response(BusType_Lin, {item, item, item});
  response[4] = 2;
  ScriptedInterface lin(BusType_Lin);
  lin.NextResponse(response);
  RunningChannel channel(lin);
  EXPECT_EQ(channel.OnlyDelivery().Entries.size(), 2U);
}

TEST(LinChannel, DeliversNothingForACountOfZeroHoweverLongTheResponse) {
  Bytes response = Response(BusType_Lin, {LinFrame(1).Data({1, 2})});
  response[4] = 0;
  ScriptedInterface lin(BusType_Lin);
  lin.NextResponse(response);
  RunningChannel channel(lin);
  EXPECT_TRUE(channel.AllDeliveries().empty());
}

TEST(LinChannel, DoesNotTakeTheCountOfAnEarlierPoll) {
  ScriptedInterface lin(BusType_Lin);
  lin.NextItems({LinFrame(1).Data({1, 2})}).NextResponse({}).NextResponse({1, 2, 3});
  RunningChannel channel(lin);
  EXPECT_EQ(channel.AllDeliveries().size(), 1U);
}

TEST(LinChannel, ListsByTheWholeIdentifierByte) {
  const Bytes plain = LinFrame(0x01).At(1).Data({1, 2});
  const Bytes withParity = LinFrame(0xC1).At(2).Data({3, 4});
  ScriptedInterface lin(BusType_Lin);
  lin.NextItems({plain, withParity});
  RunningChannel channel(lin);
  const auto latest = channel.OnlyDelivery().Latest;
  EXPECT_EQ(latest, (decltype(latest){{{1, 0x01}, Recorded(plain)}, {{1, 0xC1}, Recorded(withParity)}}));
}

TEST(LinChannel, StepsByTheItemsSizeWhateverItsDataLength) {
  Bytes longItem = LinFrame(1).At(1).Data({1, 2});
  longItem.resize(60, 0xEE);
  PutAt(longItem, 0, static_cast<unsigned short>(longItem.size()));
  const Bytes next = LinFrame(2).At(2).Data({3});
  ScriptedInterface lin(BusType_Lin);
  lin.NextItems({longItem, next});
  RunningChannel channel(lin);
  const auto entries = channel.OnlyDelivery().Entries;
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0], Recorded(LinFrame(1).At(1).Data({1, 2})));
  EXPECT_EQ(entries[1], Recorded(next));
}

TEST(LinChannel, EndsWhereACountLies) {
  Bytes response = Response(BusType_Lin, {LinFrame(1).At(1).Data({1, 2})});
  PutAt(response, 4, static_cast<unsigned short>(0xFFFF));
  ScriptedInterface lin(BusType_Lin);
  lin.NextResponse(response);
  RunningChannel channel(lin);
  EXPECT_EQ(channel.OnlyDelivery().Entries.size(), 1U);  // after it there is an item without a size
}
