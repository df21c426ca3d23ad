// The latest cycle times of a message.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

namespace client {

/// Keeps the last cycles, and what they have in common. Times in ns.
class CycleWindow {
 public:
  static constexpr size_t kMost = 32;

  void Add(unsigned long cycle) {
    Cycles[Taken % kMost] = cycle;
    ++Taken;
  }
  void Clear() { Taken = 0; }

  [[nodiscard]] size_t Size() const { return std::min(Taken, kMost); }
  /// Nothing without a cycle.
  [[nodiscard]] std::optional<unsigned long> Mean() const {
    if (Taken == 0) return std::nullopt;
    double sum = 0;
    for (size_t index = 0; index < Size(); ++index) sum += static_cast<double>(Cycles[index]);
    return static_cast<unsigned long>(sum / static_cast<double>(Size()));
  }
  [[nodiscard]] std::optional<unsigned long> Shortest() const {
    return Taken == 0 ? std::nullopt : std::optional(*std::min_element(Cycles.begin(), End()));
  }
  [[nodiscard]] std::optional<unsigned long> Longest() const {
    return Taken == 0 ? std::nullopt : std::optional(*std::max_element(Cycles.begin(), End()));
  }
  /// From the shortest to the longest; nothing without two cycles.
  [[nodiscard]] std::optional<unsigned long> Jitter() const {
    if (Taken < 2) return std::nullopt;
    const auto [shortest, longest] = std::minmax_element(Cycles.begin(), End());
    return *longest - *shortest;
  }

 private:
  [[nodiscard]] std::array<unsigned long, kMost>::const_iterator End() const {
    return Cycles.begin() + static_cast<std::ptrdiff_t>(Size());
  }

  std::array<unsigned long, kMost> Cycles{};
  size_t Taken = 0;
};

}  // namespace client
