// qor-trace watch
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <functional>
#include <memory>

#include "commands/BitRateArguments.h"
#include "commands/BlackBoxArguments.h"
#include "commands/Commands.h"
#include "commands/Conclusion.h"
#include "commands/InputRemarks.h"
#include "commands/LossNews.h"
#include "commands/OutputArguments.h"
#include "commands/RecordingArguments.h"
#include "commands/StreamArguments.h"
#include "commands/WatchSession.h"
#include "inputs/Inputs.h"
#include "inputs/MergedReader.h"
#include "stream/DurationLimit.h"
#include "stream/FirstRecord.h"
#include "stream/LossLedger.h"
#include "stream/OverrunMarks.h"
#include "stream/Reorder.h"
#include "system/Failure.h"
#include "system/TemporaryFolder.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

namespace {

struct WatchArguments {
  RecordingArguments Recording;
  OutputArguments Output;
  BlackBoxArguments Box;
  BitRateArguments BitRates;
  StreamArguments Conditions;
  std::string Filter;
};

/// Standard output is the screen.
void CheckOutputs(const WatchArguments& arguments) {
  const OutputPlan plan = arguments.Output.Plan();
  if (UsesStandardOutput(plan.Outputs))
    throw UsageError("Standard output is the screen; name a file with -o, or use 'qor-trace record'");
  if (arguments.Output.Capture.AsExported)
    throw UsageError("--as-exported writes everything from the start on; leave it out, or use 'qor-trace record'");
}

/// With a black box the named outputs are its incidents', and a recording is asked for its name.
/// @param timing  of the stream
void AddBox(const WatchArguments& arguments, const LiveTiming& timing, WatchOptions& options) {
  const auto plan = arguments.Box.Plan(arguments.Output.Plan(options.Folder));
  if (!plan) return;
  options.Box = SideBox{*plan, arguments.Box.TriggerList()};
  options.Box->Plan.Silent = timing;
  options.BoxOutput = arguments.Output;
  options.Output.Outputs.clear();
}

WatchOptions OptionsOf(const WatchArguments& arguments, const LiveTiming& timing) {
  WatchOptions options;
  options.Output = arguments.Output;
  options.Rates = arguments.BitRates.Rates();
  options.Folder = std::filesystem::current_path();
  options.Title = fmt::format("{}", fmt::join(arguments.Recording.Sources, " "));
  options.Filter = arguments.Filter;
  if (!options.Filter.empty()) (void)Filter(options.Filter);
  AddBox(arguments, timing, options);
  return options;
}

/// Says what was watched, and what was lost. @return the exit code
int ConcludeWatching(WatchSession& session, const Description& known, TimeFormat format, bool failed) {
  Summary& counted = session.Counts();
  TakeChannels(known, counted);
  counted.SetTimes(format, TimesOf(known));
  const auto times = counted.Times();
  const std::string watched = fmt::format("watched {} in {} s", FormatCount(counted.Entries(), "entry", "entries"),
                                          FormatSeconds(times ? times->Last - times->First : 0));
  session.Close();
  Say(counted.Lossy() ? counted.Text() + watched : watched);
  if (failed || session.ExitCode() == ExitFailed) return ExitFailed;
  return counted.Lossy() ? static_cast<int>(ExitLossy) : session.ExitCode();
}

// What happens now.

/// 0 when one of them goes as fast as it can.
double FastestOf(const std::vector<Source>& sources) {
  double fastest = 0;
  for (const Source& source : sources) {
    if (source.Speed <= 0) return 0;
    fastest = std::max(fastest, source.Speed);
  }
  return fastest;
}

int WatchLive(const WatchArguments& arguments, Signals& signals) {
  const OutputPlan plan = arguments.Output.Plan();
  RecordingOptions options = arguments.Recording.Options(FolderOf(plan.Outputs, TemporaryFolder()));
  options.Progress = false;
  options.LargestTrace = RecordingOptions::kLargestUnneededTrace;
  options.FirstTime = arguments.Output.Times.FirstTime();
  const std::vector<Source> sources = arguments.Recording.Plan(arguments.Output.Strict);
  SelectionPlan wanted = arguments.Conditions.Plan();
  wanted.Silent = TimingOf(sources, OrderingWindow(sources.size()));
  WatchOptions watching = OptionsOf(arguments, wanted.Silent);
  watching.Speed = FastestOf(sources);
  LossLedger losses;
  Recorder recorder(options, sources, signals, losses);
  WatchSession session(
      std::move(watching), signals, [&] { return recorder.Describe(); }, nullptr);
  InOrder kept(session);
  LossNews news([&] { session.TellKnown(); });
  OverrunMarks marked(kept, losses, std::ref(news));
  Reorder ordered(marked, losses, OrderingWindow(sources.size()));
  Arrivals arrivals(session, ordered);
  Selection selected(arrivals, wanted);
  const auto heed = [&](const Description& known) {
    selected.NoteLosses(known.Losses);
    session.TellKnown();
  };
  bool failed = false;
  const auto complain = [&](const std::string& sentence) {
    SayError(sentence);
    failed = true;
  };
  const End end = recorder.Run(selected, complain, heed, [&] { return selected.EndedBy() != nullptr; });
  ordered.Finish();
  session.EndStream();
  session.Counts().SetUnread(recorder.Unread());
  if (end != End::DurationReached) session.Linger();
  return ConcludeWatching(session, recorder.Describe(), arguments.Output.Times.TableFormat(), failed);
}

// What has happened.

std::optional<double> SpeedOf(const std::string& typed) {
  if (typed == "max") return std::nullopt;
  if (typed.empty()) return 1;
  double speed = 0;
  const auto [end, error] = std::from_chars(typed.data(), typed.data() + typed.size(), speed, std::chars_format::fixed);
  const bool whole = error == std::errc() && end == typed.data() + typed.size();
  if (!whole || !(speed >= ReplayPace::kSlowest && speed <= ReplayPace::kFastest))
    throw UsageError(fmt::format("\"{}\" is no speed for a file; write 0.1 to 1000, or max", typed));
  return speed;
}

/// Hands each record on when it is due.
class AtPace : public RecordSink {
 public:
  AtPace(RecordSink& next, ReplayPace& pace, Signals& signals) : Next(next), Pace(pace), StopSignals(signals) {}

