#include "Summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "Units.h"

namespace client {

namespace {

void Extend(TimeSpan& span, unsigned long time, bool first) {
  span.First = first ? time : std::min(span.First, time);
  span.Last = first ? time : std::max(span.Last, time);
}

void CountCan(ChannelSummary& channel, const CanEntry& can, unsigned long time) {
  if (can.Has(QOR_TRACE_CAN_TRIGGER))
    ++channel.Events;
  else if (can.Has(QOR_TRACE_CAN_ERROR))
    ++channel.Errors;
  else if (can.Has(QOR_TRACE_CAN_TRANSMITTED))
    ++channel.Transmitted;
  else
    ++channel.Received;
  if (!can.Has(QOR_TRACE_CAN_OVERRUN)) return;
  Extend(channel.OverrunTimes, time, channel.Overruns == 0);
  ++channel.Overruns;
}

std::string SpanText(const TimeSpan& span) {
  if (span.First == span.Last) return fmt::format("at {} s", FormatSeconds(span.First));
  return fmt::format("{} s to {} s", FormatSeconds(span.First), FormatSeconds(span.Last));
}

std::string ChannelText(unsigned int number, const ChannelSummary& channel) {
  std::string text = fmt::format("channel {}: {}\n", number, channel.Source);
  text += fmt::format("  {} received, {} transmitted, {}", FormatCount(channel.Received, "frame", "frames"),
                      channel.Transmitted, FormatCount(channel.Errors, "error frame", "error frames"));
  if (channel.Events > 0) text += fmt::format(", {}", FormatCount(channel.Events, "event", "events"));
  if (channel.Entries > 0) text += fmt::format(", {}", SpanText(channel.Times));
  text += "\n";
  if (channel.Lost > 0)
    text += fmt::format("  LOST: {} found the capture buffer full, {}\n", FormatCount(channel.Lost, "item", "items"),
                        SpanText(channel.LostTimes));
  if (channel.Overruns > 0)
    text += fmt::format("  LOST: {}, after which data are missing, {}\n",
                        FormatCount(channel.Overruns, "overrun mark", "overrun marks"), SpanText(channel.OverrunTimes));
  return text;
}

/// Adds "first_<name>" and "last_<name>", null if there was nothing.
void AddTimes(nlohmann::json& json, const TimeSpan& span, bool any) {
  json["first_time_ns"] = any ? nlohmann::json(span.First) : nlohmann::json();
  json["last_time_ns"] = any ? nlohmann::json(span.Last) : nlohmann::json();
}

nlohmann::json ChannelJson(unsigned int number, const ChannelSummary& channel) {
  nlohmann::json json = {{"channel", number},
                         {"source", channel.Source},
                         {"entries", channel.Entries},
                         {"received", channel.Received},
                         {"transmitted", channel.Transmitted},
                         {"error_frames", channel.Errors},
                         {"events", channel.Events}};
  AddTimes(json, channel.Times, channel.Entries > 0);
  json["lost"] = {{"count", channel.Lost}};
  AddTimes(json["lost"], channel.LostTimes, channel.Lost > 0);
  json["overruns"] = {{"count", channel.Overruns}};
  AddTimes(json["overruns"], channel.OverrunTimes, channel.Overruns > 0);
  return json;
}

}  // namespace

void Summary::NameChannel(unsigned int channel, std::string source) { Channels[channel].Source = std::move(source); }

void Summary::SetLost(unsigned int channel, unsigned long count, TimeSpan times) {
  Channels[channel].Lost = count;
  Channels[channel].LostTimes = times;
}

bool Summary::Take(const unsigned char* record, unsigned int length) {
  const EntryHeader header = ReadHeader(record);
  if (Latest == nullptr || LatestChannel != header.ChannelId) {
    Latest = &Channels[header.ChannelId];
    LatestChannel = header.ChannelId;
  }
  Extend(Latest->Times, header.Timestamp, Latest->Entries == 0);
  ++Latest->Entries;
  if (const auto can = ReadCan(record, length)) CountCan(*Latest, *can, header.Timestamp);
  return true;
}

unsigned long Summary::Entries() const {
  unsigned long entries = 0;
  for (const auto& [number, channel] : Channels) entries += channel.Entries;
  return entries;
}

unsigned long Summary::Lost() const {
  unsigned long lost = 0;
  for (const auto& [number, channel] : Channels) lost += channel.Lost;
  return lost;
}

std::map<unsigned int, unsigned long> Summary::LostItems() const {
  std::map<unsigned int, unsigned long> items;
  for (const auto& [number, channel] : Channels) items[number] = channel.Lost;
  return items;
}

bool Summary::Lossy() const {
  return std::any_of(Channels.begin(), Channels.end(),
                     [](const auto& item) { return item.second.Lost > 0 || item.second.Overruns > 0; });
}

std::optional<TimeSpan> Summary::Times() const {
  std::optional<TimeSpan> times;
  for (const auto& [number, channel] : Channels) {
    if (channel.Entries == 0) continue;
    if (!times) times = channel.Times;
    Extend(*times, channel.Times.First, false);
    Extend(*times, channel.Times.Last, false);
  }
  return times;
}

std::string Summary::Text() const {
  std::string text;
  for (const auto& [number, channel] : Channels) text += ChannelText(number, channel);
  return text;
}

nlohmann::json Summary::Json() const {
  nlohmann::json array = nlohmann::json::array();
  for (const auto& [number, channel] : Channels) array.push_back(ChannelJson(number, channel));
  return array;
}

}  // namespace client
