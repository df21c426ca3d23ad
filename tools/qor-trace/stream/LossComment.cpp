#include "stream/LossComment.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "stream/LossWords.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr unsigned long kSecond = 1'000'000'000;  // ns
constexpr size_t kDecimals = 9;

/// "1.500000000 s"
bool TakeSeconds(std::string_view& line, unsigned long& time) {
  unsigned long seconds = 0;
  unsigned long rest = 0;
  if (!TakeNumber(line, seconds) || !TakeText(line, ".")) return false;
  const size_t digits = line.size();
  if (!TakeNumber(line, rest) || digits - line.size() != kDecimals) return false;
  if (seconds >= std::numeric_limits<unsigned long>::max() / kSecond) return false;
  time = seconds * kSecond + rest;
  return TakeText(line, " s");
}

}  // namespace

std::string LossComment(std::string_view bus, const Loss& loss) {
  return fmt::format("LOST on {} {}: {} {}, {} s to {} s", bus, loss.Channel, ItemsText(loss.Count), Fate(loss.Cause),
                     FormatSeconds(loss.First), FormatSeconds(loss.Last));
}

std::optional<Loss> LossFromComment(std::string_view text) {
  Loss loss;
  if (!TakeText(text, "LOST on ")) return std::nullopt;
  text.remove_prefix(std::min(text.size(), text.find(' ')));
  const bool sound = TakeText(text, " ") && TakeNumber(text, loss.Channel) && TakeText(text, ": ") &&
                     TakeItems(text, loss.Count) && TakeFate(text, loss.Cause) && TakeText(text, ", ") &&
                     TakeSeconds(text, loss.First) && TakeText(text, " to ") && TakeSeconds(text, loss.Last);
  if (!sound || !text.empty() || loss.Channel == 0 || loss.Last < loss.First) return std::nullopt;
  return loss;
}

}  // namespace client
