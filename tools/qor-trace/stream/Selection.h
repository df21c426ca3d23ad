// What of a stream somebody wants: a part of its time, from one thing that happens to another, the records that an expression
// matches, so many of them, under other channel numbers.
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "stream/ChannelNumbers.h"
#include "stream/ConditionCut.h"
#include "stream/Description.h"
#include "stream/Filter.h"
#include "stream/FilterSink.h"
#include "stream/RecordSink.h"
#include "stream/Renumber.h"
#include "stream/StreamLimit.h"
#include "stream/TimeCut.h"
#include "stream/TriggerSink.h"

namespace client {

/// Applied in this order: expressions see the channels' own numbers, and what starts or stops needn't be wanted itself.
struct SelectionPlan {
  TimeBounds Times = {};
  ConditionBounds Between = {};
  std::vector<Trigger> Triggers = {};  // see everything between these
  ManualTrigger* Button = nullptr;     // outlives the selection; null: none
  std::optional<Filter> Wanted = std::nullopt;
  std::optional<unsigned long> Count = std::nullopt;  // of the records that passed; at least 1
  StopLimits Stop = {};                               // likewise
  ChannelNumbers Channels = {};
  LiveTiming Silent = {};  // of the stream: by which something can happen while nothing comes

  /// True if every record passes as it is.
  [[nodiscard]] bool IsEverything() const {
    return !Times.From && !Times.To && !Between.Start && !Between.Stop && !Wanted && !Count && !Stop.Any() &&
           Channels.empty();
  }
  /// Count is short for one of them.
  [[nodiscard]] StopLimits Limits() const;
};

/// Hands on the selected records.
class Selection : public RecordSink {
 public:
  /// @param next  outlives this
  Selection(RecordSink& next, const SelectionPlan& plan)
      : Renumbered(next, plan.Channels),
        Limited(Renumbered, plan.Limits()),
        Filtered(Limited, plan.Wanted),
        Triggered(Filtered, plan.Triggers, plan.Silent, plan.Button),
        Between(Triggered, plan.Between, plan.Silent),
        Cut(Between, plan.Times) {}

  /// Failure: as Renumber.
  [[nodiscard]] bool Take(const RecordView& record) override { return Cut.Take(record); }
  void Pause() override { Cut.Pause(); }

  /// Says when the stream begins, before its first record is taken.
  /// @param times  of the records, if bounds are in UTC
  void BeginAt(unsigned long time, const TimeBase& times = kUnknownTimes) { Cut.BeginAt(time, times); }
  /// What of the recording is known to be missing by now, all of it; before the next record. Something may happen by it.
  void NoteLosses(const std::vector<Loss>& losses) {
    Between.NoteLosses(losses);
    Triggered.NoteLosses(losses);
  }
  /// Calls somebody at each trigger: see TriggerSink.
  void CallAtTriggers(TriggerSink::Call call) { Triggered.CallAt(std::move(call)); }
  /// Says how many of the selected records a black box behind this has left out.
  void NoteBetweenIncidents(unsigned long count) { BetweenIncidents = count; }
  /// Calls somebody when a condition has started what is selected, before its first record is handed on: from then on losses
  /// are concerned.
  void TellOfStart(std::function<void()> call) { Between.TellOfStart(std::move(call)); }
  /// The losses that concern what is selected, as far as that is known by now; channels keep their numbers. An expression leaves
  /// none out: what was lost might have matched.
  [[nodiscard]] std::vector<Loss> Concerned(const std::vector<Loss>& losses) const;

  /// Why the selection has ended the stream: "count", "stop_after", "stop_on" or "to"; null if it hasn't. It may end in a pause.
  [[nodiscard]] const char* EndedBy() const;
  /// Something was lost after a record that the expression doesn't match.
  [[nodiscard]] bool Lossy() const { return Filtered.UnmatchedLosses().Count > 0; }

  /// What was left out, closed by a newline; empty if nothing was.
  [[nodiscard]] std::string Text() const;
  [[nodiscard]] nlohmann::json Json() const;

 private:
  Renumber Renumbered;
  StreamLimit Limited;
  FilterSink Filtered;
  TriggerSink Triggered;
  ConditionCut Between;
  TimeCut Cut;
  std::optional<unsigned long> BetweenIncidents;
};

}  // namespace client
