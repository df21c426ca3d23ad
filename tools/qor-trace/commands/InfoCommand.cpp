// qor-trace info
#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "commands/Commands.h"
#include "commands/WholeInput.h"
#include "inputs/InputFormat.h"
#include "stream/DescriptionJson.h"
#include "stream/KindText.h"
#include "stream/LossWords.h"
#include "system/Failure.h"
#include "system/Printable.h"
#include "system/Terminal.h"
#include "system/Units.h"
#include "views/Contents.h"
#include "views/SummaryText.h"

namespace client {

namespace {

struct InfoArguments {
  std::vector<std::string> Files;
  bool Json = false;
  bool Progress = false;
};

/// What is to be told of a file.
struct Info {
  std::string File = {};
  std::string Error = {};  // why it can't be read any further; empty if it was read to its end
  std::optional<InputKind> Kind = std::nullopt;
  unsigned long Size = 0;  // bytes; 0: not known
  Contents Held = {};
  Description Known = {};
  Findings Found = {};
  bool Stopped = false;

  [[nodiscard]] ExitCode Code() const {
    if (!Error.empty() || Stopped) return ExitFailed;
    return Found.Lossy() ? ExitLossy : ExitDone;
  }
};

/// Failure: UsageError only; what fails otherwise is in the info.
void Read(Info& info, bool progress, const Signals& signals) {
  const WholeInput input = ReadWhole(info.File, info.Held, NoRecords::Fine, progress, signals);
  info.Error = input.Error;
  info.Stopped = input.Stopped;
  if (input.Source == nullptr) return;
  for (const std::string& remark : input.Source->Remarks()) Say(remark);
  info.Kind = input.Source->Kind();
  info.Size = input.Source->Size();
  info.Known = input.Source->Describe();
  info.Found = input.Source->Found();
  if (info.Held.Entries() > 0) SetFirstTime(info.Known, info.Held.First());
}

std::string StartText(const Info& info) {
  const TimeBase times = TimesOf(info.Known);
  if (!times.IsKnown()) return "  start: not known\n";
  return fmt::format("  start: {} ({} local time)\n", FormatUtc(*times.Utc), FormatLocal(*times.Utc));
}

std::string KindsText(const Contents::Channel& channel) {
  std::string text;
  for (size_t kind = 0; kind < kRecordKindCount; ++kind) {
    if (channel.Kinds[kind] == 0) continue;
    const KindText& words = TextOf(static_cast<RecordKind>(kind));
    text += fmt::format("{}{}", text.empty() ? "" : ", ", FormatCount(channel.Kinds[kind], words.One, words.Many));
  }
  return text;
}

std::string ChannelText(unsigned int number, const Contents::Channel& channel, const ChannelDescription* known) {
  std::string text = fmt::format("  channel {}: {}", number, BusName(channel.Bus));
  if (known != nullptr && !known->Source.empty()) text += fmt::format(", {}", Printable(known->Source));
  if (known != nullptr && !known->Name.empty()) text += fmt::format(", \"{}\"", Printable(known->Name));
  if (known != nullptr && known->BitRate > 0) text += fmt::format(", {} bit/s", known->BitRate);
  if (known != nullptr && known->DataBitRate > 0) text += fmt::format(" / {} bit/s", known->DataBitRate);
  return text + fmt::format("\n    {} of {}: {}\n", FormatCount(channel.Entries, "entry", "entries"),
                            FormatCount(channel.Messages.size(), "message", "messages"), KindsText(channel));
}

std::string LossesText(const Description& known) {
  std::string text;
  for (const Loss& loss : known.Losses) {
    text += fmt::format("  channel {}: {} {} between {} s and {} s\n", loss.Channel, ItemsText(loss.Count),
                        Fate(loss.Cause), FormatSeconds(loss.First), FormatSeconds(loss.Last));
  }
  return text;
}

std::string Text(const Info& info) {
  std::string text = Printable(info.File) + ":\n";
  if (!info.Known.Title.empty()) text += fmt::format("  title: {}\n", Printable(info.Known.Title));
  if (info.Kind) text += fmt::format("  format: {}\n", NameOf(*info.Kind));
  if (info.Size > 0) text += fmt::format("  size: {}\n", FormatSize(info.Size));
  if (info.Held.Entries() > 0) {
    text += StartText(info);
    text += fmt::format("  length: {} s, {}, {}\n", FormatSeconds(info.Held.Last() - info.Held.First()),
                        FormatCount(info.Held.Entries(), "entry", "entries"),
                        info.Known.Complete && info.Code() == ExitDone ? "complete" : "not complete");
  }
  for (const auto& [number, channel] : info.Held.Channels())
    text += ChannelText(number, channel, FindChannel(info.Known, number));
  text += LossesText(info.Known);
  for (const Finding& finding : info.Found.All()) text += "  " + FindingText(finding);
  if (!info.Error.empty()) text += fmt::format("  {}\n", Printable(info.Error));
  return text;
}

nlohmann::json ChannelJson(unsigned int number, const Contents::Channel& channel, const ChannelDescription* known) {
  nlohmann::json kinds = nlohmann::json::object();
  for (size_t kind = 0; kind < kRecordKindCount; ++kind)
    if (channel.Kinds[kind] > 0) kinds[TextOf(static_cast<RecordKind>(kind)).Key] = channel.Kinds[kind];
  return {{"channel", number},
          {"bus", BusName(channel.Bus)},
          {"source", known != nullptr ? known->Source : ""},
          {"name", known != nullptr ? known->Name : ""},
          {"bit_rate", known != nullptr ? known->BitRate : 0},
          {"data_bit_rate", known != nullptr ? known->DataBitRate : 0},
          {"entries", channel.Entries},
          {"messages", channel.Messages.size()},
          {"kinds", kinds}};
}

nlohmann::json Json(const Info& info) {
  nlohmann::json channels = nlohmann::json::array();
  for (const auto& [number, channel] : info.Held.Channels())
    channels.push_back(ChannelJson(number, channel, FindChannel(info.Known, number)));
  nlohmann::json findings = nlohmann::json::array();
  for (const Finding& finding : info.Found.All()) findings.push_back(FindingJson(finding));
  const bool any = info.Held.Entries() > 0;
  const char* const packing = info.Kind ? PackingWord(*info.Kind) : nullptr;
  return {{"file", info.File},
          {"format", info.Kind ? nlohmann::json(Word(info.Kind->Format)) : nlohmann::json()},
          {"compression", packing != nullptr ? nlohmann::json(packing) : nlohmann::json()},
          {"size", info.Size},
          {"id", info.Known.Id},
          {"title", info.Known.Title},
          {"start", AnchorJson(info.Known.Anchor)},
          {"first_time_ns", any ? nlohmann::json(info.Held.First()) : nlohmann::json()},
          {"last_time_ns", any ? nlohmann::json(info.Held.Last()) : nlohmann::json()},
          {"entries", info.Held.Entries()},
          {"complete", info.Known.Complete && info.Code() == ExitDone},
          {"channels", channels},
          {"losses", LossesJson(info.Known.Losses)},
          {"findings", findings},
          {"error", info.Error}};
}

int Tell(const InfoArguments& arguments, const Signals& signals) {
  int code = ExitDone;
  nlohmann::json files = nlohmann::json::array();
  for (const std::string& file : arguments.Files) {
    if (signals.StopRequested()) return ExitFailed;
    Info info{.File = file};
    Read(info, arguments.Progress, signals);
    if (code != ExitFailed && info.Code() != ExitDone) code = info.Code();
    if (arguments.Json)
      files.push_back(Json(info));
    else if (!Print(Text(info)))
      return code;
  }
  if (arguments.Json) PrintJson({{"schema", "qor-trace-info"}, {"version", 1}, {"files", files}, {"exit_code", code}});
  return code;
}

constexpr const char* kInfoHelp =
    "Examples:\n"
    "  qor-trace info drive.bin\n"
    "  qor-trace info --json archive/*.mf4\n"
    "\n"
    "Reads each file to its end and tells its format, when it was recorded and for how long, from which channels, how "
    "many entries, messages and kinds of events each has, what is known to be lost, and whether it is complete. A "
    "message is an identifier (CAN, LIN), a slot (FlexRay) or a pair of addresses (Ethernet).\n"
    "\n"
    "Exit codes: 0 done, 3 done but something of a file is damaged or cut off, 1 one can't be read to its end, 2 wrong "
    "usage.";

}  // namespace

void AddInfoCommand(CLI::App& program, Action& chosen) {
  Command command(program, chosen, "info",
                  "Say what recordings hold: format, start, length, channels, messages, losses");
  const auto arguments = std::make_shared<InfoArguments>();
  command.Add("FILE", arguments->Files, "Recordings in any format that is read, or - for standard input").Required();
  command.AddFlag("--json", arguments->Json, "Print it as JSON, times in ns");
  command.AddFlag("--progress", arguments->Progress,
                  "Tell how far it has come every few seconds, also without a terminal");
  command.Footer(kInfoHelp);
  command.Does([arguments](Signals& signals) { return Tell(*arguments, signals); });
}

}  // namespace client
