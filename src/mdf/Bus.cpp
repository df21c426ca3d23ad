#include "mdf/Bus.h"

#include <algorithm>
#include <iterator>

#include "mdf/PackQueue.h"

namespace {

constexpr unsigned short kBlocksPerList = 4;
constexpr unsigned int kVlsdLengthSize = 4;
constexpr unsigned int kNoGroup = ~0U;

MDF::CGBLOCK* Channels(const MDF::DGBLOCK* group) {
  return group != nullptr ? static_cast<MDF::CGBLOCK*>(group->Links_Get(MDF::kDgFirstGroup)) : nullptr;
}

std::unique_ptr<MDF::DLBLOCK> List(MDF::Block* parent, FileStream& stream) {
  return std::make_unique<MDF::DLBLOCK>(parent, kBlocksPerList, true, stream);
}

bool IsListWaiting(const MDF::DLBLOCK* list) { return list != nullptr && list->Data_Waiting(); }

void ResetList(MDF::DLBLOCK* list) {
  if (list == nullptr) return;
  list->Data_Discard();
  if (list->Block_FilePos() != 0) static_cast<MDF::Block*>(list)->Block_Reset(true);
}

}  // namespace

std::map<unsigned char, unsigned char> Bus::CreateMap_CanDlc() {
  std::map<unsigned char, unsigned char> bytes;
  unsigned char dlc = 0;
  for (const unsigned char count : kCanDlcBytes) bytes[dlc++] = count;
  return bytes;
}

// Made at load; a process without memory for 16 entries gets no further anyway.
const std::map<unsigned char, unsigned char> Bus::_canDlcBytes = CreateMap_CanDlc();  // NOLINT(cert-err58-cpp)

// --- groups ---

Bus::ChannelGroup::ChannelGroup(MDF::DGBLOCK* group, MDF::CNBLOCK* vlsdChannel, FileStream& stream)
    : Group(group),
      Records(List(group, stream)),
      Vlsd(vlsdChannel != nullptr ? List(vlsdChannel, stream) : nullptr),
      RecordSize(Channels(group) != nullptr ? Channels(group)->RecordsSize() : 0) {}

Bus::ChannelGroup::ChannelGroup(ChannelGroup&& other) noexcept = default;

Bus::ChannelGroup::~ChannelGroup() = default;

bool Bus::ChannelGroup::Flushed_Look(uint64_t complete) {
  const uint64_t records = Records->DataBytes_InFile();
  const uint64_t vlsd = Vlsd != nullptr ? Vlsd->DataBytes_InFile() : 0;
  if (records == RecordBytesSeen && vlsd == VlsdBytesSeen) return false;
  if (vlsd != VlsdBytesSeen) VlsdComplete = complete;
  RecordBytesSeen = records;
  VlsdBytesSeen = vlsd;
  return true;
}

bool Bus::ChannelGroup::CycleCount_Write(FileStream& stream) const {
  MDF::CGBLOCK* channels = Channels(Group);
  if (channels == nullptr || RecordSize == 0) return stream.good();
  const uint64_t records = RecordBytesSeen / RecordSize;
  channels->CycleCount_Set(Vlsd != nullptr ? std::min(records, VlsdComplete) : records);
  if (channels->Block_FilePos() != 0) channels->Write(stream);
  stream.flush();
  return stream.good();
}

bool Bus::ChannelGroup::PutOut(MDF::DLBLOCK& list, uint64_t complete) {
  return Queue != nullptr ? Queue->HandIn(*this, list, complete) : list.Write();
}

bool Bus::ChannelGroup::Flush(FileStream& stream) {
  const bool records = !IsListWaiting(Records.get()) || PutOut(*Records, CycleCount);
  const bool vlsd = !IsListWaiting(Vlsd.get()) || PutOut(*Vlsd, CycleCount);
  const bool counted = !Flushed_Look(CycleCount) || CycleCount_Write(stream);
  return records && vlsd && counted && !Torn;
}

void Bus::ChannelGroup::Reset() {
  ResetList(Records.get());
  ResetList(Vlsd.get());
  CycleCount = 0;
  DataBytes = 0;
  RecordBytesSeen = 0;
  VlsdBytesSeen = 0;
  VlsdComplete = 0;
  Torn = false;
  if (MDF::CGBLOCK* channels = Channels(Group)) channels->CycleCount_Set(0);
}

