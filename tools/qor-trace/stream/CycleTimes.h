// The time between the entries of a message.
#pragma once

#include <map>
#include <optional>
#include <tuple>

#include "record/RecordView.h"

namespace client {

/// Knows when each message came last. Messages are those of the library's list: on CAN and LIN by identifier byte or word,
/// with its marker and parity bits, on FlexRay by slot, events by their own key; Ethernet has none.
class CycleTimes {
 public:
  /// @return  ns since the entry of the same message before this one, wrapped if that was later; 0 without one
  [[nodiscard]] unsigned long Next(const RecordView& record);

 private:
  using Key = std::tuple<unsigned int, unsigned char, unsigned int>;  // channel, bus, key of the message

  std::map<Key, unsigned long> Latest;  // ns
};

}  // namespace client
