#include "support/Sleeps.h"

#include <gtest/gtest.h>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <thread>

#include "internal/SystemCalls.h"
#include "support/WaitUntil.h"

namespace {

std::atomic<unsigned int> PollSleeps = 0;
std::atomic<unsigned int> SortSleeps = 0;
std::atomic<unsigned int> LateSleeps = 0;
std::atomic<unsigned int> OtherSleeps = 0;

/// Where the sort thread stands still.
struct Gate {
  std::mutex Guard;
  std::condition_variable Changed;
  bool Shut = false;
  unsigned long Arrived = 0;  // sleeps begun
  unsigned long Allowed = 0;  // sleeps that may end

  /// Returns whether it kept the caller waiting.
  bool Pass() {
    std::unique_lock lock(Guard);
    if (!Shut) return false;
    const unsigned long mine = ++Arrived;
    Changed.notify_all();
    Changed.wait(lock, [&] { return !Shut || Allowed >= mine; });
    return true;
  }
};

Gate SortGate;

}  // namespace

unsigned int test::SleepCount(unsigned int microseconds) {
  if (microseconds == kPollInterval) return PollSleeps;
  return microseconds == kSortInterval ? SortSleeps : LateSleeps;
}

unsigned int test::OtherSleepCount() { return OtherSleeps; }

test::SortClock::SortClock() {
  const std::lock_guard lock(SortGate.Guard);
  SortGate.Shut = true;
  SortGate.Arrived = SortGate.Allowed = 0;
}

test::SortClock::~SortClock() { Release(); }

void test::SortClock::Release() {
  const std::lock_guard lock(SortGate.Guard);
  SortGate.Shut = false;
  SortGate.Changed.notify_all();
}

void test::SortClock::Tick() {
  std::unique_lock lock(SortGate.Guard);
  const auto sleeps = [](unsigned long number) { return [number] { return SortGate.Arrived >= number; }; };
  const unsigned long next = SortGate.Allowed + 1;
  EXPECT_TRUE(SortGate.Changed.wait_for(lock, kWaitLimit, sleeps(next))) << "the sort thread never slept";
  SortGate.Allowed = next;
  SortGate.Changed.notify_all();
  EXPECT_TRUE(SortGate.Changed.wait_for(lock, kWaitLimit, sleeps(next + 1))) << "the sort thread didn't come back";
}

namespace {

// A sleep ends at a point in time, computed from what the clock said last; the difference is its length.
thread_local timespec Started{};

int TellTime(clockid_t clock, timespec* now) {
  const int result = clock_gettime(clock, now);
  Started = *now;
  return result;
}

int Sleep(clockid_t, int, const timespec* end, timespec*) {
  std::chrono::nanoseconds time = std::chrono::seconds(end->tv_sec - Started.tv_sec);
  time += std::chrono::nanoseconds(end->tv_nsec - Started.tv_nsec);
  if (time == std::chrono::microseconds(test::kPollInterval)) {
    ++PollSleeps;
    time = std::chrono::milliseconds(1);
  } else if (time == std::chrono::microseconds(test::kSortInterval) ||
             time == std::chrono::microseconds(test::kLateInterval)) {
    ++(time == std::chrono::microseconds(test::kSortInterval) ? SortSleeps : LateSleeps);
    if (SortGate.Pass()) return 0;
    time = std::chrono::milliseconds(5);
  } else {
    ++OtherSleeps;
  }
  std::this_thread::sleep_for(time);
  return 0;
}

[[maybe_unused]] const bool kTakenOver = (System.ClockGetTime = TellTime, System.ClockSleep = Sleep, true);

}  // namespace
