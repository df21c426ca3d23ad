// The front of an Ethernet frame: addresses, VLAN tags, type.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>

#include "record/RecordView.h"

namespace client {

/// What the front of a frame says, as far as there is one. Points into the frame.
struct EthernetFront {
  static constexpr size_t kAddressSize = 6;             // bytes
  static constexpr size_t kMostVlans = 4;               // kept; tags beyond them are skipped
  static constexpr unsigned short kLeastType = 0x0600;  // below, the field is a length

  RecordPayload Destination = {}, Source = {};        // both, or neither in a frame that ends before
  std::array<unsigned short, kMostVlans> Vlans = {};  // identifiers, the outer one first
  size_t VlanCount = 0;
  std::optional<unsigned short> TypeOrLength = {};  // after the tags
  size_t Size = 0;                                  // bytes up to the payload

  /// @param frame  from the destination address on
  [[nodiscard]] static EthernetFront Of(RecordPayload frame);

  /// Nothing for a frame with a length in place of the type.
  [[nodiscard]] std::optional<unsigned short> Type() const {
    return TypeOrLength && *TypeOrLength >= kLeastType ? TypeOrLength : std::nullopt;
  }
  [[nodiscard]] std::span<const unsigned short> VlanIds() const { return std::span(Vlans).first(VlanCount); }
};

/// What the front of an IP packet says about where it goes. Options and fragments are understood; of IPv6, extension
/// headers aren't.
struct IpFront {
  /// The two ends of a packet.
  struct Ends {
    unsigned int Source, Destination;
  };

  std::optional<unsigned char> Protocol = {};  // what the payload is: 6 TCP, 17 UDP
  std::optional<Ends> Addresses = {};          // of IPv4
  std::optional<Ends> Ports = {};              // of TCP and UDP; only the first fragment has them

  /// @param type    of the frame
  /// @param packet  the frame's payload
  [[nodiscard]] static IpFront Of(unsigned short type, RecordPayload packet);
};

}  // namespace client
