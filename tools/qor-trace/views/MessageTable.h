// One row for each message of each channel.
#pragma once

#include <cstddef>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "stream/RecordSink.h"
#include "views/MessageRow.h"
#include "views/TimeText.h"

namespace client {

/// Counts the entries of each message and keeps the newest. What a message is, its bus decides (BusRows); entries of
/// different kinds, such as frames and error frames, are different messages. Malformed entries have no row.
class MessageTable : public RecordSink {
 public:
  /// @param mostRows  entries of further messages have no row
  explicit MessageTable(size_t mostRows = ~size_t{0}) : MostRows(mostRows) {}

  [[nodiscard]] bool Take(const RecordView& record) override;

  /// Replaces the newest entry of a message by a row of the monitor's list. Its cycle time is not taken: the list
  /// compares the newest entries of two polls, which are further apart when a message comes more than once in a poll.
  void SetNewest(const RecordView& record);

  /// For people: a heading for each bus, one line per row, long data cut short. Without any row, the CAN heading alone.
  [[nodiscard]] std::string Text(TimeFormat format = TimeFormat::Relative, const TimeBase& times = {}) const;
  /// An array with one object per row.
  [[nodiscard]] nlohmann::json Json(const TimeBase& times = {}) const;

  /// For those who count something of their own: the row of an entry, before it is counted. Null for one that has none.
  [[nodiscard]] MessageRow* RowOf(const RecordView& record);
  /// Counts an entry in its row.
  static void Count(const RecordView& record, MessageRow& row);

  /// In the order of the text; references to rows stay good.
  [[nodiscard]] const std::map<MessageKey, MessageRow>& All() const { return Rows; }
  /// Sets all counts to 0; the newest entries stay.
  void ResetCounts();

 private:
  static void Keep(const RecordView& record, MessageRow& row);

  size_t MostRows;
  std::map<MessageKey, MessageRow> Rows;
};

/// The rows of a monitor's list, for SetNewest.
class NewestEntries : public RecordSink {
 public:
  explicit NewestEntries(MessageTable& table) : Table(table) {}
  [[nodiscard]] bool Take(const RecordView& record) override {
    Table.SetNewest(record);
    return true;
  }

 private:
  MessageTable& Table;
};

}  // namespace client
