// Retrieval, flush and memory guard of a monitor.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "monitor/Qor_Trace.h"
#include "monitor/RecordBuffer.h"

// A start beyond the swapped entries begins at that index of the store itself, not after the swapped ones: clients
// rely on the interface as it is ("Reading it all" in the C header).
void Qor_Trace_Monitor::GetItems(unsigned int start, unsigned int* count, unsigned int* size, unsigned char* buffer) {
  MutexLock lock(MutexStore);
  const unsigned int wanted = *count;
  const unsigned int swapped = SwappedEntryCount;
  const auto inMemory = static_cast<unsigned int>(Store.size());
  RecordBuffer out(count, size, buffer);
  if (start > static_cast<unsigned long>(swapped) + inMemory) return;

  const unsigned int first = start <= swapped ? 0 : start;  // in the store
  const unsigned int swappedRecords = start < swapped ? swapped - start : 0;
  const unsigned int limit = wanted != 0 ? wanted : swappedRecords + inMemory - first;
  const unsigned int mostFromStore = limit - std::min(limit, swappedRecords);
  // None of the later ones under the indices of those that a file doesn't have.
  if (swappedRecords > 0 && !CopySwapped(start, limit, out)) return;
  CopyFrom(Store, first, mostFromStore, limit, out);
}

/// Copies up to `most` records from number `first` on, until the buffer holds `limit`.
void Qor_Trace_Monitor::CopyFrom(const Qor_Trace_EntryStore& records, unsigned int first, unsigned int most,
                                 unsigned int limit, RecordBuffer& out) {
  if (first >= records.size()) return;
  const auto end = records.end();
  for (auto entry = records.From(first); most > 0 && out.Count() < limit && entry != end; --most, ++entry) {
    entry.Prefetch();
    out.Add(*entry, 0);
  }
}

/// Copies the swapped entries from number `start` on, until the buffer holds `limit`. Returns false where the file ends early, or
/// holds no record.
bool Qor_Trace_Monitor::CopySwapped(unsigned int start, unsigned int limit, RecordBuffer& out) {
  const unsigned int inFile = InSwapFile();
  if (start < inFile && !CopyFromFile(start, inFile - start, limit, out)) return false;
  CopyFrom(Swapping, start < inFile ? 0 : start - inFile, limit, limit, out);
  return true;
}

/// Copies up to `records` entries of the swap file from number `start` on, in the same way.
bool Qor_Trace_Monitor::CopyFromFile(unsigned int start, unsigned int records, unsigned int limit, RecordBuffer& out) {
  MutexLock lock(MutexSwapFile);
  RecordFileReader reader = Swap.ReadFrom(start, std::min({records, limit, out.MostRecords()}));
  for (; records > 0 && out.Count() < limit; --records) {
    if (const Qor_Trace_Entry_t* const entry = reader.Peek()) {
      out.Add(*entry, 0);
      reader.Pass(*entry);
      continue;
    }
    const unsigned int length = reader.NextLength();  // of a record that is longer than a block
    if (length == 0) return false;
    unsigned char* record = out.Room(length);
    if (!reader.Read(record, length)) return false;
    std::memset(record + kEntryRelativeTimestamp, 0, sizeof(unsigned long));
    out.Placed(length);
  }
  return true;
}

void Qor_Trace_Monitor::GetListItems(unsigned int start, unsigned int* count, unsigned int* size,
                                     unsigned char* buffer) {
  MutexLock lock(MutexList);
  const unsigned int wanted = *count;
  const auto rows = static_cast<unsigned int>(List.size());
  RecordBuffer out(count, size, buffer);
  if (start > rows) return;
  const unsigned int limit = wanted != 0 && start + wanted <= rows ? wanted : rows - start;
  for (unsigned int row = start; row < rows && out.Count() < limit; ++row) {
    const Qor_Trace_Entry_t& entry = List[row];
    out.Add(entry, entry.RelativeTimestamp);
  }
}

void Qor_Trace_Monitor::FlushMonitorBuffer() {
  SortQueue::Runs arrived;  // all freed after the locks
  SortQueue queue;
  Qor_Trace_EntryStore store;
  Qor_Trace_EntryStore swapping;
  FileDescriptor swapFile;
  MutexLockBoth lock(MutexSortQueue, MutexStore);
  MutexLock swapLock(MutexSwapFile);
  arrived.swap(Arrived);
  std::swap(queue, Queue);
  store = Store.TakeAll();
  Unrecorded = 0;
  PublishEntryCount();
  swapFile = Swap.BeginAnew();
  ++Flushes;  // tells the thread that writes
  swapping = Swapping.TakeAll();
  SwappedEntryCount = 0;
  PublishEntryCount();
}

void Qor_Trace_Monitor::FlushListMonitorBuffer() {
  MessageList list;  // freed after the lock
  MutexLock lock(MutexList);
  std::swap(list, List);
  ListCount = 0;
}

Qor_Trace_EntryStore Qor_Trace_Monitor::CheckMemory() {
  ThrowSwapError();
  if (MaxEntriesInMemory > Store.size()) return {};
  if (!DiscardOldest) return SwapOut();
  auto dropped = Store.DropOldest(Store.size() / 2);
  PublishEntryCount();
  return dropped;
}

/// Makes the number of entries readable without a lock.
void Qor_Trace_Monitor::PublishEntryCount() {
  EntryCount = SwappedEntryCount + static_cast<unsigned int>(Store.size());
}
