#include "views/SummaryText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "stream/KindText.h"
#include "system/Printable.h"
#include "system/Units.h"

namespace client {

namespace {

/// The kinds of a bus, first to last.
std::pair<RecordKind, RecordKind> KindsOf(unsigned char busType) {
  switch (busType) {
    case BusType_Can:
      return {RecordKind::CanFrame, RecordKind::CanEvent};
    case BusType_Lin:
      return {RecordKind::LinFrame, RecordKind::LinEvent};
    case BusType_FlexRay:
      return {RecordKind::FlexRayFrame, RecordKind::FlexRayStatus};
    default:
      return {RecordKind::EthernetFrame, RecordKind::EthernetRecord};
  }
}

/// Whether frames are of this kind unless something is said about them.
bool IsPlain(RecordKind kind) {
  return kind == RecordKind::CanFrame || kind == RecordKind::LinFrame || kind == RecordKind::FlexRayFrame ||
         kind == RecordKind::EthernetFrame;
}

/// Calls `use` for each kind of a bus, and for those that any bus has.
template <class Use>
void ForEachKind(unsigned char busType, Use use) {
  const auto [first, last] = KindsOf(busType);
  for (auto kind = static_cast<int>(first); kind <= static_cast<int>(last); ++kind) use(static_cast<RecordKind>(kind));
  if (busType >= BusType_FlexRay) use(RecordKind::OverrunMark);
  use(RecordKind::Unknown);
}

std::string MomentText(unsigned long time, const ShownTimes& times) {
  const bool seconds = times.Format == TimeFormat::Relative || times.Format == TimeFormat::Epoch;
  return TimeText(time, times.Format, times.Moment) + (seconds ? " s" : "");
}

std::string SpanText(const TimeSpan& span, const ShownTimes& times) {
  if (span.First == span.Last) return "at " + MomentText(span.First, times);
  return MomentText(span.First, times) + " to " + MomentText(span.Last, times);
}

/// "12 frames received, 3 transmitted, 1 error frame"
std::string CountsText(unsigned char busType, const Counts& counts) {
  std::string text =
      fmt::format("{} received, {} transmitted", FormatCount(counts.Received, "frame", "frames"), counts.Transmitted);
  ForEachKind(busType, [&](RecordKind kind) {
    const unsigned long count = counts.Of(kind);
    if (IsPlain(kind) || (count == 0 && kind != RecordKind::CanErrorFrame)) return;
    text += ", " + FormatCount(count, TextOf(kind).One, TextOf(kind).Many);
  });
  if (busType == BusType_Ethernet) text += ", " + FormatCount(counts.FrameBytes, "byte", "bytes");
  return text;
}

std::string LoadText(unsigned char busType, const BusLoad& load, unsigned long span) {
  std::string lanes;
  for (size_t lane = 0; lane < LaneCount(busType); ++lane) {
    const auto percent = load.Percent(lane, span);
    if (!percent) return "";
    const std::string name = LaneCount(busType) == 1 ? "" : fmt::format("{} ", LaneName(busType, lane));
    lanes += fmt::format("{}{}{:.1f} %", lane == 0 ? "" : " and ", name, *percent);
  }
  return ", load " + lanes;
}

/// Losses of one channel by one cause, or by all those that one number stands for.
struct LossSum {
  unsigned long Count = 0;  // as far as it is known
  bool AllCounted = true;
  std::vector<Loss> Places = {};
  TimeSpan Times = {};

