// The records of bus events, field by field as docs/mdf-bus-logging.md shows them.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "internal/Span.h"
#include "mdf/Bus.h"
#include "mdf/BusRecord.h"
#include "mdf/BusTables.h"
#include "mdf/GroupInsert.h"
#include "record/RecordView.h"

namespace {

using MDF::InsertRecord;
using MDF::InsertWithData;
using MDF::Record;
using MDF::StoreHeld;
using Payload = Bus::Payload;

constexpr size_t kMostCanBytes = 64;
constexpr size_t kMostFlexRayBytes = 2 * 255;

template <size_t kSize>
void Store(std::array<unsigned char, kSize>& bytes, size_t offset, unsigned int value) {
  std::memcpy(bytes.data() + offset, &value, sizeof value);
}

// --- CAN ---

/// Data bytes by the length code; of a classic frame at most 8.
unsigned char CanDataLength(const CanView& can) {
  if (can.Dlc >= std::size(Bus::kCanDlcBytes)) return 0;
  const unsigned char length = Bus::kCanDlcBytes[can.Dlc];
  return can.Has(QOR_TRACE_CAN_FD) ? length : std::min<unsigned char>(length, 8);
}

/// The data bytes that are there, in place of those that the length code tells of.
unsigned char CanHeldLength(const CanView& can) {
  return static_cast<unsigned char>(std::min(can.Data().size(), kMostCanBytes));
}

/// Whether the identifier is extended is taken from the flags; the marker bit in the identifier itself isn't trusted.
unsigned int CanId(const CanView& can) {
  return can.PlainIdentifier() | (can.Has(QOR_TRACE_CAN_EXTENDED) ? QOR_TRACE_CAN_ID_EXTENDED : 0);
}

/// The bits are those of the fields within FlagsEx (see kCanData), which begins at bit 96 of the record.
unsigned int CanFlagsEx(const CanView& can) {
  constexpr unsigned int kDir = 0x0040;
  constexpr unsigned int kR1 = 0x0800;
  constexpr unsigned int kEdl = 0x1000;
  constexpr unsigned int kBrs = 0x2000;
  constexpr unsigned int kEsi = 0x4000;
  unsigned int bits = 0;
  if (can.Has(QOR_TRACE_CAN_TRANSMITTED)) bits |= kDir;
  if (can.Reserved != 0) bits |= kR1;
  if (can.Has(QOR_TRACE_CAN_FD)) bits |= kEdl;
  if (can.Has(QOR_TRACE_CAN_BRS)) bits |= kBrs;
  if (can.Has(QOR_TRACE_CAN_ESI)) bits |= kEsi;
  return bits;
}

using ErrorFlags = std::array<unsigned char, 7>;

ErrorFlags CanErrorFlags(const CanView& can) {
  // Of received frames, by error code; row 0 is for every other code. Transmitted ones lack the received bit.
  constexpr unsigned char kReceived[8][3] = {{0xE1, 0xE1, 0x00}, {0xA1, 0xA1, 0x00}, {0x61, 0x61, 0x00},
                                             {0xE1, 0xE1, 0x01}, {0x2D, 0x2D, 0x00}, {0x29, 0x29, 0x00},
                                             {0x30, 0x31, 0x01}, {0x21, 0x21, 0x00}};
  constexpr unsigned char kOverrun[3] = {0x20, 0x22, 0x02};
  constexpr unsigned int kReceivedBit = 0x20;
  const unsigned char code = can.Code();
  const bool known = code >= 1 && code <= 7;
  const unsigned char* last = known ? kReceived[code] : can.Has(QOR_TRACE_CAN_OVERRUN) ? kOverrun : kReceived[0];
  const unsigned int clear = can.Has(QOR_TRACE_CAN_TRANSMITTED) ? kReceivedBit : 0;
  const auto bits = [clear](unsigned char byte) { return static_cast<unsigned char>(byte & ~clear); };
  return {0x05, 0, 0, 0, bits(last[0]), bits(last[1]), last[2]};
}

/// What CAN_ErrorFrame.ErrorType says of an error code.
unsigned char CanErrorType(const CanView& can) {
  enum : unsigned char { kOther = 0, kBit = 1, kForm = 2, kStuff = 3, kCrc = 4, kAcknowledge = 5 };
  constexpr unsigned char kTypes[] = {kOther, kStuff, kForm, kAcknowledge, kBit, kBit, kCrc, kOther};
  return can.Code() < std::size(kTypes) ? kTypes[can.Code()] : static_cast<unsigned char>(kOther);
}

// --- LIN ---

constexpr unsigned int kNotRecorded = ~0U;

/// The errors are recorded in any case, frames and wake-ups only without an overrun mark.
unsigned int LinKindOf(const LinView& lin) {
  const bool overrun = lin.Has(QOR_TRACE_LIN_OVERRUN);
  switch (lin.Kind()) {
    case RecordKind::LinTransmitError:
      return MDF::kLinTransmissionError;
    case RecordKind::LinParityError:
      return MDF::kLinReceiveError;
    case RecordKind::LinSyncError:
      return MDF::kLinSyncError;
    case RecordKind::LinChecksumError:
      return MDF::kLinChecksumError;
    case RecordKind::LinEvent:
      return kNotRecorded;
    case RecordKind::LinWakeUp:
      return overrun ? kNotRecorded : MDF::kLinWakeup;
    default:
      return overrun ? kNotRecorded : MDF::kLinFrame;
  }
}

void PutLinData(Record& record, const LinView& lin, unsigned char identifier) {
  record.Put(identifier);
  record.Put(lin.DataCount());
  StoreHeld(lin.Data(), record.Next(LinView::kMostDataBytes), LinView::kMostDataBytes);
}

/// Start of frame and baud rate. A bit time below 1 ns yields an infinite rate.
void PutLinTiming(Record& record, const LinView& lin, unsigned long startOfFrame) {
  record.Put(startOfFrame);
  record.Put(1.0 / (static_cast<int>(lin.BitTimeInNanoseconds()) * 1e-9));
}

/// A record doesn't say how its checksum was made: it is the sum of the data alone that fits (0), or else the enhanced one,
/// which begins with the protected identifier (1).
unsigned int LinChecksumModel(const LinView& lin) {
  unsigned int sum = 0;
  for (const unsigned char byte : lin.Data()) {
    sum += byte;
    if (sum > 0xFF) sum -= 0xFF;
  }
  const bool classic = !lin.Data().empty() && lin.Checksum() == static_cast<unsigned char>(~sum);
  return classic ? 0 : 1;
}

// --- FlexRay ---

/// Cycle in bits 0 to 5, channel in bit 6, direction in bit 7 (see kFlxFrame).
unsigned char FlxCycleByte(const FlexRayView& frame, unsigned int channel) {
  const unsigned int direction = frame.IsTransmitted() ? 1 : 0;
  return static_cast<unsigned char>((frame.Cycle & 0x3FU) | channel << 6 | direction << 7);
}

constexpr unsigned char kFlxBoth = 2;

/// The channels of a frame, each of which gets a record; none for a code without a meaning.
Span<const unsigned char> FlxChannelsOf(const FlexRayView& frame) {
  static constexpr unsigned char kChannels[] = {0, 1};
  if (frame.Channel > kFlxBoth) return {};
  const Span<const unsigned char> both(kChannels);
  return frame.Channel == kFlxBoth ? both : both.subspan(frame.Channel, 1);
}

/// The flags named in kFlxFrame, and two without a name: bit 19, always set, and bit 23, a frame of both channels.
unsigned int FlxFrameFlags(const FlexRayView& frame) {
  unsigned int bits = 0x0008'0000;
  if (frame.Channel == kFlxBoth) bits |= 0x0080'0000;
  if (frame.Has(QOR_TRACE_FLEXRAY_NULL)) bits |= 0x01;
  if (frame.Has(QOR_TRACE_FLEXRAY_SYNC)) bits |= 0x04;
  if (frame.Has(QOR_TRACE_FLEXRAY_STARTUP)) bits |= 0x08;
  if (frame.Has(QOR_TRACE_FLEXRAY_INDICATOR)) bits |= 0x10;
  return bits;
}

/// What a frame and a null frame have in common: all fields of kFlxFrame but the place of the data.
void PutFlxFrame(Record& record, const FlexRayView& frame, unsigned char channel, unsigned long timestamp) {
  record.Put(timestamp);
  record.Put(frame.SlotId);
  record.Put(FlxCycleByte(frame, channel));
  record.Put(static_cast<unsigned char>(frame.PayloadBytes()));  // a length above 255 wraps
  record.Put(FlxFrameFlags(frame));
  record.Put(frame.HeaderCrc);
  record.Put(frame.PayloadLength);
}

/// One byte per channel, A in the third and B in the fourth: 1 syntax error, 2 content error, 4 boundary violation.
unsigned int FlxErrorCode(const FlexRayView& error) {
  constexpr unsigned int kChannels[] = {0x0001'0000, 0x0100'0000, 0x0101'0000};
  if (!error.IsError() || error.ErrorChannel() >= std::size(kChannels)) return 0;
  const unsigned int channels = kChannels[error.ErrorChannel()];
  if (error.Type == FlexRayItemType::NitBoundaryViolation) return 4 * channels;
  return error.Type == FlexRayItemType::ContentError ? 2 * channels : channels;
}

}  // namespace

// --- dispatch ---

bool Bus::Data_Insert(Qor_Trace_Entry_t& entry, unsigned long& timestamp) {
  if (entry.Length < RecordView::kHeader) return false;
  const Payload payload = RecordView(entry).Payload();
  if (IsStandard()) return InsertStandard(payload, timestamp);
  switch (BusType) {
    case Info::Can:
      return DispatchCan(payload, timestamp);
    case Info::Lin:
      return DispatchLin(payload, timestamp);
    default:
      return DispatchFlexRay(payload, timestamp);
  }
}

bool Bus::DispatchCan(Payload payload, unsigned long& timestamp) {
  // An entry with an overrun mark is recorded as an error frame, so that the loss shows.
  const bool error = CanView::Of(payload).Has(QOR_TRACE_CAN_ERROR | QOR_TRACE_CAN_OVERRUN);
  ChannelGroup& group = Groups.at(ChannelNum_Get(0, error));
  return error ? Data_Insert_CAN_ErrorFrame(group, payload, timestamp)
               : Data_Insert_CAN_DataFrame(group, payload, timestamp);
}

bool Bus::DispatchLin(Payload payload, unsigned long& timestamp) {
  const LinView lin = LinView::Of(payload);
  if (lin.Reserved != 0) return false;
  const unsigned int kind = LinKindOf(lin);
  if (kind == kNotRecorded) return false;
  return Data_Insert_LIN(Groups.at(ChannelNum_Get(kind, false)), kind, payload, timestamp);
}

bool Bus::DispatchFlexRay(Payload payload, unsigned long& timestamp) {
  const FlexRayView flexRay = FlexRayView::Of(payload);
  const RecordKind kind = flexRay.Kind();
  if (kind == RecordKind::FlexRayStatus || kind == RecordKind::Unknown) return false;
  ChannelGroup& group = Groups.at(ChannelNum_Get(static_cast<unsigned int>(flexRay.Type), false));
  switch (kind) {
    case RecordKind::FlexRayFrame:
    case RecordKind::FlexRayNullFrame:
      return Data_Insert_Flexray_Frame(group, payload, timestamp);
    case RecordKind::FlexRayCycleStart:
      return Data_Insert_Flexray_StartCycle(group, payload, timestamp);
    case RecordKind::FlexRayState:
      return Data_Insert_Flexray_State(group, payload, timestamp);
    case RecordKind::FlexRaySymbol:
      return Data_Insert_Flexray_Symbol(group, payload, timestamp);
    default:  // errors and overrun marks
      return Data_Insert_Flexray_Error(group, payload, timestamp);
  }
}

// --- CAN ---

bool Bus::Data_Insert_CAN_DataFrame(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  if (group.Vlsd == nullptr) return false;
  const CanView can = CanView::Of(payload);
  const unsigned char length = IsStandard() ? CanHeldLength(can) : CanDataLength(can);
  Record record(*group.Records);
  record.Put(timestamp);
  record.Put(CanId(can));
  record.Put(CanFlagsEx(can));
  record.Put(can.Dlc);
  record.Put(length);
  record.Put(group.DataBytes);
  return InsertWithData<kMostCanBytes>(group, record, can.Held, length, Stream);
}

bool Bus::Data_Insert_CAN_ErrorFrame(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  constexpr unsigned long kDataBytes = 0xF5FF'0000'0000'0000;
  const CanView can = CanView::Of(payload);
  Record record(*group.Records);
  record.Put(timestamp);
  record.Put(CanId(can));
  record.Put(IsStandard() ? CanErrorType(can) : static_cast<unsigned char>(0));
  record.Put(static_cast<unsigned char>(can.Has(QOR_TRACE_CAN_TRANSMITTED) ? 0x80 : 0));
  record.Put(static_cast<unsigned char>(0));  // DLC and length
  record.Put(kDataBytes);
  record.Put(0U);
  record.Put(CanErrorFlags(can));
  return InsertRecord(group, record, Stream);
}

bool Bus::InsertCanRemoteFrame(ChannelGroup& group, const CanView& can, unsigned long timestamp) {
  Record record(*group.Records);
  record.Put(timestamp);
  record.Put(CanId(can));
  record.Put(static_cast<unsigned char>(can.Has(QOR_TRACE_CAN_TRANSMITTED) ? 1 : 0));
  record.Put(can.Dlc);
  record.Put(static_cast<unsigned char>(0));  // DataLength
  return InsertRecord(group, record, Stream);
}

// --- LIN ---

/// Dir, ChecksumModel and IsSimulated, which is set for what the interface sent itself.
unsigned char Bus::LinFrameFlags(const LinView& lin) const {
  const unsigned int model = IsStandard() ? LinChecksumModel(lin) : 1;
  const unsigned int sent = lin.Has(QOR_TRACE_LIN_TRANSMITTED) ? 0x05 : 0;
  return static_cast<unsigned char>(sent | model << 1);
}

bool Bus::Data_Insert_LIN(ChannelGroup& group, unsigned int kind, Payload payload, unsigned long& timestamp) {
  const LinView lin = LinView::Of(payload);
  const bool transmitted = lin.Has(QOR_TRACE_LIN_TRANSMITTED);
  const unsigned char checksum = lin.Checksum().value_or(0);
  const unsigned char identifier = IsStandard() ? lin.PlainIdentifier() : lin.Identifier;
  Record record(*group.Records);
  record.Put(timestamp);
  // The constants are bit fields: see the table of each kind in BusTables.h.
  switch (kind) {
    case MDF::kLinFrame:
      PutLinData(record, lin, identifier);
      record.Put(LinFrameFlags(lin));
      record.Put(checksum);
      PutLinTiming(record, lin, timestamp);
      break;
    case MDF::kLinChecksumError:
      PutLinData(record, lin, identifier);
      record.Put(static_cast<unsigned char>(transmitted ? 0x0F : 0x03));  // ChecksumModel 3, IsSimulated, Dir
      record.Put(checksum);
      PutLinTiming(record, lin, timestamp);
      break;
    case MDF::kLinReceiveError:
      PutLinData(record, lin, identifier);
      record.Put(static_cast<unsigned char>(0x03));  // ChecksumModel 3
      PutLinTiming(record, lin, timestamp);
      record.Put(static_cast<unsigned char>(0x13));  // State 3, Reason 1
      break;
    case MDF::kLinSyncError:
      PutLinTiming(record, lin, timestamp);
      break;
    case MDF::kLinTransmissionError:
      record.Put(identifier);
      record.Put(lin.DataCount());
      // ChecksumModel 1; in the standard groups also Dir, which tells an own failed frame from a header without response
      record.Put(static_cast<unsigned char>(IsStandard() && transmitted ? 0x05 : 0x01));
      PutLinTiming(record, lin, timestamp);
      break;
    case MDF::kLinWakeup:
      PutLinTiming(record, lin, timestamp);
      record.Put(lin.DataCount());
      record.Put(static_cast<unsigned char>(transmitted ? 0 : 0x04));  // IsExternal
      break;
    default:
      return false;
  }
  return InsertRecord(group, record, Stream);
}

// --- FlexRay ---

bool Bus::Data_Insert_Flexray_Frame(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  if (group.Vlsd == nullptr) return false;
  const FlexRayView frame = FlexRayView::Of(payload);
  for (const unsigned char channel : FlxChannelsOf(frame)) {
    Record record(*group.Records);
    PutFlxFrame(record, frame, channel, timestamp);
    record.Put(group.DataBytes);
    if (!InsertWithData<kMostFlexRayBytes>(group, record, frame.Held, frame.PayloadBytes(), Stream)) return false;
  }
  return true;
}

bool Bus::InsertFlxNullFrame(ChannelGroup& group, const FlexRayView& frame, unsigned long timestamp) {
  for (const unsigned char channel : FlxChannelsOf(frame)) {
    Record record(*group.Records);
    PutFlxFrame(record, frame, channel, timestamp);
    if (!InsertRecord(group, record, Stream)) return false;
  }
  return true;
}

bool Bus::Data_Insert_Flexray_Error(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  const FlexRayView error = FlexRayView::Of(payload);
  std::array<unsigned char, 18> data{};
  Store(data, 0, error.IsError() ? 5U : 6U);
  Store(data, 4, FlxErrorCode(error));
  Record record(*group.Records);
  record.Put(timestamp);
  record.Put(error.ErrorCycle());
  record.Put(error.ErrorChannel());
  record.Put(data);
  return InsertRecord(group, record, Stream);
}

bool Bus::Data_Insert_Flexray_StartCycle(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  Record record(*group.Records);
  record.Put(timestamp);
  record.Put(FlexRayView::Of(payload).Channel);  // the number of the cycle
  return InsertRecord(group, record, Stream);
}

bool Bus::Data_Insert_Flexray_State(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  struct State {
    unsigned int A;
    unsigned int B;
  };
  constexpr State kStates[] = {{2, 0x0F}, {2, 0}, {2, 4}, {1, 2}, {1, 3}, {2, 1}, {2, 0x20}, {2, 0x13}};
  const unsigned char code = FlexRayView::Of(payload).Channel;  // of the state
  const State state = code < std::size(kStates) ? kStates[code] : State{0, 0x0F};
  std::array<unsigned char, 48> data{};
  Store(data, 4, state.A);
  Store(data, 8, state.B);
  Record record(*group.Records);
  record.Put(timestamp);
  record.Put(static_cast<unsigned char>(0));  // cycle
  record.Put(static_cast<unsigned char>(0));  // channel mask
  record.Put(data);
  return InsertRecord(group, record, Stream);
}

bool Bus::Data_Insert_Flexray_Symbol(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  constexpr unsigned char kWakeup = 3;
  const unsigned char channel = FlexRayView::Of(payload).Channel;
  const unsigned int mask = channel <= 2 ? (channel + 1U) & 3U : 0;  // 1 A, 2 B, 3 both
  std::array<unsigned char, 17> data{};
  Store(data, 12, 0xAA28'0000U);  // fixed: the entry has no data of the symbol
  Record record(*group.Records);
  record.Put(timestamp);
  record.Put(static_cast<unsigned char>(0));                    // cycle
  record.Put(static_cast<unsigned char>(mask << 6 | kWakeup));  // FlxChannelMask, SymbolType
  record.Put(data);
  return InsertRecord(group, record, Stream);
}
