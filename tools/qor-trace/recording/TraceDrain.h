// Reads a monitor's whole trace while it grows: every entry exactly once, in order, whatever the memory limit.
//
//   TraceDrain drain(monitor);
//   while (recording) {
//     drain.Pull([](const RecordView& record) { ...; return true; });
//     wait a little;
//   }
//   Qor_Trace_Stop(monitor);
//   drain.PullAll(the same);
//
// It needs the C interface and the installed record/RecordView.h, nothing else; copy it into your own client if you like.
//
// Why there is more to it than counting indices up: N, the memory limit, is the number of entries at which the
// monitor moves its store to the swap file. Let S be the number of entries in the swap file (no call reports it) and
// M the number in memory, both as a caller finds them when no batch is just being stored. Then M < N, and S is
// either 0 or at least N. Qor_Trace_GetItems returns the entries from `start` on while start <= S. Beyond
// that it looks up number `start` of the store, although the store begins with entry S of the trace. While nothing
// is swapped that is the same thing. Once S >= N, a start beyond S is also beyond the M < N entries of the store,
// so the call returns nothing: never a wrong entry, but not the wanted one either. Hence two steps:
//
//   1. Ask for entry `next`. What comes is right.
//   2. Nothing came although the trace is longer: `next` is in memory, after the swapped entries. The greatest start
//      that returns an entry is S. Find it by bisection, read from there, leave out the first next - S entries.
//
// S only grows, and when it does it takes all of the store along, `next` included. So once S was found it holds
// until step 1 returns entries again, and a number that was S once may be used as a start forever.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "qor_api_trace.h"
#include "record/RecordView.h"

/// Reads one monitor. The monitor is started without QOR_TRACE_START_DISCARD_OLDEST, its memory limit stays as it is,
/// and the trace is not flushed meanwhile.
///
/// Threads: one thread at a time; the monitor may run.
/// Memory:  one buffer of `capacity` bytes. It grows when a single record is larger, and to what the store holds (fewer
///          than N records) when entries after the swapped ones are read: a limit of some ten thousands keeps it small.
class TraceDrain {
 public:
  /// Bytes of the largest entry of a well-behaved interface, rounded up to where the next record begins.
  static constexpr unsigned int kLargestRecord = 1568;

  explicit TraceDrain(unsigned int monitor, unsigned int capacity = 4u << 20)
      : Monitor(monitor), Buffer(std::max<size_t>(capacity / sizeof(unsigned long), 8)) {}

  /// Hands over the entries that arrived since the last pull, as many as one buffer takes.
  ///
  /// @param take  bool(const RecordView& record): called for each entry. Its bytes are 8-byte aligned and valid during the
  ///              call. False declines the entry: the pull ends, and the next one begins with it.
  /// @return      QOR_TRACE_STATUS_OK or a status of the interface; QOR_TRACE_STATUS_FILE_ERROR also for a record that
  ///              contradicts itself, as in a damaged swap file. Delivered() shows whether anything came.
  /// Failure:     std::bad_alloc when the buffer can't grow; what `take` throws. Nothing is skipped or repeated afterwards.
  template <class Take>
  [[nodiscard]] unsigned int Pull(Take&& take) {
    const unsigned int before = Next;
    const unsigned int status = PullByIndex(take);
    if (status != QOR_TRACE_STATUS_OK || Next != before || Declined) return status;
    if (EntryCount() == Next) return QOR_TRACE_STATUS_OK;
    return PullBehindSwapped(take);
  }

  /// Pulls until nothing comes any more. Meant for a stopped monitor; on a running one it may go on as long as
  /// entries arrive.
  template <class Take>
  [[nodiscard]] unsigned int PullAll(Take&& take) {
    for (;;) {
      const unsigned int before = Next;
      const unsigned int status = Pull(take);
      if (status != QOR_TRACE_STATUS_OK || Next == before || Declined) return status;
    }
  }

  /// Entries handed over so far; also the index of the next one.
  [[nodiscard]] unsigned int Delivered() const { return Next; }

  /// Entries in the trace; a snapshot that may be off while a batch is being stored. 0 without a monitor.
  [[nodiscard]] unsigned int EntryCount() const { return Number(QOR_TRACE_PROPERTY_ENTRY_COUNT); }

 private:
  [[nodiscard]] unsigned int Number(Qor_Trace_PropertyId_t id) const {
    unsigned char value[4] = {};
    unsigned int length = sizeof value;
    unsigned int number = 0;
    if (Qor_Trace_Property_GetById(Monitor, 0, id, &length, value) == QOR_TRACE_STATUS_OK)
      std::memcpy(&number, value, sizeof number);
    return number;
  }

  [[nodiscard]] unsigned int MemoryLimit() const { return std::max(Number(QOR_TRACE_PROPERTY_MAX_ENTRIES), 1u); }

