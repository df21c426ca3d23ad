// Passes on what an expression matches.
#pragma once

#include <algorithm>
#include <optional>
#include <utility>

#include "stream/Filter.h"
#include "stream/RecordSink.h"

namespace client {

/// Hands on the records that an expression matches. Counts the others, and of these the last records before a loss: what was
/// lost after them might have matched.
class FilterSink : public RecordSink {
 public:
  struct Losses {
    unsigned long Count = 0;  // overrun marks
    unsigned long First = 0;  // ns, time of the first one
    unsigned long Last = 0;
  };

  /// @param next    outlives this
  /// @param wanted  nothing: every record
  FilterSink(RecordSink& next, std::optional<Filter> wanted) : Next(next), Wanted(std::move(wanted)) {}

  [[nodiscard]] bool Take(const RecordView& record) override {
    if (!Wanted || Wanted->Matches(record)) return Next.Take(record);
    ++Count;
    if (record.HasOverrunMark()) NoteLoss(record.Timestamp());
    return true;
  }
  void Pause() override { Next.Pause(); }

  [[nodiscard]] unsigned long Unmatched() const { return Count; }
  [[nodiscard]] const Losses& UnmatchedLosses() const { return Lost; }

 private:
  void NoteLoss(unsigned long time) {
    Lost.First = Lost.Count == 0 ? time : std::min(Lost.First, time);
    Lost.Last = std::max(Lost.Last, time);
    ++Lost.Count;
  }

  RecordSink& Next;
  const std::optional<Filter> Wanted;
  unsigned long Count = 0;
  Losses Lost;
};

}  // namespace client
