#include "recording/SwapFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <optional>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/AnotherProcess.h"

namespace client {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class SwapFolderTest : public testing::Test {
 protected:
  Names Folders() const {
    Names names;
    for (const auto& file : fs::directory_iterator(Parent)) names.push_back(file.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  /// What a crash leaves: a folder with a swap file of this many bytes.
  std::string LeaveBehind(const std::string& name, std::size_t bytes) const {
    const fs::path folder = Parent / (".qor-trace-swap-" + name);
    fs::create_directory(folder);
    test::WriteFile(folder / "Qor_Trace_x.bin", test::Bytes(bytes, 1));
    return folder / "Qor_Trace_x.bin";
  }

  test::TemporaryDirectory Directory;
  fs::path Parent = fs::current_path();
};

TEST_F(SwapFolderTest, FolderIsTheUsersAloneAndTheWorkingDirectoryMeanwhile) {
  const mode_t before = umask(0);
  {
    const SwapFolder swap(Parent);
    EXPECT_EQ(fs::current_path(), swap.Path());
    struct stat status {};
    ASSERT_EQ(stat(".", &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    test::WriteFile("Qor_Trace_x.bin", test::Bytes(100, 1));
  }
  umask(before);
  EXPECT_EQ(fs::current_path(), Parent);
  EXPECT_EQ(Folders(), Names{});
}

TEST_F(SwapFolderTest, LivingFolderIsLeftAlone) {
  const SwapFolder swap(Parent);
  const Names one = Folders();
  EXPECT_EQ(InAnotherProcess([&] { return std::to_string(ClearLeftOverSwapFolders(Parent).size()); }), "0");
  EXPECT_EQ(Folders(), one);
}

TEST_F(SwapFolderTest, FolderOfAProcessThatIsGoneIsRemovedIfItHoldsNoEntry) {
  InAnotherProcess([&] {
    new SwapFolder(Parent);  // as a kill leaves it: nothing is cleaned up
    return "";
  });
  LeaveBehind("cut", 27);
  ASSERT_EQ(Folders().size(), 2u);
  EXPECT_EQ(ClearLeftOverSwapFolders(Parent), Names{});
  EXPECT_EQ(Folders(), Names{});
}

TEST_F(SwapFolderTest, FolderWithEntriesIsKeptAndNamed) {
  const std::string file = LeaveBehind("crash", 100);
  LeaveBehind("empty", 0);
  testing::internal::CaptureStderr();
  { const SwapFolder swap(Parent); }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "\"" + file +
                "\" is left over from a recording that was cut off; 'qor-trace convert' reads its entries, or "
                "remove its folder\n");
  EXPECT_EQ(Folders(), Names{".qor-trace-swap-crash"});
  EXPECT_EQ(test::FileBytes(file).size(), 100u);
}

TEST_F(SwapFolderTest, PlantedLinkIsNoLeftOver) {
  fs::create_directory("victim");
  fs::create_symlink("victim", ".qor-trace-swap-planted");
  EXPECT_EQ(ClearLeftOverSwapFolders(Parent), Names{});
  EXPECT_TRUE(fs::exists("victim"));
  EXPECT_TRUE(fs::is_symlink(".qor-trace-swap-planted"));
}

TEST_F(SwapFolderTest, FolderThatReplacedItIsNotRemoved) {
  const std::string moved = Parent / "moved";
  std::string path;
  {
    const SwapFolder swap(Parent);
    path = swap.Path();
    fs::rename(path, moved);
    fs::create_directory(path);
  }
  EXPECT_TRUE(fs::exists(path));
}

TEST_F(SwapFolderTest, FolderThatEverybodyCanWriteIsRefusedWithTheReason) {
  fs::create_directory("open");
  fs::permissions("open", fs::perms::all);
  try {
    const SwapFolder swap(Parent / "open");
    ADD_FAILURE() << "it was trusted";
  } catch (const Failure& failure) {
    EXPECT_EQ(
        std::string(failure.what()),
        "Cannot keep the swap file in \"" + (Parent / "open").string() +
            "\": the folder can be written by everybody and has no sticky bit, so that others could exchange what "
            "is in it; choose another with --swap-folder");
  }
  EXPECT_TRUE(fs::is_empty("open"));
}

TEST_F(SwapFolderTest, MissingFolderIsAFailure) { EXPECT_THROW(SwapFolder(Parent / "missing"), Failure); }

}  // namespace
}  // namespace client
