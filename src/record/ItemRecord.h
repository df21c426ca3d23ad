// How the items of a poll response become records: the one place that writes them.
//
// All numbers in an item are trusted, so it must be readable up to the length that it states (16 + its byte 15; its first
// u16; header plus 8 + the small item's byte 1).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "qor_api.h"
#include "qor_api_trace.h"
#include "record/Qor_Trace_Entry.h"

namespace item_record {

constexpr unsigned int kCanItemHead = 16;

/// Fills in the common header; the payload is left to the caller.
inline void PutHeader(Qor_Trace_Entry_t& record, unsigned int length, unsigned int channelId, unsigned long timestamp,
                      Qor_Trace_BusType bus) {
  record.Length = length;
  record.ChannelId = channelId;
  record.Timestamp = timestamp;
  record.RelativeTimestamp = 0;
  record.BusType = static_cast<unsigned char>(bus);
  std::fill(std::begin(record.Reserved), std::end(record.Reserved), static_cast<unsigned char>(0));
}

/// The bytes after the common header, as many as the record's length says.
inline unsigned char* PayloadOf(Qor_Trace_Entry_t& record) {
  return reinterpret_cast<unsigned char*>(&record) + kEntryPayload;
}

/// A record whose payload is the whole item, as it is for FlexRay and Ethernet.
template <class Item>
void PutWholeItem(Qor_Trace_Entry_t& record, unsigned int channelId, const Item& item, Qor_Trace_BusType bus) {
  PutHeader(record, kEntryPayload + item.ItemSize, channelId, item.Timestamp, bus);
  std::memcpy(PayloadOf(record), &item, item.ItemSize);
}

// LengthOf: bytes of the record that an item becomes. Put: writes it there.

inline unsigned int LengthOf(const Can_Param_Monitor_Buffer64_LargeItem_t* item) {
  return kEntryCanData + item->DataLength;
}
inline void Put(Qor_Trace_Entry_t& record, unsigned int channelId, const Can_Param_Monitor_Buffer64_LargeItem_t* item) {
  PutHeader(record, LengthOf(item), channelId, item->Timestamp, BusType_Can);
  std::memcpy(PayloadOf(record), item, kCanItemHead);
  std::memcpy(PayloadOf(record) + kCanItemHead, item->Data, item->DataLength);
}

inline unsigned int LengthOf(const Ethernet_Param_Monitor_Item_t* item) { return kEntryPayload + item->ItemSize; }
inline void Put(Qor_Trace_Entry_t& record, unsigned int channelId, const Ethernet_Param_Monitor_Item_t* item) {
  PutWholeItem(record, channelId, *item, BusType_Ethernet);
}

inline unsigned int LengthOf(const FlexRay_Param_Monitor_Entry_t* item) { return kEntryPayload + item->ItemSize; }
inline void Put(Qor_Trace_Entry_t& record, unsigned int channelId, const FlexRay_Param_Monitor_Entry_t* item) {
  PutWholeItem(record, channelId, *item, BusType_FlexRay);
}

inline unsigned int LengthOf(const Lin_Param_Monitor_Buffer64_ItemHeader_t* /*header*/,
                             const Lin_Param_Monitor_Buffer64_Item_Small_t* /*item*/) {
  return kEntryLinLength;
}
inline void Put(Qor_Trace_Entry_t& record, unsigned int channelId,
                const Lin_Param_Monitor_Buffer64_ItemHeader_t* header,
                const Lin_Param_Monitor_Buffer64_Item_Small_t* item) {
  PutHeader(record, kEntryLinLength, channelId,
            header->TimestampLow | static_cast<unsigned long>(header->TimestampHigh) << 32, BusType_Lin);
  // Data reaches into the pad byte after it: a DataLength of 9 is the longest that a frame can have. Bytes that the item
  // is too short to hold read as 0.
  constexpr size_t kRoom = sizeof(Qor_Trace_Entry_Lin_t::Data) + sizeof(Qor_Trace_Entry_Lin_t::Pad);
  constexpr size_t kItemData = sizeof *header + offsetof(Lin_Param_Monitor_Buffer64_Item_Small_t, Data);
  const size_t held = std::max<size_t>(header->ItemSize, kItemData) - kItemData;
  auto& lin = record.Payload.Lin;
  std::memset(&lin, 0, sizeof lin);
  lin.Flags = item->Flags;
  lin.DataLength = item->DataLength;
  lin.Identifier = item->Identifier;
  std::memcpy(lin.Data, item->Data, std::min({static_cast<size_t>(item->DataLength), kRoom, held}));
  lin.BitTime = item->BitTime;
}

/// Marks a record as the last one before data were lost: CAN and LIN get a flag; FlexRay and Ethernet lose their ItemType,
/// so that they no longer read as frames.
inline void MarkOverrun(Qor_Trace_Entry_t& record) {
  // A record this long holds the Flags or the ItemType, whatever its bus (CAN and LIN records are longer by construction).
  constexpr unsigned int kMarkEnd = offsetof(Qor_Trace_Entry_t, Payload.FlexRay.ItemType) + sizeof(unsigned short);
  if (record.Length < kMarkEnd) return;  // an item cut so short that it has no place for a mark
  switch (record.BusType) {
    case BusType_Can:
      record.Payload.Can.Flags |= QOR_TRACE_CAN_OVERRUN;
      break;
    case BusType_Lin:
      record.Payload.Lin.Flags = static_cast<unsigned short>(record.Payload.Lin.Flags | QOR_TRACE_LIN_OVERRUN);
      break;
    case BusType_FlexRay:
      record.Payload.FlexRay.ItemType = QOR_TRACE_FLEXRAY_OVERRUN;
      break;
    case BusType_Ethernet:
      record.Payload.Ethernet.ItemType = QOR_TRACE_ETHERNET_OVERRUN;
      break;
    default:
      break;
  }
}

}  // namespace item_record
