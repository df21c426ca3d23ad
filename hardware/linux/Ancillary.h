// What the kernel says about a message besides its bytes: when it arrived, and how many were dropped before it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace qor_linux {

struct Ancillary {
  std::optional<uint64_t> Software = std::nullopt;  // ns since 1970: when the kernel received it
  std::optional<uint64_t> Hardware = std::nullopt;  // ns, clock of the interface
  std::optional<uint32_t> Dropped = std::nullopt;   // messages, since the socket was opened; counts modulo 2^32
};

/// @param control  the control messages of a recvmsg, as they came; they are believed only as far as they reach
Ancillary ParseAncillary(std::span<const unsigned char> control);

}  // namespace qor_linux
