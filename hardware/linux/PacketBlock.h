// The packets of a block of a capture ring (TPACKET_V3), as the kernel has written it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace qor_linux {

struct Packet {
  uint64_t Time = 0;         // ns since 1970
  bool Transmitted = false;  // by this machine
  bool Cut = false;          // it was longer than the ring takes
  std::span<const unsigned char> Bytes;
  std::optional<uint32_t> VlanTag = std::nullopt;  // taken out of Bytes: protocol (high half) and tag (low half)
};

/// Goes through a block, packet by packet. Its numbers are believed only as far as its bytes reach.
class PacketBlock {
 public:
  PacketBlock() = default;
  explicit PacketBlock(std::span<const unsigned char> block);

  /// The next packet, or nothing at the end.
  std::optional<Packet> Next();
  /// Packets that the block should have and Next can't return any more; 0 in a sound one once it has returned nothing.
  uint32_t Left() const { return Count; }

 private:
  std::span<const unsigned char> Block;
  size_t Place = 0;    // of the next packet
  uint32_t Count = 0;  // still to come
};

/// The frame as it was on the wire, with its tag in its place.
void RestoreFrame(const Packet& packet, std::vector<unsigned char>& frame);

}  // namespace qor_linux
