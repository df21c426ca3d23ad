// The latest records of a stream.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "record/RecordView.h"
#include "stream/RingMemory.h"

namespace client {

struct RingPlan {
  static constexpr size_t kSmallest = 1ul << 20;
  static constexpr size_t kUsual = 1ul << 30;

  std::optional<unsigned long> Time = std::nullopt;  // ns; nothing: as far back as the size goes
  size_t Size = kUsual;                              // bytes, at least kSmallest
  std::string Folder = {};                           // of the file that it is in; empty: in memory
};

/// Keeps records until they are older than the newest one by more than the time, or the size is full.
///
/// Threads: one. Memory: the size; less as long as less is needed. Records lie in blocks, and with a full size all of the oldest
/// block are dropped together: the ring has at least fifteen sixteenths of its size.
class Ring {
 public:
  /// Failure: Failure when there is no room for it.
  explicit Ring(const RingPlan& plan);

  /// @return records that were dropped for it
  /// Failure: std::bad_alloc, for a record that no block can hold; then it isn't kept.
  [[nodiscard]] size_t Keep(const RecordView& record);
  /// Drops the oldest ones up to the first that isn't older than that, ns. @return how many
  [[nodiscard]] size_t DropBefore(unsigned long time);
  /// Drops all. @return how many
  size_t Clear();

  /// Calls with each record, oldest first; the ring keeps them.
  template <class Take>
  void ForEach(Take take) const {
    for (const Block& block : Blocks)
      for (size_t at = block.Begin; at < block.End;) {
        const unsigned int length = RecordView::LengthAt(block.Bytes + at);
        take(RecordView(block.Bytes + at, length));
        at += length;
      }
  }

  [[nodiscard]] bool Empty() const { return Blocks.empty(); }
  /// ns; of the newest record that was dropped since the last Clear because the size was full.
  [[nodiscard]] std::optional<unsigned long> DroppedForSize() const { return ForSize; }

 private:
  struct Block {
    unsigned char* Bytes = nullptr;
    size_t Capacity = 0;
    size_t Begin = 0;  // of the oldest record
    size_t End = 0;
    std::shared_ptr<unsigned char[]> Own = nullptr;  // of one that is larger than the others
  };

  [[nodiscard]] size_t MakeRoomFor(unsigned int length);
  [[nodiscard]] size_t AddLargeBlock(unsigned int length);
  [[nodiscard]] RecordView Oldest() const;
  void DropOldest();
  void DropForSize();
  [[nodiscard]] size_t DropOldestBlock();

  const std::optional<unsigned long> Time;
  const size_t BlockSize;
  const RingMemory Memory;
  std::vector<unsigned char*> Free;  // blocks
  std::deque<Block> Blocks;          // oldest first; none is empty
  size_t LargeBytes = 0;             // of those that have memory of their own
  unsigned long Newest = 0;          // ns
  std::optional<unsigned long> ForSize;
};

}  // namespace client
