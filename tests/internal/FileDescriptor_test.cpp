#include "internal/FileDescriptor.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "support/FileSizeLimit.h"
#include "support/MonitorItems.h"
#include "support/TemporaryDirectory.h"

namespace {

using test::Bytes;
using test::Counting;

class Files : public testing::Test {
 protected:
  test::TemporaryDirectory Directory;
  FileDescriptor File{"file", O_WRONLY | O_CREAT};
};

TEST_F(Files, AreWrittenWholeWhateverAnEarlierCallLeftInErrno) {
  const Bytes bytes = Counting(100000);
  errno = EINTR;
  EXPECT_EQ(WriteAll(File.Get(), bytes.data(), bytes.size()), bytes.size());
  EXPECT_EQ(test::FileBytes("file"), bytes);
}

TEST_F(Files, ThatTakeNoMoreHoldWhatWasWritten) {
  const Bytes bytes = Counting(100);
  const test::FileSizeLimit full(60);
  EXPECT_EQ(WriteAll(File.Get(), bytes.data(), bytes.size()), 60U);
  EXPECT_EQ(errno, EFBIG);
  EXPECT_EQ(test::FileBytes("file"), Counting(60));
}

TEST_F(Files, BelongToOneDescriptor) {
  const int number = File.Get();
  FileDescriptor owner = std::move(File);
  EXPECT_FALSE(File.IsOpen());  // NOLINT(bugprone-use-after-move): a moved descriptor is one that isn't open
  EXPECT_EQ(owner.Get(), number);
  EXPECT_TRUE(owner.Close());
  EXPECT_FALSE(owner.IsOpen());
  EXPECT_TRUE(owner.Close());
  EXPECT_EQ(fcntl(number, F_GETFD), -1);
}

TEST_F(Files, ThatCannotBeOpenedAreNotOpen) {
  const FileDescriptor missing("no/file", O_RDONLY);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(missing.IsOpen());
}

}  // namespace
