#include "Numbers.h"

#include <charconv>
#include <limits>

namespace qor_sim {
namespace {

__extension__ using Wide = unsigned __int128;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

size_t CountDigits(std::string_view text) {
  size_t count = 0;
  while (count < text.size() && IsDigit(text[count])) ++count;
  return count;
}

std::optional<uint64_t> DigitsValue(std::string_view digits) {
  uint64_t value = 0;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, value);
  if (digits.empty() || result.ec != std::errc{} || result.ptr != end) return std::nullopt;
  return value;
}

uint32_t Billionths(std::string_view digits) {
  uint32_t value = 0;
  for (size_t i = 0; i < 9; ++i) value = value * 10 + (i < digits.size() ? static_cast<uint32_t>(digits[i] - '0') : 0);
  return value;
}

struct Unit {
  std::string_view Name;
  uint64_t Ns;
};
// Longer names before their beginnings.
constexpr Unit kUnits[] = {{"ns", 1},
                           {"us", 1'000},
                           {"ms", 1'000'000},
                           {"s", kNsPerSecond},
                           {"m", 60 * kNsPerSecond},
                           {"h", 3600 * kNsPerSecond}};

std::optional<uint64_t> TakeUnit(std::string_view& text) {
  for (const Unit& unit : kUnits) {
    if (text.substr(0, unit.Name.size()) != unit.Name) continue;
    text.remove_prefix(unit.Name.size());
    return unit.Ns;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Decimal> TakeDecimal(std::string_view& text) {
  const size_t wholeDigits = CountDigits(text);
  const auto whole = DigitsValue(text.substr(0, wholeDigits));
  if (!whole) return std::nullopt;
  std::string_view rest = text.substr(wholeDigits);
  Decimal number{*whole, 0};
  if (!rest.empty() && rest.front() == '.') {
    const size_t digits = CountDigits(rest.substr(1));
    if (digits == 0 || digits > 9) return std::nullopt;
    number.Billionths = Billionths(rest.substr(1, digits));
    rest.remove_prefix(1 + digits);
  }
  text = rest;
  return number;
}

std::optional<uint64_t> ParseUnsigned(std::string_view text) { return DigitsValue(text); }

std::optional<uint64_t> ParseDuration(std::string_view text) {
  constexpr uint64_t kGreatest = std::numeric_limits<uint64_t>::max();
  Wide total = 0;
  if (text.empty()) return std::nullopt;
  while (!text.empty()) {
    const auto number = TakeDecimal(text);
    const auto unit = number ? TakeUnit(text) : std::nullopt;
    if (!unit) return std::nullopt;
    total += Wide{number->Whole} * *unit + Wide{number->Billionths} * *unit / kNsPerSecond;
    if (total > kGreatest) return std::nullopt;
  }
  return static_cast<uint64_t>(total);
}

}  // namespace qor_sim
