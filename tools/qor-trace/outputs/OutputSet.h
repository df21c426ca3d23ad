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

  /// Completes all outputs, each whatever became of the others; says and notes what failed.
  /// @param monitor  stopped, with the whole recording; null: that of the replay
  /// @param lost     items that each channel lost before they came into the trace
  void Finish(Monitor* monitor, const LostItems& lost);

  /// Says a sentence as an error and keeps it; nothing for an empty one.
  void NoteError(const std::string& sentence);
  const std::vector<std::string>& Errors() const { return Sentences; }

  /// Lines that say what outputs can't hold; empty if they hold all that was asked for.
  std::string ShortfallText() const;
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

}  // namespace client

#endif  // QOR_TRACE_OUTPUTSET_H
