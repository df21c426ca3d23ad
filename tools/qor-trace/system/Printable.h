// Text from elsewhere, made fit for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace client {

/// Shows what would steer a terminal instead of sending it: "\x1b[31m", "\n". Control characters, those of Unicode that
/// change the direction or the line, and bytes that are not UTF-8 are written as escapes; all else stays.
///
/// @param kept  control characters that are meant
[[nodiscard]] std::string Printable(std::string_view text, std::string_view kept = "");

}  // namespace client
