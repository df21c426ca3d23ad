// qor-trace compare
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands/Commands.h"
#include "commands/ComparedInput.h"
#include "commands/ReadingProgress.h"
#include "commands/StreamArguments.h"
#include "commands/TimeArguments.h"
#include "system/Failure.h"
#include "system/Printable.h"
#include "system/Terminal.h"
#include "system/Units.h"
#include "views/Comparison.h"
#include "views/ComparisonText.h"
#include "views/SummaryText.h"

namespace client {

namespace {

/// As typed.
struct CompareArguments {
  std::array<std::string, 2> Files;  // A, B
  std::string Tolerance;
  std::string Times;
  std::string Offset;
  std::vector<std::string> Ignored;
  std::vector<std::string> Formats;
  std::string TimeFormatName = "relative";
  size_t Most = 10;
  bool Description = false;
  bool Json = false;
  bool Progress = false;
  StreamArguments Stream;
};

// ---- What was asked for ---------------------------------------------------------------------------------------------

unsigned long DurationOf(const char* option, const std::string& typed) {
  if (typed.empty()) return 0;
  if (const auto time = ParseDuration(typed)) return *time;
  throw UsageError(fmt::format("{} \"{}\" is no time; write 10ms or 1us", option, typed));
}

/// ns, to be added to the times of B.
long OffsetOf(std::string typed) {
  const bool back = typed.starts_with('-');
  if (back || typed.starts_with('+')) typed.erase(0, 1);
  const auto time = static_cast<long>(std::min<unsigned long>(DurationOf("--offset", typed), 1ul << 62));
  return back ? -time : time;
}

template <class Value>
Value Named(const char* option, const std::string& typed, std::optional<Value> known, size_t count) {
  if (known) return *known;
  std::string names;
  for (size_t value = 0; value < count; ++value)
    names += fmt::format("{}{}", value == 0 ? "" : ", ", NameOf(static_cast<Value>(value)));
  throw UsageError(fmt::format("{} \"{}\" isn't known; there are {}", option, typed, names));
}

ComparisonPlan PlanOf(const CompareArguments& arguments) {
  ComparisonPlan plan;
  for (const std::string& typed : arguments.Ignored)
    plan.Ignored.Add(Named("--ignore", typed, ComparedFieldNamed(typed), kComparedFieldCount));
  for (const std::string& typed : arguments.Formats)
    plan.Formats.Add(Named("--as-kept-by", typed, KeptFormatNamed(typed), kKeptFormatCount));
  plan.Times.Counts = !plan.Ignored.Has(ComparedField::Time);
  plan.Times.Tolerance = std::max(DurationOf("--tolerance", arguments.Tolerance), plan.Formats.TimeStep());
  plan.MostShown = arguments.Most;
  return plan;
}

std::optional<ComparedClock> ClockOf(const std::string& typed) {
  if (typed.empty()) return std::nullopt;
  if (typed == "utc") return ComparedClock::Utc;
  if (typed == "own") return ComparedClock::Own;
  if (typed == "relative") return ComparedClock::Relative;
  throw UsageError(fmt::format("--times \"{}\" isn't known; there are utc, own and relative", typed));
}

TimeFormat FormatOf(const std::string& typed) {
  TimeArguments times;
  times.Format = typed;
  return times.TableFormat();
}

/// Comparing a file with itself says nothing, but is no mistake in a script that goes over copies.
void TellSameFile(const std::array<std::string, 2>& files) {
  if (files[0] == "-" && files[1] == "-")
    throw UsageError("Standard input can only be read once; name a file for A or B");
  std::error_code missing;
  if (!std::filesystem::equivalent(files[0], files[1], missing)) return;
  if (!std::filesystem::is_regular_file(files[0], missing))
    throw UsageError(fmt::format("A and B are the same pipe, \"{}\", which can only be read once", files[0]));
  Say(fmt::format("A and B are the same file, \"{}\"", files[0]));
}

// ---- Reading --------------------------------------------------------------------------------------------------------

/// Both recordings on their way into the comparison.
class TwoInputs {
 public:
  /// Failure: as OpenInput.
  TwoInputs(const CompareArguments& arguments, Comparison& comparison)
      : A(Side::A, arguments.Files[0], PlanWithoutChannels(arguments.Stream), comparison),
        B(Side::B, arguments.Files[1], arguments.Stream.Plan(), comparison) {}

  [[nodiscard]] ComparedInput& operator[](Side side) { return side == Side::A ? A : B; }
  [[nodiscard]] const ComparedInput& operator[](Side side) const { return side == Side::A ? A : B; }

 private:
  /// The numbers of A are those that B's become.
  static SelectionPlan PlanWithoutChannels(const StreamArguments& stream) {
    SelectionPlan plan = stream.Plan();
    plan.Channels = {};
    return plan;
  }

