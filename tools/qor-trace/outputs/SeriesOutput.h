// An output that is divided into files, whatever their format.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "outputs/KeptFiles.h"
#include "outputs/SeriesLosses.h"
#include "outputs/SeriesPlan.h"
#include "outputs/SplitTimes.h"
#include "outputs/StreamOutput.h"
#include "system/NamePattern.h"

namespace client {

/// Writes one file after the other, each by a writer of its own and complete in itself: with the description of the recording,
/// its own start and the losses of its time. A file ends in front of the first entry that belongs to the next period, or
/// after the entry with which it has reached its size; there are no files without entries, but for the only one of a recording
/// without any.
///
/// The next file is claimed before the one in front of it is complete, so that another process that wants to write the
/// series always meets one on its way.
///
/// When a file can't be written, the series ends with it; those before it are whole.
///
/// Threads: one. Memory: that of two writers.
class SeriesOutput : public StreamOutput {
 public:
  /// Makes the writer of a file.
  /// Failure: Failure when the file can't be made.
  using Make = std::function<std::unique_ptr<StreamOutput>(const std::string& path)>;

  /// Makes the first file, unless it is called after its first entry.
  /// @param path  see NamePattern
  /// @param news  told when files are complete or deleted; null: nobody
  /// Failure: Failure when the file can't be made, or one of the series is on its way or left over from a crash.
  SeriesOutput(const std::string& path, const SeriesPlan& plan, Make make, const SeriesNews& news = nullptr);

  void Describe(const Description& description) override;
  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override;
  void WriteOut(std::vector<WrittenFile>& files) override;
  void FailToKeep(int error) override;
  void NoteCut(const Description& known, unsigned long latest) override;
  void Export(const LibraryExport& capture) override;
  void KeepExisting() override;
  [[nodiscard]] bool Finish() override;

  [[nodiscard]] const std::string& Error() const override { return Sentence; }
  [[nodiscard]] unsigned long Size() const override { return ClosedBytes + (Writer ? Writer->Size() : 0); }
  [[nodiscard]] unsigned long DeletedBytes() const override { return Kept.DeletedBytes(); }
  void Settle() override;
  [[nodiscard]] std::string FilesText() const override;
  [[nodiscard]] std::string ShortfallText() const override;
  [[nodiscard]] std::string RemarkText() const override;
  void AddJson(nlohmann::json& json) const override;

 private:
  /// What the files' own JSON adds up to.
  struct Sums {
    std::optional<std::map<std::string, unsigned long>> Omitted;
    std::map<std::string, unsigned long> Numbers;
  };

  void RefuseParts() const;
  [[nodiscard]] bool Begin(unsigned long first);
  [[nodiscard]] std::unique_ptr<StreamOutput> MakeNext(unsigned long time);
  [[nodiscard]] bool OpenFirst(unsigned long time);
  [[nodiscard]] bool IsOver(unsigned long time) const;
  [[nodiscard]] bool GoOn(unsigned long seam);
  [[nodiscard]] bool Close(std::optional<unsigned long> seam);
  void Enter(unsigned long time);
  void Note(const RecordView& record);
  [[nodiscard]] bool Reaches(unsigned long limit, unsigned long others);
  [[nodiscard]] Description Own(std::optional<unsigned long> seam = std::nullopt) const;
  [[nodiscard]] Sums AllSums() const;
  [[nodiscard]] std::vector<std::string> OtherFiles() const;

  const std::string Path;
  const SeriesPlan Plan;
  const Make MakeWriter;
  SeriesNames Names;
  KeptFiles Kept;
  std::optional<SplitTimes> Periods;
  Description Known;
  std::string Id;  // of the recording, where it has none
  SeriesLosses Losses;
  bool ExistingAreKept = false;

  std::unique_ptr<StreamOutput> Writer;  // of the open file; null before the first one
  SeriesFile File;                       // the open one
  unsigned long Start = 0;               // ns, of its first entry
  bool IsOpen = false;
  bool IsFull = false;          // the open file, by its size
  unsigned long PeriodEnd = 0;  // ns
  bool Begun = false;           // with the first entry
  unsigned long ClosedBytes = 0;
  Sums Closed;
  bool Finished = false;
  std::string DescriptionError;  // told at the end: the records are whole
  std::string Sentence;
};

}  // namespace client
