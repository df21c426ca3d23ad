#include "mdf/BusRoot.h"

#include <algorithm>

#include "mdf/BusGenerator.h"
#include "mdf/PackQueue.h"
#include "record/RecordView.h"

namespace {

constexpr unsigned char kTest = 'c';

using Generator = Bus* (*)(unsigned int busChannel, BusRoot& root);

/// The generator of a bus type; null for a type that can't be recorded.
Generator GeneratorOf(unsigned char busType) {
  switch (busType) {
    case Bus::Info::Can:
      return BusGenerator::Get_CAN;
    case Bus::Info::Lin:
      return BusGenerator::Get_LIN;
    case Bus::Info::FlexRay:
      return BusGenerator::Get_FlexRay;
    case kTest:
      return BusGenerator::Get_Test;
    default:
      return nullptr;
  }
}

}  // namespace

BusRoot::BusRoot(MDF::HDBLOCK* header, FileStream& stream) : Stream(stream), Latest(header) {}

BusRoot::~BusRoot() = default;

Bus* BusRoot::Generate(unsigned int busChannel, unsigned char busType) {
  if (Convention == BusConvention::kStandard) return BusGenerator::Get_Standard(busChannel, busType, *this);
  const Generator generate = GeneratorOf(busType);
  return generate != nullptr ? generate(busChannel, *this) : nullptr;
}

const RecordingInfo::Channel* BusRoot::ChannelInfo_Get(unsigned int busChannel, unsigned char busType) const {
  const auto found = std::find_if(Channels.begin(), Channels.end(), [&](const RecordingInfo::Channel& channel) {
    return channel.BusChannel == busChannel && channel.BusType == busType;
  });
  return found != Channels.end() ? &*found : nullptr;
}

bool BusRoot::Bus_Add(unsigned int busChannel, unsigned char busType) {
  const channelKey_t key(busChannel, busType);
  if (!BusChannel_Available(key)) return false;
  decltype(Buses) added;  // takes its memory first: a bus that was built can't be lost
  std::unique_ptr<Bus>& bus = added[key];
  bus.reset(Generate(busChannel, busType));
  if (bus == nullptr) return false;
  bus->Queue_Set(Queue);
  Buses.merge(added);
  return true;
}

bool BusRoot::Bus_Add(Bus* bus) {
  if (bus == nullptr) return false;
  const auto [at, added] = Buses.try_emplace(channelKey_t(bus->BusChannel_Get(), bus->BusType_Get()));
  if (!added) return false;
  at->second.reset(bus);
  bus->Queue_Set(Queue);
  return true;
}

Bus* BusRoot::Bus_Get(unsigned int busChannel, unsigned char busType) const {
  const auto found = Buses.find(channelKey_t(busChannel, busType));
  return found != Buses.end() ? found->second.get() : nullptr;
}

// A bus is stored under the type it was added with. For 'c' that is not the type of its entries, so a bus stored under the
// entry's own type is preferred.
Bus* BusRoot::FindBus(unsigned int busChannel, unsigned char busType) const {
  if (Bus* bus = Bus_Get(busChannel, busType)) return bus;
  Bus* test = Bus_Get(busChannel, kTest);
  return test != nullptr && test->BusType_Get() == busType ? test : nullptr;
}

bool BusRoot::Data_Insert(Qor_Trace_Entry_t& entry) {
  if (entry.Length < RecordView::kHeader) return false;
  return Data_Insert(FindBus(entry.ChannelId, entry.BusType), entry);
}

bool BusRoot::Data_Insert(Bus* bus, Qor_Trace_Entry_t& entry) {
  if (bus == nullptr || entry.Length < RecordView::kHeader) return false;
  unsigned long timestamp = entry.Timestamp;  // a field of a packed record can't be passed on by reference
  return bus->Data_Insert(entry, timestamp);
}

void BusRoot::Queue_Set(MDF::PackQueue* queue) {
  Queue = queue;
  for (const auto& [key, bus] : Buses) bus->Queue_Set(queue);
}

void BusRoot::Bus_Reset() {
  if (Queue != nullptr) Queue->Discard();
  for (const auto& [key, bus] : Buses) bus->Reset();
}

bool BusRoot::Bus_Write() {
  bool done = true;
  for (const auto& [key, bus] : Buses) done = bus->Write() && done;
  return (Queue == nullptr || Queue->PlaceAll()) && done;
}

bool BusRoot::Data_NewBlock() {
  for (const auto& [key, bus] : Buses) bus->Data_NewBlock();
  return true;
}

bool BusRoot::Data_Waiting() const {
  if (Queue != nullptr && !Queue->IsEmpty()) return true;
  return std::any_of(Buses.begin(), Buses.end(), [](const auto& bus) { return bus.second->Data_Waiting(); });
}

unsigned long BusRoot::DataBytes_Est() const {
  unsigned long sum = 0;
  for (const auto& [key, bus] : Buses) sum += bus->DataBytes_Est();
  return sum;
}

bool BusRoot::BusChannel_Available(const channelKey_t& key) const { return !Buses.contains(key); }

bool BusRoot::Write() { return Bus_Write(); }

unsigned char BusRoot::NextID() { return ++RecordId; }

unsigned char BusRoot::Mod_RecId(unsigned char& id) const { return id = RecordId; }

FileStream& BusRoot::Get_FileStream() { return Stream; }

MDF::Block* BusRoot::LatestHierarchieElement() const { return Latest; }

void BusRoot::LatestHierarchieElement(MDF::Block* block) { Latest = block; }
