#include "system/Suggestion.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace client {

namespace {

/// Letters to insert, remove or replace to turn one into the other.
size_t Distance(std::string_view one, std::string_view other) {
  std::vector<size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < one.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i + 1);
    for (size_t j = 0; j < other.size(); ++j) {
      const size_t replaced = diagonal + (one[i] == other[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

}  // namespace

std::optional<std::string> Nearest(std::string_view word, const std::vector<std::string>& candidates) {
  std::optional<std::string> nearest;
  size_t least = std::max<size_t>(word.size() / 3, 1) + 1;
  for (const std::string& candidate : candidates) {
    const size_t distance = Distance(word, candidate);
    if (distance >= least) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace client
