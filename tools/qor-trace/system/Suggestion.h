// What somebody meant who typed something else.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace client {

/// The candidate that is nearest to a word; nothing when none is near. A third of its letters may be wrong, one always.
[[nodiscard]] std::optional<std::string> Nearest(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace client
