// What a command says at the end, and its exit code.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "commands/OutputArguments.h"
#include "outputs/OutputSet.h"
#include "stream/Description.h"
#include "stream/Selection.h"
#include "views/Summary.h"

namespace client {

/// Names the channels of a summary by their sources, and adds what they lost.
void TakeChannels(const Description& description, Summary& summary);

/// ns for which entries of this many sources are held back to be put in order; 0 for one, whose entries are in order.
[[nodiscard]] unsigned long OrderingWindow(size_t sources);

/// What the JSON summary of every command has.
[[nodiscard]] nlohmann::json SummaryJson(const std::string& command, const Summary& summary, const Selection& selected,
                                         const Description& description);

/// Closes a command: says what was done, prints the JSON summary if that was asked for.
///
/// @param description  of what was recorded or read
/// @param more          JSON fields of this command
/// @param printsEvents  the summary is the last of the events
/// @return      the exit code: 1 after an error; 3 when some of the input was lost, if strict also when an output can't hold
///              something
[[nodiscard]] int Conclude(const std::string& command, const Summary& summary, const Selection& selected,
                           const OutputSet& outputs, const OutputArguments& asked, const Description& description,
                           const nlohmann::json& more, bool printsEvents = false);

}  // namespace client
