// A loss as a line of text, in formats that have only comments for it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "stream/Description.h"

namespace client {

/// "LOST: 311 items found the capture buffer full, 2026-11-21T12:00:01.500000Z to 2026-11-21T12:00:01.612000Z"
/// @param count  nothing where it isn't known
/// @param first  ns since 1970, likewise last
[[nodiscard]] std::string LossText(LossCause cause, std::optional<unsigned long> count, unsigned long first,
                                   unsigned long last);

/// Reads such a line. The text has whole microseconds: its first time is rounded down and its last time up, so nothing is
/// missing outside of them.
/// @return the loss, times since 1970, of no channel in particular; nothing for another text
[[nodiscard]] std::optional<Loss> LossFromText(std::string_view line);

}  // namespace client
