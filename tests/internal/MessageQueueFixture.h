// Tests with message queues of the system's own, which leave nothing in the system.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mqueue.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>

#include "internal/SystemCallsForTest.h"
#include "internal/qor_internal.h"

constexpr unsigned int kClosed = 0xFFFFFFFF;

// A queue name of a slash and `length` characters.
inline std::string LongName(std::size_t length) {
  std::string name(1 + length, 'q');
  name.front() = '/';
  return name;
}

struct MessageQueues : testing::Test {
  void SetUp() override {
    const mqd_t queue = mq_open(Name("probe").c_str(), O_CREAT | O_RDONLY, 0600, nullptr);
    if (queue < 0 && errno == ENOSYS) GTEST_SKIP() << "this system has no POSIX message queues (ENOSYS)";
    ASSERT_GE(queue, 0) << strerror(errno);
    mq_close(queue);
    FilesBefore = OpenFiles();
    UmaskBefore = umask(0);
    umask(UmaskBefore);
  }

  // Whatever a test does, no descriptor stays open, and the umask is as it was.
  void TearDown() override {
    for (const auto& name : Used) mq_unlink(name.c_str());
    if (IsSkipped()) return;
    EXPECT_EQ(OpenFiles(), FilesBefore);
    const mode_t now = umask(UmaskBefore);
    EXPECT_EQ(now, UmaskBefore);
  }

  // A queue name of this test; the queue is removed at the end.
  std::string Name(const std::string& name) {
    return *Used.insert(std::string("/qor-test-") + std::to_string(getpid()) + "-" + name).first;
  }

  // Creates a queue and opens it at its other end too.
  struct Pipe {
    unsigned int Send;
    unsigned int Receive;
  };
  Pipe Make(const std::string& name, unsigned int messageSize) {
    const int send = Create_MsgQueue(Name(name).c_str(), messageSize, 1);
    const int receive = Open_MsgQueue(Name(name).c_str(), 0, 0, nullptr);
    EXPECT_GE(send, 0);
    EXPECT_GE(receive, 0);
    return {static_cast<unsigned int>(send), static_cast<unsigned int>(receive)};
  }
  static void Close(Pipe pipe) {
    EXPECT_EQ(close_message_queue(&pipe.Send), 0);
    EXPECT_EQ(close_message_queue(&pipe.Receive), 0);
  }

  bool Exists(const std::string& name) {
    const mqd_t queue = mq_open(name.c_str(), O_RDONLY);
    if (queue >= 0) mq_close(queue);
    return queue >= 0;
  }

  static long OpenFiles() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
  }

  static long Waiting(unsigned int queue) {
    mq_attr attributes{};
    EXPECT_EQ(mq_getattr(static_cast<mqd_t>(queue), &attributes), 0);
    return attributes.mq_curmsgs;
  }

  static mode_t PermissionsOf(int queue) {
    struct stat status {};
    EXPECT_EQ(fstat(queue, &status), 0);
    return status.st_mode & 0777;
  }

  CapturedLog Log;
  std::set<std::string> Used;
  long FilesBefore = 0;
  mode_t UmaskBefore = 0;
};
