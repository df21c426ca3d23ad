// What a record can be, by name.
#pragma once

#include <cstddef>

/// A frame of its bus, or one of the other things that happen there.
enum class RecordKind : unsigned char {
  CanFrame,  // a classic frame, data or remote
  CanFdFrame,
  CanErrorFrame,
  CanEvent,  // log trigger or user event
  LinFrame,
  LinNoResponse,  // a header that nobody answered
  LinWakeUp,
  LinChecksumError,
  LinParityError,
  LinSyncError,
  LinTransmitError,
  LinEvent,  // event-triggered frame information
  FlexRayFrame,
  FlexRayNullFrame,
  FlexRayCycleStart,
  FlexRayState,  // the controller's state has changed
  FlexRaySymbol,
  FlexRayError,
  FlexRayStatus,
  EthernetFrame,
  EthernetCrcError,  // a frame received with a CRC error
  EthernetRecord,    // any other Ethernet item
  OverrunMark,       // FlexRay and Ethernet: the mark of a loss has taken the place of the kind
  Unknown,           // an unknown bus or item type, a record that is cut short, or one that readers skip
};
/// The number of kinds, for tables with one row per kind.
inline constexpr size_t kRecordKindCount = static_cast<size_t>(RecordKind::Unknown) + 1;

/// True for a frame that went over its bus whole, null frames and frames with a CRC error included.
[[nodiscard]] constexpr bool IsFrame(RecordKind kind) {
  switch (kind) {
    case RecordKind::CanFrame:
    case RecordKind::CanFdFrame:
    case RecordKind::LinFrame:
    case RecordKind::FlexRayFrame:
    case RecordKind::FlexRayNullFrame:
    case RecordKind::EthernetFrame:
    case RecordKind::EthernetCrcError:
      return true;
    default:
      return false;
  }
}

/// ItemType of a FlexRay record. Values above the last one are of no known kind.
enum class FlexRayItemType : unsigned short {
  Overrun = 0,  // the last item before data were lost; its own type is gone
  ReceivedFrame = 1,
  TransmittedFrame = 2,
  CycleStart = 3,
  State = 4,
  Status = 5,  // carries no values
  Symbol = 6,
  NitSyntaxError = 7,  // NIT: the network idle time at the end of a cycle
  SyntaxError = 8,
  NitBoundaryViolation = 9,
  ContentError = 10,
};

/// ItemType of an Ethernet record.
enum class EthernetItemType : unsigned short {
  Overrun = 0,  // the last item before data were lost; its own type is gone
  Frame = 1,
  Custom = 2,  // only PCAPNG files have a place for it
};
