#include "outputs/PcapngPackets.h"

#include <algorithm>
#include <cstring>

#include "stream/LinChecksum.h"

namespace client {

namespace {

#define ENTRY_OFFSET(field) offsetof(Qor_Trace_Entry_t, Payload.field)

constexpr std::size_t CanDataOffset = ENTRY_OFFSET(Can.Data);
constexpr std::size_t LinDataOffset = ENTRY_OFFSET(Lin.Data);
constexpr std::size_t FlexRayDataOffset = ENTRY_OFFSET(FlexRay.Data);
constexpr std::size_t EthernetFrameOffset = ENTRY_OFFSET(Ethernet.Frame);

/// A field of a record that is long enough for it.
template <class Value>
Value Field(const Qor_Trace_Entry_t& entry, std::size_t offset) {
  Value value;
  std::memcpy(&value, reinterpret_cast<const unsigned char*>(&entry) + offset, sizeof value);
  return value;
}

/// Gives the packet the bytes of the record from `offset` on, of which the bus had `announced`.
void SetData(Packet& packet, const Qor_Trace_Entry_t& entry, std::size_t offset, std::size_t announced) {
  packet.Data = reinterpret_cast<const unsigned char*>(&entry) + offset;
  packet.DataSize = std::min<std::size_t>(announced, entry.Length - offset);
  packet.OriginalSize = packet.HeadSize + announced;
}

// ---- CAN ------------------------------------------------------------------------------------------------------------
//
//  LINKTYPE_CAN_SOCKETCAN
//  0  4  identifier, big-endian; bit 31 extended, bit 30 remote frame, bit 29 error frame
//  4  1  data length
//  5  1  FD flags: 0x01 bit-rate switch, 0x02 error-state indicator, 0x04 CAN FD
//  6  1  0
//  7  1  raw data length code of a classic frame of 8 bytes, if 9 to 15; else 0
//  8     data

constexpr unsigned int SocketCanExtended = 0x80000000;
constexpr unsigned int SocketCanRemote = 0x40000000;
constexpr unsigned int SocketCanError = 0x20000000;
constexpr unsigned char SocketCanBrs = 0x01;
constexpr unsigned char SocketCanEsi = 0x02;
constexpr unsigned char SocketCanFdf = 0x04;
constexpr std::size_t SocketCanHead = 8;

void PutSocketCanHead(Packet& packet, unsigned int identifier, unsigned char length, unsigned char flags,
                      unsigned char rawDlc) {
  packet.Head = {static_cast<unsigned char>(identifier >> 24),
                 static_cast<unsigned char>(identifier >> 16),
                 static_cast<unsigned char>(identifier >> 8),
                 static_cast<unsigned char>(identifier),
                 length,
                 flags,
                 0,
                 rawDlc};
  packet.HeadSize = SocketCanHead;
}

// Error frames have 8 data bytes: class bits in the identifier, byte 2 the type of a protocol violation, byte 3 its place.
constexpr unsigned int ClassProtocol = 0x08;
constexpr unsigned int ClassAcknowledge = 0x20;
constexpr unsigned char TypeForm = 0x02;
constexpr unsigned char TypeStuff = 0x04;
constexpr unsigned char TypeBit0 = 0x08;
constexpr unsigned char TypeBit1 = 0x10;
constexpr unsigned char TypeSending = 0x80;
constexpr unsigned char PlaceCrcSequence = 0x08;
constexpr unsigned char PlaceAckSlot = 0x19;

struct SocketCanErrorKind {
  unsigned int Class;
  unsigned char Type;
  unsigned char Place;
};

constexpr SocketCanErrorKind ErrorKinds[] = {
    {ClassProtocol, 0, 0},                                // 0 and above 7: unspecified
    {ClassProtocol, TypeStuff, 0},                        // 1 bit stuffing
    {ClassProtocol, TypeForm, 0},                         // 2 form
    {ClassProtocol | ClassAcknowledge, 0, PlaceAckSlot},  // 3 no acknowledge
    {ClassProtocol, TypeBit1, 0},                         // 4 recessive bit not sent
    {ClassProtocol, TypeBit0, 0},                         // 5 dominant bit not sent
    {ClassProtocol, 0, PlaceCrcSequence},                 // 6 CRC
    {ClassProtocol, 0, 0},                                // 7 other
};

void MakeErrorFrame(const Qor_Trace_Entry_t& entry, Packet& packet) {
  const std::size_t kind = entry.Length > CanDataOffset ? Field<unsigned char>(entry, CanDataOffset) : 0;
  const SocketCanErrorKind& error = ErrorKinds[kind < std::size(ErrorKinds) ? kind : 0];
  PutSocketCanHead(packet, SocketCanError | error.Class, 8, 0, 0);
  packet.Head[SocketCanHead + 2] = static_cast<unsigned char>(error.Type | (packet.Outbound ? TypeSending : 0));
  packet.Head[SocketCanHead + 3] = error.Place;
  packet.HeadSize = packet.OriginalSize = SocketCanHead + 8;
}

std::optional<Omission> MakeCanPacket(const Qor_Trace_Entry_t& entry, Packet& packet) {
  if (entry.Length < CanDataOffset) return Omission::Malformed;
  const auto flags = Field<unsigned char>(entry, ENTRY_OFFSET(Can.Flags));
  const auto dlc = Field<unsigned char>(entry, ENTRY_OFFSET(Can.Dlc));
  const auto length = Field<unsigned char>(entry, ENTRY_OFFSET(Can.DataLength));
  const auto has = [&](unsigned int flag) { return (flags & flag) != 0; };
  if (has(QOR_TRACE_CAN_TRIGGER)) return Omission::CanEvent;
  packet.Outbound = has(QOR_TRACE_CAN_TRANSMITTED);
  if (has(QOR_TRACE_CAN_ERROR)) {
    MakeErrorFrame(entry, packet);
    return std::nullopt;
  }
  const bool fd = has(QOR_TRACE_CAN_FD);
  if (length > (fd ? 64 : 8)) return Omission::Malformed;
  auto identifier = Field<unsigned int>(entry, ENTRY_OFFSET(Can.Identifier)) & 0x1FFFFFFF;
  if (has(QOR_TRACE_CAN_EXTENDED)) identifier |= SocketCanExtended;
  // A record has no mark for a remote frame: it is a classic frame that has a length on the bus, but no data.
  const bool remote = !fd && length == 0 && dlc != 0;
  if (remote) identifier |= SocketCanRemote;
  const auto shown = remote ? std::min<unsigned char>(dlc, 8) : length;
  const unsigned int fdFlags =
      !fd ? 0
          : SocketCanFdf | (has(QOR_TRACE_CAN_BRS) ? SocketCanBrs : 0u) | (has(QOR_TRACE_CAN_ESI) ? SocketCanEsi : 0u);
  const unsigned char rawDlc = !fd && shown == 8 && dlc > 8 && dlc <= 15 ? dlc : 0;
  PutSocketCanHead(packet, identifier, shown, static_cast<unsigned char>(fdFlags), rawDlc);
  SetData(packet, entry, CanDataOffset, length);
  return std::nullopt;
}

// ---- LIN ------------------------------------------------------------------------------------------------------------
//
//  LINKTYPE_LIN
//  0  1  1, revision of this format
//  1  3  0
//  4  1  bits 4 to 7 data length, bits 2 and 3 message type (0 frame, 3 event), bits 0 and 1 checksum type (0 unknown,
//        1 classic, 2 enhanced)
//  5  1  protected identifier
//  6  1  checksum
//  7  1  errors: 0x01 no response, 0x02 framing, 0x04 parity, 0x08 checksum
//  8     data; of an event its code, big-endian

constexpr std::size_t LinHead = 8;
constexpr unsigned int LinEventType = 3u << 2;
constexpr unsigned int LinWakeUpSignal = 0xB0B00004;

/// How the link type numbers the checksum models.
unsigned int ChecksumType(LinChecksumModel model) { return static_cast<unsigned int>(model); }

unsigned char LinErrors(unsigned int flags) {
  constexpr unsigned int TransmitError = QOR_TRACE_LIN_TRANSMIT_ERROR | QOR_TRACE_LIN_TRANSMITTED;
  unsigned int errors = 0;
  if ((flags & TransmitError) == TransmitError) errors |= 0x01;
  if ((flags & QOR_TRACE_LIN_SYNC_ERROR) != 0) errors |= 0x02;
  if ((flags & QOR_TRACE_LIN_PARITY_ERROR) != 0) errors |= 0x04;
  if ((flags & QOR_TRACE_LIN_CHECKSUM_ERROR) != 0) errors |= 0x08;
  return static_cast<unsigned char>(errors);
}

void MakeWakeUp(Packet& packet) {
  packet.Head = {1,
                 0,
                 0,
                 0,
                 4u << 4 | LinEventType,
                 0,
                 0,
                 0,
                 LinWakeUpSignal >> 24,
                 LinWakeUpSignal >> 16 & 0xFF,
                 LinWakeUpSignal >> 8 & 0xFF,
                 LinWakeUpSignal & 0xFF};
  packet.HeadSize = packet.OriginalSize = LinHead + 4;
}

void MakeLinFrame(const Qor_Trace_Entry_t& entry, unsigned int flags, std::size_t announced, Packet& packet) {
  const std::size_t size = announced == 0 ? 0 : announced - 1;
  const auto identifier = Field<unsigned char>(entry, ENTRY_OFFSET(Lin.Identifier));
  const bool parityError = (flags & QOR_TRACE_LIN_PARITY_ERROR) != 0;
  const unsigned char onBus = parityError ? identifier : LinProtectedIdentifier(identifier);
  packet.HeadSize = LinHead;
  SetData(packet, entry, LinDataOffset, size);
  const std::size_t checksumOffset = LinDataOffset + size;
  const bool hasChecksum = announced != 0 && checksumOffset < entry.Length;
  const auto checksum = hasChecksum ? Field<unsigned char>(entry, checksumOffset) : static_cast<unsigned char>(0);
  const auto model = hasChecksum ? LinChecksumModelOf(checksum, onBus, packet.Data, size) : LinChecksumModel::Unknown;
  const auto control = static_cast<unsigned char>(size << 4 | ChecksumType(model));
  packet.Head = {1, 0, 0, 0, control, onBus, checksum, LinErrors(flags)};
}

std::optional<Omission> MakeLinPacket(const Qor_Trace_Entry_t& entry, Packet& packet) {
  if (entry.Length < LinDataOffset) return Omission::Malformed;
  if (Field<unsigned short>(entry, ENTRY_OFFSET(Lin.Reserved1)) != 0) return Omission::Malformed;
  const auto flags = Field<unsigned short>(entry, ENTRY_OFFSET(Lin.Flags));
  const auto announced = Field<unsigned char>(entry, ENTRY_OFFSET(Lin.DataLength));
  packet.Outbound = (flags & QOR_TRACE_LIN_TRANSMITTED) != 0;
  const bool error = LinErrors(flags) != 0;
  if (!error && (flags & QOR_TRACE_LIN_EVENT) != 0) return Omission::LinEvent;
  if (!error && (flags & QOR_TRACE_LIN_WAKEUP) != 0) {
    MakeWakeUp(packet);
    return std::nullopt;
  }
  if (announced > 9) return Omission::Malformed;
  MakeLinFrame(entry, flags, announced, packet);
  return std::nullopt;
}

// ---- FlexRay --------------------------------------------------------------------------------------------------------
//
//  LINKTYPE_FLEXRAY
//  0  1  1 frame; bit 7: channel B
//  1  1  error flags, 0
//  2  5  frame header, big-endian: 1 bit 0, payload preamble, not a null frame, sync, startup; 11 bits slot; 7 bits
//        payload length in words; 11 bits header CRC; 6 bits cycle
//  7     payload

constexpr unsigned char FlexRayFrame = 0x01;
constexpr unsigned char FlexRayChannelB = 0x80;
constexpr std::size_t FlexRayHead = 7;
constexpr unsigned int GreatestPayload = 127;  // words
constexpr unsigned char Zeros[2 * GreatestPayload] = {};

std::optional<Omission> OtherFlexRayKind(unsigned short kind) {
  return kind == QOR_TRACE_FLEXRAY_OVERRUN ? Omission::OverrunMark
         : kind <= 10                      ? Omission::FlexRayEvent
                                           : Omission::Malformed;
}

void PutFlexRayHead(const Qor_Trace_Entry_t& entry, Packet& packet, bool channelB, unsigned int words) {
  const auto flags = Field<unsigned char>(entry, ENTRY_OFFSET(FlexRay.FrameFlags));
  const unsigned int slot = Field<unsigned short>(entry, ENTRY_OFFSET(FlexRay.SlotId));
  const unsigned int crc = Field<unsigned short>(entry, ENTRY_OFFSET(FlexRay.HeaderCrc));
  const unsigned int cycle = Field<unsigned char>(entry, ENTRY_OFFSET(FlexRay.Cycle));
  const auto bit = [&](unsigned int flag, unsigned int value) { return (flags & flag) != 0 ? value : 0; };
  const unsigned int indicators = bit(QOR_TRACE_FLEXRAY_INDICATOR, 0x40) | (0x20 ^ bit(QOR_TRACE_FLEXRAY_NULL, 0x20)) |
                                  bit(QOR_TRACE_FLEXRAY_SYNC, 0x10) | bit(QOR_TRACE_FLEXRAY_STARTUP, 0x08);
  packet.Head = {static_cast<unsigned char>(channelB ? FlexRayFrame | FlexRayChannelB : FlexRayFrame),
                 0,
                 static_cast<unsigned char>(indicators | (slot >> 8 & 0x07)),
                 static_cast<unsigned char>(slot),
                 static_cast<unsigned char>(words << 1 | (crc >> 10 & 1)),
                 static_cast<unsigned char>(crc >> 2),
                 static_cast<unsigned char>((crc << 6 & 0xC0) | (cycle & 0x3F))};
  packet.HeadSize = FlexRayHead;
}

std::optional<Omission> MakeFlexRayPacket(const Qor_Trace_Entry_t& entry, Packet& packet) {
  if (entry.Length < ENTRY_OFFSET(FlexRay.ItemTimestamp)) return Omission::Malformed;
  const auto kind = Field<unsigned short>(entry, ENTRY_OFFSET(FlexRay.ItemType));
  if (kind != QOR_TRACE_FLEXRAY_RECEIVED && kind != QOR_TRACE_FLEXRAY_TRANSMITTED) return OtherFlexRayKind(kind);
  if (entry.Length < FlexRayDataOffset) return Omission::Malformed;
  const auto channel = Field<unsigned char>(entry, ENTRY_OFFSET(FlexRay.Channel));
  const unsigned int words = Field<unsigned char>(entry, ENTRY_OFFSET(FlexRay.PayloadLength));
  if (channel > 2 || words > GreatestPayload) return Omission::Malformed;
  packet.Outbound = kind == QOR_TRACE_FLEXRAY_TRANSMITTED;
  packet.AlsoOnChannelB = channel == 2;
  PutFlexRayHead(entry, packet, channel == 1, words);
  SetData(packet, entry, FlexRayDataOffset, std::size_t{2} * words);
  if ((Field<unsigned char>(entry, ENTRY_OFFSET(FlexRay.FrameFlags)) & QOR_TRACE_FLEXRAY_NULL) != 0) {
    packet.Data = Zeros;  // what a null frame has on the bus; the record's payload is not valid
    packet.DataSize = std::size_t{2} * words;
  }
  return std::nullopt;
}

// ---- Ethernet -------------------------------------------------------------------------------------------------------

std::optional<Omission> MakeEthernetPacket(const Qor_Trace_Entry_t& entry, Packet& packet) {
  if (entry.Length < ENTRY_OFFSET(Ethernet.ItemTimestamp)) return Omission::Malformed;
  const auto kind = Field<unsigned short>(entry, ENTRY_OFFSET(Ethernet.ItemType));
  if (kind == QOR_TRACE_ETHERNET_OVERRUN) return Omission::OverrunMark;
  if (kind != QOR_TRACE_ETHERNET_FRAME) return Omission::EthernetRecord;
  if (entry.Length < EthernetFrameOffset) return Omission::Malformed;
  const auto flags = Field<unsigned char>(entry, ENTRY_OFFSET(Ethernet.Flags));
  packet.Outbound = (flags & QOR_TRACE_ETHERNET_TRANSMITTED) != 0;
  packet.CrcError = (flags & QOR_TRACE_ETHERNET_CRC_ERROR) != 0;
  SetData(packet, entry, EthernetFrameOffset, Field<unsigned short>(entry, ENTRY_OFFSET(Ethernet.FrameLength)));
  return std::nullopt;
}

}  // namespace

std::optional<CaptureBus> CaptureBusOf(unsigned char busType) {
  switch (busType) {
    case BusType_Can:
      return CaptureBus{"CAN", LinkCanSocketCan};
    case BusType_Lin:
      return CaptureBus{"LIN", LinkLin};
    case BusType_FlexRay:
      return CaptureBus{"FR", LinkFlexRay};
    case BusType_Ethernet:
      return CaptureBus{"ETH", LinkEthernet};
    default:
      return std::nullopt;
  }
}

const char* Name(Omission omission) {
  switch (omission) {
    case Omission::CanEvent:
      return "CAN log-trigger events";
    case Omission::LinEvent:
      return "LIN trigger events";
    case Omission::FlexRayEvent:
      return "FlexRay status events";
    case Omission::EthernetRecord:
      return "Ethernet records that are no frames";
    case Omission::OverrunMark:
      return "entries whose kind an overrun mark took";
    case Omission::Malformed:
      return "malformed entries";
  }
  return "";
}

std::optional<Omission> MakePacket(const Qor_Trace_Entry_t& entry, Packet& packet) {
  packet = {};
  switch (entry.BusType) {
    case BusType_Can:
      return MakeCanPacket(entry, packet);
    case BusType_Lin:
      return MakeLinPacket(entry, packet);
    case BusType_FlexRay:
      return MakeFlexRayPacket(entry, packet);
    case BusType_Ethernet:
      return MakeEthernetPacket(entry, packet);
    default:
      return Omission::Malformed;
  }
}

void MoveToChannelB(Packet& packet) { packet.Head[0] = FlexRayFrame | FlexRayChannelB; }

}  // namespace client
