// Signals are for the application's threads: those of the library never see one.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <set>
#include <string>
#include <thread>

#include "api/ApiTest.h"
#include "support/ProcessThreads.h"
#include "support/Sleeps.h"

using namespace test;

namespace {

std::atomic<unsigned int> Handled;

class Signals : public ApiTest {
 protected:
  Signals() {
    struct sigaction action {};
    action.sa_handler = [](int) { ++Handled; };
    sigaction(SIGUSR1, &action, &Before);
    Handled = 0;
    Add(First);
    Add(Second);
    Add(Third);
  }
  ~Signals() override {
    Qor_Trace_ClearChannelList(Monitor);
    sigaction(SIGUSR1, &Before, nullptr);
  }

  /// Starts the monitor. Returns its threads, once each of them is in its loop.
  std::set<pid_t> Start() {
    std::thread([] {}).join();  // with the first thread of all ThreadSanitizer starts one of its own
    const std::set<pid_t> others = Threads();
    EXPECT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
    std::set<pid_t> started;
    for (const pid_t thread : Threads()) {
      if (others.count(thread) == 0) started.insert(thread);
    }
    EXPECT_TRUE(EveryThreadGoesRound());
    return started;
  }
  bool EveryThreadGoesRound() {
    const unsigned int passes = SleepCount(kSortInterval);
    for (const ScriptedInterface* bus : {&First, &Second, &Third}) {
      const unsigned int polls = bus->PollCount();
      if (!WaitUntil([&] { return bus->PollCount() >= polls + 2; })) return false;
    }
    return WaitUntil([&] { return SleepCount(kSortInterval) >= passes + 2; });
  }

  struct sigaction Before {};
  ScriptedInterface First, Second{BusType_Lin}, Third{BusType_FlexRay};
};

}  // namespace

TEST_F(Signals, AreAllBlockedInTheLibrarysThreads) {
  const std::set<pid_t> threads = Start();
  EXPECT_EQ(threads.size(), 4U);  // three that receive, one that sorts
  for (const pid_t thread : threads) EXPECT_EQ(Blocked(thread), kEverySignal);
  EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U);
}

TEST_F(Signals, DoNotReachTheLibrarysThreadsEvenWhenSentToThem) {
  const std::set<pid_t> threads = Start();
  for (const pid_t thread : threads) EXPECT_EQ(syscall(SYS_tgkill, getpid(), thread, SIGUSR1), 0);
  EXPECT_TRUE(EveryThreadGoesRound());
  EXPECT_EQ(Handled, 0U);
  EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U);
  EXPECT_EQ(Handled, 0U);
}

TEST_F(Signals, ReachTheApplicationsThreadsAsBefore) {
  Start();
  ASSERT_EQ(raise(SIGUSR1), 0);
  EXPECT_EQ(Handled, 1U);
  EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U);
}
