#include "inputs/SeriesReader.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "outputs/BinFile.h"
#include "outputs/CandumpWriter.h"
#include "stream/DescriptionJson.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"
#include "tools/ReadInput.h"

namespace client {
namespace {

namespace fs = std::filesystem;

constexpr unsigned long kSecond = 1'000'000'000;
constexpr unsigned long kStart = 1795271400 * kSecond;

/// Some frames from a second of the clock on.
void WriteFile(const std::string& name, unsigned long second, const std::string& id, unsigned int channel = 1) {
  Description known;
  known.Id = id;
  known.Complete = true;
  known.Anchor = ClockAnchor{second * kSecond, kStart + second * kSecond, std::nullopt, AnchorOrigin::RecordingStart};
  known.Channels = {{.Number = channel, .BusType = BusType_Can}};
  BinWriter writer(name);
  writer.Describe(known);
  for (unsigned long index = 0; index < 3; ++index)
    ASSERT_TRUE(Put(writer, RecordOf(test::CanItem().Channel(channel).At(second * kSecond + index))));
  ASSERT_TRUE(writer.Finish());
}

constexpr const char* kOne = "11111111-1111-1111-1111-111111111111";
constexpr const char* kOther = "22222222-2222-2222-2222-222222222222";

class SeriesReaderTest : public testing::Test {
 protected:
  test::TemporaryDirectory Directory;
};

TEST_F(SeriesReaderTest, ANameStandsForItsNumberedFiles) {
  WriteFile("x_000003.bin", 10, kOne);
  WriteFile("x_000004.bin", 20, kOne, 2);
  const auto reader = OpenInput("x.bin");
  const ReadOut read = ReadToEnd(*reader);
  ASSERT_EQ(read.Records.size(), 6u);
  EXPECT_EQ(read.At(0).Timestamp(), 10 * kSecond);
  EXPECT_EQ(read.At(5).Timestamp(), 20 * kSecond + 2);
  EXPECT_EQ(read.Known.Channels.size(), 2u);
  EXPECT_TRUE(read.Known.Complete);
  EXPECT_EQ(read.Known.Anchor->EntryTime, 10 * kSecond);
  EXPECT_FALSE(read.Known.Records);
  EXPECT_EQ(reader->Position(), reader->Size());
  ASSERT_EQ(reader->Notes().size(), 1u);
  EXPECT_EQ(reader->Notes()[0], "\"x_000003.bin\" to \"x_000004.bin\" are read as one recording of 2 files");
}

TEST_F(SeriesReaderTest, ANameWithPlaceholdersStandsForItsFiles) {
  WriteFile("x_20261121T143010Z.bin", 10, kOne);
  WriteFile("x_20261121T143020Z.bin", 20, kOne);
  EXPECT_EQ(ReadToEnd(*OpenInput("x_%t.bin")).Records.size(), 6u);
}

TEST_F(SeriesReaderTest, AFileOfTheNameItselfIsRead) {
  WriteFile("x_000001.bin", 10, kOne);
  WriteFile("x.bin", 20, kOther);
  EXPECT_EQ(ReadToEnd(*OpenInput("x.bin")).Records.size(), 3u);
}

TEST_F(SeriesReaderTest, ASingleFileOfASeriesIsReadByItsName) {
  WriteFile("x_000001.bin", 10, kOne);
  WriteFile("x_000002.bin", 20, kOne);
  EXPECT_EQ(ReadToEnd(*OpenInput("x_000001.bin")).Records.size(), 3u);
}

TEST_F(SeriesReaderTest, WithoutFilesTheNameIsThatOfAMissingFile) {
  try {
    (void)OpenInput("x.bin");
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_NE(std::string(failure.what()).find("x.bin"), std::string::npos);
  }
}

TEST_F(SeriesReaderTest, FilesThatAreMissingInBetweenAreNamed) {
  WriteFile("x_000002.bin", 10, kOne);
  WriteFile("x_000005.bin", 20, kOne);
  const auto reader = OpenInput("x.bin");
  EXPECT_EQ(
      reader->Notes()[0],
      "\"x_000002.bin\" to \"x_000005.bin\" are read as one recording of 2 files; 2 files between them are missing");
}

TEST_F(SeriesReaderTest, AFileOfAnotherRecordingIsLeftOut) {
  WriteFile("x_000001.bin", 10, kOne);
  WriteFile("x_000002.bin", 20, kOther);
  WriteFile("x_000003.bin", 30, kOne);
  const ReadOut read = ReadToEnd(*OpenInput("x.bin"));
  EXPECT_EQ(read.Records.size(), 6u);
  EXPECT_EQ(CountOf(read, FindingKind::LeftOut, "a file of another recording among those of the series"), 1ul);
}

TEST_F(SeriesReaderTest, WithoutAnIdAFileThatBeganLongBeforeIsOfAnotherRecording) {
  WriteFile("x_000001.bin", 1000, "");
  WriteFile("x_000002.bin", 1020, "");
  WriteFile("x_000003.bin", 10, "");
  EXPECT_EQ(ReadToEnd(*OpenInput("x.bin")).Records.size(), 6u);
}

TEST_F(SeriesReaderTest, WhatIsDamagedIsAFailureAfterAllRecordsBefore) {
  WriteFile("x_000001.bin", 10, kOne);
  test::WriteFile("x_000002.bin", {0, 1, 2, 0, 0, 0, 0, 1, 1, 1});
  const ReadOut read = ReadToEnd(*OpenInput("x.bin"));
  EXPECT_EQ(read.Records.size(), 3u);
  EXPECT_NE(read.Failed.find("x_000002.bin"), std::string::npos) << read.Failed;
}

TEST_F(SeriesReaderTest, ReadingCanBeEnded) {
  WriteFile("x_000001.bin", 10, kOne);
  WriteFile("x_000002.bin", 20, kOne);
  const auto reader = OpenInput("x.bin");
  bool goOn = true;
  reader->Attend({.MayGoOn = [&] { return goOn; }});
  for (int record = 0; record < 3; ++record) ASSERT_NE(reader->Next(), nullptr);
  goOn = false;
  EXPECT_EQ(reader->Next(), nullptr);
  EXPECT_TRUE(reader->Stopped());
}

}  // namespace
}  // namespace client
