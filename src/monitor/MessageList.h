// The list: the newest entry of each message.
#pragma once

#include <memory>
#include <vector>

#include "channel/LatestByKey.h"
#include "record/EntryBatch.h"

/// A row per message (channel number and message key), each with a record of its own, so that it outlives the trace.
///
/// Rows are found by an open table that is at most half full. Threads: the owner locks.
class MessageList {
 public:
  [[nodiscard]] size_t size() const { return Rows.size(); }

  /// Makes the newest entries of a batch the rows of their messages. The relative timestamp of an entry that replaces another
  /// one becomes the time since that one, the cycle time, in the batch as in the list.
  /// @throws std::bad_alloc; each row is then as before or up to date.
  void Update(EntryBatch& batch, const LatestByKey& latest);

  /// The row at `index` in the order of channel numbers, then message keys; index < size().
  [[nodiscard]] const Qor_Trace_Entry_t& operator[](size_t index);

 private:
  struct Row {
    unsigned long Key;  // channel number, message key
    std::unique_ptr<unsigned char[]> Record;
    unsigned int Room;  // bytes of Record
  };

  /// The place of a key, or the free one for it.
  [[nodiscard]] unsigned int& PlaceOf(unsigned long key);
  void Insert(unsigned long key, const Qor_Trace_Entry_t& first);
  void MakeRoom();
  static void Replace(Row& row, Qor_Trace_Entry_t& newest);

  std::vector<Row> Rows;             // in the order of their first entries
  std::vector<unsigned int> Places;  // row number + 1, or 0 for a free one; a power of two of them
  std::vector<unsigned int> Order;   // row numbers, the first `Ordered` of them in the order of their keys
  size_t Ordered = 0;
};
