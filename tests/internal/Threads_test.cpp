#include "internal/Threads.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <vector>

#include "internal/SystemCallsForTest.h"

namespace {

/// What a thread blocks at this moment, of the signals that a program can block.
std::vector<int> UnblockedSignals() {
  sigset_t blocked;
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  std::vector<int> unblocked;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    const bool never = signal == SIGKILL || signal == SIGSTOP || (signal >= 32 && signal < SIGRTMIN);  // no program can
    if (!never && sigismember(&blocked, signal) == 0) unblocked.push_back(signal);
  }
  return unblocked;
}

/// A clock that stands at `Now`, and sleeps that are interrupted as often as the test says.
struct FakeClock {
  struct SleepCall {
    clockid_t Clock;
    int Flags;
    long EndSeconds;
    long EndNanoseconds;
    bool operator==(const SleepCall&) const = default;
  };
  static inline timespec Now{};
  static inline unsigned int Interruptions = 0;
  static inline std::vector<SleepCall> Sleeps;

  FakeClock() {
    Sleeps.clear();
    System.ClockGetTime = [](clockid_t, timespec* now) {
      *now = Now;
      return 0;
    };
    System.ClockSleep = [](clockid_t clock, int flags, const timespec* end, timespec*) {
      Sleeps.push_back({clock, flags, end->tv_sec, end->tv_nsec});
      return Sleeps.size() <= Interruptions ? EINTR : 0;
    };
  }
  SystemCallsRestored Restored;
};

std::atomic<unsigned int> Interrupted;

}  // namespace

TEST(LibraryThread, BlocksEverySignal) {
  std::vector<int> unblocked = {0};
  StartThread([&] { unblocked = UnblockedSignals(); }).join();
  EXPECT_EQ(unblocked, std::vector<int>());
}

TEST(LibraryThread, LeavesTheSignalsOfItsStarterAsTheyWere) {
  const std::vector<int> before = UnblockedSignals();
  EXPECT_FALSE(before.empty());
  StartThread([] {}).join();
  EXPECT_EQ(UnblockedSignals(), before);
}

TEST(LibraryThread, WritesToABrokenPipeWithoutEndingTheProcess) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  ssize_t written = 0;
  int error = 0;
  StartThread([&] {
    written = write(ends[1], "x", 1);
    error = errno;
  }).join();
  close(ends[1]);
  EXPECT_EQ(written, -1);
  EXPECT_EQ(error, EPIPE);
}

TEST(Sleep, GoesOnToTheSamePointInTimeAfterEachInterruption) {
  const FakeClock clock;
  FakeClock::Now = {100, 995'000'000};
  FakeClock::Interruptions = 3;
  SleepFor(std::chrono::milliseconds(10));
  const FakeClock::SleepCall call = {CLOCK_MONOTONIC, TIMER_ABSTIME, 101, 5'000'000};
  EXPECT_EQ(FakeClock::Sleeps, (std::vector<FakeClock::SleepCall>{call, call, call, call}));
}

TEST(Sleep, LastsItsTimeUnderAStormOfSignals) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) { ++Interrupted; };  // no SA_RESTART: system calls end early
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
  Interrupted = 0;
  std::atomic<bool> awake = false;
  const pthread_t sleeper = pthread_self();
  std::thread storm([&] {
    while (!awake) {
      pthread_kill(sleeper, SIGUSR1);
      std::this_thread::yield();
    }
  });
  constexpr auto kTime = std::chrono::milliseconds(30);
  auto shortest = std::chrono::nanoseconds::max();
  while (Interrupted == 0) {
    const auto start = std::chrono::steady_clock::now();
    SleepFor(kTime);
    shortest = std::min<std::chrono::nanoseconds>(shortest, std::chrono::steady_clock::now() - start);
  }
  awake = true;
  storm.join();
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_GE(shortest, kTime);
}
