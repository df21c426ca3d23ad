#include "commands/SideRecording.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "commands/Conclusion.h"
#include "system/DiskSpace.h"
#include "system/Text.h"
#include "system/Units.h"

namespace client {

namespace {

/// Before anything is made.
OutputPlan Checked(const OutputPlan& plan) {
  for (const Output& output : plan.Outputs) CheckWritable(output);
  CheckRoom(FoldersOf(plan.Outputs), plan.MinFree);
  return plan;
}

SelectionPlan SelectionFor(const SideBox* box) {
  SelectionPlan plan;
  if (box == nullptr) return plan;
  plan.Triggers = box->Triggers;
  plan.Button = box->Button;
  plan.Silent = box->Plan.Silent;
  return plan;
}

std::string NameOf(const Output& output) { return std::filesystem::path(output.Path).filename().string(); }

/// The place of a name's extensions: of "run.asc.gz" both.
size_t PlaceOfExtensions(const std::string& name) {
  const std::string last = ExtensionOf(name);
  size_t place = name.size() - last.size();
  if (last == ".gz" || last == ".zst") place -= ExtensionOf(name.substr(0, place)).size();
  return place;
}

}  // namespace

SideRecording::SideRecording(const OutputArguments& asked, const OutputPlan& plan, const BitRates& rates,
                             const Description& known, const SideBox* box)
    : Asked(asked),
      Plan(Checked(plan)),
      Id(MakeId()),
      Stream(known),
      Outputs(Plan, Own(known), nullptr, box != nullptr ? FilesOf::Incidents : FilesOf::Recording),
      Counted(rates),
      Into(Outputs, Counted, box != nullptr ? std::optional(box->Plan) : std::nullopt, false),
      Everything(Into.Front(), SelectionFor(box)) {
  Into.TakeTriggersOf(Everything);
}

bool SideRecording::Take(const RecordView& record) {
  if (!First) {
    First = record.Timestamp();
    Everything.BeginAt(*First, TimesOf(Stream));
    Outputs.Describe(Own(Stream));
  }
  return Everything.Take(record);
}

void SideRecording::Describe(const Description& stream) {
  Stream = stream;
  Everything.NoteLosses(stream.Losses);
  Outputs.Describe(Own(stream));
}

Description SideRecording::Own(Description stream) const {
  stream.Id = Id;
  stream.Title = Asked.Title;
  stream.Losses = First ? LossesBetween(stream.Losses, *First, ~0ul) : std::vector<Loss>();
  return stream;
}

bool SideRecording::DiskIsFull() {
  for (const std::string& folder : FoldersOf(Plan.Outputs)) {
    const unsigned long free = FreeSpace(folder);
    if (free >= Plan.MinFree) continue;
    Outputs.NoteError(
        fmt::format("The recording was ended: \"{}\" has only {} left (--min-free)", folder, FormatSize(free)));
    return true;
  }
  return false;
}

int SideRecording::Finish(const Description& stream) {
  Description own = Own(stream);
  Outputs.Describe(own);
  Into.Finish(Everything);
  own.Losses = Into.Concerned(own.Losses);
  TakeChannels(own, Counted);
  Counted.SetTimes(Asked.Times.TableFormat(), TimesOf(own));
  Outputs.Finish(own);
  return Conclude("watch", Counted, Everything, Outputs, Asked, own, nlohmann::json::object());
}

unsigned long SideRecording::Span() const { return Counted.Span(); }

std::string SideRecording::Name() const { return NameOf(Plan.Outputs.front()); }

std::string SideRecording::Names() const {
  std::string names;
  for (const Output& output : Plan.Outputs) names += (names.empty() ? "" : ", ") + NameOf(output);
  return names;
}

std::string SideRecording::IncidentNames() const {
  std::string names;
  for (const nlohmann::json& file : Outputs.IncidentJson()) {
    if (!file["complete"].get<bool>()) continue;
    const std::filesystem::path path = file["path"].get<std::string>();
    names += (names.empty() ? "" : ", ") + path.filename().string();
  }
  return names;
}

std::vector<std::string> NumberedNames(const std::vector<std::string>& names, const std::filesystem::path& folder,
                                       size_t number) {
  for (;; ++number) {
    std::vector<std::string> numbered = names;
    for (std::string& name : numbered) name.insert(PlaceOfExtensions(name), fmt::format("-{}", number));
    const auto exists = [&](const std::string& name) {
      std::error_code unknown;
      return std::filesystem::exists(folder / name, unknown);
    };
    if (std::none_of(numbered.begin(), numbered.end(), exists)) return numbered;
  }
}

}  // namespace client
