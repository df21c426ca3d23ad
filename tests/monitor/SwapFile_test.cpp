// The swap file by itself: its index, and what happens when somebody else writes to it.
#include "monitor/SwapFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "internal/Qor_Trace_Exception.h"
#include "support/FileSizeLimit.h"
#include "support/MonitorItems.h"
#include "support/TemporaryDirectory.h"

using namespace test;

namespace {

class Swapping : public testing::Test {
 protected:
  /// Appends records with the times first, first + 1, ...; their lengths differ.
  void Append(unsigned long first, size_t count) {
    Qor_Trace_EntryStore entries;
    for (size_t i = 0; i < count; ++i) {
      entries.push_back(CanItem().At(first + i).Data(Counting((first + i) % 65)).Entry());
    }
    Swap.Append(entries, Written);
  }
  /// Time of the record at an index; ~0 if the walk ends before.
  unsigned long TimeAt(unsigned int index) {
    RecordFileReader reader = Swap.ReadFrom(index);
    const unsigned int length = reader.NextLength();
    Bytes record(length);
    if (length == 0 || !reader.Read(record.data(), length)) return ~0UL;
    return ReadAt<unsigned long>(record, 8);
  }
  /// Gives the file another time of change, as a write by somebody else does.
  void Touch() {
    const timespec times[] = {{1, 0}, {1, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, Swap.Name().c_str(), times, 0), 0);
  }

  TemporaryDirectory Directory;
  SwapFile Swap{"swap.bin"};
  unsigned int Written = 0;
};

}  // namespace

TEST_F(Swapping, EveryRecordIsFoundByItsIndex) {
  Append(0, 1000);
  Append(1000, 24);
  Append(1024, 1);
  Append(1025, 3000);
  EXPECT_EQ(Written, 4025U);
  for (unsigned int index = 0; index < 4025; ++index) ASSERT_EQ(TimeAt(index), index);
  EXPECT_EQ(TimeAt(4025), ~0UL);
  EXPECT_EQ(TimeAt(0xFFFFFFFF), ~0UL);
}

TEST_F(Swapping, MissingFileHasNoRecords) {
  EXPECT_EQ(TimeAt(0), ~0UL);
  Append(0, 10);
  std::filesystem::remove("swap.bin");
  EXPECT_EQ(TimeAt(0), ~0UL);
}

TEST_F(Swapping, TouchedFileIsWalkedFromItsBeginning) {
  Append(0, 3000);
  // The same bytes, but for one record less in front: the places of the index are wrong now.
  const Bytes whole = FileBytes("swap.bin");
  WriteFile("swap.bin", Bytes(whole.begin() + 44, whole.end()));
  for (const unsigned int index : {0U, 1023U, 1024U, 2048U, 2998U}) EXPECT_EQ(TimeAt(index), index + 1);
  EXPECT_EQ(TimeAt(2999), ~0UL);
}

TEST_F(Swapping, FileOfTheSameSizeWithOtherRecordsIsWalkedToo) {
  Append(0, 3000);
  const auto size = std::filesystem::file_size("swap.bin");
  Bytes other;
  for (unsigned long time = 0; other.size() < size; ++time) {
    test::Append(other, RecordOf(BusType_Can, 1, Frame(1).At(7000 + time)));
  }
  other.resize(size);
  WriteFile("swap.bin", other);
  Touch();
  for (const unsigned int index : {0U, 1024U, 2048U, 2500U}) EXPECT_EQ(TimeAt(index), 7000U + index);
}

TEST_F(Swapping, AppendsBehindWhatSomebodyElseWrote) {
  Append(0, 1500);
  Bytes bytes = FileBytes("swap.bin");
  test::Append(bytes, RecordOf(BusType_Can, 1, Frame(1).At(9999)));
  WriteFile("swap.bin", bytes);
  Append(1500, 1500);
  EXPECT_EQ(TimeAt(1499), 1499U);
  EXPECT_EQ(TimeAt(1500), 9999U);
  EXPECT_EQ(TimeAt(1501), 1500U);
  EXPECT_EQ(TimeAt(3000), 2999U);
}

TEST_F(Swapping, ReplacedFileIsWalked) {
  Append(0, 3000);
  std::filesystem::copy_file("swap.bin", "copy.bin");
  std::filesystem::rename("copy.bin", "swap.bin");
  EXPECT_EQ(TimeAt(2999), 2999U);
  Append(3000, 10);
  EXPECT_EQ(TimeAt(3009), 3009U);
}

TEST_F(Swapping, EmptiedFileBeginsAnew) {
  Append(0, 3000);
  Swap.Truncate();
  EXPECT_EQ(TimeAt(0), ~0UL);
  EXPECT_EQ(std::filesystem::file_size("swap.bin"), 0U);
  Append(5000, 2000);
  for (const unsigned int index : {0U, 1023U, 1024U, 1999U}) EXPECT_EQ(TimeAt(index), 5000U + index);
}

TEST_F(Swapping, TruncateMakesAFile) {
  Swap.Truncate();
  EXPECT_TRUE(std::filesystem::exists("swap.bin"));
  Swap.Remove();
  EXPECT_FALSE(std::filesystem::exists("swap.bin"));
  Swap.Remove();  // a second time doesn't matter
}

TEST_F(Swapping, CutRecordIsTakenOffTheFile) {
  // The records 0 to 2 have 44 + 45 + 46 bytes.
  const FileSizeLimit full(44 + 45 + 46 - 1);
  EXPECT_THROW(Append(0, 3), Qor_Trace_Exception);
  EXPECT_EQ(Written, 2U);
  EXPECT_EQ(std::filesystem::file_size("swap.bin"), 44U + 45U);
}

TEST_F(Swapping, IndexHoldsAfterAFailure) {
  Append(0, 2000);
  const auto size = std::filesystem::file_size("swap.bin");
  {
    const FileSizeLimit full(size + 30000);
    EXPECT_THROW(Append(2000, 2000), Qor_Trace_Exception);
  }
  const unsigned int whole = Written;
  EXPECT_GT(whole, 2000U);
  EXPECT_LT(whole, 4000U);
  Append(whole, 2000);
  for (unsigned int index = 0; index < whole + 2000; index += 97) ASSERT_EQ(TimeAt(index), index);
}

TEST_F(Swapping, CopyReplacesWhatIsThere) {
  Append(0, 100);
  WriteFile("copy.bin", Bytes(100000, 0xAA));
  EXPECT_TRUE(Swap.CopyTo("copy.bin"));
  EXPECT_EQ(FileBytes("copy.bin"), FileBytes("swap.bin"));
}

TEST_F(Swapping, CopyOfAMissingFileLeavesNoOldCopy) {
  WriteFile("copy.bin", Bytes(100, 0xAA));
  EXPECT_FALSE(Swap.CopyTo("copy.bin"));
  EXPECT_EQ(FileBytes("copy.bin"), Bytes());
}

TEST_F(Swapping, CopyToAFullDiskFails) {
  Append(0, 1000);
  const FileSizeLimit full(1000);
  EXPECT_FALSE(Swap.CopyTo("copy.bin"));
}
