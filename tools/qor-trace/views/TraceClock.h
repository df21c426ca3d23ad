// What time it is on the clock of the entries.
#pragma once

#include <algorithm>
#include <chrono>

namespace client {

/// Between entries, their clock goes on with real time: a bus that falls silent is seen to be silent. Times in ns.
class TraceClock {
 public:
  using Moment = std::chrono::steady_clock::time_point;

  /// @param latest  greatest time of the entries so far
  /// @param speed   trace seconds a second; 0: the clock stands still but for the entries
  /// @return        the time; never less than before
  unsigned long At(unsigned long latest, double speed, Moment now) {
    if (latest != Latest || speed <= 0) {
      Latest = latest;
      Since = now;
    }
    const double passed = std::chrono::duration<double, std::nano>(now - Since).count() * speed;
    Time = std::max(Time, Latest + static_cast<unsigned long>(std::clamp(passed, 0.0, kLongest)));
    return Time;
  }

 private:
  static constexpr double kLongest = 1e18;  // 30 years

  unsigned long Latest = 0;
  unsigned long Time = 0;
  Moment Since;
};

}  // namespace client
