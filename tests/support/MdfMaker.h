// MDF 4 files made by hand, block by block: layouts that this project's own writer doesn't make.
//
//   test::MdfMaker file;
//   const auto data = file.Block("DT", {}, bytes);
//   file.DataGroup(0, data, {{.Cycles = 1, .DataBytes = 17, .Channels = {...}}});
#pragma once

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace test {

struct MdfChannel {
  std::string Name = {};
  unsigned char Type = 0;      // 0 fixed, 1 variable length, 2 master, 5 maximum length, 6 virtual
  unsigned char DataType = 0;  // 0 and 1 unsigned, 2 and 3 signed, 4 and 5 float; odd ones big-endian; 10 bytes
  unsigned int Bit = 0;        // from the record's first byte on
  unsigned int Bits = 0;
  unsigned long Conversion = 0;
  unsigned long Data = 0;
  unsigned char Sync = 0;  // 1: time
  unsigned int Flags = 0x400;
  unsigned int InvalidBit = 0;
  std::vector<MdfChannel> Parts = {};  // its composition
};

struct MdfChannelGroup {
  std::string Name = "CAN1";
  unsigned long RecordId = 0;
  unsigned long Cycles = 0;
  unsigned short Flags = 6;
  unsigned int DataBytes = 0;
  unsigned int InvalidBytes = 0;
  std::vector<MdfChannel> Channels = {};
  unsigned long Source = 0;
};

class MdfMaker {
 public:
  using Bytes = std::vector<unsigned char>;

  explicit MdfMaker(unsigned short version = 410, bool finalized = true, unsigned short unfinalizedFlags = 0)
      : File(64, 0) {
    Put(0, std::string_view(finalized ? "MDF     " : "UnFinMF "));
    Put(8, std::string_view("4.10    handmade"));
    Put(28, version);
    Put(60, unfinalizedFlags);
    Block("HD", std::vector<unsigned long>(6, 0), Bytes(32, 0));
  }

  /// ns since 1970.
  MdfMaker& Start(unsigned long time) { return Put(64 + 24 + 48, time), *this; }

  /// @return its position
  unsigned long Block(std::string_view kind, const std::vector<unsigned long>& links, const Bytes& data) {
    File.resize((File.size() + 7) / 8 * 8, 0);
    const unsigned long position = File.size();
    File.resize(position + 24 + 8 * links.size(), 0);
    Put(position, std::string_view("##"));
    Put(position + 2, kind);
    Put(position + 8, 24 + 8 * links.size() + data.size());
    Put(position + 16, links.size());
    for (size_t index = 0; index < links.size(); ++index) Link(position, index, links[index]);
    File.insert(File.end(), data.begin(), data.end());
    return position;
  }
  void Link(unsigned long block, size_t index, unsigned long target) { Put(block + 24 + 8 * index, target); }

  unsigned long Text(std::string_view text, std::string_view kind = "TX") {
    Bytes data(text.begin(), text.end());
    data.resize(text.size() / 8 * 8 + 8, 0);
    return Block(kind, {}, data);
  }
  /// offset + factor x number
  unsigned long Linear(double offset, double factor) {
    Bytes data(40, 0);
    data[0] = 1;
    data[6] = 2;
    std::memcpy(data.data() + 24, &offset, 8);
    std::memcpy(data.data() + 32, &factor, 8);
    return Block("CC", std::vector<unsigned long>(4, 0), data);
  }
  /// Raises nothing: a block's length and packed bytes are as given.
  unsigned long Packed(std::string_view original, unsigned char zip, unsigned int columns, unsigned long length,
                       const Bytes& packed) {
    Bytes data(24, 0);
    std::memcpy(data.data(), original.data(), 2);
    data[2] = zip;
    std::memcpy(data.data() + 4, &columns, 4);
    std::memcpy(data.data() + 8, &length, 8);
    const unsigned long size = packed.size();
    std::memcpy(data.data() + 16, &size, 8);
    data.insert(data.end(), packed.begin(), packed.end());
    return Block("DZ", {}, data);
  }
  /// A list of blocks; their offsets in the stream, or one length for all of them.
  unsigned long List(const std::vector<unsigned long>& blocks, const std::vector<unsigned long>& offsets,
                     unsigned long equalLength = 0) {
    std::vector<unsigned long> links = {0};
    links.insert(links.end(), blocks.begin(), blocks.end());
    Bytes data(8 + 8 * std::max<size_t>(offsets.size(), 1), 0);
    data[0] = equalLength != 0 ? 1 : 0;
    data[4] = static_cast<unsigned char>(blocks.size());
    if (!offsets.empty()) std::memcpy(data.data() + 8, offsets.data(), 8 * offsets.size());
    if (equalLength != 0) std::memcpy(data.data() + 8, &equalLength, 8);
    return Block("DL", links, data);
  }

  /// Appends a data group. @return the positions of its channel groups
  std::vector<unsigned long> DataGroup(unsigned char idSize, unsigned long data,
                                       const std::vector<MdfChannelGroup>& groups) {
    std::vector<unsigned long> positions;
    for (const MdfChannelGroup& group : groups) {
      positions.push_back(Group(group));
      if (positions.size() > 1) Link(positions[positions.size() - 2], 0, positions.back());
    }
    Bytes fields(8, 0);
    fields[0] = idSize;
    const auto block = Block("DG", {0, positions.empty() ? 0 : positions.front(), data, 0}, fields);
    Link(LastGroup == 0 ? 64 : LastGroup, 0, block);
    LastGroup = block;
    return positions;
  }

  /// Appends an event about one group.
  void Event(unsigned char type, std::string_view name, long nanoseconds, unsigned long scope) {
    Bytes data(32, 0);
    data[0] = type;
    data[1] = 1;
    data[8] = 1;
    const double factor = 1e-9;
    std::memcpy(data.data() + 16, &nanoseconds, 8);
    std::memcpy(data.data() + 24, &factor, 8);
    const auto block = Block("EV", {0, 0, 0, Text(name), 0, scope}, data);
    LastEvent == 0 ? Link(64, 4, block) : Link(LastEvent, 0, block);
    LastEvent = block;
  }

  [[nodiscard]] Bytes& Contents() { return File; }

  template <class Value>
  void Put(unsigned long place, Value value) {
    std::memcpy(File.data() + place, &value, sizeof value);
  }
  void Put(unsigned long place, std::string_view text) { std::memcpy(File.data() + place, text.data(), text.size()); }

 private:
  unsigned long Group(const MdfChannelGroup& group) {
    Bytes data(32, 0);
    std::memcpy(data.data(), &group.RecordId, 8);
    std::memcpy(data.data() + 8, &group.Cycles, 8);
    std::memcpy(data.data() + 16, &group.Flags, 2);
    data[18] = '.';
    std::memcpy(data.data() + 24, &group.DataBytes, 4);
    std::memcpy(data.data() + 28, &group.InvalidBytes, 4);
    const auto channels = Chain(group.Channels);
    const auto name = Text(group.Name);
    return Block("CG", {0, channels, name, group.Source, 0, 0}, data);
  }

  unsigned long Chain(const std::vector<MdfChannel>& channels) {
    unsigned long next = 0;
    for (auto channel = channels.rbegin(); channel != channels.rend(); ++channel) {
      Bytes data(72, 0);
      data[0] = channel->Type;
      data[1] = channel->Sync;
      data[2] = channel->DataType;
      data[3] = static_cast<unsigned char>(channel->Bit % 8);
      const unsigned int byte = channel->Bit / 8;
      std::memcpy(data.data() + 4, &byte, 4);
      std::memcpy(data.data() + 8, &channel->Bits, 4);
      std::memcpy(data.data() + 12, &channel->Flags, 4);
      std::memcpy(data.data() + 16, &channel->InvalidBit, 4);
      const auto parts = Chain(channel->Parts);
      const auto name = Text(channel->Name);
      next = Block("CN", {next, parts, name, 0, channel->Conversion, channel->Data, 0, 0}, data);
    }
    return next;
  }

  Bytes File;
  unsigned long LastGroup = 0;
  unsigned long LastEvent = 0;
};

}  // namespace test
