// The arguments that every recording subcommand takes.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "recording/Recorder.h"

namespace client {

class Command;

/// As typed.
struct RecordingArguments {
  std::vector<std::string> Sources;
  std::string Speed;
  std::string Duration;
  std::string SwapFolder;
  std::optional<unsigned int> MemoryLimit;
  bool Progress = false;  // also without a terminal

  void AddTo(Command& command);

  /// @param defaultSwapFolder  for the swap file, unless another was given
  /// Failure: UsageError.
  [[nodiscard]] RecordingOptions Options(const std::string& defaultSwapFolder) const;

  /// The duration, ns; nothing when none was given.
  /// Failure: UsageError.
  [[nodiscard]] std::optional<unsigned long> TraceTime() const;

  /// @param strict  a line of a text recording that can't be read refuses the file, instead of being left out
  /// Failure: as PlanSources.
  [[nodiscard]] std::vector<Source> Plan(bool strict) const;
};

/// What a user has to know about sources, for the end of help texts.
extern const char* const kSourceHelp;

}  // namespace client
