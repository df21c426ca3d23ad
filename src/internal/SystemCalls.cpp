#include "internal/SystemCalls.h"

#include <syslog.h>

#include <cerrno>

namespace {

mqd_t QueueOpen(const char* name, int flags, mode_t mode, mq_attr* attributes) {
  return mq_open(name, flags, mode, attributes);
}

}  // namespace

constinit SystemCalls System = {vsyslog,         pthread_attr_init, pthread_attr_destroy, pthread_create, clock_gettime,
                                clock_nanosleep, QueueOpen};

void LogError(const char* format, ...) {
  const int errnoBefore = errno;
  va_list arguments;
  va_start(arguments, format);
  System.Log(LOG_ERR, format, arguments);
  va_end(arguments);
  errno = errnoBefore;
}
