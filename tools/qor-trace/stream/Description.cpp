#include "stream/Description.h"

#include <fmt/format.h>

#include <algorithm>
#include <random>

namespace client {

TimeBase TimesOf(const Description& description) {
  if (const auto& anchor = description.Anchor) return {anchor->EntryTime, anchor->Utc};
  return {};
}

void SetFirstTime(Description& description, unsigned long firstTime, std::optional<unsigned long> utc) {
  if (description.Epoch == ClockEpoch::Unknown && CountsSince1970(firstTime)) description.Epoch = ClockEpoch::Since1970;
  auto& anchor = description.Anchor;
  if (!anchor && description.Epoch == ClockEpoch::Since1970)
    anchor = ClockAnchor{firstTime, firstTime, std::nullopt, AnchorOrigin::Clock};
  if (!utc) return;
  const unsigned long start = anchor ? anchor->EntryTime : 0;
  anchor = ClockAnchor{start, TimeBase{firstTime, *utc}.UtcOf(start), std::nullopt, AnchorOrigin::Given};
}

const ChannelDescription* FindChannel(const Description& description, unsigned int number) {
  const auto found = std::find_if(description.Channels.begin(), description.Channels.end(),
                                  [&](const ChannelDescription& channel) { return channel.Number == number; });
  return found == description.Channels.end() ? nullptr : &*found;
}

Description Renumbered(Description description, const ChannelNumbers& numbers) {
  for (ChannelDescription& channel : description.Channels) channel.Number = numbers.Of(channel.Number);
  std::sort(description.Channels.begin(), description.Channels.end(),
            [](const auto& left, const auto& right) { return left.Number < right.Number; });
  for (Loss& loss : description.Losses) loss.Channel = numbers.Of(loss.Channel);
  return description;
}

const char* Word(LossCause cause) {
  switch (cause) {
    case LossCause::CaptureBufferFull:
      return "capture_buffer_full";
    case LossCause::OverrunMark:
      return "overrun_mark";
    case LossCause::MemoryLimit:
      return "memory_limit";
    case LossCause::DiskFull:
      return "disk_full";
    case LossCause::Reordering:
      return "reordering";
    case LossCause::InterfaceGone:
      return "interface_gone";
  }
  return "";
}

const char* Fate(LossCause cause) {
  switch (cause) {
    case LossCause::CaptureBufferFull:
      return "found the capture buffer full";
    case LossCause::OverrunMark:
      return "are missing after an overrun mark";
    case LossCause::MemoryLimit:
      return "were dropped for newer ones";
    case LossCause::DiskFull:
      return "found the disk full";
    case LossCause::Reordering:
      return "came too late";
    case LossCause::InterfaceGone:
      return "are missing as the interface was gone";
  }
  return "";
}

std::vector<Loss> LossesBetween(const std::vector<Loss>& losses, unsigned long from, unsigned long to) {
  std::vector<Loss> between;
  for (Loss loss : losses) {
    if (loss.Last < from || loss.First >= to) continue;
    if (loss.First < from || loss.Last >= to) loss.Count.reset();
    loss.First = std::max(loss.First, from);
    loss.Last = std::min(loss.Last, to - 1);
    between.push_back(loss);
  }
  return between;
}

std::string MakeId() {
  std::random_device random;
  const auto digits = [&] { return random() & 0xFFFF; };
  return fmt::format("{:04x}{:04x}-{:04x}-{:04x}-{:04x}-{:04x}{:04x}{:04x}", digits(), digits(), digits(), digits(),
                     digits(), digits(), digits(), digits());
}

unsigned long DigestOf(const unsigned char* bytes, size_t size) {
  unsigned long digest = 0xCBF29CE484222325;
  for (size_t index = 0; index < size; ++index) digest = (digest ^ bytes[index]) * 0x100000001B3;
  return std::max(digest, 1ul);
}

}  // namespace client
