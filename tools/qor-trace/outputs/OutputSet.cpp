#include "outputs/OutputSet.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "outputs/AscWriter.h"
#include "outputs/BinFile.h"
#include "outputs/CandumpWriter.h"
#include "outputs/CaptureFile.h"
#include "outputs/ExportedAsc.h"
#include "outputs/MdfOutput.h"
#include "outputs/RowWriter.h"
#include "outputs/SeriesOutput.h"
#include "system/Failure.h"
#include "system/Host.h"
#include "system/Printable.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr unsigned long kSyncCheck = 4096;  // entries between two looks at the clock

MdfOptions MdfOptionsOf(const OutputPlan& plan) {
  MdfOptions options = plan.Mdf;
  options.AsExported = plan.Capture.AsExported;
  return options;
}

std::unique_ptr<StreamOutput> MakeWriter(const Output& output, const OutputPlan& plan) {
  switch (output.Kind) {
    case Format::Bin:
      return std::make_unique<BinWriter>(output.Path);
    case Format::Asc:
      if (plan.Capture.AsExported) return std::make_unique<ExportedAsc>(output.Path, plan.Asc);
      return std::make_unique<AscWriter>(output.Path, plan.Asc);
    case Format::Pcapng:
      if (plan.Capture.AsExported) return std::make_unique<ExportedCapture>(output.Path);
      return std::make_unique<CaptureWriter>(
          output.Path, PcapngOptions{.Application = ToolName(), .EthernetOnly = plan.Capture.EthernetOnly});
    case Format::Mdf:
      return std::make_unique<MdfOutput>(output.Path, MdfOptionsOf(plan));
    case Format::Ndjson:
      return std::make_unique<RowWriter>(output.Path, RowFormat::Ndjson);
    case Format::Csv:
      return std::make_unique<RowWriter>(output.Path, RowFormat::Csv);
    case Format::Candump:
      return std::make_unique<CandumpWriter>(output.Path);
  }
  return nullptr;
}

std::unique_ptr<StreamOutput> MakeOutput(const Output& output, const OutputPlan& plan, const SeriesNews& news) {
  if (!IsSeries(output, plan.Series)) return MakeWriter(output, plan);
  const auto makeFile = [output, plan](const std::string& path) { return MakeWriter({output.Kind, path}, plan); };
  return std::make_unique<SeriesOutput>(output.Path, plan.Series, makeFile, news);
}

std::string NameOf(const Output& output) { return output.Path.empty() ? "standard output" : Printable(output.Path); }

}  // namespace

OutputSet::OutputSet(const OutputPlan& plan, const Description& description, const SeriesNews& news, FilesOf files) {
  for (const Output& output : plan.Outputs) {
    if (files == FilesOf::Incidents)
      AddIncidents(output, plan);
    else
      Members.push_back({output, MakeOutput(output, plan, news)});
  }
  if (plan.Sync) Sync = std::make_unique<OutputSync>(std::chrono::nanoseconds(*plan.Sync));
  Describe(description);
}

void OutputSet::AddIncidents(const Output& output, const OutputPlan& plan) {
  auto incidents = std::make_unique<IncidentOutput>(
      output.Path, plan.MinFree,
      [output, plan](const std::string& path) {
        return MakeWriter({output.Kind, path}, plan);
      },
      [this](const std::string& sentence) { NoteError(sentence); });
  IncidentOutput* const writer = incidents.get();
  Members.push_back({.Planned = output, .Writer = std::move(incidents), .Incidents = writer});
}

void OutputSet::Begin(const Incident& incident) {
  for (const Member& member : Members) member.Incidents->Begin(incident);
}

void OutputSet::End(const Incident& incident) {
  for (const Member& member : Members) member.Incidents->End(incident);
}

unsigned long OutputSet::FreeIncident() const {
  unsigned long number = 1;
  for (const Member& member : Members) number = std::max(number, member.Incidents->FreeNumber());
  return number;
}

std::string OutputSet::IncidentText() const {
  std::string text;
  for (const Member& member : Members)
    if (const IncidentFile& file = member.Incidents->Latest(); file.Complete)
      text += (text.empty() ? "" : ", ") + Printable(file.Path);
  return text;
}

nlohmann::json OutputSet::IncidentJson() const {
  nlohmann::json files = nlohmann::json::array();
  for (const Member& member : Members) files.push_back(JsonOf(member.Incidents->Latest()));
  return files;
}

void OutputSet::Describe(const Description& description) {
  Known = description;
  for (Member& member : Members)
    if (!member.Ended) member.Writer->Describe(description);
}

bool OutputSet::Take(const RecordView& record) {
  ++Entries;
  LatestTime = record.Timestamp();
  bool wanted = true;
  for (Member& member : Members) {
    if (member.Ended || member.Writer->Take(record)) continue;
    if (member.Writer->Error().empty()) wanted = false;  // its reader has gone
    EndIfFailed(member);
  }
  if (Entries % kSyncCheck == 0) KeepOnDisk();
  return wanted && AnyLeft();
}

