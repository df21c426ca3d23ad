// Files of incidents: each complete in itself, and what happens when one can't be.
#include "outputs/IncidentOutput.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "outputs/BinFile.h"
#include "outputs/CaptureFile.h"
#include "stream/DescriptionJson.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

namespace fs = std::filesystem;

Bytes EntryAt(unsigned long time) { return RecordOf(test::CanItem().At(time).Data({1, 2})); }

class IncidentOutputTest : public testing::Test {
 protected:
  [[nodiscard]] IncidentOutput Writing(const char* name, unsigned long minFree = 0) {
    return IncidentOutput(
        PathOf(name), minFree, [](const std::string& path) { return std::make_unique<BinWriter>(path); },
        [this](const std::string& sentence) { Told.push_back(sentence); });
  }
  [[nodiscard]] std::string PathOf(const std::string& name) const { return (Folder / name).string(); }

  /// Two records, and what is known of its time.
  static Incident Put(IncidentOutput& output, unsigned long number, unsigned long time) {
    Incident incident{number, {{time, "error"}}, 1, time - 10, time + 10};
    output.Begin(incident);
    EXPECT_TRUE(client::Put(output, EntryAt(time)));
    EXPECT_TRUE(client::Put(output, EntryAt(time + 1)));
    output.End(incident);
    return incident;
  }

  static Description DescriptionIn(const std::string& path) {
    const Bytes text = test::FileBytes(path);
    return DescriptionFromJson({reinterpret_cast<const char*>(text.data()), text.size()});
  }

  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
  std::vector<std::string> Told;
};

TEST_F(IncidentOutputTest, EachIncidentIsAFileThatIsCompleteOnceItEnds) {
  IncidentOutput output = Writing("i-%n.bin");
  Put(output, 1, 100);
  EXPECT_EQ(test::FileBytes(PathOf("i-000001.bin")), Joined({EntryAt(100), EntryAt(101)}));
  EXPECT_TRUE(output.Latest().Complete);
  Put(output, 2, 200);
  EXPECT_EQ(test::FileBytes(PathOf("i-000002.bin")), Joined({EntryAt(200), EntryAt(201)}));
  EXPECT_TRUE(output.Finish());
  EXPECT_EQ(output.FilesText(), PathOf("i-000001.bin") + " to " + PathOf("i-000002.bin") + " (2 files)");
  EXPECT_TRUE(Told.empty());
}

TEST_F(IncidentOutputTest, AFileHasTheLossesOfItsTimeAndATitleOfItsOwn) {
  Description known;
  known.Title = "drive";
  known.Channels = {{.Number = 1}};
  for (const unsigned long time : {80ul, 95ul, 110ul, 111ul, 300ul})
    known.Losses.push_back({1, LossCause::CaptureBufferFull, time, time, 1});
  IncidentOutput output = Writing("i-%n.bin");
  output.Describe(known);
  Put(output, 7, 100);
  const Description own = DescriptionIn(PathOf("i-000007.bin.json"));
  ASSERT_EQ(own.Losses.size(), 2u);
  EXPECT_EQ(own.Losses[0].First, 95u);
  EXPECT_EQ(own.Losses[1].First, 110u);
  EXPECT_EQ(own.Title, "drive, incident 7: error");
  EXPECT_TRUE(own.Complete);
  Put(output, 8, 100);
  EXPECT_NE(DescriptionIn(PathOf("i-000008.bin.json")).Id, own.Id);
}

TEST_F(IncidentOutputTest, OneThatCannotBeMadeIsToldAndTheNextOneIsTried) {
  fs::create_directory(PathOf("i-000001.bin.part"));
  IncidentOutput output = Writing("i-%n.bin");
  Put(output, 1, 100);
  ASSERT_EQ(Told.size(), 1u);
  EXPECT_TRUE(Told[0].starts_with("Incident 1: "));
  EXPECT_TRUE(Told[0].ends_with(". The next one is tried again"));
  EXPECT_FALSE(output.Latest().Complete);
  Put(output, 2, 200);
  EXPECT_TRUE(output.Latest().Complete);
  EXPECT_FALSE(output.Finish());
  EXPECT_EQ(output.FilesText(), PathOf("i-000002.bin"));
  nlohmann::json json = nlohmann::json::object();
  output.AddJson(json);
  EXPECT_EQ(json["files"][0]["complete"], false);
  EXPECT_FALSE(json["files"][0]["error"].get<std::string>().empty());
  EXPECT_EQ(json["files"][1]["path"], PathOf("i-000002.bin"));
}

TEST_F(IncidentOutputTest, OneThatFindsNoRoomStaysAsAPart) {
  IncidentOutput output = Writing("i-%n.bin");
  {
    const test::FileSizeLimit limit(100'000);
    const Incident incident{1, {{5, "x"}}, 1, 0, ~0ul};
    output.Begin(incident);
    for (unsigned long time = 0; time < 30'000; ++time) ASSERT_TRUE(client::Put(output, EntryAt(time)));
    output.End(incident);
  }
  ASSERT_EQ(Told.size(), 1u);
  EXPECT_NE(Told[0].find("File too large"), std::string::npos) << Told[0];
  EXPECT_TRUE(fs::exists(PathOf("i-000001.bin.part")));
  Put(output, 2, 200);
  EXPECT_EQ(test::FileBytes(PathOf("i-000002.bin")), Joined({EntryAt(200), EntryAt(201)}));
}

TEST_F(IncidentOutputTest, OneIsNotBegunOnADiskWithTooLittleRoom) {
  IncidentOutput output = Writing("i-%n.bin", ~0ul);
  Put(output, 1, 100);
  ASSERT_EQ(Told.size(), 1u);
  EXPECT_NE(Told[0].find("(--min-free)"), std::string::npos) << Told[0];
  EXPECT_TRUE(fs::is_empty(Folder));
}

TEST_F(IncidentOutputTest, WhatExistsIsKept) {
  IncidentOutput output = Writing("i-%t.bin");
  Description known;
  known.Anchor = ClockAnchor{0, 1'795'262'400'000'000'000};
  output.Describe(known);
  Put(output, 1, 100);
  Put(output, 2, 200);
  EXPECT_TRUE(fs::exists(PathOf("i-20261121T120000Z.bin")));
  EXPECT_TRUE(fs::exists(PathOf("i-20261121T120000Z_2.bin")));
  EXPECT_TRUE(Told.empty());
}

TEST_F(IncidentOutputTest, ATimeInTheNameNeedsARecordingThatKnowsIt) {
  IncidentOutput output = Writing("i-%t.bin");
  Put(output, 1, 100);
  ASSERT_EQ(Told.size(), 1u);
  EXPECT_NE(Told[0].find("--start-time"), std::string::npos);
}

TEST_F(IncidentOutputTest, WhatAFormatHasNoPlaceForIsAddedUp) {
  IncidentOutput output(
      PathOf("i-%n.pcapng"), 0,
      [](const std::string& path) { return std::make_unique<CaptureWriter>(path, PcapngOptions{}); },
      [](const std::string&) {});
  for (unsigned long number = 1; number <= 2; ++number) {
    const Incident incident{number, {{5, "x"}}, 1, 0, 10};
    output.Begin(incident);
    EXPECT_TRUE(client::Put(output, RecordOf(test::CanItem().At(5).RisingEdge())));
    output.End(incident);
  }
  EXPECT_EQ(output.ShortfallText(), ", as its format has no place for them: 2 CAN log-trigger events");
}

}  // namespace
}  // namespace client
