// Measurement files whose data are packed by worker threads: the same files, and nobody waits who needn't.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/FileSizeLimit.h"
#include "support/HeldWorkers.h"
#include "support/MdfDecoder.h"
#include "support/MdfEntries.h"
#include "support/MdfFiles.h"
#include "support/ProcessThreads.h"
#include "support/StrictMdfReader.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

namespace {

using test::CanItem;
using test::FlexRayItem;
using test::HeldWorkers;
using test::LinItem;

constexpr size_t kTimestamp = offsetof(Qor_Trace_Entry_t, Timestamp);
constexpr unsigned long kBlock = 0x200000;  // bytes
constexpr unsigned long kQueued = 5;        // blocks that two workers have in their queue at most

/// An entry that is inserted over and over, with new data that can't be packed.
class Repeated {
 public:
  template <class Item>
  Repeated(const Item& item, size_t data, size_t size) : Entry(*item.Entry()), Data(data), Size(size) {}

  [[nodiscard]] bool InsertAt(MdfFile& file, unsigned long time) {
    Entry.Put(kTimestamp, time);
    for (size_t at = 0; at < Size; at += sizeof Random) {
      Random ^= Random << 13;
      Random ^= Random >> 7;
      Random ^= Random << 17;
      Entry.Put(Data + at, Random);
    }
    return file.Data_Insert(test::Entry(Entry));
  }

  test::Record Entry;

