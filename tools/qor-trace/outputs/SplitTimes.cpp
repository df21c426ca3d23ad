#include "outputs/SplitTimes.h"

#include <algorithm>
#include <ctime>

namespace client {

namespace {

constexpr unsigned long kSecond = 1'000'000'000;  // ns
constexpr unsigned long kDay = 86400 * kSecond;
constexpr unsigned long kNever = ~0ul;

unsigned long Sum(unsigned long time, unsigned long more) { return time > kNever - more ? kNever : time + more; }

unsigned long NextMultiple(unsigned long time, unsigned long period) { return Sum(time - time % period, period); }

/// The moment, ns since 1970, at which the clocks show a time of that day.
unsigned long OfLocalDay(std::tm day, unsigned long sinceMidnight) {
  const unsigned long seconds = sinceMidnight / kSecond;
  day.tm_hour = static_cast<int>(seconds / 3600);
  day.tm_min = static_cast<int>(seconds / 60 % 60);
  day.tm_sec = static_cast<int>(seconds % 60);
  day.tm_isdst = -1;
  const std::time_t moment = std::mktime(&day);
  return (moment < 0 ? 0 : static_cast<unsigned long>(moment) * kSecond) + sinceMidnight % kSecond;
}

/// The end of the period in local time that a moment lies in.
unsigned long LocalEnd(unsigned long utc, unsigned long period) {
  const auto seconds = static_cast<std::time_t>(utc / kSecond);
  std::tm local{};
  localtime_r(&seconds, &local);
  const int shown = local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
  unsigned long end = static_cast<unsigned long>(shown) * kSecond + utc % kSecond;
  // Where the clocks are put back, a time of the day comes twice: the first one that lies ahead is meant.
  do {
    end = std::min(NextMultiple(end, period), kDay);
    if (const unsigned long moment = OfLocalDay(local, end); moment > utc) return moment;
  } while (end < kDay);
  return NextMultiple(utc, period);
}

}  // namespace

void SplitTimes::Begin(unsigned long first, const TimeBase& times) {
  First = first;
  Times = times;
}

unsigned long SplitTimes::EndAfter(unsigned long time) const {
  if (Grid == SplitGrid::FirstEntry) return Sum(First, NextMultiple(time - std::min(time, First), Period));
  const unsigned long utc = Times.UtcOf(time);
  const unsigned long end = Grid == SplitGrid::Utc ? NextMultiple(utc, Period) : LocalEnd(utc, Period);
  return Sum(time, end - utc);
}

}  // namespace client
