#include "recording/ReplayItems.h"

#include <algorithm>
#include <cstring>

namespace client {

namespace {

#define ENTRY_OFFSET(field) offsetof(Qor_Trace_Entry_t, field)

constexpr unsigned int CanDataOffset = ENTRY_OFFSET(Payload.Can.Data);
constexpr unsigned int LinLength = EntryHeaderSize + sizeof(Qor_Trace_Entry_Lin_t);
constexpr unsigned int ItemTimeOffset = ENTRY_OFFSET(Payload.FlexRay.ItemTimestamp);  // of Ethernet, too
constexpr unsigned int ItemTimeEnd = ItemTimeOffset + sizeof(unsigned long);
static_assert(ENTRY_OFFSET(Payload.Ethernet.ItemTimestamp) == ItemTimeOffset);

template <class Value>
Value At(const unsigned char* bytes, std::size_t offset) {
  Value value;
  std::memcpy(&value, bytes + offset, sizeof value);
  return value;
}

template <class Value>
void Put(std::vector<unsigned char>& bytes, std::size_t offset, Value value) {
  std::memcpy(bytes.data() + offset, &value, sizeof value);
}

/// The record's payload, with the item's own time set.
void CopyPayload(const unsigned char* record, unsigned int length, unsigned int timeOffset, unsigned long time,
                 std::vector<unsigned char>& item) {
  item.assign(record + EntryHeaderSize, record + length);
  Put(item, timeOffset - EntryHeaderSize, time);
}

bool MakeCanItem(const unsigned char* record, unsigned int length, unsigned long time,
                 std::vector<unsigned char>& item) {
  if (length < CanDataOffset || length != CanDataOffset + record[ENTRY_OFFSET(Payload.Can.DataLength)]) return false;
  CopyPayload(record, length, ENTRY_OFFSET(Payload.Can.ItemTimestamp), time, item);
  return true;
}

//  0  2  size
//  2  2  0
//  4  8  time
// 12  1  flags
// 13  1  bytes with the checksum
// 14  1  identifier
// 15  1  0
// 16  4  bit time
// 20     data and checksum
bool MakeLinItem(const unsigned char* record, unsigned int length, unsigned long time,
                 std::vector<unsigned char>& item) {
  if (length != LinLength || !ReadLin(record, length)) return false;
  const auto flags = At<unsigned short>(record, ENTRY_OFFSET(Payload.Lin.Flags));
  const unsigned char dataLength = record[ENTRY_OFFSET(Payload.Lin.DataLength)];
  if (flags > 0xFF || record[ENTRY_OFFSET(Payload.Lin.Reserved2)] != 0) return false;
  const unsigned char* data = record + ENTRY_OFFSET(Payload.Lin.Data);
  const unsigned int there = std::min<unsigned int>(dataLength, 9);  // the ninth byte is the pad
  item.assign(20 + there, 0);
  Put(item, 0, static_cast<unsigned short>(item.size()));
  Put(item, 4, time);
  Put(item, 12, static_cast<unsigned char>(flags));
  Put(item, 13, dataLength);
  Put(item, 14, record[ENTRY_OFFSET(Payload.Lin.Identifier)]);
  Put(item, 16, At<unsigned int>(record, ENTRY_OFFSET(Payload.Lin.BitTime)));
  std::memcpy(item.data() + 20, data, there);
  return true;
}

/// FlexRay and Ethernet: the payload is the item.
bool MakeWholeItem(const unsigned char* record, unsigned int length, unsigned long time,
                   std::vector<unsigned char>& item) {
  if (length < ItemTimeEnd) return false;
  if (length != EntryHeaderSize + At<unsigned short>(record, ENTRY_OFFSET(Payload.FlexRay.ItemSize))) return false;
  CopyPayload(record, length, ItemTimeOffset, time, item);
  return true;
}

bool SameBytes(const unsigned char* one, const unsigned char* other, unsigned int begin, unsigned int end) {
  return std::memcmp(one + begin, other + begin, end - begin) == 0;
}

}  // namespace

bool MakeItem(const unsigned char* record, unsigned int length, unsigned long shift, std::vector<unsigned char>& item) {
  const EntryHeader header = ReadHeader(record);
  unsigned long time = 0;
  if (__builtin_add_overflow(header.Timestamp, shift, &time)) return false;
  switch (header.BusType) {
    case BusType_Can:
      return MakeCanItem(record, length, time, item);
    case BusType_Lin:
      return MakeLinItem(record, length, time, item);
    case BusType_FlexRay:
    case BusType_Ethernet:
      return MakeWholeItem(record, length, time, item);
    default:
      return false;
  }
}

bool IsReplayOf(const unsigned char* original, const unsigned char* replayed, unsigned int length,
                unsigned long shift) {
  const EntryHeader one = ReadHeader(original), other = ReadHeader(replayed);
  if (other.Length != length || other.ChannelId != one.ChannelId || other.BusType != one.BusType) return false;
  if (other.Timestamp != one.Timestamp + shift) return false;
  switch (one.BusType) {
    case BusType_Can:
      return SameBytes(original, replayed, ENTRY_OFFSET(Payload.Can.Identifier), length);
    case BusType_Lin: {
      const unsigned int data = std::min<unsigned int>(original[ENTRY_OFFSET(Payload.Lin.DataLength)], 9);
      return SameBytes(original, replayed, EntryHeaderSize, ENTRY_OFFSET(Payload.Lin.Data) + data) &&
             SameBytes(original, replayed, ENTRY_OFFSET(Payload.Lin.BitTime), LinLength);
    }
    default:
      return SameBytes(original, replayed, EntryHeaderSize, ItemTimeOffset) &&
             SameBytes(original, replayed, ItemTimeEnd, length);
  }
}

unsigned int InterfaceTypeOf(unsigned char busType) {
  constexpr unsigned int types[] = {4, 5, 9, 14};
  return busType < std::size(types) ? types[busType] : 0;
}

//  bus       head  number of items at offset 4  items begin at multiples of
//  CAN          4  no                           4
//  LIN          8  yes                          1
//  FlexRay      8  no                           4
//  Ethernet     8  yes                          1
PollResponse::PollResponse(unsigned char busType)
    : CountsItems(busType == BusType_Lin || busType == BusType_Ethernet),
      Aligned(!CountsItems),
      Response(busType == BusType_Can ? 4 : LongestHead) {}

bool PollResponse::Add(const std::vector<unsigned char>& item) {
  const std::size_t padding = Aligned ? (0 - item.size()) & 3 : 0;
  if (Response.size() + item.size() + padding > Capacity) return false;
  if (CountsItems) {
    Put(Response, 4, static_cast<unsigned short>(At<unsigned short>(Response.data(), 4) + 1));
  }
  Response.insert(Response.end(), item.begin(), item.end());
  Response.resize(Response.size() + padding);
  return true;
}

}  // namespace client
