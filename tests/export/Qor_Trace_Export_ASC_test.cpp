// The ASC writer around its lines: header and trailer, time columns, series of files, and what goes wrong.
#include "export/Qor_Trace_Export_ASC.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <limits>
#include <map>
#include <thread>

#include "export/AscTest.h"
#include "internal/Qor_Trace_Exception.h"

namespace {

using test::Bytes;
using test::CanItem;
using test::EntryPtr;
using test::ErrorReport;
using test::LinItem;
using test::ReadFile;
using test::Record;
using test::TakeErrorReports;

constexpr unsigned int kDecimal = QOR_TRACE_ASC_DECIMAL;
constexpr unsigned int kRelative = QOR_TRACE_ASC_RELATIVE;
constexpr unsigned int kOffset = QOR_TRACE_ASC_START_OFFSET;
constexpr unsigned int kSplit = QOR_TRACE_ASC_SPLIT;

class AscWriter : public test::AscTest {
 protected:
  /// 60 characters, the line feed included, and a time of ten.
  static EntryPtr CanAt(unsigned long timestamp) { return CanItem().At(timestamp).Id(1).Data({1, 2}).Entry(); }

  static std::vector<std::string> FilesHere() {
    std::vector<std::string> names;
    for (const auto& file : std::filesystem::recursive_directory_iterator(".")) {
      if (file.is_regular_file()) names.push_back(file.path().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  template <class Call>
  static unsigned int ErrorOf(Call call) {
    try {
      call();
    } catch (const Qor_Trace_Exception& error) {
      return error.GetErrorCode();
    }
    return 0;
  }
};

/// Compares with a file of tests/golden.
void ExpectGolden(const std::string& name, const std::string& actual) {
  EXPECT_EQ(actual, ReadFile(std::filesystem::path(QOR_GOLDEN_DIR) / name)) << name;
}

// ---- Header and trailer -------------------------------------------------------------------------------------------------

TEST_F(AscWriter, EmptyLogIsHeaderAndTrailer) {
  EXPECT_EQ(Written(0, {}),
            "date Sun Nov 15 09:00:19 2026\n"
            "base hex  timestamps absolute\n"
            "internal events logged\n"
            "// version 8.1.0\n"
            "Begin Triggerblock Sun Nov 15 09:00:19 2026\n"
            "End Triggerblock\n");
}

TEST_F(AscWriter, HeaderTellsBaseAndKindOfTimes) {
  EXPECT_EQ(Written(kDecimal | kRelative, {}),
            "date Sun Nov 15 09:00:19 2026\n"
            "base dec  timestamps relative\n"
            "internal events logged\n"
            "// version 8.1.0\n"
            "Begin Triggerblock Sun Nov 15 09:00:19 2026\n"
            "End Triggerblock\n");
}

TEST_F(AscWriter, DateIsLocalTime) {
  setenv("TZ", "UTC-2", 1);  // two hours east
  EXPECT_EQ(Written(0, {}).substr(0, 30), "date Sun Nov 15 11:00:19 2026\n");
}

TEST_F(AscWriter, DateWithoutATextIsLeftOut) {
  AscHeaderClock = [] { return std::numeric_limits<std::time_t>::max(); };
  EXPECT_EQ(Written(0, {CanAt(0)}),
            "date base hex  timestamps absolute\n"
            "internal events logged\n"
            "// version 8.1.0\n"
            "Begin Triggerblock 0.000000000 CANFD 1 Rx 1   0 0 2  2 01 02 0 0 0 0 0 0 0 0\n"
            "End Triggerblock\n");
}

TEST_F(AscWriter, HeaderIsOnceInAFileWithEntries) {
  EXPECT_EQ(Written(0, {CanAt(0), CanAt(1)}), Header(0) +
                                                  "0.000000000 CANFD 1 Rx 1   0 0 2  2 01 02 0 0 0 0 0 0 0 0\n"
                                                  "0.000000001 CANFD 1 Rx 1   0 0 2  2 01 02 0 0 0 0 0 0 0 0\n"
                                                  "End Triggerblock\n");
}

TEST_F(AscWriter, EndFileTwiceWritesOneTrailer) {
  Qor_Trace_Export_ASC writer(0, "log.asc", 0, 0);
  writer.EndFile();
  writer.EndFile();
  EXPECT_EQ(ReadFile("log.asc"), Header(0) + kEnd);
  EXPECT_FALSE(writer.Failed());
}

TEST_F(AscWriter, ExistingFileIsReplaced) {
  std::ofstream("log.asc") << std::string(10'000, 'x');
  EXPECT_EQ(Written(0, {}), Header(0) + kEnd);
}

TEST_F(AscWriter, NewFileHasTheRightsThatTheProcessGives) {
  const mode_t before = umask(027);
  Written(0, {});
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat("log.asc", &status), 0);
  EXPECT_EQ(status.st_mode & 0777u, 0640u);
}

TEST_F(AscWriter, FlushBringsWhatWasWrittenToTheFile) {
  Qor_Trace_Export_ASC writer(0, "log.asc", 0, 0);
  writer.WriteEntry(*CanAt(0)->GetEntry());
  writer.Flush();
  EXPECT_EQ(ReadFile("log.asc"), Header(0) + "0.000000000 CANFD 1 Rx 1   0 0 2  2 01 02 0 0 0 0 0 0 0 0\n");
}

// ---- Times ----------------------------------------------------------------------------------------------------------------

TEST_F(AscWriter, TimesAreTheEntriesOwn) {
  const auto times = [](unsigned int flags, unsigned long start) {
    std::string columns;
    const auto first = CanItem().At(3'000'000'000).RisingEdge().Entry();
    const auto second = CanItem().At(4'500'000'001).Relative(1'500'000'001).RisingEdge().Entry();
    const auto third = CanItem().At(4'400'000'000).Relative(-100'000'001).RisingEdge().Entry();
    std::istringstream lines(Lines(flags, {first, second, third}, start));
    for (std::string line; std::getline(lines, line);) columns += line.substr(0, line.find(' ') + 1);
    return columns;
  };
  EXPECT_EQ(times(0, 0), "3.000000000 4.500000001 4.400000000 ");
  EXPECT_EQ(times(0, 4'000'000'000), "3.000000000 4.500000001 4.400000000 ");
  EXPECT_EQ(times(kOffset, 3'000'000'000), "0.000000000 1.500000001 1.400000000 ");
  EXPECT_EQ(times(kOffset, 4'400'000'000), "0.100000001 0.000000000 ");
  EXPECT_EQ(times(kRelative, 0), "0.000000000 1.500000001 -0.100000001 ");
  EXPECT_EQ(times(kRelative | kOffset, 5'000'000'000), "0.000000000 1.500000001 -0.100000001 ");
}

TEST_F(AscWriter, TimesReachToTheClocksEnd) {
  const auto at = [](unsigned long time) { return CanItem().At(time).RisingEdge().Entry(); };
  EXPECT_EQ(Lines({at(8'388'607'999'999'999), at(8'388'608'000'000'001), at(~0ul)}),
            "8388607.999999999 log trigger event (rising edge on trigger input)\n"
            "8388608.000000002 log trigger event (rising edge on trigger input)\n"
            "18446744073.709552765 log trigger event (rising edge on trigger input)\n");
}

// ---- Entries that are no line ---------------------------------------------------------------------------------------------

TEST_F(AscWriter, UnknownBusesAndRecordsWithoutAWholeHeaderWriteNothing) {
  const Record record(*CanAt(0));
  EXPECT_EQ(LinesOf(Record(record).Put<unsigned char>(24, 4)), "");
  EXPECT_EQ(LinesOf(Record(record).Put<unsigned char>(24, 255)), "");
  EXPECT_EQ(LinesOf(Record(record).CutTo(27)), "");
  EXPECT_EQ(LinesOf(Record(record).CutTo(4)), "");
}

TEST_F(AscWriter, EntryWithoutALineStillSplits) {
  const Record unknown = Record(*CanAt(0)).Put<unsigned char>(24, 9);
  {
    Qor_Trace_Export_ASC writer(kSplit, "log.asc", 0, 10);  // the header alone is longer
    writer.WriteEntry(Record(*LinItem().Entry()).Put<unsigned short>(28, 1).Get());
    writer.WriteEntry(unknown.Get());
    writer.WriteEntry(Record(unknown).CutTo(20).Get());
  }
  EXPECT_EQ(FilesHere(), (std::vector<std::string>{"./log.asc", "./log_1.asc", "./log_2.asc", "./log_3.asc"}));
  // No time was printed so far: the number has no decimals yet.
  EXPECT_EQ(ReadFile("log_1.asc"), Header(0, "// 0 previous log file: log.asc\n") + kEnd);
}

TEST_F(AscWriter, EntryBeforeTheStartTimeDoesNotSplit) {
  {
    Qor_Trace_Export_ASC writer(kSplit | kOffset, "log.asc", 100, 10);
    writer.WriteEntry(*CanAt(99)->GetEntry());
  }
  EXPECT_EQ(FilesHere(), std::vector<std::string>{"./log.asc"});
}

// ---- Series of files ------------------------------------------------------------------------------------------------------

TEST_F(AscWriter, FileEndsAfterTheEntryThatTakesItBeyondTheLimit) {
  const size_t header = Header(0).size();
  const std::string line = "0.000000000 CANFD 1 Rx 1   0 0 2  2 01 02 0 0 0 0 0 0 0 0\n";
  const auto filesFor = [&](size_t limit) {
    {
      Qor_Trace_Export_ASC writer(kSplit, "log.asc", 0, static_cast<unsigned int>(limit));
      for (int i = 0; i < 3; ++i) writer.WriteEntry(*CanAt(0)->GetEntry());
    }
    return ReadFile("log.asc");
  };
  EXPECT_EQ(filesFor(header + 2 * line.size()), Header(0) + line + line + line + kEnd);
  EXPECT_EQ(filesFor(header + 2 * line.size() - 1), Header(0) + line + line + kEnd);
  EXPECT_EQ(filesFor(header + line.size()), Header(0) + line + line + kEnd);
  EXPECT_EQ(filesFor(1), Header(0) + line + kEnd);
}

TEST_F(AscWriter, LimitIsNotLookedAtWithoutASeries) {
  {
    Qor_Trace_Export_ASC writer(0, "log.asc", 0, 1);
    for (int i = 0; i < 100; ++i) writer.WriteEntry(*CanAt(0)->GetEntry());
  }
  EXPECT_EQ(FilesHere(), std::vector<std::string>{"./log.asc"});
}

TEST_F(AscWriter, SeriesNamesItsPreviousFileAndTime) {
  {
    Qor_Trace_Export_ASC writer(kSplit, "trace.asc", 0, 1);
    writer.WriteEntry(*CanAt(1'500'000'000)->GetEntry());
    writer.WriteEntry(*LinItem().At(2'000'000'400).WakeUp().Entry()->GetEntry());
    writer.WriteEntry(*CanAt(3'000'000'600)->GetEntry());
  }
  ExpectGolden("asc-series-first.asc", ReadFile("trace.asc"));
  ExpectGolden("asc-series-nine-decimals.asc", ReadFile("trace_1.asc"));
  ExpectGolden("asc-series-six-decimals.asc", ReadFile("trace_2.asc"));
  ExpectGolden("asc-series-last.asc", ReadFile("trace_3.asc"));
}

TEST_F(AscWriter, CanLineLeavesHexadecimalToTheNextFileToo) {
  const auto ethernet = test::EthernetItem().Channel(11).Frame(Bytes(14, 0xA5)).Entry();
  {
    Qor_Trace_Export_ASC writer(kSplit | kDecimal, "log.asc", 0, 1);
    writer.WriteEntry(*CanAt(0)->GetEntry());
    writer.WriteEntry(*ethernet->GetEntry());
  }
  EXPECT_EQ(ReadFile("log_1.asc"), Header(kDecimal, "// 0.000000000 previous log file: log.asc\n") +
                                       "0.000000000 ETH b Rx e  :a5a5a5a5a5a5a5a5a5a5a5a5a5a5\n" + kEnd);
}

TEST_F(AscWriter, PreviousTimeIsAbsoluteAndCountsFromTheStart) {
  const auto previous = [](unsigned int flags, unsigned long start) {
    {
      Qor_Trace_Export_ASC writer(kSplit | flags, "log.asc", start, 1);
      writer.WriteEntry(*CanItem().At(5'000'000'000).Relative(7).RisingEdge().Entry()->GetEntry());
    }
    const std::string text = ReadFile("log_1.asc");
    const size_t begin = text.find("// version 8.1.0\n// ") + 20;
    return text.substr(begin, text.find(' ', begin) - begin);
  };
  EXPECT_EQ(previous(0, 1'000'000'000), "5.000000000");
  EXPECT_EQ(previous(kRelative, 1'000'000'000), "5.000000000");
  EXPECT_EQ(previous(kOffset, 1'000'000'000), "4.000000000");
  EXPECT_EQ(previous(kOffset | kRelative, 6'000'000'000), "-1.000000000");
}

TEST_F(AscWriter, SeriesWithoutExtension) {
  {
    Qor_Trace_Export_ASC writer(kSplit, "log", 0, 1);
    for (int i = 0; i < 2; ++i) writer.WriteEntry(*CanAt(0)->GetEntry());
  }
  EXPECT_EQ(FilesHere(), (std::vector<std::string>{"./log", "./log_1", "./log_2"}));
  EXPECT_NE(ReadFile("log_2").find(" previous log file: log_1\n"), std::string::npos);
}

TEST_F(AscWriter, SeriesNumberGoesBeforeTheLastDotEvenInADirectory) {
  std::filesystem::create_directories("run");
  std::filesystem::create_directories("_1./run");
  {
    Qor_Trace_Export_ASC writer(kSplit, "./run/trace", 0, 1);
    writer.WriteEntry(*CanAt(0)->GetEntry());
  }
  EXPECT_EQ(FilesHere(), (std::vector<std::string>{"./_1./run/trace", "./run/trace"}));
  EXPECT_NE(ReadFile("_1./run/trace").find("// 0.000000000 previous log file: ./run/trace\n"), std::string::npos);
}

TEST_F(AscWriter, SeriesOfDottedNamesAndHiddenFiles) {
  for (const char* name : {"a.b.asc", ".asc", "c."}) {
    Qor_Trace_Export_ASC writer(kSplit, name, 0, 1);
    writer.WriteEntry(*CanAt(0)->GetEntry());
  }
  EXPECT_EQ(FilesHere(),
            (std::vector<std::string>{"./.asc", "./_1.asc", "./a.b.asc", "./a.b_1.asc", "./c.", "./c_1."}));
}

TEST_F(AscWriter, StartNewFileBeginsTheNextFileOfASeries) {
  {
    Qor_Trace_Export_ASC writer(kSplit, "log.asc", 0, 100'000);
    writer.WriteEntry(*CanItem().RisingEdge().Entry()->GetEntry());
    writer.StartNewFile();
  }
  EXPECT_EQ(ReadFile("log.asc"), Header(0) + "0.000000000 log trigger event (rising edge on trigger input)\n");
  EXPECT_EQ(ReadFile("log_1.asc"), Header(0, "// 0.000000000 previous log file: log.asc\n") + kEnd);
}

TEST_F(AscWriter, AllKindsInBothBases) {
  std::vector<EntryPtr> entries = {
      CanItem().At(1'000'000'000).Id(0x18fe0102).Extended().Data(test::Counting(8)).Entry(),
      test::EthernetItem().At(1'100'000'000).Channel(11).Frame(Bytes(14, 0xA5)).Entry(),
      test::EthernetItem().At(1'200'000'000).Channel(11).Tx().Frame(Bytes(14, 0xA5)).Entry(),
      test::FlexRayItem().At(1'300'000'000).Channel(10).Slot(62).Cycle(17).HeaderCrc(0x2A5).Data({1, 200}).Entry(),
      LinItem().At(1'400'000'000).Id(0x21).Data({3, 210}, 0x2A).BitTime(416000).Entry(),
      LinItem().At(1'500'000'900).Channel(12).ParityError().BitTime(416000).Entry(),
      test::FlexRayItem().At(1'600'000'000).Channel(10).Kind(9).EventCode(2).Entry(),
      CanItem().At(1'700'000'000).Channel(10).ErrorFrame(2).Entry(),
  };
  ExpectGolden("asc-all-kinds-hex.asc", Written(0, entries));
  ExpectGolden("asc-all-kinds-dec.asc", Written(kDecimal, entries));
}

// ---- Failures -------------------------------------------------------------------------------------------------------------

TEST_F(AscWriter, FileThatCannotBeOpenedIsReportedOnceAndInFull) {
  EXPECT_EQ(ErrorOf([] { Qor_Trace_Export_ASC writer(0, "nowhere/log.asc", 0, 0); }), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeErrorReports(),
            (std::vector<ErrorReport>{
                {255, QOR_TRACE_STATUS_FILE_ERROR, "error opening file 'nowhere/log.ascNo such file or directory"}}));
  EXPECT_TRUE(FilesHere().empty());
}

TEST_F(AscWriter, NextFileThatCannotBeOpenedLeavesThePreviousOnesWhole) {
  std::filesystem::create_directory("log_1.asc");
  Qor_Trace_Export_ASC writer(kSplit, "log.asc", 0, 1);
  EXPECT_EQ(ErrorOf([&] { writer.WriteEntry(*CanAt(0)->GetEntry()); }), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(
      TakeErrorReports(),
      (std::vector<ErrorReport>{{255, QOR_TRACE_STATUS_FILE_ERROR, "error opening file 'log_1.ascIs a directory"}}));
  EXPECT_EQ(ReadFile("log.asc"), Header(0) + "0.000000000 CANFD 1 Rx 1   0 0 2  2 01 02 0 0 0 0 0 0 0 0\n" + kEnd);
}

TEST_F(AscWriter, FullDiskIsNotThrownWithoutASeries) {
  Qor_Trace_Export_ASC writer(0, "/dev/full", 0, 0);
  writer.WriteEntry(*CanAt(0)->GetEntry());
  EXPECT_FALSE(writer.Failed());  // nothing has left the buffer so far
  writer.Flush();
  EXPECT_TRUE(writer.Failed());
  for (int i = 0; i < 100'000; ++i) writer.WriteEntry(*CanAt(0)->GetEntry());
  writer.EndFile();
  EXPECT_TRUE(writer.Failed());
  EXPECT_TRUE(TakeErrorReports().empty());
  EXPECT_EQ(writer.FailureText(), "Cannot write ASC file: path=\"/dev/full\", errno=28 (No space left on device)");
}

/// Memory that ends in a page which can't be read.
class EndOfMemory {
 public:
  EndOfMemory() : Start(static_cast<char*>(mmap(nullptr, 2 * kPage, PROT_READ | PROT_WRITE, kFlags, -1, 0))) {
    EXPECT_EQ(mprotect(Start + kPage, kPage, PROT_NONE), 0);
  }
  ~EndOfMemory() { munmap(Start, 2 * kPage); }
  EndOfMemory(const EndOfMemory&) = delete;
  EndOfMemory& operator=(const EndOfMemory&) = delete;

  /// Puts an entry's header there, so that reading its payload ends the process.
  [[nodiscard]] const Qor_Trace_Entry_t& HeaderOf(const Qor_Trace_Entry_t& entry) const {
    constexpr size_t kHeader = offsetof(Qor_Trace_Entry_t, Payload);
    return *static_cast<const Qor_Trace_Entry_t*>(std::memcpy(Start + kPage - kHeader, &entry, kHeader));
  }

 private:
  static constexpr size_t kPage = 65536;
  static constexpr int kFlags = MAP_PRIVATE | MAP_ANONYMOUS;
  char* const Start;
};

TEST_F(AscWriter, FormatsNothingMoreAfterAFailedWrite) {
  const EndOfMemory memory;
  const Qor_Trace_Entry_t& unreadable = memory.HeaderOf(*CanAt(0)->GetEntry());
  Qor_Trace_Export_ASC writer(0, "/dev/full", 0, 0);
  writer.WriteEntry(*CanAt(0)->GetEntry());
  writer.Flush();
  writer.WriteEntry(unreadable);
  writer.WriteEntry_Lin(unreadable);
  writer.WriteEntry_FlexRay(unreadable);
  writer.EndFile();
  EXPECT_TRUE(writer.Failed());
}

TEST_F(AscWriter, FullDiskShowsWhenTheFileEnds) {
  Qor_Trace_Export_ASC writer(0, "/dev/full", 0, 0);
  writer.EndFile();
  EXPECT_TRUE(writer.Failed());
}

const std::vector<ErrorReport> kPositionLost = {
    {255, QOR_TRACE_STATUS_FILE_ERROR, "coud not get current stream position"}};
const std::vector<ErrorReport> kDiskFull = {
    {255, QOR_TRACE_STATUS_FILE_ERROR,
     "Cannot write ASC file: path=\"/dev/full\", errno=28 (No space left on device)"}};

TEST_F(AscWriter, FullDiskEndsASeriesAtTheSplit) {
  Qor_Trace_Export_ASC writer(kSplit, "/dev/full", 0, 512);
  unsigned int code = 0;
  int entries = 0;
  for (; code == 0 && entries < 1000; ++entries) code = ErrorOf([&] { writer.WriteEntry(*CanAt(0)->GetEntry()); });
  EXPECT_EQ(code, QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_LT(entries, 20);
  EXPECT_EQ(TakeErrorReports(), kDiskFull);
  EXPECT_TRUE(writer.Failed());
  // It stays so: the file was given up.
  EXPECT_EQ(ErrorOf([&] { writer.WriteEntry(*CanAt(0)->GetEntry()); }), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeErrorReports(), kPositionLost);
}

TEST_F(AscWriter, FullDiskEndsASeriesAtTheFlush) {
  Qor_Trace_Export_ASC writer(kSplit, "/dev/full", 0, 1'000'000);
  writer.WriteEntry(*CanAt(0)->GetEntry());
  EXPECT_EQ(ErrorOf([&] { writer.Flush(); }), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeErrorReports(), kDiskFull);
  EXPECT_TRUE(writer.Failed());
}

TEST_F(AscWriter, FullDiskEndsASeriesWhenTheBufferIsFull) {
  Qor_Trace_Export_ASC writer(kSplit, "/dev/full", 0, 0xFFFFFFFF);
  unsigned int code = 0;
  int entries = 0;
  for (; code == 0 && entries < 100'000; ++entries) code = ErrorOf([&] { writer.WriteEntry(*CanAt(0)->GetEntry()); });
  EXPECT_EQ(code, QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeErrorReports(), kDiskFull);
}

TEST_F(AscWriter, FailingFileOfASeriesIsNamed) {
  ASSERT_EQ(symlink("/dev/full", "log_1.asc"), 0);
  Qor_Trace_Export_ASC writer(kSplit, "log.asc", 0, 200);
  unsigned int code = 0;
  int entries = 0;
  for (; code == 0 && entries < 1000; ++entries) code = ErrorOf([&] { writer.WriteEntry(*CanAt(0)->GetEntry()); });
  EXPECT_EQ(code, QOR_TRACE_STATUS_FILE_ERROR);
  const char* const text = "Cannot write ASC file: path=\"log_1.asc\", errno=28 (No space left on device)";
  EXPECT_EQ(TakeErrorReports(), (std::vector<ErrorReport>{{255, QOR_TRACE_STATUS_FILE_ERROR, text}}));
  EXPECT_EQ(writer.FailureText(), text);
}

/// What comes out of a pipe until it is closed.
class PipeReader {
 public:
  explicit PipeReader(const char* name) {
    EXPECT_EQ(mkfifo(name, 0600), 0);
    Thread = std::thread([this, name] { Text = ReadFile(name); });
  }
  std::string Read() {
    Thread.join();
    return Text;
  }

 private:
  std::string Text;
  std::thread Thread;
};

TEST_F(AscWriter, SeriesOnAPipeEndsAtTheFirstEntryAsItsPositionCannotBeRead) {
  PipeReader pipe("pipe");
  Qor_Trace_Export_ASC writer(kSplit, "pipe", 0, 100'000);
  EXPECT_EQ(ErrorOf([&] { writer.WriteEntry(*CanAt(0)->GetEntry()); }), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeErrorReports(), kPositionLost);
  EXPECT_EQ(pipe.Read(), Header(0) + "0.000000000 CANFD 1 Rx 1   0 0 2  2 01 02 0 0 0 0 0 0 0 0\n");
  EXPECT_FALSE(writer.Failed());
}

TEST_F(AscWriter, OneFileMayBeAPipe) {
  PipeReader pipe("pipe");
  {
    Qor_Trace_Export_ASC writer(0, "pipe", 0, 512);
    writer.WriteEntry(*CanAt(0)->GetEntry());
  }
  EXPECT_EQ(pipe.Read(), Header(0) + "0.000000000 CANFD 1 Rx 1   0 0 2  2 01 02 0 0 0 0 0 0 0 0\n" + kEnd);
}

TEST_F(AscWriter, EntriesBeforeTheStartDoNotAskForThePosition) {
  PipeReader pipe("pipe");
  {
    Qor_Trace_Export_ASC writer(kSplit | kOffset, "pipe", 1000, 512);
    writer.WriteEntry(*CanAt(999)->GetEntry());
  }
  EXPECT_EQ(pipe.Read(), Header(kSplit | kOffset) + kEnd);
}

/// Lets no file of this process grow beyond `bytes` while it lives, as a full disk would.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : Handler(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &Before);
    const rlimit limit{bytes, Before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &Before);
    std::signal(SIGXFSZ, Handler);
  }

 private:
  void (*Handler)(int);
  rlimit Before{};
};

TEST_F(AscWriter, WhatWasWrittenBeforeTheDiskWasFullIsInTheFile) {
  std::string whole;
  {
    Qor_Trace_Export_ASC writer(0, "whole.asc", 0, 0);
    for (unsigned long i = 0; i < 10'000; ++i) writer.WriteEntry(*CanAt(i)->GetEntry());
    writer.EndFile();
    whole = ReadFile("whole.asc");
  }
  {
    const FileSizeLimit limit(300'001);
    Qor_Trace_Export_ASC writer(0, "log.asc", 0, 0);
    for (unsigned long i = 0; i < 10'000; ++i) writer.WriteEntry(*CanAt(i)->GetEntry());
    writer.EndFile();
    EXPECT_TRUE(writer.Failed());
  }
  EXPECT_TRUE(ReadFile("log.asc") == whole.substr(0, 300'001));
}

TEST_F(AscWriter, EntriesAfterTheEndAreNoSilentLoss) {
  Qor_Trace_Export_ASC writer(0, "log.asc", 0, 0);
  writer.EndFile();
  EXPECT_FALSE(writer.Failed());
  writer.WriteEntry(*CanAt(0)->GetEntry());
  EXPECT_TRUE(writer.Failed());
  Qor_Trace_Export_ASC series(kSplit, "series.asc", 0, 512);
  series.EndFile();
  EXPECT_EQ(ErrorOf([&] { series.WriteEntry(*CanAt(0)->GetEntry()); }), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeErrorReports(), kPositionLost);
}

/// Keeps the files of a log.
class Files : public Qor_Trace_AscTarget {
 public:
  void Begin(const std::string& name) override {
    Current = name;
    Texts[name] = "";
  }
  void Write(std::string_view text) override { Texts[Current] += text; }
  void End() override { Complete.push_back(Current); }

  std::map<std::string, std::string> Texts;
  std::vector<std::string> Complete;

 private:
  std::string Current;
};

TEST_F(AscWriter, TargetGetsTheBytesOfTheFiles) {
  const auto write = [](Qor_Trace_Export_ASC& writer) {
    for (unsigned long index = 0; index < 30; ++index) writer.WriteEntry(*CanAt(index * 1000000)->GetEntry());
  };
  for (const unsigned int flags : {0u, kDecimal, kSplit, kSplit | kRelative}) {
    {
      Qor_Trace_Export_ASC writer(flags, "log.asc", 0, 512);
      write(writer);
    }
    Files files;
    {
      Qor_Trace_Export_ASC writer(flags, "log.asc", 0, 512, files);
      write(writer);
      writer.EndFile();
      EXPECT_FALSE(writer.Failed());
    }
    EXPECT_EQ(files.Texts.size(), (flags & kSplit) != 0 ? files.Complete.size() : 1u);
    for (const auto& [name, text] : files.Texts) EXPECT_EQ(text, ReadFile(name)) << name;
    EXPECT_EQ(files.Complete.front(), "log.asc");
    EXPECT_EQ(files.Complete.size(), (flags & kSplit) != 0 ? FilesHere().size() : 1u);
    for (const std::string& name : FilesHere()) std::filesystem::remove(name);
  }
}

TEST_F(AscWriter, TargetGetsWhatWasComposedWithEachFlush) {
  Files files;
  Qor_Trace_Export_ASC writer(0, "no/such/folder/log.asc", 0, 0, files);
  writer.WriteEntry(*CanAt(1)->GetEntry());
  writer.Flush();
  EXPECT_EQ(files.Texts["no/such/folder/log.asc"].substr(0, Header(0).size()), Header(0));
  EXPECT_GT(files.Texts["no/such/folder/log.asc"].size(), Header(0).size());
  EXPECT_TRUE(files.Complete.empty());
}

}  // namespace
