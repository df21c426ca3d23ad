#include "internal/qor_internal.h"

#include <cerrno>
#include <cstring>

const char* Qor_Internal_GetWindowsErrorDescription(int errorNumber) {
  // strerror shares one buffer between threads in older C libraries; strerror_r writes unknown numbers into ours.
  thread_local char buffer[128];
  const int errnoBefore = errno;
  const char* text = strerror_r(errorNumber, buffer, sizeof buffer);
  errno = errnoBefore;
  return text;
}
