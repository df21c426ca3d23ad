// What ends the process: an error on the sort thread. It is reported first.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "monitor/MonitorTest.h"
#include "support/FailingAllocator.h"

using namespace test;

namespace {

/// Two channels, so that there is a sort thread, and reports on standard error.
class SortThreadDeathTest : public testing::Test {
 protected:
  SortThreadDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  void Prepare() {
    Qor_Sim_SetReportCallback(
        [](void*, const Qor_Sim_Report_t* report) {
          std::fprintf(stderr, "report %x %x %s\n", report->Level, report->Code, report->Text);
        },
        nullptr);
    Add(Monitor, First);
    Add(Monitor, Second);
  }
  /// Records until the sort thread ends it all.
  void Run(unsigned int mode) {
    Monitor.Start(mode);
    First.NextItems(FramesFrom(1, 100));
    static_cast<void>(WaitUntil([] { return false; }));
  }

  TemporaryDirectory Directory;
  ScriptedInterface First, Second;
  Qor_Trace_Monitor Monitor;
};

}  // namespace

TEST_F(SortThreadDeathTest, FailingSwapReportsFirst) {
  EXPECT_DEATH(
      {
        Prepare();
        SetNumber(Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 10);
        const std::string asc = Text(Monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME);
        std::filesystem::create_directory(asc.substr(0, asc.size() - 4) + ".bin");
        Run(0);
      },
      "report ff 2140007 Cannot open swap file: .*\nterminate called after throwing an instance of "
      "'Qor_Trace_Exception'");
}

TEST_F(SortThreadDeathTest, FailingLiveRecordingReportsFirst) {
  EXPECT_DEATH(
      {
        Prepare();
        SetText(Monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME, "/dev/full");
        Run(QOR_TRACE_START_ASC_RECORDING);
      },
      "report ff 2140007 Cannot write ASC file: path=\"/dev/full\", errno=28 .No space left on device.\nterminate "
      "called");
}

TEST_F(SortThreadDeathTest, ExhaustedMemoryReportsFirst) {
  EXPECT_DEATH(
      {
        Prepare();
        Monitor.Start(0);
        First.NextItems({Frame(1)});
        static_cast<void>(First.WaitUntilDelivered());
        const FailingAllocator exhausted(FailingAllocator::OtherThreads, 1, FailingAllocator::FromThenOn);
        static_cast<void>(WaitUntil([] { return false; }));
      },
      "report ff 214000c could not store received entries\nterminate called");
}
