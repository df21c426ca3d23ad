#include "system/Descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace client {
namespace {

TEST(Descriptor, ReaderOfAPipeIsGoneOnceItHasClosed) {
  int ends[2] = {-1, -1};
  ASSERT_EQ(pipe(ends), 0);
  Descriptor reading(ends[0]);
  const Descriptor writing(ends[1]);
  EXPECT_FALSE(ReaderIsGone(writing.Get()));
  reading.Close();
  EXPECT_TRUE(ReaderIsGone(writing.Get()));
}

TEST(Descriptor, FilesHaveNoReaderThatCouldGo) {
  const Descriptor file(open("/dev/null", O_WRONLY));
  EXPECT_FALSE(ReaderIsGone(file.Get()));
  EXPECT_FALSE(ReaderIsGone(-1));
}

}  // namespace
}  // namespace client
