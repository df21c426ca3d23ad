// What this process holds.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Check.h"

namespace soak {

/// KiB.
inline long ResidentMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
  }
  Fail("no VmRSS in /proc/self/status");
}

inline long OpenFiles() {
  namespace fs = std::filesystem;
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

}  // namespace soak
