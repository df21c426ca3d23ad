#include "recording/Recorder.h"

#include <fmt/format.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "recording/Reports.h"
#include "stream/Reorder.h"
#include "system/DiskSpace.h"
#include "system/Failure.h"
#include "system/Host.h"
#include "system/Units.h"

namespace client {

namespace {

// Entries on their way from the interface into the trace: polls every 10 ms, and a sort stage of 100 ms.
constexpr std::chrono::milliseconds kLongestWay{500};
constexpr unsigned int kDrainBuffer = 8u << 20;
constexpr std::chrono::milliseconds kDiskCheckInterval{100};
constexpr unsigned long kFastestSwap = 8ul << 20;  // bytes that come between two looks at the disks, beside the store
constexpr unsigned long kTypicalRecord = 128;      // bytes, before there are any
constexpr unsigned long kLargestInMemory = 512ul << 20;  // bytes of a trace that can't be swapped
constexpr unsigned int kNoMemoryLimit = 0xFFFFFFFF;
constexpr unsigned int kNoticesTold = 20;  // of a channel; the ledger has them all

/// 0 when one of them goes as fast as it can: then wall time says nothing about trace time.
double SlowestOf(const std::vector<Source>& sources) {
  double slowest = sources.empty() ? 0 : sources.front().Speed;
  for (const Source& source : sources) slowest = std::min(slowest, source.Speed);
  return slowest;
}

/// 0 when one of them goes as fast as it can.
double FastestOf(const std::vector<Source>& sources) {
  double fastest = 0;
  for (const Source& source : sources) {
    if (source.Speed <= 0) return 0;
    fastest = std::max(fastest, source.Speed);
  }
  return fastest;
}

unsigned long Nanoseconds(std::chrono::nanoseconds time) { return static_cast<unsigned long>(time.count()); }

/// A recording begins at a whole ms of UTC, or shortly after one: the dates of some formats hold no more.
void WaitForMillisecond() {
  std::this_thread::sleep_until(std::chrono::ceil<std::chrono::milliseconds>(std::chrono::system_clock::now()));
}

/// What is known of a recording before it begins.
Description NewDescription() {
  Description description;
  description.Id = MakeId();
  description.Tool = ToolName();
  description.Host = HostName();
  description.System = SystemName();
  description.Machine = MachineName();
  return description;
}

}  // namespace

LiveTiming TimingOf(const std::vector<Source>& sources, unsigned long window) {
  const double speed = SlowestOf(sources);
  const auto traceTime = [&](std::chrono::nanoseconds time) {
    return static_cast<unsigned long>(static_cast<double>(time.count()) * speed);
  };
  // What is held back to be put in order comes when newer records do, or after a while in which none do.
  const unsigned long held = window == 0 ? 0 : std::max(window, traceTime(Reorder::kLongestSilence));
  return {speed, traceTime(kLongestWay) + held};
}

const char* Word(End end) {
  switch (end) {
    case End::SourcesEnded:
      return "sources_ended";
    case End::InterfacesGone:
      return "interface_gone";
    case End::DurationReached:
      return "duration";
    case End::Interrupted:
      return "interrupted";
    case End::SinkClosed:
      return "output_closed";
    case End::DiskFull:
      return "min_free";
    case End::RecordingFailed:
      return "failed";
  }
  return "";
}

Recorder::Recorder(const RecordingOptions& options, const std::vector<Source>& sources, Signals& signals,
                   LossLedger& losses)
    : Options(options),
      StopSignals(signals),
      Losses(losses),
      Known(NewDescription()),
      Swap(options.SwapParent, options.TellsOfLeftOvers),
      Progress(options.Progress),
      First(sources.size()),
      SlowestSpeed(SlowestOf(sources)),
      FastestSpeed(FastestOf(sources)) {
  LeaveAtOnce(Swap, StopSignals);
  for (const Source& source : sources) {
    Ports.emplace_back(source);
    NoteUnread(source, Ports.back());
    RecordedChannels.push_back({TraceMonitor.AddChannel(Ports.back()), source.Shown});
    ChannelDescription channel = Ports.back().Describe();
    channel.Number = RecordedChannels.back().Number;
    channel.Source = source.Shown;
    Known.Channels.push_back(std::move(channel));
  }
}

/// All ports of a file report the same lines.
void Recorder::NoteUnread(const Source& source, const Port& port) {
  const auto known = [&](const UnreadLines& lines) { return lines.File == source.File; };
  if (std::any_of(UnreadOfFiles.begin(), UnreadOfFiles.end(), known)) return;
  UnreadLines lines = port.Unread();
  if (lines.Count == 0) return;
  lines.File = source.File;
  UnreadOfFiles.push_back(std::move(lines));
}

End Recorder::Run(RecordSink& sink, const Complaint& complain, const News& tell, const Enough& enough) {
  Tell = tell;
  HasEnough = enough;
  Complain = [&](const std::string& sentence) {
    Progress.Clear();
    complain(sentence);
  };
  ChooseMemoryLimit();
  Drained.emplace(TraceMonitor.Handle(), kDrainBuffer);
  WaitForMillisecond();
  Started = RateSince = LastEmpty = std::chrono::steady_clock::now();
  Arrival.Started = Nanoseconds(std::chrono::system_clock::now().time_since_epoch());
  TraceMonitor.Start(0);
  Arrival.StartTook = Nanoseconds(std::chrono::steady_clock::now() - Started);
  std::optional<End> end;
  while (!(end = Step(sink))) ShowProgress();
  Progress.Clear();
  StopMonitor();
  if (*end != End::SinkClosed) DrainRest(sink);
  LookForLosses();
  for (RecordedChannel& channel : RecordedChannels)
    if (channel.IsGone) AddGone(channel);
  for (const RecordedChannel& channel : RecordedChannels)
    if (channel.DeafSince) NoteDeaf(channel, Nanoseconds(std::chrono::system_clock::now().time_since_epoch()));
  // Without entries any clock fits.
  if (!ClockIsKnown) Known.Anchor = ClockAnchor{0, Arrival.Started, Arrival.StartTook, AnchorOrigin::RecordingStart};
  if (Reports::FileFailed() || end == End::DiskFull) NoteFullDisk();
  if (Broken) return End::RecordingFailed;
  Known.Complete = true;
  return SinkIsClosed ? End::SinkClosed : *end;
}

/// One pull, and a pause when there was little to pull.
std::optional<End> Recorder::Step(RecordSink& sink) {
  const bool finished = AllFinished();  // asked before the pull: what comes after it is fetched by DrainRest
  const bool drained = Drain(sink);
  if (SinkIsClosed || HasEnough()) return End::SinkClosed;
  if (Reports::RecordingFailed()) return End::RecordingFailed;
  if (finished) return AllGone() ? End::InterfacesGone : End::SourcesEnded;
  if (StopSignals.StopRequested()) return End::Interrupted;
  if (DurationIsOver()) return End::DurationReached;
  if (const auto end = CheckDisks(sink)) return end;
  if (!drained) {
    sink.Pause();
    SinkIsClosed = Options.NobodyReads && Options.NobodyReads();
    if (SinkIsClosed) return End::SinkClosed;
    StopSignals.Wait(Options.PullInterval);
  }
  return std::nullopt;
}

std::optional<End> Recorder::CheckDisks(RecordSink& sink) {
  const auto now = std::chrono::steady_clock::now();
  if (now - DisksChecked < kDiskCheckInterval) return std::nullopt;
  DisksChecked = now;
  LookForLosses();
  for (const std::string& folder : Options.OutputFolders) {
    const unsigned long free = FreeSpace(folder);
    if (free >= Options.MinFree) continue;
    Complain(fmt::format("The recording was ended at entry {}, {} s: \"{}\" has only {} left (--min-free)", Entries,
                         FormatSeconds(LatestTime), folder, FormatSize(free)));
    return End::DiskFull;
  }
  if (!TraceIsTooLarge()) return std::nullopt;
  EmptyTrace(sink);
  return SinkIsClosed ? std::optional(End::SinkClosed) : std::nullopt;
}

/// Bytes that the swap folder has to have before a full store may be moved there.
unsigned long Recorder::RoomForSwapping() const {
  const unsigned long record = Entries > 0 ? Bytes / Entries : kTypicalRecord;
  return kFastestSwap + 2 * record * Options.MemoryLimit;
}

bool Recorder::TraceIsTooLarge() const {
  if (InMemoryOnly) return BytesInTrace > kLargestInMemory;
  return BytesInTrace > Options.LargestTrace || SwapFolderIsFull();
}

bool Recorder::SwapFolderIsFull() const {
  // A trace below the limit has nothing in the swap file that emptying it would free.
  return Drained->Delivered() >= Options.MemoryLimit && RoomToGrow(Swap.Path()) < RoomForSwapping();
}

/// Once the limit has changed, TraceDrain can't tell swapped entries from others. So the trace must be empty here.
void Recorder::ChooseMemoryLimit() {
  const unsigned long room = RoomToGrow(Swap.Path());
  const bool wasInMemory = std::exchange(InMemoryOnly, room < RoomForSwapping());
  TraceMonitor.SetMemoryLimit(InMemoryOnly ? kNoMemoryLimit : Options.MemoryLimit);
  if (!InMemoryOnly || wasInMemory) return;
  Complain(
      fmt::format("The swap folder \"{}\" takes only {} more: from entry {}, {} s on, entries stay in memory. The "
                  "outputs go on",
                  Options.SwapParent, FormatSize(room), Entries + 1, FormatSeconds(LatestTime)));
}

/// Hands on what is left of the trace and empties it: from then on it would only take room. The monitor has to be
/// stopped, or entries that arrive before it is emptied would be lost; most interfaces keep in the meantime what they
/// receive.
void Recorder::EmptyTrace(RecordSink& sink) {
  const auto began = std::chrono::steady_clock::now();
  const bool planned = !InMemoryOnly && !SwapFolderIsFull();
  StopMonitor();
  DrainRest(sink);
  if (Broken || SinkIsClosed) return;
  TraceMonitor.Empty();
  Drained.emplace(TraceMonitor.Handle(), kDrainBuffer);
  BytesInTrace = 0;
  ChooseMemoryLimit();
  RemoveGone();
  if (!AllGone()) TraceMonitor.Start(0);
  if (planned) return;
  const auto paused = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began);
  Complain(
      fmt::format("The swap folder \"{}\" was full at entry {}, {} s: the recording stood still for {} ms to empty it, "
                  "and what the interfaces didn't keep meanwhile is missing. The outputs go on",
                  Options.SwapParent, Entries, FormatSeconds(LatestTime), paused.count()));
}

