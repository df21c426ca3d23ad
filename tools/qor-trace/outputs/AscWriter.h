// ASC text as an output, as other programs read it.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "outputs/AscClock.h"
#include "outputs/AscFiles.h"
#include "outputs/AscLines.h"
#include "outputs/AscOmission.h"
#include "outputs/Omissions.h"
#include "outputs/Outputs.h"
#include "outputs/StreamOutput.h"
#include "outputs/UntoldLosses.h"
#include "record/RecordView.h"
#include "system/Pace.h"
#include "system/PartSeries.h"

namespace client {

/// Writes NAME.asc, or a series NAME.asc, NAME_1.asc, ... of limited size: a file ends after the entry that takes it beyond
/// its limit, and the next one begins with the next entry.
///
/// A loss is a comment in front of the first line of its channel after it.
///
/// The header is composed with the first entry. Its date is the start of the recording as it is described, 1970 where that isn't
/// known.
///
/// Threads: one. Memory: 256 KiB.
class AscWriter : public StreamOutput {
 public:
  /// @param path  of the file; empty: standard output
  /// Failure:     Failure when the file can't be made.
  AscWriter(const std::string& path, const AscOptions& options);
  /// Writes what was composed to the file, which stays incomplete without Finish.
  ~AscWriter() override;
  AscWriter(const AscWriter&) = delete;
  AscWriter& operator=(const AscWriter&) = delete;

  void Describe(const Description& description) override;
  [[nodiscard]] bool Take(const RecordView& record) override;
  /// Writes what is left; to a file that isn't live, at most once a second. A failure shows at the next entry.
  void Pause() override;
  void WriteOut(std::vector<WrittenFile>& files) override;
  void FailToKeep(int error) override { Files.FailToKeep(error); }
  [[nodiscard]] bool Finish() override;

  void KeepExisting() override { Files.KeepExisting(); }
  [[nodiscard]] unsigned long Size() const override { return Files.Size() + Used; }
  void Settle() override;
  [[nodiscard]] const std::string& Error() const override { return Files.Error(); }
  [[nodiscard]] std::string ShortfallText() const override;
  [[nodiscard]] std::string RemarkText() const override { return OlderFilesText(OlderInSeries()); }
  void AddJson(nlohmann::json& json) const override;

 private:
  [[nodiscard]] std::vector<std::string> OlderInSeries() const;
  [[nodiscard]] std::string FileName(unsigned long number) const;
  [[nodiscard]] char* Room(size_t bytes);
  void Append(const std::string& text);
  void AppendLosses(const std::vector<Loss>& losses);
  void Begin();
  void BeginFile();
  void EndFile();
  [[nodiscard]] bool FileIsFull() const;
  void BeginNextFile();
  void Flush();

  const std::string Path;
  const AscOptions Options;
  const AscStyle Style;
  const bool UpToDate;                     // with every pause
  const std::optional<SeriesName> Series;  // nothing for a file without successors
  const unsigned long Limit;               // of a file, bytes
  AscFiles Files;
  std::unique_ptr<char[]> Buffer;  // whole lines
  size_t Used = 0;                 // bytes of it
  unsigned long Written = 0;       // bytes of the open file that have left the buffer
  unsigned long FileNumber = 0;    // of the open file in its series
  bool FileHasEntries = false;     // the open one
  Description Described;
  UntoldLosses Untold;
  std::optional<AscClock> Clock;  // from the first entry on
  unsigned long LatestTime = 0;   // since the date, units of the last decimal
  Omissions Omitted{kAscOmissions};
  Pace FlushPace{std::chrono::seconds(1)};
};

}  // namespace client
