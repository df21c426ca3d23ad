// One recording: ports, monitor, and the loop that drains it while it runs.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "recording/FirstArrival.h"
#include "recording/FirstEntries.h"
#include "recording/PortLosses.h"
#include "recording/Sources.h"
#include "recording/TraceDrain.h"
#include "recording/TraceHandles.h"
#include "stream/LossLedger.h"
#include "stream/SilentTime.h"
#include "system/Signals.h"
#include "system/Terminal.h"

namespace client {

struct RecordingOptions {
  /// For those who may run for weeks and need no trace: it is emptied before it fills the disk of the swap file.
  static constexpr unsigned long kLargestUnneededTrace = 1ul << 30;

  std::optional<unsigned long> Duration;       // ns of trace time, from the first entry on
  unsigned int MemoryLimit = 50000;            // entries
  std::string SwapParent;                      // folder for the swap folder
  bool TellsOfLeftOvers = true;                // what other recordings have left there
  std::vector<std::string> OutputFolders;      // whose disks are watched
  unsigned long MinFree = 0;                   // bytes: the recording ends before one of them has less
  bool Progress = false;                       // also shown without a terminal
  std::optional<unsigned long> FirstTime;      // when the first entry was, ns since 1970, in place of what is found out
  unsigned long LargestTrace = ~0ul;           // bytes: beyond that the trace is emptied, as nobody needs what is in it
  std::chrono::milliseconds PullInterval{50};  // between two looks at a trace that grows slowly
  std::function<bool()> NobodyReads;  // ends a recording whose sink has nothing to decline; null: somebody does
};

/// Called with what goes wrong during a recording, or why it ends; one sentence each.
using Complaint = std::function<void(const std::string& sentence)>;

/// Called when more is known of a recording: before its first entry is handed on, and after each loss.
using News = std::function<void(const Description& description)>;

/// Asked several times a second: whether somebody has all that they want.
using Enough = std::function<bool()>;

/// By which the time of a stream can be known while nothing comes.
/// @param window  ns for which records are held back to be put in order
[[nodiscard]] LiveTiming TimingOf(const std::vector<Source>& sources, unsigned long window);

/// Why a recording came to its end.
enum class End {
  SourcesEnded,
  InterfacesGone,  // all of them
  DurationReached,
  Interrupted,
  SinkClosed,
  DiskFull,
  RecordingFailed
};

/// The word for it in the JSON summary.
[[nodiscard]] const char* Word(End end);

/// A channel of a recording, and what the latest look for losses found.
struct RecordedChannel {
  unsigned int Number = 0;
  std::string Source;                                     // as typed
  PortLosses Lost = {};                                   // items that had found the capture buffer full
  unsigned long Latest = 0;                               // greatest time of its entries so far, ns
  unsigned long LatestThen = 0;                           // likewise, at that look
  bool IsGone = false;                                    // its interface answers nothing any more
  std::optional<unsigned long> GoneTo = std::nullopt;     // ns: up to there that is in the ledger
  std::chrono::steady_clock::time_point NewsCame = {};    // the latest look before which it had entries, or wasn't gone
  std::optional<unsigned long> DeafSince = std::nullopt;  // ns: its interface receives nothing since then
  unsigned int NoticesTold = 0;                           // of its interface
};

class Recorder {
 public:
  /// Opens everything; nothing is recorded yet.
  ///
  /// @param losses  gets what is lost, and is part of what is told; whoever else enters something is told of with it. Outlives this
  /// Failure: UsageError, Failure.
  Recorder(const RecordingOptions& options, const std::vector<Source>& sources, Signals& signals, LossLedger& losses);

  /// Records, handing every entry exactly once and in order to `sink`, until the sources have ended, the duration is
  /// over, a stop is requested, the sink declines an entry, has enough or is read by nobody, or a disk of the outputs is nearly full. The monitor is stopped
  /// afterwards. Once.
  ///
  /// When an interface is gone, the others go on. What of its channel is missing is a loss.
  ///
  /// When the swap folder is full, what is left of the trace is handed on and the trace is emptied. If there is still
  /// no room, entries stay in memory from then on.
  ///
  /// After RecordingFailed (the swap file could not be written after all, or memory is exhausted), entries that were not drained
  /// by then are left out: what the monitor still holds may repeat some.
  ///
  /// Failure: Failure when the monitor can't be started or read.
  End Run(
      RecordSink& sink, const Complaint& complain, const News& tell = [](const Description&) {},
      const Enough& enough = [] { return false; });

