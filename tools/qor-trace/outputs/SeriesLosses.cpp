#include "outputs/SeriesLosses.h"

#include <algorithm>

namespace client {

namespace {

/// A ledger joins losses that touch.
bool IsPartOf(const Loss& part, const Loss& whole) {
  return part.Channel == whole.Channel && part.Cause == whole.Cause && whole.First <= part.First &&
         part.Last <= whole.Last;
}

}  // namespace

std::vector<Loss> SeriesLosses::Of(const std::vector<Loss>& known, std::optional<unsigned long> seam) const {
  std::vector<Loss> losses;
  for (const Loss& loss : known) {
    if (seam && loss.First >= *seam) continue;
    if (const auto untold = Untold(loss)) losses.push_back(*untold);
  }
  return losses;
}

std::optional<Loss> SeriesLosses::Untold(const Loss& loss) const {
  Loss rest = loss;
  bool wasTold = false;
  unsigned long until = loss.First;
  for (const Loss& told : Told) {
    if (!IsPartOf(told, loss)) continue;
    wasTold = true;
    until = std::max(until, told.Last);
    if (rest.Count) *rest.Count -= std::min(*rest.Count, told.Count.value_or(0));
  }
  if (!wasTold) return loss;
  const bool hasGrown = until < loss.Last || rest.Count.value_or(0) > 0;
  if (!hasGrown) return loss.Last >= First ? std::optional(loss) : std::nullopt;
  rest.First = until;
  return rest;
}

void SeriesLosses::EndFile(const std::vector<Loss>& known, unsigned long seam) {
  Told.clear();
  for (const Loss& loss : known)
    if (loss.First < seam) Told.push_back(loss);
}

}  // namespace client
