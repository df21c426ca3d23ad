#include "linux/LinkMessage.h"

#include <gtest/gtest.h>
#include <linux/can/netlink.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <net/if_arp.h>

#include <cstring>

using qor_linux::CanState;
using qor_linux::Link;
using qor_linux::ParseLinks;

namespace {

using Bytes = std::vector<unsigned char>;

template <class Value>
Bytes BytesOf(const Value& value) {
  Bytes bytes(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

Bytes Padded(Bytes bytes) {
  bytes.resize((bytes.size() + 3) / 4 * 4);
  return bytes;
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes Attribute(unsigned short type, const Bytes& content) {
  const rtattr head{static_cast<unsigned short>(sizeof head + content.size()), type};
  return Padded(BytesOf(head) + content);
}

Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()) + Bytes{0}; }

Bytes Message(unsigned short type, const Bytes& content) {
  nlmsghdr head{};
  head.nlmsg_len = static_cast<unsigned int>(sizeof head + content.size());
  head.nlmsg_type = type;
  return Padded(BytesOf(head) + content);
}

Bytes Interface(unsigned short type, unsigned int flags) {
  ifinfomsg info{};
  info.ifi_type = type;
  info.ifi_flags = flags;
  return BytesOf(info);
}

Bytes BitTiming(unsigned int rate) {
  can_bittiming timing{};
  timing.bitrate = rate;
  return BytesOf(timing);
}

const Bytes kCan =
    Message(RTM_NEWLINK,
            Interface(ARPHRD_CAN, IFF_UP) + Attribute(IFLA_IFNAME, Text("can0")) +
                Attribute(IFLA_LINKINFO, Attribute(IFLA_INFO_KIND, Text("can")) +
                                             Attribute(IFLA_INFO_DATA | NLA_F_NESTED,
                                                       Attribute(IFLA_CAN_BITTIMING, BitTiming(500'000)) +
                                                           Attribute(IFLA_CAN_STATE, BytesOf(uint32_t{3})) +
                                                           Attribute(IFLA_CAN_DATA_BITTIMING, BitTiming(2'000'000)))));
const Bytes kEthernet = Message(RTM_NEWLINK, Interface(ARPHRD_ETHER, 0) + Attribute(IFLA_MTU, BytesOf(uint32_t{1500})) +
                                                 Attribute(IFLA_IFNAME, Text("eth0")));
const Bytes kDone = Message(NLMSG_DONE, BytesOf(0));

std::vector<Link> Parsed(const Bytes& bytes, bool* done = nullptr) {
  bool ended = false;
  auto links = ParseLinks(bytes, ended);
  if (done != nullptr) *done = ended;
  return links;
}

}  // namespace

TEST(LinkMessage, CanInterfaceHasBitRatesAndState) {
  const auto links = Parsed(kCan);
  ASSERT_EQ(links.size(), 1u);
  EXPECT_EQ(links[0].Name, "can0");
  EXPECT_EQ(links[0].Type, ARPHRD_CAN);
  EXPECT_EQ(links[0].Flags, unsigned{IFF_UP});
  EXPECT_EQ(links[0].Kind, "can");
  EXPECT_EQ(links[0].BitRate, 500'000u);
  EXPECT_EQ(links[0].DataBitRate, 2'000'000u);
  EXPECT_EQ(links[0].State, CanState::BusOff);
}

TEST(LinkMessage, AllLinksOfAnAnswerAreThereAndItsEndIsSeen) {
  bool done = true;
  EXPECT_EQ(Parsed(kCan + kEthernet, &done).size(), 2u);
  EXPECT_FALSE(done);
  const auto links = Parsed(kEthernet + kCan + kDone, &done);
  EXPECT_TRUE(done);
  ASSERT_EQ(links.size(), 2u);
  EXPECT_EQ(links[0].Name, "eth0");
  EXPECT_EQ(links[0].BitRate, 0u);
  EXPECT_EQ(links[0].State, CanState::Unknown);
}

TEST(LinkMessage, AnswerThatIsCutOffHasItsWholeLinks) {
  const Bytes all = kEthernet + kCan;
  for (size_t length = 0; length <= all.size(); ++length) {
    const Bytes some(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(Parsed(some).size(), length < kEthernet.size() ? 0u : length < all.size() ? 1u : 2u) << length;
  }
}

TEST(LinkMessage, LengthsThatContradictThemselvesEndTheReading) {
  for (size_t place = 0; place < kCan.size(); ++place) {
    for (const unsigned int value : {0x00u, 0x01u, 0x7Fu, 0xFFu}) {
      Bytes damaged = kCan;
      damaged[place] = static_cast<unsigned char>(value);
      EXPECT_LE(Parsed(damaged).size(), 1u);
    }
  }
}

TEST(LinkMessage, StateThatIsNotKnownIsUnknown) {
  Bytes odd = Message(
      RTM_NEWLINK,
      Interface(ARPHRD_CAN, 0) + Attribute(IFLA_IFNAME, Text("can0")) +
          Attribute(IFLA_LINKINFO, Attribute(IFLA_INFO_KIND, Text("can")) +
                                       Attribute(IFLA_INFO_DATA, Attribute(IFLA_CAN_STATE, BytesOf(uint32_t{77})))));
  EXPECT_EQ(Parsed(odd).at(0).State, CanState::Unknown);
}
