#include "outputs/OutputSet.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "outputs/AscWriter.h"
#include "outputs/BinFile.h"
#include "outputs/CandumpWriter.h"
#include "outputs/CaptureFile.h"
#include "outputs/ExportedAsc.h"
#include "outputs/MdfOutput.h"
#include "outputs/RowWriter.h"
#include "system/Failure.h"
#include "system/Host.h"
#include "system/Printable.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

namespace {

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

std::string NameOf(const Output& output) { return output.Path.empty() ? "standard output" : Printable(output.Path); }

}  // namespace

OutputSet::OutputSet(const OutputPlan& plan, const Description& description) {
  for (const Output& output : plan.Outputs) Members.push_back({output, MakeWriter(output, plan)});
  Describe(description);
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
  return wanted && AnyLeft();
}

void OutputSet::Pause() {
  for (Member& member : Members) {
    if (member.Ended) continue;
    member.Writer->Pause();
    EndIfFailed(member);
  }
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
  Describe(description);
  for (Member& member : Members) {
    if (!member.Ended) Complete(member, capture);
    if (!member.Complete) member.Writer->NoteCut(Known, LatestTime);
  }
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
  return text;
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

std::string OutputSet::WrittenText() const {
  std::string text;
  for (const Member& member : Members)
    if (member.Complete) text += (text.empty() ? "; written: " : ", ") + NameOf(member.Planned);
  return text;
}

}  // namespace client
