// What all outputs have in common.
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "stream/Description.h"
#include "stream/RecordSink.h"
#include "system/WrittenFile.h"

namespace client {

/// Has the library write its own capture file of a stopped recording to a path.
/// Failure: Failure when that fails.
using LibraryExport = std::function<void(const std::string& path)>;

/// An output: takes entries as they come, or is written by the library at the end.
class StreamOutput : public RecordSink {
 public:
  /// What is known of the recording: once before anything else, again before the first entry, when its times are known,
  /// after each loss, and before Finish.
  /// Failure: Failure, the first time only, when a file can't be made.
  virtual void Describe(const Description& /*description*/) {}
  /// Writes what was taken, whatever the pace, and adds the files that it is in, for somebody who puts them on the disk. What
  /// only the library writes isn't there before the end. A failure shows as that of Pause.
  virtual void WriteOut(std::vector<WrittenFile>& /*files*/) {}
  /// One of these files couldn't be put on the disk, so the output has failed.
  virtual void FailToKeep(int /*error*/) {}
  /// After a failure, what came since is missing in the output: it says so where it has a place for that. To be called right
  /// then, and again at the end of the recording.
  /// @param known   of the recording
  /// @param latest  ns; time of the recording's latest entry
  virtual void NoteCut(const Description& /*known*/, unsigned long /*latest*/) {}
  /// Has the library write what only it can write; before Finish.
  /// Failure: Failure when that fails.
  virtual void Export(const LibraryExport& /*capture*/) {}
  /// From now on, a file that exists under the output's name is kept, since the entries are not complete. To be called
  /// before Finish, which then fails.
  virtual void KeepExisting() {}
  /// Writes what is left and gives the file its name. False if that or an earlier write failed.
  [[nodiscard]] virtual bool Finish() = 0;
  /// The sentence that says what failed; empty if nothing did.
  [[nodiscard]] virtual const std::string& Error() const = 0;
  /// Bytes of its files so far: exact after Settle, before that no fewer than they have with all that was taken, but for what
  /// closes a file.
  [[nodiscard]] virtual unsigned long Size() const { return 0; }
  /// Of these, bytes of files that were deleted for newer ones.
  [[nodiscard]] virtual unsigned long DeletedBytes() const { return 0; }
  /// Writes all that was taken. A failure shows at the next entry.
  virtual void Settle() {}

  /// Complete files that lie beside its own.
  [[nodiscard]] virtual std::vector<std::string> FilesBeside() const { return {}; }
  /// What its files are called; empty where it is one file of the name that was planned.
  [[nodiscard]] virtual std::string FilesText() const { return ""; }
  /// What the output can't hold, to follow "NOT IN IT"; empty if it holds all that was asked for.
  [[nodiscard]] virtual std::string ShortfallText() const { return ""; }
  /// What else a person should know, as a sentence; after Finish. Empty: nothing.
  [[nodiscard]] virtual std::string RemarkText() const { return ""; }
  /// Adds that, and what else there is to know about the output.
  virtual void AddJson(nlohmann::json& /*json*/) const {}
};

}  // namespace client
