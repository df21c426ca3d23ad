// Waiting on conditions, never on the clock.
#pragma once

#include <chrono>
#include <thread>

namespace test {

/// Long enough for the slowest machine; a test that runs into it fails.
constexpr std::chrono::seconds kWaitLimit{60};

/// Waits until `condition()` holds. Returns false, after kWaitLimit, if it never does: for ASSERT_TRUE.
template <class Condition>
[[nodiscard]] bool WaitUntil(Condition condition) {
  const auto giveUp = std::chrono::steady_clock::now() + kWaitLimit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  return true;
}

}  // namespace test
