#include "inputs/Inputs.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "inputs/AscReader.h"
#include "inputs/BinReader.h"
#include "inputs/CandumpReader.h"
#include "inputs/CsvReader.h"
#include "inputs/InputBytes.h"
#include "inputs/MdfReader.h"
#include "inputs/PcapReader.h"
#include "inputs/PcapngReader.h"
#include "inputs/PipedReader.h"
#include "inputs/SeriesReader.h"
#include "inputs/UnpackedReader.h"
#include "system/Compression.h"
#include "system/Failure.h"
#include "system/InputFile.h"
#include "system/Text.h"

namespace client {

namespace {

/// Raw records have a 0 among their first bytes: their lengths are short.
bool IsText(std::span<const unsigned char> front) {
  constexpr unsigned char kTab = 9, kLastControl = 31;
  return std::none_of(front.begin(), front.end(),
                      [](unsigned char byte) { return byte < kTab || (byte > '\r' && byte <= kLastControl); });
}

/// Nothing for a text that may be anything.
std::optional<InputFormat> FormatOfText(std::string_view front) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (front.starts_with(kMark)) front.remove_prefix(kMark.size());
  front.remove_prefix(std::min(front.find_first_not_of(" \t\r\n"), front.size()));
  if (front.starts_with("date ") || front.starts_with("base ")) return InputFormat::Asc;
  if (front.starts_with('(')) return InputFormat::Candump;
  if (front.starts_with("timesta")) return InputFormat::Csv;
  return std::nullopt;
}

InputFormat FormatOfName(const std::string& path) {
  constexpr std::string_view kPart = ".part";
  const std::string name = path.ends_with(kPart) ? path.substr(0, path.size() - kPart.size()) : path;
  const std::string extension = ExtensionOf(WithoutCompression(name));
  if (extension == ".asc") return InputFormat::Asc;
  if (extension == ".log") return InputFormat::Candump;
  if (extension == ".csv") return InputFormat::Csv;
  return extension == ".mf4" ? InputFormat::Mdf : InputFormat::Bin;
}

std::unique_ptr<Reader> MakeReaderOf(InputFormat format, InputBytes bytes, const std::string& path,
                                     BinReader::AtDamage atDamage) {
  switch (format) {
    case InputFormat::Asc:
      return std::make_unique<AscReader>(std::move(bytes), path);
    case InputFormat::Candump:
      return std::make_unique<CandumpReader>(std::move(bytes));
    case InputFormat::Csv:
      return std::make_unique<CsvReader>(std::move(bytes));
    case InputFormat::Mdf:
      if (bytes.IsPacked())
        throw Failure(fmt::format("{} is a compressed measurement file, which can't be read in one go; unpack it first",
                                  bytes.Shown()));
      return std::make_unique<MdfReader>(path);
    case InputFormat::Pcap:
      return std::make_unique<PcapReader>(std::move(bytes));
    case InputFormat::Pcapng:
      return std::make_unique<PcapngReader>(std::move(bytes));
    case InputFormat::Bin:
      break;
  }
  return std::make_unique<BinReader>(std::move(bytes), path, atDamage);
}

std::unique_ptr<Reader> MakeReader(InputBytes bytes, const std::string& path,
                                   BinReader::AtDamage atDamage = BinReader::AtDamage::Fail) {
  (void)bytes.Need(bytes.IsPipe() ? kFrontOfPipe : kFront);
  const auto ready = bytes.Ready();
  const InputKind kind{FormatOfInput(ready.first(std::min(ready.size(), kFront)), path), bytes.Packing()};
  const auto cutOff = bytes.IsPacked() ? bytes.CutOff() : nullptr;
  std::unique_ptr<Reader> reader = MakeReaderOf(kind.Format, std::move(bytes), path, atDamage);
  if (cutOff != nullptr) reader = std::make_unique<UnpackedReader>(std::move(reader), cutOff);
  reader->SetKind(kind);
  return reader;
}

}  // namespace

InputFormat FormatOfInput(std::span<const unsigned char> front, const std::string& path) {
  if (PcapngBlocks::Begin(front)) return InputFormat::Pcapng;
  if (PcapReader::Knows(front)) return InputFormat::Pcap;
  if (MdfBlocks::BeginsLikeOne(front)) return InputFormat::Mdf;
  const auto first = front.first(std::min(front.size(), kFrontOfPipe));
  if (!IsText(first)) return FormatOfName(path) == InputFormat::Mdf ? InputFormat::Mdf : InputFormat::Bin;
  const auto format = FormatOfText({reinterpret_cast<const char*>(first.data()), first.size()});
  return format.value_or(FormatOfName(path));
}

bool IsNameOfInput(const std::string& path) {
  if (path == "-") return true;
  constexpr std::string_view kExtensions[] = {".asc", ".bin", ".mf4", ".pcap", ".pcapng"};
  return std::find(std::begin(kExtensions), std::end(kExtensions), ExtensionOf(WithoutCompression(path))) !=
         std::end(kExtensions);
}

std::unique_ptr<Reader> OpenInput(const std::string& path) {
  if (auto series = OpenSeries(path, OpenInput)) return series;
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

std::unique_ptr<Reader> OpenDamagedInput(const std::string& path) {
  CheckInputFile(path);
  return MakeReader(InputBytes(path), path, BinReader::AtDamage::PassOver);
}

void RefuseWithoutRecords(const Reader& reader, const std::string& path) {
  if (reader.Records() > 0 || path == "-") return;
  const auto& found = reader.Found().All();
  const std::string why = found.empty() ? "" : fmt::format("; what it has is {}", found.front().What);
  throw Failure(fmt::format("There are no records in \"{}\"{}", path, why));
}

}  // namespace client
