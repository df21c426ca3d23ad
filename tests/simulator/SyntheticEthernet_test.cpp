#include "SyntheticEthernet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "EthernetFrames.h"
#include "EthernetItem.h"
#include "FakeTime.h"
#include "SyntheticBus.h"
#include "support/TemporaryDirectory.h"

using namespace qor_sim;

namespace {

constexpr uint64_t kRun = 60 * kSecond;

std::unique_ptr<ItemSource> MakeUsual(const SyntheticSettings& settings) { return MakeSyntheticEthernet(settings, 1); }

/// An item, and what the layers of its frame say.
struct Seen {
  explicit Seen(const Item& item) : Timestamp(item.Timestamp), Flags(item.Bytes.at(12)) {
    EXPECT_EQ(item.Bytes[0] + 256u * item.Bytes[1], item.Bytes.size());
    EXPECT_EQ(item.Bytes[14] + 256u * item.Bytes[15], item.Bytes.size() - 16);
    Kind = item.Bytes[2];
    Frame.assign(item.Bytes.begin() + 16, item.Bytes.end());
    if (Kind == kEthernetFrame) ReadLayers();
  }

  void ReadLayers() {
    size_t at = 12;
    if (At16(at) == 0x8100) {
      Vlan = At16(at + 2) & 0xFFF;
      at += 4;
    }
    Type = At16(at);
    if (Type != 0x0800) return;
    Ip = at + 2;
    Protocol = Frame.at(Ip + 9);
    Transport = Ip + 20;
    End = Ip + At16(Ip + 2);
    Payload = Protocol == 17 ? Transport + 8 : Transport + 4u * (Frame.at(Transport + 12) >> 4);
  }

  unsigned int At16(size_t at) const { return Frame.at(at) * 256u + Frame.at(at + 1); }
  uint32_t At32(size_t at) const { return At16(at) << 16 | At16(at + 2); }

  bool IsTcp() const { return Protocol == 6; }
  bool IsUdp() const { return Protocol == 17; }
  bool IsMulticast() const { return (Frame.at(0) & 1) != 0; }
  bool IsTransmitted() const { return (Flags & kEthernetTransmitted) != 0; }
  bool HasCrcError() const { return (Flags & kEthernetCrcError) != 0; }
  unsigned int ToPort() const { return At16(Transport + 2); }
  bool IsNotification() const { return IsUdp() && ToPort() == 30510; }
  bool IsDiscovery() const { return IsUdp() && ToPort() == 30490; }
  size_t PayloadLength() const { return End - Payload; }

