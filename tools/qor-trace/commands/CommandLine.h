// The command line as a whole: which command, its help, and what is wrong with it.
#pragma once

#include <string>
#include <vector>

#include "system/Signals.h"

namespace client {

/// Does what the command line asks for. Help and version go to standard output, errors to standard error as one sentence: what is
/// wrong, and what to do.
///
/// @param arguments  without the program's name
/// @param version    "qor-trace 1.2.3"
/// @return           the exit code
[[nodiscard]] int RunCommandLine(std::vector<std::string> arguments, const std::string& version, Signals& signals);

}  // namespace client
