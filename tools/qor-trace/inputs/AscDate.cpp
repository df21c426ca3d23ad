#include "inputs/AscDate.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <string>

#include "inputs/TextScan.h"

namespace client {

namespace {

constexpr unsigned long kSecond = 1'000'000'000;  // ns

// English, then German where that is another one.
constexpr std::string_view kMonths[] = {"jan", "feb", "mar", "apr", "may", "jun", "jul", "aug",     "sep",
                                        "oct", "nov", "dec", "mrz", "mai", "okt", "dez", "m\u00e4r"};
constexpr int kMonthOf[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 2, 4, 9, 11, 2};
static_assert(std::size(kMonths) == std::size(kMonthOf));

std::string Lower(std::string_view word) {
  std::string lower(word);
  for (char& letter : lower)
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  return lower;
}

/// 0 to 11; by the first letters, so that whole names will do.
std::optional<int> MonthOf(std::string_view word) {
  const std::string lower = Lower(word);
  for (size_t place = 0; place < std::size(kMonths); ++place)
    if (lower.starts_with(kMonths[place])) return kMonthOf[place];
  return std::nullopt;
}

struct TimeOfDay {
  int Hour = 0, Minute = 0, Second = 0;
  unsigned long Nanoseconds = 0;
  bool HasFraction = false;
};

/// "09:00:19.123"
std::optional<TimeOfDay> TimeOf(std::string_view word) {
  if (word.size() < 8 || word[2] != ':' || word[5] != ':') return std::nullopt;
  const auto hour = NumberOf<unsigned int>(word.substr(0, 2), 10);
  const auto minute = NumberOf<unsigned int>(word.substr(3, 2), 10);
  TextScan scan(word.substr(6));
  const auto seconds = scan.TakeSeconds();
  if (!hour || !minute || !seconds || !scan.AtEnd()) return std::nullopt;
  if (*hour > 23 || *minute > 59 || *seconds >= 61 * kSecond) return std::nullopt;
  return TimeOfDay{static_cast<int>(*hour), static_cast<int>(*minute), static_cast<int>(*seconds / kSecond),
                   *seconds % kSecond, word.size() > 8};
}

/// "am", "p.m." and so on make 24 hours of 12. @return false for another word
bool TakeHalf(std::string_view word, int& hour) {
  std::string letters = Lower(word);
  std::erase(letters, '.');
  const bool before = letters == "am" || letters == "vorm";
  const bool after = letters == "pm" || letters == "nachm";
  if (before && hour == 12) hour = 0;
  if (after && hour < 12) hour += 12;  // some write 24 hours all the same
  return before || after;
}

/// Nothing for a date that there isn't, such as 31 April.
std::optional<unsigned long> UtcOf(const std::tm& local, unsigned long nanoseconds) {
  std::tm normal = local;
  normal.tm_isdst = -1;
  const std::time_t utc = std::mktime(&normal);
  if (utc < 0 || normal.tm_mday != local.tm_mday || normal.tm_mon != local.tm_mon) return std::nullopt;
  return static_cast<unsigned long>(utc) * kSecond + nanoseconds;
}

}  // namespace

std::optional<AscDate> ReadAscDate(std::string_view text) {
  constexpr unsigned int kFirstYear = 1970, kLastYear = 2500;
  TextScan scan(text);
  if (!MonthOf(scan.Peek())) scan.SkipWords(1);  // the day of the week
  const auto month = MonthOf(scan.Word());
  const auto day = scan.TakeNumber<unsigned int>(10, 31);
  const auto time = TimeOf(scan.Word());
  if (!month || !day || !time) return std::nullopt;
  std::tm local{};
  local.tm_mon = *month;
  local.tm_mday = static_cast<int>(*day);
  local.tm_hour = time->Hour;
  local.tm_min = time->Minute;
  local.tm_sec = time->Second;
  const bool halves = TakeHalf(scan.Peek(), local.tm_hour);
  if (halves) scan.SkipWords(1);
  const auto year = scan.TakeNumber<unsigned int>(10, kLastYear);
  if (!year || *year < kFirstYear || !scan.AtEnd()) return std::nullopt;
  local.tm_year = static_cast<int>(*year) - 1900;
  const auto utc = UtcOf(local, time->Nanoseconds);
  if (!utc) return std::nullopt;
  return AscDate{*utc, !halves && !time->HasFraction};
}

}  // namespace client
