// Files read by a program of others: what the client writes, and what the library's export is worth once it is mended.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "export/Qor_Trace_Export_PCAP.h"
#include "outputs/PcapngWriter.h"
#include "support/EntryBuilder.h"
#include "support/TemporaryDirectory.h"

namespace client {
namespace {

using nlohmann::json;
using test::CanItem;
using test::Counting;
using test::EthernetItem;
using test::FlexRayItem;
using test::LinItem;

constexpr unsigned long Start = 1732176000123456789;  // ns

struct Outcome {
  int Code;
  std::string Output;
};

/// Runs tshark and returns its exit code and what it printed.
Outcome Tshark(const std::string& arguments) {
  FILE* pipe = popen(("tshark " + arguments + " 2>/dev/null").c_str(), "r");
  std::string output;
  char part[4096];
  while (const std::size_t got = fread(part, 1, sizeof part, pipe)) output.append(part, got);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

/// A field of a dissected packet, wherever it stands in its tree; empty if it isn't there.
std::string FieldOf(const json& tree, const std::string& name) {
  if (!tree.is_object()) return "";
  if (const auto found = tree.find(name); found != tree.end() && found->is_string()) return *found;
  for (const auto& branch : tree) {
    const std::string value = FieldOf(branch, name);
    if (!value.empty()) return value;
  }
  return "";
}

std::string LowerHex(const test::Bytes& bytes) {
  std::string text;
  for (const unsigned char byte : bytes) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

class Capture : public testing::Test {
 protected:
  void SetUp() override {
    if (Tshark("--version").Code != 0) GTEST_SKIP() << "tshark is not installed";
  }
  std::string PathOf(const char* name) const { return Folder / name; }

 private:
  test::TemporaryDirectory Directory;
  std::filesystem::path Folder = std::filesystem::current_path();
};

/// A packet as it is expected back.
struct Expected {
  std::string Interface;
  std::string Protocols;  // start of the list
  bool Outbound = false;
  std::string Bytes = {};  // end of the packet, hexadecimal
  std::vector<std::pair<std::string, std::string>> Fields = {};
};

/// A file of packets 1 ns apart, and what each of them is expected back as.
class PacketFile {
 public:
  explicit PacketFile(const std::string& path) : File(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666)) {}

  template <class Item>
  void Put(Item item, Expected packet) {
    EXPECT_TRUE(Writer.Take(*item.At(Start + Packets.size()).Entry()->GetEntry()));
    Packets.push_back(std::move(packet));
  }
  void Finish() {
    EXPECT_TRUE(Writer.Finish());
    close(File);
  }

  std::vector<Expected> Packets;

 private:
  int File;
  DescriptorSink Sink{File};
  PcapngWriter Writer{Sink};
};

void PutCan(PacketFile& file) {
  file.Put(CanItem().Channel(1).Id(0x123).Data({1, 2, 3}),
           {.Interface = "CAN-1",
            .Protocols = "can:",
            .Bytes = "010203",
            .Fields = {{"can.id", "291"}, {"can.len", "3"}, {"can.flags.xtd", "0"}}});
  file.Put(CanItem().Channel(1).Id(0x1ABCDEF0).Extended().Fd().Brs().Tx().Data(Counting(64)),
           {.Interface = "CAN-1",
            .Protocols = "can:",
            .Outbound = true,
            .Bytes = LowerHex(Counting(64)),
            .Fields = {{"can.id", "448585456"},
                       {"can.flags.xtd", "1"},
                       {"can.len", "64"},
                       {"canfd.flags.brs", "1"},
                       {"canfd.flags.esi", "0"}}});
  file.Put(CanItem().Channel(5).Id(0x123).Data({}).Dlc(5),
           {.Interface = "CAN-5", .Protocols = "can", .Fields = {{"can.flags.rtr", "1"}, {"can.len", "5"}}});
  file.Put(CanItem().Channel(1).Tx().ErrorFrame(1), {.Interface = "CAN-1",
                                                     .Protocols = "can",
                                                     .Outbound = true,
                                                     .Fields = {{"can.flags.err", "1"},
                                                                {"can.err.prot", "1"},
                                                                {"can.err.prot.type.stuff", "1"},
                                                                {"can.err.prot.type.form", "0"},
                                                                {"can.err.prot.type.tx", "1"}}});
  file.Put(
      CanItem().Channel(1).ErrorFrame(3),
      {.Interface = "CAN-1", .Protocols = "can", .Fields = {{"can.err.ack", "1"}, {"can.err.prot.location", "25"}}});
}

void PutLin(PacketFile& file) {
  file.Put(LinItem().Channel(2).Id(0x10).Data({1, 2}, 0xAC),
           {.Interface = "LIN-2",
            .Protocols = "lin:",
            .Bytes = "0102",
            .Fields = {
                {"lin.frame_id", "0x10"}, {"lin.length", "2"}, {"lin.checksum", "0xac"}, {"lin.checksum_type", "2"}}});
  file.Put(LinItem().Channel(2).Id(1).TransmitError(),
           {.Interface = "LIN-2",
            .Protocols = "lin",
            .Outbound = true,
            .Fields = {{"lin.frame_id", "0x01"}, {"lin.errors.no_slave_response", "1"}}});
  file.Put(LinItem().Channel(2).WakeUp(),
           {.Interface = "LIN-2", .Protocols = "lin", .Fields = {{"lin.event_id", "0xb0b00004"}}});
}

void PutFlexRay(PacketFile& file) {
  file.Put(FlexRayItem().Channel(3).Slot(5).Cycle(3).HeaderCrc(0x2A5).Data({1, 2, 3, 4}),
           {.Interface = "FR-3",
            .Protocols = "flexray:",
            .Bytes = "01020304",
            .Fields = {{"flexray.fid", "5"},
                       {"flexray.cc", "3"},
                       {"flexray.hcrc", "677"},
                       {"flexray.pl", "2"},
                       {"flexray.nfi", "1"},
                       {"flexray.ch", "0"}}});
  file.Put(FlexRayItem().Channel(3).Tx().Code(1).FrameFlags(0x1C).Slot(0x7FF).Cycle(63).PayloadWords(127),
           {.Interface = "FR-3",
            .Protocols = "flexray",
            .Outbound = true,
            .Bytes = std::string(508, '0'),
            .Fields = {{"flexray.fid", "2047"},
                       {"flexray.nfi", "0"},
                       {"flexray.sfi", "1"},
                       {"flexray.stfi", "1"},
                       {"flexray.ch", "1"}}});
}

test::Bytes BroadcastFrame(std::size_t size) {
  test::Bytes frame = Counting(size);
  std::fill_n(frame.begin(), 6, static_cast<unsigned char>(0xFF));
  frame[6] = 0x02;   // an address of one station
  frame[12] = 0x88;  // an experimental protocol
  frame[13] = 0xB5;
  return frame;
}

void PutEthernet(PacketFile& file) {
  file.Put(EthernetItem().Channel(4).Frame(BroadcastFrame(60)),
           {.Interface = "ETH-4",
            .Protocols = "eth:",
            .Bytes = LowerHex(BroadcastFrame(60)),
            .Fields = {{"eth.type", "0x88b5"}, {"frame.len", "60"}}});
  file.Put(EthernetItem().Channel(4).Tx().CrcError().Frame(BroadcastFrame(1514)),
           {.Interface = "ETH-4",
            .Protocols = "eth:",
            .Outbound = true,
            .Bytes = LowerHex(BroadcastFrame(1514)),
            .Fields = {{"frame.packet_flags_crc_error", "1"}, {"frame.cap_len", "1514"}}});
}

void ExpectDissected(const json& layers, const Expected& packet) {
  const std::string bytes = layers["frame_raw"][0];
  EXPECT_EQ(FieldOf(layers, "frame.interface_name"), packet.Interface);
  EXPECT_EQ(FieldOf(layers, "frame.protocols").substr(0, packet.Protocols.size()), packet.Protocols);
  EXPECT_EQ(FieldOf(layers, "frame.packet_flags_direction"), packet.Outbound ? "0x00000002" : "0x00000001");
  EXPECT_FALSE(layers.contains("_ws.malformed"));
  ASSERT_GE(bytes.size(), packet.Bytes.size());
  EXPECT_EQ(bytes.substr(bytes.size() - packet.Bytes.size()), packet.Bytes);
  for (const auto& [name, value] : packet.Fields) EXPECT_EQ(FieldOf(layers, name), value) << name;
}

// In one file: the other program takes a second to start.
TEST_F(Capture, AnotherProgramReadsAllFourBuses) {
  const std::string path = PathOf("vehicle.pcapng");
  PacketFile file(path);
  PutCan(file);
  PutLin(file);
  PutFlexRay(file);
  PutEthernet(file);
  file.Finish();

  const Outcome run = Tshark("-r '" + path + "' -T json -x");
  ASSERT_EQ(run.Code, 0);
  const json packets = json::parse(run.Output);
  ASSERT_EQ(packets.size(), file.Packets.size());
  for (std::size_t i = 0; i < packets.size(); ++i) {
    SCOPED_TRACE("packet " + std::to_string(i + 1));
    const json& layers = packets[i]["_source"]["layers"];
    ExpectDissected(layers, file.Packets[i]);
    EXPECT_EQ(FieldOf(layers, "frame.time_epoch"), "1732176000." + std::to_string(123456789 + i));
  }
}

/// Makes both length fields of each interface description block smaller by 4, as qor_api_trace.h says.
std::string Mended(std::string file) {
  const auto lengthAt = [&](std::size_t place) {
    unsigned int length;
    std::memcpy(&length, file.data() + place, sizeof length);
    return length;
  };
  for (std::size_t place = 0; place < file.size(); place += lengthAt(place + 4)) {
    const unsigned int declared = lengthAt(place + 4);
    if (lengthAt(place) != 1) continue;
    EXPECT_EQ(lengthAt(place + declared - 8), declared);
    const unsigned int real = declared - 4;
    std::memcpy(file.data() + place + 4, &real, sizeof real);
    std::memcpy(file.data() + place + declared - 8, &real, sizeof real);
  }
  return file;
}

TEST_F(Capture, TheLibrarysExportIsReadOnceItIsMended) {
  const std::string path = PathOf("export.pcapng");
  Qor_Trace_EntryStore entries;
  for (const unsigned int channel : {7u, 12345u, 7u}) {
    entries.push_back(EthernetItem().Channel(channel).At(Start).Frame(Counting(61)).Entry());
  }
  Qor_Trace_Export_PCAP(0, path.c_str(), 0).Export(entries);
  const std::string fields = "-T fields -e frame.interface_name -e frame.time_epoch -e frame.len";
  EXPECT_NE(Tshark("-r '" + path + "' " + fields).Code, 0);

  std::ifstream in(path, std::ios::binary);
  const std::string file{std::istreambuf_iterator<char>(in), {}};
  std::ofstream(path, std::ios::binary) << Mended(file);
  const Outcome run = Tshark("-r '" + path + "' " + fields);
  EXPECT_EQ(run.Code, 0);
  EXPECT_EQ(run.Output, "7\t1732176000.123456789\t61\n12345\t1732176000.123456789\t61\n7\t1732176000.123456789\t61\n");
}

}  // namespace
}  // namespace client
