// The trace in memory: shared entries in the order in which they were stored.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

class Qor_Trace_Entry;

/// A sequence of shared entries that grows at its end and is dropped from its front.
///
/// It is cut into segments that never move once made, so that growing costs the same at any size, and a copy
/// (a snapshot for an export) shares the segments instead of the entries: copying five million entries copies about
/// 1200 pointers. A snapshot doesn't see what is appended to the original later.
///
/// Entries dropped from the front of the oldest segment are freed together with the rest of it.
///
/// Threads: one writer at a time, under a lock of the owner; a snapshot taken under that lock may then be read by
/// another thread while the writer appends to the original. Don't append to both.
class Qor_Trace_EntryStore {
 public:
  using EntryPtr = std::shared_ptr<Qor_Trace_Entry>;

  [[nodiscard]] size_t size() const { return End - Begin; }
  [[nodiscard]] bool empty() const { return Begin == End; }

  /// The entry at `index`, 0 being the oldest; index < size().
  [[nodiscard]] const EntryPtr& operator[](size_t index) const {
    const size_t place = Begin + index;
    return (*Segments[place / kSegment])[place % kSegment];
  }

  /// @throws std::bad_alloc; the sequence is then as before.
  void push_back(EntryPtr entry) {
    if (End == Segments.size() * kSegment) Segments.push_back(std::make_shared<Segment>());
    (*Segments[End / kSegment])[End % kSegment] = std::move(entry);
    ++End;
  }

  /// Removes the `count` oldest entries; count <= size(). What they held is freed with the returned sequence, which
  /// lets the caller do that outside a lock.
  /// @throws std::bad_alloc; the sequence is then as before.
  [[nodiscard]] Qor_Trace_EntryStore DropOldest(size_t count) {
    Qor_Trace_EntryStore dropped;
    const auto whole = static_cast<std::ptrdiff_t>((Begin + count) / kSegment);
    dropped.Segments.assign(Segments.begin(), Segments.begin() + whole);
    Segments.erase(Segments.begin(), Segments.begin() + whole);
    Begin += count;
    Begin -= static_cast<size_t>(whole) * kSegment;
    End -= static_cast<size_t>(whole) * kSegment;
    return dropped;
  }

  /// Empties the sequence and returns what it held, for the same reason.
  [[nodiscard]] Qor_Trace_EntryStore TakeAll() { return std::exchange(*this, Qor_Trace_EntryStore()); }

 private:
  static constexpr size_t kSegment = 4096;
  using Segment = std::array<EntryPtr, kSegment>;

  std::vector<std::shared_ptr<Segment>> Segments;
  size_t Begin = 0;  // place of the oldest entry, counted from the first segment's first
  size_t End = 0;    // place after the newest
};
