#include "views/TimeAxis.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>

#include "system/Units.h"
#include "views/TimeBins.h"

namespace client {

namespace {

/// Distances between ticks, ns: multiples of these are round times.
constexpr unsigned long kSteps[] = {
    kSecond,     2 * kSecond,  5 * kSecond,  10 * kSecond, 20 * kSecond, 30 * kSecond, kMinute,      2 * kMinute,
    5 * kMinute, 10 * kMinute, 20 * kMinute, 30 * kMinute, kHour,        2 * kHour,    3 * kHour,    6 * kHour,
    12 * kHour,  kDay,         2 * kDay,     5 * kDay,     10 * kDay,    20 * kDay,    50 * kDay,    100 * kDay,
    200 * kDay,  500 * kDay,   1000 * kDay,  2000 * kDay,  5000 * kDay,  10000 * kDay, 20000 * kDay,
};
constexpr unsigned long kClockFrom = 2 * kMinute;  // from this length on, seconds are shown by minutes and hours

bool Fits(unsigned long span, unsigned long step) { return span / step < TimeAxis::kMostTicks; }

unsigned long StepOf(unsigned long span) {
  for (unsigned long decade = 1; decade < kSecond; decade *= 10)
    for (const unsigned long factor : {1ul, 2ul, 5ul})
      if (Fits(span, decade * factor)) return decade * factor;
  for (const unsigned long step : kSteps)
    if (Fits(span, step)) return step;
  return 100000 * kDay;
}

bool IsWallClock(TimeFormat format) { return format == TimeFormat::Utc || format == TimeFormat::Local; }

/// ns that local time is ahead of UTC.
long AheadOfUtc(unsigned long utc) {
  const auto seconds = static_cast<std::time_t>(utc / kSecond);
  std::tm fields = {};
  localtime_r(&seconds, &fields);
  return fields.tm_gmtoff * static_cast<long>(kSecond);
}

/// The number that a tick shows, ns.
long ShownTime(unsigned long time, const ShownTimes& times) {
  if (times.Format == TimeFormat::Relative) return times.Moment.SinceStart(time);
  const unsigned long utc = times.Moment.UtcOf(time);
  return static_cast<long>(utc) + (times.Format == TimeFormat::Local ? AheadOfUtc(utc) : 0);
}

/// Digits after the point that multiples of a step need.
int DecimalsOf(unsigned long step) {
  int decimals = 9;
  for (; decimals > 0 && step % 10 == 0; step /= 10) --decimals;
  return decimals;
}

std::string Cut(const std::string& seconds, int decimals) {
  const size_t point = seconds.rfind('.');
  return seconds.substr(0, decimals == 0 ? point : point + 1 + static_cast<size_t>(decimals));
}

std::string SecondsTick(long ns, unsigned long step) {
  const std::string sign = ns < 0 ? "-" : "";
  const unsigned long length = ns < 0 ? 0 - static_cast<unsigned long>(ns) : static_cast<unsigned long>(ns);
  return sign + Cut(FormatSeconds(length), DecimalsOf(step));
}

/// "1:30", "1:02:00"
std::string ClockTick(long ns, bool hours) {
  const std::string sign = ns < 0 ? "-" : "";
  const unsigned long seconds =
      (ns < 0 ? 0 - static_cast<unsigned long>(ns) : static_cast<unsigned long>(ns)) / kSecond;
  if (!hours) return fmt::format("{}{}:{:02}", sign, seconds / 60, seconds % 60);
  return fmt::format("{}{}:{:02}:{:02}", sign, seconds / 3600, seconds / 60 % 60, seconds % 60);
}

/// "2026-11-21T14:30:01.500000", without a Z.
std::string WallClock(unsigned long time, const ShownTimes& times) {
  const unsigned long utc = times.Moment.UtcOf(time);
  std::string text = times.Format == TimeFormat::Local ? FormatLocal(utc) : FormatUtc(utc);
  if (text.ends_with('Z')) text.pop_back();
  return text;
}

/// The time of day, and the day where it is another one than that of the tick before.
std::string WallClockTick(const std::string& moment, unsigned long step, const std::string& dayBefore) {
  std::string day = moment.substr(0, 10);
  if (step >= kDay) return day;
  std::string time = moment.substr(11);
  time = step >= kMinute ? time.substr(0, 5) : Cut(time, std::min(DecimalsOf(step), 6));
  return day == dayBefore ? time : day.substr(5) + " " + time;
}

std::string CaptionOf(const ShownTimes& times, const std::string& day, bool clock, bool hours) {
  switch (times.Format) {
    case TimeFormat::Relative:
      if (!clock) return "seconds since the start of the recording";
      return fmt::format("{}minutes:seconds since the start of the recording", hours ? "hours:" : "");
    case TimeFormat::Utc:
      return "UTC, from " + day + " on";
    case TimeFormat::Local:
      return "local time, from " + day + " on";
    case TimeFormat::Epoch:
      return "seconds since 1970";
  }
  return "";
}

}  // namespace

std::string MomentText(unsigned long time, const ShownTimes& times) {
  std::string text = TimeText(time, times.Format, times.Moment);
  if (IsWallClock(times.Format)) return text;
  std::string seconds = Cut(text, 6) + " s";
  const long since = times.Moment.SinceStart(time);
  if (times.Format == TimeFormat::Epoch || since < static_cast<long>(kClockFrom)) return seconds;
  return fmt::format("{} ({})", seconds, ClockTick(since, since >= static_cast<long>(kHour)));
}

std::string DurationText(double ns) {
  constexpr double kBelow = 0.99995;  // what is more is rounded to the next unit
  if (ns < kBelow * 1e3) return fmt::format("{:.4g} ns", ns);
  if (ns < kBelow * 1e6) return fmt::format("{:.4g} µs", ns / 1e3);
  if (ns < kBelow * 1e9) return fmt::format("{:.4g} ms", ns / 1e6);
  if (ns < kClockFrom) return fmt::format("{:.4g} s", ns / 1e9);
  if (ns >= 2.0 * kDay) return fmt::format("{:.4g} d", ns / kDay);
  const auto whole = static_cast<unsigned long>(ns);
  return FormatElapsed(whole) + (whole < kHour ? " min" : " h");
}

TimeAxis::TimeAxis(unsigned long first, unsigned long end, const ShownTimes& times) : Begin(first), Limit(end) {
  const unsigned long span = Limit - Begin;
  const unsigned long step = StepOf(span);
  const bool clock = span >= kClockFrom && step >= kSecond;
  const bool hours = span >= kHour || times.Moment.SinceStart(Limit) >= static_cast<long>(kHour);
  std::string day = IsWallClock(times.Format) ? WallClock(Begin, times).substr(0, 10) : "";
  Words = CaptionOf(times, day, clock, hours);
  const long over = ShownTime(Begin, times) % static_cast<long>(step);
  const unsigned long toFirst = over == 0  ? 0
                                : over < 0 ? 0ul - static_cast<unsigned long>(over)
                                           : step - static_cast<unsigned long>(over);
  for (unsigned long offset = toFirst; offset <= span; offset += step) {
    const unsigned long time = Begin + offset;
    Tick tick{static_cast<double>(offset) / static_cast<double>(span)};
    if (IsWallClock(times.Format)) {
      const std::string moment = WallClock(time, times);
      tick.Text = WallClockTick(moment, step, day);
      day = moment.substr(0, 10);
    } else if (times.Format == TimeFormat::Relative && clock) {
      tick.Text = ClockTick(ShownTime(time, times), hours);
    } else {
      tick.Text = SecondsTick(ShownTime(time, times), step);
    }
    Marks.push_back(std::move(tick));
    if (offset > span - std::min(span, step)) break;  // the next one would be past 64 bits or the end
  }
}

double TimeAxis::PlaceOf(unsigned long time) const {
  if (time <= Begin) return 0;
  if (time >= Limit) return 1;
  return static_cast<double>(time - Begin) / static_cast<double>(Limit - Begin);
}

}  // namespace client
