// A model of what a monitor holds and answers: plain vectors, and the rules of the interface written down a second
// time.
#pragma once

#include <algorithm>
#include <map>
#include <utility>

#include "support/MonitorItems.h"

namespace test {

constexpr unsigned char kUntouched = 0xEE;

/// What a retrieval returned.
struct Reply {
  unsigned int Code = 0;  // status
  unsigned int Count = 0;
  unsigned int Size = 0;
  Bytes Buffer;  // as large as the capacity; what was not written is 0xEE

  bool operator==(const Reply&) const = default;
};

/// The records that items of a channel become.
inline Items RecordsOf(unsigned int channel, const Items& items, Qor_Trace_BusType bus = BusType_Can) {
  Items records;
  for (const Bytes& item : items) records.push_back(RecordOf(bus, channel, item));
  return records;
}

/// The trace and the list of a monitor whose batches are stored as they come.
class TraceModel {
 public:
  unsigned int Limit = 0;      // entries in memory
  bool DiscardOldest = false;  // of the run

  /// Takes the items of one poll, at least one. Returns their records as they are stored, in the order of their times.
  Items Deliver(const Items& items, unsigned int channel = 1, Qor_Trace_BusType bus = BusType_Can) {
    DeliverToList(items, channel, bus);
    Items records = RecordsOf(channel, items, bus);
    std::stable_sort(records.begin(), records.end(), [](const Bytes& a, const Bytes& b) { return Time(a) < Time(b); });
    Memory.insert(Memory.end(), records.begin(), records.end());
    Guard();
    return records;
  }
  /// Takes the items of one poll to the list only: the last of each message in the order of their arrival becomes its row.
  void DeliverToList(const Items& items, unsigned int channel, Qor_Trace_BusType bus) {
    if (bus == BusType_Ethernet) return;
    std::map<RowKey, Bytes> latest;
    for (const Bytes& record : RecordsOf(channel, items, bus)) latest[{channel, Key(record)}] = record;
    for (auto& [key, record] : latest) {
      const auto before = Rows.find(key);
      if (before != Rows.end()) PutAt(record, 16, Time(record) - Time(before->second));
      Rows[key] = record;
    }
  }
  void Flush() { File.clear(), Memory.clear(); }
  void FlushList() { Rows.clear(); }

  [[nodiscard]] unsigned int Total() const { return static_cast<unsigned int>(File.size() + Memory.size()); }
  [[nodiscard]] unsigned int ListRows() const { return static_cast<unsigned int>(Rows.size()); }
  /// The records of the trace, all with a relative time of 0.
  [[nodiscard]] Items Trace() const {
    Items all = File;
    all.insert(all.end(), Memory.begin(), Memory.end());
    return all;
  }

  /// The answer to a retrieval from the trace, byte for byte.
  [[nodiscard]] Reply Get(unsigned int start, unsigned int wanted, unsigned int capacity) const {
    return start > Total() ? Placed({}, capacity) : Placed(Chosen(start, wanted), capacity);
  }
  /// The same from the list.
  [[nodiscard]] Reply GetList(unsigned int start, unsigned int wanted, unsigned int capacity) const {
    Items chosen;
    for (auto row = Rows.begin(); row != Rows.end(); ++row) chosen.push_back(row->second);
    chosen.erase(chosen.begin(), chosen.begin() + std::min<std::ptrdiff_t>(start, std::ssize(chosen)));
    if (wanted != 0 && chosen.size() > wanted) chosen.resize(wanted);
    return Placed(chosen, capacity);
  }

 private:
  using RowKey = std::pair<unsigned int, unsigned int>;  // channel, message key

  static constexpr unsigned int kTooSmall = QOR_TRACE_STATUS_BUFFER_TOO_SMALL;

  static unsigned long Time(const Bytes& record) { return ReadAt<unsigned long>(record, 8); }
  /// The message key of a frame's record.
  static unsigned int Key(const Bytes& record) {
    if (record[24] == BusType_Can) return ReadAt<unsigned int>(record, 36);
    return record[24] == BusType_Lin ? record[33] : ReadAt<unsigned short>(record, 42);
  }

  void Guard() {
    if (Memory.size() < Limit) return;
    if (DiscardOldest) {
      Memory.erase(Memory.begin(), Memory.begin() + std::ssize(Memory) / 2);
    } else {
      File.insert(File.end(), Memory.begin(), Memory.end());
      Memory.clear();
    }
  }
  /// The records that a retrieval is about. A start past the swapped entries counts from the first one in memory.
  [[nodiscard]] Items Chosen(unsigned int start, unsigned int wanted) const {
    Items chosen;
    if (start <= File.size()) {
      chosen.assign(File.begin() + start, File.end());
      chosen.insert(chosen.end(), Memory.begin(), Memory.end());
    } else if (start < Memory.size()) {
      chosen.assign(Memory.begin() + start, Memory.end());
    }
    if (wanted != 0 && chosen.size() > wanted) chosen.resize(wanted);
    return chosen;
  }
  /// The response buffer with as many of the records as fit.
  static Reply Placed(const Items& records, unsigned int capacity) {
    Reply answer{0, 0, 0, Bytes(capacity, kUntouched)};
    for (const Bytes& record : records) {
      const size_t end = (answer.Size + record.size() + 7) / 8 * 8;
      if (end > capacity) {
        answer.Code = kTooSmall;
        return answer;
      }
      std::copy(record.begin(), record.end(), answer.Buffer.begin() + answer.Size);
      answer.Size = static_cast<unsigned int>(end);
      ++answer.Count;
    }
    return answer;
  }

  Items File, Memory;
  std::map<RowKey, Bytes> Rows;
};

}  // namespace test
