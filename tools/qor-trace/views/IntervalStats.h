// What came over each channel since the last look.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "stream/Description.h"
#include "stream/RecordSink.h"
#include "views/BusLoad.h"

namespace client {

/// What a recording's machine is doing, besides what came over the buses.
struct MachineState {
  unsigned long Elapsed = 0;               // ns of real time since the recording began
  unsigned long Waiting = 0;               // entries that are recorded and not in the outputs yet
  unsigned long Written = 0;               // bytes of all outputs so far
  unsigned long Deleted = 0;               // likewise, of files that were deleted for newer ones
  std::optional<unsigned long> Room = {};  // bytes, until the recording ends for want of room; nothing without outputs
};

/// Counts entries and, at each look, says what was added since the one before. All of them together are what Summary says of the
/// same entries.
///
/// Threads: one.
class IntervalStats : public RecordSink {
 public:
  explicit IntervalStats(const BitRates& rates = {}) : Bits(rates) {}

  [[nodiscard]] bool Take(const RecordView& record) override;

  /// Ends an interval and begins the next.
  /// @param losses  all of the recording, as Summary gets them
  void Look(const MachineState& machine, const std::vector<Loss>& losses);

  /// Of the interval that the last look has ended: the fields of an event.
  [[nodiscard]] nlohmann::json Json() const;
  /// The same as one line for people.
  [[nodiscard]] std::string Text() const;

 private:
  struct Channel {
    unsigned char BusType = 0;
    unsigned long Entries = 0;
    unsigned long Frames = 0;
    unsigned long Bytes = 0;  // of records
    unsigned long Errors = 0;
    unsigned long Overruns = 0;
    long Lost = 0;  // items
    BusLoad Load;
  };
  using Channels = std::map<unsigned int, Channel>;
  /// A moment of a look.
  struct Mark {
    unsigned long Elapsed = 0;
    unsigned long Written = 0;
  };

  void CountLosses(const std::vector<Loss>& losses);
  [[nodiscard]] std::optional<double> Load(const Channel& channel, size_t lane) const;
  [[nodiscard]] double WriteRate() const;
  [[nodiscard]] std::optional<unsigned long> SecondsLeft() const;
  [[nodiscard]] nlohmann::json ChannelJson(unsigned int number, const Channel& channel) const;

  const BitTimes Bits;
  Channels Current;                       // since the last look; those that have ever had an entry
  unsigned long Latest = 0;               // ns, greatest time of an entry
  std::optional<unsigned long> First;     // ns, smallest time
  std::map<unsigned int, long> LostTold;  // items, by channel

  // Of the interval that was ended.
  Channels Ended;
  unsigned long Index = 0;
  unsigned long From = 0;  // ns, the greatest time before it, or the smallest one at all
  unsigned long To = 0;    // ns, the greatest time
  MachineState Machine;
  Mark Before;  // the look before
};

}  // namespace client
