// One trace monitor: the channels that feed it, the run that merges their entries, and what it holds.
#pragma once

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "channel/Qor_Trace_Channel.h"
#include "export/Qor_Trace_Export_ASC.h"
#include "internal/Mutex.h"
#include "internal/Qor_Trace_Exception.h"
#include "internal/Visibility.h"
#include "monitor/MessageList.h"
#include "monitor/PortsInUse.h"
#include "monitor/SortQueue.h"
#include "monitor/SwapFile.h"
#include "record/Qor_Trace_EntryStore.h"

class RecordBuffer;

/// The object behind a monitor handle. Statuses and texts of its exceptions are those of the C interface.
///
/// Where to look: registry, run and receive handler in Qor_Trace.cpp; retrieval, flush and memory guard in
/// Qor_Trace_Store.cpp; the way to the swap file in Qor_Trace_Swap.cpp; properties in Qor_Trace_Properties.cpp; exports in
/// Qor_Trace_Export.cpp.
///
/// Threads: every method may be called from any thread. Lock order, outermost first:
///   MutexChannels
///     MutexStore          sort pass, receive handler, retrieval, snapshot of an export
///       MutexSortQueue    sort pass, while it takes over the batches that have arrived
///       MutexSwapFile     retrieval, memory guard, snapshot
///     MutexSettings       nests nothing
///     PortsInUse          its mutex nests nothing
/// A flush takes MutexSortQueue and MutexStore together (by trying, so it can't deadlock with a sort pass), then
/// MutexSwapFile. The swap thread takes MutexSwapFile alone, or inside MutexStore. MutexList nests in no other buffer mutex and none nests in it. The receive and sort threads never
/// take MutexChannels, whose holder may be waiting for them to end.
class QOR_EXPORT Qor_Trace_Monitor {
 public:
  /// Draws the next handle and names the monitor's files by the current local time.
  Qor_Trace_Monitor();
  /// Stops the monitor, destroys its channels and entries and deletes the swap file. Errors were reported when they were
  /// built and are dropped here.
  ~Qor_Trace_Monitor();
  Qor_Trace_Monitor(const Qor_Trace_Monitor&) = delete;
  Qor_Trace_Monitor& operator=(const Qor_Trace_Monitor&) = delete;

  /// 1 for the first monitor of the process; never reused.
  [[nodiscard]] unsigned int GetHandle() const { return Handle; }

  // Registry.
  void AddChannel(unsigned int portHandle, unsigned int channelId, unsigned int* channelNumber);
  void RemoveChannel(unsigned int channelNumber);
  void ClearChannelList();
  /// Never waits for the monitor's other calls: a channel whose interface hangs holds nobody else up.
  [[nodiscard]] bool IsPortHandleUsed(unsigned int portHandle);

  // Run.
  void Start(unsigned int mode);
  void Stop();
  /// Body of the sort thread. An exception that leaves it ends the process.
  ///
  /// Each pass moves the horizon on by SortInterval of bus time. A sleep of that length and the pass take longer together,
  /// so passes come late. Once they are more than 200 ms late and the newest entry is more than 200 ms ahead of the horizon,
  /// the sleeps are short until one of the two no longer holds.
  void SortThreadFunction();

  // Retrieval.
  void GetItems(unsigned int start, unsigned int* count, unsigned int* size, unsigned char* buffer);
  void GetListItems(unsigned int start, unsigned int* count, unsigned int* size, unsigned char* buffer);
  void FlushMonitorBuffer();
  void FlushListMonitorBuffer();

  // Properties.
  void Property_GetById(unsigned int selector, Qor_Trace_PropertyId_t id, unsigned int* length, unsigned char* value);
  void Property_SetById(unsigned int selector, Qor_Trace_PropertyId_t id, unsigned int length,
                        const unsigned char* value);

  // Export.
  void ExportToASC(unsigned int flags, const char* fileName, unsigned long startTime, unsigned int maxSize);
  void ExportToPCAP(unsigned int flags, const char* fileName, unsigned long startTime);
  /// Does nothing: MDF files are written through MdfFile.
  void ExportToMDF();

