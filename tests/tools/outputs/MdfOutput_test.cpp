#include "outputs/MdfOutput.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <random>

#include "support/FileSizeLimit.h"
#include "support/StrictMdfReader.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

namespace fs = std::filesystem;

class MdfOutputTest : public testing::Test {
 protected:
  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& file : fs::directory_iterator(Folder)) names.push_back(file.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

  /// Reads a file strictly: its start time, and the records of the groups that have some.
  struct Contents {
    bool Finalized;
    unsigned long Start;
    std::map<std::string, unsigned long> Records;  // by "CAN1 CAN_DataFrame"
    std::vector<unsigned long> Times;              // of the records of all groups, ns
  };
  Contents Read(const std::string& name = "x.mf4") const {
    StrictMdfReader reader(StrictMdfReader::Load((Folder / name).string()), {.Records = true, .OldBlocks = true});
    reader.ReadFile();
    EXPECT_EQ(reader.Report(), "");
    Contents contents{reader.Finalized(), StrictMdfReader::Number(reader.At(64).Data, 0, 8), {}, {}};
    for (const auto position : reader.Of("CG")) {
      const auto& group = reader.At(position);
      const auto& time = reader.At(StrictMdfReader::LinkOf(group, 1));
      const auto& event = reader.At(StrictMdfReader::LinkOf(time, 0));  // the structure channel
      const auto count = StrictMdfReader::Number(group.Data, 8, 8);
      if (count == 0) continue;
      contents.Records[reader.Text(StrictMdfReader::LinkOf(group, 2)) + " " +
                       reader.Text(StrictMdfReader::LinkOf(event, 2))] = count;
    }
    for (const auto position : reader.Of("DG")) {
      const auto size = StrictMdfReader::Number(reader.At(StrictMdfReader::LinkOf(reader.At(position), 1)).Data, 24, 4);
      const std::string data = reader.DataBehind(StrictMdfReader::LinkOf(reader.At(position), 2));
      for (std::size_t place = 0; size > 0 && place < data.size(); place += size)
        contents.Times.push_back(StrictMdfReader::Number(data, place, 8));
    }
    return contents;
  }

  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
  std::string Path = (Folder / "x.mf4").string();
};

constexpr unsigned long Second = 1000000000;
constexpr unsigned long Noon = 1795262400 * Second;  // some day in 2026

TEST_F(MdfOutputTest, FileHasItsNameOnlyWhenComplete) {
  MdfOutput output(Path, {});
  EXPECT_TRUE(Put(output, RecordOf(test::CanItem().Data({1}))));
  EXPECT_EQ(Files(), std::vector<std::string>{"x.part.mf4"});
  EXPECT_TRUE(output.Finish());
  EXPECT_EQ(Files(), std::vector<std::string>{"x.mf4"});
  EXPECT_TRUE(Read().Finalized);
}

TEST_F(MdfOutputTest, BusesAreAddedAsTheyCome) {
  MdfOutput output(Path, {});
  for (unsigned int round = 0; round < 3; ++round) {
    Put(output, RecordOf(test::CanItem().Channel(1).At(round * 10).Data({1})));
    Put(output, RecordOf(test::LinItem().Channel(2).At(round * 10 + 1).Data({1}, 2)));
    Put(output, RecordOf(test::FlexRayItem().Channel(3).At(round * 10 + 2).Slot(4).Data({1, 2})));
  }
  Put(output, RecordOf(test::CanItem().Channel(4).At(40).ErrorFrame(1)));
  Put(output, RecordOf(test::LinItem().Channel(2).At(41).WakeUp()));
  Put(output, RecordOf(test::FlexRayItem().Channel(3).At(42).Kind(3)));
  EXPECT_TRUE(output.Finish());
  EXPECT_EQ(Read().Records, (std::map<std::string, unsigned long>{{"CAN1 CAN_DataFrame", 3},
                                                                  {"CAN4 CAN_ErrorFrame", 1},
                                                                  {"LIN2 LIN_Frame", 3},
                                                                  {"LIN2 LIN_WakeUp", 1},
                                                                  {"FLEX3 FLX_Frame", 3},
                                                                  {"FLEX3 FLX_StartCycle", 1}}));
  EXPECT_EQ(output.ShortfallText(), "");
}

