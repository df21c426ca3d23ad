// Entries of any bytes through the library's PCAPNG export: one block for each that has one, with its bytes.
//
// Input: flags (1), start time (8), then entries: channel (1), length (2), an item's bytes with their own size in front.
#include "Input.h"
#include "PcapngBlocks.h"
#include "export/Qor_Trace_Export_PCAP.h"
#include "support/TemporaryDirectory.h"

namespace {

using fuzz::PcapngBlock;
using fuzz::Require;
using test::Bytes;
using test::EntryPtr;
using test::ReadAt;

constexpr unsigned int kEnhancedPacket = 6;
constexpr unsigned int kCustom = 0x40000BAD;
constexpr unsigned int kExcess = 4;

/// An entry of an item with these bytes, of a bus that the input names.
EntryPtr TakeEntry(fuzz::Input& input) {
  const auto head = input.Take<std::uint8_t>();
  Bytes item = input.TakeBytes(input.Take<std::uint16_t>());
  const size_t size = item.size();
  item.resize(std::max<size_t>(size, 16));  // what a constructor may read
  test::PutAt(item, 0, static_cast<unsigned short>(size));
  const unsigned int channel = head >> 2;
  if ((head & 3) != 1) {
    return std::make_shared<Qor_Trace_Entry>(channel,
                                             reinterpret_cast<const Ethernet_Param_Monitor_Item_t*>(item.data()));
  }
  return std::make_shared<Qor_Trace_Entry>(channel,
                                           reinterpret_cast<const FlexRay_Param_Monitor_Entry_t*>(item.data()));
}

/// A block with what must stand in it: data padded with zeros, and the fields before and after it.
Bytes Body(Bytes head, const Bytes& data, const Bytes& tail) {
  test::Append(head, data);
  while (head.size() % 4 != 0) head.push_back(0);
  test::Append(head, tail);
  return head;
}

/// The blocks that entries must become, in the order of the file.
class Model {
 public:
  Model(bool relative, unsigned long start) : Relative(relative), Start(start) {}

  void Take(const Bytes& record) {
    const auto time = ReadAt<unsigned long>(record, 8);
    if ((Relative && time < Start) || record[24] != BusType_Ethernet) return;
    const unsigned int interface = InterfaceOf(ReadAt<unsigned int>(record, 4));
    Bytes whole = record;
    whole.resize(std::max<size_t>(record.size(), 44));
    const auto kind = ReadAt<unsigned short>(whole, 30);
    const size_t announced = ReadAt<unsigned short>(whole, 42);
    if (kind == QOR_TRACE_ETHERNET_FRAME) {
      Packet(interface, time - (Relative ? Start : 0), whole[40], Data(whole, announced));
    } else if (kind == QOR_TRACE_ETHERNET_CUSTOM) {
      Blocks.push_back({kCustom, Body(Bytes(4), Data(whole, announced & 0xFF), {})});
    }
  }
  std::vector<PcapngBlock> Blocks;

 private:
  static Bytes Data(const Bytes& whole, size_t announced) {
    const auto first = whole.begin() + 44;
    return {first, first + static_cast<std::ptrdiff_t>(std::min(announced, whole.size() - 44))};
  }
  unsigned int InterfaceOf(unsigned int channel) {
    const auto found = std::find(Channels.begin(), Channels.end(), channel);
    if (found != Channels.end()) return static_cast<unsigned int>(found - Channels.begin());
    const std::string digits = std::to_string(channel);
    Bytes head = {1, 0, 0, 0, 0xF2, 5, 0, 0, 2, 0, static_cast<unsigned char>(digits.size()), 0};
    Blocks.push_back({1, Body(head, Bytes(digits.begin(), digits.end()), {9, 0, 1, 0, 9, 0, 0, 0, 0, 0, 0, 0})});
    Channels.push_back(channel);
    return static_cast<unsigned int>(Channels.size() - 1);
  }
  void Packet(unsigned int interface, unsigned long time, unsigned int flags, const Bytes& frame) {
    Bytes head(20);
    test::PutAt(head, 0, interface);
    test::PutAt(head, 4, static_cast<unsigned int>(time >> 32));
    test::PutAt(head, 8, static_cast<unsigned int>(time));
    test::PutAt(head, 12, static_cast<unsigned int>(frame.size()));
    test::PutAt(head, 16, static_cast<unsigned int>(frame.size()));
    Bytes tail = {2, 0, 4, 0, 1, 0, 0, 0, 0, 0, 0, 0};
    if ((flags & QOR_TRACE_ETHERNET_TRANSMITTED) != 0) tail[4] = 2;
    if ((flags & QOR_TRACE_ETHERNET_CRC_ERROR) != 0) tail[7] = 1;
    Blocks.push_back({kEnhancedPacket, Body(head, frame, tail)});
  }

  const bool Relative;
  const unsigned long Start;
  std::vector<unsigned int> Channels;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TemporaryDirectory directory;
  fuzz::Input input(data, size);
  const bool relative = input.OneIn(2);
  const auto start = input.Take<unsigned long>();
  Model model(relative, start);
  Qor_Trace_EntryStore entries;
  while (input.Left() > 0) {
    const auto entry = TakeEntry(input);
    entries.push_back(entry);
    model.Take(test::BytesOf(*entry));
  }
  Qor_Trace_Export_PCAP(relative ? QOR_TRACE_PCAP_START_OFFSET : 0, "out.pcapng", start).Export(entries);
  const auto blocks = fuzz::PcapngBlocks(test::FileBytes("out.pcapng"), kExcess);
  Require(blocks.size() == 1 + model.Blocks.size() && blocks[0].Type == 0x0A0D0D0A, "each entry has its blocks");
  for (size_t i = 0; i < model.Blocks.size(); ++i) {
    Require(blocks[i + 1].Type == model.Blocks[i].Type, "a block is of the kind of its entry");
    Require(blocks[i + 1].Body == model.Blocks[i].Body, "a block holds its entry");
  }
  return 0;
}
