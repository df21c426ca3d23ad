// The hardware library as the benchmarks link it: CAN ports that answer every poll at once with a full response.
#pragma once

#include <cstddef>

namespace bench {

/// Makes ports 1 to `ports` deliver `itemsPerPort` CAN frames of 8 data bytes each, then nothing. Identifiers cycle through
/// `identifiers` values; port p's frames are at p, p + ports, p + 2 * ports, ... µs.
void LoadPorts(unsigned int ports, size_t itemsPerPort, unsigned int identifiers);

/// True once every port has delivered everything and has been polled again since.
bool PortsDrained();

/// Items in one full poll response.
size_t ItemsPerPoll();

}  // namespace bench
