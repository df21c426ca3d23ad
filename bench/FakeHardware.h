// The hardware library as the benchmarks link it: ports of each bus that answer every poll at once with a full response.
#pragma once

#include <cstddef>
#include <vector>

#include "qor_api_trace.h"

namespace bench {

/// Makes ports 1, 2, ... of the given buses deliver `itemsPerPort` items each, then nothing: CAN frames of 8 data bytes,
/// LIN frames of 8, FlexRay frames of 16, Ethernet frames of 100. Identifiers and slots cycle through 100 values (LIN: 60);
/// with n ports, port p's items are at p, p + n, p + 2 n, ... µs.
void LoadPorts(const std::vector<Qor_Trace_BusType>& buses, size_t itemsPerPort);

/// True once every port has delivered everything and has been polled again since.
bool PortsDrained();

/// A record as the library makes it of an item of this bus: the same length, the same bytes to copy.
size_t RecordLength(Qor_Trace_BusType bus);

}  // namespace bench
