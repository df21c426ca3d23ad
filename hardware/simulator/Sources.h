// From a source text to a port: the kinds of sources, and the options that each takes.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Clock.h"
#include "Port.h"

namespace qor_sim {

/// Makes the port that a source text describes.
///
/// @param instance  monitor instance id, unless the source names its own
/// Failure: Error QOR_SIM_ERROR_SOURCE, or _FILE for what is wrong with its file.
std::shared_ptr<Port> MakePort(std::string_view text, unsigned char instance, Clock& clock);

/// The sources of one bus each that a source text stands for. Failure: Error QOR_SIM_ERROR_SOURCE, or _FILE for what is wrong with its file.
std::vector<std::string> ExpandSource(std::string_view text);

}  // namespace qor_sim