/// @return true if there may be more to pull right now
bool Recorder::Drain(RecordSink& sink) {
  const unsigned int before = Drained->Delivered();
  if (ClockIsKnown)
    Pull([&](const RecordView& record) { return HandOn(sink, record); });
  else
    DrainFirst(sink);
  return Drained->Delivered() - before >= kDrainBuffer / TraceDrain::kLargestRecord;
}

/// The first entries are held until all of them are there: together they say what their clock is.
void Recorder::DrainFirst(RecordSink& sink) {
  const auto before = std::chrono::steady_clock::now();
  Pull([&](const RecordView& record) {
    First.Take(record);
    return true;
  });
  if (First.empty()) {
    LastEmpty = before;
    return;
  }
  if (Arrival.Drained == 0) NoteArrival();
  if (!First.AreComplete()) return;
  LearnClock();
  First.HandOver([&](const RecordView& record) { return HandOn(sink, record); });
}

/// What the very first entries say of their clock.
void Recorder::NoteArrival() {
  Arrival.Drained = Nanoseconds(std::chrono::steady_clock::now() - Started);
  const auto empty = LastEmpty - Started;
  Arrival.Earliest = empty > kLongestWay ? Nanoseconds(empty - kLongestWay) : 0;
  Arrival.Last = First.Latest();
}

