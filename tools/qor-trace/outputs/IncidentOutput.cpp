#include "outputs/IncidentOutput.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <utility>

#include "system/DiskSpace.h"
#include "system/Failure.h"
#include "system/Printable.h"
#include "system/Units.h"

namespace client {

namespace {

bool Exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::symlink_status(path, error).type() != std::filesystem::file_type::not_found;
}

/// Words for a title: what has happened first.
std::string TitleOf(const Incident& incident, const std::string& recording) {
  const std::string by = incident.Triggers.empty() ? "" : ": " + incident.Triggers.front().By;
  return fmt::format("{}{}incident {}{}", recording, recording.empty() ? "" : ", ", incident.Number, by);
}

}  // namespace

nlohmann::json JsonOf(const IncidentFile& file) {
  nlohmann::json json = {{"incident", file.Number}, {"path", file.Path}, {"complete", file.Complete}};
  if (!file.Error.empty()) json["error"] = file.Error;
  return json;
}

IncidentOutput::IncidentOutput(const std::string& path, unsigned long minFree, Make make, Complain complain)
    : Path(path),
      Names(path),
      Folder(std::filesystem::path(path).parent_path().string()),
      MinFree(minFree),
      MakeWriter(std::move(make)),
      Tell(std::move(complain)) {}

void IncidentOutput::Begin(const Incident& incident) {
  Files.push_back({incident.Number});
  Id = MakeId();
  Title = TitleOf(incident, Known.Title);
  From = NewestTime = incident.From;
  try {
    Open(incident);
  } catch (const Failure& failure) {
    Fail(failure.what());
  }
}

void IncidentOutput::Open(const Incident& incident) {
  const unsigned long free = FreeSpace(Folder);
  if (free < MinFree) throw Failure(fmt::format("\"{}\" has only {} left (--min-free)", Folder, FormatSize(free)));
  Files.back().Path = NewPath(incident);
  Writer = MakeWriter(Files.back().Path);
  Writer->KeepExisting();
  Writer->Describe(Own(~0ul));
}

/// Incidents within a second may have the same time in their names.
std::string IncidentOutput::NewPath(const Incident& incident) const {
  const TimeBase times = TimesOf(Known);
  if (Names.HasTime() && !times.IsKnown())
    throw Failure(
        fmt::format("Cannot write \"{}\": it isn't known when the entries were recorded, so there is no time for the "
                    "name; say when the first entry was, with --start-time",
                    Path));
  const unsigned long time = incident.Triggers.empty() ? incident.To : incident.Triggers.front().Time;
  const unsigned long utc = Names.HasTime() ? times.UtcOf(time) : 0;
  std::string path = Names.Of(incident.Number, utc);
  for (unsigned long copy = 2; !Names.HasNumber() && Exists(path); ++copy) path = Names.Of(incident.Number, utc, copy);
  return path;
}

void IncidentOutput::Describe(const Description& description) {
  Known = description;
  if (Writer) Writer->Describe(Own(~0ul));
}

/// @param to  ns: what is lost later is not its own
Description IncidentOutput::Own(unsigned long to) const {
  Description own = Known;
  own.Id = Id;
  own.Title = Title;
  own.Losses = LossesBetween(Known.Losses, From, to);
  return own;
}

bool IncidentOutput::Take(const RecordView& record) {
  if (!Writer) return true;
  NewestTime = std::max(NewestTime, record.Timestamp());
  if (!Writer->Take(record)) FailIfFailed();
  EndIfDiskIsFull();
  return true;
}

void IncidentOutput::Pause() {
  if (!Writer) return;
  Writer->Pause();
  FailIfFailed();
}

void IncidentOutput::WriteOut(std::vector<WrittenFile>& files) {
  if (Writer) Writer->WriteOut(files);
}

void IncidentOutput::FailToKeep(int error) {
  if (!Writer) return;
  Writer->FailToKeep(error);
  FailIfFailed();
}

void IncidentOutput::Settle() {
  if (Writer) Writer->Settle();
}

void IncidentOutput::FailIfFailed() {
  if (const std::string error = Writer->Error(); !error.empty()) Fail(error);
}

/// @param sentence  by value: it may be the writer's, which goes
void IncidentOutput::Fail(std::string sentence) {
  if (Writer) {
    Writer->NoteCut(Own(~0ul), NewestTime);
    NoteClosed();
  }
  Writer.reset();
  Files.back().Error = sentence;
  Tell(fmt::format("Incident {}: {}. The next one is tried again", Files.back().Number, sentence));
}

/// What came so far is worth more as a whole file.
void IncidentOutput::EndIfDiskIsFull() {
  if (!Writer || MinFree == 0 || !DiskChecks.IsDue()) return;
  const unsigned long free = FreeSpace(Folder);
  if (free >= MinFree) return;
  const std::string sentence = fmt::format("It ends early, at {} s: \"{}\" has only {} left (--min-free)",
                                           FormatSeconds(NewestTime), Folder, FormatSize(free));
  Complete(NewestTime);
  if (!Files.back().Error.empty()) return;
  Files.back().Error = sentence;
  Tell(fmt::format("Incident {}: {}", Files.back().Number, sentence));
}

void IncidentOutput::End(const Incident& incident) {
  if (Writer) Complete(incident.To);
}

void IncidentOutput::Complete(unsigned long to) {
  Description own = Own(to + (to < ~0ul ? 1 : 0));
  own.Complete = true;
  Writer->Describe(own);
  const bool complete = Writer->Finish();
  Files.back().Complete = complete;
  if (!complete || !Writer->Error().empty()) return Fail(Writer->Error());
  NoteClosed();
  Writer.reset();
}

void IncidentOutput::NoteClosed() {
  ClosedBytes += Writer->Size();
  nlohmann::json own = nlohmann::json::object();
  Writer->AddJson(own);
  if (!own.contains("omitted")) return;
  for (const auto& [what, count] : own["omitted"].items()) Omitted[what] += count.get<unsigned long>();
}

bool IncidentOutput::Finish() {
  return std::all_of(Files.begin(), Files.end(), [](const IncidentFile& file) { return file.Error.empty(); });
}

std::string IncidentOutput::FilesText() const {
  std::vector<std::string> complete;
  for (const IncidentFile& file : Files)
    if (file.Complete) complete.push_back(Printable(file.Path));
  if (complete.empty()) return "no incident";
  if (complete.size() == 1) return complete.front();
  return fmt::format("{} to {} ({})", complete.front(), complete.back(), FormatCount(complete.size(), "file", "files"));
}

std::string IncidentOutput::ShortfallText() const {
  std::string text;
  for (const auto& [what, count] : Omitted)
    text += fmt::format("{}{} {}", text.empty() ? ", as its format has no place for them: " : ", ", count, what);
  return text;
}

void IncidentOutput::AddJson(nlohmann::json& json) const {
  nlohmann::json files = nlohmann::json::array();
  for (const IncidentFile& file : Files) files.push_back(JsonOf(file));
  json["files"] = files;
  if (!Omitted.empty()) json["omitted"] = Omitted;
}

}  // namespace client
