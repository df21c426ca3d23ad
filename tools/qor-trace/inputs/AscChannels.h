// Channel numbers of records, for logs that count those of each bus by themselves.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "stream/Description.h"

namespace client {

/// A recording has one row of channel numbers. A log of another tool may have a CAN channel 1 and a LIN channel 1: the one that
/// comes first keeps its number, the other one gets another, the same in every run.
class AscChannels {
 public:
  static constexpr unsigned int kGreatest = 0xFFFF;

  /// @param bus     Qor_Trace_BusType
  /// @param inFile  at most kGreatest
  unsigned int Of(unsigned char bus, unsigned int inFile) {
    if (!Latest || Latest->first != Key{bus, inFile}) Latest = Find({bus, inFile});
    return Latest->second;
  }
  /// Of an event whose line has none: the first CAN channel, or 1 as long as there isn't any.
  [[nodiscard]] unsigned int OfEvent() const { return FirstCan.value_or(1); }

  /// All so far, by number. Those with another number than in the file have the file's in their names: "LIN 1".
  [[nodiscard]] std::vector<ChannelDescription> Describe() const;

 private:
  using Key = std::pair<unsigned char, unsigned int>;  // bus, number in the file

  [[nodiscard]] std::pair<Key, unsigned int> Find(Key key);
  [[nodiscard]] unsigned int FreeNumber(Key key) const;

  std::optional<std::pair<Key, unsigned int>> Latest;
  std::map<Key, unsigned int> Known;
  std::set<unsigned int> Taken;
  std::optional<unsigned int> FirstCan;
};

}  // namespace client
