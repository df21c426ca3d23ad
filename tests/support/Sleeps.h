// Time under the test's control: an executable that links Sleeps.cpp takes over the sleeps by which the library's threads
// keep their intervals.
//
// The 10 ms between two polls last 1 ms and the 50 ms of the sort thread (1 ms when it's late) 5 ms, so that tests are
// fast; while a SortClock lives, the latter last until the test lets them end.
#pragma once

namespace test {

constexpr unsigned int kPollInterval = 10000;  // µs
constexpr unsigned int kSortInterval = 50000;  // µs
constexpr unsigned int kLateInterval = 1000;   // µs

/// How often the library has slept for `microseconds` so far, which is one of the intervals.
unsigned int SleepCount(unsigned int microseconds);
/// How often it has slept for any other time.
unsigned int OtherSleepCount();

/// While it lives, the sort thread of a monitor stands still in its sleep, except for what Tick lets it do. One monitor
/// at a time.
class SortClock {
 public:
  SortClock();
  ~SortClock();
  SortClock(const SortClock&) = delete;
  SortClock& operator=(const SortClock&) = delete;

  /// Waits until the sort thread sleeps, ends this sleep, and waits until it sleeps again: it has then made one pass.
  void Tick();
  /// Lets the sort thread run on by itself, as Stop needs it.
  void Release();
};

}  // namespace test
