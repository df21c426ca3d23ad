#include "SyntheticCan.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "CanBusTiming.h"
#include "FakeTime.h"
#include "SyntheticBus.h"

using namespace qor_sim;

namespace {

constexpr uint64_t kRun = 20 * kSecond;

CanItem FrameOf(const Item& item) {
  CanItem frame{};
  EXPECT_EQ(item.Bytes.size(), size_t{16} + item.Bytes.at(15));
  std::copy(item.Bytes.begin(), item.Bytes.end(), reinterpret_cast<unsigned char*>(&frame));
  EXPECT_EQ(frame.Timestamp, item.Timestamp);
  return frame;
}

std::unique_ptr<ItemSource> MakeUsual(const SyntheticSettings& settings) { return MakeSyntheticCan(settings, 30); }

std::vector<CanItem> Bus(uint64_t seed, uint64_t duration, unsigned int load = 30) {
  const auto source = MakeSyntheticCan({seed, duration}, load);
  std::vector<CanItem> frames;
  for (const Item& item : ItemsOf(*source)) frames.push_back(FrameOf(item));
  return frames;
}

bool IsData(const CanItem& frame) { return (frame.Flags & (kCanError | kCanTrigger)) == 0; }

/// Millionths of the duration in which frames occupy the bus.
uint64_t LoadOf(const std::vector<CanItem>& frames, uint64_t duration) {
  uint64_t busy = 0;
  for (const auto& frame : frames) {
    if (IsData(frame)) busy += CanFrameLength(frame);
  }
  return busy / (duration / 1'000'000);
}

}  // namespace

