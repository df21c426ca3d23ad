// pcap files of either byte order and unit of time, and damaged ones.
#include "inputs/PcapReader.h"

#include <gtest/gtest.h>

#include "tools/PcapngFile.h"
#include "tools/ReadInput.h"

namespace client {
namespace {

using test::CanItem;
using test::Counting;
using test::EthernetItem;

constexpr unsigned int kMicroseconds = 0xA1B2C3D4;
constexpr unsigned int kNanoseconds = 0xA1B23C4D;

class PcapReaderTest : public testing::Test {
 protected:
  static BytesIn File(unsigned int link = 1, unsigned int magic = kMicroseconds, ByteOrder order = ByteOrder::Little) {
    BytesIn file(order);
    return file.Put(magic).Put(short{2}).Put(short{4}).Put(0ul).Put(65'535u).Put(link);
  }
  static void Packet(BytesIn& file, unsigned int seconds, unsigned int fraction, const Bytes& packet,
                     size_t original = 0) {
    file.Put(seconds).Put(fraction).Put(static_cast<unsigned int>(packet.size()));
    file.Put(static_cast<unsigned int>(std::max(original, packet.size()))).Put(packet);
  }

  test::TemporaryDirectory Directory;
};

TEST_F(PcapReaderTest, EitherByteOrderAndUnitIsRead) {
  for (const ByteOrder order : {ByteOrder::Little, ByteOrder::Big}) {
    for (const unsigned int magic : {kMicroseconds, kNanoseconds}) {
      BytesIn file = File(1, magic, order);
      Packet(file, 1'795'262'400, 5, Counting(60));
      const ReadOut out = ReadBytes(file.All);
      const unsigned long time = 1'795'262'400'000'000'000 + (magic == kNanoseconds ? 5 : 5'000);
      EXPECT_EQ(out.Records, std::vector<Bytes>{RecordOf(EthernetItem().At(time).Frame(Counting(60)))});
      EXPECT_EQ(out.Known.Epoch, ClockEpoch::Since1970);
      EXPECT_EQ(out.Known.Channels, (std::vector<ChannelDescription>{{.Number = 1, .BusType = BusType_Ethernet}}));
      EXPECT_TRUE(out.Known.Complete);
      EXPECT_TRUE(out.Found.empty());
    }
  }
}

TEST_F(PcapReaderTest, CanPacketsAreRead) {
  BytesIn file = File(227);
  Packet(file, 0, 7, {0, 0, 1, 0x23, 1, 0, 0, 0, 0xA1});
  EXPECT_EQ(ReadBytes(file.All).Records, std::vector<Bytes>{RecordOf(CanItem().At(7'000).Id(0x123).Data({0xA1}))});
}

TEST_F(PcapReaderTest, CheckSequenceThatTheLinkTypeTellsIsDropped) {
  BytesIn file = File(0x24000001);  // two units of two bytes
  Packet(file, 0, 0, Counting(64));
  Packet(file, 0, 1, Counting(50), 64);
  const ReadOut out = ReadBytes(file.All);
  ASSERT_EQ(out.Records.size(), 2u);
  EXPECT_EQ(out.At(0).Ethernet().Frame().size(), 60u);
  EXPECT_EQ(out.At(0).Ethernet().FrameLength, 60u);
  EXPECT_EQ(out.At(1).Ethernet().Frame().size(), 50u);
  EXPECT_EQ(out.At(1).Ethernet().FrameLength, 60u);
  EXPECT_EQ(CountOf(out, FindingKind::Odd, "a packet that was not captured whole"), 1u);
}

TEST_F(PcapReaderTest, OtherLinkTypesAreLeftOutAndNamedWhenThereIsNothingElse) {
  BytesIn file = File(113);
  Packet(file, 0, 0, Counting(64));
  const ReadOut out = ReadBytes(file.All);
  EXPECT_EQ(CountOf(out, FindingKind::LeftOut, "a packet of link type 113"), 1u);
  const auto reader = OpenInput("in");
  EXPECT_EQ(reader->Next(), nullptr);
  try {
    RefuseWithoutRecords(*reader, "in");
    FAIL() << "nothing thrown";
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(), "There are no records in \"in\"; what it has is a packet of link type 113");
  }
}

TEST_F(PcapReaderTest, FileThatIsCutOffAnywhereGivesThePacketsBefore) {
  BytesIn file = File();
  Packet(file, 0, 0, Counting(20));
  Packet(file, 0, 1, Counting(21));
  for (size_t size = 4; size <= file.All.size(); ++size) {
    SCOPED_TRACE(size);
    const ReadOut out = ReadBytes({file.All.begin(), file.All.begin() + static_cast<std::ptrdiff_t>(size)});
    const bool whole = size == 24 || size == 24 + 36 || size == 24 + 36 + 37;
    EXPECT_EQ(out.Records.size(), size < 24 + 36 ? 0u : size < 24 + 36 + 37 ? 1u : 2u);
    EXPECT_EQ(CountOf(out, FindingKind::CutOff, "the file ends in the middle of a packet"), whole ? 0u : 1u);
    EXPECT_EQ(out.Known.Complete, whole);
  }
}

TEST_F(PcapReaderTest, PacketLongerThanAnyIsDamage) {
  BytesIn file = File();
  Packet(file, 0, 0, Counting(20));
  file.Put(0u).Put(0u).Put(0xFFFFFFFFu).Put(60u);
  const ReadOut out = ReadBytes(file.All);
  EXPECT_EQ(out.Records.size(), 1u);
  EXPECT_EQ(out.Failed, "At byte 60 of \"in\" a packet of 4294967295 bytes is announced: the file is damaged there");
}

TEST_F(PcapReaderTest, UnknownVersionsAreRefused) {
  BytesIn file(ByteOrder::Little);
  file.Put(kMicroseconds).Put(short{3}).Put(short{4}).Put(0ul).Put(65'535u).Put(1u);
  EXPECT_EQ(ReadBytes(file.All).Failed, "Version 3 of pcap isn't known here; there is only version 2");
}

TEST_F(PcapReaderTest, FractionOfMoreThanASecondIsOdd) {
  BytesIn file = File();
  Packet(file, 1, 1'500'000, Counting(20));
  const ReadOut out = ReadBytes(file.All);
  EXPECT_EQ(out.At(0).Timestamp(), 2'500'000'000u);
  EXPECT_EQ(CountOf(out, FindingKind::Odd, "a time whose fraction is more than a second"), 1u);
}

}  // namespace
}  // namespace client
