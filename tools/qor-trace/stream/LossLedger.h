// What is missing of a recording: each loss at its place.
#pragma once

#include <cstddef>
#include <map>
#include <utility>
#include <vector>

#include "stream/Description.h"

namespace client {

/// The losses of a recording, in bounded memory.
///
/// A loss that touches another one of its channel and cause is part of it: nothing came through between them. Entries that came
/// too late (Reordering) are one loss if they lie within a second of each other. An overrun mark within a loss that is known
/// by its mark is that loss, not another one.
///
/// Where there would be more than kMost, the two neighbours of a channel and cause become one that have the least time between them:
/// the ledger gets coarser, but it still has every item, and no time without a loss is longer than it was.
///
/// Threads: one. Memory: kMost losses, or one for each channel and cause if these are more.
class LossLedger {
 public:
  static constexpr size_t kMost = 1000;
  static constexpr unsigned long kOneBurst = 1'000'000'000;  // ns between entries that came too late together

  LossLedger() = default;
  /// @param losses  in any order
  explicit LossLedger(const std::vector<Loss>& losses) { Append(losses); }

  void Add(const Loss& loss);
  void Append(const std::vector<Loss>& losses);

  /// By their first times, those of the same one by channel.
  [[nodiscard]] std::vector<Loss> All() const;
  [[nodiscard]] size_t Size() const { return Count; }
  /// Another number after each change.
  [[nodiscard]] unsigned long Changes() const { return ChangeCount; }

 private:
  using Row = std::vector<Loss>;  // by time; none touches another

  static void Insert(Row& row, const Loss& loss);
  [[nodiscard]] bool MergeNearest();

  std::map<std::pair<unsigned int, LossCause>, Row> Rows;  // by channel and cause
  size_t Count = 0;                                        // in all rows
  unsigned long ChangeCount = 0;
};

}  // namespace client
