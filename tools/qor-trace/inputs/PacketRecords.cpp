#include "inputs/PacketRecords.h"

#include <fmt/format.h>

#include <algorithm>

#include "inputs/OrderedBytes.h"
#include "stream/CanDlc.h"
#include "stream/PacketLayouts.h"

namespace client {

namespace {

constexpr size_t kFdPacket = kSocketCanHead + 64;  // bytes of a CAN FD packet of systems that don't mark them
constexpr unsigned char kCanXl = 0x80;             // in the place of the data length
constexpr size_t kMostClassicData = 8;
constexpr size_t kMostFdData = 64;

constexpr unsigned char kLinOverflow = 0x20;           // error bits that records don't have
constexpr unsigned char kLinInvalidIdentifier = 0x10;  // likewise

unsigned int BigEndianAt(std::span<const unsigned char> bytes, size_t offset) {
  return OrderedBytes(bytes, ByteOrder::Big).At<unsigned int>(offset);
}

unsigned char FlagIf(bool condition, unsigned int flag) { return static_cast<unsigned char>(condition ? flag : 0); }

/// Eighths of a nanosecond.
unsigned int BitTimeOf(unsigned long bitRate) {
  constexpr unsigned long kEighthsPerSecond = 8'000'000'000;
  return bitRate == 0 ? 0
                      : static_cast<unsigned int>(std::min((kEighthsPerSecond + bitRate / 2) / bitRate, 0xFFFFFFFFul));
}

}  // namespace

const RecordView* PacketRecords::Make(const CapturedPacket& packet) {
  const auto bus = CaptureBusOfLink(packet.Link);
  if (!bus) return None(packet, FindingKind::LeftOut, fmt::format("a packet of link type {}", packet.Link));
  switch (bus->Link) {
    case LinkType::SocketCan:
      return MakeCan(packet);
    case LinkType::Lin:
      return MakeLin(packet);
    case LinkType::FlexRay:
      return MakeFlexRay(packet, false);
    case LinkType::Ethernet:
      break;
  }
  return MakeEthernet(packet);
}

const RecordView* PacketRecords::MakeOfBothChannels(const CapturedPacket& packet) { return MakeFlexRay(packet, true); }

// ---- CAN ------------------------------------------------------------------------------------------------------------

const RecordView* PacketRecords::MakeCan(const CapturedPacket& packet) {
  const auto& bytes = packet.Data;
  if (bytes.size() < kSocketCanHead) return None(packet, FindingKind::Unread, "a CAN packet shorter than its header");
  const unsigned int identifier = BigEndianAt(bytes, 0);
  const size_t length = bytes[4];
  if ((length & kCanXl) != 0) return None(packet, FindingKind::LeftOut, "a CAN XL frame");
  if ((identifier & kSocketCanError) != 0) return MakeCanError(packet, identifier);
  const unsigned char marks = bytes[5];
  const bool remote = (identifier & kSocketCanRemote) != 0;
  const bool fd =
      !remote && ((marks & kSocketCanFdf) != 0 || length > kMostClassicData || packet.OriginalSize == kFdPacket);
  if (length > (fd ? kMostFdData : kMostClassicData))
    return None(packet, FindingKind::Unread, "a CAN packet with a length that no frame has");
  CanParts parts{.Identifier = identifier & kSocketCanIdentifierBits, .Dlc = CanDlcOf(length)};
  parts.Flags =
      static_cast<unsigned char>(FlagIf((identifier & kSocketCanExtended) != 0, QOR_TRACE_CAN_EXTENDED) |
                                 FlagIf(packet.Outbound, QOR_TRACE_CAN_TRANSMITTED) | FlagIf(fd, QOR_TRACE_CAN_FD) |
                                 FlagIf(fd && (marks & kSocketCanBrs) != 0, QOR_TRACE_CAN_BRS) |
                                 FlagIf(fd && (marks & kSocketCanEsi) != 0, QOR_TRACE_CAN_ESI));
  const unsigned char rawDlc = bytes[7];
  if (!fd && length == kMostClassicData && rawDlc > kMostClassicData && rawDlc <= 15) parts.Dlc = rawDlc;
  if (!remote) {
    parts.Data = bytes.subspan(kSocketCanHead, std::min(length, bytes.size() - kSocketCanHead));
    parts.Announced = static_cast<unsigned char>(length);
    NoteIfCut(packet, parts.Data.size() < length);
  } else if (length == 0) {
    Found.AtByte(FindingKind::Odd, "a CAN remote frame of length 0, read as a frame without data", packet.Byte);
  }
  return Made.Can({packet.Channel, packet.Time}, parts);
}

const RecordView* PacketRecords::MakeCanError(const CapturedPacket& packet, unsigned int identifier) {
  if ((identifier & (kClassProtocol | kClassAcknowledge | kClassBusError)) == 0)
    return None(packet, FindingKind::LeftOut, "a report of a CAN controller's state");
  const OrderedBytes data = OrderedBytes(packet.Data, ByteOrder::Big).From(kSocketCanHead);
  const auto type = data.At<unsigned char>(2);
  const unsigned char code = CanErrorCodeOf(identifier, type, data.At<unsigned char>(3));
  const bool sent = packet.Outbound || (type & kTypeSending) != 0;
  CanParts parts{.Data = {&code, 1}};
  parts.Flags = static_cast<unsigned char>(QOR_TRACE_CAN_ERROR | FlagIf(sent, QOR_TRACE_CAN_TRANSMITTED));
  return Made.Can({packet.Channel, packet.Time}, parts);
}

// ---- LIN ------------------------------------------------------------------------------------------------------------

const RecordView* PacketRecords::MakeLin(const CapturedPacket& packet) {
  const auto& bytes = packet.Data;
  if (bytes.size() < kLinHead) return None(packet, FindingKind::Unread, "a LIN packet shorter than its header");
  const unsigned int messageType = bytes[4] >> 2 & 3u;
  if (messageType == kLinFrameType) return MakeLinFrame(packet);
  if (messageType != kLinEventType)
    return None(packet, FindingKind::LeftOut, fmt::format("a LIN packet of message type {}", messageType));
  if (BigEndianAt(bytes, kLinHead) != kLinWakeUpSignal)
    return None(packet, FindingKind::LeftOut, "a LIN event that is no wake-up signal");
  const unsigned int flags = QOR_TRACE_LIN_WAKEUP | (packet.Outbound ? QOR_TRACE_LIN_TRANSMITTED : 0);
  return Made.Lin({packet.Channel, packet.Time},
                  {.Flags = static_cast<unsigned short>(flags), .BitTime = BitTimeOf(packet.BitRate)});
}

const RecordView* PacketRecords::MakeLinFrame(const CapturedPacket& packet) {
  const auto& bytes = packet.Data;
  const size_t count = bytes[4] >> 4;
  if (count > LinView::kMostDataBytes)
    return None(packet, FindingKind::Unread, "a LIN packet with a length that no frame has");
  if (bytes.size() < kLinHead + count)
    return None(packet, FindingKind::Unread, "a LIN packet that was not captured whole");
  const unsigned char errors = bytes[7];
  const auto flagIf = [&](unsigned char bit, unsigned int flag) { return (errors & bit) != 0 ? flag : 0u; };
  const unsigned int flags =
      flagIf(kLinFraming, QOR_TRACE_LIN_SYNC_ERROR) | flagIf(kLinParity, QOR_TRACE_LIN_PARITY_ERROR) |
      flagIf(kLinChecksum, QOR_TRACE_LIN_CHECKSUM_ERROR) |
      (packet.Outbound ? flagIf(kLinNoResponse, QOR_TRACE_LIN_TRANSMIT_ERROR) | QOR_TRACE_LIN_TRANSMITTED : 0u);
  if ((errors & (kLinOverflow | kLinInvalidIdentifier)) != 0)
    Found.AtByte(FindingKind::Odd, "a LIN frame with an error that records don't have", packet.Byte);
  // With a parity error, the parity bits are what matters.
  const auto identifier = static_cast<unsigned char>((errors & kLinParity) != 0 ? bytes[5] : bytes[5] & 0x3F);
  LinParts parts{
      .Identifier = identifier, .Flags = static_cast<unsigned short>(flags), .BitTime = BitTimeOf(packet.BitRate)};
  parts.Data = bytes.subspan(kLinHead, count);
  // A header that nobody answered has neither data nor a checksum.
  if (count > 0 || bytes[6] != 0) parts.Checksum = bytes[6];
  return Made.Lin({packet.Channel, packet.Time}, parts);
}

// ---- FlexRay --------------------------------------------------------------------------------------------------------

const RecordView* PacketRecords::MakeFlexRay(const CapturedPacket& packet, bool bothChannels) {
  const auto& bytes = packet.Data;
  if (bytes.empty()) return None(packet, FindingKind::Unread, "an empty FlexRay packet");
  const unsigned char type = bytes[0] & ~kFlexRayChannelB & 0xFF;
  const RecordHead head{packet.Channel, packet.Time};
  FlexRayParts parts{.Channel = static_cast<unsigned char>((bytes[0] & kFlexRayChannelB) != 0 ? 1 : 0)};
  if (bothChannels) parts.Channel = 2;
  if (type == kFlexRaySymbol) {
    parts.Type = FlexRayItemType::Symbol;
    return Made.FlexRay(head, parts);
  }
  if (type != kFlexRayFrame)
    return None(packet, FindingKind::LeftOut, fmt::format("a FlexRay packet of type {}", type));
  if (bytes.size() < kFlexRayHead) return None(packet, FindingKind::Unread, "a FlexRay packet shorter than its header");
  if (bytes[1] != 0)
    Found.AtByte(FindingKind::Odd, "a FlexRay frame with errors that frames of a record don't have", packet.Byte);
  if (packet.Outbound) parts.Type = FlexRayItemType::TransmittedFrame;
  parts.FrameFlags =
      static_cast<unsigned char>(FlagIf((bytes[2] & kFlexRayPreamble) != 0, QOR_TRACE_FLEXRAY_INDICATOR) |
                                 FlagIf((bytes[2] & kFlexRayNotNull) == 0, QOR_TRACE_FLEXRAY_NULL) |
                                 FlagIf((bytes[2] & kFlexRaySync) != 0, QOR_TRACE_FLEXRAY_SYNC) |
                                 FlagIf((bytes[2] & kFlexRayStartup) != 0, QOR_TRACE_FLEXRAY_STARTUP));
  parts.SlotId = static_cast<unsigned short>((bytes[2] & 0x07) << 8 | bytes[3]);
  parts.PayloadWords = static_cast<unsigned char>(bytes[4] >> 1);
  parts.HeaderCrc = static_cast<unsigned short>((bytes[4] & 1) << 10 | bytes[5] << 2 | bytes[6] >> 6);
  parts.Cycle = static_cast<unsigned char>(bytes[6] & 0x3F);
  const size_t announced = size_t{2} * parts.PayloadWords;
  parts.Data = bytes.subspan(kFlexRayHead, std::min(announced, bytes.size() - kFlexRayHead));
  NoteIfCut(packet, parts.Data.size() < announced);
  return Made.FlexRay(head, parts);
}

bool PacketRecords::IsFlexRayFrameOfChannelA(const CapturedPacket& packet) {
  return packet.Link == static_cast<unsigned int>(LinkType::FlexRay) && !packet.Data.empty() &&
         packet.Data[0] == kFlexRayFrame;
}

bool PacketRecords::AreOneFrame(const CapturedPacket& channelA, const CapturedPacket& channelB) {
  return channelA.Channel == channelB.Channel && channelA.Time == channelB.Time &&
         channelA.Outbound == channelB.Outbound && IsFlexRayFrameOfChannelA(channelA) && !channelB.Data.empty() &&
         channelB.Data[0] == (kFlexRayFrame | kFlexRayChannelB) &&
         std::ranges::equal(channelA.Data.subspan(1), channelB.Data.subspan(1));
}

// ---- Ethernet -------------------------------------------------------------------------------------------------------

const RecordView* PacketRecords::MakeEthernet(const CapturedPacket& packet) {
  const size_t onBus = std::max(packet.OriginalSize, packet.Data.size());
  const size_t frame = onBus - std::min<size_t>(packet.CheckSequence, onBus);
  EthernetParts parts{.Frame = packet.Data.first(std::min(packet.Data.size(), frame))};
  NoteIfCut(packet, parts.Frame.size() < frame);
  if (parts.Frame.size() > MadeRecord::kMostEthernet)
    Found.AtByte(FindingKind::Odd, "an Ethernet frame that is longer than a record can hold, and cut", packet.Byte);
  parts.Announced = static_cast<unsigned short>(std::min<size_t>(frame, 0xFFFF));
  const bool crcError = (packet.Errors & kPacketCrcError) != 0;
  if ((packet.Errors & ~kPacketCrcError) != 0)
    Found.AtByte(FindingKind::Odd, "an Ethernet frame with an error that records don't have", packet.Byte);
  parts.Flags = static_cast<unsigned char>(FlagIf(packet.Outbound, QOR_TRACE_ETHERNET_TRANSMITTED) |
                                           FlagIf(crcError, QOR_TRACE_ETHERNET_CRC_ERROR));
  return Made.Ethernet({packet.Channel, packet.Time}, parts);
}

const RecordView* PacketRecords::MakeCustom(const RecordHead& head, std::span<const unsigned char> data) {
  return Made.Ethernet(head, {.Type = EthernetItemType::Custom, .Frame = data});
}

// ---------------------------------------------------------------------------------------------------------------------

const RecordView* PacketRecords::None(const CapturedPacket& packet, FindingKind kind, const std::string& what) {
  Found.AtByte(kind, what, packet.Byte);
  return nullptr;
}

void PacketRecords::NoteIfCut(const CapturedPacket& packet, bool cut) {
  if (cut) Found.AtByte(FindingKind::Odd, "a packet that was not captured whole", packet.Byte);
}

}  // namespace client
