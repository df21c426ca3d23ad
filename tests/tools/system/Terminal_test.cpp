#include "system/Terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace client {
namespace {

/// While it lives, standard error is a terminal of its own.
class TerminalOfError {
 public:
  TerminalOfError() : Screen(posix_openpt(O_RDWR | O_NOCTTY)), Before(dup(STDERR_FILENO)) {
    if (grantpt(Screen) != 0 || unlockpt(Screen) != 0) return;
    Line = open(ptsname(Screen), O_RDWR | O_NOCTTY);
    dup2(Line, STDERR_FILENO);
  }
  ~TerminalOfError() {
    dup2(Before, STDERR_FILENO);
    for (const int descriptor : {Screen, Line, Before}) close(descriptor);
  }
  TerminalOfError(const TerminalOfError&) = delete;
  TerminalOfError& operator=(const TerminalOfError&) = delete;

  [[nodiscard]] bool IsThere() const { return Screen >= 0 && Line >= 0; }

  /// What was written since the last call, waiting for as much as is expected: it comes through the kernel by and by.
  [[nodiscard]] std::string Written(size_t expected) const {
    std::string text(expected, '\0');
    size_t count = 0;
    for (pollfd screen{Screen, POLLIN, 0}; count < expected && poll(&screen, 1, kPatience) > 0;) {
      const ssize_t more = read(Screen, text.data() + count, expected - count);
      if (more <= 0) break;
      count += static_cast<size_t>(more);
    }
    return text.substr(0, count);
  }

 private:
  static constexpr int kPatience = 60'000;  // ms

  int Screen;
  int Line = -1;
  int Before;
};

const std::string kShown = "\r5 entries\033[K";
const std::string kCleared = "\r\033[K";

TEST(LiveLine, LeavesNothingOfItselfOnTheTerminal) {
  const TerminalOfError terminal;
  if (!terminal.IsThere()) GTEST_SKIP() << "this machine gives no pseudo-terminal";
  LiveLine line;
  line.Show("5 entries");
  EXPECT_EQ(terminal.Written(kShown.size()), kShown);
  line.Clear();
  EXPECT_EQ(terminal.Written(kCleared.size()), kCleared);
}

TEST(LiveLine, WhereNothingWasShownNothingIsCleared) {
  const TerminalOfError terminal;
  if (!terminal.IsThere()) GTEST_SKIP() << "this machine gives no pseudo-terminal";
  LiveLine line;
  line.Clear();
  line.Show("5 entries");
  line.Clear();
  line.Clear();
  line.Show("5 entries");
  const std::string all = kShown + kCleared + kShown;
  EXPECT_EQ(terminal.Written(all.size()), all);
}

}  // namespace
}  // namespace client
