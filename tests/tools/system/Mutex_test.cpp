#include "system/Mutex.h"

#include <gtest/gtest.h>

#include <thread>

namespace client {
namespace {

using Clock = std::chrono::steady_clock;

/// What threads share.
struct Shared {
  Mutex Guard;
  Condition Changed;
  bool Done GUARDED_BY(Guard) = false;
};

TEST(Mutex, IsHeldForTheLengthOfAScope) {
  Mutex mutex;
  const auto othersGetIt = [&] {
    bool got = false;
    std::thread([&] {
      if (!mutex.try_lock()) return;
      got = true;
      mutex.unlock();
    }).join();
    return got;
  };
  {
    const MutexLock lock(mutex);
    EXPECT_FALSE(othersGetIt());
  }
  EXPECT_TRUE(othersGetIt());
}

TEST(Condition, WaitingEndsWhenTheTimeHasCome) {
  Shared shared;
  const MutexLock lock(shared.Guard);
  while (shared.Changed.WaitUntil(shared.Guard, Clock::now())) {
  }
  EXPECT_FALSE(shared.Done);
}

TEST(Condition, WaitingEndsWhenAnotherThreadSaysSo) {
  Shared shared;
  std::thread other([&] {
    const MutexLock lock(shared.Guard);
    shared.Done = true;
    shared.Changed.NotifyAll();
  });
  {
    const MutexLock lock(shared.Guard);
    while (!shared.Done) {
      // Would fail at the end of the test's time limit if the notice didn't come.
      if (!shared.Changed.WaitUntil(shared.Guard, Clock::now() + std::chrono::hours(1))) break;
    }
    EXPECT_TRUE(shared.Done);
  }
  other.join();
}

}  // namespace
}  // namespace client
