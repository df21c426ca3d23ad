// Records played into a monitor once more, so that the library writes of them what it writes of a recording.
#ifndef QOR_TRACE_REPLAY_H
#define QOR_TRACE_REPLAY_H

#include <map>
#include <string>
#include <vector>

#include "recording/ReplayItems.h"
#include "recording/Session.h"
#include "recording/TraceDrain.h"

namespace client {

/// Fills a monitor with records: the same ones in the same order, only that their times are greater by `Shift`. What came
/// out is read back and compared, record by record.
///
/// A monitor with several channels sorts what comes by time; equal times keep the order in which they come. So records are
/// played in runs of ascending times, and within a run those that follow one of the same time on another channel
/// come later than that one. The sort stage begins to store a little behind the earliest time that it meets: a first entry of
/// time 0, on a channel of its own, and the shift keep it waiting until the run is complete. Exports from Shift on leave
/// that entry out.
///
/// Threads: one. Memory: some five times a run's records, which are at most 16 MiB; and the monitor's memory limit.
class Replay : public EntrySink {
 public:
  static constexpr unsigned long Shift = 1000000000000000;  // ns; far more than any replay of a run lasts

  /// @param swapParent   folder for the swap folder
  /// @param memoryLimit  entries
  Replay(const std::string& swapParent, unsigned int memoryLimit);

  /// Always true: records that no interface yields are counted, not played.
  /// Failure: Failure when the monitor gives something else than it got.
  bool Take(const unsigned char* record, unsigned int length) override;

  /// Plays what was held back. Failure: as Take.
  void Finish();

  /// Stopped, with all records that were played; whole after Finish.
  Monitor& Trace() { return TraceMonitor; }
  const SwapFolder& Folder() const { return Swap; }
  /// Records that can't be played: contradicting themselves, or of a channel number that isn't theirs alone.
  unsigned long Omitted() const { return OmittedRecords; }

 private:
  struct Channel {
    Port Interface;
    unsigned char BusType;
  };
  /// What may come in any order: responses by channel.
  using Wave = std::map<unsigned int, std::vector<PollResponse>>;

  Channel* ChannelOf(const EntryHeader& header);
  unsigned int WaveOf(const EntryHeader& header) const;
  void AddToWave(unsigned int wave, const EntryHeader& header);
  void PlayRun();
  void PlayWaves();
  void CheckRun();

  SwapFolder Swap;  // before the monitor, whose files are in it
  std::map<unsigned int, Channel> Channels;
  Port First;  // brings the first entry of each run
  Monitor TraceMonitor;
  TraceDrain Drained;
  const unsigned int FirstChannel;

  std::vector<unsigned char> Run;  // its records, one after the other
  std::vector<Wave> Waves;         // of the run
  EntryHeader Latest{};            // of the run's last record
  unsigned int LatestWave = 0;
  std::vector<unsigned char> Item;
  unsigned long PlayedRecords = 0;
  unsigned long OmittedRecords = 0;
};

}  // namespace client

#endif  // QOR_TRACE_REPLAY_H
