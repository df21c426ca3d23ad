// When the files of outputs are put on the disk, and how long that took.
#pragma once

#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "system/DiskSync.h"
#include "system/Pace.h"

namespace client {

/// Has the files of outputs put on the disk every so often, one round after the other: a disk that can't keep up makes rounds
/// rarer, which is measured.
///
/// Threads: one, and one of its own.
class OutputSync {
 public:
  /// Failure: std::system_error.
  explicit OutputSync(std::chrono::nanoseconds interval);

  /// Is it time for a round? Never while one is under way.
  [[nodiscard]] bool IsDue() { return !UnderWay && Rounds.IsDue(); }
  /// Begins one; see DiskSync.
  void Begin(std::vector<DiskSync::Files> outputs);
  /// The errors of a round that has ended since the last call: see DiskSync::Result. Empty without one.
  [[nodiscard]] std::vector<int> Errors() { return Heed(Disk.TakeResult()); }
  /// The same, after waiting for it.
  [[nodiscard]] std::vector<int> LastErrors() { return Heed(Disk.WaitForResult()); }

  /// A line if the disk was slow; empty otherwise.
  [[nodiscard]] std::string Text() const;
  [[nodiscard]] nlohmann::json Json() const;

 private:
  using Time = std::chrono::steady_clock::time_point;

  std::vector<int> Heed(std::optional<DiskSync::Result> result);

  const std::chrono::nanoseconds Interval;
  Pace Rounds;
  bool UnderWay = false;
  unsigned long Done = 0;                   // rounds
  Time KeptUpTo;                            // what was recorded before is on the disk
  Time Begun;                               // the latest round
  std::chrono::nanoseconds LongestWait{0};  // of anything that was recorded, until it was on the disk
  DiskSync Disk;
};

}  // namespace client
