// The arguments that say what to write, and how.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "commands/TimeArguments.h"
#include "outputs/Outputs.h"

namespace client {

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
  CaptureOptions Capture;
  std::string StandardFormat;  // of the output -
  bool Json = false;
  TimeArguments Times;
  std::string Title;
  bool Strict = false;  // what an output can't hold is a loss

  /// What every command that writes outputs takes.
  void AddTo(CLI::App& command);
  /// What only a running recording can give.
  void AddRecordingTo(CLI::App& command);

  /// Failure: UsageError, as PlanOutputs; also for binary that would go to a terminal, or beside a JSON summary.
  [[nodiscard]] OutputPlan Plan() const;
};

}  // namespace client
