// What a LIN frame adds to its identifier and data.
#pragma once

#include <span>

namespace client {

enum class LinChecksumModel {
  Unknown = 0,
  Classic = 1,  // of the data
  Enhanced = 2  // of the protected identifier and the data
};

/// The identifier, of which bits 0 to 5 count, with its parity bits.
[[nodiscard]] unsigned char LinProtectedIdentifier(unsigned int identifier);

/// A record doesn't say which checksum its bus uses: it is the one that fits, if one does.
/// @param protectedIdentifier  as on the bus
/// @param data                 without the checksum
[[nodiscard]] LinChecksumModel LinChecksumModelOf(unsigned char checksum, unsigned char protectedIdentifier,
                                                  std::span<const unsigned char> data);

}  // namespace client
