// Locks by which processes see each other's files. The operating system drops them when their process ends, however it
// ends.
#pragma once

#include <string>

namespace client {

enum class LockState {
  Taken,    // by this call, until the descriptor and its copies are closed
  Held,     // by somebody else
  Unknown,  // the file system has no locks
};

/// Tries to lock an open file or folder; a file must be open for writing.
[[nodiscard]] LockState TryLock(int file);

/// Locks an open file, waiting for others, who only look at it for a moment. A file system without locks is no failure:
/// to others the file then looks abandoned, as it does when its process is gone.
void LockWithName(int file);

/// Is an open file locked by anyone else? Takes nothing.
[[nodiscard]] bool IsLocked(int file);

/// Who holds the lock that LockWithName took: "process 1234", or "another process" where the system doesn't say.
[[nodiscard]] std::string HolderOf(int file);

}  // namespace client
