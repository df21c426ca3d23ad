// The buffered file beneath an ASC log.
#include "export/ExportFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <thread>

#include "export/AscTest.h"

namespace {

class ExportFileTest : public test::AscTest {
 protected:
  static void Put(ExportFile& output, const std::string& text) {
    char* const place = output.Room(text.size());
    std::memcpy(place, text.data(), text.size());
    output.Commit(place + text.size());
  }
};

TEST_F(ExportFileTest, BytesReachTheFileWithFlush) {
  ExportFile output;
  ASSERT_TRUE(output.Open("out"));
  Put(output, "abc");
  EXPECT_EQ(test::ReadFile("out"), "");
  EXPECT_EQ(output.Position(), 3u);
  EXPECT_TRUE(output.Flush());
  EXPECT_EQ(test::ReadFile("out"), "abc");
  EXPECT_EQ(output.Position(), 3u);
}

TEST_F(ExportFileTest, BytesReachTheFileWhenTheNextTextMightNotFit) {
  ExportFile output;
  ASSERT_TRUE(output.Open("out"));
  Put(output, std::string(ExportFile::kCapacity, 'a'));
  EXPECT_EQ(std::filesystem::file_size("out"), 0u);
  Put(output, "b");
  EXPECT_EQ(std::filesystem::file_size("out"), ExportFile::kCapacity);
}

TEST_F(ExportFileTest, AppendedTextMayBeLongerThanTheBuffer) {
  std::string text;
  for (int i = 0; text.size() < 3 * ExportFile::kCapacity; ++i) text += std::to_string(i);
  ExportFile output;
  ASSERT_TRUE(output.Open("out"));
  output.Append("x");
  output.Append(text);
  EXPECT_EQ(output.Position(), text.size() + 1);
  output.Close();
  EXPECT_TRUE(test::ReadFile("out") == "x" + text);
  EXPECT_FALSE(output.Failed());
}

TEST_F(ExportFileTest, PositionIsThatOfTheOpenFile) {
  ExportFile output;
  ASSERT_TRUE(output.Open("one"));
  Put(output, "abc");
  output.Close();
  ASSERT_TRUE(output.Open("two"));
  Put(output, "d");
  EXPECT_EQ(output.Position(), 1u);
}

// Whoever has the file open with us may have moved it.
TEST_F(ExportFileTest, PositionIsWhereTheSystemSaysThatTheFileStands) {
  ExportFile output;
  const int next = dup(0);
  close(next);
  ASSERT_TRUE(output.Open("out"));
  ASSERT_EQ(lseek(next, 1000, SEEK_SET), 1000);
  EXPECT_EQ(output.Position(), 1000u);
  Put(output, "abc");
  EXPECT_EQ(output.Position(), 1003u);
  EXPECT_TRUE(output.Flush());
  ASSERT_EQ(lseek(next, 5000, SEEK_SET), 5000);
  EXPECT_EQ(output.Position(), 5000u);
}

TEST_F(ExportFileTest, PipeHasNoPosition) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  const int reader = open("pipe", O_RDONLY | O_NONBLOCK);
  ExportFile output;
  ASSERT_TRUE(output.Open("pipe"));
  Put(output, "abc");
  EXPECT_EQ(output.Position(), std::nullopt);
  EXPECT_TRUE(output.Flush());
  EXPECT_FALSE(output.Failed());
  output.Close();
  EXPECT_EQ(output.Position(), std::nullopt);
  close(reader);
}

TEST_F(ExportFileTest, FailureKeepsItsReasonAndItsFile) {
  ExportFile output;
  ASSERT_TRUE(output.Open("/dev/full"));
  EXPECT_EQ(output.Error(), 0);
  Put(output, "abc");
  EXPECT_FALSE(output.Flush());
  output.Close();
  ASSERT_TRUE(output.Open("out"));
  errno = EIO;
  EXPECT_TRUE(output.Failed());
  EXPECT_EQ(output.Error(), ENOSPC);
  EXPECT_EQ(output.Path(), "/dev/full");
}

TEST_F(ExportFileTest, TextWithoutAFileIsAFailureAndGoesNowhere) {
  ExportFile output;
  Put(output, "abc");
  EXPECT_TRUE(output.Failed());
  EXPECT_EQ(output.Error(), EBADF);
  output.Close();
  EXPECT_TRUE(output.Failed());
  ASSERT_TRUE(output.Open("out"));
  output.Close();
  EXPECT_EQ(test::ReadFile("out"), "");
}

TEST_F(ExportFileTest, FileIsNotInheritedByPrograms) {
  ExportFile output;
  const int next = dup(0);
  close(next);
  ASSERT_TRUE(output.Open("out"));
  EXPECT_EQ(fcntl(next, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

std::atomic<int> Interruptions;

// A pipe that is read in small pieces makes a large write wait; a signal then cuts it short, or interrupts it.
TEST_F(ExportFileTest, InterruptedAndShortWritesLoseNothing) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) { ++Interruptions; };  // no SA_RESTART: write() returns
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  std::string text;
  for (int i = 0; text.size() < 4 * ExportFile::kCapacity; ++i) text += std::to_string(i);
  Interruptions = 0;

  const pthread_t writer = pthread_self();
  std::string received;
  std::thread reader([&] {
    const int file = open("pipe", O_RDONLY);
    char piece[4096];
    for (ssize_t count; (count = read(file, piece, sizeof piece)) > 0;) {
      received.append(piece, static_cast<size_t>(count));
      if (received.size() < 3 * ExportFile::kCapacity) pthread_kill(writer, SIGUSR1);
    }
    close(file);
  });
  ExportFile output;
  EXPECT_TRUE(output.Open("pipe"));
  output.Append(text);
  output.Close();
  reader.join();
  sigaction(SIGUSR1, &before, nullptr);

  EXPECT_FALSE(output.Failed());
  EXPECT_GT(Interruptions, 0);
  EXPECT_TRUE(received == text);
}

}  // namespace
