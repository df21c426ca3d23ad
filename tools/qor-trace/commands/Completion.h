// What can stand at the end of a command line that is being typed, for the shells that offer it.
#pragma once

#include <string>
#include <vector>

#include "commands/CompletedValues.h"

namespace client {

/// An option, or an argument without a name, as the help has it.
struct OfferedOption {
  std::vector<std::string> Names;  // "--output", "-o"; of an argument: "SOURCE"
  std::string Help;
  bool IsArgument = false;
  bool TakesValue = false;
  bool IsRepeatable = false;
};

struct OfferedCommand {
  std::string Name;
  std::string Purpose;
  std::vector<OfferedOption> Options;
};

struct OfferedProgram {
  std::vector<OfferedOption> Options;  // that stand before the command
  std::vector<OfferedCommand> Commands;
};

/// @param words  of the command line up to the cursor, without the program's name. The last one is being typed and may be empty
[[nodiscard]] Completion Complete(const OfferedProgram& program, const std::vector<std::string>& words,
                                  const PortNames& ports);

}  // namespace client
