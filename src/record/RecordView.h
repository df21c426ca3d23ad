// The one place where a record's bytes become fields: a bounded, typed look at a record of any bus.
//
//   const RecordView record(entry);
//   switch (record.Kind()) {
//     case RecordKind::CanFrame:  Count(record.Can().PlainIdentifier()); break;
//     case RecordKind::LinWakeUp: Note(record.Timestamp()); break;
//     ...
//   }
//
// Nothing is read past the record's length. A field that the record doesn't reach, or reaches in part only, has 0 in the
// bytes that are missing; a span holds those of the announced bytes that are present.
//
// Views are cheap to make and to copy. They point into the record, which must outlive them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

#include "internal/Span.h"
#include "qor_api_trace.h"  // the layout of records
#include "record/RecordKind.h"

/// A record's bytes past its common header.
using RecordPayload = Span<const unsigned char>;

namespace record_view {

template <class Value>
[[nodiscard]] inline Value Load(const unsigned char* from) {
  Value value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

/// The first kSize bytes of a payload, completed with zeros.
template <size_t kSize>
class FixedFields {
 public:
  explicit FixedFields(RecordPayload payload) : Bytes(payload.data()) {
    if (payload.size() < kSize) Complete(payload);
  }
  FixedFields(const FixedFields&) = delete;
  FixedFields& operator=(const FixedFields&) = delete;

  template <class Value>
  [[nodiscard]] Value At(size_t offset) const {
    return Load<Value>(Bytes + offset);
  }

 private:
  void Complete(RecordPayload payload) {
    std::fill(std::copy(payload.begin(), payload.end(), Copy), Copy + kSize, static_cast<unsigned char>(0));
    Bytes = Copy;
  }

  const unsigned char* Bytes;
  unsigned char Copy[kSize];  // not initialised: only used for a payload that is too short
};

/// The bytes from `offset` on, at most `most` of them.
[[nodiscard]] inline RecordPayload From(RecordPayload payload, size_t offset, size_t most = SIZE_MAX) {
  if (payload.size() <= offset) return {};
  return payload.subspan(offset, std::min(most, payload.size() - offset));
}

/// The first `count` bytes, or as many as there are.
[[nodiscard]] inline RecordPayload UpTo(size_t count, RecordPayload bytes) {
  return bytes.first(std::min(count, bytes.size()));
}

}  // namespace record_view

/// The fields of a CAN or CAN FD record.
struct CanView {
  static constexpr size_t kFixedFields = offsetof(Qor_Trace_Entry_Can_t, Data);  // bytes

  unsigned int Identifier = 0;   // with its marker bits (QOR_TRACE_CAN_ID_*)
  unsigned char Flags = 0;       // QOR_TRACE_CAN_*
  unsigned char Reserved = 0;    // as the hardware gave it
  unsigned char Dlc = 0;         // as on the bus
  unsigned char DataLength = 0;  // bytes announced; 0 to 64 from sound hardware
  RecordPayload Held = {};       // all bytes from the first data byte to the record's end, announced or not

  [[nodiscard]] static CanView Of(RecordPayload payload) {
    using Layout = Qor_Trace_Entry_Can_t;
    const record_view::FixedFields<kFixedFields> fields(payload);
    CanView view;
    view.Identifier = fields.At<unsigned int>(offsetof(Layout, Identifier));
    view.Flags = fields.At<unsigned char>(offsetof(Layout, Flags));
    view.Reserved = fields.At<unsigned char>(offsetof(Layout, Reserved));
    view.Dlc = fields.At<unsigned char>(offsetof(Layout, Dlc));
    view.DataLength = fields.At<unsigned char>(offsetof(Layout, DataLength));
    view.Held = record_view::From(payload, kFixedFields);
    return view;
  }

  /// Any of these flags.
  [[nodiscard]] bool Has(unsigned int flags) const { return (Flags & flags) != 0; }
  /// Without the marker bits: 11 or 29 bits.
  [[nodiscard]] unsigned int PlainIdentifier() const {
    return Identifier & ~(QOR_TRACE_CAN_ID_EXTENDED | QOR_TRACE_CAN_ID_FD);
  }
  /// The data bytes that are announced and present.
  [[nodiscard]] RecordPayload Data() const { return record_view::UpTo(DataLength, Held); }
  /// The first data byte, whatever DataLength says; 0 where the record ends before it. Of an error frame, the error code
  /// (1 to 7); of an event, 0 rising edge, 1 falling edge, else a user event.
  [[nodiscard]] unsigned char Code() const { return Held.empty() ? static_cast<unsigned char>(0) : Held.front(); }

