// How much a disk still takes.
#ifndef QOR_TRACE_DISKSPACE_H
#define QOR_TRACE_DISKSPACE_H

#include <string>

namespace client {

/// Bytes that the file system of a folder has left for this user; the greatest number where that isn't known.
unsigned long FreeSpace(const std::string& folder);

/// Bytes by which the largest file of a folder can still grow: what its file system has left, but not beyond the limit on the
/// size of files that the process has (ulimit -f).
unsigned long RoomToGrow(const std::string& folder);

}  // namespace client

#endif  // QOR_TRACE_DISKSPACE_H
