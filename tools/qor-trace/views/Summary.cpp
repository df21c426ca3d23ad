#include "views/Summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "stream/DescriptionJson.h"
#include "views/SummaryText.h"

namespace client {

namespace {

void Extend(TimeSpan& span, unsigned long time, bool first) {
  span.First = first ? time : std::min(span.First, time);
  span.Last = first ? time : std::max(span.Last, time);
}

void Count(Counts& counts, const RecordView& record) {
  const RecordKind kind = record.Kind();
  ++counts.Entries;
  ++counts.OfKind[static_cast<size_t>(kind)];
  if (!IsFrame(kind)) return;
  ++(record.IsTransmitted() ? counts.Transmitted : counts.Received);
  if (record.Bus() == BusType_Ethernet) counts.FrameBytes += record.Ethernet().FrameLength;
}

}  // namespace

Counts& Counts::operator+=(const Counts& other) {
  Entries += other.Entries;
  Received += other.Received;
  Transmitted += other.Transmitted;
  FrameBytes += other.FrameBytes;
  for (size_t kind = 0; kind < kRecordKindCount; ++kind) OfKind[kind] += other.OfKind[kind];
  Lost += other.Lost;
  Overruns += other.Overruns;
  Late += other.Late;
  return *this;
}

void Summary::NameChannel(unsigned int channel, std::string source) { Channels[channel].Source = std::move(source); }

void Summary::SetLosses(std::vector<Loss> losses) {
  Losses = std::move(losses);
  for (const Loss& loss : Losses) {
    ChannelSummary& channel = Channels[loss.Channel];
    channel.Losses.push_back(loss);
    (IsMissing(loss.Cause) ? channel.Counted.Lost : channel.Counted.Late) += loss.Count.value_or(0);
  }
}

void Summary::SetTimes(TimeFormat format, const TimeBase& times) {
  Format = format;
  Moment = times;
}

bool Summary::Take(const RecordView& record) {
  if (Latest == nullptr || LatestChannel != record.ChannelId()) {
    Latest = &Channels[record.ChannelId()];
    LatestChannel = record.ChannelId();
  }
  ChannelSummary& channel = *Latest;
  if (!channel.BusType) channel.BusType = record.Bus();
  Extend(channel.Times, record.Timestamp(), channel.Counted.Entries == 0);
  Count(channel.Counted, record);
  channel.Load.Add(record, Bits);
  if (!record.HasOverrunMark()) return true;
  Extend(channel.OverrunTimes, record.Timestamp(), channel.Counted.Overruns == 0);
  ++channel.Counted.Overruns;
  return true;
}

unsigned long Summary::Entries() const {
  unsigned long entries = 0;
  for (const auto& [number, channel] : Channels) entries += channel.Counted.Entries;
  return entries;
}

unsigned long Summary::Lost() const {
  unsigned long lost = 0;
  for (const auto& [number, channel] : Channels) lost += channel.Counted.Lost;
  return lost;
}

void Summary::SetFound(std::string input, Findings found) {
  Input = std::move(input);
  Found = std::move(found);
}

bool Summary::Lossy() const {
  if (!Losses.empty() || !Unread.empty() || Found.Lossy()) return true;
  return std::any_of(Channels.begin(), Channels.end(),
                     [](const auto& item) { return item.second.Counted.Overruns > 0; });
}

bool Summary::Has(unsigned char busType) const {
  return std::any_of(Channels.begin(), Channels.end(),
                     [&](const auto& item) { return item.second.BusType == busType; });
}

std::optional<TimeSpan> Summary::Times() const {
  std::optional<TimeSpan> times;
  for (const auto& [number, channel] : Channels) {
    if (channel.Counted.Entries == 0) continue;
    if (!times) times = channel.Times;
    Extend(*times, channel.Times.First, false);
    Extend(*times, channel.Times.Last, false);
  }
  return times;
}

unsigned long Summary::Span() const {
  if (Covered) return *Covered;
  const auto times = Times();
  return times ? times->Last - times->First : 0;
}

std::map<unsigned char, Summary::BusSummary> Summary::Buses() const {
  std::map<unsigned char, BusSummary> buses;
  for (const auto& [number, channel] : Channels) {
    if (!channel.BusType) continue;
    BusSummary& bus = buses[*channel.BusType];
    ++bus.Channels;
    bus.Counted += channel.Counted;
  }
  return buses;
}

std::string Summary::Text() const {
  std::string text;
  for (const auto& [number, channel] : Channels) text += ChannelText(number, channel, Span(), {Format, Moment});
  for (const UnreadLines& lines : Unread) text += UnreadText(lines);
  for (const Finding& finding : Found.All()) text += fmt::format("{}: {}", Input, FindingText(finding));
  std::string rates;
  for (const auto& [busType, bus] : Buses()) {
    if (bus.Channels > 1) text += BusText(busType, bus.Channels, bus.Counted);
    rates += BitRateText(busType, Rates);
  }
  if (!rates.empty()) text += "bus load:" + rates.substr(1) + "\n";
  return text;
}

nlohmann::json Summary::ChannelsJson() const {
  nlohmann::json array = nlohmann::json::array();
  for (const auto& [number, channel] : Channels) array.push_back(ChannelJson(number, channel, Span(), Rates));
  return array;
}

nlohmann::json Summary::LossesJson() const { return client::LossesJson(Losses); }

nlohmann::json Summary::UnreadJson() const {
  nlohmann::json array = nlohmann::json::array();
  for (const UnreadLines& lines : Unread) array.push_back(client::UnreadJson(lines));
  return array;
}

nlohmann::json Summary::FoundJson() const {
  nlohmann::json array = nlohmann::json::array();
  for (const Finding& finding : Found.All()) array.push_back(FindingJson(finding));
  return array;
}

nlohmann::json Summary::BusesJson() const {
  nlohmann::json array = nlohmann::json::array();
  for (const auto& [busType, bus] : Buses()) array.push_back(BusJson(busType, bus.Channels, bus.Counted));
  return array;
}

}  // namespace client
