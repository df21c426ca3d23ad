// Passes on what lies between two things that happen.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "stream/RecordSink.h"
#include "stream/SilentTime.h"
#include "stream/StreamCondition.h"

namespace client {

struct ConditionBounds {
  std::optional<StreamCondition> Start = std::nullopt;  // nothing: from the first record on
  std::optional<StreamCondition> Stop = std::nullopt;   // nothing: to the last one
};

/// Hands on the records from the one on with which the start happens, to the one with which the stop happens, both included; where
/// it happens between two records, from the next one on, and to the one before. The stop is looked for after the record of
/// the start, so the same condition may be both.
class ConditionCut : public RecordSink {
 public:
  /// @param next     outlives this
  /// @param silence  by which something can happen while nothing comes
  ConditionCut(RecordSink& next, ConditionBounds bounds, const LiveTiming& silence = {},
               SilentTime::Clock clock = std::chrono::steady_clock::now)
      : Next(next), Bounds(std::move(bounds)), Passing(silence, std::move(clock)) {}

  /// False with the record of the stop, and ever after.
  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override;

  /// Calls somebody at the start, before its record is handed on.
  void TellOfStart(std::function<void()> call) { Started = std::move(call); }
  /// All that are known by now; before the next record.
  void NoteLosses(const std::vector<Loss>& losses);

  [[nodiscard]] bool HasStarted() const { return !Bounds.Start || Begin; }
  [[nodiscard]] bool HasEnded() const { return End.has_value(); }
  /// The times that are inside, the second one excluded; nothing before the start.
  [[nodiscard]] std::optional<std::pair<unsigned long, unsigned long>> Inside() const;
  /// Records before the start.
  [[nodiscard]] unsigned long LeftOut() const { return Before; }

 private:
  [[nodiscard]] bool Starts(const RecordView& record);
  void StartAt(unsigned long time);
  void PassTo(unsigned long time);

  RecordSink& Next;
  ConditionBounds Bounds;
  SilentTime Passing;
  std::function<void()> Started;
  std::optional<unsigned long> Begin;  // ns, of the start
  std::optional<unsigned long> End;    // ns, of the stop: the first time that isn't inside
  unsigned long Before = 0;
};

}  // namespace client
