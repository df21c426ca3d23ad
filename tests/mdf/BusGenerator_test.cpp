#include "mdf/BusGenerator.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>

#include "mdf/File.h"
#include "support/MdfFiles.h"

namespace {

using ::testing::ElementsAre;
using Strings = std::vector<std::string>;

/// One kind of event as a reader must find it. Channels: name byte.bit bits type sync data-type flags.
struct EventCase {
  unsigned char BusType;
  unsigned int Index;  // of the group among those of the bus
  std::string Event;
  std::string Bus;
  unsigned int RecordId;
  unsigned int RecordSize;  // bytes
  Strings Channels;
};

void PrintTo(const EventCase& event, std::ostream* out) { *out << event.Event; }

/// The name of a field with what most fields have in common: fixed length, no sync, bus event and discrete value.
std::string Field(const std::string& name, const std::string& place, unsigned int bits, unsigned int type = 0,
                  unsigned int data = 0) {
  return name + " " + place + " " + std::to_string(bits) + " " + std::to_string(type) + " 0 " + std::to_string(data) +
         " 440";
}

std::vector<EventCase> Events() {
  const auto event = [](unsigned char type, unsigned int index, const std::string& name, const std::string& bus,
                        unsigned int id, unsigned int size, const Strings& fields) {
    Strings channels = {"t 0.0 64 2 1 0 0", Field(name, "8.0", 8 * (size - 8), 0, 10),
                        Field(name + ".BusChannel", "0.0", 0, 6)};
    for (const std::string& field : fields) channels.push_back(name + "." + field);
    return EventCase{type, index, name, bus, id, size, channels};
  };
  const Strings interfaceType = {Field("InterfaceType", "0.0", 64, 6)};
  const auto with = [](Strings first, const Strings& rest) {
    first.insert(first.end(), rest.begin(), rest.end());
    return first;
  };
  return {
      event(0, 0, "CAN_DataFrame", "CAN7", 1, 26,
            {Field("ID", "8.0", 32), Field("IDE", "11.7", 1), Field("FlagsEx", "12.0", 32), Field("Dir", "12.6", 1),
             Field("EDL", "13.4", 1), Field("BRS", "13.5", 1), Field("ESI", "13.6", 1), Field("r1", "13.3", 1),
             Field("DLC", "16.0", 8), Field("DataLength", "17.0", 8), Field("DataBytes", "18.0", 64, 1, 10)}),
      event(0, 1, "CAN_ErrorFrame", "CAN7", 1, 34,
            {Field("ID", "8.0", 32), Field("IDE", "11.7", 1), Field("Dir", "13.7", 1), Field("DLC", "14.0", 8),
             Field("DataLength", "14.0", 8), Field("DataBytes", "15.0", 64, 5, 10), Field("ErrorFlags", "27.0", 56)}),
      event(1, 0, "LIN_Frame", "LIN7", 1, 36,
            {Field("ID", "8.0", 8), Field("ReceivedDataByteCount", "9.0", 8), Field("DataLength", "9.0", 8),
             Field("DataBytes", "10.0", 64, 5, 10), Field("Dir", "18.0", 1), Field("ChecksumModel", "18.1", 1),
             Field("IsSimulated", "18.2", 1), Field("IsETF", "18.3", 1), Field("Checksum", "19.0", 8),
             Field("SOF", "20.0", 64), Field("Baudrate", "28.0", 64, 0, 4)}),
      event(1, 1, "LIN_ChecksumError", "LIN7", 2, 36,
            {Field("ID", "8.0", 8), Field("ReceivedDataByteCount", "9.0", 8), Field("DataLength", "9.0", 8),
             Field("DataBytes", "10.0", 64, 5, 10), Field("ChecksumModel", "18.0", 2), Field("IsSimulated", "18.2", 1),
             Field("Dir", "18.3", 1), Field("Checksum", "19.0", 8), Field("SOF", "20.0", 64),
             Field("Baudrate", "28.0", 64, 0, 4)}),
      event(1, 2, "LIN_ReceiveError", "LIN7", 3, 36,
            {Field("ID", "8.0", 8), Field("ReceivedDataByteCount", "9.0", 8), Field("DataLength", "9.0", 8),
             Field("DataBytes", "10.0", 64, 5, 10), Field("ChecksumModel", "18.0", 2), Field("IsETF", "18.2", 1),
             Field("IsShortError", "18.3", 1), Field("IsTimeoutDuringLenDet", "18.4", 1), Field("SOF", "19.0", 64),
             Field("Baudrate", "27.0", 64, 0, 4), Field("State", "35.0", 4), Field("Reason", "35.4", 4)}),
      event(1, 3, "LIN_SyncError", "LIN7", 4, 24, {Field("SOF", "8.0", 64), Field("Baudrate", "16.0", 64, 0, 4)}),
      event(1, 4, "LIN_TransmissionError", "LIN7", 5, 27,
            {Field("ID", "8.0", 8), Field("SpecifiedDataByteCount", "9.0", 8), Field("ChecksumModel", "10.0", 1),
             Field("IsETF", "10.1", 1), Field("SOF", "11.0", 64), Field("Baudrate", "19.0", 64, 0, 4)}),
      event(1, 5, "LIN_Wakeup", "LIN7", 6, 26,
            {Field("SOF", "8.0", 64), Field("Baudrate", "16.0", 64, 0, 4), Field("ReceivedByte", "24.0", 8),
             Field("LengthInfo", "25.0", 2), Field("IsExternal", "25.2", 1)}),
      event(2, 0, "FLX_Frame", "FLEX7", 1, 27,
            {Field("InterfaceType", "0.0", 64, 6), Field("ControllerID", "0.0", 64, 6), Field("ID", "8.0", 16),
             Field("Cycle", "10.0", 6), Field("FlxChannel", "10.6", 1), Field("Dir", "10.7", 1),
             Field("DataLength", "11.0", 8), Field("FrameFlags", "12.0", 32), Field("NullFrameFlag", "12.0", 1),
             Field("SyncFrameFlag", "12.2", 1), Field("StartUpFrameFlag", "12.3", 1),
             Field("PayloadPreambleFlag", "12.4", 1), Field("HeaderCRC", "16.0", 16), Field("PayloadLength", "18.0", 8),
             Field("DataBytes", "19.0", 64, 1, 10)}),
      event(2, 1, "FLX_Error", "FLEX7", 2, 28,
            with(interfaceType, {Field("Cycle", "8.0", 8), Field("FlxChannelMask", "9.0", 2),
                                 Field("ErrorData", "10.0", 144, 0, 10), Field("ErrorType", "11.0", 3)})),
      event(2, 2, "FLX_StartCycle", "FLEX7", 3, 9, with(interfaceType, {Field("Cycle", "8.0", 8)})),
      event(2, 3, "FLX_State", "FLEX7", 4, 58,
            with(interfaceType, {Field("Cycle", "8.0", 8), Field("FlxChannelMask", "9.0", 2),
                                 Field("StateData", "10.0", 384, 0, 10)})),
      event(2, 4, "FLX_Symbol", "FLEX7", 5, 27,
            with(interfaceType,
                 {Field("Cycle", "8.0", 8), Field("FlxChannelMask", "9.6", 2), Field("SymbolType", "9.0", 6),
                  Field("SymbolData", "10.0", 136, 0, 10), Field("SymbolLength", "22.0", 4)})),
  };
}

/// The blocks of a file with one bus, channel 7.
class BusFile : public MdfFiles {
 protected:
  void WriteBus(unsigned char busType) {
    const std::string path = NewFile();
    MdfFile file(path.substr(0, path.size() - 4), 0);
    ASSERT_TRUE(file.Bus_Add(7, busType));
    ASSERT_TRUE(file.File_Close(0));
    Reader = std::make_unique<StrictMdfReader>(Contents());
    Reader->ReadFile();
  }

