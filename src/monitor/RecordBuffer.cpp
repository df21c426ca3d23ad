#include "monitor/RecordBuffer.h"

#include "internal/Qor_Trace_Exception.h"
#include "qor_api.h"
#include "record/Qor_Trace_Entry.h"

namespace {

constexpr unsigned long RoundUpTo8(unsigned long bytes) { return (bytes + 7) & ~7UL; }

}  // namespace

RecordBuffer::RecordBuffer(unsigned int* count, unsigned int* size, unsigned char* buffer)
    : Records(count), Used(size), Capacity(*size), Buffer(buffer) {
  *Records = 0;
  *Used = 0;
}

unsigned char* RecordBuffer::Room(unsigned int length) {
  if (RoundUpTo8(static_cast<unsigned long>(*Used) + length) > Capacity) {
    throw Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_BUFFER_TOO_SMALL,
                              "the response buffer is too small for all available monitor entries");
  }
  return Buffer + *Used;
}

void RecordBuffer::Placed(unsigned int length) {
  *Used = static_cast<unsigned int>(RoundUpTo8(static_cast<unsigned long>(*Used) + length));
  ++*Records;
}
