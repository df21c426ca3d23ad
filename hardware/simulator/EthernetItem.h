// Ethernet monitor items.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qor_sim {

enum EthernetKind : uint16_t {
  kEthernetOverrun = 0,  // the last item before data were lost
  kEthernetFrame = 1,
  kEthernetCustom = 2  // bytes of the interface's own, at most 255
};

enum EthernetFlag : unsigned char {
  kEthernetTransmitted = 0x01,  // else received
  kEthernetCrcError = 0x02
};

/// Bytes of the longest frame that a poll, of at most 65535 bytes, can return.
constexpr size_t kEthernetGreatestFrame = 65535 - 8 - 16;
constexpr size_t kEthernetTimeOffset = 4;  // in an item

struct EthernetItem {
  uint64_t Timestamp = 0;  // ns
  EthernetKind Kind = kEthernetFrame;
  unsigned char Flags = 0;
  std::span<const unsigned char> Frame;  // from the destination address on, without the CRC
};

/// The bytes of an item, without padding: 16 and the frame. Reuses what `bytes` holds. Bytes beyond the longest frame are
/// left out.
void EncodeEthernetItem(const EthernetItem& item, std::vector<unsigned char>& bytes);

}  // namespace qor_sim