  void Add(const Loss& loss) {
    Times.First = Places.empty() ? loss.First : std::min(Times.First, loss.First);
    Times.Last = std::max(Times.Last, loss.Last);
    Count += loss.Count.value_or(0);
    AllCounted = AllCounted && loss.Count;
    Places.push_back(loss);
  }
};

template <class Counts>
LossSum SumOf(const ChannelSummary& channel, Counts counts) {
  LossSum sum;
  for (const Loss& loss : channel.Losses)
    if (counts(loss.Cause)) sum.Add(loss);
  return sum;
}

/// "12 items", "at least 12 items", "an unknown number of items"
std::string NumberText(unsigned long count, bool whole, const char* one, const char* many) {
  if (whole) return FormatCount(count, one, many);
  return count == 0 ? fmt::format("an unknown number of {}", many) : "at least " + FormatCount(count, one, many);
}

/// Where several losses were; the first of them one by one.
std::string PlacesText(const LossSum& sum, const char* one, const char* many, const ShownTimes& times) {
  constexpr size_t kShown = 10;
  if (sum.Places.size() < 2) return "";
  std::string text;
  for (size_t index = 0; index < std::min(kShown, sum.Places.size()); ++index) {
    const Loss& loss = sum.Places[index];
    text += fmt::format("    {}, {}\n", NumberText(loss.Count.value_or(0), loss.Count.has_value(), one, many),
                        SpanText({loss.First, loss.Last}, times));
  }
  if (sum.Places.size() > kShown) text += fmt::format("    and at {} more places\n", sum.Places.size() - kShown);
  return text;
}

std::string MissingText(const ChannelSummary& channel, LossCause cause, const ShownTimes& times) {
  const LossSum sum = SumOf(channel, [&](LossCause one) { return one == cause; });
  if (sum.Places.empty()) return "";
  return fmt::format("  LOST: {} {}, {}\n", NumberText(sum.Count, sum.AllCounted, "item", "items"), Fate(cause),
                     SpanText(sum.Times, times)) +
         PlacesText(sum, "item", "items", times);
}

std::string LateText(const ChannelSummary& channel, const ShownTimes& times) {
  const LossSum sum = SumOf(channel, [](LossCause cause) { return !IsMissing(cause); });
  if (sum.Places.empty()) return "";
  return fmt::format("  OUT OF ORDER: {} came too late to be put in order, {}\n",
                     NumberText(sum.Count, sum.AllCounted, "entry", "entries"), SpanText(sum.Times, times)) +
         PlacesText(sum, "entry", "entries", times);
}

/// Marks are counted where the entries have them; other formats only know where something is missing.
std::string OverrunText(const ChannelSummary& channel, const ShownTimes& times) {
  if (channel.Counted.Overruns == 0) return MissingText(channel, LossCause::OverrunMark, times);
  return fmt::format("  LOST: {}, after which data are missing, {}\n",
                     FormatCount(channel.Counted.Overruns, "overrun mark", "overrun marks"),
                     SpanText(channel.OverrunTimes, times));
}

std::string LossText(const ChannelSummary& channel, const ShownTimes& times) {
  return MissingText(channel, LossCause::CaptureBufferFull, times) + OverrunText(channel, times) +
         MissingText(channel, LossCause::MemoryLimit, times) + MissingText(channel, LossCause::DiskFull, times) +
         MissingText(channel, LossCause::InterfaceGone, times) + LateText(channel, times);
}

nlohmann::json CountsJson(unsigned char busType, const Counts& counts) {
  nlohmann::json json = nlohmann::json::object();
  ForEachKind(busType, [&](RecordKind kind) { json[TextOf(kind).Key] = counts.Of(kind); });
  return json;
}

/// Percent with two decimals, by lane.
nlohmann::json LoadJson(unsigned char busType, const BusLoad& load, unsigned long span) {
  nlohmann::json json;
  for (size_t lane = 0; lane < LaneCount(busType); ++lane) {
    const auto percent = load.Percent(lane, span);
    json[LaneName(busType, lane)] = percent ? nlohmann::json(std::round(*percent * 100) / 100) : nlohmann::json();
  }
  return json;
}

/// The bit rates that the load was computed with; LIN records contain theirs.
nlohmann::json BitRateJson(unsigned char busType, const BitRates& rates) {
  switch (busType) {
    case BusType_Can:
      return {{"nominal", rates.CanNominal}, {"data", rates.CanData}};
    case BusType_FlexRay:
      return kFlexRayBitRate;
    case BusType_Ethernet:
      return rates.Ethernet;
    default:
      return {};
  }
}

/// Adds "first_<name>" and "last_<name>", null if there was nothing.
void AddTimes(nlohmann::json& json, const TimeSpan& span, bool any) {
  json["first_time_ns"] = any ? nlohmann::json(span.First) : nlohmann::json();
  json["last_time_ns"] = any ? nlohmann::json(span.Last) : nlohmann::json();
}

}  // namespace

std::string ChannelText(unsigned int number, const ChannelSummary& channel, unsigned long span,
                        const ShownTimes& times) {
  std::string text =
      fmt::format("channel {}{}{}", number, channel.Source.empty() ? "" : ": ", Printable(channel.Source));
  if (channel.BusType)
    text += fmt::format(" ({})\n  {}{}, {}\n", BusName(*channel.BusType), CountsText(*channel.BusType, channel.Counted),
                        LoadText(*channel.BusType, channel.Load, span), SpanText(channel.Times, times));
  else
    text += "\n  nothing\n";
  return text + LossText(channel, times);
}

std::string BusText(unsigned char busType, unsigned int channels, const Counts& counts) {
  return fmt::format("{}, {} channels: {}\n", BusName(busType), channels, CountsText(busType, counts));
}

std::string BitRateText(unsigned char busType, const BitRates& rates) {
  switch (busType) {
    case BusType_Can:
      return fmt::format(", CAN taken at {}/{} bit/s (--bitrate)", FormatBitRate(rates.CanNominal),
                         FormatBitRate(rates.CanData));
    case BusType_Lin:
      return ", LIN at the rate of its frames";
    case BusType_FlexRay:
      return fmt::format(", FlexRay at {} bit/s", FormatBitRate(kFlexRayBitRate));
    case BusType_Ethernet:
      return fmt::format(", Ethernet taken at {} bit/s (--ethernet-bitrate)", FormatBitRate(rates.Ethernet));
    default:
      return "";
  }
}

nlohmann::json ChannelJson(unsigned int number, const ChannelSummary& channel, unsigned long span,
                           const BitRates& rates) {
  const Counts& counts = channel.Counted;
  nlohmann::json json = {{"channel", number},           {"bus", nullptr},
                         {"source", channel.Source},    {"entries", counts.Entries},
                         {"received", counts.Received}, {"transmitted", counts.Transmitted}};
  if (channel.BusType) {
    json["bus"] = BusName(*channel.BusType);
    json["counts"] = CountsJson(*channel.BusType, counts);
    json["load_percent"] = LoadJson(*channel.BusType, channel.Load, span);
    json["bit_rate"] = BitRateJson(*channel.BusType, rates);
    if (*channel.BusType == BusType_Ethernet) json["frame_bytes"] = counts.FrameBytes;
  }
  AddTimes(json, channel.Times, counts.Entries > 0);
  json["lost"] = {{"count", counts.Lost}};
  const LossSum lost =
      SumOf(channel, [](LossCause cause) { return IsMissing(cause) && cause != LossCause::OverrunMark; });
  AddTimes(json["lost"], lost.Times, !lost.Places.empty());
  json["overruns"] = {{"count", counts.Overruns}};
  AddTimes(json["overruns"], channel.OverrunTimes, counts.Overruns > 0);
  json["late"] = {{"count", counts.Late}};
  const LossSum late = SumOf(channel, [](LossCause cause) { return !IsMissing(cause); });
  AddTimes(json["late"], late.Times, !late.Places.empty());
  return json;
}

std::string UnreadText(const UnreadLines& lines) {
  std::string text = fmt::format("{}: LOST: {}\n", lines.File,
                                 FormatCount(lines.Count, "line that can't be read", "lines that can't be read"));
  for (const UnreadLine& line : lines.First) text += fmt::format("  {}:{}: {}\n", lines.File, line.Number, line.Reason);
  if (lines.Count > lines.First.size()) text += fmt::format("  and {} more\n", lines.Count - lines.First.size());
  return text;
}

nlohmann::json UnreadJson(const UnreadLines& lines) {
  nlohmann::json first = nlohmann::json::array();
  for (const UnreadLine& line : lines.First) first.push_back({{"line", line.Number}, {"reason", line.Reason}});
  return {{"file", lines.File}, {"count", lines.Count}, {"first", first}};
}

std::string FindingText(const Finding& finding) {
  const bool lost = finding.Kind == FindingKind::Unread || finding.Kind == FindingKind::CutOff;
  const char* const word = lost ? "LOST" : finding.Kind == FindingKind::LeftOut ? "left out" : "odd";
  const std::string shown = Printable(finding.What);
  if (finding.Count == 1) return fmt::format("{}: {}; at {}\n", word, shown, finding.Where);
  return fmt::format("{}: {}, {} times; the first at {}\n", word, shown, finding.Count, finding.Where);
}

nlohmann::json FindingJson(const Finding& finding) {
  return {{"kind", Word(finding.Kind)}, {"what", finding.What}, {"count", finding.Count}, {"first_at", finding.Where}};
}

nlohmann::json BusJson(unsigned char busType, unsigned int channels, const Counts& counts) {
  nlohmann::json json = {{"bus", BusName(busType)},
                         {"channels", channels},
                         {"entries", counts.Entries},
                         {"received", counts.Received},
                         {"transmitted", counts.Transmitted},
                         {"counts", CountsJson(busType, counts)},
                         {"lost", counts.Lost},
                         {"overruns", counts.Overruns},
                         {"late", counts.Late}};
  if (busType == BusType_Ethernet) json["frame_bytes"] = counts.FrameBytes;
  return json;
}

}  // namespace client