  uint64_t Timestamp;
  unsigned int Flags;
  unsigned int Kind = 0;
  std::vector<unsigned char> Frame;
  unsigned int Vlan = 0, Type = 0, Protocol = 0;
  size_t Ip = 0, Transport = 0, Payload = 0, End = 0;  // offsets in Frame
};

std::vector<Seen> Link(uint64_t seed, uint64_t duration, unsigned int load = 1) {
  const auto source = MakeSyntheticEthernet({seed, duration}, load);
  std::vector<Seen> items;
  for (const Item& item : ItemsOf(*source)) items.emplace_back(item);
  return items;
}

uint32_t Folded(uint32_t sum) {
  while (sum > 0xFFFF) sum = (sum & 0xFFFF) + (sum >> 16);
  return sum;
}

/// The sum with carry of the words from one offset up to another.
uint32_t SumOf(const Seen& item, size_t begin, size_t end) {
  uint32_t sum = 0;
  for (size_t at = begin; at < end; at += 2) sum += at + 1 < end ? item.At16(at) : item.Frame.at(at) * 256u;
  return Folded(sum);
}

bool Ipv4ChecksumFits(const Seen& item) { return SumOf(item, item.Ip, item.Transport) == 0xFFFF; }

bool TransportChecksumFits(const Seen& item) {
  const uint32_t addresses = SumOf(item, item.Ip + 12, item.Ip + 20);
  const auto length = static_cast<uint32_t>(item.End - item.Transport);
  return Folded(addresses + item.Protocol + length + SumOf(item, item.Transport, item.End)) == 0xFFFF;
}

struct Outcome {
  int Code;
  std::string Output;
};

/// Runs tshark, which knows where SOME/IP is and checks all checksums.
Outcome Tshark(const std::string& arguments) {
  const std::string command =
      "tshark " + arguments +
      " -o ip.check_checksum:TRUE -o udp.check_checksum:TRUE -o tcp.check_checksum:TRUE"
      " -d udp.port==30490,someip -d udp.port==30501-30504,someip -d udp.port==30510,someip -d udp.port==30600,someip"
      " 2>/dev/null";
  FILE* pipe = popen(command.c_str(), "r");
  std::string output;
  char part[4096];
  while (const size_t got = fread(part, 1, sizeof part, pipe)) output.append(part, got);
  return {pclose(pipe), output};
}

size_t Occurrences(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

void WriteCapture(const std::string& path, const std::vector<Seen>& items) {
  std::ofstream file(path, std::ios::binary);
  const auto put = [&](std::initializer_list<uint32_t> words) {
    for (const uint32_t word : words) file.write(reinterpret_cast<const char*>(&word), 4);
  };
  put({0xA1B23C4D, 0x00040002, 0, 0, 65535, 1});  // pcap with times in ns, Ethernet
  for (const auto& item : items) {
    const auto length = static_cast<uint32_t>(item.Frame.size());
    put({static_cast<uint32_t>(item.Timestamp / kSecond), static_cast<uint32_t>(item.Timestamp % kSecond), length,
         length});
    file.write(reinterpret_cast<const char*>(item.Frame.data()), length);
  }
}

}  // namespace

TEST(SyntheticEthernet, SameSeedSameItems) { ExpectSameSeedSameItems(MakeUsual); }
TEST(SyntheticEthernet, OtherSeedOtherItems) { ExpectOtherSeedOtherItems(MakeUsual); }
TEST(SyntheticEthernet, EndsWithItsDuration) { ExpectEndWithDuration(MakeUsual, 20 * kMs); }

TEST(SyntheticEthernet, FramesNeverOverlap) {
  for (const unsigned int load : {1u, 30u, 100u}) {
    uint64_t free = 0;
    for (const auto& item : Link(3, 5 * kSecond, load)) {
      if (item.Kind != kEthernetFrame) continue;
      ASSERT_GE(item.Timestamp, free) << load;
      free = item.Timestamp + EthernetFrameLength(item.Frame.size());
    }
  }
}

TEST(SyntheticEthernet, LoadIsNearlyWhatWasAskedFor) {
  for (const unsigned int load : {1u, 2u, 10u, 100u}) {
    uint64_t busy = 0;  // ns
    for (const auto& item : Link(1, 5 * kSecond, load)) busy += EthernetFrameLength(item.Frame.size());
    const uint64_t wanted = load * 10'000;
    const uint64_t got = busy / 5'000;  // millionths
    EXPECT_LE(got, wanted) << load;
    EXPECT_GE(got, wanted - wanted / 8) << load;
  }
}

TEST(SyntheticEthernet, HasEveryKindOfTrafficWithinAMinute) {
  for (const uint64_t seed : {1u, 2u, 3u}) {
    std::map<std::string, unsigned int> counts;
    size_t shortest = 9999, longest = 0;
    for (const auto& item : Link(seed, kRun)) {
      if (item.Kind == kEthernetCustom) ++counts["custom"];
      if (item.Kind != kEthernetFrame) continue;
      ++counts[item.IsTransmitted() ? "transmitted" : "received"];
      if (item.HasCrcError()) ++counts[item.IsTransmitted() ? "transmitted with error" : "CRC error"];
      if (item.Type == 0x0806) ++counts["ARP"];
      if (item.IsTcp()) ++counts["TCP"];
      if (item.IsUdp() && item.Vlan == 0) ++counts["UDP"];
      if (item.IsNotification() && item.Vlan == 10) ++counts["notification"];
      if (item.IsDiscovery() && item.IsMulticast()) ++counts["offer"];
      if (item.IsDiscovery() && !item.IsMulticast()) ++counts["subscription"];
      shortest = std::min(shortest, item.Frame.size());
      longest = std::max(longest, item.Frame.size());
    }
    for (const char* kind : {"custom", "transmitted", "received", "CRC error", "ARP", "TCP", "UDP", "notification",
                             "offer", "subscription"}) {
      EXPECT_GT(counts[kind], 0u) << kind;
    }
    EXPECT_EQ(counts["transmitted with error"], 0u);
    EXPECT_EQ(shortest, 60u);
    EXPECT_EQ(longest, 1518u);
  }
}

TEST(SyntheticEthernet, ChecksumsFitUnlessTheFrameHasACrcError) {
  unsigned int spoiled = 0;
  for (const auto& item : Link(1, kRun)) {
    if (item.Ip == 0) continue;
    ASSERT_TRUE(Ipv4ChecksumFits(item));
    ASSERT_EQ(TransportChecksumFits(item), !item.HasCrcError());
    spoiled += item.HasCrcError() ? 1 : 0;
  }
  EXPECT_GE(spoiled, 6u);
}

TEST(SyntheticEthernet, UnicastFramesHaveThisInterfaceAtOneEnd) {
  constexpr uint32_t kOwn = 0xC0A8140A;
  for (const auto& item : Link(1, 10 * kSecond)) {
    if (item.Ip == 0) continue;
    EXPECT_EQ(item.At32(item.Ip + 12) == kOwn, item.IsTransmitted());
    EXPECT_TRUE(item.IsTransmitted() || item.IsMulticast() || item.At32(item.Ip + 16) == kOwn);
  }
}

TEST(SyntheticEthernet, EventsCountTheirSessionsAndKeepTheirPeriod) {
  std::vector<Seen> events;  // of 10 ms
  for (const auto& item : Link(1, 10 * kSecond)) {
    if (item.IsNotification() && item.At32(item.Payload) == 0x10018001) events.push_back(item);
  }
  ASSERT_NEAR(static_cast<double>(events.size()), 1000, 1);
  for (size_t i = 0; i < events.size(); ++i) {
    EXPECT_EQ(events[i].At16(events[i].Payload + 10), i + 1);
    EXPECT_EQ(events[i].At32(events[i].Payload + 4) + 8, events[i].PayloadLength());
    if (i == 0) continue;
    EXPECT_NEAR(static_cast<double>(events[i].Timestamp - events[i - 1].Timestamp), 10e6, 0.5e6);
  }
}

TEST(SyntheticEthernet, TcpConnectionsGoOnWhereTheyWereFromOpeningToClosing) {
  std::map<unsigned int, uint32_t> next;  // sequence number, by the sender's port
  unsigned int opened = 0, closed = 0, bytes = 0;
  for (const auto& item : Link(1, kRun)) {
    if (!item.IsTcp()) continue;
    const unsigned int flags = item.Frame.at(item.Transport + 13);
    const uint32_t sequence = item.At32(item.Transport + 4);
    const unsigned int from = item.At16(item.Transport);
    if ((flags & kTcpSyn) == 0) {
      ASSERT_EQ(sequence, next[from]);
    }
    if ((flags & kTcpAck) != 0) {
      ASSERT_EQ(item.At32(item.Transport + 8), next[item.ToPort()]);
    }
    opened += (flags & kTcpSyn) != 0 ? 1 : 0;
    closed += (flags & kTcpFin) != 0 ? 1 : 0;
    bytes += static_cast<unsigned int>(item.PayloadLength());
    next[from] = sequence + static_cast<uint32_t>(item.PayloadLength()) + ((flags & (kTcpSyn | kTcpFin)) != 0 ? 1 : 0);
  }
  EXPECT_GE(opened, 16u);
  EXPECT_NEAR(opened, closed, 2);
  EXPECT_GT(bytes, 10'000u);
}

TEST(SyntheticEthernet, TsharkHasNothingToComplainOf) {
  if (Tshark("--version").Code != 0) GTEST_SKIP() << "tshark is not installed";
  test::TemporaryDirectory directory;
  std::vector<Seen> frames;
  for (const auto& item : Link(1, 20 * kSecond)) {
    if (item.Kind == kEthernetFrame && !item.HasCrcError()) frames.push_back(item);
  }
  WriteCapture("frames.pcap", frames);
  const Outcome all = Tshark("-r frames.pcap -T fields -e frame.protocols");
  EXPECT_EQ(Occurrences(all.Output, "\n"), frames.size());
  for (const char* protocol : {":someip\n", ":tcp:doip:uds", ":arp\n", ":vlan:", ":udp:data"}) {
    EXPECT_GT(Occurrences(all.Output, protocol), 0u) << protocol;
  }
  EXPECT_GT(Occurrences(Tshark("-r frames.pcap -Y someipsd").Output, "[Offer]"), 0u);
  const Outcome doubtful = Tshark(
      "-r frames.pcap -Y '_ws.malformed || _ws.expert.severity == \"Error\" || _ws.expert.severity == \"Warning\"'");
  EXPECT_EQ(doubtful.Code, 0);
  EXPECT_EQ(doubtful.Output, "");
}
