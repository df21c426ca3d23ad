// The swap file by itself: its index, its snapshots, and what happens when somebody else writes to it or plants something in
// its place.
#include "monitor/SwapFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <numeric>
#include <vector>

#include "internal/Qor_Trace_Exception.h"
#include "support/FileSizeLimit.h"
#include "support/MonitorItems.h"
#include "support/TemporaryDirectory.h"

using namespace test;

namespace {

struct stat StatusOf(const char* name) {
  struct stat status {};
  EXPECT_EQ(lstat(name, &status), 0) << name;
  return status;
}

class Swapping : public testing::Test {
 protected:
  /// Appends records with the times first, first + 1, ...; their lengths differ.
  void Append(unsigned long first, size_t count) {
    Qor_Trace_EntryStore entries;
    for (size_t i = 0; i < count; ++i) {
      entries.push_back(CanItem().At(first + i).Data(Counting((first + i) % 65)).Entry());
    }
    Swap.Append(entries, 0, entries.size(), Written);
  }
  /// Time of the record at an index; ~0 if the walk ends before.
  unsigned long TimeAt(unsigned int index) {
    RecordFileReader reader = Swap.ReadFrom(index, 1);
    const unsigned int length = reader.NextLength();
    Bytes record(length);
    if (length == 0 || !reader.Read(record.data(), length)) return ~0UL;
    return ReadAt<unsigned long>(record, 8);
  }
  /// Changes the file's time of change, as a write by somebody else does.
  void Touch() {
    const timespec times[] = {{1, 0}, {1, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, "swap.bin", times, 0), 0);
  }
  /// A walk over the file ends at its first record from now on. The file looks untouched.
  static void SpoilFirstRecord() {
    const struct stat before = StatusOf("swap.bin");
    const FileDescriptor file("swap.bin", O_WRONLY);
    const unsigned int noLength = 0;
    ASSERT_EQ(pwrite(file.Get(), &noLength, sizeof noLength, 0), static_cast<ssize_t>(sizeof noLength));
    const timespec times[] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(futimens(file.Get(), times), 0);
  }
  /// Times of the records that a snapshot holds.
  static std::vector<unsigned long> TimesIn(const SwapSnapshot& snapshot) {
    RecordFileReader::Memory memory;
    RecordFileReader reader(snapshot.File.Get(), memory);
    std::vector<unsigned long> times;
    while (const unsigned int length = reader.NextLength()) {
      Bytes record(length);
      if (!reader.Read(record.data(), length)) break;
      times.push_back(ReadAt<unsigned long>(record, 8));
    }
    return times;
  }
  static std::vector<unsigned long> TimesFrom(unsigned long first, size_t count) {
    std::vector<unsigned long> times(count);
    std::iota(times.begin(), times.end(), first);
    return times;
  }
  void AppendFails() {
    EXPECT_THROW(Append(0, 3), Qor_Trace_Exception);
    EXPECT_EQ(Written, 0U);
  }