  [[nodiscard]] bool Take(const RecordView& record) override {
    while (!StopSignals.StopRequested()) {
      const auto left = Pace.Until(record.Timestamp(), std::chrono::steady_clock::now());
      if (left == std::chrono::nanoseconds(0)) return Next.Take(record);
      Next.Pause();
      const auto wait = std::clamp(left.value_or(kLongest), kShortest, kLongest);
      StopSignals.Wait(std::chrono::ceil<std::chrono::milliseconds>(wait));
    }
    return false;
  }
  void Pause() override { Next.Pause(); }

 private:
  // Nobody sees records come one by one; keys are to be heeded soon.
  static constexpr std::chrono::nanoseconds kShortest = std::chrono::milliseconds(10);
  static constexpr std::chrono::nanoseconds kLongest = std::chrono::milliseconds(50);

  RecordSink& Next;
  ReplayPace& Pace;
  Signals& StopSignals;
};

void CheckFileArguments(const RecordingArguments& typed) {
  if (!std::all_of(typed.Sources.begin(), typed.Sources.end(), IsNameOfInput))
    throw UsageError(
        "Files that were recorded and sources that are to be can't be watched together; watch them one by one");
  if (typed.MemoryLimit || !typed.SwapFolder.empty())
    throw UsageError("A file is watched as it is, without recording; leave out --memory-limit and --swap-folder");
}

int WatchFile(const WatchArguments& arguments, Signals& signals) {
  const RecordingArguments& typed = arguments.Recording;
  CheckFileArguments(typed);
  ReplayPace pace(SpeedOf(typed.Speed));
  const auto firstTime = arguments.Output.Times.FirstTime();
  const std::string input =
      typed.Sources.size() == 1 ? typed.Sources.front() : fmt::format("{} inputs", typed.Sources.size());
  const auto reader = OpenInputs(typed.Sources, ChannelMerging::Apart);
  LossLedger marks;
  std::optional<unsigned long> begin;
  const auto describe = [&] {
    Description known = reader->Describe();
    if (begin) SetFirstTime(known, *begin, firstTime);
    LossLedger losses(known.Losses);
    losses.Append(marks.All());
    known.Losses = losses.All();
    return known;
  };
  const SelectionPlan wanted = arguments.Conditions.Plan();
  WatchSession session(OptionsOf(arguments, {}), signals, describe, &pace);
  ToldRemarks remarks(*reader);
  InOrder kept(session);
  Selection* watched = nullptr;
  LossNews news([&] {
    watched->NoteLosses(describe().Losses);
    session.TellKnown();
  });
  OverrunMarks marked(kept, marks, std::ref(news));
  InputLosses told(
      marked, [&] { return reader->LossesKnown(); }, news);
  FirstRecord started(told, [&](const RecordView& record) {
    begin = record.Timestamp();
    remarks.Tell();
    session.TellKnown();
  });
  Arrivals arrivals(session, started);
  AtPace paced(arrivals, pace, signals);
  Selection selected(paced, wanted);  // before their pace, since nobody waits for what isn't shown
  watched = &selected;
  DurationLimit limited(selected, typed.TraceTime());
  bool failed = false;
  try {
    const auto end = ReadAll(*reader, limited, [&] { return session.Attend(), !signals.StopRequested(); });
    if (end == ReadingEnd::Whole) RefuseWithoutRecords(*reader, input);
  } catch (const Failure& failure) {  // what was read before is still there to be looked at
    SayError(failure.what());
    failed = true;
  }
  remarks.Tell();
  session.EndStream();
  session.Linger();
  session.Counts().SetFound(input, reader->Found());
  return ConcludeWatching(session, describe(), arguments.Output.Times.TableFormat(), failed);
}

int Watch(const WatchArguments& arguments, Signals& signals) {
  Screen::CheckTerminal();
  CheckOutputs(arguments);
  const auto& sources = arguments.Recording.Sources;
  if (std::any_of(sources.begin(), sources.end(), IsNameOfInput)) return WatchFile(arguments, signals);
  return WatchLive(arguments, signals);
}

constexpr const char* kWatchHelp =
    "Examples:\n"
    "  qor-trace watch vehicle\n"
    "  qor-trace watch can0 can1 --bitrate 500k/2M\n"
    "  qor-trace watch can lin --filter \"id in 0x100..0x1FF or error\"\n"
    "  qor-trace watch can0 -o run.mf4\n"
    "  qor-trace watch drive.mf4 --speed 10\n"
    "  qor-trace watch can0 can1 -o incident-%n.mf4 --ring 60s --trigger error\n"
    "\n"
    "Keys: ? shows all of them, q ends. / takes another filter, s sorts, space pauses, r records and stops recording: "
    "into "
    "the outputs of -o, or into a file whose name is asked for. A recording has everything from the key on, whatever "
    "the "
    "filter shows. Cycle is the mean of the last 32 cycles of a message, Jitter the difference of the longest and the "
    "shortest of them. Bytes that have changed are marked. A file (.bin, .asc, .mf4, .pcapng, .pcap or -, standard "
    "input) is "
    "shown at --speed 0.1 to 1000 or max (1), by the times of its entries.\n"
    "\n"
    "When the terminal goes away, a recording goes on without it, until its process is sent SIGTERM or the sources "
    "end; "
    "without a recording, watch ends.\n"
    "\n";

}  // namespace

void AddWatchCommand(CLI::App& program, Action& chosen) {
  Command command(program, chosen, "watch", "Show the messages of sources or of a recording as they come");
  const auto arguments = std::make_shared<WatchArguments>();
  arguments->Recording.AddTo(command);
  arguments->Output.AddTo(command);
  arguments->Output.AddRecordingTo(command);
  command.Add("--filter", arguments->Filter,
              "Show only messages that an expression matches; recordings have the others as well");
  arguments->Box.AddTo(command);
  arguments->Conditions.AddConditionsTo(command);
  arguments->BitRates.AddTo(command);
  for (const char* const name : {"--json", "--progress"}) command.Remove(name);
  command.Footer(std::string(kWatchHelp) + kBlackBoxHelp + kFilterHelp + kSourceHelp);
  command.Does([arguments](Signals& signals) { return Watch(*arguments, signals); });
}

}  // namespace client
