// The arguments that say what to write, and how.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "commands/SeriesArguments.h"
#include "commands/TimeArguments.h"
#include "outputs/Outputs.h"

namespace client {

class Command;

/// As typed.
struct OutputArguments {
  std::vector<std::string> Outputs;
  bool AscLive = false;
  bool AscDecimal = false;
  bool AscRelative = false;
  std::string AscSplit;
  std::optional<int> AscDecimals;
  std::string MdfSplit;
  std::string MinFree = "64M";
  std::string Sync;
  CaptureOptions Capture;
  std::string StandardFormat;  // of the output -
  SeriesArguments Series;
  bool Json = false;
  TimeArguments Times;
  std::string Title;
  bool Strict = false;  // what an output can't hold is a loss

  /// What every command that writes outputs takes.
  void AddTo(Command& command);
  /// What only a running recording can give.
  void AddRecordingTo(Command& command);

  /// @param folder  that relative names are meant in
  /// Failure: UsageError, as PlanOutputs; also for binary that would go to a terminal, or beside a JSON summary.
  [[nodiscard]] OutputPlan Plan(const std::filesystem::path& folder = std::filesystem::current_path()) const;
  /// Standard output gets events of the schema in docs/events.md, the summary being the last one.
  [[nodiscard]] bool PrintsEvents(const OutputPlan& plan) const;
};

}  // namespace client
