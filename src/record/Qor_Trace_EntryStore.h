// The trace in memory: a log of records in the order in which they were stored.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "internal/Span.h"
#include "qor_api_trace.h"
#include "record/Qor_Trace_Entry.h"
#include "record/RecordSegment.h"

/// A sequence of records that grows at its end and is dropped from its front.
///
/// The records lie back to back in segments that never move (RecordSegment.h), so that growing costs the same at any size, and
/// a copy (a snapshot for an export) shares the segments instead of the records: copying five million CAN frames copies
/// 150 pointers. A snapshot doesn't see what is appended to the original later.
///
/// Records dropped from the front of the oldest segment are freed together with the rest of it.
///
/// Threads: one writer at a time, under a lock of the owner; a snapshot taken under that lock may then be read by
/// another thread while the writer appends to the original. Don't append to both.
class Qor_Trace_EntryStore {
  struct Piece {
    std::shared_ptr<RecordSegment> Segment;
    size_t First;    // number of its first record that belongs to the sequence
    size_t Dropped;  // records before that one
  };

 public:
  /// Walks the records in their order. Valid as long as its sequence isn't changed.
  class const_iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Qor_Trace_Entry_t;
    using difference_type = std::ptrdiff_t;
    using pointer = const Qor_Trace_Entry_t*;
    using reference = const Qor_Trace_Entry_t&;

    reference operator*() const { return *reinterpret_cast<pointer>(Place); }
    pointer operator->() const { return &**this; }
    const_iterator& operator++() {
      Place += Padded((*this)->Length);
      if (++Number == PieceEnd && Number != Sequence->End) *this = Sequence->Find(Number);
      return *this;
    }
    const_iterator operator++(int) {
      const auto before = *this;
      ++*this;
      return before;
    }
    bool operator==(const const_iterator& other) const { return Number == other.Number; }
    /// Asks for the memory some records ahead, for walks that do next to nothing with each.
    void Prefetch() const { __builtin_prefetch(Place + kAhead); }

   private:
    friend class Qor_Trace_EntryStore;

    static constexpr size_t kAhead = 1024;  // bytes