void OutputSet::Pause() {
  KeepOnDisk();
  for (Member& member : Members) {
    if (member.Ended) continue;
    member.Writer->Pause();
    EndIfFailed(member);
  }
}

/// Once in a while, all that the outputs took.
void OutputSet::KeepOnDisk() {
  if (!Sync) return;
  EndThoseNotKept(Sync->Errors());
  if (!Sync->IsDue()) return;
  std::vector<DiskSync::Files> files(Members.size());
  for (size_t index = 0; index < Members.size(); ++index) {
    if (Members[index].Ended) continue;
    Members[index].Writer->WriteOut(files[index]);
    EndIfFailed(Members[index]);
  }
  Sync->Begin(std::move(files));
}

/// @param errors  errno of each member's files; none where there is no news
void OutputSet::EndThoseNotKept(const std::vector<int>& errors) {
  for (size_t index = 0; index < errors.size(); ++index) {
    if (errors[index] == 0 || Members[index].Ended) continue;
    Members[index].Writer->FailToKeep(errors[index]);
    EndIfFailed(Members[index]);
  }
}

/// A file is on the disk before it gets its name, but the name isn't.
void OutputSet::KeepNames() {
  std::vector<Output> complete;
  for (const Member& member : Members)
    if (member.Complete) complete.push_back(member.Planned);
  for (const std::string& folder : FoldersOf(complete))
    if (const int error = SynchronizeFolder(folder); error != 0)
      NoteError(fmt::format("Cannot put the names of the outputs in \"{}\" on the disk: {}", folder, ErrnoText(error)));
}

bool OutputSet::AnyLeft() const {
  return Members.empty() || std::any_of(Members.begin(), Members.end(), [](const Member& one) { return !one.Ended; });
}

void OutputSet::EndIfFailed(Member& member) {
  const std::string& error = member.Writer->Error();
  if (error.empty()) return;
  member.Ended = true;
  member.EndedAtEntry = Entries;
  member.EndedAtTime = LatestTime;
  member.Writer->NoteCut(Known, LatestTime);
  NoteError(fmt::format("{}. It ended at entry {} of the trace, {} s{}", error, Entries, FormatSeconds(LatestTime),
                        AnyLeft() ? "; the other outputs go on" : ""));
}

void OutputSet::Finish(const Description& description, const LibraryExport& capture) {
  if (Sync) EndThoseNotKept(Sync->LastErrors());
  Describe(description);
  for (Member& member : Members) {
    if (!member.Ended) Complete(member, capture);
    if (!member.Complete) member.Writer->NoteCut(Known, LatestTime);
  }
  if (Sync) KeepNames();
}

void OutputSet::Complete(Member& member, const LibraryExport& capture) {
  try {
    if (capture) member.Writer->Export(capture);
  } catch (const Failure& failure) {
    NoteError(failure.what());
  }
  member.Complete = member.Writer->Finish();
  NoteError(member.Writer->Error());
}

void OutputSet::KeepExisting() {
  for (Member& member : Members) member.Writer->KeepExisting();
}

void OutputSet::NoteError(const std::string& sentence) {
  if (sentence.empty()) return;
  SayError(sentence);
  Sentences.push_back(sentence);
}

std::string OutputSet::ShortfallText() const {
  std::string text;
  for (const Member& member : Members) {
    const std::string shortfall = member.Writer->ShortfallText();
    if (!shortfall.empty()) text += fmt::format("{}: NOT IN IT{}\n", NameOf(member.Planned), shortfall);
  }
  return text;
}

std::string OutputSet::RemarkText() const {
  std::string text;
  for (const Member& member : Members)
    if (const std::string remark = member.Writer->RemarkText(); !remark.empty()) text += Printable(remark) + "\n";
  return Sync ? text + Sync->Text() : text;
}

nlohmann::json OutputSet::Json() const {
  nlohmann::json array = nlohmann::json::array();
  for (const Member& member : Members) {
    nlohmann::json json = {
        {"path", member.Planned.Path}, {"format", Word(member.Planned.Kind)}, {"complete", member.Complete}};
    if (!member.Writer->Error().empty()) json["error"] = member.Writer->Error();
    if (member.Ended) json["ended_at"] = {{"entry", member.EndedAtEntry}, {"time_ns", member.EndedAtTime}};
    member.Writer->AddJson(json);
    array.push_back(json);
  }
  return array;
}

nlohmann::json OutputSet::SyncJson() const { return Sync ? Sync->Json() : nlohmann::json(); }

std::string OutputSet::WrittenText() const {
  std::string text;
  for (const Member& member : Members) {
    if (!member.Complete) continue;
    const std::string files = member.Writer->FilesText();
    text += (text.empty() ? "; written: " : ", ") + (files.empty() ? NameOf(member.Planned) : files);
  }
  return text;
}

unsigned long OutputSet::DeletedBytes() const {
  unsigned long size = 0;
  for (const Member& member : Members) size += member.Writer->DeletedBytes();
  return size;
}

unsigned long OutputSet::Size() const {
  unsigned long size = 0;
  for (const Member& member : Members) size += member.Writer->Size();
  return size;
}

}  // namespace client
