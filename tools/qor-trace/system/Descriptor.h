// An owner of a file descriptor, and whole writes to one.
#ifndef QOR_TRACE_DESCRIPTOR_H
#define QOR_TRACE_DESCRIPTOR_H

#include <unistd.h>

#include <cerrno>
#include <cstddef>
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

  bool IsOpen() const { return File >= 0; }
  int Get() const { return File; }
  void Close() {
    if (IsOpen()) close(std::exchange(File, -1));
  }

 private:
  int File = -1;
};

/// Writes bytes, all if it can.
/// @return how many were written; fewer than `size` is a failure, whose reason is in errno
inline std::size_t WriteAll(int file, const void* bytes, std::size_t size) {
  const auto* from = static_cast<const unsigned char*>(bytes);
  std::size_t done = 0;
  while (done < size) {
    const ssize_t written = write(file, from + done, size - done);
    if (written < 0 && errno == EINTR) continue;
    if (written == 0) errno = ENOSPC;  // a file that takes nothing more
    if (written <= 0) break;
    done += static_cast<std::size_t>(written);
  }
  return done;
}

}  // namespace client

#endif  // QOR_TRACE_DESCRIPTOR_H
