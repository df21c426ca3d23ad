// The words by which texts tell of losses, and how they are read back.
#pragma once

#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "stream/Description.h"

namespace client {

/// "311 items", or "an unknown number of items".
[[nodiscard]] std::string ItemsText(std::optional<unsigned long> count);

/// The cause in words: "capture buffer full". What became of the items is Fate().
[[nodiscard]] std::string CauseText(LossCause cause);
/// Reads such words, also with underlines; nothing for other ones.
[[nodiscard]] std::optional<LossCause> CauseFromText(std::string text);

// Each of these takes what it reads from the front of a line. False for another text; then the line is of no further use.

[[nodiscard]] bool TakeText(std::string_view& line, std::string_view text);

/// Digits alone, as many as there are.
template <class Number>
[[nodiscard]] bool TakeNumber(std::string_view& line, Number& number) {
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
  if (error != std::errc()) return false;
  line.remove_prefix(static_cast<size_t>(end - line.data()));
  return true;
}

/// "311 items ", "1 item ", or "an unknown number of items ".
[[nodiscard]] bool TakeItems(std::string_view& line, std::optional<unsigned long>& count);

/// What became of the items.
[[nodiscard]] bool TakeFate(std::string_view& line, LossCause& cause);

}  // namespace client