  /// What is known of the recording.
  [[nodiscard]] Description Describe() const;

  /// Entries in the trace that weren't handed on yet.
  [[nodiscard]] unsigned long Waiting() const;
  /// In the order of the sources.
  [[nodiscard]] const std::vector<RecordedChannel>& Channels() const { return RecordedChannels; }
  /// By file, of those that have any.
  [[nodiscard]] const std::vector<UnreadLines>& Unread() const { return UnreadOfFiles; }
  [[nodiscard]] Monitor& Trace() { return TraceMonitor; }

 private:
  [[nodiscard]] std::optional<End> Step(RecordSink& sink);
  [[nodiscard]] std::optional<End> CheckDisks(RecordSink& sink);
  void ChooseMemoryLimit();
  [[nodiscard]] bool TraceIsTooLarge() const;
  [[nodiscard]] unsigned long RoomForSwapping() const;
  [[nodiscard]] bool SwapFolderIsFull() const;
  void EmptyTrace(RecordSink& sink);
  bool Drain(RecordSink& sink);
  void DrainFirst(RecordSink& sink);
  void NoteArrival();
  void LearnClock();
  bool HandOn(RecordSink& sink, const RecordView& record);
  template <class Take>
  void Pull(Take take);
  void NoteEntry(const RecordView& record);
  void DrainRest(RecordSink& sink);
  [[nodiscard]] bool DurationIsOver() const;
  [[nodiscard]] unsigned long TraceTime() const;
  void StopMonitor();
  void NoteUnread(const Source& source, const Port& port);
  [[nodiscard]] bool AllFinished() const;
  [[nodiscard]] unsigned long LostSoFar() const;
  [[nodiscard]] RecordedChannel* ChannelOf(unsigned int number);
  void LookForLosses();
  void NoteLoss(RecordedChannel& channel, const Qor_Sim_Status_t& status);
  void NoteGone(RecordedChannel& channel, bool isGone);
  void AddGone(RecordedChannel& channel);
  void RemoveGone();
  [[nodiscard]] bool AllGone() const;
  void HeedNotice(RecordedChannel& channel, const Qor_Sim_Notice_t& notice);
  void NoteDeaf(const RecordedChannel& channel, unsigned long until);
  void NoteFullDisk();
  void TellKnown();
  void ShowProgress();

  const RecordingOptions Options;
  Signals& StopSignals;
  Complaint Complain;
  News Tell;
  Enough HasEnough;
  LossLedger& Losses;
  unsigned long LossesTold = 0;  // Changes() of the ledger then
  Description Known;             // but for the losses
  bool ClockIsKnown = false;
  SwapFolder Swap;  // before the monitor, whose files are in it
  std::vector<Port> Ports;
  std::vector<RecordedChannel> RecordedChannels;  // of the ports
  std::vector<UnreadLines> UnreadOfFiles;
  Monitor TraceMonitor;
  std::optional<TraceDrain> Drained;       // of the trace since it was emptied last
  std::optional<unsigned long> FirstTime;  // the smallest time of the entries so far, ns
  unsigned long LatestTime = 0;            // the greatest, ns
  unsigned long Entries = 0;               // so far
  unsigned long Bytes = 0;                 // of their records
  unsigned long BytesInTrace = 0;          // of those since the trace was emptied last
  bool InMemoryOnly = false;               // nothing is swapped
  LiveLine Progress;
  FirstEntries First;                               // until the clock is known
  double SlowestSpeed = 0;                          // trace seconds a second; 0 when a source goes as fast as it can
  double FastestSpeed = 0;                          // likewise
  FirstArrival Arrival;                             // as far as it is known
  std::chrono::steady_clock::time_point LastEmpty;  // the latest look at an empty trace
  std::chrono::steady_clock::time_point Started;
  std::chrono::steady_clock::time_point DisksChecked;
  std::chrono::steady_clock::time_point RateSince;
  unsigned long RateFrom = 0;  // entries at RateSince
  double Rate = 0;             // entries a second
  bool SinkIsClosed = false;
  bool Broken = false;  // RecordingFailed
};

}  // namespace client
