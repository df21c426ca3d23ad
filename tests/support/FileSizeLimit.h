// A disk that is full beyond a size.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

namespace test {

/// While it lives, no file of the process grows beyond this many bytes; a write beyond is cut there, the next one fails.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : OldHandler(std::signal(SIGXFSZ, SIG_IGN)) {
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &Old), 0);
    rlimit limit = Old;
    limit.rlim_cur = bytes;
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &Old);
    std::signal(SIGXFSZ, OldHandler);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit Old{};
  void (*OldHandler)(int);
};

}  // namespace test
