// Trace entries as packets of the link types that capture files know.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>

#include "record/RecordView.h"
#include "stream/PacketLayouts.h"

namespace client {

/// Why an entry is not in a capture file.
enum class PcapngOmission {
  CanEvent,        // a log-trigger or user event
  LinEvent,        // event-triggered frame information
  FlexRayEvent,    // a status, error, symbol or start-of-cycle item
  EthernetRecord,  // a record of another kind than a frame
  OverrunMark,     // a FlexRay or Ethernet entry whose kind was overwritten by an overrun mark
  Malformed,       // too short for its fixed fields, lengths that no frame has, an unknown bus
};
/// Their names, in the same order.
extern const std::span<const char* const> kPcapngOmissions;

/// One packet: a head that the link type asks for, and data.
struct Packet {
  std::array<unsigned char, 16> Head;  // HeadSize bytes count
  size_t HeadSize = 0;
  RecordPayload Data = {};  // of the record, or zeros that live forever
  size_t OriginalSize = 0;  // bytes on the bus, head included: more than there are when the record was cut short
  bool Outbound = false;
  bool CrcError = false;
  bool AlsoOnChannelB = false;  // FlexRay: the same frame was on channel B as well
};

/// Makes the packet of an entry; it points into the record.
/// @return why there is none
[[nodiscard]] std::optional<PcapngOmission> MakePacket(const RecordView& record, Packet& packet);

/// Turns a FlexRay packet of channel A into the same one of channel B.
void MoveToChannelB(Packet& packet);

}  // namespace client
