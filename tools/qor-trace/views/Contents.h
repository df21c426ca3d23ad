// What a recording holds, counted.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <unordered_set>

#include "record/RecordView.h"
#include "stream/RecordSink.h"

namespace client {

/// Counts the records of each channel by kind, and how many messages they are of.
///
/// Threads: one. Memory: some bytes for each message: an identifier of CAN or LIN, a FlexRay slot, a pair of Ethernet addresses.
class Contents : public RecordSink {
 public:
  struct Channel {
    unsigned char Bus = 0;  // of its first record
    unsigned long Entries = 0;
    std::array<unsigned long, kRecordKindCount> Kinds = {};
    std::unordered_set<unsigned long> Messages = {};
  };

  Contents() = default;
  Contents(const Contents&) = delete;
  Contents& operator=(const Contents&) = delete;

  [[nodiscard]] bool Take(const RecordView& record) override;

  [[nodiscard]] const std::map<unsigned int, Channel>& Channels() const { return Known; }
  [[nodiscard]] unsigned long Entries() const { return Count; }
  /// ns, clock of the entries; of the earliest and the latest record, if there are any.
  [[nodiscard]] unsigned long First() const { return Earliest; }
  [[nodiscard]] unsigned long Last() const { return Latest; }

 private:
  std::map<unsigned int, Channel> Known;
  std::map<unsigned int, Channel>::iterator Newest = Known.end();  // of the record before
  unsigned long Count = 0;
  unsigned long Earliest = ~0ul;
  unsigned long Latest = 0;
};

}  // namespace client
