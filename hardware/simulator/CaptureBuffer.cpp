#include "CaptureBuffer.h"

namespace qor_sim {

void CaptureBuffer::Offer(const Item& item) {
  if (Items.size() < Capacity) {
    Items.push_back(item);
    return;
  }
  if (LostItems++ == 0) FirstLost = item.Timestamp;
  LastLost = item.Timestamp;
}

}  // namespace qor_sim
