// MDF files in the layouts of other writers, made by hand.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>

#include "inputs/MdfReader.h"
#include "support/MdfMaker.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"
#include "tools/inputs/MadeRecords.h"

namespace client {
namespace {

using test::MdfChannel;
using test::MdfMaker;

constexpr unsigned char kVariable = 1;
constexpr unsigned char kMaster = 2;
constexpr unsigned char kMaximum = 5;
constexpr unsigned char kVirtual = 6;
constexpr unsigned char kUnsigned = 0;
constexpr unsigned char kBigEndian = 1;
constexpr unsigned char kFloat = 4;
constexpr unsigned char kBytes = 10;
constexpr unsigned int kRecord = 8 + 4 + 1 + 1 + 8;  // time, identifier, code, length, data

template <class Value>
void Append(Bytes& bytes, Value value) {
  const size_t place = bytes.size();
  bytes.resize(place + sizeof value);
  std::memcpy(bytes.data() + place, &value, sizeof value);
}

Bytes ZlibOf(const Bytes& bytes) {
  uLongf size = compressBound(bytes.size());
  Bytes packed(size);
  EXPECT_EQ(compress(packed.data(), &size, bytes.data(), bytes.size()), Z_OK);
  packed.resize(size);
  return packed;
}

Bytes Transposed(const Bytes& rows, size_t width) {
  Bytes columns = rows;
  const size_t count = rows.size() / width;
  for (size_t row = 0; row < count; ++row)
    for (size_t column = 0; column < width; ++column) columns[column * count + row] = rows[row * width + column];
  return columns;
}

class MdfLayouts : public testing::Test {
 protected:
  /// Frames of channel 1 with two bytes of data, one each microsecond.
  static Bytes Frame(unsigned int index) {
    Made made;
    const unsigned char low = static_cast<unsigned char>(index);
    return made.Can(1, index * 1000ul, {.Identifier = index & 0x7FF, .Dlc = 2, .Data = made.Data({low, 0x55})});
  }
  static std::vector<Bytes> Frames(unsigned int count) {
    std::vector<Bytes> frames;
    for (unsigned int index = 0; index < count; ++index) frames.push_back(Frame(index));
    return frames;
  }
  /// A record of fixed length: the time as a double in seconds, identifier, length code, length, eight bytes.
  static Bytes FixedRecord(unsigned int index) {
    Bytes record;
    Append(record, static_cast<double>(index) * 1e-6);
    Append(record, index & 0x7FF);
    Append(record, static_cast<unsigned short>(0x0202));
    record.insert(record.end(), {static_cast<unsigned char>(index), 0x55, 0, 0, 0, 0, 0, 0});
    return record;
  }
  static Bytes FixedRecords(unsigned int count) {
    Bytes records;
    for (unsigned int index = 0; index < count; ++index) {
      const Bytes record = FixedRecord(index);
      records.insert(records.end(), record.begin(), record.end());
    }
    return records;
  }
  static MdfChannel DoubleTime() {
    return {.Name = "Timestamp", .Type = kMaster, .DataType = kFloat, .Bits = 64, .Sync = 1};
  }
  static MdfChannel Structure(std::vector<MdfChannel> parts) {
    return {.Name = "CAN_DataFrame", .DataType = kBytes, .Bit = 64, .Bits = 112, .Parts = std::move(parts)};
  }
  static std::vector<MdfChannel> FixedParts() {
    return {{.Name = "CAN_DataFrame.ID", .Bit = 64, .Bits = 32},
            {.Name = "CAN_DataFrame.DLC", .Bit = 96, .Bits = 8},
            {.Name = "CAN_DataFrame.DataLength", .Bit = 104, .Bits = 8},
            {.Name = "CAN_DataFrame.DataBytes", .DataType = kBytes, .Bit = 112, .Bits = 64}};
  }
  static test::MdfChannelGroup FixedGroup(unsigned long count) {
    return {.Cycles = count, .DataBytes = kRecord, .Channels = {DoubleTime(), Structure(FixedParts())}};
  }

