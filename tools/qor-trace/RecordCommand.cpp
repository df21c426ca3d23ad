// qor-trace record
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "BinFile.h"
#include "BitRateArguments.h"
#include "CaptureFile.h"
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
  BitRateArguments BitRates;
  std::vector<std::string> Outputs;
  bool AscLive = false;
  bool AscDecimal = false;
  bool AscRelative = false;
  std::string AscSplit;
  CaptureOptions Capture;
  std::string StandardFormat;  // of the output -
  bool Json = false;
};

AscOptions AscOptionsOf(const RecordArguments& arguments) {
  AscOptions asc{arguments.AscLive, arguments.AscDecimal, arguments.AscRelative, std::nullopt};
  if (arguments.AscSplit.empty()) return asc;
  asc.Split = ParseSize(arguments.AscSplit);
  if (!asc.Split) throw UsageError(fmt::format("\"{}\" is no size; write 500M or 2G", arguments.AscSplit));
  return asc;
}

/// The outputs that are written while the recording runs: hands each entry to all of them. Declines when one of them can't
/// go on.
class StreamOutputs : public EntrySink {
 public:
  /// Failure: Failure when the file can't be made.
  void Add(const Output& output, const CaptureOptions& capture) {
    if (output.Kind == Format::Bin) {
      All.push_back(std::make_unique<BinWriter>(output.Path));
    } else if (output.Kind == Format::Pcapng && capture.AsExported) {
      Keep(Exported, std::make_unique<ExportedCapture>(output.Path));
    } else if (output.Kind == Format::Pcapng) {
      const PcapngOptions options{.EthernetOnly = capture.EthernetOnly};
      Keep(Captures, std::make_unique<CaptureWriter>(output.Path, options));
    }
  }

  bool Take(const unsigned char* record, unsigned int length) override {
    bool taken = true;
    for (const auto& output : All) taken = output->Take(record, length) && taken;
    return taken;
  }

  void Pause() override {
    for (const auto& output : All) output->Pause();
  }

  std::vector<std::unique_ptr<StreamOutput>> All;
  std::vector<CaptureWriter*> Captures;    // those of them
  std::vector<ExportedCapture*> Exported;  // those of them

 private:
  template <class Kind>
  void Keep(std::vector<Kind*>& kinds, std::unique_ptr<Kind> output) {
    kinds.push_back(output.get());
    All.push_back(std::move(output));
  }
};

/// One run of the subcommand.
class RecordRun {
 public:
  RecordRun(const RecordArguments& arguments, Signals& signals)
      : Arguments(arguments),
        Asc(AscOptionsOf(arguments)),
        Outputs(PlanOutputs(arguments.Outputs, Asc, std::filesystem::current_path(), arguments.Capture,
                            arguments.StandardFormat)),
        StopSignals(signals) {}

  int Run() {
    CheckUsage();
    const RecordingOptions options = Options();
    const std::vector<Source> sources = Arguments.Recording.Plan();
    for (const Output& output : Outputs) CheckWritable(output);
    Recorder recorder(options, sources, StopSignals);
    for (const Output& output : Outputs) Streams.Add(output, Arguments.Capture);
    const End end = recorder.Run(Streams);
    NoteError(recorder.Error());
    FinishStreams(recorder);
    ExportAscs(recorder.Trace());
    return Conclude(recorder.Counted(), end);
  }

