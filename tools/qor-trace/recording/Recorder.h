// One recording: ports, monitor, and the loop that drains it while it runs.
#ifndef QOR_TRACE_RECORDER_H
#define QOR_TRACE_RECORDER_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "recording/Session.h"
#include "recording/Sources.h"
#include "recording/TraceDrain.h"
#include "system/Signals.h"
#include "system/Terminal.h"

namespace client {

struct RecordingOptions {
  std::optional<unsigned long> Duration;   // ns of trace time, from the first entry on
  unsigned int MemoryLimit = 50000;        // entries
  std::string SwapParent;                  // folder for the swap folder
  std::string LiveAsc;                     // path of a live ASC file; empty: none
  unsigned int LiveAscLimit = 0xFFFFFFFF;  // its size limit, bytes
};

/// Why a recording came to its end.
enum class End { SourcesEnded, DurationReached, Interrupted, SinkClosed, RecordingFailed };

/// The word for it in the JSON summary.
const char* Word(End end);

/// A channel of a recording, and its items that found the capture buffer full.
struct RecordedChannel {
  unsigned int Number = 0;
  std::string Source;  // as typed
  unsigned long Lost = 0;
  unsigned long FirstLost = 0;  // time of the first one, ns
  unsigned long LastLost = 0;   // likewise
};

class Recorder {
 public:
  /// Opens everything; nothing is recorded yet.
  ///
  /// Failure: UsageError, Failure.
  Recorder(const RecordingOptions& options, const std::vector<Source>& sources, Signals& signals);

  /// Records, handing every entry exactly once and in order to `sink`, until the sources have ended, the duration is
  /// over, a stop is requested, or the sink declines an entry. The monitor is stopped afterwards. Once.
  ///
  /// After RecordingFailed (the swap file or the live ASC file could not be written), entries that were not drained
  /// until then are left out: what the monitor holds may then repeat some.
  ///
  /// Failure: Failure when the monitor can't be started or read.
  End Run(EntrySink& sink);

  /// In the order of the sources. What they lost is known when Run has ended.
  const std::vector<RecordedChannel>& Channels() const { return RecordedChannels; }
  Monitor& Trace() { return TraceMonitor; }
  /// The sentence for a recording that did not end as it should; empty otherwise.
  const std::string& Error() const { return Sentence; }

 private:
  std::optional<End> Step(EntrySink& sink);
  bool Drain(EntrySink& sink);
  void NoteTime(unsigned long time);
  void DrainRest(EntrySink& sink);
  std::optional<End> EndIfDue(bool drained);
  bool DurationIsOver() const;
  unsigned long TraceTime() const;
  void StopMonitor();
  bool AllFinished() const;
  unsigned long LostSoFar() const;
  void CountLost();
  void ShowProgress();

  const RecordingOptions Options;
  Signals& StopSignals;
  SwapFolder Swap;  // before the monitor, whose files are in it
  std::vector<Port> Ports;
  std::vector<RecordedChannel> RecordedChannels;  // of the ports
  Monitor TraceMonitor;
  TraceDrain Drained;
  std::optional<unsigned long> FirstTime;  // the smallest time of the entries so far, ns
  unsigned long LatestTime = 0;            // the greatest, ns
  LiveLine Progress;
  double SlowestSpeed = 0;  // trace seconds a second; 0 when a source goes as fast as it can
  std::chrono::steady_clock::time_point Started;
  std::chrono::steady_clock::time_point RateSince;
  unsigned int RateFrom = 0;  // entries at RateSince
  double Rate = 0;            // entries a second
  bool SinkIsClosed = false;
  std::string Sentence;
};

}  // namespace client

#endif  // QOR_TRACE_RECORDER_H
