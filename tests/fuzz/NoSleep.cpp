// The fuzz targets hardly wait: the library's sleeps last no time on the fuzzer's own thread and a fraction on others.
#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "internal/SystemCalls.h"

namespace {

// The tests' helpers expect things by GoogleTest; what they find must end the process, as there is no test to fail.
[[maybe_unused]] const bool kExpectationsEndTheProcess = (GTEST_FLAG_SET(throw_on_failure, true), true);

const std::thread::id kFuzzer = std::this_thread::get_id();

int HardlySleep(clockid_t, int, const timespec*, timespec*) {
  if (std::this_thread::get_id() != kFuzzer) std::this_thread::sleep_for(std::chrono::microseconds(50));
  return 0;
}

[[maybe_unused]] const bool kTakenOver = (System.ClockSleep = HardlySleep, true);

}  // namespace
