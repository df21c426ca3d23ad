#include "system/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

namespace client {
namespace {

/// Puts back what the variable was.
class TemporaryFolderTest : public testing::Test {
 protected:
  TemporaryFolderTest() {
    if (const char* const was = std::getenv("TMPDIR")) Was = was;
  }
  void TearDown() override {
    if (Was)
      setenv("TMPDIR", Was->c_str(), 1);
    else
      unsetenv("TMPDIR");
  }

 private:
  std::optional<std::string> Was;
};

TEST_F(TemporaryFolderTest, IsTheOneThatTheEnvironmentNames) {
  setenv("TMPDIR", "/somewhere/else", 1);
  EXPECT_EQ(TemporaryFolder(), "/somewhere/else");
}

TEST_F(TemporaryFolderTest, IsTheOneForLargeFilesOtherwise) {
  unsetenv("TMPDIR");
  EXPECT_EQ(TemporaryFolder(), "/var/tmp");
  setenv("TMPDIR", "", 1);
  EXPECT_EQ(TemporaryFolder(), "/var/tmp");
}

}  // namespace
}  // namespace client
