// PCAPNG files read back: those of the client's own writer, of the library's export, and what others may write.
#include "inputs/PcapngReader.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "export/Qor_Trace_Export_PCAP.h"
#include "outputs/PcapngWriter.h"
#include "stream/PacketLayouts.h"
#include "tools/PcapngFile.h"
#include "tools/ReadInput.h"

namespace client {
namespace {

using test::CanItem;
using test::Counting;
using test::EthernetItem;
using test::FlexRayItem;
using test::LinItem;

constexpr unsigned long kStart = 1'795'262'400'000'000'000;  // ns
constexpr unsigned short kEthernet = 1;
constexpr unsigned short kSocketCan = 227;
const Bytes kNanoseconds = BytesIn(ByteOrder::Little).Option(9, Bytes{9}).All;

Bytes Frame(size_t size = 60) { return Counting(size); }

class PcapngReaderTest : public testing::Test {
 protected:
  test::TemporaryDirectory Directory;
};

// ---- What the client writes -----------------------------------------------------------------------------------------

/// Writes records as the client does, and reads the file.
ReadOut ThroughFile(const std::vector<Bytes>& records, const Description& description = {}) {
  const int file = open("in", O_WRONLY | O_CREAT | O_TRUNC, 0666);
  DescriptorSink sink(file);
  PcapngWriter writer(sink, {.Application = "qor-trace 9"});
  writer.Describe(description);
  for (const Bytes& record : records) EXPECT_TRUE(writer.Take(ViewOf(record)));
  EXPECT_TRUE(writer.Finish());
  close(file);
  const auto reader = OpenInput("in");
  return ReadToEnd(*reader);
}

TEST_F(PcapngReaderTest, RecordsOfAllKindsComeBackAsTheyWere) {
  const LinItem lin = LinItem().Channel(2).BitTime(0);
  const std::vector<Bytes> records = {
      RecordOf(CanItem().At(kStart).Id(0x123).Data({1, 2, 3})),
      RecordOf(CanItem().At(kStart + 1).Id(0x1ABCDEF0).Extended().Tx().Data(Counting(8)).Dlc(11)),
      RecordOf(CanItem().At(kStart + 2).Id(0x7FF).Data({}).Dlc(5)),
      RecordOf(CanItem().At(kStart + 3).Id(7).Fd().Brs().Esi().Data(Counting(64))),
      RecordOf(CanItem().At(kStart + 4).Id(8).Fd().Data({1})),
      RecordOf(LinItem(lin).At(kStart + 5).Id(0x10).Data({1, 2}, 0xAC)),
      RecordOf(LinItem(lin).At(kStart + 6).Id(0x11).Tx().Data(Counting(8), 0x55).ChecksumError()),
      RecordOf(LinItem(lin).At(kStart + 7).Id(0xD2).Data({9}, 1).ParityError().SyncError()),
      RecordOf(LinItem(lin).At(kStart + 8).Id(0x13).TransmitError().DataLength(0)),
      RecordOf(LinItem(lin).At(kStart + 9).Id(0x14).DataLength(0)),
      RecordOf(LinItem(lin).At(kStart + 10).WakeUp().DataLength(0)),
      RecordOf(FlexRayItem()
                   .Channel(3)
                   .At(kStart + 11)
                   .Slot(2047)
                   .Cycle(63)
                   .HeaderCrc(0x7FF)
                   .FrameFlags(0x1A)
                   .Data(Counting(254))),
      RecordOf(FlexRayItem().Channel(3).At(kStart + 12).Tx().Code(1).Slot(1).Data({1, 2})),
      RecordOf(FlexRayItem().Channel(3).At(kStart + 13).Code(2).Slot(4).Cycle(1).Data({5, 6, 7, 8})),
      RecordOf(FlexRayItem().Channel(3).At(kStart + 14).FrameFlags(QOR_TRACE_FLEXRAY_NULL).Slot(5).Data(Bytes(16, 0))),
      RecordOf(EthernetItem().Channel(4).At(kStart + 15).Frame(Frame(60))),
      RecordOf(EthernetItem().Channel(4).At(kStart + 16).Tx().Frame(Frame(9018))),
      RecordOf(EthernetItem().Channel(4).At(kStart + 17).CrcError().Frame(Frame(65519))),
  };
  const ReadOut out = ThroughFile(records);
  ASSERT_EQ(out.Records.size(), records.size());
  for (size_t index = 0; index < records.size(); ++index) {
    SCOPED_TRACE(index);
    EXPECT_EQ(out.Records[index], records[index]);
  }
  EXPECT_TRUE(out.Found.empty());
  EXPECT_TRUE(out.Known.Complete);
  EXPECT_EQ(out.Known.Epoch, ClockEpoch::Since1970);
}

TEST_F(PcapngReaderTest, CanErrorFramesKeepTheirKindAndDirection) {
  for (unsigned char kind = 1; kind <= 7; ++kind) {
    SCOPED_TRACE(int{kind});
    const ReadOut out = ThroughFile({RecordOf(CanItem().ErrorFrame(kind)), RecordOf(CanItem().Tx().ErrorFrame(kind))});
    ASSERT_EQ(out.Records.size(), 2u);
    EXPECT_EQ(out.At(0).Kind(), RecordKind::CanErrorFrame);
    EXPECT_EQ(out.At(0).Can().Code(), kind);
    EXPECT_FALSE(out.At(0).IsTransmitted());
    EXPECT_TRUE(out.At(1).IsTransmitted());
  }
}

TEST_F(PcapngReaderTest, FlexRayFramesOfOneChannelStayTwo) {
  const FlexRayItem item = FlexRayItem().At(5).Slot(4).Data({5, 6});
  const std::vector<Bytes> other = {RecordOf(FlexRayItem(item)), RecordOf(FlexRayItem(item).Code(1).Cycle(1))};
  EXPECT_EQ(ThroughFile(other).Records, other);
  const std::vector<Bytes> later = {RecordOf(FlexRayItem(item)), RecordOf(FlexRayItem(item).Code(1).At(6))};
  EXPECT_EQ(ThroughFile(later).Records, later);
  const std::vector<Bytes> alone = {RecordOf(FlexRayItem(item))};
  EXPECT_EQ(ThroughFile(alone).Records, alone);
}

TEST_F(PcapngReaderTest, FrameThatWasRecordedInPartStaysOne) {
  test::Record frame(*EthernetItem().Frame(Frame(100)).Entry());
  frame.CutTo(28 + 16 + 40);
  test::Record can(*CanItem().Fd().Data(Counting(12)).Entry());
  can.CutTo(44 + 5);
  const ReadOut out =
      ThroughFile({Bytes(frame.Data(), frame.Data() + frame.Length()), Bytes(can.Data(), can.Data() + can.Length())});
  ASSERT_EQ(out.Records.size(), 2u);
  EXPECT_EQ(out.At(0).Ethernet().FrameLength, 100);
  EXPECT_EQ(out.At(0).Ethernet().Frame().size(), 40u);
  EXPECT_EQ(out.At(1).Can().DataLength, 12);
  EXPECT_EQ(out.At(1).Can().Data().size(), 5u);
  EXPECT_EQ(CountOf(out, FindingKind::Odd, "a packet that was not captured whole"), 2u);
}

TEST_F(PcapngReaderTest, DescriptionComesBack) {
  Description told;
  told.Title = "Two lines\nof title";
  told.Tool = "qor-trace 9";
  told.Host = "bench-7";
  told.System = "Linux 6";
  told.Machine = "x86_64";
  told.Anchor = ClockAnchor{0, kStart};
  told.Channels = {{.Number = 3,
                    .BusType = BusType_Can,
                    .Source = "can0",
                    .Hardware = "box",
                    .BitRate = 500'000,
                    .Filter = "id == 1"},
                   {.Number = 7, .BusType = BusType_Lin, .Source = "lin0", .BitRate = 19'200}};
  told.Losses = {{3, LossCause::CaptureBufferFull, 1'000'000'500, 2'000'000'500, 7},
                 {7, LossCause::OverrunMark, 1'000'000'000, 1'500'000'000, std::nullopt}};
  const ReadOut out =
      ThroughFile({RecordOf(CanItem().Channel(3).At(1'000'000'500)), RecordOf(CanItem().Channel(3).At(3'000'000'000)),
                   RecordOf(LinItem().Channel(7).At(3'000'000'001).Data({1}, 2))},
                  told);
  const Description& known = out.Known;
  EXPECT_EQ(known.Title, told.Title);
  EXPECT_EQ(known.Tool, told.Tool);
  EXPECT_EQ(known.Host, told.Host);
  EXPECT_EQ(known.System, told.System);
  EXPECT_EQ(known.Machine, told.Machine);
  EXPECT_EQ(known.Channels, told.Channels);
  const std::vector<Loss> losses = {
      {3, LossCause::CaptureBufferFull, kStart + 1'000'000'000, kStart + 2'000'000'999, 7},
      {7, LossCause::OverrunMark, kStart + 1'000'000'000, kStart + 1'500'000'999, std::nullopt}};
  EXPECT_EQ(known.Losses, losses);
  EXPECT_EQ(out.At(2).Lin().BitTime, 416'667u) << "by the bit rate of the channel";
}

TEST_F(PcapngReaderTest, LossesAfterTheLastPacketComeBack) {
  Description told;
  told.Anchor = ClockAnchor{0, kStart};
  told.Losses = {{1, LossCause::CaptureBufferFull, 100'000, 200'000, 9},
                 {1, LossCause::CaptureBufferFull, 300'000, 400'000, 2},
                 {1, LossCause::Reordering, 350'000, 360'000, 7},
                 {2, LossCause::InterfaceGone, 400'000, 500'000, std::nullopt}};
  const ReadOut out = ThroughFile({RecordOf(CanItem().At(50)), RecordOf(LinItem().Channel(2).At(300))}, told);
  std::vector<Loss> expected = told.Losses;
  for (Loss& loss : expected) {
    loss.First += kStart;
    loss.Last += kStart + 999;
  }
  EXPECT_EQ(out.Known.Losses, expected);
}

TEST_F(PcapngReaderTest, RecordingThatWasCutOffIsIncomplete) {
  PcapngFile file;
  file.Section(file.New().Option(4, "qor-trace 2.0.0").All).Interface(kEthernet).Packet(0, 1, Frame());
  EXPECT_FALSE(ReadBytes(file.All).Known.Complete);
  PcapngFile others;
  others.Section().Interface(kEthernet).Packet(0, 1, Frame());
  EXPECT_TRUE(ReadBytes(others.All).Known.Complete);
}

// ---- What the library writes ----------------------------------------------------------------------------------------

TEST_F(PcapngReaderTest, ExportOfTheLibraryIsReadWithItsChannelsAndCustomRecords) {
  Qor_Trace_EntryStore entries;
  entries.push_back(EthernetItem().Channel(12).At(5).Tx().Frame(Frame(61)).Entry());
  entries.push_back(
      EthernetItem().Channel(12).At(6).Kind(QOR_TRACE_ETHERNET_CUSTOM).Frame({'n', 'o', 't', 'e'}).Entry());
  entries.push_back(EthernetItem().Channel(3).At(7).CrcError().Frame(Frame(64)).Entry());
  Qor_Trace_Export_PCAP(0, "in", 0).Export(entries);
  const auto reader = OpenInput("in");
  const ReadOut out = ReadToEnd(*reader);
  ASSERT_EQ(out.Records.size(), 3u);
  EXPECT_EQ(out.Records[0], RecordOf(EthernetItem().Channel(12).At(5).Tx().Frame(Frame(61))));
  EXPECT_EQ(out.Records[1],
            RecordOf(EthernetItem().Channel(12).At(5).Kind(QOR_TRACE_ETHERNET_CUSTOM).Frame({'n', 'o', 't', 'e'})));
  EXPECT_EQ(out.Records[2], RecordOf(EthernetItem().Channel(3).At(7).CrcError().Frame(Frame(64))));
  EXPECT_EQ(CountOf(out, FindingKind::Odd, "an interface description that declares four bytes more than it has"), 2u);
}

TEST_F(PcapngReaderTest, ExportThatEndsAfterAnInterfaceIsWhole) {
  PcapngFile file;
  file.Section().Interface(kEthernet, {}, 1522, 4);
  const ReadOut out = ReadBytes(file.All);
  EXPECT_TRUE(out.Records.empty());
  EXPECT_TRUE(out.Known.Complete);
}

// ---- What others write ----------------------------------------------------------------------------------------------

TEST_F(PcapngReaderTest, EitherByteOrderIsRead) {
  for (const ByteOrder order : {ByteOrder::Little, ByteOrder::Big}) {
    SCOPED_TRACE(static_cast<int>(order));
    PcapngFile file(order);
    file.Section().Interface(kEthernet,
                             file.New().Option(2, "eth0").NumberOption(8, 1'000'000'000ul).Option(9, Bytes{9}).All);
    file.Interface(kSocketCan, file.New().Option(2, "can0").Option(9, Bytes{9}).All);
    file.Packet(0, kStart, Frame(), file.New().NumberOption(2, 0x01000002u).All);
    file.Packet(1, kStart + 1, {0x80, 0, 1, 0x23, 2, 0, 0, 0, 0xA1, 0xA2});
    const ReadOut out = ReadBytes(file.All);
    ASSERT_EQ(out.Records.size(), 2u);
    EXPECT_EQ(out.Records[0], RecordOf(EthernetItem().At(kStart).Tx().CrcError().Frame(Frame())));
    EXPECT_EQ(out.Records[1], RecordOf(CanItem().Channel(2).At(kStart + 1).Id(0x123).Extended().Data({0xA1, 0xA2})));
    ASSERT_EQ(out.Known.Channels.size(), 2u);
    EXPECT_EQ(
        out.Known.Channels[0],
        (ChannelDescription{
            .Number = 1, .BusType = BusType_Ethernet, .Source = "eth0", .Name = "eth0", .BitRate = 1'000'000'000}));
  }
}

TEST_F(PcapngReaderTest, SectionsMayHaveDifferentByteOrdersAndTheSameChannels) {
  PcapngFile first(ByteOrder::Big), second(ByteOrder::Little);
  first.Section(first.New().Option(1, "first").All)
      .Interface(kSocketCan, first.New().Option(2, "can0").All)
      .Interface(kEthernet, first.New().Option(2, "eth0").All);
  first.Packet(1, 1, Frame());
  second.Section(second.New().Option(1, "second").All)
      .Interface(kEthernet, second.New().Option(2, "eth0").All)
      .Interface(kEthernet, second.New().Option(2, "eth1").All);
  second.Packet(0, 2, Frame()).Packet(1, 3, Frame());
  const ReadOut out = ReadBytes(Joined({first.All, second.All}));
  ASSERT_EQ(out.Records.size(), 3u);
  EXPECT_EQ(out.At(0).ChannelId(), 2u);
  EXPECT_EQ(out.At(1).ChannelId(), 2u) << "the same interface by its name";
  EXPECT_EQ(out.At(2).ChannelId(), 3u) << "2 is taken";
  EXPECT_EQ(out.Known.Title, "first");
}

TEST_F(PcapngReaderTest, ChannelsOfTheClientKeepTheirNumbers) {
  PcapngFile file;
  file.Section();
  const char* const names[] = {"CAN-7", "can1", "CAN-7", "ETH-9", "CAN-0", "CAN-x"};
  const unsigned int numbers[] = {7, 2, 8, 4, 5, 6};  // ETH-9 isn't the name of a CAN channel
  for (const char* name : names) file.Interface(kSocketCan, file.New().Option(2, name).All);
  for (unsigned int index = 0; index < 6; ++index) file.Packet(index, index, {0, 0, 0, 1, 0, 0, 0, 0});
  const ReadOut out = ReadBytes(file.All);
  ASSERT_EQ(out.Records.size(), 6u);
  for (size_t index = 0; index < 6; ++index) EXPECT_EQ(out.At(index).ChannelId(), numbers[index]) << index;
}

struct ResolutionCase {
  unsigned char Resolution;
  long Offset;  // s
  unsigned long Stamp;
  unsigned long Time;  // ns
};
constexpr ResolutionCase kResolutions[] = {
    {6, 0, 1'500'000, 1'500'000'000},
    {9, 0, 1'500'000'001, 1'500'000'001},
    {0, 0, 3, 3'000'000'000},
    {3, 0, 1'500, 1'500'000'000},
    {12, 0, 1'500'000'001'999, 1'500'000'001},
    {0x7F, 0, ~0ul, 0},
    {0x80, 0, 3, 3'000'000'000},
    {0x80 | 10, 0, 1536, 1'500'000'000},
    {0x80 | 32, 0, 0x1'8000'0001, 1'500'000'000},
    {0xFF, 0, ~0ul, 0},
    {9, 100, 5, 100'000'000'005},
    {9, -1, 1'500'000'000, 500'000'000},
    {9, -2, 1'500'000'000, 0},
    {0, 0, ~0ul, ~0ul},
    {9, 0x7FFFFFFFFFFFFFFF, 0, ~0ul},
};

TEST_F(PcapngReaderTest, TimesOfAnyResolutionAndOffsetAreNanoseconds) {
  for (const ResolutionCase& c : kResolutions) {
    SCOPED_TRACE(testing::Message() << int{c.Resolution} << " " << c.Stamp);
    PcapngFile file;
    file.Section().Interface(kEthernet, file.New().Option(9, Bytes{c.Resolution}).NumberOption(14, c.Offset).All);
    file.Packet(0, c.Stamp, Frame());
    const ReadOut out = ReadBytes(file.All);
    ASSERT_EQ(out.Records.size(), 1u);
    EXPECT_EQ(out.At(0).Timestamp(), c.Time);
  }
}

TEST_F(PcapngReaderTest, MicrosecondsAreTheUnitUnlessTheInterfaceSays) {
  PcapngFile file;
  file.Section().Interface(kEthernet).Packet(0, 1'500'000, Frame());
  EXPECT_EQ(ReadBytes(file.All).At(0).Timestamp(), 1'500'000'000u);
}

TEST_F(PcapngReaderTest, SimpleAndObsoletePacketsAreRead) {
  PcapngFile file;
  file.Section().Interface(kEthernet, kNanoseconds, 40);
  file.Block(2, file.New()
                    .Put(short{0})
                    .Put(short{3})
                    .Put(0u)
                    .Put(77u)
                    .Put(60u)
                    .Put(60u)
                    .Put(Frame())
                    .Put(file.New().NumberOption(2, 2u).All)
                    .All);
  file.Block(3, file.New().Put(60u).Put(Frame(40)).All);
  const ReadOut out = ReadBytes(file.All);
  ASSERT_EQ(out.Records.size(), 2u);
  EXPECT_EQ(out.Records[0], RecordOf(EthernetItem().At(77).Tx().Frame(Frame())));
  EXPECT_EQ(out.At(1).Timestamp(), 77u);
  EXPECT_EQ(out.At(1).Ethernet().Frame().size(), 40u);
  EXPECT_EQ(out.At(1).Ethernet().FrameLength, 60u);
  EXPECT_EQ(CountOf(out, FindingKind::Odd, "a packet without a time, which gets that of the packet before"), 1u);
  EXPECT_EQ(out.Known.Losses, (std::vector<Loss>{{1, LossCause::CaptureBufferFull, 77, 77, 3}}));
}

TEST_F(PcapngReaderTest, CheckSequencesAreDropped) {
  struct Case {
    Bytes InterfaceOptions;
    Bytes PacketOptions;
    size_t Captured;
    size_t Left;
  };
  const auto option = [](unsigned short code, const Bytes& value) {
    return BytesIn(ByteOrder::Little).Option(code, value).All;
  };
  const Case cases[] = {
      {option(13, {4}), {}, 64, 60},
      {option(13, {32}), {}, 64, 60},
      {{}, option(2, {0x80, 0, 0, 0}), 64, 60},               // 4 bytes, by the packet
      {option(13, {4}), option(2, {0x40, 0, 0, 0}), 64, 62},  // the packet knows better
      {option(13, {4}), {}, 62, 60},                          // half of it was captured
      {option(13, {4}), {}, 50, 50},
      {{}, {}, 64, 64},
  };
  for (const Case& c : cases) {
    PcapngFile file;
    file.Section().Interface(kEthernet, c.InterfaceOptions).Packet(0, 1, Frame(c.Captured), c.PacketOptions, 64);
    const ReadOut out = ReadBytes(file.All);
    ASSERT_EQ(out.Records.size(), 1u);
    EXPECT_EQ(out.At(0).Ethernet().Frame().size(), c.Left);
  }
}

TEST_F(PcapngReaderTest, DropCountsLieBetweenThePackets) {
  PcapngFile file;
  file.Section().Interface(kEthernet, kNanoseconds).Interface(kEthernet, kNanoseconds);
  file.Packet(0, 100, Frame()).Packet(1, 150, Frame()).Packet(0, 200, Frame(), file.New().NumberOption(4, 5ul).All);
  // Counts of the interface since its beginning: five of them are known by now.
  file.Block(5, file.New().Put(0u).Put(0u).Put(300u).Put(file.New().NumberOption(5, 5ul).NumberOption(7, 2ul).All).All);
  file.Packet(0, 400, Frame()).Packet(0, 450, Frame(), file.New().NumberOption(4, 4ul).All);
  file.Block(5, file.New().Put(0u).Put(0u).Put(500u).Put(file.New().NumberOption(5, 12ul).All).All);
  file.Block(5, file.New().Put(1u).Put(0u).Put(500u).Put(file.New().NumberOption(5, 0ul).All).All);
  const ReadOut out = ReadBytes(file.All);
  const std::vector<Loss> losses = {{1, LossCause::CaptureBufferFull, 100, 300, 7},
                                    {1, LossCause::CaptureBufferFull, 400, 500, 5}};
  EXPECT_EQ(out.Known.Losses, losses);
}

TEST_F(PcapngReaderTest, WhatWasLostBeforeTheFirstPacketIsMissingSinceTheCaptureBegan) {
  const auto lost = [](const Bytes& options) {
    PcapngFile file;
    file.Section().Interface(kEthernet, kNanoseconds);
    file.Block(5, file.New().Put(0u).Put(0u).Put(300u).Put(options).Put(file.New().NumberOption(5, 7ul).All).All);
    file.Packet(0, 400, Frame());
    return ReadBytes(file.All).Known.Losses;
  };
  const Bytes since = BytesIn(ByteOrder::Little).Option(2, BytesIn(ByteOrder::Little).Put(0u).Put(50u).All).All;
  EXPECT_EQ(lost(since), (std::vector<Loss>{{1, LossCause::CaptureBufferFull, 50, 300, 7}}));
  EXPECT_EQ(lost({}), (std::vector<Loss>{{1, LossCause::CaptureBufferFull, 300, 300, 7}}))
      << "nothing says when it began";
}

TEST_F(PcapngReaderTest, LossesBeyondMeasureAreJoined) {
  PcapngFile file;
  file.Section().Interface(kEthernet, kNanoseconds);
  const Bytes one = file.New().NumberOption(4, 1ul).All;
  const unsigned long count = LossLedger::kMost + 50;
  for (unsigned long index = 0; index < count; ++index)
    file.Packet(0, 10 * index, {}).Packet(0, 10 * index + 5, {}, one);
  const ReadOut out = ReadBytes(file.All);
  ASSERT_EQ(out.Known.Losses.size(), LossLedger::kMost);
  EXPECT_EQ(out.Known.Losses.back().Last, 10 * count - 5);
  unsigned long sum = 0;
  for (const Loss& loss : out.Known.Losses) sum += loss.Count.value_or(0);
  EXPECT_EQ(sum, count);
}

TEST_F(PcapngReaderTest, OtherLinkTypesAndBlocksAreLeftOutAndCounted) {
  PcapngFile file;
  file.Section().Interface(147).Interface(kEthernet).Interface(113);
  file.Packet(0, 1, {1}).Packet(0, 2, {1}).Packet(2, 3, {1}).Packet(1, 4, Frame());
  file.Block(4, {})
      .Block(10, {})
      .Block(0x0BAD, file.New().Put(32473u).All)
      .Block(0x12345678, {})
      .Block(0x40000BAD, file.New().Put(0u).All);
  const ReadOut out = ReadBytes(file.All);
  ASSERT_EQ(out.Records.size(), 1u);
  EXPECT_EQ(out.At(0).ChannelId(), 2u) << "interfaces are numbered in their order";
  EXPECT_EQ(CountOf(out, FindingKind::LeftOut, "a packet of link type 147"), 2u);
  EXPECT_EQ(CountOf(out, FindingKind::LeftOut, "a packet of link type 113"), 1u);
  EXPECT_EQ(CountOf(out, FindingKind::LeftOut, "a block of type 0x12345678"), 1u);
  EXPECT_EQ(CountOf(out, FindingKind::LeftOut, "a custom block of enterprise 32473"), 1u);
  EXPECT_EQ(CountOf(out, FindingKind::LeftOut, "a custom block of enterprise 0"), 1u)
      << "only the library's export has records there";
  EXPECT_EQ(out.Found.size(), 5u);
  EXPECT_EQ(out.Known.Channels.size(), 1u);
}

// ---- Packets of other systems ---------------------------------------------------------------------------------------

/// What becomes of one packet.
ReadOut OfPacket(unsigned short link, const Bytes& packet) {
  PcapngFile file;
  file.Section().Interface(link, kNanoseconds).Packet(0, 5, packet);
  return ReadBytes(file.All);
}

TEST_F(PcapngReaderTest, CanPacketsOfOtherSystemsAreRead) {
  const auto padded = [](Bytes bytes, size_t size) { return bytes.resize(size), bytes; };
  const ReadOut classic = OfPacket(kSocketCan, padded({0, 0, 1, 0x23, 2, 0, 0, 0, 0xA1, 0xA2}, 16));
  EXPECT_EQ(classic.Records, std::vector<Bytes>{RecordOf(CanItem().At(5).Id(0x123).Data({0xA1, 0xA2}))});
  const ReadOut unmarked = OfPacket(kSocketCan, padded({0, 0, 1, 0x23, 2, 1, 0, 0, 0xA1, 0xA2}, 72));
  EXPECT_EQ(unmarked.Records, std::vector<Bytes>{RecordOf(CanItem().At(5).Id(0x123).Fd().Brs().Data({0xA1, 0xA2}))});
  const ReadOut remote = OfPacket(kSocketCan, {0x40, 0, 1, 0x23, 0, 0, 0, 0});
  EXPECT_EQ(CountOf(remote, FindingKind::Odd, "a CAN remote frame of length 0, read as a frame without data"), 1u);
  EXPECT_EQ(CountOf(OfPacket(kSocketCan, padded({0, 0, 1, 0x23, 0x80}, 20)), FindingKind::LeftOut, "a CAN XL frame"),
            1u);
  const ReadOut busOff = OfPacket(kSocketCan, padded({0x20, 0, 0, 0x40, 8}, 16));
  EXPECT_EQ(CountOf(busOff, FindingKind::LeftOut, "a report of a CAN controller's state"), 1u);
}

TEST_F(PcapngReaderTest, FlexRaySymbolsAreRecords) {
  const ReadOut out = OfPacket(210, {0x82, 30});
  ASSERT_EQ(out.Records.size(), 1u);
  EXPECT_EQ(out.At(0).Kind(), RecordKind::FlexRaySymbol);
  EXPECT_EQ(out.At(0).FlexRay().ChannelCode(), 1);
}

struct BadPacket {
  unsigned short Link;
  Bytes Packet;
  FindingKind Kind;
  const char* What;
};

TEST_F(PcapngReaderTest, PacketsThatCannotBeAreTold) {
  const BadPacket cases[] = {
      {kSocketCan, {0, 0, 0, 1, 0, 0, 0}, FindingKind::Unread, "a CAN packet shorter than its header"},
      {kSocketCan, {0, 0, 0, 1, 65, 4, 0, 0}, FindingKind::Unread, "a CAN packet with a length that no frame has"},
      {212, {1, 0, 0, 0, 0, 0, 0}, FindingKind::Unread, "a LIN packet shorter than its header"},
      {212,
       {1, 0, 0, 0, 0x90, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9},
       FindingKind::Unread,
       "a LIN packet with a length that no frame has"},
      {212, {1, 0, 0, 0, 0x20, 0, 0, 0, 1}, FindingKind::Unread, "a LIN packet that was not captured whole"},
      {212, {1, 0, 0, 0, 0x04, 0, 0, 0}, FindingKind::LeftOut, "a LIN packet of message type 1"},
      {212,
       {1, 0, 0, 0, 0x4C, 0, 0, 0, 0xB0, 0xB0, 0, 1},
       FindingKind::LeftOut,
       "a LIN event that is no wake-up signal"},
      {210, {}, FindingKind::Unread, "an empty FlexRay packet"},
      {210, {1, 0, 0, 0, 0, 0}, FindingKind::Unread, "a FlexRay packet shorter than its header"},
      {210, {3, 0}, FindingKind::LeftOut, "a FlexRay packet of type 3"},
  };
  for (const BadPacket& c : cases) {
    SCOPED_TRACE(c.What);
    const ReadOut out = OfPacket(c.Link, c.Packet);
    EXPECT_TRUE(out.Records.empty());
    EXPECT_EQ(CountOf(out, c.Kind, c.What), 1u);
  }
}

TEST_F(PcapngReaderTest, FrameLongerThanARecordIsCut) {
  const ReadOut out = OfPacket(kEthernet, Frame(66'000));
  ASSERT_EQ(out.Records.size(), 1u);
  EXPECT_EQ(out.At(0).Ethernet().Frame().size(), MadeRecord::kMostEthernet);
  EXPECT_EQ(CountOf(out, FindingKind::Odd, "an Ethernet frame that is longer than a record can hold, and cut"), 1u);
}

// ---- Damage ---------------------------------------------------------------------------------------------------------

/// A file of all kinds of blocks; `ends` is where each of them ends, and how many records there are up to there.
Bytes WholeFile(std::vector<std::pair<size_t, size_t>>& ends) {
  PcapngFile file;
  const auto end = [&](size_t records) { ends.emplace_back(file.All.size(), records); };
  file.Section(file.New().Option(4, "somebody").All), end(0);
  file.Interface(kEthernet, kNanoseconds), end(0);
  file.Interface(210, kNanoseconds), end(0);
  file.Packet(0, 1, Frame(5)), end(1);
  file.Packet(1, 2, {1, 0, 0x20, 3, 2, 0, 0, 7, 8}), end(2);
  file.Packet(1, 2, {0x81, 0, 0x20, 3, 2, 0, 0, 7, 8}), end(2);
  file.Block(3, file.New().Put(4u).Put(Frame(4)).All), end(3);
  file.Block(5, file.New().Put(0u).Put(0u).Put(500u).All), end(3);
  return file.All;
}

TEST_F(PcapngReaderTest, FileThatIsCutOffAnywhereGivesTheRecordsBefore) {
  std::vector<std::pair<size_t, size_t>> ends;
  const Bytes file = WholeFile(ends);
  for (size_t size = 4; size <= file.size(); ++size) {
    SCOPED_TRACE(size);
    size_t records = 0;
    bool whole = false;
    for (const auto& [end, count] : ends) {
      if (end <= size) records = count;
      whole = whole || end == size;
    }
    const ReadOut out = ReadBytes({file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)});
    EXPECT_EQ(out.Failed, "");
    EXPECT_EQ(out.Records.size(), records);
    EXPECT_EQ(out.Known.Complete, whole);
    EXPECT_EQ(CountOf(out, FindingKind::CutOff, "the file ends in the middle of a block"), whole ? 0u : 1u);
  }
}

TEST_F(PcapngReaderTest, BlockThatLiesAboutItsLengthEndsTheReadingAfterWhatCameBefore) {
  for (const unsigned int length : {0u, 8u, 13u, 40u, 0x01000004u, 0xFFFFFFFCu}) {
    SCOPED_TRACE(length);
    PcapngFile file;
    file.Section().Interface(kEthernet).Packet(0, 1, Frame());
    const size_t place = file.All.size();
    file.Packet(0, 2, Frame()).Packet(0, 3, Frame());
    std::memcpy(file.All.data() + place + 4, &length, sizeof length);
    const ReadOut out = ReadBytes(file.All);
    EXPECT_EQ(out.Records.size(), 1u);
    EXPECT_EQ(out.Failed,
              "There is no whole block at byte " + std::to_string(place) + " of \"in\": the file is damaged there");
  }
}

TEST_F(PcapngReaderTest, PacketBlocksThatContradictThemselvesAreLost) {
  PcapngFile file;
  file.Section().Interface(kEthernet);
  file.Packet(1, 1, Frame());  // of no interface
  file.Block(6, file.New().Put(0u).Put(0u).Put(1u).Put(61u).Put(61u).Put(Frame(60)).All);
  file.Block(6, file.New().Put(0u).All);
  file.Block(3, file.New().Put(61u).Put(Frame(60)).All);
  file.Packet(0, 1, Frame());
  const ReadOut out = ReadBytes(file.All);
  EXPECT_EQ(out.Records.size(), 1u);
  EXPECT_EQ(CountOf(out, FindingKind::Unread, "a packet block that contradicts itself"), 4u);
}

TEST_F(PcapngReaderTest, OptionsThatRunPastTheirBlockAreOdd) {
  PcapngFile file;
  file.Section()
      .Interface(kEthernet, file.New().Option(2, "eth0").Put(short{3}).Put(short{1000}).All)
      .Packet(0, 1, Frame());
  const ReadOut out = ReadBytes(file.All);
  EXPECT_EQ(out.Records.size(), 1u);
  EXPECT_EQ(out.Known.Channels.at(0).Name, "eth0");
  EXPECT_EQ(CountOf(out, FindingKind::Odd, "a block with options that run past its end"), 1u);
}

TEST_F(PcapngReaderTest, UnknownVersionsAreRefused) {
  PcapngFile file;
  file.Block(0x0A0D0D0A, file.New().Put(0x1A2B3C4Du).Put(short{2}).Put(short{0}).Put(~0ul).All);
  EXPECT_EQ(ReadBytes(file.All).Failed, "Version 2 of PCAPNG isn't known here; there is only version 1");
}

TEST_F(PcapngReaderTest, InterfacesWithoutEndAreRefused) {
  PcapngFile file;
  file.Section();
  for (size_t index = 0; index <= PcapngInterfaces::kMostInterfaces; ++index) file.Interface(kEthernet);
  EXPECT_EQ(ReadBytes(file.All).Failed, "The file describes more than 4096 interfaces: it is damaged");
}

}  // namespace
}  // namespace client
