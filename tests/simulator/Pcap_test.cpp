#include "Pcap.h"

#include <gtest/gtest.h>

#include "TextFile.h"
#include "Thrown.h"

using namespace qor_sim;

namespace {

using Data = std::vector<unsigned char>;

constexpr uint32_t kMicroseconds = 0xA1B2C3D4;
constexpr uint32_t kNanoseconds = 0xA1B23C4D;
constexpr uint32_t kEthernet = 1;

Data operator+(Data left, const Data& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Data U32(uint32_t value) {
  Data bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<unsigned char>(value >> shift & 0xFF));
  return bytes;
}

/// magic | version 2.4 | 8 bytes of 0 | snapshot length | link type
Data Head(uint32_t magic = kMicroseconds, uint32_t linkType = kEthernet) {
  return U32(magic) + Data{2, 0, 4, 0} + Data(8) + U32(262144) + U32(linkType);
}

/// seconds | their parts | captured length | length on the wire | frame
Data Packet(uint32_t seconds, uint32_t parts, const Data& frame, size_t missing = 0) {
  const auto captured = static_cast<uint32_t>(frame.size());
  return U32(seconds) + U32(parts) + U32(captured) + U32(captured + static_cast<uint32_t>(missing)) + frame;
}

Data U16(uint32_t value) { return {static_cast<unsigned char>(value & 0xFF), static_cast<unsigned char>(value >> 8)}; }

/// pcapng: type, length, what the block holds, padding, length again.
Data Block(uint32_t type, Data body) {
  body.resize((body.size() + 3) / 4 * 4);
  const auto length = static_cast<uint32_t>(body.size() + 12);
  return U32(type) + U32(length) + body + U32(length);
}

/// byte-order magic | version 1.0 | unknown section length
Data Section() { return Block(0x0A0D0D0A, U32(0x1A2B3C4D) + U16(1) + U16(0) + Data(8, 0xFF)); }

/// link type | reserved | snapshot length | option 9: times in ns
Data Interface(uint32_t linkType = kEthernet, uint32_t snapshotLength = 65535) {
  return Block(1, U16(linkType) + U16(0) + U32(snapshotLength) + Data{9, 0, 1, 0, 9, 0, 0, 0} + U32(0));
}

/// interface | upper and lower half of the time | captured length | length on the wire | frame
Data EnhancedPacket(uint32_t interface, uint64_t time, const Data& frame) {
  const Data length = U32(static_cast<uint32_t>(frame.size()));
  const Data halves = U32(static_cast<uint32_t>(time >> 32)) + U32(static_cast<uint32_t>(time & 0xFFFFFFFF));
  return Block(6, U32(interface) + halves + length + length + frame);
}

Data Pcapng(uint64_t time, const Data& frame) { return Section() + Interface() + EnhancedPacket(0, time, frame); }

std::vector<Item> Drain(ItemSource& source) {
  std::vector<Item> items;
  for (const Item* item = source.Peek(); item != nullptr; item = source.Peek()) {
    items.push_back(*item);
    source.Advance();
  }
  return items;
}

std::vector<Item> Replay(const Data& bytes, const PcapSettings& settings = {}) {
  return Drain(*ParsePcap(bytes, "some.pcap", settings));
}

std::string Complaint(const Data& bytes) {
  const Thrown thrown = ThrownBy([&] { ParsePcap(bytes, "F", {}); });
  EXPECT_EQ(thrown.Code, thrown.Text.empty() ? 0U : unsigned{QOR_SIM_ERROR_FILE});
  return thrown.Text;
}

Data FrameOf(const Item& item) { return {item.Bytes.begin() + 16, item.Bytes.end()}; }

}  // namespace

