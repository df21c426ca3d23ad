// Composes Ethernet frames: VLAN tag, IPv4 with UDP or TCP, ARP, with their checksums.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qor_sim {

using FrameBytes = std::vector<unsigned char>;

// These append, highest byte first.
void Put8(FrameBytes& bytes, unsigned int value);
void Put16(FrameBytes& bytes, unsigned int value);
void Put32(FrameBytes& bytes, uint32_t value);
void PutBytes(FrameBytes& bytes, std::span<const unsigned char> more);

using MacAddress = std::array<unsigned char, 6>;

struct EthernetNode {
  MacAddress Mac;
  uint32_t Address;  // IPv4
};

/// A multicast group as the receiver of a frame.
EthernetNode MulticastGroup(uint32_t address);

/// From where to where, and how.
struct EthernetRoute {
  EthernetNode From;
  EthernetNode To;
  uint16_t Vlan = 0;           // identifier; 0: no tag
  unsigned char Priority = 0;  // of the tag, 0 to 7
  uint16_t FromPort = 0;
  uint16_t ToPort = 0;
};

/// The way back.
EthernetRoute Reversed(const EthernetRoute& route);

enum TcpFlag : unsigned char { kTcpFin = 0x01, kTcpSyn = 0x02, kTcpPush = 0x08, kTcpAck = 0x10 };

struct TcpHead {
  uint32_t Sequence = 0;
  uint32_t Acknowledged = 0;
  unsigned char Flags = 0;  // TcpFlag
};

constexpr size_t kLeastEthernetFrame = 60;         // bytes, without the CRC; shorter ones are padded
constexpr size_t kGreatestUdpPayload = 1500 - 28;  // bytes
constexpr size_t kGreatestTcpPayload = 1500 - 40;  // bytes

/// Frames from the destination address on, without the CRC.
///
/// @param identification  of the IPv4 packet
FrameBytes UdpFrame(const EthernetRoute& route, uint16_t identification, std::span<const unsigned char> payload);
/// A segment that opens a connection announces the greatest payload.
FrameBytes TcpFrame(const EthernetRoute& route, uint16_t identification, const TcpHead& head,
                    std::span<const unsigned char> payload);
FrameBytes ArpRequest(const EthernetNode& from, uint32_t wanted);
FrameBytes ArpReply(const EthernetNode& from, const EthernetNode& to);

/// ns that a frame takes on a link of 100 Mbit/s: preamble, CRC and the gap after it included.
uint64_t EthernetFrameLength(size_t frameBytes);

}  // namespace qor_sim
