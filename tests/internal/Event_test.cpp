#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <latch>
#include <thread>
#include <vector>

#include "internal/SystemCallsForTest.h"
#include "internal/qor_internal.h"
#include "support/Sanitizers.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A mutex of the given kind.
class TestMutex {
 public:
  explicit TestMutex(int type, int robustness = PTHREAD_MUTEX_STALLED) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, type);
    pthread_mutexattr_setrobust(&attributes, robustness);
    pthread_mutex_init(&Native, &attributes);
    pthread_mutexattr_destroy(&attributes);
  }
  ~TestMutex() { pthread_mutex_destroy(&Native); }
  TestMutex(const TestMutex&) = delete;
  TestMutex& operator=(const TestMutex&) = delete;

  bool IsFree() {
    if (pthread_mutex_trylock(&Native) != 0) return false;
    pthread_mutex_unlock(&Native);
    return true;
  }

  // Robust mutexes only: its owner dies.
  void LoseOwner() {
    std::thread([this] { pthread_mutex_lock(&Native); }).join();
  }

  // Robust mutexes only: its owner dies and nobody repairs it, so that it can never be locked again.
  void LoseForGood() {
    LoseOwner();
    ASSERT_EQ(pthread_mutex_lock(&Native), EOWNERDEAD);
    ASSERT_EQ(pthread_mutex_unlock(&Native), 0);
  }

  pthread_mutex_t Native{};
};

struct Events : testing::Test {
  pthread_cond_t Condition = PTHREAD_COND_INITIALIZER;
  TestMutex Normal{PTHREAD_MUTEX_NORMAL};
  Qor_Internal_Event_t Event{&Condition, &Normal.Native, 0};
  CapturedLog Log;
};

void WaitFor(pthread_cond_t& condition, pthread_mutex_t& mutex, const unsigned int& signalled) {
  pthread_mutex_lock(&mutex);
  while (signalled == 0) pthread_cond_wait(&condition, &mutex);
  pthread_mutex_unlock(&mutex);
}

}  // namespace

TEST_F(Events, SetRaisesTheFlagAndFreesTheMutex) {
  EXPECT_EQ(Qor_Internal_SetEvent(&Event), 0);
  EXPECT_EQ(Event.Signalled, 1u);
  EXPECT_TRUE(Normal.IsFree());
  EXPECT_THAT(Log.Lines, IsEmpty());
}

TEST_F(Events, ResetLowersTheFlagAndFreesTheMutex) {
  Event.Signalled = 1;
  EXPECT_EQ(Qor_Internal_ResetEvent(&Event), 0);
  EXPECT_EQ(Event.Signalled, 0u);
  EXPECT_TRUE(Normal.IsFree());
}

TEST_F(Events, SetTwiceIsSetOnce) {
  Qor_Internal_SetEvent(&Event);
  Qor_Internal_SetEvent(&Event);
  Qor_Internal_ResetEvent(&Event);
  EXPECT_EQ(Event.Signalled, 0u);
}

TEST_F(Events, SetWakesAllWhoWait) {
  std::vector<std::thread> waiting;
  for (int i = 0; i < 3; ++i) waiting.emplace_back([&] { WaitFor(Condition, Normal.Native, Event.Signalled); });
  EXPECT_EQ(Qor_Internal_SetEvent(&Event), 0);
  for (auto& thread : waiting) thread.join();  // each comes back only if it was woken
  EXPECT_EQ(Event.Signalled, 1u);
}

TEST(ExternalEvent, SetWakesAllWhoWait) {
  Qor_External_Event_t event{PTHREAD_COND_INITIALIZER, PTHREAD_MUTEX_INITIALIZER, 0};
  std::vector<std::thread> waiting;
  for (int i = 0; i < 3; ++i) waiting.emplace_back([&] { WaitFor(event.Condition, event.Mutex, event.Signalled); });
  EXPECT_EQ(Qor_External_SetEvent(&event), 0);
  for (auto& thread : waiting) thread.join();
  EXPECT_EQ(event.Signalled, 1u);
}

TEST_F(Events, MayBeSetAndResetByManyThreadsAtOnce) {
  std::latch together(4);
  std::atomic<int> failed{0};
  const auto flip = [&] {
    together.arrive_and_wait();
    for (int round = 0; round < 2000; ++round) {
      if (Qor_Internal_SetEvent(&Event) != 0) ++failed;
      if (Qor_Internal_ResetEvent(&Event) != 0) ++failed;
    }
  };
  std::thread first(flip), second(flip);
  std::thread reader([&] {
    together.arrive_and_wait();
    for (int round = 0; round < 2000; ++round) {
      pthread_mutex_lock(&Normal.Native);
      if (Event.Signalled > 1) ++failed;
      pthread_mutex_unlock(&Normal.Native);
    }
  });
  flip();
  first.join();
  second.join();
  reader.join();
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(Event.Signalled, 0u);  // every thread's last act was a reset
}

