// The caller's response buffer of the retrieval calls.
#pragma once

#include <cstring>

#include "internal/Qor_Trace_Exception.h"
#include "qor_api.h"
#include "qor_api_trace.h"
#include "record/Qor_Trace_Entry.h"

/// Places records one after the other, each at a multiple of 8. Whatever ends the call, the caller's count and size then tell
/// what was placed, so that it stays usable when a record doesn't fit.
class RecordBuffer {
 public:
  /// @param count  out: records placed
  /// @param size   in: capacity, bytes; out: end of the last record rounded up to 8
  RecordBuffer(unsigned int* count, unsigned int* size, unsigned char* buffer)
      : CallersCount(count), CallersSize(size), Capacity(*size), Buffer(buffer) {}
  ~RecordBuffer() {
    *CallersCount = Records;
    *CallersSize = static_cast<unsigned int>(Used);
  }
  RecordBuffer(const RecordBuffer&) = delete;
  RecordBuffer& operator=(const RecordBuffer&) = delete;

  /// Room for the next record; it counts only once Placed is called.
  /// @throws Qor_Trace_Exception QOR_TRACE_STATUS_BUFFER_TOO_SMALL if it doesn't fit
  [[nodiscard]] unsigned char* Room(unsigned int length) {
    if (EndAfter(length) > Capacity) FailTooSmall();
    return Buffer + Used;
  }
  void Placed(unsigned int length) {
    Used = EndAfter(length);
    ++Records;
  }

  /// Places a copy of a record with the given relative timestamp. The bytes up to the next multiple of 8 stay the caller's.
  void Add(const Qor_Trace_Entry_t& record, unsigned long relativeTimestamp) {
    const unsigned int length = record.Length;
    unsigned char* const out = Room(length);
    CopyWhole(out, reinterpret_cast<const unsigned char*>(&record), length);
    std::memcpy(out + kEntryRelativeTimestamp, &relativeTimestamp, sizeof relativeTimestamp);
    Placed(length);
  }

  [[nodiscard]] unsigned int Count() const { return Records; }
  /// As many records as could fit, were they short.
  [[nodiscard]] unsigned int MostRecords() const { return Capacity / kEntryCanData; }

 private:
  /// memcpy for the lengths of records, of which none is shorter than one piece: in pieces, the last of which may overlap the
  /// one before. A call for each record takes as long as its bytes do.
  static void CopyWhole(unsigned char* out, const unsigned char* from, unsigned int length) {
    constexpr unsigned int kPiece = 16;
    static_assert(kPiece <= kEntryPayload);
    for (unsigned int place = 0; place + kPiece <= length; place += kPiece)
      std::memcpy(out + place, from + place, kPiece);
    std::memcpy(out + length - kPiece, from + length - kPiece, kPiece);
  }
  [[nodiscard]] unsigned long EndAfter(unsigned int length) const { return (Used + length + 7) & ~7UL; }
  [[noreturn]] static void FailTooSmall() {
    throw Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_BUFFER_TOO_SMALL,
                              "the response buffer is too small for all available monitor entries");
  }

  unsigned int* const CallersCount;
  unsigned int* const CallersSize;
  const unsigned int Capacity;
  unsigned char* const Buffer;
  unsigned int Records = 0;
  unsigned long Used = 0;  // bytes
};
