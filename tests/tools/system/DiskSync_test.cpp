#include "system/DiskSync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <vector>

#include "support/FailingFiles.h"
#include "support/TemporaryDirectory.h"
#include "system/PartFile.h"

namespace client {
namespace {

using test::FailingFiles;
using Errors = std::vector<int>;

class DiskSyncTest : public testing::Test {
 protected:
  test::TemporaryDirectory Directory;
  DiskSync Disk;
};

TEST_F(DiskSyncTest, RoundWithoutFailureHasNoErrors) {
  const PartFile one("one.bin"), other("other.bin");
  EXPECT_FALSE(Disk.TakeResult());
  Disk.Begin({{one.Written(), other.Written()}, {}, {other.Written()}});
  const auto result = Disk.WaitForResult();
  ASSERT_TRUE(result);
  EXPECT_EQ(result->Errors, Errors({0, 0, 0}));
  EXPECT_FALSE(Disk.TakeResult());
}

TEST_F(DiskSyncTest, FailuresAreThoseOfTheOutputsWhoseFilesTheyAre) {
  const PartFile one("one.bin"), other("other.bin"), last("last.bin");
  Disk.Begin({{one.Written()}, {other.Written()}, {last.Written()}});
  ASSERT_EQ(Disk.WaitForResult()->Errors, Errors({0, 0, 0}));
  const FailingFiles second(2, FailingFiles::Refused, FailingFiles::Once);  // of the calls that follow
  Disk.Begin({{one.Written()}, {other.Written()}, {last.Written()}});
  EXPECT_EQ(Disk.WaitForResult()->Errors, Errors({0, ENOSPC, 0}));
}

TEST_F(DiskSyncTest, FolderThatFailsIsAFailureOfAllOutputsInIt) {
  const PartFile one("one.bin"), other("other.bin");
  WrittenFile elsewhere = other.Written();
  elsewhere.Folder = "missing";
  Disk.Begin({{one.Written()}, {one.Written(), elsewhere}, {elsewhere}});
  EXPECT_EQ(Disk.WaitForResult()->Errors, Errors({0, ENOENT, ENOENT}));
  const FailingFiles folders("fsync");
  Disk.Begin({{one.Written()}, {other.Written()}});
  EXPECT_EQ(Disk.WaitForResult()->Errors, Errors({ENOSPC, ENOSPC}));
}

TEST_F(DiskSyncTest, RoundWaitsForBytesThatAreOnTheirWayAndNobodyElseDoes) {
  std::promise<void> writing;
  const PartFile part("one.bin");
  WrittenFile file = part.Written();
  file.HandedOver = writing.get_future().share();
  Disk.Begin({{file}});
  EXPECT_FALSE(Disk.TakeResult());  // it can't have ended
  writing.set_value();
  EXPECT_EQ(Disk.WaitForResult()->Errors, Errors({0}));
}

TEST_F(DiskSyncTest, FileThatIsClosedMeanwhileIsPutOnTheDiskAllTheSame) {
  std::promise<void> writing;
  {
    const PartFile part("one.bin");
    WrittenFile file = part.Written();
    file.HandedOver = writing.get_future().share();
    Disk.Begin({{file}});
  }
  writing.set_value();
  EXPECT_EQ(Disk.WaitForResult()->Errors, Errors({0}));
}

TEST(DiskSyncEnd, WaitsForTheRoundThatIsUnderWay) {
  static std::atomic<bool> synchronized;
  synchronized = false;
  FailingFiles::WatchSynchronizing([](int) { synchronized = true; });
  const test::TemporaryDirectory directory;
  const PartFile part("one.bin");
  {
    DiskSync disk;
    disk.Begin({{part.Written()}});
  }
  FailingFiles::WatchSynchronizing(nullptr);
  EXPECT_TRUE(synchronized);
}

}  // namespace
}  // namespace client
