// All outputs of a command.
#ifndef QOR_TRACE_OUTPUTSET_H
#define QOR_TRACE_OUTPUTSET_H

#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "outputs/OutputFile.h"
#include "outputs/Outputs.h"
#include "recording/Replay.h"
#include "views/Summary.h"

namespace client {

/// Hands each entry to all outputs that are written as entries come, and lets a monitor write the others: that of the
/// recording, or without one a replay of all entries.
class OutputSet : public EntrySink {
 public:
  /// Makes the files that are written as entries come.
  /// @param replay  takes all entries in place of a recording's monitor; null where there is one
  /// Failure:       Failure when a file can't be made.
  explicit OutputSet(const OutputPlan& plan, std::unique_ptr<Replay> replay = nullptr);

  /// False when one of them can't go on.
  bool Take(const unsigned char* record, unsigned int length) override;
  void Pause() override;

  /// From now on, files that exist under the outputs' names are kept: see StreamOutput.
  void KeepExisting();
  /// Completes all outputs, each whatever became of the others; says and notes what failed.
  /// @param monitor  stopped, with the whole recording; null: that of the replay
  /// @param summary  of what was recorded
  void Finish(Monitor* monitor, const Summary& summary);

  /// Says a sentence as an error and keeps it; nothing for an empty one.
  void NoteError(const std::string& sentence);
  const std::vector<std::string>& Errors() const { return Sentences; }

  /// Lines that say what outputs can't hold; empty if they hold all that was asked for.
  std::string ShortfallText() const;
  /// Lines with what else a person should know about outputs; mostly empty.
  std::string RemarkText() const;
  /// An object an output, in their order.
  nlohmann::json Json() const;
  /// "; written: a.asc, standard output"; empty after an error.
  std::string WrittenText() const;

 private:
  template <class Play>
  void TryReplay(Play play);

  const std::vector<Output> Outputs;
  const std::unique_ptr<Replay> Replayed;
  bool ReplayFailed = false;
  std::vector<std::unique_ptr<StreamOutput>> Writers;  // of the outputs, one each
  std::vector<std::string> Sentences;
};

/// Closes a command: says what was done, prints the JSON summary if that was asked for.
/// @param more  JSON fields of this command
/// @return      the exit code
int Conclude(const std::string& command, const Summary& summary, const OutputSet& outputs, bool json,
             const nlohmann::json& more);

}  // namespace client

#endif  // QOR_TRACE_OUTPUTSET_H
