#include "system/Units.h"

#include <fmt/format.h>

#include <array>
#include <cctype>
#include <ctime>
#include <utility>

namespace client {

namespace {

bool IsDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

/// Takes digits from the front of `text`. Nothing without a digit, or beyond 64 bits.
std::optional<unsigned long> TakeNumber(std::string_view& text) {
  if (text.empty() || !IsDigit(text.front())) return std::nullopt;
  unsigned long number = 0;
  for (; !text.empty() && IsDigit(text.front()); text.remove_prefix(1)) {
    if (__builtin_mul_overflow(number, 10ul, &number)) return std::nullopt;
    if (__builtin_add_overflow(number, static_cast<unsigned long>(text.front() - '0'), &number)) return std::nullopt;
  }
  return number;
}

/// Takes ".digits", if it is there, from the front of `text`.
std::optional<std::string_view> TakeFraction(std::string_view& text) {
  if (text.empty() || text.front() != '.') return std::string_view();
  text.remove_prefix(1);
  size_t digits = 0;
  while (digits < text.size() && IsDigit(text[digits])) ++digits;
  if (digits == 0) return std::nullopt;
  const std::string_view fraction = text.substr(0, digits);
  text.remove_prefix(digits);
  return fraction;
}

/// Takes a unit of time from the front of `text`.
std::optional<unsigned long> TakeUnit(std::string_view& text) {
  constexpr std::pair<std::string_view, unsigned long> kUnits[] = {
      {"ns", 1}, {"us", 1000}, {"ms", 1000000}, {"s", 1000000000}, {"m", 60000000000}, {"h", 3600000000000}};
  for (const auto& [name, ns] : kUnits) {
    if (!text.starts_with(name)) continue;
    text.remove_prefix(name.size());
    return ns;
  }
  return std::nullopt;
}

/// Bytes of "", "B", "M", "MiB" (powers of 1024) or "MB" (of 1000).
std::optional<unsigned long> UnitOfSize(std::string_view text) {
  std::string unit(text);
  for (char& c : unit) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (unit.empty() || unit == "B") return 1;
  const auto power = std::string_view("KMGT").find(unit.front());
  if (power == std::string_view::npos) return std::nullopt;
  const std::string_view rest = std::string_view(unit).substr(1);
  if (!rest.empty() && rest != "B" && rest != "IB") return std::nullopt;
  unsigned long bytes = 1;
  for (size_t step = 0; step <= power; ++step) bytes *= rest == "B" ? 1000 : 1024;
  return bytes;
}

unsigned long FractionOf(unsigned long unit, std::string_view fraction) {
  unsigned long ns = 0;
  for (const char digit : fraction) {
    unit /= 10;
    ns += unit * static_cast<unsigned long>(digit - '0');
  }
  return ns;
}

}  // namespace

std::optional<unsigned long> ParseSize(std::string_view text) {
  const std::optional<unsigned long> number = TakeNumber(text);
  const auto unit = number ? UnitOfSize(text) : std::nullopt;
  unsigned long bytes = 0;
  if (!unit || __builtin_mul_overflow(*number, *unit, &bytes)) return std::nullopt;
  return bytes;
}

std::optional<unsigned long> ParseDuration(std::string_view text) {
  if (text.empty()) return std::nullopt;
  unsigned long total = 0;
  while (!text.empty()) {
    const auto number = TakeNumber(text);
    const auto fraction = number ? TakeFraction(text) : std::nullopt;
    const auto unit = fraction ? TakeUnit(text) : std::nullopt;
    if (!unit) return std::nullopt;
    unsigned long ns = 0;
    if (__builtin_mul_overflow(*number, *unit, &ns)) return std::nullopt;
    if (__builtin_add_overflow(ns, FractionOf(*unit, *fraction), &ns)) return std::nullopt;
    if (__builtin_add_overflow(total, ns, &total)) return std::nullopt;
  }
  return total;
}

namespace {

/// "Z", "+02:00", "-0330" -> s ahead of UTC; nothing for another text.
std::optional<long> ParseZone(std::string_view text) {
  if (text == "Z") return 0;
  if (text.size() == 6 && text[3] == ':') return ParseZone(fmt::format("{}{}", text.substr(0, 3), text.substr(4)));
  if (text.size() != 5 || (text[0] != '+' && text[0] != '-')) return std::nullopt;
  if (text.find_first_not_of("0123456789", 1) != std::string_view::npos) return std::nullopt;
  const auto digits = [&](size_t place) { return (text[place] - '0') * 10l + (text[place + 1] - '0'); };
  if (digits(1) > 23 || digits(3) > 59) return std::nullopt;
  return (text[0] == '-' ? -60 : 60) * (60 * digits(1) + digits(3));
}

}  // namespace

std::optional<unsigned long> ParseWallClock(const std::string& text) {
  struct tm time {};
  const char* const end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &time);
  if (end == nullptr) return std::nullopt;
  std::string_view rest = end;
  const auto fraction = TakeFraction(rest);
  const auto zone = rest.empty() ? 0 : ParseZone(rest);
  if (!fraction || !zone) return std::nullopt;
  time.tm_isdst = -1;  // the system knows
  const time_t seconds = rest.empty() ? mktime(&time) : timegm(&time) - *zone;
  unsigned long ns = 0;
  if (seconds < 0 || __builtin_mul_overflow(static_cast<unsigned long>(seconds), 1000000000ul, &ns))
    return std::nullopt;
  return ns + FractionOf(1000000000, *fraction);
}

namespace {

std::string FormatWallClock(const struct tm& time, unsigned long ns) {
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:06}", time.tm_year + 1900, time.tm_mon + 1, time.tm_mday,
                     time.tm_hour, time.tm_min, time.tm_sec, ns / 1000 % 1000000);
}

}  // namespace

std::string FormatUtc(unsigned long ns) {
  const auto seconds = static_cast<time_t>(ns / 1000000000);
  struct tm time {};
  gmtime_r(&seconds, &time);
  return FormatWallClock(time, ns) + "Z";
}

std::string FormatLocal(unsigned long ns) {
  const auto seconds = static_cast<time_t>(ns / 1000000000);
  struct tm time {};
  localtime_r(&seconds, &time);
  return FormatWallClock(time, ns);
}

std::string FormatSeconds(unsigned long ns) { return fmt::format("{}.{:09}", ns / 1000000000, ns % 1000000000); }

std::string FormatElapsed(unsigned long ns) {
  const unsigned long tenths = ns / 100000000;
  const unsigned long seconds = tenths / 10 % 60, minutes = tenths / 600 % 60, hours = tenths / 36000;
  if (hours > 0) return fmt::format("{}:{:02}:{:02}.{}", hours, minutes, seconds, tenths % 10);
  return fmt::format("{}:{:02}.{}", minutes, seconds, tenths % 10);
}

std::string FormatCount(unsigned long count, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

std::string FormatSize(unsigned long bytes) {
  constexpr std::string_view kUnits = "KMGT";
  unsigned long whole = bytes, rest = 0;  // rest: 1024ths
  size_t unit = 0;
  for (; unit < kUnits.size() && whole >= 1024; ++unit) {
    rest = whole % 1024;
    whole /= 1024;
  }
  if (unit == 0) return FormatCount(bytes, "byte", "bytes");
  const unsigned long tenths = rest * 10 / 1024;
  const std::string decimal = tenths == 0 ? "" : fmt::format(".{}", tenths);
  return fmt::format("{}{}{}", whole, decimal, kUnits[unit - 1]);
}

}  // namespace client
