#include "stream/Selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "system/Units.h"

namespace client {

StopLimits SelectionPlan::Limits() const {
  StopLimits limits = Stop;
  if (Count) limits.Entries = std::min(*Count, Stop.Entries.value_or(*Count));
  return limits;
}

const char* Selection::EndedBy() const {
  using Reached = StreamLimit::Reached;
  if (Limited.EndedBy() == Reached::Entries) return "count";
  if (Limited.EndedBy() != Reached::Nothing) return "stop_after";
  if (Between.HasEnded()) return "stop_on";
  return Cut.HasEnded() ? "to" : nullptr;
}

std::vector<Loss> Selection::Concerned(const std::vector<Loss>& losses) const {
  const auto inside = Cut.Inside();
  const auto between = Between.Inside();
  if (!inside || !between) return {};
  const unsigned long from = std::max(inside->first, between->first);
  unsigned long to = std::min(inside->second, between->second);
  if (const auto end = Limited.EndTime()) to = std::min(to, *end);
  return LossesBetween(losses, from, to);
}

std::string Selection::Text() const {
  std::string text;
  const auto add = [&](unsigned long count, const char* which) {
    if (count == 0) return;
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", FormatCount(count, "entry", "entries"), which);
  };
  add(Cut.LeftOut(), "outside --from and --to");
  add(Between.LeftOut(), Between.HasStarted() ? "before --start-on" : "before --start-on, which never happened");
  add(Filtered.Unmatched(), "that --filter doesn't match");
  add(BetweenIncidents.value_or(0), "in no incident");
  if (!text.empty()) text = fmt::format("left out: {}\n", text);
  const FilterSink::Losses& lost = Filtered.UnmatchedLosses();
  if (lost.Count > 0)
    text += fmt::format("  LOST: {} among them, after which data are missing, {} s to {} s\n",
                        FormatCount(lost.Count, "overrun mark", "overrun marks"), FormatSeconds(lost.First),
                        FormatSeconds(lost.Last));
  return text;
}

nlohmann::json Selection::Json() const {
  const FilterSink::Losses& lost = Filtered.UnmatchedLosses();
  nlohmann::json overruns = {{"count", lost.Count}, {"first_time_ns", nullptr}, {"last_time_ns", nullptr}};
  if (lost.Count > 0) {
    overruns["first_time_ns"] = lost.First;
    overruns["last_time_ns"] = lost.Last;
  }
  return {{"outside_times", Cut.LeftOut()},
          {"before_start", Between.LeftOut()},
          {"unmatched", Filtered.Unmatched()},
          {"unmatched_overruns", overruns},
          {"between_incidents", BetweenIncidents.value_or(0)}};
}

}  // namespace client
