// The groups and records of the standard convention, as a reader finds them who knows only the format.
#include <gtest/gtest.h>

#include <cstdio>

#include "support/MdfDecoder.h"
#include "support/MdfEntries.h"
#include "support/MdfFiles.h"

namespace {

using test::CanItem;
using test::EthernetItem;
using test::FlexRayItem;
using test::LinItem;
using Strings = std::vector<std::string>;

constexpr unsigned long kTime = 0x0807060504030201;
const std::string kT = "01 02 03 04 05 06 07 08";
const std::string kZeros8 = "00 00 00 00 00 00 00 00";

std::string Hex(const std::string& bytes) {
  std::string hex;
  for (const char c : bytes) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02X ", unsigned{static_cast<unsigned char>(c)});
    hex += digits;
  }
  return hex;
}

template <class Item>
test::Record Made(Item item) {
  return test::Record(*item.At(kTime).Entry());
}

class StandardFile : public MdfFiles {
 protected:
  /// A file with one bus of a type, channel 7, and these entries of channel 7.
  MdfDecoder Written(unsigned char busType, std::vector<test::Record> entries) {
    const std::string path = NewFile();
    StrictMdfReader::Options options;
    options.Records = true;
    Options(options);
    MdfFile file(path.substr(0, path.size() - 4), 0);
    EXPECT_TRUE(file.Convention_Set(BusConvention::kStandard));
    EXPECT_TRUE(file.Bus_Add(7, busType));
    for (test::Record& entry : entries) EXPECT_TRUE(file.Data_Insert(test::Entry(entry.Put<unsigned int>(4, 7))));
    EXPECT_TRUE(file.File_Close(kTime));
    return MdfDecoder(Contents());
  }
};

// --- groups ---

struct BusCase {
  unsigned char BusType;
  std::string Name;
  unsigned int SourceType;
  Strings Events;
};
void PrintTo(const BusCase& bus, std::ostream* out) { *out << bus.Name; }

class StandardBus : public StandardFile, public ::testing::WithParamInterface<BusCase> {};

TEST_P(StandardBus, HasItsGroupsUnderItsOwnBusType) {
  const BusCase& bus = GetParam();
  const MdfDecoder file = Written(bus.BusType, {});
  Strings events;
  for (const MdfDecoder::Group& group : file.Groups()) {
    events.push_back(group.Event);
    EXPECT_EQ(group.Acquisition, bus.Name);
    EXPECT_EQ(group.SourceType, 2U);
    EXPECT_EQ(group.BusType, bus.SourceType);
    EXPECT_EQ(group.Source, bus.Name);
    EXPECT_EQ(group.SourcePath, bus.Name);
  }
  EXPECT_EQ(events, bus.Events);
}

INSTANTIATE_TEST_SUITE_P(
    Buses, StandardBus,
    ::testing::Values(BusCase{BusType_Can, "CAN7", 2, {"CAN_DataFrame", "CAN_ErrorFrame", "CAN_RemoteFrame"}},
                      BusCase{BusType_Lin,
                              "LIN7",
                              3,
                              {"LIN_Frame", "LIN_ChecksumError", "LIN_ReceiveError", "LIN_SyncError",
                               "LIN_TransmissionError", "LIN_WakeUp"}},
                      BusCase{BusType_FlexRay,
                              "FLEX7",
                              5,
                              {"FLX_Frame", "FLX_Error", "FLX_StartCycle", "FLX_State", "FLX_Symbol", "FLX_NullFrame"}},
                      BusCase{BusType_Ethernet, "ETH7", 7, {"ETH_Frame", "ETH_ChecksumError"}}),
    [](const auto& row) { return row.param.Name; });

struct GroupCase {
  unsigned char BusType;
  std::string Bus;
  std::string Event;
  uint64_t RecordSize;
  Strings Fields;  // name, first bit, bits, kind, type
};
void PrintTo(const GroupCase& group, std::ostream* out) { *out << group.Event; }

class StandardGroup : public StandardFile, public ::testing::WithParamInterface<GroupCase> {};

TEST_P(StandardGroup, HasTheFieldsOfItsTable) {
  const GroupCase& wanted = GetParam();
  const MdfDecoder file = Written(wanted.BusType, {});
  const MdfDecoder::Group& group = file.Find(wanted.Bus, wanted.Event);
  EXPECT_EQ(group.RecordSize, wanted.RecordSize);
  Strings fields;
  for (const MdfDecoder::Channel& channel : group.Channels) {
    if (!channel.Name.starts_with(wanted.Event + ".") || channel.Kind == 6) continue;
    fields.push_back(channel.Name.substr(wanted.Event.size() + 1) + " " + std::to_string(channel.Bit) + " " +
                     std::to_string(channel.Bits) + " " + std::to_string(channel.Kind) + " " +
                     std::to_string(static_cast<int>(channel.Type)));
  }
  EXPECT_EQ(fields, wanted.Fields);
}

