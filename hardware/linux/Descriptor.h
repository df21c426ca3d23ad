// An owner of a file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace qor_linux {

/// Closed at the end. A negative number is none.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : Number(descriptor) {}
  ~Descriptor() {
    if (Number >= 0) close(Number);
  }
  Descriptor(Descriptor&& other) noexcept : Number(std::exchange(other.Number, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;
  int Get() const { return Number; }

 private:
  int Number;
};

}  // namespace qor_linux
