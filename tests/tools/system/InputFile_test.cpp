#include "system/InputFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"

namespace client {
namespace {

/// What is said about a name; empty if it may be read.
std::string Refusal(const std::string& path) {
  try {
    CheckInputFile(path);
    return "";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.Code, ExitFailed);
    return failure.what();
  }
}

TEST(InputFile, MissingFilesFoldersAndEmptyFilesFailAlike) {
  const test::TemporaryDirectory directory;
  std::filesystem::create_directory("folder.bin");
  test::WriteFile("empty.bin", {});
  test::WriteFile("good.bin", {1});
  EXPECT_EQ(Refusal("missing.bin"), "Cannot open \"missing.bin\": No such file or directory");
  EXPECT_EQ(Refusal("folder.bin"), "Cannot open \"folder.bin\": Is a directory; name a file in it");
  EXPECT_EQ(Refusal("empty.bin"), "Cannot open \"empty.bin\": The file is empty");
  EXPECT_EQ(Refusal("good.bin"), "");
}

TEST(InputFile, PipesAreNotOpened) {
  const test::TemporaryDirectory directory;
  ASSERT_EQ(mkfifo("pipe", 0600), 0);  // opening it would wait for a writer
  EXPECT_EQ(Refusal("pipe"), "");
}

}  // namespace
}  // namespace client