TEST_F(MdfOutputTest, WhatTheFormatHasNoPlaceForIsCountedByKind) {
  MdfOutput output(Path, {});
  const Bytes records[] = {RecordOf(test::CanItem().Data({1})),
                           RecordOf(test::CanItem().Data({}).Dlc(3)),
                           RecordOf(test::CanItem().RisingEdge()),
                           RecordOf(test::EthernetItem().Channel(2).Frame({1, 2})),
                           RecordOf(test::EthernetItem().Channel(2).Frame({1, 2}).CrcError()),
                           RecordOf(test::EthernetItem().Channel(2).Kind(2)),
                           RecordOf(test::LinItem().Channel(3).Event()),
                           RecordOf(test::LinItem().Channel(3).Data({1}, 2).Flags(QOR_TRACE_LIN_OVERRUN)),
                           RecordOf(test::FlexRayItem().Channel(4).Kind(5)),
                           RecordOf(test::FlexRayItem().Channel(4).FrameFlags(QOR_TRACE_FLEXRAY_NULL)),
                           Bytes(28, 0)};
  for (const Bytes& record : records) EXPECT_TRUE(Put(output, record));
  EXPECT_TRUE(output.Finish());
  EXPECT_EQ(output.ShortfallText(),
            ", as the format has no place for them: 1 FlexRay status items, 1 malformed entries, 1 Ethernet records "
            "that are no frames");
  EXPECT_EQ(Read().Records, (std::map<std::string, unsigned long>{{"CAN1 CAN_DataFrame", 1},
                                                                  {"CAN1 CAN_RemoteFrame", 1},
                                                                  {"ETH2 ETH_Frame", 1},
                                                                  {"ETH2 ETH_ChecksumError", 1},
                                                                  {"LIN3 LIN_Frame", 1},
                                                                  {"FLEX4 FLX_NullFrame", 1}}));
}

TEST_F(MdfOutputTest, LibrarysOwnBytesAreThoseOfItsFileAlone) {
  const Bytes records[] = {RecordOf(test::CanItem().At(1).Data({1})), RecordOf(test::CanItem().At(2).Data({}).Dlc(3)),
                           RecordOf(test::LinItem().Channel(2).At(3).Id(0xA3).Data({1}, 2))};
  {
    MdfOutput output(Path, {.AsExported = true});
    output.Describe({.Title = "not in it"});
    for (const Bytes& record : records) EXPECT_TRUE(Put(output, record));
    output.Describe({.Title = "nor is this", .Losses = {{.Count = 5}}});
    EXPECT_TRUE(output.Finish());
  }
  const auto start = Read().Start;
  {
    MdfFile file((Folder / "alone").string(), start);
    file.StartTime_Reset(0, true);
    file.StartTime_Reset(start, false);
    EXPECT_TRUE(file.Bus_Add(1, BusType_Can));
    Bytes record = records[0];
    EXPECT_TRUE(file.Data_Insert(*reinterpret_cast<Qor_Trace_Entry_t*>(record.data())));
    record = records[1];
    EXPECT_TRUE(file.Data_Insert(*reinterpret_cast<Qor_Trace_Entry_t*>(record.data())));
    EXPECT_TRUE(file.Bus_Add(2, BusType_Lin));
    record = records[2];
    EXPECT_TRUE(file.Data_Insert(*reinterpret_cast<Qor_Trace_Entry_t*>(record.data())));
    EXPECT_TRUE(file.File_Close(3));
  }
  std::string ours = StrictMdfReader::Load(Path);
  std::string alone = StrictMdfReader::Load((Folder / "alone.mf4").string());
  // The history's time is that of the file's making.
  StrictMdfReader reader(alone);
  reader.ReadFile();
  ASSERT_EQ(ours.size(), alone.size());
  const size_t time = reader.Of("FH").front() + 24 + 16;
  ours.replace(time, 8, alone, time, 8);
  EXPECT_TRUE(ours == alone);
}

