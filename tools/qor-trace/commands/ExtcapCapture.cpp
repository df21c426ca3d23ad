#include "commands/ExtcapCapture.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <utility>

#include "commands/LossNews.h"
#include "commands/RecordingArguments.h"
#include "commands/StreamArguments.h"
#include "inputs/Inputs.h"
#include "outputs/LiveCapture.h"
#include "recording/Recorder.h"
#include "stream/DurationLimit.h"
#include "stream/FilterSink.h"
#include "stream/FirstRecord.h"
#include "stream/LossLedger.h"
#include "stream/LossText.h"
#include "stream/OverrunMarks.h"
#include "stream/Paced.h"
#include "system/Failure.h"
#include "system/Fifo.h"
#include "system/Host.h"
#include "system/InputFile.h"
#include "system/TemporaryFolder.h"
#include "system/Terminal.h"
#include "system/Units.h"
#include "views/SummaryText.h"

namespace client {

namespace {

constexpr std::chrono::milliseconds kLivePullInterval{10};  // as often as interfaces are polled
constexpr size_t kLossesTold = 10;

/// One expression for both; each is understood by itself first, so that a mistake is marked in what was typed.
std::string FilterOf(const ExtcapRequest& request) {
  for (const std::string& expression : {request.CaptureFilter, request.Filter})
    if (!expression.empty()) (void)Filter(expression);
  if (request.CaptureFilter.empty() || request.Filter.empty()) return request.CaptureFilter + request.Filter;
  return fmt::format("({}) and ({})", request.CaptureFilter, request.Filter);
}

/// What is missing of the capture, as Wireshark shows it when it has ended; the capture has it at its place.
int Conclude(const Description& known, const std::string& unread) {
  const TimeBase times = TimesOf(known);
  std::string text = unread;
  for (size_t index = 0; index < std::min(kLossesTold, known.Losses.size()); ++index) {
    const Loss& loss = known.Losses[index];
    const ChannelDescription* const channel = FindChannel(known, loss.Channel);
    text += fmt::format("channel {}{}{}: {}\n", loss.Channel, channel == nullptr ? "" : ", ",
                        channel == nullptr ? "" : channel->Source,
                        LossText(loss.Cause, loss.Count, times.UtcOf(loss.First), times.UtcOf(loss.Last)));
  }
  if (known.Losses.size() > kLossesTold) text += fmt::format("and {} more losses\n", known.Losses.size() - kLossesTold);
  if (text.empty()) return ExitDone;
  text.pop_back();  // Say closes the line
  Say(text);
  return ExitLossy;
}

/// The arguments of a recording, of what Wireshark hands over. It hands over the speed 1 where nobody has chosen one, which not
/// all sources take.
RecordingArguments RecordingOf(const ExtcapInterface& interface, const ExtcapRequest& request) {
  RecordingArguments arguments;
  arguments.Sources = SourcesIn(request.Source.empty() ? interface.Source : request.Source);
  if (arguments.Sources.empty())
    throw UsageError("There is no source; set one, as in --source \"can0 can1\" or --source vehicle");
  if (request.Speed != "1") arguments.Speed = request.Speed;
  arguments.Duration = request.Duration;
  return arguments;
}

/// Entries come as the library has merged them. A Reorder in between would hide a frame on a silent bus for a second, and one that
/// comes late is shown with its time.
int CaptureSources(LiveCapture& capture, const RecordingArguments& arguments, const StreamArguments& stream,
                   Signals& signals) {
  RecordingOptions options = arguments.Options(TemporaryFolder());
  options.PullInterval = kLivePullInterval;
  options.TellsOfLeftOvers = false;
  options.NobodyReads = [&] { return capture.NobodyReads(); };
  const SelectionPlan wanted = stream.Plan();
  LossLedger losses;
  Recorder recorder(options, arguments.Plan(false), signals, losses);
  const auto tell = [&](Description recording) { capture.Describe(stream.Describe(std::move(recording), wanted)); };
  tell(recorder.Describe());
  FilterSink filtered(capture, wanted.Wanted);
  LossNews news([&] { tell(recorder.Describe()); });
  OverrunMarks marked(filtered, losses, std::ref(news));
  bool failed = false;
  const auto complain = [&](const std::string& sentence) {
    failed = true;
    SayError(sentence);
  };
  (void)recorder.Run(marked, complain, tell);
  tell(recorder.Describe());
  std::string unread;
  for (const UnreadLines& lines : recorder.Unread()) unread += UnreadText(lines);
  const int code = Conclude(recorder.Describe(), unread);
  return failed ? ExitFailed : code;
}

double SpeedOf(const std::string& text) {
  if (text.empty()) return 1;
  if (text == "max") return 0;
  char* end = nullptr;
  const double speed = std::strtod(text.c_str(), &end);
  if (*end == '\0' && speed > 0 && speed < 1e9) return speed;
  throw UsageError(fmt::format("\"{}\" is no speed; write a factor such as 0.5 or 10, or max", text));
}

std::string FindingsText(const Findings& findings) {
  std::string text;
  for (const Finding& finding : findings.All())
    if (finding.Kind == FindingKind::Unread || finding.Kind == FindingKind::CutOff) text += FindingText(finding);
  return text;
}

int CaptureFile(LiveCapture& capture, const ExtcapRequest& request, const StreamArguments& stream, Signals& signals) {
  if (request.File.empty()) throw UsageError("There is no recording to replay; choose one, as in --file drive.mf4");
  const double speed = SpeedOf(request.Speed);
  RecordingArguments timed;
  timed.Duration = request.Duration;
  const auto duration = timed.TraceTime();
  const SelectionPlan wanted = stream.Plan();
  CheckInputFile(request.File);
  const auto reader = OpenInput(request.File);
  LossLedger marks;
  Description clock = reader->Describe();
  const auto known = [&] {
    Description recording = reader->Describe();
    LossLedger losses(recording.Losses);
    losses.Append(marks.All());
    recording.Losses = losses.All();
    recording.Epoch = clock.Epoch;
    recording.Anchor = clock.Anchor;
    return recording;
  };
  const auto tell = [&] { capture.Describe(stream.Describe(known(), wanted)); };
  tell();
  FilterSink filtered(capture, wanted.Wanted);
  LossNews news(tell);
  OverrunMarks marked(filtered, marks, std::ref(news));
  DurationLimit limited(marked, duration);
  const auto goOn = [&] { return !signals.StopRequested() && !capture.NobodyReads(); };
  Paced paced(limited, speed, [&](std::chrono::milliseconds time) {
    signals.Wait(time);
    return goOn();
  });
  InputLosses between(
      paced, [&] { return reader->LossesKnown(); }, news);
  FirstRecord started(between, [&](const RecordView& record) {
    clock = reader->Describe();
    SetFirstTime(clock, record.Timestamp());
    tell();
  });
  (void)ReadAll(*reader, started, goOn);
  tell();
  return Conclude(known(), FindingsText(reader->Found()));
}

}  // namespace

std::vector<std::string> SourcesIn(const std::string& text) {
  std::vector<std::string> sources;
  bool quoted = false, inside = false;
  for (const char character : text) {
    const bool blank = !quoted && (character == ' ' || character == '\t' || character == '\n');
    if (!blank && !inside) sources.emplace_back();
    inside = !blank;
    if (character == '"')
      quoted = !quoted;
    else if (!blank)
      sources.back() += character;
  }
  return sources;
}

int CaptureForWireshark(const ExtcapInterface& interface, const ExtcapRequest& request, Signals& signals) {
  Descriptor pipe = OpenFifo(request.Fifo, signals);
  if (!pipe.IsOpen()) return ExitDone;
  LiveCapture capture(std::move(pipe), {.Application = ToolName()});
  try {
    StreamArguments stream;
    stream.Filter = FilterOf(request);
    const int code = interface.Origin == ExtcapOrigin::Replay
                         ? CaptureFile(capture, request, stream, signals)
                         : CaptureSources(capture, RecordingOf(interface, request), stream, signals);
    capture.Finish();
    return code;
  } catch (const Failure&) {
    capture.Finish();
    throw;
  }
}

}  // namespace client