  /// A record has no mark for a remote frame: it is a classic frame that has a length on the bus, but no data.
  [[nodiscard]] bool IsRemote() const { return Kind() == RecordKind::CanFrame && DataLength == 0 && Dlc != 0; }

  /// An event comes before an error frame, and that before a frame.
  [[nodiscard]] RecordKind Kind() const {
    if (Has(QOR_TRACE_CAN_TRIGGER)) return RecordKind::CanEvent;
    if (Has(QOR_TRACE_CAN_ERROR)) return RecordKind::CanErrorFrame;
    return Has(QOR_TRACE_CAN_FD) ? RecordKind::CanFdFrame : RecordKind::CanFrame;
  }
};

/// The fields of a LIN record.
struct LinView {
  static constexpr size_t kFixedFields = sizeof(Qor_Trace_Entry_Lin_t);              // bytes, data included
  static constexpr size_t kMostDataBytes = sizeof(Qor_Trace_Entry_Lin_t::Data);      // of a frame
  static constexpr size_t kData = offsetof(Qor_Trace_Entry_Lin_t, Data);             // where the data begin
  static constexpr size_t kRoom = offsetof(Qor_Trace_Entry_Lin_t, BitTime) - kData;  // for data and checksum

  unsigned short Reserved = 0;   // readers skip a record in which it isn't 0
  unsigned short Flags = 0;      // QOR_TRACE_LIN_*
  unsigned char DataLength = 0;  // bytes announced, the checksum included; 0: no response
  unsigned char Identifier = 0;  // in bits 0 to 5; of an event: 0 rising edge, else falling edge
  unsigned int BitTime = 0;      // eighths of a ns; 0: unknown
  RecordPayload Held = {};       // data bytes, checksum and what follows up to the bit time, announced or not

  [[nodiscard]] static LinView Of(RecordPayload payload) {
    using Layout = Qor_Trace_Entry_Lin_t;
    const record_view::FixedFields<kFixedFields> fields(payload);
    LinView view;
    view.Reserved = fields.At<unsigned short>(offsetof(Layout, Reserved1));
    view.Flags = fields.At<unsigned short>(offsetof(Layout, Flags));
    view.DataLength = fields.At<unsigned char>(offsetof(Layout, DataLength));
    view.Identifier = fields.At<unsigned char>(offsetof(Layout, Identifier));
    view.BitTime = fields.At<unsigned int>(offsetof(Layout, BitTime));
    view.Held = record_view::From(payload, kData, kRoom);
    return view;
  }

  /// Any of these flags.
  [[nodiscard]] bool Has(unsigned int flags) const { return (Flags & flags) != 0; }
  [[nodiscard]] unsigned char PlainIdentifier() const { return Identifier & 0x3F; }
  /// Data bytes announced, the checksum not among them: 0 to 8 from sound hardware, at most 254.
  [[nodiscard]] unsigned char DataCount() const {
    return static_cast<unsigned char>(DataLength == 0 ? 0 : DataLength - 1);
  }
  /// The data bytes that are announced and present, at most 8.
  [[nodiscard]] RecordPayload Data() const {
    return record_view::UpTo(std::min<size_t>(DataCount(), kMostDataBytes), Held);
  }
  /// The byte after the data bytes; nothing without a response, with more than 8 data bytes announced, or where the record
  /// ends before it.
  [[nodiscard]] std::optional<unsigned char> Checksum() const {
    const size_t place = DataCount();
    if (DataLength == 0 || place > kMostDataBytes || place >= Held.size()) return std::nullopt;
    return Held[place];
  }
  /// ns; 0 for less than one.
  [[nodiscard]] unsigned int BitTimeInNanoseconds() const { return BitTime >> 3; }

  /// The error bit counts only on what the interface sent itself.
  [[nodiscard]] bool HasTransmitError() const {
    return Has(QOR_TRACE_LIN_TRANSMIT_ERROR) && Has(QOR_TRACE_LIN_TRANSMITTED);
  }

