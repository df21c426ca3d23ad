#include "TrafficPort.h"

#include <chrono>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "Error.h"

namespace qor_sim {
namespace {

// A source that can't keep up with its speed falls behind rather than keep its port busy without end.
constexpr unsigned int kMostPerCapture = 1'000'000;  // items
constexpr std::chrono::seconds kLongestCapture{2};
constexpr unsigned int kItemsBetweenLooks = 256;  // at the time

constexpr size_t kLoggedCommands = 0;  // a port may be polled for days

size_t TimeOffsetOf(unsigned char interfaceType) {
  const BusProtocol* const protocol = FindProtocol(interfaceType);
  return protocol == nullptr ? 0 : protocol->TimeOffset;
}

}  // namespace

uint64_t Speed::SourceTime(uint64_t clockTime) const {
  __extension__ using Wide = unsigned __int128;
  const Wide time = Wide{clockTime} * Numerator / Denominator;
  constexpr uint64_t kGreatest = std::numeric_limits<uint64_t>::max();
  return time > kGreatest ? kGreatest : static_cast<uint64_t>(time);
}

TrafficPort::TrafficPort(unsigned char interfaceType, unsigned char instance, std::unique_ptr<ItemSource> source,
                         const TrafficSettings& settings, Clock& clock)
    : Port(interfaceType, instance, kLoggedCommands),
      Facts(settings.Bus),
      LeftOut(source->Skipped()),
      Source(std::move(source)),
      Pace(settings.Pace),
      GoneAt(settings.GoneAt),
      Stamps(settings.Stamps),
      TimeOffset(TimeOffsetOf(interfaceType)),
      Buffer(settings.BufferItems),
      Time(clock) {}

void TrafficPort::OnStart() {
  Time.Start();
  Started = true;
}

void TrafficPort::OnStop() {
  Capture();
  Time.Stop();
  Started = false;
}

void TrafficPort::OnClose() { Time.Leave(); }

void TrafficPort::Capture() {
  if (!Pace || !Started) return;
  const uint64_t elapsed = Time.Elapsed();
  const uint64_t now = Pace->SourceTime(elapsed);
  const uint64_t utcOffset = Stamps == StampClock::Utc ? Time.Utc() - elapsed : 0;
  const auto end = std::chrono::steady_clock::now() + kLongestCapture;
  for (unsigned int count = 0; count < kMostPerCapture; ++count) {
    if (count % kItemsBetweenLooks == kItemsBetweenLooks - 1 && std::chrono::steady_clock::now() > end) return;
    const Item* item = Source->Peek();
    if (item == nullptr || item->Due > now || !ComesThrough(*item)) return;
    Offer(*item, utcOffset);
    ++Offered;
    Source->Advance();
  }
}

bool TrafficPort::IsGone() {
  if (!GoneAt) return false;
  if (Pace) return Pace->SourceTime(Time.Elapsed()) >= *GoneAt;
  const Item* const next = Source->Peek();
  return next != nullptr && !ComesThrough(*next);
}

void TrafficPort::Offer(const Item& item, uint64_t utcOffset) {
  if (Stamps == StampClock::Own) {
    Buffer.Offer(item);
    return;
  }
  Item stamped = item;
  stamped.Timestamp = utcOffset + item.Due;
  if (stamped.Bytes.size() >= TimeOffset + sizeof stamped.Timestamp)
    std::memcpy(stamped.Bytes.data() + TimeOffset, &stamped.Timestamp, sizeof stamped.Timestamp);
  Buffer.Offer(stamped);
}

const Item* TrafficPort::Next() {
  if (Pace) return Buffer.Front();
  const Item* const next = Source->Peek();
  return next != nullptr && ComesThrough(*next) ? next : nullptr;
}

void TrafficPort::Remove() {
  ++Delivered;
  if (Pace) {
    Buffer.Pop();
  } else {
    ++Offered;
    Source->Advance();
  }
}

void TrafficPort::Poll(const ResponseLayout& layout, ResponseBuffer& response) {
  Capture();
  ResponseWriter writer(layout, response.Bytes);
  const Item* item = Next();
  for (; item != nullptr && writer.Add(item->Bytes); item = Next()) Remove();
  if (item != nullptr && writer.ItemCount() == 0) {
    throw Error(QOR_SIM_ERROR_CAPACITY, "The next item of " + std::to_string(item->Bytes.size()) +
                                            " bytes does not fit into a response of " +
                                            std::to_string(response.Bytes.size()) + " bytes.");
  }
  response.Length = static_cast<unsigned int>(writer.Length());
}

Qor_Sim_Status_t TrafficPort::TrafficStatus() {
  Capture();
  Qor_Sim_Status_t status{};
  status.Offered = Offered;
  status.Delivered = Delivered;
  status.Lost = Buffer.Lost();
  status.FirstLostTime = Buffer.FirstLostTime();
  status.LastLostTime = Buffer.LastLostTime();
  status.Gone = IsGone() ? 1 : 0;
  status.Buffered = status.Gone != 0 ? 0 : static_cast<unsigned int>(Buffer.Size());
  status.Finished = status.Gone != 0 || (Buffer.Size() == 0 && Source->Peek() == nullptr) ? 1 : 0;
  return status;
}

}  // namespace qor_sim
