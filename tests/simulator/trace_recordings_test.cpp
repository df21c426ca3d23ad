// Recordings of LIN, FlexRay and Ethernet, where they are at hand, replayed into a trace: every frame comes back from it
// as an independent reading of the file has it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "qor_sim.h"
#include "recording/TraceDrain.h"
#include "support/WaitUntil.h"

namespace {

using Bytes = std::vector<unsigned char>;
const std::filesystem::path kFolder = QOR_RECORDINGS_DIR;

/// A record of the trace from its bus type on, with its time.
struct Traced {
  unsigned long Time = 0;
  unsigned char Bus = 0;
  Bytes Payload;  // from record offset 28 on
};

bool Finished(unsigned int port) {
  Qor_Sim_Status_t status{};
  return Qor_Sim_GetStatus(port, &status) != 0 || status.Finished != 0;
}

Traced TracedOf(const unsigned char* record, unsigned int length) {
  Traced traced;
  std::memcpy(&traced.Time, record + 8, sizeof traced.Time);
  traced.Bus = record[24];
  traced.Payload.assign(record + 28, record + length);
  return traced;
}

/// The whole trace of a source, recorded through the C interface.
std::vector<Traced> Trace(const std::string& source) {
  unsigned int port = 0, monitor = 0;
  EXPECT_EQ(Qor_Sim_OpenPort(source.c_str(), &port), 0U) << Qor_Sim_ErrorText();
  EXPECT_EQ(Qor_Trace_Allocate(0, &monitor), 0U);
  const Qor_Trace_AddChannel_Request_t request{0, port, 0};
  Qor_Trace_AddChannel_Response_t response{};
  EXPECT_EQ(Qor_Trace_AddChannel(monitor, &request, &response), 0U);
  EXPECT_EQ(Qor_Trace_Start(monitor, 0), 0U);
  EXPECT_TRUE(test::WaitUntil([&] { return Finished(port); }));
  EXPECT_EQ(Qor_Trace_Stop(monitor), 0U);
  std::vector<Traced> trace;
  TraceDrain drain(monitor);
  EXPECT_EQ(drain.PullAll([&](const RecordView& record) {
    trace.push_back(TracedOf(record.Bytes().data(), record.Length()));
    return true;
  }),
            0U);
  EXPECT_EQ(Qor_Trace_Delete(monitor), 0U);
  EXPECT_EQ(Qor_Sim_ClosePort(port), 0U);
  return trace;
}

/// The files of a folder with an ending, in no particular order.
std::vector<std::filesystem::path> FilesOf(const std::string& bus, const std::string& ending) {
  std::vector<std::filesystem::path> files;
  if (!std::filesystem::is_directory(kFolder / bus)) return files;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder / bus)) {
    if (entry.path().extension() == ending) files.push_back(entry.path());
  }
  return files;
}

// ---- The readers of this test --------------------------------------------------------------------------------------------

/// Columns of each line after the header: timestamp_ns,channel,kind,flags,id,cycle,crc,data
std::vector<std::array<std::string, 8>> ReadCsv(const std::filesystem::path& path) {
  std::vector<std::array<std::string, 8>> rows;
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line)) {
    std::istringstream text(line);
    std::array<std::string, 8> row;
    for (auto& column : row) std::getline(text, column, ',');
    rows.push_back(row);
  }
  return rows;
}

