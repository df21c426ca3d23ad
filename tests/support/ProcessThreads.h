// The threads of this process, as the system sees them.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace test {

/// Every signal but those that nothing can block: SIGKILL, SIGSTOP, and the two that the C library keeps to itself.
constexpr const char* kEverySignal = "fffffffe7ffbfeff";

/// Those that haven't ended, by their ids.
inline std::set<pid_t> Threads() {
  std::set<pid_t> threads;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    threads.insert(std::stoi(thread.path().filename()));
  }
  return threads;
}

/// The signals that a thread blocks: 16 hexadecimal digits; "" if it has ended.
inline std::string Blocked(pid_t thread) {
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("SigBlk:\t", 0) == 0) return line.substr(8);
  }
  return "";
}

}  // namespace test
