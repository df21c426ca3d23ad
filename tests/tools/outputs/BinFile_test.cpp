#include "outputs/BinFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

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

}  // namespace
}  // namespace client
