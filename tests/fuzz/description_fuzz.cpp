// Descriptions of recordings: any text is a description or is refused with a reason; a description says the same once it is
// written and read again.
#include "Input.h"
#include "stream/DescriptionJson.h"
#include "system/Failure.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const client::Description description = client::DescriptionFromJson(text);
    fuzz::Require(client::DescriptionFromJson(client::ToJson(description)) == description, "it says the same again");
  } catch (const client::Failure& failure) {
    fuzz::Require(failure.what()[0] != '\0', "a refusal has a reason");
  }
  return 0;
}
