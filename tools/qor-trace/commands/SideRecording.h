// A recording that begins and ends while something else goes on.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "commands/Destination.h"
#include "commands/OutputArguments.h"
#include "outputs/OutputSet.h"
#include "stream/Description.h"
#include "stream/RecordSink.h"
#include "stream/Selection.h"
#include "stream/TriggerSink.h"
#include "views/BusLoad.h"
#include "views/Summary.h"

namespace client {

/// That only what happens is to be recorded, and what came before it.
struct SideBox {
  BlackBoxPlan Plan = {};
  std::vector<Trigger> Triggers = {};
  ManualTrigger* Button = nullptr;  // outlives the recording; null: none
};

/// What a recording command does with its outputs, for a part of a stream: the same files, and the same conclusion. As a black box
/// it makes a file of each incident, and none before.
class SideRecording : public RecordSink {
 public:
  /// Makes the files.
  /// @param asked   how outputs are written; which, the plan says
  /// @param known   of the stream
  /// @param box     null: everything is recorded
  /// Failure: UsageError, Failure when a file can't be made, or there is no room for the ring.
  SideRecording(const OutputArguments& asked, const OutputPlan& plan, const BitRates& rates, const Description& known,
                const SideBox* box = nullptr);

  /// False when no output takes anything any more.
  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override { Everything.Pause(); }

  /// What is known of the stream by now. Of its losses, those from the first entry on are the recording's.
  void Describe(const Description& stream);
  /// Whether a disk has less left than --min-free; says so.
  [[nodiscard]] bool DiskIsFull();
  /// Completes the outputs and says what was done. Once.
  /// @return the exit code
  [[nodiscard]] int Finish(const Description& stream);

  [[nodiscard]] unsigned long Entries() const { return Counted.Entries(); }
  /// ns of trace time.
  [[nodiscard]] unsigned long Span() const;
  /// Of the first output, as it is called in its folder.
  [[nodiscard]] std::string Name() const;
  /// Of all outputs, likewise.
  [[nodiscard]] std::string Names() const;

  // Of a black box:

  /// What has happened so far, and what goes on.
  [[nodiscard]] const Incidents& Told() const { return *Into.Told(); }
  /// The latest incident's files that are complete, as they are called in their folders; empty without any.
  [[nodiscard]] std::string IncidentNames() const;
  /// Somebody has seen something in what has come.
  /// @param time  ns
  void Fire(unsigned long time, const std::string& by) { Into.Fire(time, by); }
  void EndIncident() { Into.EndIncident(); }
  [[nodiscard]] bool HasPast() const { return Into.HasPast(); }

 private:
  [[nodiscard]] Description Own(Description stream) const;

  const OutputArguments Asked;
  const OutputPlan Plan;
  const std::string Id;
  Description Stream;
  std::optional<unsigned long> First;  // ns, of the first entry
  OutputSet Outputs;
  Summary Counted;
  Destination Into;
  Selection Everything;
};

/// "run.mf4" -> "run-2.mf4": names that don't exist yet, for another recording of the same outputs.
/// @param number  the least that may be put there
[[nodiscard]] std::vector<std::string> NumberedNames(const std::vector<std::string>& names,
                                                     const std::filesystem::path& folder, size_t number);

}  // namespace client
