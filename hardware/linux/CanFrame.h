// From a frame as a raw CAN socket delivers it to a monitor item.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "simulator/CanItem.h"

namespace qor_linux {

/// What a frame says about its controller, besides what the item holds.
enum class CanNews {
  None,
  BusOff,     // the controller has left the bus: it neither sends nor receives
  Restarted,  // it is back after that
};

struct DecodedCan {
  qor_sim::CanItem Item;
  CanNews News = CanNews::None;
};

/// @param frame        a struct can_frame or canfd_frame of the kernel; the length tells which
/// @param time         ns since 1970
/// @param transmitted  a program on this machine has sent it
/// @return nothing for bytes that are neither, or that contradict themselves
///
/// - A remote frame has no data and keeps its data length code.
/// - An error frame has the identifier 0 and its kind as the only byte; one that reports a lost frame in the controller carries the
///   overrun mark as well.
/// - A CAN FD frame whose length no code stands for has the code of the next longer one.
std::optional<DecodedCan> DecodeCanFrame(std::span<const unsigned char> frame, uint64_t time, bool transmitted);

}  // namespace qor_linux
