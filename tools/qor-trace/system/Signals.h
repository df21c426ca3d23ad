// Ctrl-C, SIGTERM and a closed terminal: the first asks for a clean end, one that comes later ends at once.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include "system/Mutex.h"

namespace client {

/// Takes SIGINT, SIGTERM and SIGHUP on a thread of its own; SIGHUP only where it isn't ignored from the start (nohup). Signals
/// within a second of the first one are the same request: a closed terminal and timeout(1) send several. SIGPIPE and
/// SIGXFSZ are ignored, so that write reports a reader that has gone and a full disk. Must be made before any other
/// thread starts; one per process.
class Signals {
 public:
  Signals();
  ~Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  [[nodiscard]] bool StopRequested() const;

  /// Returns after `time`, or earlier when a stop is requested.
  void Wait(std::chrono::milliseconds time);

  /// Called before a later signal ends the process, on the signal thread; whatever the others are doing. It must not
  /// wait for them.
  void SetLastWish(std::function<void()> wish);

 private:
  void Run();
  bool Heed(int signal) REQUIRES(Guard);

  mutable Mutex Guard;  // nests in nothing
  Condition Changed;
  std::optional<std::chrono::steady_clock::time_point> Requested GUARDED_BY(Guard);
  bool Ending GUARDED_BY(Guard) = false;
  std::function<void()> LastWish GUARDED_BY(Guard);
  std::thread Thread;
};

}  // namespace client
