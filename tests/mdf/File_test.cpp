// The life of MDF files and of series of them.
#include "mdf/File.h"

#include <gmock/gmock.h>

#include <random>

#include "support/MdfDecoder.h"
#include "support/MdfEntries.h"
#include "support/StrictMdfReader.h"
#include "support/TemporaryDirectory.h"

namespace {

using test::CanItem;
using test::Insert;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr StrictMdfReader::Options kRecords{true, false, false};
constexpr StrictMdfReader::Options kUnfinalized{false, true, false};

std::string Findings(const std::string& path, StrictMdfReader::Options options = kRecords) {
  StrictMdfReader reader(StrictMdfReader::Load(path), options);
  reader.ReadFile();
  return reader.Report();
}

MdfDecoder Decoded(const std::string& path) { return MdfDecoder(StrictMdfReader::Load(path)); }

/// Frames whose data can't be packed, so that files grow with every block.
class Noise {
 public:
  CanItem Next() {
    test::Bytes data(64);
    for (auto& byte : data) byte = static_cast<unsigned char>(Random());
    return CanItem().Id(static_cast<unsigned int>(Random()) & 0x7FF).At(Time += 1000).Fd().Data(std::move(data));
  }

  unsigned long Time = 0;

 private:
  std::mt19937_64 Random{42};
};

/// Frames that fill one data block with their data.
constexpr unsigned long kBlockOfFrames = (0x200000 - 48) / 68 + 1;

class MdfFileTest : public ::testing::Test {
 protected:
  test::TemporaryDirectory Directory;
};

using Life = MdfFileTest;

TEST_F(Life, FileIsSoundBeforeAnythingIsAdded) {
  MdfFile file("trace", 5'000);
  EXPECT_TRUE(file.is_open());
  EXPECT_EQ(file.FileName(), "trace.mf4");
  EXPECT_EQ(Findings("trace.mf4"), "");
  const MdfDecoder decoded = Decoded("trace.mf4");
  EXPECT_FALSE(decoded.Finalized());
  EXPECT_EQ(decoded.StartTime(), 5'000U);
  ASSERT_EQ(decoded.Events().size(), 1U);
  EXPECT_EQ(decoded.Events()[0].Name, "Begin of Recording");
  EXPECT_EQ(decoded.Events()[0].Time, 0);
}

TEST_F(Life, ConstructAddInsertCloseMakesASoundFile) {
  MdfFile file("trace", 1'000);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(Insert(file, CanItem().At(1'500).Id(0x77).Data({1, 2})));
  EXPECT_EQ(file.Bus_Cycles(1, BusType_Can), 1U);
  EXPECT_TRUE(file.File_Close(3'000));
  EXPECT_EQ(Findings("trace.mf4"), "");
  const MdfDecoder decoded = Decoded("trace.mf4");
  EXPECT_TRUE(decoded.Finalized());
  EXPECT_EQ(decoded.Find("CAN1", "CAN_DataFrame").Count, 1U);
  ASSERT_EQ(decoded.Events().size(), 2U);
  EXPECT_EQ(decoded.Events()[1].Name, "End of Recording");
  EXPECT_EQ(decoded.Events()[1].Time, 2'000);  // on the clock of the start
  EXPECT_EQ(decoded.Events()[1].Range, 2);
  EXPECT_EQ(decoded.Events()[1].BeginsAt, 0U);
}

TEST_F(Life, HistoryAndIdentificationNameTheProgram) {
  {
    MdfFile file("trace", 0x1234);
    file.File_Close(0x1234);
  }
  StrictMdfReader reader(StrictMdfReader::Load("trace.mf4"));
  reader.ReadFile();
  const auto& history = reader.At(reader.Of("FH").at(0));
  EXPECT_EQ(StrictMdfReader::Number(history.Data, 0, 8), 0x1234U);
  EXPECT_EQ(reader.Text(history.Links[1]),
            "<FHcomment><TX>created</TX><tool_id>Qor-API Trace DLL</tool_id><tool_vendor>Norvik electronic "
            "GmbH</tool_vendor></FHcomment>");
  EXPECT_EQ(StrictMdfReader::Load("trace.mf4").substr(16, 8), std::string("Qor_API\0", 8));
}

TEST_F(Life, FileInformationIsEscaped) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.FileInformationHeader({"A & B", "<dept>", "p\x01q", "", "line\nnext > last"}));
  ASSERT_TRUE(file.File_Close(0));
  EXPECT_EQ(Findings("trace.mf4"), "");
  EXPECT_EQ(Decoded("trace.mf4").Comment(),
            "<HDcomment><TX>line\nnext &gt; last</TX>\n<common_properties><e name=\"author\">A &amp; B</e>\n"
            "<e name=\"department\">&lt;dept&gt;</e>\n<e name=\"project\">pq</e>\n<e name=\"subject\"></e>\n"
            "</common_properties></HDcomment>");
}

TEST_F(Life, FileInformationGivenWhileRecordingIsInTheFileAtTheNextWrite) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(Insert(file, CanItem().Data({1})));
  ASSERT_TRUE(file.FileInformationHeader({"late", "", "", "", ""}));
  ASSERT_TRUE(file.Write());
  EXPECT_NE(Decoded("trace.mf4").Comment().find("late"), std::string::npos);
}

TEST_F(Life, FileInformationOtherThanUtf8IsRefused) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.FileInformationHeader({"kept \xC3\xA9", "", "", "", ""}));
  const std::string bad = "J\xF6rg";  // Latin-1
  EXPECT_FALSE(file.FileInformationHeader({bad, "", "", "", ""}));
  EXPECT_FALSE(file.FileInformationHeader({"", bad, "", "", ""}));
  EXPECT_FALSE(file.FileInformationHeader({"", "", bad, "", ""}));
  EXPECT_FALSE(file.FileInformationHeader({"", "", "", bad, ""}));
  EXPECT_FALSE(file.FileInformationHeader({"", "", "", "", bad}));
  ASSERT_TRUE(file.File_Close(0));
  EXPECT_NE(Decoded("trace.mf4").Comment().find("kept \xC3\xA9"), std::string::npos);
}

