#include "linux/PacketBlock.h"

#include <gtest/gtest.h>

#include "PacketMaker.h"

using qor_linux::Packet;
using qor_linux::PacketBlock;

namespace {

using Bytes = std::vector<unsigned char>;

constexpr uint64_t kTime = 1'700'000'000'123'456'789;

Bytes Counting(size_t size) {
  Bytes bytes(size);
  for (size_t place = 0; place < size; ++place) bytes[place] = static_cast<unsigned char>(place);
  return bytes;
}

Bytes Restored(const Packet& packet) {
  Bytes frame;
  qor_linux::RestoreFrame(packet, frame);
  return frame;
}

}  // namespace

TEST(PacketBlock, PacketsHaveTheirTimesDirectionsAndBytes) {
  const Bytes block = BlockOf({{Counting(60), kTime}, {Counting(61), kTime + 1, true}});
  PacketBlock packets(block);
  const auto first = packets.Next();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->Time, kTime);
  EXPECT_FALSE(first->Transmitted);
  EXPECT_EQ(Restored(*first), Counting(60));
  const auto second = packets.Next();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->Time, kTime + 1);
  EXPECT_TRUE(second->Transmitted);
  EXPECT_EQ(Restored(*second), Counting(61));
  EXPECT_FALSE(packets.Next());
  EXPECT_EQ(packets.Left(), 0u);
}

TEST(PacketBlock, TagThatTheKernelTookOutIsPutBack) {
  const Bytes block =
      BlockOf({{Counting(60), kTime, false, TP_STATUS_VLAN_VALID | TP_STATUS_VLAN_TPID_VALID, 0x2064, 0x88A8},
               {Counting(60), kTime, false, TP_STATUS_VLAN_VALID, 0, 0}});
  PacketBlock packets(block);
  Bytes expected = Counting(60);
  const Bytes tag = {0x88, 0xA8, 0x20, 0x64};
  expected.insert(expected.begin() + 12, tag.begin(), tag.end());
  EXPECT_EQ(Restored(*packets.Next()), expected);
  const Bytes usual = {0x81, 0x00, 0x00, 0x00};
  std::copy(usual.begin(), usual.end(), expected.begin() + 12);
  EXPECT_EQ(Restored(*packets.Next()), expected);
}

TEST(PacketBlock, PacketTooShortForATagStaysAsItIs) {
  const Bytes block = BlockOf({{Counting(5), kTime, false, TP_STATUS_VLAN_VALID, 1, 0}});
  PacketBlock packets(block);
  EXPECT_EQ(Restored(*packets.Next()), Counting(5));
}

TEST(PacketBlock, BlockThatIsCutOffHasItsWholePackets) {
  const Bytes whole = BlockOf({{Counting(60), kTime}, {Counting(60), kTime + 1}});
  for (size_t length = 0; length < whole.size(); ++length) {
    const Bytes some(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    PacketBlock packets(some);
    size_t count = 0;
    while (packets.Next()) ++count;
    EXPECT_LT(count, 3u);
    if (length >= sizeof(tpacket_block_desc)) {
      EXPECT_EQ(count + packets.Left(), 2u) << length;
    }
  }
}

TEST(PacketBlock, NumbersThatContradictThemselvesEndTheReading) {
  const Bytes whole = BlockOf({{Counting(60), kTime}, {Counting(60), kTime + 1}});
  for (size_t place = 0; place < 200; ++place) {
    for (const unsigned int value : {0u, 1u, 0x7Fu, 0xFFu}) {
      Bytes damaged = whole;
      damaged[place] = static_cast<unsigned char>(value);
      PacketBlock packets(damaged);
      size_t bytes = 0;
      for (size_t count = 0; count < 1000; ++count) {
        const auto packet = packets.Next();
        if (!packet) break;
        bytes += Restored(*packet).size();
      }
      EXPECT_LE(bytes, 1000 * (whole.size() + 4));
    }
  }
}
