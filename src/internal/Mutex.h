// A mutex that clang's thread-safety analysis can follow (-Wthread-safety), and its locks.
//
// libstdc++'s std::mutex carries no annotations, so it is wrapped thinly. Other compilers see plain mutexes.
#pragma once

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
#define EXCLUDES(...) QOR_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) QOR_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) QOR_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) QOR_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS QOR_THREAD_ANNOTATION(no_thread_safety_analysis)

/// std::mutex with annotations. lock() throws std::system_error as std::mutex does.
class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRE() { Native.lock(); }
  bool try_lock() TRY_ACQUIRE(true) { return Native.try_lock(); }
  void unlock() RELEASE() { Native.unlock(); }

 private:
  std::mutex Native;
};

/// Holds one mutex for the length of a scope.
class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : Held(mutex) { Held.lock(); }
  ~MutexLock() RELEASE() { Held.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& Held;
};

/// Takes two mutexes together, without an order between them and without deadlock, for the length of a scope.
class SCOPED_CAPABILITY MutexLockBoth {
 public:
  MutexLockBoth(Mutex& first, Mutex& second) ACQUIRE(first, second) NO_THREAD_SAFETY_ANALYSIS : First(first),
                                                                                                Second(second) {
    std::lock(First, Second);
  }
  ~MutexLockBoth() RELEASE() NO_THREAD_SAFETY_ANALYSIS {
    Second.unlock();
    First.unlock();
  }
  MutexLockBoth(const MutexLockBoth&) = delete;
  MutexLockBoth& operator=(const MutexLockBoth&) = delete;

 private:
  Mutex& First;
  Mutex& Second;
};