TEST_F(Life, StartTimeMayBeSetAfterwardsWithOrWithoutTheBase) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.StartTime_Reset(1'000'000, false));
  ASSERT_TRUE(file.File_Close(700));
  EXPECT_EQ(Decoded("trace.mf4").StartTime(), 1'000'000U);
  EXPECT_EQ(Decoded("trace.mf4").Events()[1].Time, 700);
  MdfFile other("other", 0);
  ASSERT_TRUE(other.StartTime_Reset(1'000, true));
  ASSERT_TRUE(other.File_Close(1'700));
  EXPECT_EQ(Decoded("other.mf4").Events()[1].Time, 700);
}

TEST_F(Life, EventsBeforeTheBaseAreNegative) {
  MdfFile file("trace", 1'000);
  ASSERT_TRUE(file.File_Close(400));
  EXPECT_EQ(Decoded("trace.mf4").Events()[1].Time, -600);
}

TEST_F(Life, BusIsAddedOnceAndOnlyOfKnownTypes) {
  MdfFile file("trace", 0);
  EXPECT_TRUE(file.Bus_Add(1, BusType_Can));
  EXPECT_FALSE(file.Bus_Add(1, BusType_Can));
  EXPECT_TRUE(file.Bus_Add(1, BusType_Lin));
  EXPECT_TRUE(file.Bus_Add(2, BusType_FlexRay));
  EXPECT_FALSE(file.Bus_Add(1, BusType_Ethernet));
  EXPECT_FALSE(file.Bus_Add(1, 200));
  EXPECT_TRUE(file.Bus_Add(1, 'c'));
  EXPECT_EQ(file.Bus_Type(2, BusType_FlexRay), 2);
  EXPECT_EQ(file.Bus_Type(1, 'c'), 0);
  EXPECT_EQ(file.Bus_Type(3, BusType_Can), 255);
  EXPECT_EQ(file.Bus_Cycles(3, BusType_Can), 0U);
  ASSERT_TRUE(file.File_Close(0));
  EXPECT_EQ(Findings("trace.mf4"), "");
  EXPECT_EQ(Decoded("trace.mf4").Groups().size(), 2 + 6 + 5 + 1U);
}

TEST_F(Life, EntryMayBeSentToAnotherBus) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(7, BusType_Can));
  const test::Record entry(*CanItem().Channel(1).Id(5).Data({1}).Entry());
  EXPECT_FALSE(file.Data_Insert(test::Entry(entry)));
  EXPECT_TRUE(file.Data_Insert(7, BusType_Can, test::Entry(entry)));
  EXPECT_FALSE(file.Data_Insert(8, BusType_Can, test::Entry(entry)));
  ASSERT_TRUE(file.File_Close(0));
  EXPECT_EQ(Decoded("trace.mf4").Find("CAN7", "CAN_DataFrame").Count, 1U);
}

TEST_F(Life, BusesAddedWhileRecordingAreThereToo) {
  MdfFile file("trace", 0);
  Noise noise;
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  for (unsigned long i = 0; i < kBlockOfFrames; ++i) ASSERT_TRUE(Insert(file, noise.Next()));
  ASSERT_TRUE(file.Bus_Add(2, BusType_Can));
  for (unsigned long i = 0; i < kBlockOfFrames; ++i) ASSERT_TRUE(Insert(file, noise.Next().Channel(2)));
  EXPECT_EQ(Findings("trace.mf4", kUnfinalized), "");
  ASSERT_TRUE(file.File_Close(noise.Time));
  EXPECT_EQ(Findings("trace.mf4"), "");
  EXPECT_EQ(Decoded("trace.mf4").Find("CAN2", "CAN_DataFrame").Count, kBlockOfFrames);
}

TEST_F(Life, ThousandBusesWrapTheRecordIds) {
  {
    MdfFile file("trace", 0);
    for (unsigned int bus = 0; bus < 1000; ++bus) ASSERT_TRUE(file.Bus_Add(bus, static_cast<unsigned char>(bus % 3)));
    for (unsigned int bus = 0; bus < 1000; bus += 3) {
      ASSERT_TRUE(Insert(file, CanItem().Channel(bus).Id(bus).Data({static_cast<unsigned char>(bus)})));
    }
    ASSERT_TRUE(file.File_Close(0));
  }
  EXPECT_EQ(Findings("trace.mf4"), "");
  const MdfDecoder decoded = Decoded("trace.mf4");
  ASSERT_EQ(decoded.Groups().size(), 334 * 2 + 333 * 6 + 333 * 5U);
  for (unsigned int bus = 0; bus < 1000; bus += 3) {
    const auto& group = decoded.Find("CAN" + std::to_string(bus), "CAN_DataFrame");
    ASSERT_EQ(group.Raw(0, "ID"), bus);
  }
  StrictMdfReader reader(StrictMdfReader::Load("trace.mf4"));
  reader.ReadFile();
  std::set<uint64_t> ids;
  for (const uint64_t group : reader.Of("CG")) ids.insert(StrictMdfReader::Number(reader.At(group).Data, 0, 8));
  EXPECT_EQ(ids.size(), 256U);
}

TEST_F(Life, TimesMayGoBackwards) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  for (const unsigned long time : {5'000UL, 3'000UL, ~0UL, 0UL})
    ASSERT_TRUE(Insert(file, CanItem().At(time).Data({1})));
  ASSERT_TRUE(file.File_Close(0));
  const MdfDecoder decoded = Decoded("trace.mf4");
  const auto& frames = decoded.Find("CAN1", "CAN_DataFrame");
  EXPECT_EQ(frames.Raw(0, "t"), 5'000U);
  EXPECT_EQ(frames.Raw(1, "t"), 3'000U);
  EXPECT_EQ(frames.Raw(2, "t"), ~0UL);
  EXPECT_EQ(frames.Raw(3, "t"), 0U);
}

TEST_F(Life, DestructorWritesEverythingButLeavesTheMark) {
  {
    MdfFile file("trace", 0);
    ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
    ASSERT_TRUE(Insert(file, CanItem().Data({1})));
  }
  EXPECT_EQ(Findings("trace.mf4"), "");
  const MdfDecoder decoded = Decoded("trace.mf4");
  EXPECT_FALSE(decoded.Finalized());
  EXPECT_EQ(decoded.Find("CAN1", "CAN_DataFrame").Count, 1U);
}

TEST_F(Life, ClosedFileTakesNoMoreAndCannotBeClosedAgain) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(Insert(file, CanItem().Data({1})));
  ASSERT_TRUE(file.File_Close(10));
  const std::string bytes = StrictMdfReader::Load("trace.mf4");
  EXPECT_FALSE(Insert(file, CanItem().Data({2})));
  EXPECT_FALSE(file.File_Close(20));
  EXPECT_TRUE(StrictMdfReader::Load("trace.mf4") == bytes);
}

TEST_F(Life, OpeningAClosedFileBeginsItAnew) {
  MdfFile file("trace", 100);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(Insert(file, CanItem().Id(1).Data({1, 2, 3})));
  ASSERT_TRUE(file.File_Close(200));
  ASSERT_TRUE(file.File_Open(300));
  ASSERT_TRUE(Insert(file, CanItem().Id(2).Data({4})));
  ASSERT_TRUE(file.File_Close(400));
  EXPECT_EQ(Findings("trace.mf4"), "");
  const MdfDecoder decoded = Decoded("trace.mf4");
  const auto& frames = decoded.Find("CAN1", "CAN_DataFrame");
  ASSERT_EQ(frames.Count, 1U);
  EXPECT_EQ(frames.Bytes(0, "DataBytes"), "\x04");
  ASSERT_EQ(decoded.Events().size(), 2U);
  EXPECT_EQ(decoded.Events()[0].Time, 200);
  EXPECT_EQ(decoded.Events()[1].Time, 300);
}

TEST_F(Life, OpeningAnOpenFileChangesNothing) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(Insert(file, CanItem().Data({1})));
  EXPECT_TRUE(file.File_Open(500));
  ASSERT_TRUE(file.File_Close(600));
  EXPECT_EQ(Decoded("trace.mf4").Find("CAN1", "CAN_DataFrame").Count, 1U);
}

TEST_F(Life, BusesAreResetOnlyInAFileWithoutRecords) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  EXPECT_TRUE(file.Bus_Reset());
  ASSERT_TRUE(Insert(file, CanItem().Data({1})));
  EXPECT_FALSE(file.Bus_Reset());
  EXPECT_EQ(file.Bus_Cycles(1, BusType_Can), 1U);
}