/// Finds out what the clock of the entries is, once the first of them have come.
void Recorder::LearnClock() {
  ClockIsKnown = true;
  Arrival.First = First.Earliest();
  Arrival.Speed = FastestSpeed;
  SetClock(Known, Arrival);
  if (Options.FirstTime) SetFirstTime(Known, Arrival.First, Options.FirstTime);
  TellKnown();
}

bool Recorder::HandOn(RecordSink& sink, const RecordView& record) {
  if (!sink.Take(record)) {
    SinkIsClosed = true;
    return false;
  }
  NoteEntry(record);
  return true;
}

template <class Take>
void Recorder::Pull(Take take) {
  const size_t mark = Reports::Mark();
  const unsigned int status = Drained->Pull([&](const RecordView& record) {
    // Entries that were read while a failure was reported may be addressed wrongly.
    return !Reports::RecordingFailed() && take(record);
  });
  if (status != QOR_TRACE_STATUS_OK && !Reports::RecordingFailed())
    Reports::Check(status, fmt::format("Cannot read the trace from entry {} on", Entries), mark);
}

void Recorder::NoteEntry(const RecordView& record) {
  const unsigned long time = record.Timestamp();
  FirstTime = std::min(FirstTime.value_or(time), time);
  LatestTime = std::max(LatestTime, time);
  RecordedChannel* const channel = ChannelOf(record.ChannelId());
  if (channel != nullptr) channel->Latest = std::max(channel->Latest, time);
  ++Entries;
  Bytes += record.Length();
  BytesInTrace += record.Length();
}

