#include "outputs/SeriesOutput.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "inputs/BinReader.h"
#include "outputs/BinFile.h"
#include "outputs/OutputSet.h"
#include "stream/DescriptionJson.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "system/Units.h"
#include "tools/AnotherProcess.h"
#include "tools/ClientEntries.h"
#include "tools/ReadInput.h"

namespace client {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

constexpr unsigned long kSecond = 1'000'000'000;
constexpr unsigned long kStart = 1795271400 * kSecond;  // 2026-11-21T14:30:00Z

/// A recording whose clock shows 5 s at that moment.
Description Known() {
  Description known;
  known.Id = "00000000-1111-2222-3333-444444444444";
  known.Complete = true;
  known.Epoch = ClockEpoch::Own;
  known.Anchor = ClockAnchor{5 * kSecond, kStart, std::nullopt, AnchorOrigin::RecordingStart};
  known.Channels = {{.Number = 1, .BusType = BusType_Can, .Source = "can"},
                    {.Number = 2, .BusType = BusType_Lin, .Source = "lin"}};
  return known;
}

/// Every millisecond a CAN frame, every tenth one a LIN frame instead; data that don't compress to nothing.
Bytes RecordAt(unsigned long index) {
  const unsigned long time = 5 * kSecond + index * 1'000'000;
  const auto byte = static_cast<unsigned char>(index * 2654435761u >> 13);
  if (index % 10 == 9) return RecordOf(test::LinItem().Channel(2).At(time).Id(0x21).Data({byte, 2, 3}, 0x55));
  return RecordOf(test::CanItem()
                      .At(time)
                      .Id(static_cast<unsigned int>(0x100 + index % 7))
                      .Data({byte, 2, static_cast<unsigned char>(index)}));
}

class SeriesOutputTest : public testing::Test {
 protected:
  std::unique_ptr<SeriesOutput> Series(const SeriesPlan& plan, const std::string& name = "x.bin") {
    const auto make = [](const std::string& path) { return std::make_unique<BinWriter>(path); };
    auto series = std::make_unique<SeriesOutput>(name, plan, make, [this](const SeriesEvent& event) {
      Events.push_back({event.What, event.File.Path, event.File.Entries});
    });
    series->Describe(Known());
    return series;
  }

