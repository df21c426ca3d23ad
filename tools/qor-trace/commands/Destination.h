// Where the records of a command go in the end: into the outputs and the summary, all of them or by incidents.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "commands/Incidents.h"
#include "outputs/OutputSet.h"
#include "stream/BlackBox.h"
#include "stream/Selection.h"
#include "stream/Tee.h"
#include "system/Signals.h"
#include "views/Summary.h"

namespace client {

class Destination {
 public:
  /// @param outputs  outlives this, as does the summary
  /// @param box      nothing: all records go into them
  /// @param json     incidents are told as events on standard output as well
  /// Failure: Failure when there is no room for the ring.
  Destination(OutputSet& outputs, Summary& summary, const std::optional<BlackBoxPlan>& box, bool json);

  /// Of the selected records.
  [[nodiscard]] RecordSink& Front();
  /// What triggers there is to begin an incident here.
  void TakeTriggersOf(Selection& selected);
  /// What happens otherwise; before the next record. Of a black box.
  /// @param time  ns
  void Fire(unsigned long time, const std::string& by) { Box->Fire(time, by); }
  /// The open incident ends with what it has. Of a black box.
  void EndIncident() { Box->EndIncident(); }
  /// Whether an incident would have something of the past. Of a black box.
  [[nodiscard]] bool HasPast() const { return Box->HasPast(); }
  /// After the last record: closes what is open, and says in the selection what was left out.
  void Finish(Selection& selected);
  /// Null where there can be none.
  [[nodiscard]] const Incidents* Told() const { return Said ? &*Said : nullptr; }
  /// The losses of what was kept, after Finish.
  [[nodiscard]] std::vector<Loss> Concerned(const std::vector<Loss>& losses) const;
  /// Adds the incidents to the JSON of a command, where there can be some.
  void AddJson(nlohmann::json& json) const;

 private:
  Tee All;
  std::optional<Incidents> Said;
  std::optional<BlackBox> Box;
};

/// Has SIGUSR1 press a button as long as this lives.
class TriggerSignal {
 public:
  TriggerSignal(Signals& signals, ManualTrigger& button);
  ~TriggerSignal();
  TriggerSignal(const TriggerSignal&) = delete;
  TriggerSignal& operator=(const TriggerSignal&) = delete;

 private:
  Signals& Received;
};

}  // namespace client
