// What this process holds.
#pragma once

#include <malloc.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Check.h"

#if defined(__SANITIZE_ADDRESS__)
extern "C" size_t __sanitizer_get_current_allocated_bytes();  // g++ 12 comes without its header
#endif

namespace soak {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;  // it keeps memory for itself
#else
constexpr bool kAddressSanitizer = false;
#endif

/// Bytes that are allocated and not freed.
inline long AllocatedMemory() {
#if defined(__SANITIZE_ADDRESS__)
  return static_cast<long>(__sanitizer_get_current_allocated_bytes());
#else
  const auto info = mallinfo2();
  return static_cast<long>(info.uordblks + info.hblkhd);
#endif
}

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
