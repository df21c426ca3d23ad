// How much a disk still takes.
#pragma once

#include <string>

namespace client {

/// Bytes that the file system of a folder has left for this user; the greatest number where that isn't known.
[[nodiscard]] unsigned long FreeSpace(const std::string& folder);

/// Bytes by which the largest file of a folder can still grow: what its file system has left, but not beyond the limit on the
/// size of files that the process has (ulimit -f).
[[nodiscard]] unsigned long RoomToGrow(const std::string& folder);

}  // namespace client
