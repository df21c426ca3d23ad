// What a file says of its recording: comments, sources, marks of events and losses; and blocks that can't be packed.
#include <gtest/gtest.h>

#include <random>

#include "support/MdfDecoder.h"
#include "support/MdfEntries.h"
#include "support/MdfFiles.h"

namespace {

using test::CanItem;
using test::EthernetItem;
using test::LinItem;

RecordingInfo Info() {
  RecordingInfo info;
  info.Title = "Cold start <3>";
  info.Tool = "recorder";
  info.ToolVersion = "1.2";
  info.ToolVendor = "Maker & Sons";
  info.Host = "bench-4";
  info.Channels = {{.BusChannel = 1, .BusType = BusType_Can, .Source = "can?load=90", .BitRate = 500'000},
                   {.BusChannel = 2, .BusType = BusType_Lin, .Name = "door", .Source = "lin0"}};
  return info;
}

class RecordingFile : public MdfFiles {
 protected:
  /// A standard file with a CAN bus 1, about which nothing is said yet.
  std::unique_ptr<MdfFile> Open() {
    const std::string path = NewFile();
    auto file = std::make_unique<MdfFile>(path.substr(0, path.size() - 4), 0);
    EXPECT_TRUE(file->Convention_Set(BusConvention::kStandard));
    return file;
  }
  MdfDecoder Closed(MdfFile& file) {
    EXPECT_TRUE(file.File_Close(9));
    return MdfDecoder(Contents());
  }
};

// --- comments ---

TEST_F(RecordingFile, CommentSaysWhoRecordedWhat) {
  auto file = Open();
  file->Recording_Set(Info());
  EXPECT_EQ(Closed(*file).Comment(),
            "<HDcomment><TX>Cold start &lt;3&gt;\n"
            "Recorded with recorder 1.2 on bench-4\n"
            "CAN1: can?load=90, 500000 bit/s\n"
            "LIN2: lin0\n"
            "</TX>\n<common_properties>\n"
            "<e name=\"title\">Cold start &lt;3&gt;</e>\n"
            "<e name=\"tool\">recorder</e>\n"
            "<e name=\"tool_version\">1.2</e>\n"
            "<e name=\"host\">bench-4</e>\n"
            "<tree name=\"channels\">\n"
            "<tree name=\"CAN1\">\n<e name=\"source\">can?load=90</e>\n"
            "<e name=\"bit_rate\" type=\"integer\" unit=\"bit/s\">500000</e>\n</tree>\n"
            "<tree name=\"LIN2\">\n<e name=\"name\">door</e>\n<e name=\"source\">lin0</e>\n</tree>\n"
            "</tree>\n</common_properties></HDcomment>");
}

TEST_F(RecordingFile, LossesAreAddedToTheCommentInPlace) {
  auto file = Open();
  RecordingInfo info = Info();
  file->Recording_Set(info);
  ASSERT_TRUE(file->Write());
  const uint64_t size = Contents().size();
  info.Losses = {
      {.BusChannel = 1, .Cause = "capture buffer full", .First = 1'500'000'000, .Last = 2'000'000'000, .Count = 12},
      {.BusChannel = 9, .Cause = "", .First = 0, .Last = 1, .Count = std::nullopt}};
  file->Recording_Set(info);
  ASSERT_TRUE(file->Write());
  EXPECT_EQ(Contents().size(), size);
  const std::string comment = Closed(*file).Comment();
  EXPECT_NE(comment.find("Lost on CAN1: 12 items, 1.500000000 s to 2.000000000 s: capture buffer full\n"
                         "Lost on channel 9: unknown number, 0.000000000 s to 0.000000001 s\n</TX>"),
            std::string::npos)
      << comment;
  EXPECT_NE(comment.find("<tree name=\"losses\">\n<tree name=\"1\">\n<e name=\"bus\">CAN1</e>\n"
                         "<e name=\"cause\">capture buffer full</e>\n<e name=\"items\" type=\"integer\">12</e>\n"
                         "<e name=\"first\" type=\"integer\" unit=\"ns\">1500000000</e>\n"
                         "<e name=\"last\" type=\"integer\" unit=\"ns\">2000000000</e>\n</tree>\n<tree name=\"2\">\n"),
            std::string::npos)
      << comment;
}

TEST_F(RecordingFile, ShorterCommentLeavesNothingOfTheLongerOne) {
  auto file = Open();
  file->Recording_Set(Info());
  ASSERT_TRUE(file->Write());
  file->Recording_Set({});
  EXPECT_EQ(Closed(*file).Comment(), "<HDcomment><TX></TX>\n<common_properties>\n</common_properties></HDcomment>");
}

TEST_F(RecordingFile, CommentThatOutgrowsItsRoomMoves) {
  auto file = Open();
  RecordingInfo info = Info();
  file->Recording_Set(info);
  ASSERT_TRUE(file->Write());
  info.Title = std::string(5000, 'x');
  file->Recording_Set(info);
  StrictMdfReader::Options options;
  options.OldBlocks = true;  // the former comment's bytes stay
  Options(options);
  EXPECT_NE(Closed(*file).Comment().find(info.Title), std::string::npos);
}

TEST_F(RecordingFile, ManyLossesAreCounted) {
  auto file = Open();
  RecordingInfo info = Info();
  info.Losses.assign(130, {.BusChannel = 1, .Cause = "overrun", .First = 0, .Last = 0, .Count = 1});
  file->Recording_Set(info);
  const std::string comment = Closed(*file).Comment();
  EXPECT_NE(comment.find("30 further losses\n</TX>"), std::string::npos);
  EXPECT_NE(comment.find("<tree name=\"100\">"), std::string::npos);
  EXPECT_EQ(comment.find("<tree name=\"101\">"), std::string::npos);
}

TEST_F(RecordingFile, HistoryNamesTheProgramOnce) {
  auto file = Open();
  file->Recording_Set(Info());
  file->Recording_Set(Info());
  const MdfDecoder read = Closed(*file);
  ASSERT_EQ(read.Histories().size(), 2U);
  EXPECT_EQ(read.Histories()[0],
            "<FHcomment><TX>created</TX><tool_id>Qor-API Trace DLL</tool_id>"
            "<tool_vendor>Norvik electronic GmbH</tool_vendor></FHcomment>");
  EXPECT_EQ(read.Histories()[1],
            "<FHcomment><TX>recorded</TX><tool_id>recorder</tool_id><tool_vendor>Maker &amp; Sons</tool_vendor>"
            "<tool_version>1.2</tool_version></FHcomment>");
}

TEST_F(RecordingFile, EveryFileOfASeriesSaysIt) {
  const std::string path = NewFile();
  const std::string base = path.substr(0, path.size() - 4);
  {
    MdfFile file(base, 0, 1);
    ASSERT_TRUE(file.Convention_Set(BusConvention::kStandard));
    file.Recording_Set(Info());
    ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
    while (file.FileName() == path) {
      ASSERT_TRUE(test::Insert(file, CanItem().Data({1})));
      ASSERT_TRUE(file.File_FlushData());
    }
    ASSERT_TRUE(file.File_Close(0));
  }
  const std::string second = base + "_1.mf4";
  const MdfDecoder first(StrictMdfReader::Load(path));
  const MdfDecoder next(StrictMdfReader::Load(second));
  std::filesystem::remove(second);
  EXPECT_NE(first.Comment().find("Recorded with recorder 1.2 on bench-4"), std::string::npos);
  EXPECT_EQ(next.Comment(), first.Comment());
  EXPECT_EQ(next.Histories(), first.Histories());
}

// --- sources ---

TEST_F(RecordingFile, SourcesHaveTheNameOfTheInterfaceAndWhatWasOpened) {
  auto file = Open();
  RecordingInfo info = Info();
  info.Channels[0].Source = "can\xFF/x";  // a path's bytes need not be UTF-8
  file->Recording_Set(info);
  ASSERT_TRUE(file->Bus_Add(1, BusType_Can));
  ASSERT_TRUE(file->Bus_Add(2, BusType_Lin));
  ASSERT_TRUE(file->Bus_Add(2, BusType_Can));  // another bus of the same number
  const MdfDecoder read = Closed(*file);
  EXPECT_EQ(read.Find("CAN1", "CAN_DataFrame").Source, "CAN1");
  EXPECT_EQ(read.Find("CAN1", "CAN_DataFrame").SourcePath, "can/x");
  EXPECT_EQ(read.Find("LIN2", "LIN_WakeUp").Source, "door");
  EXPECT_EQ(read.Find("LIN2", "LIN_WakeUp").SourcePath, "lin0");
  EXPECT_EQ(read.Find("CAN2", "CAN_ErrorFrame").SourcePath, "CAN2");
}

// --- marks ---

TEST_F(RecordingFile, TriggerEventsBecomeMarkersOfTheirBus) {
  auto file = Open();
  ASSERT_TRUE(file->Bus_Add(1, BusType_Can));
  ASSERT_TRUE(file->Bus_Add(2, BusType_Lin));
  ASSERT_TRUE(test::Insert(*file, CanItem().At(5).RisingEdge()));
  ASSERT_TRUE(test::Insert(*file, CanItem().At(6).FallingEdge()));
  ASSERT_TRUE(test::Insert(*file, CanItem().At(7).UserEvent({2, 0xAB})));
  ASSERT_TRUE(test::Insert(*file, LinItem().Channel(2).At(8).Event()));
  const auto events = Closed(*file).Events();
  ASSERT_EQ(events.size(), 6U);  // begin and end of the recording among them
  const std::vector<std::string> names = {"Trigger input: rising edge", "Trigger input: falling edge",
                                          "User event: 02 AB", "Event-triggered frame: rising edge"};
  for (size_t index = 0; index < names.size(); ++index) {
    const auto& event = events[index + 1];
    EXPECT_EQ(event.Name, names[index]);
    EXPECT_EQ(event.Type, 6U);
    EXPECT_EQ(event.Time, static_cast<int64_t>(5 + index));
    EXPECT_EQ(event.ScopeIds, std::vector<std::string>(index < 3 ? 3 : 6, "##CG"));
  }
}

TEST_F(RecordingFile, LossesAreMarkedOnceASecond) {
  constexpr unsigned long kSecond = 1'000'000'000;
  auto file = Open();
  ASSERT_TRUE(file->Bus_Add(1, BusType_Can));
  ASSERT_TRUE(file->Bus_Add(2, BusType_Ethernet));
  for (const unsigned long time : {1UL, 2UL, kSecond, kSecond + 1, kSecond + 2, 3 * kSecond}) {
    ASSERT_TRUE(test::Insert(*file, CanItem().At(time).Data({1}).Overrun()));
  }
  ASSERT_TRUE(test::Insert(*file, EthernetItem().Channel(2).At(7).Kind(0)));
  const MdfDecoder read = Closed(*file);
  EXPECT_EQ(read.Find("CAN1", "CAN_DataFrame").Count, 6U);
  std::vector<int64_t> times;
  for (const auto& event : read.Events()) {
    if (event.Type != 2) continue;
    EXPECT_EQ(event.Name, "Data lost after this entry");
    EXPECT_EQ(event.Cause, 1U);
    EXPECT_EQ(event.ScopeIds.front(), "##CG");
    times.push_back(event.Time);
  }
  EXPECT_EQ(times, (std::vector<int64_t>{1, kSecond + 1, 3 * kSecond, 7}));
}

TEST_F(RecordingFile, EventOfABusRefersToItsChannelGroups) {
  auto file = Open();
  ASSERT_TRUE(file->Bus_Add(1, BusType_Ethernet));
  ASSERT_TRUE(file->Event("here", 2, 2, 0, 1, BusType_Ethernet));
  EXPECT_EQ(Closed(*file).Events()[1].ScopeIds, (std::vector<std::string>{"##CG", "##CG"}));
}

TEST_F(RecordingFile, ExportedConventionMakesNoMarks) {
  const std::string path = NewFile();
  MdfFile file(path.substr(0, path.size() - 4), 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(test::Insert(file, CanItem().RisingEdge()));
  ASSERT_TRUE(test::Insert(file, CanItem().Data({1}).Overrun()));
  EXPECT_EQ(Closed(file).Events().size(), 2U);
}

// --- data that can't be packed ---

class PlainBlocks : public MdfFiles {
 protected:
  std::string Flushed(std::string data, bool plain) {
    FileStream stream(NewFile());
    MDF::DGBLOCK group(false);
    const auto list = std::make_unique<MDF::DLBLOCK>(&group, 4, true, stream);
    if (plain) list->Plain_Allow();
    PlaceAndWrite(group, stream);
    Roots({64});
    EXPECT_TRUE(list->Insert(Data(data), static_cast<unsigned int>(data.size())));
    EXPECT_TRUE(list->Write());
    stream.flush();
    return Contents();
  }
};

std::string Random(size_t size) {
  std::mt19937 random(1);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

TEST_F(PlainBlocks, StandWherePackedOnesWouldBeLarger) {
  const std::string file = Flushed("\xA1\xA2\xA3", true);
  // 0 id | 4 reserved | 8 length | 16 link count | 24 data
  EXPECT_EQ(file.substr(file.size() - 27), Bytes("23 23 44 54 00 00 00 00 1B 00 00 00 00 00 00 00"
                                                 "00 00 00 00 00 00 00 00 A1 A2 A3"));
}

TEST_F(PlainBlocks, AreNotWrittenUnlessAllowed) {
  const std::string file = Flushed("\xA1\xA2\xA3", false);
  EXPECT_EQ(file.find("##DT"), std::string::npos);
  EXPECT_NE(file.find("##DZ"), std::string::npos);
}

TEST_F(PlainBlocks, DoNotReplaceThoseThatPackingMakesSmaller) {
  const std::string file = Flushed(std::string(1000, 'a'), true);
  EXPECT_EQ(file.find("##DT"), std::string::npos);
}

TEST_F(PlainBlocks, HoldAFullBlockOfRandomBytes) {
  const std::string data = Random((2 << 20) - 48);
  const std::string file = Flushed(data, true);
  const size_t block = file.find("##DT");
  ASSERT_NE(block, std::string::npos);
  EXPECT_EQ(file.substr(block + 24), data);
}

TEST_F(RecordingFile, PackedAndPlainBlocksMakeOneGroup) {
  auto file = Open();
  ASSERT_TRUE(file->Bus_Add(1, BusType_Ethernet));
  const std::vector<std::string> payloads = {
      Random(1000), std::string(1000, 'x'), Random(999), std::string(20'000, 'y'), Random(5000), std::string(3, 'z')};
  for (const std::string& payload : payloads) {
    test::Bytes frame(14, 0);
    frame.insert(frame.end(), payload.begin(), payload.end());
    ASSERT_TRUE(test::Insert(*file, EthernetItem().Frame(frame)));
    ASSERT_TRUE(file->File_FlushData());
  }
  const MdfDecoder read = Closed(*file);
  const MdfDecoder::Group& group = read.Find("ETH1", "ETH_Frame");
  ASSERT_EQ(group.Count, payloads.size());
  for (size_t index = 0; index < payloads.size(); ++index) EXPECT_EQ(group.Bytes(index, "DataBytes"), payloads[index]);
  const std::string bytes = Contents();
  EXPECT_NE(bytes.find("##SD"), std::string::npos);
  EXPECT_NE(bytes.find("##DZ"), std::string::npos);
}

}  // namespace
