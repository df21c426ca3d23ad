#include "monitor/MessageList.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t kFirstRows = 256;

std::unique_ptr<unsigned char[]> CopyOf(const Qor_Trace_Entry_t& record) {
  auto copy = std::make_unique_for_overwrite<unsigned char[]>(record.Length);
  std::memcpy(copy.get(), &record, record.Length);
  return copy;
}

const Qor_Trace_Entry_t& RecordAt(const std::unique_ptr<unsigned char[]>& bytes) {
  return *reinterpret_cast<const Qor_Trace_Entry_t*>(bytes.get());
}

}  // namespace

void MessageList::Update(EntryBatch& batch, const LatestByKey& latest) {
  for (const auto& [messageKey, offset] : latest) {
    Qor_Trace_Entry_t& newest = batch.At(offset);
    const unsigned long key = static_cast<unsigned long>(newest.ChannelId) << 32 | messageKey;
    if (Rows.size() == Rows.capacity()) MakeRoom();
    const unsigned int row = PlaceOf(key);
    if (row == 0) {
      Insert(key, newest);
    } else {
      Replace(Rows[row - 1], newest);
    }
  }
}

const Qor_Trace_Entry_t& MessageList::operator[](size_t index) {
  if (Ordered < Order.size()) {
    const auto isBefore = [this](unsigned int a, unsigned int b) { return Rows[a].Key < Rows[b].Key; };
    const auto added = Order.begin() + static_cast<std::ptrdiff_t>(Ordered);
    std::sort(added, Order.end(), isBefore);
    std::inplace_merge(Order.begin(), added, Order.end(), isBefore);
    Ordered = Order.size();
  }
  return RecordAt(Rows[Order[index]].Record);
}

unsigned int& MessageList::PlaceOf(unsigned long key) {
  const size_t last = Places.size() - 1;
  size_t at = static_cast<size_t>(key * 0x9E3779B97F4A7C15UL >> 32) & last;  // Fibonacci hashing
  while (Places[at] != 0 && Rows[Places[at] - 1].Key != key) at = (at + 1) & last;
  return Places[at];
}

void MessageList::Insert(unsigned long key, const Qor_Trace_Entry_t& first) {
  auto record = CopyOf(first);
  Order.push_back(static_cast<unsigned int>(Rows.size()));
  Rows.push_back({key, std::move(record), first.Length});
  PlaceOf(key) = static_cast<unsigned int>(Rows.size());
}

/// Sees to it that a new row needs no memory but its record's.
void MessageList::MakeRoom() {
  const size_t rows = std::max(kFirstRows, 2 * Rows.size());
  Order.reserve(rows);
  std::vector<unsigned int> places(2 * rows);
  Rows.reserve(rows);
  Places.swap(places);
  for (unsigned int row = 0; row < Rows.size(); ++row) PlaceOf(Rows[row].Key) = row + 1;
}

void MessageList::Replace(Row& row, Qor_Trace_Entry_t& newest) {
  const unsigned long cycleTime = newest.Timestamp - RecordAt(row.Record).Timestamp;
  if (row.Room < newest.Length) {
    row.Record = CopyOf(newest);
    row.Room = newest.Length;
  }
  newest.RelativeTimestamp = cycleTime;
  std::memcpy(row.Record.get(), &newest, newest.Length);
}
