// When the entries of a recording happened: from the interface's clock to UTC.
#pragma once

#include <optional>

namespace client {

/// A clock of entries that shows more than this, 20 years, counts ns since 1970: no interface has been running for so
/// long, and no recording is older than 1990.
constexpr unsigned long kWallClockFrom = 20ul * 365 * 86400 * 1000000000;

/// Does a clock that shows this time count from 1970, rather than from its own start? The only place that decides it
/// where the recording itself doesn't say.
constexpr bool CountsSince1970(unsigned long time) { return time >= kWallClockFrom; }

/// One moment on both clocks, and with it every other one. All outputs of a recording share one, so their times agree.
struct TimeBase {
  unsigned long Start = 0;  // time of entries at which the recording began, ns: where relative times begin
  std::optional<unsigned long> Utc = std::nullopt;  // that moment, ns since 1970; nothing where it isn't known

  bool IsKnown() const { return Utc.has_value(); }

  /// UTC of an entry, ns since 1970. Without a known base it is the entry's own time: it counts as if its clock had begun
  /// with 1970. Times that would lie before 1970 or past 64 bits end there.
  unsigned long UtcOf(unsigned long time) const;

  /// ns since the start of the recording; negative before it.
  long SinceStart(unsigned long time) const { return static_cast<long>(time - Start); }
};

/// Of a recording whose moment isn't known.
inline constexpr TimeBase kUnknownTimes{};

}  // namespace client