TEST_F(MdfOutputTest, CommentSaysWhoRecordedAndWhatWasLost) {
  MdfOutput output(Path, {});
  Description description{.Title = "hot lap", .Tool = "qor-trace 9.8", .Anchor = ClockAnchor{500000000, Noon}};
  output.Describe(description);
  EXPECT_TRUE(Put(output, RecordOf(test::CanItem().At(1000000000).Data({1}))));
  EXPECT_TRUE(Put(output, RecordOf(test::CanItem().At(3000000000).Data({1}))));
  description.Losses = {{.Channel = 1, .First = 1000000000, .Last = 3000000000, .Count = 5}};
  output.Describe(description);
  EXPECT_TRUE(output.Finish());
  StrictMdfReader reader(StrictMdfReader::Load(Path));
  reader.ReadFile();
  EXPECT_EQ(reader.Report(), "");
  const std::string comment = reader.Text(StrictMdfReader::LinkOf(reader.At(64), 5));
  EXPECT_NE(comment.find("<e name=\"tool\">qor-trace</e>"), std::string::npos) << comment;
  EXPECT_NE(comment.find("Lost on channel 1: 5 items, 1.000000000 s to 3.000000000 s: capture buffer full\n</TX>"),
            std::string::npos)
      << comment;
}

TEST_F(MdfOutputTest, LossIsAnEventAtItsTime) {
  constexpr unsigned long kSecond = 1'000'000'000;
  MdfOutput output(Path, {});
  Description description{.Anchor = ClockAnchor{0, Noon}};
  description.Losses = {{1, LossCause::CaptureBufferFull, 1 * kSecond, 2 * kSecond, 17},
                        {1, LossCause::OverrunMark, 3 * kSecond, 4 * kSecond, std::nullopt},
                        {7, LossCause::InterfaceGone, 5 * kSecond, 6 * kSecond, std::nullopt}};
  output.Describe(description);
  for (unsigned long second = 1; second <= 6; ++second) {
    const auto item = test::CanItem().At(second * kSecond).Data({1});
    EXPECT_TRUE(Put(output, RecordOf(second == 3 ? test::CanItem().At(3 * kSecond).Data({1}).Overrun() : item)));
    output.Describe(description);
  }
  EXPECT_TRUE(output.Finish());
  StrictMdfReader reader(StrictMdfReader::Load(Path));
  reader.ReadFile();
  EXPECT_EQ(reader.Report(), "");
  std::vector<std::string> names;
  for (const size_t event : reader.Of("EV")) names.push_back(reader.Text(StrictMdfReader::LinkOf(reader.At(event), 3)));
  std::erase_if(names, [](const std::string& name) { return name.ends_with(" of Recording"); });
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{
                       "Data lost after this entry",
                       "LOST on CAN 1: 17 items found the capture buffer full, 1.000000000 s to 2.000000000 s",
                       "LOST on channel 7: an unknown number of items are missing as the interface was gone, "
                       "5.000000000 s to 6.000000000 s"}));
}

TEST_F(MdfOutputTest, ChannelsWhoseBusIsKnownAreDescribed) {
  MdfOutput output(Path, {});
  Description description;
  description.Channels = {{.Number = 1, .BusType = BusType_Can, .Source = "can?seed=7", .Name = "Chassis"},
                          {.Number = 2, .Source = "vehicle.log", .Name = "Unheard"}};
  output.Describe(description);
  EXPECT_TRUE(Put(output, RecordOf(test::CanItem().Data({1}))));
  EXPECT_TRUE(output.Finish());
  const std::string file = StrictMdfReader::Load(Path);
  for (const char* known : {"Chassis", "can?seed=7"}) EXPECT_NE(file.find(known), std::string::npos) << known;
  for (const char* unknown : {"Unheard", "vehicle.log"}) EXPECT_EQ(file.find(unknown), std::string::npos) << unknown;
}

