#include "SomeIp.h"

#include <gtest/gtest.h>

using namespace qor_sim;

namespace {

constexpr SomeIpService kService = {0x1001, 0x0002, 0xC0A81401, 0x7725};

}  // namespace

TEST(SomeIp, LengthCountsFromTheClientOn) {
  const FrameBytes payload = {0xAA, 0xBB, 0xCC};
  EXPECT_EQ(SomeIpMessage({0x1101, 0x8001, 0, 7, SomeIpType::Notification}, payload),
            (FrameBytes{0x11, 0x01, 0x80, 0x01, 0, 0, 0, 11, 0, 0, 0, 7, 1, 1, 0x02, 0, 0xAA, 0xBB, 0xCC}));
  EXPECT_EQ(SomeIpMessage({0x1001, 0x0021, 0x0101, 0x1234, SomeIpType::Response}, {}),
            (FrameBytes{0x10, 0x01, 0x00, 0x21, 0, 0, 0, 8, 0x01, 0x01, 0x12, 0x34, 1, 1, 0x80, 0}));
}

TEST(SomeIp, AnOfferNamesServiceAndEndpoint) {
  EXPECT_EQ(OfferService(kService, 5, true),
            (FrameBytes{0xFF, 0xFF, 0x81, 0x00, 0,    0,    0,    48,   0, 0,  0,    5,   1, 1, 2, 0,  //
                        0xC0, 0,    0,    0,    0,    0,    0,    16,                                  //
                        0x01, 0,    0,    0x10, 0x10, 1,    0,    1,    1, 0,  0,    3,   0, 0, 0, 0,  //
                        0,    0,    0,    12,                                                          //
                        0,    9,    4,    0,    0xC0, 0xA8, 0x14, 0x01, 0, 17, 0x77, 0x25}));
}

TEST(SomeIp, AFindAsksForAnyInstanceWithoutAnEndpoint) {
  EXPECT_EQ(FindService(0x1101, 1, false),
            (FrameBytes{0xFF, 0xFF, 0x81, 0x00, 0,    0, 0,    36,   0, 0, 0, 1, 1,    1,    2,    0,     //
                        0x40, 0,    0,    0,    0,    0, 0,    16,                                        //
                        0,    0,    0,    0,    0x11, 1, 0xFF, 0xFF, 1, 0, 0, 3, 0xFF, 0xFF, 0xFF, 0xFF,  //
                        0,    0,    0,    0}));
}

TEST(SomeIp, ASubscriptionNamesTheEventgroupAndWhereItsEventsGo) {
  EXPECT_EQ(SubscribeEventgroup(kService, 2, true),
            (FrameBytes{0xFF, 0xFF, 0x81, 0x00, 0,    0,    0,    48,   0, 0,  0,    2,   1, 1, 2, 0,  //
                        0xC0, 0,    0,    0,    0,    0,    0,    16,                                  //
                        0x06, 0,    0,    0x10, 0x10, 1,    0,    1,    1, 0,  0,    3,   0, 0, 0, 2,  //
                        0,    0,    0,    12,                                                          //
                        0,    9,    4,    0,    0xC0, 0xA8, 0x14, 0x01, 0, 17, 0x77, 0x25}));
  const FrameBytes acknowledged = SubscribeEventgroupAck(kService, 2, true);
  EXPECT_EQ(acknowledged.size(), 16u + 28u);
  EXPECT_EQ(acknowledged[24], 0x07);
}
