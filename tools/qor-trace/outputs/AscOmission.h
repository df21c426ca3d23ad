// What an ASC log has no line for.
#pragma once

#include <cstddef>
#include <iterator>

namespace client {

/// Why a record has no line that says what it holds.
enum class AscOmission {
  Ethernet,   // no frame
  Malformed,  // cut short, or of an unknown bus, kind or length
};

/// In the order of AscOmission.
inline constexpr const char* kAscOmissions[] = {"Ethernet entries that are no frames", "malformed entries"};
static_assert(std::size(kAscOmissions) == static_cast<size_t>(AscOmission::Malformed) + 1);

inline constexpr const char* kWhyOmittedFromAsc = "the format has no line for them";

}  // namespace client
