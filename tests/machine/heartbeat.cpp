// Tells the time and how long the machine stood still: writes to a disk again and again, and says when each write was on it.
//
// Usage: heartbeat [DEVICE]     without one it only tells the time
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <thread>

namespace {

bool WriteTo(int disk) {
  const std::array<char, 4096> block{};
  return pwrite(disk, block.data(), block.size(), 0) > 0 && fdatasync(disk) == 0;
}

}  // namespace

int main(int count, char** arguments) {
  const bool only = count < 2;
  const int disk = only ? -1 : open(arguments[1], O_WRONLY | O_CLOEXEC);
  while (only || WriteTo(disk)) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    std::printf("beat %lld\n", static_cast<long long>(std::chrono::nanoseconds(now).count()));
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return 1;
}
