// How long a CAN frame is on its bus.
#pragma once

#include "record/RecordView.h"

namespace client {

/// Bits by the rate that they are sent at.
struct CanBits {
  unsigned int Nominal = 0;
  unsigned int Data = 0;  // between bit-rate switch and CRC delimiter
};

/// The bits of a frame from its start to the end of the intermission after it, stuff bits included. Stuff bits are
/// counted exactly for identifier, data and CRC. An error frame counts as the 17 bits that it takes at least, an event
/// as none. Data bytes that the record announces and doesn't hold are left out.
[[nodiscard]] CanBits CanBitsOf(const CanView& can);

}  // namespace client
