// Which CAN frames a port wants, as typed, for the kernel.
#pragma once

#include <linux/can.h>

#include <string_view>
#include <vector>

namespace qor_linux {

/// ID, ID:MASK or ID~MASK, joined by commas: "100", "100:7F0", "18FEF100:1FFFFFFF", "700~700". Hexadecimal; up to three digits are a
/// standard identifier, eight an extended one. A frame is wanted when its identifier has the bits of ID where MASK has
/// ones, or with ~ when it has not. One of several is enough. Data and remote frames alike; error frames always come.
///
/// Failure: qor_sim::Error QOR_SIM_ERROR_SOURCE.
std::vector<can_filter> ParseCanFilters(std::string_view text);

}  // namespace qor_linux
