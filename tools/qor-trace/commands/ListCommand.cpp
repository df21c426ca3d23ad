// qor-trace list
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/Commands.h"
#include "commands/Conclusion.h"
#include "commands/ReadingProgress.h"
#include "commands/RecordingArguments.h"
#include "inputs/BinReader.h"
#include "stream/DurationLimit.h"
#include "stream/Reorder.h"
#include "stream/Tee.h"
#include "system/Failure.h"
#include "system/InputFile.h"
#include "system/Terminal.h"
#include "system/Text.h"
#include "views/MessageTable.h"

namespace client {

namespace {

struct ListArguments {
  RecordingArguments Recording;
  bool Strict = false;
  bool Json = false;
};

bool IsBin(const std::string& source) { return source == "-" || ExtensionOf(source) == ".bin"; }

void PrintTable(const MessageTable& table, bool json) {
  if (json) return PrintJson(table.Json());
  const auto columns = ColumnsOfStandardOutput();
  Print(columns ? CutLines(table.Text(), *columns) : table.Text());
}

/// Says what was lost. @return the exit code
int TellLosses(const Summary& summary) {
  if (!summary.Lossy()) return ExitDone;
  Say(summary.Text());
  return ExitLossy;
}

int ListBin(const ListArguments& arguments, Signals& signals) {
  const RecordingArguments& typed = arguments.Recording;
  if (typed.Sources.size() != 1)
    throw UsageError("A .bin file is listed on its own, as channel numbers of several would mix; list them one by one");
  if (!typed.Speed.empty() || typed.MemoryLimit || !typed.SwapFolder.empty())
    throw UsageError("A .bin file is listed without a recording; leave out --speed, --memory-limit and --swap-folder");
  const std::string& input = typed.Sources.front();
  if (input == "-")
    RefuseTerminalInput();
  else
    CheckInputFile(input);
  BinReader reader(input);
  MessageTable table;
  Summary summary;
  Tee sinks(table, summary);
  DurationLimit limited(sinks, typed.TraceTime());
  ReadingProgress progress(reader, signals, typed.Progress);
  const auto end = reader.ReadAll(limited, progress.GoOn());
  progress.Clear();
  if (end == BinReader::End::Whole) RefuseWithoutRecords(reader, input);
  const int code = TellLosses(summary);
  PrintTable(table, arguments.Json);
  return code;
}

int ListRecording(const ListArguments& arguments, Signals& signals) {
  const RecordingOptions options = arguments.Recording.Options("/var/tmp");
  const std::vector<Source> sources = arguments.Recording.Plan(arguments.Strict);
  Recorder recorder(options, sources, signals);
  MessageTable table;
  Summary summary;
  Tee sinks(table, summary);
  Reorder ordered(sinks, OrderingWindow(sources.size()));
  bool failed = false;
  recorder.Run(ordered, [&](const std::string& sentence) {
    SayError(sentence);
    failed = true;
  });
  ordered.Finish();
  TakeChannels(recorder, summary);
  summary.SetLate(ordered.Late());
  NewestEntries newest(table);
  recorder.Trace().ReadList(newest);
  const int lossy = TellLosses(summary);
  PrintTable(table, arguments.Json);
  return failed ? static_cast<int>(ExitFailed) : lossy;
}

int List(const ListArguments& arguments, Signals& signals) {
  const auto& sources = arguments.Recording.Sources;
  if (std::any_of(sources.begin(), sources.end(), IsBin)) return ListBin(arguments, signals);
  return ListRecording(arguments, signals);
}

constexpr const char* ListHelp =
    "Examples:\n"
    "  qor-trace list drive.log --speed max\n"
    "  qor-trace list can --duration 5s --json\n"
    "  qor-trace list run.bin\n"
    "\n"
    "The cycle time is the time between the last two entries of a message. A .bin file (or -, standard input) is "
    "listed "
    "as it is, without a recording. Rows are cut to the width of a terminal.\n"
    "\n";

}  // namespace

void AddListCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("list", "Record sources and print one row per message");
  const auto arguments = std::make_shared<ListArguments>();
  arguments->Recording.AddTo(*command);
  command->add_flag("--strict", arguments->Strict, "Refuse a text recording with a line that can't be read");
  command->add_flag("--json", arguments->Json, "Print the rows as JSON, times in ns");
  command->footer(std::string(ListHelp) + SourceHelp);
  command->callback(
      [arguments, &action] { action = [arguments](Signals& signals) { return List(*arguments, signals); }; });
}

}  // namespace client
