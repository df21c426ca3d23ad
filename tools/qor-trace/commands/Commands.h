// The subcommands: each adds its arguments to the command line and does its work when it was chosen.
#pragma once

#include "commands/Command.h"

namespace client {

/// @param chosen  set to what the command does when it was chosen
void AddRecordCommand(CLI::App& program, Action& chosen);
void AddConvertCommand(CLI::App& program, Action& chosen);
void AddListCommand(CLI::App& program, Action& chosen);
void AddCheckCommand(CLI::App& program, Action& chosen);
void AddCompareCommand(CLI::App& program, Action& chosen);
void AddRecoverCommand(CLI::App& program, Action& chosen);
void AddInfoCommand(CLI::App& program, Action& chosen);
void AddReportCommand(CLI::App& program, Action& chosen);
void AddPortsCommand(CLI::App& program, Action& chosen);
void AddExtcapCommand(CLI::App& program, Action& chosen);
void AddWatchCommand(CLI::App& program, Action& chosen);

}  // namespace client
