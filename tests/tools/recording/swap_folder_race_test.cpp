// Another start that meets a swap folder in the moment in which it is made.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include "recording/SwapFolder.h"
#include "support/TemporaryDirectory.h"
#include "system/Descriptor.h"

namespace {

std::function<void(const std::string& path)> AfterMaking;  // called once, with the next folder

}  // namespace

// Takes over the call that makes folders.
extern "C" char* mkdtemp(char* pattern) noexcept {
  static const auto next = reinterpret_cast<char* (*)(char*)>(dlsym(RTLD_NEXT, "mkdtemp"));
  char* const made = next(pattern);
  if (AfterMaking) std::exchange(AfterMaking, nullptr)(made);
  return made;
}

namespace client {
namespace {

namespace fs = std::filesystem;

class SwapFolderAndAnotherStart : public testing::Test {
 protected:
  test::TemporaryDirectory Directory;
  const fs::path Parent = fs::current_path();
};

TEST_F(SwapFolderAndAnotherStart, FolderThatTheOtherHasLockedIsLeftToIt) {
  std::string taken;
  Descriptor theirs;
  AfterMaking = [&](const std::string& path) {
    taken = path;
    theirs = Descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(theirs.Get(), LOCK_EX | LOCK_NB), 0);
  };
  const SwapFolder swap(Parent);
  EXPECT_TRUE(fs::exists(taken));
  EXPECT_NE(swap.Path(), taken);
}

TEST_F(SwapFolderAndAnotherStart, FolderThatTheOtherHasRemovedIsMadeAnew) {
  std::string removed;
  AfterMaking = [&](const std::string& path) {
    removed = path;
    fs::remove(path);
  };
  const SwapFolder swap(Parent);
  EXPECT_NE(swap.Path(), removed);
  EXPECT_TRUE(fs::is_directory(swap.Path()));
}

}  // namespace
}  // namespace client
