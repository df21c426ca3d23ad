#include "commands/OutputArguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "system/Failure.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

namespace {

unsigned long SizeOf(const std::string& typed) {
  if (const auto size = ParseSize(typed)) return *size;
  throw UsageError(fmt::format("\"{}\" is no size; write 500M, 500MB or 2GiB", typed));
}

}  // namespace

void OutputArguments::AddTo(CLI::App& command) {
  command
      .add_option("-o,--output", Outputs,
                  "Output by extension: .asc text, .pcapng capture of all buses, .mf4 measurement file, .bin raw "
                  "records, .ndjson and .csv tables for analysis, .log candump text; - for standard output. Repeat it "
                  "for several")
      ->allow_extra_args(false);
  command.add_option("--asc-split", AscSplit, "Go on in NAME_1.asc, NAME_2.asc, ... beyond this size, e.g. 500M");
  command.add_option("--mdf-split", MdfSplit, "The same for .mf4 outputs, 3M to 4095M");
  command.add_flag("--asc-dec", AscDecimal, "Decimal base in .asc outputs");
  command.add_flag("--asc-relative", AscRelative, "Relative times in .asc outputs: those since the line before");
  command.add_option("--asc-decimals", AscDecimals, "Decimals of seconds in .asc outputs: 6 (the default) or 9");
  command.add_flag(
      "--as-exported", Capture.AsExported,
      "The library's own export as .asc, .mf4 and .pcapng outputs; of .pcapng only in a recording: Ethernet, and "
      "of that what is in memory at the end");
  command.add_option("--format", StandardFormat, "What - gets: bin (the default), asc, pcapng, ndjson, csv or log");
  command.add_flag("--ethernet-only", Capture.EthernetOnly,
                   "Only Ethernet in .pcapng outputs, for readers that refuse several link types");
  command.add_flag("--strict", Strict,
                   "Exit code 3 also for what an output's format has no place for; refuse a text recording with a line "
                   "that can't be read");
  command.add_option("--title", Title, "What is recorded, in your words: for the description in the outputs");
  Times.AddTo(command);
  command.add_flag("--json", Json, "Print the summary as JSON on standard output, times in ns");
}

void OutputArguments::AddRecordingTo(CLI::App& command) {
  command.add_flag("--asc-live", AscLive, "Keep .asc outputs up to date all the time, not once a second");
  command.add_option("--min-free", MinFree,
                     "End the recording when a disk of the outputs has less than this left (64M); 0: never");
}

OutputPlan OutputArguments::Plan() const {
  const AscOptions asc{.Live = AscLive, .Decimal = AscDecimal, .Relative = AscRelative, .Decimals = AscDecimals};
  OutputPlan plan{{}, asc, Capture, {}, SizeOf(MinFree)};
  if (!AscSplit.empty()) plan.Asc.Split = SizeOf(AscSplit);
  if (!MdfSplit.empty()) plan.Mdf.Split = SizeOf(MdfSplit);
  plan.Outputs = PlanOutputs(Outputs, plan.Asc, std::filesystem::current_path(), Capture, StandardFormat, plan.Mdf);
  if (!UsesStandardOutput(plan.Outputs)) return plan;
  const bool binary = std::any_of(plan.Outputs.begin(), plan.Outputs.end(),
                                  [](const Output& output) { return output.Path.empty() && !IsText(output.Kind); });
  if (StandardOutputIsTerminal() && binary)
    throw UsageError("Binary output is not written to a terminal; redirect or pipe it");
  if (Json) throw UsageError("Standard output can't take both the records and the JSON summary; name a file with -o");
  return plan;
}

}  // namespace client
