// Outputs whose files are put on the disk while they are written: what is there then can be read, and failures are theirs.
#include "outputs/OutputSync.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>

#include "inputs/RecoveryReader.h"
#include "outputs/OutputSet.h"
#include "support/FailingFiles.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"
#include "system/Compression.h"
#include "system/Failure.h"
#include "system/Mutex.h"
#include "tools/ReadInput.h"

namespace client {
namespace {

namespace fs = std::filesystem;
using test::FailingFiles;

constexpr unsigned long kOnce = 3600'000'000'000;  // ns: the first round is at once, and the next one in an hour
constexpr unsigned long kEntries = 500;

/// Copies what is synchronized: all that a loss of power right then would leave.
class Disk {
 public:
  Disk() {
    const MutexLock lock(Guard);
    Files.clear();
    FailingFiles::WatchSynchronizing(&Disk::Copy);
  }
  ~Disk() { FailingFiles::WatchSynchronizing(nullptr); }
  Disk(const Disk&) = delete;
  Disk& operator=(const Disk&) = delete;

  /// Nothing where there is no such file on the disk.
  [[nodiscard]] static std::optional<Bytes> FileOf(const std::string& name) {
    const MutexLock lock(Guard);
    const auto file = Files.find(name);
    return file != Files.end() ? std::optional(file->second) : std::nullopt;
  }
  /// Names are on the disk once their folder has been synchronized after the files.
  [[nodiscard]] static std::string LatestName() {
    const MutexLock lock(Guard);
    return Latest;
  }

 private:
  static void Copy(int file) {
    const auto path = fs::read_symlink("/proc/self/fd/" + std::to_string(file));
    const bool isFolder = fs::is_directory(path);
    const MutexLock lock(Guard);
    Latest = path;
    if (!isFolder) Files[path.filename()] = test::FileBytes(path);
  }

