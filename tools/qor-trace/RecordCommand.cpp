// qor-trace record
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "BinFile.h"
#include "Commands.h"
#include "Failure.h"
#include "Outputs.h"
#include "RecordingArguments.h"
#include "Terminal.h"
#include "Units.h"

namespace client {

namespace {

struct RecordArguments {
  RecordingArguments Recording;
  std::vector<std::string> Outputs;
  bool AscLive = false;
  bool AscDecimal = false;
  bool AscRelative = false;
  std::string AscSplit;
  bool Json = false;
};

AscOptions AscOptionsOf(const RecordArguments& arguments) {
  AscOptions asc{arguments.AscLive, arguments.AscDecimal, arguments.AscRelative, std::nullopt};
  if (arguments.AscSplit.empty()) return asc;
  asc.Split = ParseSize(arguments.AscSplit);
  if (!asc.Split) throw UsageError(fmt::format("\"{}\" is no size; write 500M or 2G", arguments.AscSplit));
  return asc;
}

/// Hands each entry to all .bin outputs. Declines when one of them can't go on.
class BinOutputs : public EntrySink {
 public:
  void Add(const Output& output) { Writers.push_back(std::make_unique<BinWriter>(output.Path)); }

  bool Take(const unsigned char* record, unsigned int length) override {
    bool taken = true;
    for (const auto& writer : Writers) taken = writer->Take(record, length) && taken;
    return taken;
  }

  void Pause() override {
    for (const auto& writer : Writers) writer->Pause();
  }

  void Finish() {
    for (const auto& writer : Writers) writer->Finish();
  }

  const std::vector<std::unique_ptr<BinWriter>>& All() const { return Writers; }

 private:
  std::vector<std::unique_ptr<BinWriter>> Writers;
};

/// One run of the subcommand.
class RecordRun {
 public:
  RecordRun(const RecordArguments& arguments, Signals& signals)
      : Arguments(arguments),
        Asc(AscOptionsOf(arguments)),
        Outputs(PlanOutputs(arguments.Outputs, Asc, std::filesystem::current_path())),
        StopSignals(signals) {}

  int Run() {
    CheckUsage();
    const RecordingOptions options = Options();
    const std::vector<Source> sources = Arguments.Recording.Plan();
    for (const Output& output : Outputs) CheckWritable(output);
    Recorder recorder(options, sources, StopSignals);
    for (const Output& output : Outputs)
      if (output.Kind == Format::Bin) Bins.Add(output);
    const End end = recorder.Run(Bins);
    NoteError(recorder.Error());
    FinishBins();
    ExportAscs(recorder.Trace());
    return Conclude(recorder.Counted(), end);
  }

 private:
  void CheckUsage() const {
    if (!UsesStandardOutput(Outputs)) return;
    if (StandardOutputIsTerminal()) throw UsageError("Binary records are not written to a terminal");
    if (Arguments.Json) throw UsageError("Standard output can't take both the records and the JSON summary");
  }

  RecordingOptions Options() const {
    std::string swapFolder = "/var/tmp";
    for (const Output& output : Outputs) {
      if (output.Path.empty()) continue;
      swapFolder = std::filesystem::path(output.Path).parent_path().string();
      break;
    }
    RecordingOptions options = Arguments.Recording.Options(swapFolder);
    if (!Asc.Live) return options;
    for (const Output& output : Outputs)
      if (output.Kind == Format::Asc) options.LiveAsc = output.Path;
    if (Asc.Split) options.LiveAscLimit = static_cast<unsigned int>(*Asc.Split);
    return options;
  }

  void NoteError(const std::string& sentence) {
    if (sentence.empty()) return;
    SayError(sentence);
    Errors.push_back(sentence);
  }

  void FinishBins() {
    Bins.Finish();
    for (const auto& writer : Bins.All()) NoteError(writer->Error());
  }

