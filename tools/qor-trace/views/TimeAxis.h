// The time axis of charts, and times and durations as a page shows them.
#pragma once

#include <string>
#include <vector>

#include "views/SummaryText.h"

namespace client {

/// A moment, with its unit: "12.345678 s", "754.500000 s (12:34)", "2026-11-21T14:30:01.500000Z". Cut at 1 us.
[[nodiscard]] std::string MomentText(unsigned long time, const ShownTimes& times);

/// A duration in the unit that suits it, four digits: "9.981 ms", "41.2 s"; from two minutes on "12:34.5 min", "1:02:03.4 h", and from two
/// days on "3.25 d".
/// @param ns  at least 0
[[nodiscard]] std::string DurationText(double ns);

/// From the start of a recording to its end.
class TimeAxis {
 public:
  struct Tick {
    double Place = 0;  // 0 to 1
    std::string Text = {};
  };
  static constexpr size_t kMostTicks = 8;

  /// Ticks stand at round times, as they are shown.
  /// @param first, end  ns, clock of the entries; end is later
  TimeAxis(unsigned long first, unsigned long end, const ShownTimes& times);

  /// 0 at the start, 1 at the end; times outside are there as well.
  [[nodiscard]] double PlaceOf(unsigned long time) const;

  [[nodiscard]] const std::vector<Tick>& Ticks() const { return Marks; }
  /// What the numbers of the ticks are: "seconds since the start of the recording".
  [[nodiscard]] const std::string& Caption() const { return Words; }
  [[nodiscard]] unsigned long First() const { return Begin; }
  [[nodiscard]] unsigned long End() const { return Limit; }

 private:
  const unsigned long Begin;
  const unsigned long Limit;
  std::vector<Tick> Marks;
  std::string Words;
};

}  // namespace client
