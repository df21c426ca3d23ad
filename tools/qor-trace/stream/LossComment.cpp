#include "stream/LossComment.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "system/Units.h"

namespace client {

namespace {

constexpr unsigned long kSecond = 1'000'000'000;  // ns
constexpr size_t kDecimals = 9;
constexpr LossCause kCauses[] = {LossCause::CaptureBufferFull, LossCause::OverrunMark, LossCause::MemoryLimit,
                                 LossCause::DiskFull,          LossCause::Reordering,  LossCause::InterfaceGone};

/// Takes a text from the front. False if it isn't there.
bool Take(std::string_view& line, std::string_view text) {
  if (!line.starts_with(text)) return false;
  line.remove_prefix(text.size());
  return true;
}

template <class Number>
bool TakeNumber(std::string_view& line, Number& number) {
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
  if (error != std::errc()) return false;
  line.remove_prefix(static_cast<size_t>(end - line.data()));
  return true;
}

/// "1.500000000 s"
bool TakeSeconds(std::string_view& line, unsigned long& time) {
  unsigned long seconds = 0;
  unsigned long rest = 0;
  if (!TakeNumber(line, seconds) || !Take(line, ".")) return false;
  const size_t digits = line.size();
  if (!TakeNumber(line, rest) || digits - line.size() != kDecimals) return false;
  if (seconds >= std::numeric_limits<unsigned long>::max() / kSecond) return false;
  time = seconds * kSecond + rest;
  return Take(line, " s");
}

/// "311 items " or "an unknown number of items "
bool TakeCount(std::string_view& line, std::optional<unsigned long>& count) {
  if (Take(line, "an unknown number of items ")) return true;
  unsigned long number = 0;
  if (!TakeNumber(line, number)) return false;
  count = number;
  return Take(line, " items ") || Take(line, " item ");
}

bool TakeCause(std::string_view& line, LossCause& cause) {
  return std::any_of(std::begin(kCauses), std::end(kCauses), [&](LossCause known) {
    cause = known;
    return Take(line, Fate(known));
  });
}

}  // namespace

std::string LossComment(std::string_view bus, const Loss& loss) {
  return fmt::format("LOST on {} {}: {} {}, {} s to {} s", bus, loss.Channel,
                     loss.Count ? FormatCount(*loss.Count, "item", "items") : "an unknown number of items",
                     Fate(loss.Cause), FormatSeconds(loss.First), FormatSeconds(loss.Last));
}

std::optional<Loss> LossFromComment(std::string_view text) {
  Loss loss;
  if (!Take(text, "LOST on ")) return std::nullopt;
  text.remove_prefix(std::min(text.size(), text.find(' ')));
  const bool sound = Take(text, " ") && TakeNumber(text, loss.Channel) && Take(text, ": ") &&
                     TakeCount(text, loss.Count) && TakeCause(text, loss.Cause) && Take(text, ", ") &&
                     TakeSeconds(text, loss.First) && Take(text, " to ") && TakeSeconds(text, loss.Last);
  if (!sound || !text.empty() || loss.Channel == 0 || loss.Last < loss.First) return std::nullopt;
  return loss;
}

}  // namespace client
