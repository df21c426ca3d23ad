#include "commands/StreamArguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

#include "commands/Command.h"
#include "commands/StopArguments.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

const char* const kFilterHelp =
    "Filters:\n"
    "  bus == can and id in 0x100..0x1FF      kind == error or overrun\n"
    "  id & 0x7F0 == 0x120 and dir == rx      slot == 17 and side in a, ab\n"
    "  data[2..3] > 1000 and not extended     vlan == 5 and port == 30490\n"
    "\n"
    "Quote them. qor-trace-filter(7) lists the fields; a record without the field passes no comparison with it. "
    "Conditions are such expressions too, and also:\n"
    "  missing(id == 0x123) for 200ms         loss\n"
    "\n";

namespace {

constexpr unsigned int kGreatestNumber = 255;  // of a channel; more is no channel anywhere

std::optional<TimeBound> TimeOf(const char* option, const std::string& typed) {
  if (typed.empty()) return std::nullopt;
  if (const auto time = ParseDuration(typed)) return TimeBound{*time, false};
  if (const auto time = ParseWallClock(typed)) return TimeBound{*time, true};
  throw UsageError(
      fmt::format("{} \"{}\" is no time; write 90s or 1h30m, counted from the first entry, or 2026-11-21T14:30:00 in "
                  "local time, or "
                  "with Z after it in UTC",
                  option, typed));
}

/// Nothing can lie between them.
bool IsEmpty(const TimeBounds& times) {
  if (!times.To) return false;
  if (times.From && times.From->Utc != times.To->Utc) return false;
  return (times.From ? times.From->Time : 0) >= times.To->Time;
}

std::optional<unsigned int> NumberOf(std::string_view text) {
  unsigned int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  return whole && number >= 1 && number <= kGreatestNumber ? std::optional(number) : std::nullopt;
}

void AddChannel(const std::string& typed, ChannelNumbers& numbers) {
  const size_t sign = typed.find('=');
  const std::string_view text = typed;
  const auto channel = NumberOf(text.substr(0, sign));
  const auto number = sign == std::string::npos ? std::nullopt : NumberOf(text.substr(sign + 1));
  if (!channel || !number)
    throw UsageError(
        fmt::format("--channel \"{}\" isn't understood; write OLD=NEW with numbers from 1 to {}, as in 3=1", typed,
                    kGreatestNumber));
  if (!numbers.Set(*channel, *number))
    throw UsageError(fmt::format("--channel {}: this channel has a new number already, or another one gets it", typed));
}

}  // namespace

void StreamArguments::AddTo(Command& command) {
  command.Add("--filter", Filter, "Only entries that this expression matches, e.g. \"bus == can and id == 0x123\"");
  command.Add("--from", From,
              "Only entries from this time on: since the first entry, e.g. 90s or 1h30m, or when it was: "
              "2026-11-21T14:30:00 in local time, or with Z or an offset such as +02:00 appended");
  command.Add("--to", To, "Only entries before this time, likewise");
  AddConditionsTo(command);
  command.Add("--count", Count, "Short for --stop-after with so many entries");
  command.Add("--channel", Channels, "OLD=NEW: give a channel another number. Repeat it for several").OneValueEach();
}

void StreamArguments::AddConditionsTo(Command& command) {
  command.Add("--start-on", StartOn,
              "Only entries from the first one on with which this condition happens, that one included, e.g. "
              "\"kind == error\" or \"missing(id == 0x123) for 200ms\"");
  command.Add("--stop-on", StopOn, "End with the entry with which this condition happens, likewise");
  command
      .Add("--stop-after", StopAfter,
           "End after so many frames, entries or bytes, or so much time, of what the other options select: "
           "10000frames, 10000entries, 500MB, 90s. Repeat it for several; the first that is reached counts")
      .OneValueEach();
}

SelectionPlan StreamArguments::Plan() const {
  SelectionPlan plan;
  plan.Times = {TimeOf("--from", From), TimeOf("--to", To)};
  if (IsEmpty(plan.Times)) throw UsageError("--from is not before --to, so nothing would be left; give an earlier one");
  if (Count == 0ul) throw UsageError("--count is at least 1");
  plan.Count = Count;
  plan.Stop = StopLimitsOf(StopAfter);
  if (!StartOn.empty()) plan.Between.Start.emplace(StartOn);
  if (!StopOn.empty()) plan.Between.Stop.emplace(StopOn);
  if (!Filter.empty()) plan.Wanted.emplace(Filter);
  for (const std::string& typed : Channels) AddChannel(typed, plan.Channels);
  return plan;
}

std::string StreamArguments::Typed() const {
  std::string text;
  const auto add = [&](const char* option, const std::string& value) {
    if (!value.empty()) text += fmt::format("{}{} {}", text.empty() ? "" : " ", option, value);
  };
  add("--filter", Filter);
  add("--from", From);
  add("--to", To);
  add("--start-on", StartOn);
  add("--stop-on", StopOn);
  for (const std::string& limit : StopAfter) add("--stop-after", limit);
  add("--count", Count ? fmt::format("{}", *Count) : "");
  for (const std::string& channel : Channels) add("--channel", channel);
  return text;
}

Description StreamArguments::Describe(Description recording, const SelectionPlan& wanted) const {
  if (!Filter.empty()) {
    for (ChannelDescription& channel : recording.Channels)
      channel.Filter = channel.Filter.empty() ? Filter : fmt::format("({}) and ({})", channel.Filter, Filter);
  }
  return Renumbered(std::move(recording), wanted.Channels);
}

void EndWithSelection(RecordingOptions& options, const SelectionPlan& wanted) {
  const auto& to = wanted.Times.To;
  if (to && !to->Utc) options.Duration = std::min(options.Duration.value_or(to->Time), to->Time);
  // Where the first entry is the first that is wanted, time passes on a silent bus as well.
  const auto& after = wanted.Stop.Time;
  if (after && !wanted.Times.From && !wanted.Wanted)
    options.Duration = std::min(options.Duration.value_or(*after), *after);
}

void CheckTimes(const SelectionPlan& wanted, const Description& recording, const std::string& input) {
  if (wanted.Times.NeedUtc() && !recording.Anchor)
    throw Failure(
        fmt::format("It isn't known when the entries of {} were recorded, so --from and --to can only count from "
                    "the first one; or say when that was, with --start-time",
                    input));
}

void CheckChannels(const ChannelNumbers& numbers, size_t channels) {
  for (const auto& [channel, number] : numbers.All()) {
    if (channel > channels)
      throw UsageError(fmt::format("--channel {}={}: there is no channel {}; the sources have {}", channel, number,
                                   channel, FormatCount(channels, "channel", "channels")));
    const bool taken = number <= channels && numbers.Of(number) == number && number != channel;
    if (taken)
      throw UsageError(
          fmt::format("--channel {0}={1}: channel {1} is another one; give that one another number as well, "
                      "as in --channel {1}={0}",
                      channel, number));
  }
}

}  // namespace client
