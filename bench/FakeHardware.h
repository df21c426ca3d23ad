// The hardware library as the benchmarks link it: ports of each bus that answer every poll at once with a full response.
#pragma once

#include <cstddef>
#include <vector>

#include "qor_api_trace.h"

namespace bench {

/// What the items of all ports have in common.
struct Traffic {
  unsigned long Spacing = 1000;    // ns between an item and the next one, whatever their ports
  unsigned int Identifiers = 100;  // of CAN frames, over which they cycle
  bool Paced = false;              // threads sleep for 1 ms between polls that find items, in place of not at all
};

/// Makes ports 1, 2, ... of the given buses deliver `itemsPerPort` items each, then nothing: CAN frames of 8 data bytes,
/// LIN frames of 8, FlexRay frames of 16, Ethernet frames of 100. Slots cycle through 100 values, LIN identifiers through 60;
/// with n ports, port p's items are at p, p + n, p + 2 n, ... times the spacing.
void LoadPorts(const std::vector<Qor_Trace_BusType>& buses, size_t itemsPerPort, const Traffic& traffic = {});

/// The longest time from the end of a poll to the start of the port's next one since LoadPorts: taking the items and delivering
/// them. Without the time in which other programs had the processor. s
double LongestDelivery();

/// True once every port has delivered everything and has been polled again since.
bool PortsDrained();

/// How long the calling thread has been ready to run, but without a processor, s. 0 where the system doesn't count it.
double WaitedForProcessor();

/// A record as the library makes it of an item of this bus: the same length, the same bytes to copy.
size_t RecordLength(Qor_Trace_BusType bus);

}  // namespace bench
