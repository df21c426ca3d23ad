#include "Reports.h"

#include <cstdio>
#include <string>

#include "Error.h"

namespace qor_sim {
namespace {

constexpr size_t kKept = 10000;

thread_local unsigned int callbackDepth = 0;  // callbacks that this thread is inside of

}  // namespace

unsigned int Reports::Add(const Qor_Sim_Report_t& report) {
  bool suppressed = false;
  {
    const Lock lock(Guard);
    Last.push_back(report);
    if (Last.size() > kKept) Last.pop_front();
    ++Total;
    suppressed = Suppressed.count(report.Code) != 0;
  }
  Call(report);
  return suppressed ? 0 : report.Code;
}

void Reports::Call(const Qor_Sim_Report_t& report) {
  std::unique_lock lock(CallbackGuard);
  if (Callback == nullptr) return;
  const auto callback = Callback;
  void* const context = Context;
  ++CallsInProgress;
  lock.unlock();
  ++callbackDepth;
  callback(context, &report);
  --callbackDepth;
  lock.lock();
  if (--CallsInProgress == 0) CallbackIdle.notify_all();
}

unsigned int Reports::Count() {
  const Lock lock(Guard);
  return Total;
}

Qor_Sim_Report_t Reports::At(unsigned int index) {
  const Lock lock(Guard);
  const unsigned int first = Total - static_cast<unsigned int>(Last.size());
  if (index < first || index >= Total) {
    throw ArgumentError("There is no report " + std::to_string(index) + ": reports " + std::to_string(first) +
                        " up to, not including, " + std::to_string(Total) + " are kept.");
  }
  return Last[index - first];
}

void Reports::Clear() {
  const Lock lock(Guard);
  Total = 0;
  Last.clear();
}

void Reports::Suppress(unsigned int code, bool suppress) {
  const Lock lock(Guard);
  if (suppress) {
    Suppressed.insert(code);
  } else {
    Suppressed.erase(code);
  }
}

void Reports::SetCallback(ReportCallback callback, void* context) {
  std::unique_lock lock(CallbackGuard);
  Callback = callback;
  Context = context;
  if (callbackDepth == 0) CallbackIdle.wait(lock, [&] { return CallsInProgress == 0; });
}

Qor_Sim_Report_t FormatReport(unsigned int level, unsigned int code, const char* format, va_list arguments) {
  Qor_Sim_Report_t report{};
  report.Level = level;
  report.Code = code;
  if (format != nullptr) std::vsnprintf(report.Text, sizeof report.Text, format, arguments);
  return report;
}

}  // namespace qor_sim
