#include "views/IntervalStats.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "record/RecordKind.h"
#include "stream/KindText.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr double kSecond = 1e9;  // ns

std::string LeftText(unsigned long seconds) {
  constexpr unsigned long kMinute = 60, kHour = 3600, kDay = 86400;
  if (seconds < 2 * kMinute) return fmt::format("{} s", seconds);
  if (seconds < 2 * kHour) return fmt::format("{} min", seconds / kMinute);
  if (seconds < 2 * kDay) return fmt::format("{} h", seconds / kHour);
  return fmt::format("{} days", seconds / kDay);
}

}  // namespace

bool IntervalStats::Take(const RecordView& record) {
  Channel& channel = Current[record.ChannelId()];
  const RecordKind kind = record.Kind();
  channel.BusType = record.Bus();
  ++channel.Entries;
  channel.Bytes += record.Length();
  if (IsFrame(kind)) ++channel.Frames;
  if (IsError(kind)) ++channel.Errors;
  if (record.HasOverrunMark()) ++channel.Overruns;
  channel.Load.Add(record, Bits);
  First = std::min(First.value_or(record.Timestamp()), record.Timestamp());
  Latest = std::max(Latest, record.Timestamp());
  return true;
}

void IntervalStats::Look(const MachineState& machine, const std::vector<Loss>& losses) {
  CountLosses(losses);
  Before = {Machine.Elapsed, Machine.Written};
  Machine = machine;
  ++Index;
  From = std::max(To, First.value_or(0));
  To = Latest;
  Ended.clear();
  for (auto& [number, channel] : Current) {
    Ended.emplace(number, channel);
    const unsigned char busType = channel.BusType;
    channel = {};
    channel.BusType = busType;
  }
}

/// A ledger that joins losses may know of fewer than before: then the sum is put right.
void IntervalStats::CountLosses(const std::vector<Loss>& losses) {
  std::map<unsigned int, long> lost;
  for (const Loss& loss : losses)
    if (IsMissing(loss.Cause)) lost[loss.Channel] += static_cast<long>(loss.Count.value_or(0));
  for (const auto& [number, count] : LostTold) lost.emplace(number, 0);
  for (const auto& [number, count] : lost)
    if (const long added = count - std::exchange(LostTold[number], count); added != 0) Current[number].Lost = added;
}

/// Percent; nothing as long as no trace time has passed.
std::optional<double> IntervalStats::Load(const Channel& channel, size_t lane) const {
  if (To <= From) return std::nullopt;
  return 100 * channel.Load.BusyTime(lane) / static_cast<double>(To - From);
}

/// Bytes a second.
double IntervalStats::WriteRate() const {
  const unsigned long bytes = Machine.Written - std::min(Machine.Written, Before.Written);
  const unsigned long time = Machine.Elapsed - std::min(Machine.Elapsed, Before.Elapsed);
  return time == 0 ? 0 : static_cast<double>(bytes) * kSecond / static_cast<double>(time);
}

/// At the rate since the beginning: nothing where files are deleted for newer ones, and the disk doesn't get any fuller.
std::optional<unsigned long> IntervalStats::SecondsLeft() const {
  constexpr double kMost = 1e9;
  if (!Machine.Room || Machine.Deleted > 0 || Machine.Written == 0 || Machine.Elapsed == 0) return std::nullopt;
  const double rate = static_cast<double>(Machine.Written) * kSecond / static_cast<double>(Machine.Elapsed);
  const double left = static_cast<double>(*Machine.Room) / rate;
  return left < kMost ? std::optional(static_cast<unsigned long>(left)) : std::nullopt;
}

nlohmann::json IntervalStats::ChannelJson(unsigned int number, const Channel& channel) const {
  nlohmann::json loads = nlohmann::json::object();
  for (size_t lane = 0; lane < LaneCount(channel.BusType); ++lane) {
    const auto load = Load(channel, lane);
    loads[LaneName(channel.BusType, lane)] = load ? nlohmann::json(*load) : nlohmann::json();
  }
  return {{"channel", number},
          {"bus", BusName(channel.BusType)},
          {"entries", channel.Entries},
          {"frames", channel.Frames},
          {"bytes", channel.Bytes},
          {"errors", channel.Errors},
          {"overruns", channel.Overruns},
          {"lost", channel.Lost},
          {"load_percent", loads}};
}

nlohmann::json IntervalStats::Json() const {
  nlohmann::json channels = nlohmann::json::array();
  for (const auto& [number, channel] : Ended) channels.push_back(ChannelJson(number, channel));
  const auto left = SecondsLeft();
  return {{"index", Index},
          {"elapsed_ns", Machine.Elapsed},
          {"interval_ns", Machine.Elapsed - std::min(Machine.Elapsed, Before.Elapsed)},
          {"from_time_ns", First ? nlohmann::json(From) : nlohmann::json()},
          {"to_time_ns", First ? nlohmann::json(To) : nlohmann::json()},
          {"channels", channels},
          {"waiting_entries", Machine.Waiting},
          {"written_bytes", Machine.Written},
          {"deleted_bytes", Machine.Deleted},
          {"written_bytes_per_s", static_cast<unsigned long>(WriteRate())},
          {"room_bytes", Machine.Room ? nlohmann::json(*Machine.Room) : nlohmann::json()},
          {"full_in_s", left ? nlohmann::json(*left) : nlohmann::json()}};
}

std::string IntervalStats::Text() const {
  unsigned long frames = 0, errors = 0;
  long lost = 0;
  std::string loads;
  for (const auto& [number, channel] : Ended) {
    frames += channel.Frames;
    errors += channel.Errors;
    lost += channel.Lost;
    for (size_t lane = 0; lane < LaneCount(channel.BusType); ++lane) {
      const std::string name = LaneCount(channel.BusType) > 1 ? std::string(" ") + LaneName(channel.BusType, lane) : "";
      if (const auto load = Load(channel, lane))
        loads += fmt::format(", {} {}{} {:.1f} %", BusName(channel.BusType), number, name, *load);
    }
  }
  std::string text = fmt::format("{}: {}, {}, {} lost, {} waiting{}", FormatElapsed(Machine.Elapsed),
                                 FormatCount(frames, "frame", "frames"), FormatCount(errors, "error", "errors"), lost,
                                 Machine.Waiting, loads);
  if (Machine.Written > 0) text += fmt::format(", {}/s written", FormatSize(static_cast<unsigned long>(WriteRate())));
  if (const auto left = SecondsLeft()) text += fmt::format(", disk full in {}", LeftText(*left));
  return text;
}

}  // namespace client
