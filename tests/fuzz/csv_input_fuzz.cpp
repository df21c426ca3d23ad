// The client's reader of the CSV of LIN and FlexRay: see TextInput.h.
#include "TextInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::CheckInput("in.csv", data, size);
  return 0;
}
