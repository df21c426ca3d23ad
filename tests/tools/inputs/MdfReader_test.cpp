#include "inputs/MdfReader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <map>

#include "mdf/File.h"
#include "outputs/MdfOutput.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"
#include "tools/inputs/MadeRecords.h"

namespace client {
namespace {

namespace fs = std::filesystem;

constexpr unsigned long kSecond = 1000000000;
constexpr unsigned long kNoon = 1795262400 * kSecond;  // some day in 2026

class MdfReaderTest : public testing::Test {
 protected:
  void Write(const std::vector<Bytes>& records, const MdfOptions& options = {},
             const Description& description = {}) const {
    MdfOutput output(Path, options);
    output.Describe(description);
    for (const Bytes& record : records) ASSERT_TRUE(Put(output, record));
    output.Describe(description);
    ASSERT_TRUE(output.Finish());
  }
  std::vector<Bytes> Read() const {
    MdfReader reader(Path);
    Collector collector;
    EXPECT_EQ(ReadAll(reader, collector), ReadingEnd::Whole);
    EXPECT_EQ(reader.Records(), collector.Records.size());
    return collector.Records;
  }

  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
  std::string Path = (Folder / "x.mf4").string();
};

// --- this project's own files ---

TEST_F(MdfReaderTest, AllKindsOfRecordsComeBackFromTheClientsFile) {
  const auto records = EveryKind();
  Write(records);
  EXPECT_EQ(Read(), records);
}

TEST_F(MdfReaderTest, EventOfALossIsNoMarkOfTheEntryAtItsTime) {
  const std::vector<Bytes> records = {RecordOf(test::CanItem().At(kSecond).Data({1})),
                                      RecordOf(test::CanItem().At(2 * kSecond).Data({2})),
                                      RecordOf(test::CanItem().At(3 * kSecond).Data({3}))};
  Description known{.Anchor = ClockAnchor{0, kNoon}};
  known.Channels = {{.Number = 1, .BusType = BusType_Can}};
  known.Losses = {{1, LossCause::CaptureBufferFull, kSecond, 2 * kSecond, 17}};
  Write(records, {}, known);
  EXPECT_EQ(Read(), records);
  MdfReader reader(Path);
  Collector collector;
  EXPECT_EQ(ReadAll(reader, collector), ReadingEnd::Whole);
  EXPECT_EQ(reader.Describe().Losses, known.Losses);
  EXPECT_TRUE(reader.Found().Empty());
}

TEST_F(MdfReaderTest, WhatTheLibrarysOwnConventionHoldsComesBackFromIt) {
  const auto records = EveryKindOfTheExport();
  Write(records, {.AsExported = true});
  EXPECT_EQ(Read(), records);
}

TEST_F(MdfReaderTest, FileOfTheLibraryItselfIsReadAsWell) {
  Made made;
  const Bytes record = made.Can(1, 500, {.Identifier = 0x123, .Dlc = 2, .Data = made.Data({1, 2})});
  {
    MdfFile file((Folder / "x").string(), kNoon);
    ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
    Bytes copy = record;
    ASSERT_TRUE(file.Data_Insert(*reinterpret_cast<Qor_Trace_Entry_t*>(copy.data())));
    ASSERT_TRUE(file.File_Close(kNoon + 600));
  }
  EXPECT_EQ(Read(), std::vector<Bytes>{record});
}

TEST_F(MdfReaderTest, RecordsOfSeveralBusesComeInTheOrderOfTheirTimes) {
  Made made;
  std::vector<Bytes> records;
  for (unsigned int index = 0; index < 3000; ++index) {
    const unsigned long time = index * 1000ul;
    const auto data = made.Data({static_cast<unsigned char>(index), 2});
    if (index % 3 == 0) records.push_back(made.Can(1, time, {.Identifier = index & 0x7FF, .Dlc = 2, .Data = data}));
    if (index % 3 == 1) records.push_back(made.Lin(2, time, {.Identifier = 3, .Data = data, .Checksum = 9}));
    if (index % 3 == 2)
      records.push_back(made.Can(3, time, {.Identifier = 4, .Flags = QOR_TRACE_CAN_ERROR, .Data = made.Data({3})}));
  }
  Write(records);
  EXPECT_EQ(Read(), records);
}

TEST_F(MdfReaderTest, DescriptionIsThatOfTheRecording) {
  Description told{
      .Title = "hot <lap> & co", .Tool = "qor-trace 9.8", .Host = "bench", .System = "Linux", .Machine = "x86"};
  told.Complete = true;
  told.Epoch = ClockEpoch::Own;
  told.Anchor = ClockAnchor{0, kNoon, std::nullopt, AnchorOrigin::RecordingStart};
  told.Channels = {{.Number = 1, .BusType = BusType_Can, .Source = "can?seed=1", .Name = "front", .Hardware = "box"},
                   {.Number = 2, .BusType = BusType_Lin, .Source = "lin", .Filter = "id < 9"}};
  told.Channels[0].BitRate = 500000;
  told.Channels[0].DataBitRate = 2000000;
  told.Losses = {{.Channel = 1, .Cause = LossCause::CaptureBufferFull, .First = 5, .Last = 900, .Count = 17},
                 {.Channel = 2, .Cause = LossCause::DiskFull, .First = 50, .Last = 900}};
  Made made;
  Write({made.Can(1, 100, {.Dlc = 1, .Data = made.Data({1})}), made.Lin(2, 200, {.Identifier = 3})}, {}, told);
  MdfReader reader(Path);
  EXPECT_EQ(reader.Describe(), told);
}

TEST_F(MdfReaderTest, FileWithoutAKnownStartSaysSo) {
  Made made;
  Write({made.Can(1, 100, {.Dlc = 1, .Data = made.Data({1})})});
  MdfReader reader(Path);
  EXPECT_EQ(reader.Describe().Anchor, std::nullopt);
}

TEST_F(MdfReaderTest, MarksOfLossesAreThoseOfTheirRecordsAgain) {
  Made made;
  std::vector<Bytes> records;
  for (unsigned long second = 1; second < 6; ++second) {
    const unsigned int lost = second % 2 == 0 ? QOR_TRACE_CAN_OVERRUN : 0;
    const auto flags = static_cast<unsigned char>(lost);
    records.push_back(made.Can(1, second * 2 * kSecond, {.Flags = flags, .Dlc = 1, .Data = made.Data({1})}));
    records.push_back(made.Can(1, second * 2 * kSecond + 1, {.Dlc = 1, .Data = made.Data({2})}));
    const auto linFlags = static_cast<unsigned short>(second % 2 == 0 ? QOR_TRACE_LIN_OVERRUN : 0);
    records.push_back(made.Lin(2, second * 2 * kSecond + 2,
                               {.Identifier = 1, .Flags = linFlags, .Data = made.Data({5}), .Checksum = 1}));
  }
  Write(records);
  EXPECT_EQ(Read(), records);
  MdfReader reader(Path);
  Collector collector;
  (void)ReadAll(reader, collector);
  EXPECT_TRUE(reader.Describe().Losses.empty());
}

TEST_F(MdfReaderTest, SeriesIsReadAsOneRecording) {
  Made made;
  std::vector<Bytes> records;
  Bytes noise(8);
  unsigned int state = 1;
  for (unsigned int index = 0; index < 250000; ++index) {
    for (auto& byte : noise) byte = static_cast<unsigned char>((state = state * 1664525 + 1013904223) >> 24);
    records.push_back(made.Can(1, index * 100000ul, {.Identifier = index & 0x7FF, .Dlc = 8, .Data = noise}));
  }
  Write(records, {.Split = 3ul << 20}, {.Anchor = ClockAnchor{0, kNoon}});
  ASSERT_TRUE(fs::exists(Folder / "x_1.mf4"));
  EXPECT_TRUE(Read() == records);
  MdfReader reader(Path);
  ASSERT_EQ(reader.Notes().size(), 1u);
  EXPECT_NE(reader.Notes()[0].find("x.mf4\" is the first of"), std::string::npos) << reader.Notes()[0];
  EXPECT_GT(reader.Size(), fs::file_size(Path));

  fs::rename(Folder / "x_1.mf4", Folder / "other.mf4");
  EXPECT_LT(Read().size(), records.size());  // what would follow isn't there
  MdfReader later((Folder / "other.mf4").string());
  EXPECT_TRUE(later.Notes().empty());
}

TEST_F(MdfReaderTest, FileOfAnotherRecordingWithTheNameOfALaterOneIsLeftAlone) {
  Made made;
  const Bytes record = made.Can(1, 100, {.Dlc = 1, .Data = made.Data({1})});
  Write({record, record}, {}, {.Anchor = ClockAnchor{0, kNoon}});
  fs::rename(Path, Folder / "x_1.mf4");
  Write({record}, {}, {.Anchor = ClockAnchor{0, kNoon + kSecond}});
  EXPECT_EQ(Read().size(), 1u);
}

// --- files that were cut off ---

/// The records of each channel and kind are the first ones of the whole's.
bool AreBeginnings(const std::vector<Bytes>& part, const std::vector<Bytes>& whole) {
  std::map<std::pair<unsigned int, RecordKind>, std::vector<Bytes>> all;
  std::map<std::pair<unsigned int, RecordKind>, size_t> seen;
  for (const Bytes& record : whole) all[{ViewOf(record).ChannelId(), ViewOf(record).Kind()}].push_back(record);
  for (const Bytes& record : part) {
    const std::pair key{ViewOf(record).ChannelId(), ViewOf(record).Kind()};
    const size_t index = seen[key]++;
    if (index >= all[key].size() || all[key][index] != record) return false;
  }
  return true;
}

TEST_F(MdfReaderTest, FileThatIsCutAnywhereGivesTheRecordsBeforeTheCut) {
  Made made;
  std::vector<Bytes> records;
  for (unsigned int index = 0; index < 200; ++index) {
    records.push_back(made.Can(
        1, index * 10, {.Identifier = index, .Dlc = 2, .Data = made.Data({static_cast<unsigned char>(index), 7})}));
    records.push_back(made.Lin(2, index * 10 + 5, {.Identifier = 2, .Data = made.Data({1}), .Checksum = 2}));
  }
  Write(records);
  const Bytes whole = test::FileBytes(Path);
  size_t complete = 0;
  for (size_t size = 8; size < whole.size(); size += size < 200 ? 1 : 101) {
    SCOPED_TRACE(size);
    test::WriteFile(Path, Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    Collector collector;
    try {
      MdfReader reader(Path);
      (void)ReadAll(reader, collector);
      if (collector.Records.size() < records.size()) {
        EXPECT_TRUE(reader.Found().Lossy());
        EXPECT_FALSE(reader.Describe().Complete);
      } else {
        ++complete;
      }
    } catch (const Failure& failure) {
      EXPECT_NE(std::string(failure.what()), "");
    }
    EXPECT_TRUE(AreBeginnings(collector.Records, records));
  }
  EXPECT_GT(complete, 0u);  // the last bytes are the end's event
}

TEST_F(MdfReaderTest, PartOfARecordingThatWasKilledIsReadAsFarAsItGoes) {
  Made made;
  std::vector<Bytes> records;
  for (unsigned int index = 0; index < 100; ++index)
    records.push_back(made.Can(1, index, {.Identifier = index, .Dlc = 1, .Data = made.Data({3})}));
  MdfOutput output(Path, {});
  for (const Bytes& record : records) ASSERT_TRUE(Put(output, record));
  output.Pause();
  fs::copy(Folder / "x.part.mf4", Folder / "killed.mf4");
  ASSERT_TRUE(output.Finish());
  MdfReader reader((Folder / "killed.mf4").string());
  Collector collector;
  EXPECT_EQ(ReadAll(reader, collector), ReadingEnd::Whole);
  EXPECT_EQ(collector.Records, records);
  EXPECT_TRUE(reader.Found().Lossy());
  EXPECT_FALSE(reader.Describe().Complete);
}

TEST_F(MdfReaderTest, PackedBlockThatIsDamagedCostsItsRecordsAlone) {
  Made made;
  std::vector<Bytes> records;
  for (unsigned int index = 0; index < 200000; ++index)
    records.push_back(made.Lin(
        1, index * 10, {.Identifier = 2, .Data = made.Data({1, static_cast<unsigned char>(index)}), .Checksum = 2}));
  Write(records);
  Bytes file = test::FileBytes(Path);
  const Bytes kind = {'#', '#', 'D', 'Z'};
  auto block = std::search(file.begin(), file.end(), kind.begin(), kind.end());
  block = std::search(block + 4, file.end(), kind.begin(), kind.end());  // the second one
  ASSERT_NE(block, file.end());
  std::fill_n(block + 48, 100, static_cast<unsigned char>(0xFF));  // its packed bytes
  test::WriteFile(Path, file);
  MdfReader reader(Path);
  Collector collector;
  EXPECT_EQ(ReadAll(reader, collector), ReadingEnd::Whole);
  EXPECT_TRUE(reader.Found().Lossy());
  EXPECT_GT(collector.Records.size(), records.size() / 2);
  EXPECT_LT(collector.Records.size(), records.size());
  EXPECT_EQ(collector.Records.front(), records.front());
  EXPECT_EQ(collector.Records.back(), records.back());
  size_t next = 0;
  for (const Bytes& record : collector.Records) {
    while (next < records.size() && records[next] != record) ++next;
    ASSERT_LT(next, records.size());  // none is made up
  }
}

// --- what can't be read ---

TEST_F(MdfReaderTest, PipeIsRefusedWithTheReason) {
  ASSERT_EQ(mkfifo(Path.c_str(), 0600), 0);
  try {
    const MdfReader reader(Path);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(std::string(failure.what()),
              "\"" + Path + "\" is a pipe, but an MDF file is read by positions: copy it to a file first");
  }
}

TEST_F(MdfReaderTest, ReadingEndsWhenNobodyWantsMore) {
  Made made;
  Write(std::vector<Bytes>(5000, made.Can(1, 1, {.Dlc = 1, .Data = made.Data({1})})));
  MdfReader reader(Path);
  Collector collector;
  EXPECT_EQ(ReadAll(reader, collector, [&] { return collector.Records.size() < 2000; }), ReadingEnd::Stopped);
  EXPECT_LT(collector.Records.size(), 5000u);
}

}  // namespace
}  // namespace client
