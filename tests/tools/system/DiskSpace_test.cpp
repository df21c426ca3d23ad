#include "system/DiskSpace.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"

namespace client {
namespace {

TEST(DiskSpace, FolderThatIsNotThereIsNoReasonToStop) { EXPECT_EQ(FreeSpace("/no/such/folder"), ~0ul); }

TEST(DiskSpace, LimitOnFileSizesCountsForTheLargestFile) {
  const test::TemporaryDirectory directory;
  const std::string folder = std::filesystem::current_path().string();
  test::WriteFile(std::filesystem::path(folder) / "small", std::vector<unsigned char>(10));
  test::WriteFile(std::filesystem::path(folder) / "large", std::vector<unsigned char>(600));
  const test::FileSizeLimit limit(1000);
  ASSERT_GE(FreeSpace(folder), 1000u);
  EXPECT_EQ(RoomToGrow(folder), 400u);
  std::filesystem::resize_file(std::filesystem::path(folder) / "large", 1000);
  EXPECT_EQ(RoomToGrow(folder), 0u);
}

}  // namespace
}  // namespace client
