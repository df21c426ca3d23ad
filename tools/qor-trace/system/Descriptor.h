// An owner of a file descriptor.
#ifndef QOR_TRACE_DESCRIPTOR_H
#define QOR_TRACE_DESCRIPTOR_H

#include <unistd.h>

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

}  // namespace client

#endif  // QOR_TRACE_DESCRIPTOR_H
