#include "stream/LossWords.h"

#include <algorithm>
#include <array>

#include "system/Units.h"

namespace client {

namespace {

constexpr const char* kUncounted = "an unknown number of items";
constexpr std::array kCauses = {LossCause::CaptureBufferFull, LossCause::OverrunMark, LossCause::MemoryLimit,
                                LossCause::DiskFull,          LossCause::Reordering,  LossCause::InterfaceGone};

}  // namespace

std::string ItemsText(std::optional<unsigned long> count) {
  return count ? FormatCount(*count, "item", "items") : kUncounted;
}

std::string CauseText(LossCause cause) {
  std::string text = Word(cause);
  std::replace(text.begin(), text.end(), '_', ' ');
  return text;
}

std::optional<LossCause> CauseFromText(std::string text) {
  std::replace(text.begin(), text.end(), ' ', '_');
  const auto* const found =
      std::find_if(kCauses.begin(), kCauses.end(), [&](LossCause cause) { return text == Word(cause); });
  return found == kCauses.end() ? std::nullopt : std::optional(*found);
}

bool TakeText(std::string_view& line, std::string_view text) {
  if (!line.starts_with(text)) return false;
  line.remove_prefix(text.size());
  return true;
}

bool TakeItems(std::string_view& line, std::optional<unsigned long>& count) {
  count.reset();
  if (TakeText(line, kUncounted)) return TakeText(line, " ");
  unsigned long number = 0;
  if (!TakeNumber(line, number)) return false;
  count = number;
  return TakeText(line, " items ") || TakeText(line, " item ");
}

bool TakeFate(std::string_view& line, LossCause& cause) {
  return std::any_of(kCauses.begin(), kCauses.end(), [&](LossCause known) {
    cause = known;
    return TakeText(line, Fate(known));
  });
}

}  // namespace client