TEST_F(MdfOutputTest, PartIsUpToDateAfterAPause) {
  MdfOutput output(Path, {});
  EXPECT_TRUE(Put(output, RecordOf(test::CanItem().Data({1}))));
  output.Pause();
  EXPECT_EQ(Read("x.part.mf4").Records, (std::map<std::string, unsigned long>{{"CAN1 CAN_DataFrame", 1}}));
  EXPECT_FALSE(Read("x.part.mf4").Finalized);
  EXPECT_TRUE(output.Finish());
}

TEST_F(MdfOutputTest, WhatTheLibrarysExportHasNoGroupForIsCountedByKind) {
  MdfOutput output(Path, {.AsExported = true});
  const Bytes records[] = {RecordOf(test::CanItem().Data({1})),
                           RecordOf(test::EthernetItem().Channel(2).Frame({1, 2})),
                           RecordOf(test::EthernetItem().Channel(2).Frame({1, 2})),
                           RecordOf(test::CanItem().RisingEdge()),
                           RecordOf(test::LinItem().Channel(3).Event()),
                           RecordOf(test::LinItem().Channel(3).Data({1}, 2).Flags(QOR_TRACE_LIN_OVERRUN)),
                           RecordOf(test::LinItem().Channel(3).Flags(QOR_TRACE_LIN_OVERRUN | QOR_TRACE_LIN_SYNC_ERROR)),
                           RecordOf(test::FlexRayItem().Channel(4).Kind(5)),
                           RecordOf(test::FlexRayItem().Channel(4).Kind(0)),
                           Bytes(28, 0)};
  for (const Bytes& record : records) EXPECT_TRUE(Put(output, record));
  EXPECT_TRUE(output.Finish());
  EXPECT_EQ(
      output.ShortfallText(),
      ", as the format has no place for them: 2 Ethernet entries, 1 CAN log-trigger events, 1 LIN trigger events, "
      "1 LIN entries with an overrun mark, 1 FlexRay status items, 1 malformed entries");
  EXPECT_EQ(Read().Records, (std::map<std::string, unsigned long>{
                                {"CAN1 CAN_DataFrame", 1}, {"LIN3 LIN_SyncError", 1}, {"FLEX4 FLX_Error", 1}}));
  nlohmann::json json;
  output.AddJson(json);
  EXPECT_EQ(json["records"], 3);
  EXPECT_EQ(json["omitted"]["Ethernet entries"], 2);
  EXPECT_EQ(json["files"], nlohmann::json::array({Path}));
}

/// What is known of a recording whose clock showed `start` at noon.
Description StartedAtNoon(unsigned long start) {
  Description description;
  description.Anchor = ClockAnchor{start, Noon};
  return description;
}

TEST_F(MdfOutputTest, StartsWithTheRecording) {
  MdfOutput output(Path, {});
  output.Describe(StartedAtNoon(0));
  Put(output, RecordOf(test::CanItem().At(5 * Second).Data({1})));
  EXPECT_TRUE(output.Finish());
  EXPECT_EQ(Read().Start, Noon);
  EXPECT_EQ(Read().Times, std::vector<unsigned long>{5 * Second});
}

TEST_F(MdfOutputTest, ClockThatRanBeforeDoesNotMakeTheRecordingLonger) {
  for (const unsigned long start : {3600 * Second, Noon}) {  // the second one counts since 1970
    MdfOutput output(Path, {});
    output.Describe(StartedAtNoon(start));
    for (const long after : {0L, 7L, -100L, -2000000000L})
      Put(output, RecordOf(test::CanItem().At(start + static_cast<unsigned long>(after)).Data({1})));
    EXPECT_TRUE(output.Finish());
    EXPECT_EQ(Read().Start, Noon - Second);
    EXPECT_EQ(Read().Times, (std::vector<unsigned long>{Second, Second + 7, Second - 100, 0}));
  }
}

