#include "SyntheticFlexRay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <utility>

#include "FakeTime.h"
#include "FlexRayMessages.h"
#include "SyntheticBus.h"

using namespace qor_sim;

namespace {

constexpr uint64_t kRun = 120 * kSecond;

/// The fields of an item of any kind, read from its bytes.
struct Seen {
  explicit Seen(const Item& item) : Bytes(item.Bytes), Timestamp(Field<uint64_t>(4)) {
    EXPECT_EQ(Field<uint16_t>(0), Bytes.size());
    EXPECT_EQ(Timestamp, item.Timestamp);
  }

  template <class Number>
  Number Field(size_t offset) const {
    Number value{};
    EXPECT_LE(offset + sizeof value, Bytes.size());
    std::memcpy(&value, Bytes.data() + offset, sizeof value);
    return value;
  }

  unsigned int Kind() const { return Field<uint16_t>(2); }
  bool IsFrame() const { return Kind() == 1 || Kind() == 2; }
  bool IsError() const { return Kind() >= 7; }
  unsigned int Value() const { return Bytes.at(12); }  // of a start of cycle, a state, a symbol
  // Of frames:
  unsigned int Channel() const { return Bytes.at(12); }
  unsigned int Flags() const { return Bytes.at(13); }
  bool IsNull() const { return (Flags() & kFlexRayNull) != 0; }
  unsigned int Slot() const { return Field<uint16_t>(14); }
  unsigned int Cycle() const { return Bytes.at(16); }
  unsigned int Words() const { return Bytes.at(17); }
  unsigned int HeaderCrc() const { return Field<uint16_t>(18); }
  std::vector<unsigned char> Payload() const { return {Bytes.begin() + 20, Bytes.end()}; }
  // Of errors:
  unsigned int ErrorSlot() const { return Field<uint16_t>(12); }
  unsigned int ErrorChannel() const { return Bytes.at(15); }

  std::vector<unsigned char> Bytes;
  uint64_t Timestamp;
};

std::vector<Seen> Bus(uint64_t seed, uint64_t duration) {
  const auto source = MakeSyntheticFlexRay({seed, duration});
  std::vector<Seen> items;
  for (const Item& item : ItemsOf(*source)) items.emplace_back(item);
  return items;
}

uint64_t LengthOf(const Seen& frame) {
  FlexRayFrame plain;
  plain.Data = frame.Payload();
  return FlexRayFrameLength(plain);
}

/// ns from the start of the cycle
uint64_t OffsetOf(const Seen& item) { return item.Timestamp % kFlexRayCycleLength; }

/// The remainder of sync, startup, slot and length, 20 bits, and eleven zeros, by the polynomial 0xB85; 0x1A, the first
/// value of the shift register, goes to the front bits.
unsigned int HeaderCrcOf(const Seen& frame) {
  const unsigned int sync = (frame.Flags() & kFlexRaySync) != 0 ? 1 : 0;
  const unsigned int startup = (frame.Flags() & kFlexRayStartup) != 0 ? 1 : 0;
  const uint64_t header = sync << 19 | startup << 18 | frame.Slot() << 7 | frame.Words();
  uint64_t rest = header << 11 ^ uint64_t { 0x1A } << 20;
  for (int bit = 30; bit >= 11; --bit) {
    if ((rest >> bit & 1) != 0) rest ^= uint64_t{0xB85} << (bit - 11);
  }
  return static_cast<unsigned int>(rest);
}

}  // namespace

TEST(SyntheticFlexRay, SameSeedSameItems) { ExpectSameSeedSameItems(MakeSyntheticFlexRay); }
TEST(SyntheticFlexRay, OtherSeedOtherItems) { ExpectOtherSeedOtherItems(MakeSyntheticFlexRay); }
TEST(SyntheticFlexRay, EndsWithItsDuration) { ExpectEndWithDuration(MakeSyntheticFlexRay, 5 * kMs); }

TEST(FlexRayFrameLength, CountsTenBitsOfAHundredNsPerByte) {
  FlexRayFrame frame;
  EXPECT_EQ(FlexRayFrameLength(frame), (11 + 80 + 2) * 100u);
  frame.Data.resize(32);
  EXPECT_EQ(FlexRayFrameLength(frame), (11 + 400 + 2) * 100u);
}

