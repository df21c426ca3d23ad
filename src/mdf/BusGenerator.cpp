#include "mdf/BusGenerator.h"

#include <memory>

#include "mdf/Bus.h"
#include "mdf/BusRoot.h"
#include "mdf/BusTables.h"

namespace {

using MDF::CNBLOCK;
using MDF::DGBLOCK;
using MDF::HDBLOCK;
namespace tables = MDF::tables;

constexpr unsigned int kTimeBits = 64;
constexpr unsigned short kBusEventGroup = 0x06;   // bus event, plain bus event
constexpr unsigned int kBusEventChannel = 0x440;  // bus event, discrete value
constexpr unsigned char kSyncNone = 0;
constexpr unsigned char kSyncTime = 1;
constexpr unsigned char kSourceBus = 2;
constexpr unsigned char kBusTypeCan = 2;  // for every bus type
constexpr double kSecondsPerNanosecond = 1e-9;

enum Conversion : unsigned char { kLinear = 1, kValueToText = 7 };

/// offset + factor x raw
MDF::CCBLOCK* Linear(double offset, double factor, const char* unit) {
  auto conversion = std::make_unique<MDF::CCBLOCK>(kLinear, static_cast<unsigned short>(0), unit);
  conversion->Value_Add(offset);
  conversion->Value_Add(factor);
  return conversion.release();
}

/// The texts of the values 0, 1, 2, ...; no text for others.
MDF::CCBLOCK* Texts(std::span<const char* const> texts) {
  auto conversion = std::make_unique<MDF::CCBLOCK>(kValueToText, static_cast<unsigned short>(0), nullptr);
  double value = 0;
  for (const char* text : texts) {
    conversion->Value_Add(value++);
    conversion->Reference_Add(new MDF::TXBLOCK(text));
  }
  conversion->Reference_Add(nullptr);
  return conversion.release();
}

bool Link_Group(MDF::Block* parent, DGBLOCK* group) {
  switch (parent != nullptr ? parent->Block_Type() : MDF::blockType_None) {
    case MDF::blockType_HD:
      return static_cast<HDBLOCK*>(parent)->Link_DGBLOCK(group);
    case MDF::blockType_DG:
      return static_cast<DGBLOCK*>(parent)->Link_DGBLOCK(group);
    default:
      return false;
  }
}

MDF::CGBLOCK* FirstGroup(const DGBLOCK& group) {
  return static_cast<MDF::CGBLOCK*>(group.Links_Get(MDF::kDgFirstGroup));
}

CNBLOCK* VirtualChannel(const std::string& name, unsigned int bits, double value) {
  auto channel = std::make_unique<CNBLOCK>(name, tables::kVirtual, kSyncNone, tables::kUnsigned, 0U, bits);
  channel->Flags_Set(kBusEventChannel);
  channel->Links_Set(MDF::kCnConversion, Linear(value, 0, nullptr));
  return channel.release();
}

/// The structure channel covers what follows the time.
void Structure_Span(CNBLOCK& structure, const DGBLOCK& group) {
  structure.BitCount_Set(8 * FirstGroup(group)->RecordsSize() - kTimeBits);
}

CNBLOCK* Field_Add(const std::string& event, const tables::Field& field, CNBLOCK* structure) {
  CNBLOCK* channel =
      BusGenerator::DataField(event + "." + field.Name, field.Bit, field.Bits, field.Type, field.Data, structure);
  if (!field.Texts.empty()) channel->Links_Set(MDF::kCnConversion, Texts(field.Texts));
  MDF::Comment_Link(*channel, MDF::kCnComment, field.Comment);
  return channel;
}

/// Builds the group of an event; `dataBytes`, if given, becomes the channel of that name.
DGBLOCK* Event_Build(const tables::Event& table, MDF::Block* parent, unsigned char recordId, const std::string& busName,
                     unsigned int busChannel, CNBLOCK** dataBytes = nullptr) {
  const std::string event = table.Name;
  DGBLOCK* group = nullptr;
  CNBLOCK* structure = nullptr;
  if (!BusGenerator::Channel_CommonStructure(&group, &structure, parent, event, recordId, busName, busChannel)) {
    return nullptr;
  }
  for (const tables::Constant& constant : table.Constants) {
    BusGenerator::StaticElement_Add(event + "." + constant.Name, structure, constant.Value, constant.Comment);
  }
  for (const tables::Field& field : table.Fields) {
    CNBLOCK* channel = Field_Add(event, field, structure);
    if (dataBytes != nullptr && std::string(field.Name) == "DataBytes") *dataBytes = channel;
  }
  Structure_Span(*structure, *group);
  return group;
}

using Generator = DGBLOCK* (*)(MDF::Block*, unsigned char, const std::string&, unsigned int);

/// Adds the groups of further events to a bus, each with a record id of its own, and makes the last one the latest.
bool Groups_Add(Bus& bus, BusRoot& root, MDF::Block* parent, const std::string& busName,
                std::initializer_list<Generator> generators) {
  for (const Generator generate : generators) {
    DGBLOCK* group = generate(parent, root.NextID(), busName, bus.BusChannel_Get());
    if (group == nullptr) return false;
    bus.Channel_New(group, root.Get_FileStream());
    root.LatestHierarchieElement(group);
  }
  return true;
}

void Stream_SeekEnd(FileStream& stream) {
  if (stream.is_open()) MDF::SeekEnd(stream);
}

}  // namespace

