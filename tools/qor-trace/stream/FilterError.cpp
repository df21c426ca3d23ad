#include "stream/FilterError.h"

#include <algorithm>

#include "system/Printable.h"

namespace client {

namespace {

constexpr std::string_view kIndent = "  ";
constexpr std::string_view kMore = "...";

bool BeginsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

/// Characters of a printable text, one column each.
size_t Columns(std::string_view text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), BeginsCharacter));
}

/// The first characters, as many as fit; with dots at the end of what is cut.
std::string Front(std::string text, size_t columns) {
  if (Columns(text) <= columns) return text;
  size_t end = 0;
  for (size_t kept = columns - kMore.size(); end < text.size() && (kept > 0 || !BeginsCharacter(text[end])); ++end) {
    if (BeginsCharacter(text[end])) --kept;
  }
  return text.substr(0, end).append(kMore);
}

/// Likewise the last characters.
std::string Back(std::string text, size_t columns) {
  if (Columns(text) <= columns) return text;
  size_t begin = text.size();
  for (size_t kept = columns - kMore.size(); kept > 0; --kept) {
    do --begin;
    while (!BeginsCharacter(text[begin]));
  }
  return text.replace(0, begin, kMore);
}

}  // namespace

FilterError::FilterError(const std::string& sentence, std::string_view expression, size_t begin, size_t length)
    : UsageError(sentence),
      Expression(expression),
      PlaceBegin(std::min(begin, expression.size())),
      PlaceLength(std::min(length, expression.size() - PlaceBegin)) {}

std::string FilterError::Lines(size_t columns) const {
  const std::string_view expression = Expression;
  const size_t room = columns - kIndent.size() - 1;  // one for a mark past the end
  const std::string place = Front(Printable(expression.substr(PlaceBegin, PlaceLength)), room / 2);
  std::string before = Printable(expression.substr(0, PlaceBegin));
  std::string after = Printable(expression.substr(PlaceBegin + PlaceLength));
  const size_t left = room - Columns(place);
  const size_t beforeRoom = std::max(left / 2, left - std::min(left, Columns(after)));
  before = Back(std::move(before), beforeRoom);
  after = Front(std::move(after), left - Columns(before));
  const std::string marks(std::max<size_t>(Columns(place), 1), '^');
  return std::string(kIndent).append(before).append(place).append(after).append("\n").append(kIndent).append(
      std::string(Columns(before), ' ').append(marks));
}

}  // namespace client