  /// Flags may be set together. In order of precedence: transmit error, parity error, sync error, checksum error, event,
  /// wake-up; without any of these a frame, or a header without a response.
  [[nodiscard]] RecordKind Kind() const {
    if (HasTransmitError()) return RecordKind::LinTransmitError;
    if (Has(QOR_TRACE_LIN_PARITY_ERROR)) return RecordKind::LinParityError;
    if (Has(QOR_TRACE_LIN_SYNC_ERROR)) return RecordKind::LinSyncError;
    if (Has(QOR_TRACE_LIN_CHECKSUM_ERROR)) return RecordKind::LinChecksumError;
    if (Has(QOR_TRACE_LIN_EVENT)) return RecordKind::LinEvent;
    if (Has(QOR_TRACE_LIN_WAKEUP)) return RecordKind::LinWakeUp;
    return DataLength == 0 ? RecordKind::LinNoResponse : RecordKind::LinFrame;
  }
};

/// The fields of a FlexRay record. What most of them mean depends on the type.
struct FlexRayView {
  static constexpr size_t kFixedFields = offsetof(Qor_Trace_Entry_FlexRay_t, Data);  // bytes, of a frame

  FlexRayItemType Type = FlexRayItemType::Overrun;
  unsigned char Channel = 0;        // frames and symbols: 0 A, 1 B, 2 both; start of cycle: its number; state: its code
  unsigned char FrameFlags = 0;     // QOR_TRACE_FLEXRAY_*
  unsigned short SlotId = 0;        // of a frame; errors keep their cycle and channel here
  unsigned char Cycle = 0;          // of a frame
  unsigned char PayloadLength = 0;  // of a frame, in 16-bit words as announced
  unsigned short HeaderCrc = 0;     // of a frame
  RecordPayload Held = {};          // all bytes from the first payload byte to the record's end, announced or not

  [[nodiscard]] static FlexRayView Of(RecordPayload payload) {
    using Layout = Qor_Trace_Entry_FlexRay_t;
    const record_view::FixedFields<kFixedFields> fields(payload);
    FlexRayView view;
    view.Type = fields.At<FlexRayItemType>(offsetof(Layout, ItemType));
    view.Channel = fields.At<unsigned char>(offsetof(Layout, Channel));
    view.FrameFlags = fields.At<unsigned char>(offsetof(Layout, FrameFlags));
    view.SlotId = fields.At<unsigned short>(offsetof(Layout, SlotId));
    view.Cycle = fields.At<unsigned char>(offsetof(Layout, Cycle));
    view.PayloadLength = fields.At<unsigned char>(offsetof(Layout, PayloadLength));
    view.HeaderCrc = fields.At<unsigned short>(offsetof(Layout, HeaderCrc));
    view.Held = record_view::From(payload, kFixedFields);
    return view;
  }

  /// Any of these flags.
  [[nodiscard]] bool Has(unsigned int flags) const { return (FrameFlags & flags) != 0; }
  [[nodiscard]] bool IsTransmitted() const { return Type == FlexRayItemType::TransmittedFrame; }
  /// Null frames included.
  [[nodiscard]] bool IsFrame() const { return Type == FlexRayItemType::ReceivedFrame || IsTransmitted(); }
  [[nodiscard]] bool IsError() const {
    return Type >= FlexRayItemType::NitSyntaxError && Type <= FlexRayItemType::ContentError;
  }

  /// Payload bytes announced, 0 to 510.
  [[nodiscard]] unsigned int PayloadBytes() const { return 2u * PayloadLength; }
  /// A frame's payload bytes that are announced and present; none for anything else. Those of a null frame mean nothing.
  [[nodiscard]] RecordPayload Data() const {
    return IsFrame() ? record_view::UpTo(PayloadBytes(), Held) : RecordPayload();
  }

  /// Of an error.
  [[nodiscard]] unsigned char ErrorCycle() const { return static_cast<unsigned char>(SlotId); }
  /// Of an error, coded like Channel.
  [[nodiscard]] unsigned char ErrorChannel() const { return static_cast<unsigned char>(SlotId >> 8); }
  /// 0 A, 1 B, 2 both, or a code without a meaning; nothing for items that concern no channel.
  [[nodiscard]] std::optional<unsigned char> ChannelCode() const {
    if (IsFrame() || Type == FlexRayItemType::Symbol) return Channel;
    return IsError() ? std::optional(ErrorChannel()) : std::nullopt;
  }

