// The files that a recording is written to.
#ifndef QOR_TRACE_OUTPUTS_H
#define QOR_TRACE_OUTPUTS_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace client {

enum class Format { Bin, Asc };

struct Output {
  Format Kind;
  std::string Path;  // absolute; empty for standard output
};

/// How ASC outputs are to look.
struct AscOptions {
  bool Live = false;                                  // written while recording, not at the end
  bool Decimal = false;                               // decimal numbers
  bool Relative = false;                              // relative times
  std::optional<unsigned long> Split = std::nullopt;  // size limit of one file, bytes

  bool Any() const { return Live || Decimal || Relative || Split; }
};

/// Finds out what was asked for before anything is done.
///
/// @param names   as typed: by extension .bin or .asc, or "-" for .bin on standard output
/// @param folder  that relative names are meant in
/// Failure: UsageError for an unknown extension, two outputs of the same name, options that don't go together.
std::vector<Output> PlanOutputs(const std::vector<std::string>& names, const AscOptions& asc,
                                const std::filesystem::path& folder);

/// Throws a Failure if an output can't be written: its folder is missing, it is a folder itself, or permission lacks.
void CheckWritable(const Output& output);

bool UsesStandardOutput(const std::vector<Output>& outputs);

}  // namespace client

#endif  // QOR_TRACE_OUTPUTS_H
