// Where the swap file of a recording lies.
#pragma once

#include <string>
#include <vector>

#include "system/Descriptor.h"
#include "system/Signals.h"

namespace client {

/// A folder of its own for the swap file, which the monitor puts into the working directory: made, entered, and at the
/// end left and removed with everything in it. Nobody else can read it. It is locked, so that a later start knows whether
/// its process is gone.
class SwapFolder {
 public:
  /// Removes empty folders that crashes have left in `parent`.
  ///
  /// @param parent           existing folder that no other user can meddle with
  /// @param tellOfLeftOvers  say which of those folders hold entries
  /// Failure: Failure when `parent` can't be trusted, or no folder can be made there.
  explicit SwapFolder(const std::string& parent, bool tellOfLeftOvers = true);
  ~SwapFolder();
  SwapFolder(const SwapFolder&) = delete;
  SwapFolder& operator=(const SwapFolder&) = delete;

  [[nodiscard]] const std::string& Path() const { return Folder; }

 private:
  std::string Folder;
  Descriptor Locked;   // the folder
  std::string Before;  // the working directory until then
};

/// Looks for this user's swap folders in `parent` whose processes are gone. Those without entries are removed.
/// @return the swap files of the others
std::vector<std::string> ClearLeftOverSwapFolders(const std::string& parent);

/// When a later signal or an error on a library thread ends the process, the folder stays, and is named, if entries were
/// swapped: they may be nowhere else.
void LeaveAtOnce(const SwapFolder& folder, Signals& signals);

}  // namespace client
