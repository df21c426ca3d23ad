// qor-trace report
#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "commands/BitRateArguments.h"
#include "commands/Commands.h"
#include "commands/Conclusion.h"
#include "commands/InputRemarks.h"
#include "commands/LossNews.h"
#include "commands/ReadingProgress.h"
#include "commands/StreamArguments.h"
#include "commands/TimeArguments.h"
#include "inputs/DescriptionBeside.h"
#include "inputs/Inputs.h"
#include "inputs/MergedReader.h"
#include "outputs/OutputFile.h"
#include "outputs/Outputs.h"
#include "stream/FirstRecord.h"
#include "stream/LossLedger.h"
#include "stream/OverrunMarks.h"
#include "stream/Selection.h"
#include "stream/Tee.h"
#include "system/Failure.h"
#include "system/Host.h"
#include "system/Terminal.h"
#include "system/Text.h"
#include "system/Units.h"
#include "views/ReportPage.h"

namespace client {

namespace {

struct ReportArguments {
  std::vector<std::string> Inputs;
  std::string Output;
  std::string Title;
  StreamArguments Stream;
  BitRateArguments BitRates;
  TimeArguments Times;
  bool SameChannels = false;
  bool Json = false;
  bool Progress = false;
};

/// Absolute; empty for standard output.
/// Failure: UsageError.
std::string PathOf(const ReportArguments& arguments) {
  if (arguments.Output == "-") {
    if (arguments.Json)
      throw UsageError("Standard output can't take both the page and the JSON summary; name a file with -o");
    return "";
  }
  const std::string extension = ExtensionOf(WithoutCompression(arguments.Output));
  if (extension != ".html" && extension != ".htm")
    throw UsageError(
        fmt::format("Output \"{}\" doesn't end in .html; a report is a page for a browser: write -o {}.html",
                    arguments.Output, arguments.Output));
  return (std::filesystem::current_path() / arguments.Output).lexically_normal().string();
}

/// Failure: UsageError when an option makes no sense.
void CheckUsage(const ReportArguments& arguments) {
  (void)arguments.Stream.Plan();
  (void)arguments.BitRates.Rates();
  (void)arguments.Times.FirstTime();
  (void)arguments.Times.TableFormat();
}

/// For sentences.
std::string ShownInput(const std::vector<std::string>& inputs) {
  return inputs.size() == 1 ? inputs.front() : fmt::format("{} inputs", inputs.size());
}

/// One pass over the inputs, with all that a page is made of.
class ReportReading {
 public:
  ReportReading(const ReportArguments& arguments, Reader& reader)
      : Arguments(arguments),
        Source(reader),
        Input(ShownInput(arguments.Inputs)),
        Wanted(arguments.Stream.Plan()),
        FirstTime(arguments.Times.FirstTime()),
        Format(arguments.Times.TableFormat()),
        Held(arguments.BitRates.Rates()),
        Data([this](unsigned int channel, unsigned char busType) {
          return Arguments.BitRates.RatesOf(FindChannel(Told(), channel), busType);
        }),
        Sinks(Data, Held),
        Selected(Sinks, Wanted) {}
  ReportReading(const ReportReading&) = delete;
  ReportReading& operator=(const ReportReading&) = delete;

  /// To the end of the inputs, or to where they can't be read any further, which is noted.
  /// Failure: Failure when there is no record; UsageError.
  void Read(const Signals& signals);

  [[nodiscard]] std::string Page() const { return ReportPage({Data, Held, Facts}); }
  /// Why the inputs weren't read to their end; empty if they were.
  [[nodiscard]] const std::string& Error() const { return Facts.Error; }
  [[nodiscard]] bool Lossy() const { return Held.Lossy() || Selected.Lossy(); }
  /// Lines about what was lost and left out, and how much was read.
  [[nodiscard]] std::string Text() const;
  [[nodiscard]] nlohmann::json Json() const { return SummaryJson("report", Held, Selected, Facts.Known); }