  /// Every output gets its chance, whatever became of the others.
  void ExportAscs(Monitor& monitor) {
    if (Asc.Live) return;
    unsigned int flags = 0;
    if (Asc.Decimal) flags |= QOR_TRACE_ASC_DECIMAL;
    if (Asc.Relative) flags |= QOR_TRACE_ASC_RELATIVE;
    if (Asc.Split) flags |= QOR_TRACE_ASC_SPLIT;
    for (const Output& output : Outputs) {
      if (output.Kind != Format::Asc) continue;
      try {
        monitor.ExportToAsc(output.Path, flags, static_cast<unsigned int>(Asc.Split.value_or(0)));
      } catch (const Failure& failure) {
        NoteError(failure.what());
      }
    }
  }

  int Conclude(const Summary& summary, End end) {
    const int code = !Errors.empty() ? ExitFailed : summary.Lossy() ? ExitLossy : ExitDone;
    Say(summary.Text() + TotalText(summary));
    if (Arguments.Json) Print(Json(summary, end, code).dump(2) + "\n");
    return code;
  }

  std::string TotalText(const Summary& summary) const {
    const auto times = summary.Times();
    std::string text = fmt::format("{} in {} s", FormatCount(summary.Entries(), "entry", "entries"),
                                   FormatSeconds(times ? times->Last - times->First : 0));
    const char* separator = "; written: ";
    for (const Output& output : Outputs) {
      if (!Errors.empty()) break;
      text += separator + (output.Path.empty() ? "standard output" : output.Path);
      separator = ", ";
    }
    return text;
  }

  nlohmann::json Json(const Summary& summary, End end, int code) const {
    nlohmann::json outputs = nlohmann::json::array();
    for (const Output& output : Outputs)
      outputs.push_back({{"path", output.Path}, {"format", output.Kind == Format::Asc ? "asc" : "bin"}});
    const auto times = summary.Times();
    return {{"command", "record"},
            {"entries", summary.Entries()},
            {"first_time_ns", times ? nlohmann::json(times->First) : nlohmann::json()},
            {"last_time_ns", times ? nlohmann::json(times->Last) : nlohmann::json()},
            {"ended_by", Word(end)},
            {"channels", summary.Json()},
            {"outputs", outputs},
            {"errors", Errors},
            {"exit_code", code}};
  }

  const RecordArguments& Arguments;
  const AscOptions Asc;
  const std::vector<Output> Outputs;
  Signals& StopSignals;
  BinOutputs Bins;
  std::vector<std::string> Errors;
};

constexpr const char* RecordHelp =
    "Examples:\n"
    "  qor-trace record can --duration 5s -o demo.asc\n"
    "  qor-trace record drive.log --speed max -o drive.asc -o drive.bin\n"
    "  qor-trace record 'can?seed=1' 'can?seed=2' -d 1h -o run.asc --asc-live --asc-split 500M\n"
    "  qor-trace record drive.log --speed max -o - | qor-trace list -\n"
    "\n"
    "A .bin output is called NAME.bin.part until it is complete; after a failure it stays under that name\n"
    "with the whole records that were written. Ctrl-C ends the recording with all outputs complete.\n"
    "\n";

}  // namespace

void AddRecordCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("record", "Record sources and write the outputs");
  const auto arguments = std::make_shared<RecordArguments>();
  arguments->Recording.AddTo(*command);
  command
      ->add_option("-o,--output", arguments->Outputs,
                   "Output by extension: .asc text, .bin raw records; - for raw records on standard output")
      ->allow_extra_args(false);
  command->add_flag("--asc-live", arguments->AscLive, "Write the .asc output while recording, not at the end");
  command->add_option("--asc-split", arguments->AscSplit,
                      "Go on in NAME_1.asc, NAME_2.asc, ... beyond this size, e.g. 500M");
  command->add_flag("--asc-dec", arguments->AscDecimal, "Decimal base in .asc outputs");
  command->add_flag("--asc-relative", arguments->AscRelative, "Relative times in .asc outputs");
  command->add_flag("--json", arguments->Json, "Print the summary as JSON on standard output, times in ns");
  command->footer(std::string(RecordHelp) + SourceHelp);
  command->callback([arguments, &action] {
    action = [arguments](Signals& signals) { return RecordRun(*arguments, signals).Run(); };
  });
}

}  // namespace client
