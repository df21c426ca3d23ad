// What the files of a recording hold.
#pragma once

#include <string>

namespace soak {

/// Events of two ASC logs that are the same up to their headers; ends the process if they differ.
[[nodiscard]] unsigned long EventsOfBoth(const std::string& asc, const std::string& other);

/// Records of the swap file in the working directory; 0 without one.
[[nodiscard]] unsigned long SwappedRecords();

/// Packets and custom blocks of a capture file that the library has exported.
[[nodiscard]] unsigned long PacketsOf(const std::string& pcapng);

}  // namespace soak
