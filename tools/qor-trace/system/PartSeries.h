// The files NAME.asc, NAME_1.asc, NAME_2.asc, ... of one output.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "system/PartFile.h"

namespace client {

/// How the files of a series are called: Stem, "_1" and so on but for the first, Ending.
struct SeriesName {
  std::string Stem;
  std::string Ending;

  [[nodiscard]] std::string Of(unsigned long number) const;
};

/// For a series whose files are claimed one by one: in the middle of it, it would be too late to find a later part file that
/// a crash has left.
/// Failure: Failure that names one.
void RefuseLeftOver(const SeriesName& parts);

/// Files of an earlier, longer series, which follow the first `count` ones without a gap.
[[nodiscard]] std::vector<std::string> OlderFiles(const SeriesName& names, unsigned long count);
/// A sentence about them; empty without any.
[[nodiscard]] std::string OlderFilesText(const std::vector<std::string>& files);

/// A series that is claimed as a whole: its first file stays locked until all are complete, and a file is claimed before
/// the one in front of it gets its name.
///
/// Threads: one.
class PartSeries {
 public:
  enum class Length { One, Several };

  /// Claims the first file; with Several, no later part file may be left over either.
  /// @param names, parts  of complete files and of those on their way, all in one folder
  /// Failure: Failure as PartFile.
  PartSeries(SeriesName names, SeriesName parts, Length length);

  /// The file on its way.
  [[nodiscard]] PartFile& Current() { return Later ? *Later : First; }
  [[nodiscard]] const PartFile& Current() const { return Later ? *Later : First; }

  /// Makes the part file of the next one.
  /// Failure: Failure as PartFile.
  void ClaimNext();
  /// Names the current file; the one that was claimed as the next is the current one then, also if that fails.
  /// @return as PartFile::Complete
  [[nodiscard]] std::string CompleteCurrent(Existing existing = Existing::Replaced);

  /// Removes the part file of the next one, which nothing was written to.
  void DiscardNext();
  /// Removes the part files of the current one and the next.
  void Discard();

  /// Of the complete files.
  [[nodiscard]] const std::vector<std::string>& Names() const { return CompleteNames; }
  /// Files of an earlier, longer series after the current one of this.
  [[nodiscard]] std::vector<std::string> OlderFiles() const { return client::OlderFiles(CompleteName, Number + 1); }

 private:
  const SeriesName CompleteName;
  const SeriesName PartName;
  PartFile First;
  std::optional<PartFile> Later;  // the current one, if that isn't the first
  std::optional<PartFile> Next;
  unsigned long Number = 0;  // of the current one
  std::vector<std::string> CompleteNames;
};

}  // namespace client
