// ASC text as an output, written with the library's line writer.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "export/Qor_Trace_Export_ASC.h"
#include "outputs/Omissions.h"
#include "outputs/OutputFile.h"
#include "outputs/Outputs.h"
#include "outputs/StreamOutput.h"
#include "stream/CycleTimes.h"
#include "system/Pace.h"
#include "system/PartSeries.h"

namespace client {

/// Why the library's writer has no line for an entry.
enum class AscOmission {
  Ethernet,   // no frame
  Malformed,  // an unknown bus, a LIN entry that readers have to skip
};

/// @return nothing for an entry that has a line
[[nodiscard]] std::optional<AscOmission> AscOmissionOf(const RecordView& record);

/// The files of an ASC log. Each is called NAME.part until it is complete; when a write fails it stays under that name, cut
/// after the last whole line, and nothing more is taken. The first one stays claimed until all are complete, and with it the
/// series.
class AscFiles : public Qor_Trace_AscTarget {
 public:
  /// @param toStandardOutput  in place of files
  explicit AscFiles(bool toStandardOutput) : ToStandardOutput(toStandardOutput) {}

  void Begin(const std::string& name) override;
  void Write(std::string_view text) override;
  void End() override;
  /// The file that is open stays incomplete, as it is.
  void GiveUp() { GivenUp = true; }
  /// Instead, the open file is removed: it has a header and nothing else.
  void Discard();
  /// From now on, files that exist are kept: see StreamOutput.
  void KeepExisting();

  [[nodiscard]] bool Usable() const { return Current() != nullptr && Current()->Usable() && Sentence.empty(); }
  /// The sentence that says what failed; empty if nothing did.
  [[nodiscard]] const std::string& Error() const {
    return Current() != nullptr && Sentence.empty() ? Current()->Error() : Sentence;
  }
  /// Of the complete files.
  [[nodiscard]] const std::vector<std::string>& Names() const { return CompleteNames; }

 private:
  [[nodiscard]] OutputFile* Current() const { return Later ? Later.get() : First.get(); }
  void Fail(int error, std::string_view written);

  const bool ToStandardOutput;
  std::unique_ptr<OutputFile> First;
  std::unique_ptr<OutputFile> Later;  // the one that is open, if that isn't the first
  bool ExistingAreKept = false;
  unsigned long Bytes = 0;  // of the open file
  unsigned long Lines = 0;  // likewise
  bool GivenUp = false;
  std::vector<std::string> CompleteNames;
  std::string Sentence;
};

/// Writes NAME.asc, or a series NAME.asc, NAME_1.asc, ... of limited size, with the bytes of the library's own export.
///
/// Relative times are those since the entry of the same message before, computed here: the records don't contain them.
///
/// Threads: one. Memory: 256 KiB.
class AscOutput : public StreamOutput {
 public:
  /// @param path  of the file; empty: standard output
  /// Failure:     Failure when the file can't be made.
  AscOutput(const std::string& path, const AscOptions& options);
  /// Writes what was composed to the file, which stays incomplete without Finish.
  ~AscOutput() override;
  AscOutput(const AscOutput&) = delete;
  AscOutput& operator=(const AscOutput&) = delete;

  [[nodiscard]] bool Take(const RecordView& record) override;
  /// Writes what is left; to a file that isn't live, at most once a second. A failure shows at the next entry.
  void Pause() override;
  [[nodiscard]] bool Finish() override;

  void KeepExisting() override { Files.KeepExisting(); }
  [[nodiscard]] const std::string& Error() const override { return Files.Error(); }
  [[nodiscard]] std::string ShortfallText() const override;
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
  Omissions Omitted;
  Pace FlushPace{std::chrono::seconds(1)};
};

}  // namespace client
