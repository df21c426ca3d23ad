// Incidents on their way into the outputs: told one by one, and counted.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "outputs/OutputSet.h"
#include "stream/BlackBox.h"
#include "views/Summary.h"

namespace client {

/// Hands incidents to the outputs, and what is in them to the summary. Says a line when one begins, and one when it is closed.
class Incidents : public IncidentSink {
 public:
  /// @param outputs  of incidents; outlives this, as does the summary
  /// @param json     as events on standard output as well
  Incidents(OutputSet& outputs, Summary& summary, bool json) : Outputs(outputs), Kept(summary), AsJson(json) {}

  void Begin(const Incident& incident) override;
  [[nodiscard]] bool Take(const RecordView& record) override { return Outputs.Take(record) && Kept.Take(record); }
  void End(const Incident& incident) override;
  void Pause() override { Outputs.Pause(); }

  /// The one that goes on; null between them.
  [[nodiscard]] const Incident* Current() const { return Open; }
  /// All that have ended.
  [[nodiscard]] const std::vector<Incident>& Past() const { return Closed; }
  /// After the last one: loads are those of the times in the incidents.
  void Finish();

  /// Those that lie at least in part in an incident; what of them doesn't is left out.
  [[nodiscard]] std::vector<Loss> Concerned(const std::vector<Loss>& losses) const;
  /// One object for each.
  [[nodiscard]] nlohmann::json Json() const;

 private:
  OutputSet& Outputs;
  Summary& Kept;
  const bool AsJson;
  const Incident* Open = nullptr;
  std::vector<Incident> Closed;
};

}  // namespace client
