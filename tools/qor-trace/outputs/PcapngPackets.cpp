#include "outputs/PcapngPackets.h"

#include <algorithm>

#include "stream/LinChecksum.h"

namespace client {

namespace {

// In the order of PcapngOmission.
constexpr const char* kOmissions[] = {
    "CAN log-trigger events",
    "LIN trigger events",
    "FlexRay status events",
    "Ethernet records that are no frames",
    "entries whose kind an overrun mark took",
    "malformed entries",
};
static_assert(std::size(kOmissions) == static_cast<size_t>(PcapngOmission::Malformed) + 1);

/// Gives the packet the bytes of a record that are present, of which the bus had `announced`.
void SetData(Packet& packet, RecordPayload present, size_t announced) {
  packet.Data = present;
  packet.OriginalSize = packet.HeadSize + announced;
}

std::optional<PcapngOmission> MalformedUnless(bool made) {
  return made ? std::nullopt : std::optional(PcapngOmission::Malformed);
}

// ---- CAN ------------------------------------------------------------------------------------------------------------

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
  packet.HeadSize = kSocketCanHead;
}

void MakeErrorFrame(const CanView& can, Packet& packet) {
  const SocketCanErrorKind& error = kSocketCanErrorKinds[can.Code() < std::size(kSocketCanErrorKinds) ? can.Code() : 0];
  PutSocketCanHead(packet, kSocketCanError | error.Class, 8, 0, 0);
  packet.Head[kSocketCanHead + 2] = static_cast<unsigned char>(error.Type | (packet.Outbound ? kTypeSending : 0));
  packet.Head[kSocketCanHead + 3] = error.Place;
  packet.HeadSize = packet.OriginalSize = kSocketCanHead + 8;
}

unsigned int SocketCanIdentifier(const CanView& can, bool remote) {
  return (can.Identifier & kSocketCanIdentifierBits) | (can.Has(QOR_TRACE_CAN_EXTENDED) ? kSocketCanExtended : 0) |
         (remote ? kSocketCanRemote : 0);
}

bool MakeClassicFrame(const CanView& can, Packet& packet) {
  if (can.DataLength > 8) return false;
  // A record has no mark for a remote frame: it is a classic frame that has a length on the bus, but no data.
  const bool remote = can.DataLength == 0 && can.Dlc != 0;
  const auto shown = remote ? std::min<unsigned char>(can.Dlc, 8) : can.DataLength;
  const unsigned char rawDlc = shown == 8 && can.Dlc > 8 && can.Dlc <= 15 ? can.Dlc : 0;
  PutSocketCanHead(packet, SocketCanIdentifier(can, remote), shown, 0, rawDlc);
  SetData(packet, can.Data(), can.DataLength);
  return true;
}

bool MakeFdFrame(const CanView& can, Packet& packet) {
  if (can.DataLength > 64) return false;
  const unsigned int flags = kSocketCanFdf | (can.Has(QOR_TRACE_CAN_BRS) ? kSocketCanBrs : 0u) |
                             (can.Has(QOR_TRACE_CAN_ESI) ? kSocketCanEsi : 0u);
  PutSocketCanHead(packet, SocketCanIdentifier(can, false), can.DataLength, static_cast<unsigned char>(flags), 0);
  SetData(packet, can.Data(), can.DataLength);
  return true;
}

std::optional<PcapngOmission> MakeCanPacket(const CanView& can, Packet& packet) {
  packet.Outbound = can.Has(QOR_TRACE_CAN_TRANSMITTED);
  switch (can.Kind()) {
    case RecordKind::CanEvent:
      return PcapngOmission::CanEvent;
    case RecordKind::CanErrorFrame:
      MakeErrorFrame(can, packet);
      return std::nullopt;
    case RecordKind::CanFdFrame:
      return MalformedUnless(MakeFdFrame(can, packet));
    default:
      return MalformedUnless(MakeClassicFrame(can, packet));
  }
}

// ---- LIN ------------------------------------------------------------------------------------------------------------

/// How the link type numbers the checksum models.
unsigned int ChecksumType(LinChecksumModel model) { return static_cast<unsigned int>(model); }

unsigned char LinErrors(const LinView& lin) {
  unsigned int errors = 0;
  if (lin.HasTransmitError()) errors |= kLinNoResponse;
  if (lin.Has(QOR_TRACE_LIN_SYNC_ERROR)) errors |= kLinFraming;
  if (lin.Has(QOR_TRACE_LIN_PARITY_ERROR)) errors |= kLinParity;
  if (lin.Has(QOR_TRACE_LIN_CHECKSUM_ERROR)) errors |= kLinChecksum;
  return static_cast<unsigned char>(errors);
}

void MakeWakeUp(Packet& packet) {
  packet.Head = {1,
                 0,
                 0,
                 0,
                 4u << 4 | kLinEventType << 2,
                 0,
                 0,
                 0,
                 kLinWakeUpSignal >> 24,
                 kLinWakeUpSignal >> 16 & 0xFF,
                 kLinWakeUpSignal >> 8 & 0xFF,
                 kLinWakeUpSignal & 0xFF};
  packet.HeadSize = packet.OriginalSize = kLinHead + 4;
}

bool MakeLinFrame(const LinView& lin, Packet& packet) {
  if (lin.DataCount() > LinView::kMostDataBytes) return false;
  const auto checksum = lin.Checksum();
  const unsigned char onBus =
      lin.Has(QOR_TRACE_LIN_PARITY_ERROR) ? lin.Identifier : LinProtectedIdentifier(lin.Identifier);
  const auto model = checksum ? LinChecksumModelOf(*checksum, onBus, lin.Data()) : LinChecksumModel::Unknown;
  const auto control = static_cast<unsigned char>((unsigned{lin.DataCount()} << 4) | ChecksumType(model));
  packet.Head = {1, 0, 0, 0, control, onBus, checksum.value_or(0), LinErrors(lin)};
  packet.HeadSize = kLinHead;
  SetData(packet, lin.Data(), lin.DataCount());
  return true;
}

std::optional<PcapngOmission> MakeLinPacket(const LinView& lin, Packet& packet) {
  packet.Outbound = lin.Has(QOR_TRACE_LIN_TRANSMITTED);
  switch (lin.Kind()) {
    case RecordKind::LinEvent:
      return PcapngOmission::LinEvent;
    case RecordKind::LinWakeUp:
      MakeWakeUp(packet);
      return std::nullopt;
    default:
      return MalformedUnless(MakeLinFrame(lin, packet));
  }
}

// ---- FlexRay --------------------------------------------------------------------------------------------------------

constexpr unsigned int kGreatestPayload = 127;  // words
constexpr unsigned char kZeros[2 * kGreatestPayload] = {};

void PutFlexRayHead(const FlexRayView& frame, bool channelB, Packet& packet) {
  const auto bit = [&](unsigned int flag, unsigned int value) { return frame.Has(flag) ? value : 0; };
  const unsigned int indicators = bit(QOR_TRACE_FLEXRAY_INDICATOR, kFlexRayPreamble) |
                                  (kFlexRayNotNull ^ bit(QOR_TRACE_FLEXRAY_NULL, kFlexRayNotNull)) |
                                  bit(QOR_TRACE_FLEXRAY_SYNC, kFlexRaySync) |
                                  bit(QOR_TRACE_FLEXRAY_STARTUP, kFlexRayStartup);
  packet.Head = {static_cast<unsigned char>(channelB ? kFlexRayFrame | kFlexRayChannelB : kFlexRayFrame),
                 0,
                 static_cast<unsigned char>(indicators | (frame.SlotId >> 8 & 0x07)),
                 static_cast<unsigned char>(frame.SlotId),
                 static_cast<unsigned char>(frame.PayloadLength << 1 | (frame.HeaderCrc >> 10 & 1)),
                 static_cast<unsigned char>(frame.HeaderCrc >> 2),
                 static_cast<unsigned char>((frame.HeaderCrc << 6 & 0xC0) | (frame.Cycle & 0x3F))};
  packet.HeadSize = kFlexRayHead;
}

bool MakeFlexRayFrame(const FlexRayView& frame, Packet& packet) {
  if (frame.Channel > 2 || frame.PayloadLength > kGreatestPayload) return false;
  packet.Outbound = frame.IsTransmitted();
  packet.AlsoOnChannelB = frame.Channel == 2;
  PutFlexRayHead(frame, frame.Channel == 1, packet);
  SetData(packet, frame.Data(), frame.PayloadBytes());
  // What a null frame has on the bus; the record's payload is not valid.
  if (frame.Has(QOR_TRACE_FLEXRAY_NULL)) packet.Data = RecordPayload(kZeros).first(frame.PayloadBytes());
  return true;
}

std::optional<PcapngOmission> MakeFlexRayPacket(const RecordView& record, Packet& packet) {
  const FlexRayView flexRay = record.FlexRay();
  const bool whole = record.Payload().size() >= FlexRayView::kFixedFields;
  if (flexRay.IsFrame()) return MalformedUnless(whole && MakeFlexRayFrame(flexRay, packet));
  switch (flexRay.Kind()) {
    case RecordKind::OverrunMark:
      return PcapngOmission::OverrunMark;
    case RecordKind::Unknown:
      return PcapngOmission::Malformed;
    default:
      return PcapngOmission::FlexRayEvent;
  }
}

// ---- Ethernet -------------------------------------------------------------------------------------------------------

std::optional<PcapngOmission> MakeEthernetPacket(const RecordView& record, Packet& packet) {
  const EthernetView ethernet = record.Ethernet();
  const RecordKind kind = ethernet.Kind();
  if (kind == RecordKind::OverrunMark) return PcapngOmission::OverrunMark;
  if (kind == RecordKind::EthernetRecord) return PcapngOmission::EthernetRecord;
  if (record.Payload().size() < EthernetView::kFixedFields) return PcapngOmission::Malformed;
  packet.Outbound = ethernet.Has(QOR_TRACE_ETHERNET_TRANSMITTED);
  packet.CrcError = kind == RecordKind::EthernetCrcError;
  SetData(packet, ethernet.Frame(), ethernet.FrameLength);
  return std::nullopt;
}

}  // namespace

const std::span<const char* const> kPcapngOmissions = kOmissions;

std::optional<PcapngOmission> MakePacket(const RecordView& record, Packet& packet) {
  packet = {};
  if (!record.IsWellFormed()) return PcapngOmission::Malformed;
  switch (record.Bus()) {
    case BusType_Can:
      return MakeCanPacket(record.Can(), packet);
    case BusType_Lin:
      return MakeLinPacket(record.Lin(), packet);
    case BusType_FlexRay:
      return MakeFlexRayPacket(record, packet);
    default:
      return MakeEthernetPacket(record, packet);
  }
}

void MoveToChannelB(Packet& packet) { packet.Head[0] = kFlexRayFrame | kFlexRayChannelB; }

}  // namespace client
