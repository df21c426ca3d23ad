#include "CanFilters.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "simulator/Error.h"

namespace qor_linux {
namespace {

constexpr size_t kMostFilters = CAN_RAW_FILTER_MAX;  // of a socket

[[noreturn]] void Refuse(std::string_view one) {
  throw qor_sim::SourceError(
      "The option id can't have \"" + std::string(one) +
      "\": it takes ID, ID:MASK or ID~MASK in hexadecimal, three digits for a standard identifier, "
      "eight for an extended one, several joined by commas.");
}

struct Number {
  canid_t Value;
  bool Extended;
};

Number ParseNumber(std::string_view digits, std::string_view one) {
  Number number{0, digits.size() == 8};
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number.Value, 16);
  const canid_t greatest = number.Extended ? CAN_EFF_MASK : CAN_SFF_MASK;
  const bool length = number.Extended || (!digits.empty() && digits.size() <= 3);
  if (!length || error != std::errc{} || stop != end || number.Value > greatest) Refuse(one);
  return number;
}

can_filter ParseOne(std::string_view one) {
  const size_t mark = std::min(one.find_first_of(":~"), one.size());
  const Number id = ParseNumber(one.substr(0, mark), one);
  can_filter filter{id.Value, id.Extended ? CAN_EFF_MASK : CAN_SFF_MASK};
  if (mark < one.size()) {
    const Number mask = ParseNumber(one.substr(mark + 1), one);
    if (mask.Extended != id.Extended) Refuse(one);
    filter.can_mask = mask.Value;
    if (one[mark] == '~') filter.can_id |= CAN_INV_FILTER;
  }
  if (id.Extended) filter.can_id |= CAN_EFF_FLAG;
  filter.can_mask |= CAN_EFF_FLAG;  // a standard identifier is never an extended one
  return filter;
}

}  // namespace

std::vector<can_filter> ParseCanFilters(std::string_view text) {
  std::vector<can_filter> filters;
  for (;;) {
    const size_t comma = text.find(',');
    filters.push_back(ParseOne(text.substr(0, comma)));
    if (filters.size() > kMostFilters)
      throw qor_sim::SourceError("The option id takes at most " + std::to_string(kMostFilters) + " filters.");
    if (comma == std::string_view::npos) return filters;
    text.remove_prefix(comma + 1);
  }
}

}  // namespace qor_linux
