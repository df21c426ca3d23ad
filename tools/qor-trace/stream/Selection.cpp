#include "stream/Selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "system/Units.h"

namespace client {

const char* Selection::EndedBy() const {
  if (Counted.HasEnded()) return "count";
  return Cut.HasEnded() ? "to" : nullptr;
}

std::vector<Loss> Selection::Concerned(const std::vector<Loss>& losses) const {
  const auto inside = Cut.Inside();
  if (!inside) return {};
  auto [from, to] = *inside;
  if (Counted.HasEnded()) to = std::min(to, Counted.EndTime() + 1);
  return LossesBetween(losses, from, to);
}

std::string Selection::Text() const {
  std::string text;
  if (Cut.LeftOut() > 0)
    text += fmt::format("{} outside --from and --to", FormatCount(Cut.LeftOut(), "entry", "entries"));
  if (Filtered.Unmatched() > 0)
    text += fmt::format("{}{} that --filter doesn't match", text.empty() ? "" : ", ",
                        FormatCount(Filtered.Unmatched(), "entry", "entries"));
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
  return {{"outside_times", Cut.LeftOut()}, {"unmatched", Filtered.Unmatched()}, {"unmatched_overruns", overruns}};
}

}  // namespace client