  static Mutex Guard;
  static std::map<std::string, Bytes> Files GUARDED_BY(Guard);
  static std::string Latest GUARDED_BY(Guard);
};

Mutex Disk::Guard;
std::map<std::string, Bytes> Disk::Files;
std::string Disk::Latest;

OutputPlan PlanOf(const std::vector<std::string>& names, unsigned long interval) {
  OutputPlan plan{PlanOutputs(names, {}, fs::current_path()), {}, {}, {}};
  plan.Sync = interval;
  return plan;
}

Bytes Entry(unsigned long number) {
  return RecordOf(test::CanItem().At(number * 1'000'000).Data({1, static_cast<unsigned char>(number)}));
}

unsigned long RoundsOf(const OutputSet& outputs) { return outputs.SyncJson()["rounds"]; }

/// Pauses until so many rounds have ended.
bool WaitForRounds(OutputSet& outputs, unsigned long rounds) {
  return test::WaitUntil([&] {
    outputs.Pause();
    return RoundsOf(outputs) >= rounds;
  });
}

struct Case {
  const char* Name;
  const char* Part;
};
void PrintTo(const Case& format, std::ostream* out) { *out << format.Name; }

class SyncedOutput : public testing::TestWithParam<Case> {
 protected:
  test::TemporaryDirectory Directory;
};

INSTANTIATE_TEST_SUITE_P(AllFormats, SyncedOutput,
                         testing::Values(Case{"x.bin", "x.bin.part"}, Case{"x.asc", "x.asc.part"},
                                         Case{"x.pcapng", "x.pcapng.part"}, Case{"x.mf4", "x.part.mf4"},
                                         Case{"x.log", "x.log.part"}, Case{"x.ndjson", "x.ndjson.part"},
                                         Case{"x.csv", "x.csv.part"}, Case{"x.bin.gz", "x.bin.gz.part"},
                                         Case{"x.asc.zst", "x.asc.zst.part"}));

/// Records of a file as the disk has it; of rows, the lines with data.
size_t CountIn(const Bytes& file, const std::string& name) {
  if (name.find(".csv") == std::string::npos && name.find(".ndjson") == std::string::npos) {
    test::WriteFile("left", file);
    return ReadToEnd(*OpenDamagedInput("left")).Records.size();
  }
  const auto lines = static_cast<size_t>(std::count(file.begin(), file.end(), '\n'));
  return name.find(".csv") != std::string::npos ? lines - 1 : lines;
}

/// Of several buses, so that a measurement file has many groups; candump text has one.
Bytes Mixed(unsigned long number, const std::string& name) {
  const unsigned long time = number * 1'000'000;
  switch (name == "x.log" ? 0 : number % 4) {
    case 0:
      return RecordOf(test::CanItem().At(time).Data(Bytes(1 + number % 8, 1)));
    case 1:
      return RecordOf(test::LinItem().At(time).Channel(2).Data({1, 2, 3}, 4));
    case 2:
      return RecordOf(test::EthernetItem().At(time).Channel(3).Frame(Bytes(60 + number % 1000, 7)));
    default:
      return RecordOf(test::CanItem().At(time).Fd().Data(Bytes(64, 2)));
  }
}

/// A file of which some pages are as they were and some as they became: all entries that it had must be there, and no damage.
void CheckMix(const Bytes& before, const Bytes& after, unsigned long entries, std::minstd_rand& chance) {
  constexpr size_t kPage = 4096;
  // Pages that the file had are rewritten in any order. It has its new length before the rest of its last page is there, but further
  // pages only after that.
  const size_t mapped = std::min((before.size() + kPage - 1) / kPage * kPage, after.size());
  const bool longer = chance() % 2 == 0;
  const size_t rewritten = longer ? before.size() / kPage * kPage : mapped;
  Bytes mix(after.begin(), after.begin() + static_cast<std::ptrdiff_t>(longer ? after.size() : mapped));
  for (size_t place = 0; place < rewritten; place += kPage) {
    if (chance() % 2 == 0) continue;
    for (size_t at = place; at < std::min(place + kPage, rewritten); ++at)
      mix[at] = at < before.size() ? before[at] : 0;
  }
  test::WriteFile("left.part", mix);
  RecoveryReader reader({"left.part"});
  const ReadOut left = ReadToEnd(reader);
  EXPECT_GE(left.Records.size(), entries);
  EXPECT_EQ(left.Failed, "");
  for (const Finding& finding : left.Found) EXPECT_NE(finding.Kind, FindingKind::Unread) << finding.What;
}

TEST_P(SyncedOutput, WhatCameBeforeARoundCanBeReadFromTheDiskAfterIt) {
  const Disk disk;
  OutputSet outputs(PlanOf({GetParam().Name}, kOnce));
  for (unsigned long number = 1; number <= kEntries; ++number) ASSERT_TRUE(Put(outputs, Entry(number)));
  ASSERT_TRUE(WaitForRounds(outputs, 1));
  const auto file = Disk::FileOf(GetParam().Part);
  ASSERT_TRUE(file);
  EXPECT_EQ(CountIn(*file, GetParam().Name), kEntries);
  EXPECT_EQ(Disk::LatestName(), fs::current_path().string());
}

/// Rows aren't read by the client.
bool IsRead(const std::string& name) {
  return name.find(".csv") == std::string::npos && name.find(".ndjson") == std::string::npos;
}

// A file system may know of bytes that it never got: a file that grows in the middle of a page has its new length at once.
TEST_P(SyncedOutput, ZerosInPlaceOfWhatCameAfterARoundAreNoDamage) {
  if (!IsRead(GetParam().Name)) GTEST_SKIP() << "no input";
  constexpr size_t kPage = 4096;
  const Disk disk;
  OutputSet outputs(PlanOf({GetParam().Name}, kOnce));
  for (unsigned long number = 1; number <= kEntries; ++number) ASSERT_TRUE(Put(outputs, Entry(number)));
  ASSERT_TRUE(WaitForRounds(outputs, 1));
  Bytes file = *Disk::FileOf(GetParam().Part);
  for (const size_t zeros : {size_t{1}, kPage - file.size() % kPage, 2 * kPage}) {
    SCOPED_TRACE(zeros);
    Bytes longer = file;
    longer.resize(file.size() + zeros);
    test::WriteFile("left.part", longer);
    RecoveryReader reader({"left.part"});
    const ReadOut left = ReadToEnd(reader);
    EXPECT_EQ(left.Records.size(), kEntries);
    EXPECT_EQ(left.Failed, "");
    EXPECT_FALSE(left.Found.empty());
    for (const Finding& finding : left.Found) EXPECT_NE(finding.Kind, FindingKind::Unread) << finding.What;
  }
}

// Between two rounds the system may write any of the pages that have changed, and the power cut may come then.
TEST_P(SyncedOutput, WhatIsOnTheDiskStaysReadableWhicheverPagesReachItNext) {
  if (!IsRead(GetParam().Name) || CompressionOf(GetParam().Name) != Compression::None) GTEST_SKIP() << "only grows";
  const Disk disk;
  OutputSet outputs(PlanOf({GetParam().Name}, 1));
  std::minstd_rand chance(1);
  unsigned long number = 0, rounds = 0, counted = 0;
  Bytes before;
  for (int step = 0; step < 60; ++step) {
    for (const unsigned long end = number + 1 + chance() % 40; number < end; ++number)
      ASSERT_TRUE(Put(outputs, Mixed(number, GetParam().Name)));
    ASSERT_TRUE(WaitForRounds(outputs, rounds = RoundsOf(outputs) + 2));  // the second one began after the entries came
    const Bytes after = *Disk::FileOf(GetParam().Part);
    if (step > 0) {
      for (int mix = 0; mix < 8; ++mix) CheckMix(before, after, counted, chance);
    }
    before = after;
    counted = number;
  }
}

TEST_P(SyncedOutput, NameOfACompleteFileIsOnTheDisk) {
  const Disk disk;
  OutputSet outputs(PlanOf({GetParam().Name}, kOnce));
  ASSERT_TRUE(Put(outputs, Entry(1)));
  outputs.Finish({});
  EXPECT_EQ(outputs.Errors().size(), 0u);
  EXPECT_EQ(Disk::LatestName(), fs::current_path().string());
}

TEST_P(SyncedOutput, DiskThatDoesNotKeepWhatItTookEndsTheOutputWithItsReason) {
  OutputSet outputs(PlanOf({GetParam().Name}, 1));
  ASSERT_TRUE(Put(outputs, Entry(1)));
  {
    const FailingFiles failing("fdatasync");
    ASSERT_TRUE(test::WaitUntil([&] {
      outputs.Pause();
      return !outputs.Errors().empty();
    }));
  }
  const std::string path = (fs::current_path() / GetParam().Name).string();
  EXPECT_EQ(outputs.Errors()[0].find("Cannot put \"" + path +
                                     "\" on the disk: No space left on device. What the disk has "
                                     "kept is in \"" +
                                     (fs::current_path() / GetParam().Part).string() + "\""),
            0u)
      << outputs.Errors()[0];
  EXPECT_NE(outputs.Errors()[0].find("It ended at entry 1 of the trace"), std::string::npos);
  EXPECT_FALSE(Put(outputs, Entry(2)));  // it was the only one
  outputs.Finish({});
  EXPECT_EQ(outputs.Errors().size(), 1u);
  EXPECT_EQ(outputs.Json()[0]["complete"], false);
  EXPECT_TRUE(fs::exists(GetParam().Part));
}

class SyncedOutputs : public testing::Test {
 protected:
  test::TemporaryDirectory Directory;
};

/// What it says.
std::vector<std::string> RecordOneRound(const char* name) {
  try {
    OutputSet outputs(PlanOf({name}, kOnce));
    Put(outputs, Entry(1));
    EXPECT_TRUE(WaitForRounds(outputs, 1));
    outputs.Finish({});
    return outputs.Errors();
  } catch (const Failure& failure) {
    return {failure.what()};
  }
}

TEST_F(SyncedOutputs, OneThatIsNotKeptLeavesTheOthersWhole) {
  OutputSet outputs(PlanOf({"a.asc", "b.asc"}, 1));
  ASSERT_TRUE(Put(outputs, Entry(1)));
  ASSERT_TRUE(WaitForRounds(outputs, 1));
  {
    const FailingFiles failing("fdatasync", FailingFiles::Once);
    ASSERT_TRUE(test::WaitUntil([&] {
      outputs.Pause();
      return !outputs.Errors().empty();
    }));
  }
  EXPECT_TRUE(Put(outputs, Entry(2)));
  outputs.Finish({});
  EXPECT_EQ(outputs.Errors().size(), 1u);
  EXPECT_EQ(fs::exists("a.asc") + fs::exists("b.asc"), 1);
}

TEST_F(SyncedOutputs, DiskThatDoesNotAnswerHoldsUpNoEntry) {
  static std::atomic<bool> hangs, goesOn;
  hangs = goesOn = false;
  FailingFiles::WatchSynchronizing([](int) {
    hangs = true;
    (void)test::WaitUntil([] { return goesOn.load(); });
  });
  OutputSet outputs(PlanOf({"a.bin", "b.mf4", "c.asc.gz"}, 1));
  ASSERT_TRUE(Put(outputs, Entry(1)));
  outputs.Pause();
  ASSERT_TRUE(test::WaitUntil([] { return hangs.load(); }));
  for (unsigned long number = 2; number < 100'000; ++number) ASSERT_TRUE(Put(outputs, Entry(number)));
  outputs.Pause();
  EXPECT_EQ(RoundsOf(outputs), 0u);  // and no other one was begun
  goesOn = true;
  outputs.Finish({});
  FailingFiles::WatchSynchronizing(nullptr);
  EXPECT_EQ(outputs.Errors().size(), 0u);
  EXPECT_GE(RoundsOf(outputs), 1u);
}

TEST_F(SyncedOutputs, RoundsComeWithoutAPauseAsWell) {
  OutputSet outputs(PlanOf({"a.bin"}, 1));
  unsigned long number = 0;
  ASSERT_TRUE(test::WaitUntil([&] {
    for (unsigned long end = number + 4096; number < end; ++number)
      if (!Put(outputs, Entry(number))) return true;
    return RoundsOf(outputs) >= 2;
  }));
  EXPECT_EQ(outputs.Errors().size(), 0u);
}

TEST_F(SyncedOutputs, WithoutAnIntervalNothingIsSynchronizedBeforeTheEnd) {
  const Disk disk;
  OutputSet outputs({PlanOutputs({"a.bin"}, {}, fs::current_path()), {}, {}, {}});
  ASSERT_TRUE(Put(outputs, Entry(1)));
  outputs.Pause();
  EXPECT_EQ(Disk::LatestName(), "");
  EXPECT_TRUE(outputs.SyncJson().is_null());
  outputs.Finish({});
  EXPECT_NE(Disk::LatestName(), "");
}

TEST_F(SyncedOutputs, EachCallThatFailsIsToldAndSoAreNamesThatAreNotOnTheDisk) {
  unsigned long number = 1, namesTold = 0;
  for (bool failed = true; failed; ++number) {
    SCOPED_TRACE(number);
    for (const char* name : {"a.asc", "a.asc.part"}) fs::remove(name);
    const FailingFiles failing(number, FailingFiles::Refused, FailingFiles::Once);
    const std::vector<std::string> errors = RecordOneRound("a.asc");
    failed = failing.HasFailed();
    SCOPED_TRACE(failing.What());
    const bool synchronizing = failing.What() == "fdatasync" || failing.What() == "fsync";
    EXPECT_TRUE(!synchronizing || !errors.empty());
    if (errors.empty() || errors[0].find("Cannot put the names of the outputs") != 0) continue;
    ++namesTold;
    EXPECT_TRUE(fs::exists("a.asc"));
  }
  EXPECT_GE(namesTold, 2u);  // the folder can't be opened, or not synchronized
}

// ---- How long it took -------------------------------------------------------------------------------------------------

TEST(OutputSyncTimes, NoRoundIsDueWhileOneIsUnderWay) {
  OutputSync sync(std::chrono::nanoseconds(1));
  ASSERT_TRUE(sync.IsDue());
  sync.Begin({});
  EXPECT_FALSE(sync.IsDue());
  EXPECT_EQ(sync.LastErrors(), std::vector<int>());
  EXPECT_TRUE(sync.IsDue());
}

TEST(OutputSyncTimes, LongestWaitIsToldWhereItIsMuchLongerThanTheInterval) {
  OutputSync fast(std::chrono::hours(1)), slow(std::chrono::nanoseconds(1));
  for (OutputSync* sync : {&fast, &slow}) {
    EXPECT_EQ(sync->Text(), "");
    sync->Begin({});
    (void)sync->LastErrors();
    EXPECT_EQ(sync->Json()["rounds"], 1);
    EXPECT_GT(sync->Json()["longest_wait_ns"], 0);
  }
  EXPECT_EQ(fast.Text(), "");
  EXPECT_EQ(fast.Json()["interval_ns"], 3600'000'000'000);
  EXPECT_EQ(slow.Text().find("The disk was slow: it took up to 0.0 s until what was recorded was on it"), 0u);
}

}  // namespace
}  // namespace client
