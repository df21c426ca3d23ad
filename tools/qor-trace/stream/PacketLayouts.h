// How the packets of capture files look, for those who write them and those who read them.
#pragma once

#include <cstddef>
#include <optional>

#include "qor_api_trace.h"

namespace client {

/// Link types as capture files number them.
enum class LinkType : unsigned short {
  Ethernet = 1,     // LINKTYPE_ETHERNET
  FlexRay = 210,    // LINKTYPE_FLEXRAY
  Lin = 212,        // LINKTYPE_LIN
  SocketCan = 227,  // LINKTYPE_CAN_SOCKETCAN
};

/// What a bus is called in a capture file, "CAN" and so on, and its link type.
struct CaptureBus {
  const char* Name;
  LinkType Link;
  unsigned char BusType;  // Qor_Trace_BusType
};

constexpr CaptureBus kCaptureBuses[] = {
    {"CAN", LinkType::SocketCan, BusType_Can},
    {"LIN", LinkType::Lin, BusType_Lin},
    {"FR", LinkType::FlexRay, BusType_FlexRay},
    {"ETH", LinkType::Ethernet, BusType_Ethernet},
};

/// Nothing for an unknown bus.
[[nodiscard]] constexpr std::optional<CaptureBus> CaptureBusOf(unsigned char busType) {
  for (const CaptureBus& bus : kCaptureBuses)
    if (bus.BusType == busType) return bus;
  return std::nullopt;
}

/// Nothing for a link type without a bus of ours.
[[nodiscard]] constexpr std::optional<CaptureBus> CaptureBusOfLink(unsigned int link) {
  for (const CaptureBus& bus : kCaptureBuses)
    if (static_cast<unsigned int>(bus.Link) == link) return bus;
  return std::nullopt;
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

constexpr unsigned int kSocketCanExtended = 0x80000000;
constexpr unsigned int kSocketCanRemote = 0x40000000;
constexpr unsigned int kSocketCanError = 0x20000000;
constexpr unsigned int kSocketCanIdentifierBits = 0x1FFFFFFF;
constexpr unsigned char kSocketCanBrs = 0x01;
constexpr unsigned char kSocketCanEsi = 0x02;
constexpr unsigned char kSocketCanFdf = 0x04;
constexpr size_t kSocketCanHead = 8;

// Error frames have 8 data bytes: class bits in the identifier, byte 2 the type of a protocol violation, byte 3 its place.
constexpr unsigned int kClassProtocol = 0x08;
constexpr unsigned int kClassAcknowledge = 0x20;
constexpr unsigned int kClassBusError = 0x80;
constexpr unsigned char kTypeForm = 0x02;
constexpr unsigned char kTypeStuff = 0x04;
constexpr unsigned char kTypeBit0 = 0x08;
constexpr unsigned char kTypeBit1 = 0x10;
constexpr unsigned char kTypeSending = 0x80;
constexpr unsigned char kPlaceCrcSequence = 0x08;
constexpr unsigned char kPlaceAckSlot = 0x19;

struct SocketCanErrorKind {
  unsigned int Class;
  unsigned char Type;
  unsigned char Place;
};

/// By the code of a record's error frame.
constexpr SocketCanErrorKind kSocketCanErrorKinds[] = {
    {kClassProtocol, 0, 0},                                  // 0 and above 7: unspecified
    {kClassProtocol, kTypeStuff, 0},                         // 1 bit stuffing
    {kClassProtocol, kTypeForm, 0},                          // 2 form
    {kClassProtocol | kClassAcknowledge, 0, kPlaceAckSlot},  // 3 no acknowledge
    {kClassProtocol, kTypeBit1, 0},                          // 4 recessive bit not sent
    {kClassProtocol, kTypeBit0, 0},                          // 5 dominant bit not sent
    {kClassProtocol, 0, kPlaceCrcSequence},                  // 6 CRC
    {kClassProtocol, 0, 0},                                  // 7 other
};

/// The code of an error frame, 1 to 7, whoever wrote it: several bits may be set, of which the first one here counts.
[[nodiscard]] constexpr unsigned char CanErrorCodeOf(unsigned int errorClass, unsigned char type, unsigned char place) {
  if ((errorClass & kClassAcknowledge) != 0) return 3;
  if ((type & kTypeStuff) != 0) return 1;
  if ((type & kTypeForm) != 0) return 2;
  if ((type & kTypeBit1) != 0) return 4;
  if ((type & kTypeBit0) != 0) return 5;
  return place == kPlaceCrcSequence ? 6 : 7;
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

constexpr size_t kLinHead = 8;
constexpr unsigned int kLinFrameType = 0;
constexpr unsigned int kLinEventType = 3;
constexpr unsigned int kLinWakeUpSignal = 0xB0B00004;
constexpr unsigned char kLinNoResponse = 0x01;
constexpr unsigned char kLinFraming = 0x02;
constexpr unsigned char kLinParity = 0x04;
constexpr unsigned char kLinChecksum = 0x08;

// ---- FlexRay --------------------------------------------------------------------------------------------------------
//
//  LINKTYPE_FLEXRAY
//  0  1  1 frame, 2 symbol; bit 7: channel B
//  1  1  error flags, 0
//  2  5  frame header, big-endian: 1 bit 0, payload preamble, not a null frame, sync, startup; 11 bits slot; 7 bits
//        payload length in words; 11 bits header CRC; 6 bits cycle
//  7     payload

constexpr unsigned char kFlexRayFrame = 0x01;
constexpr unsigned char kFlexRaySymbol = 0x02;
constexpr unsigned char kFlexRayChannelB = 0x80;
constexpr size_t kFlexRayHead = 7;
constexpr unsigned char kFlexRayPreamble = 0x40;
constexpr unsigned char kFlexRayNotNull = 0x20;
constexpr unsigned char kFlexRaySync = 0x10;
constexpr unsigned char kFlexRayStartup = 0x08;

// ---- Ethernet -------------------------------------------------------------------------------------------------------
//
//  LINKTYPE_ETHERNET: the frame from the destination address on. Whether its check sequence is appended, the file says.

/// In the link-dependent half of a packet's flags.
constexpr unsigned int kPacketCrcError = 1u << 24;

}  // namespace client
