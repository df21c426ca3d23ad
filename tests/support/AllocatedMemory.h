// What this process has allocated.
#pragma once

#include <malloc.h>

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
extern "C" size_t __sanitizer_get_current_allocated_bytes();  // g++ 12 comes without its header
#endif

namespace test {

/// Bytes that are allocated and not freed.
inline long AllocatedMemory() {
#if defined(__SANITIZE_ADDRESS__)
  return static_cast<long>(__sanitizer_get_current_allocated_bytes());
#else
  const auto info = mallinfo2();
  return static_cast<long>(info.uordblks + info.hblkhd);
#endif
}

}  // namespace test
