#include "commands/SeriesArguments.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "commands/Command.h"
#include "commands/EventJson.h"
#include "system/Failure.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

namespace {

std::optional<unsigned long> SizeOf(const char* option, const std::string& typed) {
  if (typed.empty()) return std::nullopt;
  if (const auto size = ParseSize(typed)) return size;
  throw UsageError(fmt::format("{} \"{}\" is no size; write 500M, 500MB or 2GiB", option, typed));
}

SplitGrid GridOf(const std::string& typed) {
  if (typed.empty()) return SplitGrid::FirstEntry;
  if (typed == "utc") return SplitGrid::Utc;
  if (typed == "local") return SplitGrid::Local;
  throw UsageError(fmt::format("--split-clock \"{}\" isn't known; write local or utc", typed));
}

const char* Word(SeriesEvent::Kind kind) {
  switch (kind) {
    case SeriesEvent::Kind::Complete:
      return "file_complete";
    case SeriesEvent::Kind::Deleted:
      return "file_deleted";
    case SeriesEvent::Kind::Gone:
      return "file_gone";
    case SeriesEvent::Kind::Undeleted:
      return "file_not_deleted";
  }
  return "";
}

nlohmann::json OrNull(const std::optional<unsigned long>& value) {
  return value ? nlohmann::json(*value) : nlohmann::json();
}

void PrintSeriesEvent(const SeriesEvent& event) {
  const SeriesFile& file = event.File;
  nlohmann::json json = {{"path", file.Path}, {"index", file.Index}, {"bytes", file.Size}, {"entries", file.Entries}};
  const bool any = file.Entries > 0;
  json["first_time_ns"] = any ? nlohmann::json(file.FirstTime) : nlohmann::json();
  json["last_time_ns"] = any ? nlohmann::json(file.LastTime) : nlohmann::json();
  json["first_utc_ns"] = OrNull(file.FirstUtc);
  json["last_utc_ns"] = OrNull(file.LastUtc);
  if (!event.Why.empty()) json["error"] = event.Why;
  PrintEvent(Word(event.What), std::move(json));
}

void SaySeriesEvent(const SeriesEvent& event) {
  const SeriesFile& file = event.File;
  switch (event.What) {
    case SeriesEvent::Kind::Complete:
      return Say(fmt::format("\"{}\" is complete: {}, {}", file.Path, FormatCount(file.Entries, "entry", "entries"),
                             FormatSize(file.Size)));
    case SeriesEvent::Kind::Deleted:
      return Say(fmt::format("\"{}\" was deleted for newer files", file.Path));
    case SeriesEvent::Kind::Gone:
      return;  // whoever took it knows
    case SeriesEvent::Kind::Undeleted:
      return SayError(fmt::format("Cannot delete \"{}\" for newer files: {}", file.Path, event.Why));
  }
}

}  // namespace

void SeriesArguments::AddTo(Command& command) {
  command.Add("--split-size", Size,
              "Go on in a new file when one has this size, e.g. 500M. NAME.bin becomes NAME_000001.bin, ...; %n "
              "in a name is the number, %t the time");
  command.Add("--split-time", Time, "Go on in a new file after this much trace time, e.g. 10m");
  command.Add("--split-clock", Clock,
              "local or utc: --split-time is counted from midnight, so that files end at full 10 minutes, say");
  command.Add("--keep", Keep, "Keep so many complete files of a series; the oldest ones are deleted");
  command.Add("--keep-size", KeepSize, "Keep a series below this size, e.g. 20G, likewise");
}

SeriesPlan SeriesArguments::Plan() const {
  SeriesPlan plan;
  plan.Size = SizeOf("--split-size", Size);
  if (!Time.empty()) {
    plan.Time = ParseDuration(Time);
    if (!plan.Time) throw UsageError(fmt::format("--split-time \"{}\" is no duration; write 90s, 10m or 1h", Time));
  }
  plan.Grid = GridOf(Clock);
  plan.KeepFiles = Keep;
  plan.KeepSize = SizeOf("--keep-size", KeepSize);
  return plan;
}

SeriesNews TellOfSeries(bool json) { return json ? PrintSeriesEvent : SaySeriesEvent; }

}  // namespace client
