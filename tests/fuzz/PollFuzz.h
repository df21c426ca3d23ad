// Poll responses of one bus, through the channel as it runs, against a walk over them that is written from the layouts.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qor_api_trace.h"

namespace fuzz {

/// Polls one to four responses: the first byte says how many, and whether the last one states a wrong length (by how
/// much, the second byte says then); the rest is their bytes in equal parts. Every delivery must hold the records that
/// follow from the layouts.
void Poll(Qor_Trace_BusType bus, const std::uint8_t* data, std::size_t size);

}  // namespace fuzz