 private:
  struct ChannelOnPort {
    PortsInUse::Claim Port;  // released last, after the interface is closed
    std::unique_ptr<Qor_Trace_Channel> Channel;
  };

  // Registry and run (Qor_Trace.cpp).
  [[nodiscard]] unsigned int ChooseChannelNumber(unsigned int portHandle, unsigned int channelId) const
      REQUIRES(MutexChannels);
  [[nodiscard]] static std::unique_ptr<Qor_Trace_Channel> NewChannel(unsigned int portHandle, unsigned int number);
  void DestroyChannels() REQUIRES(MutexChannels);
  void StartAscRecording() REQUIRES(MutexChannels);
  void StopLocked() REQUIRES(MutexChannels);
  [[nodiscard]] std::optional<Qor_Trace_Exception> StopChannels() REQUIRES(MutexChannels);
  void StoreLeftOvers(std::optional<Qor_Trace_Exception>& error);
  void CloseAscRecording(std::optional<Qor_Trace_Exception>& error);

  /// Takes a batch over; on the channel's receive thread.
  void ReceiveHandler(EntryBatch& entries, const LatestByKey& listEntries);
  [[nodiscard]] bool UpdateList(EntryBatch& entries, const LatestByKey& listEntries);
  void Enqueue(const EntryBatch& entries);
  void StoreBatch(const EntryBatch& entries);
  /// Calls `append`, which appends to the store, writes what is new there to the live ASC file and ends with the memory guard.
  /// Returns what that removed from the store, to be freed outside the lock.
  /// A live ASC file that fails is given up; its error is thrown at the end.
  /// @throws std::bad_alloc if `append` does: what it has appended is stored
  template <class Append>
  [[nodiscard]] Qor_Trace_EntryStore StoreBy(Append append) REQUIRES(MutexStore);
  [[nodiscard]] std::optional<Qor_Trace_Exception> RecordLive() REQUIRES(MutexStore);
  /// One pass of the sort thread: stores what is queued up to `horizon` (ns, included). When memory runs out, what isn't
  /// stored stays in the queue.
  void StoreQueued(unsigned long horizon);
  [[nodiscard]] std::optional<unsigned long> OldestQueued();
  [[nodiscard]] bool IsFarBehind(unsigned long horizon);
  /// Appends one entry that was made by itself.
  void StoreEntry(std::shared_ptr<Qor_Trace_Entry> entry) REQUIRES(MutexStore);

  // Store (Qor_Trace_Store.cpp).
  [[nodiscard]] Qor_Trace_EntryStore CheckMemory() REQUIRES(MutexStore);

  // Swapping out (Qor_Trace_Swap.cpp). A short store is written at once. A long one counts as swapped at once and stays readable
  // where it is, while a thread writes it that ends when there is nothing left to write.
  [[nodiscard]] Qor_Trace_EntryStore SwapOut() REQUIRES(MutexStore);
  [[nodiscard]] Qor_Trace_EntryStore SwapAtOnce() REQUIRES(MutexStore);
  void SwapLater() REQUIRES(MutexStore);
  void StartSwapThread() REQUIRES(MutexStore);
  /// Entries that have arrived in the swap file.
  [[nodiscard]] unsigned int InSwapFile() const REQUIRES(MutexStore);
  /// Throws the error of the thread that writes, if it has had one that nobody knows of.
  void ThrowSwapError() REQUIRES(MutexStore);
  void SwapThreadFunction();
  [[nodiscard]] bool NextToSwap(Qor_Trace_EntryStore& entries, unsigned long& flushes);
  void WriteSwapped(const Qor_Trace_EntryStore& entries, unsigned long flushes, unsigned int& written);
  [[nodiscard]] Qor_Trace_EntryStore EndSwap(size_t count, unsigned long flushes);
  void UndoSwap(unsigned int written, unsigned long flushes, const Qor_Trace_Exception& error);
  /// Returns when nothing is being written any more.
  void WaitForSwap(std::optional<Qor_Trace_Exception>& error);