// --- parts ---

CNBLOCK* BusGenerator::DataField(const std::string& name, unsigned int bitPosition, unsigned int bitCount,
                                 unsigned char channelType, unsigned char dataType, CNBLOCK* parent) {
  if (parent == nullptr) return nullptr;
  auto* channel = new CNBLOCK(name, channelType, kSyncNone, dataType, bitPosition, bitCount);
  channel->Flags_Set(kBusEventChannel);
  parent->Link_CNBLOCK(channel, true);
  return channel;
}

CNBLOCK* BusGenerator::Channel_Time(MDF::CGBLOCK* group) {
  if (group == nullptr) return nullptr;
  auto* channel = new CNBLOCK("t", tables::kMaster, kSyncTime, tables::kUnsigned, 0, kTimeBits);
  channel->Links_Set(MDF::kCnConversion, Linear(0, kSecondsPerNanosecond, "s"));
  MDF::Text_Link(*channel, MDF::kCnUnit, "s");
  group->Link_CNBLOCK(channel);
  return channel;
}

bool BusGenerator::Channel_CommonStructure(DGBLOCK** group, CNBLOCK** structure, MDF::Block* parent,
                                           const std::string& eventName, unsigned char recordId,
                                           const std::string& busName, unsigned int busChannel) {
  if (group == nullptr || structure == nullptr) return false;
  auto made = std::make_unique<DGBLOCK>(false);
  if (!Link_Group(parent, made.get())) return false;
  *group = made.release();
  auto* channels = new MDF::CGBLOCK(busName, recordId, kBusEventGroup, 0);
  (*group)->Link_CGBLOCK(channels);
  channels->Links_Set(MDF::kCgSource, new MDF::SIBLOCK(eventName, busChannel, kSourceBus, kBusTypeCan, 0));
  Channel_Time(channels);
  *structure = new CNBLOCK(eventName, tables::kFixed, kSyncNone, tables::kBytes, kTimeBits, 0);
  (*structure)->Flags_Set(kBusEventChannel);
  channels->Link_CNBLOCK(*structure);
  (*structure)->Links_Set(MDF::kCnComposition, VirtualChannel(eventName + ".BusChannel", 0, busChannel));
  return true;
}

CNBLOCK* BusGenerator::StaticElement_Add(const std::string& name, CNBLOCK* parent, double value,
                                         const std::string& comment) {
  if (parent == nullptr) return nullptr;
  CNBLOCK* channel = VirtualChannel(name, 64, value);
  MDF::Comment_Link(*channel, MDF::kCnComment, comment);
  parent->Link_CNBLOCK(channel, true);
  return channel;
}

// --- events ---

DGBLOCK* BusGenerator::Channel_CAN_Data(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                        unsigned int busChannel, CNBLOCK** dataBytes) {
  return Event_Build({"CAN_DataFrame", {}, tables::kCanData}, parent, recordId, busName, busChannel, dataBytes);
}

DGBLOCK* BusGenerator::Channel_CAN_Error(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                         unsigned int busChannel, CNBLOCK** dataBytes) {
  return Event_Build({"CAN_ErrorFrame", {}, tables::kCanError}, parent, recordId, busName, busChannel, dataBytes);
}

