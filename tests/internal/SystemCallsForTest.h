// Puts test functions in the place of the system log and of system calls, for the length of a test.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "internal/SystemCalls.h"

/// Gives System back as it was. Make one before changing System; no thread may be in the helpers then.
class SystemCallsRestored {
 public:
  SystemCallsRestored() = default;
  ~SystemCallsRestored() { System = Before; }
  SystemCallsRestored(const SystemCallsRestored&) = delete;
  SystemCallsRestored& operator=(const SystemCallsRestored&) = delete;

 private:
  const SystemCalls Before = System;
};

/// A system log in memory. One at a time; one thread.
class CapturedLog {
 public:
  CapturedLog() {
    Current = this;
    System.Log = &CapturedLog::Write;
  }
  ~CapturedLog() { Current = nullptr; }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  std::vector<std::string> Lines;  // formatted as syslog would: %m is errno's text
  std::vector<int> Priorities;     // one for each line
  /// Called after each line: a test changes the world here, in the middle of a call.
  std::function<void(const std::string& line)> OnLine = [](const std::string&) {};

 private:
  [[gnu::format(printf, 2, 0)]] static void Write(int priority, const char* format, va_list arguments) {
    char line[2048];
    vsnprintf(line, sizeof line, format, arguments);
    Current->Lines.emplace_back(line);
    Current->Priorities.push_back(priority);
    Current->OnLine(line);
  }

  static inline CapturedLog* Current = nullptr;
  SystemCallsRestored Restored;
};
