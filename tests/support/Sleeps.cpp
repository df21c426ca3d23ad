#include "support/Sleeps.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

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

extern "C" int usleep(useconds_t microseconds) {
  std::chrono::microseconds time(microseconds);
  if (microseconds == test::kPollInterval) {
    ++PollSleeps;
    time = std::chrono::milliseconds(1);
  } else if (microseconds == test::kSortInterval || microseconds == test::kLateInterval) {
    ++(microseconds == test::kSortInterval ? SortSleeps : LateSleeps);
    if (SortGate.Pass()) return 0;
    time = std::chrono::milliseconds(5);
  } else {
    ++OtherSleeps;
  }
  std::this_thread::sleep_for(time);
  return 0;
}
