#include "system/DiskSpace.h"

#include <sys/resource.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <filesystem>
#include <limits>

namespace client {

namespace {

constexpr unsigned long kUnknown = std::numeric_limits<unsigned long>::max();

unsigned long LargestFile(const std::string& folder) {
  unsigned long largest = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    const auto size = entry.file_size(error);
    if (!error) largest = std::max<unsigned long>(largest, size);
  }
  return largest;
}

}  // namespace

unsigned long FreeSpace(const std::string& folder) {
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0) return kUnknown;
  return static_cast<unsigned long>(status.f_bavail) * status.f_frsize;
}

unsigned long RoomToGrow(const std::string& folder) {
  const unsigned long free = FreeSpace(folder);
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return free;
  const unsigned long largest = LargestFile(folder);
  return std::min(free, limit.rlim_cur - std::min<unsigned long>(limit.rlim_cur, largest));
}

}  // namespace client
