// Poll responses of a LIN interface, as PollFuzz.h has it.
#include "PollFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Poll(BusType_Lin, data, size);
  return 0;
}
