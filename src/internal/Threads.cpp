#include "internal/Threads.h"

#include <cerrno>
#include <ctime>

#include "internal/SystemCalls.h"
#include "internal/qor_internal.h"

SignalsBlocked::SignalsBlocked() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &Before);
}

SignalsBlocked::~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &Before, nullptr); }

void SleepFor(std::chrono::nanoseconds time) {
  timespec now{};
  System.ClockGetTime(CLOCK_MONOTONIC, &now);
  const timespec end = ns_to_timespec(now.tv_sec * std::nano::den + now.tv_nsec + time.count());
  // To a point in time: what is left of an interrupted sleep needs no reckoning, and its rounding can't add up.
  while (System.ClockSleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
  }
}
