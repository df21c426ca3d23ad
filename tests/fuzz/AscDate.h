// A fixed date for the headers of ASC logs, so that the same input makes the same bytes.
#pragma once

#include <cstdlib>
#include <ctime>

#include "export/AscHeaderClock.h"

namespace fuzz {

/// The line that headers hold from now on.
inline const char* FixedAscDate() {
  setenv("TZ", "UTC", 1);
  tzset();
  AscHeaderClock = [] { return std::time_t{1794733219}; };
  return "Sun Nov 15 09:00:19 2026\n";
}

}  // namespace fuzz
