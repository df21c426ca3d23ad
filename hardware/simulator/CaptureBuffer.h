// The capture buffer of a simulated interface: items wait there from the moment that they are due until a poll.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "ItemSource.h"

namespace qor_sim {

/// A queue of limited size. What does not fit is dropped, counted and placed in time.
///
/// Threads: one at a time; the port's mutex guards it.
class CaptureBuffer {
 public:
  /// @param capacity  items
  explicit CaptureBuffer(size_t capacity) : Capacity(capacity) {}

  void Offer(const Item& item);

  /// The oldest item, or null.
  const Item* Front() const { return Items.empty() ? nullptr : &Items.front(); }
  void Pop() { Items.pop_front(); }

  size_t Size() const { return Items.size(); }
  uint64_t Lost() const { return LostItems; }
  uint64_t FirstLostTime() const { return FirstLost; }  // ns, timestamp of the item; 0 without one
  uint64_t LastLostTime() const { return LastLost; }

 private:
  size_t Capacity;
  std::deque<Item> Items;
  uint64_t LostItems = 0;
  uint64_t FirstLost = 0;
  uint64_t LastLost = 0;
};

}  // namespace qor_sim