  [[nodiscard]] RecordKind Kind() const {
    switch (Type) {
      case FlexRayItemType::Overrun:
        return RecordKind::OverrunMark;
      case FlexRayItemType::ReceivedFrame:
      case FlexRayItemType::TransmittedFrame:
        return Has(QOR_TRACE_FLEXRAY_NULL) ? RecordKind::FlexRayNullFrame : RecordKind::FlexRayFrame;
      case FlexRayItemType::CycleStart:
        return RecordKind::FlexRayCycleStart;
      case FlexRayItemType::State:
        return RecordKind::FlexRayState;
      case FlexRayItemType::Status:
        return RecordKind::FlexRayStatus;
      case FlexRayItemType::Symbol:
        return RecordKind::FlexRaySymbol;
      case FlexRayItemType::NitSyntaxError:
      case FlexRayItemType::SyntaxError:
      case FlexRayItemType::NitBoundaryViolation:
      case FlexRayItemType::ContentError:
        return RecordKind::FlexRayError;
    }
    return RecordKind::Unknown;
  }
};

/// The fields of an Ethernet record.
struct EthernetView {
  static constexpr size_t kFixedFields = offsetof(Qor_Trace_Entry_Ethernet_t, Frame);  // bytes

  EthernetItemType Type = EthernetItemType::Overrun;
  unsigned char Flags = 0;         // QOR_TRACE_ETHERNET_TRANSMITTED, _CRC_ERROR
  unsigned short FrameLength = 0;  // bytes announced: the frame on the bus, without its CRC
  RecordPayload Held = {};         // all bytes from the destination address to the record's end, announced or not

  [[nodiscard]] static EthernetView Of(RecordPayload payload) {
    using Layout = Qor_Trace_Entry_Ethernet_t;
    const record_view::FixedFields<kFixedFields> fields(payload);
    EthernetView view;
    view.Type = fields.At<EthernetItemType>(offsetof(Layout, ItemType));
    view.Flags = fields.At<unsigned char>(offsetof(Layout, Flags));
    view.FrameLength = fields.At<unsigned short>(offsetof(Layout, FrameLength));
    view.Held = record_view::From(payload, kFixedFields);
    return view;
  }

  /// Any of these flags.
  [[nodiscard]] bool Has(unsigned int flags) const { return (Flags & flags) != 0; }
  /// The bytes from the destination address on that are announced and present.
  [[nodiscard]] RecordPayload Frame() const { return record_view::UpTo(FrameLength, Held); }

  [[nodiscard]] RecordKind Kind() const {
    if (Type == EthernetItemType::Overrun) return RecordKind::OverrunMark;
    if (Type != EthernetItemType::Frame) return RecordKind::EthernetRecord;
    return Has(QOR_TRACE_ETHERNET_CRC_ERROR) ? RecordKind::EthernetCrcError : RecordKind::EthernetFrame;
  }
};

/// A record, whatever its bus. Threads: a record that the monitor's list may still be changing can be looked at; only its
/// RelativeTimestamp() changes, and is read atomically.
class RecordView {
 public:
  /// Bytes of the common header, which every record has.
  static constexpr unsigned int kHeader = offsetof(Qor_Trace_Entry_t, Payload);

  /// The Length field of a record at any address, of which at least these 4 bytes are present. What comes from outside may
  /// say anything there: check it against kHeader and the bytes present before making a view.
  [[nodiscard]] static unsigned int LengthAt(const unsigned char* record) {
    return record_view::Load<unsigned int>(record + offsetof(Qor_Trace_Entry_t, Length));
  }

  /// Believes the record's Length, which must be at least kHeader. Implicit, so that what takes a view takes a record.
  RecordView(const Qor_Trace_Entry_t& record)
      : RecordView(reinterpret_cast<const unsigned char*>(&record), record.Length) {}
  /// @param record  at any address; what its own Length says doesn't matter
  /// @param length  bytes present, at least kHeader
  RecordView(const unsigned char* record, unsigned int length) : Record(record), RecordLength(length) {}

