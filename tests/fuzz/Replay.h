// What every replay of a recording must keep to, whatever its file.
#pragma once

#include <cstdint>

#include "Error.h"
#include "Input.h"
#include "ItemSource.h"

namespace fuzz {

inline void RequireRefusal(const qor_sim::Error& error) {
  const bool refusal = error.Code() == QOR_SIM_ERROR_SOURCE || error.Code() == QOR_SIM_ERROR_FILE;
  Require(refusal && *error.what() != 0, "a refusal says why");
}

/// Takes all items: their times don't go back, the timestamp of each stands in its bytes, and `sizeOf(bytes)` is how many
/// they are. Returns a sum over everything, to compare two replays by.
template <class SizeOf>
std::uint64_t RequireReplay(qor_sim::ItemSource& source, std::size_t timeOffset, SizeOf sizeOf) {
  std::uint64_t sum = 14695981039346656037U, due = 0;
  for (const qor_sim::Item* item = source.Peek(); item != nullptr; item = source.Peek()) {
    Require(item->Due >= due, "items come in the order of their times");
    due = item->Due;
    Require(item->Bytes.size() >= 16 && item->Bytes.size() == sizeOf(item->Bytes), "an item is as long as it says");
    Require(std::memcmp(item->Bytes.data() + timeOffset, &item->Timestamp, sizeof item->Timestamp) == 0,
            "an item holds its timestamp");
    for (const unsigned char byte : item->Bytes) sum = (sum ^ byte) * 1099511628211U;
    source.Advance();
  }
  return sum;
}

/// The size that LIN, FlexRay and Ethernet items begin with.
inline std::size_t SizeInFront(const test::Bytes& item) { return item[0] | static_cast<std::size_t>(item[1]) << 8; }

}  // namespace fuzz
