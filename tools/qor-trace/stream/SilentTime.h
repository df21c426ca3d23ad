// How far the time of a stream has come while nothing comes.
#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <utility>

namespace client {

/// What is known of the time of records that come as they happen.
struct LiveTiming {
  double Speed = 0;         // trace seconds a second; 0: the clock doesn't tell, as for files and sources at full speed
  unsigned long Grace = 0;  // ns of trace time that a record may be on its way for
};

/// The time of the latest record, and what has passed since by the clock.
///
/// Threads: one. Cost for a record: two assignments; the clock is read in pauses only.
class SilentTime {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  explicit SilentTime(const LiveTiming& silence, Clock clock = std::chrono::steady_clock::now)
      : Known(silence), Read(std::move(clock)) {}

  void Took(unsigned long time) {
    Latest = std::max(Latest.value_or(0), time);
    Fresh = true;
  }
  /// All records before that time have come, ns; nothing as long as it isn't later than the latest record. To be called in each
  /// pause: what has passed counts from the first one after a record.
  [[nodiscard]] std::optional<unsigned long> Now() {
    if (Known.Speed <= 0 || !Latest) return std::nullopt;
    const auto now = Read();
    if (std::exchange(Fresh, false)) Since = now;
    const std::chrono::duration<double, std::nano> passed = now - Since;
    const auto silent = static_cast<unsigned long>(passed.count() * Known.Speed);
    return silent > Known.Grace ? std::optional(*Latest + (silent - Known.Grace)) : std::nullopt;
  }

 private:
  const LiveTiming Known;
  const Clock Read;
  std::optional<unsigned long> Latest;  // ns, of the records
  bool Fresh = false;                   // there was a record since the last pause
  std::chrono::steady_clock::time_point Since;
};

}  // namespace client