  /// Qor_Trace_BusType, or a value beyond it.
  [[nodiscard]] unsigned char Bus() const { return Record[offsetof(Qor_Trace_Entry_t, BusType)]; }
  /// The monitor's channel number.
  [[nodiscard]] unsigned int ChannelId() const { return At<unsigned int>(offsetof(Qor_Trace_Entry_t, ChannelId)); }
  /// ns, interface clock.
  [[nodiscard]] unsigned long Timestamp() const { return At<unsigned long>(offsetof(Qor_Trace_Entry_t, Timestamp)); }
  /// ns since the previous record of the same message, negative when that one was later; 0 outside the list.
  [[nodiscard]] long RelativeTimestamp() const {
    const unsigned char* field = Record + offsetof(Qor_Trace_Entry_t, RelativeTimestamp);
    // Records that are shared are aligned; an unaligned record lies in a buffer of the caller's.
    const bool shared = reinterpret_cast<uintptr_t>(field) % alignof(long) == 0;
    return shared ? __atomic_load_n(reinterpret_cast<const long*>(field), __ATOMIC_RELAXED)
                  : record_view::Load<long>(field);
  }
  /// Bytes, header included.
  [[nodiscard]] unsigned int Length() const { return RecordLength; }
  [[nodiscard]] Span<const unsigned char> Bytes() const { return {Record, RecordLength}; }
  /// For calls that take no view. Whatever length the view was given, they will believe the record's own.
  [[nodiscard]] const Qor_Trace_Entry_t& Entry() const { return *reinterpret_cast<const Qor_Trace_Entry_t*>(Record); }
  [[nodiscard]] RecordPayload Payload() const { return {Record + kHeader, RecordLength - kHeader}; }

  // The fields of each bus. They read the payload as that bus has it, whatever Bus() says.

  [[nodiscard]] CanView Can() const { return CanView::Of(Payload()); }
  [[nodiscard]] LinView Lin() const { return LinView::Of(Payload()); }
  [[nodiscard]] FlexRayView FlexRay() const { return FlexRayView::Of(Payload()); }
  [[nodiscard]] EthernetView Ethernet() const { return EthernetView::Of(Payload()); }

  /// Unknown for a record that isn't well formed; else its bus's Kind().
  [[nodiscard]] RecordKind Kind() const {
    if (!IsWellFormed()) return RecordKind::Unknown;
    switch (Bus()) {
      case BusType_Can:
        return Can().Kind();
      case BusType_Lin:
        return Lin().Kind();
      case BusType_FlexRay:
        return FlexRay().Kind();
      default:
        return Ethernet().Kind();
    }
  }

  /// Too short for the fields that each record of its bus has. A record of an unknown bus has none but the header.
  [[nodiscard]] bool IsCutShort() const {
    constexpr unsigned int kLeast[] = {offsetof(Qor_Trace_Entry_t, Payload.Can.Data),
                                       offsetof(Qor_Trace_Entry_t, Payload.Lin.Data),
                                       offsetof(Qor_Trace_Entry_t, Payload.FlexRay.ItemTimestamp),
                                       offsetof(Qor_Trace_Entry_t, Payload.Ethernet.ItemTimestamp)};
    return Bus() <= BusType_Ethernet && RecordLength < kLeast[Bus()];
  }
  /// Of a known bus, not cut short, and not a LIN record that readers skip. Its item type may still be an unknown one.
  [[nodiscard]] bool IsWellFormed() const {
    if (Bus() > BusType_Ethernet || IsCutShort()) return false;
    return Bus() != BusType_Lin || Lin().Reserved == 0;
  }

  /// The last record of its channel before data were lost, by the interface's own mark.
  [[nodiscard]] bool HasOverrunMark() const {
    if (!IsWellFormed()) return false;
    if (Bus() == BusType_Can) return Can().Has(QOR_TRACE_CAN_OVERRUN);
    if (Bus() == BusType_Lin) return Lin().Has(QOR_TRACE_LIN_OVERRUN);
    return Kind() == RecordKind::OverrunMark;
  }
  /// Sent by the interface itself; else received.
  [[nodiscard]] bool IsTransmitted() const {
    if (!IsWellFormed()) return false;
    switch (Bus()) {
      case BusType_Can:
        return Can().Has(QOR_TRACE_CAN_TRANSMITTED);
      case BusType_Lin:
        return Lin().Has(QOR_TRACE_LIN_TRANSMITTED);
      case BusType_FlexRay:
        return FlexRay().IsTransmitted();
      default:
        return Ethernet().Has(QOR_TRACE_ETHERNET_TRANSMITTED);
    }
  }
  /// See IsFrame(RecordKind).
  [[nodiscard]] bool IsFrame() const { return ::IsFrame(Kind()); }

 private:
  template <class Value>
  [[nodiscard]] Value At(size_t offset) const {
    return record_view::Load<Value>(Record + offset);
  }

  const unsigned char* Record;
  unsigned int RecordLength;  // bytes
};
