#include "commands/SideRecording.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

using Names = std::vector<std::string>;

class SideRecordingTest : public testing::Test {
 protected:
  OutputPlan PlanOf(const std::string& name) {
    OutputArguments asked;
    asked.Outputs = {name};
    return asked.Plan(std::filesystem::current_path());
  }

  test::TemporaryDirectory Folder;
  Description Stream{.Id = "the stream's",
                     .Losses = {{.Channel = 1, .First = 100, .Last = 200, .Count = 7},
                                {.Channel = 1, .First = 5000, .Last = 6000, .Count = 3}}};
};

TEST_F(SideRecordingTest, LossesBeforeItsFirstEntryAreNoneOfItsOwn) {
  SideRecording recording({}, PlanOf("a.bin"), {}, Stream);
  EXPECT_TRUE(Put(recording, RecordOf(test::CanItem().At(1000))));
  EXPECT_TRUE(Put(recording, RecordOf(test::CanItem().At(9000))));
  EXPECT_EQ(recording.Entries(), 2u);
  EXPECT_EQ(recording.Span(), 8000u);
  EXPECT_EQ(recording.Name(), "a.bin");
  EXPECT_EQ(recording.Finish(Stream), ExitLossy);
  std::ifstream file(std::filesystem::current_path() / "a.bin.json");
  const std::string description(std::istreambuf_iterator<char>(file), {});
  EXPECT_EQ(description.find("the stream's"), std::string::npos);  // it is a recording of its own
  EXPECT_NE(description.find("5000"), std::string::npos);
  EXPECT_EQ(description.find("\"first_time_ns\": 100"), std::string::npos);
}

TEST_F(SideRecordingTest, WithoutALossItIsDone) {
  SideRecording recording({}, PlanOf("a.bin"), {}, Stream);
  EXPECT_TRUE(Put(recording, RecordOf(test::CanItem().At(7000))));
  EXPECT_EQ(recording.Finish(Stream), ExitDone);
}

class SideBoxTest : public SideRecordingTest {
 protected:
  std::string NamesOfFiles() {
    std::set<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(std::filesystem::current_path()))
      names.insert(file.path().filename().string());
    return fmt::format("{}", fmt::join(names, " "));
  }

  ManualTrigger Button;
  SideBox Asked{{.Past = {.Time = 1000}, .Post = 500}, {Trigger("id == 0x7ff")}, &Button};
  SideRecording Box{{}, PlanOf("i-%n.bin"), {}, {}, &Asked};
};

TEST_F(SideBoxTest, MakesAFileOfEachIncidentAndNoneBefore) {
  for (unsigned long time = 0; time <= 10000; time += 100) {
    if (time == 5000) Button.Fire("key");
    EXPECT_EQ(Box.Told().Current() != nullptr, time > 5000 && time <= 6600) << time;
    EXPECT_TRUE(Put(Box, RecordOf(test::CanItem().At(time).Id(0x100))));
  }
  EXPECT_EQ(NamesOfFiles(), "i-000001.bin i-000001.bin.json");
  EXPECT_EQ(Box.IncidentNames(), "i-000001.bin");
  ASSERT_EQ(Box.Told().Past().size(), 1u);
  const Incident& incident = Box.Told().Past().front();
  EXPECT_EQ(incident.Triggers.front().By, "key");
  EXPECT_EQ(incident.FirstTime, 4000u);
  EXPECT_EQ(incident.LastTime, 5500u);
  EXPECT_EQ(incident.Entries, 16u);
  EXPECT_EQ(Box.Finish({}), ExitDone);
  EXPECT_EQ(Box.Entries(), 16u);
}

TEST_F(SideBoxTest, WhatCameBeforeTheEndCanStillBecomeAnIncident) {
  EXPECT_FALSE(Box.HasPast());
  for (unsigned long time = 0; time <= 10000; time += 100)
    EXPECT_TRUE(Put(Box, RecordOf(test::CanItem().At(time).Id(0x100))));
  EXPECT_TRUE(Box.HasPast());
  Box.Fire(10000, "key");
  Box.EndIncident();
  EXPECT_EQ(NamesOfFiles(), "i-000001.bin i-000001.bin.json");
  EXPECT_EQ(Box.Told().Past().front().Entries, 11u);
  EXPECT_FALSE(Box.HasPast());
  EXPECT_EQ(Box.Finish({}), ExitDone);
}

TEST_F(SideBoxTest, ConditionsTriggerAsWell) {
  EXPECT_TRUE(Put(Box, RecordOf(test::CanItem().At(2000).Id(0x7ff))));
  ASSERT_NE(Box.Told().Current(), nullptr);
  EXPECT_EQ(Box.Told().Current()->Triggers.front().By, "id == 0x7ff");
  EXPECT_EQ(Box.Finish({}), ExitDone);
}

TEST_F(SideRecordingTest, AnOutputThatCanNotBeMadeIsAFailureAtOnce) {
  EXPECT_THROW(SideRecording({}, PlanOf("no/such/a.bin"), {}, Stream), Failure);
}

TEST_F(SideRecordingTest, FurtherNamesAreNumberedInFrontOfTheirExtensions) {
  EXPECT_EQ(NumberedNames({"run.mf4", "x/run.v1.asc.gz", "plain"}, std::filesystem::current_path(), 2),
            (Names{"run-2.mf4", "x/run.v1-2.asc.gz", "plain-2"}));
  std::ofstream(std::filesystem::current_path() / "run-2.mf4") << "x";
  EXPECT_EQ(NumberedNames({"run.mf4", "run.asc"}, std::filesystem::current_path(), 2),
            (Names{"run-3.mf4", "run-3.asc"}));
}

}  // namespace
}  // namespace client
