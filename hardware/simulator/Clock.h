// The clock that all ports of a process share.
#pragma once

#include <cstdint>

#include "Mutex.h"

namespace qor_sim {

/// Where time comes from; tests have their own.
class TimeSource {
 public:
  virtual ~TimeSource() = default;
  /// ns of any steady clock; never goes back. Called from any thread.
  virtual uint64_t Now() = 0;
  /// ns since 1970. Called from any thread.
  virtual uint64_t Utc() = 0;
};

/// std::chrono::steady_clock; UTC by the system's clock.
TimeSource& SteadyTime();

/// Runs while at least one of its users runs, stands still while none does, and begins anew at 0 when its last user
/// has left.
///
/// Threads: any.
class Clock {
 public:
  explicit Clock(TimeSource& time) : Time(time) {}

  /// ns since the clock began, pauses left out.
  uint64_t Elapsed() SIM_EXCLUDES(Guard);
  /// ns since 1970, as it is now.
  uint64_t Utc() { return Time.Utc(); }

 private:
  friend class ClockUser;
  void Enter() SIM_EXCLUDES(Guard);
  void Leave() SIM_EXCLUDES(Guard);
  void Run() SIM_EXCLUDES(Guard);
  void Halt() SIM_EXCLUDES(Guard);

  TimeSource& Time;
  Mutex Guard;
  unsigned int Users SIM_GUARDED_BY(Guard) = 0;
  unsigned int RunningUsers SIM_GUARDED_BY(Guard) = 0;
  uint64_t Gathered SIM_GUARDED_BY(Guard) = 0;      // ns, up to the last pause
  uint64_t RunningSince SIM_GUARDED_BY(Guard) = 0;  // of Time, while somebody runs
};

/// One port's part in the clock. It becomes a user with its first start and leaves when destroyed.
///
/// Threads: one at a time; the port's mutex guards it.
class ClockUser {
 public:
  explicit ClockUser(Clock& clock) : Shared(clock) {}
  ~ClockUser() { Leave(); }
  ClockUser(const ClockUser&) = delete;
  ClockUser& operator=(const ClockUser&) = delete;

  void Start();
  void Stop();
  void Leave();
  uint64_t Elapsed() { return Shared.Elapsed(); }
  uint64_t Utc() { return Shared.Utc(); }

 private:
  Clock& Shared;
  bool Entered = false;
  bool Running = false;
};

}  // namespace qor_sim