  [[nodiscard]] unsigned int Capacity() const {
    return static_cast<unsigned int>(Buffer.size() * sizeof(unsigned long));
  }
  [[nodiscard]] unsigned char* Bytes() { return reinterpret_cast<unsigned char*>(Buffer.data()); }

  [[nodiscard]] bool Grow() {
    if (Buffer.size() >= kLargestBuffer) return false;
    Buffer.resize(std::min(Buffer.size() * 2, kLargestBuffer));
    return true;
  }

  // One call of the interface into the buffer. `Count` and `Size` say what came, also after
  // QOR_TRACE_STATUS_BUFFER_TOO_SMALL.
  [[nodiscard]] unsigned int Get(unsigned int start, unsigned int wanted) {
    Count = wanted;
    Size = Capacity();
    const unsigned int status = Qor_Trace_GetItems(Monitor, 0, start, &Count, &Size, Bytes());
    if (status != QOR_TRACE_STATUS_OK && status != QOR_TRACE_STATUS_BUFFER_TOO_SMALL) Count = Size = 0;
    return status;
  }

  // Step 1.
  template <class Take>
  [[nodiscard]] unsigned int PullByIndex(Take& take) {
    const unsigned int start = Next;
    unsigned int status = Get(start, std::max(Capacity() / kLargestRecord, 1u));
    while (status == QOR_TRACE_STATUS_BUFFER_TOO_SMALL && Count == 0 && Grow()) status = Get(start, 1);
    Declined = false;
    if (Count == 0) return status;
    if (start >= Swapped && start >= MemoryLimit()) {  // so S >= start, but by how much is open
      Swapped = start;
      SwappedIsExact = false;
    }
    return HandOver(0, status, take);
  }

  // Step 2.
  template <class Take>
  [[nodiscard]] unsigned int PullBehindSwapped(Take& take) {
    const unsigned int limit = MemoryLimit();
    // Nothing is swapped below the limit: the missing entries arrived after step 1. The next pull gets them.
    if (Next < limit) return QOR_TRACE_STATUS_OK;
    if (!SwappedIsExact) FindSwapped(limit);
    const unsigned int known = Next - Swapped;
    unsigned int status = Get(Swapped, 0);
    while (status == QOR_TRACE_STATUS_BUFFER_TOO_SMALL && Count <= known && Grow()) status = Get(Swapped, 0);
    if (Count <= known) return status;
    return HandOver(known, status, take);
  }

  // The greatest start that returns an entry. Entries that get swapped meanwhile only make the result too small,
  // which is as good a place to start from.
  void FindSwapped(unsigned int limit) {
    unsigned int low = std::max(Swapped, limit), high = Next;
    while (low < high) {
      const unsigned int middle = low + (high - low + 1) / 2;
      if (GivesEntry(middle))
        low = middle;
      else
        high = middle - 1;
    }
    Swapped = low;
    SwappedIsExact = true;
  }

  [[nodiscard]] bool GivesEntry(unsigned int start) {
    const unsigned int status = Get(start, 1);
    return Count == 1 || status == QOR_TRACE_STATUS_BUFFER_TOO_SMALL;
  }

  // Hands over what is in the buffer after its first `known` records.
  template <class Take>
  [[nodiscard]] unsigned int HandOver(unsigned int known, unsigned int status, Take& take) {
    Declined = false;
    unsigned int offset = 0;
    for (unsigned int index = 0; index < Count; ++index) {
      if (offset > Size || Size - offset < RecordView::kHeader) return QOR_TRACE_STATUS_FILE_ERROR;
      const unsigned int length = RecordView::LengthAt(Bytes() + offset);
      if (length < RecordView::kHeader || length > Size - offset) return QOR_TRACE_STATUS_FILE_ERROR;
      if (index >= known) {
        if (!take(RecordView(Bytes() + offset, length))) {
          Declined = true;
          return QOR_TRACE_STATUS_OK;
        }
        ++Next;
      }
      offset += (length + 7u) & ~7u;
    }
    // A full buffer is no failure here: the rest comes with the next pull.
    return status == QOR_TRACE_STATUS_BUFFER_TOO_SMALL ? QOR_TRACE_STATUS_OK : status;
  }

  static constexpr size_t kLargestBuffer = 0xFFFFFFF8u / sizeof(unsigned long);

  const unsigned int Monitor;
  std::vector<unsigned long> Buffer;  // of longs, so that records lie aligned
  unsigned int Count = 0;             // records in the buffer
  unsigned int Size = 0;              // bytes used by them
  unsigned int Next = 0;
  unsigned int Swapped = 0;     // a number that S has reached
  bool SwappedIsExact = false;  // it is S, unless entries were swapped after the last pull
  bool Declined = false;
};
