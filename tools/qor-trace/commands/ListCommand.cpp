// qor-trace list
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/Commands.h"
#include "commands/Conclusion.h"
#include "commands/RecordingArguments.h"
#include "stream/Tee.h"
#include "inputs/BinReader.h"
#include "system/Failure.h"
#include "system/Terminal.h"
#include "views/MessageTable.h"

namespace client {

namespace {

struct ListArguments {
  RecordingArguments Recording;
  bool Json = false;
};

bool IsBin(const std::string& source) { return source == "-" || source.ends_with(".bin"); }

int PrintTable(const MessageTable& table, bool json, int code) {
  Print(json ? table.Json().dump(2) + "\n" : table.Text());
  return code;
}

int ListBin(const ListArguments& arguments) {
  if (arguments.Recording.Sources.size() != 1)
    throw UsageError("A .bin file is listed on its own: channel numbers of several would mix");
  MessageTable table;
  ReadBin(arguments.Recording.Sources.front(), table);
  return PrintTable(table, arguments.Json, ExitDone);
}

int ListRecording(const ListArguments& arguments, Signals& signals) {
  const RecordingOptions options = arguments.Recording.Options("/var/tmp");
  Recorder recorder(options, arguments.Recording.Plan(), signals);
  MessageTable table;
  Summary summary;
  Tee sinks(table, summary);
  bool failed = false;
  recorder.Run(sinks, [&](const std::string& sentence) {
    SayError(sentence);
    failed = true;
  });
  TakeChannels(recorder, summary);
  NewestEntries newest(table);
  recorder.Trace().ReadList(newest);
  const int code = failed ? ExitFailed : summary.Lossy() ? ExitLossy : ExitDone;
  if (summary.Lossy()) Say(summary.Text());
  return PrintTable(table, arguments.Json, code);
}

int List(const ListArguments& arguments, Signals& signals) {
  const auto& sources = arguments.Recording.Sources;
  if (std::any_of(sources.begin(), sources.end(), IsBin)) return ListBin(arguments);
  return ListRecording(arguments, signals);
}

constexpr const char* ListHelp =
    "Examples:\n"
    "  qor-trace list drive.log --speed max\n"
    "  qor-trace list can --duration 5s --json\n"
    "  qor-trace list run.bin\n"
    "\n"
    "The cycle time is the time between the last two entries of a message. A .bin file (or -, standard input) is\n"
    "listed as it is, without a recording.\n"
    "\n";

}  // namespace

void AddListCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("list", "Record sources and print one row per message");
  const auto arguments = std::make_shared<ListArguments>();
  arguments->Recording.AddTo(*command);
  command->add_flag("--json", arguments->Json, "Print the rows as JSON, times in ns");
  command->footer(std::string(ListHelp) + SourceHelp);
  command->callback(
      [arguments, &action] { action = [arguments](Signals& signals) { return List(*arguments, signals); }; });
}

}  // namespace client
