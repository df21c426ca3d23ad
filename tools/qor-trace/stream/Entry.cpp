#include "stream/Entry.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace client {

namespace {

#define ENTRY_OFFSET(field) offsetof(Qor_Trace_Entry_t, field)

constexpr unsigned int CanDataOffset = ENTRY_OFFSET(Payload.Can.Data);
constexpr unsigned int LinDataOffset = ENTRY_OFFSET(Payload.Lin.Data);
constexpr unsigned int FlexRayDataOffset = ENTRY_OFFSET(Payload.FlexRay.Data);
constexpr unsigned int EthernetFrameOffset = ENTRY_OFFSET(Payload.Ethernet.Frame);

template <class Value>
Value At(const unsigned char* record, std::size_t offset) {
  Value value;
  std::memcpy(&value, record + offset, sizeof value);
  return value;
}

/// A field of a record; 0 where the record doesn't reach it.
template <class Value>
Value FieldOr0(const unsigned char* record, unsigned int length, std::size_t offset) {
  return length < offset + sizeof(Value) ? Value{0} : At<Value>(record, offset);
}

/// How many of the `announced` bytes at `offset` are present.
unsigned int BytesThere(unsigned int announced, unsigned int length, unsigned int offset) {
  return std::min(announced, length - std::min(length, offset));
}

bool IsOf(Qor_Trace_BusType bus, const unsigned char* record) { return ReadHeader(record).BusType == bus; }

}  // namespace

EntryHeader ReadHeader(const unsigned char* record) {
  return {At<unsigned int>(record, ENTRY_OFFSET(Length)), At<unsigned int>(record, ENTRY_OFFSET(ChannelId)),
          At<unsigned long>(record, ENTRY_OFFSET(Timestamp)),
          At<unsigned long>(record, ENTRY_OFFSET(RelativeTimestamp)), At<unsigned char>(record, ENTRY_OFFSET(BusType))};
}

std::optional<CanEntry> ReadCan(const unsigned char* record, unsigned int length) {
  if (!IsOf(BusType_Can, record) || length < CanDataOffset) return std::nullopt;
  const auto announced = At<unsigned char>(record, ENTRY_OFFSET(Payload.Can.DataLength));
  return CanEntry{At<unsigned int>(record, ENTRY_OFFSET(Payload.Can.Identifier)),
                  At<unsigned char>(record, ENTRY_OFFSET(Payload.Can.Flags)),
                  At<unsigned char>(record, ENTRY_OFFSET(Payload.Can.Dlc)),
                  static_cast<unsigned char>(BytesThere(announced, length, CanDataOffset)), record + CanDataOffset};
}

std::optional<LinEntry> ReadLin(const unsigned char* record, unsigned int length) {
  if (!IsOf(BusType_Lin, record) || length < LinDataOffset) return std::nullopt;
  if (At<unsigned short>(record, ENTRY_OFFSET(Payload.Lin.Reserved1)) != 0) return std::nullopt;
  LinEntry lin{};
  lin.Flags = At<unsigned short>(record, ENTRY_OFFSET(Payload.Lin.Flags));
  lin.Identifier = At<unsigned char>(record, ENTRY_OFFSET(Payload.Lin.Identifier));
  lin.Announced = At<unsigned char>(record, ENTRY_OFFSET(Payload.Lin.DataLength));
  lin.Data = record + LinDataOffset;
  const unsigned int data = std::min(lin.Announced == 0 ? 0u : lin.Announced - 1u, 8u);
  lin.DataLength = static_cast<unsigned char>(BytesThere(data, length, LinDataOffset));
  if (lin.Announced != 0 && lin.Announced <= 9 && length > LinDataOffset + data) lin.Checksum = lin.Data[data];
  lin.BitTime = FieldOr0<unsigned int>(record, length, ENTRY_OFFSET(Payload.Lin.BitTime));
  return lin;
}

std::optional<FlexRayEntry> ReadFlexRay(const unsigned char* record, unsigned int length) {
  if (!IsOf(BusType_FlexRay, record) || length < ENTRY_OFFSET(Payload.FlexRay.ItemTimestamp)) return std::nullopt;
  FlexRayEntry flexRay{};
  flexRay.Kind = At<unsigned short>(record, ENTRY_OFFSET(Payload.FlexRay.ItemType));
  flexRay.Channel = FieldOr0<unsigned char>(record, length, ENTRY_OFFSET(Payload.FlexRay.Channel));
  flexRay.Flags = FieldOr0<unsigned char>(record, length, ENTRY_OFFSET(Payload.FlexRay.FrameFlags));
  flexRay.Slot = FieldOr0<unsigned short>(record, length, ENTRY_OFFSET(Payload.FlexRay.SlotId));
  flexRay.Cycle = FieldOr0<unsigned char>(record, length, ENTRY_OFFSET(Payload.FlexRay.Cycle));
  flexRay.Words = FieldOr0<unsigned char>(record, length, ENTRY_OFFSET(Payload.FlexRay.PayloadLength));
  flexRay.HeaderCrc = FieldOr0<unsigned short>(record, length, ENTRY_OFFSET(Payload.FlexRay.HeaderCrc));
  flexRay.DataLength = flexRay.IsFrame() ? BytesThere(2u * flexRay.Words, length, FlexRayDataOffset) : 0;
  flexRay.Data = record + (flexRay.DataLength > 0 ? FlexRayDataOffset : 0);
  return flexRay;
}

std::optional<EthernetEntry> ReadEthernet(const unsigned char* record, unsigned int length) {
  if (!IsOf(BusType_Ethernet, record) || length < ENTRY_OFFSET(Payload.Ethernet.ItemTimestamp)) return std::nullopt;
  EthernetEntry ethernet{};
  ethernet.Kind = At<unsigned short>(record, ENTRY_OFFSET(Payload.Ethernet.ItemType));
  ethernet.Flags = FieldOr0<unsigned char>(record, length, ENTRY_OFFSET(Payload.Ethernet.Flags));
  ethernet.OnBus = FieldOr0<unsigned short>(record, length, ENTRY_OFFSET(Payload.Ethernet.FrameLength));
  ethernet.FrameLength = BytesThere(ethernet.OnBus, length, EthernetFrameOffset);
  ethernet.Frame = record + (ethernet.FrameLength > 0 ? EthernetFrameOffset : 0);
  return ethernet;
}

}  // namespace client
