#include "outputs/OutputFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"

namespace client {
namespace {

namespace fs = std::filesystem;

class OutputFileTest : public testing::Test {
 protected:
  static void Write(OutputFile& file) {
    const unsigned char byte = 7;
    ASSERT_EQ(file.Write(&byte, 1), 1u);
  }
  test::TemporaryDirectory Directory;
};

TEST_F(OutputFileTest, FileWithNothingButAHeaderIsTakenAwayIfThatIsWanted) {
  {
    OutputFile file("x");
    Write(file);
    file.Discard();
  }
  EXPECT_TRUE(fs::is_empty("."));
}

TEST_F(OutputFileTest, DiscardingTouchesNoCompleteFile) {
  {
    OutputFile file("x");
    Write(file);
    ASSERT_TRUE(file.Complete());
    file.Discard();
  }
  EXPECT_EQ(test::FileBytes("x"), test::Bytes{7});
}

TEST_F(OutputFileTest, NameStaysClaimedUntilItsClaimIsGone) {
  std::optional<OutputFile> file("x");
  Write(*file);
  EXPECT_THROW(OutputFile("x"), Failure);
  ASSERT_TRUE(file->Complete());
  EXPECT_THROW(OutputFile("x"), Failure);
  file.reset();
  EXPECT_NO_THROW(OutputFile("x"));
  EXPECT_EQ(test::FileBytes("x"), test::Bytes{7});
}

}  // namespace
}  // namespace client
