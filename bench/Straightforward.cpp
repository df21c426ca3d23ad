#include "Straightforward.h"

#include <algorithm>
#include <array>

#include "qor_api.h"

namespace {

constexpr unsigned int kHead = 4;                 // bytes of a response before its items
constexpr unsigned long kHoldBack = 100'000'000;  // ns that the sort queue waits for other channels
constexpr unsigned long kEndOfTime = ~0UL;

}  // namespace

namespace bench {

void Straightforward::Record() {
  for (bool more = true; more;) {
    more = false;
    for (unsigned int port = 1; port <= Ports; ++port) more = Poll(port) || more;
    if (SortQueue.empty()) continue;
    const unsigned long newest = SortQueue.rbegin()->first;
    StoreQueued(newest - std::min(newest, kHoldBack));
  }
  StoreQueued(kEndOfTime);
}

/// Returns false if there was nothing.
bool Straightforward::Poll(unsigned int port) {
  const std::array<unsigned char, 4> request = {0x0F, 1, 0, 0};
  auto length = static_cast<unsigned int>(Response.size());
  Qor_CommandWithResponseEx(port, 0, 0x50, 2, request.data(), request.size(), Response.data(), &length);
  for (unsigned int offset = kHead; offset < length;) {
    const auto* item = reinterpret_cast<const Can_Param_Monitor_Buffer64_LargeItem_t*>(Response.data() + offset);
    auto entry = std::make_shared<Qor_Trace_Entry>(port, item);
    Entries.emplace(entry->GetTimestamp(), entry);
    Newest[{port, item->Identifier}] = std::move(entry);
    offset += (16U + item->DataLength + 3) & ~3U;
  }
  if (Entries.empty()) return false;
  Deliver();
  Entries.clear();
  Newest.clear();
  return true;
}

void Straightforward::Deliver() {
  for (const auto& [time, entry] : Entries) {
    if (Ports > 1) {
      SortQueue.emplace(time, entry);
    } else {
      Store.push_back(entry);
    }
  }
  for (const auto& [key, entry] : Newest) {
    auto& held = List[key];
    if (held) entry->SetRelativeTimestamp(entry, held);
    held = entry;
  }
}

void Straightforward::StoreQueued(unsigned long horizon) {
  while (!SortQueue.empty() && SortQueue.begin()->first <= horizon) {
    Store.push_back(SortQueue.begin()->second);
    SortQueue.erase(SortQueue.begin());
  }
}

}  // namespace bench
