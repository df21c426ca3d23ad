// What went on on the channels of a recording, over time.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "record/RecordKind.h"
#include "stream/RecordSink.h"
#include "views/BusLoad.h"
#include "views/Intervals.h"
#include "views/LoadCurve.h"
#include "views/TimeBins.h"

namespace client {

/// Entries of one kind.
struct KindPlaces {
  unsigned long Count = 0;
  unsigned long First = 0;  // ns, of the first one that came
  unsigned long Last = 0;   // likewise
};

/// A time without an entry that is long for its channel.
struct Silence {
  enum class Place { Between, AtBegin, AtEnd };  // of the channel's entries

  unsigned long From = 0;  // ns
  unsigned long To = 0;
  Place Where = Place::Between;

  bool operator==(const Silence&) const = default;
};

struct Silences {
  unsigned long Limit = 0;        // ns, what counts as one; 0: too few entries to say
  unsigned long Count = 0;        // all
  std::vector<Silence> All = {};  // the longest ones, by time
};

/// The bit rates of a channel, and whether anybody has said what they are.
struct ChannelRates {
  BitRates Rates = {};
  bool Assumed = true;
  bool DataAssumed = true;  // of CAN FD data
};
/// The rates of a channel of a bus.
using RatesOfChannel = std::function<ChannelRates(unsigned int channel, unsigned char busType)>;

struct ChannelActivity {
  explicit ChannelActivity(const ChannelRates& rates) : Known(rates), Bits(rates.Rates) {}

  ChannelRates Known;
  BitTimes Bits;
  unsigned char Bus = 0;                          // of its first record
  unsigned long First = 0;                        // ns, earliest entry
  unsigned long Last = 0;                         // latest one
  BusLoad Load = {};                              // of all the time
  std::array<LoadCurve, kMostLanes> Curves = {};  // over time
  TimeBins<unsigned long> Errors = {};            // entries
  TimeBins<unsigned long> Events = {};            // likewise: triggers and user events
  std::map<RecordKind, KindPlaces> ErrorKinds = {};
  Intervals Entries = {};
};

/// Takes what the channels did, and when.
///
/// Threads: one. Memory: bounded: kMost channels with as many bins and intervals as these units keep.
class ChannelTimes : public RecordSink {
 public:
  static constexpr size_t kMost = 256;
  static constexpr unsigned long kShortestSilence = 100 * kMillisecond;
  static constexpr unsigned long kSilenceFactor = 10;  // of what 99 in 100 intervals between entries don't exceed

  /// @param ratesOf  asked for each channel when its first entry comes
  explicit ChannelTimes(RatesOfChannel ratesOf) : RatesOf(std::move(ratesOf)) {}
  ChannelTimes(const ChannelTimes&) = delete;
  ChannelTimes& operator=(const ChannelTimes&) = delete;

  [[nodiscard]] bool Take(const RecordView& record) override;
  /// After the last record: all bins get the same width.
  void Finish();

  [[nodiscard]] const std::map<unsigned int, ChannelActivity>& All() const { return Channels; }
  /// Entries of channels that came when there were kMost already.
  [[nodiscard]] unsigned long FurtherEntries() const { return Further; }
  /// ns, of the earliest entry and of the latest one. 0 without an entry.
  [[nodiscard]] unsigned long First() const;
  [[nodiscard]] unsigned long Last() const;
  /// ns, when the last frame was over.
  [[nodiscard]] unsigned long End() const;
  /// ns, of all bins; after Finish.
  [[nodiscard]] unsigned long BinWidth() const;

  /// Silences at the begin and the end of the recording are among those of a channel.
  [[nodiscard]] Silences SilencesOf(const ChannelActivity& channel) const;

 private:
  [[nodiscard]] ChannelActivity* ChannelOf(const RecordView& record);

  const RatesOfChannel RatesOf;
  std::map<unsigned int, ChannelActivity> Channels;
  std::map<unsigned int, ChannelActivity>::iterator Latest = Channels.end();  // of the record before
  unsigned long Further = 0;
};

}  // namespace client
