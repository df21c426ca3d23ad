// The files beneath an ASC log, whoever composes its text.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "export/Qor_Trace_AscTarget.h"
#include "outputs/OutputFile.h"
#include "outputs/Outputs.h"
#include "system/PartSeries.h"

namespace client {

/// The largest file of a live log, bytes.
inline constexpr unsigned long kLongestLiveAsc = 0xFFFFFFFF;

/// How the files of a log are called that may get several: as the library names them, with the number in front of the last dot
/// of the path. Nothing for a log that stays one file.
/// Failure: Failure that names a part file that was left over from an earlier series.
[[nodiscard]] std::optional<SeriesName> AscSeriesOf(const std::string& path, const AscOptions& options);

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
  /// Adds the open file, for somebody who puts on the disk what was written to it.
  void AddTo(std::vector<WrittenFile>& files) {
    if (Usable()) Current()->AddTo(files);
  }
  /// That couldn't be done.
  void FailToKeep(int error) { Current()->FailToKeep(error); }
  /// The file that is open stays incomplete, as it is.
  void GiveUp() { GivenUp = true; }
  /// Instead, the open file is removed: it has a header and nothing else.
  void Discard();
  /// From now on, files that exist are kept: see StreamOutput.
  void KeepExisting();

  /// Bytes of all files so far, as StreamOutput.
  [[nodiscard]] unsigned long Size() const { return BytesBefore + (Current() != nullptr ? Current()->Size() : 0); }
  void Settle() {
    if (Usable()) Current()->Settle();
  }

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
  unsigned long BytesBefore = 0;  // of the files before the open one
  unsigned long Bytes = 0;        // of the open file
  unsigned long Lines = 0;        // likewise
  bool GivenUp = false;
  std::vector<std::string> CompleteNames;
  std::string Sentence;
};

}  // namespace client
