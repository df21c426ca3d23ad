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
#include "commands/ReadingProgress.h"
#include "commands/StreamArguments.h"
#include "inputs/BinReader.h"
#include "outputs/MdfOutput.h"
#include "stream/Selection.h"
#include "stream/Tee.h"
#include "system/Failure.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

namespace {

struct ConvertArguments {
  std::string Input;
  std::string StartTime;
  BitRateArguments BitRates;
  OutputArguments Output;
  StreamArguments Stream;
  bool Progress = false;  // also without a terminal
};

bool Has(const OutputPlan& plan, Format format) {
  return std::any_of(plan.Outputs.begin(), plan.Outputs.end(),
                     [&](const Output& output) { return output.Kind == format; });
}

/// The times of the first record and of the latest one, ns.
class Ends : public RecordSink {
 public:
  bool Take(const RecordView& record) override {
    const unsigned long time = record.Timestamp();
    if (!First) First = time;
    Latest = std::max(Latest, time);
    return true;
  }
  std::optional<unsigned long> First;
  unsigned long Latest = 0;
};

/// When a recorded file began, ns since 1970: its last record was written when the file was last changed. Nothing for
/// standard input, without records, and for records that have wall-clock times themselves.
std::optional<unsigned long> BeginOf(const std::string& input, Signals& signals, bool progressElsewhere) {
  struct stat status {};
  if (input == "-" || stat(input.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  Ends ends;
  try {
    BinReader reader(input);
    ReadingProgress progress(reader, signals, progressElsewhere);
    reader.ReadAll(ends, progress.GoOn());
    progress.Clear();
  } catch (const Failure&) {  // it is reported when the file is converted
  }
  if (!ends.First || *ends.First >= kWallClockFrom) return std::nullopt;
  const auto changed = static_cast<unsigned long>(status.st_mtim.tv_sec) * 1000000000 +
                       static_cast<unsigned long>(status.st_mtim.tv_nsec);
  return changed - std::min(changed, ends.Latest - *ends.First);
}

/// What was typed for the time of the first record, ns since 1970.
std::optional<unsigned long> TypedFirstTime(const ConvertArguments& arguments, const OutputPlan& plan) {
  if (arguments.StartTime.empty()) return std::nullopt;
  if (!Has(plan, Format::Mdf) && (!Has(plan, Format::Asc) || plan.Capture.AsExported))
    throw UsageError("--start-time needs an output that ends in .mf4 or .asc; add -o NAME.mf4");
  const auto time = ParseWallClock(arguments.StartTime);
  if (!time)
    throw UsageError(
        fmt::format("\"{}\" is no time; write 2026-11-21T14:30:00, or with Z after it for UTC", arguments.StartTime));
  return time;
}

/// Takes the time of the first record.
class FirstEntry : public RecordSink {
 public:
  bool Take(const RecordView& record) override {
    Time = record.Timestamp();
    return false;
  }
  std::optional<unsigned long> Time;  // ns
};

/// The time of the first record of a file, which needn't be the first one that is selected. Nothing for what can't be read
/// twice.
std::optional<unsigned long> FirstEntryOf(const std::string& input) {
  FirstEntry first;
  if (std::filesystem::is_regular_file(input)) BinReader(input).ReadAll(first);
  return first.Time;
}

/// Tells the outputs when the first record's event was, as far as that is known.
void SetFirstTime(OutputPlan& plan, const ConvertArguments& arguments, const std::string& input, Signals& signals) {
  const auto typed = TypedFirstTime(arguments, plan);
  plan.Asc.FirstTime = plan.Mdf.FirstTime = typed;
  plan.Asc.ClockZero = 0;
  plan.Mdf.FirstEntry = FirstEntryOf(input);
  if (!typed && Has(plan, Format::Mdf)) plan.Mdf.FirstTime = BeginOf(input, signals, arguments.Progress);
}

/// Nothing is made before the input is known to be there.
std::string InputPath(const std::string& typed) {
  std::string path = typed == "-" ? typed : std::filesystem::absolute(typed).string();
  CheckInput(path);
  return path;
}

/// The word for it in the JSON summary.
const char* Word(BinReader::End end) {
  switch (end) {
    case BinReader::End::Whole:
      return "input_ended";
    case BinReader::End::Declined:
      return "output_closed";
    case BinReader::End::Stopped:
      return "interrupted";
  }
  return "";
}

/// Reads all records into the sinks, and these into the outputs. A failure is noted with them: what came before it is kept.
std::string ReadInto(OutputSet& outputs, Selection& sinks, Summary& summary, BinReader& reader,
                     const ConvertArguments& arguments, Signals& signals) {
  ReadingProgress progress(reader, signals, arguments.Progress);
  std::string sentence;
  auto end = BinReader::End::Whole;
  try {
    end = reader.ReadAll(sinks, progress.GoOn());
    if (end == BinReader::End::Whole) RefuseWithoutRecords(reader, arguments.Input);
  } catch (const Failure& failure) {
    if (summary.Entries() == 0) throw;  // outputs that got nothing leave nothing
    sentence = failure.what();
  }
  progress.Clear();
  // A pipe has no known end that could be missing: what came so far is all there is.
  if (end == BinReader::End::Stopped && arguments.Input != "-")
    sentence = fmt::format("Interrupted: the outputs end after {} of \"{}\"",
                           FormatCount(summary.Entries(), "entry", "entries"), arguments.Input);
  if (!sentence.empty()) outputs.KeepExisting();
  outputs.NoteError(sentence);
  if (!sentence.empty() && end != BinReader::End::Stopped) return "failed";
  return sinks.EndedBy() != nullptr ? sinks.EndedBy() : Word(end);
}

int Convert(const ConvertArguments& arguments, Signals& signals) {
  OutputPlan plan = arguments.Output.Plan();
  if (plan.Capture.AsExported && Has(plan, Format::Pcapng))
    throw UsageError("The library exports a .pcapng only of a recording; leave --as-exported or the output out");
  const SelectionPlan wanted = arguments.Stream.Plan();
  Summary summary(arguments.BitRates.Rates());
  const std::string input = InputPath(arguments.Input);
  BinReader reader(input);  // refuses what is no .bin file before an output is made
  SetFirstTime(plan, arguments, input, signals);
  for (const Output& output : plan.Outputs) CheckWritable(output);
  OutputSet outputs(plan);
  Tee sinks(outputs, summary);
  Selection selected(sinks, wanted);
  const std::string end = ReadInto(outputs, selected, summary, reader, arguments, signals);
  {
    const WaitingLine line("completing the outputs", arguments.Progress);
    outputs.Finish(summary.LostItems());
  }
  return Conclude("convert", summary, selected, outputs, arguments.Output,
                  {{"input", arguments.Input}, {"ended_by", end}});
}

constexpr const char* kConvertHelp =
    "Examples:\n"
    "  qor-trace convert drive.bin -o drive.asc -o drive.pcapng\n"
    "  qor-trace convert drive.bin -o - --format pcapng | tshark -r -\n"
    "  qor-trace convert drive.bin -o part.mf4 --from 1m30s --to 2m --filter \"bus == lin or error\"\n"
    "\n"
    "The outputs hold what a recording into them would have held. Of what a recording lost, the overrun marks are in "
    "its "
    "records and are told again; the counts of full capture buffers are not.\n"
    "\n"
    "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done but some of the input was lost.";

}  // namespace

void AddConvertCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("convert", "Write the outputs from a file of raw records");
  const auto arguments = std::make_shared<ConvertArguments>();
  command->add_option("INPUT", arguments->Input, "A .bin file, or - for standard input")->required();
  arguments->Output.AddTo(*command);
  command->get_option("--output")->required();
  arguments->Stream.AddTo(*command);
  command->add_option("--start-time", arguments->StartTime,
                      "When the first record's event was, for .mf4 and .asc outputs: 2026-11-21T14:30:00[.5][Z] (by "
                      "the time when INPUT "
                      "was last changed for .mf4, 1970 for .asc)");
  arguments->BitRates.AddTo(*command);
  command->add_flag("--progress", arguments->Progress,
                    "Tell how far it has come every few seconds, also without a terminal");
  command->footer(std::string(kFilterHelp) + kConvertHelp);
  command->callback(
      [arguments, &action] { action = [arguments](Signals& signals) { return Convert(*arguments, signals); }; });
}

}  // namespace client
