// Ctrl-C, SIGTERM and a closed terminal: the first asks for a clean end, one that comes later ends at once.
#ifndef QOR_TRACE_SIGNALS_H
#define QOR_TRACE_SIGNALS_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

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

  bool StopRequested() const;

  /// Returns after `time`, or earlier when a stop is requested.
  void Wait(std::chrono::milliseconds time);

  /// Called before a later signal ends the process, on the signal thread; whatever the others are doing. It must not
  /// wait for them.
  void SetLastWish(std::function<void()> wish);

 private:
  void Run();

  mutable std::mutex Mutex;  // nests in nothing
  std::condition_variable Changed;
  std::optional<std::chrono::steady_clock::time_point> Requested;
  bool Ending = false;
  std::function<void()> LastWish;
  std::thread Thread;
};

}  // namespace client

#endif  // QOR_TRACE_SIGNALS_H
