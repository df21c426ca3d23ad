#include "SyntheticLin.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "FakeTime.h"
#include "LinMessages.h"
#include "SyntheticBus.h"

using namespace qor_sim;

namespace {

constexpr uint64_t kRun = 180 * kSecond;

LinItem FrameOf(const Item& item) {
  LinItem frame;
  EXPECT_GE(item.Bytes.size(), 20u);
  frame.Timestamp = item.Timestamp;
  frame.Flags = item.Bytes.at(12);
  frame.DataLength = item.Bytes.at(13);
  frame.Identifier = item.Bytes.at(14);
  std::memcpy(&frame.BitTime, item.Bytes.data() + 16, 4);
  std::copy(item.Bytes.begin() + 20, item.Bytes.end(), frame.Data);
  uint64_t timestamp = 0;
  std::memcpy(&timestamp, item.Bytes.data() + 4, 8);
  EXPECT_EQ(timestamp, item.Timestamp);
  EXPECT_EQ(item.Bytes.size(), 20u + frame.DataLength);
  return frame;
}

std::vector<LinItem> Bus(uint64_t seed, uint64_t duration) {
  const auto source = MakeSyntheticLin({seed, duration});
  std::vector<LinItem> frames;
  for (const Item& item : ItemsOf(*source)) frames.push_back(FrameOf(item));
  return frames;
}

bool Has(const LinItem& frame, unsigned int flags) { return (frame.Flags & flags) == flags; }
bool IsFaultless(const LinItem& frame) { return (frame.Flags & ~kLinTransmitted) == 0 && frame.DataLength > 0; }
unsigned int IdOf(const LinItem& frame) { return frame.Identifier & 0x3Fu; }

bool IsGoToSleep(const LinItem& frame) {
  return IsFaultless(frame) && IdOf(frame) == 0x3C && frame.Data[0] == 0 && frame.Data[1] == 0xFF;
}

/// The sum with carry of the data, of another first value for the enhanced checksum, inverted.
unsigned int Checksum(unsigned int first, const LinItem& frame) {
  unsigned int sum = first;
  for (size_t i = 0; i + 1 < frame.DataLength; ++i) sum += frame.Data[i];
  while (sum > 0xFF) sum = (sum & 0xFF) + (sum >> 8);
  return sum ^ 0xFF;
}

bool ChecksumFits(const LinItem& frame) {
  static const std::set<unsigned int> kClassic = {0x10, 0x11, 0x2A, 0x3C, 0x3D};
  const unsigned int first = kClassic.count(IdOf(frame)) != 0 ? 0 : frame.Identifier;
  return frame.Data[frame.DataLength - 1] == Checksum(first, frame);
}

}  // namespace

TEST(SyntheticLin, SameSeedSameItems) { ExpectSameSeedSameItems(MakeSyntheticLin); }
TEST(SyntheticLin, OtherSeedOtherItems) { ExpectOtherSeedOtherItems(MakeSyntheticLin); }
TEST(SyntheticLin, EndsWithItsDuration) { ExpectEndWithDuration(MakeSyntheticLin, 20 * kMs); }

TEST(LinFrameLength, CountsHeaderSpaceAndBytes) {
  LinItem frame;
  EXPECT_EQ(LinFrameLength(frame), 34u * 52083);  // nobody answered
  frame.DataLength = 9;
  EXPECT_EQ(LinFrameLength(frame), (34u + 8 + 90) * 52083);
}

TEST(SyntheticLin, FramesNeverOverlap) {
  uint64_t free = 0;
  for (const auto& frame : Bus(3, kRun)) {
    if (Has(frame, kLinTrigger)) continue;
    ASSERT_GE(frame.Timestamp, free);
    free = frame.Timestamp + (Has(frame, kLinWakeUp) ? 5 * kMs : LinFrameLength(frame));
  }
}

TEST(SyntheticLin, HasEveryKindOfItemWithinThreeMinutes) {
  for (const uint64_t seed : {1u, 2u, 3u}) {
    std::map<unsigned int, unsigned int> kinds;
    unsigned int unanswered = 0, rising = 0, falling = 0;
    for (const auto& frame : Bus(seed, kRun)) {
      ++kinds[frame.Flags];
      unanswered += Has(frame, kLinTransmitError) && frame.DataLength == 0 ? 1 : 0;
      rising += Has(frame, kLinTrigger) && frame.Identifier == kLinRisingEdge ? 1 : 0;
      falling += Has(frame, kLinTrigger) && frame.Identifier == kLinFallingEdge ? 1 : 0;
    }
    for (const unsigned int flags : {0x00u, 0x40u, 0x01u, 0x02u, 0x04u, 0x48u, 0x10u, 0x20u, 0x60u}) {
      EXPECT_GT(kinds[flags], 0u) << std::hex << flags;
    }
    EXPECT_EQ(kinds.size(), 9u);
    EXPECT_GT(unanswered, 0u);
    EXPECT_GT(kinds[kLinTransmitError | kLinTransmitted], unanswered);  // others were sent with an error
    EXPECT_GT(rising, 0u);
    EXPECT_GT(falling, 0u);
  }
}

