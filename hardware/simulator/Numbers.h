// Numbers as source texts and recordings write them: decimal, without signs, blanks or floating point.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace qor_sim {

constexpr uint64_t kNsPerSecond = 1'000'000'000;

/// DIGITS[.DIGITS], exact.
struct Decimal {
  uint64_t Whole = 0;
  uint32_t Billionths = 0;
};

/// Takes a decimal number from the front of `text`, which keeps the rest. Nothing, with `text` as it was, when there is
/// none, more than nine digits follow the point, or the whole part exceeds a u64.
std::optional<Decimal> TakeDecimal(std::string_view& text);

/// The whole text as an unsigned number; nothing when it is none or exceeds a u64.
std::optional<uint64_t> ParseUnsigned(std::string_view text);

/// A duration in ns: numbers with ns, us, ms, s, m or h in a row ("1h30m", "0.5s"); parts of a ns are dropped. Nothing
/// when it is none or exceeds a u64.
std::optional<uint64_t> ParseDuration(std::string_view text);

}  // namespace qor_sim
