// The client's reader of ASC logs: see TextInput.h.
#include "TextInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::CheckInput("in.asc", data, size);
  return 0;
}
