#include "EthernetFrames.h"

#include <algorithm>
#include <utility>

namespace qor_sim {
namespace {

constexpr unsigned int kTypeIpv4 = 0x0800;
constexpr unsigned int kTypeArp = 0x0806;
constexpr unsigned int kTypeVlan = 0x8100;
constexpr unsigned int kProtocolTcp = 6;
constexpr unsigned int kProtocolUdp = 17;
constexpr size_t kIpv4Head = 20;  // bytes
constexpr size_t kUdpHead = 8;
constexpr size_t kTcpHead = 20;
constexpr MacAddress kBroadcast = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

bool IsMulticast(uint32_t address) { return address >> 28 == 0xE; }

/// The sum with carry of 16-bit words, highest byte first; an odd last byte counts as if a 0 followed.
uint32_t Sum(std::span<const unsigned char> bytes, uint32_t sum = 0) {
  for (size_t i = 0; i < bytes.size(); ++i) sum += i % 2 == 0 ? bytes[i] * 256u : bytes[i];
  while (sum > 0xFFFF) sum = (sum & 0xFFFF) + (sum >> 16);
  return sum;
}

void Set16(FrameBytes& bytes, size_t offset, uint32_t value) {
  bytes[offset] = static_cast<unsigned char>(value >> 8);
  bytes[offset + 1] = static_cast<unsigned char>(value);
}

void PutMacs(FrameBytes& bytes, const MacAddress& to, const MacAddress& from) {
  PutBytes(bytes, to);
  PutBytes(bytes, from);
}

void PutIpv4Head(FrameBytes& bytes, const EthernetRoute& route, unsigned int protocol, uint16_t identification,
                 size_t payload) {
  const size_t begin = bytes.size();
  Put16(bytes, 0x4500);  // version 4, head of five words, ordinary service
  Put16(bytes, static_cast<unsigned int>(kIpv4Head + payload));
  Put16(bytes, identification);
  Put16(bytes, 0x4000);                                 // not to be fragmented
  Put8(bytes, IsMulticast(route.To.Address) ? 1 : 64);  // hops
  Put8(bytes, protocol);
  Put16(bytes, 0);  // checksum
  Put32(bytes, route.From.Address);
  Put32(bytes, route.To.Address);
  Set16(bytes, begin + 10, ~Sum({bytes.data() + begin, kIpv4Head}));
}

/// Addresses, tag and the head of IPv4.
FrameBytes BeginIpv4(const EthernetRoute& route, unsigned int protocol, uint16_t identification, size_t payload) {
  FrameBytes bytes;
  bytes.reserve(18 + kIpv4Head + payload);
  PutMacs(bytes, route.To.Mac, route.From.Mac);
  if (route.Vlan != 0) {
    Put16(bytes, kTypeVlan);
    Put16(bytes, static_cast<unsigned int>(route.Priority << 13 | route.Vlan));
  }
  Put16(bytes, kTypeIpv4);
  PutIpv4Head(bytes, route, protocol, identification, payload);
  return bytes;
}

/// The checksum of what lies from `begin` on, addresses, protocol and length included.
uint32_t TransportChecksum(const FrameBytes& bytes, size_t begin, const EthernetRoute& route, unsigned int protocol) {
  FrameBytes pseudoHead;
  Put32(pseudoHead, route.From.Address);
  Put32(pseudoHead, route.To.Address);
  Put16(pseudoHead, protocol);
  Put16(pseudoHead, static_cast<unsigned int>(bytes.size() - begin));
  return ~Sum({bytes.data() + begin, bytes.size() - begin}, Sum(pseudoHead)) & 0xFFFF;
}

void Pad(FrameBytes& bytes) { bytes.resize(std::max(bytes.size(), kLeastEthernetFrame)); }

FrameBytes ArpFrame(const MacAddress& destination, unsigned int operation, const EthernetNode& from,
                    const EthernetNode& to) {
  FrameBytes bytes;
  PutMacs(bytes, destination, from.Mac);
  Put16(bytes, kTypeArp);
  Put16(bytes, 1);  // Ethernet
  Put16(bytes, kTypeIpv4);
  Put16(bytes, 0x0604);  // lengths of the addresses
  Put16(bytes, operation);
  PutBytes(bytes, from.Mac);
  Put32(bytes, from.Address);
  PutBytes(bytes, to.Mac);
  Put32(bytes, to.Address);
  Pad(bytes);
  return bytes;
}

}  // namespace

void Put8(FrameBytes& bytes, unsigned int value) { bytes.push_back(static_cast<unsigned char>(value)); }

void Put16(FrameBytes& bytes, unsigned int value) {
  Put8(bytes, value >> 8);
  Put8(bytes, value);
}

void Put32(FrameBytes& bytes, uint32_t value) {
  Put16(bytes, value >> 16);
  Put16(bytes, value & 0xFFFF);
}

void PutBytes(FrameBytes& bytes, std::span<const unsigned char> more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

EthernetNode MulticastGroup(uint32_t address) {
  const auto byte = [&](unsigned int shift) { return static_cast<unsigned char>(address >> shift); };
  return {{0x01, 0x00, 0x5E, static_cast<unsigned char>(byte(16) & 0x7F), byte(8), byte(0)}, address};
}

EthernetRoute Reversed(const EthernetRoute& route) {
  EthernetRoute back = route;
  std::swap(back.From, back.To);
  std::swap(back.FromPort, back.ToPort);
  return back;
}

FrameBytes UdpFrame(const EthernetRoute& route, uint16_t identification, std::span<const unsigned char> payload) {
  FrameBytes bytes = BeginIpv4(route, kProtocolUdp, identification, kUdpHead + payload.size());
  const size_t begin = bytes.size();
  Put16(bytes, route.FromPort);
  Put16(bytes, route.ToPort);
  Put16(bytes, static_cast<unsigned int>(kUdpHead + payload.size()));
  Put16(bytes, 0);  // checksum
  PutBytes(bytes, payload);
  const uint32_t checksum = TransportChecksum(bytes, begin, route, kProtocolUdp);
  Set16(bytes, begin + 6, checksum == 0 ? 0xFFFF : checksum);  // 0 would mean that there is none
  Pad(bytes);
  return bytes;
}

FrameBytes TcpFrame(const EthernetRoute& route, uint16_t identification, const TcpHead& head,
                    std::span<const unsigned char> payload) {
  FrameBytes options;
  if ((head.Flags & kTcpSyn) != 0) {
    Put16(options, 0x0204);  // greatest payload of a segment, length 4
    Put16(options, kGreatestTcpPayload);
  }
  const size_t headLength = kTcpHead + options.size();
  FrameBytes bytes = BeginIpv4(route, kProtocolTcp, identification, headLength + payload.size());
  const size_t begin = bytes.size();
  Put16(bytes, route.FromPort);
  Put16(bytes, route.ToPort);
  Put32(bytes, head.Sequence);
  Put32(bytes, head.Acknowledged);
  Put16(bytes, static_cast<unsigned int>(headLength / 4) << 12 | head.Flags);
  Put16(bytes, 64240);  // window
  Put16(bytes, 0);      // checksum
  Put16(bytes, 0);      // urgent pointer
  PutBytes(bytes, options);
  PutBytes(bytes, payload);
  Set16(bytes, begin + 16, TransportChecksum(bytes, begin, route, kProtocolTcp));
  Pad(bytes);
  return bytes;
}

FrameBytes ArpRequest(const EthernetNode& from, uint32_t wanted) { return ArpFrame(kBroadcast, 1, from, {{}, wanted}); }

FrameBytes ArpReply(const EthernetNode& from, const EthernetNode& to) { return ArpFrame(to.Mac, 2, from, to); }

uint64_t EthernetFrameLength(size_t frameBytes) {
  constexpr uint64_t kOverhead = 8 + 4 + 12;  // preamble, CRC, gap
  constexpr uint64_t kByteTime = 80;          // ns
  return (frameBytes + kOverhead) * kByteTime;
}

}  // namespace qor_sim
