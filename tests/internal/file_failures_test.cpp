// Writes that the operating system doesn't do.
#include <gtest/gtest.h>

#include <cerrno>

#include "internal/FileDescriptor.h"
#include "support/FailingFiles.h"
#include "support/FileSizeLimit.h"
#include "support/MonitorItems.h"
#include "support/TemporaryDirectory.h"

namespace {

using test::FailingFiles;

class FailingWrites : public testing::Test {
 protected:
  /// @param errorBefore  what an earlier call left in errno
  size_t Write(int errorBefore) {
    errno = errorBefore;
    return WriteAll(File.Get(), Bytes.data(), Bytes.size());
  }

  test::TemporaryDirectory Directory;
  FileDescriptor File{"file", O_WRONLY | O_CREAT};
  const test::Bytes Bytes = test::Counting(100);
};

TEST_F(FailingWrites, FileThatTakesNothingMoreIsAFullOne) {
  for (const int before : {0, EINTR, EACCES}) {
    const FailingFiles files(1, FailingFiles::Empty, FailingFiles::Once);
    EXPECT_EQ(Write(before), 0U) << before;
    EXPECT_EQ(errno, ENOSPC) << before;
  }
}

TEST_F(FailingWrites, RestOfAShortWriteFollows) {
  const FailingFiles files(1, FailingFiles::Short, FailingFiles::Once);
  EXPECT_EQ(Write(0), Bytes.size());
  EXPECT_TRUE(files.HasFailed());
  EXPECT_EQ(test::FileBytes("file"), Bytes);
}

TEST_F(FailingWrites, RefusalAfterAShortWriteLeavesWhatWasWritten) {
  const FailingFiles files(1, FailingFiles::Short, FailingFiles::Once);
  {
    const test::FileSizeLimit half(50);
    EXPECT_EQ(Write(EINTR), 50U);
  }
  EXPECT_EQ(errno, EFBIG);
  EXPECT_EQ(test::FileBytes("file"), test::Counting(50));
}

}  // namespace
