// What happens while a command runs, for programs: one line of JSON each.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace client {

/// Prints a line on standard output: the event with its name, and which schema it follows. docs/events.md has the fields.
/// What can't be written there is said as an error: a recording doesn't end for it.
void PrintEvent(const std::string& event, nlohmann::json fields);

}  // namespace client
