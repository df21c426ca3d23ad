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
  // Until a point in time: the rest of an interrupted sleep need not be worked out, and rounding errors can't add up.
  while (System.ClockSleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
  }
}
