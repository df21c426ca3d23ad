#include "views/ComparedRecord.h"

#include <algorithm>
#include <iterator>

namespace client {

namespace {

// In the order of ComparedField.
constexpr const char* kNames[] = {"time",  "channel", "kind", "dir",  "id",       "slot", "cycle",    "side",    "code",
                                  "flags", "dlc",     "len",  "data", "checksum", "crc",  "bit_time", "reserved"};
static_assert(std::size(kNames) == kComparedFieldCount);

/// Stirs a number into a hash.
unsigned long Mixed(unsigned long hash, unsigned long value) {
  constexpr unsigned long kOdd = 0x9E3779B97F4A7C15;
  hash = (hash ^ value) * kOdd;
  return hash ^ hash >> 32;
}

unsigned long Mixed(unsigned long hash, std::span<const unsigned char> bytes) {
  hash = Mixed(hash, bytes.size());
  for (; bytes.size() >= sizeof hash; bytes = bytes.subspan(sizeof hash))
    hash = Mixed(hash, record_view::Load<unsigned long>(bytes.data()));
  unsigned long rest = 0;
  for (const unsigned char byte : bytes) rest = rest << 8 | byte;
  return Mixed(hash, rest);
}

/// 0 for bytes that are all 0, or none.
unsigned long DigestOfRest(std::span<const unsigned char> bytes) {
  while (!bytes.empty() && bytes.back() == 0) bytes = bytes.first(bytes.size() - 1);
  return bytes.empty() ? 0 : Mixed(0, bytes);
}

/// What of an item follows its timestamp.
RecordPayload AfterTimestamp(const RecordView& record) {
  constexpr size_t kPlace = offsetof(Qor_Trace_Entry_FlexRay_t, Channel);
  static_assert(kPlace == offsetof(Qor_Trace_Entry_Ethernet_t, Flags));
  return record_view::From(record.Payload(), kPlace);
}

}  // namespace

const char* NameOf(ComparedField field) { return kNames[static_cast<size_t>(field)]; }

std::optional<ComparedField> ComparedFieldNamed(std::string_view name) {
  const auto* const found = std::find(std::begin(kNames), std::end(kNames), name);
  if (found == std::end(kNames)) return std::nullopt;
  return static_cast<ComparedField>(found - std::begin(kNames));
}

ComparedRecord::ComparedRecord(const RecordView& record, unsigned long time, unsigned long entry)
    : Bytes(record.Bytes().begin(), record.Bytes().end()), CommonTime(time), Number(entry) {
  const RecordView own = View();
  const RecordKind kind = own.Kind();
  Set(ComparedField::Channel, own.ChannelId());
  Set(ComparedField::Kind, static_cast<unsigned long>(own.Bus()) << 8 | static_cast<unsigned long>(kind));
  Set(ComparedField::Direction, own.IsTransmitted() ? 1 : 0);
  if (kind == RecordKind::Unknown)
    SetData(own.Payload());
  else
    ReadPayload(own);
}

void ComparedRecord::ReadPayload(const RecordView& record) {
  switch (record.Bus()) {
    case BusType_Can:
      return ReadCan(record.Can());
    case BusType_Lin:
      return ReadLin(record.Lin());
    case BusType_FlexRay:
      return ReadFlexRay(record, record.FlexRay());
    default:
      return ReadEthernet(record, record.Ethernet());
  }
}

void ComparedRecord::ReadCan(const CanView& can) {
  Set(ComparedField::Identifier, can.PlainIdentifier());
  Set(ComparedField::Flags, can.Flags & ~unsigned{QOR_TRACE_CAN_TRANSMITTED});
  Set(ComparedField::Dlc, can.Dlc);
  Set(ComparedField::Length, can.DataLength);
  Set(ComparedField::Reserved, can.Reserved);
  const RecordKind kind = can.Kind();
  if (kind == RecordKind::CanFrame || kind == RecordKind::CanFdFrame) return SetData(can.Data());
  // The first byte of an error or an event is what it is.
  Set(ComparedField::Code, can.Code());
  SetData(record_view::From(can.Data(), 1));
}

void ComparedRecord::ReadLin(const LinView& lin) {
  const auto checksum = lin.Checksum();
  Set(ComparedField::Identifier, lin.PlainIdentifier());
  Set(ComparedField::Flags, lin.Flags & ~unsigned{QOR_TRACE_LIN_TRANSMITTED});
  Set(ComparedField::Length, lin.DataLength);
  Set(ComparedField::Checksum, checksum ? 1ul + *checksum : 0);
  Set(ComparedField::BitTime, lin.BitTime);
  Set(ComparedField::Reserved, lin.Identifier & ~0x3Fu);
  SetData(lin.Data());
}

void ComparedRecord::ReadFlexRay(const RecordView& record, const FlexRayView& flexRay) {
  switch (flexRay.Kind()) {
    case RecordKind::FlexRayFrame:
    case RecordKind::FlexRayNullFrame:
      Set(ComparedField::Slot, flexRay.SlotId);
      Set(ComparedField::Cycle, flexRay.Cycle);
      Set(ComparedField::FlexRaySide, flexRay.Channel);
      Set(ComparedField::Flags, flexRay.FrameFlags);
      Set(ComparedField::Length, flexRay.PayloadBytes());
      Set(ComparedField::HeaderCrc, flexRay.HeaderCrc);
      return SetData(flexRay.Data());
    case RecordKind::FlexRayCycleStart:
      return Set(ComparedField::Cycle, flexRay.Channel);
    case RecordKind::FlexRayState:
      return Set(ComparedField::Code, flexRay.Channel);
    case RecordKind::FlexRaySymbol:
      return Set(ComparedField::FlexRaySide, flexRay.Channel);
    case RecordKind::FlexRayError:
      Set(ComparedField::Cycle, flexRay.ErrorCycle());
      Set(ComparedField::FlexRaySide, flexRay.ErrorChannel());
      return Set(ComparedField::Code, static_cast<unsigned long>(flexRay.Type));
    default:
      return Set(ComparedField::Reserved, DigestOfRest(AfterTimestamp(record)));
  }
}

void ComparedRecord::ReadEthernet(const RecordView& record, const EthernetView& ethernet) {
  const RecordKind kind = ethernet.Kind();
  if (kind == RecordKind::OverrunMark || kind == RecordKind::EthernetRecord)
    return Set(ComparedField::Reserved, DigestOfRest(AfterTimestamp(record)));
  Set(ComparedField::Flags, ethernet.Flags & ~unsigned{QOR_TRACE_ETHERNET_TRANSMITTED});
  Set(ComparedField::Length, ethernet.FrameLength);
  SetData(ethernet.Frame());
}

void ComparedRecord::SetData(std::span<const unsigned char> data) {
  if (data.empty()) return;
  DataPlace = static_cast<size_t>(data.data() - Bytes.data());
  DataSize = data.size();
}

void ComparedRecord::Clear(ComparedField field) {
  if (field == ComparedField::Data) DataSize = 0;
  Set(field, 0);
}

void ComparedRecord::Clear(const ComparedFields& fields) {
  if (fields.none()) return;
  for (size_t field = 0; field < kComparedFieldCount; ++field)
    if (fields.test(field)) Clear(static_cast<ComparedField>(field));
}

void ComparedRecord::DropZerosAtEnd() {
  while (DataSize > 0 && Data().back() == 0) --DataSize;
}

unsigned long ComparedRecord::Content() const {
  unsigned long hash = 0;
  for (const unsigned long value : Values) hash = Mixed(hash, value);
  return Mixed(hash, Data());
}

unsigned long ComparedRecord::Message() const {
  constexpr size_t kAddresses = 12;  // bytes of an Ethernet frame
  const bool ethernet = View().Bus() == BusType_Ethernet;
  unsigned long hash = Mixed(View().Bus(), (*this)[ComparedField::Channel]);
  for (const ComparedField field : {ComparedField::Kind, ComparedField::Identifier, ComparedField::Slot})
    hash = Mixed(hash, (*this)[field]);
  return ethernet ? Mixed(hash, record_view::UpTo(kAddresses, Data())) : hash;
}

bool ComparedRecord::HasSameContent(const ComparedRecord& other) const {
  return Values == other.Values && std::ranges::equal(Data(), other.Data());
}

ComparedFields ComparedRecord::DifferencesTo(const ComparedRecord& other) const {
  ComparedFields fields;
  for (size_t field = 0; field < kComparedFieldCount; ++field) fields.set(field, Values[field] != other.Values[field]);
  if (!std::ranges::equal(Data(), other.Data())) fields.Add(ComparedField::Data);
  return fields;
}

}  // namespace client
