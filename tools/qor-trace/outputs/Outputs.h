// The files that a recording is written to.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "outputs/SeriesPlan.h"

namespace client {

enum class Format { Bin, Asc, Pcapng, Mdf, Ndjson, Csv, Candump };

/// "bin" and so on; also its extension.
[[nodiscard]] const char* Word(Format format);
/// Text may go to a terminal.
[[nodiscard]] bool IsText(Format format);

struct Output {
  Format Kind;
  std::string Path;  // absolute; empty for standard output
};

/// What ASC outputs look like.
struct AscOptions {
  bool Live = false;                                  // up to date all the time, and never larger than 4 GiB
  bool Decimal = false;                               // decimal numbers
  bool Relative = false;                              // relative times
  std::optional<unsigned long> Split = std::nullopt;  // size limit of one file, bytes
  std::optional<int> Decimals = std::nullopt;         // of seconds, 6 or 9; else 6

  [[nodiscard]] bool Any() const { return Live || Decimal || Relative || Split || Decimals; }
};

/// What capture outputs (.pcapng) are like.
struct CaptureOptions {
  bool EthernetOnly = false;  // other buses are left out
  bool AsExported = false;  // the library's own export instead of the client's writer; of .asc and .mf4 outputs as well

  [[nodiscard]] bool Any() const { return EthernetOnly || AsExported; }
};

/// What measurement files (.mf4) are like.
struct MdfOptions {
  std::optional<unsigned long> Split = std::nullopt;  // size limit of one file, bytes
  bool AsExported = false;                            // the library's own bytes
};

/// What a command has to write.
struct OutputPlan {
  std::vector<Output> Outputs;
  AscOptions Asc;
  CaptureOptions Capture;
  MdfOptions Mdf;
  unsigned long MinFree = 0;  // bytes that must stay free on the disks of the outputs
  std::optional<unsigned long> Sync =
      std::nullopt;  // ns after which what is written is put on the disk; none: as the system does
  SeriesPlan Series = {};
};

/// Finds out what was asked for before anything is done.
///
/// @param names     as typed: by extension .bin, .asc, .pcapng, .mf4, .ndjson, .csv or .log, or "-" for standard output
/// @param folder    that relative names are meant in
/// @param standard  the format of standard output as typed, one of these without mf4; empty: bin
/// Failure: UsageError for an unknown extension, two outputs of the same name, options that exclude each other.
[[nodiscard]] std::vector<Output> PlanOutputs(const std::vector<std::string>& names, const AscOptions& asc,
                                              const std::filesystem::path& folder, const CaptureOptions& capture = {},
                                              const std::string& standard = "", const MdfOptions& mdf = {});

/// Does an output get several files, or one whose name has placeholders?
[[nodiscard]] bool IsSeries(const Output& output, const SeriesPlan& plan);

/// Failure: UsageError when the outputs can't be divided so.
void CheckSeries(const OutputPlan& plan);

/// Throws a Failure if an output can't be written: its folder is missing, it is a folder itself, or permission is
/// missing.
void CheckWritable(const Output& output);

/// The folder of the first output that is a file, or else the fallback.
[[nodiscard]] std::string FolderOf(const std::vector<Output>& outputs, const std::string& fallback);

/// The folders of all outputs that are files, each once.
[[nodiscard]] std::vector<std::string> FoldersOf(const std::vector<Output>& outputs);

/// Throws a Failure if a folder has less than `minFree` bytes left already.
void CheckRoom(const std::vector<std::string>& folders, unsigned long minFree);

[[nodiscard]] bool UsesStandardOutput(const std::vector<Output>& outputs);

}  // namespace client
