// Each call on files fails in its turn while a swap folder is made, used and removed.
#include <gtest/gtest.h>

#include <filesystem>

#include "recording/SwapFolder.h"
#include "support/FailingFiles.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"

namespace client {
namespace {

namespace fs = std::filesystem;
using test::FailingFiles;

class SwapFolderWithFailingFiles : public testing::TestWithParam<FailingFiles::Duration> {
 protected:
  test::TemporaryDirectory Directory;
  const fs::path Parent = fs::current_path();
};

INSTANTIATE_TEST_SUITE_P(AllCalls, SwapFolderWithFailingFiles,
                         testing::Values(FailingFiles::Once, FailingFiles::FromThenOn));

TEST_P(SwapFolderWithFailingFiles, NothingStaysThatTheNextStartDoesNotRemove) {
  unsigned long number = 1;
  for (bool failed = true; failed; ++number) {
    SCOPED_TRACE(number);
    {
      const FailingFiles failing(number, FailingFiles::Refused, GetParam());
      try {
        const SwapFolder swap(Parent);
        test::WriteFile("Qor_Trace_x.bin", {1});
      } catch (const Failure& failure) {
        EXPECT_NE(std::string(failure.what()).find("No space left on device"), std::string::npos) << failure.what();
      }
      failed = failing.HasFailed();
    }
    EXPECT_EQ(fs::current_path(), Parent);
    EXPECT_TRUE(ClearLeftOverSwapFolders(Parent).empty());
    EXPECT_TRUE(fs::is_empty(Parent));
  }
  EXPECT_GT(number, 4u);
}

TEST_P(SwapFolderWithFailingFiles, LeftOverEntriesAreNeverRemoved) {
  const fs::path file = Parent / ".qor-trace-swap-crash" / "Qor_Trace_x.bin";
  fs::create_directory(file.parent_path());
  test::WriteFile(file, test::Bytes(100, 1));
  unsigned long number = 1;
  for (bool failed = true; failed; ++number) {
    SCOPED_TRACE(number);
    const FailingFiles failing(number, FailingFiles::Refused, GetParam());
    ClearLeftOverSwapFolders(Parent);
    failed = failing.HasFailed();
    EXPECT_EQ(fs::file_size(file), 100u);
  }
}

}  // namespace
}  // namespace client
