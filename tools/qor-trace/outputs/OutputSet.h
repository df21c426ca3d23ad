// All outputs of a command.
#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "outputs/IncidentOutput.h"
#include "outputs/OutputSync.h"
#include "outputs/Outputs.h"
#include "outputs/StreamOutput.h"

namespace client {

/// What a file of an output holds: the whole recording, or an incident of a black box (then the paths are patterns).
enum class FilesOf { Recording, Incidents };

/// Hands each entry to all outputs. One that fails ends alone; the others go on.
class OutputSet : public RecordSink {
 public:
  /// Makes the files.
  /// @param description  what is known of the recording before its first entry
  /// @param news         told of the files of series; null: nobody
  /// Failure: Failure when a file can't be made.
  explicit OutputSet(const OutputPlan& plan, const Description& description = {}, const SeriesNews& news = nullptr,
                     FilesOf files = FilesOf::Recording);

  /// Tells the outputs what is known of the recording by now: see StreamOutput.
  void Describe(const Description& description);

  /// Says what failed. False when all outputs have ended, or when the reader of standard output has gone.
  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override;

  /// With files of incidents: what is taken between these two is one.
  void Begin(const Incident& incident);
  void End(const Incident& incident);
  /// The first number that no file of any output has.
  [[nodiscard]] unsigned long FreeIncident() const;
  /// "a.asc, b.mf4": the complete files of the latest incident; empty without any.
  [[nodiscard]] std::string IncidentText() const;
  /// Its files, one object per output.
  [[nodiscard]] nlohmann::json IncidentJson() const;

  /// From now on, files that exist under the outputs' names are kept: see StreamOutput.
  void KeepExisting();
  /// Completes the outputs that have not ended, each whatever becomes of the others; says and notes what fails.
  /// @param description  all that is known
  /// @param capture      writes the library's own capture; none where there is no recording
  void Finish(const Description& description, const LibraryExport& capture = nullptr);

  /// Says a sentence as an error and keeps it; nothing for an empty one.
  void NoteError(const std::string& sentence);
  [[nodiscard]] const std::vector<std::string>& Errors() const { return Sentences; }

  /// Lines that say what outputs can't hold; empty if they hold all that was asked for.
  [[nodiscard]] std::string ShortfallText() const;
  /// Lines with what else a person should know about outputs; mostly empty.
  [[nodiscard]] std::string RemarkText() const;
  /// One object per output, in their order.
  [[nodiscard]] nlohmann::json Json() const;
  /// How they were put on the disk; null where that wasn't asked for.
  [[nodiscard]] nlohmann::json SyncJson() const;
  /// "; written: a.asc, standard output": the complete ones. Empty without any.
  [[nodiscard]] std::string WrittenText() const;
  /// Bytes of all files so far: see StreamOutput.
  [[nodiscard]] unsigned long Size() const;
  [[nodiscard]] unsigned long DeletedBytes() const;

 private:
  struct Member {
    Output Planned;
    std::unique_ptr<StreamOutput> Writer;
    bool Ended = false;              // by a failure; it takes nothing more
    unsigned long EndedAtEntry = 0;  // of the trace, counted from 1
    unsigned long EndedAtTime = 0;   // of that entry, ns
    bool Complete = false;
    IncidentOutput* Incidents = nullptr;  // the writer, where files are of incidents
  };

  [[nodiscard]] bool AnyLeft() const;
  void KeepOnDisk();
  void EndThoseNotKept(const std::vector<int>& errors);
  void KeepNames();
  void EndIfFailed(Member& member);
  void Complete(Member& member, const LibraryExport& capture);

  void AddIncidents(const Output& output, const OutputPlan& plan);

  std::vector<Member> Members;
  std::unique_ptr<OutputSync> Sync;  // none: the system decides when files are put on the disk
  Description Known;
  unsigned long Entries = 0;     // so far, the one being taken included
  unsigned long LatestTime = 0;  // of that one, ns
  std::vector<std::string> Sentences;
};

}  // namespace client
