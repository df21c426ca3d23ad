// Poll responses of a FlexRay interface, as PollFuzz.h has it.
#include "PollFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Poll(BusType_FlexRay, data, size);
  return 0;
}