TEST_F(MdfOutputTest, WithoutAKnownMomentItsTimesCountFrom1970) {
  MdfOutput output(Path, {});
  Put(output, RecordOf(test::CanItem().At(5 * Second).Data({1})));
  EXPECT_TRUE(output.Finish());
  EXPECT_EQ(Read().Start, 0u);
  EXPECT_EQ(Read().Times, std::vector<unsigned long>{5 * Second});
}

/// Frames that can't be compressed. Returns how many were taken.
unsigned int PutNoise(MdfOutput& output, unsigned int frames) {
  std::mt19937 random(1);
  Bytes noise(8);
  for (unsigned int index = 0; index < frames; ++index) {
    for (auto& byte : noise) byte = static_cast<unsigned char>(random());
    if (!Put(output, RecordOf(test::CanItem().At(index * 100000ul).Id(index & 0x7FF).Data(noise)))) return index;
  }
  return frames;
}

TEST_F(MdfOutputTest, SeriesOfLimitedSizeIsNamedAsItGrows) {
  constexpr unsigned int frames = 200000;
  MdfOutput output(Path, {.Split = 3u << 20});
  EXPECT_EQ(PutNoise(output, frames), frames);
  EXPECT_TRUE(output.Finish());
  EXPECT_EQ(output.RemarkText(), "");
  const auto names = Files();
  ASSERT_GE(names.size(), 2u);
  EXPECT_EQ(names[0], "x.mf4");
  EXPECT_EQ(names[1], "x_1.mf4");
  unsigned long records = 0;
  for (const std::string& name : names) {
    const Contents contents = Read(name);
    EXPECT_TRUE(contents.Finalized);
    EXPECT_EQ(contents.Start, Read(names[0]).Start);
    EXPECT_LE(fs::file_size(Folder / name), 3u << 20);
    records += contents.Records.at("CAN1 CAN_DataFrame");
  }
  EXPECT_EQ(records, frames);
  nlohmann::json json;
  output.AddJson(json);
  EXPECT_EQ(json["files"].size(), names.size());
}

TEST_F(MdfOutputTest, FilesOfALongerSeriesBeforeAreTold) {
  for (int number = 1; number <= 20; ++number) test::WriteFile("x_" + std::to_string(number) + ".mf4", {1});
  MdfOutput output(Path, {.Split = 3u << 20});
  PutNoise(output, 200000);
  EXPECT_TRUE(output.Finish());
  nlohmann::json json;
  output.AddJson(json);
  const auto count = json["files"].size();
  ASSERT_GE(count, 2u);
  EXPECT_EQ(json["older_files"].size(), 21 - count);
  EXPECT_EQ(output.RemarkText(), "\"" + (Folder / ("x_" + std::to_string(count) + ".mf4")).string() + "\" to \"" +
                                     (Folder / "x_20.mf4").string() +
                                     "\" are of an earlier, longer series, not of this run");
}

TEST_F(MdfOutputTest, TwoOfOneNameCannotBe) {
  const MdfOutput output(Path, {});
  EXPECT_THROW(MdfOutput(Path, {}), Failure);
  EXPECT_EQ(Files(), std::vector<std::string>{"x.part.mf4"});
}

TEST_F(MdfOutputTest, PartThatACrashHasLeftIsNeverOverwritten) {
  for (const char* name : {"x.part.mf4", "x_1.mf4", "x.part_1.mf4"}) test::WriteFile(name, {1, 2, 3});
  EXPECT_THROW(MdfOutput(Path, {}), Failure);
  fs::remove("x.part.mf4");
  EXPECT_THROW(MdfOutput(Path, {.Split = 3u << 20}), Failure);
  EXPECT_TRUE(MdfOutput(Path, {}).Finish());
  EXPECT_EQ(Files(), (std::vector<std::string>{"x.mf4", "x.part_1.mf4", "x_1.mf4"}));
  EXPECT_EQ(test::FileBytes("x.part_1.mf4"), (Bytes{1, 2, 3}));
}

