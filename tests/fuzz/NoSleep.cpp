// The fuzz targets don't wait: the library's sleeps only give the processor away.
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

namespace {

// The tests' helpers expect things by GoogleTest; what they find is to end the process, as there is no test to fail.
[[maybe_unused]] const bool kExpectationsEndTheProcess = (GTEST_FLAG_SET(throw_on_failure, true), true);

}  // namespace

extern "C" int usleep(useconds_t) { return sched_yield(); }
