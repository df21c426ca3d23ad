// Poll responses of a CAN interface, as PollFuzz.h has it.
#include "PollFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Poll(BusType_Can, data, size);
  return 0;
}
