// What an entry is: a frame of its bus, or one of the other things that happen there.
#ifndef QOR_TRACE_ENTRYKIND_H
#define QOR_TRACE_ENTRYKIND_H

#include <cstddef>

#include "stream/Entry.h"

namespace client {

enum class Kind : unsigned char {
  CanFrame,  // data and remote frames
  CanFdFrame,
  CanError,
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
  FlexRayNull,   // null frame
  FlexRayCycle,  // start of a cycle
  FlexRayState,
  FlexRaySymbol,
  FlexRayError,
  FlexRayStatus,
  EthernetFrame,
  EthernetCrcError,  // a frame received with a CRC error
  EthernetRecord,    // a record of another kind
  OverrunMark,       // FlexRay and Ethernet: the mark has taken the place of the kind
  Malformed,         // too short for its fixed fields, an unknown kind or bus
};
constexpr std::size_t KindCount = 24;

/// @param length  bytes at `record`, at least 28
Kind KindOf(const unsigned char* record, unsigned int length);

struct KindText {
  const char* Word;  // in a row of a list, and in JSON
  const char* One;   // "wake-up"
  const char* Many;  // "wake-ups"
  const char* Key;   // its count in JSON
};
const KindText& TextOf(Kind kind);

/// Whether the entry is a frame that went over its bus: also a null frame, and one with a CRC error.
bool IsFrame(Kind kind);

/// Whether the entry was sent by the interface itself.
bool IsTransmitted(const unsigned char* record, unsigned int length);

/// Whether the entry is the last one before data were lost, according to the interface's mark.
bool HasOverrunMark(const unsigned char* record, unsigned int length);

/// "CAN", "LIN", "FlexRay", "Ethernet"; "?" for an unknown bus.
const char* BusName(unsigned char busType);

}  // namespace client

#endif  // QOR_TRACE_ENTRYKIND_H
