// The copy of the swap file on file systems that have no second names for a file.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "monitor/MonitorTest.h"
#include "monitor/SwapFile.h"
#include "support/EntryBuilder.h"
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

TEST(SwapSnapshotOfAFileThatWasCut, IsCopiedUpToItsEnd) {
  const TemporaryDirectory directory;
  WriteFile("swap.bin", Bytes(1000, 7));
  const FailingFiles refused("linkat");
  const SwapSnapshot snapshot{FileDescriptor("swap.bin", O_RDONLY), 5000};
  snapshot.MakeCopy("copy.bin");
  EXPECT_EQ(FileBytes("copy.bin"), Bytes(1000, 7));
}

TEST(SwapFileThatCannotBeCut, HasNoRecordsPastTheBreak) {
  const TemporaryDirectory directory;
  SwapFile swap("swap.bin");
  unsigned int written = 0;
  const auto append = [&](unsigned long first) {
    Qor_Trace_EntryStore entries;
    for (unsigned long time = first; time < first + 2000; ++time) entries.push_back(CanItem().At(time).Entry());
    swap.Append(entries, 0, entries.size(), written);
  };
  const auto lengthAt = [&](unsigned int index) { return swap.ReadFrom(index, 1).NextLength(); };
  append(0);
  {
    const FailingFiles refused("ftruncate");
    const FileSizeLimit full(2500 * 44 + 20);
    EXPECT_THROW(append(2000), Qor_Trace_Exception);
  }
  EXPECT_EQ(written, 2500U);
  append(2500);
  EXPECT_EQ(lengthAt(2499), 44U);
  for (const unsigned int index : {2501U, 3072U, 4000U, 4499U}) EXPECT_EQ(lengthAt(index), 0U) << index;
}
