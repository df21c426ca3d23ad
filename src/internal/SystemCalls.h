// The system log and a few system calls, in one table: those that tests couldn't otherwise make fail or observe.
//
// Tests put functions of their own in its place, before they start threads; nothing else writes to it.
#pragma once

#include <mqueue.h>
#include <pthread.h>

#include <cstdarg>
#include <ctime>

struct SystemCalls {
  void (*Log)(int priority, const char* format, va_list arguments);  // vsyslog
  int (*ThreadAttributesInit)(pthread_attr_t*);
  int (*ThreadAttributesDestroy)(pthread_attr_t*);
  int (*ThreadCreate)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  int (*ClockGetTime)(clockid_t, timespec*);
  int (*ClockSleep)(clockid_t, int flags, const timespec* time, timespec* rest);  // clock_nanosleep
  mqd_t (*QueueOpen)(const char* name, int flags, mode_t, mq_attr*);
};

extern SystemCalls System;

/// Writes one line to the system log, priority 3 (error).
///
/// @param format  as for printf; %m is the text of errno
/// errno is left as it was.
[[gnu::format(printf, 1, 2)]] void LogError(const char* format, ...);
