// The way of a full store to the swap file.
#include <new>
#include <system_error>

#include "internal/Threads.h"
#include "monitor/Qor_Trace.h"
#include "qor_api.h"

namespace {

constexpr size_t kPart = 1024 * 1024;  // bytes that are written while readers of the file wait

/// How many entries from number `first` on make up a part; at least one.
size_t PartFrom(const Qor_Trace_EntryStore& entries, size_t first) {
  size_t count = 0;
  size_t bytes = 0;
  for (auto entry = entries.From(first); entry != entries.end() && bytes < kPart; ++entry, ++count)
    bytes += entry->Length;
  return count;
}

}  // namespace

Qor_Trace_EntryStore Qor_Trace_Monitor::SwapOut() {
  if (Swapping.empty() && Store.SegmentCount() <= 1) return SwapAtOnce();
  SwapLater();
  return {};
}

Qor_Trace_EntryStore Qor_Trace_Monitor::SwapAtOnce() {
  MutexLock lock(MutexSwapFile);
  try {
    Swap.Append(Store, 0, Store.size(), SwappedEntryCount);
  } catch (...) {
    PublishEntryCount();
    throw;
  }
  return Store.TakeAll();
}

/// Hands the store over to the thread that writes. Then waits if that has two full stores to write: memory is limited. (Not
/// before: clients rely on a store that never holds more than its limit while others may look at it.)
void Qor_Trace_Monitor::SwapLater() {
  if (!SwapThreadRuns) StartSwapThread();
  const auto count = static_cast<unsigned int>(Store.size());
  Store.Prepend(Swapping);
  Swapping = Store.TakeAll();
  SwappedEntryCount += count;
  while (SwapThreadRuns && Swapping.size() / 2 >= MaxEntriesInMemory) SwapThreadEnds.wait(MutexStore);
  ThrowSwapError();
}

void Qor_Trace_Monitor::StartSwapThread() try {
  if (SwapThread.joinable()) SwapThread.join();  // it has nothing left to do
  SwapThread = StartThread([this] { SwapThreadFunction(); });
  SwapThreadRuns = true;
} catch (const std::system_error&) {
  throw std::bad_alloc();
}

unsigned int Qor_Trace_Monitor::InSwapFile() const {
  return SwappedEntryCount - static_cast<unsigned int>(Swapping.size());
}

void Qor_Trace_Monitor::ThrowSwapError() {
  if (!SwapError) return;
  const Qor_Trace_Exception error = *SwapError;  // a copy: it was reported when it was built
  SwapError.reset();
  throw Qor_Trace_Exception(error);
}

// ---- The thread that writes

void Qor_Trace_Monitor::SwapThreadFunction() {
  while (true) {
    Qor_Trace_EntryStore entries;  // both freed outside the locks
    Qor_Trace_EntryStore done;
    unsigned long flushes = 0;
    unsigned int written = 0;
    try {
      if (!NextToSwap(entries, flushes)) return;
      WriteSwapped(entries, flushes, written);
      done = EndSwap(entries.size(), flushes);
    } catch (const Qor_Trace_Exception& error) {
      UndoSwap(written, flushes, error);
    } catch (const std::bad_alloc&) {
      UndoSwap(written, flushes,
               Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_OUT_OF_MEMORY,
                                   "could not store received entries"));
    }
  }
}

/// Returns false if there is nothing to write, or nothing can be written.
bool Qor_Trace_Monitor::NextToSwap(Qor_Trace_EntryStore& entries, unsigned long& flushes) {
  MutexLock lock(MutexStore);
  if (Swapping.empty() || SwapError) {
    SwapThreadRuns = false;
    SwapThreadEnds.notify_all();
    return false;
  }
  MutexLock swapLock(MutexSwapFile);
  flushes = Flushes;
  entries = Swapping;
  return true;
}

/// Writes entries in parts, so that nobody waits long for the file, until a flush makes them needless.
void Qor_Trace_Monitor::WriteSwapped(const Qor_Trace_EntryStore& entries, unsigned long flushes,
                                     unsigned int& written) {
  for (size_t next = 0; next < entries.size();) {
    const size_t count = PartFrom(entries, next);
    MutexLock lock(MutexSwapFile);
    if (Flushes != flushes) return;
    Swap.Append(entries, next, count, written);
    next += count;
  }
}

/// The entries are in the file now. Returns what held them, to be freed outside the lock.
Qor_Trace_EntryStore Qor_Trace_Monitor::EndSwap(size_t count, unsigned long flushes) {
  MutexLock lock(MutexStore);
  MutexLock swapLock(MutexSwapFile);
  if (Flushes != flushes) return {};
  auto done = Swapping.DropOldest(count);
  SwapThreadEnds.notify_all();
  return done;
}

/// As many entries as are in the file count as swapped; all that should have got there are the oldest of the store again.
void Qor_Trace_Monitor::UndoSwap(unsigned int written, unsigned long flushes, const Qor_Trace_Exception& error) {
  MutexLock lock(MutexStore);
  MutexLock swapLock(MutexSwapFile);
  if (Flushes == flushes) {
    SwappedEntryCount += written;
    try {
      Store.Prepend(Swapping);
      SwappedEntryCount -= static_cast<unsigned int>(Swapping.size());
      Swapping = {};
    } catch (const std::bad_alloc&) {  // they stay on their way, and readable
    }
    PublishEntryCount();
  }
  SwapError = error;
}

void Qor_Trace_Monitor::WaitForSwap(std::optional<Qor_Trace_Exception>& error) {
  std::thread ended;
  {
    MutexLock lock(MutexStore);
    while (SwapThreadRuns) SwapThreadEnds.wait(MutexStore);
    ended.swap(SwapThread);
    if (SwapError) error = *SwapError;
    SwapError.reset();
  }
  if (ended.joinable()) ended.join();
}
