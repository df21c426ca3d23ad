#include "stream/Reorder.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace client {

namespace {

constexpr size_t kBlockSize = 256u << 10;  // bytes; a block with a longer record is as long as that

}  // namespace

bool Reorder::Take(const RecordView& record) {
  if (Declined) return false;
  TakenSincePause = true;
  if (record.Timestamp() < HandedOver) return PassLate(record);
  Hold(record);
  return HandOverDue();
}

bool Reorder::PassLate(const RecordView& record) {
  Declined = !Next.Take(record);
  const unsigned long time = record.Timestamp();
  Ledger.Add({record.ChannelId(), LossCause::Reordering, time, time, 1});
  return !Declined;
}

/// Makes sure that the last block has room for a record of this length.
void Reorder::MakeRoomFor(unsigned int length) {
  if (!Blocks.empty() && Blocks.back().Bytes.size() + length <= kBlockSize) return;
  Blocks.emplace_back();
  Blocks.back().Bytes.reserve(std::max<size_t>(kBlockSize, length));
}

/// Frees the bytes of a record. The last block is kept for further ones.
void Reorder::Free(const Held& held) {
  HeldBytes -= held.Length;
  if (--held.Place->Waiting > 0) return;
  if (held.Place == std::prev(Blocks.end()))
    held.Place->Bytes.clear();
  else
    Blocks.erase(held.Place);
}

void Reorder::Hold(const RecordView& record) {
  MakeRoomFor(record.Length());
  Block& block = Blocks.back();
  const Held held{record.Timestamp(), Taken++, std::prev(Blocks.end()), static_cast<unsigned int>(block.Bytes.size()),
                  record.Length()};
  block.Bytes.insert(block.Bytes.end(), record.Bytes().begin(), record.Bytes().end());
  ++block.Waiting;
  HeldBytes += held.Length;
  Newest = std::max(Newest, held.Time);
  if (InOrder.empty() || held.Time >= InOrder.back().Time)
    InOrder.push_back(held);
  else
    Stragglers.push(held);
}

bool Reorder::OldestIsStraggler() const {
  return !Stragglers.empty() && (InOrder.empty() || InOrder.front() > Stragglers.top());
}

/// False when the next sink declines.
bool Reorder::HandOverDue() {
  while (!InOrder.empty() || !Stragglers.empty()) {
    const unsigned long oldest = OldestIsStraggler() ? Stragglers.top().Time : InOrder.front().Time;
    if (Newest - oldest < Window && HeldBytes <= Limit) return true;
    if (!HandOverOldest()) return false;
  }
  return true;
}

bool Reorder::HandOverOldest() {
  const bool straggler = OldestIsStraggler();
  const Held held = straggler ? Stragglers.top() : InOrder.front();
  if (!Next.Take(RecordView(held.Place->Bytes.data() + held.Offset, held.Length))) Declined = true;
  if (straggler)
    Stragglers.pop();
  else
    InOrder.pop_front();
  HandedOver = std::max(HandedOver, held.Time);
  Free(held);
  return !Declined;
}

void Reorder::Pause() {
  if (std::exchange(TakenSincePause, false))
    LastTaken = Now();
  else if (Now() - LastTaken >= kLongestSilence)
    Finish();
  Next.Pause();
}

void Reorder::Finish() {
  while (!InOrder.empty() || !Stragglers.empty()) HandOverOldest();
}

}  // namespace client
