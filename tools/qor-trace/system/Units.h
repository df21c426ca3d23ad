// Sizes, durations and times as people write and read them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace client {

/// "500M" -> 524288000. Digits, then nothing or a unit in large or small letters: K, M, G, T and KiB, MiB, GiB, TiB are powers
/// of 1024; KB, MB, GB, TB powers of 1000; B is a byte.
/// @return bytes, or nothing for another text or more than 64 bits
[[nodiscard]] std::optional<unsigned long> ParseSize(std::string_view text);

/// 524288000 -> "500M", 1536 -> "1.5K": with the units that ParseSize takes, at most one decimal, which is rounded down.
[[nodiscard]] std::string FormatSize(unsigned long bytes);

/// "90s", "1h30m", "0.5s" -> ns. Numbers, each with its unit: ns, us, ms, s, m or h. A fraction is cut at 1 ns.
/// @return ns, or nothing for another text or more than 64 bits
[[nodiscard]] std::optional<unsigned long> ParseDuration(std::string_view text);

/// "2026-11-21T14:30:00" (local time), "2026-11-21T14:30:00.25Z" (UTC), "2026-11-21T16:30:00+02:00" (so far ahead of UTC)
/// -> ns since 1970. A fraction is cut at 1 ns.
/// @return ns, or nothing for another text or a time before 1970
[[nodiscard]] std::optional<unsigned long> ParseWallClock(const std::string& text);

/// ns since 1970 -> "2026-11-21T14:30:00.250000Z": UTC, cut at 1 us. ParseWallClock reads it.
std::string FormatUtc(unsigned long ns);
/// The same in local time, without the Z.
std::string FormatLocal(unsigned long ns);

/// 1500000 -> "0.001500000"
[[nodiscard]] std::string FormatSeconds(unsigned long ns);

/// "0:05.2", "12:34.5", "1:02:03.4": hours only where there are some.
[[nodiscard]] std::string FormatElapsed(unsigned long ns);

/// "1 entry", "2 entries": the count, and the word that goes with it.
[[nodiscard]] std::string FormatCount(unsigned long count, std::string_view one, std::string_view many);

}  // namespace client
