// The arguments that every recording subcommand takes.
#ifndef QOR_TRACE_RECORDINGARGUMENTS_H
#define QOR_TRACE_RECORDINGARGUMENTS_H

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "recording/Recorder.h"

namespace client {

/// As typed.
struct RecordingArguments {
  std::vector<std::string> Sources;
  std::string Speed;
  std::string Duration;
  std::string SwapFolder;
  std::optional<unsigned int> MemoryLimit;

  void AddTo(CLI::App& command);

  /// @param defaultSwapFolder  for the swap file, unless another was given
  /// Failure: UsageError.
  RecordingOptions Options(const std::string& defaultSwapFolder) const;

  /// Failure: as PlanSources.
  std::vector<Source> Plan() const;
};

/// What is to be known about sources, for the end of help texts.
extern const char* const SourceHelp;

}  // namespace client

#endif  // QOR_TRACE_RECORDINGARGUMENTS_H
