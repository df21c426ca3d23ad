// qor-trace record
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/BitRateArguments.h"
#include "commands/Commands.h"
#include "commands/Conclusion.h"
#include "commands/OutputArguments.h"
#include "commands/RecordingArguments.h"
#include "stream/Tee.h"

namespace client {

namespace {

struct RecordArguments {
  RecordingArguments Recording;
  BitRateArguments BitRates;
  OutputArguments Output;
};

int Record(const RecordArguments& arguments, Signals& signals) {
  const OutputPlan plan = arguments.Output.Plan();
  RecordingOptions options = arguments.Recording.Options(FolderOf(plan.Outputs, "/var/tmp"));
  options.OutputFolders = FoldersOf(plan.Outputs);
  options.MinFree = plan.MinFree;
  const std::vector<Source> sources = arguments.Recording.Plan();
  Summary summary(arguments.BitRates.Rates());
  for (const Output& output : plan.Outputs) CheckWritable(output);
  CheckRoom(options.OutputFolders, options.MinFree);
  Recorder recorder(options, sources, signals);
  OutputSet outputs(plan);
  Tee sinks(outputs, summary);
  const End end = recorder.Run(sinks, [&](const std::string& sentence) { outputs.NoteError(sentence); });
  TakeChannels(recorder, summary);
  outputs.Finish(summary.LostItems(), [&](const std::string& path) { recorder.Trace().ExportToPcap(path); });
  return Conclude("record", summary, outputs, arguments.Output.Json, {{"ended_by", Word(end)}});
}

constexpr const char* RecordHelp =
    "Examples:\n"
    "  qor-trace record vehicle --duration 5s -o drive.asc -o drive.pcapng\n"
    "  qor-trace record drive.log --speed max -o drive.asc -o drive.bin\n"
    "  qor-trace record 'can?seed=1' 'can?seed=2' -d 1h -o run.asc --asc-live --asc-split 500M\n"
    "  qor-trace record drive.log --speed max -o - | qor-trace list -\n"
    "  qor-trace record can -o - --format pcapng | wireshark -k -i -\n"
    "\n"
    "An output is called NAME.part until it is complete; after a failure it stays under that name with what was\n"
    "written, and the others go on. Ctrl-C ends the recording with all outputs complete.\n"
    "\n";

}  // namespace

void AddRecordCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("record", "Record sources and write the outputs");
  const auto arguments = std::make_shared<RecordArguments>();
  arguments->Recording.AddTo(*command);
  arguments->Output.AddTo(*command);
  arguments->Output.AddRecordingTo(*command);
  arguments->BitRates.AddTo(*command);
  command->footer(std::string(RecordHelp) + SourceHelp);
  command->callback(
      [arguments, &action] { action = [arguments](Signals& signals) { return Record(*arguments, signals); }; });
}

}  // namespace client