    const Qor_Trace_EntryStore* Sequence = nullptr;
    size_t Number = 0;
    size_t PieceEnd = 0;  // number after the last record of the segment
    const unsigned char* Place = nullptr;
  };

  [[nodiscard]] size_t size() const { return End - Begin; }
  [[nodiscard]] size_t SegmentCount() const { return Pieces.size(); }
  [[nodiscard]] bool empty() const { return Begin == End; }

  /// The record at `index`, 0 being the oldest; index < size(). Its address is a multiple of 8.
  [[nodiscard]] const Qor_Trace_Entry_t& operator[](size_t index) const { return *Find(Begin + index); }
  /// A walk that begins at `index`, which may be size().
  [[nodiscard]] const_iterator From(size_t index) const { return Find(Begin + index); }
  [[nodiscard]] const_iterator begin() const { return From(0); }
  [[nodiscard]] const_iterator end() const { return From(size()); }

  /// Appends a copy of one record.
  /// @throws std::bad_alloc; the sequence is then as before.
  void Append(const Qor_Trace_Entry_t& record) {
    const unsigned int length = record.Length;
    if (Pieces.empty() || !RecordSegment::Holds(Used + Padded(length), CountInLast() + 1)) AddSegment();
    RecordSegment& segment = *Pieces.back().Segment;
    std::memcpy(segment.At(Used), &record, length);
    segment.OffsetOf(CountInLast()) = static_cast<unsigned int>(Used);
    Used += Padded(length);
    ++End;
  }
  void push_back(const std::shared_ptr<Qor_Trace_Entry>& entry) { Append(*entry->GetEntry()); }

  /// Appends records that lie one after the other, each at a multiple of 8 from the start of `bytes`.
  /// @param offsets  of the records in `bytes`, ascending
  /// @throws std::bad_alloc; the sequence then ends with as many of them as there was memory for.
  void Append(Span<const unsigned char> bytes, Span<const unsigned int> offsets) {
    while (!offsets.empty()) {
      const size_t count = CountThatFits(bytes.size(), offsets);
      const size_t end = count < offsets.size() ? offsets[count] : bytes.size();
      if (count == 0) {
        AddSegment();
      } else {
        CopyIn(bytes.first(end), offsets.first(count));
        offsets = offsets.subspan(count);
      }
    }
  }

  /// Removes the `count` oldest records; count <= size(). The segments that held nothing else are freed with the returned
  /// sequence, which lets the caller do that outside a lock; at once if memory is exhausted.
  [[nodiscard]] Qor_Trace_EntryStore DropOldest(size_t count) {
    Qor_Trace_EntryStore dropped;
    const auto whole = PieceOf(Begin + count) - Pieces.begin();
    try {
      dropped.Pieces.assign(Pieces.begin(), Pieces.begin() + whole);
    } catch (const std::bad_alloc&) {
    }
    Pieces.erase(Pieces.begin(), Pieces.begin() + whole);
    Begin += count;
    if (Pieces.empty()) return dropped;
    Pieces.front().Dropped += Begin - Pieces.front().First;
    Pieces.front().First = Begin;
    return dropped;
  }

  /// Puts what another sequence holds in front, as a copy would share it.
  /// @throws std::bad_alloc; the sequence is then as before.
  void Prepend(const Qor_Trace_EntryStore& front) {
    if (empty()) return static_cast<void>(*this = Qor_Trace_EntryStore(front));
    std::vector<Piece> all;
    all.reserve(front.Pieces.size() + Pieces.size());
    all.insert(all.end(), front.Pieces.begin(), front.Pieces.end());
    for (Piece& piece : Pieces)
      all.push_back({std::move(piece.Segment), piece.First + front.End - Begin, piece.Dropped});
    Pieces.swap(all);
    End += front.End - Begin;
    Begin = front.Begin;
  }

  /// Empties the sequence and returns what it held, for the same reason.
  [[nodiscard]] Qor_Trace_EntryStore TakeAll() { return std::exchange(*this, Qor_Trace_EntryStore()); }

  /// Where the next record begins after one of `length` bytes that begins at 0.
  [[nodiscard]] static constexpr size_t Padded(size_t length) { return (length + 7) & ~size_t{7}; }

 private:
  /// Records in the last segment.
  [[nodiscard]] size_t CountInLast() const { return End - Pieces.back().First + Pieces.back().Dropped; }
  /// How many of the records, which end at `end`, have a place in the last segment.
  [[nodiscard]] size_t CountThatFits(size_t end, Span<const unsigned int> offsets) const {
    if (Pieces.empty()) return 0;
    const size_t before = CountInLast();
    size_t count = offsets.size();
    while (count > 0 && !RecordSegment::Holds(Used + Padded(end - offsets[0]), before + count)) end = offsets[--count];
    return count;
  }
  void CopyIn(Span<const unsigned char> bytes, Span<const unsigned int> offsets) {
    RecordSegment& segment = *Pieces.back().Segment;
    const size_t first = offsets.front();
    std::memcpy(segment.At(Used), bytes.data() + first, bytes.size() - first);
    size_t number = CountInLast();
    for (const size_t offset : offsets) segment.OffsetOf(number++) = static_cast<unsigned int>(Used + offset - first);
    Used += Padded(bytes.size() - first);
    End += offsets.size();
  }
  void AddSegment() {
    const auto pages = Pieces.empty() ? RecordSegment::Pages::Small : RecordSegment::Pages::Huge;
    Pieces.push_back({std::make_shared<RecordSegment>(pages), End, 0});
    Used = 0;
  }
  /// The segment of a record, or the last one for the number after the last record.
  [[nodiscard]] std::vector<Piece>::const_iterator PieceOf(size_t number) const {
    const auto isBefore = [](size_t wanted, const Piece& piece) { return wanted < piece.First; };
    const auto behind = std::upper_bound(Pieces.begin(), Pieces.end(), number, isBefore);
    return behind == Pieces.begin() ? behind : std::prev(behind);
  }
  [[nodiscard]] const_iterator Find(size_t number) const {
    const_iterator found;
    found.Sequence = this;
    found.Number = number;
    if (number == End) return found;
    const auto piece = PieceOf(number);
    found.PieceEnd = std::next(piece) == Pieces.end() ? End : std::next(piece)->First;
    found.Place = piece->Segment->At(piece->Segment->OffsetOf(number - piece->First + piece->Dropped));
    return found;
  }

  std::vector<Piece> Pieces;
  size_t Begin = 0;  // number of the oldest record
  size_t End = 0;    // number after the newest one; records keep their numbers when older ones are dropped
  size_t Used = 0;   // bytes of the last segment that hold records
};
