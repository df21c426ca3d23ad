#include "Outputs.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Failure.h"
#include "qor_api_trace.h"

namespace client {

namespace {

constexpr unsigned long SmallestSplit = 512;
constexpr unsigned long LargestSplit = 0xFFFFFFFF;

Output PlanOutput(const std::string& name, const std::filesystem::path& folder) {
  if (name == "-") return {Format::Bin, ""};
  const std::filesystem::path path = (folder / name).lexically_normal();
  if (path.extension() == ".bin") return {Format::Bin, path.string()};
  if (path.extension() != ".asc") throw UsageError(fmt::format("Output \"{}\" ends in neither .asc nor .bin", name));
  if (path.string().size() >= sizeof Qor_Trace_Export_Request_t::FileName)
    throw UsageError(fmt::format("The path of output \"{}\" is longer than {} bytes", name,
                                 sizeof Qor_Trace_Export_Request_t::FileName - 1));
  return {Format::Asc, path.string()};
}

void CheckAscOptions(const AscOptions& asc, std::ptrdiff_t ascOutputs) {
  if (asc.Any() && ascOutputs == 0) throw UsageError("The --asc options need an output that ends in .asc");
  if (asc.Live && ascOutputs > 1) throw UsageError("With --asc-live there can be only one .asc output");
  if (asc.Live && (asc.Decimal || asc.Relative))
    throw UsageError(
        "A live .asc output has hexadecimal numbers and absolute times: leave out --asc-dec and --asc-relative");
  if (asc.Split && (*asc.Split < SmallestSplit || *asc.Split > LargestSplit))
    throw UsageError(fmt::format("--asc-split takes {} to {} bytes", SmallestSplit, LargestSplit));
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

std::vector<Output> PlanOutputs(const std::vector<std::string>& names, const AscOptions& asc,
                                const std::filesystem::path& folder) {
  std::vector<Output> outputs;
  for (const std::string& name : names) {
    const Output output = PlanOutput(name, folder);
    if (std::any_of(outputs.begin(), outputs.end(), [&](const Output& other) { return SamePlace(output, other); }))
      throw UsageError(fmt::format("Output \"{}\" is given twice", name));
    outputs.push_back(output);
  }
  CheckAscOptions(asc, std::count_if(outputs.begin(), outputs.end(),
                                     [](const Output& output) { return output.Kind == Format::Asc; }));
  return outputs;
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

bool UsesStandardOutput(const std::vector<Output>& outputs) {
  return std::any_of(outputs.begin(), outputs.end(), [](const Output& output) { return output.Path.empty(); });
}

}  // namespace client
