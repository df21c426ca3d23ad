#include "system/PartSeries.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/AnotherProcess.h"

namespace client {
namespace {

namespace fs = std::filesystem;
using Length = PartSeries::Length;

class PartSeriesTest : public testing::Test {
 protected:
  static PartSeries Series(Length length) { return {{"x", ".asc"}, {"x", ".asc.part"}, length}; }

  static std::vector<std::string> Files() {
    std::vector<std::string> names;
    for (const auto& file : fs::directory_iterator(".")) names.push_back(file.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

  static std::string Refusal(Length length) {
    try {
      Series(length).Discard();
    } catch (const Failure& failure) {
      return failure.what();
    }
    return "";
  }

  test::TemporaryDirectory Directory;
};

using Names = std::vector<std::string>;

TEST_F(PartSeriesTest, FilesAreNamedOneAfterTheOther) {
  PartSeries series = Series(Length::Several);
  EXPECT_EQ(Files(), Names{"x.asc.part"});
  series.ClaimNext();
  EXPECT_EQ(Files(), (Names{"x.asc.part", "x_1.asc.part"}));
  EXPECT_EQ(series.CompleteCurrent(), "");
  EXPECT_EQ(Files(), (Names{"x.asc", "x_1.asc.part"}));
  EXPECT_EQ(series.Current().PartName(), "x_1.asc.part");
  series.ClaimNext();
  EXPECT_EQ(series.CompleteCurrent(), "");
  EXPECT_EQ(series.CompleteCurrent(), "");
  EXPECT_EQ(Files(), (Names{"x.asc", "x_1.asc", "x_2.asc"}));
  EXPECT_EQ(series.Names(), (Names{"x.asc", "x_1.asc", "x_2.asc"}));
}

TEST_F(PartSeriesTest, SeriesIsClaimedUntilItsLastFileIsComplete) {
  PartSeries series = Series(Length::Several);
  for (int number = 0; number < 3; ++number) {
    series.ClaimNext();
    ASSERT_EQ(series.CompleteCurrent(), "");
    EXPECT_EQ(
        InAnotherProcess([] { return Refusal(Length::One); }),
        fmt::format("Cannot write \"x.asc\": process {} is writing it; wait for it to end, or choose another name",
                    getpid()));
  }
  EXPECT_EQ(Files(), (Names{"x.asc", "x_1.asc", "x_2.asc", "x_3.asc.part"}));
}

TEST_F(PartSeriesTest, LaterPartThatACrashHasLeftIsRefusedBeforeAnythingIsWritten) {
  std::ofstream("x_10.asc.part") << "left";
  EXPECT_EQ(Refusal(Length::Several),
            "Cannot write the series of \"x.asc.part\": \"x_10.asc.part\" is left over from a run that was cut off; "
            "rename it to keep what it holds, or remove it");
  EXPECT_EQ(Refusal(Length::One), "");
  EXPECT_EQ(Files(), Names{"x_10.asc.part"});
}

TEST_F(PartSeriesTest, FilesOfOtherNamesAreNotLeftOver) {
  for (const char* name : {"x_.asc.part", "x_1a.asc.part", "y_1.asc.part", "x_1.asc", "x_1.bin.part", "xx_1.asc.part"})
    std::ofstream(name) << "other";
  EXPECT_EQ(Refusal(Length::Several), "");
}

TEST_F(PartSeriesTest, WhatIsDiscardedLeavesCompleteFilesAlone) {
  PartSeries series = Series(Length::Several);
  series.ClaimNext();
  ASSERT_EQ(series.CompleteCurrent(), "");
  series.ClaimNext();
  series.Discard();
  EXPECT_EQ(Files(), Names{"x.asc"});
}

TEST_F(PartSeriesTest, FilesOfALongerSeriesBeforeAreTold) {
  for (const char* name : {"x_1.asc", "x_2.asc", "x_3.asc", "x_5.asc"}) std::ofstream(name) << "old";
  PartSeries series = Series(Length::Several);
  series.ClaimNext();
  ASSERT_EQ(series.CompleteCurrent(), "");
  ASSERT_EQ(series.CompleteCurrent(), "");
  EXPECT_EQ(series.OlderFiles(), (Names{"x_2.asc", "x_3.asc"}));
  EXPECT_EQ(OlderFilesText(series.OlderFiles()),
            "\"x_2.asc\" to \"x_3.asc\" are of an earlier, longer series, not of this run");
  fs::remove("x_3.asc");
  EXPECT_EQ(OlderFilesText(series.OlderFiles()), "\"x_2.asc\" is of an earlier, longer series, not of this run");
  fs::remove("x_2.asc");
  EXPECT_EQ(OlderFilesText(series.OlderFiles()), "");
}

}  // namespace
}  // namespace client