/// What arrived before the monitor stopped.
void Recorder::DrainRest(RecordSink& sink) {
  First.WaitNoMore();
  unsigned int before = 0;
  do {
    before = Drained->Delivered();
    Drain(sink);
    ShowProgress();
  } while (Drained->Delivered() != before && !SinkIsClosed);
  Progress.Clear();
  const unsigned int total = Drained->EntryCount();
  if (SinkIsClosed || Broken || total == Drained->Delivered()) return;
  Broken = true;
  Complain(fmt::format("Only {} of {} entries of the trace could be read", Drained->Delivered(), total));
}

void Recorder::StopMonitor() {
  // At speed=max most of a recording waits in the monitor until now.
  const WaitingLine line("stopping", Options.Progress);
  try {
    TraceMonitor.Stop();
  } catch (const Failure& failure) {
    Broken = true;
    if (!Reports::RecordingFailed()) Complain(failure.what());
  }
  if (!Reports::RecordingFailed()) return;
  Broken = true;
  Complain(fmt::format("The recording failed{} and was stopped: {}. Entries that arrived at the end are missing",
                       FirstTime ? fmt::format(" after {} s", FormatSeconds(LatestTime)) : "",
                       Reports::RecordingFailure()));
}

bool Recorder::AllFinished() const {
  return std::all_of(Ports.begin(), Ports.end(), [](const Port& port) { return port.Status().Finished != 0; });
}

unsigned long Recorder::TraceTime() const { return FirstTime ? LatestTime - *FirstTime : 0; }

/// Trace time is that of the entries. Where sources go at a known speed it passes on a silent bus as well, as soon
/// as nothing can be on its way any more.
bool Recorder::DurationIsOver() const {
  if (!Options.Duration) return false;
  if (TraceTime() >= *Options.Duration) return true;
  if (SlowestSpeed <= 0) return false;
  const std::chrono::duration<double, std::nano> passed = std::chrono::steady_clock::now() - Started - kLongestWay;
  return passed.count() * SlowestSpeed >= static_cast<double>(*Options.Duration);
}

unsigned long Recorder::LostSoFar() const {
  unsigned long lost = 0;
  for (const Port& port : Ports) lost += port.Status().Lost;
  return lost;
}

/// Null for a number that none of the sources has.
RecordedChannel* Recorder::ChannelOf(unsigned int number) {
  const size_t index = number - 1;  // as they were added
  return index < RecordedChannels.size() && RecordedChannels[index].Number == number ? &RecordedChannels[index]
                                                                                     : nullptr;
}

/// Places what the ports have lost since the last look.
void Recorder::LookForLosses() {
  for (size_t index = 0; index < Ports.size(); ++index) {
    const Qor_Sim_Status_t status = Ports[index].Status();
    NoteGone(RecordedChannels[index], status.Gone != 0);
    NoteLoss(RecordedChannels[index], status);
    for (const Qor_Sim_Notice_t& notice : Ports[index].NewNotices()) HeedNotice(RecordedChannels[index], notice);
  }
  if (ClockIsKnown && Losses.Changes() != LossesTold) TellKnown();
}

