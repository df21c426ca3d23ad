// qor-trace list
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/Commands.h"
#include "commands/Conclusion.h"
#include "commands/InputRemarks.h"
#include "commands/LossNews.h"
#include "commands/ReadingProgress.h"
#include "commands/RecordingArguments.h"
#include "commands/StreamArguments.h"
#include "commands/TimeArguments.h"
#include "inputs/DescriptionBeside.h"
#include "inputs/Inputs.h"
#include "inputs/MergedReader.h"
#include "stream/DurationLimit.h"
#include "stream/FirstRecord.h"
#include "stream/LossLedger.h"
#include "stream/OverrunMarks.h"
#include "stream/Reorder.h"
#include "stream/Selection.h"
#include "stream/Tee.h"
#include "system/Failure.h"
#include "system/TemporaryFolder.h"
#include "system/Terminal.h"
#include "system/Text.h"
#include "views/MessageTable.h"

namespace client {

namespace {

struct ListArguments {
  RecordingArguments Recording;
  StreamArguments Stream;
  bool Strict = false;
  bool Json = false;
  bool SameChannels = false;
  TimeArguments Times;
};

void PrintTable(const MessageTable& table, const ListArguments& arguments, const TimeBase& times) {
  if (arguments.Json) return PrintJson(table.Json(times));
  const auto columns = ColumnsOfStandardOutput();
  const std::string text = table.Text(arguments.Times.TableFormat(), times);
  Print(columns ? CutLines(text, *columns) : text);
}

/// Says what was lost, and what was left out. @return the exit code
int TellLosses(const Summary& summary, const Selection& selected) {
  const bool lossy = summary.Lossy() || selected.Lossy();
  std::string text = lossy ? summary.Text() + selected.Text() : selected.Text();
  if (text.ends_with('\n')) text.pop_back();
  if (!text.empty()) Say(text);
  return lossy ? ExitLossy : ExitDone;
}

/// What an input says at its end, with the losses that concern what was listed of it.
Description AtTheEnd(Description description, const LossLedger& marks, const Selection& selected,
                     unsigned long lastTime) {
  LossLedger losses(description.Losses);
  losses.Append(marks.All());
  description.Losses = LossesBetween(selected.Concerned(losses.All()), 0, std::max(lastTime, lastTime + 1));
  return description;
}

int ListFile(const ListArguments& arguments, Signals& signals) {
  const RecordingArguments& typed = arguments.Recording;
  const SelectionPlan wanted = arguments.Stream.Plan();
  const auto firstTime = arguments.Times.FirstTime();
  const TimeFormat format = arguments.Times.TableFormat();
  if (!std::all_of(typed.Sources.begin(), typed.Sources.end(), IsNameOfInput))
    throw UsageError(
        "Files that were recorded and sources that are to be can't be listed together; list them one by one");
  if (!typed.Speed.empty() || typed.MemoryLimit || !typed.SwapFolder.empty())
    throw UsageError(
        "A file is listed as it is, without recording; leave out --speed, --memory-limit and --swap-folder");
  const bool one = typed.Sources.size() == 1;
  const std::string input = one ? typed.Sources.front() : fmt::format("{} inputs", typed.Sources.size());
  const auto reader = OpenInputs(typed.Sources, MergingOf(arguments.SameChannels));
  ToldRemarks remarks(*reader);
  Description description;
  MessageTable table;
  Summary summary;
  Tee sinks(table, summary);
  Selection selected(sinks, wanted);
  LossLedger marks;
  const auto noteLosses = [&] {
    LossLedger losses(reader->Describe().Losses);
    losses.Append(marks.All());
    selected.NoteLosses(losses.All());
  };
  OverrunMarks marked(selected, marks, noteLosses);
  LossNews news(noteLosses);
  InputLosses between(
      marked, [&] { return reader->LossesKnown(); }, news);
  unsigned long lastTime = ~0ul;
  FirstRecord started(between, [&](const RecordView& record) {
    remarks.Tell();
    noteLosses();
    if (const auto limit = typed.TraceTime()) lastTime = record.Timestamp() + *limit;
    description = reader->Describe();
    SetFirstTime(description, record.Timestamp(), firstTime);
    CheckTimes(wanted, description, input);
    selected.BeginAt(record.Timestamp(), TimesOf(description));
    if (!description.Anchor && NeedsUtc(format)) Say(UnknownTimeText(input));
  });
  DurationLimit limited(started, typed.TraceTime());
  ReadingProgress progress(*reader, signals, typed.Progress);
  const auto end = ReadAll(*reader, limited, progress.MayGoOn());
  progress.Clear();
  remarks.Tell();
  if (end == ReadingEnd::Whole) RefuseWithoutRecords(*reader, input);
  TakeChannels(Renumbered(AtTheEnd(reader->Describe(), marks, selected, lastTime), wanted.Channels), summary);
  summary.SetFound(input, reader->Found());
  summary.SetTimes(format, TimesOf(description));
  const int code = TellLosses(summary, selected);
  PrintTable(table, arguments, TimesOf(description));
  return code;
}

int ListRecording(const ListArguments& arguments, Signals& signals) {
  SelectionPlan wanted = arguments.Stream.Plan();
  RecordingOptions options = arguments.Recording.Options(TemporaryFolder());
  EndWithSelection(options, wanted);
  options.FirstTime = arguments.Times.FirstTime();
  const TimeFormat format = arguments.Times.TableFormat();
  const std::vector<Source> sources = arguments.Recording.Plan(arguments.Strict);
  CheckChannels(wanted.Channels, sources.size());
  wanted.Silent = TimingOf(sources, OrderingWindow(sources.size()));
  LossLedger losses;
  Recorder recorder(options, sources, signals, losses);
  MessageTable table;
  Summary summary;
  Tee sinks(table, summary);
  Selection selected(sinks, wanted);
  FirstRecord started(
      selected, [&](const RecordView& record) { selected.BeginAt(record.Timestamp(), TimesOf(recorder.Describe())); });
  OverrunMarks marked(started, losses, [&] { selected.NoteLosses(losses.All()); });
  Reorder ordered(marked, losses, OrderingWindow(sources.size()));
  bool failed = false;
  const auto complain = [&](const std::string& sentence) {
    SayError(sentence);
    failed = true;
  };
  recorder.Run(
      ordered, complain, [&](const Description& recording) { selected.NoteLosses(recording.Losses); },
      [&] { return selected.EndedBy() != nullptr; });
  ordered.Finish();
  Description description = recorder.Describe();
  description.Losses = selected.Concerned(description.Losses);
  TakeChannels(Renumbered(description, wanted.Channels), summary);
  summary.SetUnread(recorder.Unread());
  NewestEntries newest(table);
  if (wanted.IsEverything()) recorder.Trace().ReadList(newest);  // which may be others than the selected ones
  const TimeBase times = TimesOf(description);
  summary.SetTimes(format, times);
  const int lossy = TellLosses(summary, selected);
  PrintTable(table, arguments, times);
  return failed ? static_cast<int>(ExitFailed) : lossy;
}

int List(const ListArguments& arguments, Signals& signals) {
  const auto& sources = arguments.Recording.Sources;
  if (std::any_of(sources.begin(), sources.end(), IsNameOfInput)) return ListFile(arguments, signals);
  return ListRecording(arguments, signals);
}

constexpr const char* kListHelp =
    "Examples:\n"
    "  qor-trace list drive.log --speed max\n"
    "  qor-trace list can --duration 5s --json\n"
    "  qor-trace list run.bin\n"
    "  qor-trace list run.asc\n"
    "  qor-trace list run.bin --filter \"bus == can and id in 0x100..0x1FF\"\n"
    "\n"
    "The cycle time is the time between the last two entries of a message. A .bin, .asc, .mf4, .pcapng or .pcap file "
    "(or -, standard input) is listed as it is, without a recording. Rows are cut to the width of a terminal.\n"
    "\n";

}  // namespace

void AddListCommand(CLI::App& program, Action& chosen) {
  Command command(program, chosen, "list", "Record sources and print one row per message");
  const auto arguments = std::make_shared<ListArguments>();
  arguments->Recording.AddTo(command);
  arguments->Stream.AddTo(command);
  command.AddFlag("--strict", arguments->Strict, "Refuse a text recording with a line that can't be read");
  arguments->Times.AddTo(command);
  command.AddFlag("--same-channels", arguments->SameChannels, kSameChannelsHelp);
  command.AddFlag("--json", arguments->Json, "Print the rows as JSON, times in ns");
  command.Footer(std::string(kListHelp) + kFilterHelp + kSourceHelp);
  command.Does([arguments](Signals& signals) { return List(*arguments, signals); });
}

}  // namespace client
