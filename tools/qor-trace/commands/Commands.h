// The subcommands: each adds its arguments to the command line and does its work when it was chosen.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "system/Signals.h"

namespace client {

/// What a chosen subcommand does. Returns the exit code; throws Failure.
using Action = std::function<int(Signals&)>;

/// @param action  set when the subcommand is chosen
void AddRecordCommand(CLI::App& app, Action& action);
void AddConvertCommand(CLI::App& app, Action& action);
void AddListCommand(CLI::App& app, Action& action);
void AddCheckCommand(CLI::App& app, Action& action);
void AddCompareCommand(CLI::App& app, Action& action);
void AddRecoverCommand(CLI::App& app, Action& action);
void AddInfoCommand(CLI::App& app, Action& action);
void AddPortsCommand(CLI::App& app, Action& action);

}  // namespace client