  using View = StrictMdfReader::BlockView;
  static uint64_t Number(const View& block, size_t offset, size_t size) {
    return StrictMdfReader::Number(block.Data, offset, size);
  }
  const View& Linked(const View& block, size_t link) { return Reader->At(StrictMdfReader::LinkOf(block, link)); }
  std::string Text(const View& block, size_t link) { return Reader->Text(StrictMdfReader::LinkOf(block, link)); }

  const View& DataGroup(unsigned int index) {
    const View* group = &Linked(Reader->At(64), 0);
    while (index-- > 0) group = &Linked(*group, 0);
    return *group;
  }
  const View& ChannelGroup(unsigned int index) { return Linked(DataGroup(index), 1); }

  std::string Line(const View& channel) {
    const auto number = [&](size_t offset, size_t size) {
      return std::to_string(StrictMdfReader::Number(channel.Data, offset, size));
    };
    char flags[20];
    std::snprintf(flags, sizeof flags, "%lx", Number(channel, 12, 4));
    return Text(channel, 2) + " " + number(4, 4) + "." + number(3, 1) + " " + number(8, 4) + " " + number(0, 1) + " " +
           number(1, 1) + " " + number(2, 1) + " " + flags;
  }

  void Lines(const View& first, Strings& lines) {
    for (const View* channel = &first; !channel->Id.empty(); channel = &Linked(*channel, 0)) {
      lines.push_back(Line(*channel));
      Lines(Linked(*channel, 1), lines);
    }
  }

