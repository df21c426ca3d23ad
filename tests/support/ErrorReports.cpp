#include "support/ErrorReports.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "qor_api.h"

namespace {

std::mutex ReportsMutex;
std::vector<test::ErrorReport> Reports;

}  // namespace

std::vector<test::ErrorReport> test::TakeErrorReports() {
  const std::lock_guard lock(ReportsMutex);
  return std::exchange(Reports, {});
}

extern "C" unsigned int Qor_ErrorHandler(unsigned int level, unsigned int code, const char* format, ...) {
  std::array<char, 4096> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  const std::lock_guard lock(ReportsMutex);
  Reports.push_back({level, code, text.data()});
  return code;
}
