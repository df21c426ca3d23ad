#include "inputs/InputBytes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"

namespace client {
namespace {

class InputBytesTest : public testing::Test {
 protected:
  void Write(const std::string& text) const {
    test::WriteFile(Path, std::vector<unsigned char>(text.begin(), text.end()));
  }
  static std::vector<std::string> LinesOf(InputBytes& bytes) {
    std::vector<std::string> lines;
    while (const auto line = bytes.Line()) lines.emplace_back(*line);
    return lines;
  }

  test::TemporaryDirectory Directory;
  std::string Path = (std::filesystem::current_path() / "x").string();
};

TEST_F(InputBytesTest, LinesComeWithoutTheirEndsWhicheverTheyAre) {
  Write("one\r\ntwo\n\nfour\n\r\nlast");
  InputBytes bytes(Path);
  EXPECT_EQ(LinesOf(bytes), (std::vector<std::string>{"one", "two", "", "four", "", "last"}));
  EXPECT_EQ(bytes.Position(), bytes.Size());
}

TEST_F(InputBytesTest, EmptyFileHasNoLine) {
  Write("");
  InputBytes bytes(Path);
  EXPECT_EQ(bytes.Line(), std::nullopt);
  EXPECT_FALSE(bytes.Need(1));
}

TEST_F(InputBytesTest, LongLinesComeInPieces) {
  const std::string longest(InputBytes::kLongestLine, 'x');
  Write(longest + "yz\n" + longest + "\nend\n");
  InputBytes bytes(Path);
  const auto lines = LinesOf(bytes);
  EXPECT_EQ(lines, (std::vector<std::string>{longest, "yz", longest, "", "end"}));
}

TEST_F(InputBytesTest, WindowReachesAcrossBlocks) {
  std::string text(3'000'000, 'a');
  for (size_t place = 0; place < text.size(); ++place) text[place] = static_cast<char>('a' + place % 23);
  Write(text);
  InputBytes bytes(Path);
  bytes.Skip(0);
  ASSERT_TRUE(bytes.SkipFar(1'000'000));
  ASSERT_TRUE(bytes.Need(1'500'000));
  const auto ready = bytes.Ready();
  EXPECT_EQ(std::string(ready.begin(), ready.begin() + 1'500'000), text.substr(1'000'000, 1'500'000));
  EXPECT_EQ(bytes.Position(), 1'000'000u);
  EXPECT_FALSE(bytes.Need(2'000'001));
  EXPECT_EQ(bytes.Ready().size(), 2'000'000u);
  EXPECT_FALSE(bytes.SkipFar(2'000'001));
}

TEST_F(InputBytesTest, ReadingThatIsToEndGivesNoFurtherLine) {
  ASSERT_EQ(mkfifo(Path.c_str(), 0600), 0);
  const int end = open(Path.c_str(), O_RDWR);  // keeps the pipe open, so that a read would wait
  ASSERT_EQ(write(end, "one\ntw", 6), 6);
  InputBytes bytes(Path);
  bool waited = false;
  bytes.Attend({[&] { return !waited; }, [&] { waited = true; }});
  EXPECT_EQ(bytes.Line(), "one");
  EXPECT_EQ(bytes.Line(), std::nullopt);
  EXPECT_TRUE(bytes.Stopped());
  close(end);
}

TEST_F(InputBytesTest, MissingFilesAndFoldersAreNamed) {
  try {
    const InputBytes bytes(Path);
    FAIL() << "nothing thrown";
  } catch (const Failure& failure) {
    EXPECT_NE(std::string(failure.what()).find(Path), std::string::npos);
  }
  InputBytes folder(std::filesystem::current_path().string());
  EXPECT_THROW((void)folder.Need(1), Failure);
}

}  // namespace
}  // namespace client
