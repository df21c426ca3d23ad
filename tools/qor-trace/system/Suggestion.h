// What somebody meant who typed something else.
#ifndef QOR_TRACE_SUGGESTION_H
#define QOR_TRACE_SUGGESTION_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace client {

/// The candidate that is nearest to a word; nothing when none is near. A third of its letters may be wrong, one always.
std::optional<std::string> Nearest(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace client

#endif  // QOR_TRACE_SUGGESTION_H
