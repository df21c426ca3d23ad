// Files that are put on the disk while they are being written.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "system/Mutex.h"
#include "system/WrittenFile.h"

namespace client {

/// Puts the names in a folder on the disk: of new, renamed and removed files.
/// @return 0, or errno
[[nodiscard]] int SynchronizeFolder(const std::string& folder);

/// Puts files on the disk on a thread of its own: a disk that takes seconds for it holds up nobody who records.
///
/// Threads: one.
class DiskSync {
 public:
  using Files = std::vector<WrittenFile>;  // of one output

  /// How a round ended.
  struct Result {
    std::vector<int> Errors;  // of each output, errno of the first of its files that isn't on the disk; 0: all are
    std::chrono::steady_clock::time_point End;
  };

  /// Failure: std::system_error.
  DiskSync();
  /// Waits for the round that is under way.
  ~DiskSync();
  DiskSync(const DiskSync&) = delete;
  DiskSync& operator=(const DiskSync&) = delete;

  /// Begins a round: what has been written to these files by now is put on the disk, and then their names. The result of the
  /// round before must have been taken.
  void Begin(std::vector<Files> outputs);
  /// The result of the latest round, once. Nothing while it is under way, or without one.
  [[nodiscard]] std::optional<Result> TakeResult();
  /// The same, after waiting for it.
  [[nodiscard]] std::optional<Result> WaitForResult();

 private:
  struct Round {
    std::vector<Files> Outputs;
    std::map<std::string, int> Folders;  // and the errno of each
    Result Outcome;
  };

  void Run();
  static void Synchronize(Round& round);
  void WaitForChange() REQUIRES(Guard);

  Mutex Guard;  // nests in nothing
  Condition Changed;
  std::optional<Round> Begun GUARDED_BY(Guard);  // until the thread has taken it
  bool UnderWay GUARDED_BY(Guard) = false;
  std::optional<Result> Ended GUARDED_BY(Guard);
  bool Over GUARDED_BY(Guard) = false;
  std::thread Thread;
};

}  // namespace client