TEST(SyntheticFlexRay, FramesNeverOverlapOnAChannel) {
  uint64_t free[2] = {0, 0};
  for (const auto& item : Bus(3, 20 * kSecond)) {
    if (!item.IsFrame()) continue;
    for (const unsigned int channel : {0u, 1u}) {
      if (item.Channel() != channel && item.Channel() != kFlexRayBoth) continue;
      ASSERT_GE(item.Timestamp, free[channel]);
      free[channel] = item.Timestamp + LengthOf(item);
    }
  }
}

TEST(SyntheticFlexRay, FramesKeepToTheirSegment) {
  for (const auto& item : Bus(1, 20 * kSecond)) {
    if (!item.IsFrame()) continue;
    const uint64_t end = OffsetOf(item) + LengthOf(item);
    if (item.Slot() <= kFlexRayStaticSlots) {
      EXPECT_EQ(OffsetOf(item) / kFlexRayStaticSlotLength, item.Slot() - 1);
      EXPECT_LT(end, item.Slot() * kFlexRayStaticSlotLength);
      EXPECT_EQ(item.Words(), 16u);
    } else {
      EXPECT_GE(OffsetOf(item), kFlexRayDynamicSegment + (item.Slot() - 61) * kFlexRayMinislotLength);
      EXPECT_LT(end, kFlexRaySymbolWindow);
    }
  }
}

