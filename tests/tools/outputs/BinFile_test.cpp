#include "outputs/BinFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "stream/DescriptionJson.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"
#include "tools/ReadBin.h"

namespace client {
namespace {

namespace fs = std::filesystem;

class BinFileTest : public testing::Test {
 protected:
  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
  std::string Path = (Folder / "x.bin").string();
};

TEST_F(BinFileTest, RecordsFollowOneAnotherWithoutPadding) {
  BinWriter writer(Path);
  for (const Bytes& record : OddRecords()) EXPECT_TRUE(Put(writer, record));
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(test::FileBytes(Path), Joined(OddRecords()));
  EXPECT_EQ(writer.Entries(), 64u);
  EXPECT_EQ(writer.Bytes(), Joined(OddRecords()).size());
}

TEST_F(BinFileTest, FileHasItsNameOnlyWhenComplete) {
  {
    BinWriter writer(Path);
    Put(writer, OddRecords()[5]);
    EXPECT_FALSE(fs::exists(Path));
    EXPECT_TRUE(fs::exists(Path + ".part"));
    EXPECT_TRUE(writer.Finish());
    EXPECT_TRUE(fs::exists(Path));
    EXPECT_FALSE(fs::exists(Path + ".part"));
  }
  EXPECT_EQ(test::FileBytes(Path), OddRecords()[5]);
}

TEST_F(BinFileTest, UnfinishedFileKeepsItsRecordsUnderTheTemporaryName) {
  { Put(*std::make_unique<BinWriter>(Path), OddRecords()[5]); }
  EXPECT_FALSE(fs::exists(Path));
  EXPECT_EQ(test::FileBytes(Path + ".part"), OddRecords()[5]);
}

TEST_F(BinFileTest, FileThatGotNothingLeavesNothing) {
  { const BinWriter writer(Path); }
  EXPECT_TRUE(fs::is_empty(Folder));
}

TEST_F(BinFileTest, EmptyRecordingIsAFile) {
  BinWriter writer(Path);
  EXPECT_TRUE(writer.Finish());
  EXPECT_TRUE(fs::exists(Path));
}

// ---- The description beside it

/// A description that can be told by its title.
Description Titled(const char* title) {
  Description description;
  description.Title = title;
  return description;
}

Description ReadDescription(const std::string& path) {
  const Bytes bytes = test::FileBytes(path);
  return DescriptionFromJson({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

TEST_F(BinFileTest, DescriptionLiesBesideTheRecordsAndKnowsThem) {
  const std::vector<Bytes> records = {OddRecords()[5], OddRecords()[6]};
  {
    BinWriter writer(Path);
    writer.Describe(Titled("first"));
    EXPECT_EQ(ReadDescription(Path + ".json.part").Title, "first");  // before anything is recorded
    for (const Bytes& record : records) Put(writer, record);
    writer.Describe(Titled("last"));
    EXPECT_TRUE(writer.Finish());
    EXPECT_EQ(writer.Error(), "");
  }
  const Description description = ReadDescription(Path + ".json");
  EXPECT_EQ(description.Title, "last");
  EXPECT_EQ(description.Records,
            (RecordsDescription{2, Joined(records).size(), DigestOf(records[0].data(), records[0].size())}));
  EXPECT_FALSE(fs::exists(Path + ".json.part"));
}

TEST_F(BinFileTest, AnchorIsWrittenWhenItBecomesKnown) {
  BinWriter writer(Path);
  writer.Describe({});
  Description description;
  description.Anchor = ClockAnchor{1, 2};
  writer.Describe(description);
  EXPECT_EQ(ReadDescription(Path + ".json.part").Anchor, description.Anchor);
}

TEST_F(BinFileTest, LossOnASilentBusIsWrittenInAPause) {
  BinWriter writer(Path);
  Description description;
  writer.Describe(description);
  description.Losses.push_back({1, LossCause::InterfaceGone, 100, 100, std::nullopt});
  writer.Describe(description);
  EXPECT_TRUE(ReadDescription(Path + ".json.part").Losses.empty());
  writer.Pause();
  EXPECT_EQ(ReadDescription(Path + ".json.part").Losses, description.Losses);
}

TEST_F(BinFileTest, DescriptionOfUnfinishedRecordsStaysWithThem) {
  {
    BinWriter writer(Path);
    writer.Describe(Titled("x"));
    Put(writer, OddRecords()[5]);
  }
  EXPECT_EQ(ReadDescription(Path + ".json.part").Records->Count, 1u);
  EXPECT_FALSE(fs::exists(Path + ".json"));
}

TEST_F(BinFileTest, DescriptionOfNothingGoesWithIt) {
  {
    BinWriter writer(Path);
    writer.Describe(Titled("x"));
  }
  EXPECT_TRUE(fs::is_empty(Folder));
}

TEST_F(BinFileTest, ShorterDescriptionIsStillOneDocument) {
  BinWriter writer(Path);
  Description longer = Titled("a long title, longer than the next one");
  longer.Anchor = ClockAnchor{1, 2};
  writer.Describe(longer);
  writer.Describe(Titled("x"));
  EXPECT_EQ(ReadDescription(Path + ".json.part").Title, "x");
}

TEST_F(BinFileTest, DescriptionThatACrashHasLeftIsNotOverwritten) {
  std::ofstream(Path + ".json.part") << "precious";
  BinWriter writer(Path);
  EXPECT_THROW(writer.Describe({}), Failure);
  EXPECT_EQ(fs::file_size(Path + ".json.part"), 8u);
}

TEST_F(BinFileTest, KeptRecordsKeepTheirDescription) {
  std::ofstream(Path) << "whole";
  std::ofstream(Path + ".json") << "of the whole";
  BinWriter writer(Path);
  writer.Describe(Titled("x"));
  Put(writer, OddRecords()[5]);
  writer.KeepExisting();
  EXPECT_FALSE(writer.Finish());
  EXPECT_EQ(fs::file_size(Path + ".json"), 12u);
  EXPECT_EQ(ReadDescription(Path + ".json.part").Title, "x");
}

TEST_F(BinFileTest, DescriptionThatCannotBeReplacedKeepsTheOldRecords) {
  std::ofstream(Path) << "whole";
  fs::create_directory(Path + ".json");
  BinWriter writer(Path);
  writer.Describe(Titled("x"));
  Put(writer, OddRecords()[5]);
  EXPECT_FALSE(writer.Finish());
  EXPECT_NE(writer.Error().find("Cannot replace \"" + Path + ".json\": Is a directory"), std::string::npos)
      << writer.Error();
  EXPECT_EQ(fs::file_size(Path), 5u);
  EXPECT_EQ(test::FileBytes(Path + ".part"), OddRecords()[5]);
}

TEST_F(BinFileTest, TwoWritersOfOneFileCannotBe) {
  const BinWriter writer(Path);
  EXPECT_THROW(BinWriter other(Path), Failure);
}

TEST_F(BinFileTest, ExistingFileIsKeptIfTheEntriesDontComeToTheirEnd) {
  std::ofstream(Path) << "whole";
  BinWriter writer(Path);
  Put(writer, OddRecords()[5]);
  writer.KeepExisting();
  EXPECT_FALSE(writer.Finish());
  EXPECT_EQ(test::FileBytes(Path), (Bytes{'w', 'h', 'o', 'l', 'e'}));
  EXPECT_EQ(test::FileBytes(Path + ".part"), OddRecords()[5]);
  EXPECT_EQ(writer.Error(), "Cannot name \"" + Path + "\": File exists. Its contents are in \"" + Path + ".part\"");
}

TEST_F(BinFileTest, FullDiskThatTakesNothingLeavesNothing) {
  BinWriter writer(Path);
  {
    const test::FileSizeLimit limit(0);
    Put(writer, OddRecords()[5]);
    EXPECT_FALSE(writer.Finish());
  }
  EXPECT_EQ(writer.Error(), "Cannot write \"" + Path + "\": File too large");
}

TEST_F(BinFileTest, FileThatCannotBeMadeIsAFailure) {
  EXPECT_THROW(BinWriter((Folder / "missing" / "x.bin").string()), Failure);
}

TEST_F(BinFileTest, NameThatIsTakenByAFolderKeepsTheRecords) {
  fs::create_directory(Path);
  BinWriter writer(Path);
  Put(writer, OddRecords()[5]);
  EXPECT_FALSE(writer.Finish());
  EXPECT_NE(writer.Error().find("Is a directory"), std::string::npos) << writer.Error();
  EXPECT_EQ(test::FileBytes(Path + ".part"), OddRecords()[5]);
}

TEST_F(BinFileTest, FullDiskLeavesWholeRecordsAndSaysSo) {
  const Bytes record = RecordOf(test::CanItem().Data({1, 2, 3}));  // 47 bytes
  ASSERT_EQ(record.size(), 47u);
  BinWriter writer(Path);
  {
    const test::FileSizeLimit limit(2000000);
    int taken = 0;
    while (taken < 1000000 && Put(writer, record)) ++taken;
    EXPECT_LT(taken, 1000000);
    EXPECT_FALSE(Put(writer, record));
    EXPECT_FALSE(writer.Finish());
  }
  EXPECT_EQ(writer.Entries(), 2000000u / 47);
  EXPECT_EQ(writer.Error(), "Cannot write \"" + Path + "\": File too large. The 42553 entries before that are in \"" +
                                Path + ".part\"");
  EXPECT_FALSE(fs::exists(Path));
  Collector collector;
  EXPECT_EQ(ReadBin(Path + ".part", collector), 42553u);
  EXPECT_EQ(collector.Records.back(), record);
}

/// Writes records of two channels until the file takes no more, and more of them for nobody; @return their number
unsigned long RecordToAFullDisk(const std::string& path, const Description& known) {
  BinWriter writer(path);
  writer.Describe(known);
  const test::FileSizeLimit limit(2000000);
  unsigned long taken = 0;
  while (taken < 1000000 && Put(writer, RecordOf(test::CanItem().Channel(taken % 2 == 0 ? 3 : 5).At(1000 + taken))))
    ++taken;
  EXPECT_LT(taken, 1000000u);
  writer.NoteCut(known, 1000 + taken);
  writer.NoteCut(known, 9000000);  // the recording went on
  return taken;
}

TEST_F(BinFileTest, CutOfAFullDiskIsALossOfEachChannel) {
  Description known = Titled("x");
  known.Complete = true;
  known.Channels = {{.Number = 1}, {.Number = 3}};
  known.Losses = {{3, LossCause::Reordering, 1001, 1002, 4}};
  RecordToAFullDisk(Path, known);
  Collector collector;
  const unsigned long kept = ReadBin(Path + ".part", collector);
  const Description description = ReadDescription(Path + ".json.part");
  EXPECT_FALSE(description.Complete);
  EXPECT_EQ(description.Title, "x");
  ASSERT_TRUE(description.Records.has_value());
  EXPECT_EQ(description.Records->Count, kept);
  const unsigned long last = 1000 + kept - 1;
  const std::vector<Loss> losses = {known.Losses[0],
                                    {1, LossCause::DiskFull, last, 9000000, std::nullopt},
                                    {3, LossCause::DiskFull, last, 9000000, std::nullopt},
                                    {5, LossCause::DiskFull, last, 9000000, std::nullopt}};
  EXPECT_EQ(description.Losses, losses);
}

TEST_F(BinFileTest, NothingIsCutWhereNoWriteFailed) {
  BinWriter writer(Path);
  writer.Describe(Titled("x"));
  Put(writer, OddRecords()[5]);
  writer.NoteCut(Titled("y"), 77);
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(ReadDescription(Path + ".json").Losses, std::vector<Loss>{});
}

TEST_F(BinFileTest, DescriptionThatCannotGrowStaysAsItWas) {
  BinWriter writer(Path);
  writer.Describe(Titled("x"));
  const auto size = fs::file_size(Path + ".json.part");
  {
    const test::FileSizeLimit limit(size + 10);
    Description longer = Titled("a long title, longer than the first one");
    longer.Anchor = ClockAnchor{1, 2};
    writer.Describe(longer);
  }
  EXPECT_EQ(fs::file_size(Path + ".json.part"), size);
  EXPECT_EQ(ReadDescription(Path + ".json.part").Title, "x");
}

}  // namespace
}  // namespace client
