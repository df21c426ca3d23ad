#include "commands/Destination.h"

#include <nlohmann/json.hpp>

namespace client {

Destination::Destination(OutputSet& outputs, Summary& summary, const std::optional<BlackBoxPlan>& box, bool json)
    : All(outputs, summary) {
  if (!box) return;
  Said.emplace(outputs, summary, json);
  Box.emplace(*Said, *box, outputs.FreeIncident());
}

RecordSink& Destination::Front() {
  if (Box) return *Box;
  return All;
}

void Destination::TakeTriggersOf(Selection& selected) {
  if (Box) selected.CallAtTriggers([this](unsigned long time, const std::string& by) { Box->Fire(time, by); });
}

void Destination::Finish(Selection& selected) {
  if (!Box) return;
  Box->Finish();
  Said->Finish();
  selected.NoteBetweenIncidents(Box->LeftOut());
}

std::vector<Loss> Destination::Concerned(const std::vector<Loss>& losses) const {
  return Said ? Said->Concerned(losses) : losses;
}

void Destination::AddJson(nlohmann::json& json) const {
  if (Said) json["incidents"] = Said->Json();
}

TriggerSignal::TriggerSignal(Signals& signals, ManualTrigger& button) : Received(signals) {
  Received.SetUserCall([&button] { button.Fire("signal"); });
}

TriggerSignal::~TriggerSignal() { Received.SetUserCall(nullptr); }

}  // namespace client
