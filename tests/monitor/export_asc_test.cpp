// The export of a monitor's trace to ASC files.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <thread>

#include "monitor/MonitorTest.h"
#include "support/FileSizeLimit.h"

using namespace test;

namespace {

class AscExport : public OneChannelTest {
 protected:
  unsigned int Export(unsigned int flags, const std::string& name, unsigned long startTime = 0,
                      unsigned int maxSize = 0) {
    return CodeOf([&] { Monitor->ExportToASC(flags, name.c_str(), startTime, maxSize); });
  }
  /// Records items, all of which go to the swap file.
  void Swap(const Items& items) {
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 1);
    Record(items);
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 1000000);
  }
  [[nodiscard]] std::string BackupName() { return SwapName() + ".bak"; }
};

/// The lines between the first and the last one that belong to no entry.
std::string Body(const std::string& text) {
  const size_t head = text.find('\n', text.find("Begin Triggerblock "));
  const size_t tail = text.rfind("End Triggerblock\n");
  if (head == std::string::npos || tail == std::string::npos || tail + 17 != text.size())
    return "not an ASC file: " + text;
  return text.substr(head + 1, tail - head - 1);
}

/// The line of a frame of FramesFrom.
std::string LineOf(unsigned long time) {
  char line[200];
  std::snprintf(line, sizeof line, "0.%09lu CANFD 1 Rx %lx   0 0 1  1 %02lx 0 0 0 0 0 0 0 0\n", time, time,
                time & 0xFF);
  return line;
}

std::string LinesFrom(unsigned long first, size_t count) {
  std::string lines;
  for (size_t i = 0; i < count; ++i) lines += LineOf(first + i);
  return lines;
}

std::vector<std::string> FilesHere() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(".")) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<Report> DiskFull(const std::string& path) {
  return {{255, QOR_TRACE_STATUS_FILE_ERROR,
           "Cannot write ASC file: path=\"" + path + "\", errno=28 (No space left on device)"}};
}

}  // namespace

TEST_F(AscExport, OfAnEmptyMonitorHasHeaderAndTrailerOnly) {
  EXPECT_EQ(Export(0, "out.asc"), 0U);
  EXPECT_EQ(Body(FileText("out.asc")), "");
  EXPECT_EQ(FilesHere(), (std::vector<std::string>{"out.asc"}));
}

TEST_F(AscExport, WritesSwappedEntriesBeforeThoseInMemory) {
  Swap(FramesFrom(1, 5));
  Record(FramesFrom(6, 3));
  EXPECT_EQ(Export(0, "out.asc"), 0U);
  EXPECT_EQ(Body(FileText("out.asc")), LinesFrom(1, 8));
  EXPECT_FALSE(std::filesystem::exists(BackupName()));
  EXPECT_EQ(EntryCount(*Monitor), 8U);  // nothing was taken
}

TEST_F(AscExport, ReplacesAnExistingFile) {
  WriteFile("out.asc", Bytes(10000, 'x'));
  Record(FramesFrom(1, 1));
  EXPECT_EQ(Export(0, "out.asc"), 0U);
  EXPECT_EQ(Body(FileText("out.asc")), LinesFrom(1, 1));
}

TEST_F(AscExport, HandsFlagsAndStartTimeToTheWriter) {
  Record(FramesFrom(1000, 3));
  EXPECT_EQ(Export(QOR_TRACE_ASC_START_OFFSET | QOR_TRACE_ASC_DECIMAL, "out.asc", 1001), 0U);
  const std::string text = FileText("out.asc");
  EXPECT_NE(text.find("base dec  timestamps absolute"), std::string::npos);
  EXPECT_EQ(Body(text),
            "0.000000000 CANFD 1 Rx 3e9   0 0 1  1 e9 0 0 0 0 0 0 0 0\n"
            "0.000000001 CANFD 1 Rx 3ea   0 0 1  1 ea 0 0 0 0 0 0 0 0\n");
}

