// FlexRay monitor items: frames, and the events of the controller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qor_sim {

enum FlexRayKind : uint16_t {
  kFlexRayOverrun = 0,  // the last item before data were lost
  kFlexRayReceived = 1,
  kFlexRayTransmitted = 2,
  kFlexRayStartOfCycle = 3,
  kFlexRayState = 4,   // the controller's state has changed
  kFlexRayStatus = 5,  // without values
  kFlexRaySymbol = 6,  // a wake-up symbol
  kFlexRayNitSyntaxError = 7,
  kFlexRaySyntaxError = 8,
  kFlexRayNitBoundaryViolation = 9,
  kFlexRayContentError = 10
};

enum FlexRayChannel : unsigned char { kFlexRayA = 0, kFlexRayB = 1, kFlexRayBoth = 2 };

enum FlexRayFrameFlag : unsigned char {
  kFlexRayPayloadPreamble = 0x02,
  kFlexRayNull = 0x04,  // the payload means nothing
  kFlexRaySync = 0x08,
  kFlexRayStartup = 0x10
};

/// States of the controller, in the order of their names.
enum FlexRayState : unsigned char {
  kFlexRayConfig = 0,
  kFlexRayDefaultConfig = 1,
  kFlexRayHalt = 2,
  kFlexRayNormalActive = 3,
  kFlexRayNormalPassive = 4,
  kFlexRayReady = 5,
  kFlexRayStartingUp = 6,
  kFlexRayWakingUp = 7
};

constexpr uint16_t kFlexRayGreatestSlot = 2047;
constexpr unsigned char kFlexRayGreatestCycle = 63;
constexpr uint16_t kFlexRayGreatestHeaderCrc = 0x7FF;
constexpr size_t kFlexRayGreatestPayload = 254;  // bytes, always whole words of two
constexpr size_t kFlexRayTimeOffset = 4;         // in an item

struct FlexRayFrame {
  uint64_t Timestamp = 0;  // ns
  bool Transmitted = false;
  FlexRayChannel Channel = kFlexRayA;
  unsigned char Flags = 0;  // FlexRayFrameFlag
  uint16_t Slot = 0;
  unsigned char Cycle = 0;
  uint16_t HeaderCrc = 0;
  std::vector<unsigned char> Data;
};

/// An item of any other kind. Make one with the functions below: they know what means something in which kind.
struct FlexRayEvent {
  uint64_t Timestamp = 0;  // ns
  FlexRayKind Kind = kFlexRayStatus;
  uint16_t Key = 0;         // errors: the slot; else, in its low byte, the value of the kind: cycle, state or channel
  unsigned char Cycle = 0;  // errors only
  unsigned char Channel = kFlexRayA;  // errors only
};

FlexRayEvent FlexRayStartOfCycle(uint64_t timestamp, unsigned char cycle);
FlexRayEvent FlexRayStateChange(uint64_t timestamp, FlexRayState state);
FlexRayEvent FlexRaySymbolSeen(uint64_t timestamp, FlexRayChannel channel);
/// @param kind  kFlexRayNitSyntaxError to kFlexRayContentError
/// @param slot  the slot of the error; 0 in the network idle time
FlexRayEvent FlexRayError(uint64_t timestamp, FlexRayKind kind, uint16_t slot, unsigned char cycle,
                          FlexRayChannel channel);

/// The header CRC of a frame, from its sync and startup flags, slot and length.
uint16_t FlexRayHeaderCrc(const FlexRayFrame& frame);

/// The bytes of an item, without padding: 20 and the payload of a frame, 16 of an event. Reuses what `bytes` holds. A
/// payload of odd length is padded with a byte of 0; bytes beyond the greatest payload are left out.
void EncodeFlexRayFrame(const FlexRayFrame& frame, std::vector<unsigned char>& bytes);
void EncodeFlexRayEvent(const FlexRayEvent& event, std::vector<unsigned char>& bytes);

}  // namespace qor_sim
