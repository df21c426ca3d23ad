#include "outputs/AscClock.h"

#include <fmt/format.h>

#include <ctime>

namespace client {

namespace {

constexpr unsigned long kMillisecond = 1'000'000;  // ns
constexpr unsigned long kSecond = 1'000'000'000;   // ns

}  // namespace

AscClock::AscClock(const AscStart& start, int decimals, bool relative)
    : Start(start), Offset(start.Utc % kMillisecond), TickLength(decimals == 9 ? 1 : 1000), Relative(relative) {}

// By tables: the C library's names depend on the locale, and readers know the English ones.
std::string AscClock::Date() const {
  constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const auto seconds = static_cast<std::time_t>(Start.Utc / kSecond);
  std::tm local{};
  localtime_r(&seconds, &local);
  return fmt::format("{} {} {:02} {:02}:{:02}:{:02}.{:03} {} {}", kDays[local.tm_wday], kMonths[local.tm_mon],
                     local.tm_mday, (local.tm_hour + 11) % 12 + 1, local.tm_min, local.tm_sec,
                     Start.Utc % kSecond / kMillisecond, local.tm_hour < 12 ? "am" : "pm", local.tm_year + 1900);
}

}  // namespace client
