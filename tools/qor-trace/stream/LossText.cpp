#include "stream/LossText.h"

#include <fmt/format.h>

#include "stream/LossWords.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr std::string_view kBegin = "LOST: ";
constexpr std::string_view kUncounted = "items ";  // in place of how many
constexpr std::string_view kTo = " to ";
constexpr unsigned long kLeftOut = 999;  // ns at most, in a time of whole microseconds

}  // namespace

std::string LossText(LossCause cause, std::optional<unsigned long> count, unsigned long first, unsigned long last) {
  const std::string items = count ? ItemsText(count) + " " : std::string(kUncounted);
  return fmt::format("{}{}{}, {}{}{}", kBegin, items, Fate(cause), FormatUtc(first), kTo, FormatUtc(last));
}

std::optional<Loss> LossFromText(std::string_view line) {
  Loss loss;
  if (!TakeText(line, kBegin)) return std::nullopt;
  if (!TakeText(line, kUncounted) && !TakeItems(line, loss.Count)) return std::nullopt;
  if (!TakeFate(line, loss.Cause) || !TakeText(line, ", ")) return std::nullopt;
  const size_t middle = line.find(kTo);
  if (middle == std::string_view::npos) return std::nullopt;
  const auto first = ParseWallClock(std::string(line.substr(0, middle)));
  const auto last = ParseWallClock(std::string(line.substr(middle + kTo.size())));
  if (!first || !last || *last < *first || *last > ~0ul - kLeftOut) return std::nullopt;
  loss.First = *first;
  loss.Last = *last + kLeftOut;
  return loss;
}

}  // namespace client
