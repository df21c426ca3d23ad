// What a command says in the end, and its exit code.
#ifndef QOR_TRACE_CONCLUSION_H
#define QOR_TRACE_CONCLUSION_H

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "outputs/OutputSet.h"
#include "recording/Recorder.h"
#include "views/Summary.h"

namespace client {

/// Adds to a summary what a recording knows of its channels: their sources, and what they lost.
void TakeChannels(const Recorder& recorder, Summary& summary);

/// Closes a command: says what was done, prints the JSON summary if that was asked for.
/// @param more  JSON fields of this command
/// @return      the exit code
int Conclude(const std::string& command, const Summary& summary, const OutputSet& outputs, bool json,
             const nlohmann::json& more);

}  // namespace client

#endif  // QOR_TRACE_CONCLUSION_H
