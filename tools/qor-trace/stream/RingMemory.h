// The memory that a ring of records lies in.
#pragma once

#include <cstddef>
#include <string>

namespace client {

/// Bytes that are there from the start: a ring mustn't fail when it is needed. In memory, pages are taken as they are used; in a
/// file that has no name, so that nothing is left of it whatever happens, its room on the disk is taken at once.
class RingMemory {
 public:
  /// @param folder  of the file; empty: in memory
  /// Failure: Failure when there isn't so much.
  RingMemory(size_t size, const std::string& folder);
  ~RingMemory();
  RingMemory(const RingMemory&) = delete;
  RingMemory& operator=(const RingMemory&) = delete;

  [[nodiscard]] unsigned char* Data() const { return Bytes; }

 private:
  const size_t Size;
  unsigned char* Bytes;
};

/// Bytes of memory that this machine has to spare; those of the largest possible size where it doesn't say.
[[nodiscard]] size_t AvailableMemory();

}  // namespace client
