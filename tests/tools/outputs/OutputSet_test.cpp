#include "outputs/OutputSet.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

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
  outputs.Finish(nullptr, {});
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
  Put(outputs, RecordOf(test::EthernetItem().Channel(2).Frame({1})));
  outputs.Finish(nullptr, {});
  EXPECT_EQ(outputs.ShortfallText(),
            PathOf("b.pcapng") + ": NOT IN IT, as no packet can hold them: 1 CAN log-trigger events\n" +
                PathOf("c.mf4") +
                ": NOT IN IT, as the format has no place for them: 1 Ethernet entries, 1 CAN log-trigger events\n");
  const nlohmann::json json = outputs.Json();
  ASSERT_EQ(json.size(), 3u);
  EXPECT_EQ(json[0].dump(), R"({"format":"bin","path":")" + PathOf("a.bin") + "\"}");
  EXPECT_EQ(json[1]["omitted"]["CAN log-trigger events"], 1);
  EXPECT_EQ(json[2]["format"], "mf4");
}

TEST_F(OutputSetTest, OneThatFailsLeavesTheOthersWhole) {
  fs::create_directory(PathOf("a.bin"));  // a name that no file can take
  OutputSet outputs(PlanOf({"a.bin", "b.bin"}));
  Put(outputs, RecordOf(test::CanItem()));
  outputs.Finish(nullptr, {});
  ASSERT_EQ(outputs.Errors().size(), 1u);
  EXPECT_NE(outputs.Errors()[0].find(PathOf("a.bin")), std::string::npos);
  EXPECT_TRUE(fs::is_regular_file(PathOf("b.bin")));
  EXPECT_EQ(outputs.WrittenText(), "");
}

TEST_F(OutputSetTest, FileThatCannotBeMadeIsAFailure) {
  EXPECT_THROW(OutputSet(PlanOf({"a.bin", "missing/b.pcapng"})), Failure);
}

}  // namespace
}  // namespace client
