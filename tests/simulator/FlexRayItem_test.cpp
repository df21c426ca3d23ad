#include "FlexRayItem.h"

#include <gtest/gtest.h>

using namespace qor_sim;

namespace {

using Data = std::vector<unsigned char>;

Data Encoded(const FlexRayFrame& frame) {
  Data bytes(999, 0xEE);
  EncodeFlexRayFrame(frame, bytes);
  return bytes;
}

Data Encoded(const FlexRayEvent& event) {
  Data bytes(999, 0xEE);
  EncodeFlexRayEvent(event, bytes);
  return bytes;
}

FlexRayFrame Frame(unsigned char flags, uint16_t slot, size_t length) {
  FlexRayFrame frame;
  frame.Flags = flags;
  frame.Slot = slot;
  frame.Data.resize(length);
  return frame;
}

}  // namespace

//  0 size | 2 kind | 4 time | 12 channel | 13 flags | 14 slot | 16 cycle | 17 words | 18 header CRC | 20 payload
TEST(FlexRayItem, FrameBecomesItem) {
  FlexRayFrame frame;
  frame.Timestamp = 0x0123456789ABCDEF;
  frame.Transmitted = true;
  frame.Channel = kFlexRayB;
  frame.Flags = kFlexRaySync | kFlexRayStartup;
  frame.Slot = 0x7D3;
  frame.Cycle = 63;
  frame.HeaderCrc = 0x2A5;
  frame.Data = {1, 2, 3, 4};
  EXPECT_EQ(Encoded(frame), (Data{24, 0,    2,    0,    0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01,  //
                                  1,  0x18, 0xD3, 0x07, 63,   2,    0xA5, 0x02, 1,    2,    3,    4}));
}

TEST(FlexRayItem, ReceivedFrameWithoutPayloadIsTwentyBytes) {
  FlexRayFrame frame;
  frame.Channel = kFlexRayBoth;
  frame.Flags = kFlexRayNull | kFlexRayPayloadPreamble;
  frame.Slot = 1;
  EXPECT_EQ(Encoded(frame), (Data{20, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0x06, 1, 0, 0, 0, 0, 0}));
}

TEST(FlexRayItem, PayloadIsWholeWordsUpTo127) {
  FlexRayFrame odd;
  odd.Data = {7, 8, 9};
  const Data padded = Encoded(odd);
  EXPECT_EQ(padded[17], 2);
  EXPECT_EQ(Data(padded.begin() + 20, padded.end()), (Data{7, 8, 9, 0}));
  const Data longest = Encoded(Frame(0, 1, 300));
  EXPECT_EQ(longest.size(), 274u);
  EXPECT_EQ(longest[0] | longest[1] << 8, 274);
  EXPECT_EQ(longest[17], 127);
}

//  0 size | 2 kind | 4 time | 12 key or value | 14 cycle | 15 channel
TEST(FlexRayItem, EventsBecomeItemsOfSixteenBytes) {
  struct Case {
    FlexRayEvent Event;
    Data Item;
  };
  const Case cases[] = {
      {{5, kFlexRayOverrun, 0, 0, 0}, {16, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {FlexRayStartOfCycle(5, 63), {16, 0, 3, 0, 5, 0, 0, 0, 0, 0, 0, 0, 63, 0, 0, 0}},
      {FlexRayStateChange(5, kFlexRayWakingUp), {16, 0, 4, 0, 5, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0}},
      {{5, kFlexRayStatus, 0, 0, 0}, {16, 0, 5, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {FlexRaySymbolSeen(5, kFlexRayBoth), {16, 0, 6, 0, 5, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0}},
      {FlexRayError(5, kFlexRayNitSyntaxError, 0, 9, kFlexRayA), {16, 0, 7, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0}},
      {FlexRayError(5, kFlexRaySyntaxError, 0x123, 9, kFlexRayB),
       {16, 0, 8, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0x23, 0x01, 9, 1}},
      {FlexRayError(5, kFlexRayNitBoundaryViolation, 0, 9, kFlexRayBoth),
       {16, 0, 9, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 2}},
      {FlexRayError(5, kFlexRayContentError, 2047, 0, kFlexRayA),
       {16, 0, 10, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0x07, 0, 0}},
  };
  for (const auto& c : cases) EXPECT_EQ(Encoded(c.Event), c.Item) << c.Event.Kind;
}

// From frames on real wires.
TEST(FlexRayItem, HeaderCrcFollowsFromFlagsSlotAndLength) {
  EXPECT_EQ(FlexRayHeaderCrc(Frame(kFlexRaySync | kFlexRayStartup | kFlexRayNull, 1, 16)), 283);
  EXPECT_EQ(FlexRayHeaderCrc(Frame(kFlexRayNull, 63, 16)), 586);
  EXPECT_EQ(FlexRayHeaderCrc(Frame(kFlexRayNull | kFlexRaySync | kFlexRayStartup, 64, 16)), 1047);
  EXPECT_EQ(FlexRayHeaderCrc(Frame(0, 65, 16)), 705);
}
