// One line of candump text, as the parts of a record.
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "inputs/LineFault.h"
#include "inputs/MadeRecord.h"

namespace client {

struct CandumpFrame {
  unsigned long Time = 0;           // ns, as in the line
  std::string_view Interface = {};  // of the line that was read
  CanParts Can = {};
};

/// Room for the data of any frame.
using CanBytes = std::span<unsigned char, 64>;

/// Reads "(1398128223.803317) can0 123#0102030405060708", in all its forms; the frame's data lie in `room`.
/// @param line  not blank
[[nodiscard]] std::optional<LineFault> ReadCandumpLine(std::string_view text, CanBytes room, CandumpFrame& frame);

}  // namespace client
