// A synthetic FlexRay cluster: how its cycle is divided, and which messages are sent when.
#pragma once

#include <cstdint>
#include <vector>

#include "FlexRayItem.h"
#include "Random.h"

namespace qor_sim {

// The cycle, in ns from its start:
//
//   0           3 ms              4.74 ms   4.77 ms       5 ms
//   | 60 static | 290 minislots   | symbol  | network idle |
//   |   slots   | of the dynamic  | window  | time         |
//   |           | segment         |         |              |
constexpr uint64_t kFlexRayCycleLength = 5'000'000;
constexpr unsigned int kFlexRayCycles = 64;
constexpr uint16_t kFlexRayStaticSlots = 60;
constexpr uint64_t kFlexRayStaticSlotLength = 50'000;
constexpr uint64_t kFlexRayActionPoint = 4'000;  // of a static slot: its frame begins
constexpr uint64_t kFlexRayDynamicSegment = kFlexRayStaticSlots * kFlexRayStaticSlotLength;
constexpr unsigned int kFlexRayMinislots = 290;
constexpr uint64_t kFlexRayMinislotLength = 6'000;
constexpr uint64_t kFlexRayMinislotActionPoint = 2'000;
constexpr uint64_t kFlexRaySymbolWindow = kFlexRayDynamicSegment + kFlexRayMinislots * kFlexRayMinislotLength;
constexpr uint64_t kFlexRayIdleTime = kFlexRaySymbolWindow + 30'000;
static_assert(kFlexRayIdleTime < kFlexRayCycleLength);

constexpr size_t kFlexRayStaticPayload = 32;  // bytes, of every static frame

/// ns from the start of a frame to its end, at 10 Mbit/s.
uint64_t FlexRayFrameLength(const FlexRayFrame& frame);

/// A message of the cluster and its payload.
class FlexRayMessage {
 public:
  /// What a message is from the beginning to the end.
  struct Plan {
    uint16_t Slot;
    FlexRayChannel Channel;
    bool Transmitted;
    unsigned char Flags;       // FlexRayFrameFlag, without null
    unsigned char BaseCycle;   // its slot is its own in this cycle
    unsigned char Repetition;  // and in every one that follows at this distance
    unsigned char Updated;     // each such time has new data, the others are null frames
    unsigned char OneIn;       // of these turns, the message takes one by chance; 1: all
    unsigned char Length;      // bytes of payload
  };

  FlexRayMessage(const Plan& plan, Random& random);

  const Plan& Planned() const { return Fixed; }
  bool HasTurn(unsigned int cycle) const { return cycle % Fixed.Repetition == Fixed.BaseCycle; }
  /// Whether it takes a turn that it has.
  bool TakesTurn(Random& random) const { return Fixed.OneIn == 1 || random.Below(Fixed.OneIn) == 0; }
  /// The current frame, without timestamp and cycle; null frames have a payload of zeros.
  const FlexRayFrame& Frame() const { return Turns % Fixed.Updated == 0 ? Current : Null; }
  const FlexRayFrame& NullFrame() const { return Null; }
  void Sent(Random& random);

 private:
  Plan Fixed;
  FlexRayFrame Current;
  FlexRayFrame Null;
  unsigned int Turns = 0;
  unsigned int Counter = 0;
};

/// In the order of their slots.
std::vector<FlexRayMessage> MakeFlexRayStaticMessages(Random& random);
std::vector<FlexRayMessage> MakeFlexRayDynamicMessages(Random& random);

}  // namespace qor_sim
