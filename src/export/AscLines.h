// One entry, one line of an ASC log.
//
// A line function writes at `out`, where LineRoom(entry) bytes must be free, and returns the new end. It reads no
// byte behind entry.Length, which must be at least the 28 of the common header: fields that are not there read as 0, and of
// the data bytes that an entry announces only those are printed that are there.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "export/AscLineState.h"
#include "export/AscText.h"
#include "export/EntryFields.h"
#include "record/Qor_Trace_Entry.h"

namespace asc {

/// Bytes enough for any line but an Ethernet one.
constexpr size_t kLineRoom = 4096;
/// Bytes enough for the longest line of all, an Ethernet frame of 65535 bytes.
constexpr size_t kLongestLineRoom = kLineRoom + 2 * size_t{65535};

/// CAN and CAN FD frames, error frames, trigger and user events.
char* CanLine(AscLineState& state, const Qor_Trace_Entry_t& entry, char* out);
/// Nothing for an entry whose Reserved1 is not 0.
char* LinLine(AscLineState& state, const Qor_Trace_Entry_t& entry, char* out);
/// Kinds 8 and 10, and those above, end in a carriage return without a line feed.
char* FlexRayLine(AscLineState& state, const Qor_Trace_Entry_t& entry, char* out);
/// Nothing for an entry that is no frame.
char* EthernetLine(AscLineState& state, const Qor_Trace_Entry_t& entry, char* out);

/// Bytes that the line of `entry` may need.
inline size_t LineRoom(const Qor_Trace_Entry_t& entry) {
  if (entry.BusType != BusType_Ethernet) return kLineRoom;
  return kLineRoom + 2 * std::min<size_t>(entry.Length, 65535);
}

/// The timestamp column with its blank; notes the entry's time.
inline char* TimestampColumn(AscLineState& state, const Qor_Trace_Entry_t& entry, char* out) {
  const unsigned long origin = state.Has(QOR_TRACE_ASC_START_OFFSET) ? state.StartTime : 0;
  state.Last = AscTime::Between(entry.Timestamp, origin);
  state.Fixed = true;
  const AscTime printed =
      state.Has(QOR_TRACE_ASC_RELATIVE) ? AscTime::Signed(Qor_Trace_LoadRelativeTimestamp(entry)) : state.Last;
  return Character(Seconds(out, printed, state.Decimals), ' ');
}

}  // namespace asc
