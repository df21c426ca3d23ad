#include "stream/EthernetFront.h"

namespace client {

namespace {

/// Big-endian, as on the bus. The bytes must be there.
unsigned short Number16(RecordPayload bytes, size_t offset) {
  return static_cast<unsigned short>(bytes[offset] << 8 | bytes[offset + 1]);
}
unsigned int Number32(RecordPayload bytes, size_t offset) {
  return static_cast<unsigned int>(Number16(bytes, offset)) << 16 | Number16(bytes, offset + 2);
}

bool IsTag(unsigned short type) { return type == 0x8100 || type == 0x88A8 || type == 0x9100; }

void ReadTagsAndType(RecordPayload frame, EthernetFront& front) {
  while (frame.size() >= front.Size + 2) {
    const unsigned short type = Number16(frame, front.Size);
    if (!IsTag(type) || frame.size() < front.Size + 4) {
      front.TypeOrLength = type;
      front.Size += 2;
      return;
    }
    const unsigned short vlan = Number16(frame, front.Size + 2) & 0xFFF;
    if (front.VlanCount < EthernetFront::kMostVlans) front.Vlans[front.VlanCount++] = vlan;
    front.Size += 4;
  }
}

constexpr unsigned short kIpv4 = 0x0800;
constexpr unsigned short kIpv6 = 0x86DD;
constexpr unsigned char kTcp = 6;
constexpr unsigned char kUdp = 17;

/// @param segment  what follows the IP header
std::optional<IpFront::Ends> PortsOf(unsigned char protocol, RecordPayload segment) {
  const bool hasPorts = protocol == kTcp || protocol == kUdp;
  if (!hasPorts || segment.size() < 4) return std::nullopt;
  return IpFront::Ends{Number16(segment, 0), Number16(segment, 2)};
}

//   0  1  version (4), length of the header in 32-bit words (4)
//   6  2  flags (3), place of the fragment (13)
//   9  1  protocol
//  12  4  source
//  16  4  destination
void ReadIpv4(RecordPayload packet, IpFront& front) {
  constexpr size_t least = 20;
  if (packet.size() < least || packet[0] >> 4 != 4) return;
  front.Protocol = packet[9];
  front.Addresses = {Number32(packet, 12), Number32(packet, 16)};
  const size_t header = 4u * (packet[0] & 0xFu);
  const bool first = (Number16(packet, 6) & 0x1FFF) == 0;
  if (first && header >= least) front.Ports = PortsOf(packet[9], record_view::From(packet, header));
}

//   0  1  version (4)
//   6  1  next header
//  40     what it announces
void ReadIpv6(RecordPayload packet, IpFront& front) {
  constexpr size_t header = 40;
  if (packet.size() < header || packet[0] >> 4 != 6) return;
  front.Protocol = packet[6];
  front.Ports = PortsOf(packet[6], record_view::From(packet, header));
}

}  // namespace

EthernetFront EthernetFront::Of(RecordPayload frame) {
  EthernetFront front;
  if (frame.size() < 2 * kAddressSize) return front;
  front.Destination = frame.first(kAddressSize);
  front.Source = frame.subspan(kAddressSize, kAddressSize);
  front.Size = 2 * kAddressSize;
  ReadTagsAndType(frame, front);
  return front;
}

IpFront IpFront::Of(unsigned short type, RecordPayload packet) {
  IpFront front;
  if (type == kIpv4) ReadIpv4(packet, front);
  if (type == kIpv6) ReadIpv6(packet, front);
  return front;
}

}  // namespace client
