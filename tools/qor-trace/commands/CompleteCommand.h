// qor-trace complete: what the completions of the shells call. It is not in the help.
#pragma once

#include <functional>

#include "commands/Command.h"
#include "commands/Completion.h"

namespace client {

constexpr const char* kCompleteCommand = "complete";

/// @param offered  gives what the program offers once all commands have been added
void AddCompleteCommand(CLI::App& program, Action& chosen, std::function<OfferedProgram()> offered);

}  // namespace client
