// When a file of a series is over by the time.
#pragma once

#include "stream/TimeBase.h"

namespace client {

/// What periods are counted from.
enum class SplitGrid {
  FirstEntry,  // of the recording
  Utc,         // full periods of the day in UTC: every 10 minutes at :00, :10, ...
  Local,       // likewise in local time, where a change of the clocks makes a period shorter or longer
};

/// Divides the time of a recording into periods of one length.
///
/// Threads: one.
class SplitTimes {
 public:
  /// @param period  ns; for grids of the day, one that a day is a multiple of
  SplitTimes(unsigned long period, SplitGrid grid) : Period(period), Grid(grid) {}

  /// @param first  ns, time of the recording's first entry
  /// @param times  of the entries; known for grids of the day
  void Begin(unsigned long first, const TimeBase& times);
  /// The end of the period that a time lies in, which isn't part of it. ns, clock of the entries.
  [[nodiscard]] unsigned long EndAfter(unsigned long time) const;

 private:
  const unsigned long Period;
  const SplitGrid Grid;
  unsigned long First = 0;
  TimeBase Times;
};

}  // namespace client
