#include "tools/FakeTrace.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "qor_api_trace.h"

namespace {

/// Copies records as both kinds of retrieval do: each at a multiple of 8, its time since the previous one cleared.
class Response {
 public:
  Response(unsigned int capacity, unsigned char* buffer) : Capacity(capacity), Buffer(buffer) {}

  bool Add(const std::vector<unsigned char>& record) {
    const unsigned long end = (Used + record.size() + 7) & ~7ul;
    if (end > Capacity) return false;
    std::memcpy(Buffer + Used, record.data(), record.size());
    std::memset(Buffer + Used + 16, 0, 8);
    Used = end;
    return true;
  }
  unsigned int Size() const { return static_cast<unsigned int>(Used); }

 private:
  unsigned long Capacity;
  unsigned char* Buffer;
  unsigned long Used = 0;
};

}  // namespace

FakeTrace& FakeTrace::The() {
  static FakeTrace trace;
  return trace;
}

void FakeTrace::Reset(unsigned int memoryLimit) {
  *this = FakeTrace();
  MemoryLimit = memoryLimit;
}

std::vector<unsigned char> FakeTrace::Entry(unsigned int index, unsigned int length) {
  std::vector<unsigned char> entry(length, static_cast<unsigned char>(index * 7));
  std::memcpy(entry.data(), &length, 4);
  std::memcpy(entry.data() + 8, &index, 4);
  std::memset(entry.data() + 16, 0, 8);
  return entry;
}

void FakeTrace::AddBatch(const std::vector<unsigned int>& lengths) {
  for (const unsigned int length : lengths) Store.push_back(Entry(EntryCount(), length));
  if (MemoryLimit > Store.size()) return;
  std::move(Store.begin(), Store.end(), std::back_inserter(SwapFile));
  Store.clear();
}

unsigned int FakeTrace::GetItems(unsigned int start, unsigned int* count, unsigned int* size, unsigned char* buffer) {
  const auto swapped = static_cast<unsigned int>(SwapFile.size());
  const auto inMemory = static_cast<unsigned int>(Store.size());
  const unsigned int wanted = std::exchange(*count, 0);
  Response response(std::exchange(*size, 0), buffer);
  ++Calls;
  if (start > swapped + inMemory) return QOR_TRACE_STATUS_OK;

  unsigned int fromFile = 0, index = 0, limit = wanted, fromMemory = wanted;
  if (start <= swapped) {
    fromFile = swapped - start;
    fromMemory = wanted == 0 ? inMemory : wanted - fromFile;
    if (wanted == 0) limit = fromFile + inMemory;
  } else {
    index = start;
    if (wanted == 0) limit = fromMemory = inMemory - start;
  }

  bool fits = true;
  for (unsigned int read = 0; fits && read < fromFile && *count < limit; ++read) {
    fits = response.Add(SwapFile[start + read]);
    *count += fits;
  }
  for (unsigned int read = 0; fits && read < fromMemory && *count < limit && index < inMemory; ++read, ++index) {
    fits = response.Add(Store[index]);
    *count += fits;
  }
  *size = response.Size();
  Copied += *count;
  TooSmall += !fits;
  return fits ? QOR_TRACE_STATUS_OK : QOR_TRACE_STATUS_BUFFER_TOO_SMALL;
}

extern "C" unsigned int Qor_Trace_GetItems(unsigned int handle, unsigned int reserved, unsigned int start,
                                           unsigned int* count, unsigned int* size, unsigned char* buffer) {
  if (handle != 1) return QOR_TRACE_STATUS_UNKNOWN_HANDLE;
  if (reserved != 0) return QOR_TRACE_STATUS_INVALID_ARGUMENT;
  if (FakeTrace::The().Between) FakeTrace::The().Between();
  return FakeTrace::The().GetItems(start, count, size, buffer);
}

extern "C" unsigned int Qor_Trace_Property_GetById(unsigned int handle, unsigned int, Qor_Trace_PropertyId_t id,
                                                   unsigned int* length, unsigned char* value) {
  FakeTrace& trace = FakeTrace::The();
  if (handle != 1) return QOR_TRACE_STATUS_UNKNOWN_HANDLE;
  if (*length < 4) return QOR_TRACE_STATUS_INVALID_VALUE;
  if (trace.Between) trace.Between();
  unsigned int number = 0;
  if (id == QOR_TRACE_PROPERTY_ENTRY_COUNT)
    number = trace.EntryCount();
  else if (id == QOR_TRACE_PROPERTY_MAX_ENTRIES)
    number = trace.MemoryLimit;
  else
    return QOR_TRACE_STATUS_UNKNOWN_PROPERTY;
  std::memcpy(value, &number, 4);
  *length = 4;
  return QOR_TRACE_STATUS_OK;
}
