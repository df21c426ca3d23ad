// The queue of full data blocks that worker threads pack on their way to the file (not exported).
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

#include "internal/Mutex.h"
#include "mdf/Bus.h"
#include "mdf/FullBlock.h"

namespace MDF {

/// Full blocks of all groups of a file, in the order in which they are going to be in it.
///
/// Workers pack them and do nothing else. The file, the lists and the groups are the owner's: it writes a packed block when it
/// hands in or asks for another one, so the file is made by the same steps in the same order as without workers, and whatever
/// fails is told to the owner's call. A block that couldn't be written stays the first of the queue.
///
/// Memory: twice 2 MiB for each of 2 x workers + 1 blocks, and zlib's 268 KiB for each worker. All of the queue's own is taken by
/// the constructor; a worker without memory leaves its block unpacked, which then goes out as it is.
///
/// Threads: one at a time, the owner's. The workers take no signals.
class PackQueue {
 public:
  /// `stream`: the file that the lists write to; it must outlive all calls but the destructor, as must lists and groups
  /// that have blocks here.
  /// @throws std::bad_alloc, std::system_error when the system can't start a thread
  PackQueue(unsigned int workers, FileStream& stream);
  /// Drops what wasn't written. Waits for workers that are at it.
  ~PackQueue();
  PackQueue(const PackQueue&) = delete;
  PackQueue& operator=(const PackQueue&) = delete;

  /// Takes over what a list of the group has collected; see Bus::ChannelGroup::PutOut for `complete`. When the queue is
  /// full, this waits for the first block and writes it. False, and the list keeps its block, when that fails or the stream is
  /// closed or has failed.
  [[nodiscard]] bool HandIn(Bus::ChannelGroup& group, DLBLOCK& list, uint64_t complete);
  /// Writes the first block, if it is packed: one, so that no call takes long. False when that failed.
  [[nodiscard]] bool PlaceFinished() { return IsEmpty() || !Blocks[First].IsPacked || PlaceFirst(); }
  /// Waits for all blocks and writes them. False when that failed.
  [[nodiscard]] bool PlaceAll();
  /// Forgets all blocks.
  void Discard();

  [[nodiscard]] bool IsEmpty() const { return Count == 0; }
  /// The most that the file can grow by when all blocks are written.
  [[nodiscard]] unsigned long MostBytes() const;

 private:
  struct Block {
    FullBlock Data;
    Bus::ChannelGroup* Group = nullptr;
    DLBLOCK* List = nullptr;
    uint64_t Complete = 0;
    std::atomic<bool> IsPacked = false;  // set by a worker, for which Data is its own until then
  };

  explicit PackQueue(FileStream& stream, size_t blocks);
  [[nodiscard]] bool PlaceFirst();
  void AwaitPacked(Block& block);
  void Work();
  static void Pack(Block& block);

  FileStream& Stream;
  std::vector<Block> Blocks;  // a ring
  size_t First = 0;
  size_t Count = 0;

  Mutex MutexWork;                                     // nests in nothing
  std::vector<Block*> ToPack GUARDED_BY(MutexWork);    // in order; its memory is taken beforehand
  unsigned int BeingPacked GUARDED_BY(MutexWork) = 0;  // by workers
  bool Ending GUARDED_BY(MutexWork) = false;
  std::condition_variable_any HasWork;  // with MutexWork; for the workers
  std::condition_variable_any HasDone;  // with MutexWork; for the owner
  std::vector<std::thread> Workers;
};

}  // namespace MDF