  void PublishEntryCount() REQUIRES(MutexStore);
  [[nodiscard]] bool CopySwapped(unsigned int start, unsigned int limit, RecordBuffer& out) REQUIRES(MutexStore);
  [[nodiscard]] bool CopyFromFile(unsigned int start, unsigned int records, unsigned int limit, RecordBuffer& out)
      REQUIRES(MutexStore);
  static void CopyFrom(const Qor_Trace_EntryStore& records, unsigned int first, unsigned int most, unsigned int limit,
                       RecordBuffer& out);

  // Properties (Qor_Trace_Properties.cpp).
  [[nodiscard]] unsigned int Number(Qor_Trace_PropertyId_t id) const;
  void SetNumber(Qor_Trace_PropertyId_t id, unsigned int value);
  [[nodiscard]] std::string& Text(Qor_Trace_PropertyId_t id) REQUIRES(MutexSettings);

  std::atomic<bool> Running = false;
  std::atomic<bool> Sorting = false;  // the running channels deliver to the sort queue; set before they start
  bool AscRecording GUARDED_BY(MutexStore) = false;
  bool Reserved GUARDED_BY(MutexStore) = false;  // cleared with the flags around it; nothing sets it
  bool DiscardOldest GUARDED_BY(MutexStore) = false;
  Mutex MutexChannels;
  Mutex MutexSortQueue;
  Mutex MutexList;
  Mutex MutexStore;
  Mutex MutexSwapFile;
  Mutex MutexSettings;
  PortsInUse Ports;
  std::map<unsigned int, ChannelOnPort> Channels GUARDED_BY(MutexChannels);
  SortQueue::Runs Arrived GUARDED_BY(MutexSortQueue);  // on their way to the queue
  SortQueue Queue GUARDED_BY(MutexStore);
  MessageList List GUARDED_BY(MutexList);
  Qor_Trace_EntryStore Store GUARDED_BY(MutexStore);
  size_t Unrecorded GUARDED_BY(MutexStore) = 0;  // newest entries of the store that aren't in the live ASC file yet
  std::thread SortThread GUARDED_BY(MutexChannels);
  const unsigned int SortInterval = 50;                       // ms
  std::atomic<unsigned int> MaxEntriesInMemory = 0;           // written under MutexStore
  unsigned int SwappedEntryCount GUARDED_BY(MutexStore) = 0;  // in the swap file, and on their way there
  Qor_Trace_EntryStore Swapping GUARDED_BY(MutexStore);       // the newest of them, which aren't all in the file yet
  std::thread SwapThread GUARDED_BY(MutexStore);
  bool SwapThreadRuns GUARDED_BY(MutexStore) = false;
  std::condition_variable_any SwapThreadEnds;  // with MutexStore; it has written something, or ends
  std::optional<Qor_Trace_Exception> SwapError GUARDED_BY(MutexStore);
  unsigned long Flushes GUARDED_BY(MutexSwapFile) = 0;
  std::atomic<unsigned int> EntryCount = 0;  // swapped and stored; written under MutexStore
  std::atomic<unsigned int> ListCount = 0;   // written under MutexList
  const std::string FileNameStem;
  SwapFile Swap GUARDED_BY(MutexSwapFile);
  std::unique_ptr<Qor_Trace_Export_ASC> AscExporter GUARDED_BY(MutexStore);
  std::string AscFileName GUARDED_BY(MutexSettings);
  std::atomic<unsigned int> AscMaxFileSize = 524288000;  // bytes
  std::string MdfFileName GUARDED_BY(MutexSettings);
  std::atomic<unsigned int> MdfMaxFileSize = 0x200000;  // bytes
  std::string FileInfoText1 GUARDED_BY(MutexSettings);
  std::string FileInfoText2 GUARDED_BY(MutexSettings);
  std::string FileInfoText3 GUARDED_BY(MutexSettings);
  std::string FileInfoText4 GUARDED_BY(MutexSettings);
  const unsigned int Handle;
};