//  0 size | 2 kind | 4 time | 12 flags | 13 reserved | 14 frame length | 16 frame
TEST(Pcap, PacketBecomesItem) {
  const auto items = Replay(Head() + Packet(1, 2, {0xAA, 0xBB, 0xCC}), {.Origin = TimeOrigin::Absolute});
  ASSERT_EQ(items.size(), 1U);
  // 1.000002 s are 3B9AD1D0 ns
  EXPECT_EQ(items[0].Bytes, (Data{19, 0, 1, 0, 0xD0, 0xD1, 0x9A, 0x3B, 0, 0, 0, 0, 0, 0, 3, 0, 0xAA, 0xBB, 0xCC}));
  EXPECT_EQ(items[0].Timestamp, 1'000'002'000U);
  EXPECT_EQ(items[0].Due, 0U);
}

TEST(Pcap, TimesAreExactToTheNanosecond) {
  const PcapSettings absolute{.Origin = TimeOrigin::Absolute};
  EXPECT_EQ(Replay(Head() + Packet(0x7FFFFFFF, 999'999, {1}), absolute).at(0).Timestamp, 2'147'483'647'999'999'000U);
  EXPECT_EQ(Replay(Head(kNanoseconds) + Packet(7, 999'999'999, {1}), absolute).at(0).Timestamp, 7'999'999'999U);
  EXPECT_EQ(Replay(Pcapng(1'700'000'000'123'456'789, {1}), absolute).at(0).Timestamp, 1'700'000'000'123'456'789U);
}

TEST(Pcap, PcapngPacketBecomesTheSameItem) {
  const Data frame{1, 2, 3, 4, 5};
  EXPECT_EQ(Replay(Pcapng(5, frame)).at(0).Bytes, Replay(Head() + Packet(9, 9, frame)).at(0).Bytes);
}

TEST(Pcap, InterfacesOfAPcapngFileAreReplayedAsOneAndMustAgree) {
  const Data first = Section() + Interface() + EnhancedPacket(0, 7, {1});
  const auto items = Replay(first + Interface() + EnhancedPacket(1, 6, {2}));
  ASSERT_EQ(items.size(), 2U);
  EXPECT_EQ(FrameOf(items[0]), Data{2});
  EXPECT_EQ(Complaint(first + Interface(227)).find("Cannot read F, packet 2: "), 0U);
  EXPECT_EQ(Complaint(first + Interface(kEthernet, 100)).find("Cannot read F, packet 2: "), 0U);
}

TEST(Pcap, FramesAreSortedByTimeAndKeepTheirOrderWhenEqual) {
  const auto items = Replay(Head() + Packet(9, 5, {1}) + Packet(9, 4, {2}) + Packet(9, 5, {3}) + Packet(9, 4, {4}));
  Data order;
  for (const auto& item : items) order.push_back(item.Bytes.back());
  EXPECT_EQ(order, (Data{2, 4, 1, 3}));
  EXPECT_EQ(items.front().Timestamp, 0U);
  EXPECT_EQ(items.back().Timestamp, 1'000U);
  EXPECT_EQ(items.back().Due, 1'000U);
}

TEST(Pcap, DirectionIsTheOption) {
  const Data file = Head() + Packet(0, 0, {1});
  EXPECT_EQ(Replay(file).at(0).Bytes.at(12), 0);
  EXPECT_EQ(Replay(file, {.Way = Direction::Transmitted}).at(0).Bytes.at(12), 1);
}

TEST(Pcap, CutFrameIsWhatWasCaptured) {
  const auto items = Replay(Head() + Packet(0, 0, {1, 2, 3}, /*missing=*/97));
  ASSERT_EQ(items.size(), 1U);
  EXPECT_EQ(items[0].Bytes.at(14), 3);
  EXPECT_EQ(FrameOf(items[0]), (Data{1, 2, 3}));
}

TEST(Pcap, CheckSequenceThatTheFileTellsOfIsNoPartOfTheFrame) {
  constexpr uint32_t kFourBytes = 0x24000000;  // two words, and the bit that says so
  const Data head = Head(kMicroseconds, kEthernet | kFourBytes);
  EXPECT_EQ(FrameOf(Replay(head + Packet(0, 0, {1, 2, 3, 4, 5, 6, 7})).at(0)), (Data{1, 2, 3}));
  EXPECT_EQ(FrameOf(Replay(head + Packet(0, 0, {1, 2, 3, 4, 5}, /*missing=*/2)).at(0)), (Data{1, 2, 3}));
  EXPECT_EQ(FrameOf(Replay(head + Packet(0, 0, {1, 2, 3, 4, 5}, /*missing=*/4)).at(0)), (Data{1, 2, 3, 4, 5}));
  EXPECT_EQ(FrameOf(Replay(head + Packet(0, 0, {1, 2})).at(0)), Data{});
}

TEST(Pcap, LongestFrameIsThatOfAPoll) {
  EXPECT_EQ(FrameOf(Replay(Head() + Packet(0, 0, Data(65511, 7))).at(0)), Data(65511, 7));
  EXPECT_EQ(Complaint(Head() + Packet(0, 0, {1}) + Packet(0, 0, Data(65512))),
            "Cannot read F, packet 2: the frame has 65512 bytes, more than the 65511 that an item holds.");
}

TEST(Pcap, FilesThatCanNotBeReplayedSayWhy) {
  EXPECT_EQ(Complaint({}), "Cannot read F: it is empty.");
  EXPECT_EQ(Complaint(Data(100, 'x')), "Cannot read F: unknown file format.");
  EXPECT_EQ(Complaint(Head()), "Cannot replay F: it holds no frames.");
  EXPECT_EQ(Complaint(Head(kMicroseconds, 113) + Packet(0, 0, {1})),
            "Cannot replay F: its link type is Linux cooked v1, not Ethernet.");
  EXPECT_EQ(Complaint(Head(kMicroseconds, 65000) + Packet(0, 0, {1})),
            "Cannot replay F: its link type is 65000, not Ethernet.");
  EXPECT_EQ(Complaint(Head() + Packet(0x80000000, 0, {1})), "Cannot read F, packet 1: its time lies before 1970.");
}

TEST(Pcap, FileThatEndsInsideAPacketIsRefusedWhereverItEnds) {
  const Data file = Head() + Packet(0, 0, {1, 2, 3}) + Packet(0, 0, {4, 5, 6});
  const size_t second = file.size() - 19;
  for (size_t length = 1; length < file.size(); ++length) {
    const std::string complaint = Complaint(Data(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length)));
    if (length == second) {
      EXPECT_EQ(complaint, "");
    } else if (length != Head().size()) {
      EXPECT_EQ(complaint.find("Cannot read F"), 0U) << length;
      EXPECT_NE(complaint.find("truncated"), std::string::npos) << complaint;
      EXPECT_EQ(complaint.find(", packet 2: ") != std::string::npos, length > second) << complaint;
    }
  }
}

TEST(Pcap, FileIsReadAsItsBytesAre) {
  const Data bytes = Head() + Packet(0, 0, {1, 2, 3});
  const TextFile file(std::string(bytes.begin(), bytes.end()));
  const auto items = Drain(*MakePcapSource(file.Path, {}));
  ASSERT_EQ(items.size(), 1U);
  EXPECT_EQ(FrameOf(items[0]), (Data{1, 2, 3}));
}

TEST(Pcap, PathsThatCanNotBeReadSayWhy) {
  const auto directory = std::filesystem::temp_directory_path().string();
  const TextFile empty("");
  EXPECT_EQ(ThrownBy([] { MakePcapSource("/no/such.pcap", {}); }).Text,
            "Cannot read /no/such.pcap: there is no such file.");
  EXPECT_EQ(ThrownBy([&] { MakePcapSource(directory, {}); }).Text,
            "Cannot read " + directory + ": it is no regular file.");
  EXPECT_EQ(ThrownBy([&] { MakePcapSource(empty.Path, {}); }).Text, "Cannot read " + empty.Path + ": it is empty.");
}
