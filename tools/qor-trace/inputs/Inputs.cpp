#include "inputs/Inputs.h"

#include <fmt/format.h>
#include <unistd.h>

#include <utility>

#include "inputs/BinReader.h"
#include "inputs/InputBytes.h"
#include "system/Failure.h"
#include "system/InputFile.h"

namespace client {

InputFormat FormatOfInput(std::span<const unsigned char> /*front*/, const std::string& /*path*/) {
  return InputFormat::Bin;
}

std::unique_ptr<Reader> OpenInput(const std::string& path) {
  if (path != "-") {
    CheckInputFile(path);
  } else if (isatty(STDIN_FILENO) == 1) {
    throw UsageError("Records are not read from a terminal; pipe the contents of a .bin file in, or name one");
  }
  InputBytes bytes(path);
  switch (FormatOfInput({}, path)) {
    case InputFormat::Bin:
      break;
  }
  return std::make_unique<BinReader>(std::move(bytes), path);
}

void RefuseWithoutRecords(const Reader& reader, const std::string& path) {
  if (reader.Records() == 0 && path != "-") throw Failure(fmt::format("There are no records in \"{}\"", path));
}

}  // namespace client
