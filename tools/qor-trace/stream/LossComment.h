// A loss as a line of text among others, in the seconds of these.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "stream/Description.h"

namespace client {

/// "LOST on CAN 1: 311 items found the capture buffer full, 1.500000000 s to 1.612000000 s"
/// @param bus   "CAN", "LIN", "FlexRay", "Ethernet"; one word
/// @param loss  times in ns, counted as those of the lines around it
[[nodiscard]] std::string LossComment(std::string_view bus, const Loss& loss);

/// Reads such a line; nothing for another text.
[[nodiscard]] std::optional<Loss> LossFromComment(std::string_view text);

}  // namespace client
