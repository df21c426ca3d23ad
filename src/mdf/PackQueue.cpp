#include "mdf/PackQueue.h"

#include <algorithm>

#include "internal/Threads.h"

namespace MDF {
namespace {

constexpr size_t kRoom = DataBlockDynamic::kCacheSize;
/// More than the headers of a block, a new list with the room that it grows in, and the gaps between them take.
constexpr unsigned long kAroundBlock = 1024;

}  // namespace

// Should a constructor that delegates to this one throw, the destructor ends the threads that it has started.
PackQueue::PackQueue(FileStream& stream, size_t blocks) : Stream(stream), Blocks(blocks) {
  for (Block& block : Blocks) {
    block.Data.Bytes = std::make_unique_for_overwrite<unsigned char[]>(kRoom);
    block.Data.Packed.Bytes = std::make_unique_for_overwrite<unsigned char[]>(kRoom);
  }
  ToPack.reserve(blocks);
}

PackQueue::PackQueue(unsigned int workers, FileStream& stream) : PackQueue(stream, 2 * size_t{workers} + 1) {
  Workers.reserve(workers);
  while (Workers.size() < workers) Workers.push_back(StartThread([this] { Work(); }));
}

PackQueue::~PackQueue() {
  {
    const MutexLock lock(MutexWork);
    Ending = true;
  }
  HasWork.notify_all();
  for (std::thread& worker : Workers) worker.join();
}

// --- the workers ---

void PackQueue::Work() {
  const MutexLock lock(MutexWork);
  while (true) {
    while (!Ending && ToPack.empty()) HasWork.wait(MutexWork);
    if (Ending) return;
    Block& block = *ToPack.front();
    ToPack.erase(ToPack.begin());
    ++BeingPacked;
    MutexWork.unlock();
    Pack(block);
    MutexWork.lock();
    --BeingPacked;
    HasDone.notify_one();
  }
}

void PackQueue::Pack(Block& block) {
  MDF::Pack(block.Data.Bytes.get(), block.Data.Size, block.Data.Most, block.Data.Packed);
  block.IsPacked = true;
}

// --- the owner ---

bool PackQueue::HandIn(Bus::ChannelGroup& group, DLBLOCK& list, uint64_t complete) {
  if (!Stream.is_open() || !Stream.good()) return false;
  if (Count == Blocks.size() && !PlaceFirst()) return false;
  Block& block = Blocks[(First + Count) % Blocks.size()];
  if (!list.Data_HandOver(block.Data)) return PlaceAll() && list.Write();
  block.Group = &group;
  block.List = &list;
  block.Complete = complete;
  block.IsPacked = false;
  ++Count;
  Stream.Written = true;  // as good as: who looks at the size of the file has to take MostBytes into account
  {
    const MutexLock lock(MutexWork);
    ToPack.push_back(&block);
  }
  HasWork.notify_one();
  return true;
}

/// Packs the block itself if no worker has come to it yet.
void PackQueue::AwaitPacked(Block& block) {
  {
    const MutexLock lock(MutexWork);
    const auto found = std::find(ToPack.begin(), ToPack.end(), &block);
    if (found == ToPack.end()) {
      while (!block.IsPacked) HasDone.wait(MutexWork);
      return;
    }
    ToPack.erase(found);
  }
  Pack(block);
}

bool PackQueue::PlaceFirst() {
  Block& first = Blocks[First];
  if (!first.IsPacked) AwaitPacked(first);
  if (!first.List->Write(first.Data)) return false;
  First = (First + 1) % Blocks.size();
  --Count;
  return !first.Group->Flushed_Look(first.Complete) || first.Group->CycleCount_Write(Stream);
}

bool PackQueue::PlaceAll() {
  while (!IsEmpty()) {
    if (!PlaceFirst()) return false;
  }
  return true;
}

void PackQueue::Discard() {
  const MutexLock lock(MutexWork);
  ToPack.clear();
  while (BeingPacked != 0) HasDone.wait(MutexWork);
  for (Block& block : Blocks) block.Data.Size = 0;
  Count = 0;
}

unsigned long PackQueue::MostBytes() const {
  unsigned long most = 0;
  for (size_t i = 0; i < Count; ++i) {
    most += CompressBound(Blocks[(First + i) % Blocks.size()].Data.Size) + kAroundBlock;
  }
  return most;
}

}  // namespace MDF
