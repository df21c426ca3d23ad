// qor-trace record
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "commands/BitRateArguments.h"
#include "commands/BlackBoxArguments.h"
#include "commands/Commands.h"
#include "commands/Conclusion.h"
#include "commands/Destination.h"
#include "commands/LossNews.h"
#include "commands/OutputArguments.h"
#include "commands/RecordingArguments.h"
#include "commands/StatsLines.h"
#include "commands/StreamArguments.h"
#include "stream/FirstRecord.h"
#include "stream/LossLedger.h"
#include "stream/OverrunMarks.h"
#include "stream/Reorder.h"
#include "stream/Selection.h"
#include "stream/Tee.h"
#include "system/Descriptor.h"
#include "system/DiskSpace.h"
#include "system/Failure.h"
#include "system/TemporaryFolder.h"
#include "system/Terminal.h"

namespace client {

namespace {

struct RecordArguments {
  RecordingArguments Recording;
  BitRateArguments BitRates;
  OutputArguments Output;
  StatsArguments Stats;
  StreamArguments Stream;
  BlackBoxArguments Box;
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
    throw UsageError(
        "--as-exported writes everything; leave it out, or --filter, --from, --to, --start-on, --stop-on, --count, "
        "--stop-after and --channel");
  CheckChannels(wanted.Channels, channels);
}

/// Bytes until the recording ends since a disk is full; nothing without outputs on disks.
std::optional<unsigned long> RoomIn(const std::vector<std::string>& folders, unsigned long minFree) {
  std::optional<unsigned long> least;
  for (const std::string& folder : folders) {
    const unsigned long free = FreeSpace(folder);
    least = std::min(least.value_or(free), free);
  }
  return least ? std::optional(*least - std::min(*least, minFree)) : std::nullopt;
}

/// @param isBox  it is a black box, which goes on when an incident has no room, and needs no trace
RecordingOptions OptionsOf(const RecordArguments& arguments, const OutputPlan& plan, bool isBox) {
  RecordingOptions options = arguments.Recording.Options(FolderOf(plan.Outputs, TemporaryFolder()));
  options.MinFree = plan.MinFree;
  options.FirstTime = arguments.Output.Times.FirstTime();
  if (UsesStandardOutput(plan.Outputs)) options.NobodyReads = [] { return ReaderIsGone(STDOUT_FILENO); };
  if (isBox)
    options.LargestTrace = RecordingOptions::kLargestUnneededTrace;
  else
    options.OutputFolders = FoldersOf(plan.Outputs);
  return options;
}

int Record(const RecordArguments& arguments, Signals& signals) {
  CheckOutputs(arguments);
  const OutputPlan plan = arguments.Output.Plan();
  auto box = arguments.Box.Plan(plan);
  SelectionPlan wanted = arguments.Stream.Plan();
  RecordingOptions options = OptionsOf(arguments, plan, box.has_value());
  EndWithSelection(options, wanted);
  const TimeFormat format = arguments.Output.Times.TableFormat();
  const std::vector<Source> sources = arguments.Recording.Plan(arguments.Output.Strict);
  CheckSelection(arguments, wanted, sources.size());
  wanted.Silent = TimingOf(sources, OrderingWindow(sources.size()));
  ManualTrigger button;
  wanted.Button = &button;
  wanted.Triggers = arguments.Box.TriggerList();
  if (box) box->Silent = wanted.Silent;
  Summary summary(arguments.BitRates.Rates());
  for (const Output& output : plan.Outputs) CheckWritable(output);
  CheckRoom(FoldersOf(plan.Outputs), plan.MinFree);
  LossLedger losses;
  Recorder recorder(options, sources, signals, losses);
  const auto told = [&](Description recording) {
    recording.Title = arguments.Output.Title;
    return arguments.Stream.Describe(std::move(recording), wanted);
  };
  OutputSet outputs(plan, told(recorder.Describe()), TellOfSeries(arguments.Output.Json),
                    box ? FilesOf::Incidents : FilesOf::Recording);
  Destination destination(outputs, summary, box, arguments.Output.Json);
  StatsLines stats(arguments.Stats.Plan(), arguments.BitRates.Rates(), arguments.Output.Json);
  Tee sinks(destination.Front(), stats);
  Selection selected(sinks, wanted);
  destination.TakeTriggersOf(selected);
  std::optional<TriggerSignal> signal;
  if (box) signal.emplace(signals, button);
  const auto toldOf = [&](Description recording) {
    selected.NoteLosses(recording.Losses);
    recording.Losses = selected.Concerned(recording.Losses);
    return told(std::move(recording));
  };
  const auto tell = [&](Description recording) { outputs.Describe(toldOf(std::move(recording))); };
  LossNews news([&] { tell(recorder.Describe()); });
  selected.TellOfStart(std::ref(news));
  FirstRecord started(
      selected, [&](const RecordView& record) { selected.BeginAt(record.Timestamp(), TimesOf(recorder.Describe())); });
  OverrunMarks marked(started, losses, std::ref(news));
  Reorder ordered(marked, losses, OrderingWindow(sources.size()));
  stats.Begin([&] {
    const MachineState machine{.Waiting = recorder.Waiting() + ordered.Waiting(),
                               .Written = outputs.Size(),
                               .Deleted = outputs.DeletedBytes(),
                               .Room = RoomIn(FoldersOf(plan.Outputs), options.MinFree)};
    return StatsLines::State{machine, toldOf(recorder.Describe()).Losses};
  });
  const End end = recorder.Run(
      ordered, [&](const std::string& sentence) { outputs.NoteError(sentence); }, tell,
      [&] { return selected.EndedBy() != nullptr; });
  ordered.Finish();
  Description known = toldOf(recorder.Describe());
  outputs.Describe(known);
  destination.Finish(selected);
  known.Losses = destination.Concerned(known.Losses);
  TakeChannels(known, summary);
  summary.SetUnread(recorder.Unread());
  summary.SetTimes(format, TimesOf(known));
  {
    const WaitingLine line("completing the outputs", arguments.Recording.Progress);
    outputs.Finish(known, [&](const std::string& path) { recorder.Trace().ExportToPcap(path); });
  }
  stats.Finish();
  const char* const endedBy = selected.EndedBy() != nullptr ? selected.EndedBy() : Word(end);
  nlohmann::json more = {{"ended_by", endedBy}, {"sync", outputs.SyncJson()}};
  destination.AddJson(more);
  const bool events = box || !arguments.Stats.Interval.empty() || arguments.Output.PrintsEvents(plan);
  return Conclude("record", summary, selected, outputs, arguments.Output, known, more, arguments.Output.Json && events);
}

constexpr const char* kRecordHelp =
    "Examples:\n"
    "  qor-trace record vehicle --duration 5s -o drive.asc -o drive.pcapng\n"
    "  qor-trace record drive.log --speed max -o drive.asc -o drive.bin\n"
    "  qor-trace record can 'can?seed=2' -d 1h -o run.asc --asc-split 500M\n"
    "  qor-trace record drive.log --speed max -o - | qor-trace list -\n"
    "  qor-trace record can lin -o errors.asc --filter error --count 100\n"
    "  qor-trace record can -o - --format pcapng | wireshark -k -i -\n"
    "  qor-trace record vehicle -o incident-%n.mf4 --ring 60s --post 10s --trigger \"error or loss\"\n"
    "\n"
    "An output is called NAME.part until it is complete; after a failure it stays under that name with what was "
    "written, and the others go on. Ctrl-C ends the recording with all outputs complete.\n"
    "\n";

}  // namespace

void AddRecordCommand(CLI::App& program, Action& chosen) {
  Command command(program, chosen, "record", "Record sources and write the outputs");
  const auto arguments = std::make_shared<RecordArguments>();
  arguments->Recording.AddTo(command);
  arguments->Output.AddTo(command);
  arguments->Output.AddRecordingTo(command);
  command.AddFlag("--no-output", arguments->NoOutput, "Only count; without it an output is needed");
  arguments->Stats.AddTo(command);
  arguments->Stream.AddTo(command);
  arguments->Box.AddTo(command);
  arguments->BitRates.AddTo(command);
  command.Footer(std::string(kRecordHelp) + kBlackBoxHelp + kFilterHelp + kSourceHelp);
  command.Does([arguments](Signals& signals) { return Record(*arguments, signals); });
}

}  // namespace client
