#include "commands/StopArguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }

/// "10000 frames" -> 10000, if that is the unit.
std::optional<unsigned long> NumberOf(std::string_view text, std::initializer_list<std::string_view> units) {
  unsigned long number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  if (text.starts_with(' ')) text.remove_prefix(1);
  return std::find(units.begin(), units.end(), text) != units.end() ? std::optional(number) : std::nullopt;
}

/// What is missing or wrong in a text that is no limit.
std::string WhyNot(const std::string& text) {
  const size_t unit = std::min(text.find_first_not_of("0123456789."), text.size());
  if (unit == 0) return "it begins with no number";
  if (unit == text.size()) return "it is a number of what?";
  if (ParseSize(text)) return fmt::format("the size at character {} has no B at its end", unit + 1);
  return fmt::format("there is no unit \"{}\" (character {})", text.substr(unit), unit + 1);
}

void Set(std::optional<unsigned long>& limit, unsigned long value, const std::string& typed) {
  if (limit) throw UsageError(fmt::format("--stop-after \"{}\": there is a limit of this kind already", typed));
  if (value == 0) throw UsageError(fmt::format("--stop-after \"{}\" would leave nothing; give more than 0", typed));
  limit = value;
}

void AddLimit(StopLimits& limits, const std::string& typed) {
  const bool isBytes = !typed.empty() && (typed.back() == 'B' || typed.back() == 'b') && IsDigit(typed.front());
  if (const auto frames = NumberOf(typed, {"frames", "frame"})) return Set(limits.Frames, *frames, typed);
  if (const auto entries = NumberOf(typed, {"entries", "entry"})) return Set(limits.Entries, *entries, typed);
  if (const auto size = isBytes ? ParseSize(typed) : std::nullopt) return Set(limits.Bytes, *size, typed);
  if (const auto time = ParseDuration(typed)) return Set(limits.Time, *time, typed);
  throw UsageError(fmt::format(
      "--stop-after \"{}\" isn't understood: {}; write 10000frames, 10000entries, 500MB or 90s", typed, WhyNot(typed)));
}

}  // namespace

StopLimits StopLimitsOf(const std::vector<std::string>& typed) {
  StopLimits limits;
  for (const std::string& limit : typed) AddLimit(limits, limit);
  return limits;
}

}  // namespace client