TEST(SyntheticLin, OnlyChecksumErrorsHaveAWrongChecksum) {
  for (const auto& frame : Bus(1, kRun)) {
    if (frame.DataLength == 0) continue;
    EXPECT_EQ(ChecksumFits(frame), !Has(frame, kLinChecksumError)) << std::hex << IdOf(frame);
  }
}

TEST(SyntheticLin, OnlyParityErrorsHaveAWrongParity) {
  for (const auto& frame : Bus(1, kRun)) {
    if (Has(frame, kLinTrigger) || Has(frame, kLinWakeUp)) continue;
    const bool fits = frame.Identifier == LinProtectedIdentifier(static_cast<unsigned char>(IdOf(frame)));
    EXPECT_EQ(fits, !Has(frame, kLinParityError));
  }
}

TEST(SyntheticLin, LengthsFollowIdentifiers) {
  for (const auto& frame : Bus(1, kRun)) {
    if (!IsFaultless(frame)) continue;
    const unsigned int data = frame.DataLength - 1u;
    EXPECT_EQ(data, IdOf(frame) < 0x20 ? 2u : IdOf(frame) < 0x30 ? 4u : 8u);
  }
}

TEST(SyntheticLin, BitTimesStayNearTheNominalOne) {
  uint32_t least = ~0u, greatest = 0;
  for (const auto& frame : Bus(1, kRun)) {
    least = std::min(least, frame.BitTime);
    greatest = std::max(greatest, frame.BitTime);
  }
  // 1 s / 19200 is 416666 eighths of a ns.
  EXPECT_GE(least, 415'666u);
  EXPECT_LE(greatest, 417'666u);
  EXPECT_GT(greatest - least, 500u);
}

TEST(SyntheticLin, TheScheduleRepeatsEveryHundredMilliseconds) {
  uint64_t last = 0;
  unsigned int repeats = 0;
  for (const auto& frame : Bus(1, kRun)) {
    if (Has(frame, kLinWakeUp)) last = 0;
    if (Has(frame, kLinTrigger) || IdOf(frame) != 0x20) continue;
    if (last != 0) {
      EXPECT_NEAR(static_cast<double>(frame.Timestamp - last), 100e6, 0.2e6);
      ++repeats;
    }
    last = frame.Timestamp;
  }
  EXPECT_GT(repeats, 1'500u);
}

TEST(SyntheticLin, MessagesOfMoreThanTwoBytesCount) {
  std::map<unsigned int, unsigned int> last;
  for (const auto& frame : Bus(1, 30 * kSecond)) {
    if (frame.DataLength < 5 || IdOf(frame) >= 0x3C) continue;
    const unsigned int counter = frame.Data[frame.DataLength - 2] & 0x0Fu;
    const auto before = last.find(IdOf(frame));
    if (before != last.end()) {
      const unsigned int step = (counter - before->second) & 0x0F;
      EXPECT_TRUE(step == 1 || step == 2) << step;  // at most one response in between was missing
    }
    last[IdOf(frame)] = counter;
  }
  EXPECT_EQ(last.size(), 6u);
}

TEST(SyntheticLin, ARequestIsFollowedByItsResponse) {
  const auto frames = Bus(1, kRun);
  std::vector<LinItem> diagnosis;
  std::copy_if(frames.begin(), frames.end(), std::back_inserter(diagnosis), [](const LinItem& frame) {
    return (IdOf(frame) == 0x3C || IdOf(frame) == 0x3D) && !IsGoToSleep(frame) && IsFaultless(frame);
  });
  ASSERT_GE(diagnosis.size(), 40u);
  for (size_t i = 0; i + 1 < diagnosis.size(); i += 2) {
    EXPECT_EQ(IdOf(diagnosis[i]), 0x3Cu);
    EXPECT_TRUE(Has(diagnosis[i], kLinTransmitted));
    EXPECT_EQ(IdOf(diagnosis[i + 1]), 0x3Du);
    EXPECT_FALSE(Has(diagnosis[i + 1], kLinTransmitted));
    EXPECT_EQ(diagnosis[i + 1].Data[2], diagnosis[i].Data[2] + 0x40);  // the positive response
  }
}

TEST(SyntheticLin, AfterGoToSleepTheBusIsQuietUntilAWakeUp) {
  bool asleep = false;
  unsigned int wakeUps = 0;
  for (const auto& frame : Bus(1, kRun)) {
    if (Has(frame, kLinTrigger)) continue;
    EXPECT_EQ(asleep, Has(frame, kLinWakeUp));
    wakeUps += asleep ? 1 : 0;
    asleep = IsGoToSleep(frame);
  }
  EXPECT_GE(wakeUps, 2u);
}
