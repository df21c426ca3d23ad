// From a recording to outputs: what convert and recover have in common.
#pragma once

#include <string>
#include <vector>

#include "commands/BitRateArguments.h"
#include "commands/BlackBoxArguments.h"
#include "commands/OutputArguments.h"
#include "commands/StreamArguments.h"
#include "inputs/Reader.h"
#include "outputs/Outputs.h"
#include "system/Signals.h"

namespace client {

/// As typed.
struct ConvertArguments {
  std::vector<std::string> Inputs;  // what is read
  BitRateArguments BitRates;
  OutputArguments Output;
  StreamArguments Stream;
  BlackBoxArguments Box;
  bool Progress = false;  // also without a terminal

  /// All but the inputs, which each command has its own words for.
  void AddTo(Command& command);
};

/// What is to be written, before anything is opened.
/// Failure: UsageError when an argument makes no sense.
[[nodiscard]] OutputPlan PlanOf(const ConvertArguments& arguments);

/// Writes the outputs from what a reader gives, and says what was done.
/// @param command  its name
/// @return         the exit code
/// Failure: Failure when there is no record; then nothing is made.
[[nodiscard]] int Convert(const std::string& command, Reader& reader, const ConvertArguments& arguments,
                          Signals& signals);

}  // namespace client
