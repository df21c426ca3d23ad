// Hexadecimal digits, as recordings write data.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace qor_sim {

std::optional<unsigned char> HexDigit(char c);

/// Reads whole bytes, two digits each, without blanks between them.
/// @return how many there are.
/// Failure: Error QOR_SIM_ERROR_SOURCE with the reason: half a byte, more than `data` has room for, no digit.
size_t ParseHexData(std::string_view digits, std::span<unsigned char> data);

}  // namespace qor_sim
