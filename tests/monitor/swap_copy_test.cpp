// The copy of the swap file on file systems that have no second names for a file.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "monitor/MonitorTest.h"
#include "support/FailingFiles.h"
#include "support/FileSizeLimit.h"

using namespace test;

namespace {

class WithoutLinks : public OneChannelTest {
 protected:
  WithoutLinks() {
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 1);
    Record(FramesFrom(1, 300));
  }
  unsigned int Export(const std::string& name) {
    return CodeOf([&] { Monitor->ExportToASC(0, name.c_str(), 0, 0); });
  }

  const std::string CopyName = SwapName() + ".bak";
  const FailingFiles Refused{"linkat"};
};

size_t Lines(const std::string& text) { return static_cast<size_t>(std::count(text.begin(), text.end(), '\n')); }

}  // namespace

TEST_F(WithoutLinks, TheCopyHasTheBytesOfTheSwapFile) {
  const mode_t old = umask(0);
  EXPECT_EQ(Export("missing/out.asc"), QOR_TRACE_STATUS_FILE_ERROR);
  umask(old);
  EXPECT_TRUE(Refused.HasFailed());
  EXPECT_EQ(FileBytes(CopyName), FileBytes(SwapName()));
  struct stat copy {};
  ASSERT_EQ(stat(CopyName.c_str(), &copy), 0);
  EXPECT_EQ(copy.st_nlink, 1U);
  EXPECT_EQ(copy.st_mode & 07777, 0600U);
}

TEST_F(WithoutLinks, TheCopyIsRemovedAfterTheExport) {
  EXPECT_EQ(Export("out.asc"), 0U);
  EXPECT_FALSE(std::filesystem::exists(CopyName));
}

TEST_F(WithoutLinks, TheExportIsWholeThoughTheCopyDoesNotFit) {
  EXPECT_EQ(Export("whole.asc"), 0U);
  ASSERT_EQ(mkfifo("fifo", 0600), 0);
  std::string text;
  std::thread reader([&] { text = FileText("fifo"); });
  {
    const FileSizeLimit full(10000);  // of 13,500 bytes; a FIFO has no size
    EXPECT_EQ(Export("fifo"), 0U);
  }
  reader.join();
  EXPECT_EQ(Lines(text), Lines(FileText("whole.asc")));
  EXPECT_TRUE(TakeReports().empty());
}
