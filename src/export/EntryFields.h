// Reading a trace entry no further than its record goes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "record/Qor_Trace_Entry.h"

/// Gives the fields of a record up to a fixed length, whether or not the record is that long: fields that are not there
/// read as 0. The record has at least the 28 bytes of the common header.
class WholeHead {
 public:
  /// `entry` must outlive this object; `length` is at most sizeof(Qor_Trace_Entry_t).
  WholeHead(const Qor_Trace_Entry_t& entry, size_t length) : Head(&entry) {
    if (entry.Length < length) Head = Completed(entry, length);
  }
  WholeHead(const WholeHead&) = delete;
  WholeHead& operator=(const WholeHead&) = delete;

  const Qor_Trace_Entry_t* operator->() const { return Head; }

 private:
  const Qor_Trace_Entry_t* Completed(const Qor_Trace_Entry_t& entry, size_t length) {
    std::memset(&Copy, 0, length);
    std::memcpy(&Copy, &entry, entry.Length);
    return &Copy;
  }

  const Qor_Trace_Entry_t* Head;
  Qor_Trace_Entry_t Copy;  // not initialised: only used for a record that is too short
};

/// Of `announced` bytes from `offset` on, the number that the record holds.
inline size_t BytesThere(const Qor_Trace_Entry_t& entry, size_t offset, size_t announced) {
  return entry.Length > offset ? std::min<size_t>(announced, entry.Length - offset) : 0;
}

inline const unsigned char* BytesAt(const Qor_Trace_Entry_t& entry, size_t offset) {
  return reinterpret_cast<const unsigned char*>(&entry) + offset;
}
