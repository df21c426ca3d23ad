#include "EthernetFrames.h"

#include <gtest/gtest.h>

using namespace qor_sim;

namespace {

constexpr EthernetNode kFirst = {{0x02, 0, 0, 0, 0, 0x01}, 0xC0A81401};
constexpr EthernetNode kSecond = {{0x02, 0, 0, 0, 0, 0x0A}, 0xC0A8140A};

/// Behind what there is, up to 60 bytes.
FrameBytes Padded(FrameBytes bytes) {
  bytes.resize(60);
  return bytes;
}

}  // namespace

TEST(EthernetFrames, ArpRequestGoesToAll) {
  EXPECT_EQ(ArpRequest(kFirst, kSecond.Address),
            Padded({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 2,    0,    0,    0,    0, 1, 0x08, 0x06,  //
                    0,    1,    8,    0,    6,    4,    0,    1,                                   //
                    2,    0,    0,    0,    0,    1,    0xC0, 0xA8, 0x14, 0x01,                    //
                    0,    0,    0,    0,    0,    0,    0xC0, 0xA8, 0x14, 0x0A}));
}

TEST(EthernetFrames, ArpReplyGoesToTheOneWhoAsked) {
  EXPECT_EQ(ArpReply(kSecond, kFirst), Padded({2, 0, 0, 0, 0, 1,    2,    0,    0,    0,    0, 0x0A, 0x08, 0x06,  //
                                               0, 1, 8, 0, 6, 4,    0,    2,                                      //
                                               2, 0, 0, 0, 0, 0x0A, 0xC0, 0xA8, 0x14, 0x0A,                       //
                                               2, 0, 0, 0, 0, 1,    0xC0, 0xA8, 0x14, 0x01}));
}

// The words of the IPv4 head sum up to 80C1; those of addresses, protocol, length, UDP and an odd payload to DD85.
TEST(EthernetFrames, UdpFrameHasTagChecksumsAndPadding) {
  const EthernetRoute route = {kFirst, kSecond, 10, 4, 0x1000, 0x2000};
  const FrameBytes payload = {1, 2, 3};
  EXPECT_EQ(UdpFrame(route, 0x1234, payload),
            Padded({2,    0,    0,    0,    0,    0x0A, 2,    0,    0,  0,  0,    1,     //
                    0x81, 0x00, 0x80, 0x0A, 0x08, 0x00,                                  //
                    0x45, 0x00, 0x00, 0x1F, 0x12, 0x34, 0x40, 0x00, 64, 17, 0x7F, 0x3E,  //
                    0xC0, 0xA8, 0x14, 0x01, 0xC0, 0xA8, 0x14, 0x0A,                      //
                    0x10, 0x00, 0x20, 0x00, 0x00, 0x0B, 0x22, 0x7A, 1,  2,  3}));
}

TEST(EthernetFrames, AUdpChecksumOf0IsSentAsFFFF) {
  const FrameBytes payload = {0x26, 0x7E};  // completes the sum to FFFF
  const FrameBytes frame = UdpFrame({kFirst, kSecond, 0, 0, 0x1000, 0x2000}, 0x1234, payload);
  EXPECT_EQ(frame[40], 0xFF);
  EXPECT_EQ(frame[41], 0xFF);
}

// The words of the IPv4 head sum up to 6E90; those of addresses, protocol, length and TCP to 0485.
TEST(EthernetFrames, ASegmentThatOpensAConnectionTellsTheGreatestPayload) {
  EXPECT_EQ(TcpFrame({kSecond, kFirst, 0, 0, 0xC000, 0x3458}, 1, {0x01020304, 0, kTcpSyn}, {}),
            Padded({2,    0,    0,    0,    0,    1,    2,    0,    0,  0, 0,    0x0A, 0x08, 0x00,              //
                    0x45, 0x00, 0x00, 0x2C, 0x00, 0x01, 0x40, 0x00, 64, 6, 0x91, 0x6F,                          //
                    0xC0, 0xA8, 0x14, 0x0A, 0xC0, 0xA8, 0x14, 0x01,                                             //
                    0xC0, 0x00, 0x34, 0x58, 1,    2,    3,    4,    0,  0, 0,    0,    0x60, 0x02, 0xFA, 0xF0,  //
                    0xFB, 0x7A, 0,    0,    2,    4,    0x05, 0xB4}));
}

TEST(EthernetFrames, MulticastGroupsHaveTheLow23BitsInTheirMacAddress) {
  EXPECT_EQ(MulticastGroup(0xE0F4E0F5).Mac, (MacAddress{0x01, 0x00, 0x5E, 0x74, 0xE0, 0xF5}));
}

TEST(EthernetFrames, MulticastDoesNotLeaveTheNetwork) {
  constexpr size_t kHops = 14 + 8;
  const FrameBytes payload = {1};
  EXPECT_EQ(UdpFrame({kFirst, MulticastGroup(0xEFC0FF01), 0, 0, 1, 2}, 0, payload)[kHops], 1);
  EXPECT_EQ(UdpFrame({kFirst, kSecond, 0, 0, 1, 2}, 0, payload)[kHops], 64);
}

TEST(EthernetFrames, AFrameTakesPreambleCrcAndGapToo) {
  EXPECT_EQ(EthernetFrameLength(60), (8 + 60 + 4 + 12) * 80u);  // 6.72 us, the shortest
  EXPECT_EQ(EthernetFrameLength(1518), 1542 * 80u);
}
