// qor-trace convert
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "commands/BitRateArguments.h"
#include "commands/Commands.h"
#include "commands/Conclusion.h"
#include "commands/OutputArguments.h"
#include "inputs/BinReader.h"
#include "outputs/MdfOutput.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

struct ConvertArguments {
  std::string Input;
  std::string StartTime;
  BitRateArguments BitRates;
  OutputArguments Output;
};

bool Has(const OutputPlan& plan, Format format) {
  return std::any_of(plan.Outputs.begin(), plan.Outputs.end(),
                     [&](const Output& output) { return output.Kind == format; });
}

/// Counts records and hands them to the outputs, until one of these can't go on or a stop is requested.
class Converter : public EntrySink {
 public:
  Converter(OutputSet& outputs, Summary& summary, Signals& signals)
      : Outputs(outputs), Counted(summary), StopSignals(signals) {}

  bool Take(const unsigned char* record, unsigned int length) override {
    Interrupted = StopSignals.StopRequested();
    return !Interrupted && Outputs.Take(record, length) && Counted.Take(record, length);
  }

  bool Interrupted = false;

 private:
  OutputSet& Outputs;
  Summary& Counted;
  Signals& StopSignals;
};

/// The times of the first record and of the latest one, ns.
class Ends : public EntrySink {
 public:
  bool Take(const unsigned char* record, unsigned int /*length*/) override {
    const unsigned long time = ReadHeader(record).Timestamp;
    if (!First) First = time;
    Latest = std::max(Latest, time);
    return true;
  }
  std::optional<unsigned long> First;
  unsigned long Latest = 0;
};

/// When a recorded file began, ns since 1970: its last record was written when the file was last changed. Nothing for
/// standard input, without records, and for records that tell wall-clock times themselves.
std::optional<unsigned long> BeginOf(const std::string& input) {
  struct stat status {};
  if (input == "-" || stat(input.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  Ends ends;
  try {
    ReadBin(input, ends);
  } catch (const Failure&) {  // it is told when the file is converted
  }
  if (!ends.First || *ends.First >= WallClockFrom) return std::nullopt;
  const auto changed = static_cast<unsigned long>(status.st_mtim.tv_sec) * 1000000000 +
                       static_cast<unsigned long>(status.st_mtim.tv_nsec);
  return changed - std::min(changed, ends.Latest - *ends.First);
}

/// When the first record's event was, ns since 1970, for outputs that tell it.
std::optional<unsigned long> FirstTimeOf(const ConvertArguments& arguments, const OutputPlan& plan,
                                         const std::string& input) {
  if (!Has(plan, Format::Mdf)) {
    if (!arguments.StartTime.empty()) throw UsageError("--start-time needs an output that ends in .mf4");
    return std::nullopt;
  }
  if (arguments.StartTime.empty()) return BeginOf(input);
  const auto time = ParseWallClock(arguments.StartTime);
  if (!time)
    throw UsageError(
        fmt::format("\"{}\" is no time; write 2026-11-21T14:30:00, or with Z behind it for UTC", arguments.StartTime));
  return time;
}

/// Nothing is made before the input is known to be there.
std::string InputPath(const std::string& typed) {
  if (typed == "-") return typed;
  std::string path = std::filesystem::absolute(typed).string();
  CheckReadable(path);
  return path;
}

int Convert(const ConvertArguments& arguments, Signals& signals) {
  OutputPlan plan = arguments.Output.Plan();
  Summary summary(arguments.BitRates.Rates());
  const std::string input = InputPath(arguments.Input);
  plan.Mdf.FirstTime = FirstTimeOf(arguments, plan, input);
  for (const Output& output : plan.Outputs) CheckWritable(output);
  OutputSet outputs(plan);
  Converter converter(outputs, summary, signals);
  try {
    ReadBin(input, converter);
  } catch (const Failure& failure) {
    outputs.NoteError(failure.what());
  }
  if (converter.Interrupted)
    outputs.NoteError(fmt::format("Interrupted: the outputs end after {} of \"{}\"",
                                  FormatCount(summary.Entries(), "entry", "entries"), arguments.Input));
  outputs.Finish(summary.LostItems());
  return Conclude("convert", summary, outputs, arguments.Output.Json, {{"input", arguments.Input}});
}

constexpr const char* ConvertHelp =
    "Examples:\n"
    "  qor-trace convert drive.bin -o drive.asc -o drive.pcapng\n"
    "  qor-trace convert drive.bin -o - --format pcapng | tshark -r -\n"
    "\n"
    "The outputs hold what a recording into them would have held.\n"
    "\n"
    "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done but an output can't hold everything.";

}  // namespace

void AddConvertCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("convert", "Write the outputs from a file of raw records");
  const auto arguments = std::make_shared<ConvertArguments>();
  command->add_option("INPUT", arguments->Input, "A .bin file, or - for standard input")->required();
  arguments->Output.AddTo(*command);
  command->get_option("--output")->required();
  command->add_option(
      "--start-time", arguments->StartTime,
      "When the first record's event was, for .mf4 outputs: 2026-11-21T14:30:00[.5][Z] (by the time when "
      "INPUT was last changed)");
  arguments->BitRates.AddTo(*command);
  command->footer(ConvertHelp);
  command->callback(
      [arguments, &action] { action = [arguments](Signals& signals) { return Convert(*arguments, signals); }; });
}

}  // namespace client
