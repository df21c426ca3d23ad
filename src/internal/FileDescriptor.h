// An open file of the operating system, and whole writes to it.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>

/// Owns a file descriptor. Not open when opening failed (errno says why).
class FileDescriptor {
 public:
  FileDescriptor() = default;
  /// Takes over an open descriptor, or -1.
  explicit FileDescriptor(int descriptor) : Descriptor(descriptor) {}
  /// Flags and mode as for open(2); by default a new file is readable and writable for everybody whom the umask allows.
  FileDescriptor(const std::string& name, int flags, mode_t mode = 0666) {
    do {
      Descriptor = open(name.c_str(), flags | O_CLOEXEC, mode);
    } while (Descriptor < 0 && errno == EINTR);
  }
  ~FileDescriptor() { static_cast<void>(Close()); }
  FileDescriptor(FileDescriptor&& other) noexcept : Descriptor(std::exchange(other.Descriptor, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(Descriptor, other.Descriptor);
    return *this;
  }

  [[nodiscard]] bool IsOpen() const { return Descriptor >= 0; }
  [[nodiscard]] int Get() const { return Descriptor; }

  /// Closes the file, if it is open. Returns false, with errno, if that fails; the file is closed all the same. (An
  /// interrupted close has closed it too.)
  [[nodiscard]] bool Close() { return !IsOpen() || close(std::exchange(Descriptor, -1)) == 0 || errno == EINTR; }

 private:
  int Descriptor = -1;
};

/// Writes `size` bytes. Returns how many reached the file; fewer than `size` is a failure, with the reason in errno.
[[nodiscard]] inline size_t WriteAll(int file, const unsigned char* bytes, size_t size) {
  size_t done = 0;
  while (done < size) {
    const ssize_t part = write(file, bytes + done, size - done);
    if (part < 0 && errno == EINTR) continue;
    if (part <= 0) {
      if (part == 0) errno = ENOSPC;  // a file that takes nothing more
      break;
    }
    done += static_cast<size_t>(part);
  }
  return done;
}
