// A named pipe that another program reads.
#pragma once

#include <string>

#include "system/Descriptor.h"
#include "system/Signals.h"

namespace client {

/// Opens a named pipe for writing, once somebody has opened it for reading.
/// @return not open when a stop was requested before that
/// Failure: Failure when it can't be opened, or isn't a named pipe.
[[nodiscard]] Descriptor OpenFifo(const std::string& path, Signals& signals);

}  // namespace client
