// The error reports of the process, as Qor_ErrorHandler takes them.
#pragma once

#include <condition_variable>
#include <cstdarg>
#include <deque>
#include <set>

#include "Mutex.h"
#include "qor_sim.h"

namespace qor_sim {

using ReportCallback = void (*)(void* context, const Qor_Sim_Report_t* report);

/// Keeps the last 10000 reports, passes each on to a callback and decides which codes are suppressed.
///
/// Threads: any. The callback runs on the reporting thread with no lock held, so it may call anything here.
class Reports {
 public:
  /// @return  code, or 0 when it is suppressed
  unsigned int Add(const Qor_Sim_Report_t& report) SIM_EXCLUDES(Guard);

  unsigned int Count() SIM_EXCLUDES(Guard);
  /// Failure: Error QOR_SIM_ERROR_ARGUMENT for a report that is not kept.
  Qor_Sim_Report_t At(unsigned int index) SIM_EXCLUDES(Guard);
  void Clear() SIM_EXCLUDES(Guard);
  void Suppress(unsigned int code, bool suppress) SIM_EXCLUDES(Guard);

  /// Waits until no other thread is inside the old callback, unless called from inside a callback.
  void SetCallback(ReportCallback callback, void* context);

 private:
  void Call(const Qor_Sim_Report_t& report);

  Mutex Guard;
  unsigned int Total SIM_GUARDED_BY(Guard) = 0;
  std::deque<Qor_Sim_Report_t> Last SIM_GUARDED_BY(Guard);
  std::set<unsigned int> Suppressed SIM_GUARDED_BY(Guard);

  // Nests in nothing, and nothing in it. A std::mutex, because the condition variable waits with it.
  std::mutex CallbackGuard;
  std::condition_variable CallbackIdle;
  ReportCallback Callback = nullptr;  // guarded by CallbackGuard, like the next two
  void* Context = nullptr;
  unsigned int CallsInProgress = 0;
};

/// The report of one Qor_ErrorHandler call; a text that is too long is cut, a null format makes an empty one.
Qor_Sim_Report_t FormatReport(unsigned int level, unsigned int code, const char* format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

}  // namespace qor_sim
