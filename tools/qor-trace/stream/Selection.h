// What of a stream somebody wants: a part of its time, the records that an expression matches, so many of them, under other
// channel numbers.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "stream/ChannelNumbers.h"
#include "stream/CountLimit.h"
#include "stream/Description.h"
#include "stream/Filter.h"
#include "stream/FilterSink.h"
#include "stream/RecordSink.h"
#include "stream/Renumber.h"
#include "stream/TimeCut.h"

namespace client {

/// Applied in this order: the expression sees the channels' own numbers.
struct SelectionPlan {
  TimeBounds Times = {};
  std::optional<Filter> Wanted = std::nullopt;
  std::optional<unsigned long> Count = std::nullopt;  // of the records that passed; at least 1
  ChannelNumbers Channels = {};

  /// True if every record passes as it is.
  [[nodiscard]] bool IsEverything() const { return !Times.From && !Times.To && !Wanted && !Count && Channels.empty(); }
};

/// Hands on the selected records.
class Selection : public RecordSink {
 public:
  /// @param next  outlives this
  Selection(RecordSink& next, const SelectionPlan& plan)
      : Renumbered(next, plan.Channels),
        Counted(Renumbered, plan.Count),
        Filtered(Counted, plan.Wanted),
        Cut(Filtered, plan.Times) {}

  /// Failure: as Renumber.
  [[nodiscard]] bool Take(const RecordView& record) override { return Cut.Take(record); }
  void Pause() override { Cut.Pause(); }

  /// Says when the stream begins, before its first record is taken.
  /// @param times  of the records, if bounds are in UTC
  void BeginAt(unsigned long time, const TimeBase& times = kUnknownTimes) { Cut.BeginAt(time, times); }
  /// The losses that concern what is selected, as far as that is known by now; channels keep their numbers. An expression leaves
  /// none out: what was lost might have matched.
  [[nodiscard]] std::vector<Loss> Concerned(const std::vector<Loss>& losses) const;

  /// Why the selection has ended the stream: "count" or "to"; null if it hasn't.
  [[nodiscard]] const char* EndedBy() const;
  /// Something was lost after a record that the expression doesn't match.
  [[nodiscard]] bool Lossy() const { return Filtered.UnmatchedLosses().Count > 0; }

  /// What was left out, closed by a newline; empty if nothing was.
  [[nodiscard]] std::string Text() const;
  [[nodiscard]] nlohmann::json Json() const;

 private:
  Renumber Renumbered;
  CountLimit Counted;
  FilterSink Filtered;
  TimeCut Cut;
};

}  // namespace client
