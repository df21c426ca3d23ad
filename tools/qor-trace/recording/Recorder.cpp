#include "recording/Recorder.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "recording/Reports.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr std::chrono::milliseconds PullInterval{50};
// Entries on their way from the interface into the trace: polls every 10 ms, and a sort stage of 100 ms.
constexpr std::chrono::milliseconds LongestWay{500};
constexpr unsigned int DrainBuffer = 8u << 20;

/// 0 when one of them goes as fast as it can: then wall time says nothing about trace time.
double SlowestOf(const std::vector<Source>& sources) {
  double slowest = sources.empty() ? 0 : sources.front().Speed;
  for (const Source& source : sources) slowest = std::min(slowest, source.Speed);
  return slowest;
}

}  // namespace

const char* Word(End end) {
  switch (end) {
    case End::SourcesEnded:
      return "sources_ended";
    case End::DurationReached:
      return "duration";
    case End::Interrupted:
      return "interrupted";
    case End::SinkClosed:
      return "output_closed";
    case End::RecordingFailed:
      return "failed";
  }
  return "";
}

Recorder::Recorder(const RecordingOptions& options, const std::vector<Source>& sources, Signals& signals)
    : Options(options),
      StopSignals(signals),
      Swap(options.SwapParent),
      Drained(TraceMonitor.Handle(), DrainBuffer),
      SlowestSpeed(SlowestOf(sources)) {
  RemoveAtTheEnd(Swap, StopSignals);
  for (const Source& source : sources) {
    Ports.emplace_back(source);
    RecordedChannels.push_back({TraceMonitor.AddChannel(Ports.back()), source.Shown});
  }
  TraceMonitor.SetMemoryLimit(options.MemoryLimit);
  if (!options.LiveAsc.empty()) TraceMonitor.SetLiveAsc(options.LiveAsc, options.LiveAscLimit);
}

End Recorder::Run(EntrySink& sink) {
  Started = RateSince = std::chrono::steady_clock::now();
  TraceMonitor.Start(Options.LiveAsc.empty() ? 0 : QOR_TRACE_START_ASC_RECORDING);
  std::optional<End> end;
  while (!(end = Step(sink))) ShowProgress();
  Progress.Clear();
  StopMonitor();
  CountLost();
  if (*end != End::SinkClosed) DrainRest(sink);
  if (!Sentence.empty()) return End::RecordingFailed;
  return SinkIsClosed ? End::SinkClosed : *end;
}

/// One pull, and a pause when there was little to pull.
std::optional<End> Recorder::Step(EntrySink& sink) {
  const bool finished = AllFinished();  // asked before the pull: what comes after it is fetched by DrainRest
  const bool drained = Drain(sink);
  if (SinkIsClosed) return End::SinkClosed;
  if (Reports::RecordingFailed()) return End::RecordingFailed;
  if (finished) return End::SourcesEnded;
  if (StopSignals.StopRequested()) return End::Interrupted;
  if (DurationIsOver()) return End::DurationReached;
  if (!drained) {
    sink.Pause();
    StopSignals.Wait(PullInterval);
  }
  return std::nullopt;
}

/// @return true if there may be more to pull right now
bool Recorder::Drain(EntrySink& sink) {
  const unsigned int before = Drained.Delivered();
  const auto take = [&](const unsigned char* record, unsigned int length) {
    // Entries that were read while a failure was reported may be addressed wrongly.
    if (Reports::RecordingFailed()) return false;
    if (!sink.Take(record, length)) {
      SinkIsClosed = true;
      return false;
    }
    NoteTime(ReadHeader(record).Timestamp);
    return true;
  };
  const std::size_t mark = Reports::Mark();
  const unsigned int status = Drained.Pull(take);
  if (status != QOR_TRACE_STATUS_OK && !Reports::RecordingFailed())
    Reports::Check(status, fmt::format("Cannot read the trace from entry {} on", Drained.Delivered()), mark);
  return Drained.Delivered() - before >= DrainBuffer / 1568;
}

void Recorder::NoteTime(unsigned long time) {
  FirstTime = std::min(FirstTime.value_or(time), time);
  LatestTime = std::max(LatestTime, time);
}

/// What arrived before the monitor stopped.
void Recorder::DrainRest(EntrySink& sink) {
  unsigned int before = 0;
  do {
    before = Drained.Delivered();
    Drain(sink);
  } while (Drained.Delivered() != before && !SinkIsClosed);
  const unsigned int total = Drained.EntryCount();
  if (SinkIsClosed || (Sentence.empty() && total == Drained.Delivered())) return;
  if (Sentence.empty())
    Sentence = fmt::format("Only {} of {} entries of the trace could be read", Drained.Delivered(), total);
}

void Recorder::StopMonitor() {
  try {
    TraceMonitor.Stop();
  } catch (const Failure& failure) {
    Sentence = failure.what();
  }
  if (!Reports::RecordingFailed()) return;
  Sentence = fmt::format(
      "The recording failed{} and was stopped: {}. Entries that arrived at the end are missing or, in .asc "
      "outputs, may appear twice",
      FirstTime ? fmt::format(" after {} s", FormatSeconds(LatestTime)) : "", Reports::RecordingFailure());
}

bool Recorder::AllFinished() const {
  return std::all_of(Ports.begin(), Ports.end(), [](const Port& port) { return port.Status().Finished != 0; });
}

unsigned long Recorder::TraceTime() const {
  return FirstTime ? LatestTime - *FirstTime : 0;
}

/// Trace time is that of the entries. Where sources go at a known speed it passes on a silent bus, too: then nothing
/// can be on its way any more.
bool Recorder::DurationIsOver() const {
  if (!Options.Duration) return false;
  if (TraceTime() >= *Options.Duration) return true;
  if (SlowestSpeed <= 0) return false;
  const std::chrono::duration<double, std::nano> passed = std::chrono::steady_clock::now() - Started - LongestWay;
  return passed.count() * SlowestSpeed >= static_cast<double>(*Options.Duration);
}

unsigned long Recorder::LostSoFar() const {
  unsigned long lost = 0;
  for (const Port& port : Ports) lost += port.Status().Lost;
  return lost;
}

void Recorder::CountLost() {
  for (std::size_t index = 0; index < Ports.size(); ++index) {
    const Qor_Sim_Status_t status = Ports[index].Status();
    RecordedChannel& channel = RecordedChannels[index];
    channel.Lost = status.Lost;
    channel.FirstLost = status.FirstLostTime;
    channel.LastLost = status.LastLostTime;
  }
}

void Recorder::ShowProgress() {
  if (!Progress.IsDue()) return;
  const auto now = std::chrono::steady_clock::now();
  const std::chrono::duration<double> passed = now - RateSince;
  if (passed.count() >= 1 || RateFrom == 0) {
    Rate = passed.count() > 0 ? (Drained.Delivered() - RateFrom) / passed.count() : 0;
    RateSince = now;
    RateFrom = Drained.Delivered();
  }
  Progress.Show(fmt::format("{}  {} entries  {:.0f}/s  {} lost", FormatElapsed(TraceTime()), Drained.Delivered(), Rate,
                            LostSoFar()));
}

}  // namespace client
