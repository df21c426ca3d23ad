// Thread start, time, numbers, texts and files. Events, message queues, fractions and interface types have their own
// sources beside this one.
#include "internal/qor_internal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "internal/SystemCalls.h"

pthread_t Qor_Internal_Thread_Start(void* (*start)(void*), void* /*unused*/, void* argument) {
  pthread_attr_t attributes;
  if (start == nullptr || System.ThreadAttributesInit(&attributes) != 0) return 0;

  pthread_t thread{};
  const int createError = System.ThreadCreate(&thread, &attributes, start, argument);
  // The texts, odd blanks and carriage returns included, are part of the interface.
  if (createError == EINVAL) LogError("%s : The value specified by attr is invalid.\r\n", __func__);

  const int destroyError = System.ThreadAttributesDestroy(&attributes);
  if (destroyError != 0) LogError("%s : error %d at pthread_attr_destroy\r\n", __func__, destroyError);
  return createError == 0 ? thread : 0;
}

double GetTickCount() {
  timespec now{};
  if (System.ClockGetTime(CLOCK_MONOTONIC, &now) != 0) return 0.0;
  return static_cast<double>(now.tv_sec) * 1000.0 + static_cast<double>(now.tv_nsec) / 1e6;
}

timespec ns_to_timespec(long ns) {
  constexpr long kNsPerSecond = 1'000'000'000;
  timespec time{ns / kNsPerSecond, ns % kNsPerSecond};
  if (time.tv_nsec < 0) {
    time.tv_nsec += kNsPerSecond;
    time.tv_sec -= 1;
  }
  return time;
}

char* itoa(long value, char* buffer) {
  constexpr std::size_t kLongest = sizeof "-9223372036854775808";
  if (buffer != nullptr) std::snprintf(buffer, kLongest, "%ld", value);
  return buffer;
}

const char* Qor_Internal_GetWindowsErrorDescription(int errorNumber) {
  // strerror shares one buffer between threads in older C libraries; strerror_r writes unknown numbers into ours.
  thread_local char buffer[128];
  const int errnoBefore = errno;
  const char* text = strerror_r(errorNumber, buffer, sizeof buffer);
  errno = errnoBefore;
  return text;
}

namespace {

// The position of a file's end, -1 if it has none. A directory's end means nothing.
off_t EndOf(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0) return -1;
  if (S_ISDIR(status.st_mode)) {
    errno = EISDIR;
    return -1;
  }
  return lseek(file, 0, SEEK_END);
}

}  // namespace

unsigned int Qor_Internal_GetFileSize(const char* path, unsigned int* size) {
  if (path == nullptr || size == nullptr) {
    errno = EINVAL;
    return QOR_INTERNAL_STATUS_FILE_ERROR;
  }
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);  // a pipe without a writer would block
  if (file < 0) return QOR_INTERNAL_STATUS_FILE_ERROR;

  const off_t end = EndOf(file);
  const int errnoOfEnd = errno;
  close(file);
  if (end < 0) {
    errno = errnoOfEnd;
    return QOR_INTERNAL_STATUS_FILE_ERROR;
  }
  *size = static_cast<unsigned int>(end);
  return 0;
}
