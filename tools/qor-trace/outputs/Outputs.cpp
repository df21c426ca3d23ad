#include "outputs/Outputs.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "system/Compression.h"
#include "system/DiskSpace.h"
#include "system/Failure.h"
#include "system/NamePattern.h"
#include "system/Text.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr unsigned long kSmallestSplit = 512;
constexpr unsigned long kLargestSplit = 0xFFFFFFFF;
constexpr unsigned long kSmallestMdfSplit = 3ul << 20;  // a file may be a data block of 2 MiB larger than its limit
constexpr unsigned long kLargestMdfSplit = 4095ul << 20;

constexpr Format kFormats[] = {Format::Bin,    Format::Asc, Format::Pcapng, Format::Mdf,
                               Format::Ndjson, Format::Csv, Format::Candump};

Format StandardFormat(const std::string& typed) {
  if (typed.empty()) return Format::Bin;
  for (const Format format : kFormats)
    if (typed == Word(format) && format != Format::Mdf) return format;
  throw UsageError(
      fmt::format("\"{}\" is no format of standard output: it takes bin, asc, pcapng, ndjson, csv or log", typed));
}

/// By the extension, in large or small letters.
std::optional<Format> KnownFormatOf(const std::string& path) {
  const std::string extension = ExtensionOf(WithoutCompression(path));
  for (const Format format : kFormats)
    if (extension == std::string(".") + Word(format)) return format;
  return std::nullopt;
}

/// "a.asc,b.bin" is meant as two outputs, not as a file of that name.
void RefuseJoinedNames(const std::string& name) {
  for (size_t comma = name.find(','); comma != std::string::npos; comma = name.find(',', comma + 1)) {
    if (!KnownFormatOf(name.substr(0, comma))) continue;
    throw UsageError(fmt::format("Output \"{}\" is several names in one; write -o {} -o {}", name,
                                 name.substr(0, comma), name.substr(comma + 1)));
  }
}

Format FormatOf(const std::string& name) {
  RefuseJoinedNames(name);
  if (const auto format = KnownFormatOf(name)) return *format;
  throw UsageError(
      fmt::format("Output \"{}\" ends in none of .asc, .pcapng, .mf4, .bin, .ndjson, .csv and .log; add one of "
                  "them, and .gz or .zst after it for a compressed file",
                  name));
}

Output PlanOutput(const std::string& name, const std::filesystem::path& folder, Format standard) {
  if (name == "-") return {standard, ""};
  std::filesystem::path path = (folder / name).lexically_normal();
  const Format format = FormatOf(name);
  if (format == Format::Mdf && CompressionOf(name) != Compression::None)
    throw UsageError(fmt::format("Output \"{}\": a measurement file is compressed inside already; write -o {}", name,
                                 WithoutCompression(name)));
  if (format == Format::Mdf) path.replace_extension(Word(format));  // the only extension that the library uses
  return {format, path.string()};
}

/// @param anyCapture    a .pcapng output is among them
/// @param anyExportable  an output that the library has an export of
void CheckCaptureOptions(const CaptureOptions& capture, bool anyCapture, bool anyExportable) {
  if (capture.EthernetOnly && !anyCapture)
    throw UsageError("--ethernet-only needs a .pcapng output; add -o NAME.pcapng");
  if (capture.AsExported && !anyExportable)
    throw UsageError("--as-exported needs a .pcapng, .mf4 or .asc output; add -o NAME.pcapng");
}

void CheckMdfOptions(const MdfOptions& mdf, bool any) {
  if (mdf.Split && !any) throw UsageError("--mdf-split needs an output that ends in .mf4; add -o NAME.mf4");
  if (mdf.Split && (*mdf.Split < kSmallestMdfSplit || *mdf.Split > kLargestMdfSplit))
    throw UsageError("--mdf-split takes 3M to 4095M");
}

void CheckAscOptions(const AscOptions& asc, bool any, bool asExported) {
  if (asc.Any() && !any) throw UsageError("The --asc options need an output that ends in .asc; add -o NAME.asc");
  if (asc.Decimals && *asc.Decimals != 6 && *asc.Decimals != 9) throw UsageError("--asc-decimals takes 6 or 9");
  if (asc.Decimals && asExported)
    throw UsageError("--asc-decimals is for what --as-exported replaces; leave one of them out");
  if (asc.Split && (*asc.Split < kSmallestSplit || *asc.Split > kLargestSplit))
    throw UsageError(fmt::format("--asc-split takes {} to {} bytes", kSmallestSplit, kLargestSplit));
}

/// Whether two names lead to the same place, as far as that can be known before the files exist.
bool SamePlace(const Output& one, const Output& other) {
  if (one.Path.empty() || other.Path.empty()) return one.Path == other.Path;
  std::error_code oneFails, otherFails;
  const auto onePlace = std::filesystem::weakly_canonical(one.Path, oneFails);
  const auto otherPlace = std::filesystem::weakly_canonical(other.Path, otherFails);
  return oneFails || otherFails ? one.Path == other.Path : onePlace == otherPlace;
}

}  // namespace

