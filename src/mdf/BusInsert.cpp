// The records of bus events, field by field as docs/mdf-bus-logging.md shows them.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "mdf/Bus.h"
#include "mdf/BusRecord.h"

namespace {

using MDF::Load;
using MDF::Load_Bytes;
using MDF::Record;
using Payload = Bus::Payload;

// --- offsets in payloads ---

constexpr size_t kCanIdentifier = offsetof(Qor_Trace_Entry_Can_t, Identifier);
constexpr size_t kCanFlags = offsetof(Qor_Trace_Entry_Can_t, Flags);
constexpr size_t kCanReserved = offsetof(Qor_Trace_Entry_Can_t, Reserved);
constexpr size_t kCanDlc = offsetof(Qor_Trace_Entry_Can_t, Dlc);
constexpr size_t kCanData = offsetof(Qor_Trace_Entry_Can_t, Data);

constexpr size_t kLinReserved = offsetof(Qor_Trace_Entry_Lin_t, Reserved1);
constexpr size_t kLinFlags = offsetof(Qor_Trace_Entry_Lin_t, Flags);
constexpr size_t kLinLength = offsetof(Qor_Trace_Entry_Lin_t, DataLength);
constexpr size_t kLinIdentifier = offsetof(Qor_Trace_Entry_Lin_t, Identifier);
constexpr size_t kLinData = offsetof(Qor_Trace_Entry_Lin_t, Data);
constexpr size_t kLinBitTime = offsetof(Qor_Trace_Entry_Lin_t, BitTime);

constexpr size_t kFlxType = offsetof(Qor_Trace_Entry_FlexRay_t, ItemType);
constexpr size_t kFlxChannel = offsetof(Qor_Trace_Entry_FlexRay_t, Channel);
constexpr size_t kFlxFlags = offsetof(Qor_Trace_Entry_FlexRay_t, FrameFlags);
constexpr size_t kFlxSlot = offsetof(Qor_Trace_Entry_FlexRay_t, SlotId);
constexpr size_t kFlxCycle = offsetof(Qor_Trace_Entry_FlexRay_t, Cycle);
constexpr size_t kFlxWords = offsetof(Qor_Trace_Entry_FlexRay_t, PayloadLength);
constexpr size_t kFlxCrc = offsetof(Qor_Trace_Entry_FlexRay_t, HeaderCrc);
constexpr size_t kFlxData = offsetof(Qor_Trace_Entry_FlexRay_t, Data);
// Of the other kinds:
constexpr size_t kFlxState = kFlxChannel;
constexpr size_t kFlxErrorCycle = kFlxSlot;
constexpr size_t kFlxErrorChannel = kFlxSlot + 1;

constexpr size_t kMostVlsdBytes = 2 * 255;  // of a FlexRay frame

// --- inserting ---

/// Appends a whole record to its group.
bool Record_Insert(Bus::ChannelGroup& group, Record& record) {
  if (group.Torn) return false;
  const MDF::Inserted inserted = record.Insert(*group.Records);
  group.Torn = inserted == MDF::Inserted::kPart;
  if (inserted != MDF::Inserted::kAll) return false;
  ++group.CycleCount;
  return true;
}

/// Appends a record and the data that it points to.
bool Record_InsertWithData(Bus::ChannelGroup& group, Record& record, Payload payload, size_t offset,
                           unsigned int length) {
  if (!Record_Insert(group, record)) return false;
  MDF::FieldBuffer<sizeof length + kMostVlsdBytes> data;
  data.Put(length);
  if (length != 0) Load_Bytes(payload, offset, data.Next(length), length);
  const MDF::Inserted inserted = data.Insert(*group.Vlsd);
  if (inserted == MDF::Inserted::kAll) {
    group.DataBytes += data.Length();
    return true;
  }
  group.Torn = inserted == MDF::Inserted::kPart || !group.Records->Data_TakeBack(record.Length());
  if (!group.Torn) --group.CycleCount;
  return false;
}

/// After an insert: if it flushed a block, the count in the file follows. Always true.
bool Counted(Bus::ChannelGroup& group, FileStream& stream) {
  // The data of the latest record may have been cut by the end of the block.
  if (group.Flushed_Look(group.CycleCount - 1)) group.CycleCount_Write(stream);
  return true;
}

template <size_t kSize>
void Store(std::array<unsigned char, kSize>& bytes, size_t offset, unsigned int value) {
  std::memcpy(bytes.data() + offset, &value, sizeof value);
}

// --- CAN ---

unsigned char CanDataLength(unsigned char dlc, bool fd) {
  if (dlc >= std::size(Bus::kCanDlcBytes)) return 0;
  return fd ? Bus::kCanDlcBytes[dlc] : std::min<unsigned char>(Bus::kCanDlcBytes[dlc], 8);
}

unsigned int CanId(Payload payload, unsigned char flags) {
  return (Load<unsigned int>(payload, kCanIdentifier) & 0x3FFF'FFFF) | (flags & QOR_TRACE_CAN_EXTENDED) << 31;
}

unsigned int CanFlagsEx(unsigned char flags, unsigned char reserved) {
  unsigned int bits = 0;
  if ((flags & QOR_TRACE_CAN_TRANSMITTED) != 0) bits |= 0x0040;
  if (reserved != 0) bits |= 0x0800;
  if ((flags & QOR_TRACE_CAN_FD) != 0) bits |= 0x1000;
  if ((flags & QOR_TRACE_CAN_BRS) != 0) bits |= 0x2000;
  if ((flags & QOR_TRACE_CAN_ESI) != 0) bits |= 0x4000;
  return bits;
}

using ErrorFlags = std::array<unsigned char, 7>;

ErrorFlags CanErrorFlags(unsigned char code, bool transmitted, bool overrun) {
  // Of received frames, by error code; 0 is any other code.
  constexpr unsigned char kReceived[8][3] = {{0xE1, 0xE1, 0x00}, {0xA1, 0xA1, 0x00}, {0x61, 0x61, 0x00},
                                             {0xE1, 0xE1, 0x01}, {0x2D, 0x2D, 0x00}, {0x29, 0x29, 0x00},
                                             {0x30, 0x31, 0x01}, {0x21, 0x21, 0x00}};
  constexpr unsigned char kOverrun[3] = {0x20, 0x22, 0x02};
  constexpr unsigned int kReceivedBit = 0x20;
  const bool known = code >= 1 && code <= 7;
  const unsigned char* last = known ? kReceived[code] : overrun ? kOverrun : kReceived[0];
  const unsigned int clear = transmitted ? kReceivedBit : 0;
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

LinKinds LinKind(unsigned int flags) {
  constexpr unsigned int kTransmitError = QOR_TRACE_LIN_TRANSMIT_ERROR | QOR_TRACE_LIN_TRANSMITTED;
  constexpr unsigned int kErrors = QOR_TRACE_LIN_PARITY_ERROR | QOR_TRACE_LIN_CHECKSUM_ERROR | QOR_TRACE_LIN_SYNC_ERROR;
  if ((flags & kTransmitError) == kTransmitError) return kLinTransmissionError;
  if ((flags & kErrors) == 0 && (flags & (QOR_TRACE_LIN_EVENT | QOR_TRACE_LIN_OVERRUN)) != 0) return kNotRecorded;
  if ((flags & QOR_TRACE_LIN_PARITY_ERROR) != 0) return kLinReceiveError;
  if ((flags & QOR_TRACE_LIN_SYNC_ERROR) != 0) return kLinSyncError;
  if ((flags & QOR_TRACE_LIN_CHECKSUM_ERROR) != 0) return kLinChecksumError;
  return (flags & QOR_TRACE_LIN_WAKEUP) != 0 ? kLinWakeup : kLinFrame;
}

/// What the records of a LIN entry are made of.
struct LinFields {
  static constexpr unsigned int kMostData = 8;

  explicit LinFields(Payload payload)
      : Transmitted((Load<unsigned short>(payload, kLinFlags) & QOR_TRACE_LIN_TRANSMITTED) != 0),
        Identifier(Load<unsigned char>(payload, kLinIdentifier)) {
    const auto counted = Load<unsigned char>(payload, kLinLength);  // with the checksum
    Length = static_cast<unsigned char>(counted != 0 ? counted - 1 : 0);
    Load_Bytes(payload, kLinData, Data.data(), std::min<unsigned int>(Length, kMostData));
    // The ninth byte is the last one that an entry has for data.
    if (counted != 0 && Length <= kMostData) Checksum = Load<unsigned char>(payload, kLinData + Length);
    const auto bitTime = static_cast<int>(Load<unsigned int>(payload, kLinBitTime) >> 3);  // ns
    Baudrate = 1.0 / (bitTime * 1e-9);
  }

  void PutData(Record& record) const {
    record.Put(Identifier);
    record.Put(Length);
    record.Put(Data);
  }
  void PutTiming(Record& record, unsigned long startOfFrame) const {
    record.Put(startOfFrame);
    record.Put(Baudrate);
  }

  bool Transmitted;
  unsigned char Identifier;
  unsigned char Length = 0;  // data bytes, without the checksum
  std::array<unsigned char, kMostData> Data{};
  unsigned char Checksum = 0;
  double Baudrate = 0;
};

// --- FlexRay ---

unsigned char FlxCycleByte(Payload payload, unsigned int channel) {
  const unsigned int cycle = Load<unsigned char>(payload, kFlxCycle) & 0x3FU;
  const unsigned int transmitted = Load<unsigned short>(payload, kFlxType) == QOR_TRACE_FLEXRAY_TRANSMITTED ? 1 : 0;
  return static_cast<unsigned char>(cycle | channel << 6 | transmitted << 7);
}

unsigned int FlxFrameFlags(unsigned char flags, bool bothChannels) {
  unsigned int bits = 0x0008'0000;
  if (bothChannels) bits |= 0x0080'0000;
  if ((flags & QOR_TRACE_FLEXRAY_NULL) != 0) bits |= 0x01;
  if ((flags & QOR_TRACE_FLEXRAY_SYNC) != 0) bits |= 0x04;
  if ((flags & QOR_TRACE_FLEXRAY_STARTUP) != 0) bits |= 0x08;
  if ((flags & QOR_TRACE_FLEXRAY_INDICATOR) != 0) bits |= 0x10;
  return bits;
}

/// One byte per channel, A in the third and B in the fourth.
unsigned int FlxErrorCode(unsigned int type, unsigned char channel) {
  constexpr unsigned int kChannels[] = {0x0001'0000, 0x0100'0000, 0x0101'0000};
  if (type < 7 || type > 10 || channel >= std::size(kChannels)) return 0;
  const unsigned int code = type == 9 ? 4 : type == 10 ? 2 : 1;
  return code * kChannels[channel];
}

}  // namespace

// --- dispatch ---

bool Bus::Data_Insert(Qor_Trace_Entry_t& entry, unsigned long& timestamp) {
  constexpr size_t kHeader = offsetof(Qor_Trace_Entry_t, Payload);
  if (entry.Length < kHeader) return false;
  const Payload payload(reinterpret_cast<const unsigned char*>(&entry) + kHeader, entry.Length - kHeader);
  switch (BusType) {
    case Info::Can:
      return Dispatch_Can(payload, timestamp);
    case Info::Lin:
      return Dispatch_Lin(payload, timestamp);
    default:
      return Dispatch_FlexRay(payload, timestamp);
  }
}

bool Bus::Dispatch_Can(Payload payload, unsigned long& timestamp) {
  const auto flags = Load<unsigned char>(payload, kCanFlags);
  const bool error = (flags & (QOR_TRACE_CAN_ERROR | QOR_TRACE_CAN_OVERRUN)) != 0;
  ChannelGroup& group = Groups.at(ChannelNum_Get(0, error));
  return error ? Data_Insert_CAN_ErrorFrame(group, payload, timestamp)
               : Data_Insert_CAN_DataFrame(group, payload, timestamp);
}

bool Bus::Dispatch_Lin(Payload payload, unsigned long& timestamp) {
  if (Load<unsigned short>(payload, kLinReserved) != 0) return false;
  const unsigned int kind = LinKind(Load<unsigned short>(payload, kLinFlags));
  if (kind == kNotRecorded) return false;
  return Data_Insert_LIN(Groups.at(ChannelNum_Get(kind, false)), kind, payload, timestamp);
}

bool Bus::Dispatch_FlexRay(Payload payload, unsigned long& timestamp) {
  const auto type = Load<unsigned short>(payload, kFlxType);
  if (type == 5 || type > 10) return false;
  ChannelGroup& group = Groups.at(ChannelNum_Get(type, false));
  switch (type) {
    case QOR_TRACE_FLEXRAY_RECEIVED:
    case QOR_TRACE_FLEXRAY_TRANSMITTED:
      return Data_Insert_Flexray_Frame(group, payload, timestamp);
    case 3:
      return Data_Insert_Flexray_StartCycle(group, payload, timestamp);
    case 4:
      return Data_Insert_Flexray_State(group, payload, timestamp);
    case 6:
      return Data_Insert_Flexray_Symbol(group, payload, timestamp);
    default:
      return Data_Insert_Flexray_Error(group, payload, timestamp);
  }
}

// --- CAN ---

bool Bus::Data_Insert_CAN_DataFrame(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  if (group.Vlsd == nullptr) return false;
  const auto flags = Load<unsigned char>(payload, kCanFlags);
  const auto dlc = Load<unsigned char>(payload, kCanDlc);
  const unsigned char length = CanDataLength(dlc, (flags & QOR_TRACE_CAN_FD) != 0);
  Record record;
  record.Put(timestamp);
  record.Put(CanId(payload, flags));
  record.Put(CanFlagsEx(flags, Load<unsigned char>(payload, kCanReserved)));
  record.Put(dlc);
  record.Put(length);
  record.Put(group.DataBytes);
  return Record_InsertWithData(group, record, payload, kCanData, length) && Counted(group, Stream);
}

bool Bus::Data_Insert_CAN_ErrorFrame(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  constexpr unsigned long kDataBytes = 0xF5FF'0000'0000'0000;
  const auto flags = Load<unsigned char>(payload, kCanFlags);
  const bool transmitted = (flags & QOR_TRACE_CAN_TRANSMITTED) != 0;
  Record record;
  record.Put(timestamp);
  record.Put(CanId(payload, flags));
  record.Put(static_cast<unsigned char>(0));
  record.Put(static_cast<unsigned char>(transmitted ? 0x80 : 0));
  record.Put(static_cast<unsigned char>(0));  // DLC and length
  record.Put(kDataBytes);
  record.Put(0U);
  record.Put(CanErrorFlags(Load<unsigned char>(payload, kCanData), transmitted, (flags & QOR_TRACE_CAN_OVERRUN) != 0));
  return Record_Insert(group, record) && Counted(group, Stream);
}

// --- LIN ---

bool Bus::Data_Insert_LIN(ChannelGroup& group, unsigned int kind, Payload payload, unsigned long& timestamp) {
  const LinFields lin(payload);
  Record record;
  record.Put(timestamp);
  switch (kind) {
    case kLinFrame:
      lin.PutData(record);
      record.Put(static_cast<unsigned char>(lin.Transmitted ? 0x07 : 0x02));
      record.Put(lin.Checksum);
      lin.PutTiming(record, timestamp);
      break;
    case kLinChecksumError:
      lin.PutData(record);
      record.Put(static_cast<unsigned char>(lin.Transmitted ? 0x0F : 0x03));
      record.Put(lin.Checksum);
      lin.PutTiming(record, timestamp);
      break;
    case kLinReceiveError:
      lin.PutData(record);
      record.Put(static_cast<unsigned char>(0x03));
      lin.PutTiming(record, timestamp);
      record.Put(static_cast<unsigned char>(0x13));
      break;
    case kLinSyncError:
      lin.PutTiming(record, timestamp);
      break;
    case kLinTransmissionError:
      record.Put(lin.Identifier);
      record.Put(lin.Length);
      record.Put(static_cast<unsigned char>(0x01));
      lin.PutTiming(record, timestamp);
      break;
    case kLinWakeup:
      lin.PutTiming(record, timestamp);
      record.Put(lin.Length);
      record.Put(static_cast<unsigned char>(lin.Transmitted ? 0 : 0x04));
      break;
    default:
      return false;
  }
  return Record_Insert(group, record) && Counted(group, Stream);
}

// --- FlexRay ---

bool Bus::Data_Insert_Flexray_Frame(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  constexpr unsigned char kBoth = 2;
  if (group.Vlsd == nullptr) return false;
  const auto channel = Load<unsigned char>(payload, kFlxChannel);
  if (channel > kBoth) return true;
  const unsigned char first = channel == kBoth ? 0 : channel;
  const unsigned char last = channel == kBoth ? 1 : channel;
  const auto words = Load<unsigned char>(payload, kFlxWords);
  for (unsigned char of = first; of <= last; ++of) {
    Record record;
    record.Put(timestamp);
    record.Put(Load<unsigned short>(payload, kFlxSlot));
    record.Put(FlxCycleByte(payload, of));
    record.Put(static_cast<unsigned char>(2 * words));
    record.Put(FlxFrameFlags(Load<unsigned char>(payload, kFlxFlags), channel == kBoth));
    record.Put(Load<unsigned short>(payload, kFlxCrc));
    record.Put(words);
    record.Put(group.DataBytes);
    if (!Record_InsertWithData(group, record, payload, kFlxData, 2U * words)) return false;
    Counted(group, Stream);
  }
  return true;
}

bool Bus::Data_Insert_Flexray_Error(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  const auto type = Load<unsigned short>(payload, kFlxType);
  const auto channel = Load<unsigned char>(payload, kFlxErrorChannel);
  std::array<unsigned char, 18> data{};
  Store(data, 0, type >= 7 && type <= 10 ? 5U : 6U);
  Store(data, 4, FlxErrorCode(type, channel));
  Record record;
  record.Put(timestamp);
  record.Put(Load<unsigned char>(payload, kFlxErrorCycle));
  record.Put(channel);
  record.Put(data);
  return Record_Insert(group, record) && Counted(group, Stream);
}

bool Bus::Data_Insert_Flexray_StartCycle(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  Record record;
  record.Put(timestamp);
  record.Put(Load<unsigned char>(payload, kFlxState));
  return Record_Insert(group, record) && Counted(group, Stream);
}

bool Bus::Data_Insert_Flexray_State(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  struct State {
    unsigned int A;
    unsigned int B;
  };
  constexpr State kStates[] = {{2, 0x0F}, {2, 0}, {2, 4}, {1, 2}, {1, 3}, {2, 1}, {2, 0x20}, {2, 0x13}};
  const auto code = Load<unsigned char>(payload, kFlxState);
  const State state = code < std::size(kStates) ? kStates[code] : State{0, 0x0F};
  std::array<unsigned char, 48> data{};
  Store(data, 4, state.A);
  Store(data, 8, state.B);
  Record record;
  record.Put(timestamp);
  record.Put(static_cast<unsigned char>(0));  // cycle
  record.Put(static_cast<unsigned char>(0));  // channel mask
  record.Put(data);
  return Record_Insert(group, record) && Counted(group, Stream);
}

bool Bus::Data_Insert_Flexray_Symbol(ChannelGroup& group, Payload payload, unsigned long& timestamp) {
  constexpr unsigned char kWakeup = 3;
  const auto channel = Load<unsigned char>(payload, kFlxChannel);
  const unsigned int mask = channel <= 2 ? (channel + 1U) & 3U : 0;
  std::array<unsigned char, 17> data{};
  Store(data, 12, 0xAA28'0000U);
  Record record;
  record.Put(timestamp);
  record.Put(static_cast<unsigned char>(0));  // cycle
  record.Put(static_cast<unsigned char>(mask << 6 | kWakeup));
  record.Put(data);
  return Record_Insert(group, record) && Counted(group, Stream);
}
