// Data length codes of CAN.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

namespace client {

/// Data bytes of an FD frame, by its code (ISO 11898-1).
constexpr std::array<unsigned char, 16> kCanFdLengths = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};

/// Data bytes of a frame with a code, of which bits 0 to 3 count. A classic frame has at most 8.
[[nodiscard]] constexpr size_t BytesOfCanDlc(unsigned char dlc, bool fd) {
  constexpr size_t kMostClassic = 8;
  const size_t bytes = kCanFdLengths[dlc & 0x0F];
  return fd ? bytes : std::min(bytes, kMostClassic);
}

/// The smallest code that covers so many bytes; 15 for more than any frame has.
[[nodiscard]] constexpr unsigned char CanDlcOf(size_t bytes) {
  const auto* const found = std::lower_bound(kCanFdLengths.begin(), kCanFdLengths.end() - 1, bytes);
  return static_cast<unsigned char>(found - kCanFdLengths.begin());
}

}  // namespace client
