// The library's threads and their sleeps, which signals to the process leave alone.
#pragma once

#include <chrono>
#include <csignal>
#include <thread>
#include <utility>

/// Blocks every signal for the calling thread, for the length of a scope.
class SignalsBlocked {
 public:
  SignalsBlocked();
  ~SignalsBlocked();
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t Before;
};

/// Starts a thread that takes no signals: those go to the application's threads, whose handlers may take long.
///
/// Those that a thread causes itself are blocked as well: a write beyond the limit of a file's size, or to a pipe without a
/// reader, fails with its error number instead of ending the process. A fault (SIGSEGV and its like) ends the process
/// without asking the application's handler.
///
/// @throws std::system_error if the system can't start a thread
template <class Body>
[[nodiscard]] std::thread StartThread(Body body) {
  const SignalsBlocked blocked;  // a thread begins with what its starter blocks
  return std::thread(std::move(body));
}

/// Sleeps until `time` has passed since the call, however often a signal interrupts it.
void SleepFor(std::chrono::nanoseconds time);