void Recorder::NoteLoss(RecordedChannel& channel, const Qor_Sim_Status_t& status) {
  const auto lost = channel.Lost.Look(status.Lost, status.FirstLostTime, status.LastLostTime, channel.Latest);
  if (lost) Losses.Add({channel.Number, LossCause::CaptureBufferFull, lost->Begin, lost->End, lost->Count});
  channel.LatestThen = channel.Latest;
}

/// Entries may be on their way for a while after their interface has gone: before they have come, it isn't known since when
/// something is missing.
void Recorder::NoteGone(RecordedChannel& channel, bool isGone) {
  const auto now = std::chrono::steady_clock::now();
  if (!isGone || channel.Latest != channel.LatestThen) channel.NewsCame = now;
  if (!isGone) return;
  if (!std::exchange(channel.IsGone, true)) {
    Progress.Clear();
    SayError(fmt::format(
        "The interface of channel {}, \"{}\", no longer answers; what comes over its bus from now on is missing",
        channel.Number, channel.Source));
  }
  if (now - channel.NewsCame > kLongestWay) AddGone(channel);
}

/// Everything is missing from the channel's last entry on up to now.
void Recorder::AddGone(RecordedChannel& channel) {
  if (channel.GoneTo == LatestTime) return;
  const unsigned long first = channel.Latest > 0 ? channel.Latest : FirstTime.value_or(0);
  channel.GoneTo = LatestTime;
  Losses.Add({channel.Number, LossCause::InterfaceGone, first, std::max(first, LatestTime), std::nullopt});
}

/// An interface that is gone can't be started again, and would keep the others from it.
void Recorder::RemoveGone() {
  for (size_t index = 0; index < Ports.size(); ++index)
    if (Ports[index].Status().Gone != 0) TraceMonitor.RemoveChannel(RecordedChannels[index].Number);
}

bool Recorder::AllGone() const {
  return std::all_of(Ports.begin(), Ports.end(), [](const Port& port) { return port.Status().Gone != 0; });
}

/// An interface that receives nothing is a loss, whether the bus was silent or not.
void Recorder::HeedNotice(RecordedChannel& channel, const Qor_Sim_Notice_t& notice) {
  if (channel.NoticesTold++ < kNoticesTold) {
    Progress.Clear();
    Say(fmt::format("{}: {}", FormatUtc(notice.Time), notice.Text));
  }
  if (notice.Kind == QOR_SIM_NOTICE_GONE && !channel.DeafSince) {
    channel.DeafSince = notice.Time;
    NoteDeaf(channel, notice.Time);
  } else if (notice.Kind == QOR_SIM_NOTICE_BACK && channel.DeafSince) {
    NoteDeaf(channel, notice.Time);
    channel.DeafSince.reset();
  }
}

void Recorder::NoteDeaf(const RecordedChannel& channel, unsigned long until) {
  const unsigned long since = channel.DeafSince.value_or(until);
  Losses.Add({channel.Number, LossCause::InterfaceGone, since, std::max(since, until), std::nullopt});
}

/// From here on everything is missing that the buses had for the recording.
void Recorder::NoteFullDisk() {
  for (const RecordedChannel& channel : RecordedChannels)
    Losses.Add({channel.Number, LossCause::DiskFull, LatestTime, LatestTime, std::nullopt});
}

void Recorder::TellKnown() {
  LossesTold = Losses.Changes();
  Tell(Describe());
}

unsigned long Recorder::Waiting() const {
  if (!Drained) return 0;
  const unsigned int delivered = Drained->Delivered();
  return std::max(Drained->EntryCount(), delivered) - delivered;
}

Description Recorder::Describe() const {
  Description description = Known;
  description.Losses = Losses.All();
  return description;
}

void Recorder::ShowProgress() {
  if (!Progress.IsDue()) return;
  const auto now = std::chrono::steady_clock::now();
  const std::chrono::duration<double> passed = now - RateSince;
  if (passed.count() >= 1 || RateFrom == 0) {
    Rate = passed.count() > 0 ? static_cast<double>(Entries - RateFrom) / passed.count() : 0;
    RateSince = now;
    RateFrom = Entries;
  }
  Progress.Show(
      fmt::format("{}  {} entries  {:.0f}/s  {} lost", FormatElapsed(TraceTime()), Entries, Rate, LostSoFar()));
}

}  // namespace client
