#include "outputs/OutputSet.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "outputs/AscOutput.h"
#include "outputs/BinFile.h"
#include "outputs/CaptureFile.h"
#include "outputs/MdfOutput.h"
#include "system/Failure.h"
#include "system/Printable.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

namespace {

std::unique_ptr<StreamOutput> MakeWriter(const Output& output, const OutputPlan& plan, const Replay* replay) {
  switch (output.Kind) {
    case Format::Bin:
      return std::make_unique<BinWriter>(output.Path);
    case Format::Asc:
      return std::make_unique<AscOutput>(output.Path, plan.Asc, replay);
    case Format::Pcapng:
      if (plan.Capture.AsExported) return std::make_unique<ExportedCapture>(output.Path);
      return std::make_unique<CaptureWriter>(output.Path, PcapngOptions{.EthernetOnly = plan.Capture.EthernetOnly});
    case Format::Mdf:
      return std::make_unique<MdfOutput>(output.Path, plan.Mdf);
  }
  return nullptr;
}

std::string NameOf(const Output& output) { return output.Path.empty() ? "standard output" : Printable(output.Path); }

}  // namespace

OutputSet::OutputSet(const OutputPlan& plan, std::unique_ptr<Replay> replay)
    : Outputs(plan.Outputs), Replayed(std::move(replay)) {
  for (const Output& output : Outputs) Writers.push_back(MakeWriter(output, plan, Replayed.get()));
}

bool OutputSet::Take(const unsigned char* record, unsigned int length) {
  TryReplay([&] { Replayed->Take(record, length); });
  bool taken = true;
  for (const auto& writer : Writers) taken = writer->Take(record, length) && taken;
  return taken;
}

void OutputSet::Pause() {
  for (const auto& writer : Writers) writer->Pause();
}

/// A failure is that of the outputs that need the replay; the others go on.
template <class Play>
void OutputSet::TryReplay(Play play) {
  if (!Replayed || ReplayFailed) return;
  try {
    play();
  } catch (const Failure& failure) {
    ReplayFailed = true;
    NoteError(failure.what());
  }
}

void OutputSet::KeepExisting() {
  for (const auto& writer : Writers) writer->KeepExisting();
}

void OutputSet::Finish(Monitor* monitor, const Summary& summary) {
  TryReplay([&] { Replayed->Finish(); });
  if (Replayed && !ReplayFailed) monitor = &Replayed->Trace();
  for (const auto& writer : Writers) {
    writer->SetLost(summary.LostItems());
    try {
      if (monitor != nullptr) writer->Export(*monitor);
    } catch (const Failure& failure) {
      NoteError(failure.what());
    }
    writer->Finish();
    NoteError(writer->Error());
  }
}

void OutputSet::NoteError(const std::string& sentence) {
  if (sentence.empty()) return;
  SayError(sentence);
  Sentences.push_back(sentence);
}

std::string OutputSet::ShortfallText() const {
  std::string text;
  for (std::size_t index = 0; index < Writers.size(); ++index) {
    const std::string shortfall = Writers[index]->ShortfallText();
    if (!shortfall.empty()) text += fmt::format("{}: NOT IN IT{}\n", NameOf(Outputs[index]), shortfall);
  }
  return text;
}

std::string OutputSet::RemarkText() const {
  std::string text;
  for (const auto& writer : Writers)
    if (const std::string remark = writer->RemarkText(); !remark.empty()) text += Printable(remark) + "\n";
  return text;
}

nlohmann::json OutputSet::Json() const {
  nlohmann::json array = nlohmann::json::array();
  for (std::size_t index = 0; index < Writers.size(); ++index) {
    nlohmann::json json = {{"path", Outputs[index].Path}, {"format", Word(Outputs[index].Kind)}};
    Writers[index]->AddJson(json);
    array.push_back(json);
  }
  return array;
}

std::string OutputSet::WrittenText() const {
  std::string text;
  for (const Output& output : Outputs) {
    if (!Sentences.empty()) return "";
    text += (text.empty() ? "; written: " : ", ") + NameOf(output);
  }
  return text;
}

int Conclude(const std::string& command, const Summary& summary, const OutputSet& outputs, bool json,
             const nlohmann::json& more) {
  const std::string shortfall = outputs.ShortfallText();
  const bool lossy = summary.Lossy() || !shortfall.empty();
  const int code = !outputs.Errors().empty() ? ExitFailed : lossy ? ExitLossy : ExitDone;
  const auto times = summary.Times();
  Say(fmt::format("{}{}{}{} in {} s{}", summary.Text(), shortfall, outputs.RemarkText(),
                  FormatCount(summary.Entries(), "entry", "entries"),
                  FormatSeconds(times ? times->Last - times->First : 0), outputs.WrittenText()));
  if (!json) return code;
  nlohmann::json object = {{"command", command},
                           {"entries", summary.Entries()},
                           {"first_time_ns", times ? nlohmann::json(times->First) : nlohmann::json()},
                           {"last_time_ns", times ? nlohmann::json(times->Last) : nlohmann::json()},
                           {"channels", summary.ChannelsJson()},
                           {"buses", summary.BusesJson()},
                           {"outputs", outputs.Json()},
                           {"errors", outputs.Errors()},
                           {"exit_code", code}};
  object.update(more);
  PrintJson(object);
  return code;
}

}  // namespace client
