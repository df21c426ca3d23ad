// What was on each channel and bus, counted from the entries, and what is known to be missing.
#pragma once

#include <array>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "record/RecordKind.h"
#include "stream/Description.h"
#include "stream/Findings.h"
#include "stream/RecordSink.h"
#include "stream/UnreadLines.h"
#include "views/BusLoad.h"
#include "views/TimeText.h"

namespace client {

/// Times in ns, on the trace's clock.
struct TimeSpan {
  unsigned long First = 0;
  unsigned long Last = 0;
};

/// What is counted of a channel, and of all channels of a bus.
struct Counts {
  unsigned long Entries = 0;
  unsigned long Received = 0;                            // frames
  unsigned long Transmitted = 0;                         // likewise
  unsigned long FrameBytes = 0;                          // Ethernet: bytes of all frames, without their CRC
  std::array<unsigned long, kRecordKindCount> OfKind{};  // entries
  unsigned long Lost = 0;                                // items that are missing, as far as they are counted
  unsigned long Overruns = 0;                            // marks of the hardware: entries after which data were lost
  unsigned long Late = 0;                                // entries that came too late to be put in order

  [[nodiscard]] unsigned long Of(RecordKind kind) const { return OfKind[static_cast<size_t>(kind)]; }
  Counts& operator+=(const Counts& other);
};

struct ChannelSummary {
  std::string Source;
  std::optional<unsigned char> BusType;  // of its first entry
  Counts Counted;
  TimeSpan Times;         // of the entries, if there are any
  TimeSpan OverrunTimes;  // of the marks
  std::vector<Loss> Losses;
  BusLoad Load;
};

class Summary : public RecordSink {
 public:
  explicit Summary(const BitRates& rates = {}) : Rates(rates), Bits(rates) {}

  /// Names the source of a channel; entries of channels without a name are counted all the same.
  void NameChannel(unsigned int channel, std::string source);
  /// What is known to be missing; overrun marks are counted from the entries as well.
  void SetLosses(std::vector<Loss> losses);

  /// How the text shows times: s on the entries' own clock unless this is called.
  void SetTimes(TimeFormat format, const TimeBase& times);

  /// Loads refer to so much time, ns, in place of that from the first to the last entry: where most of that is in no output.
  void SetCovered(unsigned long time) { Covered = time; }

  void SetUnread(std::vector<UnreadLines> byFile) { Unread = std::move(byFile); }
  /// What an input held besides its records.
  /// @param input  as typed
  void SetFound(std::string input, Findings found);

  [[nodiscard]] bool Take(const RecordView& record) override;

  /// By number; also channels that are only named, or that lost everything.
  [[nodiscard]] const std::map<unsigned int, ChannelSummary>& All() const { return Channels; }
  [[nodiscard]] unsigned long Entries() const;
  [[nodiscard]] unsigned long Lost() const;
  /// Whether any of the input is known to be missing, or out of order.
  [[nodiscard]] bool Lossy() const;
  /// Whether a bus has entries.
  [[nodiscard]] bool Has(unsigned char busType) const;
  /// Smallest and greatest time of all entries; nothing without entries.
  [[nodiscard]] std::optional<TimeSpan> Times() const;
  /// What loads refer to, ns.
  [[nodiscard]] unsigned long Span() const;

  /// A few lines for people, each closed by a newline: the channels, the buses that have several, the bit rates of the
  /// loads.
  [[nodiscard]] std::string Text() const;
  /// An array with one object per channel.
  [[nodiscard]] nlohmann::json ChannelsJson() const;
  /// An array with one object per bus.
  [[nodiscard]] nlohmann::json BusesJson() const;
  /// An array with one object per loss.
  [[nodiscard]] nlohmann::json LossesJson() const;
  /// An array with one object per file.
  [[nodiscard]] nlohmann::json UnreadJson() const;
  /// An array with one object per finding.
  [[nodiscard]] nlohmann::json FoundJson() const;

 private:
  struct BusSummary {
    unsigned int Channels = 0;
    Counts Counted;
  };

  [[nodiscard]] std::map<unsigned char, BusSummary> Buses() const;

  const BitRates Rates;
  const BitTimes Bits;
  TimeFormat Format = TimeFormat::Relative;
  TimeBase Moment;
  std::optional<unsigned long> Covered;  // ns
  std::map<unsigned int, ChannelSummary> Channels;
  std::vector<Loss> Losses;
  std::vector<UnreadLines> Unread;
  std::string Input;  // that Found is of
  Findings Found;
  ChannelSummary* Latest = nullptr;  // of the entry before: mostly the next one is of the same channel
  unsigned int LatestChannel = 0;
};

}  // namespace client
