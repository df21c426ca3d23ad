// What one poll has brought, as records side by side.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "qor_api_trace.h"
#include "record/ItemRecord.h"
#include "record/Qor_Trace_EntryStore.h"

/// The new entries of one poll of one channel. The records lie back to back in the order of arrival, each at a multiple of 8, and
/// are looked at in the order of their times once Sort has been called.
///
/// Emptied, it keeps its memory for the next poll. Threads: one at a time.
class EntryBatch {
 public:
  [[nodiscard]] bool empty() const { return Offsets.empty(); }
  [[nodiscard]] size_t size() const { return Offsets.size(); }

  /// Appends the record of an item (arguments as the constructors of Qor_Trace_Entry).
  /// @return its offset, for At
  /// @throws std::bad_alloc; the batch is then as before.
  template <class... Item>
  unsigned int Add(unsigned int channelId, Item... item) {
    const size_t size = Qor_Trace_EntryStore::Padded(item_record::LengthOf(item...));
    if (Capacity - Used < size) Grow(size);
    const auto offset = static_cast<unsigned int>(Used);
    Offsets.push_back(offset);
    std::memset(Memory.get() + Used + size - 8, 0, 8);  // what pads the record to a multiple of 8
    item_record::Put(At(offset), channelId, item...);
    Used += size;
    return offset;
  }

  /// Puts the records in the order of their times; equal times keep the order of arrival. Needs no memory.
  void Sort() {
    const auto isBefore = [this](unsigned int a, unsigned int b) {
      const unsigned long first = At(a).Timestamp;
      const unsigned long second = At(b).Timestamp;
      return first != second ? first < second : a < b;
    };
    InOrder = std::is_sorted(Offsets.begin(), Offsets.end(), isBefore);
    if (!InOrder) std::sort(Offsets.begin(), Offsets.end(), isBefore);
  }
  /// Marks the last record, in the order of times, as the last one before data were lost.
  void MarkOverrun() { item_record::MarkOverrun(At(Offsets.back())); }

  [[nodiscard]] Qor_Trace_Entry_t& At(unsigned int offset) {
    return *reinterpret_cast<Qor_Trace_Entry_t*>(Memory.get() + offset);
  }
  [[nodiscard]] const Qor_Trace_Entry_t& At(unsigned int offset) const {
    return *reinterpret_cast<const Qor_Trace_Entry_t*>(Memory.get() + offset);
  }
  /// The record at `index` in the order of times.
  [[nodiscard]] const Qor_Trace_Entry_t& operator[](size_t index) const { return At(Offsets[index]); }
  /// Bytes of all records, with what pads them.
  [[nodiscard]] size_t Bytes() const { return Used; }

  /// Copies all records back to back to `out` (Bytes() bytes), in the order of their times.
  void CopyTo(unsigned char* out) const {
    if (InOrder) return static_cast<void>(std::memcpy(out, Memory.get(), Used));
    for (const unsigned int offset : Offsets) {
      const size_t size = Qor_Trace_EntryStore::Padded(At(offset).Length);
      std::memcpy(out, &At(offset), size);
      out += size;
    }
  }
  /// Appends all records to a store, in the order of their times.
  /// @throws std::bad_alloc; as many as there was memory for are then in the store.
  void AppendTo(Qor_Trace_EntryStore& store) const {
    if (InOrder) return store.Append({Memory.get(), Used}, Offsets);
    for (const unsigned int offset : Offsets) store.Append(At(offset));
  }

  void clear() {
    Offsets.clear();
    Used = 0;
    InOrder = true;
  }

 private:
  /// Makes room for a record of `size` bytes.
  void Grow(size_t size) {
    constexpr size_t kFirst = 1024;
    const size_t capacity = std::max({kFirst, 2 * Capacity, Used + size});
    auto memory = std::make_unique_for_overwrite<unsigned char[]>(capacity);
    if (Used > 0) std::memcpy(memory.get(), Memory.get(), Used);
    Memory = std::move(memory);
    Capacity = capacity;
  }

  std::unique_ptr<unsigned char[]> Memory;
  size_t Capacity = 0;                // bytes
  size_t Used = 0;                    // bytes
  std::vector<unsigned int> Offsets;  // in the order of times once sorted
  bool InOrder = true;                // the records lie in the order of their times
};
