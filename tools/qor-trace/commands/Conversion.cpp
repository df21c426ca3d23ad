#include "commands/Conversion.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>
#include <utility>

#include "commands/Command.h"
#include "commands/Conclusion.h"
#include "commands/Destination.h"
#include "commands/InputRemarks.h"
#include "commands/LossNews.h"
#include "commands/ReadingProgress.h"
#include "inputs/DescriptionBeside.h"
#include "inputs/Inputs.h"
#include "stream/FirstRecord.h"
#include "stream/LossLedger.h"
#include "stream/OverrunMarks.h"
#include "stream/Selection.h"
#include "system/Failure.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

namespace {

bool Has(const OutputPlan& plan, Format format) {
  return std::any_of(plan.Outputs.begin(), plan.Outputs.end(),
                     [&](const Output& output) { return output.Kind == format; });
}

/// For sentences and summaries.
std::string ShownInput(const std::vector<std::string>& inputs) {
  return inputs.size() == 1 ? inputs.front() : fmt::format("{} inputs", inputs.size());
}

/// What came so far is all there is: a pipe has no known end that could be missing.
bool IsStandardInput(const std::vector<std::string>& inputs) { return inputs == std::vector<std::string>{"-"}; }

/// The word for it in the JSON summary.
const char* Word(ReadingEnd end) {
  switch (end) {
    case ReadingEnd::Whole:
      return "input_ended";
    case ReadingEnd::Declined:
      return "output_closed";
    case ReadingEnd::Stopped:
      return "interrupted";
  }
  return "";
}

/// Is there an output whose times say when something happened? Those of raw records never do.
bool TimesAreShown(const OutputPlan& plan) {
  return Has(plan, Format::Asc) || Has(plan, Format::Pcapng) || Has(plan, Format::Mdf) || Has(plan, Format::Candump);
}

/// Reads all records into the front of the sinks, and these into the outputs. A failure is noted with them: what came
/// before it is kept.
std::string ReadInto(OutputSet& outputs, RecordSink& front, const Selection& selected, Summary& summary, Reader& reader,
                     const ConvertArguments& arguments, Signals& signals) {
  ReadingProgress progress(reader, signals, arguments.Progress);
  std::string sentence;
  auto end = ReadingEnd::Whole;
  try {
    end = ReadAll(reader, front, progress.MayGoOn());
    if (end == ReadingEnd::Whole) RefuseWithoutRecords(reader, ShownInput(arguments.Inputs));
  } catch (const Failure& failure) {
    if (summary.Entries() == 0) throw;  // outputs that got nothing leave nothing
    sentence = failure.what();
  }
  progress.Clear();
  if (end == ReadingEnd::Stopped && !IsStandardInput(arguments.Inputs))
    sentence = fmt::format("Interrupted: the outputs end after {} of \"{}\"",
                           FormatCount(summary.Entries(), "entry", "entries"), ShownInput(arguments.Inputs));
  if (!sentence.empty()) outputs.KeepExisting();
  outputs.NoteError(sentence);
  if (!sentence.empty() && end != ReadingEnd::Stopped) return "failed";
  return selected.EndedBy() != nullptr ? selected.EndedBy() : Word(end);
}

/// What is known by now, with the times that the first record has fixed.
Description WithTimesOf(const Description& known, Description now) {
  now.Epoch = known.Epoch;
  now.Anchor = known.Anchor;
  return now;
}

}  // namespace

void ConvertArguments::AddTo(Command& command) {
  Output.AddTo(command);
  command.Get("--output").Required();
  Stream.AddTo(command);
  Box.AddTo(command);
  BitRates.AddTo(command);
  command.AddFlag("--progress", Progress, "Tell how far it has come every few seconds, also without a terminal");
}

