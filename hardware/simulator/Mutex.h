// A mutex that clang's thread-safety analysis can follow, for the hardware library alone.
//
// Lock order, outermost first: Port, then Clock or Inbox. Simulator (the tables of ports and connections) and Reports nest
// in none and none nests in them.
#pragma once

#include <mutex>

#if defined(__clang__)
#define SIM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define SIM_THREAD_ANNOTATION(x)
#endif

#define SIM_GUARDED_BY(x) SIM_THREAD_ANNOTATION(guarded_by(x))
#define SIM_REQUIRES(...) SIM_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define SIM_EXCLUDES(...) SIM_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

namespace qor_sim {

class SIM_THREAD_ANNOTATION(capability("mutex")) Mutex {
 public:
  void lock() SIM_THREAD_ANNOTATION(acquire_capability()) { Native.lock(); }
  void unlock() SIM_THREAD_ANNOTATION(release_capability()) { Native.unlock(); }

 private:
  std::mutex Native;
};

/// Holds a mutex for the length of a scope.
class SIM_THREAD_ANNOTATION(scoped_lockable) Lock {
 public:
  explicit Lock(Mutex& mutex) SIM_THREAD_ANNOTATION(acquire_capability(mutex)) : Held(mutex) { Held.lock(); }
  ~Lock() SIM_THREAD_ANNOTATION(release_capability()) { Held.unlock(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  Mutex& Held;
};

}  // namespace qor_sim
