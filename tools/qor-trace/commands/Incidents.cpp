#include "commands/Incidents.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "commands/EventJson.h"
#include "stream/LossLedger.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

namespace {

nlohmann::json JsonOf(const Incident& incident) {
  nlohmann::json triggers = nlohmann::json::array();
  for (const IncidentTrigger& trigger : incident.Triggers)
    triggers.push_back({{"time_ns", trigger.Time}, {"by", trigger.By}});
  const bool any = incident.Entries > 0;
  return {{"number", incident.Number},
          {"triggers", triggers},
          {"trigger_count", incident.TriggerCount},
          {"from_ns", incident.From},
          {"to_ns", incident.To},
          {"past_is_short", incident.PastIsShort},
          {"entries", incident.Entries},
          {"first_time_ns", any ? nlohmann::json(incident.FirstTime) : nlohmann::json()},
          {"last_time_ns", any ? nlohmann::json(incident.LastTime) : nlohmann::json()}};
}

std::string TimesText(const Incident& incident) {
  if (incident.Entries == 0) return "";
  std::string text = fmt::format(", {} s to {} s", FormatSeconds(incident.FirstTime), FormatSeconds(incident.LastTime));
  if (incident.TriggerCount > 1) text += fmt::format(", {} triggers", incident.TriggerCount);
  if (incident.PastIsShort) text += "; the ring's size was full, so its past is shorter than the ring's time";
  return text;
}

}  // namespace

void Incidents::Begin(const Incident& incident) {
  const IncidentTrigger& first = incident.Triggers.front();
  Say(fmt::format("incident {}: {} at {} s", incident.Number, first.By, FormatSeconds(first.Time)));
  Outputs.Begin(incident);
  Open = &incident;
  if (AsJson) PrintEvent("incident_begun", JsonOf(incident));
}

void Incidents::End(const Incident& incident) {
  Outputs.End(incident);
  const std::string files = Outputs.IncidentText();
  Say(fmt::format("incident {}: {}{}{}", incident.Number, FormatCount(incident.Entries, "entry", "entries"),
                  TimesText(incident), files.empty() ? "" : "; written: " + files));
  Closed.push_back(incident);
  Open = nullptr;
  if (!AsJson) return;
  nlohmann::json event = JsonOf(incident);
  event["files"] = Outputs.IncidentJson();
  PrintEvent("incident_closed", event);
}

void Incidents::Finish() {
  unsigned long covered = 0;
  for (const Incident& incident : Closed)
    if (incident.Entries > 0) covered += incident.LastTime - incident.FirstTime;
  Kept.SetCovered(covered);
}

std::vector<Loss> Incidents::Concerned(const std::vector<Loss>& losses) const {
  LossLedger concerned;
  for (const Incident& incident : Closed)
    concerned.Append(LossesBetween(losses, incident.From, incident.To + (incident.To < ~0ul ? 1 : 0)));
  return concerned.All();
}

nlohmann::json Incidents::Json() const {
  nlohmann::json json = nlohmann::json::array();
  for (const Incident& incident : Closed) json.push_back(JsonOf(incident));
  return json;
}

}  // namespace client