  ComparedInput A;
  ComparedInput B;
};

/// @return why it ended early; empty if both were read to their ends
std::string ReadBoth(TwoInputs& inputs, Comparison& comparison, const CompareArguments& arguments,
                     const Signals& signals) {
  ReadingProgress ofA(inputs[Side::A].Source(), signals, arguments.Progress);
  inputs[Side::A].Attend(ofA.MayGoOn());
  inputs[Side::B].Attend([&signals] { return !signals.StopRequested(); });
  std::string sentence;
  try {
    BeginBoth(inputs[Side::A], inputs[Side::B], ClockOf(arguments.Times), OffsetOf(arguments.Offset));
    while (const auto side = comparison.Wanted())
      if (!inputs[*side].Feed()) break;
  } catch (const UsageError&) {
    throw;
  } catch (const Failure& failure) {
    if (inputs[Side::A].Source().Records() == 0 || inputs[Side::B].Source().Records() == 0) throw;
    sentence = failure.what();
  }
  ofA.Clear();
  const bool stopped = inputs[Side::A].Source().Stopped() || inputs[Side::B].Source().Stopped();
  return stopped ? "Interrupted: the recordings are compared as far as they were read" : sentence;
}

// ---- Telling --------------------------------------------------------------------------------------------------------

constexpr std::string_view kClocks[] = {"UTC", "their own clocks", "since the first entry of each"};

/// What a person who didn't expect it may want to try.
std::string HintText(const Comparison& comparison, const TwoInputs& inputs) {
  if (!comparison.AnyDifference()) return "";
  const ComparedCounts all = comparison.All();
  std::string text;
  if (comparison.Plan().Times.Counts && all.Equal == 0 && all.Only(Side::A) > all.Differing)
    text +=
        "Nothing is equal at the same time. If the clocks differ: --ignore time says by how much, which --offset "
        "takes; or count the times from the first entries, with --times relative";
  for (const Side side : {Side::A, Side::B}) {
    const auto format = KeptFormatNamed(inputs[side].FormatName());
    if (format && !comparison.Plan().Formats.Has(*format))
      text += fmt::format("{}\"{}\" can't hold everything; --as-kept-by {} leaves out what has no place there",
                          text.empty() ? "" : "\n", inputs[side].Name(), NameOf(*format));
  }
  return text;
}

std::string HeadText(const TwoInputs& inputs, const ComparisonPlan& plan) {
  std::string text;
  for (const Side side : {Side::A, Side::B})
    text += fmt::format("{}: {}, {}\n", side == Side::A ? "A" : "B", Printable(inputs[side].Name()),
                        FormatCount(inputs[side].Source().Records(), "entry", "entries"));
  if (!plan.Times.Counts) return text + "times aren't compared\n";
  return text + fmt::format("times: {}, tolerance {} s\n", kClocks[static_cast<size_t>(inputs[Side::A].Clock())],
                            FormatSeconds(plan.Times.Tolerance));
}

void TellFindings(const TwoInputs& inputs) {
  for (const Side side : {Side::A, Side::B})
    for (const Finding& finding : inputs[side].Source().Found().All())
      Say(fmt::format("{}: {}", inputs[side].Name(), FindingText(finding)));
}

int CodeOf(const TwoInputs& inputs, bool different, const std::string& error) {
  if (!error.empty()) return ExitFailed;
  const bool lossy = inputs[Side::A].Source().Found().Lossy() || inputs[Side::B].Source().Found().Lossy();
  return different || lossy ? ExitLossy : ExitDone;
}

nlohmann::json InputJson(const ComparedInput& input, unsigned long leftOut) {
  nlohmann::json findings = nlohmann::json::array();
  for (const Finding& finding : input.Source().Found().All()) findings.push_back(FindingJson(finding));
  return {
      {"file", input.Name()}, {"entries", input.Source().Records()}, {"not_compared", leftOut}, {"findings", findings}};
}

nlohmann::json Json(const Comparison& comparison, const TwoInputs& inputs, const std::vector<std::string>& descriptions,
                    const std::string& error, int code) {
  constexpr const char* kNames[] = {"utc", "own", "relative"};
  const bool same = !comparison.AnyDifference() && descriptions.empty();
  return {{"schema", "qor-trace-compare"},
          {"version", 1},
          {"a", InputJson(inputs[Side::A], comparison.LeftOut(Side::A))},
          {"b", InputJson(inputs[Side::B], comparison.LeftOut(Side::B))},
          {"times", kNames[static_cast<size_t>(inputs[Side::A].Clock())]},
          {"tolerance_ns", comparison.Plan().Times.Tolerance},
          {"verdict", !error.empty() ? "incomplete"
                      : same         ? "equal"
                                     : "different"},
          {"counts", CountsJson(comparison.All())},
          {"channels", ChannelsJson(comparison)},
          {"apart", SpreadJson(comparison)},
          {"description", descriptions},
          {"difference_count", comparison.Differences()},
          {"differences", DifferencesJson(comparison)},
          {"error", error},
          {"exit_code", code}};
}

int Tell(const Comparison& comparison, const TwoInputs& inputs, const CompareArguments& arguments,
         const std::string& error) {
  std::vector<std::string> descriptions;
  if (arguments.Description && error.empty())
    descriptions = inputs[Side::A].DescriptionDifferences(inputs[Side::B], comparison.Plan().Times.Tolerance);
  const int code = CodeOf(inputs, comparison.AnyDifference() || !descriptions.empty(), error);
  TellFindings(inputs);
  if (arguments.Json) {
    PrintJson(Json(comparison, inputs, descriptions, error, code));
  } else {
    const ComparedTimes times{FormatOf(arguments.TimeFormatName), {inputs[Side::A].Moment(), inputs[Side::B].Moment()}};
    std::string text = HeadText(inputs, comparison.Plan()) + DifferencesText(comparison, times);
    for (const std::string& difference : descriptions) text += Printable("description: " + difference) + "\n";
    (void)Print(text + ComparedText(comparison, error.empty()));
  }
  const std::string hint = HintText(comparison, inputs);
  if (!error.empty())
    SayError(error);
  else if (!hint.empty())
    Say(hint);
  return code;
}

int Compare(const CompareArguments& arguments, const Signals& signals) {
  Comparison comparison(PlanOf(arguments));
  (void)ClockOf(arguments.Times);
  (void)OffsetOf(arguments.Offset);
  (void)FormatOf(arguments.TimeFormatName);
  (void)arguments.Stream.Plan();
  TellSameFile(arguments.Files);
  TwoInputs inputs(arguments, comparison);
  const std::string error = ReadBoth(inputs, comparison, arguments, signals);
  return Tell(comparison, inputs, arguments, error);
}

constexpr const char* kCompareHelp =
    "Examples:\n"
    "  qor-trace compare drive.bin drive.mf4 --as-kept-by mf4\n"
    "  qor-trace compare drive.bin drive.asc --as-kept-by asc --ignore dir\n"
    "  qor-trace compare left.bin right.bin --times relative --tolerance 1ms --channel 2=1\n"
    "  qor-trace compare left.bin right.bin --ignore time,dir\n"
    "\n"
    "Shows the first differences of two recordings in any formats: what is only in one of them, and entries that "
    "differ, and in what. Each channel is compared by itself; entries of the same moment may be in any order. After a "
    "difference the comparison goes on where the recordings are alike again. Times are compared by UTC where it is "
    "known of both, else by their own clocks where it is known of neither, else from the first entry of each.\n"
    "\n"
    "Exit codes: 0 equal, 3 different or something of a recording is unreadable, 1 one can't be read to its end, 2 "
    "wrong usage.";

void AddOptions(Command& command, CompareArguments& arguments) {
  const auto addList = [&](const char* name, std::vector<std::string>& values, const char* help) {
    command.Add(name, values, help).SeparatedByCommas().OneValueEach();
  };
  command.Add("A", arguments.Files[0], "A recording in any format that is read, or - for standard input").Required();
  command.Add("B", arguments.Files[1], "The one that it is compared with, likewise").Required();
  command.Add("--tolerance", arguments.Tolerance, "Times may be so far apart, e.g. 1us or 10ms");
  command.Add("--times", arguments.Times,
              "What times count from: utc, own (each clock as it is) or relative (the first entry of each)");
  command.Add("--offset", arguments.Offset, "Add this to the times of B, e.g. 1.5s or -20ms");
  addList("--ignore", arguments.Ignored,
          "Fields that don't count, such as time,dir. There are time, channel, kind, dir, id, slot, cycle, side, code, "
          "flags, dlc, len, data, checksum, crc, bit_time and reserved");
  addList("--as-kept-by", arguments.Formats,
          "Formats that one of them has gone through, of asc, mf4, pcapng and log, such as asc,mf4: what they have no "
          "place for doesn't count");
  command.Add("--max", arguments.Most, "Show so many differences");
  command.AddFlag("--description", arguments.Description, "Compare titles, channels, start and losses as well");
  arguments.Stream.AddTo(command);
  command.Get("--channel").Help("OLD=NEW: channel OLD of B is channel NEW of A. Repeat it for several");
  command.Get("--count").Help("Compare so many entries of each (of those that the other options select)");
  command.Add("--time-format", arguments.TimeFormatName,
              "How times are shown: relative (s since the start of each recording), utc, local or epoch");
  command.AddFlag("--json", arguments.Json, "Print the result as JSON, times in ns");
  command.AddFlag("--progress", arguments.Progress,
                  "Tell how far it has come every few seconds, also without a terminal");
}

}  // namespace

void AddCompareCommand(CLI::App& program, Action& chosen) {
  Command command(program, chosen, "compare", "Show the first differences of two recordings");
  const auto arguments = std::make_shared<CompareArguments>();
  AddOptions(command, *arguments);
  command.Footer(std::string(kFilterHelp) + kCompareHelp);
  command.Does([arguments](Signals& signals) { return Compare(*arguments, signals); });
}

}  // namespace client
