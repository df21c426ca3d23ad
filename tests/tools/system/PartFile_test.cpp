#include "system/PartFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/AnotherProcess.h"

namespace client {
namespace {

namespace fs = std::filesystem;

void Write(const PartFile& file, const std::string& text) {
  ASSERT_EQ(write(file.File(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void WriteText(const std::string& name, const std::string& text) { std::ofstream(name) << text; }

/// Why a name can't be claimed; empty if it can.
std::string Refusal(const std::string& name) {
  try {
    PartFile(name).Discard();
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

class PartFileTest : public testing::Test {
 protected:
  test::TemporaryDirectory Directory;
};

TEST_F(PartFileTest, FileHasItsNameOnlyWhenComplete) {
  WriteText("x", "old");
  PartFile file("x");
  Write(file, "new");
  EXPECT_EQ(test::FileText("x"), "old");
  EXPECT_EQ(test::FileText("x.part"), "new");
  EXPECT_EQ(file.Complete(), "");
  EXPECT_EQ(test::FileText("x"), "new");
  EXPECT_FALSE(fs::exists("x.part"));
}

TEST_F(PartFileTest, FileThatIsNotCompletedKeepsItsPartName) {
  Write(PartFile("x"), "half");
  EXPECT_FALSE(fs::exists("x"));
  EXPECT_EQ(test::FileText("x.part"), "half");
}

TEST_F(PartFileTest, SecondClaimIsRefusedAndNamesTheProcessOfTheFirst) {
  PartFile file("x");
  Write(file, "mine");
  EXPECT_EQ(InAnotherProcess([] { return Refusal("x"); }),
            fmt::format("Cannot write \"x\": process {} is writing it; wait for it to end, or choose another name",
                        getpid()));
  EXPECT_EQ(test::FileText("x.part"), "mine");
}

TEST_F(PartFileTest, CompleteFileStaysClaimedAsLongAsItsClaimLives) {
  std::optional<PartFile> file("x");
  ASSERT_EQ(file->Complete(), "");
  EXPECT_EQ(InAnotherProcess([] { return Refusal("x"); }),
            fmt::format("Cannot write \"x\": process {} is writing it; wait for it to end, or choose another name",
                        getpid()));
  EXPECT_FALSE(fs::exists("x.part"));
  file.reset();
  EXPECT_EQ(Refusal("x"), "");
}

TEST_F(PartFileTest, PartThatACrashHasLeftIsKeptAndNamed) {
  WriteText("x.part", "what is left");
  EXPECT_EQ(Refusal("x"),
            "Cannot write \"x\": \"x.part\" is left over from a run that was cut off; rename it to keep what it holds, "
            "or remove it");
  EXPECT_EQ(test::FileText("x.part"), "what is left");
}

TEST_F(PartFileTest, PlantedLinkIsNotFollowed) {
  WriteText("victim", "precious");
  for (const char* target : {"victim", "nowhere"}) {
    SCOPED_TRACE(target);
    fs::create_symlink(target, "x.part");
    EXPECT_EQ(Refusal("x"), "Cannot write \"x\": \"x.part\" is a symbolic link; remove it");
    fs::remove("x.part");
  }
  EXPECT_EQ(test::FileText("victim"), "precious");
  EXPECT_FALSE(fs::exists("nowhere"));
}

TEST_F(PartFileTest, LinkOfTheCompleteNameIsReplacedNotFollowed) {
  WriteText("victim", "precious");
  fs::create_symlink("victim", "x");
  EXPECT_EQ(PartFile("x").Complete(), "");
  EXPECT_EQ(test::FileText("victim"), "precious");
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status("x")));
}

TEST_F(PartFileTest, ExistingFileIsKeptIfThatIsWanted) {
  WriteText("x", "old");
  PartFile file("x");
  Write(file, "half");
  EXPECT_EQ(file.Complete(Existing::Kept), "Cannot name \"x\": File exists. Its contents are in \"x.part\"");
  EXPECT_EQ(test::FileText("x"), "old");
  EXPECT_EQ(test::FileText("x.part"), "half");
  fs::remove("x");
  EXPECT_EQ(file.Complete(Existing::Kept), "");
  EXPECT_EQ(test::FileText("x"), "half");
}

TEST_F(PartFileTest, PartThatSomebodyElseReplacedGetsNoName) {
  WriteText("x", "old");
  PartFile file("x");
  fs::remove("x.part");
  WriteText("x.part", "planted");
  EXPECT_EQ(file.Complete(), "Cannot name \"x\": somebody has removed or replaced \"x.part\"");
  EXPECT_EQ(test::FileText("x"), "old");
  file.Discard();
  EXPECT_EQ(test::FileText("x.part"), "planted");
}

TEST_F(PartFileTest, DiscardedPartIsGone) {
  PartFile file("x");
  file.Discard();
  EXPECT_FALSE(fs::exists("x.part"));
  EXPECT_EQ(Refusal("x"), "");
}

TEST_F(PartFileTest, PermissionsFollowTheUmask) {
  const mode_t before = umask(027);
  const PartFile file("x");
  umask(before);
  struct stat status {};
  ASSERT_EQ(fstat(file.File(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST_F(PartFileTest, FileThatCannotBeMadeIsAFailure) {
  EXPECT_EQ(Refusal("missing/x"), "Cannot write \"missing/x.part\": No such file or directory");
}

}  // namespace
}  // namespace client