const Strings kEthernetFields = {
    "Source 64 48 0 10",     "Destination 112 48 0 10", "EtherType 160 16 0 0", "ReceivedDataByteCount 176 16 0 0",
    "DataLength 192 16 0 0", "CRC 208 32 0 0",          "Dir 240 1 0 0",        "PadByteCount 248 8 0 0",
    "DataBytes 256 64 1 10"};

INSTANTIATE_TEST_SUITE_P(
    Groups, StandardGroup,
    ::testing::Values(
        GroupCase{BusType_Can,
                  "CAN7",
                  "CAN_ErrorFrame",
                  34,
                  {"ID 64 32 0 0", "IDE 95 1 0 0", "ErrorType 96 8 0 0", "Dir 111 1 0 0", "DLC 112 8 0 0",
                   "DataLength 112 8 0 0", "DataBytes 120 64 5 10", "ErrorFlags 216 56 0 0"}},
        GroupCase{BusType_Can,
                  "CAN7",
                  "CAN_RemoteFrame",
                  15,
                  {"ID 64 32 0 0", "IDE 95 1 0 0", "Dir 96 1 0 0", "DLC 104 8 0 0", "DataLength 112 8 0 0"}},
        GroupCase{BusType_Lin,
                  "LIN7",
                  "LIN_TransmissionError",
                  27,
                  {"ID 64 8 0 0", "SpecifiedDataByteCount 72 8 0 0", "ChecksumModel 80 1 0 0", "IsETF 81 1 0 0",
                   "Dir 82 1 0 0", "SOF 88 64 0 0", "Baudrate 152 64 0 4"}},
        GroupCase{BusType_Lin,
                  "LIN7",
                  "LIN_WakeUp",
                  26,
                  {"SOF 64 64 0 0", "Baudrate 128 64 0 4", "ReceivedByte 192 8 0 0", "LengthInfo 200 2 0 0",
                   "IsExternal 202 1 0 0"}},
        GroupCase{BusType_FlexRay,
                  "FLEX7",
                  "FLX_Error",
                  28,
                  {"Cycle 64 8 0 0", "FlxChannelMask 72 2 0 0", "ErrorData 80 144 0 10", "ErrorType 80 3 0 0"}},
        GroupCase{
            BusType_FlexRay,
            "FLEX7",
            "FLX_NullFrame",
            19,
            {"ID 64 16 0 0", "Cycle 80 6 0 0", "FlxChannel 86 1 0 0", "Dir 87 1 0 0", "DataLength 88 8 0 0",
             "FrameFlags 96 32 0 0", "NullFrameFlag 96 1 0 0", "SyncFrameFlag 98 1 0 0", "StartUpFrameFlag 99 1 0 0",
             "PayloadPreambleFlag 100 1 0 0", "HeaderCRC 128 16 0 0", "PayloadLength 144 8 0 0"}},
        GroupCase{BusType_Ethernet, "ETH7", "ETH_Frame", 40, kEthernetFields},
        GroupCase{BusType_Ethernet, "ETH7", "ETH_ChecksumError", 40, kEthernetFields}),
    [](const auto& row) { return row.param.Event; });

TEST_F(StandardFile, BusChannelIsAConstantOfEveryGroup) {
  for (const test::Record& entry : {Made(EthernetItem().Frame(test::Counting(60)))}) {
    const MdfDecoder file = Written(BusType_Ethernet, {entry});
    EXPECT_EQ(file.Find("ETH7", "ETH_Frame").Physical(0, "BusChannel"), 7);
  }
}

// --- records ---

struct RecordCase {
  std::string Name;
  unsigned char BusType;
  std::vector<test::Record> Entries;
  std::string Event;    // empty: in no group
  std::string Records;  // all bytes of the group
  std::string Vlsd;
};
void PrintTo(const RecordCase& record, std::ostream* out) { *out << record.Name; }

class StandardRecord : public StandardFile, public ::testing::WithParamInterface<RecordCase> {};

