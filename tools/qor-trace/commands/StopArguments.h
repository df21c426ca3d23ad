// How much of a stream is enough, as typed.
#pragma once

#include <string>
#include <vector>

#include "stream/StreamLimit.h"

namespace client {

/// "10000frames", "500entries", "500MB", "90s": a number never stands alone, and sizes end in B, so that none of them is taken for
/// another.
/// @param typed  each a limit of another kind
/// Failure: UsageError that says what would be understood.
[[nodiscard]] StopLimits StopLimitsOf(const std::vector<std::string>& typed);

}  // namespace client
