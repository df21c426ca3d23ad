// The caller's response buffer of the retrieval calls.
#pragma once

/// Places records one after the other, each at a multiple of 8, and keeps the caller's count and size true at every
/// moment, so that what was placed stays usable when a record doesn't fit.
class RecordBuffer {
 public:
  /// @param count  out: records placed; 0 at first
  /// @param size   in: capacity, bytes; out: end of the last record rounded up to 8; 0 at first
  RecordBuffer(unsigned int* count, unsigned int* size, unsigned char* buffer);

  /// Room for the next record; it counts only once Placed is called.
  /// @throws Qor_Trace_Exception QOR_TRACE_STATUS_BUFFER_TOO_SMALL if it doesn't fit
  [[nodiscard]] unsigned char* Room(unsigned int length);
  void Placed(unsigned int length);

  [[nodiscard]] unsigned int Count() const { return *Records; }

 private:
  unsigned int* Records;
  unsigned int* Used;
  unsigned int Capacity;
  unsigned char* Buffer;
};