  TemporaryDirectory Directory;
  SwapFile Swap{"swap.bin"};
  unsigned int Written = 0;
};

mode_t PermissionsOf(const char* name) { return StatusOf(name).st_mode & 07777; }

const Bytes kVictim = {'m', 'i', 'n', 'e'};

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

TEST_F(Swapping, RecordIsReadFromThePlaceBeforeItNotFromTheBeginning) {
  Append(0, 1000);
  Append(1000, 2000);
  SpoilFirstRecord();
  EXPECT_EQ(TimeAt(0), ~0UL);
  EXPECT_EQ(TimeAt(2999), 2999U);
  static_cast<void>(Swap.BeginAnew());
  Append(5000, 1000);
  Append(6000, 1000);
  SpoilFirstRecord();
  EXPECT_EQ(TimeAt(0), ~0UL);
  EXPECT_EQ(TimeAt(1999), 6999U);
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
  static_cast<void>(Swap.BeginAnew());
  EXPECT_EQ(TimeAt(0), ~0UL);
  EXPECT_EQ(std::filesystem::file_size("swap.bin"), 0U);
  Append(5000, 2000);
  for (const unsigned int index : {0U, 1023U, 1024U, 1999U}) EXPECT_EQ(TimeAt(index), 5000U + index);
}

TEST_F(Swapping, BeginningAnewMakesAFile) {
  static_cast<void>(Swap.BeginAnew());
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

TEST_F(Swapping, FailureToBeginAnewKeepsTheOldFileAndLeavesNoOther) {
  std::filesystem::create_directory("swap.bin");  // no file can take a folder's place
  EXPECT_THROW(static_cast<void>(Swap.BeginAnew()), Qor_Trace_Exception);
  EXPECT_TRUE(std::filesystem::is_directory("swap.bin"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1);
}

// ---- Snapshots

TEST_F(Swapping, SnapshotWritesNothing) {
  Append(0, 100);
  const SwapSnapshot snapshot = Swap.Snapshot();
  EXPECT_EQ(snapshot.Size, StatusOf("swap.bin").st_size);
  EXPECT_EQ(TimesIn(snapshot), TimesFrom(0, 100));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1);
}

TEST_F(Swapping, CopyIsASecondNameNotTheBytesAgain) {
  Append(0, 100);
  Swap.Snapshot().MakeCopy("swap.bin.bak");
  EXPECT_EQ(StatusOf("swap.bin.bak").st_ino, StatusOf("swap.bin").st_ino);
}

TEST_F(Swapping, CopyReplacesWhatHasItsName) {
  WriteFile("swap.bin.bak", Bytes(100000, 0xAA));
  Append(0, 100);
  Swap.Snapshot().MakeCopy("swap.bin.bak");
  EXPECT_EQ(FileBytes("swap.bin.bak"), FileBytes("swap.bin"));
}

TEST_F(Swapping, CopyIsOfTheSnapshotNotOfALaterFile) {
  Append(0, 100);
  const Bytes before = FileBytes("swap.bin");
  const SwapSnapshot snapshot = Swap.Snapshot();
  const FileDescriptor old = Swap.BeginAnew();
  Append(5000, 10);
  snapshot.MakeCopy("swap.bin.bak");
  EXPECT_EQ(FileBytes("swap.bin.bak"), before);
}

TEST_F(Swapping, SnapshotKeepsItsRecordsWhenTheFileBeginsAnew) {
  Append(0, 100);
  const SwapSnapshot snapshot = Swap.Snapshot();
  static_cast<void>(Swap.BeginAnew());
  Append(5000, 10);
  Swap.Remove();
  EXPECT_EQ(TimesIn(snapshot), TimesFrom(0, 100));
}

TEST_F(Swapping, SnapshotsStandSideBySide) {
  Append(0, 10);
  const SwapSnapshot first = Swap.Snapshot();
  static_cast<void>(Swap.BeginAnew());
  Append(100, 20);
  const SwapSnapshot second = Swap.Snapshot();
  EXPECT_EQ(TimesIn(first), TimesFrom(0, 10));
  EXPECT_EQ(TimesIn(second), TimesFrom(100, 20));
}

TEST_F(Swapping, SnapshotOfAMissingFileIsNotOpenAndLeavesNoOldCopy) {
  WriteFile("swap.bin.bak", Bytes(100, 0xAA));
  const SwapSnapshot snapshot = Swap.Snapshot();
  EXPECT_FALSE(snapshot.File.IsOpen());
  snapshot.MakeCopy("swap.bin.bak");
  EXPECT_FALSE(std::filesystem::exists("swap.bin.bak"));
}

TEST_F(Swapping, OldFileIsHeldUntilTheCallerClosesIt) {
  Append(0, 10);
  const auto inode = StatusOf("swap.bin").st_ino;
  const FileDescriptor old = Swap.BeginAnew();
  struct stat held {};
  ASSERT_EQ(fstat(old.Get(), &held), 0);
  EXPECT_EQ(held.st_ino, inode);
  EXPECT_EQ(held.st_nlink, 0U);
}

// ---- In a folder that others may write to

TEST_F(Swapping, FilesAreTheirOwnersAlone) {
  const mode_t old = umask(0);
  Append(0, 1);
  Swap.Snapshot().MakeCopy("swap.bin.bak");
  EXPECT_EQ(PermissionsOf("swap.bin"), 0600U);
  EXPECT_EQ(PermissionsOf("swap.bin.bak"), 0600U);
  static_cast<void>(Swap.BeginAnew());
  EXPECT_EQ(PermissionsOf("swap.bin"), 0600U);
  umask(old);
}

TEST_F(Swapping, PlantedLinkIsNotWrittenThrough) {
  WriteFile("victim", kVictim);
  std::filesystem::create_symlink("victim", "swap.bin");
  AppendFails();
  EXPECT_EQ(FileBytes("victim"), kVictim);
}

TEST_F(Swapping, PlantedLinkToNothingMakesNoFile) {
  std::filesystem::create_symlink("victim", "swap.bin");
  AppendFails();
  EXPECT_FALSE(std::filesystem::exists("victim"));
}

TEST_F(Swapping, PlantedLinkIsNotReadThrough) {
  Append(0, 10);
  std::filesystem::rename("swap.bin", "victim");
  std::filesystem::create_symlink("victim", "swap.bin");
  EXPECT_EQ(TimeAt(0), ~0UL);
  EXPECT_FALSE(Swap.Snapshot().File.IsOpen());
}

TEST_F(Swapping, PlantedLinkIsReplacedWhenTheFileBeginsAnew) {
  WriteFile("victim", kVictim);
  std::filesystem::create_symlink("victim", "swap.bin");
  static_cast<void>(Swap.BeginAnew());
  EXPECT_EQ(FileBytes("victim"), kVictim);
  Append(0, 10);
  EXPECT_EQ(TimeAt(9), 9U);
}

TEST_F(Swapping, PlantedLinkInTheCopysPlaceIsReplaced) {
  WriteFile("victim", kVictim);
  std::filesystem::create_symlink("victim", "swap.bin.bak");
  Append(0, 10);
  Swap.Snapshot().MakeCopy("swap.bin.bak");
  EXPECT_EQ(FileBytes("victim"), kVictim);
  EXPECT_EQ(FileBytes("swap.bin.bak"), FileBytes("swap.bin"));
}

TEST_F(Swapping, PlantedFifoIsRefusedWithoutWaitingForItsOtherEnd) {
  ASSERT_EQ(mkfifo("swap.bin", 0666), 0);
  AppendFails();
  const FileDescriptor reader("swap.bin", O_RDONLY | O_NONBLOCK);  // now it could be written to
  AppendFails();
  EXPECT_EQ(TimeAt(0), ~0UL);
  EXPECT_FALSE(Swap.Snapshot().File.IsOpen());
}

TEST_F(Swapping, FileOfAnotherUserIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser can give files away";
  Append(0, 10);
  Written = 0;
  const auto size = StatusOf("swap.bin").st_size;
  ASSERT_EQ(chown("swap.bin", 12345, 12345), 0);
  AppendFails();
  EXPECT_EQ(TimeAt(0), ~0UL);
  EXPECT_EQ(StatusOf("swap.bin").st_size, size);
}
