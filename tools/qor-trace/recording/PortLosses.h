// Where the items are missing that found a capture buffer full, from what its port tells at each look.
#pragma once

#include <algorithm>
#include <optional>
#include <utility>

namespace client {

/// Items that were lost between two looks.
struct LostItems {
  unsigned long Begin = 0;  // time of the loss, ns
  unsigned long End = 0;
  unsigned long Count = 0;
};

/// Follows one port.
class PortLosses {
 public:
  /// What was lost since the last look, if anything. Losses of looks one after the other touch and so are one loss. Another one
  /// begins after the entries that had come by the last look, since the port drops what is newest.
  ///
  /// @param count   items lost so far
  /// @param first   time of the first of them, ns
  /// @param last    time of the latest of them, ns
  /// @param latest  greatest time of the entries that have come so far, ns
  [[nodiscard]] std::optional<LostItems> Look(unsigned long count, unsigned long first, unsigned long last,
                                              unsigned long latest) {
    const unsigned long cameBefore = std::exchange(Latest, latest);
    const bool wasLosing = std::exchange(IsLosing, count != Count);
    if (!IsLosing) return std::nullopt;
    unsigned long begin = wasLosing ? Last : std::max(Last, cameBefore);
    if (Count == 0) begin = first;
    const unsigned long added = count - std::exchange(Count, count);
    Last = last;
    return LostItems{begin, std::max(begin, last), added};
  }

 private:
  bool IsLosing = false;  // the last look found a loss
  unsigned long Count = 0;
  unsigned long Last = 0;    // ns
  unsigned long Latest = 0;  // entry's time at the last look, ns
};

}  // namespace client
