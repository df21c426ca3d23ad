// One row for each message of each channel.
#ifndef QOR_TRACE_MESSAGETABLE_H
#define QOR_TRACE_MESSAGETABLE_H

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>
#include <vector>

#include "Entry.h"

namespace client {

/// Counts the entries of each CAN message and keeps the newest. Messages differ by their identifier with its marker
/// bits: a standard and an extended frame of the same number are two, and so are a classic and an FD one.
class MessageTable : public EntrySink {
 public:
  bool Take(const unsigned char* record, unsigned int length) override;

  /// Replaces the newest entry of a message by a row of the monitor's list. Its cycle time is not taken: the list
  /// compares the newest entries of two polls, which lie further apart when a message comes more than once in a poll.
  void SetNewest(const unsigned char* record, unsigned int length);

  /// For people: a heading and a line a row.
  std::string Text() const;
  /// An array with an object a row.
  nlohmann::json Json() const;

 private:
  struct Row {
    unsigned long Count = 0;
    unsigned long Timestamp = 0;  // ns, of the newest entry
    unsigned long Cycle = 0;      // ns since the entry before; 0 for the first
    unsigned char Flags = 0;
    unsigned char Dlc = 0;
    std::vector<unsigned char> Data;
  };

  Row& RowOf(unsigned int channel, const CanEntry& can);

  std::map<std::pair<unsigned int, unsigned int>, Row> Rows;  // by channel and identifier with marker bits
};

/// The rows of a monitor's list, for SetNewest.
class NewestEntries : public EntrySink {
 public:
  explicit NewestEntries(MessageTable& table) : Table(table) {}
  bool Take(const unsigned char* record, unsigned int length) override {
    Table.SetNewest(record, length);
    return true;
  }

 private:
  MessageTable& Table;
};

}  // namespace client

#endif  // QOR_TRACE_MESSAGETABLE_H