TEST_F(Life, InitializationBeginsWithoutBuses) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(Insert(file, CanItem().Data({1})));
  ASSERT_TRUE(file.File_Close(10));
  file.Initialization(50);
  EXPECT_EQ(file.Bus_Type(1, BusType_Can), 255);
  ASSERT_TRUE(file.File_Open(50));
  ASSERT_TRUE(file.File_Close(60));
  EXPECT_EQ(Findings("trace.mf4"), "");
  EXPECT_TRUE(Decoded("trace.mf4").Groups().empty());
  EXPECT_EQ(Decoded("trace.mf4").Events()[1].Time, 10);
}

TEST_F(Life, UnfinalizedFlagsKeepTheMark) {
  using Flags = MDF::IDBLOCK::UnfinalizedFlags;
  MdfFile file("trace", 0);
  file.UnfinalizedFlags(Flags::CycleCounters);
  file.UnfinalizedFlags_Custom(0x8001);
  EXPECT_TRUE(file.File_Close(0));
  const std::string bytes = StrictMdfReader::Load("trace.mf4");
  EXPECT_EQ(bytes.substr(0, 8), "UnFinMF ");
  EXPECT_EQ(bytes.substr(60, 4), std::string("\x01\x00\x01\x80", 4));
}

TEST_F(Life, BlockEndsWithTheLastFieldThatFits) {
  constexpr unsigned long kErrors = 100'000;
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  for (unsigned long i = 0; i < kErrors; ++i) ASSERT_TRUE(Insert(file, CanItem().At(i).ErrorFrame(1)));
  ASSERT_TRUE(file.File_Close(0));
  StrictMdfReader reader(StrictMdfReader::Load("trace.mf4"), {true, false, false});
  reader.ReadFile();
  EXPECT_EQ(reader.Report(), "");
  const auto blocks = reader.Of("DZ");
  ASSERT_EQ(blocks.size(), 2U);
  // 61679 records of 34 bytes, and of the next one the first five fields (8, 4, 1, 1 and 1 bytes): the sixth, of 8 bytes,
  // would leave less than 48 of 2 MiB.
  EXPECT_EQ(StrictMdfReader::Number(reader.At(blocks[0]).Data, 8, 8), 61'679 * 34 + 15U);
  EXPECT_EQ(StrictMdfReader::Number(reader.At(blocks[1]).Data, 8, 8), kErrors * 34 - (61'679 * 34 + 15));
  const MdfDecoder decoded = Decoded("trace.mf4");
  const auto& errors = decoded.Find("CAN1", "CAN_ErrorFrame");
  ASSERT_EQ(errors.Count, kErrors);
  for (unsigned long i = 0; i < kErrors; ++i) ASSERT_EQ(errors.Raw(i, "t"), i);
}

// --- events ---

struct EventCase {
  unsigned char Kind;
  unsigned char Type;
  unsigned char Range;  // 0 point, 2 the end of a range
  bool Named;
  bool OfRecording;
};

void PrintTo(const EventCase& row, std::ostream* out) { *out << "kind " << int{row.Kind}; }

class EventKind : public MdfFileTest, public ::testing::WithParamInterface<EventCase> {};

TEST_P(EventKind, HasItsTypeInTheFile) {
  const EventCase& row = GetParam();
  MdfFile file("trace", 1'000);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Lin));
  ASSERT_TRUE(file.Bus_Add(2, BusType_Lin));
  EXPECT_TRUE(file.Event("mark", row.Kind, 3, 1'250));
  EXPECT_TRUE(file.Event("scoped", row.Kind, 3, 1'500, 2, BusType_Lin));
  EXPECT_FALSE(file.Event("nowhere", row.Kind, 3, 1'500, 3, BusType_Lin));
  ASSERT_TRUE(file.File_Close(2'000));
  EXPECT_EQ(Findings("trace.mf4"), "");
  const MdfDecoder decoded = Decoded("trace.mf4");
  ASSERT_EQ(decoded.Events().size(), 4U);
  const auto& event = decoded.Events()[1];
  EXPECT_EQ(event.Type, row.Type);
  EXPECT_EQ(event.Range, row.Range);
  EXPECT_EQ(event.Cause, 3);
  EXPECT_EQ(event.Name, row.Named ? "mark" : "");
  EXPECT_EQ(event.Time, 250);
  EXPECT_EQ(event.BeginsAt, row.OfRecording ? std::optional<size_t>(0) : std::nullopt);
  EXPECT_EQ(event.Scopes, 0U);
  EXPECT_EQ(decoded.Events()[2].Scopes, 6U);
}

INSTANTIATE_TEST_SUITE_P(MdfFile, EventKind,
                         ::testing::Values(EventCase{1, 2, 0, false, false}, EventCase{2, 6, 0, true, false},
                                           EventCase{4, 3, 2, true, true}, EventCase{5, 4, 2, true, true},
                                           EventCase{6, 5, 0, true, false}));

TEST_F(Life, OtherEventKindsAreRefused) {
  MdfFile file("trace", 0);
  for (const unsigned char kind : test::Bytes{0, 3, 7, 255}) EXPECT_FALSE(file.Event("mark", kind, 0, 0)) << int{kind};
}

TEST_F(Life, EventsAreRefusedWhileThereIsNoFileForThem) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(file.File_Close(10));
  EXPECT_FALSE(file.Event("mark", 2, 4, 20));
  EXPECT_FALSE(file.Event("mark", 2, 4, 20, 1, BusType_Can));
  ASSERT_TRUE(file.File_Open(30));
  EXPECT_TRUE(file.Event("mark", 2, 4, 40));
  ASSERT_TRUE(file.File_Close(50));
  const auto events = Decoded("trace.mf4").Events();
  ASSERT_EQ(events.size(), 3U);  // with begin and end
  EXPECT_EQ(events[1].Name, "mark");
  EXPECT_EQ(events[1].Time, 40);
}

TEST_F(Life, EventsWithoutAFileYetGoIntoTheFirstOne) {
  MdfFile file("folder/trace", 0);
  ASSERT_TRUE(file.Event("mark", 2, 4, 10));
  std::filesystem::create_directory("folder");
  ASSERT_TRUE(file.File_Open(20));
  ASSERT_TRUE(file.File_Close(30));
  EXPECT_EQ(Decoded("folder/trace.mf4").Events().size(), 3U);
}

TEST_F(Life, EventsWhileRecordingAreInTheFileAtTheNextRecord) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(Insert(file, CanItem().Data({1})));
  ASSERT_TRUE(file.Event("mark", 2, 4, 10));
  ASSERT_TRUE(Insert(file, CanItem().Data({2})));
  EXPECT_EQ(Findings("trace.mf4", kUnfinalized), "");
  EXPECT_EQ(Decoded("trace.mf4").Events().size(), 2U);
}

// --- series ---

using Series = MdfFileTest;

TEST_F(Series, LimitsKeepADataBlockOfHeadroom) {
  // The limits themselves show in when files are split; here only that nothing is thrown or wrapped into a tiny one.
  MdfFile file("trace", 0);
  for (const unsigned int kib : {0U, 1U, 2048U, 2049U, 4194304U, 4294967295U}) {
    EXPECT_EQ(file.File_SetMaxSize(kib), 0x200000U);
  }
}

/// Records `blocks` blocks of frames and closes; returns how many files came of it.
unsigned int FilesOf(unsigned int maxSizeKiB, unsigned int blocks) {
  const test::TemporaryDirectory directory;
  MdfFile file("trace", 0, maxSizeKiB);
  EXPECT_TRUE(file.Bus_Add(1, BusType_Can));
  Noise noise;
  for (unsigned long i = 0; i < blocks * kBlockOfFrames; ++i) EXPECT_TRUE(Insert(file, noise.Next()));
  EXPECT_TRUE(file.File_Close(noise.Time));
  unsigned int files = 0;
  while (std::filesystem::exists(files == 0 ? "trace.mf4" : "trace_" + std::to_string(files) + ".mf4")) ++files;
  return files;
}

TEST_F(Series, LimitDecidesAboutTheNumberOfFiles) {
  EXPECT_EQ(FilesOf(0, 4), 1U);
  EXPECT_EQ(FilesOf(4294967295U, 4), 1U);
  EXPECT_EQ(FilesOf(1, 4), 5U);         // a file per block: four times the descriptions are less than that
  EXPECT_EQ(FilesOf(2048, 4), 5U);      // the same
  EXPECT_EQ(FilesOf(4194304, 4), 5U);   // 0 in 32 bits: the same
  EXPECT_EQ(FilesOf(6 * 1024, 4), 2U);  // 4 MiB and a byte: reached by the third block of nearly 2 MiB
  EXPECT_EQ(FilesOf(2049, 2), 3U);      // 1025 bytes: the first record is one too many, then a file per block
}

TEST_F(Series, EachFileIsCompleteAndNoFrameIsLost) {
  constexpr unsigned long kFrames = 5 * kBlockOfFrames + 10;
  Noise noise;
  {
    MdfFile file("trace", 500, 1);
    ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
    ASSERT_TRUE(file.Bus_Add(4, BusType_Lin));
    ASSERT_TRUE(file.Event("mark", 2, 0, 600));
    for (unsigned long i = 0; i < kFrames; ++i) ASSERT_TRUE(Insert(file, noise.Next()));
    EXPECT_EQ(file.FileName(), "trace_5.mf4");
    ASSERT_TRUE(file.File_Close(noise.Time));
  }
  unsigned long frames = 0;
  Noise again;
  int64_t end = 0;
  for (unsigned int number = 0; number <= 5; ++number) {
    const std::string name = number == 0 ? "trace.mf4" : "trace_" + std::to_string(number) + ".mf4";
    EXPECT_EQ(Findings(name), "") << name;
    const MdfDecoder decoded = Decoded(name);
    EXPECT_TRUE(decoded.Finalized());
    EXPECT_EQ(decoded.StartTime(), 500U);
    const auto& events = decoded.Events();
    ASSERT_EQ(events.size(), number == 0 ? 3U : 2U) << name;  // the mark belongs to the first file only
    EXPECT_EQ(events.front().Time, end);                      // begins when the file before ended
    EXPECT_EQ(events.back().BeginsAt, 0U);
    end = events.back().Time;
    const auto& group = decoded.Find("CAN1", "CAN_DataFrame");
    ASSERT_GT(group.Count, 0U);
    EXPECT_EQ(group.Raw(0, "DataBytes"), 0U);  // offsets start again
    EXPECT_EQ(decoded.Find("LIN4", "LIN_Frame").Count, 0U);
    for (unsigned long record = 0; record < group.Count; ++record, ++frames) {
      const auto sent = again.Next().Entry();
      ASSERT_EQ(group.Raw(record, "t"), sent->GetTimestamp());
      const auto& data = sent->GetEntry()->Payload.Can.Data;
      ASSERT_TRUE(group.Bytes(record, "DataBytes") == std::string(reinterpret_cast<const char*>(data), 64));
    }
  }
  EXPECT_EQ(frames, kFrames);
  EXPECT_EQ(end, static_cast<int64_t>(noise.Time) - 500);
}

TEST_F(Series, EntryWithoutABusDoesNotSplit) {
  MdfFile file("trace", 0, 2049);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  EXPECT_FALSE(Insert(file, CanItem().Channel(2).Data({1})));
  EXPECT_EQ(file.FileName(), "trace.mf4");
  EXPECT_TRUE(Insert(file, CanItem().Data({1})));
  EXPECT_EQ(file.FileName(), "trace_1.mf4");
}

// Chosen at the first record and at no later one: until then it is 1 byte, which every flush reaches.
TEST_F(Series, AutomaticLimitSetAfterTheFirstRecordIsNotChosen) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(Insert(file, CanItem().Data({1})));
  file.File_SetMaxSize(1);
  ASSERT_TRUE(Insert(file, CanItem().Data({1})));
  ASSERT_TRUE(file.File_FlushData());
  EXPECT_FALSE(file.FileIterationHandler(10));
  EXPECT_EQ(file.FileName(), "trace_1.mf4");
}

TEST_F(Series, HandlerTellsOfANewFile) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(Insert(file, CanItem().Data({1})));
  EXPECT_TRUE(file.FileIterationHandler(10));
  file.File_SetMaxSize(2049);
  EXPECT_TRUE(file.FileIterationHandler(20));  // nothing was written since the last look
  ASSERT_TRUE(file.File_FlushData());
  EXPECT_FALSE(file.FileIterationHandler(30));
  EXPECT_EQ(file.FileName(), "trace_1.mf4");
  EXPECT_TRUE(file.FileIterationHandler(40));
}

}  // namespace
