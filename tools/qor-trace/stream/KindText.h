// Words for kinds of records and for buses.
#pragma once

#include "record/RecordKind.h"

namespace client {

struct KindText {
  const char* Word;  // in a row of a list, and in JSON
  const char* One;   // "wake-up"
  const char* Many;  // "wake-ups"
  const char* Key;   // of its count in JSON; differs from those of the bus's other kinds
};
[[nodiscard]] const KindText& TextOf(RecordKind kind);

/// Something went wrong on the bus, as the field "error" of filters has it. A header that nobody answers isn't an error.
[[nodiscard]] constexpr bool IsError(RecordKind kind) {
  switch (kind) {
    case RecordKind::CanErrorFrame:
    case RecordKind::LinChecksumError:
    case RecordKind::LinParityError:
    case RecordKind::LinSyncError:
    case RecordKind::LinTransmitError:
    case RecordKind::FlexRayError:
    case RecordKind::EthernetCrcError:
      return true;
    default:
      return false;
  }
}

/// "CAN", "LIN", "FlexRay", "Ethernet"; "?" for an unknown bus.
[[nodiscard]] const char* BusName(unsigned char busType);

}  // namespace client
