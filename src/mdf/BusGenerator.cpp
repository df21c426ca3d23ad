#include "mdf/BusGenerator.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include "internal/Span.h"
#include "mdf/BlockTree.h"
#include "mdf/Bus.h"
#include "mdf/BusRoot.h"
#include "mdf/BusTables.h"
#include "mdf/XmlText.h"

namespace {

using MDF::CNBLOCK;
using MDF::DGBLOCK;
using MDF::HDBLOCK;
using MDF::NewTree;
namespace tables = MDF::tables;

constexpr unsigned int kTimeBits = 64;
constexpr unsigned short kBusEventGroup = 0x06;   // bus event, plain bus event
constexpr unsigned int kBusEventChannel = 0x440;  // bus event, discrete value
constexpr unsigned char kSyncNone = 0;
constexpr unsigned char kSyncTime = 1;
constexpr unsigned char kSourceBus = 2;
constexpr unsigned char kBusTypeCan = 2;  // exported for every bus, LIN and FlexRay included: part of the interface
constexpr double kSecondsPerNanosecond = 1e-9;

enum Conversion : unsigned char { kLinear = 1, kValueToText = 7 };

// Until a block has its place in a tree, a NewTree holds it with all that was linked to it: an allocation may fail anywhere.

/// offset + factor x raw
MDF::CCBLOCK* Linear(double offset, double factor, const char* unit) {
  NewTree<MDF::CCBLOCK> conversion(new MDF::CCBLOCK(kLinear, 0, unit));
  conversion->Value_Add(offset);
  conversion->Value_Add(factor);
  return conversion.release();
}

/// The texts of the values 0, 1, 2, ...; no text for others.
MDF::CCBLOCK* Texts(Span<const char* const> texts) {
  NewTree<MDF::CCBLOCK> conversion(new MDF::CCBLOCK(kValueToText, 0, nullptr));
  double value = 0;
  for (const char* text : texts) {
    conversion->Value_Add(value++);
    auto block = std::make_unique<MDF::TXBLOCK>(text);
    conversion->Reference_Add(block.get());
    (void)block.release();
  }
  conversion->Reference_Add(nullptr);
  return conversion.release();
}

bool LinkGroup(MDF::Block* parent, DGBLOCK* group) {
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
  NewTree<CNBLOCK> channel(new CNBLOCK(name, tables::kVirtual, kSyncNone, tables::kUnsigned, 0U, bits));
  channel->Flags_Set(kBusEventChannel);
  channel->Links_Set(MDF::kCnConversion, Linear(value, 0, nullptr));
  return channel.release();
}

/// The structure channel covers what follows the time.
void SpanStructure(CNBLOCK& structure, const DGBLOCK& group) {
  structure.BitCount_Set(8 * FirstGroup(group)->RecordsSize() - kTimeBits);
}

CNBLOCK* AddField(const std::string& event, const tables::Field& field, CNBLOCK* structure) {
  CNBLOCK* channel =
      BusGenerator::DataField(event + "." + field.Name, field.Bit, field.Bits, field.Type, field.Data, structure);
  if (!field.Texts.empty()) channel->Links_Set(MDF::kCnConversion, Texts(field.Texts));
  MDF::LinkComment(*channel, MDF::kCnComment, field.Comment);
  return channel;
}

CNBLOCK* NewStructure(const std::string& eventName, unsigned int busChannel) {
  NewTree<CNBLOCK> structure(new CNBLOCK(eventName, tables::kFixed, kSyncNone, tables::kBytes, kTimeBits, 0));
  structure->Flags_Set(kBusEventChannel);
  structure->Links_Set(MDF::kCnComposition, VirtualChannel(eventName + ".BusChannel", 0, busChannel));
  return structure.release();
}

/// The bus that a group is of, and what its source block says.
struct GroupOf {
  std::string BusName;
  unsigned int BusChannel;
  unsigned char RecordId;
  std::string SourceName;
  std::string SourcePath;
  unsigned char SourceBusType;
};

GroupOf ExportedGroup(const std::string& eventName, unsigned char recordId, const std::string& busName,
                      unsigned int busChannel) {
  return {busName, busChannel, recordId, eventName, "", kBusTypeCan};
}

void AddSource(MDF::CGBLOCK& channels, const GroupOf& of) {
  auto* source = new MDF::SIBLOCK(of.SourceName, of.BusChannel, kSourceBus, of.SourceBusType, 0);
  channels.Links_Set(MDF::kCgSource, source);
  MDF::LinkText(*source, MDF::kSiPath, of.SourcePath);
}

/// A group without a parent. `structure` becomes its structure channel.
NewTree<DGBLOCK> NewGroup(CNBLOCK*& structure, const std::string& eventName, const GroupOf& of) {
  NewTree<DGBLOCK> group(new DGBLOCK(false));
  auto* channels = new MDF::CGBLOCK(of.BusName, of.RecordId, kBusEventGroup, 0);
  group->Link_CGBLOCK(channels);
  AddSource(*channels, of);
  BusGenerator::Channel_Time(channels);
  structure = NewStructure(eventName, of.BusChannel);
  channels->Link_CNBLOCK(structure);
  return group;
}

/// Builds the group of an event; `dataBytes`, if given, becomes the channel of that name.
DGBLOCK* BuildEvent(const tables::Event& table, MDF::Block* parent, const GroupOf& of, CNBLOCK** dataBytes = nullptr) {
  const std::string event = table.Name;
  CNBLOCK* structure = nullptr;
  CNBLOCK* length = nullptr;
  CNBLOCK* bytes = nullptr;
  NewTree<DGBLOCK> group = NewGroup(structure, event, of);
  for (const tables::Constant& constant : table.Constants) {
    BusGenerator::StaticElement_Add(event + "." + constant.Name, structure, constant.Value, constant.Comment);
  }
  for (const tables::Field& field : table.Fields) {
    CNBLOCK* channel = AddField(event, field, structure);
    if (std::string_view(field.Name) == "DataLength") length = channel;
    if (std::string_view(field.Name) == "DataBytes") bytes = channel;
    // The size channel of a field of maximum length, by which readers cut the padding off.
    if (field.Type == tables::kMaximum) channel->Links_Set(MDF::kCnData, length);
  }
  SpanStructure(*structure, *group);
  if (!LinkGroup(parent, group.get())) return nullptr;
  if (dataBytes != nullptr) *dataBytes = bytes;
  return group.release();
}

DGBLOCK* BuildEvent(const tables::Event& table, MDF::Block* parent, unsigned char recordId, const std::string& busName,
                    unsigned int busChannel, CNBLOCK** dataBytes = nullptr) {
  return BuildEvent(table, parent, ExportedGroup(table.Name, recordId, busName, busChannel), dataBytes);
}

/// The groups of a bus while it is being built. They go to the tree together, or not at all.
class NewGroups {
 public:
  NewGroups() : Anchor(new DGBLOCK(false)) {}  // g++ 12 would leak it as a default member initializer that throws

