// Poll responses of an Ethernet interface, as PollFuzz.h has it.
#include "PollFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Poll(BusType_Ethernet, data, size);
  return 0;
}