TEST_P(StandardRecord, HasTheBytesOfItsTable) {
  const RecordCase& record = GetParam();
  const MdfDecoder file = Written(record.BusType, record.Entries);
  for (const MdfDecoder::Group& group : file.Groups()) {
    const bool meant = group.Event == record.Event;
    EXPECT_EQ(Hex(group.Data), meant ? Hex(Bytes(record.Records)) : "") << group.Event;
    for (const MdfDecoder::Channel& channel : group.Channels) {
      if (channel.Kind == 1) {
        EXPECT_EQ(Hex(channel.Signal), meant ? Hex(Bytes(record.Vlsd)) : "");
      }
    }
  }
}

std::string Name(const ::testing::TestParamInfo<RecordCase>& row) { return row.param.Name; }

RecordCase Can(const char* name, CanItem item, const char* event, const std::string& afterTime,
               const std::string& vlsd = "") {
  return {name, BusType_Can, {Made(std::move(item))}, event, kT + afterTime, vlsd};
}

INSTANTIATE_TEST_SUITE_P(
    Can, StandardRecord,
    ::testing::Values(Can("DataFrame", CanItem().Id(0x123).Data({0x11, 0x22}), "CAN_DataFrame",
                          "23 01 00 00  00 00 00 00  02 02" + kZeros8, "02 00 00 00 11 22"),
                      Can("DataFrameBeforeALoss", CanItem().Id(0x123).Data({0x11, 0x22}).Overrun(), "CAN_DataFrame",
                          "23 01 00 00  00 00 00 00  02 02" + kZeros8, "02 00 00 00 11 22"),
                      Can("DataFrameShorterThanItsCode", CanItem().Id(1).Data({9, 8, 7}).Dlc(6), "CAN_DataFrame",
                          "01 00 00 00  00 00 00 00  06 03" + kZeros8, "03 00 00 00 09 08 07"),
                      Can("EmptyDataFrame", CanItem().Id(1).Data({}), "CAN_DataFrame",
                          "01 00 00 00  00 00 00 00  00 00" + kZeros8, "00 00 00 00"),
                      Can("EmptyFdFrame", CanItem().Id(1).Fd().Data({}).Dlc(3), "CAN_DataFrame",
                          "01 00 00 00  00 10 00 00  03 00" + kZeros8, "00 00 00 00"),
                      // ID, direction, DLC, length
                      Can("RemoteFrame", CanItem().Id(0x456).Data({}).Dlc(8), "CAN_RemoteFrame",
                          "56 04 00 00  00  08 00"),
                      Can("SentExtendedRemoteFrame", CanItem().Id(0x18DAF110).Extended().Tx().Data({}).Dlc(2),
                          "CAN_RemoteFrame", "10 F1 DA 98  01  02 00"),
                      Can("StuffError", CanItem().ErrorFrame(1), "CAN_ErrorFrame",
                          "00 00 00 00  03 00 00  00 00 00 00 00 00 FF F5  00 00 00 00  05 00 00 00 A1 A1 00"),
                      Can("SentCrcError", CanItem().ErrorFrame(6).Tx(), "CAN_ErrorFrame",
                          "00 00 00 00  04 80 00  00 00 00 00 00 00 FF F5  00 00 00 00  05 00 00 00 10 11 01"),
                      RecordCase{"TriggerEvent", BusType_Can, {Made(CanItem().RisingEdge())}, "", "", ""}),
    Name);

const std::string kBaud20000 = "00 00 00 00 00 88 D3 40";

