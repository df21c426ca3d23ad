// The library's own ASC export as an output.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "export/Qor_Trace_Export_ASC.h"
#include "outputs/AscFiles.h"
#include "outputs/AscOmission.h"
#include "outputs/Omissions.h"
#include "outputs/Outputs.h"
#include "outputs/StreamOutput.h"
#include "stream/CycleTimes.h"
#include "system/Pace.h"
#include "system/PartSeries.h"

namespace client {

/// @return nothing for an entry that the library has a line for
[[nodiscard]] std::optional<AscOmission> AscOmissionOf(const RecordView& record);

/// Writes NAME.asc, or a series NAME.asc, NAME_1.asc, ... of limited size, with the bytes of the library's own export.
///
/// Relative times are those since the entry of the same message before, computed here: the records don't contain them.
///
/// Threads: one. Memory: 256 KiB.
class ExportedAsc : public StreamOutput {
 public:
  /// @param path  of the file; empty: standard output
  /// Failure:     Failure when the file can't be made.
  ExportedAsc(const std::string& path, const AscOptions& options);
  /// Writes what was composed to the file, which stays incomplete without Finish.
  ~ExportedAsc() override;
  ExportedAsc(const ExportedAsc&) = delete;
  ExportedAsc& operator=(const ExportedAsc&) = delete;

  [[nodiscard]] bool Take(const RecordView& record) override;
  /// Writes what is left; to a file that isn't live, at most once a second. A failure shows at the next entry.
  void Pause() override;
  void WriteOut(std::vector<WrittenFile>& files) override;
  void FailToKeep(int error) override { Files.FailToKeep(error); }
  [[nodiscard]] bool Finish() override;

  void KeepExisting() override { Files.KeepExisting(); }
  [[nodiscard]] const std::string& Error() const override { return Files.Error(); }
  [[nodiscard]] std::string ShortfallText() const override { return Omitted.Text(kWhyOmittedFromAsc); }
  [[nodiscard]] std::string RemarkText() const override { return OlderFilesText(OlderInSeries()); }
  void AddJson(nlohmann::json& json) const override;

 private:
  [[nodiscard]] std::vector<std::string> OlderInSeries() const;
  [[nodiscard]] const Qor_Trace_Entry_t& WithRelativeTime(const RecordView& record);

  const bool Relative;
  const bool UpToDate;                     // with every pause
  const std::optional<SeriesName> Series;  // nothing for a file without successors
  AscFiles Files;
  Qor_Trace_Export_ASC Writer;
  CycleTimes Cycles;
  std::vector<unsigned char> Record;  // a copy with its relative time
  bool HasEntries = false;
  Omissions Omitted{kAscOmissions};
  Pace FlushPace{std::chrono::seconds(1)};
};

}  // namespace client
