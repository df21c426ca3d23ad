#include "stream/LossText.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "system/Units.h"

namespace client {

namespace {

constexpr std::string_view kBegin = "LOST: ";
constexpr unsigned long kLeftOut = 999;  // ns at most, in a time of whole microseconds

constexpr LossCause kCauses[] = {LossCause::CaptureBufferFull, LossCause::OverrunMark, LossCause::MemoryLimit,
                                 LossCause::DiskFull,          LossCause::Reordering,  LossCause::InterfaceGone};

/// Takes a text from the front. False if it isn't there.
bool Take(std::string_view& line, std::string_view text) {
  if (!line.starts_with(text)) return false;
  line.remove_prefix(text.size());
  return true;
}

/// Takes "311 items " or "items ".
bool TakeCount(std::string_view& line, std::optional<unsigned long>& count) {
  if (Take(line, "items ")) return true;
  unsigned long number = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
  if (error != std::errc()) return false;
  line.remove_prefix(static_cast<size_t>(end - line.data()));
  count = number;
  return Take(line, " items ") || Take(line, " item ");
}

}  // namespace

std::string LossText(LossCause cause, std::optional<unsigned long> count, unsigned long first, unsigned long last) {
  return fmt::format("{}{} {}, {} to {}", kBegin, count ? FormatCount(*count, "item", "items") : "items", Fate(cause),
                     FormatUtc(first), FormatUtc(last));
}

std::optional<Loss> LossFromText(std::string_view line) {
  Loss loss;
  if (!Take(line, kBegin) || !TakeCount(line, loss.Count)) return std::nullopt;
  const auto* const found =
      std::find_if(std::begin(kCauses), std::end(kCauses), [&](LossCause cause) { return Take(line, Fate(cause)); });
  const size_t middle = line.find(" to ");
  if (found == std::end(kCauses) || !Take(line, ", ") || middle == std::string_view::npos) return std::nullopt;
  const auto first = ParseWallClock(std::string(line.substr(0, middle - 2)));
  const auto last = ParseWallClock(std::string(line.substr(middle + 2)));
  if (!first || !last || *last < *first || *last > ~0ul - kLeftOut) return std::nullopt;
  loss.Cause = *found;
  loss.First = *first;
  loss.Last = *last + kLeftOut;
  return loss;
}

}  // namespace client
