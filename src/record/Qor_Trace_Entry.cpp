#include "record/Qor_Trace_Entry.h"

#include <cstring>
#include <type_traits>

#include "qor_api.h"
#include "record/ItemRecord.h"
#include "record/RecordView.h"

// The record as it crosses the C interface.
static_assert(sizeof(Qor_Trace_Entry_t) == 1568);
static_assert(offsetof(Qor_Trace_Entry_t, Length) == 0);
static_assert(offsetof(Qor_Trace_Entry_t, ChannelId) == 4);
static_assert(offsetof(Qor_Trace_Entry_t, Timestamp) == 8);
static_assert(offsetof(Qor_Trace_Entry_t, RelativeTimestamp) == kEntryRelativeTimestamp);
static_assert(offsetof(Qor_Trace_Entry_t, BusType) == 24);
static_assert(offsetof(Qor_Trace_Entry_t, Payload) == kEntryPayload);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Can.ItemTimestamp) == 28);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Can.Identifier) == 36);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Can.Flags) == 40);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Can.Dlc) == 42);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Can.DataLength) == 43);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Can.Data) == kEntryCanData);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Lin.Reserved1) == 28);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Lin.Flags) == 30);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Lin.DataLength) == 32);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Lin.Identifier) == 33);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Lin.Data) == 35);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Lin.Pad) == 43);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Lin.BitTime) == 44);
static_assert(kEntryPayload + sizeof(Qor_Trace_Entry_Lin_t) == kEntryLinLength);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.FlexRay.ItemSize) == 28);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.FlexRay.ItemType) == 30);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.FlexRay.ItemTimestamp) == 32);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.FlexRay.Channel) == 40);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.FlexRay.FrameFlags) == 41);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.FlexRay.SlotId) == 42);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.FlexRay.Cycle) == 44);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.FlexRay.PayloadLength) == 45);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.FlexRay.HeaderCrc) == 46);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.FlexRay.Data) == 48);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Ethernet.ItemSize) == 28);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Ethernet.ItemType) == 30);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Ethernet.ItemTimestamp) == 32);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Ethernet.Flags) == 40);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Ethernet.FrameLength) == 42);
static_assert(offsetof(Qor_Trace_Entry_t, Payload.Ethernet.Frame) == 44);
static_assert(std::is_trivially_copyable_v<Qor_Trace_Entry_t>);

// The monitor items.
static_assert(sizeof(Can_Param_Monitor_Buffer64_LargeItem_t) == 80);
static_assert(offsetof(Can_Param_Monitor_Buffer64_LargeItem_t, DataLength) == 15);
static_assert(sizeof(Lin_Param_Monitor_Buffer64_ItemHeader_t) == 12);
static_assert(sizeof(Lin_Param_Monitor_Buffer64_Item_Small_t) == 16);
static_assert(offsetof(FlexRay_Param_Monitor_Entry_t, Timestamp) == 4);
static_assert(offsetof(Ethernet_Param_Monitor_Item_t, Timestamp) == 4);

namespace {

constexpr unsigned int kRelativeEnd = kEntryRelativeTimestamp + sizeof(unsigned long);

Qor_Trace_Entry_t& At(const std::unique_ptr<unsigned char[]>& record) {
  return *reinterpret_cast<Qor_Trace_Entry_t*>(record.get());
}

template <class... Item>
std::unique_ptr<unsigned char[]> NewRecord(unsigned int channelId, Item... item) {
  std::unique_ptr<unsigned char[]> record(new unsigned char[item_record::LengthOf(item...)]);
  item_record::Put(At(record), channelId, item...);
  return record;
}

}  // namespace

Qor_Trace_Entry::Qor_Trace_Entry(unsigned int channelId, const Can_Param_Monitor_Buffer64_LargeItem_t* item)
    : Record(NewRecord(channelId, item)) {}

Qor_Trace_Entry::Qor_Trace_Entry(unsigned int channelId, const Ethernet_Param_Monitor_Item_t* item)
    : Record(NewRecord(channelId, item)) {}

Qor_Trace_Entry::Qor_Trace_Entry(unsigned int channelId, const FlexRay_Param_Monitor_Entry_t* item)
    : Record(NewRecord(channelId, item)) {}

Qor_Trace_Entry::Qor_Trace_Entry(unsigned int channelId, const Lin_Param_Monitor_Buffer64_ItemHeader_t* header,
                                 const Lin_Param_Monitor_Buffer64_Item_Small_t* item)
    : Record(NewRecord(channelId, header, item)) {}

const Qor_Trace_Entry_t* Qor_Trace_Entry::GetEntry() const { return &At(Record); }

long Qor_Trace_Entry::GetRelativeTimestamp() const { return RecordView(*GetEntry()).RelativeTimestamp(); }

void Qor_Trace_Entry::SetRelativeTimestamp(const std::shared_ptr<Qor_Trace_Entry>& current,
                                           const std::shared_ptr<Qor_Trace_Entry>& previous) {
  auto* field = reinterpret_cast<unsigned long*>(Record.get() + kEntryRelativeTimestamp);
  __atomic_store_n(field, current->GetTimestamp() - previous->GetTimestamp(), __ATOMIC_RELAXED);
}

void Qor_Trace_Entry::SetBufferOverrunFlag() { item_record::MarkOverrun(At(Record)); }

void Qor_Trace_Entry::CopyTo(unsigned char* out, unsigned long relativeTimestamp) const {
  std::memcpy(out, Record.get(), kEntryRelativeTimestamp);
  std::memcpy(out + kEntryRelativeTimestamp, &relativeTimestamp, sizeof relativeTimestamp);
  std::memcpy(out + kRelativeEnd, Record.get() + kRelativeEnd, GetLength() - kRelativeEnd);
}
