#include "views/ChannelTimes.h"

#include <algorithm>

#include "stream/KindText.h"

namespace client {

ChannelActivity* ChannelTimes::ChannelOf(const RecordView& record) {
  const unsigned int number = record.ChannelId();
  if (Latest != Channels.end() && Latest->first == number) return &Latest->second;
  const auto known = Channels.find(number);
  if (known == Channels.end() && Channels.size() == kMost) return nullptr;
  if (known != Channels.end()) {
    Latest = known;
  } else {
    Latest = Channels.try_emplace(number, RatesOf(number, record.Bus())).first;
    Latest->second.Bus = record.Bus();
    Latest->second.First = record.Timestamp();
  }
  return &Latest->second;
}

bool ChannelTimes::Take(const RecordView& record) {
  ChannelActivity* const channel = ChannelOf(record);
  if (channel == nullptr) {
    ++Further;
    return true;
  }
  const unsigned long time = record.Timestamp();
  channel->First = std::min(channel->First, time);
  channel->Last = std::max(channel->Last, time);
  channel->Entries.Add(time);
  const LaneTimes taken = BusTimeOf(record, channel->Bits);
  channel->Load.Add(taken);
  for (size_t lane = 0; lane < kMostLanes; ++lane) channel->Curves[lane].Add(time, taken[lane]);
  const RecordKind kind = record.Kind();
  if (kind == RecordKind::CanEvent || kind == RecordKind::LinEvent) ++channel->Events.At(time);
  if (!IsError(kind)) return true;
  ++channel->Errors.At(time);
  KindPlaces& places = channel->ErrorKinds[kind];
  if (places.Count++ == 0) places.First = time;
  places.Last = time;
  return true;
}

void ChannelTimes::Finish() {
  for (auto& [number, channel] : Channels)
    for (LoadCurve& curve : channel.Curves) curve.Finish();
  const unsigned long width = BinWidth();
  for (auto& [number, channel] : Channels) {
    for (LoadCurve& curve : channel.Curves) curve.Widen(width);
    channel.Errors.Widen(width);
    channel.Events.Widen(width);
  }
}

unsigned long ChannelTimes::First() const {
  unsigned long first = Channels.empty() ? 0 : ~0ul;
  for (const auto& [number, channel] : Channels) first = std::min(first, channel.First);
  return first;
}

unsigned long ChannelTimes::Last() const {
  unsigned long last = 0;
  for (const auto& [number, channel] : Channels) last = std::max(last, channel.Last);
  return last;
}

unsigned long ChannelTimes::End() const {
  unsigned long end = Last();
  for (const auto& [number, channel] : Channels)
    for (const LoadCurve& curve : channel.Curves) end = std::max(end, curve.End());
  return end;
}

unsigned long ChannelTimes::BinWidth() const {
  unsigned long width = kBinWidths[0];
  for (const auto& [number, channel] : Channels) {
    for (const LoadCurve& curve : channel.Curves) width = std::max(width, curve.Bins().Width());
    width = std::max({width, channel.Errors.Width(), channel.Events.Width()});
  }
  return width;
}

Silences ChannelTimes::SilencesOf(const ChannelActivity& channel) const {
  const unsigned long count = channel.Entries.Count();
  if (count < Intervals::kLeast) return {};
  const LogHistogram& lengths = channel.Entries.Histogram();
  // The longest one never says by itself what is usual.
  const unsigned long rank = std::min(count - 1, (count * 99 + 99) / 100);
  const unsigned long usual = LogHistogram::LowerEdge(lengths.AtRank(rank).Index + 1);
  const unsigned long least = std::max(kShortestSilence, usual > ~0ul / kSilenceFactor ? ~0ul : usual * kSilenceFactor);
  const unsigned int index = LogHistogram::IndexOf(least - 1) + 1;  // at an edge, so that they can be counted
  Silences silences{.Limit = LogHistogram::LowerEdge(index), .Count = lengths.CountFrom(index)};
  for (const Interval& interval : channel.Entries.Longest())
    if (interval.Length >= silences.Limit) silences.All.push_back({interval.Begin(), interval.End});
  const auto add = [&](unsigned long from, unsigned long to, Silence::Place where) {
    if (to - from < silences.Limit) return;
    silences.All.push_back({from, to, where});
    ++silences.Count;
  };
  add(First(), channel.First, Silence::Place::AtBegin);
  add(channel.Last, Last(), Silence::Place::AtEnd);
  std::sort(silences.All.begin(), silences.All.end(),
            [](const Silence& one, const Silence& other) { return one.From < other.From; });
  return silences;
}

}  // namespace client