  /// A component of the structure of the first group.
  const View& Component(unsigned int group, const std::string& name) {
    const View& structure = Linked(Linked(ChannelGroup(group), 1), 0);
    const View* channel = &Linked(structure, 1);
    while (!channel->Id.empty() && Text(*channel, 2) != name) channel = &Linked(*channel, 0);
    EXPECT_FALSE(channel->Id.empty()) << name;
    return *channel;
  }

  std::unique_ptr<StrictMdfReader> Reader;
};

class BusEvent : public BusFile, public ::testing::WithParamInterface<EventCase> {};

TEST_P(BusEvent, HasTheChannelsOfItsTable) {
  const EventCase& event = GetParam();
  WriteBus(event.BusType);
  Strings lines;
  Lines(Linked(ChannelGroup(event.Index), 1), lines);
  EXPECT_EQ(lines, event.Channels);
}

TEST_P(BusEvent, GroupSaysWhatItIs) {
  const EventCase& event = GetParam();
  WriteBus(event.BusType);
  EXPECT_EQ(Number(DataGroup(event.Index), 0, 1), 0U);  // no record ids in the records
  const View& group = ChannelGroup(event.Index);
  EXPECT_EQ(Text(group, 2), event.Bus);
  EXPECT_EQ(Number(group, 0, 8), event.RecordId);
  EXPECT_EQ(Number(group, 8, 8), 0U);
  EXPECT_EQ(Number(group, 16, 2), 6U);
  EXPECT_EQ(Number(group, 24, 4), event.RecordSize);
  const View& source = Linked(group, 3);
  EXPECT_EQ(Text(source, 0), event.Event);
  EXPECT_EQ(source.Data, Bytes("02 02 00 00 00 00 00 00"));
  EXPECT_NE(Text(source, 2).find(">7<"), std::string::npos);
}

TEST_P(BusEvent, TimeIsNanosecondsShownAsSeconds) {
  WriteBus(GetParam().BusType);
  const View& time = Linked(ChannelGroup(GetParam().Index), 1);
  EXPECT_EQ(Text(time, 6), "s");
  const View& conversion = Linked(time, 4);
  EXPECT_EQ(Text(conversion, 1), "s");
  // linear, no references, two values: 0 and 1e-9
  EXPECT_EQ(conversion.Data, Bytes("01 00 00 00 00 00 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                                   "00 00 00 00 00 00 00 00 95 D6 26 E8 0B 2E 11 3E"));
}

TEST_P(BusEvent, BusChannelIsAConstant) {
  WriteBus(GetParam().BusType);
  const View& channel = Component(GetParam().Index, GetParam().Event + ".BusChannel");
  // linear: 7 + 0 x raw
  EXPECT_EQ(Linked(channel, 4).Data, Bytes("01 00 00 00 00 00 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                                           "00 00 00 00 00 00 1C 40 00 00 00 00 00 00 00 00"));
}

TEST_P(BusEvent, DataOfMaximumLengthHaveTheirLengthInTheSizeChannel) {
  constexpr size_t kMaximumLength = 5;
  const EventCase& event = GetParam();
  const std::string name = event.Event + ".DataBytes";
  WriteBus(event.BusType);
  Strings lines;
  Lines(Linked(ChannelGroup(event.Index), 1), lines);
  const bool has = std::any_of(lines.begin(), lines.end(), [&](const auto& line) { return line.starts_with(name); });
  if (!has) return;
  const View& data = Component(event.Index, name);
  const bool maximum = Number(data, 0, 1) == kMaximumLength;
  EXPECT_EQ(Text(Linked(data, 5), 2), maximum ? event.Event + ".DataLength" : "");
}

INSTANTIATE_TEST_SUITE_P(BusGenerator, BusEvent, ::testing::ValuesIn(Events()),
                         [](const auto& row) { return row.param.Event; });

struct TextsCase {
  unsigned char BusType;
  unsigned int Index;
  std::string Channel;
  Strings Texts;
  std::string Comment;
};

void PrintTo(const TextsCase& texts, std::ostream* out) { *out << texts.Channel; }

class BusTexts : public BusFile, public ::testing::WithParamInterface<TextsCase> {};

TEST_P(BusTexts, NameTheValuesFromZeroOn) {
  const TextsCase& texts = GetParam();
  WriteBus(texts.BusType);
  const View& channel = Component(texts.Index, texts.Channel);
  EXPECT_EQ(Text(channel, 7), texts.Comment);
  const View& conversion = Linked(channel, 4);
  EXPECT_EQ(Number(conversion, 0, 1), 7U);
  EXPECT_EQ(Number(conversion, 2, 2), 0U);  // flags
  ASSERT_EQ(Number(conversion, 6, 2), texts.Texts.size());
  ASSERT_EQ(conversion.Links.size(), 4 + texts.Texts.size() + 1);
  for (size_t value = 0; value < texts.Texts.size(); ++value) {
    double number = -1;
    std::memcpy(&number, conversion.Data.data() + 24 + 8 * value, sizeof number);
    EXPECT_EQ(number, static_cast<double>(value));
    EXPECT_EQ(Text(conversion, 4 + value), texts.Texts[value]);
  }
  EXPECT_EQ(conversion.Links.back(), 0U);  // no text for other values
}

INSTANTIATE_TEST_SUITE_P(
    BusGenerator, BusTexts,
    ::testing::Values(
        TextsCase{0,
                  0,
                  "CAN_DataFrame.Dir",
                  {"Rx", "Tx"},
                  "<CNcomment><TX>Bit signal indicating the direction (Rx, Tx).</TX><names><display>Dir</display>"
                  "</names></CNcomment>"},
        TextsCase{2,
                  0,
                  "FLX_Frame.FlxChannel",
                  {"A", "B"},
                  "<CNcomment><TX>FlexRay Channel this frame was transmitted.</TX><names><display>FlxChannel</display>"
                  "</names></CNcomment>"},
        TextsCase{2,
                  1,
                  "FLX_Error.ErrorType",
                  {"POC Error Mode", "Sync Frames below min", "Sync Frames overload", "Clock Connetion Error",
                   "NIT Failure", "Controller error", "Error overflow"},
                  "<CNcomment><TX>Type of error.</TX><names><display>ErrorType</display></names></CNcomment>"},
        TextsCase{2,
                  4,
                  "FLX_Symbol.SymbolType",
                  {"Unknown", "CAS (Collision Avoidance Symbol)", "MTS (Media Teset Symbol)", "WUS (Wakeup Symbol)"},
                  "<CNcomment><TX>Type of the symbol.</TX><names><display>SymbolType</display></names></CNcomment>"}));

struct ConstantCase {
  unsigned int Index;
  std::string Channel;
  double Value;
  std::string Comment;
};
void PrintTo(const ConstantCase& constant, std::ostream* out) { *out << constant.Channel << "In" << constant.Index; }

const std::string kInterfaceType =
    "<CNcomment><TX>Type of bus interface.</TX><names><display>InterfaceType</display></names></CNcomment>";

class FlexRayConstant : public BusFile, public ::testing::WithParamInterface<ConstantCase> {};

TEST_P(FlexRayConstant, IsAVirtualChannelWithItsValue) {
  const ConstantCase& constant = GetParam();
  WriteBus(2);
  const View& channel = Component(constant.Index, constant.Channel);
  EXPECT_EQ(Text(channel, 7), constant.Comment);
  double values[2] = {-1, -1};
  ASSERT_EQ(Linked(channel, 4).Data.size(), 24 + sizeof values);
  std::memcpy(values, Linked(channel, 4).Data.data() + 24, sizeof values);
  EXPECT_THAT(values, ElementsAre(constant.Value, 0));
}

INSTANTIATE_TEST_SUITE_P(
    BusGenerator, FlexRayConstant,
    ::testing::Values(ConstantCase{0, "FLX_Frame.InterfaceType", 0, kInterfaceType},
                      ConstantCase{0, "FLX_Frame.ControllerID", 0,
                                   "<CNcomment><TX>Identification number of controller that reported this event.</TX>"
                                   "<names><display>ControllerID</display></names></CNcomment>"},
                      ConstantCase{1, "FLX_Error.InterfaceType", 5, kInterfaceType},
                      ConstantCase{2, "FLX_StartCycle.InterfaceType", 5, kInterfaceType},
                      ConstantCase{3, "FLX_State.InterfaceType", 5, kInterfaceType},
                      ConstantCase{4, "FLX_Symbol.InterfaceType", 5, kInterfaceType}));

// --- parts ---

TEST(BusGenerator, GroupNeedsAHeaderOrADataGroupAsParent) {
  MDF::SIBLOCK other("", 0, 0, 0, 0);
  const Tree otherTree(other.Links_Get(MDF::kSiComment));
  for (MDF::Block* parent : {static_cast<MDF::Block*>(nullptr), static_cast<MDF::Block*>(&other)}) {
    MDF::DGBLOCK* group = nullptr;
    MDF::CNBLOCK* structure = nullptr;
    EXPECT_FALSE(BusGenerator::Channel_CommonStructure(&group, &structure, parent, "event", 1, "bus", 1));
    EXPECT_EQ(group, nullptr);
    EXPECT_EQ(BusGenerator::Channel_LIN_Wakeup(parent, 1, "LIN1", 1), nullptr);
  }
}

TEST(BusGenerator, GroupsFollowADataGroupAtTheEndOfItsChain) {
  auto* first = new MDF::DGBLOCK(false);
  const Tree tree(first);
  MDF::DGBLOCK* second = BusGenerator::Channel_LIN_SyncError(first, 1, "LIN1", 1);
  MDF::DGBLOCK* third = BusGenerator::Channel_LIN_Wakeup(first, 2, "LIN1", 1);
  EXPECT_EQ(first->Links_Get(MDF::kDgNext), second);
  EXPECT_EQ(second->Links_Get(MDF::kDgNext), third);
}

TEST(BusGenerator, PartsWithoutAParentAreNotMade) {
  EXPECT_EQ(BusGenerator::DataField("field", 64, 8, 0, 0, nullptr), nullptr);
  EXPECT_EQ(BusGenerator::Channel_Time(nullptr), nullptr);
  EXPECT_EQ(BusGenerator::StaticElement_Add("constant", nullptr, 1, ""), nullptr);
}

TEST(BusGenerator, DataBytesChannelIsHandedOut) {
  auto* header = new MDF::HDBLOCK(0);
  const Tree tree(header);
  MDF::CNBLOCK* dataBytes = nullptr;
  BusGenerator::Channel_CAN_Error(header, 1, "CAN1", 1, &dataBytes);
  ASSERT_NE(dataBytes, nullptr);
  EXPECT_EQ(dataBytes->RecordEnd(), 23U);
  BusGenerator::Channel_FlexRay_Data(header, 1, "FLEX1", 1, &dataBytes);
  EXPECT_EQ(dataBytes->RecordEnd(), 27U);
}

}  // namespace
