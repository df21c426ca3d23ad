// Who writes a file, and where.
#pragma once

#include <string>

namespace client {

/// "qor-trace 1.2.3"
std::string ToolName();

/// Of this machine; empty where the system doesn't say.
std::string HostName();
/// "Linux 6.1.0"
std::string SystemName();
/// "x86_64"
std::string MachineName();

}  // namespace client
