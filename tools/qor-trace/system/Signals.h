// Ctrl-C, SIGTERM and a closed terminal: the first asks for a clean end, one that comes later ends at once. Ctrl-Z.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include "system/Mutex.h"

namespace client {

/// Takes SIGINT, SIGTERM, SIGHUP and SIGTSTP on a thread of its own, the last two only where they aren't ignored from the start
/// (nohup). SIGTSTP stops the process, as ever. Of the others, signals
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
  /// As a first signal does.
  void RequestStop();

  /// Returns after `time`, or earlier when a stop is requested.
  void Wait(std::chrono::milliseconds time);

  /// Called at SIGUSR1, on the signal thread; null: nothing happens then. Not called any more once this has returned.
  void SetUserCall(std::function<void()> call);

  /// Called before a later signal ends the process, on the signal thread; whatever the others are doing. It must not
  /// wait for them.
  void SetLastWish(std::function<void()> wish);

  // Both are called on the signal thread and return soon; null ends it.

  /// Called in place of stopping the process: whoever has the terminal gives it back first, then calls StopProcess.
  void SetSuspension(std::function<void()> suspend);
  /// Called when the terminal has gone; true: that is no request to stop.
  void SetHangUp(std::function<bool()> goesOn);

  /// Stops the process, as SIGTSTP does; returns when it goes on. To be called on a thread of this program.
  static void StopProcess();

 private:
  void Run();
  bool Heed(int signal) REQUIRES(Guard);

  mutable Mutex Guard;  // nests in nothing
  Condition Changed;
  std::optional<std::chrono::steady_clock::time_point> Requested GUARDED_BY(Guard);
  bool Ending GUARDED_BY(Guard) = false;
  std::function<void()> LastWish GUARDED_BY(Guard);
  std::function<void()> UserCall GUARDED_BY(Guard);
  std::function<void()> Suspension GUARDED_BY(Guard);
  std::function<bool()> HangUp GUARDED_BY(Guard);
  std::thread Thread;
};

}  // namespace client
