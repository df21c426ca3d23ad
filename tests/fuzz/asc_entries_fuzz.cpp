// Records of any bytes through the ASC writer: the files must be those of the reference, byte for byte.
//
// Input: flags (1), start time (8), file limit (2), then records: length (2), bytes.
#include "AscDate.h"
#include "Input.h"
#include "export/AscReference.h"
#include "export/Qor_Trace_Export_ASC.h"
#include "support/TemporaryDirectory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TemporaryDirectory directory;
  static const char* const date = fuzz::FixedAscDate();
  fuzz::Input input(data, size);
  const unsigned int flags = input.Below(16);
  const auto start = input.Take<unsigned long>();
  const unsigned int limit = 512 + input.Take<std::uint16_t>();
  test::AscReference reference(flags, "out.asc", start, limit, date);
  {
    Qor_Trace_Export_ASC writer(flags, "out.asc", start, limit);
    while (input.Left() > 0) {
      const size_t length = input.Take<std::uint16_t>();
      const test::Record record(input.TakeBytes(length));
      writer.WriteEntry(record.Get());
      reference.Write(record.Get());
    }
  }
  for (const auto& [name, text] : reference.Finish()) {
    fuzz::Require(test::FileText(name) == text, "the writer gives the reference's files");
    std::filesystem::remove(name);
  }
  return 0;
}
