// MDF files that can't be written, and recordings that are cut off.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <random>

#include "support/FileSizeLimit.h"
#include "support/MdfDecoder.h"
#include "support/MdfEntries.h"
#include "support/StrictMdfReader.h"
#include "support/TemporaryDirectory.h"

namespace {

using test::CanItem;
using test::FlexRayItem;
using test::Insert;
using test::LinItem;

/// What an unfinalized file must fulfil; with `old`, bytes of blocks that were never finished may lie in it.
std::string Findings(const std::string& path, bool old) {
  StrictMdfReader reader(StrictMdfReader::Load(path), {false, true, old});
  reader.ReadFile();
  return reader.Report();
}

MdfDecoder Decoded(const std::string& path) { return MdfDecoder(StrictMdfReader::Load(path)); }

class MdfFileFailure : public ::testing::Test {
 protected:
  /// A frame with its number as identifier, with data that can't be packed.
  CanItem Frame(unsigned long number) {
    test::Bytes data(48);
    for (auto& byte : data) byte = static_cast<unsigned char>(Random());
    return CanItem().Id(static_cast<unsigned int>(number)).Extended().At(number).Fd().Data(std::move(data));
  }

  /// All announced frames are there, in order, with their data.
  static unsigned long FramesOf(const MdfDecoder& decoded) {
    const auto& group = decoded.Find("CAN1", "CAN_DataFrame");
    for (uint64_t record = 0; record < group.Count; ++record) {
      EXPECT_EQ(group.Raw(record, "ID") & 0x1FFFFFFF, record);
      EXPECT_EQ(group.Bytes(record, "DataBytes").size(), 48U);
    }
    return group.Count;
  }

