// The client's PCAPNG writer: the bytes of every block and of every kind of packet, what it leaves out, and failed writes.
#include "outputs/PcapngWriter.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include "support/EntryBuilder.h"

namespace client {
namespace {

using test::CanItem;
using test::Counting;
using test::EthernetItem;
using test::FlexRayItem;
using test::LinItem;
using test::Record;

/// Keeps what it takes, up to a limit, as a disk would.
class StringSink : public ByteSink {
 public:
  std::size_t Write(const unsigned char* bytes, std::size_t size) override {
    const std::size_t taken = std::min(size, Limit - Text.size());
    Text.append(reinterpret_cast<const char*>(bytes), taken);
    if (taken < size) errno = ENOSPC;
    return taken;
  }
  std::string Text;
  std::size_t Limit = ~std::size_t{0};
};

std::string Hex(const std::string& bytes) {
  constexpr const char* Digits = "0123456789ABCDEF";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += {Digits[byte >> 4], Digits[byte & 15], ' '};
  }
  return text;
}

// 4 type | 4 length | 4 magic | 2 + 2 version | 8 section length | 4 + 12 shb_userappl | 4 end of options | 4 length
constexpr const char* Section =
    "0A 0D 0D 0A 30 00 00 00 4D 3C 2B 1A 01 00 00 00 FF FF FF FF FF FF FF FF "
    "04 00 09 00 71 6F 72 2D 74 72 61 63 65 00 00 00 00 00 00 00 30 00 00 00 ";
constexpr std::size_t SectionSize = 48;

// 4 type | 4 length | 2 link type | 2 reserved | 4 greatest packet | 4 + 8 if_name | 4 + 4 if_tsresol | 4 end | 4 length
std::string Interface(const char* link, const char* name) {
  return std::string("01 00 00 00 2C 00 00 00 ") + link + "00 00 00 00 00 00 02 00 05 00 " + name +
         "00 00 00 09 00 01 00 09 00 00 00 00 00 00 00 2C 00 00 00 ";
}
const std::string Can1 = Interface("E3 00 ", "43 41 4E 2D 31 ");
const std::string Lin1 = Interface("D4 00 ", "4C 49 4E 2D 31 ");
const std::string Ethernet1 = Interface("01 00 ", "45 54 48 2D 31 ");
// The name of a FlexRay interface has four characters.
const std::string FlexRay1 =
    "01 00 00 00 28 00 00 00 D2 00 00 00 00 00 00 00 02 00 04 00 46 52 2D 31 "
    "09 00 01 00 09 00 00 00 00 00 00 00 28 00 00 00 ";

/// What the writer makes of the entries, without the section header that every file begins with.
template <class... Entries>
std::string Blocks(const PcapngOptions& options, const Entries&... entries) {
  StringSink sink;
  PcapngWriter writer(sink, options);
  (writer.Take(*entries->GetEntry()), ...);
  EXPECT_TRUE(writer.Flush());
  EXPECT_EQ(Hex(sink.Text.substr(0, SectionSize)), Section);
  EXPECT_EQ(writer.Bytes(), sink.Text.size());
  return Hex(sink.Text.substr(SectionSize));
}

/// The packet that an entry becomes, as it stands in the file, without padding.
struct Seen {
  unsigned int Captured = 0;
  unsigned int Original = 0;
  std::string Data;
  unsigned int Flags = 0;
};

unsigned int NumberAt(const std::string& bytes, std::size_t place) {
  unsigned int number = 0;
  std::memcpy(&number, bytes.data() + place, sizeof number);
  return number;
}

std::vector<Seen> PacketsOf(const std::string& file) {
  std::vector<Seen> packets;
  for (std::size_t place = 0; place < file.size(); place += NumberAt(file, place + 4)) {
    if (NumberAt(file, place) != 6) continue;
    Seen seen;
    seen.Captured = NumberAt(file, place + 20);
    seen.Original = NumberAt(file, place + 24);
    seen.Data = Hex(file.substr(place + 28, seen.Captured));
    seen.Flags = NumberAt(file, place + 28 + (seen.Captured + 3) / 4 * 4 + 4);
    packets.push_back(seen);
  }
  return packets;
}

Seen PacketOf(const Qor_Trace_Entry_t& entry) {
  StringSink sink;
  PcapngWriter writer(sink);
  writer.Take(entry);
  writer.Flush();
  const auto packets = PacketsOf(sink.Text);
  EXPECT_EQ(packets.size(), 1u);
  return packets.empty() ? Seen() : packets.front();
}
template <class Item>
Seen PacketOf(const Item& item) {
  return PacketOf(*item.Entry()->GetEntry());
}

/// The kind that an entry is counted under; it becomes no packet.
std::string OmittedAs(const Qor_Trace_Entry_t& entry) {
  StringSink sink;
  PcapngWriter writer(sink);
  EXPECT_TRUE(writer.Take(entry));
  EXPECT_EQ(writer.Packets(), 0u);
  for (const auto& [name, count] : writer.Omitted().ByName())
    if (count == 1) return name;
  return "";
}
template <class Item>
std::string OmittedAs(const Item& item) {
  return OmittedAs(*item.Entry()->GetEntry());
}

// ---- Blocks ---------------------------------------------------------------------------------------------------------

TEST(PcapngWriter, AFileWithoutEntriesIsASectionHeader) {
  StringSink sink;
  PcapngWriter writer(sink);
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(Hex(sink.Text), Section);
}

TEST(PcapngWriter, TheSectionNamesTheApplication) {
  StringSink sink;
  PcapngOptions options;
  options.Application = "qor-trace 2.0.0!";
  PcapngWriter writer(sink, options);
  EXPECT_TRUE(writer.Flush());
  EXPECT_EQ(Hex(sink.Text),
            "0A 0D 0D 0A 34 00 00 00 4D 3C 2B 1A 01 00 00 00 FF FF FF FF FF FF FF FF "
            "04 00 10 00 71 6F 72 2D 74 72 61 63 65 20 32 2E 30 2E 30 21 00 00 00 00 34 00 00 00 ");
}

TEST(PcapngWriter, AFrameIsAnEnhancedPacketBlockBehindItsInterface) {
  EXPECT_EQ(Blocks({}, CanItem().Id(0x123).At(0x1122334455667788).Data({1, 2, 3}).Entry()),
            Can1 +
                "06 00 00 00 38 00 00 00 00 00 00 00 44 33 22 11 88 77 66 55 0B 00 00 00 0B 00 00 00 "
                "00 00 01 23 03 00 00 00 01 02 03 00 02 00 04 00 01 00 00 00 00 00 00 00 38 00 00 00 ");
}

TEST(PcapngWriter, EachChannelIsAnInterfaceOfItsBus) {
  StringSink sink;
  PcapngWriter writer(sink);
  const auto can = CanItem().Data({}).Entry();
  writer.Take(*can->GetEntry());
  writer.Take(*LinItem().Entry()->GetEntry());
  writer.Take(*FlexRayItem().Entry()->GetEntry());
  writer.Take(*EthernetItem().Entry()->GetEntry());
  writer.Take(*can->GetEntry());
  EXPECT_TRUE(writer.Flush());
  const std::string text = Hex(sink.Text);
  std::size_t place = 0;
  for (const auto& interface : {Can1, Lin1, FlexRay1, Ethernet1}) {
    place = text.find(interface, place);
    ASSERT_NE(place, std::string::npos) << interface;
  }
  EXPECT_EQ(PacketsOf(sink.Text).size(), 5u);
  EXPECT_EQ(NumberAt(sink.Text, sink.Text.size() - 52 + 8), 0u);  // the last packet is of the first interface again
}

TEST(PcapngWriter, ChannelNumbersOfEveryWidthAreNames) {
  unsigned int channel = 0;
  for (std::size_t digits = 1; digits <= 10; ++digits) {
    channel = digits == 10 ? 4294967295u : channel * 10 + 9;
    StringSink sink;
    PcapngWriter writer(sink);
    writer.Take(*FlexRayItem().Kind(3).Channel(channel).Entry()->GetEntry());
    EXPECT_TRUE(writer.Flush());
    const std::string block = sink.Text.substr(SectionSize);
    ASSERT_EQ(block.size(), 36 + (3 + digits + 3) / 4 * 4) << channel;
    EXPECT_EQ(NumberAt(block, 4), block.size());
    EXPECT_EQ(NumberAt(block, block.size() - 4), block.size());
    EXPECT_EQ(static_cast<std::size_t>(block[18]), 3 + digits);
    EXPECT_EQ(block.substr(20, 3 + digits), "FR-" + std::to_string(channel));
  }
}

TEST(PcapngWriter, TheFileEndsInTheCountsOfItsInterfaces) {
  StringSink sink;
  PcapngWriter writer(sink);
  Description description;
  description.Losses = {{1, LossCause::CaptureBufferFull, 0x400000000, 0x400000001, 0x123456780},
                        {1, LossCause::CaptureBufferFull, 0x500000000, 0x500000001, 9},
                        {7, LossCause::CaptureBufferFull, 1, 2, 5}};
  writer.Describe(description);
  writer.Take(*CanItem().Channel(1).At(0x500000007).Data({}).Entry()->GetEntry());
  writer.Take(*CanItem().Channel(1).At(3).RisingEdge().Entry()->GetEntry());
  writer.Take(*CanItem().Channel(2).At(4).Data({}).Entry()->GetEntry());
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(Hex(sink.Text.substr(sink.Text.size() - 104)),
            "05 00 00 00 34 00 00 00 00 00 00 00 05 00 00 00 07 00 00 00 04 00 08 00 02 00 00 00 00 00 00 00 "
            "05 00 08 00 89 67 45 23 01 00 00 00 00 00 00 00 34 00 00 00 "
            "05 00 00 00 34 00 00 00 01 00 00 00 05 00 00 00 07 00 00 00 04 00 08 00 01 00 00 00 00 00 00 00 "
            "05 00 08 00 00 00 00 00 00 00 00 00 00 00 00 00 34 00 00 00 ");
}

// ---- What is known of the recording ---------------------------------------------------------------------------------

constexpr unsigned long Noon = 1795262400000000000;  // some day in 2026, ns

/// Blocks of a file, by type.
std::vector<std::string> BlocksOf(const std::string& file, unsigned int type) {
  std::vector<std::string> blocks;
  for (std::size_t place = 0; place < file.size(); place += NumberAt(file, place + 4))
    if (NumberAt(file, place) == type) blocks.push_back(file.substr(place, NumberAt(file, place + 4)));
  return blocks;
}

/// An option of a block whose options begin at a place; "none" without it.
std::string OptionOf(const std::string& block, std::size_t place, unsigned int code) {
  while (place + 4 <= block.size() - 4) {
    const unsigned int head = NumberAt(block, place);
    if ((head & 0xFFFF) == code) return block.substr(place + 4, head >> 16);
    place += 4 + ((head >> 16) + 3) / 4 * 4;
  }
  return "none";
}

constexpr std::size_t SectionOptions = 24;
constexpr std::size_t InterfaceOptions = 16;
constexpr std::size_t StatisticsOptions = 20;
std::size_t PacketOptions(const std::string& block) { return 28 + (NumberAt(block, 20) + 3) / 4 * 4; }

unsigned long Time(const std::string& block, std::size_t place) {
  return static_cast<unsigned long>(NumberAt(block, place)) << 32 | NumberAt(block, place + 4);
}

/// The file of a recording that is known before its entries come.
template <class... Items>
std::string Described(const Description& description, const Items&... items) {
  StringSink sink;
  PcapngWriter writer(sink);
  writer.Describe(description);
  (writer.Take(RecordView(*items.Entry()->GetEntry())), ...);
  EXPECT_TRUE(writer.Finish());
  return sink.Text;
}

TEST(PcapngDescription, SectionSaysWhoRecordedAndWhere) {
  Description description;
  description.Title = "cold start";
  description.Tool = "qor-trace 2.0.0";
  description.Host = "bench-7";
  description.System = "Linux 6.1.0";
  description.Machine = "x86_64";
  const std::string section = BlocksOf(Described(description), 0x0A0D0D0A).at(0);
  EXPECT_EQ(OptionOf(section, SectionOptions, 1), "cold start\nrecorded by qor-trace 2.0.0 on bench-7");
  EXPECT_EQ(OptionOf(section, SectionOptions, 2), "x86_64");
  EXPECT_EQ(OptionOf(section, SectionOptions, 3), "Linux 6.1.0");
  EXPECT_EQ(OptionOf(section, SectionOptions, 4), "qor-trace");
}

TEST(PcapngDescription, InterfacesComeInTheOrderOfTheChannels) {
  Description description;
  description.Channels = {{1, BusType_Can, "can?seed=7", "can0", "simulated", 500000, 2000000, "id < 5"},
                          {.Number = 2, .BusType = BusType_Lin, .BitRate = 19200},
                          {.Number = 3},
                          {.Number = 4, .BusType = BusType_Ethernet}};
  const std::string file = Described(description, LinItem().Channel(2), CanItem().Channel(9).Data({}));
  const auto interfaces = BlocksOf(file, 1);
  ASSERT_EQ(interfaces.size(), 4u);
  const char* const names[] = {"CAN-1", "LIN-2", "ETH-4", "CAN-9"};
  for (std::size_t index = 0; index < 4; ++index)
    EXPECT_EQ(OptionOf(interfaces[index], InterfaceOptions, 2), names[index]);
  EXPECT_EQ(OptionOf(interfaces[0], InterfaceOptions, 3), "can?seed=7");
  EXPECT_EQ(Hex(OptionOf(interfaces[0], InterfaceOptions, 8)), "20 A1 07 00 00 00 00 00 ");
  EXPECT_EQ(OptionOf(interfaces[0], InterfaceOptions, 11), std::string("\0id < 5", 7));
  EXPECT_EQ(OptionOf(interfaces[0], InterfaceOptions, 15), "simulated");
  for (const unsigned int code : {3u, 8u, 11u, 15u}) EXPECT_EQ(OptionOf(interfaces[3], InterfaceOptions, code), "none");
  EXPECT_EQ(NumberAt(BlocksOf(file, 6).at(0), 8), 1u);  // the LIN frame, though it came first
  EXPECT_EQ(BlocksOf(file, 5).size(), 4u);
}

TEST(PcapngDescription, TextsFromElsewhereAreCutAtWholeCharacters) {
  for (const std::string character : {"\xC3\x80", "\xC3\xA5", "\xC3\xBF"}) {
    Description description;
    std::string source = "x";
    while (source.size() < 3000) source += character;
    description.Channels = {{.Number = 1, .BusType = BusType_Can, .Source = source + "\xFF"}};
    const std::string text = OptionOf(BlocksOf(Described(description), 1).at(0), InterfaceOptions, 3);
    EXPECT_EQ(text, source.substr(0, 999));
  }
}

TEST(PcapngDescription, PacketsHaveAbsoluteTimes) {
  Description description;
  description.Anchor = ClockAnchor{1000, Noon};
  const std::string file = Described(description, CanItem().At(1234).Data({}), CanItem().At(5000).Data({}));
  const auto packets = BlocksOf(file, 6);
  EXPECT_EQ(Time(packets.at(0), 12), Noon + 234);
  EXPECT_EQ(Time(packets.at(1), 12), Noon + 4000);
  const std::string statistics = BlocksOf(file, 5).at(0);
  EXPECT_EQ(Time(statistics, 12), Noon + 4000);
  EXPECT_EQ(Time(OptionOf(statistics, StatisticsOptions, 2), 0), Noon);
  EXPECT_EQ(Time(OptionOf(statistics, StatisticsOptions, 3), 0), Noon + 4000);
}

TEST(PcapngDescription, TimesThatComeWithTheFirstEntryHold) {
  StringSink sink;
  PcapngWriter writer(sink);
  writer.Describe({});
  EXPECT_TRUE(writer.Flush());  // a reader of a pipe sees the section before anything happens
  EXPECT_EQ(Hex(sink.Text), Section);
  Description description;
  description.Anchor = ClockAnchor{0, Noon};
  writer.Describe(description);
  writer.Take(RecordView(*CanItem().At(7).Data({}).Entry()->GetEntry()));
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(Time(BlocksOf(sink.Text, 6).at(0), 12), Noon + 7);
}

TEST(PcapngDescription, FirstPacketAfterALossSaysHowMuchIsMissing) {
  Description description;
  description.Anchor = ClockAnchor{0, Noon};
  description.Losses = {{1, LossCause::CaptureBufferFull, 1000000, 2000000, 17},
                        {1, LossCause::InterfaceGone, 2500000, 2500000, std::nullopt},
                        {2, LossCause::CaptureBufferFull, 1, 2, 5}};
  const auto packets = BlocksOf(Described(description, CanItem().At(2000000).Data({}), CanItem().At(2000001).Data({}),
                                          CanItem().At(3000000).Data({}), CanItem().At(4000000).Data({})),
                                6);
  ASSERT_EQ(packets.size(), 4u);
  const auto option = [&](std::size_t index, unsigned int code) {
    return OptionOf(packets[index], PacketOptions(packets[index]), code);
  };
  for (const std::size_t index : {0u, 3u}) {
    EXPECT_EQ(option(index, 1), "none");
    EXPECT_EQ(option(index, 4), "none");
  }
  EXPECT_EQ(Hex(option(1, 4)), "11 00 00 00 00 00 00 00 ");
  EXPECT_EQ(option(1, 1),
            "LOST: 17 items found the capture buffer full, 2026-11-21T12:00:00.001000Z to 2026-11-21T12:00:00.002000Z");
  EXPECT_EQ(option(2, 4), "none");
  EXPECT_EQ(option(2, 1),
            "LOST: items are missing as the interface was gone, 2026-11-21T12:00:00.002500Z to "
            "2026-11-21T12:00:00.002500Z");
}

TEST(PcapngDescription, LossThatGrowsIsToldOnceInAll) {
  StringSink sink;
  PcapngWriter writer(sink);
  Description description;
  description.Losses = {{1, LossCause::CaptureBufferFull, 10, 20, 3}};
  const auto at = [&](unsigned long time) {
    writer.Take(RecordView(*CanItem().At(time).Data({}).Entry()->GetEntry()));
  };
  writer.Describe(description);
  at(21);
  description.Losses = {{1, LossCause::CaptureBufferFull, 10, 40, 8}};
  writer.Describe(description);
  at(30);
  at(41);
  at(42);
  EXPECT_TRUE(writer.Finish());
  std::vector<std::string> counts;
  for (const std::string& packet : BlocksOf(sink.Text, 6))
    counts.push_back(Hex(OptionOf(packet, PacketOptions(packet), 4)));
  const std::string none = Hex("none");
  EXPECT_EQ(counts, (std::vector<std::string>{"03 00 00 00 00 00 00 00 ", none, "05 00 00 00 00 00 00 00 ", none}));
  EXPECT_EQ(Hex(OptionOf(BlocksOf(sink.Text, 5).at(0), StatisticsOptions, 5)), "08 00 00 00 00 00 00 00 ");
}

TEST(PcapngDescription, LossesThatNobodyCountedAreNoSum) {
  Description description;
  description.Losses = {{1, LossCause::InterfaceGone, 1, 2, std::nullopt}};
  EXPECT_EQ(OptionOf(BlocksOf(Described(description, CanItem().Data({})), 5).at(0), StatisticsOptions, 5), "none");
}

TEST(PcapngDescription, LossesThatNoPacketComesAfterAreToldAtTheEnd) {
  Description description;
  description.Anchor = ClockAnchor{0, Noon};
  description.Losses = {{1, LossCause::CaptureBufferFull, 1000000, 2000000, 17},
                        {1, LossCause::InterfaceGone, 3000000, 4000000, std::nullopt}};
  const std::string file = Described(description, CanItem().At(1000000).Data({}), LinItem().Channel(2).At(4000000));
  const std::string can = BlocksOf(file, 5).at(0);
  EXPECT_EQ(OptionOf(can, StatisticsOptions, 5), "none") << "the sum isn't known";
  const std::string first =
      "LOST: 17 items found the capture buffer full, 2026-11-21T12:00:00.001000Z to 2026-11-21T12:00:00.002000Z";
  EXPECT_EQ(OptionOf(can, StatisticsOptions, 1), first);
  EXPECT_NE(can.find("LOST: items are missing as the interface was gone, 2026-11-21T12:00:00.003000Z to "
                     "2026-11-21T12:00:00.004000Z"),
            std::string::npos);
  EXPECT_EQ(OptionOf(BlocksOf(file, 5).at(1), StatisticsOptions, 1), "none");
}

TEST(PcapngDescription, AnyNumberOfLossesFitsTheEnd) {
  Description description;
  description.Anchor = ClockAnchor{0, Noon};
  for (unsigned long time = 0; time < 3000; ++time)
    description.Losses.push_back({1, LossCause::InterfaceGone, 10 * time, 10 * time + 1, ~0ul});
  EXPECT_GT(BlocksOf(Described(description, CanItem().At(0).Data({})), 5).at(0).size(), 100'000u);
}

// ---- CAN ------------------------------------------------------------------------------------------------------------

TEST(PcapngCan, IdentifiersAreBigEndianWithAFlagForExtendedOnes) {
  EXPECT_EQ(PacketOf(CanItem().Id(0x7FF).Data({})).Data, "00 00 07 FF 00 00 00 00 ");
  EXPECT_EQ(PacketOf(CanItem().Id(0x1ABCDEF0).Extended().Data({})).Data, "9A BC DE F0 00 00 00 00 ");
}

TEST(PcapngCan, FdFramesHaveTheirFlags) {
  EXPECT_EQ(PacketOf(CanItem().Id(1).Fd().Data({9})).Data, "00 00 00 01 01 04 00 00 09 ");
  EXPECT_EQ(PacketOf(CanItem().Id(1).Fd().Brs().Data({})).Data, "00 00 00 01 00 05 00 00 ");
  EXPECT_EQ(PacketOf(CanItem().Id(1).Extended().Fd().Brs().Esi().Data({})).Data, "80 00 00 01 00 07 00 00 ");
  const auto longest = PacketOf(CanItem().Id(1).Fd().Data(Counting(64)));
  EXPECT_EQ(longest.Captured, 72u);
  EXPECT_EQ(longest.Data.substr(0, 30), "00 00 00 01 40 04 00 00 01 02 ");
}

TEST(PcapngCan, TheFlagsOfFdMeanNothingInAClassicFrame) {
  EXPECT_EQ(PacketOf(CanItem().Id(1).Brs().Esi().Data({})).Data, "00 00 00 01 00 00 00 00 ");
}

TEST(PcapngCan, AClassicFrameWithoutDataThatHasALengthIsARemoteFrame) {
  EXPECT_EQ(PacketOf(CanItem().Id(0x123).Data({}).Dlc(5)).Data, "40 00 01 23 05 00 00 00 ");
  EXPECT_EQ(PacketOf(CanItem().Id(0x123).Extended().Data({}).Dlc(12)).Data, "C0 00 01 23 08 00 00 0C ");
  EXPECT_EQ(PacketOf(CanItem().Id(0x123).Fd().Data({}).Dlc(5)).Data, "00 00 01 23 00 04 00 00 ");
}

TEST(PcapngCan, ALengthCodeAboveEightIsKept) {
  EXPECT_EQ(PacketOf(CanItem().Id(1).Data(Counting(8)).Dlc(15)).Data,
            "00 00 00 01 08 00 00 0F 01 02 03 04 05 06 07 08 ");
}

TEST(PcapngCan, ErrorFramesNameTheirKind) {
  const auto error = [](unsigned char kind) { return PacketOf(CanItem().ErrorFrame(kind)).Data; };
  EXPECT_EQ(error(1), "20 00 00 08 08 00 00 00 00 00 04 00 00 00 00 00 ");
  EXPECT_EQ(error(2), "20 00 00 08 08 00 00 00 00 00 02 00 00 00 00 00 ");
  EXPECT_EQ(error(3), "20 00 00 28 08 00 00 00 00 00 00 19 00 00 00 00 ");
  EXPECT_EQ(error(4), "20 00 00 08 08 00 00 00 00 00 10 00 00 00 00 00 ");
  EXPECT_EQ(error(5), "20 00 00 08 08 00 00 00 00 00 08 00 00 00 00 00 ");
  EXPECT_EQ(error(6), "20 00 00 08 08 00 00 00 00 00 00 08 00 00 00 00 ");
  for (const unsigned int kind : {0u, 7u, 8u, 255u}) {
    EXPECT_EQ(error(static_cast<unsigned char>(kind)), "20 00 00 08 08 00 00 00 00 00 00 00 00 00 00 00 ") << kind;
  }
  EXPECT_EQ(PacketOf(CanItem().Tx().ErrorFrame(1)).Data, "20 00 00 08 08 00 00 00 00 00 84 00 00 00 00 00 ");
}

TEST(PcapngCan, AnErrorFrameWithoutAKindIsOne) {
  const Record record = Record(*CanItem().ErrorFrame(1).Entry()).CutTo(44);
  EXPECT_EQ(PacketOf(record.Get()).Data, "20 00 00 08 08 00 00 00 00 00 00 00 00 00 00 00 ");
}

TEST(PcapngCan, DirectionIsInTheFlags) {
  EXPECT_EQ(PacketOf(CanItem().Data({})).Flags, 1u);
  EXPECT_EQ(PacketOf(CanItem().Tx().Data({})).Flags, 2u);
}

TEST(PcapngCan, TriggerEventsAreCounted) {
  EXPECT_EQ(OmittedAs(CanItem().RisingEdge()), "CAN log-trigger events");
  EXPECT_EQ(OmittedAs(CanItem().UserEvent({2, 3})), "CAN log-trigger events");
}

TEST(PcapngCan, AnOverrunMarkLeavesTheFrame) {
  EXPECT_EQ(PacketOf(CanItem().Id(1).Overrun().Data({7})).Data, "00 00 00 01 01 00 00 00 07 ");
}

TEST(PcapngCan, ARecordCutShortWasCapturedInPart) {
  const Record record = Record(*CanItem().Id(1).Data(Counting(8)).Entry()).CutTo(47);
  const auto packet = PacketOf(record.Get());
  EXPECT_EQ(packet.Data, "00 00 00 01 08 00 00 00 01 02 03 ");
  EXPECT_EQ(packet.Captured, 11u);
  EXPECT_EQ(packet.Original, 16u);
}

TEST(PcapngCan, LengthsThatNoFrameHasAreMalformed) {
  EXPECT_EQ(OmittedAs(CanItem().Data(Counting(9))), "malformed entries");
  EXPECT_EQ(OmittedAs(CanItem().Fd().Data(Counting(65))), "malformed entries");
  EXPECT_EQ(OmittedAs(Record(*CanItem().Data({}).Entry()).CutTo(43).Get()), "malformed entries");
}

// ---- LIN ------------------------------------------------------------------------------------------------------------

TEST(PcapngLin, AFrameHasItsProtectedIdentifierAndChecksum) {
  // The classic checksum of 01 02 is FC, the enhanced one with the identifier 50 is AC.
  EXPECT_EQ(PacketOf(LinItem().Id(0x10).Data({1, 2}, 0xFC)).Data, "01 00 00 00 21 50 FC 00 01 02 ");
  EXPECT_EQ(PacketOf(LinItem().Id(0x10).Data({1, 2}, 0xAC)).Data, "01 00 00 00 22 50 AC 00 01 02 ");
  EXPECT_EQ(PacketOf(LinItem().Id(0x10).Data({1, 2}, 0x3C)).Data, "01 00 00 00 20 50 3C 00 01 02 ");
}

TEST(PcapngLin, AFrameOfEightBytesHasItsChecksumInThePad) {
  // 1 + 2 + ... + 8 = 24 hexadecimal
  EXPECT_EQ(PacketOf(LinItem().Id(0x3C).Data(Counting(8), 0xDB)).Data,
            "01 00 00 00 81 3C DB 00 01 02 03 04 05 06 07 08 ");
}

TEST(PcapngLin, ParityBitsAreThoseOfTheIdentifier) {
  const auto onBus = [](unsigned int identifier) { return PacketOf(LinItem().Id(identifier)).Data.substr(15, 3); };
  EXPECT_EQ(onBus(0x00), "80 ");
  EXPECT_EQ(onBus(0x01), "C1 ");
  EXPECT_EQ(onBus(0x3C), "3C ");
  EXPECT_EQ(onBus(0x3D), "7D ");
  EXPECT_EQ(onBus(0x3F), "BF ");
  EXPECT_EQ(onBus(0xC1), "C1 ");  // given with them
}

TEST(PcapngLin, ErrorsAreInTheErrorByte) {
  const auto of = [](const LinItem& item) { return PacketOf(item).Data; };
  EXPECT_EQ(of(LinItem().Id(0x81).ParityError()), "01 00 00 00 00 81 00 04 ");  // as it was on the bus
  EXPECT_EQ(of(LinItem().Id(1).SyncError()), "01 00 00 00 00 C1 00 02 ");
  EXPECT_EQ(of(LinItem().Id(1).Data({5}, 0).ChecksumError()), "01 00 00 00 10 C1 00 08 05 ");
  EXPECT_EQ(of(LinItem().Id(1).TransmitError()), "01 00 00 00 00 C1 00 01 ");
}

TEST(PcapngLin, ALengthOfZeroIsAFrameWithoutDataAndChecksum) {
  EXPECT_EQ(PacketOf(LinItem().Id(1).Data({}, 0x55).DataLength(0)).Data, "01 00 00 00 00 C1 00 00 ");
}

TEST(PcapngLin, AWakeUpIsAnEvent) {
  EXPECT_EQ(PacketOf(LinItem().WakeUp()).Data, "01 00 00 00 4C 00 00 00 B0 B0 00 04 ");
}

TEST(PcapngLin, TriggerEventsAreCounted) { EXPECT_EQ(OmittedAs(LinItem().Event()), "LIN trigger events"); }

TEST(PcapngLin, DirectionIsInTheFlags) {
  EXPECT_EQ(PacketOf(LinItem()).Flags, 1u);
  EXPECT_EQ(PacketOf(LinItem().Tx()).Flags, 2u);
}

TEST(PcapngLin, OddRecordsAreMalformed) {
  EXPECT_EQ(OmittedAs(LinItem().DataLength(10)), "malformed entries");
  EXPECT_EQ(OmittedAs(Record(*LinItem().Entry()).CutTo(34).Get()), "malformed entries");
  EXPECT_EQ(OmittedAs(Record(*LinItem().Entry()).Put<unsigned short>(28, 1).Get()), "malformed entries");
}

TEST(PcapngLin, ARecordCutShortWasCapturedInPart) {
  const Record record = Record(*LinItem().Id(1).Data(Counting(8), 0xDB).Entry()).CutTo(38);
  const auto packet = PacketOf(record.Get());
  EXPECT_EQ(packet.Data, "01 00 00 00 80 C1 00 00 01 02 03 ");
  EXPECT_EQ(packet.Original, 16u);
}

// ---- FlexRay --------------------------------------------------------------------------------------------------------

TEST(PcapngFlexRay, TheFrameHeaderIsPackedAsOnTheBus) {
  // Not a null frame, slot 5, 2 words, CRC 2A5 = 010 1010 0101, cycle 3.
  EXPECT_EQ(PacketOf(FlexRayItem().Slot(5).Cycle(3).HeaderCrc(0x2A5).Data({1, 2, 3, 4})).Data,
            "01 00 20 05 04 A9 43 01 02 03 04 ");
  // All of it: slot 7FF, 127 words, CRC 7FF, cycle 63.
  const auto full = PacketOf(FlexRayItem().FrameFlags(0x1A).Slot(0x7FF).Cycle(63).HeaderCrc(0x7FF).Data(Counting(254)));
  EXPECT_EQ(full.Data.substr(0, 21), "01 00 7F FF FF FF FF ");
  EXPECT_EQ(full.Captured, 261u);
}

TEST(PcapngFlexRay, IndicatorsHaveTheirBits) {
  const auto of = [](unsigned int flags) { return PacketOf(FlexRayItem().FrameFlags(flags)).Data.substr(6, 3); };
  EXPECT_EQ(of(0), "20 ");
  EXPECT_EQ(of(QOR_TRACE_FLEXRAY_INDICATOR), "60 ");
  EXPECT_EQ(of(QOR_TRACE_FLEXRAY_NULL), "00 ");
  EXPECT_EQ(of(QOR_TRACE_FLEXRAY_SYNC), "30 ");
  EXPECT_EQ(of(QOR_TRACE_FLEXRAY_STARTUP), "28 ");
}

TEST(PcapngFlexRay, ANullFrameHasZerosForItsPayload) {
  EXPECT_EQ(PacketOf(FlexRayItem().FrameFlags(4).Slot(1).PayloadWords(2)).Data, "01 00 00 01 04 00 00 00 00 00 00 ");
  EXPECT_EQ(PacketOf(FlexRayItem().FrameFlags(4).Slot(1).Data({9, 9})).Data, "01 00 00 01 02 00 00 00 00 ");
}

TEST(PcapngFlexRay, ChannelBHasItsBit) { EXPECT_EQ(PacketOf(FlexRayItem().Code(1)).Data.substr(0, 3), "81 "); }

TEST(PcapngFlexRay, AFrameOfBothChannelsIsTwoPackets) {
  StringSink sink;
  PcapngWriter writer(sink);
  writer.Take(*FlexRayItem().Code(2).Slot(1).Data({7, 8}).Entry()->GetEntry());
  EXPECT_TRUE(writer.Flush());
  const auto packets = PacketsOf(sink.Text);
  ASSERT_EQ(packets.size(), 2u);
  EXPECT_EQ(packets[0].Data, "01 00 20 01 02 00 00 07 08 ");
  EXPECT_EQ(packets[1].Data, "81 00 20 01 02 00 00 07 08 ");
  EXPECT_EQ(writer.Packets(), 2u);
}

TEST(PcapngFlexRay, DirectionIsInTheFlags) {
  EXPECT_EQ(PacketOf(FlexRayItem()).Flags, 1u);
  EXPECT_EQ(PacketOf(FlexRayItem().Tx()).Flags, 2u);
}

TEST(PcapngFlexRay, OtherKindsAreCounted) {
  for (unsigned int kind = 3; kind <= 10; ++kind) {
    EXPECT_EQ(OmittedAs(FlexRayItem().Kind(kind)), "FlexRay status events") << kind;
  }
  EXPECT_EQ(OmittedAs(FlexRayItem().Kind(0)), "entries whose kind an overrun mark took");
  EXPECT_EQ(OmittedAs(FlexRayItem().Kind(11)), "malformed entries");
}

TEST(PcapngFlexRay, OddRecordsAreMalformed) {
  EXPECT_EQ(OmittedAs(FlexRayItem().Code(3)), "malformed entries");
  EXPECT_EQ(OmittedAs(FlexRayItem().PayloadWords(128)), "malformed entries");
  EXPECT_EQ(OmittedAs(Record(*FlexRayItem().Entry()).CutTo(47).Get()), "malformed entries");
  EXPECT_EQ(OmittedAs(Record(*FlexRayItem().Entry()).CutTo(31).Get()), "malformed entries");
}

TEST(PcapngFlexRay, ARecordCutShortWasCapturedInPart) {
  const auto packet = PacketOf(FlexRayItem().Slot(1).Data({1, 2, 3}));  // two words, three bytes
  EXPECT_EQ(packet.Data, "01 00 20 01 04 00 00 01 02 03 ");
  EXPECT_EQ(packet.Original, 11u);
}

// ---- Ethernet -------------------------------------------------------------------------------------------------------

TEST(PcapngEthernet, AFrameIsItsBytes) {
  const auto packet = PacketOf(EthernetItem().Frame(Counting(61)));
  EXPECT_EQ(packet.Captured, 61u);
  EXPECT_EQ(packet.Original, 61u);
  const auto bytes = Counting(61);
  EXPECT_EQ(packet.Data, Hex(std::string(bytes.begin(), bytes.end())));
}

TEST(PcapngEthernet, DirectionAndCrcErrorAreInTheFlags) {
  EXPECT_EQ(PacketOf(EthernetItem()).Flags, 1u);
  EXPECT_EQ(PacketOf(EthernetItem().Tx()).Flags, 2u);
  EXPECT_EQ(PacketOf(EthernetItem().CrcError()).Flags, 0x01000001u);
}

TEST(PcapngEthernet, AFrameLongerThanItsRecordWasCapturedInPart) {
  const auto packet = PacketOf(EthernetItem().Frame({1, 2, 3}).FrameLength(65535));
  EXPECT_EQ(packet.Data, "01 02 03 ");
  EXPECT_EQ(packet.Original, 65535u);
}

TEST(PcapngEthernet, OtherKindsAreCounted) {
  EXPECT_EQ(OmittedAs(EthernetItem().Kind(2)), "Ethernet records that are no frames");
  EXPECT_EQ(OmittedAs(EthernetItem().Kind(9)), "Ethernet records that are no frames");
  EXPECT_EQ(OmittedAs(EthernetItem().Kind(0)), "entries whose kind an overrun mark took");
  EXPECT_EQ(OmittedAs(Record(*EthernetItem().Entry()).CutTo(43).Get()), "malformed entries");
  EXPECT_EQ(OmittedAs(Record(*EthernetItem().Entry()).CutTo(30).Get()), "malformed entries");
}

// ---- The whole file -------------------------------------------------------------------------------------------------

TEST(PcapngWriter, EntriesOfAnUnknownBusAreMalformedAndHaveNoInterface) {
  const Record record = Record(*CanItem().Data({}).Entry()).Put<unsigned char>(24, 9);
  EXPECT_EQ(OmittedAs(record.Get()), "malformed entries");
  StringSink sink;
  PcapngWriter writer(sink);
  writer.Take(record.Get());
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(Hex(sink.Text), Section);
}

TEST(PcapngWriter, EthernetOnlyLeavesOutOtherBuses) {
  PcapngOptions options;
  options.EthernetOnly = true;
  const std::string blocks = Blocks(options, CanItem().Data({}).Entry(), LinItem().Entry(), FlexRayItem().Entry(),
                                    EthernetItem().Frame({1, 2, 3, 4}).Entry());
  EXPECT_EQ(blocks, Ethernet1 +
                        "06 00 00 00 30 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 04 00 00 00 04 00 00 00 "
                        "01 02 03 04 02 00 04 00 01 00 00 00 00 00 00 00 30 00 00 00 ");
  StringSink sink;
  PcapngWriter writer(sink, options);
  writer.Take(*CanItem().RisingEdge().Entry()->GetEntry());
  EXPECT_EQ(writer.LeftOut(), 1u);
  EXPECT_EQ(writer.Omitted().Of(PcapngOmission::CanEvent), 0u);
}

TEST(PcapngWriter, RandomRecordsAreReadNoFurtherThanTheyGo) {
  unsigned int state = 1;
  const auto random = [&] { return static_cast<unsigned char>((state = state * 1664525 + 1013904223) >> 24); };
  StringSink sink;
  PcapngWriter writer(sink);
  for (unsigned int round = 0; round < 20000; ++round) {
    test::Bytes bytes(28 + random() % 64);
    for (auto& byte : bytes) byte = random();
    Record record(bytes);
    record.Put<unsigned int>(4, random() % 4);                                                         // channel
    record.Put<unsigned char>(24, static_cast<unsigned char>(random() % 5));                           // bus
    if (bytes.size() > 31) record.Put<unsigned short>(30, static_cast<unsigned short>(random() % 3));  // kind
    ASSERT_TRUE(writer.Take(record.Get()));
  }
  EXPECT_TRUE(writer.Finish());
  std::size_t place = 0;
  while (place < sink.Text.size()) {
    const unsigned int length = NumberAt(sink.Text, place + 4);
    ASSERT_EQ(length % 4, 0u);
    ASSERT_LE(place + length, sink.Text.size());
    ASSERT_EQ(NumberAt(sink.Text, place + length - 4), length);
    place += length;
  }
  EXPECT_GT(writer.Packets(), 1000u);
}

TEST(PcapngWriter, AfterAFailedWriteItKnowsWhatIsWhole) {
  StringSink whole;
  StringSink cut;
  cut.Limit = 300'000;
  const auto entry = EthernetItem().Frame(Counting(1000)).Entry();  // a block of 1044 bytes
  bool taken = true;
  {
    PcapngWriter writer(whole);
    for (int i = 0; i < 1000; ++i) writer.Take(*entry->GetEntry());
    EXPECT_TRUE(writer.Finish());
    EXPECT_EQ(writer.Packets(), 1000u);
    EXPECT_EQ(writer.Bytes(), whole.Text.size());
  }
  PcapngWriter writer(cut);
  for (int i = 0; i < 1000 && taken; ++i) taken = writer.Take(*entry->GetEntry());
  EXPECT_FALSE(taken);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(writer.Error(), ENOSPC);
  EXPECT_EQ(writer.Packets(), (300'000 - SectionSize - 44) / 1044);
  EXPECT_EQ(writer.Bytes(), SectionSize + 44 + 1044 * writer.Packets());
  EXPECT_EQ(cut.Text, whole.Text.substr(0, 300'000));
  errno = 0;
  EXPECT_FALSE(writer.Take(*entry->GetEntry()));
  EXPECT_FALSE(writer.Finish());
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(cut.Text.size(), 300'000u);
}

TEST(PcapngWriter, AClosedPipeIsToldByErrno) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  const auto handler = std::signal(SIGPIPE, SIG_IGN);
  DescriptorSink sink(ends[1]);
  PcapngWriter writer(sink);
  EXPECT_FALSE(writer.Flush());
  EXPECT_EQ(errno, EPIPE);
  EXPECT_EQ(writer.Bytes(), 0u);
  std::signal(SIGPIPE, handler);
  close(ends[1]);
}

}  // namespace
}  // namespace client
