// What this process has allocated.
#pragma once

#include <malloc.h>

#include <cstddef>

#include "support/Sanitizers.h"

extern "C" size_t __sanitizer_get_current_allocated_bytes();  // g++ 12 comes without its header

namespace test {

/// Bytes that are allocated and not freed.
inline long AllocatedMemory() {
  if constexpr (kAddressSanitizer) {  // it has memory of its own
    return static_cast<long>(__sanitizer_get_current_allocated_bytes());
  } else {
    const auto info = mallinfo2();
    return static_cast<long>(info.uordblks + info.hblkhd);
  }
}

}  // namespace test
