// Where the headers of ASC logs take their date from.
#pragma once

#include <ctime>

/// Seconds since 1970. Reads the system's clock; tests put a fixed time in its place while no log is being written.
extern std::time_t (*AscHeaderClock)();
