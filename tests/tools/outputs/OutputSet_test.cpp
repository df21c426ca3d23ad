#include "outputs/OutputSet.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>

#include "stream/DescriptionJson.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

namespace fs = std::filesystem;

class OutputSetTest : public testing::Test {
 protected:
  OutputPlan PlanOf(const std::vector<std::string>& names) const {
    return {PlanOutputs(names, {}, Folder), {}, {}, {}};
  }
  std::string PathOf(const char* name) const { return (Folder / name).string(); }

  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
};

TEST_F(OutputSetTest, EveryOutputGetsEveryEntry) {
  OutputSet outputs(PlanOf({"a.bin", "b.bin", "c.pcapng"}));
  const Bytes record = RecordOf(test::CanItem().Data({1, 2}));
  EXPECT_TRUE(Put(outputs, record));
  EXPECT_TRUE(Put(outputs, record));
  outputs.Finish({});
  EXPECT_EQ(fs::file_size(PathOf("a.bin")), 2 * record.size());
  EXPECT_EQ(fs::file_size(PathOf("b.bin")), 2 * record.size());
  EXPECT_TRUE(fs::exists(PathOf("c.pcapng")));
  EXPECT_EQ(outputs.ShortfallText(), "");
  EXPECT_EQ(outputs.WrittenText(),
            "; written: " + PathOf("a.bin") + ", " + PathOf("b.bin") + ", " + PathOf("c.pcapng"));
}

TEST_F(OutputSetTest, WhatAnOutputCannotHoldIsToldWithItsName) {
  OutputSet outputs(PlanOf({"a.bin", "b.pcapng", "c.mf4"}));
  Put(outputs, RecordOf(test::CanItem().RisingEdge()));
  Put(outputs, RecordOf(test::EthernetItem().Channel(2).Kind(2).Frame({1})));
  outputs.Finish({});
  EXPECT_EQ(
      outputs.ShortfallText(),
      PathOf("b.pcapng") +
          ": NOT IN IT, as no packet can hold them: 1 CAN log-trigger events, 1 Ethernet records that are no frames\n" +
          PathOf("c.mf4") +
          ": NOT IN IT, as the format has no place for them: 1 Ethernet records that are no frames\n");
  const nlohmann::json json = outputs.Json();
  ASSERT_EQ(json.size(), 3u);
  EXPECT_EQ(json[0].dump(), R"({"complete":true,"format":"bin","path":")" + PathOf("a.bin") + "\"}");
  EXPECT_EQ(json[1]["omitted"]["CAN log-trigger events"], 1);
  EXPECT_EQ(json[2]["format"], "mf4");
}

TEST_F(OutputSetTest, OneThatFailsLeavesTheOthersWhole) {
  fs::create_directory(PathOf("a.bin"));  // a name that no file can take
  OutputSet outputs(PlanOf({"a.bin", "b.bin"}));
  Put(outputs, RecordOf(test::CanItem()));
  outputs.Finish({});
  ASSERT_EQ(outputs.Errors().size(), 1u);
  EXPECT_NE(outputs.Errors()[0].find(PathOf("a.bin")), std::string::npos);
  EXPECT_TRUE(fs::is_regular_file(PathOf("b.bin")));
  EXPECT_EQ(outputs.WrittenText(), "; written: " + PathOf("b.bin"));
  EXPECT_EQ(outputs.Json()[0]["complete"], false);
}

TEST_F(OutputSetTest, OneThatFailsWhileEntriesComeEndsAloneAndSaysWhere) {
  OutputPlan plan = PlanOf({"a.bin", "b.pcapng"});
  plan.Capture.EthernetOnly = true;  // so that it stays small
  OutputSet outputs(plan);
  const test::FileSizeLimit limit(100000);
  const unsigned long count = 30000;  // more than the first one's buffer holds
  for (unsigned long index = 1; index <= count; ++index)
    ASSERT_TRUE(Put(outputs, RecordOf(test::CanItem().At(index * 1000000000).Data({1, 2})))) << index;
  ASSERT_EQ(outputs.Errors().size(), 1u);
  EXPECT_TRUE(
      std::regex_match(outputs.Errors()[0],
                       std::regex("Cannot write \".*a\\.bin\": File too large\\. The \\d+ entries before that are in "
                                  "\".*a\\.bin\\.part\"\\. It ended at entry (\\d+) of the trace, \\1\\.000000000 s; "
                                  "the other outputs go on")))
      << outputs.Errors()[0];
  outputs.Finish({});
  EXPECT_EQ(outputs.Errors().size(), 1u);
  EXPECT_EQ(outputs.WrittenText(), "; written: " + PathOf("b.pcapng"));
  EXPECT_TRUE(fs::exists(PathOf("a.bin.part")));
  const nlohmann::json json = outputs.Json();
  EXPECT_EQ(json[0]["complete"], false);
  const std::string why = json[0]["error"];
  EXPECT_EQ(outputs.Errors()[0].find(why), 0u);
  const unsigned long entry = json[0]["ended_at"]["entry"];
  EXPECT_EQ(json[0]["ended_at"]["time_ns"], entry * 1000000000);
  EXPECT_NE(outputs.Errors()[0].find("at entry " + std::to_string(entry) + " of the trace"), std::string::npos);
  EXPECT_FALSE(json[1].contains("ended_at"));
  EXPECT_FALSE(json[1].contains("error"));
}

TEST_F(OutputSetTest, OneThatFailsHasItsCutInItsDescription) {
  const unsigned long count = 30000;
  Description known;
  known.Channels = {{.Number = 1}};
  {
    OutputSet outputs(PlanOf({"a.bin", "b.bin"}), known);
    const test::FileSizeLimit limit(100000);
    for (unsigned long index = 1; index <= count; ++index)
      static_cast<void>(Put(outputs, RecordOf(test::CanItem().At(index).Data({1, 2}))));
    outputs.Finish(known);
    EXPECT_EQ(outputs.Errors().size(), 2u);
  }
  const Bytes text = test::FileBytes(PathOf("a.bin.json.part"));
  const Description cut = DescriptionFromJson({reinterpret_cast<const char*>(text.data()), text.size()});
  ASSERT_EQ(cut.Losses.size(), 1u);
  EXPECT_EQ(cut.Losses[0].Cause, LossCause::DiskFull);
  EXPECT_EQ(cut.Losses[0].First, cut.Records.value_or(RecordsDescription{}).Count);
  EXPECT_GT(cut.Losses[0].Last, cut.Losses[0].First);
  EXPECT_FALSE(cut.Complete);
}

TEST_F(OutputSetTest, WhenAllHaveFailedNothingMoreIsTaken) {
  OutputSet outputs(PlanOf({"a.bin", "b.asc"}));
  const test::FileSizeLimit limit(1000);
  int taken = 0;
  while (taken < 1000000 && Put(outputs, RecordOf(test::CanItem().Data({1, 2})))) ++taken;
  EXPECT_LT(taken, 1000000);
  EXPECT_EQ(outputs.Errors().size(), 2u);
}

TEST_F(OutputSetTest, FailureThatShowsInAPauseIsToldThen) {
  OutputSet outputs(PlanOf({"a.bin"}));
  const test::FileSizeLimit limit(10);
  Put(outputs, RecordOf(test::CanItem().Data({1, 2})));
  outputs.Pause();
  EXPECT_EQ(outputs.Errors().size(), 1u);
}

TEST_F(OutputSetTest, FileThatCannotBeMadeIsAFailure) {
  EXPECT_THROW(OutputSet(PlanOf({"a.bin", "missing/b.pcapng"})), Failure);
}

}  // namespace
}  // namespace client