const char* Word(Format format) {
  switch (format) {
    case Format::Bin:
      return "bin";
    case Format::Asc:
      return "asc";
    case Format::Pcapng:
      return "pcapng";
    case Format::Mdf:
      return "mf4";
    case Format::Ndjson:
      return "ndjson";
    case Format::Csv:
      return "csv";
    case Format::Candump:
      return "log";
  }
  return "";
}

bool IsText(Format format) {
  return format == Format::Asc || format == Format::Ndjson || format == Format::Csv || format == Format::Candump;
}

std::vector<Output> PlanOutputs(const std::vector<std::string>& names, const AscOptions& asc,
                                const std::filesystem::path& folder, const CaptureOptions& capture,
                                const std::string& standard, const MdfOptions& mdf) {
  std::vector<Output> outputs;
  const Format standardFormat = StandardFormat(standard);
  for (const std::string& name : names) {
    const Output output = PlanOutput(name, folder, standardFormat);
    if (std::any_of(outputs.begin(), outputs.end(), [&](const Output& other) { return SamePlace(output, other); }))
      throw UsageError(fmt::format("Output \"{}\" is given twice; leave one out", name));
    outputs.push_back(output);
  }
  const auto count = [&](Format format) {
    return std::count_if(outputs.begin(), outputs.end(), [&](const Output& output) { return output.Kind == format; });
  };
  CheckAscOptions(asc, count(Format::Asc) > 0, capture.AsExported);
  CheckCaptureOptions(capture, count(Format::Pcapng) > 0,
                      count(Format::Pcapng) + count(Format::Mdf) + count(Format::Asc) > 0);
  CheckMdfOptions(mdf, count(Format::Mdf) > 0);
  if (asc.Split && UsesStandardOutput(outputs) && standardFormat == Format::Asc)
    throw UsageError("--asc-split needs files, and standard output is one; name a file with -o");
  if (!standard.empty() && !UsesStandardOutput(outputs)) throw UsageError("--format needs the output -; add -o -");
  return outputs;
}

bool IsSeries(const Output& output, const SeriesPlan& plan) {
  return !output.Path.empty() && (plan.Splits() || NamePattern::IsOne(output.Path));
}

void CheckSeries(const OutputPlan& plan) {
  CheckSeriesPlan(plan.Series);
  for (const Output& output : plan.Outputs)
    if (IsSeries(output, plan.Series)) (void)NamePattern(output.Path);
  if (!plan.Series.Splits()) return;
  if (UsesStandardOutput(plan.Outputs))
    throw UsageError("--split-size and --split-time need files, and standard output is one; name a file with -o");
  if (plan.Asc.Split || plan.Mdf.Split)
    throw UsageError("--asc-split and --mdf-split say the same for one format; leave them or --split-size out");
  if (plan.Capture.AsExported)
    throw UsageError(
        "--as-exported has the library's own series, with --asc-split and --mdf-split; leave it or "
        "--split-size and --split-time out");
}

void CheckWritable(const Output& output) {
  if (output.Path.empty()) return;
  const std::filesystem::path path(output.Path);
  const auto fail = [&](int error) {
    throw Failure(fmt::format("Cannot write \"{}\": {}", output.Path, ErrnoText(error)));
  };
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) fail(EISDIR);
  if (!std::filesystem::is_directory(path.parent_path(), ignored)) fail(ENOENT);
  if (access(path.c_str(), F_OK) == 0 && access(path.c_str(), W_OK) != 0) fail(errno);
  if (access(path.parent_path().c_str(), W_OK | X_OK) != 0) fail(errno);
}

std::string FolderOf(const std::vector<Output>& outputs, const std::string& fallback) {
  const auto file =
      std::find_if(outputs.begin(), outputs.end(), [](const Output& output) { return !output.Path.empty(); });
  return file == outputs.end() ? fallback : std::filesystem::path(file->Path).parent_path().string();
}

std::vector<std::string> FoldersOf(const std::vector<Output>& outputs) {
  std::set<std::string> folders;
  for (const Output& output : outputs)
    if (!output.Path.empty()) folders.insert(std::filesystem::path(output.Path).parent_path().string());
  return {folders.begin(), folders.end()};
}

void CheckRoom(const std::vector<std::string>& folders, unsigned long minFree) {
  for (const std::string& folder : folders) {
    const unsigned long free = FreeSpace(folder);
    if (free >= minFree) continue;
    throw Failure(
        fmt::format("\"{}\" has only {} left, and a recording ends when less than {} are; make room, or give a "
                    "smaller --min-free",
                    folder, FormatSize(free), FormatSize(minFree)));
  }
}

bool UsesStandardOutput(const std::vector<Output>& outputs) {
  return std::any_of(outputs.begin(), outputs.end(), [](const Output& output) { return output.Path.empty(); });
}

}  // namespace client