TEST(SyntheticFlexRay, HasEveryKindOfItemWithinTwoMinutes) {
  for (const uint64_t seed : {1u, 2u, 3u}) {
    std::map<unsigned int, unsigned int> kinds;
    std::set<unsigned int> states, symbols, frameChannels, flags;
    std::set<std::pair<unsigned int, unsigned int>> errors;
    for (const auto& item : Bus(seed, kRun)) {
      ++kinds[item.Kind()];
      if (item.Kind() == kFlexRayState) states.insert(item.Value());
      if (item.Kind() == kFlexRaySymbol) symbols.insert(item.Value());
      if (item.IsError()) errors.insert({item.Kind(), item.ErrorChannel()});
      if (!item.IsFrame()) continue;
      frameChannels.insert(item.Channel());
      flags.insert(item.Flags());
    }
    for (unsigned int kind = 1; kind <= 10; ++kind) EXPECT_GT(kinds[kind], 0u) << kind;
    EXPECT_EQ(kinds.size(), 10u);
    EXPECT_EQ(states, (std::set<unsigned int>{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(symbols, (std::set<unsigned int>{0, 1, 2}));
    EXPECT_EQ(frameChannels, (std::set<unsigned int>{0, 1, 2}));
    EXPECT_EQ(errors.size(), 12u);  // four kinds on A, B and both
    // Usual, preamble, null, sync, startup with sync, and that as a null frame.
    for (const unsigned int set : {0x00u, 0x02u, 0x04u, 0x08u, 0x18u, 0x1Cu}) EXPECT_EQ(flags.count(set), 1u) << set;
  }
}

TEST(SyntheticFlexRay, HeaderCrcFitsTheHeader) {
  std::set<unsigned int> slots;
  for (const auto& item : Bus(1, 20 * kSecond)) {
    if (!item.IsFrame()) continue;
    ASSERT_EQ(item.HeaderCrc(), HeaderCrcOf(item)) << item.Slot();
    slots.insert(item.Slot());
  }
  EXPECT_GT(slots.size(), 20u);
}

TEST(SyntheticFlexRay, NullFramesHaveAPayloadOfZeros) {
  unsigned int count = 0;
  for (const auto& item : Bus(1, 2 * kSecond)) {
    if (!item.IsFrame()) continue;
    EXPECT_EQ(item.Payload().size(), 2 * item.Words());
    const auto payload = item.Payload();
    const bool zeros = std::all_of(payload.begin(), payload.end(), [](unsigned char byte) { return byte == 0; });
    EXPECT_EQ(zeros, item.IsNull()) << item.Slot();
    count += item.IsNull() ? 1 : 0;
  }
  EXPECT_GT(count, 100u);
}

TEST(SyntheticFlexRay, CyclesCountFrom0To63AlsoOverAHalt) {
  uint64_t last = 0;
  unsigned int lastCycle = 63;  // the first is 0
  std::set<uint64_t> distances;
  for (const auto& item : Bus(1, kRun)) {
    if (item.Kind() != kFlexRayStartOfCycle) continue;
    const uint64_t distance = last == 0 ? kFlexRayCycleLength : item.Timestamp - last;
    distances.insert(distance);
    EXPECT_EQ(item.Timestamp % kFlexRayCycleLength, 0u);
    EXPECT_EQ(item.Value(), (lastCycle + distance / kFlexRayCycleLength) % 64);
    last = item.Timestamp;
    lastCycle = item.Value();
  }
  EXPECT_EQ(distances, (std::set<uint64_t>{5 * kMs, 50 * kMs}));
}

TEST(SyntheticFlexRay, FramesHaveTheCycleInWhichTheyAreSent) {
  unsigned int cycle = 0;
  for (const auto& item : Bus(1, 20 * kSecond)) {
    if (item.Kind() == kFlexRayStartOfCycle) cycle = item.Value();
    if (!item.IsFrame()) continue;
    ASSERT_EQ(item.Cycle(), cycle);
  }
}

TEST(SyntheticFlexRay, TheClusterStartsWithNullFramesOfItsFirstNode) {
  const auto items = Bus(1, 65 * kMs);
  std::vector<Seen> frames;
  std::copy_if(items.begin(), items.end(), std::back_inserter(frames), [](const Seen& item) { return item.IsFrame(); });
  ASSERT_GT(frames.size(), 16u);
  for (size_t i = 0; i < 16; ++i) {
    // Four cycles of the first node, then four of three nodes.
    EXPECT_EQ(frames[i].Slot(), i < 4 ? 1 : 1 + (i - 4) % 3);
    EXPECT_EQ(frames[i].Flags(), 0x1Cu);
  }
  EXPECT_FALSE(frames[16].IsNull());
}

TEST(SyntheticFlexRay, WhatIsTransmittedDependsOnTheState) {
  unsigned int state = kFlexRayConfig;
  std::map<unsigned int, unsigned int> transmitted, received;  // by state
  for (const auto& item : Bus(1, kRun)) {
    if (item.Kind() == kFlexRayState) state = item.Value();
    if (item.Kind() == kFlexRayTransmitted) ++transmitted[state];
    if (item.Kind() == kFlexRayReceived) ++received[state];
  }
  // A node that starts the cluster sends before it is active, but not when it has become passive.
  EXPECT_GT(transmitted[kFlexRayStartingUp], 0u);
  EXPECT_GT(transmitted[kFlexRayNormalActive], 0u);
  EXPECT_EQ(transmitted[kFlexRayNormalPassive], 0u);
  EXPECT_GT(received[kFlexRayNormalPassive], 0u);
  EXPECT_EQ(transmitted[kFlexRayHalt] + received[kFlexRayHalt], 0u);
  EXPECT_EQ(transmitted[kFlexRayReady] + received[kFlexRayReady], 0u);
}

TEST(SyntheticFlexRay, SlotErrorsStandInForALostFrame) {
  const auto items = Bus(1, kRun);
  unsigned int slotErrors = 0;
  std::set<unsigned int> seen;  // slot and channel, of the cycle
  for (const auto& item : items) {
    if (item.Kind() == kFlexRayStartOfCycle) seen.clear();
    if (item.IsFrame()) seen.insert(item.Slot() * 4 + item.Channel());
    if (!item.IsError()) continue;
    const bool idleTime = item.Kind() == kFlexRayNitSyntaxError || item.Kind() == kFlexRayNitBoundaryViolation;
    EXPECT_EQ(item.ErrorSlot() == 0, idleTime);
    EXPECT_EQ(OffsetOf(item) >= kFlexRayIdleTime, idleTime);
    if (idleTime) continue;
    ++slotErrors;
    EXPECT_EQ(seen.count(item.ErrorSlot() * 4 + item.ErrorChannel()), 0u);
  }
  EXPECT_GT(slotErrors, 30u);
}