TEST(CanBusTiming, FramesAreAsLongAsTheirBits) {
  // Standard, 8 bytes: 34 + 64 bits with 24 stuff bits, and 13 after them: 135 bits of 2 us.
  CanItem frame{};
  frame.DataLength = 8;
  EXPECT_EQ(CanFrameLength(frame), 270'000u);
  // Standard, empty: 34 bits with 8 stuff bits, and 13.
  frame.DataLength = 0;
  EXPECT_EQ(CanFrameLength(frame), 110'000u);
  // Extended, 8 bytes: 54 + 64 bits with 29 stuff bits, and 13: 160 bits.
  frame.DataLength = 8;
  frame.Flags = kCanExtended;
  EXPECT_EQ(CanFrameLength(frame), 320'000u);
}

TEST(CanBusTiming, BitRateSwitchShortensTheDataPhase) {
  // 17 + 4 + 12 = 33 bits of 2 us; 5 + 512 + 129 stuff + 1 + 33 check = 680 bits of 0.5 us, or of 2 us.
  CanItem frame{};
  frame.Flags = kCanFd | kCanBrs;
  frame.DataLength = 64;
  EXPECT_EQ(CanFrameLength(frame), 66'000u + 340'000u);
  frame.Flags = kCanFd;
  EXPECT_EQ(CanFrameLength(frame), 66'000u + 1'360'000u);
}

TEST(SyntheticCan, SameSeedSameItems) { ExpectSameSeedSameItems(MakeUsual); }
TEST(SyntheticCan, OtherSeedOtherItems) { ExpectOtherSeedOtherItems(MakeUsual); }
TEST(SyntheticCan, EndsWithItsDuration) { ExpectEndWithDuration(MakeUsual, 20 * kMs); }

TEST(SyntheticCan, FramesNeverOverlap) {
  for (const unsigned int load : {1u, 30u, 100u}) {
    uint64_t free = 0;
    for (const auto& frame : Bus(3, 20 * kSecond, load)) {
      if ((frame.Flags & kCanTrigger) != 0) continue;
      ASSERT_GE(frame.Timestamp, free) << load;
      free = frame.Timestamp + ((frame.Flags & kCanError) != 0 ? kCanErrorLength : CanFrameLength(frame));
    }
  }
}

TEST(SyntheticCan, LoadIsNearlyWhatWasAskedFor) {
  for (const unsigned int load : {1u, 5u, 30u, 70u, 100u}) {
    const uint64_t wanted = load * 10'000;  // millionths
    const uint64_t got = LoadOf(Bus(1, kRun, load), kRun);
    EXPECT_LE(got, wanted + 2'000) << load;
    EXPECT_GE(got, wanted - wanted / 10) << load;
  }
}

TEST(SyntheticCan, AFullBusKeepsUpWithItsMessages) {
  // Each cyclic message of 10 ms is sent nearly as often as its period asks, also in the second half of the run.
  std::map<uint32_t, unsigned int> counts;
  for (const auto& frame : Bus(1, 2 * kRun, 100)) {
    if (IsData(frame) && frame.Timestamp >= kRun) ++counts[frame.Identifier];
  }
  unsigned int fastest = 0, slowest = 1'000'000;
  for (const auto& [id, count] : counts) {
    fastest = std::max(fastest, count);
    slowest = std::min(slowest, count);
  }
  EXPECT_NEAR(fastest, 2'000, 20);  // 10 ms in 20 s
  EXPECT_GE(slowest, 10u);          // 1000 ms
}

TEST(SyntheticCan, HasEveryKindOfFrame) {
  for (const unsigned int load : {1u, 30u}) {
    std::map<unsigned int, unsigned int> formats;
    std::set<unsigned int> fdLengths;
    unsigned int passive = 0;
    for (const auto& frame : Bus(1, kRun, load)) {
      if (!IsData(frame)) continue;
      ++formats[frame.Flags & (kCanExtended | kCanFd | kCanBrs)];
      passive += (frame.Flags & kCanEsi) != 0 ? 1 : 0;
      if ((frame.Flags & kCanFd) != 0) fdLengths.insert(frame.DataLength);
    }
    for (const unsigned int format : {0u, 0x01u, 0x08u, 0x28u, 0x29u}) EXPECT_GT(formats[format], 0u) << format;
    EXPECT_EQ(formats.count(kCanBrs), 0u);
    EXPECT_GE(fdLengths.size(), 4u);
    EXPECT_EQ(*fdLengths.rbegin(), 64u);
    EXPECT_GT(passive, 0u) << load;
  }
}

TEST(SyntheticCan, FlagsMarkersAndLengthsAgree) {
  for (const auto& frame : Bus(5, 10 * kSecond)) {
    const bool extended = (frame.Flags & kCanExtended) != 0;
    const bool fd = (frame.Flags & kCanFd) != 0;
    EXPECT_EQ((frame.Identifier & kCanIdExtended) != 0, extended);
    EXPECT_EQ((frame.Identifier & kCanIdFd) != 0, fd);
    EXPECT_LE(frame.Identifier & ~(kCanIdExtended | kCanIdFd),
              extended ? kCanGreatestExtendedId : kCanGreatestStandardId);
    EXPECT_TRUE(fd || (frame.Flags & (kCanBrs | kCanEsi)) == 0);
    EXPECT_TRUE(fd || frame.DataLength <= 8);
    EXPECT_TRUE(!IsData(frame) || CanFdDlc(frame.DataLength) == frame.Dlc);
  }
}

TEST(SyntheticCan, ErrorFramesHaveAllKindsInTurn) {
  std::vector<unsigned int> kinds;
  for (const auto& frame : Bus(1, kRun)) {
    if ((frame.Flags & kCanError) == 0) continue;
    EXPECT_EQ(frame.DataLength, 1);
    kinds.push_back(frame.Data[0]);
  }
  ASSERT_GE(kinds.size(), 14u);
  for (size_t i = 0; i < kinds.size(); ++i) EXPECT_EQ(kinds[i], 1 + i % 7);
}

TEST(SyntheticCan, TriggersAreRisingFallingAndUserEventsInTurn) {
  std::vector<CanItem> triggers;
  for (const auto& frame : Bus(1, kRun)) {
    if ((frame.Flags & kCanTrigger) != 0) triggers.push_back(frame);
  }
  ASSERT_GE(triggers.size(), 6u);
  for (size_t i = 0; i < triggers.size(); ++i) {
    EXPECT_EQ(triggers[i].Data[0], i % 3);
    EXPECT_EQ(triggers[i].DataLength, i % 3 == 2 ? 4 : 1);
  }
}

TEST(SyntheticCan, AboutAFifthIsTransmitted) {
  for (const unsigned int load : {1u, 10u, 30u, 100u}) {
    size_t transmitted = 0, all = 0;
    for (const auto& frame : Bus(1, kRun, load)) {
      if (!IsData(frame)) continue;
      ++all;
      transmitted += (frame.Flags & kCanTransmitted) != 0 ? 1 : 0;
    }
    EXPECT_NEAR(static_cast<double>(transmitted) / static_cast<double>(all), 0.2, 0.05) << load;
  }
}

TEST(SyntheticCan, CyclicMessagesCountTheirFramesAndKeepTheirPeriod) {
  std::vector<CanItem> sent;  // of the first message of 10 ms
  for (const auto& frame : Bus(1, 10 * kSecond)) {
    const bool candidate = IsData(frame) && frame.Identifier >= 0x0A0 && frame.Identifier <= 0x0A3;
    if (candidate && (sent.empty() || sent.front().Identifier == frame.Identifier)) sent.push_back(frame);
  }
  ASSERT_NEAR(static_cast<double>(sent.size()), 1000, 1);
  for (size_t i = 1; i < sent.size(); ++i) {
    EXPECT_EQ(sent[i].Data[0] & 0x0F, (sent[i - 1].Data[0] + 1) & 0x0F);
    EXPECT_NEAR(static_cast<double>(sent[i].Timestamp - sent[i - 1].Timestamp), 10e6, 2e6);
  }
}
