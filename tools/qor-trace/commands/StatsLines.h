// --stats: a line each interval of a recording.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "stream/RecordSink.h"
#include "system/Pace.h"
#include "views/IntervalStats.h"

namespace client {

class Command;

/// As typed.
struct StatsArguments {
  std::string Interval;

  void AddTo(Command& command);
  /// ns; nothing if none was given.
  /// Failure: UsageError.
  [[nodiscard]] std::optional<unsigned long> Plan() const;
};

/// Counts what passes, and says it once in each interval of real time: as an event on standard output, or in words on standard error.
/// Without an interval it does nothing.
///
/// Threads: one.
class StatsLines : public RecordSink {
 public:
  /// What is known of the recording by now.
  struct State {
    MachineState Machine;
    std::vector<Loss> Losses;
  };

  /// @param interval  ns
  StatsLines(std::optional<unsigned long> interval, const BitRates& rates, bool json);

  /// From now on.
  /// @param ask  called for each line
  void Begin(std::function<State()> ask);

  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override;
  /// Says what is left, once all is known: the lines add up to the summary.
  void Finish();

 private:
  void TellIfDue();
  void Tell();

  const std::optional<unsigned long> Interval;
  const bool Json;
  std::function<State()> Ask;
  std::chrono::steady_clock::time_point Begun;
  Pace Due;
  IntervalStats Stats;
  unsigned long Records = 0;
};

}  // namespace client
