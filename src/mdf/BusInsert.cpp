// The records of bus events, field by field as docs/mdf-bus-logging.md shows them.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "mdf/Bus.h"
#include "mdf/BusRecord.h"
#include "record/RecordView.h"

namespace {

using MDF::Record;
using Payload = Bus::Payload;

constexpr size_t kMostVlsdBytes = 2 * 255;  // of a FlexRay frame

// --- inserting ---

/// Stores `size` bytes: as many as are held, then zeros.
void StoreHeld(RecordPayload held, unsigned char* out, size_t size) {
  const RecordPayload kept = held.first(std::min(size, held.size()));
  std::fill(std::copy(kept.begin(), kept.end(), out), out + size, static_cast<unsigned char>(0));
}

/// Appends a whole record to its group.
bool AppendRecord(Bus::ChannelGroup& group, Record& record) {
  if (group.Torn) return false;
  const MDF::Inserted inserted = record.Insert(*group.Records);
  group.Torn = inserted == MDF::Inserted::kPart;
  if (inserted != MDF::Inserted::kAll) return false;
  ++group.CycleCount;
  return true;
}

/// Appends the data that the group's last record points to: `length` bytes, zeros where fewer are held. Takes the record
/// back if that fails.
bool AppendData(Bus::ChannelGroup& group, const Record& record, RecordPayload held, unsigned int length) {
  MDF::FieldBuffer<sizeof length + kMostVlsdBytes> data;
  data.Put(length);
  if (length != 0) StoreHeld(held, data.Next(length), length);
  const MDF::Inserted inserted = data.Insert(*group.Vlsd);
  if (inserted == MDF::Inserted::kAll) {
    group.DataBytes += data.Length();
    return true;
  }
  group.Torn = inserted == MDF::Inserted::kPart || !group.Records->Data_TakeBack(record.Length());
  if (!group.Torn) --group.CycleCount;
  return false;
}

/// After an insert: if it flushed a block, the count in the file follows.
void UpdateCount(Bus::ChannelGroup& group, FileStream& stream) {
  // The data of the latest record may have been cut by the end of the block.
  if (group.Flushed_Look(group.CycleCount - 1)) group.CycleCount_Write(stream);
}

bool Insert(Bus::ChannelGroup& group, Record& record, FileStream& stream) {
  if (!AppendRecord(group, record)) return false;
  UpdateCount(group, stream);
  return true;
}

bool InsertWithData(Bus::ChannelGroup& group, Record& record, RecordPayload held, unsigned int length,
                    FileStream& stream) {
  if (!AppendRecord(group, record) || !AppendData(group, record, held, length)) return false;
  UpdateCount(group, stream);
  return true;
}

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

// --- LIN ---

enum LinKinds : unsigned int {
  kLinFrame = 0,
  kLinChecksumError = 1,
  kLinReceiveError = 2,
  kLinSyncError = 3,
  kLinTransmissionError = 4,
  kLinWakeup = 5,
  kNotRecorded = ~0U
};

/// The errors are recorded in any case, frames and wake-ups only without an overrun mark.
LinKinds LinKind(const LinView& lin) {
  const bool overrun = lin.Has(QOR_TRACE_LIN_OVERRUN);
  switch (lin.Kind()) {
    case RecordKind::LinTransmitError:
      return kLinTransmissionError;
    case RecordKind::LinParityError:
      return kLinReceiveError;
    case RecordKind::LinSyncError:
      return kLinSyncError;
    case RecordKind::LinChecksumError:
      return kLinChecksumError;
    case RecordKind::LinEvent:
      return kNotRecorded;
    case RecordKind::LinWakeUp:
      return overrun ? kNotRecorded : kLinWakeup;
    default:
      return overrun ? kNotRecorded : kLinFrame;
  }
}

void PutLinData(Record& record, const LinView& lin) {
  record.Put(lin.Identifier);
  record.Put(lin.DataCount());
  StoreHeld(lin.Data(), record.Next(LinView::kMostDataBytes), LinView::kMostDataBytes);
}

/// Start of frame and baud rate. A bit time below 1 ns yields an infinite rate.
void PutLinTiming(Record& record, const LinView& lin, unsigned long startOfFrame) {
  record.Put(startOfFrame);
  record.Put(1.0 / (static_cast<int>(lin.BitTimeInNanoseconds()) * 1e-9));
}

// --- FlexRay ---

/// Cycle in bits 0 to 5, channel in bit 6, direction in bit 7 (see kFlxFrame).
unsigned char FlxCycleByte(const FlexRayView& frame, unsigned int channel) {
  const unsigned int direction = frame.IsTransmitted() ? 1 : 0;
  return static_cast<unsigned char>((frame.Cycle & 0x3FU) | channel << 6 | direction << 7);
}

/// The flags named in kFlxFrame, and two without a name: bit 19, always set, and bit 23, a frame of both channels.
unsigned int FlxFrameFlags(const FlexRayView& frame, bool bothChannels) {
  unsigned int bits = 0x0008'0000;
  if (bothChannels) bits |= 0x0080'0000;
  if (frame.Has(QOR_TRACE_FLEXRAY_NULL)) bits |= 0x01;
  if (frame.Has(QOR_TRACE_FLEXRAY_SYNC)) bits |= 0x04;
  if (frame.Has(QOR_TRACE_FLEXRAY_STARTUP)) bits |= 0x08;
  if (frame.Has(QOR_TRACE_FLEXRAY_INDICATOR)) bits |= 0x10;
  return bits;
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
  const unsigned int kind = LinKind(lin);
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
  const unsigned char length = CanDataLength(can);
  Record record;
  record.Put(timestamp);
  record.Put(CanId(can));
  record.Put(CanFlagsEx(can));
  record.Put(can.Dlc);
  record.Put(length);
  record.Put(group.DataBytes);
  return InsertWithData(group, record, can.Held, length, Stream);
}

bool Bus::Data_Insert_CAN_ErrorFrame(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  constexpr unsigned long kDataBytes = 0xF5FF'0000'0000'0000;
  const CanView can = CanView::Of(payload);
  Record record;
  record.Put(timestamp);
  record.Put(CanId(can));
  record.Put(static_cast<unsigned char>(0));
  record.Put(static_cast<unsigned char>(can.Has(QOR_TRACE_CAN_TRANSMITTED) ? 0x80 : 0));
  record.Put(static_cast<unsigned char>(0));  // DLC and length
  record.Put(kDataBytes);
  record.Put(0U);
  record.Put(CanErrorFlags(can));
  return Insert(group, record, Stream);
}

// --- LIN ---

bool Bus::Data_Insert_LIN(ChannelGroup& group, unsigned int kind, Payload payload, unsigned long& timestamp) {
  const LinView lin = LinView::Of(payload);
  const bool transmitted = lin.Has(QOR_TRACE_LIN_TRANSMITTED);
  const unsigned char checksum = lin.Checksum().value_or(0);
  Record record;
  record.Put(timestamp);
  // The constants are bit fields: see the table of each kind in BusTables.h.
  switch (kind) {
    case kLinFrame:
      PutLinData(record, lin);
      record.Put(static_cast<unsigned char>(transmitted ? 0x07 : 0x02));  // Dir, ChecksumModel 1, IsSimulated
      record.Put(checksum);
      PutLinTiming(record, lin, timestamp);
      break;
    case kLinChecksumError:
      PutLinData(record, lin);
      record.Put(static_cast<unsigned char>(transmitted ? 0x0F : 0x03));  // ChecksumModel 3, IsSimulated, Dir
      record.Put(checksum);
      PutLinTiming(record, lin, timestamp);
      break;
    case kLinReceiveError:
      PutLinData(record, lin);
      record.Put(static_cast<unsigned char>(0x03));  // ChecksumModel 3
      PutLinTiming(record, lin, timestamp);
      record.Put(static_cast<unsigned char>(0x13));  // State 3, Reason 1
      break;
    case kLinSyncError:
      PutLinTiming(record, lin, timestamp);
      break;
    case kLinTransmissionError:
      record.Put(lin.Identifier);
      record.Put(lin.DataCount());
      record.Put(static_cast<unsigned char>(0x01));  // ChecksumModel 1
      PutLinTiming(record, lin, timestamp);
      break;
    case kLinWakeup:
      PutLinTiming(record, lin, timestamp);
      record.Put(lin.DataCount());
      record.Put(static_cast<unsigned char>(transmitted ? 0 : 0x04));  // IsExternal
      break;
    default:
      return false;
  }
  return Insert(group, record, Stream);
}

// --- FlexRay ---

bool Bus::Data_Insert_Flexray_Frame(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  constexpr unsigned char kBoth = 2;
  if (group.Vlsd == nullptr) return false;
  const FlexRayView frame = FlexRayView::Of(payload);
  const bool both = frame.Channel == kBoth;
  if (frame.Channel > kBoth) return true;
  const unsigned char first = both ? 0 : frame.Channel;
  const unsigned char last = both ? 1 : frame.Channel;
  for (unsigned char channel = first; channel <= last; ++channel) {
    Record record;
    record.Put(timestamp);
    record.Put(frame.SlotId);
    record.Put(FlxCycleByte(frame, channel));
    record.Put(static_cast<unsigned char>(frame.PayloadBytes()));  // a length above 255 wraps
    record.Put(FlxFrameFlags(frame, both));
    record.Put(frame.HeaderCrc);
    record.Put(frame.PayloadLength);
    record.Put(group.DataBytes);
    if (!InsertWithData(group, record, frame.Held, frame.PayloadBytes(), Stream)) return false;
  }
  return true;
}

bool Bus::Data_Insert_Flexray_Error(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  const FlexRayView error = FlexRayView::Of(payload);
  std::array<unsigned char, 18> data{};
  Store(data, 0, error.IsError() ? 5U : 6U);
  Store(data, 4, FlxErrorCode(error));
  Record record;
  record.Put(timestamp);
  record.Put(error.ErrorCycle());
  record.Put(error.ErrorChannel());
  record.Put(data);
  return Insert(group, record, Stream);
}

bool Bus::Data_Insert_Flexray_StartCycle(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  Record record;
  record.Put(timestamp);
  record.Put(FlexRayView::Of(payload).Channel);  // the number of the cycle
  return Insert(group, record, Stream);
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
  Record record;
  record.Put(timestamp);
  record.Put(static_cast<unsigned char>(0));  // cycle
  record.Put(static_cast<unsigned char>(0));  // channel mask
  record.Put(data);
  return Insert(group, record, Stream);
}

bool Bus::Data_Insert_Flexray_Symbol(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  constexpr unsigned char kWakeup = 3;
  const unsigned char channel = FlexRayView::Of(payload).Channel;
  const unsigned int mask = channel <= 2 ? (channel + 1U) & 3U : 0;  // 1 A, 2 B, 3 both
  std::array<unsigned char, 17> data{};
  Store(data, 12, 0xAA28'0000U);  // fixed: the entry has no data of the symbol
  Record record;
  record.Put(timestamp);
  record.Put(static_cast<unsigned char>(0));                    // cycle
  record.Put(static_cast<unsigned char>(mask << 6 | kWakeup));  // FlxChannelMask, SymbolType
  record.Put(data);
  return Insert(group, record, Stream);
}