  std::vector<Bytes> Read(MdfMaker& file) {
    test::WriteFile("x.mf4", file.Contents());
    MdfReader reader("x.mf4");
    Collector collector;
    EXPECT_EQ(ReadAll(reader, collector), ReadingEnd::Whole);
    Found = reader.Found();
    Told = reader.Describe();
    Notes = reader.Notes();
    return collector.Records;
  }
  std::string Refusal(MdfMaker& file) {
    test::WriteFile("x.mf4", file.Contents());
    try {
      const MdfReader reader("x.mf4");
    } catch (const Failure& failure) {
      return failure.what();
    }
    return "";
  }

  test::TemporaryDirectory Directory;
  Findings Found;
  Description Told;
  std::vector<std::string> Notes;
};

TEST_F(MdfLayouts, DataBytesOfFixedLengthAndTimesInSeconds) {
  MdfMaker file(420);
  file.Start(1795262400000000000);
  file.DataGroup(0, file.Block("DT", {}, FixedRecords(500)), {FixedGroup(500)});
  EXPECT_EQ(Read(file), Frames(500));
  EXPECT_TRUE(Found.Empty());
  ASSERT_TRUE(Told.Anchor);
  EXPECT_EQ(Told.Anchor->Utc, 1795262400000000000u);
  EXPECT_TRUE(Told.Complete);
}

TEST_F(MdfLayouts, PackedTransposedBlocksInAList) {
  MdfMaker file;
  const Bytes all = FixedRecords(500);
  const Bytes first(all.begin(), all.begin() + 100 * kRecord + 5);  // a block may end in a record
  const Bytes second(all.begin() + 100 * kRecord + 5, all.end());
  const auto one = file.Packed("DT", 1, kRecord, first.size(), ZlibOf(Transposed(first, kRecord)));
  const auto two = file.Packed("DT", 0, 0, second.size(), ZlibOf(second));
  const auto list = file.Block("HL", {file.List({one, two}, {0, first.size()})}, Bytes(8, 0));
  file.DataGroup(0, list, {FixedGroup(500)});
  EXPECT_EQ(Read(file), Frames(500));
  EXPECT_TRUE(Found.Empty());
}

TEST_F(MdfLayouts, ListOfBlocksOfOneLength) {
  MdfMaker file;
  const Bytes all = FixedRecords(20);
  const size_t half = 10 * kRecord;
  const auto one = file.Block("DT", {}, {all.begin(), all.begin() + half});
  const auto two = file.Block("DT", {}, {all.begin() + half, all.end()});
  file.DataGroup(0, file.List({one, two}, {}, half), {FixedGroup(20)});
  EXPECT_EQ(Read(file), Frames(20));
}

TEST_F(MdfLayouts, TimesAsIntegersWithALinearConversion) {
  struct Case {
    double Factor;
    double Offset;
    unsigned long Number;
    unsigned long Time;  // ns
  };
  const Case cases[] = {{1e-9, 0, 1234567890123456789, 1234567890123456789},
                        {1e-6, 0, 987654321987654, 987654321987654000},
                        {1e-7, 0, 12345678901, 1234567890100},
                        {1e-12, 0, 1499, 1},
                        {1e-3, 2.5, 10, 2510000000},
                        {1, 0, 3, 3000000000}};
  for (const Case& known : cases) {
    SCOPED_TRACE(known.Factor);
    MdfMaker file;
    Bytes record = FixedRecord(0);
    std::memcpy(record.data(), &known.Number, 8);
    auto group = FixedGroup(1);
    group.Channels[0].DataType = kUnsigned;
    group.Channels[0].Conversion = file.Linear(known.Offset, known.Factor);
    file.DataGroup(0, file.Block("DT", {}, record), {group});
    const auto records = Read(file);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(ViewOf(records[0]).Timestamp(), known.Time);
  }
}

TEST_F(MdfLayouts, FlagsIdentifiersAndNumbersInEitherByteOrder) {
  MdfMaker file;
  Bytes record;
  Append(record, 0.5);
  record.insert(record.end(), {0x18, 0xDA, 0xF1, 0x10});  // big-endian
  record.push_back(0b1011'0101);                          // Dir, FDF, BRS, ESI, IDE, and three bits of the channel
  record.push_back(9);
  const Bytes data = test::Counting(12);
  record.insert(record.end(), data.begin(), data.end());
  const std::vector<MdfChannel> parts = {{.Name = "ID", .DataType = kBigEndian, .Bit = 64, .Bits = 32},
                                         {.Name = "Dir", .Bit = 96, .Bits = 1},
                                         {.Name = "FDF", .Bit = 97, .Bits = 1},
                                         {.Name = "BRS", .Bit = 98, .Bits = 1},
                                         {.Name = "ESI", .Bit = 99, .Bits = 1},
                                         {.Name = "IDE", .Bit = 100, .Bits = 1},
                                         {.Name = "BusChannel", .Bit = 101, .Bits = 3},
                                         {.Name = "DLC", .Bit = 104, .Bits = 8},
                                         {.Name = "DataBytes", .DataType = kBytes, .Bit = 112, .Bits = 96}};
  file.DataGroup(0, file.Block("DT", {}, record),
                 {{.Cycles = 1,
                   .DataBytes = static_cast<unsigned int>(record.size()),
                   .Channels = {DoubleTime(), Structure(parts)}}});
  Made made;
  const unsigned char flags = QOR_TRACE_CAN_TRANSMITTED | QOR_TRACE_CAN_BRS | QOR_TRACE_CAN_EXTENDED;
  EXPECT_EQ(
      Read(file),
      (std::vector<Bytes>{made.Can(5, 500000000, {.Identifier = 0x18DAF110, .Flags = flags, .Dlc = 9, .Data = data})}));
}

/// Records of two groups and values of variable length, one among the other, each after its group's id.
class MixedLayout : public MdfLayouts {
 protected:
  enum class Values { Before, After };
  static constexpr unsigned int kMixedRecord = 8 + 4 + 1 + 1 + 8;  // the last eight are the offset of the data

  MdfMaker Mixed(unsigned int count, Values order, unsigned char idSize) {
    MdfMaker file;
    Bytes data;
    const auto id = [&](unsigned char value) {
      data.push_back(value);
      data.resize(data.size() + idSize - 1, 0);
    };
    unsigned long offset = 0;
    const auto value = [&](unsigned int index) {
      id(2);
      Append(data, 2u);
      data.insert(data.end(), {static_cast<unsigned char>(index), 0x55});
    };
    for (unsigned int index = 0; index < count; ++index) {
      if (order == Values::Before) value(index);
      id(1);
      const Bytes record = FixedRecord(index);
      data.insert(data.end(), record.begin(), record.begin() + 14);
      Append(data, offset);
      offset += 6;
      if (order == Values::After) value(index);
    }
    auto parts = FixedParts();
    parts[3].Type = kVariable;
    const test::MdfChannelGroup frames = {
        .RecordId = 1, .Cycles = count, .DataBytes = kMixedRecord, .Channels = {DoubleTime(), Structure(parts)}};
    const test::MdfChannelGroup values = {.RecordId = 2, .Cycles = count, .Flags = 1};
    const auto positions = file.DataGroup(idSize, file.Block("DT", {}, data), {frames, values});
    LinkData(file, positions);
    return file;
  }

  /// The channel of the data points to the group of the values.
  static void LinkData(MdfMaker& file, const std::vector<unsigned long>& groups) {
    const auto link = [&](unsigned long block, size_t index) {
      unsigned long target = 0;
      std::memcpy(&target, file.Contents().data() + block + 24 + 8 * index, 8);
      return target;
    };
    const unsigned long structure = link(link(groups[0], 1), 0);
    unsigned long part = link(structure, 1);
    for (int next = 0; next < 3; ++next) part = link(part, 0);
    file.Link(part, 5, groups[1]);
  }
};

TEST_F(MixedLayout, ValuesOfVariableLengthAreFoundBeforeOrAfterTheirRecords) {
  for (const auto order : {Values::Before, Values::After})
    for (const unsigned int idSize : {1u, 2u, 4u, 8u}) {
      MdfMaker file = Mixed(300, order, static_cast<unsigned char>(idSize));
      EXPECT_EQ(Read(file), Frames(300));
      EXPECT_TRUE(Found.Empty());
    }
}

TEST_F(MixedLayout, RecordsOfSeveralGroupsArePutInOrder) {
  MdfMaker file;
  Bytes data;
  std::vector<Bytes> expected;
  // A writer that empties a buffer of each group in turn: a hundred records of one, then those of the other.
  for (unsigned int block = 0; block < 10; ++block)
    for (unsigned char id = 1; id <= 2; ++id)
      for (unsigned int index = 0; index < 100; ++index) {
        data.push_back(id);
        const Bytes record = FixedRecord(block * 200 + index * 2 + id - 1);
        data.insert(data.end(), record.begin(), record.end());
      }
  std::vector<test::MdfChannelGroup> groups(2, FixedGroup(1000));
  groups[0].RecordId = 1;
  groups[1].RecordId = 2;
  file.DataGroup(1, file.Block("DT", {}, data), groups);
  EXPECT_EQ(Read(file), Frames(2000));
}

TEST_F(MixedLayout, RecordOfNoKnownGroupEndsTheReading) {
  MdfMaker file = Mixed(10, Values::Before, 1);
  const Bytes mark = {2, 2, 0, 0, 0, 7, 0x55};  // the value of the eighth record
  auto& bytes = file.Contents();
  const auto place = std::search(bytes.begin(), bytes.end(), mark.begin(), mark.end());
  ASSERT_NE(place, bytes.end());
  *place = 77;
  EXPECT_EQ(Read(file), Frames(7));
  EXPECT_TRUE(Found.Lossy());
}

TEST_F(MdfLayouts, BusesThatShareANumberGetChannelsOfTheirOwn) {
  MdfMaker file;
  const auto zero = file.Linear(1, 0);  // what doesn't depend on the record is 1
  const std::vector<MdfChannel> can = {{.Name = "CAN_DataFrame.BusChannel", .Type = kVirtual, .Conversion = zero},
                                       {.Name = "CAN_DataFrame.ID", .Bit = 64, .Bits = 32}};
  const std::vector<MdfChannel> lin = {
      {.Name = "LIN_Frame.BusChannel", .Type = kVirtual, .Conversion = zero},
      {.Name = "LIN_Frame.ID", .Bit = 64, .Bits = 8},
      {.Name = "LIN_Frame.DataBytes", .Type = kMaximum, .DataType = kBytes, .Bit = 72, .Bits = 16}};
  Bytes record;
  Append(record, 1.0);
  Append(record, 0x03020111u);
  file.DataGroup(0, file.Block("DT", {}, record),
                 {{.Name = "CAN", .Cycles = 1, .DataBytes = 12, .Channels = {DoubleTime(), Structure(can)}}});
  MdfChannel structure = Structure(lin);
  structure.Name = "LIN_Frame";
  file.DataGroup(0, file.Block("DT", {}, record),
                 {{.Name = "LIN", .Cycles = 1, .DataBytes = 12, .Channels = {DoubleTime(), structure}}});
  const auto records = Read(file);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(ViewOf(records[0]).ChannelId(), 1u);
  EXPECT_EQ(ViewOf(records[1]).ChannelId(), 101u);
  EXPECT_EQ(Notes, std::vector<std::string>{"\"x.mf4\" numbers each kind of bus by itself: LIN 1 is channel 101"});
  // Of a frame without a checksum it is the enhanced one: of 0x11 with its parity bits, 1 and 2.
  const LinView frame = ViewOf(records[1]).Lin();
  EXPECT_EQ(frame.Data().size(), 2u);
  EXPECT_EQ(frame.Checksum(), 0xFF - (0x11 + 1 + 2));
}

TEST_F(MdfLayouts, AddressesMayBeNumbers) {
  MdfMaker file;
  Bytes record;
  Append(record, 0.0);
  record.insert(record.end(), {6, 5, 4, 3, 2, 1});              // source, the least significant byte first
  record.insert(record.end(), {0xA, 0xB, 0xC, 0xD, 0xE, 0xF});  // destination, the most significant one first
  Append(record, static_cast<unsigned short>(0x0800));
  record.insert(record.end(), {7, 8});
  MdfChannel structure = Structure({{.Name = "Source", .Bit = 64, .Bits = 48},
                                    {.Name = "Destination", .DataType = kBigEndian, .Bit = 112, .Bits = 48},
                                    {.Name = "EtherType", .Bit = 160, .Bits = 16},
                                    {.Name = "DataBytes", .DataType = kBytes, .Bit = 176, .Bits = 16}});
  structure.Name = "ETH_Frame";
  file.DataGroup(0, file.Block("DT", {}, record),
                 {{.Name = "ETH1",
                   .Cycles = 1,
                   .DataBytes = static_cast<unsigned int>(record.size()),
                   .Channels = {DoubleTime(), structure}}});
  Made made;
  EXPECT_EQ(Read(file), std::vector<Bytes>{made.Ethernet(
                            1, 0, {.Frame = made.Data({0xA, 0xB, 0xC, 0xD, 0xE, 0xF, 1, 2, 3, 4, 5, 6, 8, 0, 7, 8})})});
}

TEST_F(MdfLayouts, RecordsThatAreMarkedAsInvalidAreLeftOut) {
  MdfMaker file;
  Bytes data;
  for (unsigned int index = 0; index < 4; ++index) {
    const Bytes record = FixedRecord(index);
    data.insert(data.end(), record.begin(), record.end());
    data.push_back(index == 2 ? 0b1000 : 0b0100);
  }
  auto group = FixedGroup(4);
  group.InvalidBytes = 1;
  group.Channels[1].Parts[0].Flags = 0x402;  // the identifier
  group.Channels[1].Parts[0].InvalidBit = 3;
  file.DataGroup(0, file.Block("DT", {}, data), {group});
  EXPECT_EQ(Read(file), (std::vector<Bytes>{Frame(0), Frame(1), Frame(3)}));
  ASSERT_EQ(Found.All().size(), 1u);
  EXPECT_EQ(Found.All()[0].Kind, FindingKind::LeftOut);
}

TEST_F(MdfLayouts, EventsWithoutARecordAreCountedByName) {
  MdfMaker file;
  file.DataGroup(0, file.Block("DT", {}, FixedRecords(2)), {FixedGroup(2)});
  auto overload = FixedGroup(3);
  overload.Channels[1].Name = "CAN_OverloadFrame";
  overload.Channels[1].Parts = {};
  file.DataGroup(0, file.Block("DT", {}, FixedRecords(3)), {overload});
  auto signals = FixedGroup(5);
  signals.Channels[1] = {.Name = "engine speed", .Bit = 64, .Bits = 16};
  file.DataGroup(0, file.Block("DT", {}, FixedRecords(5)), {signals});
  EXPECT_EQ(Read(file), Frames(2));
  ASSERT_EQ(Found.All().size(), 2u);
  EXPECT_EQ(Found.All()[0].What, "a record of CAN_OverloadFrame");
  EXPECT_EQ(Found.All()[0].Count, 3u);
  EXPECT_EQ(Found.All()[1].Count, 5u);
  EXPECT_FALSE(Found.Lossy());
}

TEST_F(MdfLayouts, LastBlockOfAnUnfinishedFileReachesToItsEnd) {
  MdfMaker file(410, false, 0x05);  // neither counts nor the last length are true
  file.DataGroup(0, 0, {FixedGroup(0)});
  const auto data = file.Block("DT", {}, {});
  unsigned long group = 0;
  std::memcpy(&group, file.Contents().data() + 64 + 24, 8);
  file.Link(group, 2, data);
  const Bytes records = FixedRecords(7);
  file.Contents().insert(file.Contents().end(), records.begin(), records.end() - 3);
  EXPECT_EQ(Read(file), Frames(6));
  EXPECT_TRUE(Found.Lossy());
}

TEST_F(MdfLayouts, LossThatIsMarkedBetweenRecordsIsInTheDescription) {
  MdfMaker file;
  const auto groups = file.DataGroup(0, file.Block("DT", {}, FixedRecords(5)), {FixedGroup(5)});
  file.Event(2, "overflow", 2500, groups[0]);
  EXPECT_EQ(Read(file), Frames(5));
  EXPECT_EQ(Told.Losses,
            (std::vector<Loss>{{.Channel = 1, .Cause = LossCause::OverrunMark, .First = 2500, .Last = 2500}}));
}

// --- files that mean ill, or something else ---

TEST_F(MdfLayouts, WhatCannotBeReadIsRefusedInOneSentence) {
  MdfMaker old(330);
  EXPECT_EQ(Refusal(old), "\"x.mf4\" is an MDF file of version 3.30; versions 4.00 to 4.20 can be read");
  MdfMaker signals;
  auto group = FixedGroup(1);
  group.Channels[1] = {.Name = "engine speed", .Bit = 64, .Bits = 16};
  signals.DataGroup(0, signals.Block("DT", {}, FixedRecords(1)), {group});
  EXPECT_EQ(Refusal(signals), "\"x.mf4\" is a measurement of signals: it has no bus events that could be records");
  MdfMaker columns;
  columns.DataGroup(0, columns.Block("LD", {}, Bytes(16, 0)), {FixedGroup(1)});
  EXPECT_EQ(Refusal(columns),
            "The bus events of \"x.mf4\" can't be read: CAN_DataFrame of CAN1: its values lie in columns, which this "
            "program doesn't read");
  MdfMaker timeless;
  group = FixedGroup(1);
  group.Channels.erase(group.Channels.begin());
  timeless.DataGroup(0, timeless.Block("DT", {}, FixedRecords(1)), {group});
  EXPECT_EQ(Refusal(timeless), "The bus events of \"x.mf4\" can't be read: its records have no time");
  MdfMaker packed;
  packed.DataGroup(0, packed.Packed("DT", 7, 0, 10, Bytes(10, 1)), {FixedGroup(1)});
  EXPECT_EQ(
      Refusal(packed),
      "The bus events of \"x.mf4\" can't be read: CAN_DataFrame of CAN1: its data are packed in a way (number 7) that "
      "this program can't unpack");
}

TEST_F(MdfLayouts, ChainsThatBiteTheirTailsAreFollowedOnce) {
  MdfMaker file;
  const auto data = file.Block("DT", {}, FixedRecords(3));
  const auto list = file.List({data, data}, {0, 3 * kRecord});
  file.Link(list, 0, list);
  const auto groups = file.DataGroup(0, list, {FixedGroup(3)});
  unsigned long group = 0;
  std::memcpy(&group, file.Contents().data() + 64 + 24, 8);
  file.Link(group, 0, group);          // the data group after itself
  file.Link(groups[0], 0, groups[0]);  // and its channel group
  file.Event(6, "x", 1, groups[0]);
  unsigned long event = 0;
  std::memcpy(&event, file.Contents().data() + 64 + 24 + 32, 8);
  file.Link(event, 0, event);
  EXPECT_EQ(Read(file), Frames(3));
}

TEST_F(MdfLayouts, LengthsThatLieAllocateNothing) {
  for (const unsigned long length : {1ul << 20, 1ul << 40, ~0ul}) {
    SCOPED_TRACE(length);
    MdfMaker file;
    file.DataGroup(0, file.Packed("DT", 0, 0, length, ZlibOf(FixedRecords(3))), {FixedGroup(3)});
    test::WriteFile("x.mf4", file.Contents());
    MdfReader reader("x.mf4");
    Collector collector;
    EXPECT_EQ(ReadAll(reader, collector), ReadingEnd::Whole);
    EXPECT_EQ(collector.Records.size(), 0u);
    EXPECT_TRUE(reader.Found().Lossy());
  }
  MdfMaker file;
  const auto data = file.Block("DT", {}, FixedRecords(3));
  file.DataGroup(0, data, {FixedGroup(~0ul)});
  file.Put(data + 8, ~0ul);
  EXPECT_EQ(Read(file).size() >= 3, true);
  EXPECT_TRUE(Found.Lossy());
}

}  // namespace
}  // namespace client
