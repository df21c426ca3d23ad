// Properties of a monitor.
#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "monitor/Qor_Trace.h"
#include "qor_api.h"

namespace {

// Sets of property ids, one bit per id.
constexpr unsigned int kPropertyCount = 13;
constexpr unsigned int kNumbers = 0x153;                 // 0, 1, 4, 6, 8
constexpr unsigned int kReadableTexts = 0x1EA0;          // 5, 7, 9 to 12
constexpr unsigned int kWritableWithoutLength = 0x1EAC;  // commands 2 and 3, texts
constexpr unsigned int kWritableNumbers = 0x150;         // 4, 6, 8
constexpr unsigned int kNumberLength = 4;
constexpr unsigned int kShortestText = 1;  // its closing zero

bool In(unsigned int set, Qor_Trace_PropertyId_t id) { return id < kPropertyCount && ((set >> id) & 1U) != 0; }

[[noreturn]] void Fail(unsigned int status, const std::string& text) {
  throw Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, status, text);
}

[[noreturn]] void FailDirection(const char* direction) {
  Fail(QOR_TRACE_STATUS_PROPERTY_ACCESS, std::string("this property id") + direction);
}

void RequireLength(unsigned int length, unsigned int minimum) {
  if (length >= minimum) return;
  Fail(QOR_TRACE_STATUS_INVALID_VALUE, "minimum length is " + std::to_string(minimum) + " bytes");
}

}  // namespace

void Qor_Trace_Monitor::Property_GetById(unsigned int /*selector*/, Qor_Trace_PropertyId_t id, unsigned int* length,
                                         unsigned char* value) {
  if (id >= kPropertyCount) Fail(QOR_TRACE_STATUS_UNKNOWN_PROPERTY, "");
  if (!In(kNumbers | kReadableTexts, id)) FailDirection(" is write-only");
  RequireLength(*length, In(kNumbers, id) ? kNumberLength : kShortestText);
  if (In(kNumbers, id)) {
    const unsigned int number = Number(id);
    std::memcpy(value, &number, kNumberLength);
    *length = kNumberLength;
    return;
  }
  MutexLock lock(MutexSettings);
  const std::string& text = Text(id);
  const size_t copied = std::min<size_t>(text.size(), *length - 1);
  std::memcpy(value, text.data(), copied);
  value[copied] = 0;
  *length = static_cast<unsigned int>(copied);
}

void Qor_Trace_Monitor::Property_SetById(unsigned int /*selector*/, Qor_Trace_PropertyId_t id, unsigned int length,
                                         const unsigned char* value) {
  if (id >= kPropertyCount) Fail(QOR_TRACE_STATUS_UNKNOWN_PROPERTY, "");
  if (!In(kWritableWithoutLength | kWritableNumbers, id)) FailDirection(" is read-only");
  if (In(kWritableNumbers, id)) {
    RequireLength(length, kNumberLength);
    unsigned int number = 0;
    std::memcpy(&number, value, kNumberLength);
    SetNumber(id, number);
  } else if (id == QOR_TRACE_PROPERTY_FLUSH) {
    FlushMonitorBuffer();
  } else if (id == QOR_TRACE_PROPERTY_FLUSH_LIST) {
    FlushListMonitorBuffer();
  } else {
    if (value == nullptr) throw std::logic_error("Qor_Trace_Property_SetById: a text property needs a text");
    std::string text(reinterpret_cast<const char*>(value));
    MutexLock lock(MutexSettings);
    Text(id).swap(text);
  }
}

unsigned int Qor_Trace_Monitor::Number(Qor_Trace_PropertyId_t id) const {
  switch (id) {
    case QOR_TRACE_PROPERTY_ENTRY_COUNT:
      return EntryCount;
    case QOR_TRACE_PROPERTY_LIST_COUNT:
      return ListCount;
    case QOR_TRACE_PROPERTY_MAX_ENTRIES:
      return MaxEntriesInMemory;
    case QOR_TRACE_PROPERTY_ASC_MAX_FILE_SIZE:
      return AscMaxFileSize;
    default:
      return MdfMaxFileSize;
  }
}

void Qor_Trace_Monitor::SetNumber(Qor_Trace_PropertyId_t id, unsigned int value) {
  if (id == QOR_TRACE_PROPERTY_MAX_ENTRIES) {
    MutexLock lock(MutexStore);
    MaxEntriesInMemory = value;
  } else if (id == QOR_TRACE_PROPERTY_ASC_MAX_FILE_SIZE) {
    AscMaxFileSize = value;
  } else {
    MdfMaxFileSize = value;
  }
}

std::string& Qor_Trace_Monitor::Text(Qor_Trace_PropertyId_t id) {
  switch (id) {
    case QOR_TRACE_PROPERTY_ASC_FILE_NAME:
      return AscFileName;
    case QOR_TRACE_PROPERTY_MDF_FILE_NAME:
      return MdfFileName;
    case QOR_TRACE_PROPERTY_FILE_INFO_1:
      return FileInfoText1;
    case QOR_TRACE_PROPERTY_FILE_INFO_2:
      return FileInfoText2;
    case QOR_TRACE_PROPERTY_FILE_INFO_3:
      return FileInfoText3;
    default:
      return FileInfoText4;
  }
}
