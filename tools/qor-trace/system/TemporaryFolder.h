// Where large files go that nobody asked for by name.
#pragma once

#include <string>

namespace client {

/// What the environment variable TMPDIR names, else "/var/tmp", which is on a disk where "/tmp" may be in memory.
[[nodiscard]] std::string TemporaryFolder();

}  // namespace client
