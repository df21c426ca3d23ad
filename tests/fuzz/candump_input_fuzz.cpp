// The client's reader of candump text: see TextInput.h.
#include "TextInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::CheckInput("in.log", data, size);
  return 0;
}
