#include "FlexRayItem.h"

#include <algorithm>
#include <cstring>

#include "qor_api.h"

namespace qor_sim {
namespace {

#pragma pack(push, 1)
/// What every frame begins with.
///
///  offset size field
///       0    2 ItemSize       bytes, payload included
///       2    2 ItemType       FlexRayKind
///       4    8 Timestamp      ns
///      12    1 Channel        FlexRayChannel
///      13    1 Flags          FlexRayFrameFlag
///      14    2 Slot
///      16    1 Cycle
///      17    1 PayloadLength  words of two bytes
///      18    2 HeaderCrc
struct FrameHead {
  uint16_t ItemSize;
  uint16_t ItemType;
  uint64_t Timestamp;
  unsigned char Channel;
  unsigned char Flags;
  uint16_t Slot;
  unsigned char Cycle;
  unsigned char PayloadLength;
  uint16_t HeaderCrc;
};

/// An event; the first four fields as in a frame.
///
///  offset size field
///      12    2 Key
///      14    1 Cycle
///      15    1 Channel
struct EventItem {
  uint16_t ItemSize;
  uint16_t ItemType;
  uint64_t Timestamp;
  uint16_t Key;
  unsigned char Cycle;
  unsigned char Channel;
};
#pragma pack(pop)
static_assert(sizeof(FrameHead) == 20);
static_assert(offsetof(FrameHead, Timestamp) == offsetof(FlexRay_Param_Monitor_Entry_t, Timestamp));
static_assert(offsetof(FrameHead, Slot) == offsetof(FlexRay_Param_Monitor_Entry_t, SlotId));
static_assert(sizeof(EventItem) == sizeof(FlexRay_Param_Monitor_Entry_t));
static_assert(offsetof(EventItem, Key) == offsetof(FlexRay_Param_Monitor_Entry_t, EventKey));

}  // namespace

FlexRayEvent FlexRayStartOfCycle(uint64_t timestamp, unsigned char cycle) {
  return {timestamp, kFlexRayStartOfCycle, cycle, 0, 0};
}

FlexRayEvent FlexRayStateChange(uint64_t timestamp, FlexRayState state) {
  return {timestamp, kFlexRayState, state, 0, 0};
}

FlexRayEvent FlexRaySymbolSeen(uint64_t timestamp, FlexRayChannel channel) {
  return {timestamp, kFlexRaySymbol, channel, 0, 0};
}

FlexRayEvent FlexRayError(uint64_t timestamp, FlexRayKind kind, uint16_t slot, unsigned char cycle,
                          FlexRayChannel channel) {
  return {timestamp, kind, slot, cycle, channel};
}

// FlexRay protocol, header CRC: x^11 + x^9 + x^8 + x^7 + x^2 + 1 over 20 bits, beginning with 0x1A: sync, startup, 11 bits
// of slot, 7 bits of length in words.
uint16_t FlexRayHeaderCrc(const FlexRayFrame& frame) {
  constexpr uint32_t kPolynomial = 0x385;
  const auto words = static_cast<uint32_t>((frame.Data.size() + 1) / 2);
  const uint32_t sync = (frame.Flags & kFlexRaySync) != 0 ? 1 : 0;
  const uint32_t startup = (frame.Flags & kFlexRayStartup) != 0 ? 1 : 0;
  const uint32_t header = sync << 19 | startup << 18 | (frame.Slot & 0x7FFU) << 7 | (words & 0x7F);
  uint32_t crc = 0x1A;
  for (int bit = 19; bit >= 0; --bit) {
    const uint32_t feedback = (crc >> 10 ^ header >> bit) & 1;
    crc = (crc << 1 & 0x7FF) ^ (feedback != 0 ? kPolynomial : 0);
  }
  return static_cast<uint16_t>(crc);
}

void EncodeFlexRayFrame(const FlexRayFrame& frame, std::vector<unsigned char>& bytes) {
  const size_t length = std::min(frame.Data.size(), kFlexRayGreatestPayload);
  const size_t words = (length + 1) / 2;
  FrameHead head{};
  bytes.assign(sizeof head + 2 * words, 0);
  head.ItemSize = static_cast<uint16_t>(bytes.size());
  head.ItemType = frame.Transmitted ? kFlexRayTransmitted : kFlexRayReceived;
  head.Timestamp = frame.Timestamp;
  head.Channel = frame.Channel;
  head.Flags = frame.Flags;
  head.Slot = frame.Slot;
  head.Cycle = frame.Cycle;
  head.PayloadLength = static_cast<unsigned char>(words);
  head.HeaderCrc = frame.HeaderCrc;
  std::memcpy(bytes.data(), &head, sizeof head);
  std::copy_n(frame.Data.begin(), length, bytes.data() + sizeof head);
}

void EncodeFlexRayEvent(const FlexRayEvent& event, std::vector<unsigned char>& bytes) {
  const EventItem item{sizeof item, event.Kind, event.Timestamp, event.Key, event.Cycle, event.Channel};
  bytes.resize(sizeof item);
  std::memcpy(bytes.data(), &item, sizeof item);
}

}  // namespace qor_sim