RecordCase Lin(const char* name, LinItem item, const char* event, const std::string& afterTime) {
  return {name, BusType_Lin, {Made(item.BitTime(400'000))}, event, kT + afterTime, ""};
}

// Identifier 0x23 with its parity bits is 0xE2. 1 + 2 + 3 = 6: classic 0xF9; with 0xE2 it is 0xE8: enhanced 0x17.
INSTANTIATE_TEST_SUITE_P(
    Lin, StandardRecord,
    ::testing::Values(Lin("IdentifierHasSixBits", LinItem().Id(0xA3).Data({1, 2, 3}, 0x17), "LIN_Frame",
                          "23 03  01 02 03 00 00 00 00 00  02 17" + kT + kBaud20000),
                      Lin("ClassicChecksum", LinItem().Id(0x23).Data({1, 2, 3}, 0xF9), "LIN_Frame",
                          "23 03  01 02 03 00 00 00 00 00  00 F9" + kT + kBaud20000),
                      Lin("SentFrame", LinItem().Id(0x23).Data({1, 2, 3}, 0x17).Tx(), "LIN_Frame",
                          "23 03  01 02 03 00 00 00 00 00  07 17" + kT + kBaud20000),
                      Lin("FrameBeforeALoss", LinItem().Id(0x23).Data({1, 2, 3}, 0x17).Flags(QOR_TRACE_LIN_OVERRUN),
                          "LIN_Frame", "23 03  01 02 03 00 00 00 00 00  02 17" + kT + kBaud20000),
                      Lin("ChecksumError", LinItem().Id(0xA3).Data({1}, 2).ChecksumError(), "LIN_ChecksumError",
                          "23 01  01 00 00 00 00 00 00 00  03 02" + kT + kBaud20000),
                      Lin("ReceiveError", LinItem().Id(0xA3).Data({1}, 2).ParityError(), "LIN_ReceiveError",
                          "23 01  01 00 00 00 00 00 00 00  03" + kT + kBaud20000 + "13"),
                      Lin("SyncError", LinItem().SyncError(), "LIN_SyncError", kT + kBaud20000),
                      Lin("TransmissionError", LinItem().Id(0xA3).Data({1}, 2).TransmitError(), "LIN_TransmissionError",
                          "23 01 05" + kT + kBaud20000),
                      Lin("HeaderWithoutResponse", LinItem().Id(0xA3).DataLength(0), "LIN_TransmissionError",
                          "23 00 01" + kT + kBaud20000),
                      Lin("WakeUp", LinItem().WakeUp(), "LIN_WakeUp", kT + kBaud20000 + "00 04"),
                      RecordCase{"EventTriggeredFrame", BusType_Lin, {Made(LinItem().Event())}, "", "", ""}),
    [](const auto& row) { return "Lin" + row.param.Name; });

RecordCase Flx(const char* name, FlexRayItem item, const char* event, const std::string& records,
               const std::string& vlsd = "") {
  return {name, BusType_FlexRay, {Made(std::move(item))}, event, records, vlsd};
}

FlexRayItem Frame() { return FlexRayItem().Slot(0x123).Cycle(9).HeaderCrc(0x2BC).Data({1, 2, 3, 4}); }

INSTANTIATE_TEST_SUITE_P(
    FlexRay, StandardRecord,
    ::testing::Values(Flx("Frame", Frame(), "FLX_Frame", kT + "23 01 09 04  00 00 08 00  BC 02 02" + kZeros8,
                          "04 00 00 00 01 02 03 04"),
                      Flx("NullFrame", Frame().FrameFlags(QOR_TRACE_FLEXRAY_NULL), "FLX_NullFrame",
                          kT + "23 01 09 04  01 00 08 00  BC 02 02"),
                      Flx("NullFrameOfBothChannels", Frame().Code(2).FrameFlags(QOR_TRACE_FLEXRAY_NULL),
                          "FLX_NullFrame",
                          kT + "23 01 09 04  01 00 88 00  BC 02 02" + kT + "23 01 49 04  01 00 88 00  BC 02 02"),
                      Flx("StartOfCycle", FlexRayItem().Kind(3).Code(5), "FLX_StartCycle", kT + "05")),
    [](const auto& row) { return "FlexRay" + row.param.Name; });

const test::Bytes kHead = {0xD0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0x88, 0xF7};
const std::string kEthernetHead = "A0 A1 A2 A3 A4 A5  D0 D1 D2 D3 D4 D5  F7 88";

test::Bytes EthernetBytes(const test::Bytes& data) {
  test::Bytes frame = kHead;
  frame.insert(frame.end(), data.begin(), data.end());
  return frame;
}

RecordCase Ethernet(const char* name, EthernetItem item, const char* event, const std::string& records,
                    const std::string& vlsd) {
  return {name, BusType_Ethernet, {Made(std::move(item))}, event, records, vlsd};
}

// source, destination, type, bytes received, bytes stored, CRC, direction, padding, offset of the data
INSTANTIATE_TEST_SUITE_P(
    Ethernet, StandardRecord,
    ::testing::Values(
        Ethernet("Frame", EthernetItem().Frame(EthernetBytes({1, 2, 3})), "ETH_Frame",
                 kT + kEthernetHead + "03 00 03 00 00 00 00 00 00 00" + kZeros8, "03 00 00 00 01 02 03"),
        Ethernet("SentFrame", EthernetItem().Frame(EthernetBytes({1, 2, 3})).Tx(), "ETH_Frame",
                 kT + kEthernetHead + "03 00 03 00 00 00 00 00 01 00" + kZeros8, "03 00 00 00 01 02 03"),
        Ethernet("FrameWithACrcError", EthernetItem().Frame(EthernetBytes({9})).CrcError(), "ETH_ChecksumError",
                 kT + kEthernetHead + "01 00 01 00 00 00 00 00 00 00" + kZeros8, "01 00 00 00 09"),
        Ethernet("FrameThatIsLongerThanItsRecord", EthernetItem().Frame(EthernetBytes({9})).FrameLength(100),
                 "ETH_Frame", kT + kEthernetHead + "56 00 01 00 00 00 00 00 00 00" + kZeros8, "01 00 00 00 09"),
        Ethernet("FrameThatEndsInItsHead", EthernetItem().Frame({1, 2, 3, 4, 5, 6, 7}), "ETH_Frame",
                 kT + "07 00 00 00 00 00  01 02 03 04 05 06  00 00  00 00 00 00 00 00 00 00 00 00" + kZeros8,
                 "00 00 00 00"),
        RecordCase{"MarkOfALoss", BusType_Ethernet, {Made(EthernetItem().Kind(0))}, "", "", ""}),
    [](const auto& row) { return "Ethernet" + row.param.Name; });

TEST_F(StandardFile, LongestEthernetFrameComesBackWhole) {
  const test::Bytes data = test::Counting(65'505);
  const MdfDecoder file = Written(BusType_Ethernet, {Made(EthernetItem().Frame(EthernetBytes(data)))});
  const MdfDecoder::Group& group = file.Find("ETH7", "ETH_Frame");
  EXPECT_EQ(group.Raw(0, "DataLength"), 65'505U);
  EXPECT_EQ(group.Raw(0, "EtherType"), 0x88F7U);
  EXPECT_EQ(group.Bytes(0, "DataBytes"), std::string(data.begin(), data.end()));
  EXPECT_EQ(Hex(group.Bytes(0, "Destination")), "D0 D1 D2 D3 D4 D5 ");
  EXPECT_EQ(group.Text(0, "Dir"), "Rx");
}

TEST_F(StandardFile, KindOfACanErrorIsShownInWords) {
  const Strings words = {"Other error", "Stuff error", "Form error", "Acknowledgement error", "Bit error", "Bit error",
                         "CRC error",   "Other error", "Other error"};
  std::vector<test::Record> entries;
  for (unsigned int kind = 0; kind < words.size(); ++kind) {
    entries.push_back(Made(CanItem().ErrorFrame(static_cast<unsigned char>(kind))));
  }
  const MdfDecoder file = Written(BusType_Can, entries);
  for (size_t kind = 0; kind < words.size(); ++kind) {
    EXPECT_EQ(file.Find("CAN7", "CAN_ErrorFrame").Text(kind, "ErrorType"), words[kind]) << kind;
  }
}

TEST_F(StandardFile, FlexRayErrorTypeIsThatOfItsData) {
  const MdfDecoder file = Written(BusType_FlexRay, {Made(FlexRayItem().Kind(8)), Made(FlexRayItem().Kind(0))});
  EXPECT_EQ(file.Find("FLEX7", "FLX_Error").Text(0, "ErrorType"), "Controller error");
  EXPECT_EQ(file.Find("FLEX7", "FLX_Error").Text(1, "ErrorType"), "Error overflow");
}

// --- what isn't recorded ---

TEST_F(StandardFile, EthernetRecordsThatAreNoFramesAreNot) {
  const std::string path = NewFile();
  MdfFile file(path.substr(0, path.size() - 4), 0);
  ASSERT_TRUE(file.Convention_Set(BusConvention::kStandard));
  ASSERT_TRUE(file.Bus_Add(1, BusType_Ethernet));
  ASSERT_TRUE(file.Bus_Add(2, BusType_FlexRay));
  EXPECT_FALSE(test::Insert(file, EthernetItem().Kind(2)));
  EXPECT_FALSE(test::Insert(file, FlexRayItem().Channel(2).Kind(5)));
  EXPECT_TRUE(file.File_Close(0));
}

TEST_F(StandardFile, ConventionIsChosenBeforeTheFirstBus) {
  const std::string path = NewFile();
  MdfFile file(path.substr(0, path.size() - 4), 0);
  EXPECT_FALSE(file.Bus_Add(1, BusType_Ethernet));
  EXPECT_TRUE(file.Bus_Add(1, BusType_Can));
  EXPECT_FALSE(file.Convention_Set(BusConvention::kStandard));
  EXPECT_FALSE(file.Bus_Add(1, BusType_Ethernet));
}

TEST_F(StandardFile, UnknownBusTypesHaveNoGroups) {
  const std::string path = NewFile();
  MdfFile file(path.substr(0, path.size() - 4), 0);
  ASSERT_TRUE(file.Convention_Set(BusConvention::kStandard));
  for (const unsigned char type : test::Bytes{4, 99, 255}) EXPECT_FALSE(file.Bus_Add(1, type)) << int{type};
}

}  // namespace
