#include "commands/OutputArguments.h"

#include <fmt/format.h>

#include <algorithm>

#include "commands/Command.h"
#include "system/Failure.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

namespace {

unsigned long SizeOf(const std::string& typed) {
  if (const auto size = ParseSize(typed)) return *size;
  throw UsageError(fmt::format("\"{}\" is no size; write 500M, 500MB or 2GiB", typed));
}

constexpr unsigned long kShortestSync = 100'000'000;  // ns; entries come to the outputs every 50 ms

unsigned long SyncOf(const std::string& typed) {
  const auto interval = ParseDuration(typed);
  if (!interval || *interval < kShortestSync)
    throw UsageError(fmt::format("--sync takes a time of at least 100ms, such as 1s, and \"{}\" is none", typed));
  return *interval;
}

}  // namespace

void OutputArguments::AddTo(Command& command) {
  command
      .Add("-o,--output", Outputs,
           "Output by extension: .asc text, .pcapng capture of all buses, .mf4 measurement file, .bin raw "
           "records, .ndjson and .csv tables for analysis, .log candump text; - for standard output. Repeat it "
           "for several")
      .OneValueEach();
  Series.AddTo(command);
  command.Add("--asc-split", AscSplit, "Go on in NAME_1.asc, NAME_2.asc, ... beyond this size, e.g. 500M");
  command.Add("--mdf-split", MdfSplit, "The same for .mf4 outputs, 3M to 4095M");
  command.AddFlag("--asc-dec", AscDecimal, "Decimal base in .asc outputs");
  command.AddFlag("--asc-relative", AscRelative, "Relative times in .asc outputs: those since the line before");
  command.Add("--asc-decimals", AscDecimals, "Decimals of seconds in .asc outputs: 6 (the default) or 9");
  command.AddFlag(
      "--as-exported", Capture.AsExported,
      "The library's own export as .asc, .mf4 and .pcapng outputs; of .pcapng only in a recording: Ethernet, and "
      "of that what is in memory at the end");
  command.Add("--format", StandardFormat, "What - gets: bin (the default), asc, pcapng, ndjson, csv or log");
  command.AddFlag("--ethernet-only", Capture.EthernetOnly,
                  "Only Ethernet in .pcapng outputs, for readers that refuse several link types");
  command.AddFlag("--strict", Strict,
                  "Exit code 3 also for what an output's format has no place for; refuse a text recording with a line "
                  "that can't be read");
  command.Add("--title", Title, "What is recorded, in your words: for the description in the outputs");
  Times.AddTo(command);
  command.AddFlag("--json", Json, "Print the summary as JSON on standard output, times in ns");
}

void OutputArguments::AddRecordingTo(Command& command) {
  command.AddFlag("--asc-live", AscLive, "Keep .asc outputs up to date all the time, not once a second");
  command.Add("--min-free", MinFree,
              "End the recording when a disk of the outputs has less than this left (64M); 0: never");
  command.Add("--sync", Sync,
              "Put on the disk what was recorded this often, e.g. 1s: what is older survives a power cut");
}

OutputPlan OutputArguments::Plan(const std::filesystem::path& folder) const {
  const AscOptions asc{.Live = AscLive, .Decimal = AscDecimal, .Relative = AscRelative, .Decimals = AscDecimals};
  OutputPlan plan{{}, asc, Capture, {}, SizeOf(MinFree)};
  if (!AscSplit.empty()) plan.Asc.Split = SizeOf(AscSplit);
  if (!MdfSplit.empty()) plan.Mdf.Split = SizeOf(MdfSplit);
  plan.Outputs = PlanOutputs(Outputs, plan.Asc, folder, Capture, StandardFormat, plan.Mdf);
  if (!Sync.empty()) plan.Sync = SyncOf(Sync);
  if (plan.Sync && FoldersOf(plan.Outputs).empty())
    throw UsageError("--sync is for outputs that are files; name one with -o, or leave it out");
  plan.Series = Series.Plan();
  CheckSeries(plan);
  if (!UsesStandardOutput(plan.Outputs)) return plan;
  const bool binary = std::any_of(plan.Outputs.begin(), plan.Outputs.end(),
                                  [](const Output& output) { return output.Path.empty() && !IsText(output.Kind); });
  if (StandardOutputIsTerminal() && binary)
    throw UsageError("Binary output is not written to a terminal; redirect or pipe it");
  if (Json) throw UsageError("Standard output can't take both the records and the JSON summary; name a file with -o");
  return plan;
}

bool OutputArguments::PrintsEvents(const OutputPlan& plan) const {
  return Json && std::any_of(plan.Outputs.begin(), plan.Outputs.end(),
                             [&](const Output& output) { return IsSeries(output, plan.Series); });
}

}  // namespace client
