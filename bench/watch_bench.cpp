// `qor-trace watch` as a whole process on a terminal of its own: what it takes of a processor while four simulated buses bring
// 50,000 entries a second, and how long a key takes to be seen.
//
// The simulated interfaces, which make the entries, are in the same process: what recording them without an output takes stands
// beside it.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Measure.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kSource = "vehicle?speed=11";  // 50,000 entries a second
constexpr winsize kSize = {24, 80, 0, 0};

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}
double Seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

/// The client on a terminal; what it writes is read all the time.
class OnATerminal {
 public:
  explicit OnATerminal(const std::vector<std::string>& words) : Began(Clock::now()) {
    Process = forkpty(&Side, nullptr, nullptr, &kSize);
    if (Process != 0) return;
    setenv("TERM", "xterm-256color", 1);
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
  }

  /// Reads until a text has come, or for some time. @return false when it hasn't
  bool ReadUntil(const char* text, std::chrono::milliseconds atMost) {
    std::string read;
    const auto end = Clock::now() + atMost;
    while (Clock::now() < end) {
      pollfd side = {Side, POLLIN, 0};
      if (poll(&side, 1, 20) <= 0) continue;
      char bytes[65536];
      const ssize_t size = ::read(Side, bytes, sizeof bytes);
      if (size <= 0) return false;
      read.append(bytes, static_cast<size_t>(size));
      if (text != nullptr && read.find(text) != std::string::npos) return true;
    }
    return text == nullptr;
  }

  void Press(const char* key) const { [[maybe_unused]] const ssize_t written = write(Side, key, 1); }

  /// Share of a processor that it has taken, percent.
  double End() {
    kill(Process, SIGTERM);
    (void)ReadUntil("never written", std::chrono::milliseconds(60000));
    int status = 0;
    rusage used{};
    wait4(Process, &status, 0, &used);
    close(Side);
    return 100 * (Seconds(used.ru_utime) + Seconds(used.ru_stime)) / Seconds(Clock::now() - Began);
  }

 private:
  const Clock::time_point Began;
  int Side = -1;
  pid_t Process = 0;
};

void MustSee(bool seen, const char* what) {
  if (seen) return;
  std::fprintf(stderr, "failed: %s\n", what);
  std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  const std::chrono::milliseconds length(quick ? 1500 : 20000);
  const bench::GoalTable table(argc, argv);

  OnATerminal recording({QOR_TRACE_PROGRAM, "record", kSource, "--no-output"});
  recording.ReadUntil(nullptr, length);
  const double bound = recording.End();

  OnATerminal watching({QOR_TRACE_PROGRAM, "watch", kSource});
  MustSee(watching.ReadUntil("Jitter", std::chrono::milliseconds(60000)), "the table");
  std::vector<double> latencies;
  for (int round = 0; round < (quick ? 2 : 20); ++round) {
    for (const auto& [key, text] : {std::pair("?", "quit"), std::pair("q", "Jitter")}) {
      const auto pressed = Clock::now();
      watching.Press(key);
      MustSee(watching.ReadUntil(text, std::chrono::milliseconds(60000)), "what a key does");
      latencies.push_back(Seconds(Clock::now() - pressed) * 1000);
    }
    watching.ReadUntil(nullptr, length / 20);
  }
  table.Print({"watching 50,000 entries a second, share of a processor", watching.End(), "%", 20});
  table.Print({"recording them without an output, likewise", bound, "%", 20});
  table.Print({"a key until it is seen, in the middle", bench::Median(latencies), "ms", 100});
  return 0;
}