TEST_F(AscExport, RefusesUnknownFlagsBeforeAnyFileIsTouched) {
  Swap(FramesFrom(1, 2));
  const auto before = FilesHere();
  for (const unsigned int flags : {16U, 17U, 24U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(Export(flags, "out.asc"), QOR_TRACE_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(TakeReports(), (std::vector<Report>{{255, QOR_TRACE_STATUS_INVALID_ARGUMENT, ""}}));
  }
  EXPECT_EQ(FilesHere(), before);
}

TEST_F(AscExport, RefusesSeriesOfFilesBelow512Bytes) {
  for (const unsigned int size : {0U, 1U, 511U}) {
    EXPECT_EQ(Export(QOR_TRACE_ASC_SPLIT, "out.asc", 0, size), QOR_TRACE_STATUS_INVALID_VALUE);
    EXPECT_EQ(TakeReports(),
              (std::vector<Report>{{255, QOR_TRACE_STATUS_INVALID_VALUE, "file size needs to be >= 512 bytes"}}));
  }
  EXPECT_TRUE(FilesHere().empty());
  EXPECT_EQ(Export(QOR_TRACE_ASC_SPLIT, "out.asc", 0, 512), 0U);
}

TEST_F(AscExport, UnknownFlagsComeBeforeTheSize) {
  EXPECT_EQ(Export(QOR_TRACE_ASC_SPLIT | 16, "out.asc", 0, 0), QOR_TRACE_STATUS_INVALID_ARGUMENT);
}

TEST_F(AscExport, SizeDoesNotMatterWithoutASeries) {
  Record(FramesFrom(1, 100));
  EXPECT_EQ(Export(0, "out.asc", 0, 1), 0U);
  EXPECT_EQ(Body(FileText("out.asc")), LinesFrom(1, 100));
  EXPECT_EQ(FilesHere(), (std::vector<std::string>{"out.asc"}));
}

TEST_F(AscExport, SeriesHoldsEveryEntryOnceInOrder) {
  Swap(FramesFrom(1, 15));
  Record(FramesFrom(16, 15));
  EXPECT_EQ(Export(QOR_TRACE_ASC_SPLIT, "out.asc", 0, 512), 0U);
  std::string body = Body(FileText("out.asc"));
  int files = 1;
  for (; std::filesystem::exists("out_" + std::to_string(files) + ".asc"); ++files) {
    const std::string text = FileText("out_" + std::to_string(files) + ".asc");
    EXPECT_NE(text.find("previous log file: "), std::string::npos);
    body += Body(text);
  }
  EXPECT_GE(files, 3);
  EXPECT_EQ(body, LinesFrom(1, 30));
}

TEST_F(AscExport, SeriesIsNamedBeforeTheLastDot) {
  Record(FramesFrom(1, 20));
  EXPECT_EQ(Export(QOR_TRACE_ASC_SPLIT, "log", 0, 512), 0U);
  EXPECT_TRUE(std::filesystem::exists("log"));
  EXPECT_TRUE(std::filesystem::exists("log_1"));
  EXPECT_TRUE(std::filesystem::exists("log_2"));
}

TEST_F(AscExport, FileThatCannotBeOpenedLeavesTheCopyOfTheSwapFile) {
  Swap(FramesFrom(1, 3));
  const Bytes swapped = FileBytes(SwapName());
  EXPECT_EQ(Export(0, "missing/out.asc"), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeReports(), (std::vector<Report>{{255, QOR_TRACE_STATUS_FILE_ERROR,
                                                 "error opening file 'missing/out.ascNo such file or directory"}}));
  EXPECT_EQ(FileBytes(BackupName()), swapped);
  EXPECT_EQ(Export(0, "out.asc"), 0U);  // the next one takes it away
  EXPECT_FALSE(std::filesystem::exists(BackupName()));
}

TEST_F(AscExport, RemovesACopyEvenIfNoneWasMade) {
  WriteFile(BackupName(), {1, 2, 3});
  EXPECT_EQ(Export(0, "out.asc"), 0U);
  EXPECT_FALSE(std::filesystem::exists(BackupName()));
}

TEST_F(AscExport, DoesNotTakeAnOldCopyForAMissingSwapFile) {
  Swap(FramesFrom(1, 3));
  Record(FramesFrom(4, 1));
  std::filesystem::rename(SwapName(), BackupName());
  EXPECT_EQ(Export(0, "out.asc"), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeReports().size(), 1U);
  EXPECT_EQ(Body(FileText("out.asc")), LinesFrom(4, 1));  // what could be had is there
}

TEST_F(AscExport, SwapFileCutShortGivesItsWholeRecordsAndAnError) {
  Swap(FramesFrom(1, 3));
  Record(FramesFrom(4, 1));
  std::filesystem::resize_file(SwapName(), 2 * 45 + 10);
  EXPECT_EQ(Export(0, "out.asc"), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeReports().size(), 1U);
  EXPECT_EQ(Body(FileText("out.asc")), LinesFrom(1, 2) + LinesFrom(4, 1));
}

TEST_F(AscExport, SwapFileOfRandomBytesIsReadWithinItsBounds) {
  Swap(FramesFrom(1, 20));
  unsigned int state = 1;
  for (int round = 0; round < 30; ++round) {
    Bytes bytes(static_cast<size_t>(round) * 37);
    for (auto& byte : bytes) byte = static_cast<unsigned char>((state = state * 1103515245 + 12345) >> 16);
    if (bytes.size() > 4) PutAt(bytes, 0, static_cast<unsigned int>(28 + round * 3));
    WriteFile(SwapName(), bytes);
    EXPECT_EQ(Export(0, "out.asc"), QOR_TRACE_STATUS_FILE_ERROR);  // there are no twenty records in it
    EXPECT_NE(FileText("out.asc").find("End Triggerblock\n"), std::string::npos);
  }
}

TEST_F(AscExport, FullDiskIsAnErrorAndLeavesWhatWasWritten) {
  Record(FramesFrom(1, 200));
  EXPECT_EQ(Export(0, "whole.asc"), 0U);
  const std::string whole = FileText("whole.asc");
  {
    const FileSizeLimit full(3000);
    EXPECT_EQ(Export(0, "out.asc"), QOR_TRACE_STATUS_FILE_ERROR);
    EXPECT_EQ(Export(QOR_TRACE_ASC_SPLIT, "series.asc", 0, 5000), QOR_TRACE_STATUS_FILE_ERROR);
  }
  EXPECT_EQ(TakeReports().size(), 2U);
  const std::string text = FileText("out.asc");
  EXPECT_EQ(text.size(), 3000U);
  EXPECT_EQ(text.substr(text.find("Begin ") + 44),
            whole.substr(whole.find("Begin ") + 44, 3000 - text.find("Begin ") - 44));
}

TEST_F(AscExport, FullDeviceIsAnErrorThatSaysSo) {
  Record(FramesFrom(1, 3));
  EXPECT_EQ(Export(0, "/dev/full"), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeReports(), DiskFull("/dev/full"));
}

TEST_F(AscExport, FileOfASeriesThatFailsAtItsEndIsNamed) {
  std::filesystem::create_symlink("/dev/full", "out_1.asc");
  Record(FramesFrom(0x10, 12));  // the first file takes eight; what is in the second one is written at its end
  EXPECT_EQ(Export(QOR_TRACE_ASC_SPLIT, "out.asc", 0, 512), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeReports(), DiskFull("out_1.asc"));
}

TEST_F(AscExport, SeriesIsNotWrittenToAPipeWhosePositionCannotBeRead) {
  Record(FramesFrom(1, 3));
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  std::string text;
  std::thread reader([&] { text = FileText("pipe"); });
  EXPECT_EQ(Export(QOR_TRACE_ASC_SPLIT, "pipe", 0, 512), QOR_TRACE_STATUS_FILE_ERROR);
  reader.join();
  EXPECT_EQ(TakeReports(),
            (std::vector<Report>{{255, QOR_TRACE_STATUS_FILE_ERROR, "coud not get current stream position"}}));
  const std::string begun = LineOf(1);
  EXPECT_EQ(text.substr(text.size() - begun.size()), begun);
}

TEST_F(AscExport, SwappedEntriesNeedNoSecondPlaceOnTheDisk) {
  Swap(FramesFrom(1, 300));  // 13,500 bytes; the export of as many is longer, so give it a device
  const FileSizeLimit full(10000);
  EXPECT_EQ(Export(0, "/dev/null"), 0U);
  EXPECT_EQ(Export(0, "missing/out.asc"), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(FileBytes(BackupName()), FileBytes(SwapName()));
}

TEST_F(AscExport, OnesSideBySideAllHaveEveryEntry) {
  Swap(FramesFrom(1, 2000));
  Record(FramesFrom(2001, 50));
  const std::string expected = LinesFrom(1, 2050);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([this, thread, &expected] {
      const std::string name = std::to_string(thread) + ".asc";
      for (int round = 0; round < 50; ++round) {
        ASSERT_EQ(Export(0, name), 0U);
        ASSERT_EQ(Body(FileText(name)), expected);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(std::filesystem::exists(BackupName()));
}

TEST_F(AscExport, WritesTheTraceOfItsCallHoweverLongItWaits) {
  // Opening a FIFO waits for its reader. Meanwhile the trace is flushed, another one recorded and exported.
  ASSERT_EQ(mkfifo("fifo", 0600), 0);
  Swap(FramesFrom(1, 5));
  Record(FramesFrom(6, 3));
  unsigned int status = 1;
  std::thread waiting([&] { status = Export(0, "fifo"); });
  EXPECT_TRUE(WaitUntil([&] { return std::filesystem::exists(BackupName()); }));
  Monitor->FlushMonitorBuffer();
  Swap(FramesFrom(100, 7));
  EXPECT_EQ(Export(0, "later.asc"), 0U);
  const std::string first = FileText("fifo");
  waiting.join();
  EXPECT_EQ(status, 0U);
  EXPECT_EQ(Body(first), LinesFrom(1, 8));
  EXPECT_EQ(Body(FileText("later.asc")), LinesFrom(100, 7));
}

TEST_F(AscExport, CopyLeftByAFailedOneOutlivesAFlush) {
  Swap(FramesFrom(1, 3));
  const Bytes swapped = FileBytes(SwapName());
  const std::string name = BackupName();
  EXPECT_EQ(Export(0, "missing/out.asc"), QOR_TRACE_STATUS_FILE_ERROR);
  Monitor->FlushMonitorBuffer();
  EXPECT_EQ(FileBytes(name), swapped);
  Monitor.reset();
  EXPECT_EQ(FileBytes(name), swapped);
}

TEST_F(AscExport, RunsWhileTheMonitorRuns) {
  SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 50);
  Monitor->Start(0);
  for (unsigned long first = 1; first <= 1000; first += 20) Can.NextItems(FramesFrom(first, 20));
  for (int round = 0; round < 10; ++round) {
    ASSERT_EQ(Export(0, "out.asc"), 0U);
    const std::string body = Body(FileText("out.asc"));
    const auto lines = static_cast<size_t>(std::count(body.begin(), body.end(), '\n'));
    ASSERT_EQ(body, LinesFrom(1, lines));  // a prefix of the trace, without a gap
  }
  ASSERT_TRUE(Can.WaitUntilDelivered());
  EXPECT_EQ(Export(0, "out.asc"), 0U);
  EXPECT_EQ(Body(FileText("out.asc")), LinesFrom(1, 1000));
}
