// When the messages of a recording came.
#pragma once

#include <cstddef>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "stream/RecordSink.h"
#include "views/Intervals.h"
#include "views/MessageRow.h"

namespace client {

/// Takes the times of each message. What a message is, its bus decides (BusRows), as in a MessageTable; malformed entries are
/// none.
///
/// Threads: one. Memory: kMost messages.
class MessageTimes : public RecordSink {
 public:
  static constexpr size_t kMost = 4096;

  /// Orders messages as a MessageTable does.
  struct Key {
    unsigned char Bus = 0;
    unsigned int Channel = 0;
    std::string Name = {};  // BusRows::KeyOf
    RecordKind Kind = RecordKind::Unknown;

    bool operator==(const Key&) const = default;
    bool operator<(const Key& other) const {
      return std::tie(Bus, Channel, Name, Kind) < std::tie(other.Bus, other.Channel, other.Name, other.Kind);
    }
  };
  struct Message {
    MessageRow Row = {};  // counts; its entry is the first one
    Intervals Cycles = {};
    bool Received = false;  // any entry of it
    bool Transmitted = false;
  };
  using Item = std::pair<const Key, Message>;

  [[nodiscard]] bool Take(const RecordView& record) override;

  /// Messages that are told apart.
  [[nodiscard]] size_t Count() const { return Messages.size(); }
  /// In the order of their keys.
  [[nodiscard]] std::vector<const Item*> All() const;
  /// Entries of messages that came when there were kMost already.
  [[nodiscard]] unsigned long FurtherEntries() const { return Further; }

 private:
  struct Hash {
    size_t operator()(const Key& key) const;
  };

  std::unordered_map<Key, Message, Hash> Messages;
  unsigned long Further = 0;
};

}  // namespace client
