// The date in the head of an ASC log.
#pragma once

#include <optional>
#include <string_view>

namespace client {

struct AscDate {
  unsigned long Utc = 0;  // ns since 1970
  bool Plain = false;     // as the C library writes it: 24 hours, no fraction of a second

  bool operator==(const AscDate&) const = default;
};

/// Reads "Sun Nov 15 09:00:19.123 am 2026" as local time: with or without the day of the week, in 12 or 24 hours, with any
/// number of decimals, with English or German names. Nothing for other texts, and for dates that there aren't.
[[nodiscard]] std::optional<AscDate> ReadAscDate(std::string_view text);

}  // namespace client
