// One record, one line of an ASC log.
//
// A line function writes at `out`, where LineRoom(record) bytes must be free, and returns the new end. A record that is too
// short for its bus still gets its line: missing fields print as 0, and of the announced data bytes only those that
// are present are printed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "export/AscLineState.h"
#include "export/AscText.h"
#include "record/RecordView.h"

namespace asc {

/// Bytes enough for any line but an Ethernet one.
constexpr size_t kLineRoom = 4096;
/// Bytes enough for the longest line of all, an Ethernet frame of 65535 bytes.
constexpr size_t kLongestLineRoom = kLineRoom + 2 * size_t{65535};

/// CAN and CAN FD frames, error frames, trigger and user events.
char* CanLine(AscLineState& state, RecordView record, char* out);
/// Nothing for a record that readers skip.
char* LinLine(AscLineState& state, RecordView record, char* out);
/// Syntax and content errors, and unknown item types, end in a carriage return without a line feed: the next line continues
/// there.
char* FlexRayLine(AscLineState& state, RecordView record, char* out);
/// Nothing for a record that isn't a frame.
char* EthernetLine(AscLineState& state, RecordView record, char* out);

/// Bytes that the line of a record may need.
inline size_t LineRoom(RecordView record) {
  if (record.Bus() != BusType_Ethernet) return kLineRoom;
  return kLineRoom + 2 * std::min<size_t>(record.Length(), 65535);
}

/// The timestamp column with its blank; notes the record's time.
inline char* TimestampColumn(AscLineState& state, RecordView record, char* out) {
  const unsigned long origin = state.Has(QOR_TRACE_ASC_START_OFFSET) ? state.StartTime : 0;
  state.Last = AscTime::Between(record.Timestamp(), origin);
  state.Fixed = true;
  const AscTime printed = state.Has(QOR_TRACE_ASC_RELATIVE)
                              ? AscTime::Signed(static_cast<unsigned long>(record.RelativeTimestamp()))
                              : state.Last;
  return Character(Seconds(out, printed, state.Decimals), ' ');
}

}  // namespace asc
