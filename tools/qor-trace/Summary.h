// What was on each channel, counted from the entries, and what is known to be missing.
#ifndef QOR_TRACE_SUMMARY_H
#define QOR_TRACE_SUMMARY_H

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "Entry.h"

namespace client {

/// Times in ns, on the trace's clock.
struct TimeSpan {
  unsigned long First = 0;
  unsigned long Last = 0;
};

struct ChannelSummary {
  std::string Source;
  unsigned long Entries = 0;
  unsigned long Received = 0;     // data and remote frames
  unsigned long Transmitted = 0;  // likewise
  unsigned long Errors = 0;       // error frames
  unsigned long Events = 0;       // trigger and user events
  TimeSpan Times;                 // of the entries, if there are any

  unsigned long Lost = 0;      // items that found the capture buffer full
  TimeSpan LostTimes;          // of the first and the last of them
  unsigned long Overruns = 0;  // marks of the hardware: entries after which data were lost
  TimeSpan OverrunTimes;
};

class Summary : public EntrySink {
 public:
  /// Names the source of a channel; entries of channels without a name are counted all the same.
  void NameChannel(unsigned int channel, std::string source);
  void SetLost(unsigned int channel, unsigned long count, TimeSpan times);

  bool Take(const unsigned char* record, unsigned int length) override;

  unsigned long Entries() const;
  unsigned long Lost() const;
  /// By channel.
  std::map<unsigned int, unsigned long> LostItems() const;
  /// Whether anything is known to be missing.
  bool Lossy() const;
  /// Smallest and greatest time of all entries; nothing without entries.
  std::optional<TimeSpan> Times() const;

  /// A few lines for people, each closed by a newline.
  std::string Text() const;
  /// An array with an object a channel.
  nlohmann::json Json() const;

 private:
  std::map<unsigned int, ChannelSummary> Channels;
  ChannelSummary* Latest = nullptr;  // of the entry before: mostly the next one is of the same channel
  unsigned int LatestChannel = 0;
};

}  // namespace client

#endif  // QOR_TRACE_SUMMARY_H