  /// What the groups are chained to meanwhile.
  DGBLOCK* Parent() { return Anchor.get(); }
  /// Chains them to `parent`; false for a block of the wrong kind.
  bool Link(MDF::Block* parent) {
    if (!LinkGroup(parent, static_cast<DGBLOCK*>(Anchor->Links_Get(MDF::kDgNext)))) return false;
    Anchor->Links_Clear(false);
    return true;
  }

 private:
  NewTree<DGBLOCK> Anchor;
};

using Generator = DGBLOCK* (*)(MDF::Block*, unsigned char, const std::string&, unsigned int);

/// Adds the groups of further events to a bus, each with a record id of its own.
void AddGroups(Bus& bus, BusRoot& root, NewGroups& groups, const std::string& busName,
               std::initializer_list<Generator> generators) {
  for (const Generator generate : generators) {
    bus.Channel_New(generate(groups.Parent(), root.NextID(), busName, bus.BusChannel_Get()), root.Get_FileStream());
  }
}

/// Chains the bus's groups after the latest block and makes the last of them the latest.
Bus* FinishBus(std::unique_ptr<Bus> bus, unsigned int lastGroup, NewGroups& groups, BusRoot& root) {
  if (!groups.Link(root.LatestHierarchieElement())) return nullptr;
  root.LatestHierarchieElement(bus->Block_Get(lastGroup));
  return bus.release();
}

/// What the source blocks of a bus say: the interface's name, or else that of the bus; and what was opened.
GroupOf StandardGroup(const tables::StandardBus& kind, unsigned int busChannel, unsigned char busType,
                      const BusRoot& root) {
  const std::string busName = kind.Name + std::to_string(busChannel);
  const RecordingInfo::Channel* known = root.ChannelInfo_Get(busChannel, busType);
  const std::string name = known != nullptr ? MDF::Utf8Only(known->Name) : "";
  const std::string path = known != nullptr ? MDF::Utf8Only(known->Source) : "";
  return {busName, busChannel, 0, name.empty() ? busName : name, path.empty() ? busName : path, kind.SourceType};
}

/// The channel of the data bytes if they are of variable length, for which a bus keeps a list.
CNBLOCK* VariableOnly(CNBLOCK* dataBytes, const tables::Event& table) {
  const bool variable = std::any_of(table.Fields.begin(), table.Fields.end(),
                                    [](const tables::Field& field) { return field.Type == tables::kVariable; });
  return variable ? dataBytes : nullptr;
}

void SeekStreamEnd(FileStream& stream) {
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
  NewTree<CNBLOCK> channel(new CNBLOCK("t", tables::kMaster, kSyncTime, tables::kUnsigned, 0, kTimeBits));
  channel->Links_Set(MDF::kCnConversion, Linear(0, kSecondsPerNanosecond, "s"));
  MDF::LinkText(*channel, MDF::kCnUnit, "s");
  group->Link_CNBLOCK(channel.get());
  return channel.release();
}

bool BusGenerator::Channel_CommonStructure(DGBLOCK** group, CNBLOCK** structure, MDF::Block* parent,
                                           const std::string& eventName, unsigned char recordId,
                                           const std::string& busName, unsigned int busChannel) {
  if (group == nullptr || structure == nullptr) return false;
  CNBLOCK* made = nullptr;
  NewTree<DGBLOCK> built = NewGroup(made, eventName, ExportedGroup(eventName, recordId, busName, busChannel));
  if (!LinkGroup(parent, built.get())) return false;
  *group = built.release();
  *structure = made;
  return true;
}

CNBLOCK* BusGenerator::StaticElement_Add(const std::string& name, CNBLOCK* parent, double value,
                                         const std::string& comment) {
  if (parent == nullptr) return nullptr;
  NewTree<CNBLOCK> channel(VirtualChannel(name, 64, value));
  MDF::LinkComment(*channel, MDF::kCnComment, comment);
  parent->Link_CNBLOCK(channel.get(), true);
  return channel.release();
}

// --- events ---

DGBLOCK* BusGenerator::Channel_CAN_Data(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                        unsigned int busChannel, CNBLOCK** dataBytes) {
  return BuildEvent({"CAN_DataFrame", {}, tables::kCanData}, parent, recordId, busName, busChannel, dataBytes);
}

DGBLOCK* BusGenerator::Channel_CAN_Error(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                         unsigned int busChannel, CNBLOCK** dataBytes) {
  return BuildEvent({"CAN_ErrorFrame", {}, tables::kCanError}, parent, recordId, busName, busChannel, dataBytes);
}

DGBLOCK* BusGenerator::Channel_LIN_Data(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                        unsigned int busChannel) {
  return BuildEvent({"LIN_Frame", {}, tables::kLinFrame}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_LIN_ChecksumError(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                                 unsigned int busChannel) {
  return BuildEvent({"LIN_ChecksumError", {}, tables::kLinChecksumError}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_LIN_ReceiveError(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                                unsigned int busChannel) {
  return BuildEvent({"LIN_ReceiveError", {}, tables::kLinReceiveError}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_LIN_SyncError(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                             unsigned int busChannel) {
  return BuildEvent({"LIN_SyncError", {}, tables::kLinSyncError}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_LIN_TransmissionError(MDF::Block* parent, unsigned char recordId,
                                                     const std::string& busName, unsigned int busChannel) {
  return BuildEvent({"LIN_TransmissionError", {}, tables::kLinTransmissionError}, parent, recordId, busName,
                    busChannel);
}

DGBLOCK* BusGenerator::Channel_LIN_Wakeup(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                          unsigned int busChannel) {
  return BuildEvent({"LIN_Wakeup", {}, tables::kLinWakeup}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_FlexRay_Data(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                            unsigned int busChannel, CNBLOCK** dataBytes) {
  return BuildEvent({"FLX_Frame", tables::kFlxFrameConstants, tables::kFlxFrame}, parent, recordId, busName, busChannel,
                    dataBytes);
}

DGBLOCK* BusGenerator::Channel_FlexRay_Error(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                             unsigned int busChannel) {
  return BuildEvent({"FLX_Error", tables::kFlxConstants, tables::kFlxError}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_FlexRay_StartCycle(MDF::Block* parent, unsigned char recordId,
                                                  const std::string& busName, unsigned int busChannel) {
  return BuildEvent({"FLX_StartCycle", tables::kFlxConstants, tables::kFlxStartCycle}, parent, recordId, busName,
                    busChannel);
}

DGBLOCK* BusGenerator::Channel_FlexRay_State(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                             unsigned int busChannel) {
  return BuildEvent({"FLX_State", tables::kFlxConstants, tables::kFlxState}, parent, recordId, busName, busChannel);
}

DGBLOCK* BusGenerator::Channel_FlexRay_Symbol(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                              unsigned int busChannel) {
  return BuildEvent({"FLX_Symbol", tables::kFlxConstants, tables::kFlxSymbol}, parent, recordId, busName, busChannel);
}

// --- buses ---

Bus* BusGenerator::Get_CAN(unsigned int busChannel, BusRoot& root) {
  FileStream& stream = root.Get_FileStream();
  const std::string name = "CAN" + std::to_string(busChannel);
  const unsigned char id = root.NextID();  // of both groups
  SeekStreamEnd(stream);
  NewGroups groups;
  CNBLOCK* dataBytes = nullptr;
  DGBLOCK* frames = Channel_CAN_Data(groups.Parent(), id, name, busChannel, &dataBytes);
  auto bus = std::make_unique<Bus>(busChannel, Bus::Info::Can, frames, dataBytes, stream);
  bus->Channel_New(Channel_CAN_Error(groups.Parent(), id, name, busChannel, nullptr), stream);
  return FinishBus(std::move(bus), 1, groups, root);
}

Bus* BusGenerator::Get_LIN(unsigned int busChannel, BusRoot& root) {
  FileStream& stream = root.Get_FileStream();
  const std::string name = "LIN" + std::to_string(busChannel);
  SeekStreamEnd(stream);
  NewGroups groups;
  DGBLOCK* frames = Channel_LIN_Data(groups.Parent(), root.NextID(), name, busChannel);
  auto bus = std::make_unique<Bus>(busChannel, Bus::Info::Lin, frames, stream);
  AddGroups(*bus, root, groups, name,
            {Channel_LIN_ChecksumError, Channel_LIN_ReceiveError, Channel_LIN_SyncError, Channel_LIN_TransmissionError,
             Channel_LIN_Wakeup});
  return FinishBus(std::move(bus), 5, groups, root);
}

Bus* BusGenerator::Get_FlexRay(unsigned int busChannel, BusRoot& root) {
  FileStream& stream = root.Get_FileStream();
  const std::string name = "FLEX" + std::to_string(busChannel);
  SeekStreamEnd(stream);
  NewGroups groups;
  CNBLOCK* dataBytes = nullptr;
  DGBLOCK* frames = Channel_FlexRay_Data(groups.Parent(), root.NextID(), name, busChannel, &dataBytes);
  auto bus = std::make_unique<Bus>(busChannel, Bus::Info::FlexRay, frames, dataBytes, stream);
  AddGroups(*bus, root, groups, name,
            {Channel_FlexRay_Error, Channel_FlexRay_StartCycle, Channel_FlexRay_State, Channel_FlexRay_Symbol});
  return FinishBus(std::move(bus), 4, groups, root);
}

Bus* BusGenerator::Get_Test(unsigned int busChannel, BusRoot& root) {
  FileStream& stream = root.Get_FileStream();
  const std::string name = "CAN" + std::to_string(busChannel);
  SeekStreamEnd(stream);
  NewGroups groups;
  CNBLOCK* dataBytes = nullptr;
  DGBLOCK* frames = Channel_CAN_Data(groups.Parent(), root.NextID(), name, busChannel, &dataBytes);
  auto bus = std::make_unique<Bus>(busChannel, Bus::Info::Can, frames, dataBytes, stream);
  return FinishBus(std::move(bus), 0, groups, root);
}

Bus* BusGenerator::Get_Standard(unsigned int busChannel, unsigned char busType, BusRoot& root) {
  if (busType >= std::size(tables::kStandardBuses)) return nullptr;
  const tables::StandardBus& kind = tables::kStandardBuses[busType];
  FileStream& stream = root.Get_FileStream();
  SeekStreamEnd(stream);
  NewGroups groups;
  GroupOf of = StandardGroup(kind, busChannel, busType, root);
  std::unique_ptr<Bus> bus;
  for (const tables::Event& event : kind.Events) {
    of.RecordId = root.NextID();
    CNBLOCK* dataBytes = nullptr;
    DGBLOCK* group = BuildEvent(event, groups.Parent(), of, &dataBytes);
    dataBytes = VariableOnly(dataBytes, event);
    if (bus == nullptr) {
      bus = std::make_unique<Bus>(busChannel, static_cast<Bus::Info::busType_t>(busType), group, dataBytes, stream);
    } else {
      bus->Channel_New(group, dataBytes, stream);
    }
  }
  bus->Convention_Set(BusConvention::kStandard);
  return FinishBus(std::move(bus), static_cast<unsigned int>(kind.Events.size()) - 1, groups, root);
}
