// A recording at the pace at which it was recorded.
#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <utility>

#include "stream/RecordSink.h"

namespace client {

/// Hands records on when they are due by their times, counted from the first one; those that are late, or out of order, at once.
/// While it waits, the next sink is paused several times a second.
///
/// Threads: one.
class Paced : public RecordSink {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;
  /// Waits at most so long; false ends the stream.
  using Wait = std::function<bool(std::chrono::milliseconds time)>;

  static constexpr std::chrono::milliseconds kLongestWait{50};

  /// @param next   outlives this
  /// @param speed  seconds of the recording in a second; 0: as fast as can be
  Paced(RecordSink& next, double speed, Wait wait, Clock now = std::chrono::steady_clock::now)
      : Next(next), Speed(speed), WaitFor(std::move(wait)), Now(std::move(now)) {}

  /// False also when the wait says so.
  [[nodiscard]] bool Take(const RecordView& record) override {
    return (Speed <= 0 || WaitUntilDue(record.Timestamp())) && Next.Take(record);
  }
  void Pause() override { Next.Pause(); }

 private:
  [[nodiscard]] bool WaitUntilDue(unsigned long time) {
    if (!Begin) Begin.emplace(time, Now());
    const double after = time > Begin->first ? static_cast<double>(time - Begin->first) / Speed : 0;  // ns
    for (;;) {
      const std::chrono::duration<double, std::nano> left(
          after - std::chrono::duration<double, std::nano>(Now() - Begin->second).count());
      if (left.count() <= 0) return true;
      Next.Pause();
      if (!WaitFor(std::min(std::chrono::ceil<std::chrono::milliseconds>(left), kLongestWait))) return false;
    }
  }

  RecordSink& Next;
  const double Speed;
  const Wait WaitFor;
  const Clock Now;
  std::optional<std::pair<unsigned long, std::chrono::steady_clock::time_point>> Begin;  // of the first record
};

}  // namespace client