 private:
  [[nodiscard]] Description Told() const;
  void Begin(const RecordView& record);
  [[nodiscard]] std::string ReadTo(RecordSink& front, const Signals& signals);
  [[nodiscard]] std::vector<Loss> LossesByNow() const;
  void GatherFacts();

  const ReportArguments& Arguments;
  Reader& Source;
  const std::string Input;
  const SelectionPlan Wanted;
  const std::optional<unsigned long> FirstTime;
  const TimeFormat Format;
  Summary Held;
  ReportData Data;
  Tee Sinks;
  Selection Selected;
  LossLedger Marks;
  Description Clock;  // with the times that the first record has fixed
  ReportFacts Facts;
};

/// What is known by now of what is selected.
Description ReportReading::Told() const {
  Description known = Source.Describe();
  if (!Arguments.Title.empty()) known.Title = Arguments.Title;
  return Arguments.Stream.Describe(std::move(known), Wanted);
}

/// Those of the whole inputs.
std::vector<Loss> ReportReading::LossesByNow() const {
  LossLedger losses(Source.Describe().Losses);
  losses.Append(Marks.All());
  return losses.All();
}

/// At the first record of the inputs, which needn't be the first one that is selected.
void ReportReading::Begin(const RecordView& record) {
  Clock = Source.Describe();
  SetFirstTime(Clock, record.Timestamp(), FirstTime);
  CheckTimes(Wanted, Clock, Input);
  Selected.BeginAt(record.Timestamp(), TimesOf(Clock));
  if (!Clock.Anchor && NeedsUtc(Format)) Say(UnknownTimeText(Input));
}

std::string ReportReading::ReadTo(RecordSink& front, const Signals& signals) {
  ReadingProgress progress(Source, signals, Arguments.Progress);
  try {
    const ReadingEnd end = ReadAll(Source, front, progress.MayGoOn());
    if (end == ReadingEnd::Whole) RefuseWithoutRecords(Source, Input);
    const bool isPipe = Arguments.Inputs == std::vector<std::string>{"-"};  // what came so far is all there is
    if (end == ReadingEnd::Stopped && !isPipe)
      return fmt::format("Interrupted: the report ends after {} of \"{}\"",
                         FormatCount(Held.Entries(), "entry", "entries"), Input);
  } catch (const UsageError&) {
    throw;
  } catch (const Failure& failure) {
    if (Held.Entries() == 0) throw;
    return failure.what();
  }
  return "";
}

void ReportReading::Read(const Signals& signals) {
  ToldRemarks remarks(Source);
  LossNews news([this] { Selected.NoteLosses(LossesByNow()); });
  OverrunMarks marked(Selected, Marks, std::ref(news));
  InputLosses between(
      marked, [this] { return Source.LossesKnown(); }, news);
  FirstRecord started(between, [&](const RecordView& record) {
    remarks.Tell();
    news();
    Begin(record);
  });
  Facts.Error = ReadTo(started, signals);
  remarks.Tell();
  Data.Finish();
  GatherFacts();
}

void ReportReading::GatherFacts() {
  Facts.Known = Told();
  Facts.Known.Losses = Renumbered({.Losses = Selected.Concerned(LossesByNow())}, Wanted.Channels).Losses;
  Facts.Known.Epoch = Clock.Epoch;
  Facts.Known.Anchor = Clock.Anchor;
  Facts.Inputs = Arguments.Inputs;
  if (const auto kind = Source.Kind()) Facts.Format = NameOf(*kind);
  Facts.Size = Source.Size();
  Facts.Found = Source.Found();
  Facts.Times = {Format, TimesOf(Facts.Known)};
  Facts.Selected = Arguments.Stream.Typed();
  Facts.LeftOut = Selected.Text();
  Facts.Tool = ToolName();
  TakeChannels(Facts.Known, Held);
  Held.SetFound(Input, Facts.Found);
  Held.SetTimes(Format, Facts.Times.Moment);
}

std::string ReportReading::Text() const {
  const auto times = Held.Times();
  return fmt::format("{}{}{} in {} s", Lossy() ? Held.Text() : "", Selected.Text(),
                     FormatCount(Held.Entries(), "entry", "entries"),
                     FormatSeconds(times ? times->Last - times->First : 0));
}

/// @return whether it is there under its name
bool Write(OutputFile& file, const std::string& page) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(page.data());
  if (file.Write(bytes, page.size()) < page.size()) file.Fail(errno, 0, 0, "");
  return file.Complete();
}

int Report(const ReportArguments& arguments, const Signals& signals) {
  const std::string path = PathOf(arguments);
  CheckUsage(arguments);
  // Refuses what can't be read before an output is made.
  const auto reader = OpenInputs(arguments.Inputs, MergingOf(arguments.SameChannels));
  ReportReading reading(arguments, *reader);
  CheckWritable({Format::Bin, path});
  OutputFile file(path);
  reading.Read(signals);
  if (!reading.Error().empty()) {
    SayError(reading.Error());
    file.KeepExisting();
  }
  const std::string page = reading.Page();
  const bool written = Write(file, page);
  if (!file.Error().empty()) SayError(file.Error());
  const bool failed = !reading.Error().empty() || !file.Error().empty();
  const int code = failed ? ExitFailed : reading.Lossy() ? ExitLossy : ExitDone;
  Say(reading.Text() +
      (written ? fmt::format("; written: {}, {}", path.empty() ? "standard output" : path, FormatSize(page.size()))
               : ""));
  if (!arguments.Json) return code;
  nlohmann::json object = reading.Json();
  object.update(
      {{"inputs", arguments.Inputs},
       {"output", {{"path", path}, {"bytes", page.size()}, {"complete", written}}},
       {"error", failed ? nlohmann::json(file.Error().empty() ? reading.Error() : file.Error()) : nlohmann::json()},
       {"exit_code", code}});
  PrintJson(object);
  return code;
}

constexpr const char* kReportHelp =
    "Examples:\n"
    "  qor-trace report drive.mf4 -o drive.html\n"
    "  qor-trace report can.asc ethernet.pcapng -o both.html --time-format utc\n"
    "  qor-trace report drive.mf4 -o errors.html --from 10m --to 12m --filter \"bus == can\"\n"
    "\n"
    "Writes one page for a browser, which needs no network and no other file: what stands out, the load of each bus, "
    "errors, losses and silences over time, channels, every message with its cycle time, a histogram of it and where "
    "it "
    "was off, and what is known of the recording. It can be printed, and stays under 3 MB however long the "
    "recording is.\n"
    "\n"
    "Exit codes: 0 done, 1 failed (a damaged input is reported on up to the damage), 2 wrong usage, 3 done but some of "
    "the input was lost.";

}  // namespace

void AddReportCommand(CLI::App& program, Action& chosen) {
  Command command(program, chosen, "report", "Write a page about a recording: load, messages, errors, losses");
  const auto arguments = std::make_shared<ReportArguments>();
  command.Add("INPUT", arguments->Inputs, "Recordings, or - for standard input; several are merged by time").Required();
  command.AddFlag("--same-channels", arguments->SameChannels, kSameChannelsHelp);
  command.Add("-o,--output", arguments->Output, "The page, NAME.html; - for standard output").Required();
  command.Add("--title", arguments->Title, "The heading of the page, in place of the recording's title");
  arguments->Stream.AddTo(command);
  arguments->BitRates.AddTo(command);
  arguments->Times.AddTo(command);
  command.AddFlag("--json", arguments->Json, "Print a summary as JSON on standard output, times in ns");
  command.AddFlag("--progress", arguments->Progress,
                  "Tell how far it has come every few seconds, also without a terminal");
  command.Footer(std::string(kFilterHelp) + kReportHelp);
  command.Does([arguments](Signals& signals) { return Report(*arguments, signals); });
}

}  // namespace client
