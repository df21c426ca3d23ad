// qor-trace record
#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "commands/BitRateArguments.h"
#include "commands/Commands.h"
#include "commands/Conclusion.h"
#include "commands/LossNews.h"
#include "commands/OutputArguments.h"
#include "commands/RecordingArguments.h"
#include "commands/StreamArguments.h"
#include "stream/FirstRecord.h"
#include "stream/LossLedger.h"
#include "stream/OverrunMarks.h"
#include "stream/Reorder.h"
#include "stream/Selection.h"
#include "stream/Tee.h"
#include "system/Failure.h"
#include "system/Terminal.h"

namespace client {

namespace {

struct RecordArguments {
  RecordingArguments Recording;
  BitRateArguments BitRates;
  OutputArguments Output;
  StreamArguments Stream;
  bool NoOutput = false;
};

/// A recording that is kept nowhere was hardly meant.
void CheckOutputs(const RecordArguments& arguments) {
  const bool any = !arguments.Output.Outputs.empty();
  if (any && arguments.NoOutput) throw UsageError("--no-output and -o contradict each other; leave one of them out");
  if (!any && !arguments.NoOutput)
    throw UsageError("There is no output; name one, as in -o drive.bin, or only count with --no-output");
}

/// The library's own export has what is in memory, whatever was selected.
void CheckSelection(const RecordArguments& arguments, const SelectionPlan& wanted, size_t channels) {
  if (arguments.Output.Capture.AsExported && !wanted.IsEverything())
    throw UsageError("--as-exported writes everything; leave it out, or --filter, --from, --to, --count and --channel");
  CheckChannels(wanted.Channels, channels);
}

int Record(const RecordArguments& arguments, Signals& signals) {
  CheckOutputs(arguments);
  const OutputPlan plan = arguments.Output.Plan();
  const SelectionPlan wanted = arguments.Stream.Plan();
  RecordingOptions options = arguments.Recording.Options(FolderOf(plan.Outputs, "/var/tmp"));
  options.OutputFolders = FoldersOf(plan.Outputs);
  options.MinFree = plan.MinFree;
  EndWithSelection(options, wanted);
  options.FirstTime = arguments.Output.Times.FirstTime();
  const TimeFormat format = arguments.Output.Times.TableFormat();
  const std::vector<Source> sources = arguments.Recording.Plan(arguments.Output.Strict);
  CheckSelection(arguments, wanted, sources.size());
  Summary summary(arguments.BitRates.Rates());
  for (const Output& output : plan.Outputs) CheckWritable(output);
  CheckRoom(options.OutputFolders, options.MinFree);
  LossLedger losses;
  Recorder recorder(options, sources, signals, losses);
  const auto told = [&](Description recording) {
    recording.Title = arguments.Output.Title;
    return arguments.Stream.Describe(std::move(recording), wanted);
  };
  OutputSet outputs(plan, told(recorder.Describe()));
  Tee sinks(outputs, summary);
  Selection selected(sinks, wanted);
  const auto tell = [&](Description recording) {
    recording.Losses = selected.Concerned(recording.Losses);
    outputs.Describe(told(std::move(recording)));
  };
  LossNews news([&] { tell(recorder.Describe()); });
  FirstRecord started(
      selected, [&](const RecordView& record) { selected.BeginAt(record.Timestamp(), TimesOf(recorder.Describe())); });
  OverrunMarks marked(started, losses, std::ref(news));
  Reorder ordered(marked, losses, OrderingWindow(sources.size()));
  const End end = recorder.Run(
      ordered, [&](const std::string& sentence) { outputs.NoteError(sentence); }, tell);
  ordered.Finish();
  Description known = recorder.Describe();
  known.Losses = selected.Concerned(known.Losses);
  known = told(std::move(known));
  TakeChannels(known, summary);
  summary.SetUnread(recorder.Unread());
  summary.SetTimes(format, TimesOf(known));
  {
    const WaitingLine line("completing the outputs", arguments.Recording.Progress);
    outputs.Finish(known, [&](const std::string& path) { recorder.Trace().ExportToPcap(path); });
  }
  const char* const endedBy = selected.EndedBy() != nullptr ? selected.EndedBy() : Word(end);
  return Conclude("record", summary, selected, outputs, arguments.Output, known, {{"ended_by", endedBy}});
}

constexpr const char* kRecordHelp =
    "Examples:\n"
    "  qor-trace record vehicle --duration 5s -o drive.asc -o drive.pcapng\n"
    "  qor-trace record drive.log --speed max -o drive.asc -o drive.bin\n"
    "  qor-trace record can 'can?seed=2' -d 1h -o run.asc --asc-split 500M\n"
    "  qor-trace record drive.log --speed max -o - | qor-trace list -\n"
    "  qor-trace record can lin -o errors.asc --filter error --count 100\n"
    "  qor-trace record can -o - --format pcapng | wireshark -k -i -\n"
    "\n"
    "An output is called NAME.part until it is complete; after a failure it stays under that name with what was "
    "written, and the others go on. Ctrl-C ends the recording with all outputs complete.\n"
    "\n";

}  // namespace

void AddRecordCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("record", "Record sources and write the outputs");
  const auto arguments = std::make_shared<RecordArguments>();
  arguments->Recording.AddTo(*command);
  arguments->Output.AddTo(*command);
  arguments->Output.AddRecordingTo(*command);
  command->add_flag("--no-output", arguments->NoOutput, "Only count; without it an output is needed");
  arguments->Stream.AddTo(*command);
  arguments->BitRates.AddTo(*command);
  command->footer(std::string(kRecordHelp) + kFilterHelp + kSourceHelp);
  command->callback(
      [arguments, &action] { action = [arguments](Signals& signals) { return Record(*arguments, signals); }; });
}

}  // namespace client
