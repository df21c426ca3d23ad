// The times of an ASC log: its date, and what its lines begin with.
#pragma once

#include <algorithm>
#include <string>

#include "outputs/AscLines.h"

namespace client {

/// One moment on the clock of the entries and in UTC.
struct AscStart {
  unsigned long EntryTime = 0;  // ns; where the times of the log begin
  unsigned long Utc = 0;        // ns since 1970
};

/// Turns times of entries into times of a log.
///
/// A log's date has milliseconds. Where the start isn't a whole one, times count from the last one before it, so that date and
/// time together are exact.
///
/// With relative times, a line has the time since the line before, and the first line of each file that since the date: their
/// sum is the time of the line. Times are rounded before their difference is taken, so that the sum doesn't drift. A line
/// that is earlier than the one before gets 0, since the format has no negative times; the ones after it are right again.
///
/// Times before the date become 0, for the same reason, and are counted.
class AscClock {
 public:
  AscClock(const AscStart& start, int decimals, bool relative);

  /// Of the next line.
  [[nodiscard]] AscTime Next(unsigned long entryTime) {
    const unsigned long ticks = TicksOf(entryTime);
    OneBefore = LineBefore;
    const AscTime time{ticks - (Relative ? std::min(LineBefore, ticks) : 0), ticks};
    if (Relative) LineBefore = std::max(LineBefore, ticks);
    return time;
  }
  /// What the last time was for has become no line, or a comment: readers won't count it in.
  void TakeBack() { LineBefore = OneBefore; }
  /// The next line is the first one of its file.
  void BeginFile() { LineBefore = 0; }

  /// ns since the date, of a moment that is no line's; 0 before it.
  [[nodiscard]] unsigned long SinceDate(unsigned long entryTime) const {
    return IsBeforeDate(entryTime) ? 0 : entryTime - Start.EntryTime + Offset;
  }

  /// The date of all files of the log in local time, as in "Sun Nov 15 09:00:19.123 am 2026".
  [[nodiscard]] std::string Date() const;
  /// Entries that happened before it.
  [[nodiscard]] unsigned long BeforeDate() const { return EarlyEntries; }

 private:
  /// Units of the last decimal since the date, rounded.
  unsigned long TicksOf(unsigned long entryTime) {
    if (IsBeforeDate(entryTime)) {
      ++EarlyEntries;
      return 0;
    }
    return (entryTime - Start.EntryTime + Offset + TickLength / 2) / TickLength;
  }
  [[nodiscard]] bool IsBeforeDate(unsigned long entryTime) const {
    return entryTime < Start.EntryTime && Start.EntryTime - entryTime > Offset;
  }

  const AscStart Start;
  const unsigned long Offset;      // from the date to the start, ns
  const unsigned long TickLength;  // ns
  const bool Relative;
  unsigned long LineBefore = 0;  // ticks; of the file
  unsigned long OneBefore = 0;   // as it was until the last call of Next
  unsigned long EarlyEntries = 0;
};

}  // namespace client
