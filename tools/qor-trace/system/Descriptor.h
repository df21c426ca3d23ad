// An owner of a file descriptor, whole writes to one, whether anybody reads them, and whether a name still leads to it.
#pragma once

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>

namespace client {

/// A descriptor that is closed with its owner. Negative: none, as a failed open returns.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int file) : File(file) {}
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : File(std::exchange(other.File, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(File, other.File);
    return *this;
  }

  [[nodiscard]] bool IsOpen() const { return File >= 0; }
  [[nodiscard]] int Get() const { return File; }
  void Close() {
    if (IsOpen()) close(std::exchange(File, -1));
  }

 private:
  int File = -1;
};

/// Is an open file still the one that its name leads to? A symbolic link isn't.
[[nodiscard]] inline bool IsNamed(const std::string& name, int file) {
  struct stat named {
  }, opened{};
  return lstat(name.c_str(), &named) == 0 && fstat(file, &opened) == 0 && named.st_dev == opened.st_dev &&
         named.st_ino == opened.st_ino;
}

/// Writes bytes, all if it can.
/// @return how many were written; fewer than `size` is a failure, whose reason is in errno
[[nodiscard]] inline size_t WriteAll(int file, const void* bytes, size_t size) {
  const auto* from = static_cast<const unsigned char*>(bytes);
  size_t done = 0;
  while (done < size) {
    const ssize_t written = write(file, from + done, size - done);
    if (written < 0 && errno == EINTR) continue;
    if (written == 0) errno = ENOSPC;  // a file that takes nothing more
    if (written <= 0) break;
    done += static_cast<size_t>(written);
  }
  return done;
}

/// Has everybody gone who could read what is written to a pipe? A write would say so as well; a silent bus has nothing to
/// write. Always false for files.
[[nodiscard]] inline bool ReaderIsGone(int pipe) {
  pollfd state{pipe, 0, 0};
  return poll(&state, 1, 0) > 0 && (state.revents & (POLLERR | POLLHUP)) != 0;
}

}  // namespace client
