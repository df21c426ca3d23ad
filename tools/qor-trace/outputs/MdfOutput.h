// Measurement files (.mf4) as an output: all buses in the bus-logging channel groups of MDF 4.10.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mdf/File.h"
#include "outputs/Omissions.h"
#include "outputs/Outputs.h"
#include "outputs/StreamOutput.h"
#include "outputs/UntoldLosses.h"
#include "record/RecordView.h"
#include "system/Pace.h"
#include "system/PartSeries.h"

namespace client {

/// Why an entry is not in a measurement file.
enum class MdfOmission {
  // Of the library's own export alone:
  Ethernet,    // there is no group for it
  CanEvent,    // log-trigger and user events: they would look like frames
  LinEvent,    // event-triggered frame information
  LinOverrun,  // LIN frames and wake-ups with an overrun mark
  // Of any file:
  FlexRayStatus,   // items without a value
  Malformed,       // too short for its fixed fields, an unknown kind or bus
  EthernetRecord,  // items other than frames
};

/// @param asExported  of the library's own export, not of the client's files
/// @return            nothing for an entry that is recorded
[[nodiscard]] std::optional<MdfOmission> MdfOmissionOf(const RecordView& record, bool asExported);

/// Writes NAME.mf4, or a series NAME.mf4, NAME_1.mf4, ... of limited size. Each file is called NAME.part.mf4 and so on
/// until it is complete: a readable file that is marked as unfinalized. After a failed write it stays under that name.
///
/// Files are in the format's bus-logging convention, which programs of other makers read, unless the library's own bytes
/// are asked for.
///
/// The next file of a series is made, empty, when the one before it is begun: the library opens it by its name, at a
/// moment of its own choosing.
///
/// The file's start time is that of the recording, and its records count from there. The clock of entries that was running
/// before, or counts since 1970, may bring entries from shortly before the start: their files begin a second earlier.
///
/// A loss is an event of the file at its time, and stands in the comment.
///
/// Threads: one, and two of the library's that pack. Memory: two data blocks of 2 MiB for each bus and kind of event that
/// comes, and 21 MiB for what is being packed.
class MdfOutput : public StreamOutput {
 public:
  /// @param path  ends in .mf4
  /// Failure:     Failure when the file can't be made, or another process writes it: see PartSeries.
  MdfOutput(const std::string& path, const MdfOptions& options);
  /// Without an entry nothing stays.
  ~MdfOutput() override;
  MdfOutput(const MdfOutput&) = delete;
  MdfOutput& operator=(const MdfOutput&) = delete;

  /// Becomes part of the file when that is written next, but for the library's own export. Before the first entry, so that
  /// the sources of the buses say it as well.
  void Describe(const Description& description) override;
  [[nodiscard]] bool Take(const RecordView& record) override;
  /// Brings the file up to date, at most every second. A failure shows at the next entry.
  void Pause() override;
  void WriteOut(std::vector<WrittenFile>& files) override;
  void FailToKeep(int error) override;
  [[nodiscard]] bool Finish() override;
  /// Of the current file. What isn't flushed counts as it came, since it isn't packed yet.
  [[nodiscard]] unsigned long Size() const override { return FlushedBytes + CollectedBytes; }
  void Settle() override;
  void KeepExisting() override { Previous = Existing::Kept; }

  [[nodiscard]] const std::string& Error() const override { return Sentence; }
  [[nodiscard]] std::string ShortfallText() const override;
  [[nodiscard]] std::string RemarkText() const override { return OlderFilesText(Series.OlderFiles()); }
  void AddJson(nlohmann::json& json) const override;

 private:
  void Begin();
  [[nodiscard]] unsigned long InFile(unsigned long time) const;
  void MarkLossesBefore(const RecordView& record);
  void MarkLosses(const std::vector<Loss>& losses);
  [[nodiscard]] bool Insert(const RecordView& record);
  void NextFile();
  bool ClaimNext();
  void Flush();
  void Fail();

  const std::string Path;
  const MdfOptions Options;
  PartSeries Series;  // before the file that is written to it
  MdfFile File;
  std::set<std::pair<unsigned int, unsigned char>> Buses;  // channel and bus of those that the file has
  std::vector<unsigned char> Entry;
  TimeBase Times;
  UntoldLosses Untold;
  unsigned long NextLossMark = 0;      // ns in the file: losses before records after it are marked
  std::optional<unsigned long> Start;  // ns since 1970; from the first entry on
  unsigned long Zero = 0;              // time of entries at Start, ns
  unsigned long Latest = 0;            // ns, the greatest time so far
  unsigned long Records = 0;
  Omissions Omitted;
  Pace FlushPace;
  unsigned long FlushedRecords = 0;
  unsigned long FlushedBytes = 0;    // of the file, when it was flushed
  unsigned long CollectedBytes = 0;  // of records since then
  Existing Previous = Existing::Replaced;
  bool Finished = false;
  std::string Sentence;
};

}  // namespace client
