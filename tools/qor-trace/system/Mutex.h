// A mutex that clang's thread-safety analysis can follow (-Wthread-safety), its lock, and waiting under it.
//
// libstdc++'s std::mutex carries no annotations, so it is wrapped thinly. Other compilers see plain mutexes. The library has
// the like for itself, which isn't installed.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define QOR_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QOR_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) QOR_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY QOR_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) QOR_THREAD_ANNOTATION(guarded_by(x))
#define REQUIRES(...) QOR_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) QOR_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) QOR_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) QOR_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))

namespace client {

/// std::mutex with annotations.
class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRE() { Native.lock(); }
  [[nodiscard]] bool try_lock() TRY_ACQUIRE(true) { return Native.try_lock(); }
  void unlock() RELEASE() { Native.unlock(); }

 private:
  std::mutex Native;
};

/// Holds a mutex for the length of a scope.
class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : Held(mutex) { Held.lock(); }
  ~MutexLock() RELEASE() { Held.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& Held;
};

/// Wakes threads that wait for what a mutex guards.
class Condition {
 public:
  void NotifyAll() { Native.notify_all(); }

  /// Releases the mutex until the condition is notified, by another thread or spuriously, or the time has come.
  /// @return false: the time has come
  bool WaitUntil(Mutex& mutex, std::chrono::steady_clock::time_point time) REQUIRES(mutex) {
    return Native.wait_until(mutex, time) == std::cv_status::no_timeout;
  }

 private:
  std::condition_variable_any Native;
};

}  // namespace client
