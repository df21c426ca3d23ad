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

/// "CAN", "LIN", "FlexRay", "Ethernet"; "?" for an unknown bus.
[[nodiscard]] const char* BusName(unsigned char busType);

}  // namespace client
