// When the records of a file are due that is shown as if it were happening.
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

namespace client {

/// Maps times of records to moments: at a speed, faster or slower in the middle, halted and record by record. The first
/// record is due at once. Records that go back in time are due at once.
class ReplayPace {
 public:
  using Moment = std::chrono::steady_clock::time_point;

  static constexpr double kSlowest = 0.1, kFastest = 1000;  // trace seconds a second

  /// @param speed  nothing: as fast as it can be read
  explicit ReplayPace(std::optional<double> speed) : Factor(speed) {}

  /// How long it is until a record of this time, ns, is due; 0: it is. Nothing while halted.
  [[nodiscard]] std::optional<std::chrono::nanoseconds> Until(unsigned long time, Moment now) {
    Next = time;
    if (!Begun) Anchor(time, now);
    if (StepAsked || (!Factor && !IsHalted)) {
      StepAsked = false;
      Anchor(time, now);
      return std::chrono::nanoseconds(0);
    }
    if (IsHalted) return std::nullopt;
    if (time <= From) return std::chrono::nanoseconds(0);
    const std::chrono::duration<double, std::nano> whole(static_cast<double>(time - From) / *Factor);
    const auto left = std::min(whole, kLongest) - (now - Since);
    return std::max(std::chrono::duration_cast<std::chrono::nanoseconds>(left), std::chrono::nanoseconds(0));
  }

  [[nodiscard]] bool Halted() const { return IsHalted; }
  void Halt(Moment now) {
    Rebase(now);
    IsHalted = true;
  }
  void GoOn(Moment now) {
    Since = now;
    IsHalted = false;
  }
  /// The next record is due at once, also while halted; those after it are as far from it as they were.
  void Step() { StepAsked = true; }

  /// Nothing: as fast as it can be read.
  [[nodiscard]] std::optional<double> Speed() const { return Factor; }
  void SetSpeed(std::optional<double> speed, Moment now) {
    Rebase(now);
    Factor = speed;
  }
  /// Twice as fast, or half as fast, within the bounds.
  void Scale(double by, Moment now) { SetSpeed(std::clamp(Factor.value_or(kFastest) * by, kSlowest, kFastest), now); }

 private:
  using Length = std::chrono::duration<double, std::nano>;

  static constexpr Length kLongest{1e18};  // 30 years: a greater number of ns wouldn't fit

  void Anchor(unsigned long time, Moment now) {
    From = time;
    Since = now;
    Begun = true;
  }
  /// The trace time of now becomes where everything is counted from; it isn't past a record that is still to come.
  void Rebase(Moment now) {
    if (!IsHalted && Begun && Factor) {
      const double passed = Length(now - Since).count() * *Factor;
      From = std::clamp(From + static_cast<unsigned long>(std::clamp(passed, 0.0, kLongest.count())), From,
                        std::max(From, Next));
    }
    Since = now;
  }

  std::optional<double> Factor;
  bool Begun = false;
  bool IsHalted = false;
  bool StepAsked = false;
  unsigned long From = 0;  // ns of trace time, reached at Since
  unsigned long Next = 0;  // ns of trace time, of the record that was asked about last
  Moment Since;
};

}  // namespace client