TEST_F(Events, CarryOneThreadsWorkToAnother) {
  TestMutex otherMutex{PTHREAD_MUTEX_NORMAL};
  pthread_cond_t otherCondition = PTHREAD_COND_INITIALIZER;
  Qor_Internal_Event_t answered{&otherCondition, &otherMutex.Native, 0};
  int work = 0;  // guarded by the two events alone
  std::thread worker([&] {
    for (int round = 0; round < 500; ++round) {
      WaitFor(Condition, Normal.Native, Event.Signalled);
      Qor_Internal_ResetEvent(&Event);
      ++work;
      Qor_Internal_SetEvent(&answered);
    }
  });
  for (int round = 1; round <= 500; ++round) {
    Qor_Internal_SetEvent(&Event);
    WaitFor(otherCondition, otherMutex.Native, answered.Signalled);
    Qor_Internal_ResetEvent(&answered);
    EXPECT_EQ(work, round);
  }
  worker.join();
}

// ---- Failures ----------------------------------------------------------------------------------------------

// The lock fails with EDEADLK, 35, and the unlock then frees what the caller had locked.
TEST_F(Events, SetLogsALockThatFailsAndGoesOn) {
  TestMutex checked{PTHREAD_MUTEX_ERRORCHECK};
  Event.Mutex = &checked.Native;
  pthread_mutex_lock(&checked.Native);
  EXPECT_EQ(Qor_Internal_SetEvent(&Event), 0);
  EXPECT_EQ(Event.Signalled, 1u);
  EXPECT_TRUE(checked.IsFree());
  EXPECT_THAT(Log.Lines, ElementsAre("Qor_Internal_SetEvent :error 35 from pthread_mutex_lock"));
  EXPECT_THAT(Log.Priorities, ElementsAre(3));
}

TEST_F(Events, ExternalSetLogsALockThatFailsUnderItsOwnName) {
  Qor_External_Event_t event{PTHREAD_COND_INITIALIZER, PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP, 0};
  pthread_mutex_lock(&event.Mutex);
  EXPECT_EQ(Qor_External_SetEvent(&event), 0);
  EXPECT_EQ(event.Signalled, 1u);
  EXPECT_THAT(Log.Lines, ElementsAre("Qor_External_SetEvent :error 35 from pthread_mutex_lock"));
}

TEST_F(Events, ResetDoesNotLogALockThatFails) {
  TestMutex checked{PTHREAD_MUTEX_ERRORCHECK};
  Event = {&Condition, &checked.Native, 1};
  pthread_mutex_lock(&checked.Native);
  EXPECT_EQ(Qor_Internal_ResetEvent(&Event), 0);
  EXPECT_EQ(Event.Signalled, 0u);
  EXPECT_TRUE(checked.IsFree());
  EXPECT_THAT(Log.Lines, IsEmpty());
}

// The lock fails with ENOTRECOVERABLE, 131, and so the unlock with EPERM.
TEST_F(Events, GiveTheUnlocksErrorBack) {
  if (test::kThreadSanitizer)
    GTEST_SKIP() << "ThreadSanitizer reports the unlock of a mutex that could not be locked, as it is meant here";
  TestMutex lost{PTHREAD_MUTEX_NORMAL, PTHREAD_MUTEX_ROBUST};
  lost.LoseForGood();
  Event.Mutex = &lost.Native;
  EXPECT_EQ(Qor_Internal_SetEvent(&Event), EPERM);
  EXPECT_EQ(Event.Signalled, 1u);
  EXPECT_THAT(Log.Lines, ElementsAre("Qor_Internal_SetEvent :error 131 from pthread_mutex_lock"));
  EXPECT_EQ(Qor_Internal_ResetEvent(&Event), EPERM);
  EXPECT_EQ(Event.Signalled, 0u);
}

// The lock reports EOWNERDEAD, 130.
TEST_F(Events, TakeOverARobustMutexWhoseOwnerDied) {
  TestMutex robust{PTHREAD_MUTEX_NORMAL, PTHREAD_MUTEX_ROBUST};
  robust.LoseOwner();
  Event.Mutex = &robust.Native;
  EXPECT_EQ(Qor_Internal_SetEvent(&Event), 0);
  EXPECT_THAT(Log.Lines, ElementsAre("Qor_Internal_SetEvent :error 130 from pthread_mutex_lock"));
  EXPECT_TRUE(robust.IsFree());

  robust.LoseOwner();
  EXPECT_EQ(Qor_Internal_ResetEvent(&Event), 0);
  EXPECT_EQ(Event.Signalled, 0u);
  EXPECT_TRUE(robust.IsFree());
}

TEST_F(Events, RefuseNullPointers) {
  EXPECT_EQ(Qor_Internal_SetEvent(nullptr), EINVAL);
  EXPECT_EQ(Qor_External_SetEvent(nullptr), EINVAL);
  EXPECT_EQ(Qor_Internal_ResetEvent(nullptr), EINVAL);
  for (auto incomplete : {Qor_Internal_Event_t{nullptr, &Normal.Native, 7}, {&Condition, nullptr, 7}}) {
    EXPECT_EQ(Qor_Internal_SetEvent(&incomplete), EINVAL);
    EXPECT_EQ(Qor_Internal_ResetEvent(&incomplete), EINVAL);
    EXPECT_EQ(incomplete.Signalled, 7u);
  }
  EXPECT_TRUE(Normal.IsFree());
  EXPECT_THAT(Log.Lines, IsEmpty());
}
