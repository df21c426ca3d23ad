#include "Inbox.h"

#include <algorithm>
#include <utility>

namespace qor_linux {

using qor_sim::Lock;

void Inbox::Offer(const qor_sim::Item& item) {
  const Lock lock(Guard);
  Buffer.Offer(item);
  Latest = std::max(Latest, item.Timestamp);
  ++Offered;
}

void Inbox::NoteDropped(uint64_t count, uint64_t before) {
  if (count == 0) return;
  const Lock lock(Guard);
  if (Dropped == 0) FirstDropped = Latest != 0 ? std::min(Latest, before) : before;
  LastDropped = std::max(LastDropped, before);
  Dropped += count;
  Offered += count;
}

void Inbox::Tell(qor_sim::Notice notice) {
  const Lock lock(Guard);
  Told.Add(std::move(notice));
}

bool Inbox::MoveTo(qor_sim::ResponseWriter& response) {
  const Lock lock(Guard);
  for (const qor_sim::Item* item = Buffer.Front(); item != nullptr; item = Buffer.Front()) {
    if (!response.Add(item->Bytes)) return response.ItemCount() > 0;
    Buffer.Pop();
    ++Delivered;
  }
  return true;
}

Qor_Sim_Status_t Inbox::Status() {
  const Lock lock(Guard);
  Qor_Sim_Status_t status{};
  status.Offered = Offered;
  status.Delivered = Delivered;
  status.Lost = Buffer.Lost() + Dropped;
  const bool both = Buffer.Lost() > 0 && Dropped > 0;
  status.FirstLostTime =
      both ? std::min(FirstDropped, Buffer.FirstLostTime()) : std::max(FirstDropped, Buffer.FirstLostTime());
  status.LastLostTime = std::max(LastDropped, Buffer.LastLostTime());
  status.Buffered = static_cast<unsigned int>(Buffer.Size());
  return status;
}

qor_sim::Notices Inbox::Notices() {
  const Lock lock(Guard);
  return Told;
}

}  // namespace qor_linux