  test::TemporaryDirectory Directory;
  std::mt19937_64 Random{3};
};

TEST_F(MdfFileFailure, PathThatCannotBeOpenedLeavesTheStreamClosed) {
  MdfFile file("no/such/folder/trace", 0);
  EXPECT_FALSE(file.is_open());
  EXPECT_FALSE(file.good());
  EXPECT_FALSE(file.Write());
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  EXPECT_TRUE(Insert(file, CanItem().Data({1})));  // collected
  EXPECT_FALSE(file.File_FlushData());
  EXPECT_FALSE(file.File_Close(10));
  EXPECT_FALSE(std::filesystem::exists("no"));
}

TEST_F(MdfFileFailure, WhatWasCollectedGoesToTheFileOnceItCanBeOpened) {
  MdfFile file("folder/trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(Insert(file, Frame(0)));
  EXPECT_FALSE(file.File_Open(0));
  std::filesystem::create_directory("folder");
  ASSERT_TRUE(file.File_Open(0));
  ASSERT_TRUE(Insert(file, Frame(1)));
  ASSERT_TRUE(file.File_Close(1));
  EXPECT_EQ(Findings("folder/trace.mf4", false), "");
  EXPECT_EQ(FramesOf(Decoded("folder/trace.mf4")), 2U);
}

TEST_F(MdfFileFailure, WithoutAFileRecordsAreRefusedWhenABlockIsFull) {
  MdfFile file("no/such/folder/trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  unsigned long inserted = 0;
  while (Insert(file, Frame(inserted))) ++inserted;
  EXPECT_EQ(inserted, (0x200000UL - 48) / 52);
  EXPECT_FALSE(Insert(file, Frame(inserted)));  // and stay refused: a part of a frame is there
  EXPECT_EQ(file.Bus_Cycles(1, BusType_Can), inserted);
  EXPECT_FALSE(file.File_Close(0));
}

TEST_F(MdfFileFailure, RecordsBeforeARefusedOneAreCounted) {
  MdfFile file("folder/trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  unsigned long inserted = 0;
  while (Insert(file, CanItem().Id(static_cast<unsigned int>(inserted)).Extended().At(inserted).Data({}))) ++inserted;
  EXPECT_EQ(inserted, (0x200000UL - 48) / 26);
  EXPECT_EQ(file.Bus_Cycles(1, BusType_Can), inserted);
  std::filesystem::create_directory("folder");
  ASSERT_TRUE(file.File_Open(0));
  EXPECT_TRUE(file.File_FlushData());
  EXPECT_EQ(Decoded("folder/trace.mf4").Find("CAN1", "CAN_DataFrame").Count, inserted);
}

/// A disk with this much room after the descriptions, in KiB.
class FullDisk : public MdfFileFailure, public ::testing::WithParamInterface<rlim_t> {};

TEST_P(FullDisk, LeavesAReadableUnfinalizedFileAndIsReported) {
  unsigned long inserted = 0;
  {
    MdfFile file("trace", 0);
    ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
    ASSERT_TRUE(file.Write());
    const test::FileSizeLimit full(std::filesystem::file_size("trace.mf4") + GetParam() * 1024);
    while (inserted < 1'000'000 && Insert(file, Frame(inserted))) ++inserted;
    EXPECT_LT(inserted, 1'000'000U);
    EXPECT_FALSE(file.good());
    EXPECT_FALSE(file.File_Close(inserted));
  }
  EXPECT_EQ(Findings("trace.mf4", true), "");
  const MdfDecoder decoded = Decoded("trace.mf4");
  EXPECT_FALSE(decoded.Finalized());
  const unsigned long frames = FramesOf(decoded);
  EXPECT_LE(frames, inserted);
  // All blocks that fitted are there: what is missing waited in two caches or was the block that didn't fit.
  EXPECT_GE(frames + 3UL * 0x200000 / 26, inserted);
  EXPECT_EQ(frames > 0, GetParam() >= 5'000);  // two blocks of data, one of records
}

INSTANTIATE_TEST_SUITE_P(KiB, FullDisk, ::testing::Values(0, 1, 100, 2'100, 5'000, 8'193, 12'000, 20'000));

TEST_F(MdfFileFailure, FlushOnAFullDiskFailsAndCanBeRepeated) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  for (unsigned long i = 0; i < 1000; ++i) ASSERT_TRUE(Insert(file, Frame(i)));
  {
    const test::FileSizeLimit full(std::filesystem::file_size("trace.mf4") + 5'000);
    EXPECT_FALSE(file.File_FlushData());
    EXPECT_FALSE(Insert(file, Frame(1000)));
  }
  file.clear();
  EXPECT_TRUE(file.File_FlushData());
  EXPECT_TRUE(file.File_Close(1000));
  EXPECT_EQ(Findings("trace.mf4", true), "");
  EXPECT_EQ(FramesOf(Decoded("trace.mf4")), 1000U);
}

TEST_F(MdfFileFailure, DescriptionsThatCannotBeWrittenKeepTheFileUnfinalized) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  const test::FileSizeLimit full(std::filesystem::file_size("trace.mf4") + 100);
  EXPECT_FALSE(file.File_Close(0));
}

TEST_F(MdfFileFailure, FullDiskAtTheEndOfAFileDoesNotBeginTheNext) {
  MdfFile file("trace", 0, 1);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(file.Write());
  unsigned long inserted = 0;
  const test::FileSizeLimit full(std::filesystem::file_size("trace.mf4") + 0x200000 + 0x10000);
  while (inserted < 200'000 && Insert(file, Frame(inserted))) ++inserted;
  EXPECT_LT(inserted, 200'000U);
  EXPECT_EQ(file.FileName(), "trace.mf4");
  EXPECT_FALSE(file.File_Close(inserted));
  EXPECT_EQ(Findings("trace.mf4", true), "");
}

TEST_F(MdfFileFailure, NextFileThatCannotBeOpenedIsToldAtOnceAndLeavesTheFirstOneWhole) {
  MdfFile file("trace", 0, 2049);  // split at every flush
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  std::filesystem::create_directory("trace_1.mf4");
  EXPECT_FALSE(Insert(file, Frame(0)));  // in the first file; for further ones there is none
  EXPECT_FALSE(file.is_open());
  EXPECT_TRUE(Decoded("trace.mf4").Finalized());
  EXPECT_EQ(FramesOf(Decoded("trace.mf4")), 1U);
  EXPECT_TRUE(Insert(file, Frame(1)));  // collected
  EXPECT_FALSE(file.File_Close(1));
  std::filesystem::remove("trace_1.mf4");
  ASSERT_TRUE(file.File_Open(1));
  ASSERT_TRUE(file.File_Close(2));
  EXPECT_EQ(Decoded("trace_1.mf4").Find("CAN1", "CAN_DataFrame").Count, 1U);
}

/// What a failed write has left in the middle is found and written, although descriptions go on from the end.
TEST_F(MdfFileFailure, DescriptionsThatFailedAreWrittenOnceThereIsRoom) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(Insert(file, Frame(0)));
  ASSERT_TRUE(file.Bus_Add(2, BusType_Lin));
  ASSERT_TRUE(file.Event("first", 2, 4, 1));
  {
    const test::FileSizeLimit full(std::filesystem::file_size("trace.mf4") + 5'000);
    EXPECT_FALSE(Insert(file, Frame(1)));
  }
  file.clear();
  ASSERT_TRUE(file.Event("second", 2, 4, 2, 2, BusType_Lin));
  ASSERT_TRUE(file.Bus_Add(3, BusType_Can));
  ASSERT_TRUE(Insert(file, Frame(1)));
  ASSERT_TRUE(file.File_Close(3));
  EXPECT_EQ(Findings("trace.mf4", true), "");
  const MdfDecoder decoded = Decoded("trace.mf4");
  EXPECT_EQ(FramesOf(decoded), 2U);
  EXPECT_EQ(decoded.Groups().size(), 2U + 6U + 2U);
  ASSERT_EQ(decoded.Events().size(), 4U);
  EXPECT_EQ(decoded.Events()[1].Name, "first");
  EXPECT_EQ(decoded.Events()[2].Name, "second");
}

// --- recordings that are cut off ---

/// Every kind of record, and what of it an interrupted file announces.
TEST_F(MdfFileFailure, CopyOfARunningRecordingIsRightUpToItsLastFlush) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  ASSERT_TRUE(file.Bus_Add(1, BusType_Lin));
  ASSERT_TRUE(file.Bus_Add(1, BusType_FlexRay));
  uint64_t lastSize = 0;
  unsigned int copies = 0;
  for (unsigned long number = 0; number < 100'000; ++number) {
    ASSERT_TRUE(Insert(file, Frame(number)));
    ASSERT_TRUE(Insert(file, LinItem().At(number).Data({1, 2}, 3)));
    ASSERT_TRUE(Insert(file, FlexRayItem().At(number).Slot(5).Code(2).Data(test::Bytes(16, 9))));
    const uint64_t size = std::filesystem::file_size("trace.mf4");
    if (size == lastSize) continue;
    lastSize = size;
    ++copies;
    std::filesystem::copy_file("trace.mf4", "copy.mf4", std::filesystem::copy_options::overwrite_existing);
    ASSERT_EQ(Findings("copy.mf4", false), "");
    const MdfDecoder copy = Decoded("copy.mf4");
    ASSERT_FALSE(copy.Finalized());
    const auto& can = copy.Find("CAN1", "CAN_DataFrame");
    // At most two blocks of frames wait in memory.
    ASSERT_GE(can.Count + 2UL * 0x200000 / 26, number);
    if (can.Count != 0) {
      ASSERT_EQ(can.Raw(can.Count - 1, "ID") & 0x1FFFFFFF, can.Count - 1);
      ASSERT_EQ(can.Bytes(can.Count - 1, "DataBytes").size(), 48U);
    }
    const auto& flexray = copy.Find("FLEX1", "FLX_Frame");
    if (flexray.Count != 0) {
      ASSERT_EQ(flexray.Bytes(flexray.Count - 1, "DataBytes"), std::string(16, 9));
    }
  }
  EXPECT_GT(copies, 5U);
  EXPECT_TRUE(file.File_Close(100'000));
  EXPECT_EQ(FramesOf(Decoded("trace.mf4")), 100'000U);
}

TEST_F(MdfFileFailure, KilledRecordingIsReadable) {
  constexpr unsigned long kFrames = 100'000;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    MdfFile file("trace", 0);
    bool done = file.Bus_Add(1, BusType_Can);
    for (unsigned long number = 0; number < kFrames && done; ++number) done = Insert(file, Frame(number));
    kill(getpid(), done ? SIGKILL : SIGTERM);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  ASSERT_EQ(WTERMSIG(status), SIGKILL);
  EXPECT_EQ(Findings("trace.mf4", false), "");
  const MdfDecoder decoded = Decoded("trace.mf4");
  EXPECT_FALSE(decoded.Finalized());
  // What waited in memory is lost: at most a block of records.
  EXPECT_GE(FramesOf(decoded), kFrames - 0x200000 / 26);
}

TEST_F(MdfFileFailure, EveryFlushMakesEverythingReadable) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  for (unsigned long flush = 1; flush <= 9; ++flush) {
    for (unsigned long i = 0; i < 10; ++i) ASSERT_TRUE(Insert(file, Frame(10 * (flush - 1) + i)));
    ASSERT_TRUE(file.File_FlushData());
    EXPECT_EQ(Findings("trace.mf4", false), "");
    EXPECT_EQ(FramesOf(Decoded("trace.mf4")), 10 * flush);
  }
}

}  // namespace