TEST_F(MdfOutputTest, NextFileOfASeriesIsClaimedBeforeTheLibraryOpensIt) {
  test::WriteFile("victim", {1, 2, 3});
  MdfOutput output(Path, {.Split = 3u << 20});
  ASSERT_TRUE(fs::exists("x.part_1.mf4"));
  fs::create_symlink("victim", "x.part_2.mf4");
  EXPECT_LT(PutNoise(output, 1000000), 1000000u);
  EXPECT_NE(output.Error().find("\"" + (Folder / "x.part_2.mf4").string() + "\" is a symbolic link"), std::string::npos)
      << output.Error();
  EXPECT_FALSE(output.Finish());
  EXPECT_EQ(test::FileBytes("victim"), (Bytes{1, 2, 3}));
  EXPECT_TRUE(Read().Finalized);
  EXPECT_EQ(Files(), (std::vector<std::string>{"victim", "x.mf4", "x.part_1.mf4", "x.part_2.mf4"}));
}

TEST_F(MdfOutputTest, FileThatGotNothingLeavesNothing) {
  { const MdfOutput output(Path, {.Split = 3u << 20}); }
  EXPECT_EQ(Files(), std::vector<std::string>{});
}

TEST_F(MdfOutputTest, ExistingFileIsKeptIfTheEntriesDontComeToTheirEnd) {
  test::WriteFile(Path, {1, 2, 3});
  MdfOutput output(Path, {});
  Put(output, RecordOf(test::CanItem()));
  output.KeepExisting();
  EXPECT_FALSE(output.Finish());
  EXPECT_EQ(test::FileBytes(Path), (Bytes{1, 2, 3}));
  EXPECT_TRUE(Read("x.part.mf4").Finalized);
}

TEST_F(MdfOutputTest, EmptyRecordingIsASoundFile) {
  MdfOutput output(Path, {});
  output.Describe(StartedAtNoon(0));
  EXPECT_TRUE(output.Finish());
  EXPECT_TRUE(Read().Finalized);
  EXPECT_EQ(Read().Start, Noon);
}

TEST_F(MdfOutputTest, FileThatCannotBeMadeIsAFailure) {
  EXPECT_THROW(MdfOutput((Folder / "missing" / "x.mf4").string(), {}), Failure);
}

TEST_F(MdfOutputTest, NameThatIsTakenByAFolderKeepsTheRecords) {
  fs::create_directory(Path);
  MdfOutput output(Path, {});
  Put(output, RecordOf(test::CanItem()));
  EXPECT_FALSE(output.Finish());
  EXPECT_NE(output.Error().find("Is a directory"), std::string::npos) << output.Error();
  EXPECT_EQ(Read("x.part.mf4").Records.at("CAN1 CAN_DataFrame"), 1u);
}

TEST_F(MdfOutputTest, FullDiskEndsItWithAReadableFile) {
  std::string error;
  {
    const test::FileSizeLimit limit(100000);
    MdfOutput output(Path, {});
    Bytes noise(64);
    bool taken = true;
    std::mt19937 random(1);
    for (unsigned int index = 0; taken && index < 1000000; ++index) {
      for (auto& byte : noise) byte = static_cast<unsigned char>(random());
      taken = Put(output, RecordOf(test::CanItem().At(index).Fd().Data(noise)));
    }
    EXPECT_FALSE(taken);
    EXPECT_FALSE(output.Finish());
    error = output.Error();
  }
  EXPECT_NE(error.find("Cannot write \"" + Path + "\""), std::string::npos) << error;
  EXPECT_NE(error.find("x.part.mf4\", marked as unfinalized"), std::string::npos) << error;
  EXPECT_EQ(Files(), std::vector<std::string>{"x.part.mf4"});
  EXPECT_EQ(StrictMdfReader::Load((Folder / "x.part.mf4").string()).substr(0, 8), "UnFinMF ");
}

}  // namespace
}  // namespace client
