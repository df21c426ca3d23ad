// Something that is done again and again, but not too often.
#pragma once

#include <chrono>

namespace client {

/// Is due at once, and then once per interval of real time.
class Pace {
 public:
  explicit Pace(std::chrono::steady_clock::duration interval) : Interval(interval) {}

  /// True if it is to be done now: the next time is an interval later.
  [[nodiscard]] bool IsDue() {
    const auto now = std::chrono::steady_clock::now();
    if (now < Next) return false;
    Next = now + Interval;
    return true;
  }
  /// It has just been done: the next time is an interval from now.
  void Restart() { Next = std::chrono::steady_clock::now() + Interval; }

 private:
  const std::chrono::steady_clock::duration Interval;
  std::chrono::steady_clock::time_point Next;  // long past at first
};

}  // namespace client