Bus::Bus(unsigned int busChannel, Info::busType_t busType, MDF::DGBLOCK* group, MDF::CNBLOCK* vlsdChannel,
         FileStream& stream)
    : BusChannel(busChannel), BusType(busType), Stream(stream) {
  Groups.emplace_back(group, vlsdChannel, stream);
}

Bus::Bus(unsigned int busChannel, Info::busType_t busType, MDF::DGBLOCK* group, FileStream& stream)
    : Bus(busChannel, busType, group, nullptr, stream) {}

Bus::~Bus() = default;

void Bus::Channel_New(MDF::DGBLOCK* group, FileStream& stream) { Channel_New(group, nullptr, stream); }

void Bus::Channel_New(MDF::DGBLOCK* group, MDF::CNBLOCK* vlsdChannel, FileStream& stream) {
  Groups.emplace_back(group, vlsdChannel, stream);
}

void Bus::Convention_Set(BusConvention convention) {
  Convention = convention;
  if (!IsStandard()) return;
  for (const ChannelGroup& group : Groups) {
    group.Records->Plain_Allow();
    if (group.Vlsd != nullptr) group.Vlsd->Plain_Allow();
  }
}

void Bus::Queue_Set(MDF::PackQueue* queue) {
  for (ChannelGroup& group : Groups) group.Queue = queue;
}

unsigned int Bus::ChannelNum_Get(unsigned int kind, bool error) const {
  // By item type: overrun, the two frames, start of cycle, state, status, symbol, the four errors.
  constexpr unsigned int kFlexRayGroups[] = {1, 0, 0, 2, 3, kNoGroup, 4, 1, 1, 1, 1};
  switch (BusType) {
    case Info::Can:
      return error ? 1 : 0;
    case Info::Lin:
      return kind;
    default:
      return kind < std::size(kFlexRayGroups) ? kFlexRayGroups[kind] : kNoGroup;
  }
}

unsigned int Bus::BusChannel_Get() const { return BusChannel; }

unsigned char Bus::BusType_Get() const { return BusType; }

Bus::Info::busType_t Bus::Type() const { return BusType; }

MDF::DGBLOCK* Bus::Block_Get(unsigned int index) const { return Groups.at(index).Group; }

unsigned long Bus::CycleCount_Get(unsigned int index) const { return Groups.at(index).CycleCount; }

unsigned long Bus::CycleCount_Get() const {
  unsigned long sum = 0;
  for (const ChannelGroup& group : Groups) sum += group.CycleCount;
  return sum;
}

void Bus::CycleCount_Increment(unsigned int index) { ++Groups.at(index).CycleCount; }

void Bus::DataBytes_Add(unsigned int index, unsigned long bytes) { Groups.at(index).DataBytes += bytes; }

unsigned long Bus::DataBytes_Get(unsigned int index) const { return Groups.at(index).DataBytes; }

unsigned long Bus::DataBytes_VLSD(unsigned int index) const {
  const ChannelGroup& group = Groups.at(index);
  return group.Vlsd != nullptr ? group.DataBytes - kVlsdLengthSize * group.CycleCount : 0;
}

unsigned long Bus::DataBytes_Est() const {
  unsigned long sum = 0;
  for (const ChannelGroup& group : Groups) {
    sum += group.Records->DataBytes_Compressed_Est();
    if (group.Vlsd != nullptr) sum += group.Vlsd->DataBytes_Compressed_Est();
  }
  return sum;
}

bool Bus::Block_Refresh(FileStream& stream) {
  bool done = stream.is_open() && stream.good();
  for (const ChannelGroup& group : Groups) done = done && group.CycleCount_Write(stream);
  return done;
}

bool Bus::Data_NewBlock() {
  for (const ChannelGroup& group : Groups) {
    group.Records->Data_NewBlock();
    if (group.Vlsd != nullptr) group.Vlsd->Data_NewBlock();
  }
  return true;
}

bool Bus::Data_Waiting() const {
  return std::any_of(Groups.begin(), Groups.end(), [](const ChannelGroup& group) {
    return IsListWaiting(group.Records.get()) || IsListWaiting(group.Vlsd.get());
  });
}

void Bus::Event_ScopeAdd(MDF::EVBLOCK* event) {
  for (const ChannelGroup& group : Groups) {
    event->ScopedBlock_Add(IsStandard() ? static_cast<MDF::Block*>(Channels(group.Group)) : group.Group);
  }
}

bool Bus::Write() {
  bool done = true;
  for (ChannelGroup& group : Groups) done = group.Flush(Stream) && done;
  return done;
}

void Bus::Reset() {
  for (ChannelGroup& group : Groups) group.Reset();
}
