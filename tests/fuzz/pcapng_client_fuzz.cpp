// Records of any bytes through the client's PCAPNG writer: whole blocks, packets of interfaces that were described before with
// their bytes taken from the records, and every record counted once.
//
// Input: options (1), then records: length (2), bytes; a length above 32767 is a flush.
#include <map>

#include "Input.h"
#include "PcapngBlocks.h"
#include "outputs/PcapngWriter.h"

namespace {

using fuzz::PcapngBlock;
using fuzz::Require;
using test::Bytes;
using test::ReadAt;

enum : unsigned int { kInterface = 1, kStatistics = 5, kPacket = 6, kSection = 0x0A0D0D0A };

class Memory : public client::ByteSink {
 public:
  std::size_t Write(const unsigned char* bytes, std::size_t size) override {
    File.insert(File.end(), bytes, bytes + size);
    return size;
  }
  Bytes File;
};

/// What came of an input.
struct Result {
  Bytes File;
  unsigned long Records = 0;
  unsigned long DoubleFrames = 0;  // that FlexRay's channels A and B share
  unsigned long Packets = 0;
  unsigned long NotPackets = 0;  // omitted or left out
};

bool IsOfBothChannels(const test::Record& record) {
  return record.Length() > 41 && record.Get().BusType == BusType_FlexRay && record.Data()[40] == 2;
}

Result Written(fuzz::Input input, bool flushes) {
  Memory memory;
  client::PcapngOptions options;
  options.EthernetOnly = input.OneIn(2);
  client::PcapngWriter writer(memory, options);
  client::Description description;
  description.Anchor = client::ClockAnchor{1ul << 40, 1795262400000000000};
  description.Channels = {{.Number = 1, .BusType = BusType_Can}, {.Number = 2, .BusType = BusType_Lin}};
  description.Losses = {{1, client::LossCause::CaptureBufferFull, 5, 6, 7}};
  writer.Describe(description);
  Result result;
  while (input.Left() > 0) {
    const auto length = input.Take<std::uint16_t>();
    if (length >= 0x8000) {
      if (flushes) Require(writer.Flush(), "a flush works");
      continue;
    }
    Bytes bytes = input.TakeBytes(length);
    bytes.resize(std::max<size_t>(bytes.size(), 28));
    const test::Record record(bytes);
    const unsigned long before = writer.Packets();
    Require(writer.Take(record.Get()), "an entry is taken");
    const unsigned long packets = writer.Packets() - before;
    Require(packets <= (IsOfBothChannels(record) ? 2U : 1U), "an entry is one packet, or one for each of two channels");
    if (packets == 2) ++result.DoubleFrames;
    ++result.Records;
  }
  Require(writer.Finish(), "the file is finished");
  result.Packets = writer.Packets();
  result.NotPackets = writer.Omitted().Total() + writer.LeftOut();
  result.File = std::move(memory.File);
  Require(writer.Bytes() == result.File.size(), "the bytes are counted");
  return result;
}

void CheckPacket(const PcapngBlock& block, size_t interfaces) {
  Require(block.Body.size() >= 20, "a packet has its fields");
  const auto captured = ReadAt<unsigned int>(block.Body, 12);
  Require(ReadAt<unsigned int>(block.Body, 0) < interfaces, "a packet's interface was described before");
  Require(captured <= ReadAt<unsigned int>(block.Body, 16), "no more is captured than there was");
  Require(20 + captured <= block.Body.size(), "a packet is whole");
}

void CheckBlocks(const Result& result) {
  size_t interfaces = 0, packets = 0, statistics = 0;
  const auto blocks = fuzz::PcapngBlocks(result.File);
  for (const PcapngBlock& block : blocks) {
    interfaces += block.Type == kInterface ? 1 : 0;
    statistics += block.Type == kStatistics ? 1 : 0;
    if (block.Type != kPacket) continue;
    CheckPacket(block, interfaces);
    ++packets;
  }
  Require(!blocks.empty() && blocks[0].Type == kSection, "a section header comes first");
  Require(1 + interfaces + packets + statistics == blocks.size(), "there are no other blocks");
  Require(packets == result.Packets, "the packets are counted");
  Require(statistics == interfaces, "each interface has its counts");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Result result = Written({data, size}, true);
  CheckBlocks(result);
  Require(result.Records + result.DoubleFrames == result.Packets + result.NotPackets, "each record is counted once");
  Require(Written({data, size}, false).File == result.File, "flushes change nothing in the file");
  return 0;
}
