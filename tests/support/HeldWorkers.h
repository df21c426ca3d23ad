// Threads that pack when the test lets them, or that can't be started: an executable that links HeldWorkers.cpp takes over the
// call by which zlib packs, and the one that starts threads.
#pragma once

namespace test {

/// While it lives, threads other than the one that made it hang as soon as they pack. One object at a time.
class HeldWorkers {
 public:
  HeldWorkers();
  /// Lets them go on.
  ~HeldWorkers();
  HeldWorkers(const HeldWorkers&) = delete;
  HeldWorkers& operator=(const HeldWorkers&) = delete;

  /// Waits until so many threads hang. False if they never do.
  [[nodiscard]] static bool WaitUntilHeld(unsigned int threads);
  /// Lets them go on, and all later ones.
  static void Release();
};

/// While it lives, the process can start `left` threads, and no more.
class NoMoreThreads {
 public:
  explicit NoMoreThreads(unsigned int left = 0);
  ~NoMoreThreads();
  NoMoreThreads(const NoMoreThreads&) = delete;
  NoMoreThreads& operator=(const NoMoreThreads&) = delete;
};

}  // namespace test