 private:
  void CheckUsage() const {
    if (!UsesStandardOutput(Outputs)) return;
    if (StandardOutputIsTerminal()) throw UsageError("Binary output is not written to a terminal");
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
    options.Rates = Arguments.BitRates.Rates();
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

  void FinishStreams(Recorder& recorder) {
    for (CaptureWriter* capture : Streams.Captures) capture->SetLost(recorder.Counted().LostItems());
    for (ExportedCapture* exported : Streams.Exported) {
      try {
        exported->Export(recorder.Trace());
      } catch (const Failure& failure) {
        NoteError(failure.what());
      }
    }
    for (const auto& output : Streams.All) {
      output->Finish();
      NoteError(output->Error());
    }
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
    const int code = !Errors.empty() ? ExitFailed : summary.Lossy() || Incomplete() ? ExitLossy : ExitDone;
    Say(summary.Text() + IncompleteText() + TotalText(summary));
    if (Arguments.Json) Print(Json(summary, end, code).dump(2) + "\n");
    return code;
  }

  /// Whether an output can't hold all that was asked for.
  bool Incomplete() const { return !IncompleteText().empty(); }

  std::string IncompleteText() const {
    std::string text;
    for (const CaptureWriter* capture : Streams.Captures) text += capture->OmissionText();
    for (const ExportedCapture* exported : Streams.Exported) text += exported->MissingText();
    return text;
  }

  /// What each output does not hold, in the order of Outputs.
  nlohmann::json OutputsJson() const {
    nlohmann::json outputs = nlohmann::json::array();
    auto capture = Streams.Captures.begin();
    auto exported = Streams.Exported.begin();
    for (const Output& output : Outputs) {
      nlohmann::json json = {{"path", output.Path}, {"format", Word(output.Kind)}};
      if (output.Kind == Format::Pcapng && !Arguments.Capture.AsExported)
        json["omitted"] = (*capture++)->OmissionJson();
      if (output.Kind == Format::Pcapng && Arguments.Capture.AsExported) json["missing"] = (*exported++)->Missing();
      outputs.push_back(json);
    }
    return outputs;
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
    const auto times = summary.Times();
    return {{"command", "record"},
            {"entries", summary.Entries()},
            {"first_time_ns", times ? nlohmann::json(times->First) : nlohmann::json()},
            {"last_time_ns", times ? nlohmann::json(times->Last) : nlohmann::json()},
            {"ended_by", Word(end)},
            {"channels", summary.ChannelsJson()},
            {"buses", summary.BusesJson()},
            {"outputs", OutputsJson()},
            {"errors", Errors},
            {"exit_code", code}};
  }

  const RecordArguments& Arguments;
  const AscOptions Asc;
  const std::vector<Output> Outputs;
  Signals& StopSignals;
  StreamOutputs Streams;
  std::vector<std::string> Errors;
};

constexpr const char* RecordHelp =
    "Examples:\n"
    "  qor-trace record can --duration 5s -o demo.asc\n"
    "  qor-trace record drive.log --speed max -o drive.asc -o drive.bin\n"
    "  qor-trace record 'can?seed=1' 'can?seed=2' -d 1h -o run.asc --asc-live --asc-split 500M\n"
    "  qor-trace record drive.log --speed max -o - | qor-trace list -\n"
    "  qor-trace record can -o - --format pcapng | wireshark -k -i -\n"
    "\n"
    "A .bin or .pcapng output is called NAME.part until it is complete; after a failure it stays under that name\n"
    "with what was written. Ctrl-C ends the recording with all outputs complete.\n"
    "\n";

}  // namespace

void AddRecordCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("record", "Record sources and write the outputs");
  const auto arguments = std::make_shared<RecordArguments>();
  arguments->Recording.AddTo(*command);
  command
      ->add_option(
          "-o,--output", arguments->Outputs,
          "Output by extension: .asc text, .pcapng capture of all buses, .bin raw records; - for standard output")
      ->allow_extra_args(false);
  command->add_flag("--asc-live", arguments->AscLive, "Write the .asc output while recording, not at the end");
  command->add_option("--asc-split", arguments->AscSplit,
                      "Go on in NAME_1.asc, NAME_2.asc, ... beyond this size, e.g. 500M");
  command->add_flag("--asc-dec", arguments->AscDecimal, "Decimal base in .asc outputs");
  command->add_flag("--asc-relative", arguments->AscRelative, "Relative times in .asc outputs");
  command->add_option("--format", arguments->StandardFormat, "What - gets: bin (the default) or pcapng");
  command->add_flag("--ethernet-only", arguments->Capture.EthernetOnly,
                    "Only Ethernet in .pcapng outputs, for readers that refuse several link types");
  command->add_flag(
      "--as-exported", arguments->Capture.AsExported,
      "The library's own export as .pcapng output: Ethernet only, and of that what is in memory at the end");
  arguments->BitRates.AddTo(*command);
  command->add_flag("--json", arguments->Json, "Print the summary as JSON on standard output, times in ns");
  command->footer(std::string(RecordHelp) + SourceHelp);
  command->callback([arguments, &action] {
    action = [arguments](Signals& signals) { return RecordRun(*arguments, signals).Run(); };
  });
}

}  // namespace client
