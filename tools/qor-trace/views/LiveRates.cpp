#include "views/LiveRates.h"

#include "stream/KindText.h"

namespace client {

namespace {

unsigned long FramesOf(const Counts& counts) { return counts.Received + counts.Transmitted; }

unsigned long ErrorsOf(const Counts& counts) {
  unsigned long errors = 0;
  for (size_t kind = 0; kind < kRecordKindCount; ++kind)
    if (IsError(static_cast<RecordKind>(kind))) errors += counts.OfKind[kind];
  return errors;
}

}  // namespace

void LiveRates::Roll(const Summary& summary, unsigned long now) {
  const unsigned long elapsed = now > RolledAt ? now - RolledAt : 0;
  if (Begun && elapsed < kWindow) return;
  const double seconds = static_cast<double>(elapsed) / 1e9;
  for (const auto& [number, channel] : summary.All()) {
    Then& then = Before[number];
    const unsigned long frames = FramesOf(channel.Counted);
    Rate& rate = Rates[number];
    if (Begun) rate.Frames = static_cast<double>(frames - then.Frames) / seconds;
    then.Frames = frames;
    for (size_t lane = 0; lane < kMostLanes; ++lane) {
      const double busy = channel.Load.BusyTime(lane);
      if (Begun) rate.Load[lane] = (busy - then.Busy[lane]) / static_cast<double>(elapsed) * 100;
      then.Busy[lane] = busy;
    }
  }
  const unsigned long entries = summary.Entries();
  if (Begun) Entries = static_cast<double>(entries - EntriesThen) / seconds;
  EntriesThen = entries;
  RolledAt = now;
  Begun = true;
}

void LiveRates::ResetCounts(const Summary& summary) {
  for (const auto& [number, channel] : summary.All()) ErrorsBefore[number] = ErrorsOf(channel.Counted);
}

std::vector<LiveChannel> LiveRates::Channels(const Summary& summary, const Description& known) const {
  std::map<unsigned int, LiveChannel> channels;
  for (const ChannelDescription& described : known.Channels) {
    LiveChannel& channel = channels[described.Number];
    channel.BusType = described.BusType;
    channel.Source = described.Source;
  }
  for (const auto& [number, counted] : summary.All()) {
    LiveChannel& channel = channels[number];
    if (counted.BusType) channel.BusType = counted.BusType;
    const auto errors = ErrorsBefore.find(number);
    channel.Errors = ErrorsOf(counted.Counted) - (errors == ErrorsBefore.end() ? 0 : errors->second);
  }
  for (const auto& [number, rate] : Rates) {
    channels[number].FramesPerSecond = rate.Frames;
    channels[number].Load = rate.Load;
  }
  for (const Loss& loss : known.Losses) {
    if (!IsMissing(loss.Cause)) continue;
    LiveChannel& channel = channels[loss.Channel];
    channel.Lost += loss.Count.value_or(0);
    if (!loss.Count) channel.LostUncounted = true;
  }
  std::vector<LiveChannel> list;
  for (auto& [number, channel] : channels) {
    channel.Number = number;
    list.push_back(std::move(channel));
  }
  return list;
}

}  // namespace client
