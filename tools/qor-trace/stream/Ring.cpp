#include "stream/Ring.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace client {

namespace {

constexpr size_t kBlocks = 16;

}  // namespace

Ring::Ring(const RingPlan& plan)
    : Time(plan.Time),
      BlockSize(std::max(plan.Size, RingPlan::kSmallest) / kBlocks),
      Memory(BlockSize * kBlocks, plan.Folder) {
  // The first one is taken first, so that a ring that needs little touches little.
  for (size_t block = kBlocks; block > 0; --block) Free.push_back(Memory.Data() + (block - 1) * BlockSize);
}

size_t Ring::Keep(const RecordView& record) {
  const unsigned long time = record.Timestamp();
  Newest = Blocks.empty() ? time : std::max(Newest, time);
  size_t dropped = Time && Newest > *Time ? DropBefore(Newest - *Time) : 0;
  dropped += MakeRoomFor(record.Length());
  Block& block = Blocks.back();
  std::memcpy(block.Bytes + block.End, record.Bytes().data(), record.Length());
  block.End += record.Length();
  return dropped;
}

/// Makes sure that the last block has room for a record of this length. @return records that were dropped for it
size_t Ring::MakeRoomFor(unsigned int length) {
  if (!Blocks.empty() && Blocks.back().Capacity - Blocks.back().End >= length) return 0;
  if (length > BlockSize) return AddLargeBlock(length);
  const size_t dropped = Free.empty() ? DropOldestBlock() : 0;
  Blocks.push_back({Free.back(), BlockSize});
  Free.pop_back();
  return dropped;
}

/// For a record that is larger than any of a bus, which only a file can have.
size_t Ring::AddLargeBlock(unsigned int length) {
  Block block{nullptr, length};
  block.Own = std::make_shared<unsigned char[]>(length);
  block.Bytes = block.Own.get();
  size_t dropped = 0;
  for (; LargeBytes > 0 && LargeBytes + length > BlockSize * kBlocks; ++dropped) DropForSize();
  LargeBytes += length;
  Blocks.push_back(std::move(block));
  return dropped;
}

RecordView Ring::Oldest() const {
  const Block& block = Blocks.front();
  const unsigned char* const bytes = block.Bytes + block.Begin;
  return RecordView(bytes, RecordView::LengthAt(bytes));
}

void Ring::DropOldest() {
  Block& block = Blocks.front();
  block.Begin += RecordView::LengthAt(block.Bytes + block.Begin);
  if (block.Begin < block.End) return;
  if (block.Own)
    LargeBytes -= block.Capacity;
  else
    Free.push_back(block.Bytes);
  Blocks.pop_front();
}

/// One whose memory can be used again.
size_t Ring::DropOldestBlock() {
  size_t dropped = 0;
  for (; Free.empty(); ++dropped) DropForSize();
  return dropped;
}

void Ring::DropForSize() {
  ForSize = std::max(ForSize.value_or(0), Oldest().Timestamp());
  DropOldest();
}

size_t Ring::DropBefore(unsigned long time) {
  size_t dropped = 0;
  for (; !Blocks.empty() && Oldest().Timestamp() < time; ++dropped) DropOldest();
  return dropped;
}

size_t Ring::Clear() {
  size_t dropped = 0;
  for (; !Blocks.empty(); ++dropped) DropOldest();
  ForSize.reset();
  return dropped;
}

}  // namespace client
