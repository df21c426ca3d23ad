#include "Reports.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "Thrown.h"

using qor_sim::Reports;

namespace {

Qor_Sim_Report_t Report(unsigned int code) {
  Qor_Sim_Report_t report{};
  report.Level = 255;
  report.Code = code;
  return report;
}

}  // namespace

TEST(Reports, KeepsTheLastTenThousand) {
  Reports reports;
  for (unsigned int i = 0; i < 10'003; ++i) reports.Add(Report(i + 1));
  EXPECT_EQ(reports.Count(), 10'003u);
  EXPECT_EQ(reports.At(3).Code, 4u);
  EXPECT_EQ(reports.At(10'002).Code, 10'003u);
  EXPECT_EQ(ThrownBy([&] { reports.At(2); }).Code, unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(ThrownBy([&] { reports.At(10'003); }).Code, unsigned{QOR_SIM_ERROR_ARGUMENT});
}

TEST(Reports, AreCountedAnewAfterClear) {
  Reports reports;
  reports.Add(Report(1));
  reports.Clear();
  EXPECT_EQ(reports.Count(), 0u);
  EXPECT_EQ(ThrownBy([&] { reports.At(0); }).Code, unsigned{QOR_SIM_ERROR_ARGUMENT});
  reports.Add(Report(2));
  EXPECT_EQ(reports.At(0).Code, 2u);
}

TEST(Reports, SuppressedCodeAnswersZeroAndIsKept) {
  Reports reports;
  reports.Suppress(7, true);
  EXPECT_EQ(reports.Add(Report(7)), 0u);
  EXPECT_EQ(reports.Add(Report(8)), 8u);
  reports.Suppress(7, false);
  EXPECT_EQ(reports.Add(Report(7)), 7u);
  EXPECT_EQ(reports.Count(), 3u);
}

TEST(Reports, CallbackMayCallEverything) {
  Reports reports;
  struct Seen {
    Reports* Source;
    unsigned int Code = 0, CountThen = 0;
  } seen{&reports};
  reports.SetCallback(
      [](void* context, const Qor_Sim_Report_t* report) {
        auto& target = *static_cast<Seen*>(context);
        target.Code = report->Code;
        target.CountThen = target.Source->Count();
        target.Source->SetCallback(nullptr, nullptr);
        target.Source->Add(Report(99));
      },
      &seen);
  reports.Add(Report(5));
  EXPECT_EQ(seen.Code, 5u);
  EXPECT_EQ(seen.CountThen, 1u);
  EXPECT_EQ(reports.Count(), 2u);
}

// "Once this function has returned, no other thread is inside the callback from before."
TEST(Reports, TakingTheCallbackAwayWaitsForTheOneInProgress) {
  struct Stage {
    std::promise<void> Inside;
    std::promise<void> Release;
    std::atomic<bool> Left{false};
  } stage;
  Reports reports;
  reports.SetCallback(
      [](void* context, const Qor_Sim_Report_t*) {
        auto& target = *static_cast<Stage*>(context);
        target.Inside.set_value();
        target.Release.get_future().wait();
        target.Left = true;
      },
      &stage);
  std::thread reporter([&] { reports.Add(Report(1)); });
  stage.Inside.get_future().wait();
  std::thread releaser([&] { stage.Release.set_value(); });
  reports.SetCallback(nullptr, nullptr);
  EXPECT_TRUE(stage.Left);
  reporter.join();
  releaser.join();
}