Bytes FromHex(const std::string& digits) {
  Bytes bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    bytes.push_back(static_cast<unsigned char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

unsigned int NumberOr0(const std::string& text) {
  return text.empty() ? 0 : static_cast<unsigned int>(std::stoul(text));
}

/// A packet of a classic little-endian pcap file with times in us.
struct Packet {
  unsigned long Time = 0;  // ns
  Bytes Frame;
};

unsigned int U32(const Bytes& bytes, size_t offset) {
  unsigned int value = 0;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

std::vector<Packet> ReadPcap(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const Bytes bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  EXPECT_EQ(U32(bytes, 0), 0xA1B2C3D4U) << path;
  std::vector<Packet> packets;
  for (size_t offset = 24; offset < bytes.size();) {
    const auto length = static_cast<std::ptrdiff_t>(U32(bytes, offset + 8));
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(offset + 16);
    packets.push_back(
        {U32(bytes, offset) * 1'000'000'000UL + U32(bytes, offset + 4) * 1'000UL, {first, first + length}});
    offset += 16 + static_cast<size_t>(length);
  }
  return packets;
}

/// A field of a packed record, which a reference may not be bound to.
template <class T>
T Value(T field) {
  return field;
}

// ---- What a record holds -------------------------------------------------------------------------------------------------

/// Flags of a LIN record by the kind of the line.
unsigned int LinFlags(const std::string& kind) {
  if (kind == "checksum_error") return QOR_TRACE_LIN_CHECKSUM_ERROR;
  if (kind == "parity_error") return QOR_TRACE_LIN_PARITY_ERROR;
  if (kind == "sync_error") return QOR_TRACE_LIN_SYNC_ERROR;
  if (kind == "no_response") return QOR_TRACE_LIN_TRANSMIT_ERROR | QOR_TRACE_LIN_TRANSMITTED;
  return kind == "frame" ? 0 : 0xFFFF;
}

void ExpectLin(const Traced& traced, const std::array<std::string, 8>& row) {
  const auto& [time, channel, kind, flags, id, cycle, crc, data] = row;
  EXPECT_EQ(traced.Time, std::stoul(time));
  ASSERT_EQ(traced.Bus, BusType_Lin);
  Qor_Trace_Entry_Lin_t lin;
  ASSERT_EQ(traced.Payload.size(), sizeof lin);
  std::memcpy(&lin, traced.Payload.data(), sizeof lin);
  Bytes expected = FromHex(data);
  if (!crc.empty()) expected.push_back(static_cast<unsigned char>(std::stoi(crc)));
  EXPECT_EQ(Value(lin.Flags), LinFlags(kind));
  EXPECT_EQ(Value(lin.Identifier) & 0x3F, NumberOr0(id));
  EXPECT_EQ(Value(lin.DataLength), expected.size());
  // The ninth byte of a long frame lies in Pad.
  EXPECT_EQ(Bytes(traced.Payload.begin() + 7, traced.Payload.begin() + 7 + lin.DataLength), expected);
  EXPECT_EQ(1'000'000'000 / (lin.BitTime >> 3), 19200U);
}

unsigned int FlexRayFlags(const std::string& flags) {
  const auto has = [&](const char* name) {
    return ("|" + flags + "|").find(std::string("|") + name + "|") != std::string::npos;
  };
  return (has("ppi") ? 2U : 0U) | (has("null") ? 4U : 0U) | (has("sync") ? 8U : 0U) | (has("startup") ? 16U : 0U);
}

void ExpectFlexRay(const Traced& traced, const std::array<std::string, 8>& row) {
  const auto& [time, channel, kind, flags, id, cycle, crc, data] = row;
  ASSERT_EQ(kind, "frame");
  EXPECT_EQ(traced.Time, std::stoul(time));
  ASSERT_EQ(traced.Bus, BusType_FlexRay);
  constexpr size_t kHead = offsetof(Qor_Trace_Entry_FlexRay_t, Data);
  Qor_Trace_Entry_FlexRay_t frame;
  ASSERT_GE(traced.Payload.size(), kHead);
  std::memcpy(&frame, traced.Payload.data(), kHead);
  EXPECT_EQ(Value(frame.ItemType), QOR_TRACE_FLEXRAY_RECEIVED);
  EXPECT_EQ(Value(frame.ItemTimestamp), std::stoul(time));
  EXPECT_EQ(Value(frame.Channel), channel == "B" ? 1 : 0);
  EXPECT_EQ(Value(frame.FrameFlags), FlexRayFlags(flags));
  EXPECT_EQ(Value(frame.SlotId), std::stoul(id));
  EXPECT_EQ(Value(frame.Cycle), std::stoul(cycle));
  EXPECT_EQ(Value(frame.HeaderCrc), std::stoul(crc));
  EXPECT_EQ(Value(frame.PayloadLength) * 4U, data.size());
  EXPECT_EQ(Bytes(traced.Payload.begin() + kHead, traced.Payload.end()), FromHex(data));
}

void ExpectEthernet(const Traced& traced, const Packet& packet) {
  EXPECT_EQ(traced.Time, packet.Time);
  ASSERT_EQ(traced.Bus, BusType_Ethernet);
  constexpr size_t kHead = offsetof(Qor_Trace_Entry_Ethernet_t, Frame);
  Qor_Trace_Entry_Ethernet_t frame;
  ASSERT_GE(traced.Payload.size(), kHead);
  std::memcpy(&frame, traced.Payload.data(), kHead);
  EXPECT_EQ(Value(frame.ItemType), QOR_TRACE_ETHERNET_FRAME);
  EXPECT_EQ(Value(frame.ItemTimestamp), packet.Time);
  EXPECT_EQ(Value(frame.Flags), 0);
  EXPECT_EQ(Value(frame.FrameLength), packet.Frame.size());
  EXPECT_EQ(Bytes(traced.Payload.begin() + kHead, traced.Payload.end()), packet.Frame);
}

/// Compares a trace with what a file holds, in order of time, until something differs.
template <class Row, class Expect>
void ExpectTrace(const std::vector<Traced>& trace, const std::vector<Row>& rows, Expect expect) {
  ASSERT_EQ(trace.size(), rows.size());
  for (size_t i = 0; i < rows.size() && !testing::Test::HasFailure(); ++i) {
    SCOPED_TRACE(i);
    expect(trace[i], rows[i]);
  }
}

}  // namespace

TEST(TraceRecordings, EveryLinLineComesBack) {
  const auto files = FilesOf("lin", ".csv");
  if (files.empty()) GTEST_SKIP() << "no LIN recordings in " << kFolder;
  for (const auto& path : files) {
    SCOPED_TRACE(path);
    ExpectTrace(Trace("csv:" + path.string() + "?speed=max&origin=absolute"), ReadCsv(path), ExpectLin);
  }
}

TEST(TraceRecordings, EveryFlexRayLineComesBack) {
  const auto files = FilesOf("flexray", ".csv");
  if (files.empty()) GTEST_SKIP() << "no FlexRay recordings in " << kFolder;
  for (const auto& path : files) {
    SCOPED_TRACE(path);
    ExpectTrace(Trace("csv:" + path.string() + "?speed=max&origin=absolute"), ReadCsv(path), ExpectFlexRay);
  }
}

TEST(TraceRecordings, EveryEthernetFrameComesBack) {
  const auto files = FilesOf("ethernet", ".pcap");
  if (files.empty()) GTEST_SKIP() << "no Ethernet recordings in " << kFolder;
  for (const auto& path : files) {
    SCOPED_TRACE(path);
    auto packets = ReadPcap(path);
    std::stable_sort(packets.begin(), packets.end(), [](auto& a, auto& b) { return a.Time < b.Time; });
    ExpectTrace(Trace("pcap:" + path.string() + "?speed=max&origin=absolute"), packets, ExpectEthernet);
  }
}
