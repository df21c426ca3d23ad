#include "inputs/Inputs.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "inputs/BinReader.h"
#include "inputs/PcapReader.h"
#include "inputs/PcapngReader.h"
#include "inputs/PipedReader.h"
#include "system/Failure.h"
#include "system/InputFile.h"
#include "system/Text.h"

namespace client {

namespace {

std::unique_ptr<Reader> MakeReader(InputBytes bytes, const std::string& path) {
  (void)bytes.Need(bytes.IsPipe() ? kFrontOfPipe : kFront);
  const auto ready = bytes.Ready();
  switch (FormatOfInput(ready.first(std::min(ready.size(), kFront)), path)) {
    case InputFormat::Pcap:
      return std::make_unique<PcapReader>(std::move(bytes));
    case InputFormat::Pcapng:
      return std::make_unique<PcapngReader>(std::move(bytes));
    case InputFormat::Bin:
      break;
  }
  return std::make_unique<BinReader>(std::move(bytes), path);
}

}  // namespace

InputFormat FormatOfInput(std::span<const unsigned char> front, const std::string& /*path*/) {
  if (PcapngBlocks::Begin(front)) return InputFormat::Pcapng;
  return PcapReader::Knows(front) ? InputFormat::Pcap : InputFormat::Bin;
}

bool IsNameOfInput(const std::string& path) {
  if (path == "-") return true;
  const std::string extension = ExtensionOf(path);
  return extension == ".bin" || extension == ".pcap" || extension == ".pcapng";
}

std::unique_ptr<Reader> OpenInput(const std::string& path) {
  if (path != "-") {
    CheckInputFile(path);
  } else if (isatty(STDIN_FILENO) == 1) {
    throw UsageError("Records are not read from a terminal; pipe the contents of a recording in, or name one");
  }
  InputBytes bytes(path);
  if (!bytes.IsPipe()) return MakeReader(std::move(bytes), path);
  return std::make_unique<PipedReader>(std::move(bytes), kFrontOfPipe,
                                       [path](InputBytes begun) { return MakeReader(std::move(begun), path); });
}

void RefuseWithoutRecords(const Reader& reader, const std::string& path) {
  if (reader.Records() > 0 || path == "-") return;
  const auto& found = reader.Found().All();
  const std::string why = found.empty() ? "" : fmt::format("; what it has is {}", found.front().What);
  throw Failure(fmt::format("There are no records in \"{}\"{}", path, why));
}

}  // namespace client