DGBLOCK* BusGenerator::Channel_LIN_Data(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                        unsigned int busChannel) {
  return Event_Build({"LIN_Frame", {}, tables::kLinFrame}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_LIN_ChecksumError(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                                 unsigned int busChannel) {
  return Event_Build({"LIN_ChecksumError", {}, tables::kLinChecksumError}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_LIN_ReceiveError(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                                unsigned int busChannel) {
  return Event_Build({"LIN_ReceiveError", {}, tables::kLinReceiveError}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_LIN_SyncError(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                             unsigned int busChannel) {
  return Event_Build({"LIN_SyncError", {}, tables::kLinSyncError}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_LIN_TransmissionError(MDF::Block* parent, unsigned char recordId,
                                                     const std::string& busName, unsigned int busChannel) {
  return Event_Build({"LIN_TransmissionError", {}, tables::kLinTransmissionError}, parent, recordId, busName,
                     busChannel);
}

DGBLOCK* BusGenerator::Channel_LIN_Wakeup(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                          unsigned int busChannel) {
  return Event_Build({"LIN_Wakeup", {}, tables::kLinWakeup}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_FlexRay_Data(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                            unsigned int busChannel, CNBLOCK** dataBytes) {
  return Event_Build({"FLX_Frame", tables::kFlxFrameConstants, tables::kFlxFrame}, parent, recordId, busName,
                     busChannel, dataBytes);
}

DGBLOCK* BusGenerator::Channel_FlexRay_Error(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                             unsigned int busChannel) {
  return Event_Build({"FLX_Error", tables::kFlxConstants, tables::kFlxError}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_FlexRay_StartCycle(MDF::Block* parent, unsigned char recordId,
                                                  const std::string& busName, unsigned int busChannel) {
  return Event_Build({"FLX_StartCycle", tables::kFlxConstants, tables::kFlxStartCycle}, parent, recordId, busName,
                     busChannel);
}

DGBLOCK* BusGenerator::Channel_FlexRay_State(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                             unsigned int busChannel) {
  return Event_Build({"FLX_State", tables::kFlxConstants, tables::kFlxState}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_FlexRay_Symbol(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                              unsigned int busChannel) {
  return Event_Build({"FLX_Symbol", tables::kFlxConstants, tables::kFlxSymbol}, parent, recordId, busName, busChannel);
}

// --- buses ---

Bus* BusGenerator::Get_CAN(unsigned int busChannel, BusRoot& root) {
  const std::string name = "CAN" + std::to_string(busChannel);
  const unsigned char id = root.NextID();  // of both groups
  MDF::Block* parent = root.LatestHierarchieElement();
  Stream_SeekEnd(root.Get_FileStream());
  CNBLOCK* dataBytes = nullptr;
  DGBLOCK* frames = Channel_CAN_Data(parent, id, name, busChannel, &dataBytes);
  if (frames == nullptr) return nullptr;
  auto bus = std::make_unique<Bus>(busChannel, Bus::Info::Can, frames, dataBytes, root.Get_FileStream());
  DGBLOCK* errors = Channel_CAN_Error(parent, id, name, busChannel, nullptr);
  if (errors == nullptr) return nullptr;
  bus->Channel_New(errors, root.Get_FileStream());
  root.LatestHierarchieElement(errors);
  return bus.release();
}

Bus* BusGenerator::Get_LIN(unsigned int busChannel, BusRoot& root) {
  const std::string name = "LIN" + std::to_string(busChannel);
  MDF::Block* parent = root.LatestHierarchieElement();
  Stream_SeekEnd(root.Get_FileStream());
  DGBLOCK* frames = Channel_LIN_Data(parent, root.NextID(), name, busChannel);
  if (frames == nullptr) return nullptr;
  auto bus = std::make_unique<Bus>(busChannel, Bus::Info::Lin, frames, root.Get_FileStream());
  const bool done = Groups_Add(*bus, root, parent, name,
                               {Channel_LIN_ChecksumError, Channel_LIN_ReceiveError, Channel_LIN_SyncError,
                                Channel_LIN_TransmissionError, Channel_LIN_Wakeup});
  return done ? bus.release() : nullptr;
}

Bus* BusGenerator::Get_FlexRay(unsigned int busChannel, BusRoot& root) {
  const std::string name = "FLEX" + std::to_string(busChannel);
  MDF::Block* parent = root.LatestHierarchieElement();
  Stream_SeekEnd(root.Get_FileStream());
  CNBLOCK* dataBytes = nullptr;
  DGBLOCK* frames = Channel_FlexRay_Data(parent, root.NextID(), name, busChannel, &dataBytes);
  if (frames == nullptr) return nullptr;
  auto bus = std::make_unique<Bus>(busChannel, Bus::Info::FlexRay, frames, dataBytes, root.Get_FileStream());
  const bool done =
      Groups_Add(*bus, root, parent, name,
                 {Channel_FlexRay_Error, Channel_FlexRay_StartCycle, Channel_FlexRay_State, Channel_FlexRay_Symbol});
  return done ? bus.release() : nullptr;
}

Bus* BusGenerator::Get_Test(unsigned int busChannel, BusRoot& root) {
  CNBLOCK* dataBytes = nullptr;
  Stream_SeekEnd(root.Get_FileStream());
  DGBLOCK* frames = Channel_CAN_Data(root.LatestHierarchieElement(), root.NextID(), "CAN" + std::to_string(busChannel),
                                     busChannel, &dataBytes);
  if (frames == nullptr) return nullptr;
  auto bus = std::make_unique<Bus>(busChannel, Bus::Info::Can, frames, dataBytes, root.Get_FileStream());
  root.LatestHierarchieElement(frames);
  return bus.release();
}