 private:
  size_t Data;  // offset of the data that are replaced
  size_t Size;
  uint64_t Random = 88172645463325252;
};

Repeated CanFrames() {
  const auto frame = CanItem().Id(0x123).Extended().Fd().Data(test::Bytes(64, 9));
  return {frame, offsetof(Qor_Trace_Entry_t, Payload.Can.Data), 64};
}

std::string Findings(const std::string& contents, StrictMdfReader::Options options = {}) {
  StrictMdfReader reader(contents, options);
  reader.ReadFile();
  return reader.Report();
}

/// All that were announced are there, one after the other.
unsigned long FramesOf(const std::string& path) {
  const MdfDecoder decoded(StrictMdfReader::Load(path));
  const auto& group = decoded.Find("CAN1", "CAN_DataFrame");
  for (uint64_t record = 0; record < group.Count; ++record) {
    EXPECT_EQ(group.Raw(record, "t"), record);
    EXPECT_EQ(group.Bytes(record, "DataBytes").size(), 64U);
  }
  return group.Count;
}

/// A drive on three buses as a series of files.
struct Drive {
  BusConvention Convention = BusConvention::kExported;
  unsigned int LimitKiB = 0;
  unsigned int LaterLimitKiB = 0;       // 0: the limit doesn't change
  std::vector<unsigned int> Workers{};  // one number after the other, for the same number of entries each
};

constexpr unsigned long kEntries = 120'000;
constexpr unsigned long kEachBus = 3;

/// The files of the drive, with whatever goes to a file beside its records: marks of losses, an event, a bus that is added, a
/// flush.
std::vector<std::string> Record(const Drive& drive) {
  Repeated can = CanFrames();
  Repeated lin{LinItem().Id(7).Data(test::Bytes(8, 1), 3), offsetof(Qor_Trace_Entry_t, Payload.Lin.Data), 8};
  Repeated flexRay{FlexRayItem().Slot(9).Data(test::Bytes(254, 3)), offsetof(Qor_Trace_Entry_t, Payload.FlexRay.Data),
                   248};
  Repeated* const buses[kEachBus] = {&can, &lin, &flexRay};
  MdfFile file("drive", 0, drive.LimitKiB);
  bool done = file.Convention_Set(drive.Convention) && file.Bus_Add(1, BusType_Can) && file.Bus_Add(1, BusType_FlexRay);
  const unsigned long share = kEntries / drive.Workers.size();
  for (unsigned long i = 0; i < kEntries && done; ++i) {
    if (i % share == 0) done = file.Workers_Set(drive.Workers[i / share]);
    if (i == 1) done = done && file.Bus_Add(1, BusType_Lin);
    if (i == kEntries / 3) done = done && file.Event("mark", 2, 4, i, 1, BusType_Can);
    if (i == kEntries / 2 && drive.LaterLimitKiB != 0) file.File_SetMaxSize(drive.LaterLimitKiB);
    if (i == kEntries / 8 * 7) done = done && file.File_FlushData();
    const bool last = i % 30'000 == 0;  // before a loss
    can.Entry.Put<unsigned char>(offsetof(Qor_Trace_Entry_t, Payload.Can.Flags),
                                 QOR_TRACE_CAN_FD | (last ? QOR_TRACE_CAN_OVERRUN : 0));
    done = done && buses[i % kEachBus]->InsertAt(file, 100'000 * i);
  }
  EXPECT_TRUE(done && file.File_Close(100'000 * kEntries));
  std::vector<std::string> contents;
  for (unsigned int number = 0;; ++number) {
    const std::string name = number == 0 ? "drive.mf4" : "drive_" + std::to_string(number) + ".mf4";
    if (!std::filesystem::exists(name)) return contents;
    contents.push_back(StrictMdfReader::Load(name));
    std::filesystem::remove(name);
  }
}

void ExpectSame(const std::vector<std::string>& actual, const std::vector<std::string>& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (size_t file = 0; file < actual.size(); ++file) EXPECT_TRUE(SameBytes(actual[file], expected[file])) << file;
}

class MdfWorkers : public ::testing::Test {
 protected:
  /// A file with a CAN bus that two workers pack for, and one frame, so that all descriptions are in the file.
  MdfWorkers() {
    EXPECT_TRUE(File.Bus_Add(1, BusType_Can));
    EXPECT_TRUE(File.Workers_Set(2));
    Insert(1);
  }

  /// Up to `count` further frames, as long as they are taken.
  void Insert(unsigned long count) {
    for (; count > 0 && Frames.InsertAt(File, Taken); --count) ++Taken;
  }
  [[nodiscard]] static uintmax_t Size() { return std::filesystem::file_size("trace.mf4"); }

  /// Three blocks of data and one of records, less than the queue takes.
  static constexpr unsigned long kFourBlocks = 100'000;

  test::TemporaryDirectory Directory;
  Repeated Frames = CanFrames();
  MdfFile File{"trace", 0};
  std::atomic<unsigned long> Taken = 0;
};

class MdfWorkersSeries : public ::testing::TestWithParam<std::tuple<BusConvention, unsigned int>> {
 protected:
  test::TemporaryDirectory Directory;
};

// No limit; a file for each block that goes out; files of several blocks.
INSTANTIATE_TEST_SUITE_P(Limits, MdfWorkersSeries,
                         testing::Combine(testing::Values(BusConvention::kExported, BusConvention::kStandard),
                                          testing::Values(0U, 2049U, 6000U)));

}  // namespace

TEST_P(MdfWorkersSeries, HasTheBytesThatItHasWithoutWorkers) {
  Drive drive{std::get<0>(GetParam()), std::get<1>(GetParam())};
  drive.Workers = {0};
  const auto expected = Record(drive);
  EXPECT_EQ(expected.size() > 1, drive.LimitKiB != 0);
  for (const unsigned int workers : {1U, 2U, 3U}) {
    SCOPED_TRACE(workers);
    drive.Workers = {workers};
    ExpectSame(Record(drive), expected);
  }
}

TEST_F(MdfWorkers, MayComeAndGoWhileRecording) {
  const auto expected = Record({.Workers = {0}});
  ExpectSame(Record({.Workers = {2, 0, 1, 3}}), expected);
}

TEST_F(MdfWorkers, LimitThatChangesSplitsWhereItDidWithoutThem) {
  const auto expected = Record({.LimitKiB = 20'000, .LaterLimitKiB = 2600, .Workers = {0}});
  EXPECT_GT(expected.size(), 2U);
  ExpectSame(Record({.LimitKiB = 20'000, .LaterLimitKiB = 2600, .Workers = {2}}), expected);
}

TEST_F(MdfWorkers, CallerGoesOnWhileTheyPack) {
  const HeldWorkers held;
  const uintmax_t before = Size();
  Insert(kFourBlocks);
  EXPECT_EQ(Taken, kFourBlocks + 1);
  ASSERT_TRUE(HeldWorkers::WaitUntilHeld(2));
  EXPECT_EQ(Size(), before) << "no block can have been packed";
  HeldWorkers::Release();
  EXPECT_TRUE(File.File_Close(Taken));
  EXPECT_EQ(Findings(StrictMdfReader::Load("trace.mf4")), "");
  EXPECT_EQ(FramesOf("trace.mf4"), Taken);
}

TEST_F(MdfWorkers, BlockThatIsPackedGoesOutWithTheNextRecord) {
  const uintmax_t before = Size();
  Insert(kBlock / 68);
  EXPECT_TRUE(test::WaitUntil([&] {
    Insert(1);
    return Size() > before;
  }));
  EXPECT_GT(Size(), before + kBlock / 2);
  EXPECT_EQ(Findings(StrictMdfReader::Load("trace.mf4"), {false, true, false}), "");
}

/// The queue and the blocks that are being filled hold so many frames; after them the caller waits.
TEST_F(MdfWorkers, FullQueueIsWaitedFor) {
  constexpr unsigned long kLeast = 4 * kBlock / 68;
  constexpr unsigned long kMost = (kQueued + 1) * kBlock / 68;
  const HeldWorkers held;
  std::thread recording([this] { Insert(2 * kMost); });
  EXPECT_TRUE(test::WaitUntil([this] { return Taken >= kLeast; }));
  EXPECT_LE(Taken, kMost);
  HeldWorkers::Release();
  recording.join();
  EXPECT_EQ(Taken, 2 * kMost + 1);
  EXPECT_TRUE(File.File_Close(Taken));
  EXPECT_EQ(FramesOf("trace.mf4"), Taken);
}

TEST_F(MdfWorkers, FlushAndCloseWaitForTheQueue) {
  for (const bool close : {false, true}) {
    const HeldWorkers held;
    Insert(kFourBlocks);
    std::thread releasing([] {
      EXPECT_TRUE(HeldWorkers::WaitUntilHeld(2));
      HeldWorkers::Release();
    });
    EXPECT_TRUE(close ? File.File_Close(Taken) : File.File_FlushData());
    releasing.join();
    EXPECT_EQ(Findings(StrictMdfReader::Load("trace.mf4"), {close, !close, false}), "");
    EXPECT_EQ(FramesOf("trace.mf4"), Taken);
  }
}

TEST_F(MdfWorkers, FileThatIsDestroyedWhileItsQueueIsFullKeepsAllRecords) {
  unsigned long taken = 0;
  std::thread releasing;
  {
    const HeldWorkers held;
    MdfFile file("other", 0);
    ASSERT_TRUE(file.Workers_Set(2));
    ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
    while (taken < kFourBlocks && Frames.InsertAt(file, taken)) ++taken;
    releasing = std::thread([] {
      EXPECT_TRUE(HeldWorkers::WaitUntilHeld(2));
      HeldWorkers::Release();
    });
  }
  releasing.join();
  EXPECT_EQ(taken, kFourBlocks);
  EXPECT_EQ(Findings(StrictMdfReader::Load("other.mf4"), {false, true, false}), "");
  EXPECT_EQ(FramesOf("other.mf4"), taken);
}

TEST_F(MdfWorkers, DescriptionsComeAfterTheDataThatWereBeforeThem) {
  const HeldWorkers held;
  const uintmax_t before = Size();
  Insert(kFourBlocks);
  ASSERT_TRUE(File.Event("mark", 2, 4, 1));
  std::thread releasing([] {
    EXPECT_TRUE(HeldWorkers::WaitUntilHeld(2));
    HeldWorkers::Release();
  });
  Insert(1);
  releasing.join();
  EXPECT_GT(Size(), before + 2 * kBlock);
}

/// KiB of room after the descriptions.
class MdfWorkersOnAFullDisk : public MdfWorkers, public ::testing::WithParamInterface<rlim_t> {};
INSTANTIATE_TEST_SUITE_P(KiB, MdfWorkersOnAFullDisk, ::testing::Values(0, 100, 5'000, 12'000));

TEST_P(MdfWorkersOnAFullDisk, TellItAndLoseNothingThatWasTaken) {
  {
    const test::FileSizeLimit full(Size() + GetParam() * 1024);
    Insert(1'000'000);
    EXPECT_LT(Taken, 1'000'000U);
    EXPECT_FALSE(File.good());
    EXPECT_FALSE(File.File_FlushData());
    EXPECT_EQ(Findings(StrictMdfReader::Load("trace.mf4"), {false, true, true}), "");
    EXPECT_LE(Taken - FramesOf("trace.mf4"), (kQueued + 2) * kBlock / 26) << "more than memory is allowed to hold";
  }
  File.clear();
  EXPECT_TRUE(File.File_FlushData());
  Insert(kFourBlocks);
  EXPECT_TRUE(File.File_Close(Taken));
  EXPECT_EQ(FramesOf("trace.mf4"), Taken);
}

TEST_P(MdfWorkersOnAFullDisk, NextFileBeginsWithoutWhatCouldNotBeWritten) {
  {
    const test::FileSizeLimit full(Size() + GetParam() * 1024);
    Insert(1'000'000);
    EXPECT_FALSE(File.File_Close(Taken));
  }
  EXPECT_FALSE(File.is_open());
  ASSERT_TRUE(File.File_Open(Taken));
  Taken = 0;
  Insert(kFourBlocks);
  EXPECT_TRUE(File.File_Close(Taken));
  EXPECT_EQ(Findings(StrictMdfReader::Load("trace.mf4")), "");
  EXPECT_EQ(FramesOf("trace.mf4"), kFourBlocks);
}

TEST_P(MdfWorkersOnAFullDisk, MayBeDestroyedAfterAnException) {
  const test::FileSizeLimit full(Size() + GetParam() * 1024);
  {
    MdfFile file("other", 0);
    ASSERT_TRUE(file.Workers_Set(2));
    ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
    file.exceptions(std::ios_base::failbit | std::ios_base::badbit);
    EXPECT_THROW(while (Frames.InsertAt(file, 0)){}, std::ios_base::failure);
  }
  EXPECT_EQ(Findings(StrictMdfReader::Load("other.mf4"), {false, true, true}), "");
}

TEST_F(MdfWorkers, ThatCannotBeStartedLeaveTheFileAsItWas) {
  for (const unsigned int left : {0U, 1U}) {
    const test::NoMoreThreads none(left);
    EXPECT_FALSE(File.Workers_Set(3));
  }
  Insert(kFourBlocks);
  EXPECT_TRUE(File.File_Close(Taken));
  EXPECT_EQ(FramesOf("trace.mf4"), Taken);
}

TEST_F(MdfWorkers, AreRefusedWhileTheirDataCannotBeWritten) {
  const test::FileSizeLimit full(Size());
  Insert(1'000'000);
  EXPECT_FALSE(File.Workers_Set(0));
}

TEST_F(MdfWorkers, TakeNoSignalsAndEndWithTheFile) {
  const std::set<pid_t> before = test::Threads();
  {
    MdfFile file("other", 0);
    ASSERT_TRUE(file.Workers_Set(2));
    std::set<pid_t> workers = test::Threads();
    for (const pid_t thread : before) workers.erase(thread);
    EXPECT_EQ(workers.size(), 2U);
    for (const pid_t worker : workers) {
      EXPECT_TRUE(test::WaitUntil([&] { return test::Blocked(worker) == test::kEverySignal; }));
    }
  }
  EXPECT_TRUE(test::WaitUntil([&] { return std::ranges::includes(before, test::Threads()); }));
}