  static Names Files() {
    Names names;
    for (const auto& file : fs::directory_iterator(".")) names.push_back(file.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  static Description DescriptionOf(const std::string& records) {
    std::ifstream file(records + ".json");
    return DescriptionFromJson(std::string(std::istreambuf_iterator<char>(file), {}));
  }
  static size_t RecordsIn(const std::string& name) {
    const auto reader = OpenInput(name);
    return ReadToEnd(*reader).Records.size();
  }

  struct Event {
    SeriesEvent::Kind What;
    std::string Path;
    unsigned long Entries;
    bool operator==(const Event&) const = default;
  };
  using Kind = SeriesEvent::Kind;
  test::TemporaryDirectory Directory;
  std::vector<Event> Events;
};

// ---- Seams ----------------------------------------------------------------------------------------------------------

TEST_F(SeriesOutputTest, FilesByTimeHaveEachRecordOnceAndBeginWithAPeriod) {
  const auto series = Series({.Time = kSecond});
  std::vector<Bytes> all;
  for (unsigned long index = 0; index < 2500; ++index) {
    all.push_back(RecordAt(index));
    ASSERT_TRUE(Put(*series, all.back()));
  }
  EXPECT_EQ(Files(), (Names{"x_000001.bin", "x_000001.bin.json", "x_000002.bin", "x_000002.bin.json",
                            "x_000003.bin.json.part", "x_000003.bin.part"}));
  EXPECT_TRUE(series->Finish());
  const Bytes joined = Joined(all);
  Bytes parts;
  for (const char* name : {"x_000001.bin", "x_000002.bin", "x_000003.bin"}) {
    const Bytes part = test::FileBytes(name);
    parts.insert(parts.end(), part.begin(), part.end());
  }
  EXPECT_TRUE(parts == joined);
  EXPECT_EQ(Events, (std::vector<Event>{{Kind::Complete, "x_000001.bin", 1000},
                                        {Kind::Complete, "x_000002.bin", 1000},
                                        {Kind::Complete, "x_000003.bin", 500}}));
}

TEST_F(SeriesOutputTest, AFileEndsWithTheEntryThatReachesItsSize) {
  const auto series = Series({.Size = 64 << 10});
  std::vector<Bytes> all;
  for (unsigned long index = 0; index < 10000; ++index) all.push_back(RecordAt(index));
  for (const Bytes& record : all) ASSERT_TRUE(Put(*series, record));
  ASSERT_TRUE(series->Finish());
  ASSERT_GT(Events.size(), 3u);
  unsigned long entries = 0;
  for (const Event& event : Events) {
    entries += event.Entries;
    if (&event == &Events.back()) continue;
    const auto size = fs::file_size(event.Path);
    EXPECT_GE(size, 64ul << 10);
    EXPECT_LT(size, (64ul << 10) + 100);
  }
  EXPECT_EQ(entries, all.size());
}

TEST_F(SeriesOutputTest, ASilentTimeMakesNoFiles) {
  const auto series = Series({.Time = kSecond});
  ASSERT_TRUE(Put(*series, RecordAt(0)));
  ASSERT_TRUE(Put(*series, RecordAt(7300)));
  ASSERT_TRUE(series->Finish());
  EXPECT_EQ(Events.size(), 2u);
}

TEST_F(SeriesOutputTest, AnEntryThatComesLateStaysInTheOpenFile) {
  const auto series = Series({.Time = kSecond});
  for (const unsigned long index : {0ul, 1100ul, 900ul, 1200ul}) ASSERT_TRUE(Put(*series, RecordAt(index)));
  ASSERT_TRUE(series->Finish());
  EXPECT_EQ(RecordsIn("x_000001.bin"), 1u);
  EXPECT_EQ(RecordsIn("x_000002.bin"), 3u);
}

TEST_F(SeriesOutputTest, ARecordingWithoutEntriesIsOneFile) {
  const auto series = Series({.Time = kSecond});
  ASSERT_TRUE(series->Finish());
  EXPECT_EQ(Files(), (Names{"x_000001.bin", "x_000001.bin.json"}));
  const auto stamped = Series({.Time = kSecond}, "y_%t.bin");
  ASSERT_TRUE(stamped->Finish());
  EXPECT_EQ(Files().size(), 2u) << "one that is called after its first entry isn't made";
}

TEST_F(SeriesOutputTest, OneThatIsGivenUpLeavesItsOpenFileUnderItsPartName) {
  {
    const auto series = Series({.Time = kSecond});
    for (unsigned long index = 0; index < 1500; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  }
  EXPECT_EQ(Files(), (Names{"x_000001.bin", "x_000001.bin.json", "x_000002.bin.json.part", "x_000002.bin.part"}));
}

// ---- What each file says --------------------------------------------------------------------------------------------

TEST_F(SeriesOutputTest, EachFileSaysWhenItBeganAndWhoseItIs) {
  const auto series = Series({.Time = kSecond});
  for (unsigned long index = 0; index < 1500; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  ASSERT_TRUE(series->Finish());
  const Description first = DescriptionOf("x_000001.bin"), second = DescriptionOf("x_000002.bin");
  EXPECT_EQ(first.Anchor, Known().Anchor);
  EXPECT_EQ(second.Anchor, (ClockAnchor{6 * kSecond, kStart + kSecond, std::nullopt, AnchorOrigin::RecordingStart}));
  EXPECT_EQ(first.Id, Known().Id);
  EXPECT_EQ(second.Id, Known().Id);
  EXPECT_EQ(second.Channels, Known().Channels);
  EXPECT_TRUE(first.Complete);
  EXPECT_TRUE(second.Complete);
  EXPECT_EQ(first.Records->Count, 1000ul);
  EXPECT_EQ(second.Records->Count, 500ul);
}

TEST_F(SeriesOutputTest, AClosedFileIsCompleteWhileTheRecordingGoesOn) {
  const auto series = Series({.Time = kSecond});
  Description running = Known();
  running.Complete = false;
  series->Describe(running);
  for (unsigned long index = 0; index < 1500; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  EXPECT_TRUE(DescriptionOf("x_000001.bin").Complete);
  ASSERT_TRUE(series->Finish());
  EXPECT_FALSE(DescriptionOf("x_000002.bin").Complete);
}

TEST_F(SeriesOutputTest, LossesStandInTheFilesOfTheirTime) {
  const auto series = Series({.Time = kSecond});
  for (unsigned long index = 0; index < 900; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  Description known = Known();
  const auto at = [](unsigned long ms) { return 5 * kSecond + ms * 1'000'000; };
  known.Losses = {{1, LossCause::CaptureBufferFull, at(100), at(200), 3},
                  {1, LossCause::CaptureBufferFull, at(950), at(1050), 7},
                  {2, LossCause::CaptureBufferFull, at(1500), at(1600), 1}};
  series->Describe(known);
  for (unsigned long index = 900; index < 2500; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  ASSERT_TRUE(series->Finish());
  const auto& losses = known.Losses;
  EXPECT_EQ(DescriptionOf("x_000001.bin").Losses, (std::vector<Loss>{losses[0], losses[1]}));
  EXPECT_EQ(DescriptionOf("x_000002.bin").Losses, (std::vector<Loss>{losses[1], losses[2]}));
  EXPECT_TRUE(DescriptionOf("x_000003.bin").Losses.empty());
  const auto reader = OpenInput("x.bin");
  EXPECT_EQ(ReadToEnd(*reader).Known.Losses, losses) << "the one across the seam is told once";
}

// ---- Names ----------------------------------------------------------------------------------------------------------

TEST_F(SeriesOutputTest, FilesAreCalledAfterTheirFirstEntries) {
  const auto series = Series({.Time = 10 * kSecond, .Grid = SplitGrid::Utc}, "x_%t.bin");
  EXPECT_EQ(Files(), Names{});
  for (unsigned long second = 3; second < 25; ++second) ASSERT_TRUE(Put(*series, RecordAt(second * 1000 + 1)));
  ASSERT_TRUE(series->Finish());
  EXPECT_EQ(Events, (std::vector<Event>{{Kind::Complete, "x_20261121T143003Z.bin", 7},
                                        {Kind::Complete, "x_20261121T143010Z.bin", 10},
                                        {Kind::Complete, "x_20261121T143020Z.bin", 5}}));
}

TEST_F(SeriesOutputTest, TimesInNamesNeedAKnownClock) {
  for (const auto& [name, grid] : {std::pair("y_%t.bin", SplitGrid::FirstEntry), std::pair("y.bin", SplitGrid::Utc)}) {
    const auto series = Series({.Time = 10 * kSecond, .Grid = grid}, name);
    Description unknown = Known();
    unknown.Anchor.reset();
    series->Describe(unknown);
    EXPECT_FALSE(Put(*series, RecordAt(1)));
    EXPECT_NE(series->Error().find("--start-time"), std::string::npos) << series->Error();
    EXPECT_FALSE(series->Finish());
  }
}

TEST_F(SeriesOutputTest, WhatHasTheNameIsReplacedByAWholeFileOnly) {
  test::WriteFile("x_000002.bin", {1, 2, 3});
  test::WriteFile("x_000004.bin", {4});
  const auto series = Series({.Time = kSecond});
  for (unsigned long index = 0; index < 1500; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  EXPECT_EQ(test::FileBytes("x_000002.bin"), (Bytes{1, 2, 3}));
  ASSERT_TRUE(series->Finish());
  EXPECT_EQ(RecordsIn("x_000002.bin"), 500u);
  EXPECT_EQ(test::FileBytes("x_000004.bin"), Bytes{4});
  EXPECT_EQ(series->RemarkText(), "\"x_000004.bin\" is of an earlier, longer series, not of this run");
}

TEST_F(SeriesOutputTest, WhatExistsIsKeptIfThatIsWanted) {
  test::WriteFile("x_000002.bin", {1, 2, 3});
  const auto series = Series({.Time = kSecond});
  series->KeepExisting();
  bool taken = true;
  for (unsigned long index = 0; index < 2500 && taken; ++index) taken = Put(*series, RecordAt(index));
  EXPECT_FALSE(taken);
  EXPECT_NE(series->Error().find("x_000002.bin"), std::string::npos) << series->Error();
  EXPECT_EQ(test::FileBytes("x_000002.bin"), (Bytes{1, 2, 3}));
  EXPECT_TRUE(fs::exists("x_000002.bin.part"));
}

TEST_F(SeriesOutputTest, ASeriesOnItsWayOrLeftOverIsRefused) {
  test::WriteFile("x_000007.bin.part", {1});
  try {
    (void)Series({.Time = kSecond});
    FAIL() << "a part file was overlooked";
  } catch (const Failure& failure) {
    EXPECT_EQ(std::string(failure.what()),
              "Cannot write \"x.bin\": \"x_000007.bin.part\" is left over from a run that was cut off; rename it to "
              "keep what it holds, or remove it");
  }
  EXPECT_EQ(Files(), Names{"x_000007.bin.part"});
  fs::remove("x_000007.bin.part");
  const auto series = Series({.Time = kSecond});
  for (unsigned long index = 0; index < 2500; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  EXPECT_THROW((void)Series({.Time = kSecond}), Failure);
  ASSERT_TRUE(series->Finish());
}

// ---- What is kept ---------------------------------------------------------------------------------------------------

TEST_F(SeriesOutputTest, TheNewestFilesAreKept) {
  const auto series = Series({.Time = kSecond, .KeepFiles = 2});
  for (unsigned long index = 0; index < 5500; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  ASSERT_TRUE(series->Finish());
  EXPECT_EQ(Files(), (Names{"x_000005.bin", "x_000005.bin.json", "x_000006.bin", "x_000006.bin.json"}));
  nlohmann::json json;
  series->AddJson(json);
  EXPECT_EQ(json["files"].dump(), R"(["x_000005.bin","x_000006.bin"])");
  EXPECT_EQ(json["deleted_files"], 4);
  EXPECT_EQ(series->FilesText(), "x_000005.bin to x_000006.bin (2 files)");
}

TEST_F(SeriesOutputTest, ASeriesStaysBelowItsSize) {
  constexpr unsigned long kMost = 256 << 10;
  const auto series = Series({.Size = 64 << 10, .KeepSize = kMost});
  const auto onDisk = [] {
    unsigned long bytes = 0;
    for (const std::string& file : Files()) bytes += fs::file_size(file);
    return bytes;
  };
  unsigned long greatest = 0;
  for (unsigned long index = 0; index < 30000; ++index) {
    ASSERT_TRUE(Put(*series, RecordAt(index)));
    if (index % 100 == 0) greatest = std::max(greatest, onDisk());
  }
  ASSERT_TRUE(series->Finish());
  EXPECT_LE(greatest, kMost + (4 << 10)) << "descriptions on their way come on top";
  EXPECT_LE(onDisk(), kMost);
  EXPECT_GT(onDisk(), kMost / 2);
}

TEST_F(SeriesOutputTest, AFileThatAScriptCarriedAwayIsNoFailure) {
  const auto series = Series({.Time = kSecond, .KeepFiles = 1});
  for (unsigned long index = 0; index < 1500; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  fs::rename("x_000001.bin", "elsewhere.bin");
  for (unsigned long index = 1500; index < 3500; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  EXPECT_TRUE(series->Finish());
  EXPECT_TRUE(fs::exists("elsewhere.bin"));
  EXPECT_EQ(series->Error(), "");
}

// ---- Failures -------------------------------------------------------------------------------------------------------

TEST_F(SeriesOutputTest, WhereTheNextFileCannotBeMadeTheOneBeforeIsWhole) {
  const auto series = Series({.Time = kSecond});
  for (unsigned long index = 0; index < 1000; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  test::WriteFile("x_000002.bin.part", {1});  // somebody else's
  EXPECT_FALSE(Put(*series, RecordAt(1000)));
  EXPECT_NE(series->Error().find("x_000002.bin.part"), std::string::npos) << series->Error();
  EXPECT_FALSE(series->Finish());
  EXPECT_EQ(RecordsIn("x_000001.bin"), 1000u);
  EXPECT_EQ(test::FileBytes("x_000002.bin.part"), Bytes{1});
}

TEST_F(SeriesOutputTest, WhereAFileCannotBeWrittenThoseBeforeAreWhole) {
  const auto series = Series({.Time = 30 * kSecond});
  unsigned long index = 0;
  for (; index < 30000; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  for (; index < 30010; ++index) ASSERT_TRUE(Put(*series, RecordAt(index)));
  {
    const test::FileSizeLimit limit(1000);
    while (Put(*series, RecordAt(index))) ++index;
  }
  EXPECT_NE(series->Error().find("x_000002.bin"), std::string::npos);
  Description known = Known();
  series->NoteCut(known, 5 * kSecond + index * 1'000'000);
  EXPECT_FALSE(series->Finish());
  EXPECT_EQ(RecordsIn("x_000001.bin"), 30000u);
  EXPECT_TRUE(fs::exists("x_000002.bin.part"));
}

// ---- All formats ----------------------------------------------------------------------------------------------------

/// What a series and a single file of the same records hold, by the names of their outputs.
class SeriesOfFormat : public testing::TestWithParam<const char*> {
 protected:
  static void WriteAll(const std::string& name, const SeriesPlan& plan, unsigned long count) {
    OutputPlan outputs{PlanOutputs({name}, {.Decimals = std::nullopt}, fs::current_path()), {}, {}, {}};
    outputs.Series = plan;
    OutputSet set(outputs, Known());
    for (unsigned long index = 0; index < count; ++index) ASSERT_TRUE(Put(set, RecordAt(index)));
    set.Finish(Known());
    ASSERT_TRUE(set.Errors().empty()) << set.Errors().front();
  }
  static std::vector<std::string> FilesOf(const std::string& pattern) { return NamePattern(pattern).Files(); }

  test::TemporaryDirectory Directory;
};

INSTANTIATE_TEST_SUITE_P(Formats, SeriesOfFormat,
                         testing::Values("x.bin", "x.asc", "x.mf4", "x.pcapng", "x.log", "x.bin.gz", "x.asc.zst",
                                         "x.pcapng.gz", "x.log.zst"));

TEST_P(SeriesOfFormat, ReadsAsTheSameRecordsAsOneFile) {
  const std::string name = GetParam(), whole = "whole_" + name;
  constexpr unsigned long kCount = 3500;
  WriteAll(whole, {}, kCount);
  WriteAll(name, {.Time = kSecond}, kCount);
  ASSERT_EQ(FilesOf(name).size(), 4u);
  const ReadOut one = ReadToEnd(*OpenInput(whole)), parts = ReadToEnd(*OpenInput(name));
  EXPECT_EQ(parts.Failed, "");
  ASSERT_EQ(one.Records.size(), parts.Records.size());
  // By UTC: the clock of each input counts from its own start.
  const auto utc = [](const ReadOut& read, size_t index) {
    return TimesOf(read.Known).UtcOf(read.At(index).Timestamp());
  };
  for (size_t index = 0; index < one.Records.size(); ++index) {
    ASSERT_EQ(utc(one, index), utc(parts, index)) << index;
    ASSERT_TRUE(
        std::equal(one.Records[index].begin() + 36, one.Records[index].end(), parts.Records[index].begin() + 36))
        << index;
  }
  EXPECT_EQ(one.Known.Complete, parts.Known.Complete);
}

TEST_P(SeriesOfFormat, EveryFileIsWholeByItself) {
  const std::string name = GetParam();
  constexpr unsigned long kCount = 3500;
  WriteAll(name, {.Time = kSecond}, kCount);
  size_t sum = 0;
  for (const std::string& file : FilesOf(name)) {
    const ReadOut read = ReadToEnd(*OpenInput(file));
    EXPECT_EQ(read.Failed, "");
    EXPECT_TRUE(read.Found.empty()) << file;
    EXPECT_TRUE(read.Known.Complete) << file;
    ASSERT_FALSE(read.Records.empty()) << file;
    sum += read.Records.size();
  }
  EXPECT_EQ(sum, name.starts_with("x.log") ? kCount * 9 / 10 : kCount);
}

TEST_P(SeriesOfFormat, FilesBySizeAreAboutThatLarge) {
  const std::string name = GetParam();
  constexpr unsigned long kSize = 256 << 10;
  constexpr unsigned long kCount = 60000;
  WriteAll(name, {.Size = kSize}, kCount);
  const std::vector<std::string> files = FilesOf(name);
  ASSERT_GE(files.size(), 2u);
  size_t sum = 0;
  for (const std::string& file : files) {
    if (file != files.back()) {
      EXPECT_GE(fs::file_size(file), kSize - kSize / 32) << file;
      EXPECT_LE(fs::file_size(file), kSize + (16 << 10)) << file;
    }
    sum += ReadToEnd(*OpenInput(file)).Records.size();
  }
  EXPECT_EQ(sum, name.starts_with("x.log") ? kCount * 9 / 10 : kCount);
}

TEST(SeriesOfRows, EachRowIsInOneFile) {
  const test::TemporaryDirectory directory;
  for (const char* name : {"x.csv", "x.ndjson"}) {
    OutputPlan outputs{PlanOutputs({name}, {}, fs::current_path()), {}, {}, {}};
    outputs.Series.Time = kSecond;
    OutputSet set(outputs, Known());
    for (unsigned long index = 0; index < 2500; ++index) ASSERT_TRUE(Put(set, RecordAt(index)));
    set.Finish(Known());
    const auto files = NamePattern(name).Files();
    ASSERT_EQ(files.size(), 3u);
    size_t rows = 0;
    for (const std::string& file : files) {
      const Bytes text = test::FileBytes(file);
      rows += static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
      if (std::string(name) == "x.csv") --rows;  // the header
    }
    EXPECT_EQ(rows, 2500u);
    EXPECT_EQ(set.Json()[0]["rows"], 2500);
  }
}

TEST(SeriesShortfall, IsThatOfAllFilesTogether) {
  const test::TemporaryDirectory directory;
  OutputPlan outputs{PlanOutputs({"x.log"}, {}, fs::current_path()), {}, {}, {}};
  outputs.Series.Time = kSecond;
  OutputSet set(outputs, Known());
  for (unsigned long index = 0; index < 2500; ++index) ASSERT_TRUE(Put(set, RecordAt(index)));
  set.Finish(Known());
  EXPECT_EQ(set.ShortfallText(), (fs::current_path() / "x.log").string() +
                                     ": NOT IN IT, as its format has no place for them: 250 LIN entries\n");
  EXPECT_EQ(set.Json()[0]["omitted"]["LIN entries"], 250);
}

}  // namespace
}  // namespace client