OutputPlan PlanOf(const ConvertArguments& arguments) {
  OutputPlan plan = arguments.Output.Plan();
  if (arguments.Box.Plan(plan) && arguments.Box.Triggers.empty())
    throw UsageError("What is read is written when something happens in it; say what, as in --trigger \"error\"");
  if (plan.Capture.AsExported && Has(plan, Format::Pcapng))
    throw UsageError("The library exports a .pcapng only of a recording; leave --as-exported or the output out");
  (void)arguments.Stream.Plan();
  (void)arguments.Output.Times.FirstTime();
  (void)arguments.Output.Times.TableFormat();
  return plan;
}

int Convert(const std::string& command, Reader& reader, const ConvertArguments& arguments, Signals& signals) {
  const OutputPlan plan = PlanOf(arguments);
  SelectionPlan wanted = arguments.Stream.Plan();
  wanted.Triggers = arguments.Box.TriggerList();
  const auto firstTime = arguments.Output.Times.FirstTime();
  const TimeFormat format = arguments.Output.Times.TableFormat();
  Summary summary(arguments.BitRates.Rates());
  const std::string input = ShownInput(arguments.Inputs);
  ToldRemarks remarks(reader);
  const auto told = [&](Description recording) {
    if (!arguments.Output.Title.empty()) recording.Title = arguments.Output.Title;
    return arguments.Stream.Describe(std::move(recording), wanted);
  };
  Description description = told(reader.Describe());
  description.Losses.clear();  // it isn't known yet which of them are selected
  for (const Output& output : plan.Outputs) CheckWritable(output);
  const auto box = arguments.Box.Plan(plan);
  OutputSet outputs(plan, description, TellOfSeries(arguments.Output.Json),
                    box ? FilesOf::Incidents : FilesOf::Recording);
  Destination destination(outputs, summary, box, arguments.Output.Json);
  Selection selected(destination.Front(), wanted);
  destination.TakeTriggersOf(selected);
  LossLedger marks;
  const auto known = [&] {
    Description recording = reader.Describe();
    LossLedger losses(recording.Losses);
    losses.Append(marks.All());
    selected.NoteLosses(losses.All());
    recording.Losses = selected.Concerned(losses.All());
    return told(std::move(recording));
  };
  LossNews news([&] { outputs.Describe(WithTimesOf(description, known())); });
  selected.TellOfStart(std::ref(news));
  OverrunMarks marked(selected, marks, std::ref(news));
  InputLosses between(
      marked, [&] { return reader.LossesKnown(); }, news);
  // The first record of the file, which needn't be the first one that is selected.
  FirstRecord started(between, [&](const RecordView& record) {
    remarks.Tell();
    Description clock = reader.Describe();
    SetFirstTime(clock, record.Timestamp(), firstTime);
    CheckTimes(wanted, clock, input);
    selected.BeginAt(record.Timestamp(), TimesOf(clock));
    description = WithTimesOf(clock, known());
    if (!description.Anchor && (TimesAreShown(plan) || NeedsUtc(format))) Say(UnknownTimeText(input));
    outputs.Describe(description);
  });
  const std::string end = ReadInto(outputs, started, selected, summary, reader, arguments, signals);
  remarks.Tell();
  description = WithTimesOf(description, known());
  outputs.Describe(description);
  destination.Finish(selected);
  description.Losses = destination.Concerned(description.Losses);
  description.Complete = description.Complete && end == Word(ReadingEnd::Whole);
  TakeChannels(description, summary);
  summary.SetFound(input, reader.Found());
  summary.SetTimes(format, TimesOf(description));
  {
    const WaitingLine line("completing the outputs", arguments.Progress);
    outputs.Finish(description);
  }
  nlohmann::json more = {{"input", input}, {"inputs", arguments.Inputs}, {"ended_by", end}};
  destination.AddJson(more);
  return Conclude(command, summary, selected, outputs, arguments.Output, description, more,
                  arguments.Output.PrintsEvents(plan) || (arguments.Output.Json && box));
}

}  // namespace client
