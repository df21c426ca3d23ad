#include "FlexRayMessages.h"

#include <algorithm>
#include <span>

#include "MessageData.h"

namespace qor_sim {
namespace {

constexpr FlexRayChannel A = kFlexRayA;
constexpr FlexRayChannel B = kFlexRayB;
constexpr FlexRayChannel Both = kFlexRayBoth;
constexpr unsigned char Sync = kFlexRaySync;
constexpr unsigned char Startup = kFlexRaySync | kFlexRayStartup;
constexpr unsigned char Preamble = kFlexRayPayloadPreamble;
constexpr bool Rx = false;
constexpr bool Tx = true;
constexpr unsigned char Static = kFlexRayStaticPayload;

// The first three nodes start the cluster; this interface is the second of them. Slot 16 is shared by two messages, slot
// 20 has another message on either channel.
// clang-format off
constexpr FlexRayMessage::Plan kStatic[] = {
  //slot channel     flags     base repetition updated one in length
  {1,   Both,   Rx, Startup,  0,   1,         1,      1,     Static},
  {2,   Both,   Tx, Startup,  0,   1,         1,      1,     Static},
  {3,   Both,   Rx, Startup,  0,   1,         1,      1,     Static},
  {4,   Both,   Rx, Sync,     0,   1,         1,      1,     Static},
  {10,  A,      Rx, 0,        0,   1,         1,      1,     Static},
  {11,  A,      Rx, 0,        0,   1,         2,      1,     Static},
  {12,  B,      Rx, 0,        0,   1,         4,      1,     Static},
  {16,  A,      Rx, 0,        0,   2,         1,      1,     Static},
  {16,  A,      Rx, 0,        1,   2,         1,      1,     Static},
  {20,  A,      Rx, 0,        0,   2,         1,      1,     Static},
  {20,  B,      Rx, 0,        0,   2,         1,      1,     Static},
  {24,  A,      Rx, 0,        1,   4,         1,      1,     Static},
  {30,  B,      Rx, 0,        1,   2,         1,      1,     Static},
  {40,  Both,   Tx, 0,        0,   2,         1,      1,     Static},
  {41,  A,      Tx, 0,        1,   4,         2,      1,     Static},
  {50,  Both,   Rx, Preamble, 2,   4,         1,      1,     Static},  // network management vector
  {55,  A,      Rx, 0,        3,   8,         1,      1,     Static},
  {58,  B,      Rx, 0,        5,   64,        1,      1,     Static},
};

constexpr FlexRayMessage::Plan kDynamic[] = {
  //slot channel     flags     base repetition updated one in length
  {61,  A,      Rx, 0,        0,   1,         1,      1,     16},
  {63,  A,      Rx, 0,        1,   2,         1,      1,     24},
  {66,  B,      Rx, 0,        2,   4,         1,      1,     48},
  {70,  A,      Tx, 0,        0,   4,         1,      1,     20},
  {75,  B,      Rx, 0,        0,   1,         1,      10,    64},
  {80,  A,      Tx, Preamble, 3,   8,         1,      1,     8},  // message identifier
  {90,  A,      Rx, 0,        0,   1,         1,      20,    254},
  {91,  A,      Tx, 0,        0,   1,         1,      20,    100},
  {104, B,      Rx, 0,        5,   16,        1,      1,     2},
  {110, A,      Rx, 0,        0,   1,         1,      40,    128},
};
// clang-format on

std::vector<FlexRayMessage> Make(std::span<const FlexRayMessage::Plan> plans, Random& random) {
  std::vector<FlexRayMessage> messages;
  messages.reserve(plans.size());
  for (const auto& plan : plans) messages.emplace_back(plan, random);
  return messages;
}

}  // namespace

uint64_t FlexRayFrameLength(const FlexRayFrame& frame) {
  constexpr uint64_t kBitTime = 100;        // ns
  constexpr uint64_t kStartBits = 10 + 1;   // transmission start, frame start
  constexpr uint64_t kBitsPerByte = 2 + 8;  // byte start
  constexpr uint64_t kFixedBytes = 5 + 3;   // header, frame CRC
  constexpr uint64_t kEndBits = 2;          // frame end
  return (kStartBits + (kFixedBytes + frame.Data.size()) * kBitsPerByte + kEndBits) * kBitTime;
}

FlexRayMessage::FlexRayMessage(const Plan& plan, Random& random) : Fixed(plan) {
  Current.Transmitted = plan.Transmitted;
  Current.Channel = plan.Channel;
  Current.Flags = plan.Flags;
  Current.Slot = plan.Slot;
  Current.Data.resize(plan.Length);
  Current.HeaderCrc = FlexRayHeaderCrc(Current);
  Null = Current;
  Null.Flags = static_cast<unsigned char>((plan.Flags & ~kFlexRayPayloadPreamble) | kFlexRayNull);
  FillRandomly(Current.Data, random);
}

/// The vector or identifier at the beginning of a payload with preamble stays.
void FlexRayMessage::Sent(Random& random) {
  ++Turns;
  if (Turns % Fixed.Updated != 0) return;
  ++Counter;
  std::span<unsigned char> data(Current.Data);
  if ((Fixed.Flags & kFlexRayPayloadPreamble) != 0) data = data.subspan(2);
  Fixed.OneIn == 1 ? UpdateCyclicData(data, Counter, random) : FillEventData(data, Counter, random);
}

std::vector<FlexRayMessage> MakeFlexRayStaticMessages(Random& random) { return Make(kStatic, random); }

std::vector<FlexRayMessage> MakeFlexRayDynamicMessages(Random& random) { return Make(kDynamic, random); }

}  // namespace qor_sim
